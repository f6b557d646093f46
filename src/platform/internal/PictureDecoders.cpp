#include "platform/internal/PictureDecoders.h"

#include "platform/Analytics.h"
#include "platform/ExifInfo.h"
#include "platform/Rounding.h"
#include "platform/SharedLibrary.h"

#include <climits>
#include <csetjmp>
#include <cstdlib>
#include <cstring>

#include <cstdio>  // jpeglib.h needs FILE

#include <jerror.h>
#include <jpeglib.h>
#include <png.h>

#include <algorithm>
#include <optional>
#include <string>

namespace platform::internal {

std::pair<int, int> thumbnailSize(int width, int height, int box) {
    double scale = std::min({1.0, double(box) / width, double(box) / height});
    return {std::max(1, int(roundToWhole(width * scale))), std::max(1, int(roundToWhole(height * scale)))};
}

int jpegShrink(int width, int height, int box) {
    double factor = std::max(width, height) / double(box);
    int shrink = factor >= 16 ? 8 : factor >= 8 ? 4 : factor >= 4 ? 2 : 1;
    // A side shrunk below a pixel would round down to none.
    while (shrink > 1 && std::min(width, height) < 2 * shrink) shrink /= 2;
    return shrink;
}

std::vector<AreaScaler::Share> AreaScaler::sharesOf(int from, int to) {
    std::vector<Share> shares;
    if (to > from) {
        // Enlarging, an area average would only repeat pixels in blocks:
        // each output pixel is interpolated between the two source pixels
        // around its centre instead.
        for (int j = 0; j < to; ++j) {
            double at = std::clamp((j + 0.5) * from / to - 0.5, 0.0, double(from - 1));
            int left = int(at);
            double right = at - left;
            shares.push_back({left, j, 1 - right});
            if (right > 0) shares.push_back({left + 1, j, right});
        }
        std::stable_sort(shares.begin(), shares.end(), [](const Share& a, const Share& b) { return a.from < b.from; });
        return shares;
    }
    // In units of 1/(from*to): source pixel i spans [i*to, (i+1)*to), output
    // pixel j spans [j*from, (j+1)*from). Integers, so shares add up exactly.
    for (int i = 0; i < from; ++i) {
        int64_t start = int64_t(i) * to, end = start + to;
        for (int64_t j = start / from; j < to && j * from < end; ++j) {
            int64_t overlap = std::min(end, (j + 1) * from) - std::max(start, j * from);
            if (overlap > 0) shares.push_back({i, int(j), double(overlap) / from});
        }
    }
    return shares;
}

AreaScaler::AreaScaler(int fromWidth, int fromHeight, int toWidth, int toHeight)
    : _toWidth(toWidth),
      _toHeight(toHeight),
      _columns(sharesOf(fromWidth, toWidth)),
      _rows(sharesOf(fromHeight, toHeight)),
      _line(size_t(toWidth)),
      _sums(size_t(toWidth) * size_t(toHeight)) {}

void AreaScaler::addRow(const uint8_t* row) {
    if (_nextRowShare >= _rows.size()) return;
    std::fill(_line.begin(), _line.end(), 0.0);
    for (const Share& column : _columns) _line[size_t(column.to)] += column.weight * row[column.from];
    for (; _nextRowShare < _rows.size() && _rows[_nextRowShare].from == _row; ++_nextRowShare) {
        const Share& share = _rows[_nextRowShare];
        double* sums = _sums.data() + size_t(share.to) * size_t(_toWidth);
        for (size_t x = 0; x < _line.size(); ++x) sums[x] += share.weight * _line[x];
    }
    ++_row;
}

GrayBitmap AreaScaler::result() const {
    GrayBitmap bitmap{_toWidth, _toHeight, std::vector<uint8_t>(_sums.size())};
    for (size_t i = 0; i < _sums.size(); ++i) bitmap.pixels[i] = uint8_t(std::clamp(roundToWhole(_sums[i]), int64_t(0), int64_t(255)));
    return bitmap;
}

GrayBitmap areaScaled(const GrayBitmap& bitmap, int width, int height) {
    AreaScaler scaler(bitmap.width, bitmap.height, width, height);
    for (int y = 0; y < bitmap.height; ++y) scaler.addRow(bitmap.pixels.data() + size_t(y) * size_t(bitmap.width));
    return scaler.result();
}

GrayBitmap oriented(const GrayBitmap& bitmap, int orientation) {
    if (orientation < 2 || orientation > 8) return bitmap;
    int w = bitmap.width, h = bitmap.height;
    bool swapped = orientation >= 5;
    GrayBitmap out{swapped ? h : w, swapped ? w : h, std::vector<uint8_t>(bitmap.pixels.size())};
    for (int y = 0; y < out.height; ++y)
        for (int x = 0; x < out.width; ++x) {
            int sx = x, sy = y;  // where the output pixel comes from
            switch (orientation) {
                case 2: sx = w - 1 - x; break;                     // mirrored across
                case 3: sx = w - 1 - x; sy = h - 1 - y; break;     // half a turn
                case 4: sy = h - 1 - y; break;                     // mirrored upside down
                case 5: sx = y; sy = x; break;                     // transposed
                case 6: sx = y; sy = h - 1 - x; break;             // a quarter turn clockwise
                case 7: sx = w - 1 - y; sy = h - 1 - x; break;     // transversed
                case 8: sx = w - 1 - y; sy = x; break;             // a quarter turn counterclockwise
            }
            out.pixels[size_t(y) * size_t(out.width) + size_t(x)] = bitmap.pixels[size_t(sy) * size_t(w) + size_t(sx)];
        }
    return out;
}

namespace {

// The codecs are opened on the first picture rather than linked: most runs
// of a host decode none.
#define CORE_JPEG_FUNCTIONS(X)       \
    X(jpeg_std_error)                \
    X(jpeg_CreateDecompress)         \
    X(jpeg_destroy_decompress)       \
    X(jpeg_mem_src)                  \
    X(jpeg_save_markers)             \
    X(jpeg_read_header)              \
    X(jpeg_calc_output_dimensions)   \
    X(jpeg_start_decompress)         \
    X(jpeg_read_scanlines)

#define CORE_PNG_FUNCTIONS(X)        \
    X(png_create_read_struct)        \
    X(png_create_info_struct)        \
    X(png_destroy_read_struct)       \
    X(png_set_longjmp_fn)            \
    X(png_longjmp)                   \
    X(png_error)                     \
    X(png_set_read_fn)               \
    X(png_get_io_ptr)                \
    X(png_read_info)                 \
    X(png_get_image_width)           \
    X(png_get_image_height)          \
    X(png_set_expand)                \
    X(png_set_strip_16)              \
    X(png_set_interlace_handling)    \
    X(png_read_update_info)          \
    X(png_get_channels)              \
    X(png_get_rowbytes)              \
    X(png_get_eXIf_1)                \
    X(png_read_image)                \
    X(png_read_row)

struct JpegLibrary {
    CORE_JPEG_FUNCTIONS(CORE_FUNCTION_FIELD)
};

struct PngLibrary {
    CORE_PNG_FUNCTIONS(CORE_FUNCTION_FIELD)
};

const JpegLibrary* sharedJpegLibrary() {
    return CORE_SHARED_FUNCTION_TABLE(JpegLibrary, CORE_JPEG_FUNCTIONS,
                                      "libjpeg.so." + std::to_string(JPEG_LIB_VERSION), "Picture decoding");
}

const PngLibrary* sharedPngLibrary() {
    return CORE_SHARED_FUNCTION_TABLE(PngLibrary, CORE_PNG_FUNCTIONS,
                                      "libpng" + std::to_string(PNG_LIBPNG_VER_DLLNUM) + ".so." +
                                          std::to_string(PNG_LIBPNG_VER_SONUM),
                                      "Picture decoding");
}

// What a decoder gives: the thumbnail, not yet turned, and the EXIF block
// ("Exif", two zero bytes, the TIFF structure), empty when there is none.
struct Thumbnail {
    Decoding outcome = Decoding::undecodable;
    GrayBitmap bitmap;
    std::string exif;
};

// Where a decoder's rows go, and what it gives; kept in the decoder's job,
// outside the frame that calls setjmp, so that nothing is lost when a codec
// jumps back.
struct RowSink {
    void start(int width, int height, int box) {
        auto [toWidth, toHeight] = thumbnailSize(width, height, box);
        scaler.emplace(width, height, toWidth, toHeight);
    }
    bool finish() {
        thumbnail.bitmap = scaler->result();
        thumbnail.outcome = Decoding::decoded;
        return true;
    }

