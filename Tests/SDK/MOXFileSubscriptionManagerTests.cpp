#include "SDK/MOXFileSubscriptionManager.hpp"
#include "SDK/SDKTest.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace mox::test {
namespace {

class FileSubscriptionManager : public SDKTest {
protected:
    FileSubscriptionManager() {
        MOXSubscriptionManager::setSubscriptionModel(SubscriptionModel::ApplicationBundle);
    }
};

TEST_F(FileSubscriptionManager, Starts_with_the_base_s_empty_arrays_and_touches_no_disk) {
    test.systemCalls.resetCalls();
    const auto manager = MOXFileSubscriptionManager::sharedManager();
    EXPECT_EQ(manager->appsFolderPath(), test.homePath("Applications"));
    EXPECT_TRUE(manager->subscriptionPaths().empty());
    EXPECT_TRUE(manager->folders().empty());
    EXPECT_EQ(manager->numberOfSubscriptions(), 0U);
    EXPECT_TRUE(test.systemCalls.calls().empty());
}

TEST_F(FileSubscriptionManager, Still_has_the_base_s_assertions_for_everything_else) {
    const auto manager = MOXFileSubscriptionManager::sharedManager();
    const auto handler = installHandler(RecordingAssertionHandler::Then::Returns);
    manager->fileNameForSubscription(nullptr);
    manager->pathForSubscription(nullptr);
    manager->removeAllSubscriptionsWithUniqueName("Word", "Store");
    manager->moveSubscriptionFrom("/a/x", "/b/x");
    manager->removeFolderAtPath("/a", false);
    manager->renameFolderAtPath("/a", "/b");
    manager->createFolderAtPath("/a");
    manager->updateSubscriptionsAtPaths({}, {}, {}, {});
    manager->isSubscriptionAtPath("/a/x");
    manager->subscriptionAtPath("/a/x");
    manager->removeSubscriptionAtPath("/a/x");
    manager->subscribeToResource("Word", {});
    std::vector<int> lines;
    for (const auto& failure : handler->failures())
        lines.push_back(failure.line);
    EXPECT_EQ(lines, (std::vector{329, 321, 217, 208, 198, 188, 178, 170, 159, 151, 142, 134}));
}

} // namespace
} // namespace mox::test
