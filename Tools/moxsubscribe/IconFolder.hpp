#pragma once

#include <MOXSubscribe.hpp>
#include <optional>
#include <string>
#include <vector>

namespace mox::tool {

/// A folder of icon files that were fetched beforehand, each under the last component of its address.
class IconFolder {
public:
    explicit IconFolder(std::string path) : _path(std::move(path)) {}

    /// The picture with the most pixels among the PNG, TIFF and ICNS files of `urls` that lie directly in the
    /// folder; nil when there is none. Files that are no such picture are passed over. Nothing outside the
    /// folder is opened.
    std::optional<Image> largestIcon(const std::vector<std::string>& urls) const;

private:
    std::string _path;
};

} // namespace mox::tool
