#include "Formats/Base64.hpp"
#include "Formats/PropertyListReading.hpp"
#include "Formats/PropertyListWriting.hpp"
#include "Formats/ScalarText.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

namespace mox {
namespace {

constexpr std::string_view documentStart = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                                           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                                           "<plist version=\"1.0\">\n";
constexpr std::string_view documentEnd = "</plist>\n";

enum class ByteClass : std::uint8_t { Plain, Escaped, Forbidden, MayBeginForbidden };

constexpr std::array<ByteClass, 256> byteClasses = [] {
    std::array<ByteClass, 256> classes{};
    for (std::size_t control = 0; control < 0x20; ++control)
        classes[control] = ByteClass::Forbidden;
    classes['\t'] = ByteClass::Plain;
    classes['\n'] = ByteClass::Plain;
    // A reader turns a bare carriage return into a line feed.
    classes['\r'] = ByteClass::Escaped;
    classes['&'] = ByteClass::Escaped;
    classes['<'] = ByteClass::Escaped;
    classes['>'] = ByteClass::Escaped;
    // The first byte of U+FFFE and U+FFFF.
    classes[0xEF] = ByteClass::MayBeginForbidden;
    return classes;
}();

ByteClass classOf(char character) {
    return byteClasses[static_cast<std::uint8_t>(character)];
}

std::string_view escaped(char character) {
    switch (character) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    default:
        return "&#13;";
    }
}

/// Appends `text` with its escapes. False when XML cannot carry a character of it.
bool appendText(std::string& output, std::string_view text) {
    std::size_t start = 0;
    for (std::size_t index = 0; index < text.size(); ++index) {
        switch (classOf(text[index])) {
        case ByteClass::Plain:
            break;
        case ByteClass::Forbidden:
            return false;
        case ByteClass::Escaped:
            output.append(text, start, index - start).append(escaped(text[index]));
            start = index + 1;
            break;
        case ByteClass::MayBeginForbidden: {
            const std::string_view character = text.substr(index, 3);
            if (character == "\xEF\xBF\xBE" || character == "\xEF\xBF\xBF") return false;
            break;
        }
        }
    }
    output.append(text, start);
    return true;
}

/// Writes a tree in one walk, which ends at the first value that XML cannot carry.
class XMLWriter {
public:
    bool write(const PropertyList& root);
    Bytes takeDocument() { return std::move(_document); }

private:
    /// A container whose children are being written: an array's or a dictionary's, the other one is empty.
    struct Open {
        const PropertyList* value = nullptr;
        const PropertyList* valuesEnd = nullptr;
        const PropertyList::Entry* entry = nullptr;
        const PropertyList::Entry* entriesEnd = nullptr;
        bool isArray = false;
    };

    bool writeValue(const PropertyList& value);
    bool openArray(const PropertyList::Array& array);
    bool openDictionary(const PropertyList::Dictionary& dictionary);
    bool open(const Open& container, std::string_view tag);
    bool writeNextChild();
    void writeData(ByteView bytes);
    void indent() { _document.append(_open.size(), '\t'); }

    Bytes _document;
    std::vector<Open> _open;
};

bool XMLWriter::write(const PropertyList& root) {
    _document += documentStart;
    if (!writeValue(root)) return false;
    while (!_open.empty()) {
        if (!writeNextChild()) return false;
    }
    _document += documentEnd;
    return true;
}

bool XMLWriter::writeNextChild() {
    Open& container = _open.back();
    if (container.value != container.valuesEnd) return writeValue(*container.value++);
    if (container.entry != container.entriesEnd) {
        const PropertyList::Entry& entry = *container.entry++;
        indent();
        _document += "<key>";
        if (!appendText(_document, entry.key)) return false;
        _document += "</key>\n";
        return writeValue(entry.value);
    }
    const std::string_view endTag = container.isArray ? "</array>\n" : "</dict>\n";
    _open.pop_back();
    indent();
    _document += endTag;
    return true;
}

bool XMLWriter::open(const Open& container, std::string_view tag) {
    _document += tag;
    _open.push_back(container);
    return true;
}

bool XMLWriter::openArray(const PropertyList::Array& array) {
    if (_open.size() == maximumPropertyListDepth) return false;
    if (array.empty()) {
        _document += "<array/>\n";
        return true;
    }
    return open({array.data(), array.data() + array.size(), nullptr, nullptr, true}, "<array>\n");
}

bool XMLWriter::openDictionary(const PropertyList::Dictionary& dictionary) {
    if (_open.size() == maximumPropertyListDepth) return false;
    if (dictionary.empty()) {
        _document += "<dict/>\n";
        return true;
    }
    return open({nullptr, nullptr, dictionary.begin(), dictionary.end(), false}, "<dict>\n");
}

/// Base64 on one line: at the depths of a real store the usual lines would be more indentation than content.
void XMLWriter::writeData(ByteView bytes) {
    _document += "<data>\n";
    if (!bytes.empty()) {
        indent();
        appendBase64(_document, bytes);
        _document += '\n';
    }
    indent();
    _document += "</data>\n";
}

bool XMLWriter::writeValue(const PropertyList& value) {
    indent();
    switch (value.kind()) {
    case PropertyList::Kind::Boolean:
        _document += *value.boolean() ? "<true/>\n" : "<false/>\n";
        return true;
    case PropertyList::Kind::Integer:
        _document += "<integer>";
        appendInteger(_document, value);
        _document += "</integer>\n";
        return true;
    case PropertyList::Kind::Real:
        _document += "<real>";
        appendReal(_document, *value.real());
        _document += "</real>\n";
        return true;
    case PropertyList::Kind::Date:
        _document += "<date>";
        if (!appendDate(_document, *value.date())) return false;
        _document += "</date>\n";
        return true;
    case PropertyList::Kind::UID:
        return false;
    case PropertyList::Kind::String:
        _document += "<string>";
        if (!appendText(_document, *value.string())) return false;
        _document += "</string>\n";
        return true;
    case PropertyList::Kind::Data:
        writeData(value.data()->bytes());
        return true;
    case PropertyList::Kind::Array:
        return openArray(*value.array());
    case PropertyList::Kind::Dictionary:
        return openDictionary(*value.dictionary());
    }
    return false;
}

} // namespace

std::optional<Bytes> xmlFromPropertyList(const PropertyList& value) {
    XMLWriter writer;
    if (!writer.write(value)) return std::nullopt;
    return writer.takeDocument();
}

} // namespace mox
