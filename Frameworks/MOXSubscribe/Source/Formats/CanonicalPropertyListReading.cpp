#include "Formats/CanonicalPropertyListReading.hpp"

#include "Formats/Base64.hpp"
#include "Formats/PropertyListReading.hpp"
#include "Formats/ScalarText.hpp"
#include "Foundation/UnicodeText.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace mox {
namespace {

constexpr std::string_view head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                  "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                                  "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                                  "<plist version=\"1.0\">\n";

/// What a byte means in the text of an element.
enum class ByteClass : std::uint8_t {
    Plain,
    MarkUp,    ///< "<", which ends the text
    Reference, ///< "&"
    Bracket,   ///< "]", which must not begin "]]>"
    Multibyte, ///< a part of a character above U+007F
    Unusual,   ///< what XML refuses, or replaces while it reads
};

constexpr std::array<ByteClass, 256> byteClasses = [] {
    std::array<ByteClass, 256> classes{};
    for (std::size_t byte = 0; byte < 0x20; ++byte)
        classes[byte] = ByteClass::Unusual;
    for (std::size_t byte = 0x80; byte < 0x100; ++byte)
        classes[byte] = ByteClass::Multibyte;
    classes['\t'] = classes['\n'] = ByteClass::Plain;
    classes['<'] = ByteClass::MarkUp;
    classes['&'] = ByteClass::Reference;
    classes[']'] = ByteClass::Bracket;
    return classes;
}();

bool isWhiteSpace(char character) {
    return character == ' ' || character == '\t' || character == '\n';
}

bool isWhiteSpaceOrBase64(char character) {
    return (character >= '/' && character <= '9') || (character >= 'A' && character <= 'Z') ||
           (character >= 'a' && character <= 'z') || character == '+' || character == '=' ||
           isWhiteSpace(character);
}

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && isWhiteSpace(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isWhiteSpace(text.back()))
        text.remove_suffix(1);
    return text;
}

/// Eight bytes of a text, looked at together.
using Word = std::uint64_t;
constexpr std::ptrdiff_t wordSize = sizeof(Word);

constexpr Word eachByte(unsigned char byte) {
    return Word{0x0101010101010101} * byte;
}

