#include "platform/ResourceBundle.h"

#include "platform/Layout.h"

#include <sys/stat.h>

namespace platform {

namespace {

bool isDirectory(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::string defaultFolder() {
#ifdef CORE_RESOURCES_INSTALL_DIR
    if (isDirectory(CORE_RESOURCES_INSTALL_DIR)) return CORE_RESOURCES_INSTALL_DIR;
#endif
#ifdef CORE_RESOURCES_BUILD_DIR
    return CORE_RESOURCES_BUILD_DIR;
#else
    return "resources";
#endif
}

}  // namespace

ResourceBundle& ResourceBundle::shared() {
    static ResourceBundle bundle(defaultFolder());
    return bundle;
}

ResourceBundle::ResourceBundle(std::string folder) : _folder(std::move(folder)) {}

std::string ResourceBundle::folder() const {
    std::lock_guard lock(_mutex);
    return _folder;
}

void ResourceBundle::setFolder(const std::string& folder) {
    std::lock_guard lock(_mutex);
    _folder = folder;
}

std::optional<std::string> ResourceBundle::pathForResource(const std::string& name, const std::string& type) const {
    std::string file = type.empty() ? name : name + "." + type;
    std::string path = joinPath(folder(), file);
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return std::nullopt;
    return path;
}

}  // namespace platform
