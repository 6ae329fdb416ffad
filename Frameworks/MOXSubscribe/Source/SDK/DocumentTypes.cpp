#include "SDK/DocumentTypes.hpp"

#include "Foundation/TextFormatting.hpp"
#include "Foundation/UnicodeText.hpp"

#include <algorithm>
#include <utility>

namespace mox {
namespace {

constexpr std::string_view nameKey = "CFBundleTypeName";
constexpr std::string_view roleKey = "CFBundleTypeRole";
constexpr std::string_view extensionsKey = "CFBundleTypeExtensions";
constexpr std::string_view iconFileKey = "CFBundleTypeIconFile";

std::vector<std::string> dottedExtensions(const PropertyList::Array& extensions) {
    std::vector<std::string> dotted;
    for (const PropertyList& extension : extensions) {
        if (const std::string* text = extension.string()) dotted.push_back(formatted(".%@", {*text}));
    }
    return dotted;
}

/// `text` without its first character, however many bytes that takes; an empty text stays so.
std::string withoutFirstCharacter(const std::string& text) {
    const std::string characters = repairedUTF8(text);
    const auto continues = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; };
    const auto second = characters.empty()
                            ? characters.end()
                            : std::find_if_not(std::next(characters.begin()), characters.end(), continues);
    return {second, characters.end()};
}

} // namespace

std::vector<MOXFileType> fileTypesFromDocumentTypes(const PropertyList::Array& documentTypes,
                                                    const PropertyList::Dictionary& strings) {
    std::vector<MOXFileType> fileTypes;
    for (const PropertyList& documentType : documentTypes) {
        const PropertyList::Dictionary* entry = documentType.dictionary();
        const std::string* name = entry ? entry->string(nameKey) : nullptr;
        if (!name || name->empty()) continue;
        MOXFileType fileType = {.group = *name, .extensions = {}, .description = std::nullopt};
        if (const PropertyList::Array* extensions = entry->array(extensionsKey)) {
            fileType.extensions = dottedExtensions(*extensions);
        }
        if (const std::string* description = strings.string(*name)) fileType.description = *description;
        fileTypes.push_back(std::move(fileType));
    }
    return fileTypes;
}

PropertyList::Array documentTypesFromFileTypes(const std::vector<MOXFileType>& fileTypes,
                                               const std::optional<std::string>& iconFile) {
    PropertyList::Array documentTypes;
    for (const MOXFileType& fileType : fileTypes) {
        PropertyList::Array extensions;
        for (const std::string& extension : fileType.extensions) {
            extensions.emplace_back(withoutFirstCharacter(extension));
        }
        PropertyList::Dictionary entry;
        entry.set(std::string(nameKey), fileType.group);
        entry.set(std::string(roleKey), "Editor");
        entry.set(std::string(extensionsKey), std::move(extensions));
        if (iconFile) entry.set(std::string(iconFileKey), *iconFile);
        documentTypes.emplace_back(std::move(entry));
    }
    return documentTypes;
}

std::string typeNamesText(const std::vector<MOXFileType>& fileTypes) {
    std::string text = "\n\n/* Type names */\n\n";
    for (const MOXFileType& fileType : fileTypes) {
        // Quotes and backslashes are not escaped, on purpose: readers and writers of these files agree on it.
        // A name or description that holds one makes the whole file read as nothing.
        text += formatted("\"%@\" = \"%@\";\n", {fileType.group, fileType.description});
    }
    return repairedUTF8(std::move(text));
}

} // namespace mox
