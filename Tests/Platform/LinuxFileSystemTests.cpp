#include "Platform/FileSystemContract.hpp"
#include "Platform/FileSystemErrors.hpp"
#include "Platform/LinuxFileSystemStack.hpp"
#include "Platform/Testing/PowerLossSystemCalls.hpp"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <limits>
#include <optional>
#include <set>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>

namespace mox::test {
namespace {

using Names = std::vector<std::string>;

using Stack = LinuxFileSystemStack;

INSTANTIATE_TEST_SUITE_P(Linux, FileSystemContract,
                         testing::Values(FileSystemKind{"File_system",
                                                        [] {
                                                            const auto stack = std::make_shared<Stack>();
                                                            return std::shared_ptr<FileSystem>(
                                                                stack, &stack->fileSystem);
                                                        }}),
                         nameOfKind);

// Every call interrupted at first and no transfer longer than 1000 bytes: the whole contract holds all the
// same.
INSTANTIATE_TEST_SUITE_P(Interrupted, FileSystemContract,
                         testing::Values(FileSystemKind{"Linux_file_system",
                                                        [] {
                                                            const auto stack = std::make_shared<Stack>();
                                                            stack->calls.interruptFirstTries();
                                                            stack->calls.limitTransfers(1000);
                                                            return std::shared_ptr<FileSystem>(
                                                                stack, &stack->fileSystem);
                                                        }}),
                         nameOfKind);

// Twenty bytes at a time, so that there are two writes.
constexpr std::size_t transferLimit = 20;
const std::string oldContent = "the old content";
const std::string newContent = "the new content, longer than that";
const std::vector<ByteView> newPieces = {"the new content", ", ", "longer than that"};

using enum SystemCall;
const std::vector<SystemCall> stepsOfAnAtomicWrite = {Open,   Fstatat, Getentropy, Openat,   Write, Write,
                                                      Fchmod, Fsync,   Close,      Renameat, Fsync, Close};
constexpr std::size_t changesOfAnAtomicWrite = 7;

class LinuxFileSystemTest : public testing::Test {
protected:
    const ScratchFolder folder;
    Stack stack;
    LinuxFileSystem& fileSystem = stack.fileSystem;
    FaultySystemCalls& calls = stack.calls;
};

/// The content of the file at `path`; nil when there is none.
std::optional<Bytes> contentAt(const std::string& path) {
    if (::access(path.c_str(), F_OK) != 0) return std::nullopt;
    return bytesOfFile(path);
}

TEST_F(LinuxFileSystemTest, An_atomic_write_synchronises_the_file_before_the_rename_and_the_folder_after_it) {
    calls.limitTransfers(transferLimit);
    ASSERT_TRUE(fileSystem.writeFileAtomically(folder.write("file", oldContent), newContent, std::nullopt));
    EXPECT_EQ(calls.calls(), stepsOfAnAtomicWrite);
}

TEST_F(LinuxFileSystemTest,
       A_failure_of_any_call_of_an_atomic_write_is_told_and_leaves_old_or_new_and_nothing_else) {
    for (const std::optional<Bytes>& old : {std::optional<Bytes>(oldContent), std::optional<Bytes>()}) {
        for (const int errorNumber : errorNumbers) {
            std::size_t number = 1;
            for (bool hasFired = true; hasFired; ++number) {
                SCOPED_TRACE(testing::Message() << "call " << number << ", errno " << errorNumber);
                const ScratchFolder scratch;
                const std::string path = scratch.path("file");
                if (old) scratch.write("file", *old);
                Stack run;
                run.calls.limitTransfers(transferLimit);
                run.calls.failCall(std::nullopt, number, errorNumber, FaultDuration::Once);
                const std::size_t descriptorsBefore = openDescriptors();
                const Result<void> result = run.fileSystem.writeFileAtomically(path, newContent, 0600);
                hasFired = run.calls.faultsFired() == 1;

                EXPECT_EQ(openDescriptors(), descriptorsBefore);
                EXPECT_EQ(namesIn(scratch.path()), contentAt(path) ? Names{"file"} : Names{});
                const bool isBeforeTheRename = number <= 10;
                const bool isSynchronisationOfTheFolder = number == 11;
                if (hasFired && (isBeforeTheRename || isSynchronisationOfTheFolder)) {
                    EXPECT_TRUE(
                        isFileSystemError(result, writeError(path, errorNumber).code(), path, errorNumber));
                } else {
                    // Nothing depends any more on whether the folder's descriptor could be closed.
                    EXPECT_TRUE(result);
                }
                EXPECT_EQ(contentAt(path), hasFired && isBeforeTheRename ? old : newContent);
            }
            EXPECT_EQ(number - 2, stepsOfAnAtomicWrite.size());
        }
    }
}

TEST_F(LinuxFileSystemTest, A_failure_of_all_calls_from_any_on_is_told_and_leaves_the_target_old_or_new) {
    for (const int errorNumber : errorNumbers) {
        std::size_t number = 1;
        for (bool hasFired = true; hasFired; ++number) {
            SCOPED_TRACE(testing::Message() << "call " << number << ", errno " << errorNumber);
            const ScratchFolder scratch;
            const std::string path = scratch.write("file", oldContent);
            Stack run;
            run.calls.limitTransfers(transferLimit);
            run.calls.failCall(std::nullopt, number, errorNumber, FaultDuration::FromThenOn);
            const std::size_t descriptorsBefore = openDescriptors();
            const Result<void> result = run.fileSystem.writeFileAtomically(path, newContent, std::nullopt);
            hasFired = run.calls.faultsFired() > 0;

            EXPECT_EQ(openDescriptors(), descriptorsBefore);
            EXPECT_EQ(bool(result), number >= 12);
            EXPECT_EQ(contentAt(path), number <= 10 ? oldContent : newContent);
            // What could not be removed either is hidden.
            Names names = namesIn(scratch.path());
            EXPECT_EQ(std::erase_if(names, isTemporary), number > 4 && number <= 10 ? 1U : 0U);
            EXPECT_EQ(names, Names{"file"});
        }
        EXPECT_EQ(number - 2, stepsOfAnAtomicWrite.size());
    }
}

TEST_F(LinuxFileSystemTest, After_death_at_any_change_of_an_atomic_write_the_file_is_the_old_or_the_new_one) {
    std::size_t number = 1;
    for (bool hasFired = true; hasFired; ++number) {
        SCOPED_TRACE(testing::Message() << "change " << number);
        const ScratchFolder scratch;
        const std::string path = scratch.write("file", oldContent);
        Stack run;
        run.calls.limitTransfers(transferLimit);
        run.calls.dieAtChange(number);
        const Result<void> result = run.fileSystem.writeFileAtomically(path, newContent, std::nullopt);
        hasFired = run.calls.faultsFired() > 0;
        EXPECT_EQ(bool(result), !hasFired);
        EXPECT_EQ(contentAt(path), number <= 6 ? oldContent : newContent);
        Names names = namesIn(scratch.path());
        std::erase_if(names, isTemporary);
        EXPECT_EQ(names, Names{"file"});
    }
    EXPECT_EQ(number - 2, changesOfAnAtomicWrite);
}

TEST_F(LinuxFileSystemTest, A_failure_of_any_call_while_pieces_are_written_leaves_old_or_new) {
    for (const auto duration : {FaultDuration::Once, FaultDuration::FromThenOn}) {
        for (const int errorNumber : errorNumbers) {
            std::size_t number = 1;
            for (bool hasFired = true; hasFired; ++number) {
                SCOPED_TRACE(testing::Message() << "call " << number << ", errno " << errorNumber);
                const ScratchFolder scratch;
                const std::string path = scratch.write("file", oldContent);
                Stack run;
                run.calls.limitTransfers(transferLimit);
                run.calls.failCall(std::nullopt, number, errorNumber, duration);
                const Result<void> result = run.fileSystem.writePiecesAtomically(path, newPieces, 0600);
                hasFired = run.calls.faultsFired() > 0;
                EXPECT_EQ(bool(result), number >= 12);
                EXPECT_EQ(contentAt(path), number <= 10 ? oldContent : newContent);
                Names names = namesIn(scratch.path());
                std::erase_if(names, isTemporary);
                EXPECT_EQ(names, Names{"file"});
            }
            EXPECT_EQ(number - 2, stepsOfAnAtomicWrite.size());
        }
    }
    calls.limitTransfers(transferLimit);
    ASSERT_TRUE(fileSystem.writePiecesAtomically(folder.write("file", oldContent), newPieces, std::nullopt));
    std::vector<SystemCall> steps = stepsOfAnAtomicWrite;
    std::replace(steps.begin(), steps.end(), Write, Writev);
    EXPECT_EQ(calls.calls(), steps);
}

/// What an atomic write over `oldContent` leaves behind after a power cut, of all that is possible.
struct AfterPowerLoss {
    bool hasSucceeded;
    bool hasDied;
    std::set<std::optional<Bytes>> contents;
};

/// Cuts the power at the `number`-th change of an atomic write, or after the last one when there are fewer.
/// `Broken` decorates the system calls.
template<typename Broken = ForwardingSystemCalls>
AfterPowerLoss writeAndLosePower(std::size_t number, const std::vector<ByteView>& pieces = {newContent}) {
    const ScratchFolder scratch;
    const std::string path = scratch.write("file", oldContent);
    SystemCalls system;
    FaultySystemCalls mortal(system);
    PowerLossSystemCalls disk(mortal, scratch.path());
    SystemCalls& booked = disk;
    Broken calls(booked);
    LinuxFileSystem fileSystem(calls);
    mortal.limitTransfers(transferLimit);
    mortal.dieAtChange(number);
    const bool hasSucceeded = bool(fileSystem.writePiecesAtomically(path, pieces, std::nullopt));
    const bool hasDied = mortal.faultsFired() > 0;
    mortal.stopFailing();

    AfterPowerLoss after = {hasSucceeded, hasDied, {}};
    for (const PowerLossSystemCalls::State& state : disk.statesAfterPowerLoss()) {
        disk.restart(state);
        after.contents.insert(contentAt(path));
        // A store that starts again there can go on.
        EXPECT_TRUE(fileSystem.writeFileAtomically(path, "next", std::nullopt));
        EXPECT_EQ(contentAt(path), "next");
    }
    return after;
}

TEST_F(LinuxFileSystemTest,
       After_a_power_cut_at_any_change_of_an_atomic_write_the_file_is_the_old_or_the_new_one) {
    std::size_t number = 1;
    for (bool hasDied = true; hasDied; ++number) {
        SCOPED_TRACE(testing::Message() << "change " << number);
        const AfterPowerLoss after = writeAndLosePower(number);
        EXPECT_EQ(writeAndLosePower(number, newPieces).contents, after.contents);
        hasDied = after.hasDied;
        EXPECT_EQ(after.hasSucceeded, !hasDied);
        std::set<std::optional<Bytes>> possible = {oldContent};
        // Renamed but not synchronised, it may be either; reported as done, it is the new one for good.
        if (number == 7) possible.insert(newContent);
        if (number > 7) possible = {newContent};
        EXPECT_EQ(after.contents, possible);
    }
    EXPECT_EQ(number - 2, changesOfAnAtomicWrite);
}

/// System calls that only pretend to synchronise files.
class NeverSynchronisesFiles : public ForwardingSystemCalls {
public:
    using ForwardingSystemCalls::ForwardingSystemCalls;
    int fsync(int descriptor) override {
        struct ::stat status;
        return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)
                   ? 0
                   : ForwardingSystemCalls::fsync(descriptor);
    }
};

/// System calls that only pretend to synchronise folders.
class NeverSynchronisesFolders : public ForwardingSystemCalls {
public:
    using ForwardingSystemCalls::ForwardingSystemCalls;
    int fsync(int descriptor) override {
        struct ::stat status;
        return fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode)
                   ? 0
                   : ForwardingSystemCalls::fsync(descriptor);
    }
};

