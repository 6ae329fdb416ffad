#include "Formats/PropertyListWriting.hpp"

namespace mox {

std::optional<Bytes> storedFormOfPropertyList(const PropertyList& value) {
    if (auto document = xmlFromPropertyList(value)) return document;
    return binaryFromPropertyList(value);
}

} // namespace mox
