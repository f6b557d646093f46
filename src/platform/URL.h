#pragma once
// URL: a file URL as a value. Holds an absolute path; the URL text is made
// on demand. Equality, order and hashing use the path alone, so a folder's
// URL with or without the directory mark is one key.
//
//   platform::URL caches = platform::URL::fileURL("/Users/a/Library").appending("Caches");
//   caches.lastPathComponent();   // "Caches"
//   caches.absoluteString();      // "file:///Users/a/Library/Caches"

#include <compare>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace platform {

class URL {
public:
    URL() = default;
    // `path` is taken as it is, less trailing slashes ("/" stays "/").
    static URL fileURL(std::string_view path, bool isDirectory = false);

    const std::string& path() const { return _path; }
    bool empty() const { return _path.empty(); }
    bool hasDirectoryPath() const { return _isDirectory; }

    // The last component of the path; "/" for the root, "" for an empty URL.
    std::string lastPathComponent() const;
    // The text after the last "." of the last component, "" when there is
    // none or the component begins with its only ".".
    std::string pathExtension() const;
    URL appending(std::string_view component, bool isDirectory = false) const;
    // The parent; the root's parent is the root.
    URL deletingLastPathComponent() const;
    URL deletingPathExtension() const;
    // "file://" and the path, percent-encoded as the platform does for file
    // URLs, with a trailing "/" for a directory.
    std::string absoluteString() const;

    friend bool operator==(const URL& a, const URL& b) { return a._path == b._path; }
    friend std::strong_ordering operator<=>(const URL& a, const URL& b) { return a._path <=> b._path; }

private:
    std::string _path;
    bool _isDirectory = false;
};

// Percent-encodes everything outside the unreserved set and "/", as in the
// path of a file URL.
std::string percentEncodePath(std::string_view path);

}  // namespace platform

template <>
struct std::hash<platform::URL> {
    size_t operator()(const platform::URL& url) const noexcept { return std::hash<std::string>{}(url.path()); }
};
