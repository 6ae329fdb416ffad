#pragma once

#include "Foundation/Bytes.hpp"
#include "Foundation/Image.hpp"

#include <optional>

namespace mox {

/// The keyed archive of `image`: a binary property list of the platform's image classes, each representation
/// a TIFF. Nil when a representation's pixels do not fit its size, or when no reader would accept that size.
/// An image without representations has an archive too, though no image is read back from it.
std::optional<Bytes> archivedImage(const Image& image);

/// The image in a keyed archive, whoever wrote it: representations as TIFF or PNG, in arrays nested in any
/// way, in the binary or the XML form; what is no bitmap is left out, and what is not known is skipped. Nil
/// when the bytes are no archive of an image, are damaged, or hold no representation that can be read. Never
/// more than the root object's image is decoded, and its pixels are bounded before they are allocated.
std::optional<Image> imageFromArchive(ByteView bytes);

} // namespace mox
