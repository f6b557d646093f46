#pragma once
// ResourceBundle: the library's resources folder, where resource documents
// are looked up by name and type ("ruleInfo", "txt"). By default the build
// tree's folder while developing, else the installed one; the host or a test
// may set another folder before first use.
//
// Threading: safe from any thread.
//
//   auto path = platform::ResourceBundle::shared().pathForResource("ruleInfo", "txt");

#include <mutex>
#include <optional>
#include <string>

namespace platform {

class ResourceBundle {
public:
    static ResourceBundle& shared();

    // A bundle on the given folder.
    explicit ResourceBundle(std::string folder);

    std::string folder() const;
    void setFolder(const std::string& folder);

    // "<folder>/<name>.<type>" when a regular file (or a link to one) is
    // there; nothing otherwise.
    std::optional<std::string> pathForResource(const std::string& name, const std::string& type) const;

private:
    mutable std::mutex _mutex;
    std::string _folder;
};

}  // namespace platform
