#pragma once

#include "Platform/Linux/LinuxFileSystem.hpp"
#include "Platform/Testing/FaultySystemCalls.hpp"
#include "Support/FolderInspection.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <string>

namespace mox::test {

/// The file system backend over system calls that can be let fail.
struct LinuxFileSystemStack {
    SystemCalls system;
    FaultySystemCalls calls{system};
    LinuxFileSystem fileSystem{calls};
};

/// Reasons for which system calls are let fail.
inline constexpr std::array errorNumbers = {ENOSPC, EIO, EACCES, EROFS, EDQUOT, EMFILE};

/// How many descriptors the process has open.
inline std::size_t openDescriptors() {
    return namesIn("/proc/self/fd").size();
}

/// Whether a name is that of a temporary item.
inline bool isTemporary(const std::string& name) {
    return name.starts_with(".mox-");
}

/// Calls `attempt` with 1, 2 and so on, the number of the call that it is to let fail, until it returns that
/// no call has failed; none may leave a descriptor open. Gives the number of calls that there were to fail.
template<typename Attempt>
std::size_t forEachFault(Attempt attempt) {
    for (std::size_t number = 1;; ++number) {
        SCOPED_TRACE(testing::Message() << "call " << number);
        const std::size_t descriptors = openDescriptors();
        const bool hasFired = attempt(number);
        EXPECT_EQ(openDescriptors(), descriptors);
        if (!hasFired || testing::Test::HasFatalFailure()) return number - 1;
    }
}

} // namespace mox::test
