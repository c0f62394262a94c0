// The general 2-D filter: a true convolution of the image with the caller's kernel, anchored at
// ((kw - 1) / 2, (kh - 1) / 2), with the library's border model.
//
//   dst(x, y) = sum over i < kh, j < kw of K[i][j] * S(x - ax + kw - 1 - j, y - ay + kh - 1 - i)
//
// Init stores the kernel reversed (last element first), so the filter correlates the reversed
// kernel rev[i][j] = K[kh - 1 - i][kw - 1 - j] with the neighbourhood whose top-left pixel is
// (x - ax, y - ay), adding the taps in row-major order of rev as one chain of fused
// multiply-adds (filter/filter_taps.h). The paths:
//
//   16s kernel, 8u or 16s data (one channel, kw >= 3 and kh >= 2 for 16s): exact integer sums
//     modulo 2^32, then the divisor rule (mode 0 none, mode 1 shift with the rounding term of
//     the round mode, mode 2 float reciprocal) and saturation. Where the sum of |K| bounds every
//     partial sum, the sums run in 16-bit lanes (8u data, sum of |K| times 255 below 2^15) or
//     as floats (below 2^24), which are then exact.
//   16s kernel on any other pairing: the kernel as floats, float sums, then
//     (sum + offset * divisor) * reciprocal rounded by the round mode and saturated.
//   32f kernel, integer data: float sums, + offset, rounded by the round mode, saturated.
//   32f data: float sums; 64f data: double sums.
//
// The border component (filter/border_rows.h) gives each segment of a group of destination
// rows its source rows; integer rows are widened once per source row into a ring per segment,
// and integer results pass through rows of sums before they are converted. The accurate
// flag (16) of the round mode is kept in the specification block and changes nothing: the integer sums are
// already exact.
#include "filter/border_rows.h"
#include "filter/filter_taps.h"

#include <array>

