#include "Formats/ImageArchive.hpp"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

/// What is read from an archive can be archived again and comes back with the same pixels.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto image = mox::imageFromArchive({reinterpret_cast<const char*>(data), size});
    if (!image) return 0;
    constexpr std::size_t largestWorthWriting = 1 << 18;
    for (const auto& representation : image->representations) {
        if (representation.pixels.size() > largestWorthWriting) return 0;
    }
    const auto archive = mox::archivedImage(*image);
    const auto again = archive ? mox::imageFromArchive(*archive) : std::nullopt;
    if (!again || again->representations.size() != image->representations.size()) std::abort();
    for (std::size_t index = 0; index < image->representations.size(); ++index) {
        if (again->representations[index].pixels != image->representations[index].pixels) std::abort();
    }
    return 0;
}
