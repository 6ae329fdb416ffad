#include "SDK/UpgradeTest.hpp"

#include <cerrno>
#include <cstdlib>
#include <sys/stat.h>

namespace mox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

class FailingUpgrades : public UpgradeTest {
protected:
    using Operation = FileSystemOperation;

    void SetUp() override {
        stub = makeOldStub("a/Word.app");
        store = open();
    }
    void TearDown() override {
        store.reset();
        UpgradeTest::TearDown();
    }

    bool upgrade() {
        error = staleError();
        return store->updateSubscriptionAtPath(stub, {}, {}, &error);
    }
    void fail(Operation operation, int errorNumber, FaultDuration duration = FaultDuration::Once) {
        test.fileSystem.failCall(operation, 1, errorNumber, duration);
    }
    static std::string describe(const std::optional<Error>& described) {
        return described ? described->description() : "nil";
    }
    std::string describeUnderlying() const { return error->underlyingError()->description(); }

    /// Whether the old stub is in its place, the Trash and the temporary folder are empty, and nothing else
    /// is beside the stub.
    testing::AssertionResult isAsBefore() const {
        if (!isOldStub(stub)) return testing::AssertionFailure() << "the old stub is not in its place";
        if (namesIn(inApps("a")) != Paths{"Word.app"})
            return testing::AssertionFailure() << "something beside";
        if (namesIn(temporary) != Paths{}) return testing::AssertionFailure() << "temporary files";
        return isTrashEmpty();
    }
    testing::AssertionResult isTrashEmpty() const {
        for (const std::string_view part : {"files", "info"}) {
            const std::string folder = test.homePath(".local/share/Trash/").append(part);
            if (isThere(folder) && namesIn(folder) != Paths{})
                return testing::AssertionFailure() << "something in the Trash's " << part;
        }
        return testing::AssertionSuccess();
    }
    /// Whether the old stub is in the Trash, with what the Trash knows of it, and nothing is in its place.
    testing::AssertionResult isInTrash() const {
        if (isThere(stub)) return testing::AssertionFailure() << "something is in the stub's place";
        if (!isOldStub(inTrash("Word.app"))) return testing::AssertionFailure() << "not in the Trash";
        const std::string info = bytesAt(test.homePath(".local/share/Trash/info/Word.app.trashinfo"));
        if (info.find("Path=" + stub) == info.npos) return testing::AssertionFailure() << info;
        if (namesIn(inApps("a")) != Paths{}) return testing::AssertionFailure() << "something beside";
        if (namesIn(temporary) != Paths{}) return testing::AssertionFailure() << "temporary files";
        return testing::AssertionSuccess();
    }

    std::string stub;
    std::shared_ptr<OpenBundleStore> store;
    std::optional<Error> error;
};

// The temporary folder

TEST_F(FailingUpgrades, Without_a_temporary_folder_it_is_2004_without_information) {
    fail(Operation::CreateTemporaryDirectory, ENOSPC);
    EXPECT_FALSE(upgrade());
    EXPECT_TRUE(isStubError(error, 2004));
    EXPECT_THAT(logLines(), ElementsAre(line("Error creating temporary directory")));
    EXPECT_TRUE(isAsBefore());
    EXPECT_THAT(registrations(), IsEmpty());
}

// Writing the new stub

TEST_F(FailingUpgrades, A_stub_that_cannot_be_written_is_the_writer_s_own_error) {
    fail(Operation::WriteFileAtomically, ENOSPC);
    EXPECT_FALSE(upgrade());
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), 2006) << "the information list's";
    EXPECT_EQ(error->underlyingError(), nullptr) << "unwrapped";
    ASSERT_EQ(logLines().size(), 2U);
    EXPECT_THAT(logLines().front(), StartsWith("-[MOXFileSubscription writeToFolder:withName:error:] "));
    EXPECT_EQ(logLines().back(), line("Error writing subscription to temp folder: " + describe(error)));
    EXPECT_TRUE(isAsBefore());
    fail(Operation::WriteFileAtomically, ENOSPC);
    EXPECT_FALSE(store->updateSubscriptionAtPath(stub, {}, {})) << "without a place for the error";
}

