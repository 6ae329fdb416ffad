#include "Formats/ImageCoding.hpp"
#include "Formats/ImageDecoding.hpp"

#include <png.h>

#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <cstring>
#include <memory>
#include <new>

// libpng reports errors by jumping out of its functions. Each function below that can be jumped into
// therefore has no object with a destructor of its own: everything lives in the reader or writer that it
// belongs to.

namespace mox {

namespace {

constexpr double inchesPerMetre = 1 / 0.0254;

[[noreturn]] void leaveOnError(png_structp png, png_const_charp) {
    png_longjmp(png, 1);
}

void ignoreWarning(png_structp, png_const_charp) {}

/// The resolution as PNG keeps it, in whole pixels per metre.
double pixelsPerMetre(double pixelsPerInch) {
    return std::round(pixelsPerInch * inchesPerMetre);
}

/// The length in points of `pixels` at a resolution in pixels per metre. It has been rounded, so that the
/// usual resolutions and whole lengths in points come back slightly off; they are recognised.
double lengthInPointsAtRoundedResolution(std::uint32_t pixels, std::uint32_t resolution) {
    const auto isRoundedFrom = [resolution](double candidate) {
        return std::abs(pixelsPerMetre(candidate) - resolution) <= 1;
    };
    for (const double usual : {72.0, 144.0, 216.0}) {
        if (isRoundedFrom(usual)) return lengthInPoints(pixels, usual);
    }
    const double points = lengthInPoints(pixels, resolution / inchesPerMetre);
    const auto resolutionOfWholePoints = pixelsPerInch(pixels, std::round(points));
    return resolutionOfWholePoints && isRoundedFrom(*resolutionOfWholePoints) ? std::round(points) : points;
}

class Reader {
public:
    explicit Reader(ByteView bytes)
        : _png(png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, leaveOnError, ignoreWarning))
        , _info(_png ? png_create_info_struct(_png) : nullptr)
        , _bytes(bytes)
        , _unread(bytes) {}

    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    ~Reader() { png_destroy_read_struct(&_png, &_info, nullptr); }

    std::optional<Image::Representation> representation(DecodingBudget& budget) {
        if (!_info || !readHeader()) return std::nullopt;
        _read.pixelsWide = png_get_image_width(_png, _info);
        _read.pixelsHigh = png_get_image_height(_png, _info);
        if (!isAcceptedImageSize(_read.pixelsWide, _read.pixelsHigh)) return std::nullopt;
        if (!budget.takePicture(_read.pixelsWide, _read.pixelsHigh)) return std::nullopt;
        _read.size = size();
        _read.pixels.resize(std::size_t{_read.pixelsWide} * _read.pixelsHigh * 4);
        if (!readPixels()) return std::nullopt;
        _read.png = std::make_shared<const Bytes>(_bytes);
        return std::move(_read);
    }

private:
    static void readBytes(png_structp png, png_bytep target, std::size_t count) {
        auto& unread = static_cast<Reader*>(png_get_io_ptr(png))->_unread;
        if (count > unread.size()) png_error(png, "The file ends too early");
        std::memcpy(target, unread.data(), count);
        unread.remove_prefix(count);
    }

