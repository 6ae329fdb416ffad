#include "Formats/BinaryPropertyList.hpp"
#include "Formats/PropertyListReading.hpp"
#include "Formats/PropertyListWriting.hpp"
#include "Formats/TextEncoding.hpp"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

namespace mox {
namespace {

void appendBigEndian(Bytes& file, std::uint64_t number, std::size_t size) {
    while (size-- > 0)
        file.push_back(static_cast<char>(number >> (8 * size) & 0xFF));
}

/// The size, of 1, 2, 4 and 8 bytes, that holds `number`, as the power of two that it is.
unsigned sizePowerFor(std::uint64_t number) {
    if (number <= 0xFF) return 0;
    if (number <= 0xFFFF) return 1;
    return number <= 0xFFFFFFFF ? 2 : 3;
}

std::size_t sizeFor(std::uint64_t number) {
    return std::size_t{1} << sizePowerFor(number);
}

/// Writes a tree in two steps: objects are numbered level by level, in a queue that is also the list of
/// objects, so that depth takes no stack; then they are written in the order of their numbers.
class BinaryWriter {
public:
    bool write(const PropertyList& root);
    Bytes takeFile() { return std::move(_file); }

private:
    /// A value, or a key, which is a text without a value of its own.
    struct Object {
        std::variant<const PropertyList*, std::string_view> content;
        std::size_t depth = 0;
    };

    bool numberObjects(const PropertyList& root);
    void refer(const PropertyList& value, std::size_t depth);
    void referToText(std::string_view text, std::variant<const PropertyList*, std::string_view> content);
    void writeObject(const Object& object);
    void writeContainer(BinaryMarker marker, std::size_t count, std::size_t referenceCount);
    void writeMarker(BinaryMarker marker, std::size_t size);
    void writeInteger(const PropertyList& value);
    void writeText(std::string_view text);

