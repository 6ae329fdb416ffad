#include "Formats/StringsFile.hpp"

#include "Formats/PropertyListReading.hpp"

#include <utility>

namespace mox {

std::optional<std::map<std::string, std::string, std::less<>>> stringsFromBytes(ByteView bytes) {
    const auto content = propertyListFromBytes(bytes);
    const PropertyList::Dictionary* entries = content ? content->dictionary() : nullptr;
    if (entries == nullptr) return std::nullopt;
    std::map<std::string, std::string, std::less<>> strings;
    for (const PropertyList::Entry& entry : *entries) {
        const std::string* text = entry.value.string();
        if (text == nullptr) return std::nullopt;
        strings.emplace(entry.key, *text);
    }
    return strings;
}

} // namespace mox
