#pragma once

#include "Platform/UserDirectories.hpp"

namespace mox {

/// The user's folders as the environment tells them when the object is made.
///
/// Home is `$HOME` when it is an absolute path, else the home of the user's password entry. Library is in it;
/// without a home there is none. The directory for temporary files is `$TMPDIR` when it is an absolute path.
class LinuxUserDirectories : public UserDirectories {
public:
    LinuxUserDirectories();

    /// "/" when neither the environment nor the password entry names a home.
    std::string homeDirectory() const override;
    std::vector<std::string> libraryDirectories() const override;
    std::optional<std::string> temporaryDirectory() const override;

private:
    std::optional<std::string> _home;
    std::optional<std::string> _temporary;
};

} // namespace mox
