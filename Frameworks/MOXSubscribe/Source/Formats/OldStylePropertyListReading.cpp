#include "Formats/PropertyListBuilder.hpp"
#include "Formats/PropertyListReading.hpp"
#include "Formats/TextEncoding.hpp"
#include "Foundation/UnicodeText.hpp"

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>

namespace mox {
namespace {

bool isBareCharacter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') ||
           std::string_view("_$/:.-").find(character) != std::string_view::npos;
}

/// The value of a hexadecimal digit; nil for any other character.
std::optional<unsigned> hexadecimalValue(char character) {
    if (character >= '0' && character <= '9') return static_cast<unsigned>(character - '0');
    if (character >= 'a' && character <= 'f') return static_cast<unsigned>(character - 'a' + 10);
    if (character >= 'A' && character <= 'F') return static_cast<unsigned>(character - 'A' + 10);
    return std::nullopt;
}

/// Reads the text from front to back. Each `read...` and `take...` moves the position behind what it accepted
/// and tells whether the text is well-formed so far. Open containers are the builder's: depth takes no stack.
class OldStyleReader {
public:
    explicit OldStyleReader(std::string_view text) : _text(text) {}

    std::optional<PropertyList> read();

private:
    using Container = PropertyListBuilder::Container;

    bool atEnd() const { return _position == _text.size(); }
    bool isAt(std::string_view expected) const { return _text.substr(_position).starts_with(expected); }
    bool take(char expected);
    bool skipSpace();
    bool readContent();
    bool readRoot();
    bool readNextOfArray();
    bool readNextOfDictionary();
    bool readRestOfEntry(std::string key);
    bool readValue();
    bool endValue();
    std::optional<PropertyList> readData();
    std::optional<std::string> readText();
    std::optional<std::string> readQuotedText();
    bool readEscape(std::string& text);
    bool readUnicodeEscape(std::string& text);
    std::optional<char32_t> takeUTF16Unit();

