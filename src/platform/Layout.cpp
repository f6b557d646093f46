#include "platform/Layout.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

namespace platform {

namespace {

std::string defaultHome() {
    if (const passwd* pw = ::getpwuid(::getuid()); pw != nullptr && pw->pw_dir != nullptr && pw->pw_dir[0] != '\0')
        return pw->pw_dir;
    return "/";
}

constexpr const char* kHelperServiceName = "com.oxmerl.MerlSweeper.PrivilegedHelperTool";

}  // namespace

std::string trimTrailingSlashes(std::string path) {
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
}

std::string joinPath(const std::string& base, const std::string& component) {
    if (base.empty()) return component;
    if (component.empty()) return base;
    std::string result = base;
    if (result.back() != '/') result.push_back('/');
    size_t start = 0;
    while (start < component.size() && component[start] == '/') ++start;
    result.append(component, start, std::string::npos);
    return result;
}

Layout& Layout::shared() {
    static Layout instance;
    return instance;
}

Layout::Layout()
    : _root("/"),
      _home(trimTrailingSlashes(defaultHome())),
      _temporaryDirectory("/tmp/core-" + std::to_string(::getuid()) + "/T") {}

std::string Layout::root() const {
    std::lock_guard lock(_mutex);
    return _root;
}

std::string Layout::home() const {
    std::lock_guard lock(_mutex);
    return _home;
}

std::string Layout::userLibrary() const {
    std::lock_guard lock(_mutex);
    return _userLibrary.empty() ? joinPath(_home, "Library") : _userLibrary;
}

std::string Layout::localLibrary() const { return systemPath("/Library"); }

std::string Layout::temporaryDirectory() const {
    std::lock_guard lock(_mutex);
    return _temporaryDirectory;
}

std::string Layout::trashDirectory() const {
    std::lock_guard lock(_mutex);
    return joinPath(_home, ".local/share/Trash");
}

std::vector<std::string> Layout::trashFolders() const {
    std::string home = this->home();
    return {joinPath(home, ".Trash"), joinPath(trashDirectory(), "files")};
}

std::string Layout::helperSocketPath() const {
    {
        std::lock_guard lock(_mutex);
        if (!_helperSocketPath.empty()) return _helperSocketPath;
    }
    return systemPath(std::string("/var/run/") + kHelperServiceName + ".socket");
}

std::string Layout::systemPath(const std::string& absolutePath) const {
    if (absolutePath.empty() || absolutePath.front() != '/') return absolutePath;
    std::lock_guard lock(_mutex);
    if (_root == "/") return absolutePath;
    return joinPath(_root, absolutePath);
}

void Layout::setRoot(const std::string& root) {
    std::lock_guard lock(_mutex);
    _root = root.empty() ? "/" : trimTrailingSlashes(root);
}

void Layout::setHome(const std::string& home) {
    std::lock_guard lock(_mutex);
    _home = trimTrailingSlashes(home);
}

void Layout::setUserLibrary(const std::string& library) {
    std::lock_guard lock(_mutex);
    _userLibrary = library.empty() ? std::string() : trimTrailingSlashes(library);
}

void Layout::setTemporaryDirectory(const std::string& tmp) {
    std::lock_guard lock(_mutex);
    _temporaryDirectory = trimTrailingSlashes(tmp);
}

void Layout::setHelperSocketPath(const std::string& path) {
    std::lock_guard lock(_mutex);
    _helperSocketPath = path;
}

}  // namespace platform
