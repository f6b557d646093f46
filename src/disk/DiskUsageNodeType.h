#pragma once
// The kinds of node in a disk usage tree: a file of some sort, or a folder
// that is entered (browsable), measured whole from the metadata index
// (bundle), or left out (ignored).
//
// Threading: plain values.
//
//   auto type = Core::DiskUsageNodeType::folder(Core::DiskUsageFolderType::bundle);
//   if (type.isFolder() && type.folderType() == Core::DiskUsageFolderType::bundle) ...

#include <cstdint>

namespace Core {

enum class DiskUsageFileType : uint8_t { normal = 0, special = 1, symbolic = 2 };

enum class DiskUsageFolderType : uint8_t { browsable = 0, bundle = 1, ignored = 2 };

// `file(type:)` or `folder(type:)`, one byte wide so that a tree of
// millions of nodes stays small.
class DiskUsageNodeType {
public:
    static constexpr DiskUsageNodeType file(DiskUsageFileType type) {
        return DiskUsageNodeType(false, static_cast<uint8_t>(type));
    }
    static constexpr DiskUsageNodeType folder(DiskUsageFolderType type) {
        return DiskUsageNodeType(true, static_cast<uint8_t>(type));
    }

    constexpr bool isFolder() const { return _isFolder; }
    constexpr bool isFile() const { return !_isFolder; }
    // Meaningful only for the matching case.
    constexpr DiskUsageFileType fileType() const { return static_cast<DiskUsageFileType>(_value); }
    constexpr DiskUsageFolderType folderType() const { return static_cast<DiskUsageFolderType>(_value); }

    friend constexpr bool operator==(DiskUsageNodeType a, DiskUsageNodeType b) {
        return a._isFolder == b._isFolder && a._value == b._value;
    }

private:
    constexpr DiskUsageNodeType(bool isFolder, uint8_t value) : _isFolder(isFolder), _value(value) {}
    bool _isFolder;
    uint8_t _value;
};

}  // namespace Core
