#include "Formats/ICNSCoding.hpp"

#include "Formats/ImageCoding.hpp"
#include "Formats/ImageDecoding.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>
#include <utility>

namespace mox {

namespace {

/// A kind of element that holds a picture.
struct ElementType {
    std::string_view name;
    /// In pixels.
    std::uint32_t side;
    std::uint32_t pixelsPerPoint;
    /// The kind that holds the opacity of the colours in this one; empty where the opacity is among them.
    std::string_view mask{};
};

/// The kinds that are written. Of two for one number of pixels the first is the usual one.
constexpr ElementType writtenTypes[] = {
    {"is32", 16, 1, "s8mk"}, {"il32", 32, 1, "l8mk"}, {"ih32", 48, 1, "h8mk"}, {"it32", 128, 1, "t8mk"},
    {"ic08", 256, 1},        {"ic09", 512, 1},        {"ic10", 1024, 2},       {"ic11", 32, 2},
    {"ic12", 64, 2},         {"ic13", 256, 2},        {"ic14", 512, 2},
};

/// The kinds that are only read: fewer programs know them.
constexpr ElementType furtherTypes[] = {
    {"icp4", 16, 1}, {"icp5", 32, 1}, {"icp6", 64, 1}, {"ic07", 128, 1}, {"ic04", 16, 1},
    {"ic05", 32, 1}, {"icsb", 18, 1}, {"icsB", 36, 2}, {"sb24", 24, 1},  {"SB24", 48, 2},
};

constexpr std::string_view fileSignature = "icns";
constexpr std::string_view channelsSignature = "ARGB";
constexpr std::size_t headerLength = 8;
constexpr std::size_t bytesPerPixel = 4;
constexpr std::size_t opacityChannel = 3;

/// In the largest kind of packed colours they come after four bytes of zero.
std::size_t paddingBeforeColors(const ElementType& type) {
    return type.name == "it32" ? 4 : 0;
}

std::size_t pixelCount(const ElementType& type) {
    return std::size_t{type.side} * type.side;
}

// Packed bytes are a row of blocks, each with a byte first that says what it is: less than 128 for one byte
// more than that as they are, else for 125 bytes less than that of one value. No block goes on in the next
// channel.

constexpr std::size_t longestLiteral = 128;
constexpr std::size_t shortestRun = 3;
constexpr std::size_t longestRun = 130;
constexpr std::size_t firstRunCode = 128;

void appendLiterals(Bytes& bytes, ByteView literals) {
    while (!literals.empty()) {
        const ByteView block = literals.substr(0, longestLiteral);
        bytes.push_back(static_cast<char>(block.size() - 1));
        bytes += block;
        literals.remove_prefix(block.size());
    }
}

void appendPacked(Bytes& bytes, ByteView unpacked) {
    std::size_t literalsStart = 0;
    for (std::size_t position = 0; position < unpacked.size();) {
        const ByteView candidates = unpacked.substr(position, longestRun);
        const std::size_t run = std::min(candidates.find_first_not_of(candidates[0]), candidates.size());
        if (run >= shortestRun) {
            appendLiterals(bytes, unpacked.substr(literalsStart, position - literalsStart));
            bytes.push_back(static_cast<char>(run - shortestRun + firstRunCode));
            bytes.push_back(candidates[0]);
            literalsStart = position + run;
        }
        position += run;
    }
    appendLiterals(bytes, unpacked.substr(literalsStart));
}

/// Unpacks one channel from the beginning of `packed` into that of `pixels`, and takes it off `packed`. False
/// when it ends too early or goes on too long.
bool unpackChannel(ByteView& packed, std::vector<std::uint8_t>& pixels, std::size_t channel) {
    for (std::size_t target = channel; target < pixels.size();) {
        if (packed.empty()) return false;
        const auto code = static_cast<std::uint8_t>(packed.front());
        packed.remove_prefix(1);
        const bool isRun = code >= firstRunCode;
        const std::size_t count = isRun ? code - firstRunCode + shortestRun : code + std::size_t{1};
        const std::size_t stored = isRun ? 1 : count;
        if (stored > packed.size() || count > (pixels.size() - target - 1) / bytesPerPixel + 1) return false;
        for (std::size_t index = 0; index < count; ++index, target += bytesPerPixel)
            pixels[target] = static_cast<std::uint8_t>(packed[isRun ? 0 : index]);
        packed.remove_prefix(stored);
    }
    return true;
}

/// The channel of all pixels, one byte each.
Bytes channelOf(const Image::Representation& representation, std::size_t channel) {
    Bytes bytes(representation.pixels.size() / bytesPerPixel, '\0');
    for (std::size_t index = 0; index < bytes.size(); ++index)
        bytes[index] = static_cast<char>(representation.pixels[index * bytesPerPixel + channel]);
    return bytes;
}

Bytes packedColors(const Image::Representation& representation) {
    Bytes packed;
    for (std::size_t channel = 0; channel < opacityChannel; ++channel)
        appendPacked(packed, channelOf(representation, channel));
    const std::size_t unpackedLength = representation.pixels.size() / bytesPerPixel * opacityChannel;
    if (packed.size() != unpackedLength) return packed;
    // Readers take colours of exactly this length for ones that are not packed. Without runs it is longer.
    packed.clear();
    for (std::size_t channel = 0; channel < opacityChannel; ++channel)
        appendLiterals(packed, channelOf(representation, channel));
    return packed;
}

void appendElement(Bytes& file, std::string_view name, ByteView padding, ByteView content) {
    file += name;
    appendBigEndian(file, static_cast<std::uint32_t>(headerLength + padding.size() + content.size()));
    file += padding;
    file += content;
}

/// The kind of element that `representation` is written as; null when there is none.
const ElementType* writtenTypeOf(const Image::Representation& representation) {
    if (representation.pixelsWide != representation.pixelsHigh) return nullptr;
    const double doubledPoints = representation.size.width * 2;
    const bool isForTwoPixelsPerPoint =
        representation.size.width == representation.size.height && doubledPoints == representation.pixelsWide;
    const ElementType* found = nullptr;
    for (const ElementType& type : writtenTypes) {
        if (type.side != representation.pixelsWide) continue;
        if (!found || (isForTwoPixelsPerPoint && type.pixelsPerPoint == 2)) found = &type;
    }
    return found;
}

/// Appends what `representation` is as elements of `type`. False when its pixels do not fit its size; then
/// nothing is appended.
bool appendRepresentation(Bytes& file, const ElementType& type, const Image::Representation& representation) {
    if (type.mask.empty()) {
        if (representation.png) {
            appendElement(file, type.name, {}, *representation.png);
            return true;
        }
        const auto png = pngFromRepresentation(representation);
        if (png) appendElement(file, type.name, {}, *png);
        return png.has_value();
    }
    if (!pixelsFitTheirSize(representation)) return false;
    appendElement(file, type.name, Bytes(paddingBeforeColors(type), '\0'), packedColors(representation));
    appendElement(file, type.mask, {}, channelOf(representation, opacityChannel));
    return true;
}

struct Element {
    std::string_view name;
    ByteView content;
};

std::size_t lengthAt(ByteView bytes, std::size_t position) {
    std::size_t length = 0;
    for (const char byte : bytes.substr(position, 4))
        length = length << 8 | static_cast<std::uint8_t>(byte);
    return length;
}

/// Takes the element at the beginning of `bytes` off them; nil when its length cannot be true.
std::optional<Element> takeElement(ByteView& bytes) {
    if (bytes.size() < headerLength) return std::nullopt;
    const std::size_t length = lengthAt(bytes, 4);
    if (length < headerLength || length > bytes.size()) return std::nullopt;
    const Element element{bytes.substr(0, 4), bytes.substr(headerLength, length - headerLength)};
    bytes.remove_prefix(length);
    return element;
}

/// The elements of an icon file; empty when it is none or is damaged. What follows the length that the file
/// gives itself does not belong to it.
std::vector<Element> elementsOf(ByteView bytes) {
    const auto file = takeElement(bytes);
    if (!file || file->name != fileSignature) return {};
    std::vector<Element> elements;
    for (ByteView rest = file->content; !rest.empty();) {
        const auto element = takeElement(rest);
        if (!element) return {};
        elements.push_back(*element);
    }
    return elements;
}

const ElementType* typeNamed(std::string_view name) {
    for (const auto& type : writtenTypes)
        if (type.name == name) return &type;
    for (const auto& type : furtherTypes)
        if (type.name == name) return &type;
    return nullptr;
}

class Reading {
public:
    /// `readPNG` reads the pictures that are PNG files.
    Reading(ByteView bytes, decltype(representationFromPNG)& readPNG)
        : _elements(elementsOf(bytes)), _readPNG(readPNG) {}

