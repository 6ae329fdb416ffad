#include "Platform/FolderEventsContract.hpp"

#include <gmock/gmock.h>

#include <cerrno>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace mox::test {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

void require(bool succeeded, const std::string& what) {
    if (!succeeded) throw std::system_error(errno, std::generic_category(), what);
}

} // namespace

FolderEventsTest::FolderEventsTest(std::unique_ptr<FolderEventsKind> kindOfEvents)
    : kind(std::move(kindOfEvents)) {
    makeFolder("Root");
}

void FolderEventsTest::watch(const std::string& watchedPath) {
    stream = kind->folderEvents().createStream(watchedPath, kind->latency(),
                                               [this](const Paths& folders) { batches.push_back(folders); });
    ASSERT_NE(stream, nullptr);
    stream->schedule(kind->runLoop(), defaultRunLoopMode);
    ASSERT_TRUE(stream->start());
}

FolderEventsTest::Paths FolderEventsTest::nextBatch() {
    if (batches.empty()) kind->deliver([this] { return !batches.empty(); });
    if (batches.empty()) return {};
    Paths batch = std::move(batches.front());
    batches.erase(batches.begin());
    return batch;
}

FolderEventsTest::Paths FolderEventsTest::batchWithRootChanged() {
    write("Root/a change of the root");
    return nextBatch();
}

void FolderEventsTest::makeFolder(const std::string& name) const {
    require(::mkdir(path(name).c_str(), 0777) == 0, "mkdir " + name);
}

void FolderEventsTest::makeFolders(const std::vector<std::string>& names) const {
    for (const std::string& name : names)
        makeFolder(name);
}

void FolderEventsTest::link(const std::string& target, const std::string& name) const {
    require(::symlink(target.c_str(), path(name).c_str()) == 0, "symlink " + name);
}

void FolderEventsTest::move(const std::string& name, const std::string& newName) const {
    require(::rename(path(name).c_str(), path(newName).c_str()) == 0, "rename " + name);
}

void FolderEventsTest::remove(const std::string& name) const {
    require(::remove(path(name).c_str()) == 0, "remove " + name);
}

void FolderEventsTest::removeAll(const std::string& name) const {
    std::filesystem::remove_all(path(name));
}

