#include "SDK/MOXSubscribe.hpp"
#include "SDK/OperationNames.hpp"
#include "Support/ScratchFolder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace mox::test {
namespace {

// The classes within a test's reach.

class BareManager : public MOXSubscriptionManager {};

class BareSubscription : public MOXSubscription {
public:
    BareSubscription() = default;
    explicit BareSubscription(std::optional<PropertyList::Dictionary> dictionary)
        : MOXSubscription(std::move(dictionary)) {}
    BareSubscription(std::optional<std::string> fileName, const MOXSubscriptionKeywords& keywords)
        : MOXSubscription(std::move(fileName), keywords) {}
    BareSubscription(std::string_view path, std::optional<Error>* error) : MOXSubscription(path, error) {}
};

class DictionaryManager : public MOXPlistSubscriptionManager {
public:
    using MOXPlistSubscriptionManager::dictionaryForPath;
    using MOXPlistSubscriptionManager::folderContainsSubscriptions;
    using MOXPlistSubscriptionManager::parentDictionaryForPath;
    using MOXPlistSubscriptionManager::removeSubscriptionNamed;
    using MOXPlistSubscriptionManager::saveSubscriptions;
    using MOXPlistSubscriptionManager::setSubscription;
    using MOXPlistSubscriptionManager::subscriptionInFolder;
    using MOXPlistSubscriptionManager::updateConvenienceArrays;
};

class BundleRecord : public MOXFileSubscription {
public:
    using MOXFileSubscription::bitmapRepsForImage;
    using MOXFileSubscription::subscriptionBundleIDPrefix;
    using MOXFileSubscription::templateIconName;
    using MOXFileSubscription::templatePathWithName;
    using MOXFileSubscription::updateFileTypesForInfoPlist;
    using MOXFileSubscription::updateFileTypesForInfoPlistStringsAtPath;
    using MOXFileSubscription::updateInfoPlistForSubscriptionAtPath;
};

class BundleManager : public MOXFileSubscriptionManager {
public:
    using MOXFileSubscriptionManager::createTempDirectory;
    using MOXFileSubscriptionManager::installFSCallback;
    using MOXFileSubscriptionManager::updateConvenienceArrays;
    using MOXFileSubscriptionManager::updateConvenienceArraysAtPath;
};

/// An operation: its selector's full name, its C++ name, and the constant of its full name when it logs or
/// asserts.
struct Operation {
    std::string_view selector;
    std::string_view name;
    std::string_view constant;
};

/// The C++ name of `function` as the compiler tells it, with its class and without the namespace, so that no
/// row can name another function than it is about.
template<auto function>
constexpr std::string_view nameOf() {
    std::string_view name = __PRETTY_FUNCTION__;
    constexpr std::string_view label = "function = ";
    name.remove_prefix(name.find(label) + label.size());
    name = name.substr(0, name.find_first_of(";]"));
    for (const std::string_view prefix : {"&", "mox::"}) {
        if (name.starts_with(prefix)) name.remove_prefix(prefix.size());
    }
    return name;
}

/// An operation that is a function. That it exists is found out when this is compiled.
template<auto function>
constexpr Operation member(std::string_view selector, std::string_view constant = {}) {
    return {selector, nameOf<function>(), constant};
}

/// An operation that is a constructor.
template<typename Made, typename... Arguments>
requires std::is_constructible_v<Made, Arguments...>
constexpr Operation made(std::string_view selector, std::string_view name, std::string_view constant = {}) {
    return {selector, name, constant};
}

/// An operation that is a destructor.
template<typename Ended>
requires std::has_virtual_destructor_v<Ended>
constexpr Operation ended(std::string_view selector, std::string_view name) {
    return {selector, name, {}};
}

constexpr auto operationsTable = std::to_array<Operation>({
    member<&MOXSubscriptionManager::setSubscriptionModel>("+[MOXSubscriptionManager setSubscriptionModel:]"),
    member<&MOXSubscriptionManager::subscriptionModel>("+[MOXSubscriptionManager subscriptionModel]"),
    member<&MOXSubscriptionManager::sharedManager>("+[MOXSubscriptionManager sharedManager]",
                                                   operations::MOXSubscriptionManager::sharedManager),
    made<BareManager>("-[MOXSubscriptionManager init]", "MOXSubscriptionManager::MOXSubscriptionManager"),
    ended<MOXSubscriptionManager>("-[MOXSubscriptionManager dealloc]",
                                  "MOXSubscriptionManager::~MOXSubscriptionManager"),
    member<&MOXSubscriptionManager::fileNameForSubscription>(
        "-[MOXSubscriptionManager fileNameForSubscription:]",
        operations::MOXSubscriptionManager::fileNameForSubscription),
    member<&MOXSubscriptionManager::pathForSubscription>(
        "-[MOXSubscriptionManager pathForSubscription:]",
        operations::MOXSubscriptionManager::pathForSubscription),
    member<&MOXSubscriptionManager::subscriptionPathsInFolder>(
        "-[MOXSubscriptionManager subscriptionPathsInFolder:recursive:]"),
    member<&MOXSubscriptionManager::folders>("-[MOXSubscriptionManager folders]"),
    member<&MOXSubscriptionManager::subscriptionPaths>("-[MOXSubscriptionManager subscriptionPaths]"),
    member<&MOXSubscriptionManager::numberOfSubscriptions>("-[MOXSubscriptionManager numberOfSubscriptions]"),
    member<&MOXSubscriptionManager::removeAllSubscriptionsWithUniqueName>(
        "-[MOXSubscriptionManager removeAllSubscriptionsWithUniqueName:onStore:]",
        operations::MOXSubscriptionManager::removeAllSubscriptionsWithUniqueName),
    member<&MOXSubscriptionManager::moveSubscriptionFrom>(
        "-[MOXSubscriptionManager moveSubscriptionFrom:to:error:]",
        operations::MOXSubscriptionManager::moveSubscriptionFrom),
    member<&MOXSubscriptionManager::removeFolderAtPath>(
        "-[MOXSubscriptionManager removeFolderAtPath:onlyIfEmpty:error:]",
        operations::MOXSubscriptionManager::removeFolderAtPath),
    member<&MOXSubscriptionManager::renameFolderAtPath>(
        "-[MOXSubscriptionManager renameFolderAtPath:to:error:]",
        operations::MOXSubscriptionManager::renameFolderAtPath),
    member<&MOXSubscriptionManager::createFolderAtPath>(
        "-[MOXSubscriptionManager createFolderAtPath:error:]",
        operations::MOXSubscriptionManager::createFolderAtPath),
    member<&MOXSubscriptionManager::updateSubscriptionsAtPaths>(
        "-[MOXSubscriptionManager updateSubscriptionsAtPaths:errorBlock:storeNameBlock:iconBlock:]",
        operations::MOXSubscriptionManager::updateSubscriptionsAtPaths),
    member<&MOXSubscriptionManager::isSubscriptionAtPath>(
        "-[MOXSubscriptionManager isSubscriptionAtPath:]",
        operations::MOXSubscriptionManager::isSubscriptionAtPath),
    member<&MOXSubscriptionManager::subscriptionAtPath>(
        "-[MOXSubscriptionManager subscriptionAtPath:error:]",
        operations::MOXSubscriptionManager::subscriptionAtPath),
    member<&MOXSubscriptionManager::removeSubscriptionAtPath>(
        "-[MOXSubscriptionManager removeSubscriptionAtPath:error:]",
        operations::MOXSubscriptionManager::removeSubscriptionAtPath),
    member<&MOXSubscriptionManager::subscribeToResource>(
        "-[MOXSubscriptionManager "
        "subscribeToResource:ofType:onStoreNamed:withInternalStoreURL:andExternalStoreURL:usingNorvikType:"
        "andNorvikAuthType:withFileName:inFolder:andOptionalInfo:error:]",
        operations::MOXSubscriptionManager::subscribeToResource),
    member<&MOXSubscription::subscription>("+[MOXSubscription subscription]",
                                           operations::MOXSubscription::subscription),
    member<&MOXSubscription::subscriptionWithDictionary>(
        "+[MOXSubscription subscriptionWithDictionary:]",
        operations::MOXSubscription::subscriptionWithDictionary),
    member<&MOXSubscription::subscriptionWithFileName>(
        "+[MOXSubscription "
        "subscriptionWithFileName:resourceName:type:storeName:internalStoreURL:externalStoreURL:norvikType:"
        "norvikAuthType:]",
        operations::MOXSubscription::subscriptionWithFileName),
    member<&MOXSubscription::subscriptionWithPath>("+[MOXSubscription subscriptionWithPath:error:]",
                                                   operations::MOXSubscription::subscriptionWithPath),
    made<BareSubscription>("-[MOXSubscription init]", "MOXSubscription::MOXSubscription"),
    made<BareSubscription, std::optional<std::string>, const MOXSubscriptionKeywords&>(
        "-[MOXSubscription "
        "initWithFileName:resourceName:type:storeName:internalStoreURL:externalStoreURL:norvikType:"
        "norvikAuthType:]",
        "MOXSubscription::MOXSubscription"),
    made<BareSubscription, std::optional<PropertyList::Dictionary>>("-[MOXSubscription initWithDictionary:]",
                                                                    "MOXSubscription::MOXSubscription"),
    made<BareSubscription, std::string_view, std::optional<Error>*>("-[MOXSubscription initWithPath:error:]",
                                                                    "MOXSubscription::MOXSubscription"),
    ended<MOXSubscription>("-[MOXSubscription dealloc]", "MOXSubscription::~MOXSubscription"),
    member<&MOXSubscription::icon>("-[MOXSubscription icon]", operations::MOXSubscription::icon),
    member<&MOXSubscription::setIcon>("-[MOXSubscription setIcon:]", operations::MOXSubscription::setIcon),
    member<&MOXSubscription::resourceName>("-[MOXSubscription resourceName]"),
    member<&MOXSubscription::setResourceName>("-[MOXSubscription setResourceName:]"),
    member<&MOXSubscription::storeName>("-[MOXSubscription storeName]"),
    member<&MOXSubscription::setStoreName>("-[MOXSubscription setStoreName:]"),
    member<&MOXSubscription::internalStoreURL>("-[MOXSubscription internalStoreURL]"),
    member<&MOXSubscription::setInternalStoreURL>("-[MOXSubscription setInternalStoreURL:]"),
    member<&MOXSubscription::externalStoreURL>("-[MOXSubscription externalStoreURL]"),
    member<&MOXSubscription::setExternalStoreURL>("-[MOXSubscription setExternalStoreURL:]"),
    member<&MOXSubscription::launchURL>("-[MOXSubscription launchURL]"),
    member<&MOXSubscription::setLaunchURL>("-[MOXSubscription setLaunchURL:]"),
    member<&MOXSubscription::contentAddress>("-[MOXSubscription contentAddress]"),
    member<&MOXSubscription::setContentAddress>("-[MOXSubscription setContentAddress:]"),
    member<&MOXSubscription::subscriptionDescription>("-[MOXSubscription subscriptionDescription]"),
    member<&MOXSubscription::setSubscriptionDescription>("-[MOXSubscription setSubscriptionDescription:]"),
    member<&MOXSubscription::type>("-[MOXSubscription type]"),
    member<&MOXSubscription::setType>("-[MOXSubscription setType:]"),
    member<&MOXSubscription::publisherName>("-[MOXSubscription publisherName]"),
    member<&MOXSubscription::setPublisherName>("-[MOXSubscription setPublisherName:]"),
    member<&MOXSubscription::seamlessName>("-[MOXSubscription seamlessName]"),
    member<&MOXSubscription::norvikType>("-[MOXSubscription norvikType]"),
    member<&MOXSubscription::setNorvikType>("-[MOXSubscription setNorvikType:]"),
    member<&MOXSubscription::norvikAuthType>("-[MOXSubscription norvikAuthType]"),
    member<&MOXSubscription::setNorvikAuthType>("-[MOXSubscription setNorvikAuthType:]"),
    member<&MOXSubscription::dictionaryRepresentation>("-[MOXSubscription dictionaryRepresentation]"),
    member<&MOXSubscription::schemaVersion>("-[MOXSubscription schemaVersion]"),
    member<&MOXSubscription::setSchemaVersion>("-[MOXSubscription setSchemaVersion:]"),
    member<&MOXSubscription::path>("-[MOXSubscription path]", operations::MOXSubscription::path),
    member<&MOXSubscription::setPath>("-[MOXSubscription setPath:]", operations::MOXSubscription::setPath),
    member<&MOXSubscription::fileName>("-[MOXSubscription fileName]", operations::MOXSubscription::fileName),
    member<&MOXSubscription::setFileName>("-[MOXSubscription setFileName:]",
                                          operations::MOXSubscription::setFileName),
    member<&MOXSubscription::needsUpdate>("-[MOXSubscription needsUpdate]"),
    member<&MOXSubscription::subscriptionVersion>("-[MOXSubscription subscriptionVersion]"),
    member<&MOXSubscription::fileTypes>("-[MOXSubscription fileTypes]"),
    member<&MOXSubscription::setFileTypes>("-[MOXSubscription setFileTypes:]"),
    member<&MOXSubscription::serverName>("-[MOXSubscription serverName]"),
    member<&MOXSubscription::setServerName>("-[MOXSubscription setServerName:]"),
    member<&MOXSubscription::internalVersion>("-[MOXSubscription internalVersion]"),
    member<&MOXSubscription::buildSeamlessName>("-[MOXSubscription buildSeamlessName]"),
    member<&MOXSubscription::writeToFolder>("-[MOXSubscription writeToFolder:withName:error:]"),
    member<&moxSubscribeErrorWithKey>("+[NSError moxSubscribeErrorWithKey:code:additionalInfo:]"),
    member<&isNilOrEmpty>("+[NSString isNilOrEmpty:]"),
    member<&MOXVersionNumber::versionNumber>("+[MOXVersionNumber versionNumber]"),
    member<&MOXVersionNumber::versionNumberWithString>("+[MOXVersionNumber versionNumberWithString:]"),
    member<&MOXVersionNumber::versionNumberWithMajorVersion>(
        "+[MOXVersionNumber versionNumberWithMajorVersion:minorVersion:fixVersion:buildVersion:]"),
    made<MOXVersionNumber>("-[MOXVersionNumber init]", "MOXVersionNumber::MOXVersionNumber"),
    made<MOXVersionNumber, MOXUInteger, MOXUInteger, MOXUInteger, MOXUInteger>(
        "-[MOXVersionNumber initWithMajorVersion:minorVersion:fixVersion:buildVersion:]",
        "MOXVersionNumber::MOXVersionNumber"),
    made<MOXVersionNumber, std::optional<std::string_view>>("-[MOXVersionNumber initWithString:]",
                                                            "MOXVersionNumber::MOXVersionNumber"),
    member<&MOXVersionNumber::versionFromComponents>("-[MOXVersionNumber versionFromComponents:atIndex:]"),
    member<&MOXVersionNumber::stringValue>("-[MOXVersionNumber stringValue]"),
    member<&MOXVersionNumber::description>("-[MOXVersionNumber description]"),
    member<&MOXVersionNumber::compare>("-[MOXVersionNumber compare:]"),
    member<&MOXVersionNumber::isEqualToVersion>("-[MOXVersionNumber isEqualToVersion:]"),
    member<&MOXVersionNumber::majorVersion>("-[MOXVersionNumber majorVersion]"),
    member<&MOXVersionNumber::setMajorVersion>("-[MOXVersionNumber setMajorVersion:]"),
    member<&MOXVersionNumber::minorVersion>("-[MOXVersionNumber minorVersion]"),
    member<&MOXVersionNumber::setMinorVersion>("-[MOXVersionNumber setMinorVersion:]"),
    member<&MOXVersionNumber::fixVersion>("-[MOXVersionNumber fixVersion]"),
    member<&MOXVersionNumber::setFixVersion>("-[MOXVersionNumber setFixVersion:]"),
    member<&MOXVersionNumber::buildVersion>("-[MOXVersionNumber buildVersion]"),
    member<&MOXVersionNumber::setBuildVersion>("-[MOXVersionNumber setBuildVersion:]"),
    member<&MOXLaunchAlias::launchAlias>("+[MOXLaunchAlias launchAlias]"),
    member<&MOXLaunchAlias::launchAlias>("-[MOXLaunchAlias init]"),
    member<&MOXLaunchAlias::launchAliasWithMainBundle>("+[MOXLaunchAlias launchAliasWithMainBundle]"),
    member<&MOXLaunchAlias::launchAliasWithMainBundle>("-[MOXLaunchAlias initWithMainBundle]"),
    member<&MOXLaunchAlias::launchAliasWithBundle>("+[MOXLaunchAlias launchAliasWithBundle:]"),
    member<&MOXLaunchAlias::launchAliasWithBundle>("-[MOXLaunchAlias initWithBundle:]"),
    member<&MOXLaunchAlias::launchAliasWithBundleAtPath>("+[MOXLaunchAlias launchAliasWithBundleAtPath:]"),
    member<&MOXLaunchAlias::launchAliasWithBundleAtPath>("-[MOXLaunchAlias initWithBundleAtPath:]"),
    member<&MOXLaunchAlias::launchAliasWithFile>("+[MOXLaunchAlias launchAliasWithFile:]"),
    member<&MOXLaunchAlias::launchAliasWithFile>("-[MOXLaunchAlias initWithFile:]"),
    member<&MOXLaunchAlias::launchAliasWithDictionary>("+[MOXLaunchAlias launchAliasWithDictionary:]"),
    member<&MOXLaunchAlias::launchAliasWithDictionary>("-[MOXLaunchAlias initWithDictionary:]"),
    ended<MOXLaunchAlias>("-[MOXLaunchAlias dealloc]", "MOXLaunchAlias::~MOXLaunchAlias"),
    member<&MOXLaunchAlias::writeToMainBundle>("-[MOXLaunchAlias writeToMainBundle]"),
    member<&MOXLaunchAlias::writeToBundle>("-[MOXLaunchAlias writeToBundle:atomically:]"),
    member<&MOXLaunchAlias::writeToBundleAtPath>("-[MOXLaunchAlias writeToBundleAtPath:atomically:]"),
    member<&MOXLaunchAlias::writeToFile>("-[MOXLaunchAlias writeToFile:atomically:]"),
    member<&MOXLaunchAlias::dictionaryRepresentation>("-[MOXLaunchAlias dictionaryRepresentation]"),
    member<&MOXLaunchAlias::cloneName>("-[MOXLaunchAlias cloneName]"),
    member<&MOXLaunchAlias::setCloneName>("-[MOXLaunchAlias setCloneName:]"),
    member<&MOXLaunchAlias::storeName>("-[MOXLaunchAlias storeName]"),
    member<&MOXLaunchAlias::setStoreName>("-[MOXLaunchAlias setStoreName:]"),
    member<&MOXLaunchAlias::internalStoreURL>("-[MOXLaunchAlias internalStoreURL]"),
    member<&MOXLaunchAlias::setInternalStoreURL>("-[MOXLaunchAlias setInternalStoreURL:]"),
    member<&MOXLaunchAlias::externalStoreURL>("-[MOXLaunchAlias externalStoreURL]"),
    member<&MOXLaunchAlias::setExternalStoreURL>("-[MOXLaunchAlias setExternalStoreURL:]"),
    member<&MOXLaunchAlias::applicationName>("-[MOXLaunchAlias applicationName]"),
    member<&MOXLaunchAlias::setApplicationName>("-[MOXLaunchAlias setApplicationName:]"),
    member<&MOXLaunchAlias::tavamorName>("-[MOXLaunchAlias tavamorName]"),
    member<&MOXLaunchAlias::setTavamorName>("-[MOXLaunchAlias setTavamorName:]"),
    member<&MOXLaunchAlias::applicationDescription>("-[MOXLaunchAlias applicationDescription]"),
    member<&MOXLaunchAlias::setApplicationDescription>("-[MOXLaunchAlias setApplicationDescription:]"),
    member<&MOXLaunchAlias::contentAddress>("-[MOXLaunchAlias contentAddress]"),
    member<&MOXLaunchAlias::setContentAddress>("-[MOXLaunchAlias setContentAddress:]"),
    member<&MOXLaunchAlias::subscriptionType>("-[MOXLaunchAlias subscriptionType]"),
    member<&MOXLaunchAlias::setSubscriptionType>("-[MOXLaunchAlias setSubscriptionType:]"),
    member<&MOXLaunchAlias::launchURL>("-[MOXLaunchAlias launchURL]"),
    member<&MOXLaunchAlias::setLaunchURL>("-[MOXLaunchAlias setLaunchURL:]"),
    member<&MOXLaunchAlias::publisherName>("-[MOXLaunchAlias publisherName]"),
    member<&MOXLaunchAlias::setPublisherName>("-[MOXLaunchAlias setPublisherName:]"),
    member<&MOXLaunchAlias::norvikType>("-[MOXLaunchAlias norvikType]"),
    member<&MOXLaunchAlias::setNorvikType>("-[MOXLaunchAlias setNorvikType:]"),
    member<&MOXLaunchAlias::norvikAuthType>("-[MOXLaunchAlias norvikAuthType]"),
    member<&MOXLaunchAlias::setNorvikAuthType>("-[MOXLaunchAlias setNorvikAuthType:]"),
    member<&MOXLaunchAlias::icon>("-[MOXLaunchAlias icon]"),
    member<&MOXLaunchAlias::setIcon>("-[MOXLaunchAlias setIcon:]"),
    member<&MOXLaunchAlias::schemaVersion>("-[MOXLaunchAlias schemaVersion]"),
    member<&MOXLaunchAlias::setSchemaVersion>("-[MOXLaunchAlias setSchemaVersion:]"),
    member<&MOXLaunchAlias::serverName>("-[MOXLaunchAlias serverName]"),
    member<&MOXLaunchAlias::setServerName>("-[MOXLaunchAlias setServerName:]"),
    member<&MOXPlistSubscriptionManager::sharedManager>("+[MOXPlistSubscriptionManager sharedManager]"),
    made<DictionaryManager>("-[MOXPlistSubscriptionManager init]",
                            "MOXPlistSubscriptionManager::MOXPlistSubscriptionManager",
                            operations::MOXPlistSubscriptionManager::init),
    ended<MOXPlistSubscriptionManager>("-[MOXPlistSubscriptionManager dealloc]",
                                       "MOXPlistSubscriptionManager::~MOXPlistSubscriptionManager"),
    member<&MOXPlistSubscriptionManager::subscribeToResource>(
        "-[MOXPlistSubscriptionManager "
        "subscribeToResource:ofType:onStoreNamed:withInternalStoreURL:andExternalStoreURL:usingNorvikType:"
        "andNorvikAuthType:withFileName:inFolder:andOptionalInfo:error:]",
        operations::MOXPlistSubscriptionManager::subscribeToResource),
    member<&MOXPlistSubscriptionManager::subscriptionAtPath>(
        "-[MOXPlistSubscriptionManager subscriptionAtPath:error:]"),
    member<&MOXPlistSubscriptionManager::isSubscriptionAtPath>(
        "-[MOXPlistSubscriptionManager isSubscriptionAtPath:]"),
    member<&MOXPlistSubscriptionManager::removeSubscriptionAtPath>(
        "-[MOXPlistSubscriptionManager removeSubscriptionAtPath:error:]"),
    member<&MOXPlistSubscriptionManager::createFolderAtPath>(
        "-[MOXPlistSubscriptionManager createFolderAtPath:error:]",
        operations::MOXPlistSubscriptionManager::createFolderAtPath),
    member<&MOXPlistSubscriptionManager::renameFolderAtPath>(
        "-[MOXPlistSubscriptionManager renameFolderAtPath:to:error:]",
        operations::MOXPlistSubscriptionManager::renameFolderAtPath),
    member<&MOXPlistSubscriptionManager::removeFolderAtPath>(
        "-[MOXPlistSubscriptionManager removeFolderAtPath:onlyIfEmpty:error:]",
        operations::MOXPlistSubscriptionManager::removeFolderAtPath),
    member<&MOXPlistSubscriptionManager::moveSubscriptionFrom>(
        "-[MOXPlistSubscriptionManager moveSubscriptionFrom:to:error:]",
        operations::MOXPlistSubscriptionManager::moveSubscriptionFrom),
    member<&MOXPlistSubscriptionManager::removeAllSubscriptionsWithUniqueName>(
        "-[MOXPlistSubscriptionManager removeAllSubscriptionsWithUniqueName:onStore:]"),
    member<&MOXPlistSubscriptionManager::fileNameForSubscription>(
        "-[MOXPlistSubscriptionManager fileNameForSubscription:]",
        operations::MOXPlistSubscriptionManager::fileNameForSubscription),
    member<&MOXPlistSubscriptionManager::pathForSubscription>(
        "-[MOXPlistSubscriptionManager pathForSubscription:]",
        operations::MOXPlistSubscriptionManager::pathForSubscription),
    member<&MOXPlistSubscriptionManager::updateSubscriptionsAtPathsStoreNameHandler>(
        "-[MOXPlistSubscriptionManager updateSubscriptionsAtPaths:errorBlock:storeNameHandler:iconBlock:]"),
    member<&DictionaryManager::dictionaryForPath>("-[MOXPlistSubscriptionManager dictionaryForPath:]"),
    member<&DictionaryManager::parentDictionaryForPath>(
        "-[MOXPlistSubscriptionManager parentDictionaryForPath:]"),
    member<&DictionaryManager::subscriptionInFolder>("-[MOXPlistSubscriptionManager subscription:inFolder:]"),
    member<&DictionaryManager::setSubscription>(
        "-[MOXPlistSubscriptionManager setSubscription:named:inFolder:]"),
    member<&DictionaryManager::removeSubscriptionNamed>(
        "-[MOXPlistSubscriptionManager removeSubscriptionNamed:fromFolder:]"),
    member<&DictionaryManager::folderContainsSubscriptions>(
        "-[MOXPlistSubscriptionManager folderContainsSubscriptions:]"),
    member<&DictionaryManager::saveSubscriptions>("-[MOXPlistSubscriptionManager saveSubscriptions]",
                                                  operations::MOXPlistSubscriptionManager::saveSubscriptions),
    member<&DictionaryManager::updateConvenienceArrays>(
        "-[MOXPlistSubscriptionManager updateConvenienceArrays]"),
    member<&DictionaryManager::updateConvenienceArrays>(
        "-[MOXPlistSubscriptionManager updateConvenienceArraysFromHierarchy:atPath:]"),
    member<&MOXPlistSubscription::subscription>("+[MOXPlistSubscription subscription]"),
    member<&MOXPlistSubscription::subscriptionWithDictionary>(
        "+[MOXPlistSubscription subscriptionWithDictionary:]"),
    member<&MOXPlistSubscription::subscriptionWithFileName>(
        "+[MOXPlistSubscription "
        "subscriptionWithFileName:resourceName:type:storeName:internalStoreURL:externalStoreURL:norvikType:"
        "norvikAuthType:]"),
    member<&MOXPlistSubscription::subscriptionWithPath>(
        "+[MOXPlistSubscription subscriptionWithPath:error:]"),
    member<&MOXPlistSubscription::subscriptionWithPath>("-[MOXPlistSubscription initWithPath:error:]"),
    member<&MOXPlistSubscription::icon>("-[MOXPlistSubscription icon]"),
    member<&MOXPlistSubscription::setIcon>("-[MOXPlistSubscription setIcon:]"),
    member<&MOXPlistSubscription::writeToFolder>("-[MOXPlistSubscription writeToFolder:withName:error:]"),
    member<&MOXFileSubscription::subscription>("+[MOXFileSubscription subscription]"),
    member<&MOXFileSubscription::subscriptionWithDictionary>(
        "+[MOXFileSubscription subscriptionWithDictionary:]"),
    member<&MOXFileSubscription::subscriptionWithFileName>(
        "+[MOXFileSubscription "
        "subscriptionWithFileName:resourceName:type:storeName:internalStoreURL:externalStoreURL:norvikType:"
        "norvikAuthType:]"),
    member<&MOXFileSubscription::subscriptionWithPath>("+[MOXFileSubscription subscriptionWithPath:error:]"),
    member<&MOXFileSubscription::subscriptionWithPath>("-[MOXFileSubscription initWithPath:error:]"),
    ended<MOXFileSubscription>("-[MOXFileSubscription dealloc]", "MOXFileSubscription::~MOXFileSubscription"),
    member<&MOXFileSubscription::path>("-[MOXFileSubscription path]"),
    member<&MOXFileSubscription::setPath>("-[MOXFileSubscription setPath:]"),
    member<&MOXFileSubscription::fileName>("-[MOXFileSubscription fileName]"),
    member<&MOXFileSubscription::setFileName>("-[MOXFileSubscription setFileName:]"),
    member<&MOXFileSubscription::fileTypes>("-[MOXFileSubscription fileTypes]"),
    member<&MOXFileSubscription::setFileTypes>("-[MOXFileSubscription setFileTypes:]"),
    member<&MOXFileSubscription::icon>("-[MOXFileSubscription icon]"),
    member<&MOXFileSubscription::setIcon>("-[MOXFileSubscription setIcon:]"),
    member<&MOXFileSubscription::loadFileTypes>("-[MOXFileSubscription loadFileTypes]"),
    member<&MOXFileSubscription::loadIcon>("-[MOXFileSubscription loadIcon]"),
    member<&MOXFileSubscription::versionForBundleAtPath>("-[MOXFileSubscription versionForBundleAtPath:]"),
    member<&MOXFileSubscription::internalVersion>("-[MOXFileSubscription internalVersion]"),
    member<&MOXFileSubscription::subscriptionVersion>("-[MOXFileSubscription subscriptionVersion]"),
    member<&MOXFileSubscription::needsUpdate>("-[MOXFileSubscription needsUpdate]"),
    member<&MOXFileSubscription::ostrelHelperAppPath>("+[MOXFileSubscription ostrelHelperAppPath]"),
    member<&MOXFileSubscription::templatePath>("-[MOXFileSubscription templatePath]",
                                               operations::MOXFileSubscription::templatePath),
    member<&BundleRecord::templatePathWithName>("-[MOXFileSubscription templatePathWithName:bundleID:]"),
    member<&BundleRecord::templateIconName>("-[MOXFileSubscription templateIconName]",
                                            operations::MOXFileSubscription::templateIconName),
    member<&BundleRecord::subscriptionBundleIDPrefix>(
        "-[MOXFileSubscription subscriptionBundleIDPrefix]",
        operations::MOXFileSubscription::subscriptionBundleIDPrefix),
    member<&MOXFileSubscription::writeToFolder>("-[MOXFileSubscription writeToFolder:withName:error:]",
                                                operations::MOXFileSubscription::writeToFolder),
    member<&BundleRecord::updateInfoPlistForSubscriptionAtPath>(
        "-[MOXFileSubscription updateInfoPlistForSubscriptionAtPath:error:]",
        operations::MOXFileSubscription::updateInfoPlistForSubscriptionAtPath),
    member<&BundleRecord::updateFileTypesForInfoPlist>("-[MOXFileSubscription updateFileTypesForInfoPlist:]"),
    member<&BundleRecord::updateFileTypesForInfoPlistStringsAtPath>(
        "-[MOXFileSubscription updateFileTypesForInfoPlistStringsAtPath:]",
        operations::MOXFileSubscription::updateFileTypesForInfoPlistStringsAtPath),
    member<&BundleRecord::bitmapRepsForImage>("-[MOXFileSubscription bitmapRepsForImage:]"),
    member<&MOXFileSubscriptionManager::sharedManager>("+[MOXFileSubscriptionManager sharedManager]"),
    made<BundleManager>("-[MOXFileSubscriptionManager init]",
                        "MOXFileSubscriptionManager::MOXFileSubscriptionManager"),
    ended<MOXFileSubscriptionManager>("-[MOXFileSubscriptionManager dealloc]",
                                      "MOXFileSubscriptionManager::~MOXFileSubscriptionManager"),
    member<&MOXFileSubscriptionManager::subscribeToResource>(
        "-[MOXFileSubscriptionManager "
        "subscribeToResource:ofType:onStoreNamed:withInternalStoreURL:andExternalStoreURL:usingNorvikType:"
        "andNorvikAuthType:withFileName:inFolder:andOptionalInfo:error:]"),
    member<&MOXFileSubscriptionManager::removeSubscriptionAtPath>(
        "-[MOXFileSubscriptionManager removeSubscriptionAtPath:error:]"),
    member<&MOXFileSubscriptionManager::subscriptionAtPath>(
        "-[MOXFileSubscriptionManager subscriptionAtPath:error:]"),
    member<&MOXFileSubscriptionManager::isSubscriptionAtPath>(
        "-[MOXFileSubscriptionManager isSubscriptionAtPath:]"),
    member<&MOXFileSubscriptionManager::createFolderAtPath>(
        "-[MOXFileSubscriptionManager createFolderAtPath:error:]"),
    member<&MOXFileSubscriptionManager::renameFolderAtPath>(
        "-[MOXFileSubscriptionManager renameFolderAtPath:to:error:]"),
    member<&MOXFileSubscriptionManager::removeFolderAtPath>(
        "-[MOXFileSubscriptionManager removeFolderAtPath:onlyIfEmpty:error:]"),
    member<&MOXFileSubscriptionManager::moveSubscriptionFrom>(
        "-[MOXFileSubscriptionManager moveSubscriptionFrom:to:error:]"),
    member<&MOXFileSubscriptionManager::removeAllSubscriptionsWithUniqueName>(
        "-[MOXFileSubscriptionManager removeAllSubscriptionsWithUniqueName:onStore:]"),
    member<&MOXFileSubscriptionManager::pathForSubscription>(
        "-[MOXFileSubscriptionManager pathForSubscription:]"),
    member<&MOXFileSubscriptionManager::fileNameForSubscription>(
        "-[MOXFileSubscriptionManager fileNameForSubscription:]"),
    member<&MOXFileSubscriptionManager::removeItemAtPath>(
        "-[MOXFileSubscriptionManager removeItemAtPath:useTrash:error:]"),
    member<&BundleManager::updateConvenienceArrays>("-[MOXFileSubscriptionManager updateConvenienceArrays]"),
    member<&BundleManager::updateConvenienceArraysAtPath>(
        "-[MOXFileSubscriptionManager updateConvenienceArraysAtPath:containsApps:]"),
    member<&MOXFileSubscriptionManager::updateSubscriptionsAtPaths>(
        "-[MOXFileSubscriptionManager updateSubscriptionsAtPaths:errorBlock:storeNameBlock:iconBlock:]"),
    member<&MOXFileSubscriptionManager::updateSubscriptionAtPath>(
        "-[MOXFileSubscriptionManager updateSubscriptionAtPath:storeNameBlock:iconBlock:error:]"),
    member<&MOXFileSubscriptionManager::updateSubscription>(
        "-[MOXFileSubscriptionManager updateSubscription:storeNameBlock:iconBlock:error:]",
        operations::MOXFileSubscriptionManager::updateSubscription),
    member<&BundleManager::createTempDirectory>("-[MOXFileSubscriptionManager createTempDirectory]"),
    member<&BundleManager::installFSCallback>("-[MOXFileSubscriptionManager installFSCallback]"),
    member<&isAlmostEmptyDirectoryAtPath>("-[NSFileManager isAlmostEmptyDirectoryAtPath:]"),
});

/// Those whose C++ name is not the selector's first piece, besides constructors and destructors.
constexpr std::array<std::string_view, 10> renamed = {
    "-[MOXLaunchAlias init]",
    "-[MOXLaunchAlias initWithMainBundle]",
    "-[MOXLaunchAlias initWithBundle:]",
    "-[MOXLaunchAlias initWithBundleAtPath:]",
    "-[MOXLaunchAlias initWithFile:]",
    "-[MOXLaunchAlias initWithDictionary:]",
    "-[MOXPlistSubscription initWithPath:error:]",
    "-[MOXFileSubscription initWithPath:error:]",
    "-[MOXPlistSubscriptionManager subscription:inFolder:]",
    "-[MOXPlistSubscriptionManager updateSubscriptionsAtPaths:errorBlock:storeNameHandler:iconBlock:]",
};

bool isStep(std::string_view selector) {
    return selector == "-[MOXPlistSubscriptionManager updateConvenienceArraysFromHierarchy:atPath:]";
}

/// The selector's first piece: "move" of "-[Class move:to:]".
std::string_view firstPiece(std::string_view selector) {
    selector.remove_prefix(selector.find(' ') + 1);
    return selector.substr(0, selector.find_first_of(":]"));
}

/// The C++ name without its class.
std::string_view plainName(std::string_view name) {
    const std::size_t colons = name.rfind("::");
    return colons == name.npos ? name : name.substr(colons + 2);
}

/// Whether `name` is that of a constructor or a destructor.
bool isLifetime(std::string_view name) {
    std::string_view plain = plainName(name);
    if (plain.starts_with('~')) plain.remove_prefix(1);
    return name.starts_with(std::string(plain) + "::");
}

/// The rows of the documented table, as "selector name".
std::vector<std::string> documentedRows() {
    const std::string text = bytesOfFile(MOX_SELECTORS_DOCUMENT);
    std::vector<std::string> rows;
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        const std::string line = text.substr(start, end - start);
        start = end + 1;
        if (!line.starts_with("| `")) continue;
        const std::size_t middle = line.find("` | `");
        const std::size_t last = line.rfind("` |");
        if (middle == line.npos || last <= middle + 5) {
            ADD_FAILURE() << line;
            continue;
        }
        rows.push_back(line.substr(3, middle - 3) + " " + line.substr(middle + 5, last - middle - 5));
    }
    return rows;
}

