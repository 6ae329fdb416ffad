#include "Platform/StubDesktop.hpp"
#include "Platform/Testing/FaultySystemCalls.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <functional>

namespace mox {
namespace {

using test::FaultDuration;
using test::FileSystemOperation;
using test::StubContents;
using test::StubDesktop;

constexpr std::array<int, 4> errors = {ENOSPC, EIO, EACCES, EROFS};

const StubContents before = {
    .name = "Before", .documentTypes = {{"Words", {"xyzword"}}}, .iconSides = {16, 32}};
const StubContents after = {
    .name = "After", .documentTypes = {{"Words", {"xyzword", "xyztext"}}}, .iconSides = {16, 48}};

/// A desktop with files of others in it, beside which ours are written.
class Scene {
public:
    StubDesktop desktop;

    Scene() {
        for (const auto& [path, content] : _othersFiles)
            desktop.writeFile(desktop.dataFolder + "/" + path, content);
        desktop.writeFile(desktop.sharedFolder + "/mime/globs2", "50:text/plain:*.txt\n");
    }

    /// The files that are not of others, without those that were never in place: they stay when their removal
    /// fails too.
    std::map<std::string, std::string> files() {
        std::map<std::string, std::string> ours = desktop.files();
        std::erase_if(ours, [](const auto& file) { return isTemporary(file.first); });
        for (const auto& [path, content] : _othersFiles) {
            EXPECT_EQ(ours[path], content) << path;
            ours.erase(path);
        }
        return ours;
    }

    bool hasTemporaryFiles() {
        const auto all = desktop.files();
        return std::any_of(all.begin(), all.end(), [](const auto& file) { return isTemporary(file.first); });
    }

private:
    static bool isTemporary(const std::string& path) { return path.find("/.mox-") != path.npos; }

