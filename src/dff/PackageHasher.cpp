#include "dff/PackageHasher.h"

#include "dff/internal/EntryType.h"
#include "dff/internal/LinkTarget.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace dff {

namespace {

enum : uint8_t { kFileCode = 0, kLinkCode = 1, kDirectoryCode = 2 };

struct DirCloser {
    void operator()(DIR* dir) const { ::closedir(dir); }
};

bool isDotEntry(const char* name) { return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0; }

// Descending byte order: the lists are used from the back, so the smallest
// name goes first, and two equal packages feed their digests alike.
void sortDescending(std::vector<std::string>& names) { std::sort(names.begin(), names.end(), std::greater<>()); }

void feedWord(MD5& md5, uint64_t word) { md5.updateMD5(&word, sizeof word); }

void feedName(MD5& md5, uint8_t code, const std::string& name) {
    md5.updateMD5(&code, 1);
    feedWord(md5, name.size());
}

}  // namespace

PackageHasher::PackageHasher(Package* package, long long minSize) : package(package), minSize(minSize) {
    directories.push_back(package->path);
}

bool PackageHasher::update() {
    if (!calculateDirectories()) return false;
    if (!calculateFiles()) return false;
    return calculateSymlinks();
}

bool PackageHasher::calculateDirectories() {
    if (directories.empty()) return true;
    Path directory = std::move(directories.back());
    directories.pop_back();

    std::vector<std::string> fileNames, linkNames, directoryNames;
    {
        std::unique_ptr<DIR, DirCloser> dir(::opendir(directory.cStr()));
        if (!dir) throw ReadError("Failed to open directory", errno);
        while (const dirent* entry = ::readdir(dir.get())) {
            switch (internal::entryType(dir.get(), entry)) {
            case DT_LNK: linkNames.emplace_back(entry->d_name); break;
            case DT_REG: fileNames.emplace_back(entry->d_name); break;
            case DT_DIR:
                if (!isDotEntry(entry->d_name)) directoryNames.emplace_back(entry->d_name);
                break;
            default: throw std::runtime_error("Unknown file type");
            }
        }
    }

    auto addSized = [&](std::vector<std::string>& names, uint8_t code, std::deque<File>& list) {
        sortDescending(names);
        for (const auto& name : names) {
            Path path = directory / name;
            struct stat st {};
            if (::lstat(path.cStr(), &st) != 0) throw ReadError("Failed to read file info", errno);
            package->size += st.st_size;
            feedName(md5, code, name);
            feedWord(md5, static_cast<uint64_t>(st.st_size));
            md5.updateMD5(name.data(), static_cast<long long>(name.size()));
            list.push_back({std::move(path), st.st_size});
        }
    };
    addSized(fileNames, kFileCode, files);
    addSized(linkNames, kLinkCode, links);

    sortDescending(directoryNames);
    for (const auto& name : directoryNames) {
        feedName(md5, kDirectoryCode, name);
        md5.updateMD5(name.data(), static_cast<long long>(name.size()));
        directories.push_back(directory / name);
    }

    if (directories.empty() && package->size < minSize) throw std::runtime_error("Too small");
    return directories.empty();
}

bool PackageHasher::calculateFiles() {
    if (files.empty()) return true;
    const File& file = files.back();
    if (file.size != 0) {
        if (!reader) reader = std::make_unique<FileReader>(&file.path, file.size);
        bool complete = reader->read([this](const char* bytes, long long length) { md5.updateMD5(bytes, length); });
        if (!complete) return false;
    }
    reader.reset();
    files.pop_back();
    return files.empty();
}

bool PackageHasher::calculateSymlinks() {
    if (links.empty()) return true;
    char buffer[internal::LinkTarget::kCapacity];
    std::string_view target;
    long length = internal::LinkTarget::read(links.back().path, buffer, target);
    if (length != links.back().size) throw ReadError("Failed to read symbolic link", length < 0 ? errno : 0);
    links.pop_back();
    md5.updateMD5(target.data(), static_cast<long long>(target.size()));
    return links.empty();
}

}  // namespace dff
