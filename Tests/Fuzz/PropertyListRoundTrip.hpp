#pragma once

#include "Formats/PropertyListReading.hpp"
#include "Formats/PropertyListWriting.hpp"

#include <cstdlib>

namespace mox::fuzz {

/// Ends the process, which is how a fuzzer reports, unless `holds`.
inline void require(bool holds) {
    if (!holds) std::abort();
}

/// Requires that what a reader accepted can be stored, and that what is stored reads back as what it was. XML
/// drops fractions of seconds, so that its text is compared where values might differ.
inline void requireRoundTrip(const PropertyList& value) {
    const auto binary = binaryFromPropertyList(value);
    require(binary.has_value());
    require(propertyListFromBytes(*binary) == value);
    require(storedFormOfPropertyList(value).has_value());
    if (const auto document = xmlFromPropertyList(value)) {
        const auto read = propertyListFromBytes(*document);
        require(read.has_value());
        require(xmlFromPropertyList(*read) == document);
    }
}

} // namespace mox::fuzz
