#include "Core/files/FileSystem.h"

#include <sys/stat.h>

namespace Core {

std::vector<URLResource> FileSystem::contents(const platform::URL& of, const std::vector<ResourceKey>& keys) const {
    return FileManager::contents(of, keys);
}

bool FileSystem::fileExists(const std::string& path) const {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0;
}

const std::shared_ptr<FileSystem>& FileSystem::real() {
    static const auto* instance = new std::shared_ptr<FileSystem>(std::make_shared<FileSystem>());
    return *instance;
}

}  // namespace Core