constexpr std::size_t afterTheLastChange = 100;

TEST(PowerLossSystemCalls, Catch_a_write_that_renames_before_the_content_is_synchronised) {
    const AfterPowerLoss after = writeAndLosePower<NeverSynchronisesFiles>(afterTheLastChange);
    EXPECT_TRUE(after.hasSucceeded);
    EXPECT_TRUE(after.contents.contains(""));
    EXPECT_TRUE(after.contents.contains(newContent.substr(0, newContent.size() / 2)));
}

TEST(PowerLossSystemCalls, Catch_a_write_that_reports_success_before_the_folder_is_synchronised) {
    const AfterPowerLoss after = writeAndLosePower<NeverSynchronisesFolders>(afterTheLastChange);
    EXPECT_TRUE(after.hasSucceeded);
    EXPECT_EQ(after.contents, (std::set<std::optional<Bytes>>{oldContent, newContent}));
}

TEST(PowerLossSystemCalls, Catch_a_write_in_place) {
    const ScratchFolder scratch;
    const std::string path = scratch.write("file", oldContent);
    SystemCalls system;
    PowerLossSystemCalls disk(system, scratch.path());
    ASSERT_TRUE(LinuxFileSystem(disk).writeFileInPlace(path, newContent));
    std::set<std::optional<Bytes>> contents;
    for (const auto& state : disk.statesAfterPowerLoss())
        contents.insert(state.at("file"));
    EXPECT_EQ(contents, (std::set<std::optional<Bytes>>{
                            oldContent, newContent.substr(0, newContent.size() / 2), newContent}));
}

