#ifndef __linux__
#error "This is the Linux backend."
#endif

#include "Platform/Linux/DesktopCaches.hpp"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace mox {
namespace {

/// How a program is started: nothing to read, what it prints discarded, and the signals as they are by
/// default, whatever the host does with them.
class QuietStart {
public:
    QuietStart() {
        ::posix_spawn_file_actions_init(&_files);
        ::posix_spawn_file_actions_addopen(&_files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        ::posix_spawn_file_actions_addopen(&_files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        ::posix_spawn_file_actions_adddup2(&_files, STDOUT_FILENO, STDERR_FILENO);
        ::posix_spawnattr_init(&_attributes);
        sigset_t signals{};
        ::sigemptyset(&signals);
        ::posix_spawnattr_setsigmask(&_attributes, &signals);
        ::sigfillset(&signals);
        ::posix_spawnattr_setsigdefault(&_attributes, &signals);
        ::posix_spawnattr_setflags(&_attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    QuietStart(const QuietStart&) = delete;
    QuietStart& operator=(const QuietStart&) = delete;
    ~QuietStart() {
        ::posix_spawnattr_destroy(&_attributes);
        ::posix_spawn_file_actions_destroy(&_files);
    }

    /// 0, or an errno value.
    int start(pid_t& child, const std::vector<char*>& arguments) const {
        return ::posix_spawnp(&child, arguments[0], &_files, &_attributes, arguments.data(), environ);
    }

private:
    posix_spawn_file_actions_t _files{};
    posix_spawnattr_t _attributes{};
};

/// Runs a program, found by the environment's PATH, and waits for its end, however it ends.
void run(std::vector<std::string> command) {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (std::string& argument : command)
        arguments.push_back(argument.data());
    arguments.push_back(nullptr);
    pid_t child = 0;
    if (QuietStart().start(child, arguments) != 0) return;
    while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
}

} // namespace

LinuxDesktopCaches::LinuxDesktopCaches(std::string dataFolder) : _dataFolder(std::move(dataFolder)) {}

void LinuxDesktopCaches::refresh(const DesktopChanges& changes) {
    if (changes.types) run({"update-mime-database", _dataFolder + "/mime"});
    if (changes.entries) run({"update-desktop-database", "--quiet", _dataFolder + "/applications"});
    if (changes.icons) {
        const std::string theme = _dataFolder + "/icons/hicolor";
        const bool hasCache = ::access((theme + "/icon-theme.cache").c_str(), F_OK) == 0;
        if (hasCache) run({"gtk-update-icon-cache", "--quiet", "--force", "--ignore-theme-index", theme});
        // Where that program is missing, an old cache is passed over because the folder is newer.
        ::utimensat(AT_FDCWD, theme.c_str(), nullptr, 0);
    }
}

} // namespace mox
