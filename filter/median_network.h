// Selection networks for the exact median of small masks (both sides 1, 3 or 5).
//
// The samples of a kw x kh neighbourhood reach the network with each column already sorted
// (the column sort is shared by the kw outputs that read that column). The network then
// sorts the rows of the kw x kh matrix, which leaves the columns sorted too, so that sample
// (r, c) has at least (r + 1)(c + 1) - 1 samples below it and (kh - r)(kw - c) - 1 above it.
// Samples with too many known neighbours on one side cannot be the median; the median of the
// whole mask is a fixed rank among the rest (for 5x5: the median of 13 candidates), which an
// odd-even merge network selects.
//
// The network is built at compile time and pruned twice: a comparator whose order is already
// implied by the sorted columns and the comparators before it is dropped (proven on every 0-1
// input with sorted columns, which by the 0-1 principle covers every input), and of the rest
// only the halves that feed the median are kept (a comparator whose maximum is never read
// becomes one min, and so on). Every step is a min or max, exact on any totally ordered lanes.
#pragma once

#include <stdint.h>

#include <utility>

namespace zel {

struct MedianCmp {
    uint8_t i, j;  // wires, i < j: after the comparator i holds the minimum, j the maximum
    uint8_t keep;  // 1: only the minimum is read later, 2: only the maximum, 3: both
};

template <int KW, int KH>
struct MedianNet {
    static constexpr int n = KW * KH;
    MedianCmp cmp[160];
    int count;
    int out;  // the wire that ends holding the median
};

namespace median_net {

// Comparators that sort k <= 5 wires given by w[0..k).
constexpr int sortNet(int k, uint8_t (*out)[2]) {
    constexpr uint8_t s3[3][2] = {{0, 1}, {1, 2}, {0, 1}};
    constexpr uint8_t s5[9][2] = {{0, 1}, {3, 4}, {2, 4}, {2, 3}, {1, 4}, {0, 3}, {0, 2}, {1, 3}, {1, 2}};
    if (k == 3) for (int c = 0; c < 3; ++c) out[c][0] = s3[c][0], out[c][1] = s3[c][1];
    if (k == 5) for (int c = 0; c < 9; ++c) out[c][0] = s5[c][0], out[c][1] = s5[c][1];
    return k == 3 ? 3 : k == 5 ? 9 : 0;
}

// Batcher's odd-even merge sort of N (a power of two) wires; calls f(a, b) per comparator.
template <class F>
constexpr void batcher(int N, F f) {
    for (int p = 1; p < N; p *= 2)
        for (int k = p; k >= 1; k /= 2)
            for (int j = k % p; j + k < N; j += 2 * k)
                for (int i = 0; i < k && i + j + k < N; ++i)
                    if ((i + j) / (p * 2) == (i + j + k) / (p * 2)) f(i + j, i + j + k);
}

}  // namespace median_net

// Wire of sample (row r, column c): c * KH + r.
template <int KW, int KH>
consteval MedianNet<KW, KH> makeMedianNet() {
    constexpr int n = KW * KH, m = (n - 1) / 2;
    int P = 1;  // 0-1 inputs with sorted columns: a count of ones per column
    for (int c = 0; c < KW; ++c) P *= KH + 1;
    const int words = (P + 63) / 64;

    uint8_t raw[200][2] = {};
    int nraw = 0;
    uint8_t s[9][2] = {};
    const int ns = median_net::sortNet(KW, s);
    for (int r = 0; r < KH; ++r)
        for (int k = 0; k < ns; ++k) raw[nraw][0] = s[k][0] * KH + r, raw[nraw++][1] = s[k][1] * KH + r;
    int cand[n] = {}, nc = 0, below = 0;
    for (int r = 0; r < KH; ++r)
        for (int c = 0; c < KW; ++c) {
            if ((r + 1) * (c + 1) <= m + 1 && (KH - r) * (KW - c) <= m + 1) cand[nc++] = c * KH + r;
            if ((KH - r) * (KW - c) >= m + 2) ++below;
        }
    int N = 1;
    while (N < nc) N *= 2;
    median_net::batcher(N, [&](int a, int b) {
        if (b < nc) raw[nraw][0] = cand[a], raw[nraw++][1] = cand[b];
    });

    // Bit t of wire w is the value on w for the t-th 0-1 input.
    uint64_t bits[n][122] = {};
    for (int t = 0; t < P; ++t) {
        int rest = t;
        for (int c = 0; c < KW; ++c) {
            const int ones = rest % (KH + 1);
            rest /= KH + 1;
            for (int r = KH - ones; r < KH; ++r) bits[c * KH + r][t / 64] |= 1ull << (t % 64);
        }
    }
    uint8_t kept[200][2] = {};
    int nk = 0;
    for (int k = 0; k < nraw; ++k) {
        const int i = raw[k][0], j = raw[k][1];
        bool swaps = false;
        for (int w = 0; w < words; ++w) swaps |= (bits[i][w] & ~bits[j][w]) != 0;
        if (!swaps) continue;
        for (int w = 0; w < words; ++w) {
            const uint64_t lo = bits[i][w] & bits[j][w], hi = bits[i][w] | bits[j][w];
            bits[i][w] = lo, bits[j][w] = hi;
        }
        kept[nk][0] = (uint8_t)i, kept[nk++][1] = (uint8_t)j;
    }

    MedianNet<KW, KH> net{};
    net.out = cand[m - below];
    bool live[n] = {};
    live[net.out] = true;
    MedianCmp rev[200] = {};
    int nr = 0;
    for (int k = nk - 1; k >= 0; --k) {
        const int i = kept[k][0], j = kept[k][1];
        if (!live[i] && !live[j]) continue;
        rev[nr++] = {(uint8_t)i, (uint8_t)j, (uint8_t)((live[i] ? 1 : 0) | (live[j] ? 2 : 0))};
        live[i] = live[j] = true;
    }
    for (int k = 0; k < nr; ++k) net.cmp[k] = rev[nr - 1 - k];
    net.count = nr;
    return net;
}

template <int KW, int KH>
inline constexpr MedianNet<KW, KH> kMedianNet = makeMedianNet<KW, KH>();

template <class L, class V, MedianCmp c>
inline void medianStep(V* w) {
    const V a = w[c.i], b = w[c.j];
    if constexpr ((c.keep & 1) != 0) w[c.i] = L::mn(a, b);
    if constexpr ((c.keep & 2) != 0) w[c.j] = L::mx(a, b);
}

// Runs the network of a KW x KH mask on w (wires as above, columns sorted) with the lane
// operations of L (L::mn, L::mx) and returns the median.
template <class L, int KW, int KH, class V>
inline V medianSelect(V* w) {
    if constexpr (KW == 3 && KH == 3) {
        // 12 steps: the median of the largest column minimum, the median of the column medians
        // and the smallest column maximum.
        auto med3 = [](V a, V b, V c) { return L::mx(L::mn(a, b), L::mn(L::mx(a, b), c)); };
        const V lo = L::mx(L::mx(w[0], w[3]), w[6]), hi = L::mn(L::mn(w[2], w[5]), w[8]);
        return med3(lo, med3(w[1], w[4], w[7]), hi);
    } else {
        constexpr const MedianNet<KW, KH>& net = kMedianNet<KW, KH>;
        [&]<size_t... k>(std::index_sequence<k...>) {
            (medianStep<L, V, net.cmp[k]>(w), ...);
        }(std::make_index_sequence<net.count>{});
        return w[net.out];
    }
}

// Sorts k in {1, 3, 5} wires.
template <class L, int K, class V>
inline void sortColumn(V* w) {
    auto ce = [&](int i, int j) {
        const V a = w[i], b = w[j];
        w[i] = L::mn(a, b), w[j] = L::mx(a, b);
    };
    if constexpr (K == 3) ce(0, 1), ce(1, 2), ce(0, 1);
    if constexpr (K == 5) ce(0, 1), ce(3, 4), ce(2, 4), ce(2, 3), ce(1, 4), ce(0, 3), ce(0, 2), ce(1, 3), ce(1, 2);
}

}  // namespace zel
