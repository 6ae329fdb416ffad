#include "Platform/Linux/LinuxFileSystem.hpp"
#include "Platform/Linux/LinuxWorkspace.hpp"
#include "Platform/Testing/FaultySystemCalls.hpp"
#include "Platform/Testing/PowerLossSystemCalls.hpp"
#include "Platform/TrashInspection.hpp"
#include "Support/FolderInspection.hpp"
#include "Support/ScratchFolder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <optional>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

namespace mox::test {
namespace {

using Names = std::vector<std::string>;

constexpr std::array errorNumbers = {ENOSPC, EIO, EACCES, EROFS, EDQUOT, EMFILE};

// Small, so that there are several writes of the information.
constexpr std::size_t transferLimit = 60;

/// Where the recycled item may be.
enum class Place { AtItsOldPath, InTheTrash, Nowhere, TwoPlaces };

/// A scratch folder with the item "Word.app" in "Apps"; the Trash is "share/Trash", whether it is there or
/// made by the first recycling.
class Desk {
public:
    explicit Desk(bool hasTrash) {
        for (const std::string name : {"Apps", "Apps/Word.app"})
            make(name);
        folder.write("Apps/Word.app/content", "x");
        if (!hasTrash) return;
        for (const std::string name : {"share", "share/Trash", "share/Trash/files", "share/Trash/info"})
            make(name);
    }

    const ScratchFolder folder;
    const std::string apps = folder.path("Apps");
    const std::string item = folder.path("Apps/Word.app");
    const std::string trash = folder.path("share/Trash");
    const std::string inTrash = trash + "/files/Word.app";

    /// Where the whole item is; in the Trash only with whole information that names its old path.
    Place place() const {
        const bool isAtItsPath = isThere(item + "/content") && bytesOfFile(item + "/content") == "x";
        const bool isInTrash = isThere(inTrash + "/content") && bytesOfFile(inTrash + "/content") == "x" &&
                               isThere(trash + "/info/Word.app.trashinfo") &&
                               bytesOfFile(trash + "/info/Word.app.trashinfo") == informationAbout(item);
        if (isAtItsPath && isThere(inTrash)) return Place::TwoPlaces;
        if (isAtItsPath) return Place::AtItsOldPath;
        return isInTrash ? Place::InTheTrash : Place::Nowhere;
    }

    LinuxWorkspace::Surroundings surroundings() const {
        return {.dataFolder = folder.path("share"), .localTime = valentinesDay};
    }

private:
    void make(const std::string& name) { EXPECT_EQ(::mkdir(folder.path(name).c_str(), 0777), 0); }
};

/// A workspace on a desk, over calls that can be made to fail.
struct Stack {
    explicit Stack(const Desk& desk) : workspace(calls, desk.surroundings()) {
        calls.limitTransfers(transferLimit);
    }

