#include "Core/helper/internal/ToolInfo.h"

#include "platform/PropertyList.h"

#include <elf.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace Core::internal {

namespace {

constexpr size_t kMaxInfoSize = 1u << 20;

// Reads exactly `size` bytes at `offset` within a file of `fileSize` bytes.
bool readAt(int fd, uint64_t fileSize, uint64_t offset, void* out, size_t size) {
    if (offset > fileSize || size > fileSize - offset) return false;
    auto* bytes = static_cast<char*>(out);
    while (size > 0) {
        ssize_t count = ::pread(fd, bytes, size, static_cast<off_t>(offset));
        if (count <= 0) return false;
        bytes += count;
        offset += static_cast<uint64_t>(count);
        size -= static_cast<size_t>(count);
    }
    return true;
}

std::optional<std::string> readSection(int fd, uint64_t fileSize) {
    Elf64_Ehdr header{};
    if (!readAt(fd, fileSize, 0, &header, sizeof header)) return std::nullopt;
    if (std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 || header.e_ident[EI_CLASS] != ELFCLASS64 ||
        header.e_shentsize != sizeof(Elf64_Shdr) || header.e_shnum == 0 || header.e_shstrndx >= header.e_shnum)
        return std::nullopt;
    std::vector<Elf64_Shdr> sections(header.e_shnum);
    if (!readAt(fd, fileSize, header.e_shoff, sections.data(), sections.size() * sizeof(Elf64_Shdr)))
        return std::nullopt;
    const Elf64_Shdr& names = sections[header.e_shstrndx];
    if (names.sh_size > kMaxInfoSize) return std::nullopt;
    std::string nameTable(names.sh_size, '\0');
    if (!readAt(fd, fileSize, names.sh_offset, nameTable.data(), nameTable.size())) return std::nullopt;
    nameTable.push_back('\0');  // so that no name runs past the table
    for (const auto& section : sections) {
        if (section.sh_name >= nameTable.size()) continue;
        if (std::strcmp(nameTable.c_str() + section.sh_name, kInfoPlistSection) != 0) continue;
        if (section.sh_type == SHT_NOBITS || section.sh_size > kMaxInfoSize) return std::nullopt;
        std::string bytes(section.sh_size, '\0');
        if (!readAt(fd, fileSize, section.sh_offset, bytes.data(), bytes.size())) return std::nullopt;
        // The section holds a C string; its terminator is no part of the list.
        while (!bytes.empty() && bytes.back() == '\0') bytes.pop_back();
        return bytes;
    }
    return std::nullopt;
}

}  // namespace

std::optional<std::string> readEmbeddedInfoPlist(const std::string& path) {
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return std::nullopt;
    struct stat st {};
    std::optional<std::string> result;
    if (::fstat(fd, &st) == 0 && S_ISREG(st.st_mode)) result = readSection(fd, static_cast<uint64_t>(st.st_size));
    ::close(fd);
    return result;
}

namespace {

// The shared reader: it refuses the documents that would crash or stall the
// property-list parser.
std::optional<platform::PlistValue> readInfoList(const std::string& path) {
    auto bytes = readEmbeddedInfoPlist(path);
    if (!bytes || bytes->empty()) return std::nullopt;
    return platform::parsePropertyList(*bytes);
}

}  // namespace

std::optional<std::string> readToolBundleVersion(const std::string& path) {
    auto root = readInfoList(path);
    if (!root) return std::nullopt;
    const auto* version = root->find("CFBundleVersion");
    if (version == nullptr || version->string() == nullptr) return std::nullopt;
    return *version->string();
}

std::vector<std::string> readAuthorizedClients(const std::string& path) {
    std::vector<std::string> clients;
    auto root = readInfoList(path);
    const auto* list = root ? root->find(kAuthorizedClientsKey) : nullptr;
    if (list == nullptr || list->array() == nullptr) return clients;
    for (const auto& entry : *list->array())
        if (entry.string() != nullptr) clients.push_back(*entry.string());
    return clients;
}

}  // namespace Core::internal
