#include "SDK/PropertyListFiles.hpp"

#include "Formats/PropertyListReading.hpp"
#include "Formats/PropertyListWriting.hpp"
#include "Platform/Platform.hpp"

#include <string>
#include <utility>

namespace mox {

std::optional<PropertyList::Dictionary> dictionaryWithContentsOfFile(std::string_view path) {
    const Result<Bytes> content = currentPlatform().fileSystem.contentsOfFile(std::string(path));
    if (!content) return std::nullopt;
    std::optional<PropertyList> root = propertyListFromBytes(*content);
    PropertyList::Dictionary* dictionary = root ? root->dictionary() : nullptr;
    if (!dictionary) return std::nullopt;
    return std::move(*dictionary);
}

bool writeDictionaryToFile(PropertyList::Dictionary dictionary, std::string_view path, bool atomically) {
    const std::optional<Bytes> content = storedFormOfPropertyList(std::move(dictionary));
    if (!content) return false;
    FileSystem& fileSystem = currentPlatform().fileSystem;
    const std::string file(path);
    const Result<void> written = atomically ? fileSystem.writeFileAtomically(file, *content)
                                            : fileSystem.writeFileInPlace(file, *content);
    return static_cast<bool>(written);
}

} // namespace mox
