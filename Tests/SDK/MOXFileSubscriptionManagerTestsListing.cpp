#include "SDK/BundleStore.hpp"
#include "SDK/MOXFileSubscriptionManagerAdditions.hpp"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace mox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class ListingStubs : public BundleStoreTest {
protected:
    /// What a plain recursive walk finds, told by extension and alias alone, to compare the manager's with.
    struct Found {
        Paths stubs;
        Paths folders;
    };
    static bool find(const std::string& folder, Found& found) {
        bool holdsStub = false;
        const std::unique_ptr<DIR, int (*)(DIR*)> listing(::opendir(folder.c_str()), ::closedir);
        while (const dirent* entry = listing ? ::readdir(listing.get()) : nullptr) {
            const std::string name = entry->d_name;
            const std::string path = folder + "/" + name;
            struct ::stat status;
            if (name == "." || name == ".." || ::stat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode))
                continue;
            if (!name.ends_with(".app")) {
                if (find(path, found)) holdsStub = true;
            } else if (::access((path + "/Contents/Resources/Korvalias.plist").c_str(), F_OK) == 0) {
                found.stubs.push_back(path);
                holdsStub = true;
            }
        }
        if (holdsStub) found.folders.push_back(folder);
        return holdsStub;
    }

    static std::ptrdiff_t positionOf(const std::string& path, const Paths& paths) {
        return std::ranges::find(paths, path) - paths.begin();
    }
};

TEST_F(ListingStubs, A_missing_applications_folder_yields_nothing_but_itself_and_is_not_made) {
    const auto store = open();
    EXPECT_EQ(store->appsFolderPath(), inApps());
    EXPECT_THAT(store->subscriptionPaths(), IsEmpty());
    EXPECT_THAT(store->folders(), ElementsAre(inApps()));
    EXPECT_EQ(store->numberOfSubscriptions(), 0U);
    EXPECT_FALSE(isThere(inApps()));
}

TEST_F(ListingStubs, Building_the_manager_changes_nothing_on_the_disk_or_for_the_desktop) {
    makeStub("Word.app");
    const OpenBundleStore store;
    EXPECT_THAT(test.launchRegistration.calls, IsEmpty());
    EXPECT_THAT(logLines(), IsEmpty());
    using Operation = FileSystemOperation;
    for (const auto change :
         {Operation::WriteFileAtomically, Operation::WriteFileInPlace, Operation::CreateDirectory,
          Operation::MoveItem, Operation::RemoveItem, Operation::RemoveAlmostEmptyDirectory,
          Operation::CopyItem, Operation::StageForMove, Operation::CreateTemporaryDirectory}) {
        EXPECT_EQ(test.fileSystem.count(change), 0U);
    }
}

TEST_F(ListingStubs, The_shared_manager_of_the_bundle_model_is_of_this_class) {
    MOXSubscriptionManager::setSubscriptionModel(SubscriptionModel::ApplicationBundle);
    makeStub("Word.app");
    const auto manager = MOXSubscriptionManager::sharedManager();
    EXPECT_NE(dynamic_cast<MOXFileSubscriptionManager*>(manager.get()), nullptr);
    EXPECT_EQ(MOXFileSubscriptionManager::sharedManager(), manager);
    EXPECT_THAT(manager->subscriptionPaths(), ElementsAre(inApps("Word.app")));
}

TEST_F(ListingStubs, Stubs_and_folders_are_found_at_every_depth_in_the_order_of_the_listing) {
    for (const auto* path :
         {"Top.app", "a/One.app", "a/b/Two.app", "a/b/c/Three.app", "d/e/Four.app", "z.app"})
        makeStub(path);
    for (const auto* path : {"empty", "a/empty/too", "d/x"})
        makeAppsFolder(path);
    makeApplication("Ordinary.app");
    makeApplication("a/Other.app");
    makeFile("home/Applications/a/file", "x");
    Found expected;
    find(inApps(), expected);
    ASSERT_EQ(expected.stubs.size(), 6U);
    ASSERT_EQ(expected.folders.size(), 6U);
    const auto store = open();
    EXPECT_EQ(store->subscriptionPaths(), expected.stubs);
    EXPECT_EQ(store->folders(), expected.folders);
}

