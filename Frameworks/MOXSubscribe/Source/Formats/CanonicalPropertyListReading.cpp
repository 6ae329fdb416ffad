#include "Formats/CanonicalPropertyListReading.hpp"

#include "Formats/Base64.hpp"
#include "Formats/PlainText.hpp"
#include "Formats/PropertyListReading.hpp"
#include "Formats/ScalarText.hpp"
#include "Foundation/KeptText.hpp"
#include "Foundation/UnicodeText.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
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
    Greater,   ///< ">", which we write as a reference
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
    classes['>'] = ByteClass::Greater;
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

/// As a distance between pointers.
constexpr auto blockSize = static_cast<std::ptrdiff_t>(textBlockSize);

/// Whether XML takes the UTF-8 `text`: U+FFFE and U+FFFF are no characters there.
bool isAcceptedByXML(std::string_view text) {
    return isValidUTF8(text) && text.find("\xEF\xBF\xBE") == text.npos &&
           text.find("\xEF\xBF\xBF") == text.npos;
}

Bytes bytesOfCanonicalBase64(std::string_view text) {
    return *bytesFromPlainBase64(text);
}

/// Reads one document. Each step tells whether the document still has the canonical form.
///
/// It also finds out which dictionaries stand in the document exactly as they are written, white space
/// included, so that these can keep their text.
class CanonicalReader {
public:
    /// Of a document without `keeper` nothing is kept.
    CanonicalReader(std::string_view document, const SharedBytes* keeper)
        : _keeper(keeper), _next(document.data()), _end(document.data() + document.size()) {}

    std::optional<PropertyList> read();

private:
    /// A container that is open. Its children are collected where they will stay.
    struct Open {
        bool isDictionary;
        /// Whether all that was read of it is as it is written, and can be kept.
        bool isAsWritten;
        const char* begin;       ///< where its indentation begins
        PropertyList::Key key;   ///< its own, in the dictionary around it
        std::size_t keyLineSize; ///< of that one's line; 0 when there is none, or it is not as it is written
        std::size_t nextKey;     ///< which of the known keys of its depth may come next
        std::vector<PropertyList::Entry> entries;
        PropertyList::Array values;
    };

    /// A key that was read, and how the document has it, from the text to the end of the tag that closes it.
    struct KnownKey {
        std::string_view written;
        PropertyList::Key key;
    };

    /// What the last dictionaries of a depth were like: the records of a store are alike.
    struct Likeness {
        std::size_t size = 16;
        std::vector<KnownKey> keys;
    };

    bool take(std::string_view literal) {
        if (static_cast<std::size_t>(_end - _next) < literal.size() ||
            std::memcmp(_next, literal.data(), literal.size()) != 0) {
            return false;
        }
        _next += literal.size();
        return true;
    }

    std::size_t skipWhiteSpace();
    bool readText(std::string_view& text);
    bool readReference();
    bool readKey();
    bool readItem();
    bool readScalar();
    bool readData();
    bool open(bool isDictionary);
    bool close(bool isDictionary);
    bool addEmpty(bool isDictionary);
    bool add(PropertyList&& value);
    bool addWrittenAs(std::string_view writtenText, std::string_view text, PropertyList&& value);

    /// Tells that what has just been read may not be as it is written.
    void differFromWritten() {
        if (!_open.empty()) _open.back().isAsWritten = false;
    }

    static constexpr std::size_t mostChildrenExpected = 64;
    static constexpr std::size_t otherWhiteSpace = std::numeric_limits<std::size_t>::max();

    const SharedBytes* const _keeper;
    const char* _next;
    const char* const _end;
    std::optional<PropertyList> _root;
    std::vector<Open> _open;
    /// By depth.
    std::vector<Likeness> _likenesses;
    /// Where the indentation of the tag that is being read begins, and whether it is as it is written.
    const char* _lineBegin = nullptr;
    bool _isLineAsWritten = false;
    /// A text in which references were replaced.
    std::string _replacedText;
    PropertyList::Key _key;
    bool _hasKey = false;
    /// Where the indentation of the key begins; null when its line is not as it is written.
    const char* _keyBegin = nullptr;
};

/// How many tabs it was, behind a line feed; `otherWhiteSpace` when it was anything else.
std::size_t CanonicalReader::skipWhiteSpace() {
    // Most of it is the tabs of the indentation.
    const bool beginsLine = _next != _end && *_next == '\n';
    if (beginsLine) ++_next;
    _lineBegin = _next;
    for (std::size_t tabs = textBlockSize; tabs == textBlockSize && _end - _next >= blockSize; _next += tabs)
        tabs = tabsOfBlock(_next);
    while (_next != _end && *_next == '\t')
        ++_next;
    if (beginsLine && (_next == _end || !isWhiteSpace(*_next)))
        return static_cast<std::size_t>(_next - _lineBegin);
    while (_next != _end && isWhiteSpace(*_next))
        ++_next;
    return otherWhiteSpace;
}

