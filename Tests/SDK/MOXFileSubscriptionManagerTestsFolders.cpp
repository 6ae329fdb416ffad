#include "SDK/BundleStore.hpp"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

// Creating

class CreatingFolders : public BundleStoreTest {};

TEST_F(CreatingFolders, A_new_folder_is_made_with_all_above_it_and_listed_although_empty) {
    const auto store = open();
    std::optional<Error> error = staleError();
    EXPECT_TRUE(store->createFolderAtPath(inApps("a/b/c"), &error));
    EXPECT_EQ(error, std::nullopt);
    EXPECT_TRUE(isThere(inApps("a/b/c")));
    EXPECT_THAT(store->folders(), ElementsAre(inApps("a/b/c"), inApps()));
    EXPECT_THAT(store->_foldersAddedByUser, ElementsAre(inApps("a/b/c")));
}

TEST_F(CreatingFolders, An_existing_folder_is_a_success_without_any_bookkeeping) {
    makeAppsFolder("there");
    const auto store = open();
    makeStub("Unseen.app");
    std::optional<Error> error = staleError();
    EXPECT_TRUE(store->createFolderAtPath(inApps("there"), &error));
    EXPECT_EQ(error, std::nullopt);
    EXPECT_THAT(store->_foldersAddedByUser, IsEmpty());
    EXPECT_THAT(store->subscriptionPaths(), IsEmpty()) << "not rebuilt";
    store->updateConvenienceArrays();
    EXPECT_THAT(store->folders(), ElementsAre(inApps())) << "stays unlisted";
}

TEST_F(CreatingFolders, A_file_in_the_way_is_error_2003_without_information) {
    const std::string file = makeFile("home/Applications/file", "x");
    const auto store = open();
    std::optional<Error> error;
    EXPECT_FALSE(store->createFolderAtPath(file, &error));
    EXPECT_TRUE(isStubError(error, 2003));
    EXPECT_FALSE(store->createFolderAtPath(file));
    EXPECT_EQ(bytesAt(file), "x");
    EXPECT_THAT(store->_foldersAddedByUser, IsEmpty());
}

