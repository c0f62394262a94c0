// Shifts by constant per-channel counts: LShiftC (bits shifted out are lost), RShiftC (zeros
// shifted in for unsigned types, the sign bit for 16s and 32s). A count not below the sample
// width gives 0, or the sign fill (0 or -1) for the signed right shifts, for every count up
// to 2^32 - 1. Checks: pointers, then steps (< 1), then size (< 1).
//
// Samples are shifted inside 32-bit lanes (AVX-512F has no 8- or 16-bit shifts): a lane is
// shifted once per group of its samples that share a count, and a per-byte select keeps of
// each shift only the bits that belong to the group's samples and did not come from a
// neighbour. With all channel counts equal (always for C1) a lane is one group; otherwise
// every sample position of the lane is its own group. 16s shifts its low samples moved to
// the top of the lane, so that the arithmetic lane shift brings in their own sign. 16-bit
// samples with one count for all channels (always C1) use the AVX2 16-bit shifts instead.
#include "frame/zel_internal.h"
#include "kernels/logic_stream.h"

namespace {

using namespace zel;

enum Kind { kLeft, kRightLogical, kRightArith };

template <int G, int K, bool Lo16>
struct ShiftOp {
    __m512i cnt[3][G], sel[3][G];

    __m512i operator()(__m512i x, __m512i, int k) const {
        __m512i r = _mm512_setzero_si512();
        for (int g = 0; g < G; ++g) {
            __m512i in = (Lo16 && g == 0) ? _mm512_slli_epi32(x, 16) : x;
            __m512i s = K == kLeft           ? _mm512_sllv_epi32(in, cnt[k][g])
                        : K == kRightLogical ? _mm512_srlv_epi32(in, cnt[k][g])
                                             : _mm512_srav_epi32(in, cnt[k][g]);
            r = _mm512_ternarylogic_epi32(r, s, sel[k][g], 0xF8);  // r | (s & sel)
        }
        return r;
    }
};

// Fills the per-lane counts and selects of every phase and group for samples of S bytes in
// C channels (the fourth of AC4 shifted like the first; the engine keeps it anyway).
template <int S, int G, int K, bool Lo16>
void build(ShiftOp<G, K, Lo16>& op, const Zel32u* counts, int channels, int used) {
    constexpr uint64_t ones = S == 4 ? 0xFFFFFFFFull : (1ull << (8 * S)) - 1;
    const int span = 4 / G;  // bytes of a lane in one group
    for (int k = 0; k < 3; ++k)
        for (int g = 0; g < G; ++g) {
            alignas(64) uint32_t c32[16], s32[16];
            for (int l = 0; l < 16; ++l) {
                uint32_t lane_sel = 0, lane_cnt = 0;
                for (int b = g * span; b < (g + 1) * span; b += S) {
                    int64_t e = (64 * k + 4 * l + b) / S;
                    int ch = (int)(e % channels);
                    uint64_t c = counts[ch < used ? ch : 0];  // alpha: any count of the group, kept anyway
                    uint64_t keep = K == kLeft ? (c < 8 * S ? (ones << c) & ones : 0)
                                    : K == kRightLogical ? (c < 8 * S ? ones >> c : 0)
                                                         : ones;
                    lane_sel |= (uint32_t)(keep << (8 * b));
                    lane_cnt = (uint32_t)(c < 32 ? c : 32);
                    if (Lo16) lane_cnt = (uint32_t)(c < 16 ? c : 16) + (g == 0 ? 16 : 0);
                }
                c32[l] = lane_cnt, s32[l] = lane_sel;
            }
            op.cnt[k][g] = _mm512_load_si512(c32);
            op.sel[k][g] = _mm512_load_si512(s32);
        }
}

// 16-bit samples with one count for every channel: the AVX2 16-bit shifts, which by themselves
// give 0 (or the sign fill) for any count above 15.
template <int K>
struct Shift16Op {
    using Vec = Halves;
    __m128i cnt;
    __m256i one(__m256i x) const {
        return K == kLeft ? _mm256_sll_epi16(x, cnt) : K == kRightLogical ? _mm256_srl_epi16(x, cnt) : _mm256_sra_epi16(x, cnt);
    }
    Halves operator()(const Halves& x, const Halves&, int) const { return {one(x.lo), one(x.hi)}; }
};

template <typename T, int K, int C, bool Alpha, int G, bool Lo16>
void run(const T* pSrc, int srcStep, const Zel32u* counts, T* pDst, int dstStep, ZeliSize roi) {
    ShiftOp<G, K, Lo16> op;
    build<sizeof(T)>(op, counts, C, Alpha ? 3 : C);
    ownsStreamLayout<sizeof(T), C, Alpha, false>(op, pSrc, srcStep, nullptr, 0, nullptr, pDst, dstStep, roi.width,
                                                 roi.height);
}

template <typename T, int K, int C, bool Alpha = false>
ZelStatus shift_checked(const T* pSrc, int srcStep, const Zel32u* counts, T* pDst, int dstStep, ZeliSize roi) {
    if (ownsAnyNull(pSrc, counts, pDst)) return zelStsNullPtrErr;
    if (srcStep < 1 || dstStep < 1) return zelStsStepErr;
    if (roi.width < 1 || roi.height < 1) return zelStsSizeErr;
    constexpr int S = sizeof(T);
    const int used = Alpha ? 3 : C;
    bool uniform = true;
    for (int c = 1; c < used; ++c) uniform &= counts[c] == counts[0];
    if constexpr (S == 2) {
        if (uniform) {
            const Shift16Op<K> op{_mm_cvtsi64_si128((long long)counts[0])};
            ownsStreamLayout<S, C, Alpha, false>(op, pSrc, srcStep, nullptr, 0, nullptr, pDst, dstStep, roi.width, roi.height);
            return zelStsNoErr;
        }
    }
    if constexpr (S == 2 && K == kRightArith) {
        run<T, K, C, Alpha, 2, true>(pSrc, srcStep, counts, pDst, dstStep, roi);
    } else if constexpr (S == 4 || C == 1) {
        run<T, K, C, Alpha, 1, false>(pSrc, srcStep, counts, pDst, dstStep, roi);
    } else {
        if (uniform)
            run<T, K, C, Alpha, 1, false>(pSrc, srcStep, counts, pDst, dstStep, roi);
        else
            run<T, K, C, Alpha, 4 / S, false>(pSrc, srcStep, counts, pDst, dstStep, roi);
    }
    return zelStsNoErr;
}

}  // namespace

