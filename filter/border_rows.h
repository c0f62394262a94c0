// The border component shared by every neighbourhood operation: filters, and the resize, warp
// and remap kernels that read a source neighbourhood.
//
// A neighbourhood operation reads, for each destination pixel, source pixels up to `left`
// columns before it, `right` columns after it, `top` rows above and `bottom` rows below. Near
// the edges of the region of interest (ROI) some of those lie outside it. The border argument
// says where they come from:
//
//   bits 0..3  the kind: 1 replicate the edge pixel, 3 mirror about the edge pixel (the edge
//              itself not repeated), 6 a constant given by the caller;
//   bits 4..7  in-memory flags: 16 top, 32 bottom, 64 left, 128 right. A flagged side is read
//              from the source image itself, which the caller promises extends that far;
//   240        every side in memory and no kind: nothing is synthesised;
//   above 255  refused.
//
// BorderRows hands a row kernel, for any source row ys in [-top, H + bottom), a pointer p to
// that row's column 0 such that p + c * pixelBytes is the source pixel of column c for every c
// that the kernel's current segment of destination columns reads. It never copies the
// interior: a destination row is cut into at most three segments of columns,
//
//   left   [0, L)       L = left unless the left side is in memory (then 0),
//   middle [L, W - R)   read straight from the source rows,
//   right  [W - R, W)   R = right unless the right side is in memory,
//
// (one segment [0, W) when L + R >= W), and only the two edge segments read through short
// strips in the caller's buffer: the pixels that segment needs, with the synthesised ones
// filled in, built once per source row and kept in a ring. Rows above and below the ROI are
// never copied either: a replicated or mirrored row is the ROI row it repeats, a constant row
// is one row of the constant built once per call. A synthesised value depends only on the
// pixels of the ROI (a mirror never reflects in-memory pixels into the ROI's border), and a
// real row's own border pixels are synthesised from that row, so pixel (-1, -1) with the top
// side in memory and the left side replicated is the pixel (0, -1).
//
// Ring: the strips of the last top + bottom + 2 source rows are kept, so a kernel may hold the
// rows of one whole neighbourhood and the row that has just left it (running sums) at once. A
// kernel that is done with each source row before it asks for the next (a row pass writing into
// a ring of its own) may ask for a ring of fewer rows, down to one, and a smaller buffer.
//
// Bands: init may be given a band of destination columns [bx0, bx1) of the ROI; the segments
// then cover just the band, and the buffer it needs grows with the band's width, not the
// ROI's. A kernel whose buffer is fixed small (or lives on the stack) walks the ROI band by
// band; columns and pointers stay in ROI coordinates throughout.
//
// Nothing here allocates or reads outside the ROI, its flagged sides and the caller's buffer.
#pragma once

#include <stdint.h>
#include <string.h>

#include "frame/zel_internal.h"

namespace zel {

// The decoded border argument.
struct BorderArg {
    int kind;  // 1 replicate, 3 mirror, 6 constant; 0 when every side is in memory (240)
    bool memTop, memBottom, memLeft, memRight;
};

// Sets of accepted kinds: bit k accepts kind k.
constexpr unsigned kBorderKindsFilter = (1u << 1) | (1u << 3) | (1u << 6);  // replicate, mirror, constant
constexpr unsigned kBorderKindsNoMirror = (1u << 1) | (1u << 6);             // replicate, constant

// zelStsBorderErr for a value above 255, or a kind outside `accepted` unless the value is 240.
inline ZelStatus ownBorderDecode(unsigned border, unsigned accepted, BorderArg* out) {
    if (border > 255) return zelStsBorderErr;
    if (border == 240) {
        *out = {0, true, true, true, true};
        return zelStsNoErr;
    }
    const int kind = (int)(border & 15);
    if (!((accepted >> kind) & 1)) return zelStsBorderErr;
    *out = {kind, (border & 16) != 0, (border & 32) != 0, (border & 64) != 0, (border & 128) != 0};
    return zelStsNoErr;
}

// Whether the decoded border needs the caller's constant (kind 6 with some side synthesised).
inline bool ownBorderNeedsValue(unsigned border) { return border <= 255 && border != 240 && (border & 15) == 6; }

// How far a kernel reads around a destination pixel.
struct BorderExtent {
    int left, right, top, bottom;
};

// The extent of a kw x kh kernel whose anchor is (ax, ay): the neighbourhood of (x, y) runs from
// (x - ax, y - ay) to (x - ax + kw - 1, y - ay + kh - 1).
inline BorderExtent ownKernelExtent(int kw, int kh, int ax, int ay) { return {ax, kw - 1 - ax, ay, kh - 1 - ay}; }

// The fixed anchor of the border-aware filters: ((kw - 1) / 2, (kh - 1) / 2).
inline BorderExtent ownCentredExtent(int kw, int kh) { return ownKernelExtent(kw, kh, (kw - 1) / 2, (kh - 1) / 2); }

// Index i (any integer) of a synthesised pixel mapped into [0, n): clamped for replicate,
// reflected about the edge pixels for mirror (a one-pixel mirror repeats its pixel).
inline int64_t ownBorderMap(int kind, int64_t i, int64_t n) {
    if (i >= 0 && i < n) return i;
    if (kind != 3 || n == 1) return i < 0 ? 0 : n - 1;
    const int64_t period = 2 * n - 2;
    int64_t r = i % period;
    if (r < 0) r += period;
    return r < n ? r : period - r;
}

class BorderRows {
public:
    struct Segment {
        int x0, x1;  // destination columns [x0, x1)
    };