    std::optional<AreaScaler> scaler;
    Thumbnail thumbnail;
};

// Runs one decoder on a job of its own.
template <typename Job>
Thumbnail thumbnailBy(bool (*decode)(Job&, std::string_view, int), std::string_view bytes, int box) {
    Job job;
    decode(job, bytes, box);
    return std::move(job.thumbnail);
}

void refuse(const char* format, uint64_t width, uint64_t height) {
    platform::log(std::string(format) + " decoder: " + std::to_string(width) + " x " + std::to_string(height) +
                  " pixels is too large a picture to decode");
}

// Gray of 8-bit red, green and blue: the weights a JPEG's own luma has, so
// that a picture gives the same gray from either format.
uint8_t luma(unsigned r, unsigned g, unsigned b) { return uint8_t((19595 * r + 38470 * g + 7471 * b + 32768) >> 16); }

// A gray value over black behind it, at coverage `alpha`.
uint8_t overBlack(unsigned value, unsigned alpha) { return uint8_t((value * alpha + 127) / 255); }

// ---- JPEG

// Asked for only once decodeGrayPicture has found the library there.
const JpegLibrary& libjpeg() { return *sharedJpegLibrary(); }

// libjpeg reports errors by calling error_exit, which must not return: it
// jumps back into the decoder with the state it needs kept in a JpegJob,
// outside the frame that called setjmp.
struct JpegErrors {
    jpeg_error_mgr manager;  // first: libjpeg hands its address back
    std::jmp_buf jump;
};

[[noreturn]] void jpegFail(j_common_ptr info) { std::longjmp(reinterpret_cast<JpegErrors*>(info->err)->jump, 1); }

void jpegMessage(j_common_ptr info) {
    char text[JMSG_LENGTH_MAX];
    info->err->format_message(info, text);
    platform::log(std::string("JPEG decoder: ") + text);
}

void jpegEmit(j_common_ptr info, int level) {
    if (level >= 0) return;  // trace messages
    // Data that ends early would be made up as gray to the last row: a cut
    // file is no picture, and a huge declared size must not cost a decoding
    // of nothing.
    if (info->err->msg_code == JWRN_JPEG_EOF) jpegFail(info);
    if (info->err->num_warnings++ == 0) info->err->output_message(info);
}

// A progressive picture is read scan by scan before the first row; a file of
// endless tiny scans would take minutes.
constexpr int kMaxJpegScans = 500;

void jpegProgress(j_common_ptr info) {
    if (info->is_decompressor && reinterpret_cast<j_decompress_ptr>(info)->input_scan_number > kMaxJpegScans) {
        info->err->msg_code = JERR_BAD_PROGRESSION;
        jpegFail(info);
    }
}

struct JpegJob : RowSink {
    JpegJob() {
        info.err = libjpeg().jpeg_std_error(&errors.manager);
        errors.manager.error_exit = jpegFail;
        errors.manager.emit_message = jpegEmit;
        errors.manager.output_message = jpegMessage;
        progress.progress_monitor = jpegProgress;
    }
    ~JpegJob() { libjpeg().jpeg_destroy_decompress(&info); }  // also on a half-made one
    JpegJob(const JpegJob&) = delete;
    JpegJob& operator=(const JpegJob&) = delete;

