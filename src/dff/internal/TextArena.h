#pragma once
// dff::internal::TextArena: keeps the path texts of one search in large
// blocks, back to back, instead of one allocation per path. A search holds a
// path for every file it finds; a separate allocation would round each of
// them up and add its own header. Texts live until clear() or the arena's
// end; nothing is freed one by one.
//
// Threading: none; the thread of the search uses it.

#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

namespace dff::internal {

class TextArena {
public:
    // A copy of `text` with a NUL after it, valid until clear().
    const char* copy(std::string_view text);
    // Frees every text at once.
    void clear();

private:
    static constexpr size_t kBlockSize = 64 * 1024;
    // Shared blocks, the last one being filled, and texts too long to share.
    std::vector<std::unique_ptr<char[]>> _blocks;
    std::vector<std::unique_ptr<char[]>> _large;
    size_t _used = kBlockSize;  // of the last block; full until one is made
};

}  // namespace dff::internal