TEST_F(CreatingFolders, A_failure_of_the_system_is_carried_by_error_2003) {
    const std::string file = makeFile("home/Applications/file", "x");
    const auto store = open();
    std::optional<Error> error;
    EXPECT_FALSE(store->createFolderAtPath(file + "/below", &error));
    EXPECT_TRUE(isErrorOver(error, 2003, 516));
    test.fileSystem.failCall(FileSystemOperation::CreateDirectory, 1, ENOSPC, FaultDuration::FromThenOn);
    EXPECT_FALSE(store->createFolderAtPath(inApps("new"), &error));
    EXPECT_TRUE(isErrorOver(error, 2003, 640));
    EXPECT_FALSE(store->createFolderAtPath(inApps("new")));
    EXPECT_FALSE(store->createFolderAtPath("", &error));
    EXPECT_TRUE(isErrorOver(error, 2003, 640));
    EXPECT_THAT(store->_foldersAddedByUser, IsEmpty());
    EXPECT_FALSE(isThere(inApps("new")));
    EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(CreatingFolders, A_failure_rebuilds_nothing) {
    const std::string file = makeFile("home/Applications/file", "x");
    const auto store = open();
    makeStub("Unseen.app");
    EXPECT_FALSE(store->createFolderAtPath(file));
    EXPECT_FALSE(store->createFolderAtPath(file + "/below"));
    EXPECT_THAT(store->subscriptionPaths(), IsEmpty());
}

TEST_F(CreatingFolders, What_the_system_refuses_to_tell_of_is_tried_all_the_same) {
    const auto store = open();
    test.fileSystem.failCall(FileSystemOperation::ItemKind, 1, EACCES, FaultDuration::Once);
    std::optional<Error> error;
    EXPECT_TRUE(store->createFolderAtPath(inApps("a"), &error));
    EXPECT_EQ(error, std::nullopt);
    EXPECT_THAT(store->folders(), ElementsAre(inApps("a"), inApps()));
}

TEST_F(CreatingFolders, A_link_to_a_folder_is_a_folder_and_a_dangling_one_is_in_the_way) {
    makeAppsFolder();
    makeLink("link", scratch.path("tmp"));
    makeLink("dangling", scratch.path("none"));
    const auto store = open();
    EXPECT_TRUE(store->createFolderAtPath(inApps("link")));
    std::optional<Error> error;
    EXPECT_FALSE(store->createFolderAtPath(inApps("dangling"), &error));
    EXPECT_TRUE(isErrorOver(error, 2003, 516));
    EXPECT_FALSE(isThere(scratch.path("none")));
}

TEST_F(CreatingFolders, A_folder_outside_the_applications_folder_is_made_but_not_listed) {
    const auto store = open();
    EXPECT_TRUE(store->createFolderAtPath(scratch.path("elsewhere")));
    EXPECT_THAT(store->folders(), ElementsAre(inApps()));
}

TEST_F(CreatingFolders, A_folder_counts_as_added_under_the_path_as_it_was_given) {
    const auto store = open();
    EXPECT_TRUE(store->createFolderAtPath(inApps("a") + "/"));
    EXPECT_THAT(store->folders(), ElementsAre(inApps())) << "paths are compared as they are spelt";
}

TEST_F(CreatingFolders, A_package_made_as_a_folder_is_not_listed) {
    const auto store = open();
    EXPECT_TRUE(store->createFolderAtPath(inApps("New.app")));
    EXPECT_THAT(store->folders(), ElementsAre(inApps()));
    EXPECT_THAT(store->subscriptionPaths(), IsEmpty());
}

TEST_F(CreatingFolders, A_folder_added_once_is_listed_again_when_others_make_it_anew) {
    const auto store = open();
    ASSERT_TRUE(store->createFolderAtPath(inApps("a")));
    ASSERT_TRUE(store->removeFolderAtPath(inApps("a"), false));
    store->updateConvenienceArrays();
    EXPECT_THAT(store->folders(), ElementsAre(inApps()));
    makeAppsFolder("a");
    store->updateConvenienceArrays();
    EXPECT_THAT(store->folders(), ElementsAre(inApps("a"), inApps()));
}

TEST_F(CreatingFolders, What_was_added_is_forgotten_with_the_manager) {
    {
        const auto store = open();
        ASSERT_TRUE(store->createFolderAtPath(inApps("a")));
    }
    EXPECT_THAT(open()->folders(), ElementsAre(inApps()));
}

// Renaming

class RenamingFolders : public BundleStoreTest {};

TEST_F(RenamingFolders, The_folder_moves_with_all_in_it_and_the_arrays_follow) {
    makeStub("old/Stub.app");
    const auto store = open();
    std::optional<Error> error = staleError();
    EXPECT_TRUE(store->renameFolderAtPath(inApps("old"), inApps("new"), &error));
    EXPECT_TRUE(isStale(error)) << "untouched on success";
    EXPECT_THAT(store->subscriptionPaths(), ElementsAre(inApps("new/Stub.app")));
    EXPECT_THAT(store->folders(), ElementsAre(inApps("new"), inApps()));
    EXPECT_FALSE(isThere(inApps("old")));
    EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(RenamingFolders, The_new_path_counts_as_added_and_the_old_one_no_more) {
    const auto store = open();
    ASSERT_TRUE(store->createFolderAtPath(inApps("old")));
    ASSERT_TRUE(store->renameFolderAtPath(inApps("old"), inApps("new")));
    EXPECT_THAT(store->_foldersAddedByUser, ElementsAre(inApps("new")));
    EXPECT_THAT(store->folders(), ElementsAre(inApps("new"), inApps()));
}

TEST_F(RenamingFolders, A_folder_may_get_another_parent) {
    makeStub("a/b/Stub.app");
    makeAppsFolder("c");
    const auto store = open();
    EXPECT_TRUE(store->renameFolderAtPath(inApps("a/b"), inApps("c/d")));
    EXPECT_THAT(store->subscriptionPaths(), ElementsAre(inApps("c/d/Stub.app")));
}

TEST_F(RenamingFolders, Onto_something_fails_and_yet_the_new_path_counts_as_added) {
    const std::string kept = makeFile("home/Applications/there/file", "kept");
    makeAppsFolder("empty");
    makeStub("old/Stub.app");
    const auto store = open();
    store->_foldersAddedByUser.insert(inApps("old"));
    std::optional<Error> error;
    EXPECT_FALSE(store->renameFolderAtPath(inApps("old"), inApps("there"), &error));
    EXPECT_TRUE(isSystemError(error, 516, EEXIST));
    EXPECT_THAT(store->_foldersAddedByUser, ElementsAre(inApps("there")));
    EXPECT_THAT(store->folders(), UnorderedElementsAre(inApps("old"), inApps("there"), inApps()));
    EXPECT_FALSE(store->renameFolderAtPath(inApps("old"), inApps("empty"), &error)) << "not even empty ones";
    EXPECT_TRUE(isSystemError(error, 516, EEXIST));
    EXPECT_EQ(bytesAt(kept), "kept");
    EXPECT_TRUE(isThere(inApps("old/Stub.app")));
}

TEST_F(RenamingFolders, A_failure_of_the_system_is_passed_through_and_the_arrays_are_rebuilt) {
    const auto store = open();
    makeStub("New.app");
    std::optional<Error> error;
    EXPECT_FALSE(store->renameFolderAtPath(inApps("missing"), inApps("new"), &error));
    EXPECT_TRUE(isSystemError(error, 4, ENOENT));
    EXPECT_THAT(store->_foldersAddedByUser, ElementsAre(inApps("new")));
    EXPECT_THAT(store->subscriptionPaths(), ElementsAre(inApps("New.app")));
    EXPECT_FALSE(store->renameFolderAtPath(inApps("missing"), inApps("new")));
    EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(RenamingFolders, To_its_own_path_fails_and_the_folder_counts_as_added) {
    makeAppsFolder("a");
    const auto store = open();
    EXPECT_FALSE(store->renameFolderAtPath(inApps("a"), inApps("a")));
    EXPECT_THAT(store->folders(), ElementsAre(inApps("a"), inApps()));
}

TEST_F(RenamingFolders, The_desktop_learns_of_a_move_that_happened_only) {
    makeAppsFolder("old");
    const auto store = open();
    ASSERT_TRUE(store->renameFolderAtPath(inApps("old"), inApps("new")));
    EXPECT_THAT(test.launchRegistration.calls,
                ElementsAre("begin", "moved " + inApps("old") + " to " + inApps("new"), "end"));
    test.launchRegistration.calls.clear();
    ASSERT_FALSE(store->renameFolderAtPath(inApps("old"), inApps("other")));
    EXPECT_THAT(registrations(), IsEmpty());
}

// Removing

class RemovingFolders : public BundleStoreTest {};

TEST_F(RemovingFolders, Everything_in_it_goes_and_the_arrays_stay_as_they_were_until_the_next_rebuild) {
    makeStub("a/b/Stub.app");
    makeFile("home/Applications/a/file", "x");
    const auto store = open();
    store->_foldersAddedByUser.insert(inApps("a"));
    std::optional<Error> error = staleError();
    EXPECT_TRUE(store->removeFolderAtPath(inApps("a"), false, &error));
    EXPECT_TRUE(isStale(error));
    EXPECT_FALSE(isThere(inApps("a")));
    EXPECT_THAT(store->subscriptionPaths(), ElementsAre(inApps("a/b/Stub.app")));
    EXPECT_THAT(store->folders(), ElementsAre(inApps("a/b"), inApps("a"), inApps()));
    EXPECT_THAT(store->_foldersAddedByUser, ElementsAre(inApps("a"))) << "never pruned";
    store->updateConvenienceArrays();
    EXPECT_THAT(store->subscriptionPaths(), IsEmpty());
    EXPECT_THAT(store->folders(), ElementsAre(inApps()));
    EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(RemovingFolders, One_that_is_not_almost_empty_stays_without_an_error) {
    makeStub("a/Stub.app");
    const auto store = open();
    std::optional<Error> error = staleError();
    EXPECT_FALSE(store->removeFolderAtPath(inApps("a"), true, &error));
    EXPECT_TRUE(isStale(error)) << "not written";
    EXPECT_FALSE(store->removeFolderAtPath(inApps("missing"), true, &error));
    EXPECT_TRUE(isStale(error));
    EXPECT_TRUE(isThere(inApps("a/Stub.app")));
    EXPECT_THAT(registrations(), IsEmpty());
}

TEST_F(RemovingFolders, One_that_is_almost_empty_goes) {
    makeFile("home/Applications/a/.DS_Store", "x");
    makeFile("home/Applications/a/b/.DS_Store", "x");
    makeAppsFolder("a/c/d");
    const auto store = open();
    EXPECT_TRUE(store->removeFolderAtPath(inApps("a"), true));
    EXPECT_FALSE(isThere(inApps("a")));
}

TEST_F(RemovingFolders, What_a_link_in_it_leads_to_stays) {
    makeFile("outside/.DS_Store", "kept");
    makeAppsFolder("a");
    makeLink("a/link", scratch.path("outside"));
    const auto store = open();
    EXPECT_TRUE(store->removeFolderAtPath(inApps("a"), true));
    EXPECT_FALSE(isThere(inApps("a")));
    EXPECT_EQ(bytesAt(scratch.path("outside/.DS_Store")), "kept");
}

TEST_F(RemovingFolders, A_link_to_a_folder_goes_itself) {
    makeFile("outside/file", "kept");
    makeAppsFolder("empty");
    makeLink("to-empty", inApps("empty"));
    makeLink("to-full", scratch.path("outside"));
    const auto store = open();
    EXPECT_TRUE(store->removeFolderAtPath(inApps("to-empty"), true));
    EXPECT_FALSE(store->removeFolderAtPath(inApps("to-full"), true));
    EXPECT_TRUE(store->removeFolderAtPath(inApps("to-full"), false));
    EXPECT_THAT(namesIn(inApps()), ElementsAre("empty"));
    EXPECT_EQ(bytesAt(scratch.path("outside/file")), "kept");
}

TEST_F(RemovingFolders, A_file_that_arrives_behind_the_test_stays_and_is_the_failure) {
    makeAppsFolder("a/b");
    const auto store = open();
    // The file arrives in a folder whose listing for the test says that it is empty.
    test.fileSystem.failCall(FileSystemOperation::ContentsOfDirectory, 1, EIO, FaultDuration::Once);
    const std::string file = makeFile("home/Applications/a/file", "kept");
    std::optional<Error> error;
    EXPECT_FALSE(store->removeFolderAtPath(inApps("a"), true, &error));
    EXPECT_TRUE(isSystemError(error, 512, ENOTEMPTY));
    EXPECT_EQ(bytesAt(file), "kept");
    EXPECT_THAT(registrations(), IsEmpty());
}

TEST_F(RemovingFolders, A_failure_of_the_system_is_passed_through) {
    makeAppsFolder("a");
    const auto store = open();
    std::optional<Error> error;
    EXPECT_FALSE(store->removeFolderAtPath(inApps("missing"), false, &error));
    EXPECT_TRUE(isSystemError(error, 4, ENOENT));
    test.fileSystem.failCall(FileSystemOperation::RemoveItem, 1, EACCES, FaultDuration::Once);
    EXPECT_FALSE(store->removeFolderAtPath(inApps("a"), false, &error));
    EXPECT_TRUE(isSystemError(error, 513, EACCES));
    test.fileSystem.failCall(FileSystemOperation::RemoveAlmostEmptyDirectory, 1, EROFS, FaultDuration::Once);
    EXPECT_FALSE(store->removeFolderAtPath(inApps("a"), true, &error));
    EXPECT_TRUE(isSystemError(error, 642, EROFS));
    EXPECT_TRUE(isThere(inApps("a")));
}

TEST_F(RemovingFolders, An_added_folder_stays_listed_until_another_operation_rebuilds) {
    const auto store = open();
    ASSERT_TRUE(store->createFolderAtPath(inApps("a")));
    ASSERT_TRUE(store->removeFolderAtPath(inApps("a"), true));
    EXPECT_THAT(store->folders(), ElementsAre(inApps("a"), inApps()));
    ASSERT_TRUE(store->createFolderAtPath(inApps("b")));
    EXPECT_THAT(store->folders(), ElementsAre(inApps("b"), inApps()));
    makeAppsFolder("a");
    store->updateConvenienceArrays();
    EXPECT_THAT(store->folders(), UnorderedElementsAre(inApps("a"), inApps("b"), inApps()))
        << "never forgotten";
}

TEST_F(RemovingFolders, The_desktop_forgets_what_was_in_it) {
    makeStub("a/Stub.app");
    makeAppsFolder("b");
    const auto store = open();
    ASSERT_TRUE(store->removeFolderAtPath(inApps("a"), false));
    ASSERT_TRUE(store->removeFolderAtPath(inApps("b"), true));
    EXPECT_THAT(test.launchRegistration.calls, ElementsAre("begin", "removed " + inApps("a"), "end", "begin",
                                                           "removed " + inApps("b"), "end"));
}

} // namespace
} // namespace mox::test
