#include "Formats/BinaryPropertyList.hpp"
#include "Formats/PropertyListBuilder.hpp"
#include "Formats/PropertyListReading.hpp"
#include "Formats/TextEncoding.hpp"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <unordered_map>
#include <vector>

namespace mox {
namespace {

// A file may name one object many times, so that few bytes expand without end. Objects and content are
// bounded apart, in proportion to the file; both bounds lie above whatever a file can hold that names each
// container and each long text once, with room for writers that share those too. Data is held once however
// often it is named.
constexpr std::uint64_t objectsAlwaysAllowed = 4'096;
constexpr std::uint64_t objectsAllowedForEachByte = 4;
constexpr std::uint64_t contentAlwaysAllowed = std::uint64_t{1} << 20;
constexpr std::uint64_t contentAllowedForEachByte = longestSharedText;

/// The number in big-endian `bytes`, of which there are at most eight.
std::uint64_t bigEndianNumber(ByteView bytes) {
    std::uint64_t number = 0;
    for (const char byte : bytes)
        number = number << 8 | static_cast<std::uint8_t>(byte);
    return number;
}

class BinaryReader {
public:
    explicit BinaryReader(ByteView file) : _file(file) {}

    std::optional<PropertyList> read();

private:
    using Container = PropertyListBuilder::Container;

    /// A container whose children are being read, and where its references are.
    struct Open {
        std::uint64_t object;
        std::uint64_t next;
        std::uint64_t count;
        ByteView references;
    };

    bool readTrailer();
    std::optional<ByteView> objectAt(std::uint64_t object) const;
    bool readObject(std::uint64_t object);
    bool readNextChild();
    bool readKey(std::uint64_t object);
    bool readData(std::uint64_t object, unsigned sizeBits, ByteView content);
    bool openContainer(std::uint64_t object, Container kind, unsigned sizeBits, ByteView content);
    bool accountForObject() { return _objectsLeft-- > 0; }
    bool accountForContent(std::uint64_t size);

    std::uint64_t reference(ByteView references, std::uint64_t index) const {
        return bigEndianNumber(
            references.substr(static_cast<std::size_t>(index) * _referenceSize, _referenceSize));
    }

    static bool takeSize(unsigned sizeBits, ByteView& content, std::uint64_t& size);
    static std::optional<ByteView> takeBytes(unsigned sizeBits, ByteView content, std::uint64_t unitSize);
    static std::optional<PropertyList> integer(unsigned sizeBits, ByteView content);
    static std::optional<PropertyList> real(unsigned sizeBits, ByteView content);
    std::optional<std::string> text(unsigned marker, ByteView content);

