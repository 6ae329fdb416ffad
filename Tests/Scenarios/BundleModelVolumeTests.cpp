#include "Support/MountedVolume.hpp"

#include <cerrno>
#include <unistd.h>

#include "Scenarios/BundleModelScenario.hpp"

namespace mox::test {
namespace {

/// The sample on a disk of which a part is another file system.
class VolumesInTheBundleModel : public BundleModelScenario {
protected:
    /// Runs `body` with a volume of its own at `path`, and the sample there.
    void onVolumeAt(const std::string& path, const std::function<void()>& body) {
        makeFolder(path);
        const VolumeTrial trial = tryOnMountedVolume(scratch.path(path), [&] {
            body();
            return !HasFailure();
        });
        if (trial == VolumeTrial::NotPossible) GTEST_SKIP() << "this user may not mount";
        EXPECT_EQ(trial, VolumeTrial::Succeeded);
    }

    /// Makes the sample without removing what is mounted.
    void fillSample() {
        makeStubWithIcon("Work/Word.app");
        makeFile("home/Applications/Work/letter.txt", "Dear all");
        makeFolder("tmp");
        before = disk();
        start();
    }
    void makeStubWithIcon(const std::string& relativePath) {
        BundleContent content = templateContent("1.0");
        content.alias = oldAlias();
        content.alias->set("Korvan Application Type", "Application");
        content.files["Contents/mark"] = "old";
        makeBundle("home/Applications/" + relativePath, content);
    }
    bool upgrade(std::optional<Error>* error = nullptr) {
        return dynamic_cast<MOXFileSubscriptionManager&>(*manager).updateSubscriptionAtPath(
            scratch.path(stubPlace), {}, {}, error);
    }
    const Operation upgradeOperation = operationNamed("upgrade");
    const std::string trashFolder = "home/.local/share/Trash";
};

TEST_F(VolumesInTheBundleModel, An_upgrade_from_a_volume_for_temporary_files_loses_nothing_at_any_call) {
    onVolumeAt("tmp", [&] {
        fillSample();
        ASSERT_TRUE(upgrade());
        after = disk();
        EXPECT_TRUE(isNothingLost(after));
        EXPECT_EQ(namesIn(inApps("Work")), (Paths{"Word.app", "letter.txt"}));
        const auto putBack = [&] {
            for (const std::string& path : {inApps(), test.homePath(".local")}) {
                if (isThere(path)) {
                    EXPECT_TRUE(test.fileSystem.removeItem(path));
                }
            }
            for (const std::string& name : namesIn(temporary))
                EXPECT_TRUE(test.fileSystem.removeItem(temporary + "/" + name));
            fillSample();
        };
        for (const bool dies : {false, true}) {
            std::size_t number = 1;
            for (bool hasFired = true; hasFired; ++number) {
                SCOPED_TRACE((dies ? "death at " : "fault at ") + std::to_string(number));
                putBack();
                if (dies)
                    test.systemCalls.dieAtChange(number);
                else
                    test.systemCalls.failCall(std::nullopt, number, ENOSPC, FaultDuration::Once);
                const bool result = upgrade();
                hasFired = test.systemCalls.faultsFired() != 0;
                test.systemCalls.stopFailing();
                const Tree state = disk();
                ASSERT_TRUE(isUnharmed(state, upgradeOperation));
                if (!dies && !result) {
                    EXPECT_TRUE(!state.contains(stubPlace) ||
                                within(state, stubPlace) == within(before, stubPlace));
                    for (const auto& [path, content] : state)
                        EXPECT_FALSE(isTemporaryPath(path)) << path;
                }
                ASSERT_TRUE(isListingSound(upgradeOperation));
            }
            EXPECT_GT(number, 50U);
        }
    });
}

TEST_F(VolumesInTheBundleModel, The_new_stub_is_beside_the_old_one_before_the_Trash_takes_it) {
    onVolumeAt("tmp", [&] {
        fillSample();
        test.workspace.refusesToRecycle = true;
        test.fileSystem.failCall(FileSystemOperation::RemoveItem, 1, EIO, FaultDuration::Once);
        std::optional<Error> error;
        EXPECT_FALSE(upgrade(&error));
        EXPECT_TRUE(isStubError(error, 2004));
        const Paths names = namesIn(inApps("Work"));
        ASSERT_EQ(names.size(), 3U) << "the staged copy, which could not be removed";
        EXPECT_TRUE(names.front().starts_with(".mox-"));
        EXPECT_EQ(versionOf(inApps("Work/" + names.front())), "2.0");
        EXPECT_TRUE(isOldStub(scratch.path(stubPlace)));
        start();
        EXPECT_EQ(manager->subscriptionPaths(), Paths{scratch.path(stubPlace)})
            << "the copy is not listed, whole as it is";
    });
}

TEST_F(VolumesInTheBundleModel, Without_a_Trash_on_its_own_volume_a_stub_is_not_copied_into_another_one) {
    onVolumeAt("home/Applications", [&] {
        fillSample();
        const std::string inTheWay = ".Trash-" + std::to_string(::geteuid());
        makeFile("home/Applications/" + inTheWay, "no folder");
        std::optional<Error> error;
        EXPECT_FALSE(upgrade(&error));
        EXPECT_TRUE(isStubError(error, 2004));
        EXPECT_EQ(logLines(),
                  Lines{line("Error deleting old subscription (" + scratch.path(stubPlace) + ")")});
        EXPECT_TRUE(isOldStub(scratch.path(stubPlace)));
        EXPECT_EQ(namesIn(inApps("Work")), (Paths{"Word.app", "letter.txt"}));
        EXPECT_FALSE(isThere(scratch.path(trashFolder + "/files")));
        EXPECT_EQ(namesIn(temporary), Paths());
    });
}

TEST_F(VolumesInTheBundleModel, The_Trash_of_an_applications_folder_that_is_a_volume_is_in_it_and_is_listed) {
    onVolumeAt("home/Applications", [&] {
        fillSample();
        EXPECT_TRUE(upgrade());
        const std::string inItsTrash = inApps(".Trash-" + std::to_string(::geteuid()) + "/files/Word.app");
        EXPECT_TRUE(isOldStub(inItsTrash));
        start();
        EXPECT_EQ(manager->numberOfSubscriptions(), 2U) << "every stub below the folder, wherever it is";
    });
}

TEST_F(VolumesInTheBundleModel, A_Trash_that_turns_out_to_be_on_another_volume_is_a_failure_and_no_copy) {
    fillSample();
    std::size_t refused = 0;
    for (std::size_t number = 1; number <= 8; ++number) {
        SCOPED_TRACE(number);
        putSample();
        start();
        before = disk();
        test.systemCalls.failCall(SystemCall::Renameat2, number, EXDEV, FaultDuration::Once);
        std::optional<Error> error;
        const bool result = upgrade(&error);
        const bool hasFired = test.systemCalls.faultsFired() != 0;
        test.systemCalls.stopFailing();
        const Tree state = disk();
        const bool isOldInPlace = within(state, stubPlace) == within(before, stubPlace);
        EXPECT_EQ(result, !isOldInPlace);
        if (!result) {
            ++refused;
            EXPECT_TRUE(isStubError(error, 2004));
            EXPECT_TRUE(within(state, trashFolder + "/files").empty());
            EXPECT_TRUE(within(state, trashFolder + "/info").empty());
        }
        for (const auto& [path, content] : state)
            EXPECT_FALSE(isTemporaryPath(path)) << path;
        if (!hasFired) break;
    }
    EXPECT_GE(refused, 1U);
}

TEST_F(VolumesInTheBundleModel,
       A_stub_moved_to_another_volume_is_whole_at_one_place_whenever_the_process_dies) {
    const std::string far = scratch.path("home/Applications/Far");
    makeFolder("home/Applications/Far");
    onVolumeAt("home/Applications/Far", [&] {
        makeStubWithIcon("Work/Word.app");
        const Tree old = contentsOfTree(inApps("Work/Word.app"));
        std::size_t number = 1;
        for (bool hasDied = true; hasDied; ++number) {
            SCOPED_TRACE(number);
            start();
            test.systemCalls.dieAtChange(number);
            manager->moveSubscriptionFrom(inApps("Work/Word.app"), far + "/Word.app");
            hasDied = test.systemCalls.faultsFired() != 0;
            test.systemCalls.stopFailing();
            const bool isHere =
                isThere(inApps("Work/Word.app")) && contentsOfTree(inApps("Work/Word.app")) == old;
            const bool isThereNow = isThere(far + "/Word.app") && contentsOfTree(far + "/Word.app") == old;
            ASSERT_TRUE(isHere || isThereNow);
            start();
            for (const std::string& path : manager->subscriptionPaths())
                EXPECT_FALSE(isTemporaryPath(path)) << path;
            for (const std::string& name : namesIn(far))
                EXPECT_TRUE(test.fileSystem.removeItem(far + "/" + name));
            if (isThere(inApps("Work/Word.app"))) {
                EXPECT_TRUE(test.fileSystem.removeItem(inApps("Work/Word.app")));
            }
            makeStubWithIcon("Work/Word.app");
        }
        EXPECT_GT(number, 20U);
    });
}

TEST_F(VolumesInTheBundleModel, A_folder_of_stubs_on_its_way_to_another_volume_is_never_listed_as_one) {
    const std::string far = scratch.path("home/Applications/Far");
    makeFolder("home/Applications/Far");
    onVolumeAt("home/Applications/Far", [&] {
        makeStubWithIcon("Work/Word.app");
        std::size_t number = 1;
        std::size_t leftOvers = 0;
        for (bool hasDied = true; hasDied; ++number) {
            SCOPED_TRACE(number);
            start();
            test.systemCalls.dieAtChange(number);
            manager->renameFolderAtPath(inApps("Work"), far + "/Work");
            hasDied = test.systemCalls.faultsFired() != 0;
            start();
            for (const std::string& name : namesIn(far))
                leftOvers += name.starts_with(".mox-") ? 1U : 0U;
            for (const std::string& path : manager->subscriptionPaths())
                EXPECT_FALSE(isTemporaryPath(path)) << path;
            for (const std::string& path : manager->folders())
                EXPECT_FALSE(isTemporaryPath(path)) << path;
            for (const std::string& name : namesIn(far))
                EXPECT_TRUE(test.fileSystem.removeItem(far + "/" + name));
            if (isThere(inApps("Work"))) {
                EXPECT_TRUE(test.fileSystem.removeItem(inApps("Work")));
            }
            makeStubWithIcon("Work/Word.app");
            if (HasFailure()) return;
        }
        EXPECT_GT(leftOvers, 0U);
    });
}

TEST_F(VolumesInTheBundleModel, Nothing_is_removed_across_the_edge_of_a_volume) {
    onVolumeAt("home/Applications/Work/Far", [&] {
        fillSample();
        makeFile("home/Applications/Work/Far/letter.txt", "far");
        start();
        std::optional<Error> error;
        EXPECT_FALSE(manager->removeFolderAtPath(inApps("Work"), false, &error));
        EXPECT_TRUE(isSystemError(error, 512, EXDEV)) << error->description();
        EXPECT_EQ(bytesAt(inApps("Work/Far/letter.txt")), "far");
    });
}

TEST_F(VolumesInTheBundleModel, A_full_volume_refuses_a_stub_and_keeps_nothing_of_it) {
    onVolumeAt("home/Applications/Work", [&] {
        makeFile("home/Applications/Work/filler", std::string(std::size_t{1000} * 1024, 'x'));
        makeFile("DockApplication.app/Contents/large", std::string(std::size_t{100} * 1024, 'y'));
        start();
        std::optional<Error> error;
        EXPECT_FALSE(
            manager->subscribeToResource("Farm:New", keywordsFor("New.app", inApps("Work")), &error));
        EXPECT_TRUE(isStubError(error, 2004));
        EXPECT_EQ(namesIn(inApps("Work")), Paths{"filler"});
        EXPECT_EQ(manager->subscriptionPaths(), Paths());
    });
}

} // namespace
} // namespace mox::test