    SystemCalls system;
    FaultySystemCalls calls{system};
    LinuxWorkspace workspace;
};

std::size_t openDescriptors() {
    return namesIn("/proc/self/fd").size();
}

/// Runs `trial` with the number of a call, from 1 on, until it tells that no fault has fired; gives how many
/// have.
template<typename Trial>
std::size_t faultsUntilNoneFires(Trial trial) {
    std::size_t number = 1;
    while (trial(number))
        ++number;
    return number - 1;
}

// Enough to have made the folders (when they are to be made), written the information and moved the item.
constexpr std::size_t callsWithTrash = 24;
constexpr std::size_t callsWithoutTrash = 40;

TEST(RecyclingWithFaults,
     A_single_failure_is_told_by_the_result_and_leaves_no_trace_of_the_item_in_the_trash) {
    for (const bool hasTrash : {false, true}) {
        for (const int errorNumber : errorNumbers) {
            const std::size_t faults = faultsUntilNoneFires([&](std::size_t number) {
                SCOPED_TRACE(testing::Message() << "call " << number << ", errno " << errorNumber);
                const Desk desk(hasTrash);
                Stack stack(desk);
                const std::size_t descriptorsBefore = openDescriptors();
                stack.calls.failCall(std::nullopt, number, errorNumber, FaultDuration::Once);
                const bool isRecycled = stack.workspace.recycleItem(desk.apps, "Word.app");
                EXPECT_EQ(openDescriptors(), descriptorsBefore);
                EXPECT_EQ(desk.place(), isRecycled ? Place::InTheTrash : Place::AtItsOldPath);
                if (!isRecycled) {
                    EXPECT_EQ(informationInTrash(desk.trash), Names());
                    EXPECT_EQ(itemsInTrash(desk.trash), Names());
                }
                const bool hasFired = stack.calls.faultsFired() > 0;
                // A second try succeeds.
                if (!isRecycled) {
                    EXPECT_TRUE(hasFired);
                    EXPECT_TRUE(stack.workspace.recycleItem(desk.apps, "Word.app"));
                    EXPECT_EQ(desk.place(), Place::InTheTrash);
                }
                return hasFired;
            });
            EXPECT_GE(faults, hasTrash ? callsWithTrash : callsWithoutTrash);
        }
    }
}

TEST(RecyclingWithFaults,
     Lasting_failures_leave_the_item_at_its_old_path_or_in_the_trash_as_the_result_tells) {
    for (const bool hasTrash : {false, true}) {
        for (const int errorNumber : errorNumbers) {
            const std::size_t faults = faultsUntilNoneFires([&](std::size_t number) {
                SCOPED_TRACE(testing::Message() << "call " << number << ", errno " << errorNumber);
                const Desk desk(hasTrash);
                Stack stack(desk);
                const std::size_t descriptorsBefore = openDescriptors();
                stack.calls.failCall(std::nullopt, number, errorNumber, FaultDuration::FromThenOn);
                const bool isRecycled = stack.workspace.recycleItem(desk.apps, "Word.app");
                EXPECT_EQ(openDescriptors(), descriptorsBefore);
                EXPECT_EQ(desk.place(), isRecycled ? Place::InTheTrash : Place::AtItsOldPath);
                return stack.calls.faultsFired() > 0;
            });
            EXPECT_GE(faults, hasTrash ? callsWithTrash : callsWithoutTrash);
        }
    }
}

TEST(RecyclingWithFaults, Interrupted_calls_are_made_again) {
    const Desk desk(false);
    Stack stack(desk);
    stack.calls.interruptFirstTries();
    EXPECT_TRUE(stack.workspace.recycleItem(desk.apps, "Word.app"));
    EXPECT_EQ(desk.place(), Place::InTheTrash);
}

TEST(RecyclingWithFaults, An_item_that_would_have_to_be_copied_to_the_trash_stays) {
    const Desk desk(true);
    Stack stack(desk);
    stack.calls.failCall(SystemCall::Renameat2, 1, EXDEV, FaultDuration::FromThenOn);
    EXPECT_FALSE(stack.workspace.recycleItem(desk.apps, "Word.app"));
    EXPECT_EQ(desk.place(), Place::AtItsOldPath);
    EXPECT_EQ(informationInTrash(desk.trash), Names());
}

TEST(RecyclingWithFaults, Where_there_is_no_rename_without_replacing_the_trash_looks_first) {
    for (const int errorNumber : {EINVAL, ENOSYS}) {
        const Desk desk(true);
        Stack stack(desk);
        stack.calls.failCall(SystemCall::Renameat2, 1, errorNumber, FaultDuration::FromThenOn);
        EXPECT_TRUE(stack.workspace.recycleItem(desk.apps, "Word.app"));
        EXPECT_EQ(desk.place(), Place::InTheTrash);
    }
}

TEST(RecyclingWithFaults, A_file_system_that_cannot_synchronise_folders_is_recycled_from) {
    const Desk desk(true);
    Stack stack(desk);
    // The first one is that of the information, the others are of folders.
    stack.calls.failCall(SystemCall::Fsync, 2, EINVAL, FaultDuration::FromThenOn);
    EXPECT_TRUE(stack.workspace.recycleItem(desk.apps, "Word.app"));
    EXPECT_EQ(desk.place(), Place::InTheTrash);
}

TEST(RecyclingWithFaults,
     When_the_move_cannot_be_made_safe_and_the_item_not_moved_back_it_counts_as_recycled) {
    const Desk desk(true);
    Stack stack(desk);
    const std::size_t fsyncsBeforeTheMove = 2;
    stack.calls.failCall(SystemCall::Fsync, fsyncsBeforeTheMove + 1, EIO, FaultDuration::Once);
    EXPECT_FALSE(stack.workspace.recycleItem(desk.apps, "Word.app"));
    EXPECT_EQ(desk.place(), Place::AtItsOldPath);
    EXPECT_EQ(informationInTrash(desk.trash), Names());
    // Kept as long as it is not certain where a power cut leaves the item.
    stack.calls.failCall(SystemCall::Fsync, fsyncsBeforeTheMove + 1, EIO, FaultDuration::FromThenOn);
    EXPECT_FALSE(stack.workspace.recycleItem(desk.apps, "Word.app"));
    EXPECT_EQ(desk.place(), Place::AtItsOldPath);
    EXPECT_EQ(informationInTrash(desk.trash), Names{"Word.app.trashinfo"});
}

TEST(RecyclingWithFaults, A_death_at_any_change_leaves_the_item_at_its_old_path_or_in_the_trash) {
    for (const bool hasTrash : {false, true}) {
        std::set<Place> places;
        const std::size_t deaths = faultsUntilNoneFires([&](std::size_t number) {
            SCOPED_TRACE(testing::Message() << "change " << number);
            const Desk desk(hasTrash);
            Stack stack(desk);
            stack.calls.dieAtChange(number);
            stack.workspace.recycleItem(desk.apps, "Word.app");
            places.insert(desk.place());
            const bool hasDied = stack.calls.faultsFired() > 0;
            stack.calls.stopFailing();
            // The next one can go on, whatever was left.
            if (desk.place() == Place::AtItsOldPath) {
                EXPECT_TRUE(stack.workspace.recycleItem(desk.apps, "Word.app"));
                EXPECT_FALSE(isThere(desk.item));
                EXPECT_EQ(itemsInTrash(desk.trash).size(), 1U);
            }
            return hasDied;
        });
        EXPECT_EQ(places, (std::set{Place::AtItsOldPath, Place::InTheTrash}));
        // The information opened, written twice at least, its mode, it and its name synchronised, the move,
        // and both of its folders; before that four folders made and synchronised.
        EXPECT_GE(deaths, hasTrash ? 9U : 17U);
    }
}

/// Where the item is in a state that a power cut left.
Place placeIn(const PowerLossSystemCalls::State& state, const std::string& information) {
    const auto holds = [&](const std::string& path, const std::string& content) {
        const auto found = state.find(path);
        return found != state.end() && found->second == content;
    };
    const bool isAtItsPath = holds("Apps/Word.app/content", "x");
    const bool hasInformation = holds("share/Trash/info/Word.app.trashinfo", information);
    if (isAtItsPath && state.contains("share/Trash/files/Word.app")) return Place::TwoPlaces;
    if (isAtItsPath) return Place::AtItsOldPath;
    return holds("share/Trash/files/Word.app/content", "x") && hasInformation ? Place::InTheTrash
                                                                              : Place::Nowhere;
}

/// What was tried, and where power cuts may leave the item after it.
struct AfterPowerLoss {
    bool hasSucceeded = false;
    bool hasDied = false;
    std::set<Place> places;
};

/// System calls that are left as they are.
class Honest : public ForwardingSystemCalls {
public:
    using ForwardingSystemCalls::ForwardingSystemCalls;
};

/// System calls that only pretend to synchronise.
class NeverSynchronises : public ForwardingSystemCalls {
public:
    using ForwardingSystemCalls::ForwardingSystemCalls;
    int fsync(int) override { return 0; }
    int syncfs(int) override { return 0; }
};

/// Recycles the item, and cuts the power at the `number`-th change or after the last one.
template<typename Calls = Honest>
AfterPowerLoss recycleAndLosePower(bool hasTrash, std::size_t number) {
    const Desk desk(hasTrash);
    SystemCalls system;
    FaultySystemCalls mortal(system);
    PowerLossSystemCalls disk(mortal, desk.folder.path());
    SystemCalls& booked = disk;
    Calls calls(booked);
    LinuxWorkspace workspace(calls, desk.surroundings());
    mortal.limitTransfers(transferLimit);
    mortal.dieAtChange(number);
    AfterPowerLoss after;
    after.hasSucceeded = workspace.recycleItem(desk.apps, "Word.app");
    after.hasDied = mortal.faultsFired() > 0;
    for (const PowerLossSystemCalls::State& state : disk.statesAfterPowerLoss())
        after.places.insert(placeIn(state, informationAbout(desk.item)));
    return after;
}

const std::set atItsPath = {Place::AtItsOldPath};
const std::set inTheTrash = {Place::InTheTrash};
const std::set atEither = {Place::AtItsOldPath, Place::InTheTrash};

TEST(RecyclingWithPowerCuts, A_cut_at_any_change_leaves_the_item_at_its_old_path_or_in_the_trash) {
    for (const bool hasTrash : {false, true}) {
        std::set<std::set<Place>> seen;
        const std::size_t deaths = faultsUntilNoneFires([&](std::size_t number) {
            SCOPED_TRACE(testing::Message() << "change " << number);
            const AfterPowerLoss after = recycleAndLosePower(hasTrash, number);
            EXPECT_TRUE(
                std::includes(atEither.begin(), atEither.end(), after.places.begin(), after.places.end()));
            // What was told to be done is so for good.
            if (!after.hasDied) {
                EXPECT_TRUE(after.hasSucceeded);
                EXPECT_EQ(after.places, inTheTrash);
            }
            seen.insert(after.places);
            return after.hasDied;
        });
        EXPECT_EQ(seen, (std::set<std::set<Place>>{atItsPath, atEither, inTheTrash}));
        EXPECT_GE(deaths, hasTrash ? 9U : 17U);
    }
}

TEST(RecyclingWithPowerCuts, Without_synchronisation_items_would_be_lost) {
    constexpr std::size_t afterTheLastChange = 1000;
    const AfterPowerLoss after = recycleAndLosePower<NeverSynchronises>(true, afterTheLastChange);
    EXPECT_TRUE(after.hasSucceeded);
    EXPECT_TRUE(after.places.contains(Place::Nowhere));
}

/// Moves the recycled item back, tells the workspace, and cuts the power at the `number`-th change.
template<typename Calls = Honest>
AfterPowerLoss moveOutAndLosePower(std::size_t number) {
    const Desk desk(true);
    SystemCalls system;
    EXPECT_TRUE(LinuxWorkspace(system, desk.surroundings()).recycleItem(desk.apps, "Word.app"));
    FaultySystemCalls mortal(system);
    PowerLossSystemCalls disk(mortal, desk.folder.path());
    SystemCalls& booked = disk;
    Calls calls(booked);
    mortal.dieAtChange(number);
    AfterPowerLoss after;
    if (LinuxFileSystem(calls).moveItem(desk.inTrash, desk.item)) {
        LinuxWorkspace(calls, desk.surroundings()).recycledItemMovedOut(desk.inTrash);
        after.hasSucceeded = informationInTrash(desk.trash).empty();
    }
    after.hasDied = mortal.faultsFired() > 0;
    for (const PowerLossSystemCalls::State& state : disk.statesAfterPowerLoss())
        after.places.insert(placeIn(state, informationAbout(desk.item)));
    return after;
}

TEST(RecyclingWithPowerCuts, A_cut_while_an_item_is_moved_out_leaves_none_in_the_trash_without_information) {
    const std::size_t deaths = faultsUntilNoneFires([&](std::size_t number) {
        SCOPED_TRACE(testing::Message() << "change " << number);
        const AfterPowerLoss after = moveOutAndLosePower(number);
        EXPECT_TRUE(
            std::includes(atEither.begin(), atEither.end(), after.places.begin(), after.places.end()));
        EXPECT_EQ(after.hasSucceeded, !after.hasDied);
        if (after.hasSucceeded) {
            EXPECT_EQ(after.places, atItsPath);
        }
        return after.hasDied;
    });
    // The move, the synchronisation, the removal of the information.
    EXPECT_EQ(deaths, 3U);
    constexpr std::size_t afterTheLastChange = 1000;
    EXPECT_TRUE(moveOutAndLosePower<NeverSynchronises>(afterTheLastChange).places.contains(Place::Nowhere));
}

TEST(ForgettingWithFaults,
     A_failure_of_any_call_keeps_the_information_or_removes_it_and_touches_nothing_else) {
    for (const FaultDuration duration : {FaultDuration::Once, FaultDuration::FromThenOn}) {
        for (const int errorNumber : errorNumbers) {
            const std::size_t faults = faultsUntilNoneFires([&](std::size_t number) {
                SCOPED_TRACE(testing::Message() << "call " << number << ", errno " << errorNumber);
                const Desk desk(true);
                Stack stack(desk);
                EXPECT_TRUE(stack.workspace.recycleItem(desk.apps, "Word.app"));
                EXPECT_EQ(::rename(desk.inTrash.c_str(), desk.item.c_str()), 0);
                const std::size_t descriptorsBefore = openDescriptors();
                stack.calls.resetCalls();
                stack.calls.failCall(std::nullopt, number, errorNumber, duration);
                stack.workspace.recycledItemMovedOut(desk.inTrash);
                const bool hasFired = stack.calls.faultsFired() > 0;
                stack.calls.stopFailing();
                EXPECT_EQ(openDescriptors(), descriptorsBefore);
                EXPECT_EQ(desk.place(), Place::AtItsOldPath);
                if (!hasFired) {
                    EXPECT_EQ(informationInTrash(desk.trash), Names());
                }
                stack.workspace.recycledItemMovedOut(desk.inTrash);
                EXPECT_EQ(informationInTrash(desk.trash), Names());
                return hasFired;
            });
            EXPECT_GE(faults, 15U);
        }
    }
}

} // namespace
} // namespace mox::test
