#pragma once
// OMFolderExtractor: lists one folder fast, splitting its entries into
// folders and other files with the allocated size of each, staying on the
// scan's volume and never giving the same file number twice in a scan.
// GetDirectorySize sums a whole tree.
//
// The scan context (device number and the set of file numbers seen) is
// process-wide: setupScanContextWithDeviceNumber replaces it for the whole
// process, so two scans can't run at once.
//
// Threading: the listings and isAlreadyPresent may run on many threads at
// once; isAlreadyPresent tests and adds in one locked step. Callbacks run on
// the calling thread before the listing returns.
//
//   struct stat st;
//   Core::getFileInfo("/data", &st);
//   Core::OMFolderExtractor::setupScanContextWithDeviceNumber(st.st_dev);
//   Core::OMFolderExtractor::isAlreadyPresent(st.st_ino);
//   Core::OMFolderExtractor::extractFolderUsingAttrListMethodWith("/data",
//       [](auto folders) { ... }, [](auto files) { ... }, [] { done(); });

#include "disk/OMFolderElement.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Core {

class OMFolderExtractor {
public:
    using ElementsFound = std::function<void(std::vector<OMFolderElement> elements)>;
    using Completion = std::function<void()>;

    // Starts a scan: remembers the root's device and forgets every file
    // number seen before.
    static void setupScanContextWithDeviceNumber(uint64_t deviceNumber);
    // False before the first setup. Otherwise true when `fileNumber` was
    // seen in this scan; if not, it is now marked as seen and the answer is
    // false.
    static bool isAlreadyPresent(uint64_t fileNumber);
    // The device of the running scan (0 before the first setup).
    static uint64_t currentDeviceNumber();

    // One readdir + fstatat per entry. Calls foldersFound, filesFound, then
    // completion; a folder that can't be opened gives completion only.
    static void extractFolderWith(const std::string& path, const ElementsFound& foldersFound,
                                  const ElementsFound& filesFound, const Completion& completion);
    // The bulk listing the disk scan uses: batches of entries per system
    // call, fstatat relative to the folder. Same callbacks and failure rule.
    static void extractFolderUsingAttrListMethodWith(const std::string& path, const ElementsFound& foldersFound,
                                                     const ElementsFound& filesFound,
                                                     const Completion& completion);
};

// The sum of the allocated sizes of the regular files below `path` (the
// path itself if it is one), not following symbolic links. Folders whose
// link count is 65535 aren't entered and count 65535 * 32 bytes. Stops early
// when `stopFlag` is given and becomes true. The errno of the last entry
// that couldn't be read or listed goes to `errorOut` when given (left
// untouched otherwise). Returns 0 for a path that can't be read at all.
int64_t GetDirectorySize(const char* path, const std::atomic<bool>* stopFlag, int32_t* errorOut);

namespace internal {

// What the bulk listing makes of one entry, by object type; exposed for the
// tests of its size rules.
struct BulkEntryClass {
    OMFolderElement::Kind kind;
    uint64_t size;
};
enum class ObjectType { regular, directory, symbolicLink, other };
// `entryCount` below 0 means the folder's count isn't known cheaply.
BulkEntryClass classifyBulkEntry(ObjectType type, int64_t entryCount, uint64_t allocatedSize);

}  // namespace internal

}  // namespace Core