TEST_F(ListingStubs, Empty_folders_before_and_behind_a_stub_do_not_hide_the_folder_that_holds_it) {
    for (int number = 0; number < 8; ++number)
        makeAppsFolder("a/before" + std::to_string(number));
    makeStub("a/b/Stub.app");
    for (int number = 0; number < 8; ++number)
        makeAppsFolder("a/behind" + std::to_string(number));
    EXPECT_THAT(open()->folders(), ElementsAre(inApps("a/b"), inApps("a"), inApps()));
}

TEST_F(ListingStubs, A_folder_stands_behind_its_subfolders_and_the_applications_folder_last) {
    makeStub("a/b/c/Deep.app");
    makeStub("d/Other.app");
    const auto store = open();
    const Paths& folders = store->folders();
    EXPECT_THAT(folders,
                UnorderedElementsAre(inApps("a/b/c"), inApps("a/b"), inApps("a"), inApps("d"), inApps()));
    EXPECT_LT(positionOf(inApps("a/b/c"), folders), positionOf(inApps("a/b"), folders));
    EXPECT_LT(positionOf(inApps("a/b"), folders), positionOf(inApps("a"), folders));
    EXPECT_EQ(folders.back(), inApps());
}

TEST_F(ListingStubs, The_applications_folder_is_listed_once_and_last_also_without_stubs) {
    makeAppsFolder("empty");
    EXPECT_THAT(open()->folders(), ElementsAre(inApps()));
    makeStub("One.app");
    EXPECT_THAT(open()->folders(), ElementsAre(inApps()));
}

TEST_F(ListingStubs, A_package_is_never_entered_whether_or_not_it_is_a_stub) {
    makeStub("Outer.app");
    makeStub("Outer.app/Contents/Inner.app");
    makeApplication("Ordinary.app");
    makeStub("Ordinary.app/Contents/Inner.app");
    makeStub("Some.bundle/Inner.app");
    const auto store = open();
    EXPECT_THAT(store->subscriptionPaths(), ElementsAre(inApps("Outer.app")));
    EXPECT_THAT(store->folders(), ElementsAre(inApps()));
}

TEST_F(ListingStubs, A_stub_is_any_package_with_a_launch_alias_whatever_its_extension) {
    makeStub("Tool.PrefPane");
    makeStub("Plain");
    makeStub("Folder.d");
    makeFile("home/Applications/File.app", "x");
    const auto store = open();
    EXPECT_THAT(store->subscriptionPaths(), ElementsAre(inApps("Tool.PrefPane")));
    EXPECT_TRUE(store->isSubscriptionAtPath(inApps("Tool.PrefPane")));
    EXPECT_FALSE(store->isSubscriptionAtPath(inApps("Plain"))) << "a folder that is no package";
    EXPECT_FALSE(store->isSubscriptionAtPath(inApps("Folder.d")));
    EXPECT_FALSE(store->isSubscriptionAtPath(inApps("File.app"))) << "a file";
    EXPECT_FALSE(store->isSubscriptionAtPath(inApps("Missing.app")));
    EXPECT_FALSE(store->isSubscriptionAtPath(""));
}

TEST_F(ListingStubs, The_launch_alias_is_looked_for_where_bundles_keep_resources_and_need_not_be_readable) {
    const std::string flat = makeFile("home/Applications/Flat.app/Korvalias.plist", "no property list");
    makeFile("home/Applications/Old.app/Resources/Korvalias.plist", "");
    makeFile("home/Applications/Local.app/Contents/Resources/de.lproj/Korvalias.plist", "");
    makeFile("home/Applications/Folder.app/Contents/Resources/Korvalias.plist/file", "");
    makeFile("home/Applications/Elsewhere.app/Contents/Korvalias.plist", "");
    makeFile("home/Applications/Elsewhere.app/Contents/Resources/file", "");
    const auto store = open();
    EXPECT_THAT(store->subscriptionPaths(), UnorderedElementsAre(inApps("Flat.app"), inApps("Old.app"),
                                                                 inApps("Local.app"), inApps("Folder.app")));
    for (const std::string& path : store->subscriptionPaths())
        EXPECT_TRUE(store->isSubscriptionAtPath(path)) << path;
    EXPECT_FALSE(store->isSubscriptionAtPath(inApps("Elsewhere.app")));
}