    // Bytes of work buffer that init needs for any border of an image (or a band) `width`
    // pixels wide of pixelBytes each, 7 bytes of alignment slack included; ring: the source
    // rows held at once (0: top + bottom + 2).
    static int64_t bufferSize(int64_t width, int pixelBytes, const BorderExtent& e, int64_t ring = 0) {
        if (ring <= 0) ring = e.top + e.bottom + 2;
        return 7 + constRowBytes(width, pixelBytes, e) + 2 * ring * 8 + 2 * ring * stripBytes(width, pixelBytes, e);
    }

    // src: the ROI's first pixel; srcStep in bytes (reduced to whole elements of elemBytes);
    // value: valueSamples samples of elemBytes each, the constant of kind 6 (the samples of a
    // pixel beyond valueSamples, the alpha of an AC4 image, are 0); buffer: bufferSize bytes of
    // the band's width; [bx0, bx1): the band of destination columns (bx1 < 0: the whole ROI);
    // ring: the source rows held at once, as given to bufferSize.
    void init(const void* src, int64_t srcStep, int elemBytes, int channels, int width, int height,
              const BorderExtent& e, const BorderArg& b, const void* value, int valueSamples, uint8_t* buffer,
              int bx0 = 0, int bx1 = -1, int64_t ring = 0);

    int segments() const { return nseg_; }  // 1 to 3
    // Whether segment i reads the source rows themselves (no strips): its row pointers stay
    // valid for the whole call, not only for the ring's last top + bottom + 2 rows.
    bool direct(int i) const { return strip_[i] < 0; }
    Segment segment(int i) const { return seg_[i]; }
    const BorderExtent& extent() const { return e_; }

    // Column 0 of source row ys (in [-top, H + bottom)) as seen by segment i: valid for the
    // columns [x0 - left, x1 + right) of that segment.
    const uint8_t* row(int64_t ys, int i) {
        const uint8_t* p = mapRow(ys);
        if (strip_[i] < 0 || p == constRow_) return p;
        return stripRow(ys, strip_[i], p);
    }
    template <typename T>
    const T* rowAs(int64_t ys, int i) {
        return (const T*)row(ys, i);
    }

    // The ROI row that source row ys reads from, or the constant row: column 0.
    const uint8_t* mapRow(int64_t ys) const {
        if (ys >= 0 && ys < h_) return src_ + ys * step_;
        if ((ys < 0 && b_.memTop) || (ys >= h_ && b_.memBottom)) return src_ + ys * step_;
        if (b_.kind == 6) return constRow_;
        return src_ + ownBorderMap(b_.kind, ys, h_) * step_;
    }

private:
    static int64_t round8(int64_t n) { return (n + 7) & ~(int64_t)7; }
    // The constant row, needed only where rows above or below the ROI can be read.
    static int64_t constRowBytes(int64_t width, int pixelBytes, const BorderExtent& e) {
        return e.top + e.bottom > 0 ? round8(((int64_t)e.left + e.right + width) * pixelBytes) : 0;
    }
    // One strip: the pixels an edge segment reads of one row, in whole 8-byte words.
    static int64_t stripBytes(int64_t width, int pixelBytes, const BorderExtent& e) {
        const int64_t lr = (int64_t)e.left + e.right;
        return round8((lr + (width < lr ? width : lr)) * pixelBytes);
    }
    const uint8_t* stripRow(int64_t ys, int s, const uint8_t* p);
    void fillStrip(uint8_t* d, const uint8_t* p, int64_t c0, int64_t c1) const;

