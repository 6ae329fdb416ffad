#pragma once

#include "Foundation/PropertyList.hpp"

#include <optional>
#include <string_view>

namespace mox {

// Dictionaries kept in property-list files. Neither logs; why something failed is not told.

/// The dictionary in the property list, of any form, at `path`; nil when the file cannot be read or holds
/// none. Nothing on the disk is changed.
std::optional<PropertyList::Dictionary> dictionaryWithContentsOfFile(std::string_view path);

/// Writes `dictionary` to the file at `path`, as an XML property list (binary when a text in it cannot be
/// carried by XML); whether it did. Atomically: at every instant, and after a failure, the file is the old or
/// the new one, whole. Otherwise it is written in place and may be short after a failure.
bool writeDictionaryToFile(PropertyList::Dictionary dictionary, std::string_view path, bool atomically);

} // namespace mox