TEST_F(ListingStubs, Links_to_folders_and_stubs_are_followed_under_their_own_names) {
    const std::string outside = makeBundle("outside/folder/Stub.app", {.alias = Dictionary()});
    makeAppsFolder();
    makeLink("linked", scratch.path("outside/folder"));
    makeLink("Link.app", outside);
    makeLink("NoPackage", outside);
    makeLink("Named.app", scratch.path("outside"));
    makeLink("dangling", scratch.path("none"));
    makeLink("Dangling.app", scratch.path("none"));
    const auto store = open();
    EXPECT_THAT(store->subscriptionPaths(),
                UnorderedElementsAre(inApps("linked/Stub.app"), inApps("Link.app")));
    EXPECT_THAT(store->folders(), ElementsAre(inApps("linked"), inApps()));
}

TEST_F(ListingStubs, A_link_that_leads_back_into_the_walk_is_passed_over) {
    makeStub("a/b/Stub.app");
    makeLink("a/b/to-self", ".");
    makeLink("a/b/up", inApps("a"));
    makeLink("a/to-root", inApps());
    const auto store = open();
    EXPECT_THAT(store->subscriptionPaths(), ElementsAre(inApps("a/b/Stub.app")));
    EXPECT_THAT(store->folders(), ElementsAre(inApps("a/b"), inApps("a"), inApps()));
}

TEST_F(ListingStubs, A_link_to_a_folder_above_is_followed_but_not_into_the_walk_again) {
    makeStub("a/Stub.app");
    makeStub("Top.app");
    makeLink("a/home", test.homePath());
    const std::string beside = makeBundle("home/beside/Stub.app", {.alias = Dictionary()});
    const auto store = open();
    EXPECT_THAT(store->subscriptionPaths(), UnorderedElementsAre(inApps("a/Stub.app"), inApps("Top.app"),
                                                                 inApps("a/home/beside/Stub.app")));
}

TEST_F(ListingStubs, Two_links_to_one_folder_outside_are_both_followed) {
    makeBundle("outside/Stub.app", {.alias = Dictionary()});
    makeAppsFolder();
    makeLink("one", scratch.path("outside"));
    makeLink("two", scratch.path("outside"));
    EXPECT_THAT(open()->subscriptionPaths(),
                UnorderedElementsAre(inApps("one/Stub.app"), inApps("two/Stub.app")));
}

TEST_F(ListingStubs, An_applications_folder_that_is_a_link_is_followed_and_spelt_as_it_is) {
    makeBundle("outside/deep/Stub.app", {.alias = Dictionary()});
    ASSERT_EQ(::symlink(scratch.path("outside").c_str(), inApps().c_str()), 0);
    const auto store = open();
    EXPECT_THAT(store->subscriptionPaths(), ElementsAre(inApps("deep/Stub.app")));
    EXPECT_THAT(store->folders(), ElementsAre(inApps("deep"), inApps()));
}

TEST_F(ListingStubs, Without_links_nobody_asks_which_folder_a_folder_is_or_what_a_listed_entry_is) {
    makeStub("a/b/c/Stub.app");
    makeFile("home/Applications/a/file", "x");
    const auto store = open();
    store->updateConvenienceArrays();
    EXPECT_EQ(test.fileSystem.count(FileSystemOperation::ItemIdentity), 0U);
    EXPECT_EQ(test.fileSystem.count(FileSystemOperation::ItemKind), 0U);
    EXPECT_EQ(test.fileSystem.count(FileSystemOperation::ContentsOfDirectory), 4U);
}

