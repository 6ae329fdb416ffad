#pragma once

#include <string_view>

/// The full names of the operations that log, assert or are reported as not recognised, as they stand in log
/// lines and assertions: one namespace for each class, one constant for each operation, under its C++ name.
namespace mox::operations {

namespace MOXSubscriptionManager {

inline constexpr std::string_view sharedManager = "+[MOXSubscriptionManager sharedManager]";
inline constexpr std::string_view fileNameForSubscription =
    "-[MOXSubscriptionManager fileNameForSubscription:]";
inline constexpr std::string_view pathForSubscription = "-[MOXSubscriptionManager pathForSubscription:]";
inline constexpr std::string_view removeAllSubscriptionsWithUniqueName =
    "-[MOXSubscriptionManager removeAllSubscriptionsWithUniqueName:onStore:]";
inline constexpr std::string_view moveSubscriptionFrom =
    "-[MOXSubscriptionManager moveSubscriptionFrom:to:error:]";
inline constexpr std::string_view removeFolderAtPath =
    "-[MOXSubscriptionManager removeFolderAtPath:onlyIfEmpty:error:]";
inline constexpr std::string_view renameFolderAtPath =
    "-[MOXSubscriptionManager renameFolderAtPath:to:error:]";
inline constexpr std::string_view createFolderAtPath = "-[MOXSubscriptionManager createFolderAtPath:error:]";
inline constexpr std::string_view updateSubscriptionsAtPaths =
    "-[MOXSubscriptionManager updateSubscriptionsAtPaths:errorBlock:storeNameBlock:iconBlock:]";
inline constexpr std::string_view isSubscriptionAtPath = "-[MOXSubscriptionManager isSubscriptionAtPath:]";
inline constexpr std::string_view subscriptionAtPath = "-[MOXSubscriptionManager subscriptionAtPath:error:]";
inline constexpr std::string_view removeSubscriptionAtPath =
    "-[MOXSubscriptionManager removeSubscriptionAtPath:error:]";
inline constexpr std::string_view subscribeToResource =
    "-[MOXSubscriptionManager subscribeToResource:ofType:onStoreNamed:withInternalStoreURL:"
    "andExternalStoreURL:usingNorvikType:andNorvikAuthType:withFileName:inFolder:andOptionalInfo:error:]";

} // namespace MOXSubscriptionManager

namespace MOXSubscription {

inline constexpr std::string_view subscription = "+[MOXSubscription subscription]";
inline constexpr std::string_view subscriptionWithDictionary =
    "+[MOXSubscription subscriptionWithDictionary:]";
inline constexpr std::string_view subscriptionWithFileName =
    "+[MOXSubscription subscriptionWithFileName:resourceName:type:storeName:internalStoreURL:"
    "externalStoreURL:norvikType:norvikAuthType:]";
inline constexpr std::string_view subscriptionWithPath = "+[MOXSubscription subscriptionWithPath:error:]";
inline constexpr std::string_view icon = "-[MOXSubscription icon]";
inline constexpr std::string_view setIcon = "-[MOXSubscription setIcon:]";
inline constexpr std::string_view fileName = "-[MOXSubscription fileName]";
inline constexpr std::string_view setFileName = "-[MOXSubscription setFileName:]";
inline constexpr std::string_view path = "-[MOXSubscription path]";
inline constexpr std::string_view setPath = "-[MOXSubscription setPath:]";

} // namespace MOXSubscription

namespace MOXPlistSubscriptionManager {

inline constexpr std::string_view init = "-[MOXPlistSubscriptionManager init]";
inline constexpr std::string_view saveSubscriptions = "-[MOXPlistSubscriptionManager saveSubscriptions]";
inline constexpr std::string_view fileNameForSubscription =
    "-[MOXPlistSubscriptionManager fileNameForSubscription:]";
inline constexpr std::string_view pathForSubscription = "-[MOXPlistSubscriptionManager pathForSubscription:]";
inline constexpr std::string_view createFolderAtPath =
    "-[MOXPlistSubscriptionManager createFolderAtPath:error:]";
inline constexpr std::string_view renameFolderAtPath =
    "-[MOXPlistSubscriptionManager renameFolderAtPath:to:error:]";
inline constexpr std::string_view removeFolderAtPath =
    "-[MOXPlistSubscriptionManager removeFolderAtPath:onlyIfEmpty:error:]";
inline constexpr std::string_view moveSubscriptionFrom =
    "-[MOXPlistSubscriptionManager moveSubscriptionFrom:to:error:]";
inline constexpr std::string_view subscribeToResource =
    "-[MOXPlistSubscriptionManager subscribeToResource:ofType:onStoreNamed:withInternalStoreURL:"
    "andExternalStoreURL:usingNorvikType:andNorvikAuthType:withFileName:inFolder:andOptionalInfo:error:]";

} // namespace MOXPlistSubscriptionManager

namespace MOXFileSubscription {

inline constexpr std::string_view templatePath = "-[MOXFileSubscription templatePath]";
inline constexpr std::string_view templateIconName = "-[MOXFileSubscription templateIconName]";
inline constexpr std::string_view subscriptionBundleIDPrefix =
    "-[MOXFileSubscription subscriptionBundleIDPrefix]";
inline constexpr std::string_view writeToFolder = "-[MOXFileSubscription writeToFolder:withName:error:]";
inline constexpr std::string_view updateInfoPlistForSubscriptionAtPath =
    "-[MOXFileSubscription updateInfoPlistForSubscriptionAtPath:error:]";
inline constexpr std::string_view updateFileTypesForInfoPlistStringsAtPath =
    "-[MOXFileSubscription updateFileTypesForInfoPlistStringsAtPath:]";

} // namespace MOXFileSubscription

namespace MOXFileSubscriptionManager {

/// What a record of the dictionary model asks of the shared manager, and this one does not have.
inline constexpr std::string_view setSubscription =
    "-[MOXFileSubscriptionManager setSubscription:named:inFolder:]";
inline constexpr std::string_view updateSubscription =
    "-[MOXFileSubscriptionManager updateSubscription:storeNameBlock:iconBlock:error:]";

} // namespace MOXFileSubscriptionManager

} // namespace mox::operations
