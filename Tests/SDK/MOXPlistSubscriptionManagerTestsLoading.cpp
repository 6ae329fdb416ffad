#include "SDK/PlistStore.hpp"

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

namespace mox::test {
namespace {

class LoadingThePlistStore : public PlistStoreTest {
protected:
    /// Expects the assertion for a file that holds no dictionary, as the last one.
    void expectBadClassAssertion() const {
        ASSERT_EQ(assertions->failures().size(), 1U);
        const auto failure = assertions->failures().back();
        EXPECT_EQ(failure.description, "Bad subscriptions class retrieved from plist");
        EXPECT_EQ(failure.operation, "-[MOXPlistSubscriptionManager init]");
        EXPECT_EQ(failure.file, "Frameworks/MOXSubscribe/Source/SDK/MOXPlistSubscriptionManager");
        EXPECT_EQ(failure.line, 107);
        EXPECT_NE(failure.object, nullptr);
    }

    const std::string writeErrorWithoutPath = "-[MOXPlistSubscriptionManager saveSubscriptions] Error "
                                              "writing subscription dictionary at path ((null))";
    const Paths chain = {"/", "/Users", "/Users/user", "/Users/user/Applications"};
};

TEST_F(LoadingThePlistStore, A_first_run_makes_a_file_that_holds_the_chain_of_the_applications_folder) {
    const OpenPlistStore store;
    EXPECT_EQ(store.folders(), chain);
    EXPECT_EQ(store.subscriptionPaths(), Paths());
    EXPECT_EQ(store._plistPath, plistPath());
    const Dictionary expected =
        node({{"/", node({{"Users", node({{"user", node({{"Applications", node()}})}})}})}});
    EXPECT_EQ(treeOnDisk(), expected);
    EXPECT_EQ(logLines(), Paths());
    EXPECT_EQ(saves(), 1U);
}

TEST_F(LoadingThePlistStore, The_file_is_laid_out_to_the_byte_as_the_platforms_property_lists_are) {
    environment.userDirectories.home = "/u";
    OpenPlistStore store;
    EXPECT_EQ(bytesOfFile(plistPath()), R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>Folders</key>
	<dict>
		<key>/</key>
		<dict>
			<key>Folders</key>
			<dict>
				<key>u</key>
				<dict>
					<key>Folders</key>
					<dict>
						<key>Applications</key>
						<dict>
							<key>Folders</key>
							<dict/>
							<key>Subscriptions</key>
							<dict/>
						</dict>
					</dict>
					<key>Subscriptions</key>
					<dict/>
				</dict>
			</dict>
			<key>Subscriptions</key>
			<dict/>
		</dict>
	</dict>
	<key>Subscriptions</key>
	<dict/>
</dict>
</plist>
)");
}

TEST_F(LoadingThePlistStore, The_file_is_in_the_first_of_several_library_directories) {
    environment.userDirectories.libraries.push_back(homePath("Second"));
    const OpenPlistStore store;
    EXPECT_EQ(store._plistPath, plistPath());
    EXPECT_FALSE(access(homePath("Second").c_str(), F_OK) == 0);
}

TEST_F(LoadingThePlistStore, Without_a_library_directory_the_store_lives_in_memory) {
    environment.userDirectories.libraries.clear();
    OpenPlistStore store;
    EXPECT_EQ(logLines(), (Paths{"-[MOXPlistSubscriptionManager init] library directory not found",
                                 writeErrorWithoutPath}));
    EXPECT_EQ(store._plistPath, std::nullopt);
    EXPECT_EQ(store.folders(), chain);
    EXPECT_TRUE(store.createFolderAtPath("/Users/user/Applications/New"));
    EXPECT_EQ(store.folders().back(), "/Users/user/Applications/New");
    EXPECT_EQ(namesIn(homePath()), Paths());
}

TEST_F(LoadingThePlistStore, A_file_at_the_support_folder_is_kept_and_the_store_lives_in_memory) {
    makeFolders(homePath("Library/Application Support"));
    ASSERT_EQ(symlink("/dev/null", supportFolder().c_str()), 0);
    const OpenPlistStore store;
    EXPECT_EQ(logLines(),
              (Paths{"-[MOXPlistSubscriptionManager init] Error creating subscription dictionary folder (" +
                         supportFolder() + "); (path is file)",
                     writeErrorWithoutPath}));
    EXPECT_EQ(store._plistPath, std::nullopt);
    EXPECT_EQ(store.folders(), chain);
    EXPECT_EQ(namesIn(homePath("Library/Application Support")), Paths{"Korvan Ostrel"});
}

TEST_F(LoadingThePlistStore, A_support_folder_that_cannot_be_made_is_logged_with_the_reason) {
    environment.systemCalls.failCall(SystemCall::Mkdir, 1, EROFS, FaultDuration::FromThenOn);
    const OpenPlistStore store;
    const auto reason = environment.fileSystem.createDirectoryWithIntermediates(supportFolder(), 0700);
    ASSERT_FALSE(reason);
    EXPECT_EQ(logLines(),
              (Paths{"-[MOXPlistSubscriptionManager init] Error creating subscription dictionary folder (" +
                         supportFolder() + "): " + reason.error().localizedDescription(),
                     writeErrorWithoutPath}));
    EXPECT_EQ(store._plistPath, std::nullopt);
    EXPECT_EQ(store.folders(), chain);
}

TEST_F(LoadingThePlistStore, A_support_folder_that_cannot_be_looked_at_is_logged_as_one_not_made) {
    putTree(node());
    environment.fileSystem.failCall(std::nullopt, 1, EACCES, FaultDuration::FromThenOn);
    const OpenPlistStore store;
    environment.fileSystem.stopFailing();
    EXPECT_EQ(store._plistPath, std::nullopt);
    ASSERT_EQ(logLines().size(), 2U);
    EXPECT_TRUE(logLines().front().starts_with(
        "-[MOXPlistSubscriptionManager init] Error creating subscription dictionary folder (" +
        supportFolder() + "): "));
    EXPECT_EQ(treeOnDisk(), node());
}

TEST_F(LoadingThePlistStore, A_support_folder_that_could_only_not_be_looked_at_is_used) {
    putTree(node({{"Kept", node()}}));
    environment.fileSystem.failCall(FileSystemOperation::ItemKind, 1, EACCES, FaultDuration::Once);
    const OpenPlistStore store;
    EXPECT_EQ(store.folders(), Paths{"Kept"});
    EXPECT_EQ(logLines(), Paths());
}

TEST_F(LoadingThePlistStore, The_support_folder_and_the_file_are_made_for_the_user_alone) {
    const mode_t mask = umask(022);
    const OpenPlistStore store;
    umask(mask);
    EXPECT_EQ(modeOf(supportFolder()), 0700U);
    EXPECT_EQ(modeOf(homePath("Library/Application Support")), 0755U);
    EXPECT_EQ(modeOf(plistPath()), 0600U);
}

TEST_F(LoadingThePlistStore, Existing_permissions_are_kept) {
    makeFolders(supportFolder());
    ASSERT_EQ(chmod(supportFolder().c_str(), 0750), 0);
    putTree(node());
    ASSERT_EQ(chmod(plistPath().c_str(), 0640), 0);
    OpenPlistStore store;
    EXPECT_TRUE(store.createFolderAtPath("New"));
    EXPECT_EQ(modeOf(supportFolder()), 0750U);
    EXPECT_EQ(modeOf(plistPath()), 0640U);
}

TEST_F(LoadingThePlistStore, A_directory_at_the_files_path_counts_as_no_file_and_stays) {
    makeFolders(plistPath());
    OpenPlistStore store;
    EXPECT_EQ(store.folders(), chain);
    EXPECT_EQ(store._plistPath, plistPath());
    const std::string line = "-[MOXPlistSubscriptionManager saveSubscriptions] Error writing subscription "
                             "dictionary at path (" +
                             plistPath() + ")";
    EXPECT_EQ(logLines(), Paths{line});
    EXPECT_TRUE(store.createFolderAtPath("New"));
    EXPECT_EQ(logLines(), (Paths{line, line}));
    EXPECT_EQ(namesIn(supportFolder()), Paths{"Subscriptions.plist"});
    EXPECT_EQ(namesIn(plistPath()), Paths());
}

TEST_F(LoadingThePlistStore, An_existing_file_is_listed_and_not_written) {
    putTree(node({{"A", node({}, {{"One", entry()}})}}, {{"Top", entry()}}));
    const std::string before = bytesOfFile(plistPath());
    const OpenPlistStore store;
    EXPECT_EQ(store.subscriptionPaths(), (Paths{"Top", "A/One"}));
    EXPECT_EQ(store.folders(), Paths{"A"});
    EXPECT_EQ(saves(), 0U);
    EXPECT_EQ(bytesOfFile(plistPath()), before);
    EXPECT_TRUE(store.isMonitorFree());
}

TEST_F(LoadingThePlistStore, A_file_without_the_applications_folder_does_not_get_one) {
    putTree(node());
    const OpenPlistStore store;
    EXPECT_EQ(store.folders(), Paths());
}

TEST_F(LoadingThePlistStore, A_root_without_keys_loads_and_fails_only_where_one_is_needed) {
    putTree(Dictionary());
    OpenPlistStore store;
    EXPECT_EQ(store.folders(), Paths());
    EXPECT_EQ(store.subscriptionPaths(), Paths());
    EXPECT_THROW(store.createFolderAtPath("New"), InternalInconsistencyException);
}

TEST_F(LoadingThePlistStore, A_file_whose_root_is_an_array_raises_and_stays_as_it_was) {
    const std::string bytes =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><array/></plist>";
    putFile(bytes);
    EXPECT_THROW(OpenPlistStore(), InternalInconsistencyException);
    expectBadClassAssertion();
    EXPECT_EQ(bytesOfFile(plistPath()), bytes);
    EXPECT_EQ(namesIn(supportFolder()), Paths{"Subscriptions.plist"});
}

TEST_F(LoadingThePlistStore, Every_damaged_file_raises_and_stays_as_it_was) {
    for (const std::string& bytes :
         {std::string(), std::string("<plist><dict><key>Folders</key></dict></plist>"),
          std::string("<?xml version=\"1.0\"?><plist version=\"1.0\"><dict>"), std::string("bplist00"),
          std::string("<plist version=\"1.0\"><string>text</string></plist>"), std::string("\0\1\2\3", 4),
          std::string("{ Folders = ")}) {
        letAssertions(Then::Throws);
        putFile(bytes);
        EXPECT_THROW(OpenPlistStore(), InternalInconsistencyException) << bytes;
        expectBadClassAssertion();
        EXPECT_EQ(bytesOfFile(plistPath()), bytes);
        EXPECT_EQ(namesIn(supportFolder()), Paths{"Subscriptions.plist"});
    }
}

TEST_F(LoadingThePlistStore, A_file_that_cannot_be_read_is_never_taken_for_a_missing_one) {
    putTree(node({{"Kept", node()}}));
    const std::string before = bytesOfFile(plistPath());
    const struct {
        SystemCall call;
        std::size_t number;
        int errorNumber;
    } faults[] = {{SystemCall::Open, 1, EACCES},
                  {SystemCall::Open, 1, EMFILE},
                  {SystemCall::Open, 1, EIO},
                  {SystemCall::Read, 1, EIO},
                  {SystemCall::Fstat, 1, EIO}};
    for (const auto& fault : faults) {
        letAssertions(Then::Throws);
        environment.systemCalls.failCall(fault.call, fault.number, fault.errorNumber,
                                         FaultDuration::FromThenOn);
        EXPECT_THROW(OpenPlistStore(), InternalInconsistencyException);
        environment.systemCalls.stopFailing();
        expectBadClassAssertion();
        EXPECT_EQ(bytesOfFile(plistPath()), before);
    }
}

TEST_F(LoadingThePlistStore, A_file_that_could_only_not_be_looked_at_is_read) {
    putTree(node({{"Kept", node()}}));
    environment.fileSystem.failCall(FileSystemOperation::ItemKind, 2, EACCES, FaultDuration::Once);
    const OpenPlistStore store;
    EXPECT_EQ(environment.fileSystem.faultsFired(), 1U);
    EXPECT_EQ(store.folders(), Paths{"Kept"});
}

TEST_F(LoadingThePlistStore, When_the_handler_returns_a_bad_file_is_put_aside_before_a_new_one_is_made) {
    letAssertions(Then::Returns);
    putFile("damaged");
    const OpenPlistStore store;
    expectBadClassAssertion();
    EXPECT_EQ(bytesOfFile(plistPath() + ".unreadable"), "damaged");
    EXPECT_EQ(store.folders(), chain);
    EXPECT_EQ(treeOnDisk(), *store._subscriptionHierarchy->dictionary());
    EXPECT_EQ(namesIn(supportFolder()), (Paths{"Subscriptions.plist", "Subscriptions.plist.unreadable"}));
}

TEST_F(LoadingThePlistStore, When_the_handler_returns_a_file_that_cannot_be_read_is_put_aside_too) {
    letAssertions(Then::Returns);
    putTree(node({{"Kept", node()}}));
    const std::string before = bytesOfFile(plistPath());
    environment.fileSystem.failCall(FileSystemOperation::ContentsOfFile, 1, EACCES, FaultDuration::Once);
    const OpenPlistStore store;
    expectBadClassAssertion();
    EXPECT_EQ(bytesOfFile(plistPath() + ".unreadable"), before);
    EXPECT_EQ(store.folders(), chain);
}

TEST_F(LoadingThePlistStore, A_bad_file_put_aside_never_replaces_an_earlier_one) {
    letAssertions(Then::Returns);
    for (const std::string content : {"first", "second", "third"}) {
        putFile(content);
        const OpenPlistStore store;
    }
    EXPECT_EQ(bytesOfFile(plistPath() + ".unreadable"), "first");
    EXPECT_EQ(bytesOfFile(plistPath() + ".unreadable.1"), "second");
    EXPECT_EQ(bytesOfFile(plistPath() + ".unreadable.2"), "third");
}

TEST_F(LoadingThePlistStore, A_bad_file_that_cannot_be_put_aside_stays_and_the_store_lives_in_memory) {
    letAssertions(Then::Returns);
    putFile("damaged");
    environment.systemCalls.failCall(SystemCall::Renameat2, 1, EACCES, FaultDuration::FromThenOn);
    OpenPlistStore store;
    environment.systemCalls.stopFailing();
    EXPECT_EQ(store._plistPath, std::nullopt);
    EXPECT_TRUE(store.createFolderAtPath("New"));
    EXPECT_EQ(bytesOfFile(plistPath()), "damaged");
    EXPECT_EQ(namesIn(supportFolder()), Paths{"Subscriptions.plist"});
    EXPECT_EQ(logLines(), (Paths{writeErrorWithoutPath, writeErrorWithoutPath}));
}

TEST_F(LoadingThePlistStore, Putting_a_bad_file_aside_ends_also_when_every_name_is_taken) {
    letAssertions(Then::Returns);
    putFile("damaged");
    environment.systemCalls.failCall(SystemCall::Renameat2, 1, EEXIST, FaultDuration::FromThenOn);
    const OpenPlistStore store;
    EXPECT_EQ(store._plistPath, std::nullopt);
    EXPECT_EQ(bytesOfFile(plistPath()), "damaged");
}

TEST_F(LoadingThePlistStore, A_link_at_the_files_path_is_followed_on_reading_and_replaced_on_saving) {
    putTree(node({{"Kept", node()}}));
    const std::string elsewhere = homePath("elsewhere.plist");
    ASSERT_EQ(rename(plistPath().c_str(), elsewhere.c_str()), 0);
    ASSERT_EQ(symlink(elsewhere.c_str(), plistPath().c_str()), 0);
    const std::string before = bytesOfFile(elsewhere);
    OpenPlistStore store;
    EXPECT_EQ(store.folders(), Paths{"Kept"});
    EXPECT_TRUE(store.createFolderAtPath("New"));
    EXPECT_EQ(bytesOfFile(elsewhere), before);
    EXPECT_EQ(treeOnDisk(), node({{"Kept", node()}, {"New", node()}}));
}

TEST_F(LoadingThePlistStore, Changes_that_others_make_to_the_file_are_not_seen_and_are_overwritten) {
    const auto store = open(node({{"Ours", node()}}));
    putTree(node({{"Theirs", node()}}));
    EXPECT_EQ(store->folders(), Paths{"Ours"});
    store->saveSubscriptions();
    EXPECT_EQ(treeOnDisk(), node({{"Ours", node()}}));
}

} // namespace
} // namespace mox::test