    jpeg_decompress_struct info{};
    JpegErrors errors{};
    jpeg_progress_mgr progress{};
    std::vector<uint8_t> row;
};

void takeJpegExif(const jpeg_decompress_struct& info, std::string& exif) {
    static constexpr char kHeader[6] = {'E', 'x', 'i', 'f', 0, 0};
    for (jpeg_saved_marker_ptr marker = info.marker_list; marker != nullptr; marker = marker->next)
        if (marker->marker == JPEG_APP0 + 1 && marker->data_length >= sizeof kHeader &&
            std::memcmp(marker->data, kHeader, sizeof kHeader) == 0) {
            exif.assign(reinterpret_cast<const char*>(marker->data), marker->data_length);
            return;
        }
}

// Fills job.thumbnail; false on any failure. Kept out of line from the
// frame that calls setjmp, so that none of its locals live across the jump.
[[gnu::noinline]] bool readJpeg(JpegJob& job, std::string_view bytes, int box) {
    jpeg_decompress_struct& info = job.info;
    libjpeg().jpeg_CreateDecompress(&info, JPEG_LIB_VERSION, sizeof info);
    info.progress = &job.progress;
    libjpeg().jpeg_mem_src(&info, reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<unsigned long>(bytes.size()));
    libjpeg().jpeg_save_markers(&info, JPEG_APP0 + 1, 0xFFFF);
    libjpeg().jpeg_read_header(&info, TRUE);  // a picture of no rows or columns fails here
    if (info.jpeg_color_space == JCS_CMYK || info.jpeg_color_space == JCS_YCCK) {
        job.thumbnail.outcome = Decoding::notHandled;  // no gray output from these
        return false;
    }
    info.scale_num = 1;
    info.scale_denom = unsigned(jpegShrink(int(info.image_width), int(info.image_height), box));
    info.out_color_space = JCS_GRAYSCALE;
    libjpeg().jpeg_calc_output_dimensions(&info);
    // A progressive picture holds its coefficients for every pixel.
    if (uint64_t(info.output_width) * info.output_height > kMaxDecodedPixels ||
        (info.progressive_mode && uint64_t(info.image_width) * info.image_height > kMaxDecodedPixels)) {
        refuse("JPEG", info.image_width, info.image_height);
        return false;
    }
    takeJpegExif(info, job.thumbnail.exif);

    libjpeg().jpeg_start_decompress(&info);
    job.start(int(info.output_width), int(info.output_height), box);
    job.row.resize(size_t(info.output_width) * size_t(info.output_components));
    while (info.output_scanline < info.output_height) {
        JSAMPROW row = job.row.data();
        if (libjpeg().jpeg_read_scanlines(&info, &row, 1) != 1) return false;
        job.scaler->addRow(job.row.data());
    }
    return job.finish();
}

bool decodeJpeg(JpegJob& job, std::string_view bytes, int box) {
    if (setjmp(job.errors.jump) != 0) return false;
    return readJpeg(job, bytes, box);
}

// ---- PNG

// As libjpeg().
const PngLibrary& libpng() { return *sharedPngLibrary(); }

// An interlaced picture is decoded whole before its rows can be read.
constexpr uint64_t kMaxInterlacedBytes = uint64_t(256) << 20;

struct PngJob : RowSink {
    ~PngJob() { libpng().png_destroy_read_struct(&png, &info, nullptr); }  // takes nulls

