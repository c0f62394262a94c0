// Conv: the two-dimensional convolution of two images, and its buffer query.
//
// With w1 x h1 the first image's size and w2 x h2 the second's, the full convolution is
//
//   full(X, Y) = sum over i in [0, h2), j in [0, w2) of src2(j, i) * src1(X - j, Y - i)
//
// for X in [0, w1 + w2 - 1), Y in [0, h1 + h2 - 1), where only the terms whose src1 pixel lies
// inside the first image exist (a true convolution: the second image runs backwards over the
// first). Each channel is convolved with the same channel of the other image; AC4 leaves the
// destination's alpha untouched. The shape picks a window of the full result, the same in
// both directions (shown for x):
//
//   algType 0, full:   width w1 + w2 - 1,      offset 0
//   algType 1, valid:  width |w1 - w2| + 1,    offset min(w1, w2) - 1 (where the smaller image
//                      lies wholly inside the larger one)
//   algType 2, same:   width w1,               offset (w2 - 1) / 2 (the second image's anchor)
//
// so dst(x, y) = full(x + offsetX, y + offsetY).
//
// 32f: single precision, the existing terms accumulated from +0 with fused multiply-adds in
// increasing i, then increasing j. Integer types: the exact sum (in floats for 8u with at most
// 258 taps, whose sums stay below 2^24; in 64-bit integers otherwise), divided by the divisor
// and rounded half to even, then saturated.
//
// Checks, in order: any pointer null (-8); a width or height below 1 (-6); a step below 1
// (-16); algType outside 0..2 (-228); a zero divisor (-51); a full result wider or taller than
// 2147483647 (-6).
//
// The work buffer holds the second image as tap vectors in the accumulation type (each tap's
// weights laid out as the channels of a vector of destination samples) and, for the integer
// types, a ring of the last min(h1, h2) rows of the first image converted to the accumulation
// type (32f rows are read where they are). A destination row is built in blocks of vectors
// kept in registers over the whole second image; a block whose taps read past either end of a
// source row masks those lanes out (the masked loads read nothing there), so the interior runs
// without tests.
#include <immintrin.h>
#include <algorithm>

#include "frame/zel_internal.h"
#include "kernels/convert_type.h"

