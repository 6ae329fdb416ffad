#include "Formats/Base64.hpp"
#include "Formats/PlainText.hpp"
#include "Formats/PropertyListReading.hpp"
#include "Formats/PropertyListWriting.hpp"
#include "Formats/ScalarText.hpp"
#include "Foundation/BytesBuffer.hpp"
#include "Foundation/KeptText.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <set>
#include <string>
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

/// Where a text begins in its document.
std::size_t beginningOf(const SharedBytes& text) {
    return static_cast<std::size_t>(text.view().data() - text.whole().data());
}

/// Writes a tree in one walk, which ends at the first value that XML cannot carry.
///
/// Where the text of a dictionary is kept, or that of data, it is taken from there. What is in between, the
/// glue, is made new, but where neighbours stand in one document with the same glue between them, they are
/// taken together.
class XMLWriter {
public:
    /// The beginnings of documents.
    using Documents = std::set<const char*>;

    /// Writes all new.
    XMLWriter() = default;

    /// Uses the text that is kept, but none in the `abandoned` documents.
    explicit XMLWriter(Documents abandoned) : _usesKeptText(true), _abandoned(std::move(abandoned)) {}

    /// False when XML cannot carry the tree.
    bool write(const PropertyList& root);

    /// The documents that are kept in memory for too little of them, or for too little in each piece.
    Documents documentsToAbandon() const;

    /// The document, of which the new text is kept for the next time from now on.
    DocumentPieces keptPieces();

    /// The document when all of it is new.
    Bytes document() const { return Bytes(_text.view()); }

private:
    /// A container whose children are being written: an array's or a dictionary's, the other one is empty.
    struct Open {
        const PropertyList* value = nullptr;
        const PropertyList* valuesEnd = nullptr;
        const PropertyList::Entry* entry = nullptr;
        const PropertyList::Entry* entriesEnd = nullptr;
        const PropertyList::Entry* sampleEnd = nullptr;       ///< Null in a small dictionary.
        const PropertyList::Dictionary* dictionary = nullptr; ///< Null for an array.
        std::size_t textBegin = 0;
        std::size_t keptBefore = 0;
        bool canKeepText = false;
    };

    /// A part of a kept document, or of the new text when there is none.
    struct Piece {
        std::string_view document;
        std::size_t begin;
        std::size_t end;
        bool isData;
    };

    /// New text that can be kept for what it stands for.
    template<typename Value>
    struct Made {
        const Value* value;
        std::size_t begin;
        std::size_t end;
        std::size_t depth;
    };

    bool writeValue(const PropertyList& value);
    bool openArray(const PropertyList::Array& array);
    bool openDictionary(const PropertyList::Dictionary& dictionary);
    void open(Open container, std::string_view tag);
    bool writeChildren();
    void expectWhole(const Open& container);
    void close();
    void writeData(const PropertyList::Data& data);
    bool extendLastPiece(const PropertyList::Entry& entry);
    void appendKept(const SharedBytes& text, bool isData);
    std::size_t madeSize() const;
    void endTextPiece();
    char* indented(char* output) const;
    void appendLine(std::string_view line);
    template<std::size_t startSize, std::size_t endSize>
    bool writeElement(const char (&startTag)[startSize], std::string_view text,
                      const char (&endTag)[endSize]);
    bool appendEscaped(std::string_view text);
    /// The end of the new text that is to be kept.
    std::size_t endOfMade() const {
        return std::max(_madeDictionaries.empty() ? 0 : _madeDictionaries.back().end,
                        _madeData.empty() ? 0 : _madeData.back().end);
    }
    bool isUsable(const SharedBytes& text) const {
        return _usesKeptText && !_abandoned.contains(text.whole().data());
    }

    /// How many entries of a large dictionary tell how much all of them will take.
    static constexpr std::size_t entriesOfSample = 32;

    const bool _usesKeptText = false;
    const Documents _abandoned = {};
    BytesBuffer _text;
    std::vector<Open> _open;
    std::string _number;
    /// The last one is a kept document's; the text behind `_textBegin` is in none yet.
    std::vector<Piece> _pieces;
    std::size_t _textBegin = 0;
    /// How often kept text was used.
    std::size_t _keptCount = 0;
    std::vector<Made<PropertyList::Dictionary>> _madeDictionaries;
    std::vector<Made<PropertyList::Data>> _madeData;
};

