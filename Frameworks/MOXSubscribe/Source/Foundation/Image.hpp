#pragma once

#include "Foundation/Bytes.hpp"
#include "Foundation/Export.hpp"
#include "Foundation/Pixels.hpp"

#include <cstdint>
#include <memory>
#include <vector>

namespace mox {

/// A picture in one or more sizes: its bitmap representations, in the order in which they were given.
struct MOX_EXPORT Image {
    /// A size in points, of which one may be several pixels.
    struct Size {
        /// In points.
        double width = 0;
        double height = 0;
        friend bool operator==(const Size&, const Size&) = default;
    };

    /// One bitmap.
    struct Representation {
        /// The bitmap's size in pixels.
        std::uint32_t pixelsWide = 0;
        std::uint32_t pixelsHigh = 0;

        /// The size at which it is meant to be shown.
        Size size;

        /// Red, green, blue, alpha, 8 bits each and not premultiplied, row by row from the top without gaps:
        /// `pixelsWide * pixelsHigh * 4` bytes.
        Pixels pixels;

        /// The PNG file that the pixels were decoded from, so that it can be passed on as it is; null when
        /// they came from elsewhere. Not part of equality.
        std::shared_ptr<const Bytes> png;

        friend bool operator==(const Representation& left, const Representation& right) {
            return left.pixelsWide == right.pixelsWide && left.pixelsHigh == right.pixelsHigh &&
                   left.size == right.size && left.pixels == right.pixels;
        }
    };

    /// The size in points of the picture as a whole.
    Size size;

    /// The picture in its sizes.
    std::vector<Representation> representations;

    friend bool operator==(const Image&, const Image&) = default;
};

/// The longest side, in pixels, of a representation that any reader accepts.
inline constexpr std::uint32_t maximumImageSide = 4096;

} // namespace mox
