#include "platform/FileTypes.h"

#include "platform/Strings.h"
#include "platform/internal/Installed.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

namespace platform {

namespace {

struct TypeEntry {
    std::string_view extension;
    std::string_view identifier;
};

// Sorted by extension, for a binary search.
constexpr std::array kTypesByExtension = std::to_array<TypeEntry>({
    {"3gp", "public.3gpp"},
    {"aif", "public.aiff-audio"},
    {"aiff", "public.aiff-audio"},
    {"app", "com.apple.application-bundle"},
    {"arw", "com.sony.arw-raw-image"},
    {"avi", "public.avi"},
    {"avif", "public.avif"},
    {"bmp", "com.microsoft.bmp"},
    {"bundle", "com.apple.bundle"},
    {"c", "public.c-source"},
    {"cpp", "public.c-plus-plus-source"},
    {"cr2", "com.canon.cr2-raw-image"},
    {"cr3", "com.canon.cr3-raw-image"},
    {"crw", "com.canon.crw-raw-image"},
    {"css", "public.css"},
    {"csv", "public.comma-separated-values-text"},
    {"dmg", "com.apple.disk-image-udif"},
    {"dng", "com.adobe.raw-image"},
    {"doc", "com.microsoft.word.doc"},
    {"docx", "org.openxmlformats.wordprocessingml.document"},
    {"exr", "com.ilm.openexr-image"},
    {"framework", "com.apple.framework"},
    {"gif", "com.compuserve.gif"},
    {"gz", "org.gnu.gnu-zip-archive"},
    {"h", "public.c-header"},
    {"hdr", "public.radiance"},
    {"heic", "public.heic"},
    {"heif", "public.heif"},
    {"htm", "public.html"},
    {"html", "public.html"},
    {"icns", "com.apple.icns"},
    {"ico", "com.microsoft.ico"},
    {"j2k", "public.jpeg-2000"},
    {"jp2", "public.jpeg-2000"},
    {"jpe", "public.jpeg"},
    {"jpeg", "public.jpeg"},
    {"jpf", "public.jpeg-2000"},
    {"jpg", "public.jpeg"},
    {"js", "com.netscape.javascript-source"},
    {"json", "public.json"},
    {"jxl", "public.jpeg-xl"},
    {"key", "com.apple.iwork.keynote.key"},
    {"log", "com.apple.log"},
    {"m4a", "com.apple.m4a-audio"},
    {"m4v", "com.apple.m4v-video"},
    {"md", "net.daringfireball.markdown"},
    {"mov", "com.apple.quicktime-movie"},
    {"mp3", "public.mp3"},
    {"mp4", "public.mpeg-4"},
    {"mpg", "public.mpeg"},
    {"nef", "com.nikon.raw-image"},
    {"numbers", "com.apple.iwork.numbers.numbers"},
    {"orf", "com.olympus.raw-image"},
    {"pages", "com.apple.iwork.pages.pages"},
    {"pbm", "public.pbm"},
    {"pdf", "com.adobe.pdf"},
    {"photoslibrary", "com.apple.photos.library"},
    {"pkg", "com.apple.installer-package-archive"},
    {"plist", "com.apple.property-list"},
    {"png", "public.png"},
    {"ppt", "com.microsoft.powerpoint.ppt"},
    {"pptx", "org.openxmlformats.presentationml.presentation"},
    {"psd", "com.adobe.photoshop-image"},
    {"py", "public.python-script"},
    {"raf", "com.fuji.raw-image"},
    {"rtf", "public.rtf"},
    {"rtfd", "com.apple.rtfd"},
    {"rw2", "com.panasonic.rw2-raw-image"},
    {"sh", "public.shell-script"},
    {"svg", "public.svg-image"},
    {"svgz", "public.svg-image"},
    {"swift", "public.swift-source"},
    {"tar", "public.tar-archive"},
    {"tga", "com.truevision.tga-image"},
    {"tif", "public.tiff"},
    {"tiff", "public.tiff"},
    {"txt", "public.plain-text"},
    {"wav", "com.microsoft.waveform-audio"},
    {"webp", "org.webmproject.webp"},
    {"xls", "com.microsoft.excel.xls"},
    {"xlsx", "org.openxmlformats.spreadsheetml.sheet"},
    {"xml", "public.xml"},
    {"zip", "public.zip-archive"},
});

// Folders with these extensions are shown and treated as single items.
constexpr std::array<std::string_view, 36> kPackageExtensions = {
    "app",        "appex",     "band",         "bundle",       "component", "docarchive",
    "download",   "dsym",      "fcpbundle",    "framework",    "imovielibrary", "kext",
    "key",        "logicx",    "mdimporter",   "mpkg",         "musiclibrary",  "nib",
    "numbers",    "pages",     "photolibrary", "photoslibrary", "playground", "plugin",
    "prefpane",   "qlgenerator", "rtfd",       "saver",        "scptd",     "sparsebundle",
    "theater",    "tvlibrary", "vst",          "vst3",         "xcarchive", "xcodeproj",
};

// The image formats this table knows. Only those of kDecodableFormats reach
// the image library.
constexpr std::array<std::string_view, 29> kImageFormats = {
    "com.adobe.pdf",             "com.adobe.photoshop-image", "com.adobe.raw-image",
    "com.apple.icns",            "com.canon.cr2-raw-image",   "com.canon.cr3-raw-image",
    "com.canon.crw-raw-image",   "com.compuserve.gif",        "com.fuji.raw-image",
    "com.ilm.openexr-image",     "com.microsoft.bmp",         "com.microsoft.ico",
    "com.nikon.raw-image",       "com.olympus.raw-image",     "com.panasonic.rw2-raw-image",
    "com.sony.arw-raw-image",    "com.truevision.tga-image",  "org.webmproject.webp",
    "public.avif",               "public.heic",               "public.heif",
    "public.jpeg",               "public.jpeg-2000",          "public.jpeg-xl",
    "public.pbm",                "public.png",                "public.radiance",
    "public.svg-image",          "public.tiff",
};

struct DecodableEntry {
    std::string_view identifier;
    ImageFormat format;
};

// Sorted by identifier. HEIF's loader reads its still-image relatives too.
constexpr std::array kDecodableFormats = std::to_array<DecodableEntry>({
    {"com.compuserve.gif", ImageFormat::gif},
    {"org.webmproject.webp", ImageFormat::webp},
    {"public.avif", ImageFormat::heif},
    {"public.heic", ImageFormat::heif},
    {"public.heif", ImageFormat::heif},
    {"public.jpeg", ImageFormat::jpeg},
    {"public.png", ImageFormat::png},
    {"public.tiff", ImageFormat::tiff},
});

// The extension of the last component: the text after its last dot, empty
// when there is none or the name begins with its only dot.
std::string_view extensionOf(std::string_view path) {
    size_t slash = path.find_last_of('/');
    std::string_view name = slash == std::string_view::npos ? path : path.substr(slash + 1);
    size_t dot = name.find_last_of('.');
    if (dot == std::string_view::npos || dot == 0) return {};
    return name.substr(dot + 1);
}

std::optional<std::string> readHead(const std::string& path) {
    ReadableFile file(path.c_str());
    if (file.fd() < 0) return std::nullopt;
    char head[16];
    ssize_t count = ::pread(file.fd(), head, sizeof head, 0);
    if (count < 0) return std::nullopt;
    return std::string(head, static_cast<size_t>(count));
}

internal::Installed<PackageIndex>& installedIndex() {
    static internal::Installed<PackageIndex> index;
    return index;
}

}  // namespace

std::optional<std::string> typeIdentifierForExtension(std::string_view extension) {
    if (extension.empty()) return std::nullopt;
    std::string key = lowercase(extension);
    auto it = std::lower_bound(kTypesByExtension.begin(), kTypesByExtension.end(), key,
                               [](const TypeEntry& e, const std::string& k) { return e.extension < k; });
    if (it == kTypesByExtension.end() || it->extension != key) return std::nullopt;
    return std::string(it->identifier);
}

std::optional<std::string> typeIdentifierForContent(std::string_view head) {
    auto starts = [&](std::string_view magic, size_t at = 0) {
        return head.size() >= at + magic.size() && head.substr(at, magic.size()) == magic;
    };
    if (starts("\xFF\xD8\xFF")) return "public.jpeg";
    if (starts("\x89PNG\r\n\x1A\n")) return "public.png";
    if (starts("GIF87a") || starts("GIF89a")) return "com.compuserve.gif";
    if (starts(std::string_view("II*\0", 4)) || starts(std::string_view("MM\0*", 4))) return "public.tiff";
    if (starts("RIFF") && starts("WEBP", 8)) return "org.webmproject.webp";
    if (starts("ftypheic", 4) || starts("ftypheix", 4)) return "public.heic";
    if (starts("ftypavif", 4)) return "public.avif";
    if (starts("ftypmif1", 4)) return "public.heif";
    if (starts("BM")) return "com.microsoft.bmp";
    if (starts("8BPS")) return "com.adobe.photoshop-image";
    if (starts("%PDF")) return "com.adobe.pdf";
    if (starts("bplist00")) return "com.apple.property-list";
    if (starts(std::string_view("PK\x03\x04", 4))) return "public.zip-archive";
    return std::nullopt;
}

std::optional<std::string> typeIdentifier(const std::string& path) {
    struct stat st {};
    if (::lstat(path.c_str(), &st) != 0) return std::nullopt;
    if (S_ISLNK(st.st_mode)) return "public.symlink";
    if (S_ISREG(st.st_mode)) return typeIdentifierOfRegularFile(path);
    std::string_view extension = extensionOf(path);
    if (S_ISDIR(st.st_mode)) {
        if (!isPackageExtension(extension)) return "public.folder";
        return typeIdentifierForExtension(extension).value_or("com.apple.package");
    }
    return typeIdentifierForExtension(extension).value_or("public.data");
}

std::optional<std::string> typeIdentifierOfRegularFile(const std::string& path) {
    if (auto byName = typeIdentifierForExtension(extensionOf(path))) return byName;
    auto head = readHead(path);
    if (!head) return std::nullopt;
    return typeIdentifierForContent(*head).value_or("public.data");
}

bool isImageTypeIdentifier(std::string_view identifier) {
    return std::find(kImageFormats.begin(), kImageFormats.end(), identifier) != kImageFormats.end();
}

std::optional<std::string> imageTypeIdentifierForExtension(std::string_view extension) {
    auto identifier = typeIdentifierForExtension(extension);
    if (!identifier || !isImageTypeIdentifier(*identifier)) return std::nullopt;
    return identifier;
}

std::optional<ImageFormat> imageFormatForContent(std::string_view head) {
    // The signatures of typeIdentifierForContent, kept to the decodable ones.
    auto identifier = typeIdentifierForContent(head.substr(0, kImageSignatureLength));
    if (!identifier) return std::nullopt;
    return imageFormatForTypeIdentifier(*identifier);
}

std::optional<ImageFormat> imageFormatForTypeIdentifier(std::string_view identifier) {
    auto it = std::lower_bound(kDecodableFormats.begin(), kDecodableFormats.end(), identifier,
                               [](const DecodableEntry& e, std::string_view k) { return e.identifier < k; });
    if (it == kDecodableFormats.end() || it->identifier != identifier) return std::nullopt;
    return it->format;
}

std::optional<ImageFormat> imageFormatForName(std::string_view path) {
    auto identifier = typeIdentifierForExtension(extensionOf(path));
    if (!identifier) return std::nullopt;
    return imageFormatForTypeIdentifier(*identifier);
}

int openRegularFile(const char* path) {
    int fd = ::open(path, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
    if (fd < 0) return -1;
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(fd);
        return -1;
    }
    return fd;
}

ReadableFile::ReadableFile(const char* path) : _fd(openRegularFile(path)) {}

ReadableFile::~ReadableFile() {
    if (_fd >= 0) ::close(_fd);
}

std::optional<ImageFormat> ReadableFile::imageFormat() const {
    if (_fd < 0) return std::nullopt;
    char head[kImageSignatureLength];
    ssize_t got = ::pread(_fd, head, sizeof head, 0);
    if (got <= 0) return std::nullopt;
    return imageFormatForContent(std::string_view(head, static_cast<size_t>(got)));
}

const std::vector<std::string>& imageTypeIdentifiers() {
    static const std::vector<std::string> types = [] {
        std::vector<std::string> sorted;
        for (const auto& entry : kDecodableFormats) sorted.emplace_back(entry.identifier);
        return sorted;
    }();
    return types;
}

bool isPackageExtension(std::string_view extension) {
    if (extension.empty()) return false;
    std::string key = lowercase(extension);
    return std::find(kPackageExtensions.begin(), kPackageExtensions.end(), key) != kPackageExtensions.end();
}

bool isPackage(const std::string& path) {
    if (path.empty() || !isValidUTF8(path)) return false;
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) return false;
    return isPackageExtension(extensionOf(path));
}

IndexedSizes PackageIndex::sizes(const std::string&) const { return {}; }

std::shared_ptr<PackageIndex> PackageIndex::shared() { return installedIndex().get(); }
void PackageIndex::setShared(std::shared_ptr<PackageIndex> index) { installedIndex().set(std::move(index)); }

}  // namespace platform
