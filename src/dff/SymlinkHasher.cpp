#include "dff/SymlinkHasher.h"

#include "dff/MD5.h"
#include "dff/internal/LinkTarget.h"

namespace dff {

bool hashSymlink(const Symlink& link, HashValue& out) {
    char buffer[internal::LinkTarget::kCapacity];
    std::string_view target;
    long length = internal::LinkTarget::read(link.path, buffer, target);
    if (length != link.size) return false;
    MD5 md5;
    md5.updateMD5(target.data(), static_cast<long long>(target.size()));
    md5.hashValue(out);
    return true;
}

}  // namespace dff