/// A record that cannot be written, and does not say why.
class SilentlyFailingSubscription : public MOXFileSubscription {
public:
    SilentlyFailingSubscription() = default;
    bool needsUpdate() const override { return true; }
    bool writeToFolder(std::string_view folder, std::string_view name, std::optional<Error>*) override {
        calls.push_back(std::string(folder) + " " + std::string(name));
        return false;
    }
    Lines calls;
};

TEST_F(FailingUpgrades, A_writer_that_gives_no_error_leaves_the_caller_s_untouched) {
    const auto record = std::make_shared<SilentlyFailingSubscription>();
    record->setPath(stub);
    record->setStoreName("Store");
    error = staleError();
    EXPECT_FALSE(store->updateSubscription(record, {}, {}, &error));
    EXPECT_TRUE(isStale(error));
    EXPECT_THAT(logLines(), ElementsAre(line("Error writing subscription to temp folder")));
    ASSERT_EQ(record->calls.size(), 1U);
    EXPECT_THAT(record->calls.front(), StartsWith(temporary + "/korvan.tmp."));
    EXPECT_TRUE(record->calls.front().ends_with(" Word.app"));
    EXPECT_TRUE(isAsBefore());
}

// The alias

TEST_F(FailingUpgrades, An_alias_that_cannot_be_made_is_logged_and_no_failure) {
    test.fileReferences.referenceStatus = EACCES;
    EXPECT_TRUE(upgrade());
    EXPECT_THAT(logLines(),
                ElementsAre(line("Error creating FSRef from path (" + stub + "), error (13)"),
                            line("Successfully upgraded '" + stub + "' from 1.0.0.0 to 2.0.0.0")));
    EXPECT_TRUE(isStale(error));
}

TEST_F(FailingUpgrades, The_status_of_a_reference_is_logged_whole) {
    test.fileReferences.referenceStatus = 65536 + 7;
    EXPECT_TRUE(upgrade());
    EXPECT_EQ(logLines().front(), line("Error creating FSRef from path (" + stub + "), error (65543)"));
}

TEST_F(FailingUpgrades, The_status_of_an_alias_is_logged_in_sixteen_bits) {
    test.fileReferences.aliasStatus = 65536 + 7;
    EXPECT_TRUE(upgrade());
    EXPECT_EQ(logLines().front(), line("Error creating alias to subscription (7)"));
}

// The Trash

TEST_F(FailingUpgrades, A_Trash_that_takes_nothing_is_2004_without_information) {
    test.workspace.refusesToRecycle = true;
    EXPECT_FALSE(upgrade());
    EXPECT_TRUE(isStubError(error, 2004));
    EXPECT_THAT(logLines(), ElementsAre(line("Error deleting old subscription (" + stub + ")")));
    EXPECT_TRUE(isAsBefore());
    EXPECT_FALSE(store->updateSubscriptionAtPath(stub, {}, {})) << "without a place for the error";
}

TEST_F(FailingUpgrades, A_removal_that_gives_an_error_is_2004_over_it) {
    const Error cause(NSCocoaErrorDomain, 513);
    store->removal = [&](std::string_view path, bool useTrash,
                         std::optional<Error>* place) -> std::optional<bool> {
        if (!useTrash) return std::nullopt;
        EXPECT_EQ(path, stub);
        *place = cause;
        return false;
    };
    EXPECT_FALSE(upgrade());
    EXPECT_TRUE(isErrorOver(error, 2004, 513));
    EXPECT_THAT(logLines(),
                ElementsAre(line("Error deleting old subscription (" + stub + "): " + cause.description())));
    EXPECT_TRUE(isAsBefore());
}

