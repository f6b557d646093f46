#pragma once
// MetadataIndex: the platform's file metadata index, asked the three
// questions the system has for it. Each answer is a list of items with a
// path and a size; an absent answer means the query could not be started.
//
// The Linux stand-in keeps no index: it answers by walking the folders
// concerned when asked (and says so through walksScopeForPackages(), so that
// the disk usage walk sizes the packages it meets instead of having the
// whole scope walked once more for them).
// - packages(scope): folders below `scope` whose names end in a package
//   extension (".app", ".bundle", ... as platform::isPackageExtension says),
//   each with the sum of the allocated sizes of the regular files below it
//   as its physical size, when that sum is at least 1. Any order.
// - filesOfAtLeast(minSize): the regular files below the layout's home
//   whose logical size (st_size) is at least `minSize`, largest first.
// - diskImages(): the regular files below the home whose last 512 bytes
//   begin with "koly", whatever their names, with their length in bytes.
// Files below the home are never listed from below the layout's root when
// the root is a folder inside the home (the system's own tree, put there by
// a test or the console host). Links are not followed; other volumes are
// entered.
//
// Threading: the shared instance may be read from any thread; install a
// double with setShared() before the code under test runs. Implementations
// must be thread-safe.
//
//   auto packages = platform::MetadataIndex::shared()->packages("/Applications");
//   auto big = platform::MetadataIndex::shared()->filesOfAtLeast(100 << 20);

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace platform {

struct MetadataItem {
    std::string path;
    int64_t size = 0;  // bytes; physical or logical as the query says
};
using MetadataAnswer = std::optional<std::vector<MetadataItem>>;

class MetadataIndex {
public:
    virtual ~MetadataIndex() = default;

    // "(kMDItemContentTypeTree == 'public.directory' && kMDItemContentTypeTree
    // != 'public.folder') && kMDItemFSSize >= 1" with `scope` as search
    // scope: packages with their physical sizes.
    virtual MetadataAnswer packages(const std::string& scope) const;
    // "kMDItemFSSize >= N" over the index: largest first, logical sizes.
    virtual MetadataAnswer filesOfAtLeast(int64_t minSize) const;
    // "kMDItemContentType == 'com.apple.disk-image-udif'".
    virtual MetadataAnswer diskImages() const;
    // The kMDItemFSSize of the one item at `path`: a package folder's
    // physical size as packages() gives it, a regular file's allocated size.
    // Nothing when the item doesn't exist or is neither.
    virtual std::optional<int64_t> itemSize(const std::string& path) const;

    // True when packages() has to walk the whole scope to answer, as the
    // stand-in does. A caller that walks the scope itself may then ask
    // itemSize() of each package folder it meets instead: the answer is the
    // same, and the scope's folders are listed once rather than twice. An
    // index derived from this one answers packages() its own way and says
    // false unless it overrides this too.
    virtual bool walksScopeForPackages() const;

    // The installed index; never null.
    static std::shared_ptr<MetadataIndex> shared();
    // Installs `index` (null restores the stand-in).
    static void setShared(std::shared_ptr<MetadataIndex> index);
};

// Passes every query to another index; a test double derives from it and
// overrides only what it fakes.
class MetadataIndexWrapper : public MetadataIndex {
public:
    explicit MetadataIndexWrapper(std::shared_ptr<MetadataIndex> target) : _target(std::move(target)) {}
    MetadataAnswer packages(const std::string& scope) const override { return _target->packages(scope); }
    MetadataAnswer filesOfAtLeast(int64_t minSize) const override { return _target->filesOfAtLeast(minSize); }
    MetadataAnswer diskImages() const override { return _target->diskImages(); }
    std::optional<int64_t> itemSize(const std::string& path) const override { return _target->itemSize(path); }
    bool walksScopeForPackages() const override { return false; }

private:
    std::shared_ptr<MetadataIndex> _target;
};

}  // namespace platform