TEST(PowerLossSystemCalls, Take_moves_and_removals_as_lost_or_kept_each) {
    const ScratchFolder scratch;
    scratch.write("a", "1");
    scratch.write("b", "2");
    SystemCalls system;
    PowerLossSystemCalls disk(system, scratch.path());
    ASSERT_TRUE(LinuxFileSystem(disk).moveItem(scratch.path("a"), scratch.path("c")));
    ASSERT_EQ(disk.unlinkat(AT_FDCWD, scratch.path("b").c_str(), 0), 0);
    using State = PowerLossSystemCalls::State;
    EXPECT_EQ(
        disk.statesAfterPowerLoss(),
        (std::set<State>{{{"a", "1"}, {"b", "2"}}, {{"c", "1"}, {"b", "2"}}, {{"a", "1"}}, {{"c", "1"}}}));
}

TEST(PowerLossSystemCalls, Take_what_is_in_a_folder_along_when_that_is_moved) {
    const ScratchFolder scratch;
    ASSERT_EQ(::mkdir(scratch.path("a").c_str(), 0777), 0);
    scratch.write("a/x", "1");
    SystemCalls system;
    PowerLossSystemCalls disk(system, scratch.path());
    ASSERT_TRUE(LinuxFileSystem(disk).moveItem(scratch.path("a"), scratch.path("b")));
    using State = PowerLossSystemCalls::State;
    EXPECT_EQ(disk.statesAfterPowerLoss(),
              (std::set<State>{{{"a", std::nullopt}, {"a/x", "1"}}, {{"b", std::nullopt}, {"b/x", "1"}}}));
}

