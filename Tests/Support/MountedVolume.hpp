#pragma once

#include <functional>
#include <string>

namespace mox::test {

/// How something ended that was tried with a file system of its own.
enum class VolumeTrial { Succeeded, Failed, NotPossible };

/// Runs `body` in a process of its own in which a new, empty file system in memory is mounted on the folder
/// at `path`; nobody else sees it, and it goes with the process. The trial has failed when `body` returns
/// false, throws or ends the process. It is not possible where this user may not mount.
VolumeTrial tryOnMountedVolume(const std::string& path, const std::function<bool()>& body);

} // namespace mox::test
