#include <cstdint>

#include "AbsoluteURL.hpp"
#include "Feed.hpp"
#include "FeedMapping.hpp"
#include "Fuzz/FuzzInput.hpp"
#include "PlainName.hpp"
#include "PrintableText.hpp"

namespace {

using mox::fuzz::require;

/// Whatever the feed says, it stays below the folder, in names that a file system takes.
void requireHarmless(const mox::MOXSubscribeKeywords& keywords, const std::string& folder) {
    const std::string& name = keywords.withFileName;
    require(!name.empty() && name.size() <= mox::tool::maximumNameLength);
    require(name == mox::tool::plainName(name));
    require(keywords.inFolder == folder || keywords.inFolder.starts_with(folder + "/"));
    require(keywords.inFolder.find("//") == std::string::npos);
    require((keywords.inFolder + "/").find("/../") == std::string::npos);
    require((keywords.inFolder + "/").find("/./") == std::string::npos);
    require(keywords.inFolder.size() + 1 + name.size() <= mox::tool::maximumPathLength);
}

} // namespace

/// A feed is refused, or each of its resources is planned harmlessly or skipped with a reason.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const mox::tool::FeedPlace place{"https://apps.example.com/feed", "/u/Applications", ""};
    mox::tool::Feed feed;
    try {
        feed = mox::tool::readFeed({reinterpret_cast<const char*>(data), size});
    } catch (const mox::tool::FeedError&) {
        return 0;
    }
    for (const auto& resource : feed.resources) {
        for (const std::string& url : resource.iconURLs)
            mox::tool::lastComponentOfURL(url);
    }
    for (const auto& item : mox::tool::planFeed(feed, place)) {
        if (const auto* planned = std::get_if<mox::tool::PlannedSubscription>(&item)) {
            requireHarmless(planned->keywords, place.folder);
        } else {
            const auto& skipped = std::get<mox::tool::SkippedResource>(item);
            require(!skipped.reason.empty());
            for (const char byte : mox::tool::printable(skipped.reason))
                require(byte != '\n' && byte != '\x1B');
        }
    }
    return 0;
}
