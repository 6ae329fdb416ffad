#include "SDK/MOXFileSubscription.hpp"

#include "Formats/ICNSCoding.hpp"
#include "Formats/ImageCoding.hpp"
#include "Formats/TextEncoding.hpp"
#include "Foundation/PathRules.hpp"
#include "Foundation/TextFormatting.hpp"
#include "Foundation/UnicodeText.hpp"
#include "Platform/Platform.hpp"
#include "SDK/DocumentTypes.hpp"
#include "SDK/OperationNames.hpp"
#include "SDK/PropertyListFiles.hpp"
#include "SDK/Reporting.hpp"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <utility>

namespace mox {
namespace {

namespace names = operations::MOXFileSubscription;

constexpr std::string_view versionKey = "KorvanVersionString";
constexpr std::string_view shortVersionKey = "CFBundleShortVersionString";
constexpr std::string_view bundleNameKey = "CFBundleName";
constexpr std::string_view bundleIdentifierKey = "CFBundleIdentifier";
constexpr std::string_view desktopViewerKey = "KVDesktopViewer";

/// What the stubs of one type are made from.
struct TemplateNames {
    MOXSubscriptionType type;
    std::string_view bundleName;
    std::string_view bundleID;
    std::string_view iconName;
    std::string_view bundleIDPrefix;
};

constexpr TemplateNames templates[] = {
    {.type = MOXSubscriptionType::Application,
     .bundleName = "DockApplication",
     .bundleID = "com.Korvan.DockApplication",
     .iconName = "DockApplication.icns",
     .bundleIDPrefix = "com.korvan.TarvioAlias"},
    {.type = MOXSubscriptionType::Desktop,
     .bundleName = "Korvan Viewer",
     .bundleID = "com.korvan.TarvioViewer",
     .iconName = "025_Apps_Combo_Mac.icns",
     .bundleIDPrefix = "com.korvan.BelcastraAlias"},
};

/// Null, and a log line of `operation`, for a type without templates.
const TemplateNames* templateNamesForType(MOXSubscriptionType type, std::string_view operation) {
    for (const TemplateNames& candidate : templates) {
        if (candidate.type == type) return &candidate;
    }
    logLine(currentPlatform(), "%s Unexpected subscription type (%d)",
            {operation, static_cast<std::int32_t>(type)});
    return nullptr;
}

std::string infoPlistPath(std::string_view bundlePath) {
    return stringByAppendingPathComponent(bundlePath, "Contents/Info.plist");
}

std::optional<std::string> infoPlistStringsPath(std::string_view bundlePath) {
    return currentPlatform().bundles.pathForResource("InfoPlist", "strings", bundlePath);
}

/// What cannot be looked at counts as not there: whatever is then tried on the path tells why.
bool isSomethingAtPath(std::string_view path) {
    const ItemKind kind = currentPlatform().fileSystem.itemKindAtPath(std::string(path));
    return kind == ItemKind::File || kind == ItemKind::Directory;
}

/// The strings of the bundle; none when they are missing or malformed.
PropertyList::Dictionary stringsOfBundle(std::string_view bundlePath) {
    const std::optional<std::string> path = infoPlistStringsPath(bundlePath);
    if (!path) return {};
    return dictionaryWithContentsOfFile(*path).value_or(PropertyList::Dictionary());
}

std::vector<MOXFileType> fileTypesOfBundle(std::string_view bundlePath) {
    const auto infoPlist = dictionaryWithContentsOfFile(infoPlistPath(bundlePath));
    const PropertyList::Array* documentTypes = infoPlist ? infoPlist->array(documentTypesKey) : nullptr;
    if (!documentTypes) return {};
    return fileTypesFromDocumentTypes(*documentTypes, stringsOfBundle(bundlePath));
}

std::optional<Image> imageAtPath(const std::string& path) {
    const Result<Bytes> content = currentPlatform().fileSystem.contentsOfFile(path);
    return content ? imageFromBytes(*content) : std::nullopt;
}

bool writeIcon(const std::vector<Image::Representation>& representations, const std::string& path) {
    const std::optional<Bytes> content = icnsWithRepresentations(representations);
    return content && currentPlatform().fileSystem.writeFileAtomically(path, *content);
}

Result<EncodedText> textAtPath(const std::string& path) {
    const Result<Bytes> content = currentPlatform().fileSystem.contentsOfFile(path);
    if (!content) return content.error();
    std::optional<EncodedText> text = decodedText(*content);
    if (text) return *std::move(text);
    constexpr Error::Code unknownEncoding = 264;
    return Error(NSCocoaErrorDomain, unknownEncoding, {{std::string(NSFilePathErrorKey), path}});
}

/// Where a stub of `fileName` is in `folder`.
std::string stubPath(std::string_view folder, const std::optional<std::string>& fileName) {
    return stringByAppendingPathComponent(folder, fileName.value_or(std::string()));
}

/// Whether what is called `fileName` in a folder is an item of that folder, and not the folder itself or
/// something elsewhere.
bool isOneComponent(const std::optional<std::string>& fileName) {
    return fileName && !fileName->empty() && *fileName != "." && *fileName != ".." &&
           fileName->find_first_of(std::string_view("/\0", 2)) == fileName->npos;
}

/// The identifier of a stub. Only colons and blanks are replaced, on purpose: whatever else a server puts
/// into a resource's name stays, so that identifiers are neither unique nor always well-formed.
std::string bundleIdentifier(const std::optional<std::string>& prefix,
                             const std::optional<std::string>& resourceName) {
    std::string identifier = formatted("%@-%@", {prefix, resourceName});
    std::ranges::replace(identifier, ':', '-');
    std::erase(identifier, ' ');
    return identifier;
}

std::int32_t systemVersionPart(SystemVersionPart part) {
    return currentPlatform().systemVersion.part(part).value_or(0);
}

/// Whether the system is one of the single line whose stubs get small pictures only, 10.6.8 and later
/// of 10.6.
bool takesSmallIconsOnly() {
    return systemVersionPart(SystemVersionPart::Major) == 10 &&
           systemVersionPart(SystemVersionPart::Minor) == 6 &&
           systemVersionPart(SystemVersionPart::BugFix) >= 8;
}

std::vector<Image::Representation>
smallRepresentations(const std::vector<Image::Representation>& representations) {
    std::vector<Image::Representation> small;
    std::ranges::copy_if(representations, std::back_inserter(small),
                         [](const Image::Representation& representation) {
                             return representation.pixelsHigh < 129 && representation.pixelsWide < 129;
                         });
    return small;
}

/// Stores the framework's error for `key` where the caller wants it, and logs. The error is made first.
/// False, the result of the operation that failed.
bool failWriting(std::optional<Error>* place, const MOXSubscribeErrorKey& key, std::string_view format,
                 const std::optional<std::string>& path = std::nullopt) {
    storeError(place, frameworkError(key));
    logLine(currentPlatform(), format, {names::writeToFolder, path});
    return false;
}

} // namespace

MOXFileSubscription::~MOXFileSubscription() = default;

std::shared_ptr<MOXFileSubscription> MOXFileSubscription::subscription() {
    return std::shared_ptr<MOXFileSubscription>(new MOXFileSubscription());
}

std::shared_ptr<MOXFileSubscription>
MOXFileSubscription::subscriptionWithDictionary(std::optional<PropertyList::Dictionary> dictionary) {
    return std::shared_ptr<MOXFileSubscription>(new MOXFileSubscription(std::move(dictionary)));
}

std::shared_ptr<MOXFileSubscription>
MOXFileSubscription::subscriptionWithFileName(std::optional<std::string> fileName,
                                              const MOXSubscriptionKeywords& keywords) {
    return std::shared_ptr<MOXFileSubscription>(new MOXFileSubscription(std::move(fileName), keywords));
}

std::shared_ptr<MOXFileSubscription> MOXFileSubscription::subscriptionWithPath(std::string_view path,
                                                                               std::optional<Error>* error) {
    std::shared_ptr<MOXFileSubscription> record(new MOXFileSubscription(path, error));
    record->_launchAlias = MOXLaunchAlias::launchAliasWithBundleAtPath(path);
    if (record->_launchAlias) {
        record->_path = path;
        return record;
    }
    const MOXSubscribeErrorKey& key = isSomethingAtPath(path) ? MOXSubscribeBadSubscriptionAtPathError
                                                              : MOXSubscribeNoSubscriptionAtPathError;
    storeError(error,
               frameworkError(key, Error::UserInfo{{std::string(NSFilePathErrorKey), std::string(path)}}));
    return nullptr;
}

std::optional<std::string> MOXFileSubscription::path() const {
    return _path;
}

void MOXFileSubscription::setPath(std::optional<std::string> path) {
    _path = std::move(path);
}

std::optional<std::string> MOXFileSubscription::fileName() const {
    if (_path) return lastPathComponent(*_path);
    return _launchAlias ? _launchAlias->cloneName() : std::nullopt;
}

void MOXFileSubscription::setFileName(std::optional<std::string> name) {
    if (_launchAlias) _launchAlias->setCloneName(std::move(name));
}

std::optional<std::vector<MOXFileType>> MOXFileSubscription::fileTypes() const {
    loadFileTypes();
    return _fileTypes;
}

void MOXFileSubscription::setFileTypes(std::optional<std::vector<MOXFileType>> fileTypes) {
    _fileTypes = std::move(fileTypes);
}

bool MOXFileSubscription::loadFileTypes() const {
    if (!_fileTypes && _path) _fileTypes = fileTypesOfBundle(*_path);
    return _fileTypes.has_value();
}

std::optional<Image> MOXFileSubscription::icon() const {
    loadIcon();
    return _icon;
}

void MOXFileSubscription::setIcon(std::optional<Image> icon) {
    _icon = std::move(icon);
}

bool MOXFileSubscription::loadIcon() const {
    if (!_icon && _path) {
        if (const auto iconPath = iconPathInStubAtPath(*_path)) _icon = imageAtPath(*iconPath);
    }
    return _icon.has_value();
}

std::optional<MOXVersionNumber> MOXFileSubscription::versionForBundleAtPath(std::string_view path) {
    const auto infoPlist = dictionaryWithContentsOfFile(infoPlistPath(path));
    if (!infoPlist) return std::nullopt;
    const std::string* version = infoPlist->string(versionKey);
    if (!version) version = infoPlist->string(shortVersionKey);
    if (!version) return std::nullopt;
    return MOXVersionNumber::versionNumberWithString(*version);
}

std::optional<MOXVersionNumber> MOXFileSubscription::internalVersion() const {
    if (!_version && _path) _version = versionForBundleAtPath(*_path);
    return _version;
}

std::optional<std::string> MOXFileSubscription::subscriptionVersion() const {
    const std::optional<MOXVersionNumber> version = internalVersion();
    return version ? version->stringValue() : std::string();
}

bool MOXFileSubscription::needsUpdate() const {
    if (!_path) return false;
    const std::optional<MOXVersionNumber> version = internalVersion();
    if (!version) return true;
    const std::optional<std::string> bundle = templatePath();
    const auto templateVersion = bundle ? versionForBundleAtPath(*bundle) : std::nullopt;
    return templateVersion && version->compare(templateVersion) < 0;
}

std::string MOXFileSubscription::ostrelHelperAppPath() {
    return stringByAppendingPathComponent(currentPlatform().bundles.mainBundlePath(), "Contents/Helpers");
}

std::optional<std::string> MOXFileSubscription::templatePath() const {
    const TemplateNames* stub = templateNamesForType(type(), names::templatePath);
    if (!stub) return std::nullopt;
    return templatePathWithName(stub->bundleName, stub->bundleID);
}

std::optional<std::string> MOXFileSubscription::templatePathWithName(std::string_view name,
                                                                     std::string_view) {
    const Platform& platform = currentPlatform();
    std::string folder = platform.bundles.mainBundlePath();
    if (platform.workspace.isFilePackageAtPath(folder)) folder = stringByDeletingLastPathComponent(folder);
    const std::string bundleName = formatted("%@.app", {name});
    // The template beside the client wins over its own, on purpose.
    for (const std::string& place : {folder, ostrelHelperAppPath()}) {
        std::string path = stringByAppendingPathComponent(place, bundleName);
        if (platform.workspace.isFilePackageAtPath(path)) return path;
    }
    return std::nullopt;
}

std::optional<std::string> MOXFileSubscription::templateIconName() const {
    const TemplateNames* stub = templateNamesForType(type(), names::templateIconName);
    return stub ? std::optional<std::string>(stub->iconName) : std::nullopt;
}

std::optional<std::string> MOXFileSubscription::subscriptionBundleIDPrefix() const {
    const TemplateNames* stub = templateNamesForType(type(), names::subscriptionBundleIDPrefix);
    return stub ? std::optional<std::string>(stub->bundleIDPrefix) : std::nullopt;
}

std::optional<std::string> MOXFileSubscription::iconPathInStubAtPath(std::string_view path) const {
    const std::optional<std::string> iconName = templateIconName();
    if (!iconName) return std::nullopt;
    return currentPlatform().bundles.pathForResource(*iconName, std::nullopt, path);
}

bool MOXFileSubscription::writeToFolder(std::string_view folder, std::string_view,
                                        std::optional<Error>* error) {
    const std::string destination = stubPath(folder, fileName());
    if (!isSomethingAtPath(destination)) {
        if (!copyTemplateToFolder(folder, error)) return false;
    } else if (!isSubscriptionOfSameTypeAtPath(destination)) {
        return failWriting(error, MOXSubscribeTemplateCopyError,
                           "%s Can't update subscription because something else exists at path (%@)",
                           destination);
    }
    return finishStubAtPath(destination, error);
}

/// Whether the stub at `path` may be written over. One that the file name reaches outside the folder, or that
/// is the folder itself, may not, whatever it is.
bool MOXFileSubscription::isSubscriptionOfSameTypeAtPath(const std::string& path) const {
    if (!isOneComponent(fileName())) return false;
    const auto other = subscriptionWithPath(path);
    return other && other->type() == type();
}

bool MOXFileSubscription::copyTemplateToFolder(std::string_view folder, std::optional<Error>* error) const {
    const std::optional<std::string> source = templatePath();
    if (!source) {
        return failWriting(error, MOXSubscribeNoTemplateError,
                           "%s Error retrieving subscription template path");
    }
    if (!isValidUTF8(*source) || !isValidUTF8(folder)) {
        return failWriting(error, MOXSubscribeTemplateCopyError,
                           "%s Can't copy subscription template because path cannot be converted to UTF-8");
    }
    // A link in the template's place stands for the bundle that it leads to, which its "." is: a copy of the
    // link itself would let the stub's files be written into the template.
    const Result<std::string> copy =
        currentPlatform().fileSystem.copyItem(stringByAppendingPathComponent(*source, "."),
                                              std::string(folder), fileName().value_or(std::string()));
    if (!copy) {
        return failWriting(error, MOXSubscribeTemplateCopyError, "%s Error copying subscription template");
    }
    return true;
}

bool MOXFileSubscription::finishStubAtPath(const std::string& path, std::optional<Error>* error) {
    const Platform& platform = currentPlatform();
    if (!updateInfoPlistForSubscriptionAtPath(path, error)) {
        logLine(platform, "%s Error updating Info.plist for subscription at path (%@)",
                {names::writeToFolder, path});
        return false;
    }
    saveIconToStubAtPath(path);
    buildSeamlessName();
    if (!_launchAlias || !_launchAlias->writeToBundleAtPath(path, true)) {
        return failWriting(error, MOXSubscribeLaunchAliasWriteError,
                           "%s Error writing launch alias for subscription at path (%@)", path);
    }
    if (const int status = platform.launchRegistration.registerBundle(path); status != 0) {
        logLine(platform, "%s Error registering subscription with launch services (%ld)",
                {names::writeToFolder, long{status}});
    }
    _path = path;
    return true;
}

void MOXFileSubscription::saveIconToStubAtPath(const std::string& path) const {
    if (!loadIcon()) return;
    const std::optional<std::string> iconPath = iconPathInStubAtPath(path);
    // Nearly always all of them, of which there is no need for a copy.
    const bool isSmallOnly = takesSmallIconsOnly();
    const std::vector<Image::Representation> small =
        isSmallOnly ? smallRepresentations(_icon->representations) : std::vector<Image::Representation>();
    const std::vector<Image::Representation>& representations = isSmallOnly ? small : _icon->representations;
    if (representations.empty()) return;
    if (!iconPath || !writeIcon(representations, *iconPath)) {
        logLine(currentPlatform(), "%s Error saving icon to path (%@)", {names::writeToFolder, iconPath});
    }
}

bool MOXFileSubscription::updateInfoPlistForSubscriptionAtPath(std::string_view path,
                                                               std::optional<Error>* error) const {
    const std::string file = infoPlistPath(path);
    const auto fail = [&](const MOXSubscribeErrorKey& key) {
        storeError(error, frameworkError(key, Error::UserInfo{{std::string(NSFilePathErrorKey), file}}));
        return false;
    };
    std::optional<PropertyList::Dictionary> infoPlist = dictionaryWithContentsOfFile(file);
    if (!infoPlist) return fail(MOXSubscribeMissingInfoPlistError);

    if (const auto name = fileName()) {
        infoPlist->set(std::string(bundleNameKey), stringByDeletingPathExtension(*name));
    }
    infoPlist->set(std::string(bundleIdentifierKey),
                   bundleIdentifier(subscriptionBundleIDPrefix(), resourceName()));
    if (type() == MOXSubscriptionType::Desktop) {
        infoPlist->set(std::string(desktopViewerKey), PropertyList::boolean(true));
    }
    if (loadFileTypes() && !_fileTypes->empty()) {
        updateFileTypesForInfoPlist(*infoPlist);
        const std::optional<std::string> strings = infoPlistStringsPath(path);
        if (strings && isSomethingAtPath(*strings)) {
            updateFileTypesForInfoPlistStringsAtPath(*strings);
        } else {
            logLine(currentPlatform(), "%s Missing InfoPlist.strings file in subscription (%@)",
                    {names::updateInfoPlistForSubscriptionAtPath, path});
        }
    }
    return writeDictionaryToFile(*std::move(infoPlist), file, true) || fail(MOXSubscribeInfoPlistWriteError);
}

void MOXFileSubscription::updateFileTypesForInfoPlist(PropertyList::Dictionary& infoPlist) const {
    loadFileTypes();
    infoPlist.set(
        std::string(documentTypesKey),
        documentTypesFromFileTypes(_fileTypes.value_or(std::vector<MOXFileType>()), templateIconName()));
}

void MOXFileSubscription::updateFileTypesForInfoPlistStringsAtPath(std::string_view path) const {
    const Platform& platform = currentPlatform();
    const std::string file(path);
    Result<EncodedText> text = textAtPath(file);
    if (!text) {
        logLine(platform, "%s Unable to read InfoPlist.strings file: %@",
                {names::updateFileTypesForInfoPlistStringsAtPath, text.error()});
        return;
    }
    loadFileTypes();
    text->text += typeNamesText(_fileTypes.value_or(std::vector<MOXFileType>()));
    const Result<void> written = platform.fileSystem.writeFileAtomically(file, encodedText(*text));
    if (!written) {
        logLine(platform, "%s Unable to write InfoPlist.strings file: %@",
                {names::updateFileTypesForInfoPlistStringsAtPath, written.error()});
    }
}

std::vector<Image::Representation> MOXFileSubscription::bitmapRepsForImage(const Image&) const {
    if (!loadIcon()) return {};
    return takesSmallIconsOnly() ? smallRepresentations(_icon->representations) : _icon->representations;
}

} // namespace mox
