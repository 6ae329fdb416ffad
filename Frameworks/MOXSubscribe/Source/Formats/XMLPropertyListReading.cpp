#include "Formats/XMLPropertyListReading.hpp"

#include "Formats/Base64.hpp"
#include "Formats/CanonicalPropertyListReading.hpp"
#include "Formats/PropertyListBuilder.hpp"
#include "Formats/PropertyListReading.hpp"
#include "Formats/ScalarText.hpp"
#include "Formats/TextEncoding.hpp"

#include <expat.h>

#include <algorithm>
#include <array>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <utility>

namespace mox {
namespace {

enum class Element {
    None,
    PropertyList,
    Dictionary,
    Array,
    Key,
    String,
    Data,
    Date,
    Integer,
    Real,
    True,
    False
};

Element elementNamed(std::string_view name) {
    struct Name {
        std::string_view name;
        Element element;
    };
    // The frequent ones first.
    static constexpr std::array names = {
        Name{"key", Element::Key},
        Name{"string", Element::String},
        Name{"dict", Element::Dictionary},
        Name{"integer", Element::Integer},
        Name{"data", Element::Data},
        Name{"array", Element::Array},
        Name{"true", Element::True},
        Name{"false", Element::False},
        Name{"real", Element::Real},
        Name{"date", Element::Date},
        Name{"plist", Element::PropertyList},
    };
    for (const Name& candidate : names) {
        if (candidate.name == name) return candidate.element;
    }
    return Element::None;
}

bool isWhiteSpace(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char character) {
        return character == '\t' || character == '\n' || character == ' ' || character == '\r';
    });
}

/// Receives the parser's events. Nesting takes no stack: open containers are the builder's, and of the other
/// elements only one can be open.
class XMLReader {
public:
    std::optional<PropertyList> read(std::string_view document);

private:
    static void startElement(void* reader, const XML_Char* name, const XML_Char** attributes);
    static void endElement(void* reader, const XML_Char* name);
    static void characters(void* reader, const XML_Char* text, int length);
    static void entityDeclaration(void* reader, const XML_Char* name, int isParameterEntity,
                                  const XML_Char* value, int valueLength, const XML_Char* base,
                                  const XML_Char* systemIdentifier, const XML_Char* publicIdentifier,
                                  const XML_Char* notation);
    static void attributeDeclaration(void* reader, const XML_Char* element, const XML_Char* attribute,
                                     const XML_Char* type, const XML_Char* value, int isRequired);
    static void skippedEntity(void* reader, const XML_Char* name, int isParameterEntity);

    void refuse();
    /// Takes one of the parser's events by `step`, whose result is whether it can be borne. What it throws
    /// waits until the parser has returned: nothing may pass through the parser itself.
    template<typename Step>
    void take(Step step);
    bool start(Element element);
    bool end(Element element);
    bool addText(std::string_view text);
    bool addScalar(std::optional<PropertyList> value) {
        return value && _builder.addValue(*std::move(value));
    }

    XML_Parser _parser = nullptr;
    PropertyListBuilder _builder;
    /// The open element that holds text or nothing, of which there is at most one.
    Element _scalar = Element::None;
    std::string _text;
    Base64Decoder _data;
    bool _hasRoot = false;
    bool _isRefused = false;
    std::exception_ptr _thrown;
};

std::optional<PropertyList> XMLReader::read(std::string_view document) {
    const auto parser = std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)>(
        XML_ParserCreate("UTF-8"), &XML_ParserFree);
    if (!parser) throw std::bad_alloc();
    _parser = parser.get();
    XML_SetUserData(_parser, this);
    XML_SetElementHandler(_parser, startElement, endElement);
    XML_SetCharacterDataHandler(_parser, characters);
    // Without these two, a declared entity may expand without end, and an undeclared one vanishes silently.
    XML_SetEntityDeclHandler(_parser, entityDeclaration);
    XML_SetSkippedEntityHandler(_parser, skippedEntity);
    // The parser gives each element all attributes that were declared for it, which takes the product of
    // both.
    XML_SetAttlistDeclHandler(_parser, attributeDeclaration);
    // The parser's lengths are of type int.
    constexpr std::size_t largestPiece = std::size_t{1} << 30;
    do {
        const std::string_view piece = document.substr(0, largestPiece);
        document.remove_prefix(piece.size());
        const int isLast = document.empty() ? 1 : 0;
        if (XML_Parse(_parser, piece.data(), static_cast<int>(piece.size()), isLast) != XML_STATUS_OK) {
            if (_thrown) std::rethrow_exception(_thrown);
            // What could not be read for want of memory must not be taken for damaged.
            if (XML_GetErrorCode(_parser) == XML_ERROR_NO_MEMORY) throw std::bad_alloc();
            return std::nullopt;
        }
    } while (!document.empty());
    return _isRefused ? std::nullopt : _builder.finish();
}

