#include "dff/internal/EntryType.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace dff::internal {

unsigned char entryType(DIR* directory, const dirent* entry) {
    if (entry->d_type != DT_UNKNOWN) return entry->d_type;
    struct stat st {};
    if (::fstatat(::dirfd(directory), entry->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0) return DT_UNKNOWN;
    return IFTODT(st.st_mode);
}

}  // namespace dff::internal
