#pragma once

#include <cstddef>
#include <string_view>

namespace mox {

// What the reader and the writer of the binary form agree on.

/// How a binary property list begins.
inline constexpr std::string_view binaryPropertyListMagic = "bplist00";

/// The trailer at the end of the file: six bytes of no use here, the sizes of offsets and of references, one
/// byte each, then the number of objects, the root object and the place of the offset table, eight bytes
/// each.
inline constexpr std::size_t binaryPropertyListTrailerSize = 32;

/// The first half of an object's first byte tells its kind; the other half its size, or its value.
enum class BinaryMarker : unsigned {
    Simple = 0x0,
    Integer = 0x1,
    Real = 0x2,
    Date = 0x3,
    Data = 0x4,
    ASCIIString = 0x5,
    UTF16String = 0x6,
    UTF8String = 0x7,
    UID = 0x8,
    Array = 0xA,
    Dictionary = 0xD,
};

/// The whole first bytes of the two booleans and of a date.
inline constexpr unsigned binaryFalse = 0x08;
inline constexpr unsigned binaryTrue = 0x09;
inline constexpr unsigned binaryDate = 0x33;

/// A size in the first byte that says that the real size follows as an integer.
inline constexpr unsigned binarySizeFollows = 0xF;

/// The longest text, in bytes of UTF-8, that equal strings of a file that we write share. A reference takes
/// at least one byte, and the reader allows 64 bytes of content for each byte of the file, so that it never
/// refuses what we write.
inline constexpr std::size_t longestSharedText = 64;

} // namespace mox
