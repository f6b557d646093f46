#include "dff/DuplicateFileFinder.h"

#include "dff/PhotoLibraryReader.h"
#include "dff/internal/EntryType.h"
#include "dff/internal/Failure.h"
#include "platform/FileTypes.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace dff {

namespace {

struct DirCloser {
    void operator()(DIR* dir) const { ::closedir(dir); }
};

// The path of an entry in `scratch`, borrowed from it: good until the next
// entry. Most entries are looked at and reported, and only those kept are
// copied once more, into the search's arena; so no entry costs an
// allocation of its own.
Path entryPath(std::string& scratch, const Path& directory, const char* name) {
    scratch.assign(directory.view()).append(1, '/').append(name);
    return Path::borrowing(scratch.c_str(), scratch.size());
}

// The path of an object that the search keeps, its text in the arena.
Path kept(internal::TextArena& texts, const Path& path) {
    return Path::borrowing(texts.copy(path.view()), path.length());
}

// Looks at a file or link without following it and takes it into `index`
// when it is large enough; otherwise marks `directory`. True when taken.
// The entry is looked at relative to its open folder, which spares the
// kernel a walk of the whole path for every file.
template <class T, class Index>
bool takeSized(Directory* directory, DIR* dir, const dirent* entry, const Path& path, internal::TextArena& texts,
               long long minFileSize, Index& index) {
    struct stat st {};
    if (::fstatat(::dirfd(dir), entry->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0) {
        internal::logFailure("Failed to read file info", path, errno);
        directory->unique = true;
        return false;
    }
    if (st.st_size < minFileSize) {
        directory->unique = true;
        return false;
    }
    auto item = make<T>(kept(texts, path), st.st_size, directory);
    index.add(st.st_size, item.get());
    directory->children.push_back(std::move(item));
    return true;
}

bool isDSStore(const dirent* entry) { return std::strcmp(entry->d_name, ".DS_Store") == 0; }

}  // namespace

bool specialDirectory(const dirent* entry) {
    const char* name = entry->d_name;
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

long long packageFileSize(const Path& path) {
    platform::IndexedSizes sizes = platform::PackageIndex::shared()->sizes(path.str());
    // An index that counts no more bytes than nodes has not really sized
    // the package.
    if (sizes.size && sizes.nodeCount && *sizes.size > *sizes.nodeCount) return *sizes.size;
    return 0;
}

DuplicateFileFinder::DuplicateFileFinder(ProgressCallback onProgress, PathCallback onCurrentPath)
    : onProgress(std::move(onProgress)), onCurrentPath(std::move(onCurrentPath)) {}

void DuplicateFileFinder::releaseFiles() {
    directories.clear();
    libraries.clear();
    pathTexts.clear();
}

void DuplicateFileFinder::notifyCurrentPath(const Path& path) {
    platform::Clock::TimePoint now = platform::clock().now();
    if (_lastReport && now - *_lastReport < _reportInterval) return;
    _lastReport = now;
    onCurrentPath(path);
}

bool DuplicateFileFinder::withExtension(const char* name, size_t length, const char* extension) {
    size_t extensionLength = std::strlen(extension);
    if (extensionLength >= length) return false;
    return ::strncasecmp(name + length - extensionLength, extension, extensionLength) == 0;
}

bool DuplicateFileFinder::withExtension(const dirent* entry, const char* extension) {
    return withExtension(entry->d_name, std::strlen(entry->d_name), extension);
}

bool DuplicateFileFinder::withExtension(const Path& path, const char* extension) {
    return withExtension(path.cStr(), path.length(), extension);
}

bool DuplicateFileFinder::exclude(const dirent* entry) const {
    for (const auto& extension : excludeExtensions)
        if (withExtension(entry, extension.c_str())) return true;
    return false;
}

bool DuplicateFileFinder::exclude(const Path& path) const {
    for (const auto& excluded : excludePaths)
        if (excluded.length() == path.length() && ::strncasecmp(excluded.cStr(), path.cStr(), path.length()) == 0)
            return true;
    return false;
}

bool DuplicateFileFinder::isPackage(const char* path) {
    return path != nullptr && platform::isPackage(path);
}

std::shared_ptr<Directory> DuplicateFileFinder::scanFiles(const Path& root, Duplicate<long long, File*>& filesBySize,
                                                          Duplicate<long long, Symlink*>& linksBySize,
                                                          Duplicate<long long, Package*>& packagesBySize,
                                                          std::deque<Package*>& unknownSizePackages, int& count) {
    auto rootDirectory = make<Directory>(root, nullptr);
    if (stopped) return rootDirectory;

    std::deque<Directory*> stack{rootDirectory.get()};
    const bool hiddenFolders = includeHiddenFolders;
    std::string scratch;
    while (!stack.empty()) {
        Directory* directory = stack.back();
        stack.pop_back();
        if (stopped) {
            directory->unique = true;
            return rootDirectory;
        }
        std::unique_ptr<DIR, DirCloser> dir(::opendir(directory->path.cStr()));
        if (!dir) {
            internal::logFailure("Failed to open directory", directory->path, errno);
            directory->unique = true;
            continue;
        }
        while (const dirent* entry = ::readdir(dir.get())) {
            if (stopped) {
                directory->unique = true;
                return rootDirectory;
            }
            switch (internal::entryType(dir.get(), entry)) {
            case DT_LNK: {
                // Links pass no filter but the size.
                Path path = entryPath(scratch, directory->path, entry->d_name);
                notifyCurrentPath(path);
                takeSized<Symlink>(directory, dir.get(), entry, path, pathTexts, minFileSize, linksBySize);
                break;
            }
            case DT_REG: {
                if (isDSStore(entry)) break;
                if (exclude(entry)) {
                    directory->unique = true;
                    break;
                }
                Path path = entryPath(scratch, directory->path, entry->d_name);
                notifyCurrentPath(path);
                if (takeSized<File>(directory, dir.get(), entry, path, pathTexts, minFileSize, filesBySize)) ++count;
                break;
            }
            case DT_DIR: {
                if (specialDirectory(entry)) break;
                Path path = entryPath(scratch, directory->path, entry->d_name);
                notifyCurrentPath(path);
                if (!isPackage(path.cStr())) {
                    if (!hiddenFolders && entry->d_name[0] == '.') {
                        directory->unique = true;
                    } else if (exclude(path)) {
                        directory->unique = true;
                    } else {
                        auto child = make<Directory>(kept(pathTexts, path), directory);
                        stack.push_back(child.get());
                        directory->children.push_back(std::move(child));
                    }
                    break;
                }
                if (exclude(entry)) {
                    directory->unique = true;
                    break;
                }
                long long size = packageFileSize(path);
                if (size != 0 && size < minFileSize) {
                    directory->unique = true;
                    break;
                }
                auto package = make<Package>(kept(pathTexts, path), directory);
                if (size != 0)
                    packagesBySize.add(size, package.get());
                else
                    unknownSizePackages.push_back(package.get());
                directory->children.push_back(std::move(package));
                break;
            }
            default:
                directory->unique = true;
                break;
            }
        }
        // Folders are held until the search ends; keep only what they use.
        directory->children.shrink_to_fit();
    }
    return rootDirectory;
}

std::shared_ptr<PhotoLibrary> DuplicateFileFinder::scanPhotoLibrary(const Path& path,
                                                                    Duplicate<long long, File*>& filesBySize,
                                                                    Duplicate<long long, Package*>& packagesBySize,
                                                                    std::deque<Package*>& unknownSizePackages,
                                                                    int& count) {
    long long size = packageFileSize(path);
    if (size != 0 && size < minFileSize) return nullptr;
    auto library = make<PhotoLibrary>(path, nullptr);
    if (size != 0)
        packagesBySize.add(size, library.get());
    else
        unknownSizePackages.push_back(library.get());
    try {
        PhotoLibraryReader::readPhotos(*library);
    } catch (const std::runtime_error& error) {
        // A library whose database can't be read still takes part as a package.
        internal::logFailure(error.what(), path, 0);
    }
    for (Photo& photo : library->photos) {
        filesBySize.add(photo.size, &photo);
        ++count;
    }
    return library;
}

}  // namespace dff
