#pragma once
// dff::DuplicateFileFinder: the duplicate engine's search. `find` turns the
// root paths into groups of identical files, packages and folders, and
// groups of similar pictures, all on the calling thread: walk, sort by size,
// read in passes comparing digests after each, image hashes for what has no
// twin, links, packages, folders from the leaves up, and a last filter that
// reports a folder rather than its contents. Progress goes 0.3, 0.5, 0.55
// (unless only duplicates are asked for), 0.6, 0.8, 0.9. When only
// duplicates are asked for, no picture is decoded and the image library is
// never loaded.
//
// Walk marks: whatever the walk leaves out of its lists, other than "." and
// "..", and ".DS_Store", marks the directory that holds it `unique`, since
// such a directory can't be proved a duplicate.
//
// Threading: the finder runs on one thread, and its callbacks are called
// there; only the decoding of pictures is spread over the processors (with
// results as of one thread). stop() may be called from any
// other; the walk notices it between entries. Each finder has its own read
// buffers and time of the last path report, so two finders may run at once
// on two threads. On a worker of the dispatch pool a search counts as a
// blocking call, so the pool may start another worker meanwhile.
//
//   dff::DuplicateFileFinder finder([](double) {}, [](const dff::Path& p) { show(p); });
//   finder.paths = {dff::Path("/Users/a/Pictures")};
//   finder.minFileSize = 1;
//   dff::DuplicateFileFinder::Groups duplicates, similar;
//   finder.find(duplicates, similar, false);   // pointers valid until releaseFiles()

#include "dff/Duplicate.h"
#include "dff/File.h"
#include "dff/PhotoLibrary.h"
#include "dff/image/ImageHashValue.h"
#include "platform/Clock.h"

#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace dff {

namespace internal {
class TextArena;
}

// The size the metadata index gives for a package, or 0 when it is not
// known: the size counts only when it is greater than the index's node count.
long long packageFileSize(const Path& path);

class DuplicateFileFinder {
public:
    using ProgressCallback = std::function<void(double)>;
    using PathCallback = std::function<void(const Path&)>;

    // Both callbacks must be set; they are called on the thread of the search.
    DuplicateFileFinder(ProgressCallback onProgress, PathCallback onCurrentPath);
    ~DuplicateFileFinder();
    DuplicateFileFinder(const DuplicateFileFinder&) = delete;
    DuplicateFileFinder& operator=(const DuplicateFileFinder&) = delete;

    // Vectors: a deque takes a 512-byte block even for a pair, and a search
    // may report thousands of pairs.
    using Group = std::vector<File*>;
    using Groups = std::vector<Group>;

    // Searches `paths`, appending groups of identical objects (files,
    // photos, packages, folders) to `duplicates` and, unless
    // `onlyDuplicates`, groups of similar pictures to `similar`. Never
    // throws for what it can't read: such things drop out. After stop() it
    // gives what was found up to then. The pointers live until releaseFiles().
    void find(Groups& duplicates, Groups& similar, bool onlyDuplicates);

    // Whether two picture hashes count as similar (dff::similarImages).
    static bool similar(const ImageHashValue& a, const ImageHashValue& b);
    // How two sets of picture keys stand to each other.
    enum class SetRelation { same, overlapping, apart };
    template <class T>
    static SetRelation compareSet(const std::set<T>& a, const std::set<T>& b);

    // Asks the running search to end; safe from any thread.
    void stop() { stopped = true; }
    // Drops the roots and libraries, freeing the whole model. Pointers from
    // a search are invalid afterwards.
    void releaseFiles();
    // Hands `path` to onCurrentPath, unless less than 0.04 s (on
    // platform::clock()) passed since this finder's last report.
    void notifyCurrentPath(const Path& path);

    // True when `extension` (as given: a caller that wants a dot gives it) is
    // strictly shorter than the name and ends it, case folded in ASCII.
    static bool withExtension(const char* name, size_t length, const char* extension);
    static bool withExtension(const Path& path, const char* extension);
    // True when the entry name `name` ends in one of excludeExtensions.
    bool excludesName(const char* name) const;
    // True when the path equals one of excludePaths, case folded in ASCII.
    bool exclude(const Path& path) const;
    // True when `path` is a folder the platform shows as one item; false on
    // any failure.
    static bool isPackage(const char* path);

