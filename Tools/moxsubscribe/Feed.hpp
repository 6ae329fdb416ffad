#pragma once

#include <MOXSubscribe.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace mox::tool {

/// One published application or desktop, as the feed says it: nothing is checked or changed.
struct FeedResource {
    std::string title;
    std::string alias;
    /// The word of the feed, "RemoteApp" or "Desktop".
    std::string type;
    /// The name of the publisher that lists the resource.
    std::optional<std::string> publisher;
    /// The addresses of its icons, in the feed's order.
    std::vector<std::string> iconURLs;
    /// The file name extensions that it opens, in the feed's order.
    std::vector<std::string> fileExtensions;
    /// The folders in which it is shown, in the feed's order.
    std::vector<std::string> folders;
    /// The address of the file that starts it; "" when there is none.
    std::string resourceFileURL;
};

/// The resources of a workspace feed, in its order.
struct Feed {
    std::vector<FeedResource> resources;
};

/// Bytes that are no feed, with the line and what is wrong there.
class FeedError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The longest feed that is read, in bytes.
inline constexpr std::size_t maximumFeedLength = std::size_t{16} * 1024 * 1024;

/// Reads a workspace feed, an XML document whose root element is a `ResourceCollection`, of schemas 1.1
/// to 2.1.
///
/// Elements are known by their local names and by the `Resource` and `Publisher` that they are in; unknown
/// ones, other orders and other name spaces are passed over. Fails (`FeedError`) for what is not well-formed,
/// another root, more than `maximumFeedLength` bytes, 100 levels, 20,000 resources or 8,192 bytes in an
/// attribute, and for any document type declaration: a feed has none, and entities are how a small document
/// grows without end.
Feed readFeed(ByteView bytes);

} // namespace mox::tool