    std::optional<Image> image() {
        Image image;
        for (const Element& element : _elements) {
            const ElementType* type = typeNamed(element.name);
            auto representation = type ? representationOf(*type, element.content) : std::nullopt;
            if (representation) image.representations.push_back(std::move(*representation));
        }
        if (image.representations.empty()) return std::nullopt;
        image.size = image.representations.front().size;
        return image;
    }

private:
    std::optional<Image::Representation> representationOf(const ElementType& type, ByteView content) {
        std::optional<Image::Representation> representation;
        if (!type.mask.empty()) {
            representation = fromColors(type, content);
        } else if (content.starts_with(channelsSignature)) {
            representation = fromChannels(type, content.substr(channelsSignature.size()));
        } else {
            representation = _readPNG(content, _budget);
        }
        if (!representation) return std::nullopt;
        const double pixelsPerPoint = type.pixelsPerPoint;
        representation->size = {representation->pixelsWide / pixelsPerPoint,
                                representation->pixelsHigh / pixelsPerPoint};
        return representation;
    }

    /// The picture of colours whose opacity is in another element; without that they are opaque.
    std::optional<Image::Representation> fromColors(const ElementType& type, ByteView content) {
        if (content.size() < paddingBeforeColors(type)) return std::nullopt;
        content.remove_prefix(paddingBeforeColors(type));
        auto pixels = emptyPixels(type);
        if (!pixels || !readColors(content, *pixels)) return std::nullopt;
        const auto mask = std::ranges::find(_elements, type.mask, &Element::name);
        const bool hasMask = mask != _elements.end() && mask->content.size() == pixelCount(type);
        for (std::size_t index = 0; index < pixelCount(type); ++index) {
            (*pixels)[index * bytesPerPixel + opacityChannel] =
                hasMask ? static_cast<std::uint8_t>(mask->content[index]) : 255;
        }
        return representationWith(*std::move(pixels), type);
    }

