#pragma once
// FileError: a file-system call that failed, with the errno and the path in
// its message. Thrown by the listing of FileManager, the one operation of
// the file utilities that hands its failure to the caller.
//
// Threading: a plain exception value.
//
//   try { auto entries = Core::FileManager::contents(url, {}); }
//   catch (const Core::FileError& e) { if (e.code() == EACCES) ...; }

#include <cstring>
#include <stdexcept>
#include <string>

namespace Core {

class FileError : public std::runtime_error {
public:
    FileError(int code, const std::string& what, const std::string& path)
        : std::runtime_error(what + " " + path + ": " + std::strerror(code)), _code(code), _path(path) {}

    int code() const { return _code; }
    const std::string& path() const { return _path; }
    bool isNotFound() const { return _code == ENOENT || _code == ENOTDIR; }

private:
    int _code;
    std::string _path;
};

}  // namespace Core
