#pragma once

#include "Platform/FileSystem.hpp"
#include "Platform/Linux/MIMEDatabase.hpp"

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace mox {

/// Which programs open documents of which types, by the MIME Applications Associations specification, as it
/// was read once.
class MIMEHandlers {
public:
    /// Where programs and the user's choices are named.
    struct Places {
        /// The folders of data, which have "applications", the preferred one first.
        std::vector<std::string> dataFolders;
        /// The folders of settings, the preferred one first.
        std::vector<std::string> configurationFolders;
        /// The names of the running desktop, in small letters; a desktop may have choices of its own.
        std::vector<std::string> desktops;
    };

    /// Reads the lists at `places`; what is not there tells nothing. Programs whose entries' names begin with
    /// `ignoredPrefix` are no handlers. `database` is only used meanwhile.
    static Result<MIMEHandlers> read(FileSystem& fileSystem, const Places& places,
                                     const MIMEDatabase& database, std::string_view ignoredPrefix);

    /// Whether documents of `type`, by just that name, have a default program that was chosen and is
    /// installed.
    bool hasChosenDefault(const std::string& type) const { return _typesWithDefault.contains(type); }

    /// Whether some program opens documents of `type`, which is the database's own name of it.
    bool hasHandler(const std::string& type) const { return _typesWithHandler.contains(type); }

private:
    MIMEHandlers() = default;

    std::set<std::string, std::less<>> _typesWithDefault;
    std::set<std::string, std::less<>> _typesWithHandler;
};

} // namespace mox