void XMLReader::refuse() {
    _isRefused = true;
    XML_StopParser(_parser, XML_FALSE);
}

template<typename Step>
void XMLReader::take(Step step) {
    // The parser may deliver an empty element's end after it was told to stop.
    if (_isRefused) return;
    try {
        if (!step()) refuse();
    } catch (...) {
        _thrown = std::current_exception();
        refuse();
    }
}

void XMLReader::startElement(void* reader, const XML_Char* name, const XML_Char**) {
    auto& self = *static_cast<XMLReader*>(reader);
    self.take([&] { return self.start(elementNamed(name)); });
}

void XMLReader::endElement(void* reader, const XML_Char* name) {
    auto& self = *static_cast<XMLReader*>(reader);
    self.take([&] { return self.end(elementNamed(name)); });
}

void XMLReader::characters(void* reader, const XML_Char* text, int length) {
    auto& self = *static_cast<XMLReader*>(reader);
    self.take([&] { return self.addText({text, static_cast<std::size_t>(length)}); });
}

void XMLReader::entityDeclaration(void* reader, const XML_Char*, int, const XML_Char*, int, const XML_Char*,
                                  const XML_Char*, const XML_Char*, const XML_Char*) {
    static_cast<XMLReader*>(reader)->refuse();
}

void XMLReader::attributeDeclaration(void* reader, const XML_Char*, const XML_Char*, const XML_Char*,
                                     const XML_Char*, int) {
    static_cast<XMLReader*>(reader)->refuse();
}

void XMLReader::skippedEntity(void* reader, const XML_Char*, int) {
    static_cast<XMLReader*>(reader)->refuse();
}

bool XMLReader::start(Element element) {
    if (_scalar != Element::None) return false;
    const bool isRoot = !std::exchange(_hasRoot, true);
    switch (element) {
    case Element::None:
        return false;
    case Element::PropertyList:
        return isRoot;
    case Element::Array:
        return _builder.beginContainer(PropertyListBuilder::Container::Array);
    case Element::Dictionary:
        return _builder.beginContainer(PropertyListBuilder::Container::Dictionary);
    default:
        _scalar = element;
        return element == Element::Key ? _builder.acceptsKey() : _builder.acceptsValue();
    }
}

bool XMLReader::addText(std::string_view text) {
    switch (_scalar) {
    case Element::None:
    case Element::True:
    case Element::False:
        return isWhiteSpace(text);
    case Element::Data:
        _data.append(text);
        return true;
    default:
        _text.append(text);
        return true;
    }
}

bool XMLReader::end(Element element) {
    _scalar = Element::None;
    switch (element) {
    case Element::None:
    case Element::PropertyList:
        return true;
    case Element::Array:
    case Element::Dictionary:
        return _builder.endContainer();
    case Element::True:
        return _builder.addValue(PropertyList::boolean(true));
    case Element::False:
        return _builder.addValue(PropertyList::boolean(false));
    case Element::Data:
        return _builder.addValue(PropertyList::Data(_data.take()));
    default:
        break;
    }
    // Text that the parser passes on is well-formed UTF-8.
    std::string text = std::exchange(_text, {});
    switch (element) {
    case Element::Key:
        return _builder.addKey(text);
    case Element::String:
        return _builder.addValue(PropertyList::validatedString(std::move(text)));
    case Element::Integer:
        return addScalar(integerFromText(text));
    case Element::Date:
        return addScalar(dateFromText(text));
    default: {
        const auto value = realFromText(text);
        return value && _builder.addValue(PropertyList::real(*value));
    }
    }
}

} // namespace

std::optional<PropertyList> propertyListFromUTF8XML(std::string_view document) {
    if (auto value = propertyListFromCanonicalXML(document)) return value;
    return propertyListFromGeneralXML(document);
}

std::optional<PropertyList> propertyListFromGeneralXML(std::string_view document) {
    return document.empty() ? std::nullopt : XMLReader().read(document);
}

std::optional<PropertyList> propertyListFromXML(ByteView bytes) {
    // Nearly all files have the canonical form, whose head tells that they are UTF-8.
    if (auto value = propertyListFromCanonicalXML(bytes)) return value;
    std::string storage;
    const auto document = utf8FromXML(bytes, storage);
    return document ? propertyListFromGeneralXML(*document) : std::nullopt;
}

} // namespace mox
