#include "Formats/PropertyListReading.hpp"

#include "Formats/CanonicalPropertyListReading.hpp"
#include "Formats/TextEncoding.hpp"
#include "Formats/XMLPropertyListReading.hpp"

namespace mox {
namespace {

/// Whether a text begins as XML does. "<" may also open old-style data: what follows tells, since every name
/// of an XML property list's element holds a letter that is no hexadecimal digit.
bool looksLikeXML(std::string_view text) {
    const std::size_t start = text.find_first_not_of(" \t\r\n");
    if (start == std::string_view::npos || text[start] != '<') return false;
    text.remove_prefix(start + 1);
    if (text.starts_with('?') || text.starts_with('!')) return true;
    const auto lower = [](char character) { return static_cast<char>(character | 0x20); };
    for (const char character : text) {
        if (lower(character) < 'a' || lower(character) > 'z') return false;
        if (lower(character) > 'f') return true;
    }
    return false;
}

} // namespace

std::optional<PropertyList> propertyListFromBytes(ByteView bytes) {
    if (bytes.empty()) return std::nullopt;
    if (bytes.starts_with("bplist00")) return propertyListFromBinary(bytes);
    // Before anything is converted: XML may be in an encoding that only its declaration tells.
    if (looksLikeXML(bytes)) return propertyListFromXML(bytes);
    std::string storage;
    if (const auto document = utf8FromXML(bytes, storage); document && looksLikeXML(*document)) {
        return propertyListFromUTF8XML(*document);
    }
    return propertyListFromOldStyleText(bytes);
}

std::optional<PropertyList> propertyListKeepingBytes(const SharedBytes& bytes) {
    if (auto value = propertyListKeepingCanonicalXML(bytes)) return value;
    return propertyListFromBytes(bytes.view());
}

} // namespace mox
