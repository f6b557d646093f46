#pragma once
// dff::MD5: a running MD5 state. hashValue() may be called between updates:
// it gives the digest of every byte fed so far and leaves the state ready
// for more, so a search can compare digests after each pass of reading.
//
// Threading: one state per thread; states are not shared.
//
//   dff::MD5 md5;
//   md5.updateMD5("abc", 3);
//   dff::HashValue digest;  md5.hashValue(digest);   // md5 still usable

#include "dff/HashValue.h"

#include <memory>

namespace dff {

class MD5 {
public:
    // A fresh state. Throws std::bad_alloc when the digest library can't
    // make one.
    MD5();
    MD5(MD5&&) noexcept;
    MD5& operator=(MD5&&) noexcept;
    MD5(const MD5&) = delete;
    MD5& operator=(const MD5&) = delete;
    ~MD5();

    // Starts over with no bytes fed.
    void reset();
    // Feeds `length` bytes. The length goes to the primitive as 32 bits;
    // callers feed at most a block at a time.
    void updateMD5(const void* data, long long length);
    // The digest of the bytes fed so far, taken from a copy of the state.
    void hashValue(HashValue& out) const;

private:
    struct State;
    std::unique_ptr<State> _state;
};

// Feeds a file's content into one running digest.
class FileHasher {
public:
    void update(const char* data, long long length) { md5.updateMD5(data, length); }
    MD5 md5;
};

}  // namespace dff
