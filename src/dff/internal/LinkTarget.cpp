#include "dff/internal/LinkTarget.h"

#include <unistd.h>

namespace dff::internal {

long LinkTarget::read(const Path& path, char (&buffer)[kCapacity], std::string_view& target) {
    ssize_t length = ::readlink(path.cStr(), buffer, kCapacity - 1);
    target = length < 0 ? std::string_view() : std::string_view(buffer, static_cast<size_t>(length));
    return static_cast<long>(length);
}

}  // namespace dff::internal
