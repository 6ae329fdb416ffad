#pragma once

#include "Foundation/Bytes.hpp"
#include "Foundation/Image.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace mox {

/// What a PNG file begins with.
inline constexpr ByteView pngSignature = "\x89PNG\r\n\x1a\n";

/// What may still be decoded for one image. The decoders ask before they allocate, so that a small file that
/// announces a great many pixels costs no more than the largest image that is accepted.
class DecodingBudget {
public:
    /// Takes a picture of `pixelsWide` by `pixelsHigh` out of the budget. False when it does not fit any
    /// more; then nothing is taken.
    bool takePicture(std::uint32_t pixelsWide, std::uint32_t pixelsHigh);

private:
    std::size_t _pictures = 64;
    std::uint64_t _pixels = std::uint64_t{maximumImageSide} * maximumImageSide;
};

/// Appends `number` in four bytes, the highest first, as image files keep their lengths.
void appendBigEndian(Bytes& bytes, std::uint32_t number);

/// Whether both sides are between 1 and `maximumImageSide`.
bool isAcceptedImageSize(std::uint32_t pixelsWide, std::uint32_t pixelsHigh);

/// Whether the pixels of `representation` are as many as its size says, and its size is an accepted one.
bool pixelsFitTheirSize(const Image::Representation& representation);

/// The length in points of `pixels` at `pixelsPerInch`; that of 72 to the inch when the resolution is none.
double lengthInPoints(std::uint32_t pixels, double pixelsPerInch);

/// The resolution that shows `pixels` on a length of `points`, in pixels per inch; nil when a pixel is a
/// point or `points` is no length.
std::optional<double> pixelsPerInch(std::uint32_t pixels, double points);

/// The picture of a PNG file; nil when it is none, is damaged or exceeds `budget`.
std::optional<Image::Representation> representationFromPNG(ByteView bytes, DecodingBudget& budget);

/// The same without its pixels, which takes no time to speak of: for who passes the file on. Damage shows in
/// the checksums; compressed pixels that are wrong in spite of theirs are not noticed.
std::optional<Image::Representation> undecodedRepresentationFromPNG(ByteView bytes, DecodingBudget& budget);

/// The first pictures of a TIFF file, `maximumCount` at most and as far as `budget` goes; empty when it is
/// none or one of them is damaged.
std::vector<Image::Representation> representationsFromTIFF(ByteView bytes, std::size_t maximumCount,
                                                           DecodingBudget& budget);

/// The pictures of a file of either kind, told apart by its first bytes.
std::vector<Image::Representation> representationsFromBytes(ByteView bytes, std::size_t maximumCount,
                                                            DecodingBudget& budget);

} // namespace mox