TEST_F(LinuxFileSystemTest, Folders_that_are_reported_as_made_survive_a_power_cut) {
    PowerLossSystemCalls disk(stack.system, folder.path());
    LinuxFileSystem safe(disk);
    ASSERT_TRUE(safe.createDirectoryWithIntermediates(folder.path("a/b/c"), 0700));
    using State = PowerLossSystemCalls::State;
    EXPECT_EQ(disk.statesAfterPowerLoss(),
              (std::set<State>{{{"a", std::nullopt}, {"a/b", std::nullopt}, {"a/b/c", std::nullopt}}}));
}

TEST_F(LinuxFileSystemTest, A_failure_of_any_call_of_making_folders_is_told_and_a_second_try_succeeds) {
    for (const int errorNumber : errorNumbers) {
        std::size_t number = 1;
        for (bool hasFired = true; hasFired; ++number) {
            SCOPED_TRACE(testing::Message() << "call " << number << ", errno " << errorNumber);
            const ScratchFolder scratch;
            const std::string path = scratch.path("a/b");
            Stack run;
            const std::size_t descriptorsBefore = openDescriptors();
            run.calls.failCall(std::nullopt, number, errorNumber, FaultDuration::Once);
            const Result<void> result = run.fileSystem.createDirectoryWithIntermediates(path, 0700);
            hasFired = run.calls.faultsFired() > 0;
            const SystemCall last = run.calls.calls().at(std::min(number, run.calls.calls().size()) - 1);
            EXPECT_EQ(openDescriptors(), descriptorsBefore);
            if (hasFired && last != Close) {
                EXPECT_TRUE(
                    isFileSystemError(result, writeError(path, errorNumber).code(), path, errorNumber));
            } else {
                EXPECT_TRUE(result);
            }
            run.calls.stopFailing();
            EXPECT_TRUE(run.fileSystem.createDirectoryWithIntermediates(path, 0700));
        }
        // Three looks; a folder, and its parent opened, synchronised and closed, twice.
        EXPECT_EQ(number - 2, 11U);
    }
}

