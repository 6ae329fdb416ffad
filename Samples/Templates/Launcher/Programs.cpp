#include "Programs.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <string_view>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace mox::launcher {
namespace {

bool isProgram(const std::string& path) {
    struct ::stat status = {};
    return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && ::access(path.c_str(), X_OK) == 0;
}

/// The argument vector of the program at `path`, pointing into both texts.
std::vector<char*> argumentVector(const std::string& path, const std::vector<std::string>& arguments) {
    // execv(3) writes nothing there.
    // NOLINTBEGIN(cppcoreguidelines-pro-type-const-cast)
    std::vector<char*> pointers = {const_cast<char*>(path.c_str())};
    for (const std::string& argument : arguments)
        pointers.push_back(const_cast<char*>(argument.c_str()));
    // NOLINTEND(cppcoreguidelines-pro-type-const-cast)
    pointers.push_back(nullptr);
    return pointers;
}

} // namespace

std::optional<std::string> pathOfProgram(const std::string& name) {
    if (name.starts_with('/')) return isProgram(name) ? std::optional(name) : std::nullopt;
    if (name.empty() || name.find('/') != name.npos) return std::nullopt;
    const char* variable = std::getenv("PATH");
    std::string_view folders = variable ? variable : "/usr/bin:/bin";
    while (!folders.empty()) {
        const std::size_t end = std::min(folders.find(':'), folders.size());
        const std::string_view folder = folders.substr(0, end);
        folders.remove_prefix(std::min(end + 1, folders.size()));
        if (!folder.starts_with('/')) continue;
        std::string path = std::string(folder) + "/" + name;
        if (isProgram(path)) return path;
    }
    return std::nullopt;
}

void becomeProgram(const std::string& path, const std::vector<std::string>& arguments) {
    ::execv(path.c_str(), argumentVector(path, arguments).data());
}

void runSilently(const std::string& path, const std::vector<std::string>& arguments) {
    posix_spawn_file_actions_t actions{};
    if (posix_spawn_file_actions_init(&actions) != 0) return;
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDWR, 0);
    posix_spawn_file_actions_adddup2(&actions, STDIN_FILENO, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, STDIN_FILENO, STDERR_FILENO);
    pid_t process = 0;
    const int error = ::posix_spawn(&process, path.c_str(), &actions, nullptr,
                                    argumentVector(path, arguments).data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) return;
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
}

} // namespace mox::launcher
