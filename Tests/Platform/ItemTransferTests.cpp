#include "Platform/FileSystemContract.hpp"
#include "Platform/FileSystemErrors.hpp"
#include "Platform/LinuxFileSystemStack.hpp"
#include "Platform/PrivateMounts.hpp"
#include "Platform/Testing/PowerLossSystemCalls.hpp"
#include "Platform/TreeSamples.hpp"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <fstream>
#include <set>
#include <sys/resource.h>
#include <unistd.h>
#include <utility>

namespace mox::test {
namespace {

using Names = std::vector<std::string>;
using Tree = std::map<std::string, std::string>;
using enum SystemCall;

/// As if each two paths were on two devices.
class EveryPathOnADeviceOfItsOwn : public ForwardingSystemCalls {
public:
    using ForwardingSystemCalls::ForwardingSystemCalls;
    int renameat2(int sourceFolder, const char* source, int destinationFolder, const char* destination,
                  unsigned flags) override {
        if (sourceFolder != AT_FDCWD) {
            return ForwardingSystemCalls::renameat2(sourceFolder, source, destinationFolder, destination,
                                                    flags);
        }
        errno = EXDEV;
        return -1;
    }
};

/// As if the system said so, too.
class EveryPathOnAMountOfItsOwn : public EveryPathOnADeviceOfItsOwn {
public:
    using EveryPathOnADeviceOfItsOwn::EveryPathOnADeviceOfItsOwn;
    int statx(int folder, const char* path, int flags, unsigned mask, struct ::statx* status) override {
        const int result = ForwardingSystemCalls::statx(folder, path, flags, mask, status);
        if (folder == AT_FDCWD) status->stx_mnt_id = ++_mounts;
        return result;
    }

private:
    std::uint64_t _mounts = 0;
};

template<typename Devices>
struct StackOverDevices {
    SystemCalls system;
    Devices devices{system};
    FaultySystemCalls calls{devices};
    LinuxFileSystem fileSystem{calls};
};

using StackAcrossDevices = StackOverDevices<EveryPathOnADeviceOfItsOwn>;

// Moves are copies and removals then, and the whole contract holds all the same.
INSTANTIATE_TEST_SUITE_P(AcrossDevices, FileSystemContract,
                         testing::Values(FileSystemKind{"Linux_file_system",
                                                        [] {
                                                            const auto stack =
                                                                std::make_shared<StackAcrossDevices>();
                                                            return std::shared_ptr<FileSystem>(
                                                                stack, &stack->fileSystem);
                                                        }}),
                         nameOfKind);

bool exists(const std::string& path) {
    struct ::stat status;
    return ::lstat(path.c_str(), &status) == 0;
}

/// The tree at `path`; empty when there is none.
Tree treeOrNothingAt(const std::string& path) {
    return exists(path) ? treeAt(path) : Tree();
}

/// How many of the calls so far were of the kind `call`.
std::size_t callsOf(const FaultySystemCalls& calls, SystemCall call) {
    const auto all = calls.calls();
    return static_cast<std::size_t>(std::count(all.begin(), all.end(), call));
}

Names withoutTemporaries(Names names) {
    std::erase_if(names, isTemporary);
    return names;
}

/// Surroundings of one attempt: a tree, and a folder where it is to go.
template<typename Stack>
struct Place {
    Place() {
        makeSampleTree(folder, "tree");
        makeFolder(folder, "destination");
        original = treeAt(source);
        stack.calls.limitTransfers(20);
    }

