#pragma once

#include <cerrno>
#include <cstring>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <thread>

namespace mox::test {

/// Runs `body` in a thread that has the system's mounts to itself: what it mounts nobody else sees, and it
/// goes with the thread. Returns whether that was possible, for which rights are needed, else why not in
/// `reason`.
template<typename Body>
bool withPrivateMounts(std::string& reason, Body body) {
    bool hasRun = false;
    std::thread thread([&] {
        if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
            reason = std::string("mounts cannot be had for oneself: ") + std::strerror(errno);
            return;
        }
        hasRun = true;
        body();
    });
    thread.join();
    return hasRun;
}

/// Mounts a new file system in memory on `path`.
inline bool mountMemory(const std::string& path) {
    return ::mount("none", path.c_str(), "tmpfs", 0, nullptr) == 0;
}

/// Mounts the folder `source` on `path` once more.
inline bool mountBind(const std::string& source, const std::string& path) {
    return ::mount(source.c_str(), path.c_str(), nullptr, MS_BIND, nullptr) == 0;
}

} // namespace mox::test
