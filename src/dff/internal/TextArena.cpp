#include "dff/internal/TextArena.h"

#include <cstring>

namespace dff::internal {

const char* TextArena::copy(std::string_view text) {
    size_t need = text.size() + 1;
    char* at;
    if (need > kBlockSize / 4) {
        _large.push_back(std::make_unique_for_overwrite<char[]>(need));
        at = _large.back().get();
    } else {
        if (kBlockSize - _used < need) {
            _blocks.push_back(std::make_unique_for_overwrite<char[]>(kBlockSize));
            _used = 0;
        }
        at = _blocks.back().get() + _used;
        _used += need;
    }
    if (!text.empty()) std::memcpy(at, text.data(), text.size());
    at[text.size()] = '\0';
    return at;
}

void TextArena::clear() {
    _blocks.clear();
    _large.clear();
    _used = kBlockSize;
}

}  // namespace dff::internal