TEST_F(ListingStubs, A_folder_that_cannot_be_listed_holds_nothing) {
    makeStub("a/Stub.app");
    makeStub("Top.app");
    const auto store = open();
    test.fileSystem.failCall(FileSystemOperation::ContentsOfDirectory, 2, EACCES, FaultDuration::Once);
    store->updateConvenienceArrays();
    EXPECT_THAT(store->subscriptionPaths(), ElementsAre(inApps("Top.app")));
    EXPECT_THAT(store->folders(), ElementsAre(inApps()));
    test.fileSystem.failCall(FileSystemOperation::ContentsOfDirectory, 1, EIO, FaultDuration::FromThenOn);
    store->updateConvenienceArrays();
    EXPECT_THAT(store->subscriptionPaths(), IsEmpty());
    EXPECT_THAT(store->folders(), ElementsAre(inApps()));
}

TEST_F(ListingStubs, A_folder_whose_listing_breaks_off_holds_nothing_and_the_others_what_they_hold) {
    makeStub("a/Stub.app");
    makeStub("Top.app");
    const auto store = open();
    const Paths whole = store->subscriptionPaths();
    ASSERT_EQ(whole.size(), 2U);
    // Two calls list a folder, the second of which finds nothing more; the applications folder is the first.
    test.systemCalls.failCall(SystemCall::Getdents64, 2, EIO, FaultDuration::Once);
    store->updateConvenienceArrays();
    EXPECT_THAT(store->subscriptionPaths(), IsEmpty());
    EXPECT_THAT(store->folders(), ElementsAre(inApps()));
    test.systemCalls.failCall(SystemCall::Getdents64, 4, EIO, FaultDuration::Once);
    store->updateConvenienceArrays();
    EXPECT_THAT(store->subscriptionPaths(), ElementsAre(inApps("Top.app")));
    EXPECT_THAT(store->folders(), ElementsAre(inApps()));
    store->updateConvenienceArrays();
    EXPECT_EQ(store->subscriptionPaths(), whole);
}

TEST_F(ListingStubs, A_launch_alias_that_cannot_be_looked_at_from_its_folder_is_looked_up) {
    makeStub("a/Stub.app");
    makeApplication("Ordinary.app");
    const auto store = open();
    test.systemCalls.failCall(SystemCall::Faccessat, 1, EACCES, FaultDuration::FromThenOn);
    store->updateConvenienceArrays();
    EXPECT_EQ(test.systemCalls.faultsFired(), 2U);
    EXPECT_THAT(store->subscriptionPaths(), ElementsAre(inApps("a/Stub.app")));
}

TEST_F(ListingStubs, A_rebuild_shows_what_is_on_the_disk_now) {
    const std::string stub = makeStub("a/Stub.app");
    const auto store = open();
    ASSERT_EQ(::rename(stub.c_str(), inApps("a/Other.app").c_str()), 0);
    makeStub("b/New.app");
    store->updateConvenienceArrays();
    EXPECT_THAT(store->subscriptionPaths(), UnorderedElementsAre(inApps("a/Other.app"), inApps("b/New.app")));
    EXPECT_THAT(store->folders(), UnorderedElementsAre(inApps("a"), inApps("b"), inApps()));
}

TEST_F(ListingStubs, The_live_arrays_stay_the_same_objects) {
    const auto store = open();
    const Paths& stubs = store->subscriptionPaths();
    const Paths& folders = store->folders();
    makeStub("a/Stub.app");
    store->updateConvenienceArrays();
    EXPECT_THAT(stubs, ElementsAre(inApps("a/Stub.app")));
    EXPECT_THAT(folders, ElementsAre(inApps("a"), inApps()));
}

TEST_F(ListingStubs, The_queries_read_the_arrays_and_not_the_disk) {
    makeStub("a/One.app");
    makeStub("a/b/Two.app");
    const auto store = open();
    makeStub("a/Three.app");
    EXPECT_EQ(store->numberOfSubscriptions(), 2U);
    EXPECT_THAT(store->subscriptionPathsInFolder(inApps("a"), false), ElementsAre(inApps("a/One.app")));
    EXPECT_THAT(store->subscriptionPathsInFolder(inApps("a"), true),
                UnorderedElementsAre(inApps("a/One.app"), inApps("a/b/Two.app")));
}