TEST_F(FailingUpgrades, A_record_that_was_given_a_store_and_an_icon_keeps_them_when_the_upgrade_fails) {
    stub = makeOldStub("a/Word.app", dictionaryOf({{"Store Name", ""}, {"Korvan Server", "server"}}));
    const auto record = MOXFileSubscription::subscriptionWithPath(stub);
    test.workspace.refusesToRecycle = true;
    EXPECT_FALSE(store->updateSubscription(record, askForStore("Named"), askForIcon(32)));
    EXPECT_EQ(record->storeName(), "Named");
    EXPECT_EQ(record->internalStoreURL(), "server");
    EXPECT_EQ(record->serverName(), std::nullopt);
    ASSERT_TRUE(record->icon());
    EXPECT_EQ(record->icon()->representations.front().pixelsWide, 32U);
    EXPECT_THAT(*record->path(), StartsWith(temporary + "/korvan.tmp."));
    EXPECT_EQ(MOXFileSubscription::subscriptionWithPath(stub)->serverName(), "server") << "on the disk";
    EXPECT_TRUE(isAsBefore());
}

TEST_F(FailingUpgrades, A_record_keeps_its_path_when_the_new_stub_was_not_written) {
    const auto record = MOXFileSubscription::subscriptionWithPath(stub);
    fail(Operation::CopyItem, ENOSPC);
    EXPECT_FALSE(store->updateSubscription(record, {}, askForIcon(32)));
    EXPECT_EQ(record->path(), stub);
    ASSERT_TRUE(record->icon());
    EXPECT_TRUE(isAsBefore());
}

// The move into place

TEST_F(FailingUpgrades, A_new_stub_that_cannot_be_moved_into_place_brings_the_old_one_back) {
    fail(Operation::MoveItem, EIO);
    EXPECT_FALSE(upgrade());
    EXPECT_TRUE(isErrorOver(error, 2004, 512));
    EXPECT_THAT(logLines(), ElementsAre(line("Error moving subscription in place: " + describeUnderlying())))
        << "a successful restore logs nothing";
    EXPECT_TRUE(isAsBefore());
    EXPECT_THAT(test.workspace.calls,
                ElementsAre("recycle " + inApps("a") + " Word.app", "moved out " + inTrash("Word.app")));
}

TEST_F(FailingUpgrades, The_desktop_knows_the_restored_stub_and_not_the_new_one) {
    fail(Operation::MoveItem, EIO);
    const auto record = MOXFileSubscription::subscriptionWithPath(stub);
    test.launchRegistration.status = EACCES; // That nobody looks at it is what counts.
    EXPECT_FALSE(store->updateSubscription(record, {}, {}));
    const std::string newPath = *record->path();
    EXPECT_THAT(registrations(), ElementsAre("register " + newPath, "removed " + stub, "register " + stub,
                                             "removed " + newPath.substr(0, newPath.rfind('/'))));
}

TEST_F(FailingUpgrades, Without_an_alias_no_rollback_is_tried_and_nothing_more_logged) {
    test.fileReferences.referenceStatus = EACCES;
    fail(Operation::MoveItem, EIO);
    EXPECT_FALSE(upgrade());
    EXPECT_TRUE(isErrorOver(error, 2004, 512));
    EXPECT_THAT(logLines(), ElementsAre(line("Error creating FSRef from path (" + stub + "), error (13)"),
                                        line("Error moving subscription in place: " + describeUnderlying())));
    EXPECT_EQ(test.fileSystem.count(Operation::MoveItem), 1U);
    EXPECT_TRUE(isInTrash());
}

TEST_F(FailingUpgrades, An_alias_that_cannot_be_resolved_ends_the_rollback) {
    test.fileReferences.resolutionStatus = 65536 - 43;
    fail(Operation::MoveItem, EIO);
    EXPECT_FALSE(upgrade());
    EXPECT_TRUE(isErrorOver(error, 2004, 512));
    EXPECT_THAT(logLines(), ElementsAre(line("Error moving subscription in place: " + describeUnderlying()),
                                        line("Error resolving subscription alias (-43)")));
    EXPECT_EQ(test.fileSystem.count(Operation::MoveItem), 1U);
    EXPECT_TRUE(isInTrash());
}