    Bytes _file;
    std::vector<Object> _objects;
    /// The references of all containers, in the order of the containers' numbers.
    std::vector<std::size_t> _references;
    std::size_t _nextReference = 0;
    std::size_t _referenceSize = 0;
    std::unordered_map<std::string_view, std::size_t> _sharedTexts;
};

void BinaryWriter::referToText(std::string_view text,
                               std::variant<const PropertyList*, std::string_view> content) {
    if (text.size() <= longestSharedText) {
        const auto [entry, isNew] = _sharedTexts.try_emplace(text, _objects.size());
        _references.push_back(entry->second);
        if (!isNew) return;
    } else {
        _references.push_back(_objects.size());
    }
    _objects.push_back({content, 0});
}

void BinaryWriter::refer(const PropertyList& value, std::size_t depth) {
    if (const std::string* text = value.string()) return referToText(*text, &value);
    _references.push_back(_objects.size());
    _objects.push_back({&value, depth});
}

bool BinaryWriter::numberObjects(const PropertyList& root) {
    _objects.push_back({&root, 1});
    // NOLINTNEXTLINE(modernize-loop-convert): what is met is added while the loop runs.
    for (std::size_t index = 0; index < _objects.size(); ++index) {
        const auto [content, depth] = _objects[index];
        const auto* const* value = std::get_if<const PropertyList*>(&content);
        if (value == nullptr) continue;
        const PropertyList::Array* array = (*value)->array();
        const PropertyList::Dictionary* dictionary = (*value)->dictionary();
        if (array == nullptr && dictionary == nullptr) continue;
        if (depth > maximumPropertyListDepth) return false;
        if (array != nullptr) {
            for (const PropertyList& child : *array)
                refer(child, depth + 1);
        } else {
            for (const PropertyList::Entry& entry : *dictionary)
                referToText(entry.key, entry.key.view());
            for (const PropertyList::Entry& entry : *dictionary)
                refer(entry.value, depth + 1);
        }
    }
    return true;
}

bool BinaryWriter::write(const PropertyList& root) {
    if (!numberObjects(root)) return false;
    _referenceSize = sizeFor(_objects.size() - 1);
    std::vector<std::size_t> offsets;
    offsets.reserve(_objects.size());
    _file += binaryPropertyListMagic;
    for (const Object& object : _objects) {
        offsets.push_back(_file.size());
        writeObject(object);
    }
    const std::size_t tableStart = _file.size();
    const std::size_t offsetSize = sizeFor(offsets.back());
    for (const std::size_t offset : offsets)
        appendBigEndian(_file, offset, offsetSize);
    _file.append(6, '\0');
    appendBigEndian(_file, offsetSize, 1);
    appendBigEndian(_file, _referenceSize, 1);
    appendBigEndian(_file, _objects.size(), 8);
    appendBigEndian(_file, 0, 8);
    appendBigEndian(_file, tableStart, 8);
    return true;
}

void BinaryWriter::writeMarker(BinaryMarker marker, std::size_t size) {
    const auto kind = static_cast<unsigned>(marker) << 4;
    if (size < binarySizeFollows) return appendBigEndian(_file, kind | size, 1);
    appendBigEndian(_file, kind | binarySizeFollows, 1);
    appendBigEndian(_file, static_cast<unsigned>(BinaryMarker::Integer) << 4 | sizePowerFor(size), 1);
    appendBigEndian(_file, size, sizeFor(size));
}

void BinaryWriter::writeText(std::string_view text) {
    const bool isASCII = std::all_of(text.begin(), text.end(), [](char character) {
        return static_cast<unsigned char>(character) < 0x80;
    });
    if (isASCII) {
        writeMarker(BinaryMarker::ASCIIString, text.size());
        _file += text;
    } else {
        const Bytes units = encodedText({std::string(text), TextEncoding::UTF16BigEndian, false});
        writeMarker(BinaryMarker::UTF16String, units.size() / 2);
        _file += units;
    }
}

void BinaryWriter::writeInteger(const PropertyList& value) {
    const auto isSigned = value.integer();
    const auto isUnsigned = value.unsignedInteger();
    // Shorter sizes are unsigned, eight bytes are signed, so that the largest numbers take sixteen.
    const unsigned sizePower = !isSigned ? 4 : isUnsigned ? sizePowerFor(*isUnsigned) : 3;
    writeMarker(BinaryMarker::Integer, sizePower);
    if (!isSigned) appendBigEndian(_file, 0, 8);
    const std::uint64_t bits = isUnsigned ? *isUnsigned : static_cast<std::uint64_t>(*isSigned);
    appendBigEndian(_file, bits, std::min(std::size_t{1} << sizePower, std::size_t{8}));
}

void BinaryWriter::writeContainer(BinaryMarker marker, std::size_t count, std::size_t referenceCount) {
    writeMarker(marker, count);
    for (std::size_t index = 0; index < referenceCount; ++index) {
        appendBigEndian(_file, _references[_nextReference++], _referenceSize);
    }
}

void BinaryWriter::writeObject(const Object& object) {
    if (const auto* key = std::get_if<std::string_view>(&object.content)) return writeText(*key);
    const PropertyList& value = *std::get<const PropertyList*>(object.content);
    switch (value.kind()) {
    case PropertyList::Kind::Boolean:
        return appendBigEndian(_file, *value.boolean() ? binaryTrue : binaryFalse, 1);
    case PropertyList::Kind::Integer:
        return writeInteger(value);
    case PropertyList::Kind::Real:
        writeMarker(BinaryMarker::Real, 3);
        return appendBigEndian(_file, std::bit_cast<std::uint64_t>(*value.real()), 8);
    case PropertyList::Kind::Date:
        appendBigEndian(_file, binaryDate, 1);
        return appendBigEndian(_file, std::bit_cast<std::uint64_t>(value.date()->secondsSince2001), 8);
    case PropertyList::Kind::UID: {
        const std::size_t size = sizeFor(value.uid()->value);
        writeMarker(BinaryMarker::UID, size - 1);
        return appendBigEndian(_file, value.uid()->value, size);
    }
    case PropertyList::Kind::String:
        return writeText(*value.string());
    case PropertyList::Kind::Data:
        writeMarker(BinaryMarker::Data, value.data()->bytes().size());
        _file += value.data()->bytes();
        return;
    case PropertyList::Kind::Array:
        return writeContainer(BinaryMarker::Array, value.array()->size(), value.array()->size());
    case PropertyList::Kind::Dictionary:
        return writeContainer(BinaryMarker::Dictionary, value.dictionary()->size(),
                              2 * value.dictionary()->size());
    }
}

} // namespace

std::optional<Bytes> binaryFromPropertyList(const PropertyList& value) {
    BinaryWriter writer;
    if (!writer.write(value)) return std::nullopt;
    return writer.takeFile();
}

} // namespace mox
