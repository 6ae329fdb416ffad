#include "Formats/ImageCoding.hpp"
#include "Formats/ImageDecoding.hpp"

#include <png.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <csetjmp>
#include <cstdlib>
#include <cstring>
#include <libdeflate.h>
#include <limits>
#include <memory>
#include <new>

// libpng reports errors by jumping out of its functions. Each function below that can be jumped into
// therefore has no object with a destructor of its own: everything lives in the reader that it belongs to.

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
        if (!readSize(budget)) return std::nullopt;
        std::vector<std::uint8_t> pixels(std::size_t{_read.pixelsWide} * _read.pixelsHigh * 4);
        if (!readPixels(pixels.data())) return std::nullopt;
        _read.pixels = std::move(pixels);
        _read.png = std::make_shared<const Bytes>(_bytes);
        return std::move(_read);
    }

    std::optional<Image::Representation> undecodedRepresentation(DecodingBudget& budget) {
        if (!readSize(budget) || !hasRightChecksums()) return std::nullopt;
        _read.png = std::make_shared<const Bytes>(_bytes);
        return std::move(_read);
    }

private:
    bool readSize(DecodingBudget& budget) {
        if (!_info || !readHeader()) return false;
        _read.pixelsWide = png_get_image_width(_png, _info);
        _read.pixelsHigh = png_get_image_height(_png, _info);
        _read.size = size();
        return isAcceptedImageSize(_read.pixelsWide, _read.pixelsHigh) &&
               budget.takePicture(_read.pixelsWide, _read.pixelsHigh);
    }

    /// Whether all chunks that count are there, up to that of the end, with the checksums that they have.
    bool hasRightChecksums() const {
        constexpr std::size_t numberLength = 4;
        const auto numberAt = [](ByteView bytes) {
            std::uint32_t number = 0;
            for (const char byte : bytes.substr(0, numberLength))
                number = number << 8 | static_cast<std::uint8_t>(byte);
            return number;
        };
        for (ByteView rest = _bytes.substr(pngSignature.size()); rest.size() >= 3 * numberLength;) {
            const std::size_t length = numberAt(rest);
            if (length > rest.size() - 3 * numberLength) return false;
            const ByteView chunk = rest.substr(numberLength, numberLength + length);
            rest.remove_prefix(numberLength + chunk.size());
            // What a reader may leave out begins with a small letter.
            const bool counts = chunk.front() >= 'A' && chunk.front() <= 'Z';
            if (counts && libdeflate_crc32(0, chunk.data(), chunk.size()) != numberAt(rest)) return false;
            if (chunk.starts_with("IEND")) return true;
            rest.remove_prefix(numberLength);
        }
        return false;
    }

    static void readBytes(png_structp png, png_bytep target, std::size_t count) {
        auto& unread = static_cast<Reader*>(png_get_io_ptr(png))->_unread;
        if (count > unread.size()) png_error(png, "The file ends too early");
        std::memcpy(target, unread.data(), count);
        unread.remove_prefix(count);
    }

    bool readHeader() {
        // NOLINTNEXTLINE(cert-err52-cpp): how libpng fails; what it jumps over has no destructors.
        if (setjmp(png_jmpbuf(_png)) != 0) return false;
        png_set_read_fn(_png, this, readBytes);
        png_set_user_limits(_png, maximumImageSide, maximumImageSide);
        // Only the pixels and the resolution count: what is not parsed cannot do harm.
        png_set_keep_unknown_chunks(_png, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
        constexpr std::array<png_byte, 5> resolution = {'p', 'H', 'Y', 's', 0};
        png_set_keep_unknown_chunks(_png, PNG_HANDLE_CHUNK_AS_DEFAULT, resolution.data(), 1);
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

    bool readPixels(std::uint8_t* pixels) {
        // NOLINTNEXTLINE(cert-err52-cpp): how libpng fails; what it jumps over has no destructors.
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
                png_read_row(_png, pixels + row * rowLength, nullptr);
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

// Writing. Nearly all of the time goes into the compression. That of libdeflate takes a third of the time of
// zlib's or less for files of the same length, since it has the whole picture at once, which icons allow.

constexpr int compressionLevel = 5;
constexpr std::size_t bytesPerPixel = 4;

// What a filter expects a byte to be, from its neighbours to the left, above, and above to the left.

constexpr auto nothing = [](int, int, int) { return 0; };
constexpr auto theLeft = [](int left, int, int) { return left; };
constexpr auto theAbove = [](int, int above, int) { return above; };
constexpr auto theMean = [](int left, int above, int) { return (left + above) / 2; };
constexpr auto theNearest = [](int left, int above, int corner) {
    // In 16 bits the compiler does twice as many at once.
    const auto distance = [](int from, int to) { return static_cast<std::int16_t>(std::abs(from - to)); };
    const std::int16_t ofLeft = distance(above, corner);
    const std::int16_t ofAbove = distance(left, corner);
    const std::int16_t ofCorner = distance(left + above, 2 * corner);
    const auto nearer = static_cast<std::int16_t>(ofAbove <= ofCorner ? above : corner);
    return ofLeft <= std::min(ofAbove, ofCorner) ? static_cast<std::int16_t>(left) : nearer;
};

/// The rows of a picture, each filtered in the way that leaves the smallest bytes.
class Filtering {
public:
    explicit Filtering(std::size_t length)
        : _length(length)
        , _row(bytesPerPixel + length)
        , _above(bytesPerPixel + length)
        , _best(1 + length, '\0')
        , _candidate(1 + length, '\0') {}

    /// The number of the filter, then the filtered bytes of the row at `pixels`.
    const Bytes& filtered(const std::uint8_t* pixels) {
        std::copy_n(pixels, _length, _row.begin() + bytesPerPixel);
        _leastSum = std::numeric_limits<std::uint32_t>::max();
        consider(0, nothing);
        consider(1, theLeft);
        consider(2, theAbove);
        consider(3, theMean);
        consider(4, theNearest);
        _row.swap(_above);
        return _best;
    }

private:
    template<typename Expectation>
    void consider(char number, Expectation expected) {
        const std::uint8_t* left = _row.data();
        const std::uint8_t* row = left + bytesPerPixel;
        const std::uint8_t* corner = _above.data();
        const std::uint8_t* above = corner + bytesPerPixel;
        char* target = _candidate.data();
        *target++ = number;
        const std::size_t length = _length;
        std::uint32_t sum = 0;
        for (std::size_t index = 0; index < length; ++index) {
            const int rest = row[index] - expected(left[index], above[index], corner[index]);
            target[index] = static_cast<char>(rest);
            sum += static_cast<std::uint32_t>(std::abs(static_cast<signed char>(rest)));
        }
        if (sum >= _leastSum) return;
        _leastSum = sum;
        _best.swap(_candidate);
    }

    std::size_t _length;
    /// Both start with a pixel of zero, the neighbour of the first one.
    std::vector<std::uint8_t> _row;
    std::vector<std::uint8_t> _above;
    Bytes _best;
    Bytes _candidate;
    std::uint32_t _leastSum = 0;
};

void appendChunk(Bytes& file, std::string_view type, ByteView content) {
    appendBigEndian(file, static_cast<std::uint32_t>(content.size()));
    const std::size_t start = file.size();
    file += type;
    file += content;
    appendBigEndian(file, libdeflate_crc32(0, file.data() + start, file.size() - start));
}

Bytes header(const Image::Representation& representation) {
    Bytes content;
    appendBigEndian(content, representation.pixelsWide);
    appendBigEndian(content, representation.pixelsHigh);
    content +=
        {8, PNG_COLOR_TYPE_RGB_ALPHA, PNG_COMPRESSION_TYPE_BASE, PNG_FILTER_TYPE_BASE, PNG_INTERLACE_NONE};
    return content;
}

/// The resolution as PNG keeps it; nil when a pixel is a point or PNG cannot keep it.
std::optional<Bytes> resolution(const Image::Representation& representation) {
    const auto kept = [](std::uint32_t pixels, double points) {
        return pixelsPerMetre(pixelsPerInch(pixels, points).value_or(72));
    };
    const double horizontal = kept(representation.pixelsWide, representation.size.width);
    const double vertical = kept(representation.pixelsHigh, representation.size.height);
    const double none = pixelsPerMetre(72);
    if (horizontal == none && vertical == none) return std::nullopt;
    if (std::min(horizontal, vertical) < 1 || std::max(horizontal, vertical) > PNG_UINT_31_MAX)
        return std::nullopt;
    Bytes content;
    appendBigEndian(content, static_cast<std::uint32_t>(horizontal));
    appendBigEndian(content, static_cast<std::uint32_t>(vertical));
    content.push_back(PNG_RESOLUTION_METER);
    return content;
}

/// The pixels as PNG keeps them, filtered and compressed.
Bytes compressedPixels(const Image::Representation& representation) {
    const std::size_t rowLength = std::size_t{representation.pixelsWide} * bytesPerPixel;
    Filtering filtering(rowLength);
    Bytes rows;
    rows.reserve((1 + rowLength) * representation.pixelsHigh);
    for (std::size_t start = 0; start < representation.pixels.size(); start += rowLength)
        rows += filtering.filtered(representation.pixels.data() + start);

    const std::unique_ptr<libdeflate_compressor, void (*)(libdeflate_compressor*)> compressor(
        libdeflate_alloc_compressor(compressionLevel), libdeflate_free_compressor);
    if (!compressor) throw std::bad_alloc();
    Bytes compressed(libdeflate_zlib_compress_bound(compressor.get(), rows.size()), '\0');
    compressed.resize(libdeflate_zlib_compress(compressor.get(), rows.data(), rows.size(), compressed.data(),
                                               compressed.size()));
    return compressed;
}

} // namespace

std::optional<Image::Representation> representationFromPNG(ByteView bytes, DecodingBudget& budget) {
    return Reader(bytes).representation(budget);
}

std::optional<Image::Representation> undecodedRepresentationFromPNG(ByteView bytes, DecodingBudget& budget) {
    return Reader(bytes).undecodedRepresentation(budget);
}

std::optional<Bytes> pngFromRepresentation(const Image::Representation& representation) {
    if (representation.png) return *representation.png;
    if (!pixelsFitTheirSize(representation)) return std::nullopt;
    Bytes file(pngSignature);
    appendChunk(file, "IHDR", header(representation));
    if (const auto content = resolution(representation)) appendChunk(file, "pHYs", *content);
    appendChunk(file, "IDAT", compressedPixels(representation));
    appendChunk(file, "IEND", {});
    return file;
}

} // namespace mox
