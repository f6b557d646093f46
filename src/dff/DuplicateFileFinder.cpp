#include "dff/DuplicateFileFinder.h"

#include "dff/PhotoLibraryReader.h"
#include "dff/internal/EntryType.h"
#include "dff/internal/Failure.h"
#include "dff/internal/TextArena.h"
#include "platform/FileTypes.h"

#include <dirent.h>
#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>
#include <typeinfo>
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

// True for the entries "." and "..".
bool specialDirectory(const dirent* entry) {
    const char* name = entry->d_name;
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

}  // namespace

long long packageFileSize(const Path& path) {
    platform::IndexedSizes sizes = platform::PackageIndex::shared()->sizes(path.str());
    // An index that counts no more bytes than nodes has not really sized
    // the package.
    if (sizes.size && sizes.nodeCount && *sizes.size > *sizes.nodeCount) return *sizes.size;
    return 0;
}

DuplicateFileFinder::DuplicateFileFinder(ProgressCallback onProgress, PathCallback onCurrentPath)
    : onProgress(std::move(onProgress)),
      onCurrentPath(std::move(onCurrentPath)),
      _pathTexts(std::make_unique<internal::TextArena>()) {}

DuplicateFileFinder::~DuplicateFileFinder() { releaseFiles(); }

void DuplicateFileFinder::releaseFiles() {
    directories.clear();
    libraries.clear();
    _pathTexts->clear();
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

bool DuplicateFileFinder::withExtension(const Path& path, const char* extension) {
    return withExtension(path.cStr(), path.length(), extension);
}

bool DuplicateFileFinder::excludesName(const char* name) const {
    size_t length = std::strlen(name);
    for (const auto& extension : excludeExtensions)
        if (withExtension(name, length, extension.c_str())) return true;
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

// One walk of scanFiles: where each kind of entry goes.
class DuplicateFileFinder::Walk {
public:
    Walk(DuplicateFileFinder& finder, Duplicate<long long, File*>& filesBySize,
         Duplicate<long long, Symlink*>& linksBySize, Duplicate<long long, Package*>& packagesBySize,
         std::deque<Package*>& unknownSizePackages, int& count)
        : _finder(finder),
          _filesBySize(filesBySize),
          _linksBySize(linksBySize),
          _packagesBySize(packagesBySize),
          _unknownSizePackages(unknownSizePackages),
          _count(count) {}

    // Each folder is opened relative to its parent's open descriptor and
    // never through a link, so a folder swapped for a link while the walk
    // runs leads nowhere outside the tree. Only the folders on the way down
    // are held open.
    void run(Directory* root) {
        std::unique_ptr<DIR, DirCloser> rootDir(
            openFolder(AT_FDCWD, root->path.cStr(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, root));
        if (!rootDir || !list(root, rootDir.get())) return;
        struct Frame {
            Directory* directory;
            std::unique_ptr<DIR, DirCloser> dir;
            size_t next = 0;
        };
        std::vector<Frame> frames;
        frames.push_back({root, std::move(rootDir)});
        while (!frames.empty()) {
            Frame& frame = frames.back();
            Directory* child = nextFolder(*frame.directory, frame.next);
            if (child == nullptr) {
                frames.pop_back();
                continue;
            }
            // The name is the end of the path, whose text ends in a NUL.
            const char* name = child->path.cStr() + child->path.view().rfind('/') + 1;
            std::unique_ptr<DIR, DirCloser> dir(openFolder(
                ::dirfd(frame.dir.get()), name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC, child));
            if (!dir) continue;
            if (!list(child, dir.get())) return;
            frames.push_back({child, std::move(dir)});
        }
    }

private:
    // Opens a folder for listing; null, with `directory` marked, when it
    // can't be (a link swapped in gives ELOOP or ENOTDIR).
    static DIR* openFolder(int at, const char* name, int flags, Directory* directory) {
        int fd = ::openat(at, name, flags);
        DIR* dir = fd < 0 ? nullptr : ::fdopendir(fd);
        if (dir == nullptr) {
            internal::logFailure("Failed to open directory", directory->path, errno);
            if (fd >= 0) ::close(fd);
            directory->unique = true;
        }
        return dir;
    }

    // The next subfolder to walk among the children of `directory` from
    // `next` on, moving `next` past it; null when none is left.
    static Directory* nextFolder(Directory& directory, size_t& next) {
        while (next < directory.children.size()) {
            File& child = *directory.children[next++];
            if (typeid(child) == typeid(Directory)) return static_cast<Directory*>(&child);
        }
        return nullptr;
    }

    // Takes the entries of `directory`; its subfolders become children to
    // walk later. False after a stop, which marks the directory under way.
    bool list(Directory* directory, DIR* dir) {
        if (_finder.stopped) {
            directory->unique = true;
            return false;
        }
        for (;;) {
            errno = 0;
            const dirent* entry = ::readdir(dir);
            if (entry == nullptr) {
                // Listed in part: what it holds can't all be compared.
                if (errno != 0) {
                    internal::logFailure("Failed to read directory", directory->path, errno);
                    directory->unique = true;
                }
                break;
            }
            if (_finder.stopped) {
                directory->unique = true;
                return false;
            }
            switch (internal::entryType(dir, entry)) {
            case DT_LNK:
                // Links pass no filter but the size.
                takeSized<Symlink>(directory, dir, entry, reported(directory, entry), *_finder._pathTexts,
                                   _finder.minFileSize, _linksBySize);
                break;
            case DT_REG:
                if (isDSStore(entry)) break;
                if (_finder.excludesName(entry->d_name)) {
                    directory->unique = true;
                    break;
                }
                if (takeSized<File>(directory, dir, entry, reported(directory, entry), *_finder._pathTexts,
                                    _finder.minFileSize, _filesBySize))
                    ++_count;
                break;
            case DT_DIR:
                if (!specialDirectory(entry)) takeFolder(directory, entry);
                break;
            default:
                directory->unique = true;
                break;
            }
        }
        // Folders are held until the search ends; keep only what they use.
        directory->children.shrink_to_fit();
        return true;
    }

    // The path of `entry`, reported; good until the next entry.
    Path reported(const Directory* directory, const dirent* entry) {
        Path path = entryPath(_scratch, directory->path, entry->d_name);
        _finder.notifyCurrentPath(path);
        return path;
    }

    // A folder is walked once its parent is listed; a package is sized by the index and never walked.
    void takeFolder(Directory* directory, const dirent* entry) {
        Path path = reported(directory, entry);
        if (!DuplicateFileFinder::isPackage(path.cStr())) {
            if ((!_finder.includeHiddenFolders && entry->d_name[0] == '.') || _finder.exclude(path)) {
                directory->unique = true;
                return;
            }
            auto child = make<Directory>(kept(*_finder._pathTexts, path), directory);
            directory->children.push_back(std::move(child));
            return;
        }
        if (_finder.excludesName(entry->d_name)) {
            directory->unique = true;
            return;
        }
        long long size = packageFileSize(path);
        if (size != 0 && size < _finder.minFileSize) {
            directory->unique = true;
            return;
        }
        auto package = make<Package>(kept(*_finder._pathTexts, path), directory);
        if (size != 0)
            _packagesBySize.add(size, package.get());
        else
            _unknownSizePackages.push_back(package.get());
        directory->children.push_back(std::move(package));
    }

    DuplicateFileFinder& _finder;
    Duplicate<long long, File*>& _filesBySize;
    Duplicate<long long, Symlink*>& _linksBySize;
    Duplicate<long long, Package*>& _packagesBySize;
    std::deque<Package*>& _unknownSizePackages;
    int& _count;
    std::string _scratch;
};

std::unique_ptr<Directory> DuplicateFileFinder::scanFiles(const Path& root, Duplicate<long long, File*>& filesBySize,
                                                          Duplicate<long long, Symlink*>& linksBySize,
                                                          Duplicate<long long, Package*>& packagesBySize,
                                                          std::deque<Package*>& unknownSizePackages, int& count) {
    auto rootDirectory = make<Directory>(root, nullptr);
    if (stopped) return rootDirectory;
    Walk(*this, filesBySize, linksBySize, packagesBySize, unknownSizePackages, count).run(rootDirectory.get());
    return rootDirectory;
}

std::unique_ptr<PhotoLibrary> DuplicateFileFinder::scanPhotoLibrary(const Path& path,
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