    const ScratchFolder folder;
    const std::string source = folder.path("tree");
    const std::string destination = folder.path("destination");
    const std::string arrival = folder.path("destination/new");
    Tree original;
    Stack stack;
};

using CopyPlace = Place<LinuxFileSystemStack>;
using MovePlace = Place<StackAcrossDevices>;

TEST(ItemCopy, A_failure_of_any_call_is_told_and_leaves_nothing_behind) {
    for (const int errorNumber : errorNumbers) {
        SCOPED_TRACE(testing::Message() << "errno " << errorNumber);
        const std::size_t calls = forEachFault([&](std::size_t number) {
            CopyPlace place;
            place.stack.calls.failCall(std::nullopt, number, errorNumber, FaultDuration::Once);
            const auto result = place.stack.fileSystem.copyItem(place.source, place.destination, "new");
            const bool hasFired = place.stack.calls.faultsFired() > 0;
            if (result) {
                EXPECT_TRUE(!hasFired || place.stack.calls.calls().at(number - 1) == Close);
                EXPECT_EQ(namesIn(place.destination), Names{"new"});
                EXPECT_EQ(treeAt(place.arrival), place.original);
            } else {
                EXPECT_TRUE(isFileSystemError(result, writeError(place.source, errorNumber).code(),
                                              place.source, errorNumber));
                EXPECT_EQ(namesIn(place.destination), Names{});
            }
            EXPECT_EQ(treeAt(place.source), place.original);
            return hasFired;
        });
        EXPECT_GT(calls, 50U);
    }
}

TEST(ItemCopy, A_failure_leaves_nothing_of_directories_behind_that_may_not_be_written_to) {
    const std::size_t calls = forEachFault([&](std::size_t number) {
        const ScratchFolder folder;
        const WithoutPrivileges user(folder);
        makeSampleTree(folder, "tree");
        makeFolder(folder, "destination");
        EXPECT_EQ(::chmod(folder.path("tree/a").c_str(), 0500), 0);
        EXPECT_EQ(::chmod(folder.path("tree").c_str(), 0500), 0);
        LinuxFileSystemStack stack;
        stack.calls.failCall(std::nullopt, number, EIO, FaultDuration::Once);
        const auto result = stack.fileSystem.copyItem(folder.path("tree"), folder.path("destination"), "new");
        EXPECT_EQ(namesIn(folder.path("destination")), result ? Names{"new"} : Names{});
        return stack.calls.faultsFired() > 0;
    });
    EXPECT_GT(calls, 50U);
}

TEST(ItemCopy, A_failure_of_all_calls_from_any_on_leaves_the_whole_copy_or_none_at_its_place) {
    for (const int errorNumber : errorNumbers) {
        SCOPED_TRACE(testing::Message() << "errno " << errorNumber);
        forEachFault([&](std::size_t number) {
            CopyPlace place;
            place.stack.calls.failCall(std::nullopt, number, errorNumber, FaultDuration::FromThenOn);
            const auto result = place.stack.fileSystem.copyItem(place.source, place.destination, "new");
            const bool hasFired = place.stack.calls.faultsFired() > 0;
            EXPECT_EQ(treeAt(place.source), place.original);
            const Tree copy = treeOrNothingAt(place.arrival);
            EXPECT_TRUE(copy.empty() || copy == place.original);
            if (result) {
                // All but the folder's descriptor was closed already.
                EXPECT_TRUE(!hasFired || place.stack.calls.faultsFired() == 1);
                EXPECT_FALSE(copy.empty());
            }
            // What could not be removed either is hidden.
            EXPECT_EQ(withoutTemporaries(namesIn(place.destination)), copy.empty() ? Names{} : Names{"new"});
            return hasFired;
        });
    }
}

TEST(ItemCopy, After_death_at_any_change_the_whole_copy_is_at_its_place_or_none) {
    const std::size_t changes = forEachFault([&](std::size_t number) {
        CopyPlace place;
        place.stack.calls.dieAtChange(number);
        const auto result = place.stack.fileSystem.copyItem(place.source, place.destination, "new");
        const bool hasDied = place.stack.calls.faultsFired() > 0;
        EXPECT_EQ(bool(result), !hasDied);
        EXPECT_EQ(treeAt(place.source), place.original);
        const Tree copy = treeOrNothingAt(place.arrival);
        EXPECT_TRUE(copy.empty() || copy == place.original);
        // A second try is not kept from succeeding by what is left.
        place.stack.calls.stopFailing();
        EXPECT_EQ(bool(place.stack.fileSystem.copyItem(place.source, place.destination, "new")),
                  copy.empty());
        EXPECT_EQ(withoutTemporaries(namesIn(place.destination)), Names{"new"});
        return hasDied;
    });
    EXPECT_GT(changes, 15U);
}

TEST(ItemCopy, A_copy_whose_name_cannot_be_made_safe_is_taken_back) {
    CopyPlace place;
    const auto rehearsal = place.stack.fileSystem.copyItem(place.source, place.destination, "rehearsal");
    ASSERT_TRUE(rehearsal);
    place.stack.calls.failCall(Fsync, callsOf(place.stack.calls, Fsync), EIO, FaultDuration::Once);
    const auto result = place.stack.fileSystem.copyItem(place.source, place.destination, "new");
    EXPECT_TRUE(isFileSystemError(result, 512, place.source, EIO));
    EXPECT_EQ(namesIn(place.destination), Names{"rehearsal"});
}

TEST(ItemCopy, Folders_that_cannot_be_synchronised_at_all_are_no_failure) {
    const ScratchFolder folder;
    makeFolder(folder, "tree");
    LinuxFileSystemStack stack;
    stack.calls.failCall(Fsync, 1, EINVAL, FaultDuration::FromThenOn);
    EXPECT_TRUE(stack.fileSystem.copyItem(folder.path("tree"), folder.path(), "copy"));
}

using State = PowerLossSystemCalls::State;

/// What is below `name` in a state, by the path from there on; nil when nothing is at `name`.
std::optional<State> stateBelow(const State& state, const std::string& name) {
    if (!state.contains(name)) return std::nullopt;
    State below;
    for (const auto& [path, content] : state) {
        if (path.starts_with(name + "/")) below[path.substr(name.size())] = content;
    }
    return below;
}

const State sampleState = {{"/a", std::nullopt},
                           {"/a/file", "a content that takes two writes"},
                           {"/a/link@", "../file"},
                           {"/empty", std::nullopt},
                           {"/file", "x"}};

/// What a copy, or a move across devices, leaves at its place after a power cut, of all that is possible.
struct AfterPowerLoss {
    bool hasSucceeded;
    bool hasDied;
    std::set<std::optional<State>> sources;
    std::set<std::optional<State>> arrivals;
    bool isAlwaysWholeSomewhere;
};

enum class Transfer { Copy, MoveAcrossDevices };

/// Cuts the power at the `number`-th change, or after the last one when there are fewer. `Broken` decorates
/// the system calls.
template<typename Broken = ForwardingSystemCalls>
AfterPowerLoss transferAndLosePower(Transfer transfer, std::size_t number) {
    const ScratchFolder folder;
    makeSampleTree(folder, "tree");
    makeFolder(folder, "destination");
    SystemCalls system;
    EveryPathOnADeviceOfItsOwn devices(system);
    FaultySystemCalls mortal(devices);
    PowerLossSystemCalls disk(mortal, folder.path());
    SystemCalls& booked = disk;
    Broken calls(booked);
    LinuxFileSystem fileSystem(calls);
    mortal.limitTransfers(20);
    mortal.dieAtChange(number);
    const bool hasSucceeded =
        transfer == Transfer::Copy
            ? bool(fileSystem.copyItem(folder.path("tree"), folder.path("destination"), "new"))
            : bool(fileSystem.moveItem(folder.path("tree"), folder.path("destination/new")));
    AfterPowerLoss after = {hasSucceeded, mortal.faultsFired() > 0, {}, {}, true};
    for (const State& state : disk.statesAfterPowerLoss()) {
        const auto source = stateBelow(state, "tree");
        const auto arrival = stateBelow(state, "destination/new");
        after.sources.insert(source);
        after.arrivals.insert(arrival);
        if (source != sampleState && arrival != sampleState) after.isAlwaysWholeSomewhere = false;
    }
    return after;
}

TEST(ItemCopy, After_a_power_cut_at_any_change_the_whole_copy_is_at_its_place_or_none) {
    forEachFault([](std::size_t number) {
        const AfterPowerLoss after = transferAndLosePower(Transfer::Copy, number);
        EXPECT_EQ(after.hasSucceeded, !after.hasDied);
        EXPECT_EQ(after.sources, std::set<std::optional<State>>{sampleState});
        if (after.hasSucceeded) {
            EXPECT_EQ(after.arrivals, std::set<std::optional<State>>{sampleState});
        } else {
            for (const auto& arrival : after.arrivals)
                EXPECT_TRUE(!arrival || arrival == sampleState);
        }
        return after.hasDied;
    });
}

/// System calls that only pretend to synchronise items of a kind.
template<mode_t kind>
class NeverSynchronises : public ForwardingSystemCalls {
public:
    using ForwardingSystemCalls::ForwardingSystemCalls;
    int fsync(int descriptor) override {
        struct ::stat status;
        return fstat(descriptor, &status) == 0 && (status.st_mode & S_IFMT) == kind
                   ? 0
                   : ForwardingSystemCalls::fsync(descriptor);
    }
};

TEST(PowerLossSystemCalls, Catch_a_copy_that_is_renamed_before_its_files_or_its_folders_are_safe) {
    constexpr std::size_t afterTheLastChange = 1000;
    const AfterPowerLoss files =
        transferAndLosePower<NeverSynchronises<S_IFREG>>(Transfer::Copy, afterTheLastChange);
    State emptied = sampleState;
    emptied["/a/file"] = emptied["/file"] = "";
    EXPECT_TRUE(files.hasSucceeded);
    EXPECT_TRUE(files.arrivals.contains(emptied));
    const AfterPowerLoss folders =
        transferAndLosePower<NeverSynchronises<S_IFDIR>>(Transfer::Copy, afterTheLastChange);
    State withoutLink = sampleState;
    withoutLink.erase("/a/link@");
    EXPECT_TRUE(folders.hasSucceeded);
    EXPECT_TRUE(folders.arrivals.contains(withoutLink));
    EXPECT_TRUE(folders.arrivals.contains(std::nullopt));
}

TEST(ItemMove, After_a_power_cut_at_any_change_of_a_move_across_devices_the_item_is_whole_somewhere) {
    forEachFault([](std::size_t number) {
        const AfterPowerLoss after = transferAndLosePower(Transfer::MoveAcrossDevices, number);
        EXPECT_EQ(after.hasSucceeded, !after.hasDied);
        EXPECT_TRUE(after.isAlwaysWholeSomewhere);
        for (const auto& arrival : after.arrivals)
            EXPECT_TRUE(!arrival || arrival == sampleState);
        return after.hasDied;
    });
}

TEST(ItemMove, A_failure_of_any_call_of_a_move_across_devices_is_told_and_the_item_stays_whole_somewhere) {
    for (const FaultDuration duration : {FaultDuration::Once, FaultDuration::FromThenOn}) {
        for (const int errorNumber : errorNumbers) {
            SCOPED_TRACE(testing::Message() << "errno " << errorNumber);
            const std::size_t calls = forEachFault([&](std::size_t number) {
                MovePlace place;
                place.stack.calls.failCall(std::nullopt, number, errorNumber, duration);
                const auto result = place.stack.fileSystem.moveItem(place.source, place.arrival);
                const bool hasFired = place.stack.calls.faultsFired() > 0;
                const Tree left = treeOrNothingAt(place.source);
                const Tree arrived = treeOrNothingAt(place.arrival);
                EXPECT_TRUE(arrived.empty() || arrived == place.original);
                EXPECT_TRUE(!arrived.empty() || left == place.original);
                if (result) {
                    EXPECT_TRUE(left.empty());
                } else {
                    EXPECT_FALSE(left.empty());
                    EXPECT_TRUE(isFileSystemError(result, writeError(place.source, errorNumber).code(),
                                                  place.source, errorNumber));
                }
                if (duration == FaultDuration::Once) {
                    EXPECT_EQ(namesIn(place.destination), arrived.empty() ? Names{} : Names{"new"});
                }
                return hasFired;
            });
            EXPECT_GT(calls, 70U);
        }
    }
}

TEST(ItemMove, What_cannot_be_removed_by_its_name_is_not_copied_across_devices) {
    const ScratchFolder folder;
    makeSampleTree(folder, "tree");
    StackAcrossDevices stack;
    for (const std::string source : {"tree/.", "tree/a/..", "tree/a/../"}) {
        EXPECT_TRUE(isFileSystemError(stack.fileSystem.moveItem(folder.path(source), folder.path("new")), 512,
                                      folder.path(source), EINVAL));
    }
    EXPECT_EQ(namesIn(folder.path()), Names{"tree"});
}

/// Lets `meddle` do something to the place just before each of the calls of a copy in turn, and `check` judge
/// afterwards.
template<typename Meddle, typename Check>
void meddleBeforeEachCall(Meddle meddle, Check check) {
    const std::size_t calls = forEachFault([&](std::size_t number) {
        CopyPlace place;
        bool hasActed = false;
        place.stack.calls.actBefore(number, [&] {
            hasActed = true;
            meddle(place);
        });
        check(place, place.stack.fileSystem.copyItem(place.source, place.destination, "new"));
        return hasActed;
    });
    EXPECT_GT(calls, 50U);
}

TEST(ItemCopy, Files_are_copied_within_the_system) {
    CopyPlace place;
    ASSERT_TRUE(place.stack.fileSystem.copyItem(place.source, place.destination, "new"));
    EXPECT_EQ(treeAt(place.arrival), place.original);
    EXPECT_EQ(callsOf(place.stack.calls, CopyFileRange), 3U);
    EXPECT_EQ(callsOf(place.stack.calls, Read), 0U);
}

TEST(ItemCopy, Where_the_system_does_not_copy_by_itself_files_are_read_and_written) {
    for (const int refusal : {EXDEV, EINVAL, EOPNOTSUPP, ENOSYS, EPERM}) {
        for (const std::size_t refused : {1U, 2U, 3U}) {
            SCOPED_TRACE(testing::Message() << "errno " << refusal << " at call " << refused);
            CopyPlace place;
            place.stack.calls.failCall(CopyFileRange, refused, refusal, FaultDuration::FromThenOn);
            ASSERT_TRUE(place.stack.fileSystem.copyItem(place.source, place.destination, "new"));
            EXPECT_EQ(treeAt(place.arrival), place.original);
            // Who has refused once is not asked again.
            EXPECT_EQ(place.stack.calls.faultsFired(), 1U);
        }
    }
}

TEST(ItemCopy, A_failure_of_any_call_of_a_copy_that_the_system_refuses_is_told_and_leaves_nothing_behind) {
    class RefusesToCopy : public ForwardingSystemCalls {
    public:
        using ForwardingSystemCalls::ForwardingSystemCalls;
        ssize_t copy_file_range(int, int, std::size_t) override {
            errno = EXDEV;
            return -1;
        }
    };
    const std::size_t calls = forEachFault([](std::size_t number) {
        Place<StackOverDevices<RefusesToCopy>> place;
        place.stack.calls.failCall(std::nullopt, number, EIO, FaultDuration::Once);
        const auto result = place.stack.fileSystem.copyItem(place.source, place.destination, "new");
        const bool hasFired = place.stack.calls.faultsFired() > 0;
        if (result) {
            EXPECT_TRUE(!hasFired || place.stack.calls.calls().at(number - 1) == Close);
            EXPECT_EQ(treeAt(place.arrival), place.original);
        } else {
            EXPECT_TRUE(isFileSystemError(result, 512, place.source, EIO));
            EXPECT_EQ(namesIn(place.destination), Names{});
        }
        return hasFired;
    });
    EXPECT_GT(calls, 50U);
}

TEST(ItemCopy, A_file_that_the_system_takes_for_empty_by_mistake_is_copied_whole) {
    class CopiesNothing : public ForwardingSystemCalls {
    public:
        using ForwardingSystemCalls::ForwardingSystemCalls;
        ssize_t copy_file_range(int, int, std::size_t) override { return 0; }
    };
    Place<StackOverDevices<CopiesNothing>> place;
    ASSERT_TRUE(place.stack.fileSystem.copyItem(place.source, place.destination, "new"));
    EXPECT_EQ(treeAt(place.arrival), place.original);
}

TEST(ItemCopy, A_file_whose_size_the_system_does_not_know_is_copied_whole) {
    const ScratchFolder folder;
    LinuxFileSystemStack stack;
    ASSERT_TRUE(stack.fileSystem.copyItem("/proc/version", folder.path(), "copy"));
    EXPECT_TRUE(bytesOfFile(folder.path("copy")).ends_with("\n"));
    EXPECT_EQ(bytesOfFile(folder.path("copy")), bytesOfFile("/proc/version"));
}

TEST(ItemCopy, A_file_that_grows_or_shrinks_meanwhile_is_copied_as_it_was_at_one_time_or_the_other) {
    const std::string before = "a content that takes two writes";
    for (const std::string& after :
         {before + " and one more than that", before.substr(0, 25), std::string()}) {
        std::set<Bytes> copies;
        meddleBeforeEachCall(
            [&](const CopyPlace& place) {
                // The same file, so that who has it open sees it change.
                std::ofstream(place.folder.path("tree/a/file"), std::ios::binary) << after;
            },
            [&](const CopyPlace& place, const Result<std::string>& result) {
                ASSERT_TRUE(result);
                copies.insert(bytesOfFile(place.arrival + "/a/file"));
            });
        std::set<Bytes> allowed = {before, after};
        // It had become another one when 20 bytes of it were copied.
        allowed.insert(before.substr(0, std::max<std::size_t>(20, after.size())));
        EXPECT_TRUE(std::includes(allowed.begin(), allowed.end(), copies.begin(), copies.end()));
        EXPECT_TRUE(copies.contains(before));
        EXPECT_TRUE(copies.contains(after));
    }
}

bool holdsSecret(const std::string& path) {
    for (const auto& [name, item] : treeAt(path)) {
        if (item.find("secret") != item.npos && item.find("-> ") == item.npos) return true;
    }
    return false;
}

TEST(ItemCopy, A_link_put_in_place_of_something_in_the_source_meanwhile_is_not_followed) {
    for (const std::string victim : {"tree", "tree/a", "tree/a/file", "tree/file"}) {
        std::size_t replacements = 0;
        meddleBeforeEachCall(
            [&](const CopyPlace& place) {
                if (::rename(place.folder.path(victim).c_str(), place.folder.path("away").c_str()) != 0)
                    return;
                makeFolder(place.folder, "outside");
                place.folder.write("outside/file", "secret");
                makeLink(place.folder, victim,
                         place.folder.path(victim.ends_with("file") ? "outside/file" : "outside"));
                ++replacements;
            },
            [](const CopyPlace& place, const Result<std::string>& result) {
                EXPECT_FALSE(holdsSecret(place.destination));
                EXPECT_EQ(namesIn(place.destination), result ? Names{"new"} : Names{});
            });
        EXPECT_GT(replacements, 20U);
    }
}

TEST(ItemCopy, A_link_put_in_place_of_the_staged_copy_meanwhile_leads_nothing_astray) {
    std::size_t replacements = 0;
    meddleBeforeEachCall(
        [&](const CopyPlace& place) {
            makeFolder(place.folder, "outside");
            for (const std::string& name : namesIn(place.destination)) {
                if (!isTemporary(name)) continue;
                const std::string staged = place.destination + "/" + name;
                if (::rename(staged.c_str(), place.folder.path("away").c_str()) != 0) continue;
                makeLink(place.folder, "destination/" + name, place.folder.path("outside"));
                ++replacements;
            }
        },
        [](const CopyPlace& place, const Result<std::string>&) {
            EXPECT_TRUE(!exists(place.folder.path("outside")) ||
                        namesIn(place.folder.path("outside")).empty());
            EXPECT_EQ(treeAt(place.source), place.original);
        });
    EXPECT_GT(replacements, 20U);
}

TEST(ItemCopy, What_takes_the_copy_s_name_meanwhile_is_not_replaced) {
    std::size_t failures = 0;
    meddleBeforeEachCall(
        [](const CopyPlace& place) {
            if (!exists(place.arrival)) place.folder.write("destination/new", "another's");
        },
        [&](const CopyPlace& place, const Result<std::string>& result) {
            if (result) {
                EXPECT_EQ(treeAt(place.arrival), place.original);
                return;
            }
            ++failures;
            EXPECT_TRUE(isFileSystemError(result, 516, place.arrival, EEXIST));
            EXPECT_EQ(bytesOfFile(place.arrival), "another's");
            EXPECT_EQ(namesIn(place.destination), Names{"new"});
        });
    EXPECT_GT(failures, 50U);
}

TEST(ItemCopy, A_destination_moved_elsewhere_meanwhile_gets_the_copy_there) {
    meddleBeforeEachCall(
        [](const CopyPlace& place) {
            if (::rename(place.destination.c_str(), place.folder.path("moved").c_str()) == 0)
                makeFolder(place.folder, "destination");
        },
        [](const CopyPlace& place, const Result<std::string>& result) {
            ASSERT_TRUE(result);
            const std::string moved = place.folder.path("moved/new");
            EXPECT_EQ(treeAt(exists(moved) ? moved : place.arrival), place.original);
        });
}

TEST(ItemCopy, A_tree_of_5000_levels_is_copied_and_moved_with_few_descriptors) {
    const ScratchFolder folder;
    constexpr int levels = 5000;
    makeDeepTree(folder, "tree", levels);
    struct ::rlimit before;
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const ::rlimit few = {openDescriptors() + 40, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
    StackAcrossDevices stack;
    const bool isCopied = bool(stack.fileSystem.copyItem(folder.path("tree"), folder.path(), "copy"));
    const bool isMoved = bool(stack.fileSystem.moveItem(folder.path("copy"), folder.path("moved")));
    const auto depth = depthOfTree(folder.path("moved"));
    const bool isRemoved = bool(stack.fileSystem.removeItem(folder.path("tree"))) &&
                           bool(stack.fileSystem.removeItem(folder.path("moved")));
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_TRUE(isCopied && isMoved && isRemoved);
    EXPECT_EQ(depth, std::make_pair(levels, true));
    EXPECT_EQ(namesIn(folder.path()), Names{});
}

TEST(ItemCopy, Nobody_else_can_look_into_a_copy_before_it_is_whole) {
    const ScopedUmask mask(0);
    std::size_t looks = 0;
    meddleBeforeEachCall(
        [&](const CopyPlace& place) {
            for (const std::string& name : namesIn(place.destination)) {
                if (!isTemporary(name)) continue;
                const Tree staged = treeAt(place.destination + "/" + name);
                EXPECT_TRUE(staged.size() == place.original.size() || staged.at("") == std::to_string(0700));
                ++looks;
            }
        },
        [](const CopyPlace&, const Result<std::string>& result) { EXPECT_TRUE(result); });
    EXPECT_GT(looks, 20U);
}

/// A new folder that is on another device than the scratch folders; an empty path when there is none.
class FolderOnAnotherDevice {
public:
    FolderOnAnotherDevice() {
        struct ::stat here;
        struct ::stat there;
        if (::stat(_scratch.path().c_str(), &here) != 0) return;
        for (const std::string parent : {"/var/tmp", "/tmp", "/dev/shm"}) {
            if (::stat(parent.c_str(), &there) != 0 || there.st_dev == here.st_dev) continue;
            std::string made = parent + "/moxsubscribe-test-XXXXXX";
            if (::mkdtemp(made.data()) == nullptr) continue;
            path = made;
            return;
        }
    }
    FolderOnAnotherDevice(const FolderOnAnotherDevice&) = delete;
    FolderOnAnotherDevice& operator=(const FolderOnAnotherDevice&) = delete;
    ~FolderOnAnotherDevice() {
        SystemCalls system;
        EXPECT_TRUE(path.empty() || LinuxFileSystem(system).removeItem(path));
    }

    std::string path;

private:
    const ScratchFolder _scratch;
};

TEST(ItemMove, An_item_moves_from_one_real_device_to_another) {
    const ScratchFolder folder;
    const FolderOnAnotherDevice other;
    if (other.path.empty()) GTEST_SKIP() << "there is no second device to write to";
    makeSampleTree(folder, "tree");
    makeLink(folder, "link", "tree");
    const Tree original = treeAt(folder.path("tree"));
    LinuxFileSystemStack stack;
    ASSERT_TRUE(stack.fileSystem.moveItem(folder.path("tree"), other.path + "/new/"));
    ASSERT_TRUE(stack.fileSystem.moveItem(folder.path("link"), other.path + "/link"));
    EXPECT_EQ(namesIn(folder.path()), Names{});
    EXPECT_EQ(namesIn(other.path), (Names{"link", "new"}));
    EXPECT_EQ(treeAt(other.path + "/new"), original);
    makeFolder(folder, "taken");
    EXPECT_TRUE(isFileSystemError(stack.fileSystem.moveItem(other.path + "/new", folder.path("taken")), 516,
                                  folder.path("taken"), EEXIST));
    EXPECT_TRUE(isFileSystemError(stack.fileSystem.moveItem(other.path + "/none", folder.path("new")), 4,
                                  other.path + "/none", ENOENT));
    EXPECT_EQ(treeAt(other.path + "/new"), original);
    EXPECT_EQ(namesIn(folder.path()), Names{"taken"});
}

TEST(ItemStaging, A_move_from_a_real_other_device_is_staged_as_a_hidden_copy_without_extension) {
    const ScratchFolder folder;
    const FolderOnAnotherDevice other;
    if (other.path.empty()) GTEST_SKIP() << "there is no second device to write to";
    makeSampleTree(folder, "tree.app");
    const Tree original = treeAt(folder.path("tree.app"));
    LinuxFileSystemStack stack;
    const auto staged = stack.fileSystem.stageForMove(folder.path("tree.app"), other.path + "/new.app");
    ASSERT_TRUE(staged);
    ASSERT_TRUE(staged->starts_with(other.path + "/.mox-"));
    EXPECT_EQ(staged->size(), (other.path + "/.mox-").size() + 32);
    EXPECT_EQ(staged->find('.', other.path.size() + 2), staged->npos);
    EXPECT_EQ(treeAt(*staged), original);
    EXPECT_EQ(treeAt(folder.path("tree.app")), original);
    stack.calls.resetCalls();
    ASSERT_TRUE(stack.fileSystem.moveItem(*staged, other.path + "/new.app"));
    EXPECT_EQ(stack.calls.calls(), std::vector<SystemCall>{Renameat2});
    EXPECT_EQ(namesIn(other.path), Names{"new.app"});
}

TEST(ItemStaging, Two_mounts_of_one_file_system_count_as_two) {
    const ScratchFolder folder;
    makeFolder(folder, "tree");
    makeFolder(folder, "destination");
    makeFolder(folder, "mounted");
    std::string reason;
    const bool hasRun = withPrivateMounts(reason, [&] {
        ASSERT_TRUE(mountBind(folder.path("destination"), folder.path("mounted")));
        LinuxFileSystemStack stack;
        const auto staged = stack.fileSystem.stageForMove(folder.path("tree"), folder.path("mounted/new"));
        ASSERT_TRUE(staged);
        EXPECT_TRUE(staged->starts_with(folder.path("mounted/.mox-"))) << *staged;
        EXPECT_TRUE(stack.fileSystem.moveItem(*staged, folder.path("mounted/new")));
        EXPECT_TRUE(stack.fileSystem.moveItem(folder.path("tree"), folder.path("mounted/moved")));
    });
    if (!hasRun) GTEST_SKIP() << reason;
    EXPECT_EQ(namesIn(folder.path("destination")), (Names{"moved", "new"}));
}

TEST(ItemStaging, A_failure_of_any_call_is_told_and_leaves_nothing_behind) {
    for (const int errorNumber : errorNumbers) {
        SCOPED_TRACE(testing::Message() << "errno " << errorNumber);
        forEachFault([&](std::size_t number) {
            Place<StackOverDevices<EveryPathOnAMountOfItsOwn>> place;
            place.stack.calls.failCall(std::nullopt, number, errorNumber, FaultDuration::Once);
            const auto result = place.stack.fileSystem.stageForMove(place.source, place.arrival);
            const bool hasFired = place.stack.calls.faultsFired() > 0;
            if (result) {
                EXPECT_TRUE(!hasFired || place.stack.calls.calls().at(number - 1) == Close);
                EXPECT_EQ(treeAt(*result), place.original);
            } else {
                EXPECT_TRUE(isFileSystemError(result, writeError(place.source, errorNumber).code(),
                                              place.source, errorNumber));
                EXPECT_EQ(namesIn(place.destination), Names{});
            }
            EXPECT_EQ(treeAt(place.source), place.original);
            return hasFired;
        });
    }
}

} // namespace
} // namespace mox::test