    const uint8_t* src_;
    int64_t step_;
    int pb_, w_, h_;
    BorderExtent e_;
    BorderArg b_;
    alignas(8) uint8_t value_[32];
    const uint8_t* constRow_;  // column 0 of the constant row (null unless kind 6)
    int nseg_;
    Segment seg_[3];
    int strip_[3];         // per segment: its strip (0 or 1), or -1 when it reads the rows directly
    int64_t stripC0_[2];   // first column a strip holds
    int64_t stripC1_[2];   // one past its last column
    int64_t stripBytes_, ring_;
    int64_t* tags_;        // [2][ring]: the source row each strip slot holds
    uint8_t* strips_;      // [2][ring][stripBytes]
};

// Copies one pixel of n bytes.
inline void ownCopyPixel(uint8_t* d, const uint8_t* s, int n) {
    switch (n) {
        case 1: *d = *s; return;
        case 2: memcpy(d, s, 2); return;
        case 4: memcpy(d, s, 4); return;
        case 8: memcpy(d, s, 8); return;
        default: memcpy(d, s, (size_t)n);
    }
}

inline void BorderRows::init(const void* src, int64_t srcStep, int elemBytes, int channels, int width, int height,
                             const BorderExtent& e, const BorderArg& b, const void* value, int valueSamples,
                             uint8_t* buffer, int bx0, int bx1, int64_t ring) {
    if (bx1 < 0) bx1 = width;
    const int bw = bx1 - bx0;
    src_ = (const uint8_t*)src;
    step_ = srcStep / elemBytes * elemBytes;
    pb_ = elemBytes * channels;
    w_ = width, h_ = height, e_ = e, b_ = b;
    memset(value_, 0, sizeof value_);
    if (b.kind == 6 && value) memcpy(value_, value, (size_t)valueSamples * elemBytes);

    uint8_t* base = (uint8_t*)(((uintptr_t)buffer + 7) & ~(uintptr_t)7);
    const int64_t lr = (int64_t)e.left + e.right, rowBytes = constRowBytes(bw, pb_, e);
    constRow_ = nullptr;
    if (b.kind == 6 && rowBytes) {  // columns bx0 - left to bx1 + right - 1
        for (int64_t c = 0; c < lr + bw; ++c) ownCopyPixel(base + c * pb_, value_, pb_);
        constRow_ = base + ((int64_t)e.left - bx0) * pb_;
    }
    ring_ = ring > 0 ? ring : e.top + e.bottom + 2;
    tags_ = (int64_t*)(base + rowBytes);
    strips_ = base + rowBytes + 2 * ring_ * 8;
    stripBytes_ = stripBytes(bw, pb_, e);
    for (int64_t k = 0; k < 2 * ring_; ++k) tags_[k] = INT64_MIN;

    // The segments of the band and the columns each strip holds: L columns at the band's left
    // reach left of the ROI, R columns at its right reach right of it.
    auto clampBand = [bw](int n) { return n < 0 ? 0 : n > bw ? bw : n; };
    const int L = b.memLeft ? 0 : clampBand(e.left - bx0), R = b.memRight ? 0 : clampBand(e.right - (width - bx1));
    nseg_ = 0;
    auto add = [&](int x0, int x1, int strip) {
        seg_[nseg_] = {x0, x1};
        strip_[nseg_++] = strip;
        if (strip >= 0) stripC0_[strip] = (int64_t)x0 - e.left, stripC1_[strip] = (int64_t)x1 + e.right;
    };
    if (L == 0 && R == 0) {
        add(bx0, bx1, -1);
    } else if (L + R >= bw) {
        add(bx0, bx1, 0);
    } else {
        if (L > 0) add(bx0, bx0 + L, 0);
        add(bx0 + L, bx1 - R, -1);
        if (R > 0) add(bx1 - R, bx1, 1);
    }
}

// Columns [c0, c1) of the row whose column 0 is p, with the synthesised pixels filled in, at d.
inline void BorderRows::fillStrip(uint8_t* d, const uint8_t* p, int64_t c0, int64_t c1) const {
    const int P = pb_;
    // Synthesised columns [s0, s1): one pixel repeated for replicate and constant (edge is the
    // ROI column they repeat), the mirror map for the rest.
    auto synth = [&](int64_t s0, int64_t s1, int64_t edge) {
        if (b_.kind == 3) {
            for (int64_t c = s0; c < s1; ++c) ownCopyPixel(d + (c - c0) * P, p + ownBorderMap(3, c, w_) * P, P);
            return;
        }
        const uint8_t* px = b_.kind == 6 ? value_ : p + edge * P;
        if (P == 1) memset(d + (s0 - c0), *px, (size_t)(s1 - s0));
        else for (int64_t c = s0; c < s1; ++c) ownCopyPixel(d + (c - c0) * P, px, P);
    };
    // Left of the ROI, the ROI itself, right of it: each part real or synthesised.
    const int64_t a = c0 < 0 ? (c1 < 0 ? c1 : 0) : c0;  // end of the left part
    const int64_t z = c1 > w_ ? (c0 > w_ ? c0 : w_) : c1;  // start of the right part
    if (a > c0) {
        if (b_.memLeft) memcpy(d, p + c0 * P, (size_t)((a - c0) * P));
        else synth(c0, a, 0);
    }
    if (z > a) memcpy(d + (a - c0) * P, p + a * P, (size_t)((z - a) * P));
    if (c1 > z) {
        if (b_.memRight) memcpy(d + (z - c0) * P, p + z * P, (size_t)((c1 - z) * P));
        else synth(z, c1, w_ - 1);
    }
}

inline const uint8_t* BorderRows::stripRow(int64_t ys, int s, const uint8_t* p) {
    int64_t slot = ys % ring_;
    if (slot < 0) slot += ring_;
    uint8_t* d = strips_ + (s * ring_ + slot) * stripBytes_;
    if (tags_[s * ring_ + slot] != ys) {
        fillStrip(d, p, stripC0_[s], stripC1_[s]);
        tags_[s * ring_ + slot] = ys;
    }
    return d - stripC0_[s] * pb_;
}

}  // namespace zel