#define ZEL_SHIFT(name, t, T, K)                                        \
    ZEL_IMPL(zeli##name##_##t##_C1R, const_scalar<shift_checked<T, K, 1>, T, Zel32u>)          \
    ZEL_IMPL(zeli##name##_##t##_C1IR, const_scalar_inplace<shift_checked<T, K, 1>, T, Zel32u>) \
    ZEL_IMPL(zeli##name##_##t##_C3R, shift_checked<T, K, 3>)                                 \
    ZEL_IMPL(zeli##name##_##t##_C3IR, const_inplace<shift_checked<T, K, 3>, T, Zel32u>)      \
    ZEL_IMPL(zeli##name##_##t##_C4R, shift_checked<T, K, 4>)                                 \
    ZEL_IMPL(zeli##name##_##t##_C4IR, const_inplace<shift_checked<T, K, 4>, T, Zel32u>)      \
    ZEL_IMPL(zeli##name##_##t##_AC4R, shift_checked<T, K, 4, true>)                          \
    ZEL_IMPL(zeli##name##_##t##_AC4IR, const_inplace<shift_checked<T, K, 4, true>, T, Zel32u>)

ZEL_SHIFT(LShiftC, 8u, Zel8u, kLeft)
ZEL_SHIFT(LShiftC, 16u, Zel16u, kLeft)
ZEL_SHIFT(LShiftC, 32s, Zel32s, kLeft)
ZEL_SHIFT(RShiftC, 8u, Zel8u, kRightLogical)
ZEL_SHIFT(RShiftC, 16u, Zel16u, kRightLogical)
ZEL_SHIFT(RShiftC, 16s, Zel16s, kRightArith)
ZEL_SHIFT(RShiftC, 32s, Zel32s, kRightArith)
