#pragma once

#include "Foundation/Bytes.hpp"
#include "Foundation/PropertyList.hpp"

#include <optional>

namespace mox {

/// The form in which a dictionary is stored in a file: XML, or binary when a text or key in it holds a
/// character that XML cannot carry, so that what is read back is always what was written. Nil when `value` is
/// nested deeper than `maximumPropertyListDepth` (a reader would refuse it).
std::optional<Bytes> storedFormOfPropertyList(const PropertyList& value);

/// The XML form. The layout is the platform's, to the byte: tabs, keys in UTF-16 order, empty containers as
/// one tag; but data stands on one line, and a carriage return is written as `&#13;`, so that it survives.
/// Nil when a text or key holds a character that XML cannot carry, or on excessive depth, or when there is a
/// UID.
std::optional<Bytes> xmlFromPropertyList(const PropertyList& value);

/// The binary form ("bplist00"). Nil on excessive depth.
std::optional<Bytes> binaryFromPropertyList(const PropertyList& value);

} // namespace mox
