#include "Formats/ImageCoding.hpp"
#include "Formats/ImageDecoding.hpp"

#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

namespace mox {

namespace {

constexpr double centimetresPerInch = 2.54;

/// The largest block that the library may allocate: a picture of the longest sides in 16 bits a channel.
constexpr auto maximumAllocation = static_cast<tmsize_t>(maximumImageSide) * maximumImageSide * 8;

/// The files that are read or written lie in memory.
struct MemoryFile {
    ByteView readable{};
    Bytes* writable = nullptr;
    std::uint64_t position = 0;

    std::uint64_t size() const { return writable ? writable->size() : readable.size(); }
};

MemoryFile& memoryFile(thandle_t handle) {
    return *static_cast<MemoryFile*>(handle);
}

tmsize_t readFromMemory(thandle_t handle, void* target, tmsize_t count) {
    MemoryFile& file = memoryFile(handle);
    if (file.position >= file.readable.size() || count <= 0) return 0;
    const auto start = static_cast<std::size_t>(file.position);
    const std::size_t length = std::min(static_cast<std::size_t>(count), file.readable.size() - start);
    std::memcpy(target, file.readable.data() + start, length);
    file.position += length;
    return static_cast<tmsize_t>(length);
}

tmsize_t writeToMemory(thandle_t handle, void* source, tmsize_t count) {
    MemoryFile& file = memoryFile(handle);
    if (!file.writable || count < 0) return -1;
    const auto start = static_cast<std::size_t>(file.position);
    const auto length = static_cast<std::size_t>(count);
    try {
        if (file.writable->size() < start + length) file.writable->resize(start + length);
    } catch (const std::bad_alloc&) {
        // It must not pass through the library.
        return -1;
    }
    std::memcpy(file.writable->data() + start, source, length);
    file.position += length;
    return count;
}

toff_t seekInMemory(thandle_t handle, toff_t offset, int origin) {
    MemoryFile& file = memoryFile(handle);
    if (origin == SEEK_CUR) offset += file.position;
    if (origin == SEEK_END) offset += file.size();
    return file.position = offset;
}

toff_t sizeInMemory(thandle_t handle) {
    return memoryFile(handle).size();
}

int closeMemory(thandle_t) {
    return 0;
}

int mapMemory(thandle_t handle, void** base, toff_t* size) {
    const ByteView bytes = memoryFile(handle).readable;
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): libtiff writes nothing into what it maps.
    *base = const_cast<char*>(bytes.data());
    *size = bytes.size();
    return 1;
}

void unmapMemory(thandle_t, void*, toff_t) {}

/// Takes every message, so that the handlers of the process, which are its owner's, see none of ours.
int takeMessage(TIFF*, void*, const char*, const char*, std::va_list) {
    return 1;
}

struct Closing {
    void operator()(TIFF* file) const { TIFFClose(file); }
    void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
};

using Handle = std::unique_ptr<TIFF, Closing>;

/// Opens `file`, which must outlive the handle; null when it is no TIFF.
Handle openedTIFF(MemoryFile& file, const char* mode) {
    const std::unique_ptr<TIFFOpenOptions, Closing> options(TIFFOpenOptionsAlloc());
    if (!options) return nullptr;
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), takeMessage, nullptr);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), takeMessage, nullptr);
    TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), maximumAllocation);
    return Handle(TIFFClientOpenExt("image", mode, &file, readFromMemory, writeToMemory, seekInMemory,
                                    closeMemory, sizeInMemory, mapMemory, unmapMemory, options.get()));
}

/// The compressions that icons come in; the others' decoders are left alone with what arrives from outside.
bool isAcceptedCompression(TIFF* file) {
    std::uint16_t compression = COMPRESSION_NONE;
    TIFFGetFieldDefaulted(file, TIFFTAG_COMPRESSION, &compression);
    constexpr std::uint16_t accepted[] = {COMPRESSION_NONE, COMPRESSION_LZW, COMPRESSION_PACKBITS,
                                          COMPRESSION_DEFLATE, COMPRESSION_ADOBE_DEFLATE};
    return std::find(std::begin(accepted), std::end(accepted), compression) != std::end(accepted);
}

double readResolution(TIFF* file, std::uint32_t tag) {
    float resolution = 0;
    std::uint16_t unit = RESUNIT_INCH;
    if (TIFFGetField(file, tag, &resolution) == 0) return 0;
    TIFFGetFieldDefaulted(file, TIFFTAG_RESOLUTIONUNIT, &unit);
    if (unit == RESUNIT_INCH) return static_cast<double>(resolution);
    return unit == RESUNIT_CENTIMETER ? static_cast<double>(resolution) * centimetresPerInch : 0;
}

/// Makes the library leave unassociated alpha alone: it would multiply it into the colours, with losses that
/// cannot be undone, but takes colours as they are when the file says that they have been multiplied already.
/// Whether the colours have in truth been multiplied.
bool colorsAreMultiplied(TIFF* file) {
    std::uint16_t count = 0;
    std::uint16_t* kinds = nullptr;
    TIFFGetFieldDefaulted(file, TIFFTAG_EXTRASAMPLES, &count, &kinds);
    if (count == 0 || kinds[0] != EXTRASAMPLE_UNASSALPHA) return true;
    std::vector<std::uint16_t> pretended(kinds, kinds + count);
    pretended[0] = EXTRASAMPLE_ASSOCALPHA;
    TIFFSetField(file, TIFFTAG_EXTRASAMPLES, count, pretended.data());
    return false;
}

