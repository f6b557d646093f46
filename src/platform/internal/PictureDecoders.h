#pragma once
// The image service's own JPEG and PNG decoders, for the duplicate engine's
// gray pictures. Most pictures it compares are JPEGs and PNGs; decoding them
// here, on the two small codec libraries, spares the process the image
// library and its dependencies (loaded only for the other formats) and the
// operations it spends per picture.
//
// A file is read whole from memory. JPEGs are decoded straight to gray at
// the smallest block scale that still leaves the longer side twice the box;
// PNGs are expanded to 8 bits a sample, made gray, alpha flattened onto
// black. Rows are reduced to the thumbnail as they come, with an area
// average, so no decoded picture is held whole (except an interlaced PNG).
// Then the thumbnail is turned as the EXIF orientation says (read with
// easyexif::EXIFInfo from the JPEG's APP1 segment or the PNG's eXIf chunk)
// and stretched to the exact size with the same area average.
//
// Damaged input is "undecodable" by value: the codecs' errors come back by
// longjmp into the decoder, their warnings go to platform::log, nothing is
// written to standard error. Pictures that would decode to more than
// kMaxDecodedPixels are refused before any pixel is decoded.
//
// Threading: plain functions; any thread, any number at once.
//
//   auto bytes = platform::internal::readRegularFile(fd, 1 << 28);
//   auto native = platform::internal::decodeGrayPicture(*bytes, platform::ImageFormat::jpeg, 18, 16);
//   if (native.outcome == platform::internal::Decoding::decoded) use(native.picture.pixels);

#include "platform/FileTypes.h"
#include "platform/ImageService.h"

#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

namespace platform::internal {

// Larger pictures are refused: decoded at this size (after any JPEG block
// scaling), they would cost seconds and hundreds of megabytes each.
inline constexpr uint64_t kMaxDecodedPixels = 100'000'000;

// One gray byte a pixel, row by row.
struct GrayBitmap {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> pixels;
};

// The size of a thumbnail of a `width` x `height` picture at most `box`
// pixels on its longer side, never enlarged, each side at least one pixel.
std::pair<int, int> thumbnailSize(int width, int height, int box);

// The block shrink (1, 2, 4 or 8) a JPEG of `width` x `height` is decoded
// at for a thumbnail in `box`: a block shrink sharpens, so the longer side
// keeps at least twice the box for the resize after it; and no side is
// shrunk below two pixels.
int jpegShrink(int width, int height, int box);

// Scales a picture fed row by row, top to bottom, to exactly `toWidth` x
// `toHeight` with an area average: each output pixel is the mean of the
// source area under it, a partly covered source pixel counting by its share.
// Along a side it enlarges, it interpolates linearly between the two source
// pixels nearest to each output pixel's centre.
class AreaScaler {
public:
    AreaScaler(int fromWidth, int fromHeight, int toWidth, int toHeight);
    // The next source row, `fromWidth` bytes; rows past the last are ignored.
    void addRow(const uint8_t* row);
    // The scaled picture, once every row was added.
    GrayBitmap result() const;

private:
    // How much source pixel `from` weighs in output pixel `to` (the shares
    // of one output pixel add up to 1); by source pixel, in order.
    struct Share {
        int from;
        int to;
        double weight;
    };
    static std::vector<Share> sharesOf(int from, int to);

    int _toWidth;
    int _toHeight;
    std::vector<Share> _columns;
    std::vector<Share> _rows;  // by source row, in order
    size_t _nextRowShare = 0;
    int _row = 0;
    std::vector<double> _line;  // the current row scaled across
    std::vector<double> _sums;  // toWidth x toHeight
};

GrayBitmap areaScaled(const GrayBitmap& bitmap, int width, int height);

// `bitmap` turned as EXIF orientation `orientation` says (2 to 8: mirrored,
// turned, or both); any other value leaves it as it is.
GrayBitmap oriented(const GrayBitmap& bitmap, int orientation);

enum class Decoding {
    decoded,
    undecodable,
    // A kind of JPEG or PNG these decoders leave to the image library (a
    // CMYK JPEG), or another format.
    notHandled,
};

struct NativeGrayPicture {
    Decoding outcome = Decoding::undecodable;
    ImageService::GrayPicture picture;  // when decoded
};

// The gray picture of upright 8-bit pixels that another decoder made, row
// by row, `channels` samples a pixel (gray, gray and alpha, RGB or RGBA),
// by the steps the own decoders take after decoding: made gray (onto black
// where transparent), reduced to the thumbnail at most `width` on the longer
// side, stretched to exactly `width` x `height`. So one picture gives one
// gray picture whichever format, and decoder, it came in. Empty when the
// channels or sizes do not fit.
std::vector<uint8_t> grayPictureOf(const uint8_t* pixels, int pixelWidth, int pixelHeight, int channels, int width,
                                   int height);

// The picture in `bytes`, a whole file of `format`, as
// ImageService::grayPicture gives it: its thumbnail at most `width` on the
// longer side, turned, gray, stretched to exactly `width` x `height`, and
// its EXIF DateTimeOriginal (nothing when absent or empty).
NativeGrayPicture decodeGrayPicture(std::string_view bytes, ImageFormat format, int width, int height);

}  // namespace platform::internal
