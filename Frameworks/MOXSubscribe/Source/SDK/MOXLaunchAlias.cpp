#include "SDK/MOXLaunchAlias.hpp"

#include "Formats/ImageArchive.hpp"
#include "Foundation/LenientNumbers.hpp"
#include "Foundation/PathRules.hpp"
#include "Foundation/TextFormatting.hpp"
#include "Platform/Platform.hpp"
#include "SDK/PropertyListFiles.hpp"

#include <array>
#include <utility>

namespace mox {
namespace {

constexpr std::string_view cloneNameKey = "cloneName";
constexpr std::string_view storeNameKey = "Store Name";
constexpr std::string_view internalStoreURLKey = "Internal Store URL";
constexpr std::string_view externalStoreURLKey = "External Store URL";
constexpr std::string_view applicationNameKey = "Korvan Server Unique Application Name";
constexpr std::string_view tavamorNameKey = "Tavamor Name";
constexpr std::string_view applicationDescriptionKey = "Korvan Description";
constexpr std::string_view contentAddressKey = "Korvan Content Address";
constexpr std::string_view launchURLKey = "Stavenor Launch URL";
constexpr std::string_view publisherNameKey = "Korvan Publisher Name";
constexpr std::string_view serverNameKey = "Korvan Server";
constexpr std::string_view iconKey = "Icon";
constexpr std::string_view schemaVersionKey = "SchemaVersion";

constexpr std::string_view resourceName = "Korvalias";
constexpr std::string_view resourceType = "plist";
constexpr std::string_view resourceFileName = "Korvalias.plist";

/// A kind and the word that stands for it in a file.
template<typename Kind>
struct KindWord {
    Kind kind;
    std::string_view word;
};

/// How a kind is stored: under which key, by which words, and what anything else reads as.
template<typename Kind, std::size_t count>
struct KindWords {
    std::string_view key;
    Kind fallback;
    std::array<KindWord<Kind>, count> words;
};

constexpr KindWords<MOXSubscriptionType, 2> subscriptionTypeWords = {
    .key = "Korvan Application Type",
    .fallback = MOXSubscriptionType::Unknown,
    .words = {{{MOXSubscriptionType::Application, "Application"}, {MOXSubscriptionType::Desktop, "Desktop"}}},
};

constexpr KindWords<MOXNorvikType, 4> norvikTypeWords = {
    .key = "Norvik Type",
    .fallback = MOXNorvikType::None,
    .words = {{{MOXNorvikType::Standard, "standard"},
               {MOXNorvikType::Advanced, "advanced"},
               {MOXNorvikType::Enterprise, "enterprise"},
               {MOXNorvikType::None, "none"}}},
};

constexpr KindWords<MOXNorvikAuthType, 5> norvikAuthTypeWords = {
    .key = "Norvik Auth Type",
    .fallback = MOXNorvikAuthType::None,
    .words = {{{MOXNorvikAuthType::None, "none"},
               {MOXNorvikAuthType::Domain, "domain"},
               {MOXNorvikAuthType::RSA, "rsa"},
               {MOXNorvikAuthType::DomainAndRSA, "domainandrsa"},
               {MOXNorvikAuthType::SMS, "sms"}}},
};

template<typename Kind, std::size_t count>
Kind storedKind(const PropertyList::Dictionary& dictionary, const KindWords<Kind, count>& kind) {
    const std::string* stored = dictionary.string(kind.key);
    if (!stored) return kind.fallback;
    for (const auto& entry : kind.words) {
        if (entry.word == *stored) return entry.kind;
    }
    return kind.fallback;
}

/// A value without a word removes the key.
template<typename Kind, std::size_t count>
void storeKind(PropertyList::Dictionary& dictionary, const KindWords<Kind, count>& kind, Kind value) {
    for (const auto& entry : kind.words) {
        if (entry.kind == value) {
            dictionary.set(std::string(kind.key), entry.word);
            return;
        }
    }
    dictionary.remove(kind.key);
}

std::string pathInBundleAtPath(std::string_view bundlePath) {
    return stringByAppendingPathComponent(bundlePath, formatted("Contents/Resources/%@", {resourceFileName}));
}

MOXBundle mainBundle() {
    return {currentPlatform().bundles.mainBundlePath()};
}

} // namespace

MOXLaunchAlias::MOXLaunchAlias(PropertyList::Dictionary dictionary) : _aliasDict(std::move(dictionary)) {}

MOXLaunchAlias::~MOXLaunchAlias() = default;

std::shared_ptr<MOXLaunchAlias> MOXLaunchAlias::launchAlias() {
    return launchAliasWithDictionary(PropertyList::Dictionary());
}

std::shared_ptr<MOXLaunchAlias> MOXLaunchAlias::launchAliasWithMainBundle() {
    return launchAliasWithBundle(mainBundle());
}

std::shared_ptr<MOXLaunchAlias> MOXLaunchAlias::launchAliasWithBundle(const MOXBundle& bundle) {
    const auto path = currentPlatform().bundles.pathForResource(resourceName, resourceType, bundle.path);
    return path ? launchAliasWithFile(*path) : nullptr;
}

std::shared_ptr<MOXLaunchAlias> MOXLaunchAlias::launchAliasWithBundleAtPath(std::string_view bundlePath) {
    return launchAliasWithFile(pathInBundleAtPath(bundlePath));
}

std::shared_ptr<MOXLaunchAlias> MOXLaunchAlias::launchAliasWithFile(std::string_view path) {
    return launchAliasWithDictionary(dictionaryWithContentsOfFile(path));
}

std::shared_ptr<MOXLaunchAlias>
MOXLaunchAlias::launchAliasWithDictionary(std::optional<PropertyList::Dictionary> dictionary) {
    if (!dictionary) return nullptr;
    return std::shared_ptr<MOXLaunchAlias>(new MOXLaunchAlias(*std::move(dictionary)));
}

bool MOXLaunchAlias::writeToMainBundle() const {
    return writeToBundle(mainBundle(), false);
}

bool MOXLaunchAlias::writeToBundle(const MOXBundle& bundle, bool atomically) const {
    const std::string folder = currentPlatform().bundles.resourceFolder(bundle.path);
    return writeToFile(stringByAppendingPathComponent(folder, resourceFileName), atomically);
}

bool MOXLaunchAlias::writeToBundleAtPath(std::string_view bundlePath, bool atomically) const {
    return writeToFile(pathInBundleAtPath(bundlePath), atomically);
}

bool MOXLaunchAlias::writeToFile(std::string_view path, bool atomically) const {
    return writeDictionaryToFile(_aliasDict, path, atomically);
}

PropertyList::Dictionary MOXLaunchAlias::dictionaryRepresentation() const {
    return _aliasDict;
}

std::optional<std::string> MOXLaunchAlias::cloneName() const {
    return textForKey(cloneNameKey);
}

void MOXLaunchAlias::setCloneName(std::optional<std::string> name) {
    setText(std::move(name), cloneNameKey);
}

std::optional<std::string> MOXLaunchAlias::storeName() const {
    return textForKey(storeNameKey);
}

void MOXLaunchAlias::setStoreName(std::optional<std::string> name) {
    setText(std::move(name), storeNameKey);
}

std::optional<std::string> MOXLaunchAlias::internalStoreURL() const {
    return textForKey(internalStoreURLKey);
}

void MOXLaunchAlias::setInternalStoreURL(std::optional<std::string> url) {
    setText(std::move(url), internalStoreURLKey);
}

std::optional<std::string> MOXLaunchAlias::externalStoreURL() const {
    return textForKey(externalStoreURLKey);
}

void MOXLaunchAlias::setExternalStoreURL(std::optional<std::string> url) {
    setText(std::move(url), externalStoreURLKey);
}

std::optional<std::string> MOXLaunchAlias::applicationName() const {
    return textForKey(applicationNameKey);
}

void MOXLaunchAlias::setApplicationName(std::optional<std::string> name) {
    setText(std::move(name), applicationNameKey);
}

std::optional<std::string> MOXLaunchAlias::tavamorName() const {
    return textForKey(tavamorNameKey);
}

void MOXLaunchAlias::setTavamorName(std::optional<std::string> name) {
    setText(std::move(name), tavamorNameKey);
}

std::optional<std::string> MOXLaunchAlias::applicationDescription() const {
    return textForKey(applicationDescriptionKey);
}

void MOXLaunchAlias::setApplicationDescription(std::optional<std::string> description) {
    setText(std::move(description), applicationDescriptionKey);
}

std::optional<std::string> MOXLaunchAlias::contentAddress() const {
    return textForKey(contentAddressKey);
}

void MOXLaunchAlias::setContentAddress(std::optional<std::string> address) {
    setText(std::move(address), contentAddressKey);
}

std::optional<std::string> MOXLaunchAlias::launchURL() const {
    return textForKey(launchURLKey);
}

void MOXLaunchAlias::setLaunchURL(std::optional<std::string> url) {
    setText(std::move(url), launchURLKey);
}

std::optional<std::string> MOXLaunchAlias::publisherName() const {
    return textForKey(publisherNameKey);
}

void MOXLaunchAlias::setPublisherName(std::optional<std::string> name) {
    setText(std::move(name), publisherNameKey);
}

std::optional<std::string> MOXLaunchAlias::serverName() const {
    return textForKey(serverNameKey);
}

void MOXLaunchAlias::setServerName(std::optional<std::string> name) {
    setText(std::move(name), serverNameKey);
}

MOXSubscriptionType MOXLaunchAlias::subscriptionType() const {
    return storedKind(_aliasDict, subscriptionTypeWords);
}

void MOXLaunchAlias::setSubscriptionType(MOXSubscriptionType type) {
    storeKind(_aliasDict, subscriptionTypeWords, type);
}

MOXNorvikType MOXLaunchAlias::norvikType() const {
    return storedKind(_aliasDict, norvikTypeWords);
}

void MOXLaunchAlias::setNorvikType(MOXNorvikType type) {
    storeKind(_aliasDict, norvikTypeWords, type);
}

MOXNorvikAuthType MOXLaunchAlias::norvikAuthType() const {
    return storedKind(_aliasDict, norvikAuthTypeWords);
}

void MOXLaunchAlias::setNorvikAuthType(MOXNorvikAuthType type) {
    storeKind(_aliasDict, norvikAuthTypeWords, type);
}

std::optional<Image> MOXLaunchAlias::icon() const {
    const PropertyList::Data* archive = _aliasDict.data(iconKey);
    return archive ? imageFromArchive(archive->bytes()) : std::nullopt;
}

void MOXLaunchAlias::setIcon(const std::optional<Image>& icon) {
    std::optional<Bytes> archive = icon ? archivedImage(*icon) : std::nullopt;
    if (archive) {
        _aliasDict.set(std::string(iconKey), PropertyList::Data(*std::move(archive)));
    } else {
        _aliasDict.remove(iconKey);
    }
}

MOXUInteger MOXLaunchAlias::schemaVersion() const {
    const PropertyList* version = _aliasDict.find(schemaVersionKey);
    return version ? unsignedIntegerValue(*version) : 0;
}

void MOXLaunchAlias::setSchemaVersion(MOXUInteger version) {
    _aliasDict.set(std::string(schemaVersionKey), PropertyList::unsignedInteger(version));
}

std::optional<std::string> MOXLaunchAlias::textForKey(std::string_view key) const {
    const std::string* text = _aliasDict.string(key);
    return text ? std::optional(*text) : std::nullopt;
}

void MOXLaunchAlias::setText(std::optional<std::string> text, std::string_view key) {
    if (text) {
        _aliasDict.set(std::string(key), *std::move(text));
    } else {
        _aliasDict.remove(key);
    }
}

} // namespace mox