TEST_F(FailingUpgrades, A_path_that_cannot_be_made_ends_the_rollback) {
    test.fileReferences.pathStatus = 65536 + ENAMETOOLONG;
    fail(Operation::MoveItem, EIO);
    EXPECT_FALSE(upgrade());
    EXPECT_TRUE(isErrorOver(error, 2004, 512));
    EXPECT_THAT(logLines(), ElementsAre(line("Error moving subscription in place: " + describeUnderlying()),
                                        line("Error making path from FSRef (" +
                                             std::to_string(65536 + ENAMETOOLONG) + ")")));
    EXPECT_TRUE(isInTrash());
}

TEST_F(FailingUpgrades, An_old_stub_that_cannot_be_restored_stays_in_the_Trash_and_the_first_error_counts) {
    fail(Operation::MoveItem, EIO, FaultDuration::FromThenOn);
    EXPECT_FALSE(upgrade());
    EXPECT_TRUE(isErrorOver(error, 2004, 512));
    ASSERT_EQ(logLines().size(), 2U);
    EXPECT_EQ(logLines()[0], line("Error moving subscription in place: " + describeUnderlying()));
    EXPECT_THAT(
        logLines()[1],
        StartsWith(line("Error restoring old subscription: Error Domain=NSCocoaErrorDomain Code=512")));
    EXPECT_EQ(test.fileSystem.count(Operation::MoveItem), 2U);
    EXPECT_TRUE(isInTrash());
    EXPECT_THAT(test.workspace.calls, ElementsAre("recycle " + inApps("a") + " Word.app"))
        << "the Trash keeps what it knows of it";
    EXPECT_THAT(registrations(), testing::Not(testing::Contains("register " + stub)));
}

TEST_F(FailingUpgrades, What_turns_up_in_the_place_is_never_replaced) {
    store->removal = [&](std::string_view path, bool useTrash,
                         std::optional<Error>* place) -> std::optional<bool> {
        if (!useTrash) return std::nullopt;
        const bool result = store->MOXFileSubscriptionManager::removeItemAtPath(path, useTrash, place);
        makeFile("home/Applications/a/Word.app", "turned up");
        return result;
    };
    EXPECT_FALSE(upgrade());
    EXPECT_TRUE(isErrorOver(error, 2004, 516));
    ASSERT_EQ(logLines().size(), 2U);
    EXPECT_THAT(
        logLines()[1],
        StartsWith(line("Error restoring old subscription: Error Domain=NSCocoaErrorDomain Code=516")));
    EXPECT_EQ(bytesAt(stub), "turned up");
    EXPECT_TRUE(isOldStub(inTrash("Word.app")));
}

TEST_F(FailingUpgrades, What_cannot_be_staged_is_told_as_the_move_s_failure_with_nothing_to_roll_back) {
    fail(Operation::StageForMove, ENOSPC);
    EXPECT_FALSE(upgrade());
    EXPECT_TRUE(isErrorOver(error, 2004, 640));
    EXPECT_THAT(logLines(), ElementsAre(line("Error moving subscription in place: " + describeUnderlying())));
    EXPECT_TRUE(isAsBefore());
    EXPECT_THAT(test.workspace.calls, IsEmpty());
    EXPECT_EQ(test.fileSystem.count(Operation::MoveItem), 0U);
}

// The end