Word wordAt(const char* bytes) {
    Word word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

/// Whether all bytes of the word are plain, by arithmetic on all of them at once: the highest bit of a byte
/// tells of it. May say no to a word that is plain.
bool isPlain(Word word) {
    constexpr Word highest = eachByte(0x80);
    const auto hasByte = [word](unsigned char byte) {
        const Word difference = word ^ eachByte(byte);
        return (difference - eachByte(1)) & ~difference;
    };
    const Word controls = word - eachByte(0x20);
    return ((word | controls | hasByte('<') | hasByte('&') | hasByte(']')) & highest) == 0;
}

/// Whether XML takes the UTF-8 `text`: U+FFFE and U+FFFF are no characters there.
bool isAcceptedByXML(std::string_view text) {
    return isValidUTF8(text) && text.find("\xEF\xBF\xBE") == text.npos &&
           text.find("\xEF\xBF\xBF") == text.npos;
}

/// Reads one document. Each step tells whether the document still has the canonical form.
class CanonicalReader {
public:
    explicit CanonicalReader(std::string_view document)
        : _next(document.data()), _end(document.data() + document.size()) {}

    std::optional<PropertyList> read();

private:
    /// A container that is open. Its children are collected where they will stay.
    struct Open {
        bool isDictionary;
        std::string key; ///< its own, in the dictionary around it
        std::vector<PropertyList::Entry> entries;
        PropertyList::Array values;
    };

    bool take(std::string_view literal) {
        if (static_cast<std::size_t>(_end - _next) < literal.size() ||
            std::memcmp(_next, literal.data(), literal.size()) != 0) {
            return false;
        }
        _next += literal.size();
        return true;
    }

    void skipWhiteSpace() {
        // Most of it is the tabs of the indentation.
        constexpr Word tabs = eachByte('\t');
        if (_next != _end && *_next == '\n') ++_next;
        while (_end - _next >= wordSize && wordAt(_next) == tabs)
            _next += wordSize;
        while (_next != _end && isWhiteSpace(*_next))
            ++_next;
    }

    bool readText(std::string& text);
    bool readReference(std::string& text);
    bool readItem();
    bool readScalar();
    bool readData();
    bool open(bool isDictionary);
    bool close(bool isDictionary);
    bool addEmpty(bool isDictionary);
    bool add(PropertyList&& value);
    bool addScalar(std::optional<PropertyList> value) { return value && add(*std::move(value)); }

    const char* _next;
    const char* _end;
    std::optional<PropertyList> _root;
    std::vector<Open> _open;
    /// How many children the last dictionary of each depth had: the records of a store are alike.
    std::vector<std::size_t> _lastSizes;
    std::string _key;
    bool _hasKey = false;
};

std::optional<PropertyList> CanonicalReader::read() {
    if (!take(head)) return std::nullopt;
    do {
        if (!readItem()) return std::nullopt;
    } while (!_open.empty());
    skipWhiteSpace();
    if (!take("</plist>")) return std::nullopt;
    skipWhiteSpace();
    if (_next != _end) return std::nullopt;
    return std::move(_root);
}

bool CanonicalReader::readReference(std::string& text) {
    struct Reference {
        std::string_view name;
        char character;
    };
    static constexpr std::array references = {Reference{"&amp;", '&'}, Reference{"&lt;", '<'},
                                              Reference{"&gt;", '>'}, Reference{"&#13;", '\r'}};
    for (const Reference& reference : references) {
        if (take(reference.name)) {
            text += reference.character;
            return true;
        }
    }
    return false;
}

/// Reads the text up to the next "<" and leaves that to the caller.
bool CanonicalReader::readText(std::string& text) {
    bool hasMultibyte = false;
    const char* begin = _next;
    for (const char* byte = begin; byte != _end; ++byte) {
        while (_end - byte > wordSize && isPlain(wordAt(byte)))
            byte += wordSize;
        switch (byteClasses[static_cast<std::uint8_t>(*byte)]) {
        case ByteClass::Plain:
            break;
        case ByteClass::Multibyte:
            hasMultibyte = true;
            break;
        case ByteClass::MarkUp:
            text.append(begin, byte);
            _next = byte;
            return !hasMultibyte || isAcceptedByXML(text);
        case ByteClass::Reference:
            text.append(begin, byte);
            _next = byte;
            if (!readReference(text)) return false;
            begin = _next;
            byte = _next - 1;
            break;
        case ByteClass::Bracket:
            if (std::string_view(byte, static_cast<std::size_t>(_end - byte)).starts_with("]]>"))
                return false;
            break;
        case ByteClass::Unusual:
            return false;
        }
    }
    return false;
}

/// Reads the next tag inside a container, or the root, with its value.
bool CanonicalReader::readItem() {
    skipWhiteSpace();
    if (_end - _next < 3) return false;
    const bool isInDictionary = !_open.empty() && _open.back().isDictionary;
    switch (_next[1]) {
    case 'k':
        if (!isInDictionary || _hasKey || !take("<key>") || !readText(_key) || !take("</key>")) return false;
        _hasKey = true;
        return true;
    case '/':
        if (_hasKey || _open.empty()) return false;
        return close(isInDictionary);
    default:
        if (isInDictionary && !_hasKey) return false;
        return readScalar();
    }
}

bool CanonicalReader::readScalar() {
    const auto textElement = [this](std::string_view begin, std::string_view end, std::string& text) {
        return take(begin) && readText(text) && take(end);
    };
    std::string text;
    switch (_next[1]) {
    case 's':
        return textElement("<string>", "</string>", text) &&
               add(PropertyList::validatedString(std::move(text)));
    case 'i':
        return textElement("<integer>", "</integer>", text) && addScalar(integerFromText(text));
    case 'r': {
        if (!textElement("<real>", "</real>", text)) return false;
        const std::optional<double> value = realFromText(text);
        return value && add(PropertyList::real(*value));
    }
    case 't':
        return take("<true/>") && add(PropertyList::boolean(true));
    case 'f':
        return take("<false/>") && add(PropertyList::boolean(false));
    case 'a':
        return take("<array>") ? open(false) : take("<array/>") && addEmpty(false);
    case 'd':
        if (take("<dict>")) return open(true);
        if (take("<data>")) return readData();
        if (take("<dict/>")) return addEmpty(true);
        if (!textElement("<date>", "</date>", text)) return false;
        return addScalar(dateFromText(text));
    default:
        return false;
    }
}

bool CanonicalReader::readData() {
    const char* end =
        static_cast<const char*>(std::memchr(_next, '<', static_cast<std::size_t>(_end - _next)));
    if (end == nullptr) return false;
    const std::string_view text(_next, static_cast<std::size_t>(end - _next));
    _next = end;
    std::optional<Bytes> bytes = bytesFromPlainBase64(trimmed(text));
    if (!bytes) {
        // The platform breaks it into lines.
        if (!std::all_of(text.begin(), text.end(), isWhiteSpaceOrBase64)) return false;
        Base64Decoder decoder;
        decoder.append(text);
        bytes = decoder.take();
    }
    return take("</data>") && add(PropertyList::Data(std::move(*bytes)));
}

bool CanonicalReader::add(PropertyList&& value) {
    if (_open.empty()) {
        _root = std::move(value);
    } else if (_open.back().isDictionary) {
        _open.back().entries.emplace_back(std::move(_key), std::move(value));
        _key.clear();
        _hasKey = false;
    } else {
        _open.back().values.push_back(std::move(value));
    }
    return true;
}

bool CanonicalReader::open(bool isDictionary) {
    if (_open.size() == maximumPropertyListDepth) return false;
    const std::size_t depth = _open.size();
    _open.push_back({isDictionary, std::exchange(_key, {}), {}, {}});
    _hasKey = false;
    if (_lastSizes.size() == depth) _lastSizes.push_back(0);
    if (isDictionary) _open.back().entries.reserve(std::min<std::size_t>(_lastSizes[depth], 64));
    return true;
}

bool CanonicalReader::addEmpty(bool isDictionary) {
    if (_open.size() == maximumPropertyListDepth) return false;
    return isDictionary ? add(PropertyList::Dictionary()) : add(PropertyList::Array());
}

bool CanonicalReader::close(bool isDictionary) {
    if (!take(isDictionary ? "</dict>" : "</array>")) return false;
    Open closed = std::move(_open.back());
    _open.pop_back();
    _key = std::move(closed.key);
    if (!isDictionary) return add(std::move(closed.values));
    _lastSizes[_open.size()] = closed.entries.size();
    return add(PropertyList::Dictionary::fromValidatedEntries(std::move(closed.entries)));
}

} // namespace

std::optional<PropertyList> propertyListFromCanonicalXML(std::string_view document) {
    return CanonicalReader(document).read();
}

} // namespace mox
