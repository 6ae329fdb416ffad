#pragma once

#include "Foundation/PropertyList.hpp"

#include <optional>
#include <string_view>

namespace mox {

/// The property list in `document` when that has exactly the form in which the platform and we write XML
/// property lists: their head, no comments, no attributes, and only the character references that writing
/// needs. It is read in place, several times faster than by a general parser, and gives the same value.
///
/// Nil says nothing about a document but that the general reader has to judge it, damaged ones included.
std::optional<PropertyList> propertyListFromCanonicalXML(std::string_view document);

/// The same; what the value holds refers to the document, which stays in memory as long as it is needed: data
/// is not decoded before it is asked for, and each dictionary that stands there exactly as we write it keeps
/// its text.
std::optional<PropertyList> propertyListKeepingCanonicalXML(const SharedBytes& document);

} // namespace mox
