// core-rm: the stand-in for the platform's "rm" with the flags deletion
// uses: -r removes folders with what they hold, -f lets a missing path pass,
// -P overwrites a regular file's data in place before unlinking it (a file
// that other hard links still show is only unlinked). Links are removed,
// never followed; only regular files are ever opened.
//
//   core-rm -rfP PATH...
#include "Core/helper/internal/TreeRemover.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

int main(int argc, char** argv) {
    bool recursive = false, force = false, overwrite = false;
    int index = 1;
    for (; index < argc && argv[index][0] == '-' && argv[index][1] != '\0'; ++index) {
        if (std::strcmp(argv[index], "--") == 0) {
            ++index;
            break;
        }
        for (const char* flag = argv[index] + 1; *flag != '\0'; ++flag) {
            switch (*flag) {
            case 'r':
            case 'R': recursive = true; break;
            case 'f': force = true; break;
            case 'P': overwrite = true; break;
            default:
                std::fprintf(stderr, "usage: core-rm [-rfP] PATH...\n");
                return 2;
            }
        }
    }
    int status = 0;
    for (; index < argc; ++index) {
        const char* path = argv[index];
        struct stat st {};
        if (::lstat(path, &st) != 0) {
            if (errno == ENOENT && force) continue;
            std::fprintf(stderr, "core-rm: %s: %s\n", path, std::strerror(errno));
            status = 1;
            continue;
        }
        if (S_ISDIR(st.st_mode) && !recursive) {
            std::fprintf(stderr, "core-rm: %s: is a directory\n", path);
            status = 1;
            continue;
        }
        if (!Core::internal::removeTree(path, overwrite, [] { return true; })) {
            if (!force) std::fprintf(stderr, "core-rm: %s: %s\n", path, std::strerror(errno));
            status = 1;
        }
    }
    return status;
}
