#include "Platform/Testing/PowerLossSystemCalls.hpp"

#include <algorithm>
#include <cerrno>

#include "Scenarios/BundleModelScenario.hpp"

namespace mox::test {
namespace {

class CrashesOfTheBundleModel : public BundleModelScenario,
                                public testing::WithParamInterface<const char*> {};

TEST_P(CrashesOfTheBundleModel, A_process_that_dies_at_any_change_loses_nothing_and_the_next_one_starts) {
    const Operation operation = operationNamed(GetParam());
    learn(operation);
    std::size_t number = 1;
    for (bool hasDied = true; hasDied; ++number) {
        SCOPED_TRACE("change " + std::to_string(number));
        start();
        test.systemCalls.dieAtChange(number);
        operation.perform(*this, nullptr);
        hasDied = test.systemCalls.faultsFired() != 0;
        test.systemCalls.stopFailing();
        const Tree state = disk();
        ASSERT_TRUE(isUnharmed(state, operation));
        ASSERT_TRUE(isListingSound(operation));
        ASSERT_EQ(disk(), state) << "a start changes nothing";
        if (state != before) putSample();
    }
    EXPECT_GT(number, 2U);
    RecordProperty("cases", static_cast<int>(number));
}

INSTANTIATE_TEST_SUITE_P(Of, CrashesOfTheBundleModel,
                         testing::Values("subscribe", "refresh", "remove", "move", "create_folder",
                                         "rename_folder", "remove_folder", "remove_empty_folder",
                                         "remove_all", "upgrade"),
                         [](const auto& one) { return std::string(one.param); });

class RepeatedCallsInTheBundleModel : public CrashesOfTheBundleModel {};

TEST_P(RepeatedCallsInTheBundleModel, The_same_call_again_does_what_a_dead_process_did_not) {
    const Operation operation = operationNamed(GetParam());
    learn(operation);
    std::size_t number = 1;
    std::size_t repetitions = 0;
    for (bool hasDied = true; hasDied; ++number) {
        SCOPED_TRACE("change " + std::to_string(number));
        start();
        test.systemCalls.dieAtChange(number);
        operation.perform(*this, nullptr);
        hasDied = test.systemCalls.faultsFired() != 0;
        start();
        const Tree state = disk();
        // What is done already has nothing to be done to, and a copy of a template that has no launch alias
        // yet is taken for somebody else's application.
        const bool isDone = within(state, "home/Applications") == within(after, "home/Applications") ||
                            !state.contains(stubPlace);
        const bool isInTheWay =
            operation.name == "subscribe" && state.contains("home/Applications/Made/Here/New.app") &&
            !state.contains("home/Applications/Made/Here/New.app/" + std::string(aliasFile));
        if (isInTheWay) {
            std::optional<Error> error;
            EXPECT_FALSE(operation.perform(*this, &error));
            EXPECT_TRUE(isStubError(error, 2004));
        } else if (!isDone) {
            ++repetitions;
            std::optional<Error> error;
            EXPECT_TRUE(operation.perform(*this, &error)) << error->description();
            Tree repeated = within(disk(), "home/Applications");
            std::erase_if(repeated, [](const auto& item) { return isTemporaryPath("/" + item.first); });
            Tree expected = within(after, "home/Applications");
            // A refresh appends the names of the types each time.
            const auto forgetNames = [](auto& item) { return item.first.ends_with("InfoPlist.strings"); };
            std::erase_if(repeated, forgetNames);
            std::erase_if(expected, forgetNames);
            EXPECT_EQ(repeated, expected);
        }
        if (HasFailure()) return;
        if (state != before || disk() != before) putSample();
    }
    EXPECT_GT(repetitions, 0U);
}

INSTANTIATE_TEST_SUITE_P(Of, RepeatedCallsInTheBundleModel,
                         testing::Values("subscribe", "refresh", "remove", "move", "create_folder",
                                         "rename_folder", "remove_folder", "remove_empty_folder", "upgrade"),
                         [](const auto& one) { return std::string(one.param); });

/// The same client on a disk of which only what was synchronised is sure to be there after a power cut.
class PowerCutsInTheBundleModel : public BundleModelScenario,
                                  public testing::WithParamInterface<const char*> {
protected:
    static Tree treeOf(const PowerLossSystemCalls::State& state) {
        Tree tree;
        for (const auto& [path, content] : state) {
            if (isInOneOf(path, {"home", "tmp"})) tree.emplace(path, content ? *content : "/");
        }
        return tree;
    }
};

TEST_P(PowerCutsInTheBundleModel, A_power_cut_at_any_change_loses_nothing) {
    const Operation operation = operationNamed(GetParam());
    learn(operation);
    std::size_t number = 1;
    std::size_t states = 0;
    for (bool hasDied = true; hasDied; ++number) {
        SCOPED_TRACE("change " + std::to_string(number));
        end();
        SystemCalls system;
        FaultySystemCalls mortal(system);
        PowerLossSystemCalls cut(mortal, scratch.path());
        std::set<PowerLossSystemCalls::State> possible;
        {
            TestPlatform machine({.systemCalls = &cut, .folder = scratch.path()});
            const ScopedPlatform onMachine(machine.platform);
            manager = MOXSubscriptionManager::sharedManager();
            mortal.resetCalls();
            mortal.dieAtChange(number);
            const bool result = operation.perform(*this, nullptr);
            hasDied = mortal.faultsFired() != 0;
            EXPECT_TRUE(hasDied || result);
            possible = cut.statesAfterPowerLoss();
            end();
        }
        states += possible.size();
        for (const PowerLossSystemCalls::State& state : possible)
            ASSERT_TRUE(isUnharmed(treeOf(state), operation));
        // A few of them are made, for a client to start with.
        for (const auto state : {possible.begin(), std::prev(possible.end())}) {
            cut.restart(*state);
            ASSERT_TRUE(isListingSound(operation));
        }
        putSample();
    }
    EXPECT_GT(number, 2U);
    EXPECT_GE(states, number - 1);
    RecordProperty("cases", static_cast<int>(states));
}

INSTANTIATE_TEST_SUITE_P(Of, PowerCutsInTheBundleModel,
                         testing::Values("subscribe", "refresh", "move", "create_folder", "rename_folder",
                                         "upgrade"),
                         [](const auto& one) { return std::string(one.param); });

/// Upgrades in which the new stub cannot be moved into place, and something else fails too.
class DoubleFaultsInTheBundleModel : public BundleModelScenario {
protected:
    void SetUp() override { learn(upgrade); }