    std::map<std::string, std::string> _othersFiles = {
        {"applications/other.desktop", "[Desktop Entry]\nName=Other\n"},
        {"applications/moxsubscribe-other.desktop", "[Desktop Entry]\nX-MOXSubscribe-Bundle=/gone\n"},
        {"applications/mimeapps.list", "[Default Applications]\n"},
        {"applications/mimeinfo.cache", "[MIME Cache]\n"},
        {"icons/hicolor/16x16/apps/other.png", "png"},
        {"mime/packages/other.xml", "<mime-info/>"},
    };
};

/// Lets each call, one after another and of each duration and error, fail in a run of its own, until no call
/// is left to fail. `prepare` and `check` run without faults.
void forEachFault(const std::function<void(Scene&)>& prepare, const std::function<int(Scene&)>& act,
                  const std::function<void(Scene&, FaultDuration, int status, int error)>& check) {
    for (const int error : errors) {
        for (const FaultDuration duration : {FaultDuration::Once, FaultDuration::FromThenOn}) {
            std::size_t faults = 1;
            for (std::size_t call = 1; faults > 0; ++call) {
                SCOPED_TRACE("error " + std::to_string(error) + ", call " + std::to_string(call));
                Scene scene;
                prepare(scene);
                scene.desktop.fileSystem.resetCounts();
                scene.desktop.fileSystem.failCall(std::nullopt, call, error, duration);
                const int status = act(scene);
                faults = scene.desktop.fileSystem.faultsFired();
                scene.desktop.fileSystem.stopFailing();
                if (duration == FaultDuration::Once) {
                    EXPECT_FALSE(scene.hasTemporaryFiles());
                }
                check(scene, duration, faults > 0 ? status : 0, faults > 0 ? error : 0);
                ASSERT_LT(call, 1000U);
            }
        }
    }
}

TEST(LaunchRegistrationFaults, A_new_stub_is_registered_whole_or_its_failure_is_told) {
    std::map<std::string, std::string> whole;
    forEachFault([](Scene& scene) { scene.desktop.writeStub("Word.app", after); },
                 [](Scene& scene) {
                     return scene.desktop.registration.registerBundle(scene.desktop.applications +
                                                                      "/Word.app");
                 },
                 [&](Scene& scene, FaultDuration duration, int status, int error) {
                     EXPECT_EQ(status, error);
                     const auto files = scene.files();
                     if (error == 0) {
                         EXPECT_EQ(files.size(), 4U);
                     } else if (duration == FaultDuration::Once) {
                         // What was written before the failure is removed again.
                         EXPECT_TRUE(files.empty());
                     }
                     // Whatever is left is found again by the entry, and completed or removed by the next
                     // attempt.
                     if (!files.empty()) {
                         EXPECT_EQ(scene.desktop.registeredBundles().size(), 2U);
                     }
                     const std::string stub = scene.desktop.applications + "/Word.app";
                     EXPECT_EQ(scene.desktop.registration.registerBundle(stub), 0);
                     EXPECT_EQ(scene.files().size(), 4U);
                     scene.desktop.registration.bundleRemoved(stub);
                     EXPECT_TRUE(scene.files().empty());
                 });
}

TEST(LaunchRegistrationFaults, The_entry_of_a_known_stub_stays_when_making_it_current_fails) {
    forEachFault(
        [](Scene& scene) {
            const std::string stub = scene.desktop.writeStub("Word.app", before);
            EXPECT_EQ(scene.desktop.registration.registerBundle(stub), 0);
            scene.desktop.writeStub("Word.app", after);
        },
        [](Scene& scene) {
            return scene.desktop.registration.registerBundle(scene.desktop.applications + "/Word.app");
        },
        [](Scene& scene, FaultDuration, int status, int error) {
            EXPECT_EQ(status, error);
            std::string entry;
            for (const auto& [path, content] : scene.files()) {
                if (path.ends_with(".desktop")) entry = content;
            }
            const std::string name = error == 0 ? "Name=After\n" : "Name=Before\n";
            EXPECT_NE(entry.find(name), entry.npos) << entry;
            scene.desktop.registration.bundleRemoved(scene.desktop.applications + "/Word.app");
            EXPECT_TRUE(scene.files().empty());
        });
}

TEST(LaunchRegistrationFaults, A_removal_that_fails_is_finished_by_the_next_one) {
    forEachFault(
        [](Scene& scene) {
            const std::string stub = scene.desktop.writeStub("Word.app", before);
            EXPECT_EQ(scene.desktop.registration.registerBundle(stub), 0);
        },
        [](Scene& scene) {
            scene.desktop.registration.bundleRemoved(scene.desktop.applications + "/Word.app");
            return 0;
        },
        [](Scene& scene, FaultDuration, int, int error) {
            const auto files = scene.files();
            if (error == 0) {
                EXPECT_TRUE(files.empty());
            }
            if (!files.empty()) {
                EXPECT_EQ(scene.desktop.registeredBundles().size(), 2U);
            }
            ASSERT_TRUE(scene.desktop.disk.removeItem(scene.desktop.applications + "/Word.app"));
            scene.desktop.registration.reconcile({});
            EXPECT_TRUE(scene.files().empty());
        });
}

TEST(LaunchRegistrationFaults, A_move_that_fails_is_put_right_by_reconciling) {
    forEachFault(
        [](Scene& scene) {
            const std::string stub = scene.desktop.writeStub("A/Word.app", before);
            EXPECT_EQ(scene.desktop.registration.registerBundle(stub), 0);
            const std::string folder = scene.desktop.applications;
            ASSERT_EQ(std::rename((folder + "/A").c_str(), (folder + "/B").c_str()), 0);
        },
        [](Scene& scene) {
            const std::string folder = scene.desktop.applications;
            scene.desktop.registration.bundleMoved(folder + "/A", folder + "/B");
            return 0;
        },
        [](Scene& scene, FaultDuration, int, int error) {
            const std::string moved = scene.desktop.applications + "/B/Word.app";
            const std::vector<std::string> expected = {moved, "/gone"};
            if (error == 0) {
                EXPECT_THAT(scene.desktop.registeredBundles(), testing::UnorderedElementsAreArray(expected));
            }
            scene.desktop.registration.reconcile({moved});
            EXPECT_THAT(scene.desktop.registeredBundles(), testing::UnorderedElementsAreArray(expected));
            scene.desktop.registration.bundleRemoved(moved);
            EXPECT_TRUE(scene.files().empty());
        });
}

TEST(LaunchRegistrationFaults, Reconciling_that_fails_forgets_no_stub_that_is_there) {
    forEachFault(
        [](Scene& scene) {
            const std::string kept = scene.desktop.writeStub("Kept.app", before);
            EXPECT_EQ(scene.desktop.registration.registerBundle(kept), 0);
            const std::string gone = scene.desktop.writeStub("Gone.app", before);
            EXPECT_EQ(scene.desktop.registration.registerBundle(gone), 0);
            ASSERT_TRUE(scene.desktop.disk.removeItem(gone));
            scene.desktop.writeStub("New.app", before);
        },
        [](Scene& scene) {
            const std::string folder = scene.desktop.applications;
            scene.desktop.registration.reconcile({folder + "/Kept.app", folder + "/New.app"});
            return 0;
        },
        [](Scene& scene, FaultDuration, int, int error) {
            const std::string kept = scene.desktop.applications + "/Kept.app";
            const std::string fresh = scene.desktop.applications + "/New.app";
            EXPECT_THAT(scene.desktop.registeredBundles(), testing::Contains(kept));
            if (error != 0) scene.desktop.registration.reconcile({kept, fresh});
            EXPECT_THAT(scene.desktop.registeredBundles(),
                        testing::UnorderedElementsAre(kept, fresh, "/gone"));
            scene.files();
        });
}

TEST(LaunchRegistrationFaults, A_stub_that_the_system_refuses_to_tell_about_is_not_forgotten) {
    class RefusingLstat : public SystemCalls {
    public:
        int lstat(const char*, struct ::stat*) override {
            errno = EACCES;
            return -1;
        }
    };
    StubDesktop desktop;
    const std::string stub = desktop.writeStub("Word.app");
    ASSERT_EQ(desktop.registration.registerBundle(stub), 0);
    RefusingLstat refusing;
    LinuxLaunchRegistration registration(desktop.fileSystem, refusing, desktop.bundles, desktop.caches,
                                         {.dataFolder = desktop.dataFolder});
    registration.reconcile({});
    EXPECT_THAT(desktop.registeredBundles(), testing::ElementsAre(stub));
}

TEST(LaunchRegistrationFaults, No_icon_stays_when_the_folders_of_the_theme_cannot_be_listed) {
    StubDesktop desktop;
    const std::string stub = desktop.writeStub("Word.app", before);
    ASSERT_EQ(desktop.registration.registerBundle(stub), 0);
    test::FaultySystemCalls calls(desktop.system);
    calls.failCall(test::SystemCall::Getdents64, 1, EACCES, FaultDuration::FromThenOn);
    LinuxLaunchRegistration registration(desktop.fileSystem, calls, desktop.bundles, desktop.caches,
                                         {.dataFolder = desktop.dataFolder});
    desktop.writeStub("Word.app", after);
    EXPECT_EQ(registration.registerBundle(stub), 0);
    EXPECT_EQ(calls.faultsFired(), 1U);
    const std::vector<std::string> icons = desktop.pathsOfFiles(".png");
    EXPECT_THAT(icons, testing::ElementsAre(testing::StartsWith("icons/hicolor/16x16/"),
                                            testing::StartsWith("icons/hicolor/48x48/")));
    registration.bundleRemoved(stub);
    EXPECT_TRUE(desktop.files().empty());
}

TEST(LaunchRegistrationCrashes,
     Whatever_is_left_is_finished_by_the_next_registration_and_goes_with_the_stub) {
    bool hasDied = true;
    for (std::size_t change = 1; hasDied; ++change) {
        SCOPED_TRACE(change);
        Scene scene;
        StubDesktop& desktop = scene.desktop;
        const std::string stub = desktop.writeStub("Word.app", after);
        test::FaultySystemCalls dying(desktop.system);
        LinuxFileSystem disk(dying);
        LinuxLaunchRegistration registration(
            disk, dying, desktop.bundles, desktop.caches,
            {.dataFolder = desktop.dataFolder, .sharedDataFolders = {desktop.sharedFolder}});
        dying.dieAtChange(change);
        (void)registration.registerBundle(stub);
        hasDied = dying.faultsFired() > 0;

        EXPECT_EQ(desktop.registration.registerBundle(stub), 0);
        desktop.registration.bundleRemoved(stub);
        EXPECT_TRUE(scene.files().empty());
        ASSERT_LT(change, 1000U);
    }
}

TEST(LaunchRegistrationCrashes, A_removal_that_was_cut_short_is_finished_by_reconciling) {
    bool hasDied = true;
    for (std::size_t change = 1; hasDied; ++change) {
        SCOPED_TRACE(change);
        Scene scene;
        StubDesktop& desktop = scene.desktop;
        const std::string stub = desktop.writeStub("Word.app", after);
        ASSERT_EQ(desktop.registration.registerBundle(stub), 0);
        ASSERT_TRUE(desktop.disk.removeItem(stub));
        test::FaultySystemCalls dying(desktop.system);
        LinuxFileSystem disk(dying);
        LinuxLaunchRegistration registration(disk, dying, desktop.bundles, desktop.caches,
                                             {.dataFolder = desktop.dataFolder});
        dying.dieAtChange(change);
        registration.bundleRemoved(stub);
        hasDied = dying.faultsFired() > 0;

        desktop.registration.reconcile({});
        EXPECT_TRUE(scene.files().empty());
        ASSERT_LT(change, 1000U);
    }
}

} // namespace
} // namespace mox
