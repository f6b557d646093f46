#include "dff/MD5.h"

#include <algorithm>
#include <cstring>

namespace dff {

namespace {

constexpr uint32_t rotl(uint32_t x, int s) { return (x << s) | (x >> (32 - s)); }

constexpr uint32_t F(uint32_t x, uint32_t y, uint32_t z) { return z ^ (x & (y ^ z)); }
constexpr uint32_t G(uint32_t x, uint32_t y, uint32_t z) { return y ^ (z & (x ^ y)); }
constexpr uint32_t H(uint32_t x, uint32_t y, uint32_t z) { return x ^ y ^ z; }
constexpr uint32_t I(uint32_t x, uint32_t y, uint32_t z) { return y ^ (x | ~z); }

inline uint32_t littleEndianWord(const unsigned char* p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

inline void storeLittleEndian(unsigned char* p, uint64_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) p[i] = static_cast<unsigned char>(value >> (8 * i));
}

// One step of the round function on every lane. The lanes are independent
// chains; written side by side they keep the processor's units busy.
#define MD5_STEP(f, a, b, c, d, k, s, t)                               \
    _Pragma("GCC unroll 4") for (size_t l = 0; l < L; ++l) {           \
        a[l] += f(b[l], c[l], d[l]) + x[l][k] + uint32_t(t);           \
        a[l] = rotl(a[l], s) + b[l];                                   \
    }

// Packing the lanes into vector registers costs more shuffles than it saves
// (there is no vector rotate before AVX-512); as plain registers side by side
// they run at the speed of the longer chain.
#if defined(__GNUC__) && !defined(__clang__)
#define MD5_SCALAR_LANES __attribute__((optimize("no-tree-slp-vectorize")))
#else
#define MD5_SCALAR_LANES
#endif

// Runs the compression function over `blocks` 64-byte blocks of each lane.
template <size_t L>
MD5_SCALAR_LANES void compress(uint32_t* const* words, const unsigned char* const* data, size_t blocks) {
    uint32_t a[L], b[L], c[L], d[L], x[L][16];
    for (size_t l = 0; l < L; ++l) {
        a[l] = words[l][0];
        b[l] = words[l][1];
        c[l] = words[l][2];
        d[l] = words[l][3];
    }
    for (size_t block = 0; block < blocks; ++block) {
        for (size_t l = 0; l < L; ++l)
            for (int k = 0; k < 16; ++k) x[l][k] = littleEndianWord(data[l] + block * 64 + size_t(k) * 4);
        uint32_t a0[L], b0[L], c0[L], d0[L];
        for (size_t l = 0; l < L; ++l) {
            a0[l] = a[l];
            b0[l] = b[l];
            c0[l] = c[l];
            d0[l] = d[l];
        }

        MD5_STEP(F, a, b, c, d, 0, 7, 0xd76aa478)
        MD5_STEP(F, d, a, b, c, 1, 12, 0xe8c7b756)
        MD5_STEP(F, c, d, a, b, 2, 17, 0x242070db)
        MD5_STEP(F, b, c, d, a, 3, 22, 0xc1bdceee)
        MD5_STEP(F, a, b, c, d, 4, 7, 0xf57c0faf)
        MD5_STEP(F, d, a, b, c, 5, 12, 0x4787c62a)
        MD5_STEP(F, c, d, a, b, 6, 17, 0xa8304613)
        MD5_STEP(F, b, c, d, a, 7, 22, 0xfd469501)
        MD5_STEP(F, a, b, c, d, 8, 7, 0x698098d8)
        MD5_STEP(F, d, a, b, c, 9, 12, 0x8b44f7af)
        MD5_STEP(F, c, d, a, b, 10, 17, 0xffff5bb1)
        MD5_STEP(F, b, c, d, a, 11, 22, 0x895cd7be)
        MD5_STEP(F, a, b, c, d, 12, 7, 0x6b901122)
        MD5_STEP(F, d, a, b, c, 13, 12, 0xfd987193)
        MD5_STEP(F, c, d, a, b, 14, 17, 0xa679438e)
        MD5_STEP(F, b, c, d, a, 15, 22, 0x49b40821)

        MD5_STEP(G, a, b, c, d, 1, 5, 0xf61e2562)
        MD5_STEP(G, d, a, b, c, 6, 9, 0xc040b340)
        MD5_STEP(G, c, d, a, b, 11, 14, 0x265e5a51)
        MD5_STEP(G, b, c, d, a, 0, 20, 0xe9b6c7aa)
        MD5_STEP(G, a, b, c, d, 5, 5, 0xd62f105d)
        MD5_STEP(G, d, a, b, c, 10, 9, 0x02441453)
        MD5_STEP(G, c, d, a, b, 15, 14, 0xd8a1e681)
        MD5_STEP(G, b, c, d, a, 4, 20, 0xe7d3fbc8)
        MD5_STEP(G, a, b, c, d, 9, 5, 0x21e1cde6)
        MD5_STEP(G, d, a, b, c, 14, 9, 0xc33707d6)
        MD5_STEP(G, c, d, a, b, 3, 14, 0xf4d50d87)
        MD5_STEP(G, b, c, d, a, 8, 20, 0x455a14ed)
        MD5_STEP(G, a, b, c, d, 13, 5, 0xa9e3e905)
        MD5_STEP(G, d, a, b, c, 2, 9, 0xfcefa3f8)
        MD5_STEP(G, c, d, a, b, 7, 14, 0x676f02d9)
        MD5_STEP(G, b, c, d, a, 12, 20, 0x8d2a4c8a)

        MD5_STEP(H, a, b, c, d, 5, 4, 0xfffa3942)
        MD5_STEP(H, d, a, b, c, 8, 11, 0x8771f681)
        MD5_STEP(H, c, d, a, b, 11, 16, 0x6d9d6122)
        MD5_STEP(H, b, c, d, a, 14, 23, 0xfde5380c)
        MD5_STEP(H, a, b, c, d, 1, 4, 0xa4beea44)
        MD5_STEP(H, d, a, b, c, 4, 11, 0x4bdecfa9)
        MD5_STEP(H, c, d, a, b, 7, 16, 0xf6bb4b60)
        MD5_STEP(H, b, c, d, a, 10, 23, 0xbebfbc70)
        MD5_STEP(H, a, b, c, d, 13, 4, 0x289b7ec6)
        MD5_STEP(H, d, a, b, c, 0, 11, 0xeaa127fa)
        MD5_STEP(H, c, d, a, b, 3, 16, 0xd4ef3085)
        MD5_STEP(H, b, c, d, a, 6, 23, 0x04881d05)
        MD5_STEP(H, a, b, c, d, 9, 4, 0xd9d4d039)
        MD5_STEP(H, d, a, b, c, 12, 11, 0xe6db99e5)
        MD5_STEP(H, c, d, a, b, 15, 16, 0x1fa27cf8)
        MD5_STEP(H, b, c, d, a, 2, 23, 0xc4ac5665)

        MD5_STEP(I, a, b, c, d, 0, 6, 0xf4292244)
        MD5_STEP(I, d, a, b, c, 7, 10, 0x432aff97)
        MD5_STEP(I, c, d, a, b, 14, 15, 0xab9423a7)
        MD5_STEP(I, b, c, d, a, 5, 21, 0xfc93a039)
        MD5_STEP(I, a, b, c, d, 12, 6, 0x655b59c3)
        MD5_STEP(I, d, a, b, c, 3, 10, 0x8f0ccc92)
        MD5_STEP(I, c, d, a, b, 10, 15, 0xffeff47d)
        MD5_STEP(I, b, c, d, a, 1, 21, 0x85845dd1)
        MD5_STEP(I, a, b, c, d, 8, 6, 0x6fa87e4f)
        MD5_STEP(I, d, a, b, c, 15, 10, 0xfe2ce6e0)
        MD5_STEP(I, c, d, a, b, 6, 15, 0xa3014314)
        MD5_STEP(I, b, c, d, a, 13, 21, 0x4e0811a1)
        MD5_STEP(I, a, b, c, d, 4, 6, 0xf7537e82)
        MD5_STEP(I, d, a, b, c, 11, 10, 0xbd3af235)
        MD5_STEP(I, c, d, a, b, 2, 15, 0x2ad7d2bb)
        MD5_STEP(I, b, c, d, a, 9, 21, 0xeb86d391)

        for (size_t l = 0; l < L; ++l) {
            a[l] += a0[l];
            b[l] += b0[l];
            c[l] += c0[l];
            d[l] += d0[l];
        }
    }
    for (size_t l = 0; l < L; ++l) {
        words[l][0] = a[l];
        words[l][1] = b[l];
        words[l][2] = c[l];
        words[l][3] = d[l];
    }
}

#undef MD5_STEP
#undef MD5_SCALAR_LANES

}  // namespace

void MD5::reset() {
    _words[0] = 0x67452301;
    _words[1] = 0xefcdab89;
    _words[2] = 0x98badcfe;
    _words[3] = 0x10325476;
    _length = 0;
}

void MD5::updateMD5(const void* data, long long length) {
    if (length <= 0) return;
    MD5* self = this;
    auto bytes = static_cast<const unsigned char*>(data);
    size_t size = static_cast<size_t>(length);
    updateLanes<1>(&self, &bytes, size);
}

// Feeds `length` bytes to each of `Lanes` states that stand at the same
// offset within their 64-byte block: the partial block first, then whole
// blocks straight from the data, all lanes in step, then the rest is kept.
template <size_t Lanes>
void MD5::updateLanes(MD5* const* states, const unsigned char* const* data, size_t length) {
    size_t used = size_t(states[0]->_length % 64);
    const unsigned char* next[Lanes];
    for (size_t l = 0; l < Lanes; ++l) {
        states[l]->_length += length;
        next[l] = data[l];
    }
    if (used != 0) {
        size_t take = std::min(length, 64 - used);
        for (size_t l = 0; l < Lanes; ++l) {
            std::memcpy(states[l]->_buffer + used, next[l], take);
            next[l] += take;
        }
        length -= take;
        if (used + take < 64) return;
        uint32_t* words[Lanes];
        const unsigned char* blocks[Lanes];
        for (size_t l = 0; l < Lanes; ++l) {
            words[l] = states[l]->_words;
            blocks[l] = states[l]->_buffer;
        }
        compress<Lanes>(words, blocks, 1);
    }
    if (length >= 64) {
        uint32_t* words[Lanes];
        for (size_t l = 0; l < Lanes; ++l) words[l] = states[l]->_words;
        compress<Lanes>(words, next, length / 64);
        for (size_t l = 0; l < Lanes; ++l) next[l] += length / 64 * 64;
        length %= 64;
    }
    for (size_t l = 0; l < Lanes; ++l) std::memcpy(states[l]->_buffer, next[l], length);
}

void MD5::updateTogether(MD5* const* states, const unsigned char* const* data, const size_t* lengths, size_t count) {
    // Lanes go together when they take the same number of bytes at the same
    // offset in their block; any other lane is fed on its own.
    MD5* batch[kMaxLanes];
    const unsigned char* batchData[kMaxLanes];
    size_t filled = 0;
    size_t i = 0;
    while (i < count) {
        filled = 0;
        size_t length = lengths[i];
        uint64_t offset = states[i]->_length % 64;
        size_t j = i;
        for (; j < count && filled < kMaxLanes; ++j) {
            if (lengths[j] != length || states[j]->_length % 64 != offset) break;
            batch[filled] = states[j];
            batchData[filled] = data[j];
            ++filled;
        }
        if (length != 0) {
            switch (filled) {
                case 3: updateLanes<3>(batch, batchData, length); break;
                case 2: updateLanes<2>(batch, batchData, length); break;
                default: updateLanes<1>(batch, batchData, length); break;
            }
        }
        i = j;
    }
}

void MD5::hashValue(HashValue& out) const {
    // Finish a copy, so that this state can take more bytes.
    MD5 last = *this;
    unsigned char tail[72] = {0x80};
    size_t used = size_t(_length % 64);
    size_t padding = used < 56 ? 56 - used : 120 - used;
    storeLittleEndian(tail + padding, _length * 8, 8);
    last.updateMD5(tail, static_cast<long long>(padding + 8));
    unsigned char digest[16];
    for (int i = 0; i < 4; ++i) storeLittleEndian(digest + 4 * i, last._words[i], 4);
    out.setBytes(digest);
}

}  // namespace dff