TEST_F(LinuxFileSystemTest, A_failure_of_any_call_of_a_reading_is_told) {
    const std::string path = folder.write("file", oldContent);
    for (const int errorNumber : errorNumbers) {
        std::size_t number = 1;
        for (bool hasFired = true; hasFired; ++number) {
            SCOPED_TRACE(testing::Message() << "call " << number << ", errno " << errorNumber);
            Stack run;
            run.calls.failCall(std::nullopt, number, errorNumber, FaultDuration::Once);
            const Result<Bytes> result = run.fileSystem.contentsOfFile(path);
            hasFired = run.calls.faultsFired() > 0;
            const bool isClosing = number == 4;
            if (hasFired && !isClosing) {
                EXPECT_TRUE(
                    isFileSystemError(result, readError(path, errorNumber).code(), path, errorNumber));
            } else {
                ASSERT_TRUE(result);
                EXPECT_EQ(*result, oldContent);
            }
        }
        // Open, look, read, close.
        EXPECT_EQ(number - 2, 4U);
    }
}

TEST_F(LinuxFileSystemTest, A_failure_of_any_call_of_a_write_in_place_is_told) {
    const std::string path = folder.path("file");
    for (const int errorNumber : errorNumbers) {
        std::size_t number = 1;
        for (bool hasFired = true; hasFired; ++number) {
            Stack run;
            run.calls.failCall(std::nullopt, number, errorNumber, FaultDuration::Once);
            const Result<void> result = run.fileSystem.writeFileInPlace(path, newContent);
            hasFired = run.calls.faultsFired() > 0;
            if (hasFired) {
                EXPECT_TRUE(
                    isFileSystemError(result, writeError(path, errorNumber).code(), path, errorNumber));
            } else {
                EXPECT_TRUE(result);
                EXPECT_EQ(bytesOfFile(path), newContent);
            }
        }
        // Open, look, write, close.
        EXPECT_EQ(number - 2, 4U);
    }
}

TEST_F(LinuxFileSystemTest, A_look_at_an_item_that_fails_finds_it_inaccessible_not_missing) {
    for (const int errorNumber : errorNumbers) {
        calls.failCall(Stat, 1, errorNumber, FaultDuration::Once);
        EXPECT_EQ(fileSystem.itemKindAtPath(folder.path()), ItemKind::Inaccessible);
    }
}

TEST_F(LinuxFileSystemTest, A_folder_that_cannot_be_synchronised_at_all_is_no_failure_but_such_a_file_is) {
    const std::string path = folder.path("file");
    calls.failCall(Fsync, 2, EINVAL, FaultDuration::Once);
    EXPECT_TRUE(fileSystem.writeFileAtomically(path, "one", std::nullopt));
    calls.failCall(Fsync, 1, EINVAL, FaultDuration::Once);
    EXPECT_TRUE(
        isFileSystemError(fileSystem.writeFileAtomically(path, "two", std::nullopt), 512, path, EINVAL));
    EXPECT_EQ(bytesOfFile(path), "one");
    calls.failCall(Fsync, 1, EINVAL, FaultDuration::Once);
    EXPECT_TRUE(fileSystem.createDirectoryWithIntermediates(folder.path("a"), 0777));
}

TEST_F(LinuxFileSystemTest, An_interrupted_close_is_neither_repeated_nor_a_failure) {
    calls.failCall(Close, 1, EINTR, FaultDuration::Once);
    EXPECT_TRUE(fileSystem.writeFileAtomically(folder.path("file"), "x", std::nullopt));
    const auto made = calls.calls();
    EXPECT_EQ(std::count(made.begin(), made.end(), Close), 2);
}