TEST_F(ListingStubs, A_walk_says_whether_a_folder_holds_a_stub_at_any_depth) {
    makeStub("a/b/Stub.app");
    makeAppsFolder("added");
    const auto store = open();
    store->_foldersAddedByUser.insert(inApps("added"));
    const auto containsApps = [&](std::string_view path) {
        OpenBundleStore::ConvenienceArrays arrays;
        bool flag = path != "a";
        store->updateConvenienceArraysAtPath(inApps(path), arrays, &flag);
        return flag;
    };
    EXPECT_TRUE(containsApps("a"));
    EXPECT_TRUE(containsApps(""));
    EXPECT_FALSE(containsApps("added")) << "listed, but without a stub";
    EXPECT_FALSE(containsApps("missing"));
}

TEST_F(ListingStubs, A_walk_appends_the_folder_itself_behind_what_is_in_it) {
    makeStub("a/b/Stub.app");
    const auto store = open();
    OpenBundleStore::ConvenienceArrays arrays{.subscriptionPaths = {"x"}, .folders = {"y"}};
    store->updateConvenienceArraysAtPath(inApps("a"), arrays, nullptr);
    EXPECT_THAT(arrays.subscriptionPaths, ElementsAre("x", inApps("a/b/Stub.app")));
    EXPECT_THAT(arrays.folders, ElementsAre("y", inApps("a/b"), inApps("a")));
}

TEST_F(ListingStubs, A_folder_added_by_the_user_lists_itself_but_not_the_folders_around_it) {
    makeAppsFolder("a/added");
    const auto store = open();
    store->_foldersAddedByUser.insert(inApps("a/added"));
    store->_foldersAddedByUser.insert(inApps("not/there"));
    store->updateConvenienceArrays();
    EXPECT_THAT(store->folders(), ElementsAre(inApps("a/added"), inApps()));
}

TEST_F(ListingStubs, Only_folders_are_listed_as_added_by_the_user) {
    makeFile("home/Applications/file", "x");
    makeLink("link", inApps("file"));
    makeApplication("Package.app");
    const auto store = open();
    for (const std::string_view name : {"file", "link", "Package.app"})
        store->_foldersAddedByUser.insert(inApps(name));
    store->updateConvenienceArrays();
    EXPECT_THAT(store->folders(), ElementsAre(inApps()));
}

/// A disk whose listings do not tell what the entries are, as some file systems' do.
class DiskWithoutEntryKinds : public ForwardingFileSystem {
public:
    using ForwardingFileSystem::ForwardingFileSystem;
    Result<void> visitDirectory(const std::string& path, const DirectoryVisitor& visit) override {
        return ForwardingFileSystem::visitDirectory(
            path, [&](std::string_view name, EntryKind, VisitedDirectory& directory) {
                visit(name, EntryKind::Unknown, directory);
            });
    }
};

TEST_F(ListingStubs, Where_listings_do_not_tell_what_an_entry_is_the_same_is_found) {
    makeStub("a/b/Stub.app");
    makeStub("Top.app");
    makeApplication("a/Other.app");
    makeAppsFolder("empty");
    makeFile("home/Applications/file", "x");
    makeFile("home/Applications/File.app", "x");
    makeBundle("outside/Stub.app", {.alias = Dictionary()});
    makeLink("linked", scratch.path("outside"));
    makeLink("Dangling.app", scratch.path("none"));
    makeLink("a/b/up", inApps("a"));
    const auto telling = open();
    DiskWithoutEntryKinds disk(test.fileSystem);
    const Platform platform{disk,
                            test.userDirectories,
                            test.bundles,
                            test.systemLog,
                            test.assertionHandler,
                            test.workspace,
                            test.fileReferences,
                            test.launchRegistration,
                            test.folderEvents,
                            test.runLoops,
                            test.notificationCenter,
                            test.systemVersion};
    const ScopedPlatform silentScope(platform);
    const OpenBundleStore silent;
    EXPECT_EQ(silent.numberOfSubscriptions(), 3U);
    EXPECT_EQ(silent.subscriptionPaths(), telling->subscriptionPaths());
    EXPECT_EQ(silent.folders(), telling->folders());
    EXPECT_TRUE(isAlmostEmptyDirectoryAtPath(inApps("empty")));
    EXPECT_FALSE(isAlmostEmptyDirectoryAtPath(inApps("a")));
    makeAppsFolder("empty/in-it");
    EXPECT_TRUE(isAlmostEmptyDirectoryAtPath(inApps("empty")));
    makeFile("home/Applications/empty/in-it/file", "");
    EXPECT_FALSE(isAlmostEmptyDirectoryAtPath(inApps("empty")));
}

