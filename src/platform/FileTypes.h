#pragma once
// File types: the platform's uniform type identifiers, its list of package
// extensions, and the metadata index's answer about a package's size.
//
// A type identifier comes from the name's extension (a fixed table, case
// folded), else from the first bytes of a regular file, else from its kind
// ("public.data", "public.folder", "public.symlink"). A folder is a package
// when its extension is one of the platform's package types.
//
// Threading: the free functions are thread-safe. PackageIndex::shared() may
// be read from any thread; setShared() is meant for start-up and tests.
//
//   auto type = platform::typeIdentifier("/photos/a.JPG");   // "public.jpeg"
//   bool pkg = platform::isPackage("/Applications/Mail.app");
//   auto sizes = platform::PackageIndex::shared()->sizes("/Applications/Mail.app");

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

// The identifier for a bare extension (without the dot, any case), or
// nothing when the table has none.
std::optional<std::string> typeIdentifierForExtension(std::string_view extension);
// The identifier that magic bytes at the start of a file stand for, or
// nothing when they are not known.
std::optional<std::string> typeIdentifierForContent(std::string_view head);
// The identifier of the item at `path`, not following a final link. Gives
// nothing when the item can't be looked at (missing, no rights).
std::optional<std::string> typeIdentifier(const std::string& path);
// The identifier of a regular file at `path` that the caller has already
// looked at: by its extension, else by its first bytes, else "public.data".
// Gives nothing when the extension is unknown and the file can't be read.
std::optional<std::string> typeIdentifierOfRegularFile(const std::string& path);
// The identifier for an extension (no dot, any case) when it names an image
// format, or nothing (also for known types that are no pictures).
std::optional<std::string> imageTypeIdentifierForExtension(std::string_view extension);
// True when `identifier` is an image format of the table (decodable or not).
bool isImageTypeIdentifier(std::string_view identifier);

// The picture formats the image services decode, each through its own
// loader only. Which of them a file holds is read from its first bytes.
enum class ImageFormat { jpeg, png, gif, webp, tiff, heif };
// How many first bytes imageFormatForContent() looks at.
inline constexpr size_t kImageSignatureLength = 12;
// The decodable format whose signature `head` begins with, or nothing.
std::optional<ImageFormat> imageFormatForContent(std::string_view head);
// The format a type identifier names, when it is a decodable one.
std::optional<ImageFormat> imageFormatForTypeIdentifier(std::string_view identifier);
// The decodable format a path's name promises (by its extension alone,
// without touching the disk), or nothing.
std::optional<ImageFormat> imageFormatForName(std::string_view path);

// A descriptor of the regular file at `path`, opened for reading,
// close-on-exec; -1 for anything else. A link in the last place is not
// followed and the open does not block, so a link or a FIFO swapped in
// after a walk listed the file neither leads elsewhere nor hangs the reader.
int openRegularFile(const char* path);

// A file opened for reading by descriptor (by openRegularFile), closed with
// the object; what a caller that hands the file on to a decoder needs, in
// one open.
class ReadableFile {
public:
    explicit ReadableFile(const char* path);
    ~ReadableFile();
    ReadableFile(const ReadableFile&) = delete;
    ReadableFile& operator=(const ReadableFile&) = delete;
    // -1 when the file could not be opened.
    int fd() const { return _fd; }
    // The decodable format its first bytes announce (one positioned read),
    // or nothing, also when it is not open.
    std::optional<ImageFormat> imageFormat() const;

private:
    int _fd;
};
// The identifiers of the decodable formats, sorted. Known from the table
// alone: asking never loads the image library.
const std::vector<std::string>& imageTypeIdentifiers();

// True when `extension` (no dot, any case) marks a folder as a package.
bool isPackageExtension(std::string_view extension);
// True when `path` is a folder (links followed) whose extension marks a
// package. Any failure, and a path that is not UTF-8, give false.
bool isPackage(const std::string& path);

// What the metadata index knows of an item: its size attribute and its node
// count. Either may be absent.
struct IndexedSizes {
    std::optional<int64_t> size;
    std::optional<int64_t> nodeCount;
};

// The metadata index, asked for the sizes of a package. The Linux default
// keeps no index and knows nothing; a test installs one that does.
class PackageIndex {
public:
    virtual ~PackageIndex() = default;
    // What the index holds for the item at `path`; both absent when it holds
    // nothing. Must be thread-safe.
    virtual IndexedSizes sizes(const std::string& path) const;

    // The installed index; never null.
    static std::shared_ptr<PackageIndex> shared();
    // Installs `index` (null restores the default).
    static void setShared(std::shared_ptr<PackageIndex> index);
};

}  // namespace platform
