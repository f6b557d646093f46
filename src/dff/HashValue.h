#pragma once
// dff::HashValue: a 16-byte MD5 digest seen as two 64-bit words in the
// machine's byte order. The order (<, >) only serves the indexes; it means
// nothing to a user and is never shown.
//
// Threading: a plain value.
//
//   dff::HashValue a, b;  md5.hashValue(a);  ...  if (a == b) ...

#include <cstdint>
#include <cstring>

namespace dff {

struct HashValue {
    uint64_t words[2] = {0, 0};

    // The digest's 16 bytes as they came from the digest function.
    void setBytes(const unsigned char (&digest)[16]) { std::memcpy(words, digest, sizeof words); }

    friend bool operator==(const HashValue& a, const HashValue& b) {
        return a.words[0] == b.words[0] && a.words[1] == b.words[1];
    }
    friend bool operator<(const HashValue& a, const HashValue& b) {
        return a.words[0] != b.words[0] ? a.words[0] < b.words[0] : a.words[1] < b.words[1];
    }
    friend bool operator>(const HashValue& a, const HashValue& b) { return b < a; }
};

}  // namespace dff