    ByteView _file;
    /// The objects' part of the file, from its beginning, so that offsets count within it.
    ByteView _objects;
    ByteView _offsets;
    std::size_t _offsetSize = 0;
    std::size_t _referenceSize = 0;
    std::uint64_t _objectCount = 0;
    std::uint64_t _root = 0;
    std::int64_t _objectsLeft = 0;
    std::uint64_t _contentLeft = 0;
    /// The objects on the chain from the root to the innermost open container.
    std::vector<bool> _isOnChain;
    std::vector<Open> _open;
    /// The data that was read so far, by its object: writers share it between all that have the same icon.
    std::unordered_map<std::uint64_t, PropertyList::Data> _data;
    PropertyListBuilder _builder;
};

bool BinaryReader::readTrailer() {
    const std::size_t magicSize = binaryPropertyListMagic.size();
    if (!_file.starts_with(binaryPropertyListMagic) ||
        _file.size() < magicSize + binaryPropertyListTrailerSize) {
        return false;
    }
    const std::size_t trailerStart = _file.size() - binaryPropertyListTrailerSize;
    const ByteView trailer = _file.substr(trailerStart);
    _offsetSize = static_cast<std::uint8_t>(trailer[6]);
    _referenceSize = static_cast<std::uint8_t>(trailer[7]);
    _objectCount = bigEndianNumber(trailer.substr(8, 8));
    _root = bigEndianNumber(trailer.substr(16, 8));
    const std::uint64_t tableStart = bigEndianNumber(trailer.substr(24, 8));
    if (_offsetSize < 1 || _offsetSize > 8 || _referenceSize < 1 || _referenceSize > 8) return false;
    if (tableStart <= magicSize || tableStart > trailerStart) return false;
    _objects = _file.substr(0, static_cast<std::size_t>(tableStart));
    _offsets = _file.substr(_objects.size(), trailerStart - _objects.size());
    return _objectCount <= _offsets.size() / _offsetSize && _root < _objectCount;
}

std::optional<PropertyList> BinaryReader::read() {
    if (!readTrailer()) return std::nullopt;
    _isOnChain.resize(static_cast<std::size_t>(_objectCount));
    _objectsLeft = static_cast<std::int64_t>(objectsAlwaysAllowed + objectsAllowedForEachByte * _file.size());
    _contentLeft = contentAlwaysAllowed + contentAllowedForEachByte * _file.size();
    if (!readObject(_root)) return std::nullopt;
    while (!_open.empty()) {
        if (!readNextChild()) return std::nullopt;
    }
    return _builder.finish();
}

std::optional<ByteView> BinaryReader::objectAt(std::uint64_t object) const {
    if (object >= _objectCount) return std::nullopt;
    const std::size_t place = static_cast<std::size_t>(object) * _offsetSize;
    const std::uint64_t offset = bigEndianNumber(_offsets.substr(place, _offsetSize));
    if (offset < binaryPropertyListMagic.size() || offset >= _objects.size()) return std::nullopt;
    return _objects.substr(static_cast<std::size_t>(offset));
}

bool BinaryReader::accountForContent(std::uint64_t size) {
    if (size > _contentLeft) return false;
    _contentLeft -= size;
    return true;
}

bool BinaryReader::takeSize(unsigned sizeBits, ByteView& content, std::uint64_t& size) {
    size = sizeBits;
    if (sizeBits != binarySizeFollows) return true;
    if (content.empty()) return false;
    const unsigned marker = static_cast<std::uint8_t>(content.front());
    const unsigned sizeOfSizeBits = marker & 0xF;
    content.remove_prefix(1);
    if (marker >> 4 != static_cast<unsigned>(BinaryMarker::Integer) || sizeOfSizeBits > 3) return false;
    const std::size_t sizeOfSize = std::size_t{1} << sizeOfSizeBits;
    if (content.size() < sizeOfSize) return false;
    size = bigEndianNumber(content.substr(0, sizeOfSize));
    content.remove_prefix(sizeOfSize);
    return true;
}

std::optional<ByteView> BinaryReader::takeBytes(unsigned sizeBits, ByteView content, std::uint64_t unitSize) {
    std::uint64_t count = 0;
    if (!takeSize(sizeBits, content, count) || count > content.size() / unitSize) return std::nullopt;
    return content.substr(0, static_cast<std::size_t>(count * unitSize));
}

std::optional<PropertyList> BinaryReader::integer(unsigned sizeBits, ByteView content) {
    if (sizeBits > 4) return std::nullopt;
    const std::size_t size = std::size_t{1} << sizeBits;
    if (content.size() < size) return std::nullopt;
    content = content.substr(0, size);
    // Of the sizes, eight bytes alone are signed; sixteen are there for what is above the signed range.
    if (size < 8) return PropertyList::unsignedInteger(bigEndianNumber(content));
    if (size == 8) return PropertyList::integer(static_cast<std::int64_t>(bigEndianNumber(content)));
    if (bigEndianNumber(content.substr(0, 8)) != 0) return std::nullopt;
    return PropertyList::unsignedInteger(bigEndianNumber(content.substr(8)));
}

std::optional<PropertyList> BinaryReader::real(unsigned sizeBits, ByteView content) {
    static_assert(std::numeric_limits<float>::is_iec559 && std::numeric_limits<double>::is_iec559);
    const std::size_t size = std::size_t{1} << sizeBits;
    if (content.size() < size) return std::nullopt;
    const std::uint64_t bits = size <= 8 ? bigEndianNumber(content.substr(0, size)) : 0;
    if (size == 4) return PropertyList::real(double{std::bit_cast<float>(static_cast<std::uint32_t>(bits))});
    if (size == 8) return PropertyList::real(std::bit_cast<double>(bits));
    return std::nullopt;
}

/// The text of a string object; nil when the object is none or its content is not wholly in the file.
std::optional<std::string> BinaryReader::text(unsigned marker, ByteView content) {
    const auto kind = static_cast<BinaryMarker>(marker >> 4);
    const bool isUTF16 = kind == BinaryMarker::UTF16String;
    if (!isUTF16 && kind != BinaryMarker::ASCIIString && kind != BinaryMarker::UTF8String)
        return std::nullopt;
    const auto bytes = takeBytes(marker & 0xF, content, isUTF16 ? 2 : 1);
    if (!bytes) return std::nullopt;
    std::string text;
    if (isUTF16) {
        text.reserve(bytes->size());
        appendUTF16BigEndian(text, *bytes);
    } else {
        text = *bytes;
    }
    if (!accountForContent(text.size())) return std::nullopt;
    return text;
}

bool BinaryReader::openContainer(std::uint64_t object, Container kind, unsigned sizeBits, ByteView content) {
    // An object on the chain would contain itself.
    if (_isOnChain[static_cast<std::size_t>(object)]) return false;
    std::uint64_t count = 0;
    const std::uint64_t references = kind == Container::Dictionary ? 2 : 1;
    if (!takeSize(sizeBits, content, count)) return false;
    if (count > content.size() / _referenceSize / references) return false;
    if (!_builder.beginContainer(kind)) return false;
    _isOnChain[static_cast<std::size_t>(object)] = true;
    _open.push_back({object, 0, count, content});
    return true;
}

bool BinaryReader::readKey(std::uint64_t object) {
    const auto content = objectAt(object);
    if (!content || !accountForObject()) return false;
    const auto key = text(static_cast<std::uint8_t>(content->front()), content->substr(1));
    return key && _builder.addKey(*key);
}

bool BinaryReader::readData(std::uint64_t object, unsigned sizeBits, ByteView content) {
    if (const auto known = _data.find(object); known != _data.end()) {
        return _builder.addValue(PropertyList::Data(known->second));
    }
    const auto bytes = takeBytes(sizeBits, content, 1);
    if (!bytes || !accountForContent(bytes->size())) return false;
    return _builder.addValue(_data.emplace(object, Bytes(*bytes)).first->second);
}

bool BinaryReader::readNextChild() {
    Open& container = _open.back();
    if (container.next == container.count) {
        _isOnChain[static_cast<std::size_t>(container.object)] = false;
        _open.pop_back();
        return _builder.endContainer();
    }
    const std::uint64_t index = container.next++;
    const ByteView references = container.references;
    if (_builder.innermost() == Container::Array) return readObject(reference(references, index));
    return readKey(reference(references, index)) &&
           readObject(reference(references, container.count + index));
}

bool BinaryReader::readObject(std::uint64_t object) {
    const auto bytes = objectAt(object);
    if (!bytes || !accountForObject()) return false;
    const unsigned marker = static_cast<std::uint8_t>(bytes->front());
    const unsigned sizeBits = marker & 0xF;
    const ByteView content = bytes->substr(1);
    const auto add = [this](std::optional<PropertyList> value) {
        return value && _builder.addValue(*std::move(value));
    };
    switch (static_cast<BinaryMarker>(marker >> 4)) {
    case BinaryMarker::Simple:
        if (marker != binaryFalse && marker != binaryTrue) return false;
        return add(PropertyList::boolean(marker == binaryTrue));
    case BinaryMarker::Integer:
        return add(integer(sizeBits, content));
    case BinaryMarker::Real:
        return add(real(sizeBits, content));
    case BinaryMarker::Date: {
        const auto seconds = marker == binaryDate ? real(sizeBits, content) : std::nullopt;
        return seconds && add(PropertyList::Date{*seconds->real()});
    }
    case BinaryMarker::Data:
        return readData(object, sizeBits, content);
    case BinaryMarker::ASCIIString:
    case BinaryMarker::UTF16String:
    case BinaryMarker::UTF8String: {
        auto string = text(marker, content);
        return string && add(PropertyList(*std::move(string)));
    }
    case BinaryMarker::UID: {
        const std::size_t size = sizeBits + 1;
        if (size > 8 || content.size() < size) return false;
        return add(PropertyList::UID{bigEndianNumber(content.substr(0, size))});
    }
    case BinaryMarker::Array:
        return openContainer(object, Container::Array, sizeBits, content);
    case BinaryMarker::Dictionary:
        return openContainer(object, Container::Dictionary, sizeBits, content);
    }
    return false;
}

} // namespace

std::optional<PropertyList> propertyListFromBinary(ByteView bytes) {
    return BinaryReader(bytes).read();
}

} // namespace mox