TEST_F(LinuxFileSystemTest, Where_there_is_no_rename_without_replacing_a_move_looks_first) {
    const std::string source = folder.write("source", "source");
    const std::string taken = folder.write("taken", "taken");
    for (const int errorNumber : {EINVAL, ENOSYS}) {
        calls.failCall(Renameat2, 1, errorNumber, FaultDuration::FromThenOn);
        EXPECT_TRUE(isFileSystemError(fileSystem.moveItem(source, taken), 516, taken, EEXIST));
        EXPECT_EQ(bytesOfFile(taken), "taken");
        ASSERT_TRUE(fileSystem.moveItem(source, folder.path("new")));
        EXPECT_EQ(bytesOfFile(folder.path("new")), "source");
        ASSERT_TRUE(fileSystem.moveItem(folder.path("new"), source));
    }
    EXPECT_EQ(namesIn(folder.path()), (Names{"source", "taken"}));
}

/// Keeps what is opened, with which flags.
class RecordsOpening : public ForwardingSystemCalls {
public:
    using ForwardingSystemCalls::ForwardingSystemCalls;
    int open(const char* path, int flags, mode_t mode) override {
        opened.emplace_back(path, flags);
        return ForwardingSystemCalls::open(path, flags, mode);
    }
    int openat(int folder, const char* path, int flags, mode_t mode) override {
        opened.emplace_back(path, flags);
        return ForwardingSystemCalls::openat(folder, path, flags, mode);
    }
    std::vector<std::pair<std::string, int>> opened;
};

TEST_F(LinuxFileSystemTest, The_temporary_file_is_hidden_new_every_time_and_not_inherited_by_other_programs) {
    RecordsOpening recorder(stack.system);
    LinuxFileSystem recorded(recorder);
    const std::string path = folder.path("file");
    ASSERT_TRUE(recorded.writeFileAtomically(path, "1", std::nullopt));
    ASSERT_TRUE(recorded.writeFileAtomically(path, "2", std::nullopt));
    std::set<std::string> temporaries;
    for (const auto& [opened, flags] : recorder.opened) {
        EXPECT_NE(flags & O_CLOEXEC, 0);
        if ((flags & O_CREAT) == 0) continue;
        EXPECT_EQ(flags & (O_EXCL | O_NOFOLLOW), O_EXCL | O_NOFOLLOW);
        EXPECT_TRUE(opened.starts_with(".mox-")) << opened << ": in the open folder";
        EXPECT_EQ(opened.size(), std::string(".mox-").size() + 32);
        temporaries.insert(opened);
    }
    EXPECT_EQ(temporaries.size(), 2U);
}

TEST_F(LinuxFileSystemTest, An_atomic_write_leaves_nothing_behind_in_a_folder_that_somebody_moves_meanwhile) {
    for (std::size_t number = 2; number <= stepsOfAnAtomicWrite.size(); ++number) {
        SCOPED_TRACE(number);
        const ScratchFolder scratch;
        ASSERT_EQ(::mkdir(scratch.path("folder").c_str(), 0700), 0);
        scratch.write("folder/file", oldContent);
        calls.limitTransfers(transferLimit);
        calls.actBefore(number, [&] {
            ASSERT_EQ(::rename(scratch.path("folder").c_str(), scratch.path("moved").c_str()), 0);
            ASSERT_EQ(::mkdir(scratch.path("folder").c_str(), 0700), 0);
        });
        EXPECT_TRUE(fileSystem.writeFileAtomically(scratch.path("folder/file"), newContent, std::nullopt));
        EXPECT_EQ(namesIn(scratch.path("folder")), Names());
        EXPECT_EQ(namesIn(scratch.path("moved")), Names{"file"});
        EXPECT_EQ(contentAt(scratch.path("moved/file")), newContent);
    }
}

TEST_F(LinuxFileSystemTest, A_file_that_is_private_is_so_from_the_first_moment) {
    const ScopedUmask mask(0);
    const std::string path = folder.path("file");
    FaultySystemCalls mortal(stack.system);
    // Opening, writing, and then death before the mode can be set.
    mortal.dieAtChange(3);
    EXPECT_FALSE(LinuxFileSystem(mortal).writeFileAtomically(path, "secret", 0600));
    const Names names = namesIn(folder.path());
    ASSERT_EQ(names.size(), 1U);
    EXPECT_EQ(modeOf(folder.path(names.front())), 0600U);
}

