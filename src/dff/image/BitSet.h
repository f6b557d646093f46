#pragma once
// dff::BitSet<N>: N bits held in whole 64-bit words, like a std::bitset, but
// with the spare bits of the last word reachable. The image hash writes
// bits past N there on purpose (they reach its fold but not its equality or
// distance), which a std::bitset would refuse or clear.
//
// Equality, counting, distance and the hex text look at bits 0 to N-1 only;
// `word` gives whole words, spare bits included. A plain value: copy freely.
//
//   dff::BitSet<272> bits;
//   bits.set(280);                 // a spare bit: bits == dff::BitSet<272>{}
//   bits.word(4);                  // 1 << 24

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>

namespace dff {

template <size_t N>
class BitSet {
public:
    static constexpr size_t kWords = (N + 63) / 64;
    // Bits 0 to kCapacity-1 can be set; those from N on are the spare ones.
    static constexpr size_t kCapacity = kWords * 64;

    // `index` must be below kCapacity.
    bool test(size_t index) const { return (_words[index / 64] >> (index % 64)) & 1u; }
    void set(size_t index, bool value = true) {
        uint64_t mask = uint64_t(1) << (index % 64);
        if (value)
            _words[index / 64] |= mask;
        else
            _words[index / 64] &= ~mask;
    }

    uint64_t word(size_t index) const { return _words[index]; }

    // The number of bits set among the first N.
    size_t count() const {
        size_t total = 0;
        for (size_t i = 0; i < kWords; ++i) total += size_t(std::popcount(_words[i] & wordMask(i)));
        return total;
    }

    // The number of bits among the first N in which the two differ.
    size_t distance(const BitSet& other) const {
        size_t total = 0;
        for (size_t i = 0; i < kWords; ++i)
            total += size_t(std::popcount((_words[i] ^ other._words[i]) & wordMask(i)));
        return total;
    }

    // The XOR of all words, spare bits included.
    uint64_t fold() const {
        uint64_t folded = 0;
        for (uint64_t w : _words) folded ^= w;
        return folded;
    }

    // The first N bits in hex, the most significant bit first: N/4 digits
    // (rounded up).
    std::string hex() const {
        static constexpr char kDigits[] = "0123456789abcdef";
        constexpr size_t digits = (N + 3) / 4;
        std::string text(digits, '0');
        for (size_t d = 0; d < digits; ++d) {
            unsigned nibble = 0;
            for (size_t b = 0; b < 4; ++b) {
                size_t index = d * 4 + b;
                if (index < N && test(index)) nibble |= 1u << b;
            }
            text[digits - 1 - d] = kDigits[nibble];
        }
        return text;
    }

    friend bool operator==(const BitSet& a, const BitSet& b) { return a.distance(b) == 0; }

private:
    static constexpr uint64_t wordMask(size_t index) {
        if (index + 1 < kWords || N % 64 == 0) return ~uint64_t(0);
        return (uint64_t(1) << (N % 64)) - 1;
    }

    std::array<uint64_t, kWords> _words{};
};

}  // namespace dff