namespace {

TEST_P(FolderEventsContract, What_was_there_before_is_no_change) {
    makeFolders({"Root/A", "Root/A/B"});
    write("Root/A/B/file");
    watch();
    EXPECT_THAT(batchWithRootChanged(), ElementsAre(root));
}

TEST_P(FolderEventsContract, A_new_file_is_a_change_of_its_folder) {
    makeFolders({"Root/A", "Root/A/B"});
    watch();
    write("Root/A/B/file");
    EXPECT_THAT(nextBatch(), ElementsAre(root + "/A/B"));
    EXPECT_THAT(batchWithRootChanged(), ElementsAre(root));
}

TEST_P(FolderEventsContract, Writing_renaming_and_deleting_a_file_and_changing_its_mode_are_changes) {
    makeFolder("Root/A");
    write("Root/A/file");
    watch();
    write("Root/A/file");
    EXPECT_THAT(nextBatch(), ElementsAre(root + "/A"));
    move("Root/A/file", "Root/A/other");
    EXPECT_THAT(nextBatch(), ElementsAre(root + "/A"));
    ASSERT_EQ(::chmod(path("Root/A/other").c_str(), 0600), 0);
    EXPECT_THAT(nextBatch(), ElementsAre(root + "/A"));
    remove("Root/A/other");
    EXPECT_THAT(nextBatch(), ElementsAre(root + "/A"));
}

TEST_P(FolderEventsContract, Reading_is_no_change) {
    makeFolder("Root/A");
    write("Root/A/file");
    watch();
    EXPECT_EQ(bytesOfFile(path("Root/A/file")), "text");
    EXPECT_THAT(batchWithRootChanged(), ElementsAre(root));
}

TEST_P(FolderEventsContract, Each_folder_is_told_once_in_the_order_of_the_first_changes) {
    makeFolders({"Root/B", "Root/A", "Root/C"});
    watch();
    for (const char* const name : {"Root/B/1", "Root/A/1", "Root/B/2", "Root/3", "Root/A/2", "Root/C/1"})
        write(name);
    EXPECT_THAT(nextBatch(), ElementsAre(root + "/B", root + "/A", root, root + "/C"));
}

TEST_P(FolderEventsContract, A_new_folder_is_a_change_of_the_one_that_holds_it_and_is_watched) {
    watch();
    makeFolder("Root/New");
    EXPECT_THAT(nextBatch(), ElementsAre(root));
    write("Root/New/file");
    EXPECT_THAT(nextBatch(), ElementsAre(root + "/New"));
}

TEST_P(FolderEventsContract, New_folders_in_new_folders_are_told_and_watched) {
    watch();
    makeFolders({"Root/1", "Root/1/2", "Root/1/2/3", "Root/1/2/3/4"});
    write("Root/1/2/3/4/file");
    EXPECT_THAT(nextBatch(),
                UnorderedElementsAre(root, root + "/1", root + "/1/2", root + "/1/2/3", root + "/1/2/3/4"));
    write("Root/1/2/3/4/file");
    EXPECT_THAT(nextBatch(), ElementsAre(root + "/1/2/3/4"));
}

TEST_P(FolderEventsContract, Deleting_a_tree_is_a_change_of_the_folder_that_held_it) {
    makeFolders({"Root/A", "Root/A/B"});
    write("Root/A/B/file");
    watch();
    removeAll("Root/A");
    const Paths batch = nextBatch();
    EXPECT_THAT(batch, Contains(root));
    EXPECT_THAT(batch, Contains(root + "/A"));
    makeFolder("Root/A");
    EXPECT_THAT(nextBatch(), ElementsAre(root));
    write("Root/A/file");
    EXPECT_THAT(nextBatch(), ElementsAre(root + "/A"));
}

TEST_P(FolderEventsContract, A_move_between_folders_is_a_change_of_both_and_paths_follow_it) {
    makeFolders({"Root/A", "Root/B", "Root/A/Moved", "Root/A/Moved/Deep"});
    watch();
    move("Root/A/Moved", "Root/B/Renamed");
    EXPECT_THAT(nextBatch(), ElementsAre(root + "/A", root + "/B"));
    write("Root/B/Renamed/file");
    write("Root/B/Renamed/Deep/file");
    EXPECT_THAT(nextBatch(), ElementsAre(root + "/B/Renamed", root + "/B/Renamed/Deep"));
}

TEST_P(FolderEventsContract, Changes_below_a_folder_are_told_by_its_path_at_that_time) {
    makeFolders({"Root/Old", "Root/Old/Deep"});
    watch();
    write("Root/Old/Deep/1");
    move("Root/Old", "Root/New");
    write("Root/New/Deep/2");
    EXPECT_THAT(nextBatch(), ElementsAre(root + "/Old/Deep", root, root + "/New/Deep"));
}

TEST_P(FolderEventsContract, A_folder_moved_out_is_watched_no_more_and_one_moved_in_is) {
    makeFolders({"Root/Out", "Root/Out/Deep", "In", "In/Deep"});
    watch();
    move("Root/Out", "Out");
    EXPECT_THAT(nextBatch(), ElementsAre(root));
    write("Out/file");
    write("Out/Deep/file");
    EXPECT_THAT(batchWithRootChanged(), ElementsAre(root));
    move("In", "Root/In");
    EXPECT_THAT(nextBatch(), Contains(root));
    write("Root/In/Deep/file");
    EXPECT_THAT(nextBatch(), ElementsAre(root + "/In/Deep"));
}

TEST_P(FolderEventsContract, A_folder_that_takes_the_place_of_a_moved_one_is_watched_too) {
    makeFolders({"Root/A", "Other"});
    watch();
    move("Root/A", "Root/B");
    move("Other", "Root/A");
    EXPECT_THAT(nextBatch(), ElementsAre(root));
    write("Root/A/file");
    write("Root/B/file");
    EXPECT_THAT(nextBatch(), ElementsAre(root + "/A", root + "/B"));
}

TEST_P(FolderEventsContract, Two_folders_that_swap_their_names_keep_their_watches_under_the_new_ones) {
    makeFolders({"Root/A", "Root/A/InA", "Root/B", "Root/B/InB"});
    watch();
    move("Root/A", "Root/C");
    move("Root/B", "Root/A");
    move("Root/C", "Root/B");
    EXPECT_THAT(nextBatch(), Contains(root));
    write("Root/A/InB/file");
    write("Root/B/InA/file");
    EXPECT_THAT(nextBatch(), ElementsAre(root + "/A/InB", root + "/B/InA"));
}

TEST_P(FolderEventsContract, A_package_is_an_entry_of_its_folder_and_nothing_in_it_is_told) {
    makeFolders({"Root/A", "Root/A/Old.app", "Root/A/Old.app/Contents"});
    watch();
    write("Root/A/Old.app/Contents/file");
    EXPECT_THAT(batchWithRootChanged(), ElementsAre(root));
    makeFolders({"Root/A/New.APP", "Root/A/New.APP/Contents"});
    EXPECT_THAT(nextBatch(), ElementsAre(root + "/A"));
    write("Root/A/New.APP/Contents/file");
    EXPECT_THAT(batchWithRootChanged(), ElementsAre(root));
    ASSERT_EQ(::chmod(path("Root/A/New.APP").c_str(), 0700), 0);
    EXPECT_THAT(nextBatch(), ElementsAre(root + "/A"));
}

TEST_P(FolderEventsContract, A_folder_renamed_to_a_package_is_watched_no_more_and_the_other_way_round) {
    makeFolders({"Root/A", "Root/A/Deep"});
    watch();
    move("Root/A", "Root/A.app");
    EXPECT_THAT(nextBatch(), ElementsAre(root));
    write("Root/A.app/Deep/file");
    EXPECT_THAT(batchWithRootChanged(), ElementsAre(root));
    move("Root/A.app", "Root/A");
    EXPECT_THAT(nextBatch(), Contains(root));
    write("Root/A/Deep/file");
    EXPECT_THAT(nextBatch(), ElementsAre(root + "/A/Deep"));
}

TEST_P(FolderEventsContract, A_link_below_the_root_is_an_entry_of_its_folder_and_is_not_followed) {
    makeFolders({"Elsewhere", "Root/A"});
    link("../../Elsewhere", "Root/A/Link");
    watch();
    write("Elsewhere/file");
    EXPECT_THAT(batchWithRootChanged(), ElementsAre(root));
    link("../Elsewhere", "Root/New");
    EXPECT_THAT(nextBatch(), ElementsAre(root));
    write("Elsewhere/file");
    EXPECT_THAT(batchWithRootChanged(), ElementsAre(root));
    remove("Root/A/Link");
    EXPECT_THAT(nextBatch(), ElementsAre(root + "/A"));
}

TEST_P(FolderEventsContract, A_root_that_is_a_link_is_followed_and_told_by_its_own_path) {
    makeFolder("Root/A");
    link("Root", "Link");
    watch(path("Link"));
    write("Root/A/file");
    EXPECT_THAT(nextBatch(), ElementsAre(path("Link/A")));
}

TEST_P(FolderEventsContract, A_link_as_the_root_may_be_led_elsewhere) {
    makeFolders({"First", "Second", "Second/Deep"});
    link("First", "Hop");
    link("Hop", "Link");
    watch(path("Link"));
    link("Second", "Temporary");
    // The link is replaced in one step, and it is not the last one on the way.
    move("Temporary", "Hop");
    EXPECT_THAT(nextBatch(), ElementsAre(path("Link")));
    write("Second/Deep/file");
    EXPECT_THAT(nextBatch(), ElementsAre(path("Link/Deep")));
    write("First/file");
    write("Second/file");
    EXPECT_THAT(nextBatch(), ElementsAre(path("Link")));
    EXPECT_THAT(batches, IsEmpty());
}

TEST_P(FolderEventsContract, A_root_that_is_missing_is_watched_when_it_appears) {
    watch(path("Missing"));
    makeFolder("Missing");
    EXPECT_THAT(nextBatch(), ElementsAre(path("Missing")));
    makeFolder("Missing/A");
    EXPECT_THAT(nextBatch(), ElementsAre(path("Missing")));
    write("Missing/A/file");
    EXPECT_THAT(nextBatch(), ElementsAre(path("Missing/A")));
}

TEST_P(FolderEventsContract, A_root_whose_ancestors_are_missing_is_watched_when_it_appears) {
    watch(path("1/2/3"));
    makeFolder("1");
    makeFolder("1/2");
    kind->deliver([] { return true; });
    EXPECT_THAT(batches, IsEmpty());
    makeFolder("1/2/3");
    EXPECT_THAT(nextBatch(), ElementsAre(path("1/2/3")));
    write("1/2/3/file");
    EXPECT_THAT(nextBatch(), ElementsAre(path("1/2/3")));
}

TEST_P(FolderEventsContract, Ancestors_and_root_that_appear_at_once_are_found) {
    watch(path("1/2/3"));
    makeFolders({"1", "1/2", "1/2/3", "1/2/3/4"});
    EXPECT_THAT(nextBatch(), ElementsAre(path("1/2/3")));
    write("1/2/3/4/file");
    EXPECT_THAT(nextBatch(), ElementsAre(path("1/2/3/4")));
}

TEST_P(FolderEventsContract, A_root_that_is_deleted_and_made_again_is_watched_again) {
    watch();
    for (int round = 0; round < 3; ++round) {
        remove("Root");
        EXPECT_THAT(nextBatch(), ElementsAre(root));
        makeFolder("Root");
        EXPECT_THAT(nextBatch(), ElementsAre(root));
        write("Root/file");
        EXPECT_THAT(nextBatch(), ElementsAre(root));
        remove("Root/file");
        EXPECT_THAT(nextBatch(), ElementsAre(root));
    }
}

TEST_P(FolderEventsContract, A_root_that_is_deleted_and_made_again_in_one_batch_is_watched_again) {
    watch();
    for (int round = 0; round < 3; ++round) {
        removeAll("Root");
        makeFolders({"Root", "Root/A"});
        EXPECT_THAT(nextBatch(), Contains(root));
        write("Root/A/file");
        EXPECT_THAT(nextBatch(), ElementsAre(root + "/A"));
    }
}

TEST_P(FolderEventsContract, A_root_that_is_replaced_is_watched_and_the_former_one_no_more) {
    makeFolders({"Root/A", "Other", "Other/B"});
    watch();
    move("Root", "Former");
    move("Other", "Root");
    EXPECT_THAT(nextBatch(), ElementsAre(root));
    write("Former/A/file");
    EXPECT_THAT(batchWithRootChanged(), ElementsAre(root));
    write("Root/B/file");
    EXPECT_THAT(nextBatch(), ElementsAre(root + "/B"));
}

TEST_P(FolderEventsContract, A_root_whose_ancestor_is_moved_away_and_back_is_watched_again) {
    makeFolders({"1", "1/2", "1/2/3"});
    watch(path("1/2/3"));
    move("1", "away");
    EXPECT_THAT(nextBatch(), ElementsAre(path("1/2/3")));
    move("away", "1");
    EXPECT_THAT(nextBatch(), ElementsAre(path("1/2/3")));
    write("1/2/3/file");
    EXPECT_THAT(nextBatch(), ElementsAre(path("1/2/3")));
}

TEST_P(FolderEventsContract, A_file_in_the_roots_place_is_no_folder_until_one_takes_its_place) {
    write("Wrong");
    watch(path("Wrong"));
    remove("Wrong");
    makeFolder("Wrong");
    EXPECT_THAT(nextBatch(), ElementsAre(path("Wrong")));
    write("Wrong/file");
    EXPECT_THAT(nextBatch(), ElementsAre(path("Wrong")));
}

TEST_P(FolderEventsContract, Names_of_any_bytes_are_told_as_they_are) {
    const std::string name = "A\n\xFF '\"%s";
    makeFolder("Root/" + name);
    watch();
    write("Root/" + name + "/file");
    EXPECT_THAT(nextBatch(), ElementsAre(root + "/" + name));
    const std::string longest(255, 'x');
    makeFolder("Root/" + longest);
    EXPECT_THAT(nextBatch(), ElementsAre(root));
    write("Root/" + longest + "/" + longest);
    EXPECT_THAT(nextBatch(), ElementsAre(root + "/" + longest));
}

TEST_P(FolderEventsContract, Behind_a_slash_at_the_roots_end_comes_no_second_one) {
    makeFolders({"Root/A", "Root/A/B"});
    watch(root + "/");
    write("Root/A/B/file");
    EXPECT_THAT(nextBatch(), ElementsAre(root + "/A/B"));
    write("Root/file");
    EXPECT_THAT(nextBatch(), ElementsAre(root + "/"));
}

TEST_P(FolderEventsContract, A_destroyed_stream_delivers_nothing_any_more) {
    watch();
    write("Root/file");
    stream.reset();
    write("Root/other");
    EXPECT_FALSE(kind->runLoop()->runOnce(defaultRunLoopMode, std::chrono::milliseconds(0)));
    EXPECT_THAT(batches, IsEmpty());
}

TEST_P(FolderEventsContract, A_stream_may_be_destroyed_in_its_own_callback) {
    int calls = 0;
    stream = kind->folderEvents().createStream(root, kind->latency(), [&](const Paths& folders) {
        stream.reset();
        ++calls;
        EXPECT_THAT(folders, ElementsAre(root));
    });
    stream->schedule(kind->runLoop(), defaultRunLoopMode);
    ASSERT_TRUE(stream->start());
    write("Root/file");
    kind->deliver([&] { return calls > 0; });
    EXPECT_EQ(calls, 1);
    write("Root/other");
    EXPECT_FALSE(kind->runLoop()->runOnce(defaultRunLoopMode, std::chrono::milliseconds(0)));
    EXPECT_EQ(calls, 1);
}

TEST_P(FolderEventsContract, A_stream_that_was_never_started_delivers_nothing_and_can_go) {
    stream = kind->folderEvents().createStream(root, kind->latency(),
                                               [this](const Paths& folders) { batches.push_back(folders); });
    ASSERT_NE(stream, nullptr);
    write("Root/file");
    EXPECT_FALSE(kind->runLoop()->runOnce(defaultRunLoopMode, std::chrono::milliseconds(0)));
    stream->schedule(nullptr, defaultRunLoopMode);
    EXPECT_FALSE(stream->start());
    stream.reset();
    EXPECT_THAT(batches, IsEmpty());
}

TEST_P(FolderEventsContract, Nothing_is_delivered_in_another_mode) {
    watch();
    write("Root/file");
    EXPECT_FALSE(kind->runLoop()->runOnce("tracking", std::chrono::milliseconds(0)));
    EXPECT_THAT(batches, IsEmpty());
    EXPECT_THAT(nextBatch(), ElementsAre(root));
}

TEST_P(FolderEventsContract, A_callback_may_change_the_folder_and_that_is_the_next_batch) {
    makeFolder("Root/A");
    bool hasWritten = false;
    stream = kind->folderEvents().createStream(root, kind->latency(), [&](const Paths& folders) {
        batches.push_back(folders);
        if (!hasWritten) write("Root/A/file");
        hasWritten = true;
    });
    stream->schedule(kind->runLoop(), defaultRunLoopMode);
    ASSERT_TRUE(stream->start());
    write("Root/file");
    EXPECT_THAT(nextBatch(), ElementsAre(root));
    EXPECT_THAT(nextBatch(), ElementsAre(root + "/A"));
}

} // namespace
} // namespace mox::test