std::optional<PropertyList> CanonicalReader::read() {
    if (!take(head)) return std::nullopt;
    // The line feed belongs to the root's line as well.
    --_next;
    do {
        if (!readItem()) return std::nullopt;
    } while (!_open.empty());
    skipWhiteSpace();
    if (!take("</plist>")) return std::nullopt;
    skipWhiteSpace();
    if (_next != _end) return std::nullopt;
    return std::move(_root);
}

bool CanonicalReader::readReference() {
    struct Reference {
        std::string_view name;
        char character;
    };
    static constexpr std::array references = {Reference{"&amp;", '&'}, Reference{"&lt;", '<'},
                                              Reference{"&gt;", '>'}, Reference{"&#13;", '\r'}};
    for (const Reference& reference : references) {
        if (take(reference.name)) {
            _replacedText += reference.character;
            return true;
        }
    }
    return false;
}

/// Reads the text up to the next "<" and leaves that to the caller. The text is a part of the document, or
/// when references had to be replaced, holds until the next one is read.
bool CanonicalReader::readText(std::string_view& text) {
    bool hasMultibyte = false;
    bool hasReferences = false;
    const char* begin = _next;
    for (const char* byte = begin; byte != _end; ++byte) {
        for (std::size_t plain = textBlockSize; plain == textBlockSize && _end - byte > blockSize;
             byte += plain)
            plain = plainBytesOfBlock(byte);
        switch (byteClasses[static_cast<std::uint8_t>(*byte)]) {
        case ByteClass::Plain:
            break;
        case ByteClass::Multibyte:
            hasMultibyte = true;
            break;
        case ByteClass::MarkUp:
            _next = byte;
            text = {begin, static_cast<std::size_t>(byte - begin)};
            if (hasReferences) text = _replacedText.append(text);
            return !hasMultibyte || isAcceptedByXML(text);
        case ByteClass::Reference:
            if (!hasReferences) _replacedText.clear();
            hasReferences = true;
            _replacedText.append(begin, byte);
            _next = byte;
            if (!readReference()) return false;
            begin = _next;
            byte = _next - 1;
            break;
        case ByteClass::Greater:
            differFromWritten();
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

/// Reads the rest of a key's element. A key of the dictionaries before is taken from there, where it is most
/// often the one behind the last one, or one of the next when some are missing.
bool CanonicalReader::readKey() {
    constexpr std::size_t mostMissing = 2;
    Open& dictionary = _open.back();
    std::vector<KnownKey>& known = _likenesses[_open.size() - 1].keys;
    const std::size_t end = std::min(known.size(), dictionary.nextKey + mostMissing + 1);
    for (std::size_t index = dictionary.nextKey; index < end; ++index) {
        if (!take(known[index].written)) continue;
        _key = known[index].key;
        dictionary.nextKey = index + 1;
        return true;
    }
    const char* const begin = _next;
    std::string_view text;
    if (!readText(text) || !take("</key>")) return false;
    _key = PropertyList::Key(text);
    const std::string_view written(begin, static_cast<std::size_t>(_next - begin));
    const bool isAsWritten = written.find('>') == written.size() - 1;
    if (!isAsWritten) _keyBegin = nullptr;
    // The root has no other dictionary beside it. A ">" that is not a reference has to be found anew each
    // time, since it is not as we write it.
    if (_open.size() == 1 || !isAsWritten) return true;
    if (dictionary.nextKey < known.size())
        known[dictionary.nextKey] = {written, _key};
    else if (known.size() < mostChildrenExpected)
        known.push_back({written, _key});
    ++dictionary.nextKey;
    return true;
}

/// Reads the next tag inside a container, or the root, with its value.
bool CanonicalReader::readItem() {
    const std::size_t tabs = skipWhiteSpace();
    if (_end - _next < 3) return false;
    const bool isInDictionary = !_open.empty() && _open.back().isDictionary;
    if (_next[1] == '/') {
        if (_hasKey || _open.empty()) return false;
        if (tabs + 1 != _open.size()) differFromWritten();
        return close(isInDictionary);
    }
    _isLineAsWritten = tabs == _open.size();
    if (!_isLineAsWritten) differFromWritten();
    if (_next[1] == 'k') {
        _keyBegin = _isLineAsWritten ? _lineBegin : nullptr;
        if (!isInDictionary || _hasKey || !take("<key>") || !readKey()) return false;
        _hasKey = true;
        return true;
    }
    if (isInDictionary && !_hasKey) return false;
    return readScalar();
}

bool CanonicalReader::readScalar() {
    const auto textElement = [this](std::string_view begin, std::string_view end, std::string_view& text) {
        return take(begin) && readText(text) && take(end);
    };
    std::string_view text;
    std::string writtenText;
    switch (_next[1]) {
    case 's':
        return textElement("<string>", "</string>", text) &&
               add(PropertyList::validatedString(std::string(text)));
    case 'i': {
        if (!textElement("<integer>", "</integer>", text)) return false;
        std::optional<PropertyList> value = integerFromText(text);
        if (!value) return false;
        appendInteger(writtenText, *value);
        return addWrittenAs(writtenText, text, *std::move(value));
    }
    case 'r': {
        if (!textElement("<real>", "</real>", text)) return false;
        const std::optional<double> value = realFromText(text);
        if (!value) return false;
        appendReal(writtenText, *value);
        return addWrittenAs(writtenText, text, PropertyList::real(*value));
    }
    case 't':
        return take("<true/>") && add(PropertyList::boolean(true));
    case 'f':
        return take("<false/>") && add(PropertyList::boolean(false));
    case 'a':
        return take("<array>") ? open(false) : take("<array/>") && addEmpty(false);
    case 'd':
        break;
    default:
        return false;
    }
    if (take("<dict>")) return open(true);
    if (take("<data>")) return readData();
    if (take("<dict/>")) return addEmpty(true);
    if (!textElement("<date>", "</date>", text)) return false;
    const std::optional<PropertyList::Date> value = dateFromText(text);
    return value && appendDate(writtenText, *value) && addWrittenAs(writtenText, text, *value);
}

bool CanonicalReader::addWrittenAs(std::string_view writtenText, std::string_view text,
                                   PropertyList&& value) {
    if (text != writtenText) differFromWritten();
    return add(std::move(value));
}

bool CanonicalReader::readData() {
    const std::size_t tabs = skipWhiteSpace();
    const char* const begin = _next;
    const auto rest = [this] { return std::string_view(_next, static_cast<std::size_t>(_end - _next)); };
    _next += base64Loops().countDigits(rest());
    for (int padding = 0; padding < 2 && rest().starts_with('='); ++padding)
        ++_next;
    const std::string_view text(begin, static_cast<std::size_t>(_next - begin));
    const std::size_t closingTabs = text.empty() ? tabs : skipWhiteSpace();
    // All before the last group is digits.
    const std::string_view lastGroup = text.substr(text.size() - std::min<std::size_t>(text.size(), 4));
    if (text.size() % 4 == 0 && isCanonicalBase64(lastGroup) && take("</data>")) {
        if (tabs != _open.size() || closingTabs != _open.size()) differFromWritten();
        return add(_keeper ? KeptText::data(_keeper->part(text), bytesOfCanonicalBase64)
                           : PropertyList::Data(bytesOfCanonicalBase64(text)));
    }
    // The platform breaks it into lines.
    differFromWritten();
    _next = begin;
    const std::size_t length = std::min(rest().find('<'), rest().size());
    const std::string_view lines = rest().substr(0, length);
    if (!std::all_of(lines.begin(), lines.end(), isWhiteSpaceOrBase64)) return false;
    Base64Decoder decoder;
    decoder.append(lines);
    _next += length;
    return take("</data>") && add(PropertyList::Data(decoder.take()));
}

bool CanonicalReader::add(PropertyList&& value) {
    if (_open.empty()) {
        _root = std::move(value);
    } else if (_open.back().isDictionary) {
        _open.back().entries.emplace_back(std::move(_key), std::move(value));
        _hasKey = false;
    } else {
        _open.back().values.push_back(std::move(value));
    }
    return true;
}

bool CanonicalReader::open(bool isDictionary) {
    if (_open.size() == maximumPropertyListDepth) return false;
    const std::size_t depth = _open.size();
    const bool hasKeyLine = _hasKey && _keyBegin != nullptr;
    const std::size_t keyLineSize = hasKeyLine ? static_cast<std::size_t>(_lineBegin - _keyBegin) : 0;
    _open.push_back({isDictionary, _isLineAsWritten, _lineBegin, std::move(_key), keyLineSize, 0, {}, {}});
    _hasKey = false;
    if (_likenesses.size() == depth) _likenesses.emplace_back();
    if (isDictionary) _open.back().entries.reserve(std::min(_likenesses[depth].size, mostChildrenExpected));
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
    if (!isDictionary) {
        // Who changes an array's elements asks nobody, so that nothing around it is kept.
        differFromWritten();
        return add(std::move(closed.values));
    }
    _likenesses[_open.size()].size = closed.entries.size();
    // One without entries would have been one tag, and the line feed belongs to the last line.
    const bool isAsWritten = closed.isAsWritten && !closed.entries.empty() && _next != _end && *_next == '\n';
    bool areInOrder = false;
    auto dictionary = PropertyList::Dictionary::fromValidatedEntries(std::move(closed.entries), &areInOrder);
    if (!isAsWritten || !areInOrder) {
        differFromWritten();
    } else if (_keeper) {
        const auto length = static_cast<std::size_t>(_next + 1 - closed.begin);
        KeptText::WrittenForm form = {_keeper->part({closed.begin, length}), _open.size()};
        if (closed.keyLineSize != 0) {
            form.key = _key;
            form.keyLineSize = closed.keyLineSize;
        }
        KeptText::keep(dictionary, std::move(form));
    }
    return add(std::move(dictionary));
}

} // namespace

std::optional<PropertyList> propertyListFromCanonicalXML(std::string_view document) {
    return CanonicalReader(document, nullptr).read();
}

std::optional<PropertyList> propertyListKeepingCanonicalXML(const SharedBytes& document) {
    return CanonicalReader(document.view(), &document).read();
}

} // namespace mox
