#include "SDK/MOXSubscribeAdditions.hpp"

#include "Formats/ImageCoding.hpp"
#include "Formats/StringsFile.hpp"
#include "Platform/CurrentAssertionHandler.hpp"
#include "Platform/Platform.hpp"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace mox {
namespace {

constexpr std::string_view defaultTable = "Localizable";
constexpr std::string_view tableType = "strings";

/// The text of `key` in the default string table of the bundle at `bundlePath`, in the user's language; `key`
/// itself when it is not translated.
std::string localizedString(const Platform& platform, std::string_view key, std::string_view bundlePath) {
    const auto tablePath = platform.bundles.pathForResource(defaultTable, tableType, bundlePath);
    if (!tablePath) return std::string(key);
    const Result<Bytes> content = platform.fileSystem.contentsOfFile(*tablePath);
    if (!content) return std::string(key);
    const auto table = stringsFromBytes(*content);
    if (!table) return std::string(key);
    const auto entry = table->find(key);
    return entry == table->end() ? std::string(key) : entry->second;
}

std::uint64_t pixelCount(const Image::Representation& representation) {
    return std::uint64_t{representation.pixelsWide} * representation.pixelsHigh;
}

} // namespace

Error moxSubscribeErrorWithKey(std::string_view key, Error::Code code,
                               const std::optional<Error::UserInfo>& additionalInfo) {
    const Platform& platform = currentPlatform();
    Error::UserInfo userInfo;
    if (const auto bundlePath = platform.bundles.frameworkBundlePath(MOXSubscribeBundleIdentifier))
        userInfo.emplace(NSLocalizedDescriptionKey, localizedString(platform, key, *bundlePath));
    if (additionalInfo) {
        for (const auto& [name, value] : *additionalInfo)
            userInfo.insert_or_assign(name, value);
    }
    return Error(MOXSubscribeErrorDomain, code, std::move(userInfo));
}

bool isNilOrEmpty(const std::optional<std::string_view>& text) {
    return !text || text->empty();
}

std::optional<Image> imageWithData(ByteView bytes) {
    return imageFromBytes(bytes);
}

std::optional<Bytes> pngDataOfImage(const Image& image) {
    const auto largest = std::ranges::max_element(image.representations, {}, pixelCount);
    if (largest == image.representations.end()) return std::nullopt;
    return pngFromRepresentation(*largest);
}

std::shared_ptr<AssertionHandler> installAssertionHandler(std::shared_ptr<AssertionHandler> handler) {
    return currentPlatform().assertionHandler.install(std::move(handler));
}

} // namespace mox