namespace zel {
namespace {

using ftap::Rnd;

enum Path : int32_t { kPathInt = 0, kPathIntFloat = 1, kPathFloat = 2, kPathDouble = 3, kPathInt16 = 4 };

// The record inside the caller's spec block, at its first 64-byte boundary; the taps follow at
// byte kTapsAt. Offsets, not pointers, so that the block may be copied.
struct FilterSpec {
    int32_t specKind, kw, kh;
    int32_t divMode, shift, addend;
    float recip, fdiv;
    double ddiv;
    int32_t mask;
    int32_t roundMode, offset;
    float scaledOffset;
    int32_t hint, numChannels;
    int32_t divisor;  // 1 for 32f and 64f kernels
    int32_t path;     // Path
    int32_t sumBound; // 16s kernels: sum of |K| times the largest |sample| (saturated to 2^30)
};
constexpr int64_t kTapsAt = 128;
static_assert(sizeof(FilterSpec) <= kTapsAt);

template <typename P>
P* aligned64(P* p) {
    return (P*)(((uintptr_t)p + 63) & ~(uintptr_t)63);
}
FilterSpec* specOf(ZeliFilterBorderSpec* p) { return (FilterSpec*)aligned64((uint8_t*)p); }
const FilterSpec* specOf(const ZeliFilterBorderSpec* p) { return (const FilterSpec*)aligned64((const uint8_t*)p); }
template <typename A>
const A* tapsOf(const FilterSpec* s) {
    return (const A*)((const uint8_t*)s + kTapsAt);
}

int64_t round64(int64_t n) { return (n + 63) & ~(int64_t)63; }
int elemSize(int dataType) { return dataType == zel8u ? 1 : dataType == zel32f ? 4 : dataType == zel64f ? 8 : 2; }

// The strips of border the design sets aside for a kernel over an ROI, in bytes.
int64_t borderBufferSize(int64_t kw, int64_t kh, int64_t w, int64_t h, int elem, int channels) {
    const BorderExtent e = ownCentredExtent((int)kw, (int)kh);
    const int64_t bottom = kh == 2 ? 2 : e.bottom, right = kw == 2 ? 2 : e.right;
    int64_t need;
    if (w > kw && h > kh) {
        const int64_t tb = e.bottom > 0 ? (w + kw - 1) * (kh + bottom - 1) : 0;
        const int64_t lr = e.right > 0 ? (kh + h - 1) * (kw + right - 1) : 0;
        need = tb > lr ? tb : lr;
    } else {
        need = (w + kw - 1) * (h + kh - 1);
    }
    return ((need * elem * channels + 31) & ~(int64_t)31) + 32;
}

// The row pipeline's own memory: kh + 3 row pointers, the border component and, for integer
// data, the ring of widened source rows (kh + 3 rows for each of at most three segments, whose
// widths add up to at most w + 3 (kw - 1) pixels), its tags and four rows of sums. The 64f
// filter fits the first two into the size its formula gives.
int64_t pipelineSize(int64_t kw, int64_t kh, int64_t w, int elem, int channels) {
    const BorderExtent e = ownCentredExtent((int)kw, (int)kh);
    int64_t n = 7 + (kh + 3) * 8 + BorderRows::bufferSize(w, elem * channels, e);
    if (elem < 4)
        n += 64 + round64(3 * (kh + 3) * 8) + (kh + 3) * ((w + 3 * (kw - 1)) * channels * 4 + 3 * 128) +
             4 * round64(w * channels * 4 + 64);
    return n;
}

ZelStatus getSize(ZeliSize k, ZeliSize roi, int dataType, int kernelType, int nc, int* pSpecSize, int* pBufferSize) {
    if (k.width < 1 || k.height < 1 || roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    const int64_t kw = k.width, kh = k.height;
    int64_t spec, buf;
    if (kernelType == zel64f) {
        if (dataType != zel64f) return zelStsDataTypeErr;
        if (nc != 1) return zelStsChannelErr;
        if (!pSpecSize || !pBufferSize) return zelStsNullPtrErr;
        spec = round64(kw * kh * 8) + 191;
        buf = borderBufferSize(kw, kh, roi.width, roi.height, 8, 1) + kh * kw * 64 + 128 + 126;
    } else {
        if ((dataType != zel8u && dataType != zel16u && dataType != zel16s && dataType != zel32f) ||
            (kernelType != zel16s && kernelType != zel32f))
            return zelStsDataTypeErr;
        if (nc < 1 || nc > 4) return zelStsChannelErr;
        if (!pSpecSize) return zelStsNullPtrErr;
        if (!pBufferSize) return zelStsNullPtrErr;
        if (kernelType == zel16s &&
            (dataType == zel16u ||
             (dataType == zel16s && (nc == 3 || nc == 4 || kw == 1 || kh == 1 || (nc == 1 && kw < 3)))))
            return getSize(k, roi, dataType, zel32f, nc, pSpecSize, pBufferSize);
        const int elem = elemSize(dataType);
        spec = round64(kw * kh * (kernelType == zel16s ? 2 : 4)) + 191 + round64((kw + (kw & 1)) * 5 * kh * 16);
        if (kernelType == zel32f && dataType == zel32f && nc == 1) spec += kw * kh * 64;
        buf = pipelineSize(kw, kh, roi.width, elem, nc) + borderBufferSize(kw, kh, roi.width, roi.height, elem, nc) + 63;
    }
    if (spec > kInt32Max || buf > kInt32Max) {
        *pSpecSize = 0, *pBufferSize = 0;
        return zelStsBufferSizeErr;
    }
    *pSpecSize = (int)spec, *pBufferSize = (int)buf;
    return zelStsNoErr;
}

// Fields every Init sets; the divisor data of a kernel without divisor.
void initCommon(FilterSpec* s, int kind, ZeliSize k, int roundMode, int nc, int path) {
    *s = FilterSpec{};
    s->specKind = kind, s->kw = k.width, s->kh = k.height;
    s->divMode = 0, s->recip = 1.0f, s->fdiv = 1.0f, s->ddiv = 1.0, s->divisor = 1;
    s->roundMode = roundMode, s->numChannels = nc, s->path = path;
}

template <typename S, typename D>
void storeReversed(const S* k, int64_t n, D* d) {
    for (int64_t m = 0; m < n; ++m) d[m] = (D)k[n - 1 - m];
}

bool badRound(int roundMode) {
    const int r = roundMode & ~16;
    return r != 0 && r != 1 && r != 2;
}

ZelStatus init16s(const Zel16s* pKernel, ZeliSize k, int divisor, int dataType, int nc, int roundMode,
                  ZeliFilterBorderSpec* pSpec) {
    if (!pKernel || !pSpec) return zelStsNullPtrErr;
    if (k.width < 1 || k.height < 1) return zelStsSizeErr;
    ZelStatus st = zelStsNoErr;
    if ((roundMode & 16) && !(dataType == zel8u || (dataType == zel16s && nc == 1))) st = zelStsAccurateModeNotSupported;
    if (dataType != zel8u && dataType != zel16u && dataType != zel16s) return zelStsDataTypeErr;
    if (nc < 1 || nc > 4) return zelStsChannelErr;
    if (badRound(roundMode)) return zelStsRoundModeErr;
    if (divisor == 0) return zelStsDivisorErr;

    const int64_t n = (int64_t)k.width * k.height;
    const bool asFloat = dataType == zel16u ||
                         (dataType == zel16s && (nc == 3 || nc == 4 || k.width == 1 || k.height == 1 || (nc == 1 && k.width < 3)));
    // Integer sums stay exact in floats while the sum of |K| times the largest |sample| is at
    // most 2^24.
    int64_t absSum = 0;
    for (int64_t m = 0; m < n; ++m) absSum += pKernel[m] < 0 ? -(int64_t)pKernel[m] : pKernel[m];
    const bool exact = absSum * (dataType == zel8u ? 255 : 32768) <= (1 << 24);
    const bool small = dataType == zel8u && absSum * 255 <= 32767;  // and in 16-bit integers
    const int64_t bound = absSum * (dataType == zel8u ? 255 : 32768);
    FilterSpec* s = specOf(pSpec);
    const int kind = dataType == zel8u ? 0 : dataType == zel16s ? 1 : 2;
    initCommon(s, kind, k, roundMode, nc, asFloat ? kPathFloat : small ? kPathInt16 : exact ? kPathIntFloat : kPathInt);
    s->divisor = divisor, s->fdiv = (float)divisor, s->ddiv = divisor;
    s->sumBound = (int32_t)(bound < (1 << 30) ? bound : 1 << 30);
    if (divisor > 1 && (divisor & (divisor - 1)) == 0) {
        int sh = 0;
        float r = 1.0f;
        while ((1 << sh) < divisor) ++sh, r *= 0.5f;
        s->divMode = 1, s->shift = sh, s->addend = 1 << (sh - 1), s->mask = divisor - 1, s->recip = r;
    } else if (divisor != 1) {
        s->divMode = 2, s->recip = 1.0f / (float)divisor;
    }
    uint8_t* taps = (uint8_t*)s + kTapsAt;
    if (s->path == kPathInt) storeReversed(pKernel, n, (int32_t*)taps);
    else if (s->path == kPathInt16) storeReversed(pKernel, n, (int16_t*)taps);
    else storeReversed(pKernel, n, (float*)taps);
    return st;
}

ZelStatus init32f(const Zel32f* pKernel, ZeliSize k, int dataType, int nc, int roundMode, ZeliFilterBorderSpec* pSpec) {
    if (!pKernel || !pSpec) return zelStsNullPtrErr;
    if (k.width < 1 || k.height < 1) return zelStsSizeErr;
    if (dataType != zel8u && dataType != zel16u && dataType != zel16s && dataType != zel32f) return zelStsDataTypeErr;
    if (nc < 1 || nc > 4) return zelStsChannelErr;
    if (badRound(roundMode)) return zelStsRoundModeErr;
    FilterSpec* s = specOf(pSpec);
    const int kind = dataType == zel8u ? 3 : dataType == zel16s ? 4 : dataType == zel16u ? 5 : 6;
    initCommon(s, kind, k, roundMode, nc, kPathFloat);
    storeReversed(pKernel, (int64_t)k.width * k.height, (float*)((uint8_t*)s + kTapsAt));
    return zelStsNoErr;
}

ZelStatus init64f(const Zel64f* pKernel, ZeliSize k, int dataType, int nc, int roundMode, ZeliFilterBorderSpec* pSpec) {
    if (!pKernel || !pSpec) return zelStsNullPtrErr;
    if (k.width < 1 || k.height < 1) return zelStsSizeErr;
    if (dataType != zel64f) return zelStsDataTypeErr;
    if (nc != 1) return zelStsChannelErr;
    if (roundMode != 1 && roundMode != 17) return zelStsRoundModeErr;
    FilterSpec* s = specOf(pSpec);
    initCommon(s, 7, k, roundMode, 1, kPathDouble);
    storeReversed(pKernel, (int64_t)k.width * k.height, (double*)((uint8_t*)s + kTapsAt));
    return zelStsNoErr;
}

ZelStatus setMode(int hint, int offset, ZeliFilterBorderSpec* pSpec) {
    if (!pSpec) return zelStsNullPtrErr;
    FilterSpec* s = specOf(pSpec);
    const int kind = s->specKind;
    if ((kind == 1 || kind == 4 || kind == 6 || kind == 7) && offset != 0) return zelStsNotSupportedModeErr;
    if (kind == 7) return zelStsNoErr;
    if (hint == zelAlgHintAccurate && (kind == 0 || (kind == 1 && s->numChannels == 1))) s->roundMode |= 16;
    else s->roundMode &= 3;
    s->offset = offset;
    s->scaledOffset = kind <= 2 ? (float)((int64_t)offset * s->divisor) : (float)offset;
    s->hint = hint;
    return zelStsNoErr;
}

// ---- the filter call -----------------------------------------------------------------------

// One row of sums to destination samples, by the specification block's path, divisor mode and round mode.
template <typename T, Rnd R, typename A>
void finishInt(const FilterSpec* s, const void* acc, int64_t n, T* d, const ftap::Finish& f) {
    if (s->divMode == 0) ftap::ownFinishInt<T, 0, R>((const A*)acc, n, d, f);
    else if (s->divMode == 1) ftap::ownFinishInt<T, 1, R>((const A*)acc, n, d, f);
    else ftap::ownFinishInt<T, 2, R>((const A*)acc, n, d, f);
}
template <typename T, Rnd R>
void finishRounded(const FilterSpec* s, const void* acc, int64_t n, T* d, const ftap::Finish& f) {
    if (s->path == kPathFloat) return ftap::ownFinishFloat<T, R>((const float*)acc, n, d, f);
    if constexpr (sizeof(T) == 1 || std::is_signed_v<T>) {  // 16u data always take the float path
        if (s->path == kPathInt) finishInt<T, R, int32_t>(s, acc, n, d, f);
        else if (s->path != kPathInt16) finishInt<T, R, float>(s, acc, n, d, f);
        else if constexpr (sizeof(T) == 1) {
            // 16-bit sums stay in 16-bit lanes when the offset and the rounding term fit too.
            const int64_t reach = (int64_t)s->sumBound + (f.ioffset < 0 ? -(int64_t)f.ioffset : f.ioffset) + s->divisor;
            if (s->divMode == 0 && reach < 32768) ftap::ownFinishInt16<0, R>((const int16_t*)acc, n, d, f);
            else if (s->divMode == 1 && s->shift < 15 && reach < 32768) ftap::ownFinishInt16<1, R>((const int16_t*)acc, n, d, f);
            else finishInt<T, R, int16_t>(s, acc, n, d, f);
        }
    }
}
template <typename T>
void finishRow(const FilterSpec* s, const void* acc, int64_t n, T* d, const ftap::Finish& f) {
    const int r = s->roundMode & 3;
    if (r == 0) finishRounded<T, Rnd::Zero>(s, acc, n, d, f);
    else if (r == 1) finishRounded<T, Rnd::Near>(s, acc, n, d, f);
    else finishRounded<T, Rnd::Fin>(s, acc, n, d, f);
}

// The sums of nr (1, 2 or 4) output rows of one segment from the kh + nr - 1 rows at rows.
template <class L, typename A>
void sumRows(int nr, const void** rows, const FilterSpec* s, int stride, int64_t n, A* const* out) {
    const ftap::RowList<A> list{(const A* const*)rows};
    if (nr == 4) ftap::ownFilterTapsRows<L, 4>(list, s->kh, s->kw, stride, tapsOf<A>(s), 1, n, out);
    else if (nr == 2) ftap::ownFilterTapsRows<L, 2>(list, s->kh, s->kw, stride, tapsOf<A>(s), 1, n, out);
    else ftap::ownFilterTapsRows<L, 1>(list, s->kh, s->kw, stride, tapsOf<A>(s), 1, n, out);
}

// How many of the g output rows left in a group to take at once, given the most a segment may.
inline int groupRows(int g, int most, int kh) { return g >= 4 && most >= 4 && kh >= 3 ? 4 : g >= 2 ? 2 : 1; }

template <typename T, int C>
ZelStatus filterBorder(const T* pSrc, int srcStep, T* pDst, int dstStep, ZeliSize roi, ZeliBorderType border,
                       const T* borderValue, const ZeliFilterBorderSpec* pSpec, Zel8u* pBuffer) {
    if (!pSrc || !pDst || !pSpec || !pBuffer) return zelStsNullPtrErr;
    if (ownBorderNeedsValue(border) && !borderValue) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    if (srcStep < 1 || (int64_t)dstStep < (int64_t)roi.width * C * (int64_t)sizeof(T)) return zelStsStepErr;
    BorderArg b;
    if (ZelStatus st = ownBorderDecode(border, kBorderKindsFilter, &b)) return st;

    const FilterSpec* s = specOf(pSpec);
    const int kw = s->kw, kh = s->kh, W = roi.width, H = roi.height;
    const BorderExtent e = ownCentredExtent(kw, kh);
    cvt::FpNear fp;

    // The work buffer: kh + 3 row pointers, the border component, then the integer pipeline.
    // Output rows go in groups of up to four, which read kh + 3 source rows; a segment that
    // reads the border component's strips takes at most two (its ring holds kh + 1 rows).
    const void** rows = (const void**)(((uintptr_t)pBuffer + 7) & ~(uintptr_t)7);
    uint8_t* mem = (uint8_t*)(rows + kh + 3);
    BorderRows br;
    br.init(pSrc, srcStep, sizeof(T), C, W, H, e, b, borderValue, C, mem);
    mem = aligned64(mem + BorderRows::bufferSize(W, C * sizeof(T), e));

    if constexpr (std::is_floating_point_v<T>) {
        // Floating-point data are read in place and written directly.
        using L = std::conditional_t<std::is_same_v<T, float>, ftap::LanesF, ftap::LanesD>;
        for (int64_t y = 0; y < H; y += 4) {
            const int g = H - y < 4 ? (int)(H - y) : 4;
            for (int i = 0; i < br.segments(); ++i) {
                const auto sg = br.segment(i);
                for (int q = 0, nr; q < g; q += nr) {
                    nr = groupRows(g - q, br.direct(i) ? 4 : 2, kh);
                    for (int r = 0; r < kh + nr - 1; ++r)
                        rows[r] = br.rowAs<T>(y + q - e.top + r, i) + (int64_t)(sg.x0 - e.left) * C;
                    T* out[4];
                    for (int k = 0; k < nr; ++k) out[k] = row(pDst, dstStep, y + q + k) + (int64_t)sg.x0 * C;
                    sumRows<L, T>(nr, rows, s, C, (int64_t)(sg.x1 - sg.x0) * C, out);
                }
            }
        }
        return zelStsNoErr;
    } else {
        // Integer data: each source row a segment reads is widened once into its ring of
        // kh + 3 rows; each group's rows of sums are then converted to the destination.
        const int path = s->path, most = path == kPathInt16 ? 2 : 4, ring = kh + most - 1;
        int64_t* tags = (int64_t*)mem;
        mem += round64(3 * ring * 8);
        uint8_t* slots[3];
        int64_t slot[3];
        for (int i = 0; i < br.segments(); ++i) {
            const auto sg = br.segment(i);
            slot[i] = round64((int64_t)(sg.x1 - sg.x0 + kw - 1) * C * 4 + 64);
            slots[i] = mem, mem += slot[i] * ring;
        }
        for (int64_t k = 0; k < 3 * ring; ++k) tags[k] = INT64_MIN;
        uint8_t* acc[4];
        for (int k = 0; k < 4; ++k) acc[k] = mem + k * round64((int64_t)W * C * 4 + 64);

        ftap::Finish f;
        f.offset = s->scaledOffset, f.recip = s->recip;
        f.ioffset = (int32_t)(uint32_t)((int64_t)s->offset * s->divisor);
        f.shift = s->shift, f.addend = s->addend, f.mask = s->mask;

        // Each group of nr rows is summed over every segment and converted while its rows of
        // sums are still in the first-level cache; 16-bit lanes take two rows (16 ymm registers).
        for (int64_t y = 0, nr; y < H; y += nr) {
            nr = groupRows((int)(H - y < 4 ? H - y : 4), most, kh);
            for (int i = 0; i < br.segments(); ++i) {
                const auto sg = br.segment(i);
                const int64_t cols = (int64_t)(sg.x1 - sg.x0 + kw - 1) * C;
                for (int r = 0; r < kh + nr - 1; ++r) {
                    const int64_t ys = y - e.top + r, k = (ys + e.top) % ring;
                    uint8_t* dst = slots[i] + k * slot[i];
                    if (tags[i * ring + k] != ys) {
                        const T* src = br.rowAs<T>(ys, i) + (int64_t)(sg.x0 - e.left) * C;
                        if (path == kPathInt) ftap::ownWidenRow(src, (int32_t*)dst, cols);
                        else if (path != kPathInt16) ftap::ownWidenRow(src, (float*)dst, cols);
                        else if constexpr (sizeof(T) == 1) ftap::ownWidenRow(src, (int16_t*)dst, cols);
                        tags[i * ring + k] = ys;
                    }
                    rows[r] = dst;
                }
                const int64_t n = (int64_t)(sg.x1 - sg.x0) * C, at = (int64_t)sg.x0 * C;
                auto outs = [&](auto* type) {
                    using A = std::remove_pointer_t<decltype(type)>;
                    std::array<A*, 4> o{};
                    for (int k = 0; k < nr; ++k) o[k] = (A*)acc[k] + at;
                    return o;
                };
                if (path == kPathInt) sumRows<ftap::LanesI>((int)nr, rows, s, C, n, outs((int32_t*)nullptr).data());
                else if (path != kPathInt16) sumRows<ftap::LanesF>((int)nr, rows, s, C, n, outs((float*)nullptr).data());
                else if constexpr (sizeof(T) == 1) sumRows<ftap::LanesW>((int)nr, rows, s, C, n, outs((int16_t*)nullptr).data());
            }
            for (int q = 0; q < nr; ++q) finishRow(s, acc[q], (int64_t)W * C, row(pDst, dstStep, y + q), f);
        }
        return zelStsNoErr;
    }
}

// The older 64f filter: the caller's image carries the pixels around the ROI; the
// neighbourhood of (x, y) starts at (x + anchor.x - kw + 1, y + anchor.y - kh + 1).
ZelStatus filter64f(const Zel64f* pSrc, int srcStep, Zel64f* pDst, int dstStep, ZeliSize roi, const Zel64f* pKernel,
                    ZeliSize k, ZeliPoint anchor, Zel8u*) {
    if (!pSrc || !pDst || !pKernel) return zelStsNullPtrErr;
    if (roi.width < 1 || roi.height < 1 || k.width < 1 || k.height < 1) return zelStsSizeErr;
    if ((int64_t)srcStep < ((int64_t)roi.width + k.width - 1) * 8 || (int64_t)dstStep < (int64_t)roi.width * 8)
        return zelStsStepErr;
    cvt::FpNear fp;
    const int64_t n = (int64_t)k.width * k.height, sstep = srcStep / 8;
    const Zel64f* base = pSrc + (int64_t)(anchor.y - k.height + 1) * sstep + (anchor.x - k.width + 1);
    for (int64_t y = 0; y < roi.height; y += 4) {
        Zel64f* out[4];
        const ftap::RowStride<Zel64f> rows{base + y * sstep, sstep};
        for (int q = 0; q < 4 && y + q < roi.height; ++q) out[q] = row(pDst, dstStep, y + q);
        if (y + 4 <= roi.height && k.height >= 3) ftap::ownFilterTapsRows<ftap::LanesD, 4>(rows, k.height, k.width, 1, pKernel + n - 1, -1, roi.width, out);
        else
            for (int q = 0; q < 4 && y + q < roi.height; ++q)
                ftap::ownFilterTapsRows<ftap::LanesD, 1>(ftap::RowStride<Zel64f>{base + (y + q) * sstep, sstep}, k.height,
                                                         k.width, 1, pKernel + n - 1, -1, roi.width, out + q);
    }
    return zelStsNoErr;
}

ZelStatus filterGetBufSize64f(ZeliSize k, int roiWidth, int* pSize) {
    if (!pSize) return zelStsNullPtrErr;
    if (k.width < 1 || k.height < 1 || roiWidth < 1) return zelStsSizeErr;
    const int64_t n = (int64_t)k.width * k.height * 64 + 128;
    if (n > kInt32Max) return zelStsBufferSizeErr;
    *pSize = (int)n;
    return zelStsNoErr;
}

}  // namespace
}  // namespace zel

ZEL_IMPL(zeliFilterBorderGetSize, zel::getSize)
ZEL_IMPL(zeliFilterBorderInit_16s, zel::init16s)
ZEL_IMPL(zeliFilterBorderInit_32f, zel::init32f)
ZEL_IMPL(zeliFilterBorderInit_64f, zel::init64f)
ZEL_IMPL(zeliFilterBorderSetMode, zel::setMode)
ZEL_IMPL(zeliFilter_64f_C1R, zel::filter64f)
ZEL_IMPL(zeliFilterGetBufSize_64f_C1R, zel::filterGetBufSize64f)

#define ZEL_FB(T, C) ZEL_IMPL(zeliFilterBorder_##T##_C##C##R, zel::filterBorder<Zel##T, C>)
ZEL_FB(8u, 1) ZEL_FB(8u, 3) ZEL_FB(8u, 4)
ZEL_FB(16u, 1) ZEL_FB(16u, 3) ZEL_FB(16u, 4)
ZEL_FB(16s, 1) ZEL_FB(16s, 3) ZEL_FB(16s, 4)
ZEL_FB(32f, 1) ZEL_FB(32f, 3) ZEL_FB(32f, 4)
ZEL_FB(64f, 1)
