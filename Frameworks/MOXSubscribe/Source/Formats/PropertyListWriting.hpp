#pragma once

#include "Foundation/Bytes.hpp"
#include "Foundation/PropertyList.hpp"
#include "Foundation/SharedBytes.hpp"

#include <optional>
#include <vector>

namespace mox {

/// The form in which a dictionary is stored in a file: XML, or binary when it holds what XML cannot
/// carry (a character in a text or key, a date outside the years 1 to 9999, a UID), so that what is read back
/// is always what was written, but for the fractions of seconds of dates in XML. Nil when `value` is nested
/// deeper than `maximumPropertyListDepth` (a reader would refuse it).
std::optional<Bytes> storedFormOfPropertyList(const PropertyList& value);

/// A document in pieces, one behind the other. They hold until this object or the tree that was written
/// changes.
struct DocumentPieces {
    std::vector<ByteView> pieces;
    /// The part of the document that was not in memory before.
    SharedBytes newText;
};

/// The same, byte for byte, in pieces that were in memory already as far as possible. What is made new is
/// kept in memory for the next time, and whatever of it and of older documents is needed no more is given up
/// when it has become more than half of one. `value` stays the same, but it must belong to the calling thread
/// alone.
std::optional<DocumentPieces> storedPiecesOfPropertyList(const PropertyList& value);

/// The XML form. The layout is the platform's, to the byte: tabs, keys in UTF-16 order, empty containers as
/// one tag; but data stands on one line, and a carriage return is written as `&#13;`, so that it survives.
/// Dates are written in whole seconds, rounded down. Nil when a text or key holds a character that XML cannot
/// carry, a date lies outside the years 1 to 9999, there is a UID, or on excessive depth.
std::optional<Bytes> xmlFromPropertyList(const PropertyList& value);

/// The XML form in pieces, as `storedPiecesOfPropertyList` makes them.
std::optional<DocumentPieces> xmlPiecesOfPropertyList(const PropertyList& value);

/// The binary form ("bplist00"). Nil on excessive depth.
std::optional<Bytes> binaryFromPropertyList(const PropertyList& value);

} // namespace mox
