#include "Formats/ICNSCoding.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

/// What is read from an icon file can be written as one again. Each of the elements that it has then comes
/// back with pixels of a representation that it was written from.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto image = mox::imageFromICNS({reinterpret_cast<const char*>(data), size});
    if (!image) return 0;
    constexpr std::size_t largestWorthWriting = 1 << 20;
    for (auto& representation : image->representations) {
        if (representation.pixels.size() > largestWorthWriting) return 0;
        // Every other one is encoded anew.
        if (representation.pixels[0] % 2 == 0) representation.png = nullptr;
    }
    const auto file = mox::icnsWithRepresentations(image->representations);
    if (!file) return 0;
    const auto again = mox::imageFromICNS(*file);
    if (!again || again->representations.size() > image->representations.size()) std::abort();
    for (const auto& representation : again->representations) {
        const auto isItsOrigin = [&](const mox::Image::Representation& origin) {
            return origin.pixelsWide == representation.pixelsWide && origin.pixels == representation.pixels;
        };
        if (std::ranges::none_of(image->representations, isItsOrigin)) std::abort();
    }
    return 0;
}
