#include "support/TempDir.h"

#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace testing_support {

TempDir::TempDir() {
    std::string templ = (std::filesystem::temp_directory_path() / "core-test-XXXXXX").string();
    if (::mkdtemp(templ.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    _path = templ;
}

TempDir::~TempDir() {
    std::error_code ec;
    // Tests may leave read-only folders behind; make them writable first.
    for (auto it = std::filesystem::recursive_directory_iterator(
             _path, std::filesystem::directory_options::skip_permission_denied, ec);
         !ec && it != std::filesystem::recursive_directory_iterator(); it.increment(ec)) {
        if (it->is_directory(ec) && !it->is_symlink(ec))
            std::filesystem::permissions(it->path(), std::filesystem::perms::owner_all,
                                         std::filesystem::perm_options::add, ec);
    }
    std::filesystem::permissions(_path, std::filesystem::perms::owner_all, std::filesystem::perm_options::add, ec);
    std::filesystem::remove_all(_path, ec);
}

void writeFile(const std::filesystem::path& path, std::string_view content) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    if (!out) throw std::runtime_error("cannot write " + path.string());
}

int64_t allocated(const std::filesystem::path& path) {
    struct stat st {};
    return ::lstat(path.c_str(), &st) == 0 ? int64_t(st.st_blocks) * 512 : -1;
}

void writeFileOfSize(const std::filesystem::path& path, size_t size, char fill) {
    writeFile(path, std::string(size, fill));
}

std::string readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

ScopedLayout::ScopedLayout(const std::string& root, const std::string& home) {
    auto& layout = platform::Layout::shared();
    _root = layout.root();
    _home = layout.home();
    _tmp = layout.temporaryDirectory();
    _resources = platform::ResourceBundle::shared().folder();
    layout.setRoot(root);
    layout.setHome(home);
    layout.setUserLibrary("");
}

ScopedLayout::~ScopedLayout() {
    auto& layout = platform::Layout::shared();
    layout.setRoot(_root);
    layout.setHome(_home);
    layout.setUserLibrary("");
    layout.setTemporaryDirectory(_tmp);
    platform::ResourceBundle::shared().setFolder(_resources);
}

void ScopedLayout::setResources(const std::string& folder) { platform::ResourceBundle::shared().setFolder(folder); }

void ScopedLayout::setTemporaryDirectory(const std::string& folder) {
    platform::Layout::shared().setTemporaryDirectory(folder);
}

}  // namespace testing_support