/// Lets the file grow once between the look at its size and the first read.
class GrowsTheFile : public ForwardingSystemCalls {
public:
    GrowsTheFile(SystemCalls& target, std::string path)
        : ForwardingSystemCalls(target), _path(std::move(path)) {}
    ssize_t read(int descriptor, void* buffer, std::size_t size) override {
        if (!std::exchange(_hasGrown, true)) {
            const std::string more(100'000, 'm');
            const int file = ::open(_path.c_str(), O_WRONLY | O_APPEND);
            EXPECT_EQ(::write(file, more.data(), more.size()), ssize_t{100'000});
            ::close(file);
        }
        return ForwardingSystemCalls::read(descriptor, buffer, size);
    }

private:
    std::string _path;
    bool _hasGrown = false;
};

TEST_F(LinuxFileSystemTest, A_file_that_grows_while_it_is_read_is_read_to_its_new_end) {
    const std::string path = folder.write("file", "start");
    GrowsTheFile growing(stack.system, path);
    const Result<Bytes> read = LinuxFileSystem(growing).contentsOfFile(path);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->size(), 100'005U);
    EXPECT_TRUE(read->starts_with("startmm"));
}

TEST_F(LinuxFileSystemTest, A_read_that_stops_before_the_size_of_the_file_is_not_taken_for_its_end) {
    const std::string path = folder.write("file", "content");
    Stack run;
    run.calls.limitTransfers(3);
    run.calls.failCall(SystemCall::Read, 2, EIO, FaultDuration::Once);
    const Result<Bytes> read = run.fileSystem.contentsOfFile(path);
    EXPECT_TRUE(isFileSystemError(read, readError(path, EIO).code(), path, EIO));
}

TEST_F(LinuxFileSystemTest, A_file_whose_size_the_system_does_not_know_is_read_whole) {
    const Result<Bytes> read = fileSystem.contentsOfFile("/proc/self/status");
    ASSERT_TRUE(read);
    EXPECT_TRUE(read->starts_with("Name:"));
    EXPECT_TRUE(read->ends_with("\n"));
}

/// Says that files are as large as files can be.
class ExaggeratesSizes : public ForwardingSystemCalls {
public:
    using ForwardingSystemCalls::ForwardingSystemCalls;
    int fstat(int descriptor, struct ::stat* status) override {
        const int result = ForwardingSystemCalls::fstat(descriptor, status);
        status->st_size = std::numeric_limits<off_t>::max();
        return result;
    }
};

TEST_F(LinuxFileSystemTest, A_file_that_no_memory_can_hold_is_an_error) {
    const std::string path = folder.write("file", "x");
    ExaggeratesSizes exaggerating(stack.system);
    EXPECT_TRUE(isFileSystemError(LinuxFileSystem(exaggerating).contentsOfFile(path), 256, path, EFBIG));
}

TEST_F(LinuxFileSystemTest, A_file_that_only_claims_to_be_huge_takes_no_memory) {
    const std::string path = folder.write("file", "x");
    ASSERT_EQ(::truncate(path.c_str(), (off_t{1} << 32) + 1), 0);
    EXPECT_TRUE(isFileSystemError(fileSystem.contentsOfFile(path), 256, path, EFBIG));
}

TEST_F(LinuxFileSystemTest, What_is_too_long_to_be_read_again_is_not_written) {
    const std::string path = folder.write("file", "old");
    constexpr std::size_t length = (std::size_t{1} << 32) + 1;
    void* const bytes =
        ::mmap(nullptr, length, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(bytes, MAP_FAILED);
    const Result<void> written =
        fileSystem.writeFileAtomically(path, {static_cast<const char*>(bytes), length}, std::nullopt);
    ::munmap(bytes, length);
    EXPECT_TRUE(isFileSystemError(written, 512, path, EFBIG));
    EXPECT_EQ(bytesOfFile(path), "old");
}

} // namespace
} // namespace mox::test