namespace {

using namespace zel;

// Accumulation lanes: 16 floats, or 8 signed 64-bit integers multiplied from their low
// 32 bits (vpmuldq), so that every integer product and sum is exact.
struct LanesF {
    using A = float;
    using V = __m512;
    static constexpr int L = 16;
    static V zero() { return _mm512_setzero_ps(); }
    static V load(const A* p) { return _mm512_loadu_ps(p); }
    static V loadz(unsigned m, const A* p) { return _mm512_maskz_loadu_ps((__mmask16)m, p); }
    static V mac(V acc, V w, V s) { return _mm512_fmadd_ps(w, s, acc); }
    static V mac(V acc, unsigned m, V w, V s) { return _mm512_mask3_fmadd_ps(w, s, acc, (__mmask16)m); }
    // Lanes 8h .. 8h + 7 as doubles.
    static __m512d to_pd(V v, int h) {
        __m512d w = _mm512_castps_pd(v);
        return _mm512_cvtps_pd(_mm256_castpd_ps(h ? _mm512_extractf64x4_pd(w, 1) : _mm512_castpd512_pd256(w)));
    }
};
struct LanesI {
    using A = int64_t;
    using V = __m512i;
    static constexpr int L = 8;
    static V zero() { return _mm512_setzero_si512(); }
    static V load(const A* p) { return _mm512_loadu_si512(p); }
    static V loadz(unsigned m, const A* p) { return _mm512_maskz_loadu_epi64((__mmask8)m, p); }
    static V mac(V acc, V w, V s) { return _mm512_add_epi64(acc, _mm512_mul_epi32(w, s)); }
    static V mac(V acc, unsigned m, V w, V s) {
        return _mm512_mask_add_epi64(acc, (__mmask8)m, acc, _mm512_mul_epi32(w, s));
    }
    // Exact within +-2^51, where the 1.5 * 2^52 bias puts the integer in the mantissa; a sum
    // beyond is taken as +-2^51, whose quotient by any int divisor saturates every destination
    // type just as the sum's own does.
    static __m512d to_pd(V v, int) {
        const __m512i bias = _mm512_set1_epi64(0x4338000000000000ll), big = _mm512_set1_epi64(1ll << 51);
        v = _mm512_min_epi64(_mm512_max_epi64(v, _mm512_sub_epi64(_mm512_setzero_si512(), big)), big);
        return _mm512_sub_pd(_mm512_castsi512_pd(_mm512_add_epi64(v, bias)), _mm512_castsi512_pd(bias));
    }
};

// Three channels repeat every three vectors; one and four channels every vector.
constexpr int groupOf(int channels) { return channels == 3 ? 3 : 1; }
// Vectors of one block: independent accumulators that hide the multiply-add latency.
constexpr int blockOf(int channels) { return channels == 3 ? 3 : 4; }

inline int64_t round64(int64_t n) { return (n + 63) & ~(int64_t)63; }
inline int64_t floordiv(int64_t a, int64_t b) { return a >= 0 ? a / b : -((-a + b - 1) / b); }
inline int64_t ceildiv(int64_t a, int64_t b) { return -floordiv(-a, b); }

// The taps, then for the integer types the ring of widened rows, and the alignment slack.
int64_t conv_buffer_bytes(ZeliSize s1, ZeliSize s2, bool integer, int channels) {
    int64_t taps = (int64_t)s2.width * s2.height * groupOf(channels) * 64;
    int64_t ring = integer ? (int64_t)std::min(s1.height, s2.height) * round64((int64_t)s1.width * channels * 8) : 0;
    return taps + ring + 64;
}

ZelStatus conv_buffer_size(ZeliSize s1, ZeliSize s2, ZelDataType type, int channels, int algType, int* pSize) {
    if (!pSize) return zelStsNullPtrErr;
    if (s1.width < 1 || s1.height < 1 || s2.width < 1 || s2.height < 1) return zelStsSizeErr;
    if (type != zel8u && type != zel16s && type != zel32f) return zelStsDataTypeErr;
    if (channels != 1 && channels != 3 && channels != 4) return zelStsNumChannelsErr;
    if (algType < 0 || algType > 2) return zelStsAlgTypeErr;
    int64_t n = conv_buffer_bytes(s1, s2, type != zel32f, channels);
    if (n > kInt32Max) {
        *pSize = 0;
        return zelStsBufferSizeErr;
    }
    *pSize = (int)n;
    return zelStsNoErr;
}

// Where the destination lies in the full result, per direction.
struct Shape {
    int64_t size, offset;
};
inline Shape shape_of(int algType, int64_t n1, int64_t n2) {
    if (algType == 0) return {n1 + n2 - 1, 0};
    if (algType == 1) return {(n1 > n2 ? n1 - n2 : n2 - n1) + 1, std::min(n1, n2) - 1};
    return {n1, (n2 - 1) / 2};
}

template <typename T, class LN, int C, bool Alpha>
class Convolver {
    using A = typename LN::A;
    using V = typename LN::V;
    static constexpr int L = LN::L, G = groupOf(C), K = blockOf(C);

public:
    Convolver(const T* s1, int st1, ZeliSize z1, const T* s2, int st2, ZeliSize z2, Shape sx, Shape sy,
              int divisor, Zel8u* buf)
        : s1_(s1), st1_(st1), w1_(z1.width), h1_(z1.height), w2_(z2.width), h2_(z2.height), sx_(sx), sy_(sy),
          div_(divisor) {
        uint8_t* base = (uint8_t*)(((uintptr_t)buf + 63) & ~(uintptr_t)63);
        taps_ = (A*)base;
        n1_ = (int64_t)w1_ * C;
        ringStride_ = round64(n1_ * (int64_t)sizeof(A)) / (int64_t)sizeof(A);
        ring_ = (A*)(base + (int64_t)w2_ * h2_ * G * 64);
        ringRows_ = std::min(h1_, h2_);
        A* t = taps_;
        for (int i = 0; i < h2_; ++i) {
            const T* r = row(s2, st2, i);
            for (int j = 0; j < w2_; ++j)
                for (int l = 0; l < G * L; ++l) {
                    int c = l % C;
                    *t++ = (Alpha && c == 3) ? (A)0 : (A)r[(int64_t)j * C + c];
                }
        }
    }

