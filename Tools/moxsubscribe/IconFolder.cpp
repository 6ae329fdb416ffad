#include "IconFolder.hpp"

#include <algorithm>
#include <cstdint>
#include <sys/stat.h>

#include "AbsoluteURL.hpp"
#include "Failure.hpp"
#include "FileReading.hpp"
#include "PlainName.hpp"

namespace mox::tool {
namespace {

constexpr std::size_t maximumIconLength = std::size_t{16} * 1024 * 1024;
/// More than any server lists for one resource.
constexpr std::size_t maximumIconCount = 32;

bool isRegularFile(const std::string& path) {
    struct stat attributes {};
    return stat(path.c_str(), &attributes) == 0 && S_ISREG(attributes.st_mode);
}

std::uint64_t pixelCount(const Image& image) {
    std::uint64_t count = 0;
    for (const Image::Representation& representation : image.representations) {
        count = std::max(count, std::uint64_t{representation.pixelsWide} * representation.pixelsHigh);
    }
    return count;
}

std::optional<Image> imageInFile(const std::string& path) {
    if (!isRegularFile(path)) return std::nullopt;
    try {
        return imageWithData(bytesOfFile(path, maximumIconLength));
    } catch (const Failure&) {
        return std::nullopt;
    }
}

} // namespace

std::optional<Image> IconFolder::largestIcon(const std::vector<std::string>& urls) const {
    std::optional<Image> largest;
    const std::size_t count = std::min(urls.size(), maximumIconCount);
    for (std::size_t index = 0; index < count; ++index) {
        const std::string name = lastComponentOfURL(urls[index]);
        // Decoding may have brought a "/" or a NUL to light.
        if (name.empty() || name != plainName(name)) continue;
        std::optional<Image> image = imageInFile(_path + "/" + name);
        if (image && (!largest || pixelCount(*image) > pixelCount(*largest))) largest = std::move(image);
    }
    return largest;
}

} // namespace mox::tool
