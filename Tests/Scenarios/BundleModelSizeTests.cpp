#include "SDK/UpgradeTest.hpp"

#include <climits>
#include <gmock/gmock.h>

#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "Scenarios/BundleModelDesktop.hpp"

namespace mox::test {
namespace {

using testing::Contains;
using testing::IsEmpty;

/// Stubs in numbers, depths and lengths that are far beyond any user's.
class LargeBundleModel : public UpgradeTest {
protected:
    LargeBundleModel() {
        // One alias is in all stubs.
        makeStub("Model.app");
        _alias = inApps("Model.app") + "/" + std::string(aliasFile);
    }

    /// Makes a stub of what the listing looks at alone, in the open folder `parent`.
    void makeThinStub(int parent, const std::string& name) const {
        for (const char* folder : {"", "/Contents", "/Contents/Resources"})
            require(::mkdirat(parent, (name + folder).c_str(), 0755));
        require(::linkat(AT_FDCWD, _alias.c_str(), parent, (name + "/" + std::string(aliasFile)).c_str(), 0));
    }

    static void require(int result) {
        if (result < 0) throw std::system_error(errno, std::generic_category(), "the stubs cannot be made");
    }

    static int openFolder(int parent, const std::string& name) {
        const int folder = ::openat(parent, name.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        require(folder);
        return folder;
    }

private:
    std::string _alias;
};

TEST_F(LargeBundleModel, A_hundred_thousand_stubs_are_listed_and_listed_anew_after_changes) {
    constexpr std::size_t count = 100'000;
    constexpr std::size_t stubsInFolder = 1'000;
    for (std::size_t group = 0; group < count / stubsInFolder; ++group) {
        const int folder = openFolder(AT_FDCWD, makeAppsFolder("Group " + std::to_string(group)));
        for (std::size_t number = 0; number < stubsInFolder; ++number)
            makeThinStub(folder, std::to_string(number) + ".app");
        ::close(folder);
    }

    const auto store = open();
    EXPECT_EQ(store->numberOfSubscriptions(), count + 1);
    EXPECT_EQ(store->folders().size(), count / stubsInFolder + 1);
    EXPECT_EQ(store->subscriptionPathsInFolder(inApps("Group 7"), false).size(), stubsInFolder);
    EXPECT_EQ(store->subscriptionPathsInFolder(inApps(), true).size(), count + 1);
    const auto record = store->subscriptionAtPath(inApps("Group 99/999.app"));
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->resourceName(), "Farm:Word");

    EXPECT_TRUE(store->moveSubscriptionFrom(inApps("Group 7/7.app"), inApps("Moved.app")));
    EXPECT_TRUE(store->removeSubscriptionAtPath(inApps("Group 8/8.app")));
    store->updateConvenienceArrays();
    EXPECT_EQ(store->numberOfSubscriptions(), count);
    EXPECT_THAT(store->subscriptionPaths(), Contains(inApps("Moved.app")));
    EXPECT_TRUE(store->removeFolderAtPath(inApps("Group 9"), false));
    store->updateConvenienceArrays();
    EXPECT_EQ(store->numberOfSubscriptions(), count - stubsInFolder);
    EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(LargeBundleModel, Stubs_in_folders_five_thousand_deep_are_found_as_far_as_paths_reach) {
    constexpr std::size_t depth = 5'000;
    constexpr std::size_t step = 100;
    const std::size_t longestTail = ("/Stub.app/" + std::string(aliasFile)).size();
    Paths reachable = {inApps("Model.app")};
    std::string path = makeAppsFolder();
    // Made one in the other, since a path of that length would be refused.
    int folder = openFolder(AT_FDCWD, path);
    for (std::size_t level = 1; level <= depth; ++level) {
        require(::mkdirat(folder, "d", 0755));
        const int below = openFolder(folder, "d");
        ::close(folder);
        folder = below;
        path += "/d";
        if (level % step != 0) continue;
        makeThinStub(folder, "Stub.app");
        if (path.size() + longestTail < PATH_MAX) reachable.push_back(path + "/Stub.app");
    }
    ::close(folder);
    ASSERT_GT(reachable.size(), 15U);

    const auto store = open();
    EXPECT_THAT(store->subscriptionPaths(), testing::IsSupersetOf(reachable));
    for (const std::string& stub : reachable)
        EXPECT_TRUE(store->isSubscriptionAtPath(stub)) << stub;
    EXPECT_TRUE(store->removeFolderAtPath(inApps("d"), false));
    store->updateConvenienceArrays();
    EXPECT_EQ(store->subscriptionPaths(), Paths{inApps("Model.app")});
}

TEST_F(LargeBundleModel, A_stub_of_ten_thousand_document_types_is_subscribed_read_and_upgraded) {
    std::vector<MOXFileType> types;
    for (int number = 0; number < 10'000; ++number) {
        const std::string text = std::to_string(number);
        types.push_back({"Type " + text, {".x" + text, ".y" + text}, "Document of the kind " + text});
    }
    // The desktop takes stubs that can be started alone.
    BundleContent startable = templateContent();
    startable.infoPlist->set("CFBundleExecutable", "Launcher");
    makeBundle("DockApplication.app", startable);
    const BundleModelDesktop desktop(test, scratch.path());
    const ScopedPlatform withDesktop(desktop.platform);
    const auto store = open();
    MOXSubscribeKeywords keywords = keywordsFor("Word.app", inApps());
    keywords.andOptionalInfo = MOXOptionalInfo{{"FileTypes", types}};
    std::optional<Error> error;
    ASSERT_TRUE(store->subscribeToResource("Farm:Word", keywords, &error));
    const std::string stub = inApps("Word.app");
    EXPECT_TRUE(store->subscriptionAtPath(stub)->fileTypes() == types);

    startable.infoPlist->set("KorvanVersionString", "3.0");
    makeBundle("DockApplication.app", startable);
    ASSERT_TRUE(store->subscriptionAtPath(stub)->needsUpdate());
    const MOXUpdateErrorBlock fail = [](const std::string&, const std::optional<Error>& failure, bool&) {
        ADD_FAILURE() << (failure ? failure->description() : "no error");
    };
    store->updateSubscriptionsAtPaths({stub}, fail, {}, {});
    EXPECT_EQ(versionOf(stub), "3.0");
    EXPECT_TRUE(store->subscriptionAtPath(stub)->fileTypes() == types);
    EXPECT_THAT(desktop.registeredStubs(), Contains(stub));
}

} // namespace
} // namespace mox::test