    void run(T* d, int dstStep) {
        int64_t next = 0;  // next row of the first image to enter the ring
        for (int64_t y = 0; y < sy_.size; ++y) {
            int64_t Y = y + sy_.offset;
            for (int64_t last = std::min<int64_t>(Y, h1_ - 1); kRing && next <= last; ++next) {
                const T* s = row(s1_, st1_, next);
                A* r = ring(next);
                for (int64_t k = 0; k < n1_; ++k) r[k] = (A)s[k];
            }
            destination_row(row(d, dstStep, y), Y);
        }
    }

private:
    static constexpr bool kRing = !std::is_same_v<T, A>;
    A* ring(int64_t r) const { return ring_ + (r % ringRows_) * ringStride_; }


    void destination_row(T* d, int64_t Y) {
        const int64_t nOut = sx_.size * C, iLo = std::max<int64_t>(0, Y - h1_ + 1), iHi = std::min<int64_t>(h2_ - 1, Y);
        const int64_t slot0 = kRing ? (Y - iLo) % ringRows_ : 0;  // ring slot of row Y - iLo
        for (int64_t so = 0; so < nOut; so += K * L) {
            const int64_t S = so + sx_.offset * C;  // full-result sample of the block's lane 0
            // Taps that reach some lane of the block, and those that reach the source for all.
            int64_t jLo = std::max<int64_t>(0, floordiv(S - n1_, C) + 1);
            int64_t jHi = std::min<int64_t>(w2_ - 1, ceildiv(S + K * L, C) - 1);
            int64_t a = std::max(jLo, ceildiv(S + K * L - n1_, C)), b = std::min(jHi, floordiv(S, C)) + 1;
            if (a >= b || so + K * L > nOut) a = b = jHi + 1;
            V acc[K];
            for (auto& v : acc) v = LN::zero();
            for (int64_t i = iLo, slot = slot0; i <= iHi; ++i) {
                const A* sr = kRing ? ring_ + slot * ringStride_ : (const A*)row(s1_, st1_, Y - i);
                slot = slot == 0 ? ringRows_ - 1 : slot - 1;
                const A* wi = taps_ + i * w2_ * G * L;
                for (int64_t j = jLo; j < a; ++j) masked_tap(acc, sr, wi, j, S, so, nOut);
                for (int64_t j = a; j < b; ++j) {
                    const A* sp = sr + (S - j * C);
                    const A* w = wi + j * G * L;
                    for (int k = 0; k < K; ++k) acc[k] = LN::mac(acc[k], LN::load(w + (k % G) * L), LN::load(sp + k * L));
                }
                for (int64_t j = b; j <= jHi; ++j) masked_tap(acc, sr, wi, j, S, so, nOut);
            }
            store(d, acc, so, nOut);
        }
    }

    // One tap over the lanes whose source sample lies in the row and whose destination
    // sample exists; the other lanes are neither read nor changed.
    void masked_tap(V* acc, const A* sr, const A* wi, int64_t j, int64_t S, int64_t so, int64_t nOut) const {
        const A* w = wi + j * G * L;
        for (int k = 0; k < K; ++k) {
            int64_t t0 = S + k * L - j * C;
            int64_t lo = std::max<int64_t>(0, -t0), hi = std::min<int64_t>({L, n1_ - t0, nOut - so - k * L});
            if (lo >= hi) continue;
            unsigned m = ((1u << hi) - 1) & ~((1u << lo) - 1);
            // The masked load reads only the lanes in m, all inside the row.
            const A* sp = (const A*)((uintptr_t)sr + (uintptr_t)(t0 * (int64_t)sizeof(A)));
            acc[k] = LN::mac(acc[k], m, LN::load(w + (k % G) * L), LN::loadz(m, sp));
        }
    }