bool XMLWriter::write(const PropertyList& root) {
    _text.append(documentStart);
    if (!writeValue(root)) return false;
    while (!_open.empty()) {
        if (!writeChildren()) return false;
    }
    _text.append(documentEnd);
    return true;
}

XMLWriter::Documents XMLWriter::documentsToAbandon() const {
    constexpr std::size_t mostPieces = 1024;
    constexpr std::size_t leastPieceSize = std::size_t{16} * 1024;
    struct Use {
        std::size_t size;
        std::size_t used;
    };
    std::map<const char*, Use> uses;
    std::size_t count = 0;
    std::size_t size = 0;
    for (const Piece& piece : _pieces) {
        if (piece.document.empty()) continue;
        const std::size_t pieceSize = piece.end - piece.begin;
        Use& use = uses.try_emplace(piece.document.data(), Use{piece.document.size(), 0}).first->second;
        use.used += pieceSize;
        if (piece.isData) continue;
        ++count;
        size += pieceSize;
    }
    const bool isScattered = count > mostPieces && size / count < leastPieceSize;
    Documents abandoned;
    for (const auto& [document, use] : uses) {
        if (isScattered || use.used < use.size / 2) abandoned.insert(document);
    }
    return abandoned;
}

/// How much of the new text stands for something for which it can be kept.
std::size_t XMLWriter::madeSize() const {
    std::vector<std::pair<std::size_t, std::size_t>> parts;
    for (const auto& made : _madeDictionaries)
        parts.emplace_back(made.begin, made.end);
    for (const auto& made : _madeData)
        parts.emplace_back(made.begin, made.end);
    std::sort(parts.begin(), parts.end());
    std::size_t size = 0;
    std::size_t end = 0;
    for (const auto& part : parts) {
        if (part.second <= end) continue;
        size += part.second - std::max(part.first, end);
        end = part.second;
    }
    return size;
}

DocumentPieces XMLWriter::keptPieces() {
    endTextPiece();
    // What is mostly glue would be abandoned at once.
    const bool isWorthKeeping = madeSize() >= _text.size() / 2;
    DocumentPieces result;
    result.newText = _text.take();
    const std::string_view text = result.newText.view();
    for (const Piece& piece : _pieces) {
        const std::string_view document = piece.document.empty() ? text : piece.document;
        result.pieces.push_back(document.substr(piece.begin, piece.end - piece.begin));
    }
    if (!isWorthKeeping) return result;
    const auto partOf = [&](const auto& made) {
        return result.newText.part(text.substr(made.begin, made.end - made.begin));
    };
    for (const auto& made : _madeDictionaries)
        KeptText::keep(*made.value, {partOf(made), made.depth});
    for (const auto& made : _madeData)
        KeptText::move(*made.value, partOf(made));
    return result;
}

/// Takes an entry whose dictionary stands in its document right behind the last piece, with nothing but the
/// line of the entry's key between them; whether it does. The same as to write the key and to compare, but
/// without a look at key and document, most of whose time is waiting for memory.
bool XMLWriter::extendLastPiece(const PropertyList::Entry& entry) {
    // A document of which there is a piece may be used, and where no new text waits, none is lost.
    if (_pieces.empty() || _text.size() != _textBegin) return false;
    const PropertyList::Dictionary* const dictionary = entry.value.dictionary();
    const KeptText::WrittenForm* const form = dictionary ? KeptText::of(*dictionary) : nullptr;
    if (!form || form->depth != _open.size() || !form->key.isSharedWith(entry.key)) return false;
    Piece& last = _pieces.back();
    const std::size_t begin = beginningOf(form->text);
    const bool isInOneDocument = last.document.data() == form->text.whole().data();
    if (!isInOneDocument || last.end + form->keyLineSize != begin) return false;
    last.end = begin + form->text.view().size();
    ++_keptCount;
    return true;
}

void XMLWriter::appendKept(const SharedBytes& text, bool isData) {
    const std::string_view document = text.whole();
    const std::size_t begin = beginningOf(text);
    const std::size_t end = begin + text.view().size();
    ++_keptCount;
    if (!_pieces.empty()) {
        Piece& last = _pieces.back();
        const std::string_view glue = _text.view().substr(_textBegin);
        const bool isGlueKept = endOfMade() > _textBegin;
        if (last.document.data() == document.data() && last.end + glue.size() == begin && !isGlueKept &&
            document.substr(last.end, glue.size()) == glue) {
            _text.truncate(_textBegin);
            last.end = end;
            return;
        }
    }
    endTextPiece();
    _pieces.push_back({document, begin, end, isData});
}

