// The row-copy and fill engines. See copy_engine.h for the contracts.
#include "copy_engine.h"

#include <atomic>

#include "zel/zelcore.h"

namespace zel {
namespace {

constexpr int64_t kNarrowRow = 512;
constexpr int64_t kStreamFloor = 0x300000;
constexpr int64_t kAliasPage = 4096;
constexpr int64_t kAliasWindow = 160;
constexpr int64_t kStringFillFloor = 1 << 20;
constexpr int64_t kStringFillRow = 4096;
constexpr int64_t kFillAhead = 512;
constexpr int64_t kStringCopyRow = 2048;
constexpr int64_t kFillRepeat = 12288;  // a multiple of 192 and of 4096

inline __m512i load64(const uint8_t* p) { return _mm512_loadu_si512(p); }
inline __m256i load32(const uint8_t* p) { return _mm256_loadu_si256((const __m256i*)p); }

// Size in bytes of the largest cache, 0 when the core library cannot tell. Asked once; the
// answer is the same for every thread, so a racing first call only asks twice.
int64_t max_cache_bytes() {
    static std::atomic<int> cached{-1};
    int c = cached.load(std::memory_order_relaxed);
    if (c < 0) {
        int size = 0;
        c = (zelGetMaxCacheSizeB(&size) == zelStsNoErr && size > 0) ? size : 0;
        cached.store(c, std::memory_order_relaxed);
    }
    return c;
}

// Copies rows of fewer than 512 bytes, each with a few overlapping moves.
void copy_narrow(const uint8_t* s, int64_t ss, uint8_t* d, int64_t ds, int64_t n, int64_t h) {
    if (n <= 64) {
        for (int64_t r = 0; r < h; ++r, s += ss, d += ds) ownsCopyShort_8u(s, d, n);
        return;
    }
    for (int64_t r = 0; r < h; ++r, s += ss, d += ds) {
        __m512i last = load64(s + n - 64);
        for (int64_t p = 0; p < n - 64; p += 64) _mm512_storeu_si512(d + p, load64(s + p));
        _mm512_storeu_si512(d + n - 64, last);
    }
}

// Copies n >= 128 bytes with the processor's string move from the first 64-byte boundary of
// the destination on (the move runs whole lines there), after one unaligned 64-byte head.
inline void string_copy_row(const uint8_t* s, uint8_t* d, int64_t n) {
    _mm512_storeu_si512(d, load64(s));
    int64_t a = 64 - (int64_t)((uintptr_t)d & 63);
    const uint8_t* si = s + a;
    uint8_t* di = d + a;
    uint64_t count = (uint64_t)(n - a);
    asm volatile("rep movsb" : "+D"(di), "+S"(si), "+c"(count) : : "memory");
}

// Copies rows with cached stores where destination, dstStep and n are multiples of 32: one
// 32-byte store to reach a 64-byte boundary when needed, then aligned 64-byte stores, and a
// last 32-byte store when n leaves one. Rows of 2 KiB and more take the string move, which
// moves whole lines faster than vector stores while the block fits the caches.
void copy_aligned(const uint8_t* s, int64_t ss, uint8_t* d, int64_t ds, int64_t n, int64_t h) {
    if (n >= kStringCopyRow) {
        for (int64_t r = 0; r < h; ++r, s += ss, d += ds) string_copy_row(s, d, n);
        return;
    }
    for (int64_t r = 0; r < h; ++r, s += ss, d += ds) {
        int64_t p = 0;
        if ((uintptr_t)d & 63) {
            _mm256_store_si256((__m256i*)d, load32(s));
            p = 32;
        }
        for (; p + 256 <= n; p += 256) {
            __m512i v0 = load64(s + p), v1 = load64(s + p + 64);
            __m512i v2 = load64(s + p + 128), v3 = load64(s + p + 192);
            _mm512_store_si512(d + p, v0);
            _mm512_store_si512(d + p + 64, v1);
            _mm512_store_si512(d + p + 128, v2);
            _mm512_store_si512(d + p + 192, v3);
        }
        for (; p + 64 <= n; p += 64) _mm512_store_si512(d + p, load64(s + p));
        if (p < n) _mm256_store_si256((__m256i*)(d + p), load32(s + p));
    }
}

// The aligned copy for a destination that lies 0 to 159 bytes after the source modulo 4096,
// with equal steps. A forward copy would load bytes whose low 12 address bits equal those of a
// store issued just before (a false dependency); here the loads run one 256-byte block ahead
// of the stores, so every load precedes the stores that alias it.
void copy_aligned_ahead(const uint8_t* s, int64_t ss, uint8_t* d, int64_t ds, int64_t n, int64_t h) {
    if (n >= kStringCopyRow) {  // the string move orders its own loads and stores
        for (int64_t r = 0; r < h; ++r, s += ss, d += ds) string_copy_row(s, d, n);
        return;
    }
    for (int64_t r = 0; r < h; ++r, s += ss, d += ds) {
        int64_t p = 0;
        __m256i head = load32(s);
        if ((uintptr_t)d & 63) p = 32;
        int64_t end = p + ((n - p) & ~int64_t(63));  // end of the whole 64-byte chunks
        __m512i v0 = _mm512_setzero_si512(), v1 = v0, v2 = v0, v3 = v0;
        if (end - p >= 256) {
            v0 = load64(s + p), v1 = load64(s + p + 64), v2 = load64(s + p + 128), v3 = load64(s + p + 192);
            for (; p + 512 <= end; p += 256) {
                __m512i w0 = load64(s + p + 256), w1 = load64(s + p + 320);
                __m512i w2 = load64(s + p + 384), w3 = load64(s + p + 448);
                _mm512_store_si512(d + p, v0);
                _mm512_store_si512(d + p + 64, v1);
                _mm512_store_si512(d + p + 128, v2);
                _mm512_store_si512(d + p + 192, v3);
                v0 = w0, v1 = w1, v2 = w2, v3 = w3;
            }
        }
        // The last block (if any) is still in v0..v3; load what follows it before storing it.
        int64_t q = end - p >= 256 ? p + 256 : p;
        __m512i t0 = _mm512_setzero_si512(), t1 = t0, t2 = t0;
        int64_t rest = end - q;  // 0, 64, 128 or 192
        if (rest >= 64) t0 = load64(s + q);
        if (rest >= 128) t1 = load64(s + q + 64);
        if (rest >= 192) t2 = load64(s + q + 128);
        __m256i tail = end < n ? load32(s + end) : _mm256_setzero_si256();
        if (q != p) {
            _mm512_store_si512(d + p, v0);
            _mm512_store_si512(d + p + 64, v1);
            _mm512_store_si512(d + p + 128, v2);
            _mm512_store_si512(d + p + 192, v3);
        }
        if (rest >= 64) _mm512_store_si512(d + q, t0);
        if (rest >= 128) _mm512_store_si512(d + q + 64, t1);
        if (rest >= 192) _mm512_store_si512(d + q + 128, t2);
        if (end < n) _mm256_store_si256((__m256i*)(d + end), tail);
        if ((uintptr_t)d & 63) _mm256_store_si256((__m256i*)d, head);
    }
}

// Copies rows of any alignment with cached stores (the string move from 2 KiB on).
void copy_unaligned(const uint8_t* s, int64_t ss, uint8_t* d, int64_t ds, int64_t n, int64_t h) {
    if (n >= kStringCopyRow) {
        for (int64_t r = 0; r < h; ++r, s += ss, d += ds) string_copy_row(s, d, n);
        return;
    }
    for (int64_t r = 0; r < h; ++r, s += ss, d += ds) ownsCopyRow_8u(s, d, n);
}

// Streams rows whose destination and dstStep are multiples of 64 and n a multiple of 32.
void stream_aligned(const uint8_t* s, int64_t ss, uint8_t* d, int64_t ds, int64_t n, int64_t h) {
    for (int64_t r = 0; r < h; ++r, s += ss, d += ds) {
        int64_t p = 0;
        for (; p + 256 <= n; p += 256) {
            __m512i v0 = load64(s + p), v1 = load64(s + p + 64);
            __m512i v2 = load64(s + p + 128), v3 = load64(s + p + 192);
            _mm512_stream_si512((__m512i*)(d + p), v0);
            _mm512_stream_si512((__m512i*)(d + p + 64), v1);
            _mm512_stream_si512((__m512i*)(d + p + 128), v2);
            _mm512_stream_si512((__m512i*)(d + p + 192), v3);
        }
        for (; p + 64 <= n; p += 64) _mm512_stream_si512((__m512i*)(d + p), load64(s + p));
        if (p < n) _mm256_stream_si256((__m256i*)(d + p), load32(s + p));
    }
}

// Streams rows of any geometry: cached moves for the bytes before the first and after the last
// 64-byte boundary of the destination row, non-temporal stores between them.
void stream_unaligned(const uint8_t* s, int64_t ss, uint8_t* d, int64_t ds, int64_t n, int64_t h) {
    for (int64_t r = 0; r < h; ++r, s += ss, d += ds) {
        int64_t a = (int64_t)(-(uintptr_t)d & 63);
        if (n < a + 64) {
            ownsCopyRow_8u(s, d, n);
            continue;
        }
        ownsCopyShort_8u(s, d, a);
        int64_t p = a;
        for (; p + 256 <= n; p += 256) {
            __m512i v0 = load64(s + p), v1 = load64(s + p + 64);
            __m512i v2 = load64(s + p + 128), v3 = load64(s + p + 192);
            _mm512_stream_si512((__m512i*)(d + p), v0);
            _mm512_stream_si512((__m512i*)(d + p + 64), v1);
            _mm512_stream_si512((__m512i*)(d + p + 128), v2);
            _mm512_stream_si512((__m512i*)(d + p + 192), v3);
        }
        for (; p + 64 <= n; p += 64) _mm512_stream_si512((__m512i*)(d + p), load64(s + p));
        ownsCopyShort_8u(s + p, d + p, n - p);
    }
}

inline bool multiple(int64_t v, int64_t m) { return (v & (m - 1)) == 0; }

}  // namespace

bool ownsUseStreaming(int64_t total) {
    if (total >= kStreamAlways) return true;
    if (total <= kStreamFloor) return false;
    int64_t cache = max_cache_bytes();
    return cache > 0 && 2 * total >= cache;
}

CopyPlan ownsPlanCopy2D_8u(const uint8_t* src, int64_t srcStep, const uint8_t* dst, int64_t dstStep,
                           int64_t rowBytes, int64_t height) {
    int64_t total;
    if (__builtin_mul_overflow(rowBytes, height, &total)) total = INT64_MAX;
    if (total < kStreamAlways) {
        if (rowBytes == srcStep && rowBytes == dstStep) {
            rowBytes = total;
            height = 1;
        } else if (rowBytes < kNarrowRow) {
            return {CopyPath::Narrow, rowBytes, height};
        }
    }
    int64_t da = (int64_t)(uintptr_t)dst;
    if (ownsUseStreaming(total)) {
        bool aligned = multiple(dstStep, 64) && multiple(da, 64) && multiple(rowBytes, 32);
        return {aligned ? CopyPath::StreamAligned : CopyPath::StreamUnaligned, rowBytes, height};
    }
    if (!multiple(dstStep, 32) || !multiple(da, 32) || !multiple(rowBytes, 32))
        return {CopyPath::Unaligned, rowBytes, height};
    int64_t d = (da % kAliasPage) - (int64_t)((uintptr_t)src % kAliasPage);
    bool aliasing = srcStep == dstStep && d >= 0 && d < kAliasWindow;
    return {aliasing ? CopyPath::AlignedAhead : CopyPath::Aligned, rowBytes, height};
}

void ownsCopy2D_8u(const uint8_t* src, int64_t srcStep, uint8_t* dst, int64_t dstStep,
                   int64_t rowBytes, int64_t height) {
    CopyPlan plan = ownsPlanCopy2D_8u(src, srcStep, dst, dstStep, rowBytes, height);
    int64_t n = plan.rowBytes, h = plan.height;
    switch (plan.path) {
        case CopyPath::Narrow: copy_narrow(src, srcStep, dst, dstStep, n, h); break;
        case CopyPath::Unaligned: copy_unaligned(src, srcStep, dst, dstStep, n, h); break;
        case CopyPath::Aligned: copy_aligned(src, srcStep, dst, dstStep, n, h); break;
        case CopyPath::AlignedAhead: copy_aligned_ahead(src, srcStep, dst, dstStep, n, h); break;
        case CopyPath::StreamAligned:
            stream_aligned(src, srcStep, dst, dstStep, n, h);
            _mm_sfence();
            break;
        case CopyPath::StreamUnaligned:
            stream_unaligned(src, srcStep, dst, dstStep, n, h);
            _mm_sfence();
            break;
    }
}

void ownsCopyRowCached_8u(const uint8_t* src, uint8_t* dst, int64_t n) {
    if (n >= kStringCopyRow) string_copy_row(src, dst, n);
    else ownsCopyRow_8u(src, dst, n);
}

ZelStatus ownsCopy_8u(const Zel8u* pSrc, Zel8u* pDst, int64_t len) {
    if (!pSrc || !pDst) return zelStsNullPtrErr;
    if (len < 1) return zelStsSizeErr;
    ownsCopy2D_8u(pSrc, len, pDst, len, len, 1);
    return zelStsNoErr;
}

ZelStatus ownsCopyRowsChunked_8u(const Zel8u* pSrc, int64_t srcStep, Zel8u* pDst, int64_t dstStep,
                                 int64_t rowBytes, int64_t height, int64_t chunk) {
    ZelStatus last = zelStsNoErr;
    for (int64_t r = 0; r < height; ++r, pSrc += srcStep, pDst += dstStep) {
        last = zelStsNoErr;
        for (int64_t off = 0; off < rowBytes; off += chunk) {
            int64_t len = rowBytes - off < chunk ? rowBytes - off : chunk;
            ZelStatus st = ownsCopy_8u(pSrc + off, pDst + off, len);
            if (st < 0) last = st;
        }
    }
    return last;
}

namespace {

// One fill pattern: the pixel repeated over 384 bytes, so that the 192 bytes starting at any
// offset below 192 are the pattern seen from that offset (192 is a multiple of every pixel
// size).
struct FillPattern {
    alignas(64) uint8_t b[384];
};

// Fills one row of n bytes from the pattern, with 64-byte stores aligned on the destination
// (non-temporal when Stream). Ahead asks for the lines 512 bytes ahead of the stores, which
// hides their fetch on blocks that have left the level-2 cache.
template <bool Stream, bool Ahead>
void fill_row(const FillPattern& pat, uint8_t* d, int64_t n) {
    if (n <= 192) {
        for (int64_t p = 0; p < n; p += 64) ownsCopyShort_8u(pat.b + p, d + p, n - p < 64 ? n - p : 64);
        return;
    }
    int64_t a = (int64_t)(-(uintptr_t)d & 63);
    ownsCopyShort_8u(pat.b, d, a);
    __m512i v0 = load64(pat.b + a), v1 = load64(pat.b + a + 64), v2 = load64(pat.b + a + 128);
    int64_t p = a;
    for (; p + 192 <= n; p += 192) {
        if (Stream) {
            _mm512_stream_si512((__m512i*)(d + p), v0);
            _mm512_stream_si512((__m512i*)(d + p + 64), v1);
            _mm512_stream_si512((__m512i*)(d + p + 128), v2);
        } else {
            if (Ahead) {
                _mm_prefetch((const char*)(d + p + kFillAhead), _MM_HINT_T0);
                _mm_prefetch((const char*)(d + p + kFillAhead + 64), _MM_HINT_T0);
                _mm_prefetch((const char*)(d + p + kFillAhead + 128), _MM_HINT_T0);
            }
            _mm512_store_si512(d + p, v0);
            _mm512_store_si512(d + p + 64, v1);
            _mm512_store_si512(d + p + 128, v2);
        }
    }
    // Fewer than 192 bytes are left; the pattern continues at offset p % 192.
    int64_t ph = p % 192;
    for (; p < n; p += 64, ph += 64) ownsCopyShort_8u(pat.b + ph, d + p, n - p < 64 ? n - p : 64);
}

// Fills n bytes (a multiple of S) with the S-byte value by the processor's string store, which
// writes whole cache lines without reading them first.
template <int S>
void string_fill_row(uint8_t* d, uint64_t value, int64_t n) {
    uint64_t count = (uint64_t)n / S;
    if constexpr (S == 1) asm volatile("rep stosb" : "+D"(d), "+c"(count) : "a"(value) : "memory");
    else if constexpr (S == 2) asm volatile("rep stosw" : "+D"(d), "+c"(count) : "a"(value) : "memory");
    else if constexpr (S == 4) asm volatile("rep stosl" : "+D"(d), "+c"(count) : "a"(value) : "memory");
    else asm volatile("rep stosq" : "+D"(d), "+c"(count) : "a"(value) : "memory");
}

template <int S>
void string_fill(const uint8_t* pixel, uint8_t* d, int64_t ds, int64_t n, int64_t h) {
    uint64_t value = 0;
    memcpy(&value, pixel, S);
    for (int64_t r = 0; r < h; ++r, d += ds) string_fill_row<S>(d, value, n);
}

}  // namespace

void ownsFill2D_8u(const uint8_t* pixel, int pixelBytes, uint8_t* dst, int64_t dstStep,
                   int64_t rowBytes, int64_t height) {
    int64_t total;
    if (__builtin_mul_overflow(rowBytes, height, &total)) total = INT64_MAX;
    if (dstStep == rowBytes && total < kStreamAlways) {
        rowBytes = total;
        height = 1;
    }
    bool stream = ownsUseStreaming(total);
    // Blocks past the level-2 cache but not streamed: string stores for the pixel sizes they
    // take, on rows long enough to pay for their start.
    if (!stream && total > kStringFillFloor && rowBytes >= kStringFillRow) {
        switch (pixelBytes) {
            case 1: string_fill<1>(pixel, dst, dstStep, rowBytes, height); return;
            case 2: string_fill<2>(pixel, dst, dstStep, rowBytes, height); return;
            case 4: string_fill<4>(pixel, dst, dstStep, rowBytes, height); return;
            case 8: string_fill<8>(pixel, dst, dstStep, rowBytes, height); return;
            default: break;
        }
    }
    FillPattern pat;
    for (int i = 0; i < 384; ++i) pat.b[i] = pixel[i % pixelBytes];
    // Other pixel sizes on long rows: the first kFillRepeat bytes from the pattern, then one
    // string move that copies the row onto itself kFillRepeat bytes further on, repeating them.
    if (!stream && total > kStringFillFloor && rowBytes >= 4 * kFillRepeat) {
        for (int64_t r = 0; r < height; ++r, dst += dstStep) {
            fill_row<false, false>(pat, dst, kFillRepeat);
            const uint8_t* s = dst;
            uint8_t* d = dst + kFillRepeat;
            uint64_t count = (uint64_t)(rowBytes - kFillRepeat);
            asm volatile("rep movsb" : "+D"(d), "+S"(s), "+c"(count) : : "memory");
        }
        return;
    }
    if (stream) {
        for (int64_t r = 0; r < height; ++r, dst += dstStep) fill_row<true, false>(pat, dst, rowBytes);
        _mm_sfence();
    } else if (total > kStringFillFloor) {
        for (int64_t r = 0; r < height; ++r, dst += dstStep) fill_row<false, true>(pat, dst, rowBytes);
    } else {
        for (int64_t r = 0; r < height; ++r, dst += dstStep) fill_row<false, false>(pat, dst, rowBytes);
    }
}

}  // namespace zel
