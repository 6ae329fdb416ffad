#include "Formats/ImageCoding.hpp"

#include "Formats/ICNSCoding.hpp"
#include "Formats/ImageDecoding.hpp"

#include <cmath>
#include <limits>
#include <utility>

namespace mox {

namespace {

constexpr double pointsPerInch = 72;

bool isPNG(ByteView bytes) {
    return bytes.starts_with(pngSignature);
}

bool isTIFF(ByteView bytes) {
    return bytes.starts_with(ByteView("II*\0", 4)) || bytes.starts_with(ByteView("MM\0*", 4));
}

bool isICNS(ByteView bytes) {
    return bytes.starts_with("icns");
}

} // namespace

bool DecodingBudget::takePicture(std::uint32_t pixelsWide, std::uint32_t pixelsHigh) {
    const std::uint64_t pixels = std::uint64_t{pixelsWide} * pixelsHigh;
    if (_pictures == 0 || pixels > _pixels) return false;
    --_pictures;
    _pixels -= pixels;
    return true;
}

void appendBigEndian(Bytes& bytes, std::uint32_t number) {
    for (const int shift : {24, 16, 8, 0})
        bytes.push_back(static_cast<char>(number >> shift));
}

bool isAcceptedImageSize(std::uint32_t pixelsWide, std::uint32_t pixelsHigh) {
    return pixelsWide >= 1 && pixelsWide <= maximumImageSide && pixelsHigh >= 1 &&
           pixelsHigh <= maximumImageSide;
}

bool pixelsFitTheirSize(const Image::Representation& representation) {
    return isAcceptedImageSize(representation.pixelsWide, representation.pixelsHigh) &&
           representation.pixels.size() ==
               std::size_t{representation.pixelsWide} * representation.pixelsHigh * 4;
}

double lengthInPoints(std::uint32_t pixels, double pixelsPerInch) {
    if (!std::isfinite(pixelsPerInch) || pixelsPerInch <= 0) return pixels;
    const double points = pixels * pointsPerInch / pixelsPerInch;
    if (!std::isfinite(points)) return pixels;
    // Files keep a resolution with seven digits or fewer; what was a whole number of points is one again.
    const double whole = std::round(points);
    return std::abs(points - whole) <= whole * std::numeric_limits<float>::epsilon() ? whole : points;
}

std::optional<double> pixelsPerInch(std::uint32_t pixels, double points) {
    if (!std::isfinite(points) || points <= 0 || points == pixels) return std::nullopt;
    return pixels * pointsPerInch / points;
}

std::vector<Image::Representation> representationsFromBytes(ByteView bytes, std::size_t maximumCount,
                                                            DecodingBudget& budget) {
    if (isTIFF(bytes)) return representationsFromTIFF(bytes, maximumCount, budget);
    std::vector<Image::Representation> representations;
    if (isPNG(bytes)) {
        if (auto representation = representationFromPNG(bytes, budget)) {
            representations.push_back(std::move(*representation));
        }
    }
    return representations;
}

std::optional<Image> imageFromBytes(ByteView bytes) {
    if (isICNS(bytes)) return imageFromICNS(bytes);
    DecodingBudget budget;
    Image image;
    image.representations = representationsFromBytes(bytes, std::numeric_limits<std::size_t>::max(), budget);
    if (image.representations.empty()) return std::nullopt;
    image.size = image.representations.front().size;
    return image;
}

} // namespace mox
