#pragma once

#include "Foundation/Bytes.hpp"
#include "Foundation/Image.hpp"

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

/// Image files made byte by byte, so that what reads them is tested against the formats and not against what
/// writes them.
namespace mox::testing {

/// A chunk of a PNG file.
Bytes pngChunk(std::string_view type, ByteView content);

/// The header chunk of a PNG file.
Bytes pngHeader(std::uint32_t width, std::uint32_t height, std::uint8_t bitDepth, std::uint8_t colorType,
                std::uint8_t interlacing = 0);

/// The chunk that gives a resolution in pixels per metre.
Bytes pngResolution(std::uint32_t horizontal, std::uint32_t vertical, std::uint8_t unit = 1);

/// A PNG file: `chunksBeforePixels` with the header first, then `filteredRows` without compression.
Bytes pngFile(ByteView chunksBeforePixels, ByteView filteredRows);

enum class ByteOrder { Little, Big };

/// A picture of a TIFF file.
struct TIFFPicture {
    std::uint32_t width = 1;
    std::uint32_t height = 1;
    std::uint16_t bitsPerSample = 8;
    std::uint16_t samplesPerPixel = 4;
    std::uint16_t compression = 1;
    std::uint16_t photometric = 2;
    /// 1 for colours multiplied with alpha, 2 for colours that are not.
    std::optional<std::uint16_t> extraSample = 2;
    /// In whole pixels per unit, horizontally and vertically.
    std::optional<std::uint32_t> resolution{};
    /// 2 for inches, 3 for centimetres.
    std::uint16_t resolutionUnit = 2;
    /// Red, green and blue by index, 16 bits each.
    std::vector<std::uint16_t> colorMap{};
    /// The picture's only strip as it is stored.
    Bytes strip{};
};

Bytes tiffFile(const std::vector<TIFFPicture>& pictures, ByteOrder byteOrder = ByteOrder::Little);

/// A picture of the given size, each pixel unlike its neighbours, shown pixel for point.
Image::Representation gradient(std::uint32_t width, std::uint32_t height);

} // namespace mox::testing
