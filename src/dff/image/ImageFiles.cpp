#include "dff/image/ImageFiles.h"

#include "dff/image/ImageHash.h"
#include "dff/internal/Failure.h"
#include "platform/FileTypes.h"

#include <atomic>
#include <cstdio>
#include <ctime>
#include <stdexcept>

namespace dff {
namespace {

std::atomic<platform::ImageService*> installedService{nullptr};

platform::ImageService& images() { return imageService(); }

// Reads `count` digits at `at` into `value`; false when any is not a digit.
bool digits(std::string_view text, size_t at, size_t count, int& value) {
    value = 0;
    for (size_t i = at; i < at + count; ++i) {
        if (text[i] < '0' || text[i] > '9') return false;
        value = value * 10 + (text[i] - '0');
    }
    return true;
}

bool isLeapYear(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int daysInMonth(int year, int month) {
    static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && isLeapYear(year) ? 29 : kDays[month - 1];
}

// The file's gray picture and date from one open, through its format's own
// decoder; nothing when it holds no decodable picture. `hadSignature` tells a
// picture that failed to decode from a file that never held one.
std::optional<platform::ImageService::GrayPicture> readGrayPicture(const Path& path, int width, int height,
                                                                  bool& hadSignature) {
    platform::ReadableFile file(path.cStr());
    // A name that promises a picture is no reason to hand other bytes to a
    // decoder: they would only be probed by loader after loader.
    auto format = file.imageFormat();
    hadSignature = format.has_value();
    if (!format) return std::nullopt;
    auto picture = images().grayPicture(file.fd(), *format, width, height);
    if (!picture || picture->pixels.size() != size_t(width) * size_t(height)) return std::nullopt;
    return picture;
}

std::string formatSeconds(double seconds) {
    char text[64];
    std::snprintf(text, sizeof text, "%f", seconds);
    return text;
}

}  // namespace

platform::ImageService& imageService() {
    platform::ImageService* service = installedService.load();
    return service != nullptr ? *service : platform::ImageService::shared();
}

void setImageService(platform::ImageService* service) { installedService.store(service); }

bool isImage(File& file) {
    const std::string* type = file.getType();
    return type != nullptr && platform::imageFormatForTypeIdentifier(*type).has_value();
}

bool isImage(const char* path) {
    if (path == nullptr) return false;
    auto type = platform::typeIdentifier(path);
    return type && platform::imageFormatForTypeIdentifier(*type).has_value();
}

bool hasPictureName(const Path& path) { return platform::imageFormatForName(path.view()).has_value(); }

platform::Image createImage(const platform::URL& url, int size) { return images().thumbnail(url.path(), size); }

platform::Image createThumbnailImage(const char* path, int size) {
    if (path == nullptr) return {};
    return createImage(platform::URL::fileURL(path), size);
}

platform::Image convertToGrayscaleImage(const platform::Image& image, int width, int height) {
    return images().grayStretch(image, width, height);
}

std::optional<std::vector<uint8_t>> createGrayscaleImage(const Path& path, int width, int height) {
    bool hadSignature = false;
    auto picture = readGrayPicture(path, width, height, hadSignature);
    if (!picture) return std::nullopt;
    return std::move(picture->pixels);
}

std::string formatExifDate(std::string_view text) {
    // Exactly "yyyy:MM:dd HH:mm:ss", each field in its range; anything else
    // counts as the start of the epoch.
    static constexpr std::string_view kShape = "dddd:dd:dd dd:dd:dd";
    const std::string zero = formatSeconds(0.0);
    if (text.size() != kShape.size()) return zero;
    for (size_t i = 0; i < kShape.size(); ++i)
        if (kShape[i] != 'd' && text[i] != kShape[i]) return zero;
    int year, month, day, hour, minute, second;
    if (!digits(text, 0, 4, year) || !digits(text, 5, 2, month) || !digits(text, 8, 2, day) ||
        !digits(text, 11, 2, hour) || !digits(text, 14, 2, minute) || !digits(text, 17, 2, second))
        return zero;
    if (month < 1 || month > 12 || day < 1 || day > daysInMonth(year, month) || hour > 23 || minute > 59 ||
        second > 59)
        return zero;

    std::tm local{};
    local.tm_year = year - 1900;
    local.tm_mon = month - 1;
    local.tm_mday = day;
    local.tm_hour = hour;
    local.tm_min = minute;
    local.tm_sec = second;
    local.tm_isdst = -1;  // whichever offset the zone had on that day
    return formatSeconds(double(std::mktime(&local)));
}

std::string getImageCreationDate(const Path& path) {
    std::optional<std::string> text = images().exifDateTimeOriginal(path.str());
    return text ? formatExifDate(*text) : std::string();
}

ImageHashValue hashImage(const File& file) { return hashImage(file.path); }

ImageHashValue hashImage(const Path& path) {
    bool hadSignature = false;
    auto picture = readGrayPicture(path, kHashWidth, kHashHeight, hadSignature);
    if (!picture) {
        // Said only where a picture's signature was there: a name alone
        // promising a picture is no failure worth a line.
        if (hadSignature) internal::logFailure("Failed to decode picture", path, 0);
        throw std::runtime_error("Failed to read image");
    }
    ImageHashValue value = hashValue(picture->pixels.data(), kHashWidth, kHashHeight);
    value.date = picture->dateTimeOriginal ? formatExifDate(*picture->dateTimeOriginal) : std::string();
    return value;
}

}  // namespace dff
