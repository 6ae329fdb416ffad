#include "Platform/Linux/DesktopCaches.hpp"
#include "Platform/StubDesktop.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>

namespace mox {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Programs that only note how they were called stand in for the desktop's own.
class LinuxDesktopCachesTest : public testing::Test {
protected:
    test::StubDesktop desktop;
    const std::string programs = desktop.scratch.path("programs");
    const std::string theme = desktop.dataFolder + "/icons/hicolor";
    LinuxDesktopCaches caches{desktop.dataFolder};

    LinuxDesktopCachesTest() {
        EXPECT_TRUE(desktop.disk.createDirectoryWithIntermediates(programs, 0777));
        ::setenv("PATH", programs.c_str(), 1);
    }
    ~LinuxDesktopCachesTest() override { ::setenv("PATH", _path.c_str(), 1); }

    void install(const std::string& name, const std::string& lastCommand = "exit 0") {
        const std::string path = programs + "/" + name;
        desktop.writeFile(path, "#!/bin/sh\necho \"" + name + " $*\" >> " + desktop.scratch.path("calls") +
                                    "\necho noise; echo noise >&2\n" + lastCommand + "\n");
        ::chmod(path.c_str(), 0755);
    }

    void installAll(const std::string& lastCommand = "exit 0") {
        for (const char* name : {"update-mime-database", "update-desktop-database", "gtk-update-icon-cache"})
            install(name, lastCommand);
    }

    std::vector<std::string> calls() {
        std::vector<std::string> lines;
        const Result<Bytes> text = desktop.disk.contentsOfFile(desktop.scratch.path("calls"));
        std::string rest = text ? *text : "";
        while (!rest.empty()) {
            lines.push_back(rest.substr(0, rest.find('\n')));
            rest.erase(0, lines.back().size() + 1);
        }
        return lines;
    }

private:
    const std::string _path = std::getenv("PATH");
};

TEST_F(LinuxDesktopCachesTest, Each_program_is_run_for_what_changed) {
    installAll();
    desktop.writeFile(theme + "/icon-theme.cache", "");
    caches.refresh({});
    EXPECT_THAT(calls(), IsEmpty());
    caches.refresh({.entries = true});
    EXPECT_THAT(calls(),
                ElementsAre("update-desktop-database --quiet " + desktop.dataFolder + "/applications"));
    caches.refresh({.icons = true, .types = true});
    EXPECT_THAT(calls(), ElementsAre(testing::_, "update-mime-database " + desktop.dataFolder + "/mime",
                                     "gtk-update-icon-cache --quiet --force --ignore-theme-index " + theme));
}

TEST_F(LinuxDesktopCachesTest, An_icon_cache_is_not_made_where_there_is_none_but_the_theme_is_touched) {
    installAll();
    ASSERT_TRUE(desktop.disk.createDirectoryWithIntermediates(theme, 0777));
    const timespec longAgo[2] = {{1000000000, 0}, {1000000000, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, theme.c_str(), longAgo, 0), 0);
    caches.refresh({.icons = true});
    EXPECT_THAT(calls(), IsEmpty());
    struct ::stat status;
    ASSERT_EQ(::stat(theme.c_str(), &status), 0);
    EXPECT_GT(status.st_mtime, 1000000000);
}

TEST_F(LinuxDesktopCachesTest, Missing_and_failing_programs_are_no_failure) {
    caches.refresh({.entries = true, .icons = true, .types = true});
    installAll("kill -9 $$");
    caches.refresh({.entries = true, .icons = true, .types = true});
    EXPECT_EQ(calls().size(), 2U);
}

TEST_F(LinuxDesktopCachesTest, What_the_programs_print_is_discarded) {
    installAll();
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    caches.refresh({.entries = true, .types = true});
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(calls().size(), 2U);
}

TEST_F(LinuxDesktopCachesTest, No_child_is_left_behind) {
    installAll();
    caches.refresh({.entries = true, .types = true});
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST_F(LinuxDesktopCachesTest, A_host_that_ignores_its_children_or_blocks_signals_changes_nothing) {
    install("update-mime-database", "kill -TERM $$; echo survived >> " + desktop.scratch.path("calls"));
    ::signal(SIGCHLD, SIG_IGN);
    ::signal(SIGTERM, SIG_IGN);
    sigset_t all;
    sigset_t before;
    ::sigfillset(&all);
    ::sigprocmask(SIG_BLOCK, &all, &before);
    caches.refresh({.types = true});
    ::sigprocmask(SIG_SETMASK, &before, nullptr);
    ::signal(SIGCHLD, SIG_DFL);
    ::signal(SIGTERM, SIG_DFL);
    EXPECT_THAT(calls(), ElementsAre("update-mime-database " + desktop.dataFolder + "/mime"));
}

} // namespace
} // namespace mox
