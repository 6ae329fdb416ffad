#pragma once

#include "Foundation/Bytes.hpp"
#include "Foundation/PropertyList.hpp"
#include "Foundation/SharedBytes.hpp"

#include <cstddef>
#include <optional>

namespace mox {

/// How deep containers may be nested in what is read or written: deep enough for 5,000 folders in each other,
/// and low enough that the indentation of the XML form, which grows with the square of the depth, stays
/// within what a disk and a process can hold. The root is level 1.
inline constexpr std::size_t maximumPropertyListDepth = 10'240;

/// The property list that `bytes` hold in the XML, the binary ("bplist00") or the old-style text form, found
/// out from the bytes themselves. Nil when they hold none, are damaged, are empty, are nested deeper than
/// `maximumPropertyListDepth`, or expand beyond reason. White space and comments alone, in the old-style
/// form, are an empty dictionary.
std::optional<PropertyList> propertyListFromBytes(ByteView bytes);

/// The same. The value may keep the bytes in memory, so that what it holds is made of them only when it is
/// asked for, and need not be made again when it is written.
std::optional<PropertyList> propertyListKeepingBytes(const SharedBytes& bytes);

/// The forms one by one, each nil as above.
std::optional<PropertyList> propertyListFromXML(ByteView bytes);
std::optional<PropertyList> propertyListFromBinary(ByteView bytes);
std::optional<PropertyList> propertyListFromOldStyleText(ByteView bytes);

} // namespace mox