TEST_F(FailingUpgrades, A_temporary_folder_that_cannot_be_removed_is_logged_and_no_failure) {
    fail(Operation::RemoveItem, EBUSY);
    EXPECT_TRUE(upgrade());
    EXPECT_TRUE(isStale(error));
    const Paths left = namesIn(temporary);
    ASSERT_EQ(left.size(), 1U);
    const std::string folder = temporary + "/" + left.front();
    ASSERT_EQ(logLines().size(), 2U);
    EXPECT_THAT(logLines()[0], StartsWith(line("Successfully upgraded '" + stub + "'")));
    EXPECT_THAT(logLines()[1], StartsWith(line("Error deleting temp directory (" + folder +
                                               "): Error Domain=NSCocoaErrorDomain Code=512")));
    EXPECT_EQ(registrations().back(), "removed " + folder) << "told all the same, and once";
    EXPECT_EQ(versionOf(stub), "2.0");
}

TEST_F(FailingUpgrades, A_removal_of_the_temporary_folder_without_an_error_is_logged_as_null) {
    store->removal = [](std::string_view, bool useTrash, std::optional<Error>*) -> std::optional<bool> {
        return useTrash ? std::nullopt : std::optional(false);
    };
    EXPECT_TRUE(upgrade());
    EXPECT_TRUE(logLines().back().ends_with("): (null)")) << logLines().back();
}

TEST_F(FailingUpgrades, The_temporary_folder_is_removed_also_behind_a_failure_and_that_may_fail_too) {
    store->removal = [](std::string_view, bool useTrash, std::optional<Error>* place) -> std::optional<bool> {
        if (useTrash) return false;
        *place = Error(NSCocoaErrorDomain, 512);
        return false;
    };
    EXPECT_FALSE(upgrade());
    EXPECT_TRUE(isStubError(error, 2004)) << "the first failure's error stays";
    ASSERT_EQ(logLines().size(), 2U);
    EXPECT_EQ(logLines()[0], line("Error deleting old subscription (" + stub + ")"));
    EXPECT_THAT(logLines()[1], StartsWith(line("Error deleting temp directory (")));
    EXPECT_TRUE(isOldStub(stub));
}

TEST_F(FailingUpgrades, Everything_may_fail_at_once) {
    test.fileReferences.pathStatus = EIO;
    store->removal = [&](std::string_view path, bool useTrash,
                         std::optional<Error>* place) -> std::optional<bool> {
        if (useTrash) return std::nullopt;
        *place = Error(NSCocoaErrorDomain, 513);
        return test.fileSystem.removeItem(std::string(path)) && false;
    };
    fail(Operation::MoveItem, EIO);
    EXPECT_FALSE(upgrade());
    EXPECT_TRUE(isErrorOver(error, 2004, 512));
    ASSERT_EQ(logLines().size(), 3U);
    EXPECT_THAT(logLines()[0], StartsWith(line("Error moving subscription in place: ")));
    EXPECT_EQ(logLines()[1], line("Error making path from FSRef (5)"));
    EXPECT_THAT(logLines()[2], StartsWith(line("Error deleting temp directory (")));
    EXPECT_TRUE(isInTrash());
}

TEST_F(FailingUpgrades, Whichever_operation_fails_the_old_or_the_new_stub_is_whole_and_the_result_is_true) {
    constexpr std::size_t tooMany = 1000;
    std::size_t number = 1;
    for (bool hasFired = true; hasFired; ++number) {
        ASSERT_LT(number, tooMany);
        const std::string each = makeOldStub("n" + std::to_string(number) + "/Word.app");
        test.fileSystem.resetCounts();
        test.fileSystem.failCall(std::nullopt, number, EIO, FaultDuration::Once);
        const bool result = store->updateSubscriptionAtPath(each, {}, {});
        hasFired = test.fileSystem.faultsFired() > 0;
        test.fileSystem.stopFailing();
        ASSERT_TRUE(isThere(each)) << number;
        EXPECT_EQ(result && versionOf(each) == "2.0", versionOf(each) == "2.0") << number;
        if (versionOf(each) == "1.0") {
            EXPECT_TRUE(isOldStub(each)) << number;
        } else {
            EXPECT_TRUE(store->isSubscriptionAtPath(each)) << number;
            EXPECT_TRUE(isThere(each + "/Contents/MacOS/Launcher")) << number;
        }
    }
    EXPECT_GT(number, 10U);
}

