#include "SDK/MOXSubscription.hpp"

#include "Foundation/TextFormatting.hpp"
#include "Platform/Platform.hpp"
#include "SDK/OperationNames.hpp"
#include "SDK/Reporting.hpp"

#include <utility>

namespace mox {
namespace {

constexpr std::string_view sourceFile = "Frameworks/MOXSubscribe/Source/SDK/MOXSubscription";
constexpr std::string_view mustBeOverridden = "%s base class method must be overridden";
constexpr std::string_view notSupported = "%s not supported in this implementation";

void reportUnsupported(const void* object, std::string_view operation, int line, std::string_view format) {
    reportUnsupportedOperation(currentPlatform(), {object, operation, sourceFile, line}, format);
}

/// What `getter` answers; `withoutAlias` in a record that has no launch alias.
template<typename Value>
Value get(const std::shared_ptr<MOXLaunchAlias>& alias, Value (MOXLaunchAlias::*getter)() const,
          Value withoutAlias = {}) {
    return alias ? (alias.get()->*getter)() : withoutAlias;
}

/// Passes `value` to `setter`; does nothing in a record that has no launch alias.
template<typename Value>
void set(const std::shared_ptr<MOXLaunchAlias>& alias, void (MOXLaunchAlias::*setter)(Value), Value value) {
    if (alias) (alias.get()->*setter)(std::move(value));
}

constexpr MOXUInteger currentSchemaVersion = 1;

} // namespace

MOXSubscription::MOXSubscription() : _launchAlias(MOXLaunchAlias::launchAlias()) {
    setSchemaVersion(currentSchemaVersion);
}

MOXSubscription::MOXSubscription(std::optional<std::string> fileName, const MOXSubscriptionKeywords& keywords)
    : _launchAlias(MOXLaunchAlias::launchAlias()) {
    _launchAlias->setCloneName(std::move(fileName));
    setStoreName(keywords.storeName);
    setInternalStoreURL(keywords.internalStoreURL);
    setExternalStoreURL(keywords.externalStoreURL);
    setResourceName(keywords.resourceName);
    setNorvikType(keywords.norvikType);
    setNorvikAuthType(keywords.norvikAuthType);
    setType(keywords.type);
    setSchemaVersion(currentSchemaVersion);
}

MOXSubscription::MOXSubscription(std::optional<PropertyList::Dictionary> dictionary)
    : _launchAlias(MOXLaunchAlias::launchAliasWithDictionary(std::move(dictionary))) {}

MOXSubscription::MOXSubscription(std::string_view, std::optional<Error>*) {}

MOXSubscription::~MOXSubscription() = default;

std::shared_ptr<MOXSubscription> MOXSubscription::subscription() {
    reportUnsupported(nullptr, operations::MOXSubscription::subscription, 29, mustBeOverridden);
    return nullptr;
}

std::shared_ptr<MOXSubscription>
MOXSubscription::subscriptionWithDictionary(std::optional<PropertyList::Dictionary>) {
    reportUnsupported(nullptr, operations::MOXSubscription::subscriptionWithDictionary, 36, mustBeOverridden);
    return nullptr;
}

std::shared_ptr<MOXSubscription> MOXSubscription::subscriptionWithFileName(std::optional<std::string>,
                                                                           const MOXSubscriptionKeywords&) {
    // On purpose this factory alone leaves it at the assertion, so that under a handler that returns from it
    // the caller just gets null.
    reportAssertion(currentPlatform(),
                    {nullptr, operations::MOXSubscription::subscriptionWithFileName, sourceFile, 50},
                    mustBeOverridden);
    return nullptr;
}

std::shared_ptr<MOXSubscription> MOXSubscription::subscriptionWithPath(std::string_view,
                                                                       std::optional<Error>*) {
    reportUnsupported(nullptr, operations::MOXSubscription::subscriptionWithPath, 57, mustBeOverridden);
    return nullptr;
}

std::optional<Image> MOXSubscription::icon() const {
    reportUnsupported(this, operations::MOXSubscription::icon, 340, mustBeOverridden);
    return std::nullopt;
}

void MOXSubscription::setIcon(std::optional<Image>) {
    reportUnsupported(this, operations::MOXSubscription::setIcon, 348, mustBeOverridden);
}

std::optional<std::string> MOXSubscription::resourceName() const {
    return get(_launchAlias, &MOXLaunchAlias::applicationName);
}

void MOXSubscription::setResourceName(std::optional<std::string> name) {
    set(_launchAlias, &MOXLaunchAlias::setApplicationName, std::move(name));
}

std::optional<std::string> MOXSubscription::storeName() const {
    return get(_launchAlias, &MOXLaunchAlias::storeName);
}

void MOXSubscription::setStoreName(std::optional<std::string> name) {
    set(_launchAlias, &MOXLaunchAlias::setStoreName, std::move(name));
}

std::optional<std::string> MOXSubscription::internalStoreURL() const {
    return get(_launchAlias, &MOXLaunchAlias::internalStoreURL);
}

void MOXSubscription::setInternalStoreURL(std::optional<std::string> url) {
    set(_launchAlias, &MOXLaunchAlias::setInternalStoreURL, std::move(url));
}

std::optional<std::string> MOXSubscription::externalStoreURL() const {
    return get(_launchAlias, &MOXLaunchAlias::externalStoreURL);
}

void MOXSubscription::setExternalStoreURL(std::optional<std::string> url) {
    set(_launchAlias, &MOXLaunchAlias::setExternalStoreURL, std::move(url));
}

std::optional<std::string> MOXSubscription::launchURL() const {
    return get(_launchAlias, &MOXLaunchAlias::launchURL);
}

void MOXSubscription::setLaunchURL(std::optional<std::string> url) {
    set(_launchAlias, &MOXLaunchAlias::setLaunchURL, std::move(url));
}

std::optional<std::string> MOXSubscription::contentAddress() const {
    return get(_launchAlias, &MOXLaunchAlias::contentAddress);
}

void MOXSubscription::setContentAddress(std::optional<std::string> address) {
    set(_launchAlias, &MOXLaunchAlias::setContentAddress, std::move(address));
}

std::optional<std::string> MOXSubscription::subscriptionDescription() const {
    return get(_launchAlias, &MOXLaunchAlias::applicationDescription);
}

void MOXSubscription::setSubscriptionDescription(std::optional<std::string> description) {
    set(_launchAlias, &MOXLaunchAlias::setApplicationDescription, std::move(description));
}

MOXSubscriptionType MOXSubscription::type() const {
    return get(_launchAlias, &MOXLaunchAlias::subscriptionType, MOXSubscriptionType::Unknown);
}

void MOXSubscription::setType(MOXSubscriptionType type) {
    set(_launchAlias, &MOXLaunchAlias::setSubscriptionType, type);
}

std::optional<std::string> MOXSubscription::publisherName() const {
    return get(_launchAlias, &MOXLaunchAlias::publisherName);
}

void MOXSubscription::setPublisherName(std::optional<std::string> name) {
    set(_launchAlias, &MOXLaunchAlias::setPublisherName, std::move(name));
}

std::optional<std::string> MOXSubscription::seamlessName() const {
    buildSeamlessName();
    return get(_launchAlias, &MOXLaunchAlias::tavamorName);
}

MOXNorvikType MOXSubscription::norvikType() const {
    return get(_launchAlias, &MOXLaunchAlias::norvikType, MOXNorvikType::None);
}

void MOXSubscription::setNorvikType(MOXNorvikType type) {
    set(_launchAlias, &MOXLaunchAlias::setNorvikType, type);
}

MOXNorvikAuthType MOXSubscription::norvikAuthType() const {
    return get(_launchAlias, &MOXLaunchAlias::norvikAuthType, MOXNorvikAuthType::None);
}

void MOXSubscription::setNorvikAuthType(MOXNorvikAuthType type) {
    set(_launchAlias, &MOXLaunchAlias::setNorvikAuthType, type);
}

std::optional<std::string> MOXSubscription::serverName() const {
    return get(_launchAlias, &MOXLaunchAlias::serverName);
}

void MOXSubscription::setServerName(std::optional<std::string> name) {
    set(_launchAlias, &MOXLaunchAlias::setServerName, std::move(name));
}

MOXUInteger MOXSubscription::schemaVersion() const {
    return get(_launchAlias, &MOXLaunchAlias::schemaVersion);
}

void MOXSubscription::setSchemaVersion(MOXUInteger version) {
    set(_launchAlias, &MOXLaunchAlias::setSchemaVersion, version);
}

std::optional<PropertyList::Dictionary> MOXSubscription::dictionaryRepresentation() const {
    buildSeamlessName();
    if (!_launchAlias) return std::nullopt;
    return _launchAlias->dictionaryRepresentation();
}

void MOXSubscription::buildSeamlessName() const {
    const std::optional<std::string> resource = resourceName();
    if (isNilOrEmpty(resource)) return;
    const std::optional<std::string> publisher = publisherName();
    if (isNilOrEmpty(publisher)) return;
    const std::size_t colon = resource->find(':');
    const std::string suffix = colon == std::string::npos ? *resource : resource->substr(colon + 1);
    _launchAlias->setTavamorName(formatted("%@#%@", {publisher, suffix}));
}

std::optional<std::string> MOXSubscription::path() const {
    reportUnsupported(this, operations::MOXSubscription::path, 377, notSupported);
    return std::nullopt;
}

void MOXSubscription::setPath(std::optional<std::string>) {
    reportUnsupported(this, operations::MOXSubscription::setPath, 388, notSupported);
}

std::optional<std::string> MOXSubscription::fileName() const {
    reportUnsupported(this, operations::MOXSubscription::fileName, 357, notSupported);
    return std::nullopt;
}

void MOXSubscription::setFileName(std::optional<std::string>) {
    reportUnsupported(this, operations::MOXSubscription::setFileName, 368, notSupported);
}

bool MOXSubscription::needsUpdate() const {
    return false;
}

std::optional<std::string> MOXSubscription::subscriptionVersion() const {
    return std::nullopt;
}

std::optional<MOXVersionNumber> MOXSubscription::internalVersion() const {
    return std::nullopt;
}

std::optional<std::vector<MOXFileType>> MOXSubscription::fileTypes() const {
    return std::nullopt;
}

void MOXSubscription::setFileTypes(std::optional<std::vector<MOXFileType>>) {}

bool MOXSubscription::writeToFolder(std::string_view, std::string_view, std::optional<Error>*) {
    return false;
}

} // namespace mox
