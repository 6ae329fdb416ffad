#pragma once

#include <MOXSubscribe.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace mox::tool {

/// The dictionary model's file, read as any program may read it, to learn whether changes have reached it.
class StoreFile {
public:
    /// The file of the user whose applications folder is given.
    static StoreFile besideApplicationsFolder(std::string_view applicationsFolder);

    explicit StoreFile(std::string path) : _path(std::move(path)) {}

    const std::string& path() const { return _path; }

    /// Whether the file on disk holds exactly the folders and subscriptions that `manager` lists, and equal
    /// entries for those of `changedPaths`. False when it cannot be read.
    bool matches(MOXSubscriptionManager& manager, const std::vector<std::string>& changedPaths) const;

private:
    std::string _path;
};

} // namespace mox::tool