std::uint8_t divided(std::uint32_t color, std::uint32_t alpha) {
    if (alpha == 0) return 0;
    return static_cast<std::uint8_t>(std::min((color * 255 + alpha / 2) / alpha, std::uint32_t{255}));
}

/// The pixels of the picture at which `file` stands; empty when they cannot be read.
std::vector<std::uint8_t> readPixels(TIFF* file, std::uint32_t pixelsWide, std::uint32_t pixelsHigh) {
    const bool multiplied = colorsAreMultiplied(file);
    char message[1024];
    TIFFRGBAImage reading{};
    if (TIFFRGBAImageOK(file, message) == 0 || TIFFRGBAImageBegin(&reading, file, 1, message) == 0) return {};
    const std::unique_ptr<TIFFRGBAImage, void (*)(TIFFRGBAImage*)> ending(&reading, TIFFRGBAImageEnd);
    reading.req_orientation = ORIENTATION_TOPLEFT;
    std::vector<std::uint32_t> raster(std::size_t{pixelsWide} * pixelsHigh);
    if (TIFFRGBAImageGet(&reading, raster.data(), pixelsWide, pixelsHigh) == 0) return {};

    std::vector<std::uint8_t> pixels;
    pixels.reserve(raster.size() * 4);
    for (const std::uint32_t pixel : raster) {
        const std::uint32_t alpha = TIFFGetA(pixel);
        for (const std::uint32_t color : {TIFFGetR(pixel), TIFFGetG(pixel), TIFFGetB(pixel)}) {
            pixels.push_back(multiplied && alpha != 255 ? divided(color, alpha)
                                                        : static_cast<std::uint8_t>(color));
        }
        pixels.push_back(static_cast<std::uint8_t>(alpha));
    }
    return pixels;
}

} // namespace

std::vector<Image::Representation> representationsFromTIFF(ByteView bytes, std::size_t maximumCount,
                                                           DecodingBudget& budget) {
    MemoryFile memory{.readable = bytes};
    const Handle file = openedTIFF(memory, "r");
    if (!file) return {};
    std::vector<Image::Representation> representations;
    while (representations.size() < maximumCount) {
        Image::Representation next;
        TIFFGetField(file.get(), TIFFTAG_IMAGEWIDTH, &next.pixelsWide);
        TIFFGetField(file.get(), TIFFTAG_IMAGELENGTH, &next.pixelsHigh);
        if (!isAcceptedImageSize(next.pixelsWide, next.pixelsHigh)) return {};
        if (!isAcceptedCompression(file.get())) return {};
        if (!budget.takePicture(next.pixelsWide, next.pixelsHigh)) break;
        next.size = {lengthInPoints(next.pixelsWide, readResolution(file.get(), TIFFTAG_XRESOLUTION)),
                     lengthInPoints(next.pixelsHigh, readResolution(file.get(), TIFFTAG_YRESOLUTION))};
        next.pixels = readPixels(file.get(), next.pixelsWide, next.pixelsHigh);
        if (next.pixels.empty()) return {};
        representations.push_back(std::move(next));
        if (TIFFLastDirectory(file.get()) != 0) break;
        if (TIFFReadDirectory(file.get()) == 0) return {};
    }
    return representations;
}

std::optional<Bytes> tiffFromRepresentation(const Image::Representation& representation) {
    if (!pixelsFitTheirSize(representation)) return std::nullopt;
    Bytes bytes;
    MemoryFile memory{.writable = &bytes};
    Handle file = openedTIFF(memory, "wl");
    if (!file) return std::nullopt;

    const std::uint16_t alpha = EXTRASAMPLE_UNASSALPHA;
    TIFFSetField(file.get(), TIFFTAG_IMAGEWIDTH, representation.pixelsWide);
    TIFFSetField(file.get(), TIFFTAG_IMAGELENGTH, representation.pixelsHigh);
    TIFFSetField(file.get(), TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(file.get(), TIFFTAG_SAMPLESPERPIXEL, 4);
    TIFFSetField(file.get(), TIFFTAG_EXTRASAMPLES, 1, &alpha);
    TIFFSetField(file.get(), TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
    TIFFSetField(file.get(), TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(file.get(), TIFFTAG_COMPRESSION, COMPRESSION_LZW);
    TIFFSetField(file.get(), TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
    TIFFSetField(file.get(), TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(file.get(), 0));
    const auto horizontal = pixelsPerInch(representation.pixelsWide, representation.size.width);
    const auto vertical = pixelsPerInch(representation.pixelsHigh, representation.size.height);
    if (horizontal || vertical) {
        TIFFSetField(file.get(), TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
        TIFFSetField(file.get(), TIFFTAG_XRESOLUTION, horizontal.value_or(72));
        TIFFSetField(file.get(), TIFFTAG_YRESOLUTION, vertical.value_or(72));
    }

    // The library changes the row that it is handed.
    const auto rowLength = static_cast<std::ptrdiff_t>(representation.pixelsWide) * 4;
    std::vector<std::uint8_t> row(static_cast<std::size_t>(rowLength));
    const std::uint8_t* source = representation.pixels.data();
    for (std::uint32_t index = 0; index < representation.pixelsHigh; ++index, source += rowLength) {
        std::copy_n(source, rowLength, row.begin());
        if (TIFFWriteScanline(file.get(), row.data(), index, 0) != 1) return std::nullopt;
    }
    if (TIFFWriteDirectory(file.get()) != 1) return std::nullopt;
    file.reset();
    return bytes;
}

} // namespace mox
