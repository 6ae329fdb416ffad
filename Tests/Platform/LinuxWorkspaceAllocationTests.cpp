#include "Platform/Linux/LinuxWorkspace.hpp"
#include "Platform/TrashInspection.hpp"
#include "Support/FailingAllocations.hpp"
#include "Support/FolderInspection.hpp"
#include "Support/ScratchFolder.hpp"

#include <gtest/gtest.h>

#include <new>
#include <optional>
#include <sys/stat.h>

namespace mox::test {
namespace {

/// How recycling ended, without memory at the `number`-th allocation of it: its result, or nil for an
/// exception.
std::optional<bool> recycle(LinuxWorkspace& workspace, const std::string& folder, std::size_t number,
                            bool& hasFailed) {
    const FailingAllocation failing(number);
    std::optional<bool> result;
    try {
        result = workspace.recycleItem(folder, "Word.app");
    } catch (const std::bad_alloc&) {
    }
    hasFailed = failing.hasFailed();
    return result;
}

TEST(RecyclingWithoutMemory, Leaves_the_item_at_its_old_path_or_in_the_trash_with_its_information) {
    std::size_t number = 1;
    bool hasFailed = true;
    for (; hasFailed; ++number) {
        SCOPED_TRACE(testing::Message() << "allocation " << number);
        const ScratchFolder folder;
        const std::string apps = folder.path("Apps");
        const std::string trash = folder.path("share/Trash");
        ASSERT_EQ(::mkdir(apps.c_str(), 0777), 0);
        folder.write("Apps/Word.app", "x");
        SystemCalls system;
        LinuxWorkspace workspace(system, {.dataFolder = folder.path("share"), .localTime = valentinesDay});
        const std::size_t descriptors = namesIn("/proc/self/fd").size();
        const std::optional<bool> result = recycle(workspace, apps, number, hasFailed);
        EXPECT_EQ(namesIn("/proc/self/fd").size(), descriptors);
        EXPECT_EQ(result, hasFailed ? std::nullopt : std::optional(true));
        const bool isAtItsPath = isThere(apps + "/Word.app");
        EXPECT_NE(isAtItsPath, isThere(trash + "/files/Word.app"));
        if (!isAtItsPath) {
            EXPECT_EQ(bytesOfFile(trash + "/info/Word.app.trashinfo"), informationAbout(apps + "/Word.app"));
        }
    }
    EXPECT_GE(number - 2, 10U);
}

} // namespace
} // namespace mox::test
