#pragma once

#include <optional>
#include <string>
#include <vector>

namespace mox {

/// Where the user's folders are. The answers stay the same for the life of the object; symbolic links in them
/// are not resolved, and nothing is made or tested on the disk. Any thread may ask.
class UserDirectories {
public:
    virtual ~UserDirectories() = default;

    /// The user's home directory.
    virtual std::string homeDirectory() const = 0;

    /// The user's Library directories, the preferred one first; empty when there is none.
    virtual std::vector<std::string> libraryDirectories() const = 0;

    /// The directory for temporary files; nil when the environment names none.
    virtual std::optional<std::string> temporaryDirectory() const = 0;
};

} // namespace mox
