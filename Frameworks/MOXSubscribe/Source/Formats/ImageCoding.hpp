#pragma once

#include "Foundation/Bytes.hpp"
#include "Foundation/Image.hpp"

#include <optional>

namespace mox {

/// The image in `bytes`, a PNG or a TIFF file of one or more pictures, told apart by their first bytes. The
/// pixels become 8-bit RGBA, not premultiplied; a resolution in the file makes the size in points (72 to the
/// inch), without one a pixel is a point. Nil when the bytes hold no such image, are damaged, or a side is
/// longer than `maximumImageSide`.
std::optional<Image> imageFromBytes(ByteView bytes);

/// One representation as a PNG file: the one it was decoded from when it has one, else encoded anew. Nil when
/// its pixels do not fit its size.
std::optional<Bytes> pngFromRepresentation(const Image::Representation& representation);

/// One representation as a TIFF file of one 8-bit RGBA picture. Nil when its pixels do not fit its size.
std::optional<Bytes> tiffFromRepresentation(const Image::Representation& representation);

} // namespace mox
