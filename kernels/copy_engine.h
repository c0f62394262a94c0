// The row-copy engine: moves bytes between rows of two images with the fastest store kind for
// the geometry (one contiguous run, narrow rows, cached stores with or without alignment, or
// non-temporal streaming for blocks that would only evict the cache). Every kernel reads and
// writes exactly the bytes of the rows it is given, nothing before or after them.
#pragma once

#include <immintrin.h>
#include <stdint.h>
#include <string.h>

#include "zel/zeltypes.h"

namespace zel {

// The unsigned sample type of S bytes: families whose members differ only in the sample type
// (16u/16s, 32s/32f) share one instance per sample size.
template <int S> struct Sample;
template <> struct Sample<1> { using type = uint8_t; };
template <> struct Sample<2> { using type = uint16_t; };
template <> struct Sample<4> { using type = uint32_t; };

// Blocks of this size or more are always streamed; the _L row loop copies a long row in
// pieces of kCopyChunk bytes.
constexpr int64_t kStreamAlways = int64_t(1) << 31;
constexpr int64_t kCopyChunk = int64_t(1) << 30;

// Copies n bytes (0 <= n <= 64) from src to dst with two moves of the largest width that fits,
// overlapping in the middle.
inline void ownsCopyShort_8u(const uint8_t* s, uint8_t* d, int64_t n) {
    if (n >= 32) {
        __m256i a = _mm256_loadu_si256((const __m256i*)s);
        __m256i b = _mm256_loadu_si256((const __m256i*)(s + n - 32));
        _mm256_storeu_si256((__m256i*)d, a);
        _mm256_storeu_si256((__m256i*)(d + n - 32), b);
    } else if (n >= 16) {
        __m128i a = _mm_loadu_si128((const __m128i*)s);
        __m128i b = _mm_loadu_si128((const __m128i*)(s + n - 16));
        _mm_storeu_si128((__m128i*)d, a);
        _mm_storeu_si128((__m128i*)(d + n - 16), b);
    } else if (n >= 8) {
        uint64_t a, b;
        memcpy(&a, s, 8);
        memcpy(&b, s + n - 8, 8);
        memcpy(d, &a, 8);
        memcpy(d + n - 8, &b, 8);
    } else if (n >= 4) {
        uint32_t a, b;
        memcpy(&a, s, 4);
        memcpy(&b, s + n - 4, 4);
        memcpy(d, &a, 4);
        memcpy(d + n - 4, &b, 4);
    } else if (n >= 2) {
        uint16_t a, b;
        memcpy(&a, s, 2);
        memcpy(&b, s + n - 2, 2);
        memcpy(d, &a, 2);
        memcpy(d + n - 2, &b, 2);
    } else if (n == 1) {
        *d = *s;
    }
}

// Copies n >= 0 bytes from src to dst (which do not overlap) with cached stores: an unaligned
// head, 64-byte stores aligned on the destination, and a last 64-byte move that ends exactly
// at the end of the row.
inline void ownsCopyRow_8u(const uint8_t* s, uint8_t* d, int64_t n) {
    if (n <= 64) {
        ownsCopyShort_8u(s, d, n);
        return;
    }
    __m512i head = _mm512_loadu_si512(s);
    __m512i tail = _mm512_loadu_si512(s + n - 64);
    if (n > 128) {
        int64_t a = 64 - (int64_t)((uintptr_t)d & 63);
        int64_t p = a, end = n - 64;
        for (; p + 256 <= end; p += 256) {
            __m512i v0 = _mm512_loadu_si512(s + p), v1 = _mm512_loadu_si512(s + p + 64);
            __m512i v2 = _mm512_loadu_si512(s + p + 128), v3 = _mm512_loadu_si512(s + p + 192);
            _mm512_store_si512(d + p, v0);
            _mm512_store_si512(d + p + 64, v1);
            _mm512_store_si512(d + p + 128, v2);
            _mm512_store_si512(d + p + 192, v3);
        }
        for (; p < end; p += 64) _mm512_store_si512(d + p, _mm512_loadu_si512(s + p));
    }
    _mm512_storeu_si512(d, head);
    _mm512_storeu_si512(d + n - 64, tail);
}

// True when a block of total bytes should be written with non-temporal stores: always from
// 2^31 bytes on; above 0x300000 bytes when it is at least half of the processor's largest
// cache (never when that size cannot be read).
bool ownsUseStreaming(int64_t total);

// The same choice for kernels that compute what they store (planar conversions, arithmetic,
// logic, element-wise functions), given the bytes they move: every image read plus the one
// written. Light kernels, a few instructions a vector, stream from half the largest cache;
// heavy ones (shuffles between planes, divisions, roots, exponentials) from a quarter of it:
// their cached stores pay a read for ownership of every destination line that the memory
// traffic no longer hides (measured on the benchmark kit).
inline bool ownsUseStreamingComputed(int64_t moved, bool heavy) {
    return ownsUseStreaming(heavy && moved < kStreamAlways ? 2 * moved : moved);
}

// Bytes that such a kernel, when it streams, prefetches (into L2) ahead of its loads, over all
// of its sources together: large images come from memory, and the hardware prefetcher alone
// leaves the loads waiting.
constexpr int64_t kStreamAhead = 8192;

// The store path of a 2-D copy, chosen from the geometry alone. The three cached paths copy
// rows of 2 KiB and more with the processor's string move (from the first 64-byte boundary of
// the destination on); they differ in how they copy shorter rows.
enum class CopyPath {
    Narrow,           // rows below 512 bytes, each with a few overlapping moves
    Unaligned,        // cached stores, unaligned head and tail
    Aligned,          // cached stores; destination, dstStep and rowBytes multiples of 32
    AlignedAhead,     // as Aligned, loads one block ahead of the stores (4 KiB aliasing)
    StreamAligned,    // non-temporal stores; destination and dstStep multiples of 64
    StreamUnaligned,  // non-temporal stores between cached heads and tails
};
struct CopyPlan {
    CopyPath path;
    int64_t rowBytes, height;  // a contiguous block becomes one row
};

// Chooses the path of ownsCopy2D_8u: a contiguous block (rowBytes equal to both steps, below
// 2^31 bytes) is one row; otherwise rows below 512 bytes take the narrow path; blocks that
// ownsUseStreaming accepts are streamed (aligned when the destination and dstStep are multiples
// of 64 and rowBytes of 32); the rest use cached stores, aligned when the destination, dstStep
// and rowBytes are multiples of 32, and then ordered against 4 KiB aliasing when the steps are
// equal and the destination lies 0 to 159 bytes after the source modulo 4096.
CopyPlan ownsPlanCopy2D_8u(const uint8_t* src, int64_t srcStep, const uint8_t* dst, int64_t dstStep,
                           int64_t rowBytes, int64_t height);

// Copies height rows of rowBytes bytes (both >= 1) from src to dst, rows advancing by the
// steps as given (zero and negative steps included), along the path ownsPlanCopy2D_8u picks.
void ownsCopy2D_8u(const uint8_t* src, int64_t srcStep, uint8_t* dst, int64_t dstStep,
                   int64_t rowBytes, int64_t height);

// Copies one row of n >= 1 bytes with cached stores, the way the cached paths of
// ownsCopy2D_8u copy their rows: the string move from 2 KiB on, vector stores below. For
// callers that do more with each row while its lines are still in the first-level cache.
void ownsCopyRowCached_8u(const uint8_t* src, uint8_t* dst, int64_t n);

// The one-dimensional byte copy: copies len bytes from pSrc to pDst as one run of the engine.
// zelStsNullPtrErr for a null pointer, zelStsSizeErr when len < 1.
ZelStatus ownsCopy_8u(const Zel8u* pSrc, Zel8u* pDst, int64_t len);

// Copies height rows of rowBytes bytes, handing each row to ownsCopy_8u in pieces of at most
// chunk bytes. Returns the status of the last row: NoErr, or the last negative status of one
// of its pieces.
ZelStatus ownsCopyRowsChunked_8u(const Zel8u* pSrc, int64_t srcStep, Zel8u* pDst, int64_t dstStep,
                                 int64_t rowBytes, int64_t height, int64_t chunk);

// Fills height rows of rowBytes bytes with copies of one pixel of pixelBytes bytes (1, 2, 3,
// 4, 6, 8, 12 or 16); rowBytes is a multiple of pixelBytes. A single run when dstStep equals
// rowBytes; streaming stores under the same rule as the copy. Blocks above 1 MiB that are not
// streamed use string stores (pixels of 1, 2, 4, 8 bytes, rows of 4 KiB and more), or fill
// the first 12 KiB of each long row and repeat them with one overlapping string move.
void ownsFill2D_8u(const uint8_t* pixel, int pixelBytes, uint8_t* dst, int64_t dstStep,
                   int64_t rowBytes, int64_t height);

}  // namespace zel
