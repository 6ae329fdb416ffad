#include "SDK/MOXLaunchRegistrationScope.hpp"
#include "Support/FailingAllocations.hpp"

#include <new>

#include "Scenarios/BundleModelScenario.hpp"

namespace mox::test {
namespace {

/// A registration whose refresh of the desktop's caches needs memory.
class RefreshingRegistration : public RecordingLaunchRegistration {
public:
    void beginBatch() override {}
    void endBatch() override { refreshed = std::string(100, 'x'); }
    std::string refreshed;
};

class MemoryOfTheBundleModel : public BundleModelScenario, public testing::WithParamInterface<const char*> {};
class MemoryOfTheDesktop : public BundleModelScenario {};

TEST_P(MemoryOfTheBundleModel, Every_failing_allocation_leaves_whole_stubs_and_no_descriptor_open) {
    const Operation operation = operationNamed(GetParam());
    learn(operation);
    start();
    const std::size_t descriptors = namesIn("/proc/self/fd").size();
    std::size_t number = 1;
    for (bool hasFailed = true; hasFailed; ++number) {
        SCOPED_TRACE("allocation " + std::to_string(number));
        {
            const FailingAllocation failing(number);
            try {
                operation.perform(*this, nullptr);
            } catch (const std::bad_alloc&) {
            }
            hasFailed = failing.hasFailed();
        }
        ASSERT_EQ(namesIn("/proc/self/fd").size(), descriptors);
        const Tree state = disk();
        ASSERT_TRUE(isUnharmed(state, operation));
        ASSERT_TRUE(isListingSound(operation));
        if (state == before) continue;
        putSample();
        start();
    }
    EXPECT_GT(number, 20U);
    RecordProperty("cases", static_cast<int>(number));
}

TEST_F(MemoryOfTheDesktop, A_refresh_of_the_desktop_without_memory_is_passed_over) {
    RefreshingRegistration registration;
    const Platform& services = test.platform;
    const Platform refreshing{services.fileSystem,
                              services.userDirectories,
                              services.bundles,
                              services.systemLog,
                              services.assertionHandler,
                              services.workspace,
                              services.fileReferences,
                              registration,
                              services.folderEvents,
                              services.runLoops,
                              services.notificationCenter,
                              services.systemVersion};
    const ScopedPlatform scopeOfPlatform(refreshing);
    for (std::size_t number = 1;; ++number) {
        const FailingAllocation failing(number);
        try {
            const MOXLaunchRegistrationScope ofOperations;
            const LaunchRegistrationBatch ofOne(registration);
        } catch (const std::bad_alloc&) {
            ADD_FAILURE() << "it was thrown";
        }
        if (!failing.hasFailed()) break;
    }
    EXPECT_EQ(registration.refreshed.size(), 100U);
}

INSTANTIATE_TEST_SUITE_P(Of, MemoryOfTheBundleModel,
                         testing::Values("subscribe", "refresh", "remove", "move", "rename_folder",
                                         "remove_folder", "remove_empty_folder", "remove_all", "upgrade"),
                         [](const auto& one) { return std::string(one.param); });

} // namespace
} // namespace mox::test