    /// Performs the upgrade and checks that it is told as the failure that it is, and that the old stub is
    /// whole, in its place or in the Trash. Gives the number of system calls that failed.
    std::size_t expectFailureWithoutLoss() {
        std::optional<Error> error;
        asked.clear();
        const bool result = upgrade.perform(*this, &error);
        const std::size_t fired = test.systemCalls.faultsFired();
        test.fileSystem.stopFailing();
        test.systemCalls.stopFailing();
        const Tree state = disk();
        if (asked.empty()) {
            EXPECT_EQ(state, before) << "what cannot be seen to be older is left alone";
        } else {
            EXPECT_FALSE(result);
            EXPECT_TRUE(error && error->domain() == MOXSubscribeErrorDomain);
        }
        EXPECT_TRUE(isUnharmed(state, upgrade));
        EXPECT_TRUE(!state.contains(stubPlace) || within(state, stubPlace) == within(before, stubPlace));
        EXPECT_TRUE(isListingSound(upgrade));
        if (state != before) putSample();
        return fired;
    }

    const Operation upgrade = operationNamed("upgrade");
};

TEST_F(DoubleFaultsInTheBundleModel, Each_step_of_the_rollback_may_fail_too) {
    using Status = int ForwardingFileReferences::*;
    for (const Status status :
         {&ForwardingFileReferences::referenceStatus, &ForwardingFileReferences::aliasStatus,
          &ForwardingFileReferences::resolutionStatus, &ForwardingFileReferences::pathStatus}) {
        for (const FaultDuration duration : {FaultDuration::Once, FaultDuration::FromThenOn}) {
            start();
            test.fileReferences.*status = EIO;
            test.fileSystem.failCall(FileSystemOperation::MoveItem, 1, EIO, duration);
            expectFailureWithoutLoss();
            test.fileReferences.*status = 0;
        }
    }
    start();
    test.fileSystem.failCall(FileSystemOperation::MoveItem, 1, ENOSPC, FaultDuration::FromThenOn);
    expectFailureWithoutLoss();
}

TEST_F(DoubleFaultsInTheBundleModel, Any_other_system_call_may_fail_too) {
    int cases = 0;
    for (const FaultDuration ofMove : {FaultDuration::Once, FaultDuration::FromThenOn}) {
        std::size_t number = 1;
        for (bool hasFired = true; hasFired; ++number, ++cases) {
            SCOPED_TRACE("call " + std::to_string(number));
            start();
            test.fileSystem.failCall(FileSystemOperation::MoveItem, 1, EIO, ofMove);
            test.systemCalls.failCall(std::nullopt, number, EIO, FaultDuration::Once);
            hasFired = expectFailureWithoutLoss() != 0;
            if (HasFailure()) return;
        }
        EXPECT_GT(number, 100U);
    }
    RecordProperty("cases", cases);
}

} // namespace
} // namespace mox::test
