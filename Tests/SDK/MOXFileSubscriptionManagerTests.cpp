#include "SDK/MOXFileSubscriptionManager.hpp"
#include "SDK/SDKTest.hpp"

#include <gtest/gtest.h>

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
    const auto handler = installHandler(RecordingAssertionHandler::Then::Throws);
    EXPECT_THROW(manager->createFolderAtPath("/a"), InternalInconsistencyException);
    EXPECT_EQ(handler->failures().front().operation, "-[MOXSubscriptionManager createFolderAtPath:error:]");
    EXPECT_EQ(handler->failures().front().line, 178);
}

} // namespace
} // namespace mox::test
