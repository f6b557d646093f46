#include "platform/LoginItemsList.h"

#include "platform/Layout.h"
#include "platform/PropertyList.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <mutex>

namespace platform {

namespace {

constexpr const char* kListPath = "Library/Preferences/loginitems.plist";

std::mutex& listMutex() {
    static std::mutex mutex;
    return mutex;
}

// The stored entries, non-strings included so that a rewrite keeps them.
// An absent file is an empty list; nothing when the file can't be read as an
// array.
std::optional<PlistValue::Array> readEntries(const std::string& path) {
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0) {
        if (errno == ENOENT) return PlistValue::Array{};
        return std::nullopt;
    }
    auto root = readPropertyListFile(path);
    if (!root || root->array() == nullptr) return std::nullopt;
    return *root->array();
}

bool writeEntries(const std::string& path, PlistValue::Array entries) {
    std::error_code ec;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ec);
    const std::string temporary = path + ".tmp-" + std::to_string(::getpid());
    {
        const std::string bytes = toXmlPropertyList(PlistValue(std::move(entries)));
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        out.close();
        if (!out) {
            ::unlink(temporary.c_str());
            return false;
        }
    }
    if (::rename(temporary.c_str(), path.c_str()) != 0) {
        ::unlink(temporary.c_str());
        return false;
    }
    return true;
}

void eraseText(PlistValue::Array& entries, const std::string& text) {
    std::erase_if(entries, [&](const PlistValue& v) { return v.string() != nullptr && *v.string() == text; });
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// The path of a file URL's text; nothing for other schemes, hosts other than
// "localhost", relative paths and broken escapes.
std::optional<std::string> pathOfFileURL(std::string_view text) {
    constexpr std::string_view scheme = "file://";
    if (text.substr(0, scheme.size()) != scheme) return std::nullopt;
    text.remove_prefix(scheme.size());
    if (text.substr(0, 9) == "localhost") text.remove_prefix(9);
    if (text.empty() || text.front() != '/') return std::nullopt;
    std::string path;
    path.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            path.push_back(text[i]);
            continue;
        }
        if (i + 2 >= text.size()) return std::nullopt;
        int high = hexValue(text[i + 1]);
        int low = hexValue(text[i + 2]);
        if (high < 0 || low < 0) return std::nullopt;
        path.push_back(static_cast<char>(high * 16 + low));
        i += 2;
    }
    if (path.find('\0') != std::string::npos) return std::nullopt;
    return path;
}

}  // namespace

URL fileURLWithPath(const std::string& path) {
    struct stat st {};
    return URL::fileURL(path, ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode));
}

std::optional<LoginItemsList> LoginItemsList::create() {
    const std::string home = Layout::shared().home();
    if (home.empty()) return std::nullopt;
    LoginItemsList list(joinPath(home, kListPath));
    std::lock_guard lock(listMutex());
    if (!readEntries(list._path)) return std::nullopt;
    return list;
}

std::optional<std::vector<LoginItemsList::Item>> LoginItemsList::copySnapshot() const {
    std::optional<PlistValue::Array> entries;
    {
        std::lock_guard lock(listMutex());
        entries = readEntries(_path);
    }
    if (!entries) return std::nullopt;
    std::vector<Item> items;
    for (const auto& entry : *entries)
        if (entry.string() != nullptr) items.push_back({*entry.string()});
    return items;
}

std::optional<URL> LoginItemsList::resolvedURL(const Item& item) {
    auto path = pathOfFileURL(item.urlString);
    if (!path) return std::nullopt;
    struct stat st {};
    if (::stat(path->c_str(), &st) != 0) return std::nullopt;
    return URL::fileURL(*path, S_ISDIR(st.st_mode));
}

bool LoginItemsList::insertItemBeforeFirst(const URL& url) {
    const std::string text = url.absoluteString();
    std::lock_guard lock(listMutex());
    auto entries = readEntries(_path);
    if (!entries) return false;
    eraseText(*entries, text);
    entries->insert(entries->begin(), PlistValue(text));
    return writeEntries(_path, std::move(*entries));
}

bool LoginItemsList::removeItem(const Item& item) {
    std::lock_guard lock(listMutex());
    auto entries = readEntries(_path);
    if (!entries) return false;
    const size_t before = entries->size();
    eraseText(*entries, item.urlString);
    if (entries->size() == before) return true;
    return writeEntries(_path, std::move(*entries));
}

}  // namespace platform
