#pragma once
// dff::MD5: a running MD5 state. hashValue() may be called between updates:
// it gives the digest of every byte fed so far and leaves the state ready
// for more, so a search can compare digests after each pass of reading.
//
// The state is a plain value (no allocation), and several states that have
// been fed the same number of bytes can take their next bytes together:
// MD5 is one long chain of dependent steps, so interleaving independent
// files lets the processor work on them at once. A search compares files of
// equal size, read in step, which is exactly that case.
//
// Threading: one state per thread; states are not shared.
//
//   dff::MD5 md5;
//   md5.updateMD5("abc", 3);
//   dff::HashValue digest;  md5.hashValue(digest);   // md5 still usable

#include "dff/HashValue.h"

#include <cstddef>
#include <cstdint>

namespace dff {

class MD5 {
public:
    // The most states that updateTogether() works on in one go.
    static constexpr size_t kMaxLanes = 3;

    // A fresh state.
    MD5() { reset(); }

    // Starts over with no bytes fed.
    void reset();
    // Feeds `length` bytes; a length below 1 feeds nothing.
    void updateMD5(const void* data, long long length);
    // The digest of the bytes fed so far; the state goes on unchanged.
    void hashValue(HashValue& out) const;

    // Feeds data[i] (lengths[i] bytes) to *states[i] for each i below
    // `count`. Gives the same digests as feeding each state on its own; it
    // is faster when the states stand at the same offset and take the same
    // number of bytes, as files of one size read in step do.
    static void updateTogether(MD5* const* states, const unsigned char* const* data, const size_t* lengths,
                               size_t count);

private:
    template <size_t Lanes>
    static void updateLanes(MD5* const* states, const unsigned char* const* data, size_t length);

    uint32_t _words[4];
    uint64_t _length;  // bytes fed so far
    unsigned char _buffer[64];
};

// Feeds a file's content into one running digest.
class FileHasher {
public:
    void update(const char* data, long long length) { md5.updateMD5(data, length); }
    MD5 md5;
};

}  // namespace dff
