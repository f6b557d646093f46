#pragma once
// The file records every scanner hands to the host: anything with a
// location and a size (`FileProtocol`), a plain `File`, and a listed
// directory entry with what the platform reported on it (`URLResource`).
// Plain values, immutable once handed out; they cross threads freely.
//
//   Core::File f(platform::URL::fileURL("/tmp/a"), 1500);
//   f.sizeString();   // "2 KB"

#include "platform/ByteCountFormatter.h"
#include "platform/URL.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace Core {

// Gives every record with `url()` and `size()` its size as text, through
// the platform's byte-count formatter.
template <class Derived>
struct FileProtocol {
    std::string sizeString() const { return platform::formatByteCount(static_cast<const Derived&>(*this).size()); }
};

class AppFile;
class AppFileKind;

class File : public FileProtocol<File> {
public:
    File(platform::URL url, int64_t size) : _url(std::move(url)), _size(size) {}

    const platform::URL& url() const { return _url; }
    int64_t size() const { return _size; }

    // An AppFile with this URL and size, the given kind, and the owner
    // "installed application with the empty bundle identifier".
    AppFile toAppFile(const AppFileKind& kind) const;

    // Equality and hashing use the URL alone.
    friend bool operator==(const File& a, const File& b) { return a._url == b._url; }

private:
    platform::URL _url;
    int64_t _size;
};

// What the listing read for one entry; a key that was not asked for, or
// that could not be read, is absent.
struct ResourceValues {
    std::optional<std::string> name;
    std::optional<int64_t> fileSize;
    std::optional<bool> isDirectory;
    std::optional<bool> isAliasFile;
};

struct URLResource {
    platform::URL url;
    ResourceValues resourceValues;
};

}  // namespace Core

template <>
struct std::hash<Core::File> {
    size_t operator()(const Core::File& f) const noexcept { return std::hash<platform::URL>{}(f.url()); }
};
