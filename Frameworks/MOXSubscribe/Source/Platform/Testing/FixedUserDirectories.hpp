#pragma once

#include "Platform/UserDirectories.hpp"

namespace mox::test {

/// The user's folders as a test says. Change them before anything asks for them.
class FixedUserDirectories : public UserDirectories {
public:
    std::string home;
    std::vector<std::string> libraries;
    std::optional<std::string> temporary;

    std::string homeDirectory() const override { return home; }
    std::vector<std::string> libraryDirectories() const override { return libraries; }
    std::optional<std::string> temporaryDirectory() const override { return temporary; }
};

} // namespace mox::test
