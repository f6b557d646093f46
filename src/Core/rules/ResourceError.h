#pragma once
// ResourceError: a required resource document is missing, unreadable, does
// not decipher or does not decode. The library cannot go on without it; the
// host reports the message (which names the file and the cause) and stops.
//
//   try { Core::RuleManager::shared(); }
//   catch (const Core::ResourceError& e) { std::fprintf(stderr, "%s\n", e.what()); }

#include <stdexcept>
#include <string>

namespace Core {

class ResourceError : public std::runtime_error {
public:
    ResourceError(std::string file, std::string cause)
        : std::runtime_error(file + ": " + cause), _file(std::move(file)), _cause(std::move(cause)) {}

    // The document's path or name.
    const std::string& file() const { return _file; }
    // What went wrong, e.g. "line 3, column 5: ...".
    const std::string& cause() const { return _cause; }

private:
    std::string _file;
    std::string _cause;
};

}  // namespace Core
