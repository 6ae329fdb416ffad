#include "IconFile.hpp"

#include "Failure.hpp"
#include "FileReading.hpp"

namespace mox::tool {
namespace {

constexpr std::size_t maximumIconLength = std::size_t{16} * 1024 * 1024;

} // namespace

Image iconInFile(const std::string& path) {
    std::optional<Image> icon = imageWithData(bytesOfFile(path, maximumIconLength));
    if (!icon) throw Failure("icon", path, "not a PNG, TIFF or ICNS picture");
    return std::move(*icon);
}

} // namespace mox::tool