void XMLWriter::endTextPiece() {
    if (_text.size() != _textBegin) _pieces.push_back({{}, _textBegin, _text.size(), false});
    _textBegin = _text.size();
}

/// Writes the indentation, for which there must be room and a block more; returns its end.
char* XMLWriter::indented(char* output) const {
    for (std::size_t count = 0; count < _open.size(); count += textBlockSize)
        std::memset(output + count, '\t', textBlockSize);
    return output + _open.size();
}

void XMLWriter::appendLine(std::string_view line) {
    char* const begin = _text.room(_open.size() + textBlockSize + line.size());
    char* const end = indented(begin);
    std::memcpy(end, line.data(), line.size());
    _text.extend(static_cast<std::size_t>(end - begin) + line.size());
}

/// Appends `text` with its escapes. False when XML cannot carry a character of it.
bool XMLWriter::appendEscaped(std::string_view text) {
    std::size_t start = 0;
    for (std::size_t index = 0; index < text.size(); ++index) {
        switch (classOf(text[index])) {
        case ByteClass::Plain:
            break;
        case ByteClass::Forbidden:
            return false;
        case ByteClass::Escaped:
            _text.append(text.substr(start, index - start));
            _text.append(escaped(text[index]));
            start = index + 1;
            break;
        case ByteClass::MayBeginForbidden: {
            const std::string_view character = text.substr(index, 3);
            if (character == "\xEF\xBF\xBE" || character == "\xEF\xBF\xBF") return false;
            break;
        }
        }
    }
    _text.append(text.substr(start));
    return true;
}

/// A line with `text` in it, written without a look at the buffer's size for each part.
template<std::size_t startSize, std::size_t endSize>
bool XMLWriter::writeElement(const char (&startTag)[startSize], std::string_view text,
                             const char (&endTag)[endSize]) {
    char* const begin = _text.room(_open.size() + startSize + text.size() + endSize + textBlockSize);
    char* output = indented(begin);
    std::memcpy(output, startTag, startSize - 1);
    output += startSize - 1;
    text.copy(output, text.size());
    // Behind the copy there is room for blanks, so that a text of any size can be looked at by whole blocks.
    std::memset(output + text.size(), ' ', textBlockSize);
    std::size_t plain = 0;
    for (std::size_t count = textBlockSize; plain < text.size() && count == textBlockSize; plain += count)
        count = plainBytesOfBlock(output + plain);
    if (plain < text.size()) {
        _text.extend(static_cast<std::size_t>(output - begin) + plain);
        if (!appendEscaped(text.substr(plain))) return false;
        _text.append({endTag, endSize - 1});
        return true;
    }
    output += text.size();
    std::memcpy(output, endTag, endSize - 1);
    _text.extend(static_cast<std::size_t>(output - begin) + endSize - 1);
    return true;
}

/// Makes room for the whole of a dictionary when a sample of it has been written, since in one that is large
/// the entries are alike. It is for a quarter more: memory that is never written costs nothing. The limit is
/// for a sample that is not like the rest.
void XMLWriter::expectWhole(const Open& container) {
    constexpr std::uint64_t limit = std::uint64_t{1} << 30U;
    // Where kept text was taken, little is made, and some of it may have been dropped again.
    if (container.keptBefore != _keptCount) return;
    const std::uint64_t sample = _text.size() - container.textBegin;
    const std::uint64_t samples = container.dictionary->size() / entriesOfSample + 1;
    const std::uint64_t whole = container.textBegin + sample * (samples + samples / 4);
    _text.expect(static_cast<std::size_t>(std::min(whole, limit)));
}

bool XMLWriter::writeChildren() {
    const std::size_t depth = _open.size();
    while (_open.size() == depth) {
        Open& container = _open.back();
        if (container.entry != container.entriesEnd) {
            if (container.entry == container.sampleEnd) expectWhole(container);
            const PropertyList::Entry& entry = *container.entry++;
            if (extendLastPiece(entry)) continue;
            if (!writeElement("<key>", entry.key, "</key>\n") || !writeValue(entry.value)) return false;
        } else if (container.value != container.valuesEnd) {
            if (!writeValue(*container.value++)) return false;
        } else {
            close();
        }
    }
    return true;
}