TEST_F(ListingStubs, The_queries_of_other_threads_see_the_arrays_whole_while_they_are_rebuilt) {
    constexpr int rebuilds = 50;
    makeStub("a/One.app");
    makeStub("a/Two.app");
    const auto store = open();
    std::atomic<bool> isDone = false;
    std::thread reader([&] {
        while (!isDone) {
            EXPECT_EQ(store->subscriptionPathsInFolder(inApps("a"), false).size(), 2U);
            EXPECT_EQ(store->numberOfSubscriptions(), 2U);
        }
    });
    for (int number = 0; number < rebuilds; ++number)
        store->updateConvenienceArrays();
    isDone = true;
    reader.join();
}

TEST_F(ListingStubs, Folders_nested_as_deep_as_paths_reach_do_not_exhaust_the_stack) {
    // Made one in the other, since a path of that length would be refused.
    const int start = ::open(".", O_PATH | O_CLOEXEC);
    makeStub("Top.app");
    ASSERT_EQ(::chdir(inApps().c_str()), 0);
    for (int depth = 0; depth < 5000; ++depth) {
        ASSERT_EQ(::mkdir("d", 0700), 0);
        ASSERT_EQ(::chdir("d"), 0);
    }
    ASSERT_EQ(::fchdir(start), 0);
    ::close(start);
    EXPECT_THAT(open()->subscriptionPaths(), ElementsAre(inApps("Top.app")));
    EXPECT_TRUE(test.fileSystem.removeItem(inApps("d")));
}

TEST_F(ListingStubs, Hundreds_of_stubs_in_one_folder_are_all_found) {
    for (int number = 0; number < 300; ++number)
        makeStub("many/" + std::to_string(number) + ".app");
    EXPECT_EQ(open()->numberOfSubscriptions(), 300U);
}

TEST_F(ListingStubs, Path_and_file_name_of_a_subscription_are_its_own) {
    const std::string path = makeStub("a/Word.app");
    const auto store = open();
    const auto record = store->subscriptionAtPath(path);
    EXPECT_EQ(store->pathForSubscription(record), path);
    EXPECT_EQ(store->fileNameForSubscription(record), "Word.app");
    const auto unwritten = MOXFileSubscription::subscriptionWithFileName("New.app", {});
    EXPECT_EQ(store->pathForSubscription(unwritten), std::nullopt);
    EXPECT_EQ(store->fileNameForSubscription(unwritten), "New.app");
    EXPECT_EQ(store->pathForSubscription(nullptr), std::nullopt);
    EXPECT_EQ(store->fileNameForSubscription(nullptr), std::nullopt);
}

TEST_F(ListingStubs, A_manager_keeps_the_platform_that_it_was_built_with) {
    makeStub("Word.app");
    const auto store = open();
    TestPlatform other;
    const ScopedPlatform otherScope(other.platform);
    store->updateConvenienceArrays();
    EXPECT_THAT(store->subscriptionPaths(), ElementsAre(inApps("Word.app")));
    EXPECT_EQ(other.fileSystem.count(FileSystemOperation::ContentsOfDirectory), 0U);
}

} // namespace
} // namespace mox::test
