#include "SDK/MOXLaunchRegistrationScope.hpp"
#include "SDK/MOXNotifications.hpp"

#include <algorithm>
#include <chrono>
#include <poll.h>

#include "Scenarios/BundleModelDesktop.hpp"
#include "Scenarios/BundleModelScenario.hpp"

namespace mox::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using testing::UnorderedElementsAreArray;

/// A client with a desktop that really registers and a watch that really watches.
class BundleModel : public BundleModelScenario {
protected:
    BundleModel() {
        makeStartableTemplate();
        makeAppsFolder();
        test.notificationCenter.addObserver(MOXFolderChangedNotification,
                                            [this](std::string_view, const void*) { ++notifications; });
    }
    ~BundleModel() override { end(); }

    /// Lets the run loop deliver, waiting on its descriptor as a foreign loop does, until `isDone`. It never
    /// takes as long as allowed here unless something is broken.
    template<typename Condition>
    testing::AssertionResult waitUntil(Condition isDone) {
        const auto loop = platform.runLoops.currentRunLoop();
        const auto end = std::chrono::steady_clock::now() + 30s;
        while (!isDone()) {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
            if (left <= 0ms) return testing::AssertionFailure() << "nothing was told";
            ::pollfd readable = {.fd = loop->descriptor(), .events = POLLIN, .revents = 0};
            if (::poll(&readable, 1, static_cast<int>(left.count())) > 0)
                loop->runOnce(defaultRunLoopMode, 0ms);
        }
        return testing::AssertionSuccess();
    }
    bool lists(Paths paths) const {
        Paths listed = manager->subscriptionPaths();
        std::ranges::sort(listed);
        std::ranges::sort(paths);
        return listed == paths;
    }
    Paths sortedListing() const {
        Paths listed = manager->subscriptionPaths();
        std::ranges::sort(listed);
        return listed;
    }
    void expectDesktopToFollow() const {
        EXPECT_EQ(desktop.registeredStubs(), sortedListing());
        EXPECT_EQ(desktop.invalidEntries(), Lines());
    }

    BundleModelDesktop desktop{test, scratch.path()};
    const Platform& platform = desktop.platform;
    ScopedPlatform onDesktop{platform};
    int notifications = 0;
};

TEST_F(BundleModel, A_whole_life_with_the_desktop_following) {
    start();
    {
        const MOXLaunchRegistrationScope scopeOfImport;
        for (int number = 0; number < 30; ++number) {
            const std::string name = "App " + std::to_string(number) + ".app";
            MOXSubscribeKeywords keywords =
                keywordsFor(name, inApps(number % 2 == 0 ? "Even" : "Odd/Deeper"));
            keywords.andOptionalInfo = optionalInfo();
            ASSERT_TRUE(manager->subscribeToResource("Farm:App " + std::to_string(number), keywords));
        }
    }
    EXPECT_EQ(manager->numberOfSubscriptions(), 30U);
    EXPECT_EQ(desktop.refreshes(), 1U) << "one for the whole import";
    expectDesktopToFollow();

    EXPECT_TRUE(manager->moveSubscriptionFrom(inApps("Even/App 0.app"), inApps("Odd/Moved.app")));
    EXPECT_TRUE(manager->renameFolderAtPath(inApps("Odd"), inApps("Strange")));
    EXPECT_TRUE(manager->removeSubscriptionAtPath(inApps("Even/App 2.app")));
    EXPECT_EQ(manager->removeAllSubscriptionsWithUniqueName("Farm:App 4", "Store"),
              Paths{inApps("Even/App 4.app")});
    EXPECT_EQ(manager->numberOfSubscriptions(), 28U);
    EXPECT_EQ(manager->subscriptionAtPath(inApps("Strange/Moved.app"))->resourceName(), "Farm:App 0");
    expectDesktopToFollow();

    // A newer client comes with a newer template.
    const Paths stubs = manager->subscriptionPaths();
    Dictionary infoPlist = infoPlistOf(scratch.path("DockApplication.app"));
    infoPlist.set("KorvanVersionString", "3.0");
    makeBundle("DockApplication.app", {.infoPlist = infoPlist});
    start();
    dynamic_cast<MOXFileSubscriptionManager&>(*manager).updateSubscriptionsAtPaths(
        stubs, [](const std::string& path, const std::optional<Error>&, bool&) { ADD_FAILURE() << path; }, {},
        {});
    for (const std::string& stub : stubs) {
        EXPECT_EQ(versionOf(stub), "3.0") << stub;
        EXPECT_EQ(manager->subscriptionAtPath(stub)->fileTypes(),
                  (std::vector{MOXFileType{"Text", {".txt"}, "Text file"}}));
    }
    EXPECT_EQ(namesIn(test.homePath(".local/share/Trash/files")).size(), 28U);
    EXPECT_EQ(namesIn(temporary), Paths());
    expectDesktopToFollow();

    start();
    EXPECT_EQ(sortedListing().size(), 28U);
    EXPECT_FALSE(manager->removeFolderAtPath(inApps("Even"), true));
    EXPECT_TRUE(manager->removeFolderAtPath(inApps("Even"), false));
    EXPECT_TRUE(manager->removeFolderAtPath(inApps("Strange"), false));
    EXPECT_THAT(desktop.registeredStubs(), IsEmpty());
    EXPECT_EQ(manager->numberOfSubscriptions(), 28U) << "the lists follow with the watch";
    EXPECT_TRUE(waitUntil([this] { return manager->numberOfSubscriptions() == 0; }));
    EXPECT_EQ(manager->folders(), Paths{inApps()});
}

