#include "Platform/Linux/LinuxUserDirectories.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <pwd.h>
#include <unistd.h>

namespace mox {
namespace {

/// Restores the variables that it sets.
class LinuxUserDirectoriesTest : public testing::Test {
protected:
    ~LinuxUserDirectoriesTest() override {
        for (const auto& [name, value] : _previous)
            assign(name, value);
    }

    void set(const std::string& name, const std::optional<std::string>& value) {
        const char* old = std::getenv(name.c_str());
        _previous.insert(_previous.begin(), {name, old ? std::optional<std::string>(old) : std::nullopt});
        assign(name, value);
    }

private:
    static void assign(const std::string& name, const std::optional<std::string>& value) {
        if (value)
            ::setenv(name.c_str(), value->c_str(), 1);
        else
            ::unsetenv(name.c_str());
    }

    std::vector<std::pair<std::string, std::optional<std::string>>> _previous;
};

TEST_F(LinuxUserDirectoriesTest, Home_is_what_the_environment_says_when_that_is_absolute) {
    set("HOME", "/somewhere/else");
    const LinuxUserDirectories directories;
    EXPECT_EQ(directories.homeDirectory(), "/somewhere/else");
    EXPECT_EQ(directories.libraryDirectories(), std::vector<std::string>{"/somewhere/else/Library"});
}

TEST_F(LinuxUserDirectoriesTest, Home_is_else_that_of_the_password_entry) {
    const passwd* entry = ::getpwuid(::getuid());
    if (entry == nullptr) GTEST_SKIP() << "the user has no password entry";
    const std::string home = entry->pw_dir;
    using Value = std::optional<std::string>;
    for (const Value& value : {Value(), Value(""), Value("relative/home")}) {
        set("HOME", value);
        EXPECT_EQ(LinuxUserDirectories().homeDirectory(), home);
    }
}

TEST_F(LinuxUserDirectoriesTest,
       The_temporary_directory_is_nil_unless_the_environment_names_an_absolute_one) {
    set("TMPDIR", "/scratch");
    EXPECT_EQ(LinuxUserDirectories().temporaryDirectory(), "/scratch");
    set("TMPDIR", "");
    EXPECT_EQ(LinuxUserDirectories().temporaryDirectory(), std::nullopt);
    set("TMPDIR", "relative");
    EXPECT_EQ(LinuxUserDirectories().temporaryDirectory(), std::nullopt);
    set("TMPDIR", std::nullopt);
    EXPECT_EQ(LinuxUserDirectories().temporaryDirectory(), std::nullopt);
}

TEST_F(LinuxUserDirectoriesTest, The_answers_stay_those_of_the_time_when_it_was_made) {
    set("HOME", "/first");
    set("TMPDIR", "/first/tmp");
    const LinuxUserDirectories directories;
    set("HOME", "/second");
    set("TMPDIR", std::nullopt);
    EXPECT_EQ(directories.homeDirectory(), "/first");
    EXPECT_EQ(directories.libraryDirectories(), std::vector<std::string>{"/first/Library"});
    EXPECT_EQ(directories.temporaryDirectory(), "/first/tmp");
}

} // namespace
} // namespace mox