    std::string_view _text;
    std::size_t _position = 0;
    PropertyListBuilder _builder;
    /// Whether the outermost dictionary is the text itself, without braces.
    bool _isWithoutBraces = false;
};

bool OldStyleReader::take(char expected) {
    if (atEnd() || _text[_position] != expected) return false;
    ++_position;
    return true;
}

/// Skips white space and comments. False when a comment does not end.
bool OldStyleReader::skipSpace() {
    while (!atEnd()) {
        const char character = _text[_position];
        if (character == ' ' || (character >= '\t' && character <= '\r')) {
            ++_position;
        } else if (isAt("\xE2\x80\xA8") || isAt("\xE2\x80\xA9")) {
            // The line and the paragraph separator.
            _position += 3;
        } else if (isAt("//")) {
            _position = std::min(_text.find_first_of("\n\r", _position), _text.size());
        } else if (isAt("/*")) {
            const std::size_t end = _text.find("*/", _position + 2);
            if (end == std::string_view::npos) return false;
            _position = end + 2;
        } else {
            break;
        }
    }
    return true;
}

std::optional<PropertyList> OldStyleReader::read() {
    return readContent() && atEnd() ? _builder.finish() : std::nullopt;
}

bool OldStyleReader::readContent() {
    if (!skipSpace()) return false;
    if (atEnd()) return _builder.addValue(PropertyList::Dictionary());
    if (!readRoot()) return false;
    while (_builder.depth() > 0) {
        if (!skipSpace()) return false;
        const bool isArray = _builder.innermost() == Container::Array;
        if (!(isArray ? readNextOfArray() : readNextOfDictionary())) return false;
    }
    return skipSpace();
}

/// Reads the root's beginning. A text at the beginning is either the whole, or the first key of a dictionary
/// that has no braces, which is the form of a `.strings` file.
bool OldStyleReader::readRoot() {
    if (isAt("{") || isAt("(") || isAt("<")) return readValue();
    auto text = readText();
    if (!text || !skipSpace()) return false;
    if (atEnd()) return _builder.addValue(PropertyList::validatedString(*std::move(text)));
    _isWithoutBraces = true;
    return _builder.beginContainer(Container::Dictionary) && readRestOfEntry(*std::move(text));
}

bool OldStyleReader::readNextOfArray() {
    if (take(')')) return _builder.endContainer() && endValue();
    return readValue();
}

bool OldStyleReader::readNextOfDictionary() {
    const bool isOutermost = _isWithoutBraces && _builder.depth() == 1;
    if (isOutermost ? atEnd() : take('}')) return _builder.endContainer() && (isOutermost || endValue());
    auto key = readText();
    return key && skipSpace() && readRestOfEntry(*std::move(key));
}

bool OldStyleReader::readRestOfEntry(std::string key) {
    const bool isOutermost = _isWithoutBraces && _builder.depth() == 1;
    if (isOutermost && take(';')) {
        return _builder.addKey(key) && _builder.addValue(PropertyList::validatedString(std::move(key)));
    }
    return take('=') && _builder.addKey(key) && skipSpace() && readValue();
}

/// Reads a value, or the beginning of one that is a container.
bool OldStyleReader::readValue() {
    if (take('{')) return _builder.beginContainer(Container::Dictionary);
    if (take('(')) return _builder.beginContainer(Container::Array);
    std::optional<PropertyList> value;
    if (take('<')) {
        value = readData();
    } else if (auto text = readText()) {
        value = PropertyList::validatedString(*std::move(text));
    }
    return value && _builder.addValue(*std::move(value)) && endValue();
}

/// Reads what has to follow a value: ";" in a dictionary, "," or the end in an array.
bool OldStyleReader::endValue() {
    if (_builder.depth() == 0) return true;
    if (!skipSpace()) return false;
    if (_builder.innermost() == Container::Dictionary) return take(';');
    return take(',') || isAt(")");
}

std::optional<PropertyList> OldStyleReader::readData() {
    Bytes bytes;
    std::optional<unsigned> firstDigit;
    while (true) {
        if (!skipSpace() || atEnd()) return std::nullopt;
        if (!firstDigit && take('>')) return PropertyList::Data(std::move(bytes));
        const auto digit = hexadecimalValue(_text[_position++]);
        if (!digit) return std::nullopt;
        if (firstDigit) {
            bytes.push_back(static_cast<char>(*firstDigit << 4 | *digit));
            firstDigit.reset();
        } else {
            firstDigit = digit;
        }
    }
}

std::optional<std::string> OldStyleReader::readText() {
    if (isAt("\"") || isAt("'")) return readQuotedText();
    const std::size_t start = _position;
    while (!atEnd() && isBareCharacter(_text[_position]))
        ++_position;
    if (_position == start) return std::nullopt;
    return std::string(_text.substr(start, _position - start));
}

std::optional<std::string> OldStyleReader::readQuotedText() {
    const char quote = _text[_position++];
    const char stops[] = {quote, '\\'};
    std::string text;
    while (true) {
        const std::size_t end = _text.find_first_of(std::string_view(stops, sizeof stops), _position);
        if (end == std::string_view::npos) return std::nullopt;
        text.append(_text, _position, end - _position);
        _position = end + 1;
        if (_text[end] == quote) return text;
        if (!readEscape(text)) return std::nullopt;
    }
}

/// Reads what follows a backslash. A character without a meaning of its own stands for itself.
bool OldStyleReader::readEscape(std::string& text) {
    if (atEnd()) return false;
    const char character = _text[_position];
    if (character >= '0' && character <= '7') {
        constexpr std::size_t mostDigits = 3;
        char32_t scalar = 0;
        for (const std::size_t end = _position + mostDigits;
             !atEnd() && _position < end && _text[_position] >= '0' && _text[_position] <= '7'; ++_position) {
            scalar = scalar << 3 | static_cast<char32_t>(_text[_position] - '0');
        }
        appendUTF8(text, scalar);
        return true;
    }
    ++_position;
    switch (character) {
    case 'a':
        text.push_back('\a');
        return true;
    case 'b':
        text.push_back('\b');
        return true;
    case 'f':
        text.push_back('\f');
        return true;
    case 'n':
        text.push_back('\n');
        return true;
    case 'r':
        text.push_back('\r');
        return true;
    case 't':
        text.push_back('\t');
        return true;
    case 'v':
        text.push_back('\v');
        return true;
    case 'U':
    case 'u':
        return readUnicodeEscape(text);
    default:
        text.push_back(character);
        return true;
    }
}

/// Takes the one to four hexadecimal digits of a UTF-16 code unit.
std::optional<char32_t> OldStyleReader::takeUTF16Unit() {
    constexpr std::size_t mostDigits = 4;
    const std::size_t start = _position;
    char32_t unit = 0;
    while (!atEnd() && _position < start + mostDigits) {
        const auto digit = hexadecimalValue(_text[_position]);
        if (!digit) break;
        unit = unit << 4 | *digit;
        ++_position;
    }
    return _position == start ? std::nullopt : std::optional(unit);
}

/// Reads the digits of `\U`, and of a second one when the two are a surrogate pair; half a pair is U+FFFD.
bool OldStyleReader::readUnicodeEscape(std::string& text) {
    const auto unit = takeUTF16Unit();
    if (!unit) return false;
    const bool isLead = *unit >= 0xD800 && *unit <= 0xDBFF;
    if (isLead && (isAt("\\U") || isAt("\\u"))) {
        const std::size_t second = _position;
        _position += 2;
        const auto trail = takeUTF16Unit();
        if (trail && *trail >= 0xDC00 && *trail <= 0xDFFF) {
            appendUTF8(text, 0x10000 + ((*unit - 0xD800) << 10) + (*trail - 0xDC00));
            return true;
        }
        _position = second;
    }
    appendUTF8(text, *unit);
    return true;
}

} // namespace

std::optional<PropertyList> propertyListFromOldStyleText(ByteView bytes) {
    if (bytes.empty()) return std::nullopt;
    const auto decoded = decodedText(bytes);
    return decoded ? OldStyleReader(decoded->text).read() : std::nullopt;
}

} // namespace mox