TEST_F(BundleModel, What_others_do_is_told_once_and_the_lists_and_the_desktop_follow) {
    start();
    ASSERT_TRUE(manager->subscribeToResource("Farm:Word", keywordsFor("Word.app", inApps("Work"))));
    ASSERT_TRUE(manager->subscribeToResource("Farm:Excel", keywordsFor("Excel.app", inApps("Work"))));
    ASSERT_TRUE(waitUntil([this] { return notifications > 0; })) << "our own changes are told as well";

    // Others drag one stub away, remove another one and bring a third.
    notifications = 0;
    makeAppsFolder("Theirs");
    ASSERT_TRUE(test.fileSystem.moveItem(inApps("Work/Word.app"), inApps("Theirs/Dragged.app")));
    ASSERT_TRUE(test.fileSystem.copyItem(inApps("Theirs/Dragged.app"), inApps("Work"), "Copied.app"));
    ASSERT_TRUE(test.fileSystem.removeItem(inApps("Work/Excel.app")));
    EXPECT_TRUE(lists({inApps("Work/Word.app"), inApps("Work/Excel.app")})) << "nothing before the loop runs";
    EXPECT_TRUE(waitUntil([this] { return notifications > 0; }));
    EXPECT_TRUE(lists({inApps("Theirs/Dragged.app"), inApps("Work/Copied.app")}));
    EXPECT_EQ(notifications, 1);
    expectDesktopToFollow();
}

TEST_F(BundleModel, A_replaced_applications_folder_is_watched_on_also_as_a_link) {
    start();
    ASSERT_TRUE(manager->subscribeToResource("Farm:Word", keywordsFor("Word.app", inApps())));
    makeFolder("elsewhere");
    ASSERT_TRUE(test.fileSystem.moveItem(inApps("Word.app"), scratch.path("elsewhere/Moved.app")));
    ASSERT_TRUE(test.fileSystem.removeItem(inApps()));
    ASSERT_EQ(::symlink(scratch.path("elsewhere").c_str(), inApps().c_str()), 0);
    EXPECT_TRUE(waitUntil([this] { return lists({inApps("Moved.app")}); }));
    expectDesktopToFollow();
    ASSERT_TRUE(
        test.fileSystem.moveItem(scratch.path("elsewhere/Moved.app"), scratch.path("elsewhere/Again.app")));
    EXPECT_TRUE(waitUntil([this] { return lists({inApps("Again.app")}); })) << "behind the link too";
    expectDesktopToFollow();
}

} // namespace
} // namespace mox::test
