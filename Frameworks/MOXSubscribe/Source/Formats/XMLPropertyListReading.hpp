#pragma once

#include "Foundation/PropertyList.hpp"

#include <optional>
#include <string_view>

namespace mox {

/// The property list in an XML document that is UTF-8 already, whatever encoding it declares. Nil as for
/// `propertyListFromXML`.
std::optional<PropertyList> propertyListFromUTF8XML(std::string_view document);

/// The same by the general parser alone, which takes every form of XML.
std::optional<PropertyList> propertyListFromGeneralXML(std::string_view document);

} // namespace mox