// A folder for temporary files on another file system

class UpgradingAcrossFileSystems : public FailingUpgrades {
protected:
    void SetUp() override {
        std::string folder = "/tmp/moxsubscribe-test-XXXXXX";
        if (::mkdtemp(folder.data()) == nullptr) GTEST_SKIP() << "no folder in /tmp";
        _far = folder;
        struct ::stat there;
        struct ::stat here;
        if (::stat(_far.c_str(), &there) != 0 || ::stat(scratch.path().c_str(), &here) != 0 ||
            there.st_dev == here.st_dev) {
            GTEST_SKIP() << "/tmp is on the file system of the other scratch folders";
        }
        test.userDirectories.temporary = _far;
        FailingUpgrades::SetUp();
    }
    void TearDown() override {
        if (!_far.empty()) {
            EXPECT_TRUE(!isThere(_far) || namesIn(_far) == Paths{}) << "left behind";
            EXPECT_TRUE(test.fileSystem.removeItem(_far));
        }
        FailingUpgrades::TearDown();
    }

private:
    std::string _far;
};

TEST_F(UpgradingAcrossFileSystems, The_new_stub_is_beside_the_old_one_before_that_goes_to_the_Trash) {
    Paths beside;
    store->removal = [&](std::string_view, bool useTrash, std::optional<Error>*) -> std::optional<bool> {
        if (useTrash) beside = namesIn(inApps("a"));
        return std::nullopt;
    };
    EXPECT_TRUE(upgrade());
    EXPECT_EQ(beside.size(), 2U);
    EXPECT_EQ(versionOf(stub), "2.0");
    EXPECT_TRUE(isThere(stub + "/Contents/MacOS/Launcher"));
    EXPECT_TRUE(isOldStub(inTrash("Word.app")));
    EXPECT_THAT(namesIn(inApps("a")), ElementsAre("Word.app"));
    EXPECT_THAT(logLines(),
                ElementsAre(line("Successfully upgraded '" + stub + "' from 1.0.0.0 to 2.0.0.0")));
}

TEST_F(UpgradingAcrossFileSystems, A_stub_without_a_version_is_logged_with_its_own_and_not_the_new_one_s) {
    const std::string versionless =
        makeBundle("home/Applications/b/Word.app", {.infoPlist = std::nullopt, .alias = oldAlias()});
    EXPECT_TRUE(store->updateSubscriptionAtPath(versionless, {}, {}));
    EXPECT_THAT(logLines(),
                ElementsAre(line("Successfully upgraded '" + versionless + "' from  to 2.0.0.0")));
}

TEST_F(UpgradingAcrossFileSystems, The_copy_beside_the_old_stub_goes_when_the_Trash_takes_nothing) {
    test.workspace.refusesToRecycle = true;
    EXPECT_FALSE(upgrade());
    EXPECT_TRUE(isAsBefore());
}

TEST_F(UpgradingAcrossFileSystems, The_copy_beside_the_old_stub_goes_when_it_cannot_be_moved_into_place) {
    fail(Operation::MoveItem, EIO);
    EXPECT_FALSE(upgrade());
    EXPECT_TRUE(isAsBefore());
    EXPECT_THAT(logLines(), ElementsAre(line("Error moving subscription in place: " + describeUnderlying())));
}

TEST_F(UpgradingAcrossFileSystems, Too_little_room_beside_the_old_stub_leaves_it_in_its_place) {
    fail(Operation::StageForMove, ENOSPC);
    EXPECT_FALSE(upgrade());
    EXPECT_TRUE(isErrorOver(error, 2004, 640));
    EXPECT_TRUE(isAsBefore());
}

} // namespace
} // namespace mox::test
