#ifndef __linux__
#error "This is the Linux backend."
#endif

#include "Platform/Linux/BundleDescription.hpp"

#include "Formats/PropertyListReading.hpp"
#include "Formats/StringsFile.hpp"
#include "Foundation/PathRules.hpp"
#include "Platform/Linux/OptionalFile.hpp"

#include <cerrno>
#include <utility>

namespace mox {
namespace {

using Strings = std::map<std::string, std::string, std::less<>>;

/// The dictionary in the property list `bytes`; an empty one when they hold none.
PropertyList::Dictionary dictionaryIn(const std::optional<Bytes>& bytes) {
    std::optional<PropertyList> list = bytes ? propertyListFromBytes(*bytes) : std::nullopt;
    PropertyList::Dictionary* dictionary = list ? list->dictionary() : nullptr;
    return dictionary ? std::move(*dictionary) : PropertyList::Dictionary();
}

/// The text under `key`; empty when there is none.
std::string textIn(const PropertyList::Dictionary& dictionary, std::string_view key) {
    const std::string* text = dictionary.string(key);
    return text ? *text : std::string();
}

bool isFileName(std::string_view name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == name.npos;
}

std::vector<BundleDescription::DocumentType> documentTypesIn(const PropertyList::Dictionary& information,
                                                             const Strings& strings) {
    std::vector<BundleDescription::DocumentType> types;
    const PropertyList::Array* list = information.array("CFBundleDocumentTypes");
    if (!list) return types;
    for (const PropertyList& entry : *list) {
        const PropertyList::Dictionary* dictionary = entry.dictionary();
        const PropertyList::Array* extensions =
            dictionary ? dictionary->array("CFBundleTypeExtensions") : nullptr;
        if (!extensions) continue;
        const std::string name = textIn(*dictionary, "CFBundleTypeName");
        const auto description = strings.find(name);
        BundleDescription::DocumentType type = {description == strings.end() ? name : description->second,
                                                {}};
        for (const PropertyList& extension : *extensions) {
            if (const std::string* text = extension.string()) type.extensions.push_back(*text);
        }
        types.push_back(std::move(type));
    }
    return types;
}

/// Reads the files of one bundle, and keeps the first error.
class BundleReader {
public:
    BundleReader(const std::string& path, FileSystem& fileSystem, const Bundles& bundles)
        : _path(path), _fileSystem(fileSystem), _bundles(bundles) {}

    std::optional<Bytes> fileAt(std::string_view relativePath) {
        return contents(stringByAppendingPathComponent(_path, relativePath));
    }

    std::optional<Bytes> resource(std::string_view name, std::optional<std::string_view> type) {
        const auto path = _bundles.pathForResource(name, type, _path);
        return path ? contents(*path) : std::nullopt;
    }

    const std::optional<Error>& error() const { return _error; }

private:
    std::optional<Bytes> contents(const std::string& path) {
        Result<std::optional<Bytes>> bytes = contentsOfFileIfPresent(_fileSystem, path);
        if (bytes) return *std::move(bytes);
        if (!_error) _error = bytes.error();
        return std::nullopt;
    }

    const std::string& _path;
    FileSystem& _fileSystem;
    const Bundles& _bundles;
    std::optional<Error> _error;
};

/// The icon's file is named with its extension or without.
std::optional<Bytes> iconNamed(const std::string& name, BundleReader& reader) {
    if (!isFileName(name)) return std::nullopt;
    std::optional<Bytes> bytes = reader.resource(name, std::nullopt);
    if (!bytes) bytes = reader.resource(name, "icns");
    return bytes;
}

} // namespace

Result<BundleDescription> descriptionOfBundle(const std::string& path, FileSystem& fileSystem,
                                              const Bundles& bundles) {
    const Result<Bytes> informationFile =
        fileSystem.contentsOfFile(stringByAppendingPathComponent(path, "Contents/Info.plist"));
    if (!informationFile) return informationFile.error();
    const PropertyList::Dictionary information = dictionaryIn(*informationFile);
    const std::string executable = textIn(information, "CFBundleExecutable");
    if (!isFileName(executable)) return Error::posix(ENOEXEC);

    BundleDescription description;
    description.program =
        stringByAppendingPathComponent(stringByAppendingPathComponent(path, "Contents/MacOS"), executable);
    // Only the information list has the resource's own name: what a bundle has in the user's language is the
    // name of its template.
    description.name = textIn(information, "CFBundleName");
    if (description.name.empty()) description.name = stringByDeletingPathExtension(lastPathComponent(path));

    BundleReader reader(path, fileSystem, bundles);
    const PropertyList::Dictionary alias = dictionaryIn(reader.fileAt("Contents/Resources/Korvalias.plist"));
    description.comment = textIn(alias, "Korvan Description");
    const std::optional<Bytes> stringsFile = reader.resource("InfoPlist", "strings");
    const std::optional<Strings> strings = stringsFile ? stringsFromBytes(*stringsFile) : std::nullopt;
    description.documentTypes = documentTypesIn(information, strings.value_or(Strings()));
    description.icon = iconNamed(textIn(information, "CFBundleIconFile"), reader);
    if (reader.error()) return *reader.error();
    return description;
}

} // namespace mox
