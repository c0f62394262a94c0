// A small PNG writer for the example program: 8-bit grey, RGB or RGBA, uncompressed deflate
// blocks, so it needs nothing beyond the C++ standard library.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace demo {

inline uint32_t crc32(const uint8_t* p, size_t n, uint32_t crc = 0) {
    crc = ~crc;
    for (size_t i = 0; i < n; ++i) {
        crc ^= p[i];
        for (int k = 0; k < 8; ++k) crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

inline void put32(std::vector<uint8_t>& v, uint32_t x) {
    for (int s = 24; s >= 0; s -= 8) v.push_back((uint8_t)(x >> s));
}

inline void chunk(std::FILE* f, const char* type, const std::vector<uint8_t>& data) {
    std::vector<uint8_t> c;
    put32(c, (uint32_t)data.size());
    c.insert(c.end(), type, type + 4);
    c.insert(c.end(), data.begin(), data.end());
    put32(c, crc32(c.data() + 4, c.size() - 4));
    std::fwrite(c.data(), 1, c.size(), f);
}

// Writes rows of width * channels bytes, each starting step bytes after the previous one.
// False when the file could not be opened, written or closed.
inline bool write_png(const std::string& path, const uint8_t* pixels, int step, int width, int height, int channels) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return false;
    static const uint8_t sig[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    std::fwrite(sig, 1, 8, f);
    std::vector<uint8_t> ihdr;
    put32(ihdr, (uint32_t)width);
    put32(ihdr, (uint32_t)height);
    const uint8_t colour[5] = {0, 0, 0, 2, 6};
    ihdr.insert(ihdr.end(), {8, colour[channels], 0, 0, 0});
    chunk(f, "IHDR", ihdr);

    std::vector<uint8_t> raw;  // filter byte 0 before every row
    size_t rowBytes = (size_t)width * channels;
    for (int y = 0; y < height; ++y) {
        raw.push_back(0);
        const uint8_t* r = pixels + (ptrdiff_t)y * step;
        raw.insert(raw.end(), r, r + rowBytes);
    }
    std::vector<uint8_t> z = {0x78, 0x01};
    uint32_t a = 1, b = 0;  // Adler-32 of the raw stream
    for (uint8_t v : raw) {
        a = (a + v) % 65521;
        b = (b + a) % 65521;
    }
    for (size_t off = 0; off < raw.size() || off == 0; off += 65535) {
        size_t n = raw.size() - off < 65535 ? raw.size() - off : 65535;
        bool last = off + n >= raw.size();
        z.push_back(last ? 1 : 0);
        z.push_back((uint8_t)n);
        z.push_back((uint8_t)(n >> 8));
        z.push_back((uint8_t)~n);
        z.push_back((uint8_t)(~n >> 8));
        z.insert(z.end(), raw.begin() + off, raw.begin() + off + n);
        if (last) break;
    }
    put32(z, (b << 16) | a);
    chunk(f, "IDAT", z);
    chunk(f, "IEND", {});
    const bool written = std::ferror(f) == 0;
    return std::fclose(f) == 0 && written;
}

}  // namespace demo
