#pragma once

#include "Foundation/Bytes.hpp"
#include "Foundation/Image.hpp"

#include <optional>
#include <vector>

namespace mox {

/// The icon file (ICNS) of the representations, an element for each in their order. What decides is the
/// number of pixels; a representation of twice as many pixels as points gets the element for that where there
/// is one. Left out, and never stretched, is what is not square, is of a size without an element, comes
/// second for one element, or has pixels that do not fit its size. An element that is a PNG file is the one
/// that the representation was decoded from when it has one. Nil when nothing is left to write.
std::optional<Bytes> icnsWithRepresentations(const std::vector<Image::Representation>& representations);

/// The image in an icon file (ICNS): its pictures in colour with 8 bits of opacity, in the order of the
/// elements, packed, as they are, or as PNG; the first one's size is the image's. Left out is what is not
/// known, JPEG 2000 among it, what is damaged within its element, and what goes beyond the bounds of
/// `imageFromBytes`. Nil when the file itself is damaged or nothing is left.
std::optional<Image> imageFromICNS(ByteView bytes);

/// The same for who makes PNG files of the pictures: those that are PNG files have no pixels, and are taken
/// as undamaged when their checksums are right.
std::optional<Image> undecodedImageFromICNS(ByteView bytes);

} // namespace mox