    std::string_view bytes;
    size_t read = 0;
    png_structp png = nullptr;
    png_infop info = nullptr;
    std::vector<uint8_t> rows;
    std::vector<png_bytep> rowPointers;
    std::vector<uint8_t> gray;
};

void pngRead(png_structp png, png_bytep out, size_t count) {
    auto& job = *static_cast<PngJob*>(libpng().png_get_io_ptr(png));
    if (count > job.bytes.size() - job.read) libpng().png_error(png, "the file ends early");
    std::memcpy(out, job.bytes.data() + job.read, count);
    job.read += count;
}

[[noreturn]] void pngFail(png_structp png, png_const_charp) {
    libpng().png_longjmp(png, 1);
    std::abort();  // not reached: the pointer's type cannot say that it does not return
}

void pngWarn(png_structp, png_const_charp message) { platform::log(std::string("PNG decoder: ") + message); }

// One expanded 8-bit row of `channels` samples a pixel (gray, gray and
// alpha, RGB, RGBA) made gray, onto black where transparent.
void toGray(const uint8_t* row, int channels, size_t width, uint8_t* gray) {
    for (size_t x = 0; x < width; ++x, row += channels) switch (channels) {
            case 1: gray[x] = row[0]; break;
            case 2: gray[x] = overBlack(row[0], row[1]); break;
            case 3: gray[x] = luma(row[0], row[1], row[2]); break;
            default: gray[x] = overBlack(luma(row[0], row[1], row[2]), row[3]); break;
        }
}

// As readJpeg.
[[gnu::noinline]] bool readPng(PngJob& job, int box) {
    png_structp png = job.png;
    png_infop info = job.info;
    libpng().png_set_read_fn(png, &job, pngRead);
    libpng().png_read_info(png, info);
    png_uint_32 width = libpng().png_get_image_width(png, info), height = libpng().png_get_image_height(png, info);
    if (uint64_t(width) * height > kMaxDecodedPixels) {
        refuse("PNG", width, height);
        return false;
    }
    libpng().png_set_expand(png);    // palette to RGB, low bit depths to 8, tRNS to alpha
    libpng().png_set_strip_16(png);  // the high byte
    int passes = libpng().png_set_interlace_handling(png);
    libpng().png_read_update_info(png, info);
    int channels = libpng().png_get_channels(png, info);
    size_t rowBytes = libpng().png_get_rowbytes(png, info);
    if (channels < 1 || channels > 4 || rowBytes != size_t(width) * size_t(channels)) return false;
    if (passes > 1 && uint64_t(rowBytes) * height > kMaxInterlacedBytes) {
        refuse("PNG", width, height);
        return false;
    }

    png_bytep exif = nullptr;
    png_uint_32 exifSize = 0;
    if (libpng().png_get_eXIf_1(png, info, &exifSize, &exif) != 0 && exif != nullptr)
        job.thumbnail.exif = std::string("Exif\0\0", 6) + std::string(reinterpret_cast<const char*>(exif), exifSize);

    job.start(int(width), int(height), box);
    job.gray.resize(width);
    if (passes > 1) {
        job.rows.resize(rowBytes * height);
        job.rowPointers.resize(height);
        for (png_uint_32 y = 0; y < height; ++y) job.rowPointers[y] = job.rows.data() + rowBytes * y;
        libpng().png_read_image(png, job.rowPointers.data());
        for (png_uint_32 y = 0; y < height; ++y) {
            toGray(job.rowPointers[y], channels, width, job.gray.data());
            job.scaler->addRow(job.gray.data());
        }
    } else {
        job.rows.resize(rowBytes);
        for (png_uint_32 y = 0; y < height; ++y) {
            libpng().png_read_row(png, job.rows.data(), nullptr);
            toGray(job.rows.data(), channels, width, job.gray.data());
            job.scaler->addRow(job.gray.data());
        }
    }
    return job.finish();
}

bool decodePng(PngJob& job, std::string_view bytes, int box) {
    job.bytes = bytes;
    job.png = libpng().png_create_read_struct(PNG_LIBPNG_VER_STRING, &job, pngFail, pngWarn);
    if (job.png == nullptr) return false;
    job.info = libpng().png_create_info_struct(job.png);
    if (job.info == nullptr) return false;
    if (setjmp(*libpng().png_set_longjmp_fn(job.png, std::longjmp, sizeof(std::jmp_buf))) != 0) return false;
    return readPng(job, box);
}

}  // namespace

std::vector<uint8_t> grayPictureOf(const uint8_t* pixels, int pixelWidth, int pixelHeight, int channels, int width,
                                   int height) {
    if (pixels == nullptr || channels < 1 || channels > 4 || pixelWidth < 1 || pixelHeight < 1 || width < 1 ||
        height < 1)
        return {};
    auto [toWidth, toHeight] = thumbnailSize(pixelWidth, pixelHeight, width);
    AreaScaler scaler(pixelWidth, pixelHeight, toWidth, toHeight);
    std::vector<uint8_t> gray(size_t(pixelWidth), 0);
    const size_t rowBytes = size_t(pixelWidth) * size_t(channels);
    for (int y = 0; y < pixelHeight; ++y) {
        toGray(pixels + rowBytes * size_t(y), channels, size_t(pixelWidth), gray.data());
        scaler.addRow(gray.data());
    }
    return areaScaled(scaler.result(), width, height).pixels;
}

NativeGrayPicture decodeGrayPicture(std::string_view bytes, ImageFormat format, int width, int height) {
    NativeGrayPicture result;
    if (width < 1 || height < 1) return result;
    // Without its codec library a format is left to the image library.
    Thumbnail thumbnail;
    thumbnail.outcome = Decoding::notHandled;
    switch (format) {
        case ImageFormat::jpeg:
            if (sharedJpegLibrary() != nullptr) thumbnail = thumbnailBy(decodeJpeg, bytes, width);
            break;
        case ImageFormat::png:
            if (sharedPngLibrary() != nullptr) thumbnail = thumbnailBy(decodePng, bytes, width);
            break;
        default: break;
    }
    result.outcome = thumbnail.outcome;
    if (thumbnail.outcome != Decoding::decoded) return result;

    easyexif::EXIFInfo exif;
    if (!thumbnail.exif.empty() && thumbnail.exif.size() <= UINT_MAX)
        exif.parseFromEXIFSegment(reinterpret_cast<const unsigned char*>(thumbnail.exif.data()),
                                  unsigned(thumbnail.exif.size()));
    // Fields read before damage further on keep their values, as the image
    // library's reader keeps them.
    GrayBitmap stretched = areaScaled(oriented(thumbnail.bitmap, exif.Orientation), width, height);
    result.picture.pixels = std::move(stretched.pixels);
    if (!exif.DateTimeOriginal.empty()) result.picture.dateTimeOriginal = exif.DateTimeOriginal;
    return result;
}

}  // namespace platform::internal
