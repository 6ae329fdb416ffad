#include "Formats/ImageFiles.hpp"

#include <algorithm>
#include <cstddef>
#include <functional>

namespace mox::testing {

namespace {

void append(Bytes& bytes, std::uint64_t value, std::size_t length, ByteOrder byteOrder) {
    for (std::size_t index = 0; index < length; ++index) {
        const std::size_t place = byteOrder == ByteOrder::Little ? index : length - 1 - index;
        bytes.push_back(static_cast<char>(value >> (8 * place)));
    }
}

std::uint32_t cyclicRedundancyCheck(ByteView bytes) {
    std::uint32_t check = 0xFFFFFFFF;
    for (const char byte : bytes) {
        check ^= static_cast<std::uint8_t>(byte);
        for (int bit = 0; bit < 8; ++bit)
            check = (check >> 1) ^ ((check & 1) != 0 ? 0xEDB88320 : 0);
    }
    return ~check;
}

/// A stream in zlib's form that stores `bytes` as they are.
Bytes storedStream(ByteView bytes) {
    constexpr std::size_t longestBlock = 0xFFFF;
    Bytes stream("\x78\x01");
    std::uint32_t low = 1;
    std::uint32_t high = 0;
    for (const char byte : bytes) {
        low = (low + static_cast<std::uint8_t>(byte)) % 65521;
        high = (high + low) % 65521;
    }
    do {
        const ByteView block = bytes.substr(0, longestBlock);
        bytes.remove_prefix(block.size());
        stream.push_back(bytes.empty() ? '\1' : '\0');
        append(stream, block.size(), 2, ByteOrder::Little);
        append(stream, ~block.size() & 0xFFFF, 2, ByteOrder::Little);
        stream += block;
    } while (!bytes.empty());
    append(stream, (high << 16) | low, 4, ByteOrder::Big);
    return stream;
}

/// A field of a directory of a TIFF file.
struct Field {
    enum Type : std::uint16_t { Short = 3, Long = 4, Rational = 5 };

    std::uint16_t tag;
    Type type;
    std::vector<std::uint32_t> values;

    /// Rationals are whole here.
    std::size_t valueLength() const { return type == Short ? 2 : type == Long ? 4 : 8; }
};

std::vector<Field> fieldsOf(const TIFFPicture& picture, std::uint32_t stripOffset) {
    std::vector<Field> fields{
        {256, Field::Long, {picture.width}},
        {257, Field::Long, {picture.height}},
        {258, Field::Short, std::vector<std::uint32_t>(picture.samplesPerPixel, picture.bitsPerSample)},
        {259, Field::Short, {picture.compression}},
        {262, Field::Short, {picture.photometric}},
        {273, Field::Long, {stripOffset}},
        {277, Field::Short, {picture.samplesPerPixel}},
        {278, Field::Long, {picture.height}},
        {279, Field::Long, {static_cast<std::uint32_t>(picture.strip.size())}}};
    if (picture.resolution) {
        fields.push_back({282, Field::Rational, {*picture.resolution}});
        fields.push_back({283, Field::Rational, {*picture.resolution}});
        fields.push_back({296, Field::Short, {picture.resolutionUnit}});
    }
    if (!picture.colorMap.empty()) {
        fields.push_back({320, Field::Short, {picture.colorMap.begin(), picture.colorMap.end()}});
    }
    if (picture.extraSample) fields.push_back({338, Field::Short, {*picture.extraSample}});
    return fields;
}

} // namespace

Bytes pngChunk(std::string_view type, ByteView content) {
    Bytes checked(type);
    checked += content;
    Bytes chunk;
    append(chunk, content.size(), 4, ByteOrder::Big);
    chunk += checked;
    append(chunk, cyclicRedundancyCheck(checked), 4, ByteOrder::Big);
    return chunk;
}

Bytes pngHeader(std::uint32_t width, std::uint32_t height, std::uint8_t bitDepth, std::uint8_t colorType,
                std::uint8_t interlacing) {
    Bytes content;
    append(content, width, 4, ByteOrder::Big);
    append(content, height, 4, ByteOrder::Big);
    for (const std::uint8_t byte : {bitDepth, colorType, std::uint8_t{0}, std::uint8_t{0}, interlacing}) {
        append(content, byte, 1, ByteOrder::Big);
    }
    return pngChunk("IHDR", content);
}

Bytes pngResolution(std::uint32_t horizontal, std::uint32_t vertical, std::uint8_t unit) {
    Bytes content;
    append(content, horizontal, 4, ByteOrder::Big);
    append(content, vertical, 4, ByteOrder::Big);
    append(content, unit, 1, ByteOrder::Big);
    return pngChunk("pHYs", content);
}

Bytes pngFile(ByteView chunksBeforePixels, ByteView filteredRows) {
    Bytes file("\x89PNG\r\n\x1a\n");
    file += chunksBeforePixels;
    file += pngChunk("IDAT", storedStream(filteredRows));
    file += pngChunk("IEND", {});
    return file;
}

Bytes tiffFile(const std::vector<TIFFPicture>& pictures, ByteOrder byteOrder) {
    Bytes file(byteOrder == ByteOrder::Little ? "II" : "MM");
    append(file, 42, 2, byteOrder);
    for (const TIFFPicture& picture : pictures) {
        // The strip comes first and the directory's longer values next, so that all offsets are known in
        // time.
        const std::size_t stripOffset = file.size() + 4;
        Bytes values;
        Bytes directory;
        const std::vector<Field> fields = fieldsOf(picture, static_cast<std::uint32_t>(stripOffset));
        append(directory, fields.size(), 2, byteOrder);
        for (const Field& field : fields) {
            append(directory, field.tag, 2, byteOrder);
            append(directory, field.type, 2, byteOrder);
            append(directory, field.values.size(), 4, byteOrder);
            Bytes stored;
            for (const std::uint32_t value : field.values) {
                append(stored, value, std::min<std::size_t>(field.valueLength(), 4), byteOrder);
                if (field.type == Field::Rational) append(stored, 1, 4, byteOrder);
            }
            if (stored.size() <= 4) {
                stored.resize(4);
                directory += stored;
            } else {
                append(directory, stripOffset + picture.strip.size() + values.size(), 4, byteOrder);
                values += stored;
            }
        }
        append(file, stripOffset + picture.strip.size() + values.size(), 4, byteOrder);
        file += picture.strip;
        file += values;
        file += directory;
    }
    append(file, 0, 4, byteOrder);
    return file;
}

Image::Representation gradient(std::uint32_t width, std::uint32_t height) {
    Image::Representation representation{
        .pixelsWide = width,
        .pixelsHigh = height,
        .size = {static_cast<double>(width), static_cast<double>(height)},
        .pixels = {},
        .png = nullptr,
    };
    std::vector<std::uint8_t> pixels;
    for (std::uint32_t row = 0; row < height; ++row) {
        for (std::uint32_t column = 0; column < width; ++column) {
            for (const std::uint32_t value :
                 {column * 7 + row, row * 11, column * 3 + 90, column * 5 + row * 13}) {
                pixels.push_back(static_cast<std::uint8_t>(value));
            }
        }
    }
    representation.pixels = std::move(pixels);
    return representation;
}

} // namespace mox::testing
