#include "Platform/FolderEventsContract.hpp"
#include "Platform/Linux/LinuxFolderEvents.hpp"
#include "Platform/Linux/LinuxRunLoop.hpp"
#include "Platform/Testing/FaultySystemCalls.hpp"
#include "Platform/Testing/SteppedRunLoops.hpp"
#include "Platform/Testing/SteppedWatchCalls.hpp"

#include <gmock/gmock.h>

#include <filesystem>
#include <random>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

namespace mox::test {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Ge;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::UnorderedElementsAre;
using testing::UnorderedElementsAreArray;

/// The system itself. Batches come a moment after the change; waiting for one has a limit that only a failure
/// meets.
class SystemEvents : public FolderEventsKind {
public:
    FolderEvents& folderEvents() override { return _folderEvents; }
    std::shared_ptr<RunLoop> runLoop() override { return _runLoops.currentRunLoop(); }
    std::chrono::milliseconds latency() const override { return 1ms; }

    void deliver(const std::function<bool()>& isEnough) override {
        do {
            if (!runLoop()->runOnce(defaultRunLoopMode, isEnough() ? 0s : 20s)) return;
        } while (!isEnough());
    }

private:
    SystemCalls _system;
    WatchCalls _calls;
    LinuxFolderEvents _folderEvents{_system, _calls};
    LinuxRunLoops _runLoops;
};

/// The system's events with a clock that is stepped by hand.
class SteppedEvents : public FolderEventsKind {
public:
    FolderEvents& folderEvents() override { return _folderEvents; }
    std::shared_ptr<RunLoop> runLoop() override { return _runLoops.currentRunLoop(); }
    std::chrono::milliseconds latency() const override { return 1s; }

    void deliver(const std::function<bool()>&) override {
        handleDue();
        calls.advance(latency());
        handleDue();
    }

    void handleDue() {
        while (runLoop()->runOnce(defaultRunLoopMode, 0ms)) {
        }
    }

    SteppedWatchCalls calls;

private:
    SystemCalls _ownSystem;

public:
    FaultySystemCalls system{_ownSystem};

private:
    LinuxFolderEvents _folderEvents{system, calls};
    LinuxRunLoops _runLoops;
};

INSTANTIATE_TEST_SUITE_P(
    Linux, FolderEventsContract,
    testing::Values(NamedFolderEvents{"System", [] { return std::make_unique<SystemEvents>(); }},
                    NamedFolderEvents{"SteppedByHand", [] { return std::make_unique<SteppedEvents>(); }}),
    [](const testing::TestParamInfo<NamedFolderEvents>& instance) { return instance.param.name; });

class LinuxFolderEventsTest : public FolderEventsTest {
protected:
    LinuxFolderEventsTest() : FolderEventsTest(std::make_unique<SteppedEvents>()) {}

    SteppedEvents& events = static_cast<SteppedEvents&>(*kind);
    SteppedWatchCalls& calls = events.calls;

    /// Lets what has no watch be looked at, then the window close.
    Paths batchAfterPoll() {
        events.handleDue();
        calls.advance(LinuxFolderEvents::pollInterval);
        return nextBatch();
    }

    /// How many watches the way to the root takes.
    std::size_t watchesOfRoute() {
        watch();
        const std::size_t count = calls.watchCount() - foldersIn(root).size();
        stream.reset();
        return count;
    }

    /// All folders at and below `top` outside of packages.
    static std::set<std::string> foldersIn(const std::string& top) {
        std::set<std::string> folders = {top};
        for (auto entry = std::filesystem::recursive_directory_iterator(top);
             entry != std::filesystem::recursive_directory_iterator(); ++entry) {
            if (entry->is_symlink() || !entry->is_directory()) continue;
            if (entry->path().extension() == ".app")
                entry.disable_recursion_pending();
            else
                folders.insert(entry->path());
        }
        return folders;
    }