    bool readHeader() {
        if (setjmp(png_jmpbuf(_png)) != 0) return false;
        png_set_read_fn(_png, this, readBytes);
        png_set_user_limits(_png, maximumImageSide, maximumImageSide);
        // Only the pixels and the resolution count: what is not parsed cannot do harm.
        png_set_keep_unknown_chunks(_png, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
        png_set_keep_unknown_chunks(_png, PNG_HANDLE_CHUNK_AS_DEFAULT,
                                    reinterpret_cast<png_const_bytep>("pHYs"), 1);
        png_read_info(_png, _info);
        return true;
    }

    Image::Size size() const {
        png_uint_32 horizontal = 0;
        png_uint_32 vertical = 0;
        int unit = PNG_RESOLUTION_UNKNOWN;
        if (png_get_pHYs(_png, _info, &horizontal, &vertical, &unit) == 0 || unit != PNG_RESOLUTION_METER) {
            return {static_cast<double>(_read.pixelsWide), static_cast<double>(_read.pixelsHigh)};
        }
        return {lengthInPointsAtRoundedResolution(_read.pixelsWide, horizontal),
                lengthInPointsAtRoundedResolution(_read.pixelsHigh, vertical)};
    }

    bool readPixels() {
        if (setjmp(png_jmpbuf(_png)) != 0) return false;
        png_set_expand(_png);
        png_set_scale_16(_png);
        png_set_gray_to_rgb(_png);
        png_set_add_alpha(_png, 0xFF, PNG_FILLER_AFTER);
        const int passes = png_set_interlace_handling(_png);
        png_read_update_info(_png, _info);
        const std::size_t rowLength = std::size_t{_read.pixelsWide} * 4;
        if (png_get_rowbytes(_png, _info) != rowLength) return false;
        for (int pass = 0; pass < passes; ++pass) {
            for (std::uint32_t row = 0; row < _read.pixelsHigh; ++row) {
                png_read_row(_png, _read.pixels.data() + row * rowLength, nullptr);
            }
        }
        png_read_end(_png, nullptr);
        return true;
    }

    png_structp _png;
    png_infop _info;
    ByteView _bytes;
    ByteView _unread;
    Image::Representation _read;
};

class Writer {
public:
    explicit Writer(const Image::Representation& representation)
        : _png(png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, leaveOnError, ignoreWarning))
        , _info(_png ? png_create_info_struct(_png) : nullptr)
        , _representation(representation) {}

    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    ~Writer() { png_destroy_write_struct(&_png, &_info); }

    std::optional<Bytes> file() {
        if (!_info || !write()) return std::nullopt;
        return std::move(_file);
    }

private:
    bool appendToFile(const png_byte* source, std::size_t count) noexcept {
        try {
            _file.append(reinterpret_cast<const char*>(source), count);
            return true;
        } catch (const std::bad_alloc&) {
            return false;
        }
    }

    static void writeBytes(png_structp png, png_bytep source, std::size_t count) {
        if (!static_cast<Writer*>(png_get_io_ptr(png))->appendToFile(source, count)) {
            png_error(png, "Out of memory");
        }
    }

    bool write() {
        if (setjmp(png_jmpbuf(_png)) != 0) return false;
        png_set_write_fn(_png, this, writeBytes, nullptr);
        png_set_IHDR(_png, _info, _representation.pixelsWide, _representation.pixelsHigh, 8,
                     PNG_COLOR_TYPE_RGB_ALPHA, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                     PNG_FILTER_TYPE_DEFAULT);
        setResolution();
        png_write_info(_png, _info);
        const std::size_t rowLength = std::size_t{_representation.pixelsWide} * 4;
        for (std::uint32_t row = 0; row < _representation.pixelsHigh; ++row) {
            png_write_row(_png, _representation.pixels.data() + row * rowLength);
        }
        png_write_end(_png, nullptr);
        return true;
    }

    void setResolution() {
        const auto resolution = [](std::uint32_t pixels, double points) {
            return pixelsPerMetre(pixelsPerInch(pixels, points).value_or(72));
        };
        const double horizontal = resolution(_representation.pixelsWide, _representation.size.width);
        const double vertical = resolution(_representation.pixelsHigh, _representation.size.height);
        const double none = pixelsPerMetre(72);
        if (horizontal == none && vertical == none) return;
        if (std::min(horizontal, vertical) < 1 || std::max(horizontal, vertical) > PNG_UINT_31_MAX) return;
        png_set_pHYs(_png, _info, static_cast<png_uint_32>(horizontal), static_cast<png_uint_32>(vertical),
                     PNG_RESOLUTION_METER);
    }

    png_structp _png;
    png_infop _info;
    const Image::Representation& _representation;
    Bytes _file;
};

} // namespace

std::optional<Image::Representation> representationFromPNG(ByteView bytes, DecodingBudget& budget) {
    return Reader(bytes).representation(budget);
}

std::optional<Bytes> pngFromRepresentation(const Image::Representation& representation) {
    if (representation.png) return *representation.png;
    if (!pixelsFitTheirSize(representation)) return std::nullopt;
    return Writer(representation).file();
}

} // namespace mox
