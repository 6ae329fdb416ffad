#pragma once

#include <MOXSubscribe.hpp>
#include <cstddef>
#include <string>
#include <variant>
#include <vector>

#include "Feed.hpp"

namespace mox::tool {

/// Where a feed came from and where its resources go.
struct FeedPlace {
    /// The feed's URL, else its path: the internal store URL, and what relative addresses are relative to.
    std::string source;
    /// The folder below which the feed's folders lie: absolute, without a "/" at its end.
    std::string folder;
    /// What each file name ends in: ".app" in the bundle model, nothing in the dictionary model.
    std::string fileNameExtension;
};

/// A subscription that a resource of a feed asks for.
struct PlannedSubscription {
    /// The resource's place in the feed.
    std::size_t resourceIndex;
    std::string resourceName;
    /// Everything but the icon.
    MOXSubscribeKeywords keywords;
};

/// A resource, or one of its folders, that cannot be subscribed, and why.
struct SkippedResource {
    /// The resource's title, its alias when it has none.
    std::string title;
    std::string reason;
};

/// The longest path that is planned, in bytes.
inline constexpr std::size_t maximumPathLength = 4095;

/// What the resources of a feed become, in its order: for each resource one subscription a folder, or the
/// reason why not. No disk is looked at.
std::vector<std::variant<PlannedSubscription, SkippedResource>> planFeed(const Feed& feed,
                                                                         const FeedPlace& place);

} // namespace mox::tool