    /// Packed colours may be as long as others by chance: what can be unpacked to its end is packed.
    static bool readColors(ByteView content, std::vector<std::uint8_t>& pixels) {
        ByteView packed = content;
        bool isUnpacked = true;
        for (std::size_t channel = 0; isUnpacked && channel < opacityChannel; ++channel)
            isUnpacked = unpackChannel(packed, pixels, channel);
        const std::size_t count = pixels.size() / bytesPerPixel;
        const std::size_t bytesPerColor = content.size() / count;
        const bool mayBePlain = content.size() == count * 3 || content.size() == count * 4;
        if (!mayBePlain || (isUnpacked && packed.empty())) return isUnpacked;
        // Of four bytes the first has no meaning.
        const std::size_t skipped = bytesPerColor - 3;
        for (std::size_t index = 0; index < count; ++index) {
            for (std::size_t channel = 0; channel < opacityChannel; ++channel) {
                pixels[index * bytesPerPixel + channel] =
                    static_cast<std::uint8_t>(content[index * bytesPerColor + skipped + channel]);
            }
        }
        return true;
    }

    /// The picture of packed channels, the opacity first.
    std::optional<Image::Representation> fromChannels(const ElementType& type, ByteView packed) {
        auto pixels = emptyPixels(type);
        if (!pixels) return std::nullopt;
        for (const std::size_t channel : {opacityChannel, std::size_t{0}, std::size_t{1}, std::size_t{2}})
            if (!unpackChannel(packed, *pixels, channel)) return std::nullopt;
        return representationWith(*std::move(pixels), type);
    }

    std::optional<std::vector<std::uint8_t>> emptyPixels(const ElementType& type) {
        if (!_budget.takePicture(type.side, type.side)) return std::nullopt;
        return std::vector<std::uint8_t>(pixelCount(type) * bytesPerPixel);
    }

    static Image::Representation representationWith(std::vector<std::uint8_t> pixels,
                                                    const ElementType& type) {
        return {.pixelsWide = type.side,
                .pixelsHigh = type.side,
                .size = {},
                .pixels = std::move(pixels),
                .png = {}};
    }

    std::vector<Element> _elements;
    decltype(representationFromPNG)& _readPNG;
    DecodingBudget _budget;
};

} // namespace

std::optional<Bytes> icnsWithRepresentations(const std::vector<Image::Representation>& representations) {
    Bytes file(fileSignature);
    appendBigEndian(file, 0);
    std::array<bool, std::size(writtenTypes)> isWritten{};
    for (const Image::Representation& representation : representations) {
        const ElementType* type = writtenTypeOf(representation);
        if (!type) continue;
        bool& isTaken = isWritten[static_cast<std::size_t>(type - std::begin(writtenTypes))];
        if (!isTaken) isTaken = appendRepresentation(file, *type, representation);
    }
    if (file.size() == headerLength) return std::nullopt;
    Bytes length;
    appendBigEndian(length, static_cast<std::uint32_t>(file.size()));
    file.replace(fileSignature.size(), length.size(), length);
    return file;
}

std::optional<Image> imageFromICNS(ByteView bytes) {
    return Reading(bytes, representationFromPNG).image();
}

std::optional<Image> undecodedImageFromICNS(ByteView bytes) {
    return Reading(bytes, undecodedRepresentationFromPNG).image();
}

} // namespace mox
