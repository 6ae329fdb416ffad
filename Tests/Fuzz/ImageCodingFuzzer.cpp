#include "Formats/ImageCoding.hpp"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

/// Every picture that is read can be written in both kinds and comes back with the same pixels.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto image = mox::imageFromBytes({reinterpret_cast<const char*>(data), size});
    if (!image) return 0;
    constexpr std::size_t largestWorthWriting = 1 << 18;
    for (mox::Image::Representation representation : image->representations) {
        if (representation.pixels.size() > largestWorthWriting) continue;
        representation.png = nullptr;
        for (const auto& file :
             {mox::pngFromRepresentation(representation), mox::tiffFromRepresentation(representation)}) {
            const auto again = file ? mox::imageFromBytes(*file) : std::nullopt;
            if (!again || again->representations.size() != 1) std::abort();
            if (again->representations[0].pixels != representation.pixels) std::abort();
        }
    }
    return 0;
}