    void store(T* d, const V* acc, int64_t so, int64_t nOut) const {
        if constexpr (std::is_same_v<T, float>) {
            for (int k = 0; k < K; ++k) {
                int64_t n = std::min<int64_t>(L, nOut - so - k * L);
                if (n <= 0) break;
                unsigned m = n >= L ? 0xFFFFu : (1u << n) - 1;
                if (Alpha) m &= 0x7777u;
                _mm512_mask_storeu_ps(d + so + k * L, (__mmask16)m, acc[k]);
            }
        } else {
            // The sums as doubles in groups of 8 lanes. Within +-2^51 the quotient rounded to
            // nearest is the exact quotient rounded half to even: its error, under
            // |n / d| * 2^-53, is less than its distance from any half-integer that it is not,
            // 1 / (2 |d|) at least.
            constexpr int groups = K * L / 8;
            const int64_t n = std::min<int64_t>(K * L, nOut - so);
            const __m512d dv = _mm512_set1_pd((double)div_), lo = _mm512_set1_pd((double)std::numeric_limits<T>::lowest()),
                          hi = _mm512_set1_pd((double)std::numeric_limits<T>::max());
            __m256i q[groups + 1];
            for (int g = 0; g < groups; ++g) {
                __m512d x = LN::to_pd(acc[g * 8 / L], g % (L / 8));
                x = _mm512_roundscale_pd(_mm512_div_pd(x, dv), _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
                q[g] = _mm512_cvtpd_epi32(_mm512_min_pd(_mm512_max_pd(x, lo), hi));
            }
            q[groups] = _mm256_setzero_si256();
            for (int g = 0; g * 8 < n; g += 2) {
                const int64_t left = n - g * 8;
                unsigned m = left >= 16 ? 0xFFFFu : (1u << left) - 1;
                cvt::store16(d + so + g * 8, cvt::VI{ownsJoin256(q[g], q[std::min(g + 1, groups)])},
                             (__mmask16)(Alpha ? m & 0x7777u : m));
            }
        }
    }

    const T* s1_;
    int st1_, w1_, h1_, w2_, h2_;
    Shape sx_, sy_;
    int64_t div_;
    A* taps_;
    A* ring_;
    int64_t n1_, ringStride_;
    int ringRows_;
};

template <typename T, int C, bool Alpha = false>
ZelStatus conv(const T* pSrc1, int src1Step, ZeliSize src1Size, const T* pSrc2, int src2Step, ZeliSize src2Size,
               T* pDst, int dstStep, int divisor, int algType, Zel8u* pBuffer) {
    if (!pSrc1 || !pSrc2 || !pDst || !pBuffer) return zelStsNullPtrErr;
    if (src1Size.width < 1 || src1Size.height < 1 || src2Size.width < 1 || src2Size.height < 1) return zelStsSizeErr;
    if (src1Step < 1 || src2Step < 1 || dstStep < 1) return zelStsStepErr;
    if (algType < 0 || algType > 2) return zelStsAlgTypeErr;
    if (divisor == 0) return zelStsDivisorErr;
    Shape sx = shape_of(algType, src1Size.width, src2Size.width), sy = shape_of(algType, src1Size.height, src2Size.height);
    if (sx.size > kInt32Max || sy.size > kInt32Max) return zelStsSizeErr;
    cvt::FpNear fp;
    auto run = [&](auto lanes) {
        Convolver<T, decltype(lanes), C, Alpha>(pSrc1, src1Step, src1Size, pSrc2, src2Step, src2Size, sx, sy, divisor,
                                                pBuffer)
            .run(pDst, dstStep);
    };
    // 8u sums of at most 258 products of at most 255 * 255 stay below 2^24: exact in floats.
    if constexpr (std::is_same_v<T, float>) run(LanesF{});
    else if (std::is_same_v<T, Zel8u> && (int64_t)src2Size.width * src2Size.height <= 258) run(LanesF{});
    else run(LanesI{});
    return zelStsNoErr;
}

template <int C, bool Alpha = false>
ZelStatus conv_32f(const Zel32f* pSrc1, int src1Step, ZeliSize src1Size, const Zel32f* pSrc2, int src2Step,
                   ZeliSize src2Size, Zel32f* pDst, int dstStep, int algType, Zel8u* pBuffer) {
    return conv<Zel32f, C, Alpha>(pSrc1, src1Step, src1Size, pSrc2, src2Step, src2Size, pDst, dstStep, 1, algType,
                                  pBuffer);
}

}  // namespace

ZEL_IMPL(zeliConvGetBufferSize, conv_buffer_size)

#define ZEL_CONV_INT(t, T)                                  \
    ZEL_IMPL(zeliConv_##t##_C1R, conv<T, 1>)                \
    ZEL_IMPL(zeliConv_##t##_C3R, conv<T, 3>)                \
    ZEL_IMPL(zeliConv_##t##_C4R, conv<T, 4>)                \
    ZEL_IMPL(zeliConv_##t##_AC4R, conv<T, 4, true>)
ZEL_CONV_INT(8u, Zel8u)
ZEL_CONV_INT(16s, Zel16s)
ZEL_IMPL(zeliConv_32f_C1R, conv_32f<1>)
ZEL_IMPL(zeliConv_32f_C3R, conv_32f<3>)
ZEL_IMPL(zeliConv_32f_C4R, conv_32f<4>)
ZEL_IMPL(zeliConv_32f_AC4R, conv_32f<4, true>)
