#pragma once
// The file side of image hashing: which files are images, a small gray
// bitmap of a picture through the platform's thumbnailer, the date it was
// taken, and the hash of a file.
//
// Threading: every function may be called from any thread; the list of
// decodable types is made once per process. A failed read is reported by
// value (empty image, nothing, ""), except by hashImage, which throws.
//
//   if (dff::isImage(path.cStr())) {
//       dff::ImageHashValue h = dff::hashImage(path);   // may throw "Failed to read image"
//   }

#include "dff/File.h"
#include "dff/Path.h"
#include "dff/image/ImageHashValue.h"
#include "platform/ImageService.h"
#include "platform/URL.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace dff {

// The side of the bitmap that is hashed: 18 wide, 16 high.
inline constexpr int kHashWidth = 18;
inline constexpr int kHashHeight = 16;

// True when the file's type identifier (File::getType, cached in the file)
// is one of the decodable formats of the type table, exactly, case
// included. False when the type can't be read (a missing file). Never loads
// the image library.
bool isImage(File& file);
// The same for a path, through a temporary File; false for null.
bool isImage(const char* path);
// True when the name alone says a decodable picture: what the search asks
// before it looks at a file's bytes, without touching the disk.
bool hasPictureName(const Path& path);

// The image service the functions below use: the platform's, unless a test
// installed another (null restores it). Install before a search runs.
platform::ImageService& imageService();
void setImageService(platform::ImageService* service);

// A thumbnail of at most `size` pixels on its longer side, turned by the
// orientation tag. Empty when the file does not decode.
platform::Image createImage(const platform::URL& url, int size);
platform::Image createThumbnailImage(const char* path, int size);

// `image` as one gray byte a pixel, stretched to `width` x `height` whatever
// its aspect. Empty when `image` is.
platform::Image convertToGrayscaleImage(const platform::Image& image, int width, int height);

// The thumbnail of the file at most `width` on its longer side, made gray
// and stretched: width*height bytes, row by row, as the image service's
// grayPicture gives them (the pixels hashImage hashes). Nothing when the
// file does not decode.
std::optional<std::vector<uint8_t>> createGrayscaleImage(const Path& path, int width, int height);

// The time the picture was taken, in seconds since 1970 formatted with "%f";
// "" when the file has no EXIF original date (or does not open); "0.000000"
// when it has one that does not read as a date.
std::string getImageCreationDate(const Path& path);

// The "%f" text of an EXIF date "yyyy:MM:dd HH:mm:ss" taken in the local
// time zone; "0.000000" when the text is not such a date.
std::string formatExifDate(std::string_view text);

// The hash of the picture at `path` with its date, from one open of the
// file. Only a file whose first bytes carry a decodable format's signature
// reaches the image service, and then only that format's loader. Throws
// std::runtime_error("Failed to read image") when the file does not decode.
// Thread-safe.
ImageHashValue hashImage(const Path& path);
ImageHashValue hashImage(const File& file);

}  // namespace dff