TEST(Selectors, Stand_once_each_in_the_table) {
    std::set<std::string_view> selectors;
    for (const Operation& operation : operationsTable)
        EXPECT_TRUE(selectors.insert(operation.selector).second) << operation.selector;
}

TEST(Selectors, Are_documented_with_their_Cpp_names_all_of_them_and_no_others) {
    std::vector<std::string> expected;
    for (const Operation& operation : operationsTable)
        expected.push_back(std::string(operation.selector).append(" ").append(operation.name));
    std::vector<std::string> documented = documentedRows();
    std::ranges::sort(expected);
    std::ranges::sort(documented);
    EXPECT_EQ(documented, expected);
}

TEST(Selectors, Are_the_full_names_in_log_lines_and_assertions) {
    std::size_t constants = 0;
    for (const Operation& operation : operationsTable) {
        if (operation.constant.empty()) continue;
        ++constants;
        EXPECT_EQ(operation.constant, operation.selector);
    }
    EXPECT_EQ(constants, 39U);
}

TEST(Selectors, Give_their_first_piece_to_the_Cpp_name) {
    for (const Operation& operation : operationsTable) {
        if (isLifetime(operation.name) || isStep(operation.selector)) continue;
        const bool isRenamed = std::ranges::find(renamed, operation.selector) != renamed.end();
        EXPECT_EQ(plainName(operation.name) != firstPiece(operation.selector), isRenamed)
            << operation.selector;
    }
}

TEST(Selectors, Belong_to_the_class_of_the_Cpp_name) {
    for (const Operation& operation : operationsTable) {
        const std::size_t colons = operation.name.rfind("::");
        const std::string owner(operation.name.substr(0, colons == operation.name.npos ? 0 : colons));
        const bool isAddition = operation.selector.substr(1).starts_with("[NS");
        EXPECT_EQ(owner.empty(), isAddition) << operation.selector;
        if (!isAddition) {
            EXPECT_TRUE(operation.selector.substr(2).starts_with(owner + " ")) << operation.selector;
        }
    }
}

TEST(Selectors, Include_the_one_that_the_other_model_s_manager_does_not_have) {
    EXPECT_EQ(operations::MOXFileSubscriptionManager::setSubscription,
              "-[MOXFileSubscriptionManager setSubscription:named:inFolder:]");
}

} // namespace
} // namespace mox::test