void XMLWriter::open(Open container, std::string_view tag) {
    container.textBegin = _text.size();
    container.keptBefore = _keptCount;
    appendLine(tag);
    _open.push_back(container);
}

void XMLWriter::close() {
    const Open closed = _open.back();
    _open.pop_back();
    appendLine(closed.dictionary ? "</dict>\n" : "</array>\n");
    // An array never can, nor what is around it: who changes its elements asks nobody.
    const bool canKeepText = closed.canKeepText && closed.keptBefore == _keptCount;
    if (canKeepText)
        _madeDictionaries.push_back({closed.dictionary, closed.textBegin, _text.size(), _open.size()});
    else if (!_open.empty())
        _open.back().canKeepText = false;
}

bool XMLWriter::openArray(const PropertyList::Array& array) {
    if (_open.size() == maximumPropertyListDepth) return false;
    if (array.empty()) {
        appendLine("<array/>\n");
    } else {
        open({.value = array.data(), .valuesEnd = array.data() + array.size()}, "<array>\n");
    }
    return true;
}

bool XMLWriter::openDictionary(const PropertyList::Dictionary& dictionary) {
    if (_open.size() == maximumPropertyListDepth) return false;
    const KeptText::WrittenForm* form = KeptText::of(dictionary);
    if (form && form->depth == _open.size() && isUsable(form->text)) {
        appendKept(form->text, false);
        return true;
    }
    const bool canKeepText = _usesKeptText && KeptText::canBeKept(dictionary);
    if (!dictionary.empty()) {
        open({.entry = dictionary.begin(),
              .entriesEnd = dictionary.end(),
              .sampleEnd =
                  dictionary.size() > entriesOfSample ? dictionary.begin() + entriesOfSample : nullptr,
              .dictionary = &dictionary,
              .canKeepText = canKeepText},
             "<dict>\n");
        return true;
    }
    if (!canKeepText && !_open.empty()) _open.back().canKeepText = false;
    appendLine("<dict/>\n");
    return true;
}

/// Base64 on one line: at the depths of a real store the usual lines would be more indentation than content.
void XMLWriter::writeData(const PropertyList::Data& data) {
    constexpr std::size_t leastPieceSize = 1024;
    appendLine("<data>\n");
    const SharedBytes* const text = KeptText::of(data);
    const bool isEmpty = text ? text->view().empty() : data.bytes().empty();
    if (!isEmpty) {
        _text.append(_open.size(), '\t');
        const std::size_t begin = _text.size();
        if (!text) {
            const std::size_t size = base64Size(data.bytes().size());
            encodeBase64(data.bytes(), _text.room(size));
            _text.extend(size);
        } else if (text->view().size() >= leastPieceSize && isUsable(*text)) {
            appendKept(*text, true);
        } else {
            _text.append(text->view());
            if (_usesKeptText) _madeData.push_back({&data, begin, _text.size(), 0});
        }
        _text.append("\n");
    }
    appendLine("</data>\n");
}

bool XMLWriter::writeValue(const PropertyList& value) {
    switch (value.kind()) {
    case PropertyList::Kind::Boolean:
        appendLine(*value.boolean() ? "<true/>\n" : "<false/>\n");
        return true;
    case PropertyList::Kind::Integer:
        _number.clear();
        appendInteger(_number, value);
        return writeElement("<integer>", _number, "</integer>\n");
    case PropertyList::Kind::Real:
        _number.clear();
        appendReal(_number, *value.real());
        return writeElement("<real>", _number, "</real>\n");
    case PropertyList::Kind::Date:
        _number.clear();
        return appendDate(_number, *value.date()) && writeElement("<date>", _number, "</date>\n");
    case PropertyList::Kind::UID:
        return false;
    case PropertyList::Kind::String:
        return writeElement("<string>", *value.string(), "</string>\n");
    case PropertyList::Kind::Data:
        writeData(*value.data());
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
    return writer.document();
}

std::optional<DocumentPieces> xmlPiecesOfPropertyList(const PropertyList& value) {
    XMLWriter writer{XMLWriter::Documents()};
    if (!writer.write(value)) return std::nullopt;
    const XMLWriter::Documents abandoned = writer.documentsToAbandon();
    if (abandoned.empty()) return writer.keptPieces();
    XMLWriter replacing{abandoned};
    replacing.write(value);
    return replacing.keptPieces();
}

} // namespace mox