    /// Expects that a change in each folder, and no other, is told by its path.
    void expectAllWatched() {
        const std::set<std::string> folders = foldersIn(root);
        for (const std::string& each : folders)
            folder.write(each.substr(folder.path().size() + 1) + "/touched", "");
        EXPECT_THAT(nextBatch(), UnorderedElementsAreArray(folders));
    }
};

TEST_F(LinuxFolderEventsTest, The_window_closes_a_latency_after_the_first_change_and_never_later) {
    makeFolder("Root/A");
    watch();
    write("Root/1");
    events.handleDue();
    for (const char* const name : {"Root/2", "Root/A/3", "Root/4"}) {
        calls.advance(300ms);
        write(name);
        events.handleDue();
        EXPECT_THAT(batches, IsEmpty());
    }
    calls.advance(99ms);
    events.handleDue();
    EXPECT_THAT(batches, IsEmpty());
    calls.advance(1ms);
    events.handleDue();
    EXPECT_THAT(batches, ElementsAre(ElementsAre(root, root + "/A")));
}

TEST_F(LinuxFolderEventsTest, The_next_window_opens_with_the_next_change) {
    watch();
    write("Root/1");
    EXPECT_THAT(nextBatch(), ElementsAre(root));
    calls.advance(700ms);
    events.handleDue();
    write("Root/2");
    events.handleDue();
    calls.advance(999ms);
    events.handleDue();
    EXPECT_THAT(batches, IsEmpty());
    calls.advance(1ms);
    events.handleDue();
    EXPECT_THAT(batches, ElementsAre(ElementsAre(root)));
}

TEST_F(LinuxFolderEventsTest, What_waits_to_be_read_when_the_window_closes_belongs_to_the_batch) {
    makeFolder("Root/A");
    watch();
    write("Root/1");
    events.handleDue();
    write("Root/A/2");
    calls.advance(1s);
    events.handleDue();
    EXPECT_THAT(batches, ElementsAre(ElementsAre(root, root + "/A")));
}

TEST_F(LinuxFolderEventsTest, A_stream_destroyed_while_its_window_is_open_delivers_nothing) {
    watch();
    write("Root/1");
    events.handleDue();
    stream.reset();
    calls.advance(1s);
    events.handleDue();
    EXPECT_THAT(batches, IsEmpty());
    EXPECT_EQ(calls.watchCount(), 0U);
}

TEST_F(LinuxFolderEventsTest, Nothing_in_a_package_has_a_watch) {
    makeFolders({"Root/A.app", "Root/A.app/Contents", "Root/B", "Root/.app"});
    watch();
    makeFolders({"Root/C.app", "Root/C.app/Contents"});
    events.handleDue();
    EXPECT_THAT(calls.watchedPaths, Not(Contains(testing::HasSubstr("A.app"))));
    EXPECT_THAT(calls.watchedPaths, Not(Contains(testing::HasSubstr("C.app"))));
    EXPECT_THAT(calls.watchedPaths, Contains(root + "/B"));
    EXPECT_THAT(calls.watchedPaths, Contains(root + "/.app"));
}

TEST_F(LinuxFolderEventsTest, Without_queues_left_there_is_no_stream) {
    for (const std::size_t count : {0U, 1U}) {
        calls.queuesLeft = count;
        EXPECT_EQ(kind->folderEvents().createStream(root, 1s, [](const Paths&) {}), nullptr);
    }
    calls.queuesLeft = 2;
    EXPECT_NE(kind->folderEvents().createStream(root, 1s, [](const Paths&) {}), nullptr);
}

TEST_F(LinuxFolderEventsTest, A_run_loop_that_is_not_the_systems_starts_no_stream) {
    stream = kind->folderEvents().createStream(root, 1s, [](const Paths&) {});
    SteppedRunLoops others;
    stream->schedule(others.currentRunLoop(), defaultRunLoopMode);
    EXPECT_FALSE(stream->start());
}

TEST_F(LinuxFolderEventsTest, Folders_that_appear_between_watching_and_listing_are_found_once) {
    makeFolder("Root/A");
    calls.afterAddWatch = [&](const std::string& watched) {
        if (watched != root + "/A") return;
        calls.afterAddWatch = nullptr;
        makeFolders({"Root/A/B", "Root/A/B/C"});
        write("Root/A/B/C/file");
    };
    watch();
    EXPECT_THAT(nextBatch(), Contains(root + "/A"));
    expectAllWatched();
}

TEST_F(LinuxFolderEventsTest, A_folder_that_goes_between_watching_and_listing_is_forgotten) {
    makeFolders({"Root/A", "Root/A/B"});
    calls.afterAddWatch = [&](const std::string& watched) {
        if (watched == root + "/A") removeAll("Root/A");
    };
    watch();
    EXPECT_THAT(nextBatch(), Contains(root));
    calls.afterAddWatch = nullptr;
    makeFolders({"Root/A", "Root/A/B"});
    EXPECT_THAT(nextBatch(), Contains(root));
    expectAllWatched();
}

TEST_F(LinuxFolderEventsTest, A_folder_that_is_renamed_while_it_is_being_found_keeps_its_watch) {
    watch();
    makeFolders({"Root/A", "Root/A/B"});
    calls.afterAddWatch = [&](const std::string& watched) {
        if (watched != root + "/A") return;
        calls.afterAddWatch = nullptr;
        move("Root/A", "Root/Z");
    };
    EXPECT_THAT(nextBatch(), Contains(root));
    expectAllWatched();
}

TEST_F(LinuxFolderEventsTest, Folders_that_swap_names_before_either_event_is_read_end_under_the_right_ones) {
    watch();
    makeFolders({"Root/A", "Root/A/InFirst"});
    move("Root/A", "Root/B");
    makeFolders({"Root/A", "Root/A/InSecond"});
    move("Root/A", "Root/C");
    move("Root/B", "Root/A");
    EXPECT_THAT(nextBatch(), Contains(root));
    // What was taken for another folder meanwhile is looked at again.
    batchAfterPoll();
    expectAllWatched();
}

TEST_F(LinuxFolderEventsTest, Lost_events_are_a_change_of_the_root_and_what_they_told_of_is_found) {
    makeFolders({"Root/A", "Root/A/Deep", "Root/B", "Root/Gone", "Out"});
    const std::size_t others = watchesOfRoute();
    watch();
    makeFolders({"Root/New", "Root/New/Deep"});
    move("Root/A", "Root/Renamed");
    remove("Root/Gone");
    move("Root/B", "Out/B");
    calls.loseEvents();
    EXPECT_THAT(nextBatch(), ElementsAre(root));
    write("Out/B/file");
    expectAllWatched();
    // None is kept of what is gone.
    EXPECT_EQ(calls.watchCount(), foldersIn(root).size() + others);
}

TEST_F(LinuxFolderEventsTest, A_real_overflow_is_a_change_of_the_root) {
    makeFolder("Root/A");
    watch();
    // More than the queue takes by default; a system with a longer queue tells of the folder instead.
    for (int count = 0; count < 10'000; ++count) {
        const std::string name = path("Root/A/file " + std::to_string(count % 2));
        ASSERT_EQ(::mkdir(name.c_str(), 0777), 0);
        ASSERT_EQ(::rmdir(name.c_str()), 0);
    }
    makeFolder("Root/B");
    EXPECT_THAT(nextBatch(), Contains(root));
    expectAllWatched();
}

TEST_F(LinuxFolderEventsTest, Lost_events_of_the_route_do_not_hide_that_the_root_was_replaced) {
    makeFolders({"Other", "Other/B"});
    watch();
    move("Root", "Former");
    move("Other", "Root");
    calls.loseEvents();
    EXPECT_THAT(nextBatch(), ElementsAre(root));
    expectAllWatched();
}

TEST_F(LinuxFolderEventsTest, What_has_no_watch_for_want_of_room_is_a_change_of_the_root_and_is_polled) {
    makeFolders({"Root/A", "Root/A/Deep", "Root/B", "Root/B/C.app"});
    // All of the route, and the root.
    calls.watchLimit = watchesOfRoute() + 1;
    watch();
    EXPECT_THAT(nextBatch(), ElementsAre(root));
    EXPECT_THAT(batchAfterPoll(), IsEmpty());

    write("Root/A/Deep/file");
    EXPECT_THAT(batchAfterPoll(), ElementsAre(root + "/A/Deep"));
    write("Root/A/Deep/file");
    EXPECT_THAT(batchAfterPoll(), ElementsAre(root + "/A/Deep"));
    ASSERT_EQ(::chmod(path("Root/B/C.app").c_str(), 0700), 0);
    EXPECT_THAT(batchAfterPoll(), ElementsAre(root + "/B"));
    write("Root/B/C.app/file");
    EXPECT_THAT(batchAfterPoll(), IsEmpty());

    makeFolders({"Root/A/New", "Root/A/New/Deep"});
    EXPECT_THAT(batchAfterPoll(), Contains(root + "/A"));
    write("Root/A/New/Deep/file");
    EXPECT_THAT(batchAfterPoll(), ElementsAre(root + "/A/New/Deep"));
    removeAll("Root/A/New");
    EXPECT_THAT(batchAfterPoll(), Contains(root + "/A"));
    EXPECT_THAT(batchAfterPoll(), IsEmpty());
}

TEST_F(LinuxFolderEventsTest, What_is_polled_gets_its_watch_when_there_is_room_again) {
    makeFolders({"Root/A", "Root/A/Deep"});
    calls.watchLimit = watchesOfRoute() + 1;
    watch();
    EXPECT_THAT(nextBatch(), ElementsAre(root));
    calls.watchLimit = std::nullopt;
    write("Root/A/Deep/file");
    EXPECT_THAT(batchAfterPoll(), Contains(root + "/A/Deep"));
    expectAllWatched();
    EXPECT_THAT(batchAfterPoll(), IsEmpty());
}

TEST_F(LinuxFolderEventsTest, A_root_and_route_without_any_watch_are_polled) {
    calls.watchLimit = 0;
    watch();
    EXPECT_THAT(nextBatch(), ElementsAre(root));
    write("Root/file");
    EXPECT_THAT(batchAfterPoll(), ElementsAre(root));
    removeAll("Root");
    EXPECT_THAT(batchAfterPoll(), ElementsAre(root));
    EXPECT_THAT(batchAfterPoll(), IsEmpty());
    makeFolders({"Root", "Root/A"});
    EXPECT_THAT(batchAfterPoll(), Contains(root));
    write("Root/A/file");
    EXPECT_THAT(batchAfterPoll(), ElementsAre(root + "/A"));
}

TEST_F(LinuxFolderEventsTest, A_folder_that_cannot_be_opened_for_want_of_descriptors_is_listed_later) {
    makeFolders({"Root/A", "Root/A/Deep"});
    calls.openFolderError = [](const std::string&) { return EMFILE; };
    watch();
    EXPECT_THAT(batchAfterPoll(), IsEmpty());
    calls.openFolderError = nullptr;
    EXPECT_THAT(batchAfterPoll(), Contains(root));
    expectAllWatched();
}

TEST_F(LinuxFolderEventsTest, A_folder_that_may_not_be_read_is_watched_once_it_may) {
    makeFolders({"Root/A", "Root/A/Deep"});
    calls.openFolderError = [&](const std::string& opened) { return opened == path("Root/A") ? EACCES : 0; };
    watch();
    EXPECT_THAT(batchAfterPoll(), IsEmpty());
    write("Root/A/Deep/file");
    EXPECT_THAT(batchAfterPoll(), IsEmpty());
    calls.openFolderError = nullptr;
    EXPECT_THAT(batchAfterPoll(), Contains(root + "/A"));
    expectAllWatched();
}

TEST_F(LinuxFolderEventsTest, A_folder_whose_listing_fails_is_listed_again) {
    makeFolders({"Root/A", "Root/A/Deep"});
    events.system.failCall(SystemCall::Getdents64, 1, EIO, FaultDuration::Once);
    watch();
    EXPECT_THAT(batchAfterPoll(), Contains(root));
    expectAllWatched();
}

TEST_F(LinuxFolderEventsTest, A_folder_above_the_root_that_may_be_passed_but_not_read_is_not_polled) {
    calls.openFolderError = [](const std::string& opened) { return opened == "/" ? EACCES : 0; };
    watch();
    const auto watched = calls.watchedPaths.size();
    calls.advance(10 * LinuxFolderEvents::pollInterval);
    events.handleDue();
    EXPECT_THAT(calls.watchedPaths, SizeIs(watched));
    remove("Root");
    EXPECT_THAT(nextBatch(), ElementsAre(root));
}

TEST_F(LinuxFolderEventsTest, A_missing_root_in_a_folder_that_may_not_be_read_is_polled) {
    remove("Root");
    calls.openFolderError = [&](const std::string& opened) { return opened == folder.path() ? EACCES : 0; };
    watch();
    EXPECT_THAT(batchAfterPoll(), IsEmpty());
    makeFolder("Root");
    EXPECT_THAT(batchAfterPoll(), ElementsAre(root));
    expectAllWatched();
}

TEST_F(LinuxFolderEventsTest, Nothing_is_polled_while_everything_has_a_watch) {
    makeFolder("Root/A");
    watch();
    const auto watched = calls.watchedPaths.size();
    calls.advance(10 * LinuxFolderEvents::pollInterval);
    events.handleDue();
    EXPECT_THAT(calls.watchedPaths, SizeIs(watched));
}

TEST_F(LinuxFolderEventsTest, A_folder_in_two_places_is_watched_in_one_and_polled_in_the_other) {
    // A bind mount cannot be made by everybody; the same watch for two paths is what it looks like.
    makeFolders({"Root/A", "Root/B"});
    const std::string mount = path("Root/B");
    if (std::system(("mount --bind '" + path("Root/A") + "' '" + mount + "' 2>/dev/null").c_str()) != 0)
        GTEST_SKIP() << "no bind mounts here";
    watch();
    write("Root/A/file");
    const Paths batch = batchAfterPoll();
    EXPECT_EQ(std::system(("umount '" + mount + "'").c_str()), 0);
    Paths later = batchAfterPoll();
    EXPECT_THAT(batch, Contains(root + "/A"));
    later.insert(later.end(), batch.begin(), batch.end());
    EXPECT_THAT(later, Contains(root + "/B"));
}

TEST_F(LinuxFolderEventsTest, After_any_changes_each_folder_is_told_by_its_path) {
    for (unsigned seed = 1; seed <= 40; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        const auto below = [&](std::size_t count) { return static_cast<std::size_t>(random() % count); };
        watch();
        for (int change = 0; change < 120; ++change) {
            const std::set<std::string> folders = foldersIn(root);
            const auto any = [&] {
                return std::next(folders.begin(), static_cast<std::ptrdiff_t>(below(folders.size())))
                    ->substr(folder.path().size() + 1);
            };
            const std::string name = std::string("/") + "abc"[below(3)] + (below(5) == 0 ? ".app" : "");
            switch (below(6)) {
            case 0:
            case 1:
                ::mkdir(path(any() + name).c_str(), 0777);
                break;
            case 2:
                if (const std::string victim = any(); victim != "Root") removeAll(victim);
                break;
            case 3:
            case 4:
                if (const std::string moved = any(); moved != "Root")
                    ::rename(path(moved).c_str(), path(any() + name).c_str());
                break;
            default:
                write(any() + "/file");
            }
            if (below(4) == 0) events.handleDue();
            if (below(40) == 0) calls.loseEvents();
        }
        nextBatch();
        batchAfterPoll();
        batches.clear();
        expectAllWatched();
        stream.reset();
        removeAll("Root");
        makeFolder("Root");
    }
}

} // namespace
} // namespace mox::test
