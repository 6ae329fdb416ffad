#include "Support/MountedVolume.hpp"

#include <cerrno>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace mox::test {
namespace {

constexpr int succeeded = 0;
constexpr int failed = 1;
constexpr int notPossible = 2;

bool writeText(const char* path, const std::string& text) {
    const int file = ::open(path, O_WRONLY | O_CLOEXEC);
    if (file < 0) return false;
    const bool isWritten = ::write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    return ::close(file) == 0 && isWritten;
}

/// Makes this process one that sees its own mounts.
bool separateMounts() {
    const uid_t user = ::geteuid();
    const gid_t group = ::getegid();
    if (user == 0) return ::unshare(CLONE_NEWNS) == 0;
    return ::unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0 && writeText("/proc/self/setgroups", "deny") &&
           writeText("/proc/self/uid_map", std::to_string(user) + " " + std::to_string(user) + " 1") &&
           writeText("/proc/self/gid_map", std::to_string(group) + " " + std::to_string(group) + " 1");
}

int runInChild(const std::string& path, const std::function<bool()>& body) {
    if (!separateMounts() || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("volume", path.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, "size=1m,mode=0777") != 0)
        return notPossible;
    try {
        return body() ? succeeded : failed;
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "%s\n", exception.what());
        return failed;
    }
}

} // namespace

VolumeTrial tryOnMountedVolume(const std::string& path, const std::function<bool()>& body) {
    // What waits to be written must not be written twice.
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child < 0) throw std::system_error(errno, std::generic_category(), "fork");
    if (child == 0) {
        const int status = runInChild(path, body);
        std::fflush(nullptr);
        ::_exit(status);
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) throw std::system_error(errno, std::generic_category(), "waitpid");
    }
    if (!WIFEXITED(status)) return VolumeTrial::Failed;
    switch (WEXITSTATUS(status)) {
    case succeeded:
        return VolumeTrial::Succeeded;
    case notPossible:
        return VolumeTrial::NotPossible;
    default:
        return VolumeTrial::Failed;
    }
}

} // namespace mox::test