    // The least time between two path reports; tests that act on every
    // path set 0. Set it before a search runs.
    void setReportIntervalForTesting(platform::Clock::Duration interval) { _reportInterval = interval; }

    // Settings, written by the owner before a search.
    std::vector<Path> paths;
    std::vector<Path> excludePaths;
    std::vector<std::string> excludeExtensions;
    bool includeHiddenFolders = false;
    long long minFileSize = 0;
    // The most threads that read and decode at once; 0 for one per processor.
    unsigned threads = 0;

    ProgressCallback onProgress;
    PathCallback onCurrentPath;

    // What the searches found, owned until releaseFiles().
    std::vector<std::unique_ptr<Directory>> directories;
    std::vector<std::unique_ptr<Package>> libraries;

    std::atomic<bool> stopped{false};

protected:
    // Walks the folder `root` into a tree of objects and gives its root
    // Directory. Regular files (and counts them in `count`), links and
    // packages of known size go to their index by size; packages the index
    // knows no size of go to `unknownSizePackages`. Never throws for what
    // it can't read: that is left out and marks its directory.
    std::unique_ptr<Directory> scanFiles(const Path& root, Duplicate<long long, File*>& filesBySize,
                                         Duplicate<long long, Symlink*>& linksBySize,
                                         Duplicate<long long, Package*>& packagesBySize,
                                         std::deque<Package*>& unknownSizePackages, int& count);
    // Reads a photo library: the library goes in as a package, each of its
    // photos as a file. Gives null when the library is known to be smaller
    // than minFileSize. A database that can't be read leaves the library
    // without photos.
    std::unique_ptr<PhotoLibrary> scanPhotoLibrary(const Path& path, Duplicate<long long, File*>& filesBySize,
                                                   Duplicate<long long, Package*>& packagesBySize,
                                                   std::deque<Package*>& unknownSizePackages, int& count);

    // Reads the files of each size in passes, comparing digests after each,
    // until every file is complete (into `fileHashes`) or has no partner
    // left (marked unique, and, when `pictures` is given and its name says
    // picture, appended to `pictures` for calcImageHash).
    void findDuplicateFiles(Duplicate<long long, File*>& filesBySize, std::vector<File*>* pictures,
                            Duplicate<HashValue, File*>& fileHashes, double step);
    // Hashes `files` on all processors and adds each readable picture to
    // `images`, in the order of `files`: the index comes out as one thread
    // would have made it. Files that do not decode take no part.
    void calcImageHash(const std::vector<File*>& files, Duplicate<ImageHashValue, File*>& images);
    // Groups pictures similar to a seed, merging groups that overlap.
    void findSimilarFiles(Duplicate<ImageHashValue, File*>& images, Groups& similar);
    // Links are never reported; one without a twin spoils its folder.
    void findDuplicateLinks(Duplicate<long long, Symlink*>& linksBySize);
    void findDuplicatePackages(Duplicate<long long, Package*>& packagesBySize,
                               std::deque<Package*>& unknownSizePackages, Duplicate<HashValue, Package*>& packageHashes);
    // Digests each folder under `root` from the kinds, sizes and digests of
    // its children, leaves first; folders that hold anything unique are left out.
    void findDuplicateDirectories(Directory* root, Duplicate<HashValue, Directory*>& directoryHashes);
    // Loners turn unique, members of groups `duplicate`.
    template <class T>
    void markDuplicateContainers(Duplicate<HashValue, T*>& index);
    // Appends each group with a member outside a duplicate container.
    template <class T>
    void filter(Duplicate<HashValue, T*>& index, Groups& duplicates);

private:
    class Walk;

    // The path texts of what the searches found, borrowed by their objects;
    // the destructor frees the objects first.
    std::unique_ptr<internal::TextArena> _pathTexts;
    platform::Clock::Duration _reportInterval = std::chrono::milliseconds(40);
    // Empty until the first report, which always goes through.
    std::optional<platform::Clock::TimePoint> _lastReport;
};

template <class T>
DuplicateFileFinder::SetRelation DuplicateFileFinder::compareSet(const std::set<T>& a, const std::set<T>& b) {
    if (a == b) return SetRelation::same;
    const std::set<T>& smaller = a.size() <= b.size() ? a : b;
    const std::set<T>& larger = a.size() <= b.size() ? b : a;
    for (const T& member : smaller)
        if (larger.count(member) != 0) return SetRelation::overlapping;
    return SetRelation::apart;
}

}  // namespace dff
