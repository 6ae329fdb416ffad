#pragma once

#include "Foundation/Bytes.hpp"
#include "Foundation/Image.hpp"

#include <optional>

namespace mox {

/// The image in `bytes`, a PNG file, a TIFF file of one or more pictures, or an icon file (ICNS), told apart
/// by their first bytes. The pixels become 8-bit RGBA, not premultiplied; a resolution in the file makes the
/// size in points (72 to the inch), without one a pixel is a point; the first picture's size is the image's.
/// Of a file with very many pictures or pixels the first pictures are taken: 64 at most, and as many pixels
/// as one picture of the longest sides has. Nil when the bytes hold no such image, are damaged, are
/// compressed in another way than by LZW, PackBits or Deflate, or a side is longer than `maximumImageSide`;
/// of an icon file `imageFromICNS` says what is left out instead.
std::optional<Image> imageFromBytes(ByteView bytes);

/// One representation as a PNG file: the one it was decoded from when it has one, else encoded anew. Nil when
/// its pixels do not fit its size, or when no reader would accept that size.
std::optional<Bytes> pngFromRepresentation(const Image::Representation& representation);

/// One representation as a TIFF file of one 8-bit RGBA picture, its pixels exactly as they are. Nil when they
/// do not fit its size, or when no reader would accept that size.
std::optional<Bytes> tiffFromRepresentation(const Image::Representation& representation);

} // namespace mox
