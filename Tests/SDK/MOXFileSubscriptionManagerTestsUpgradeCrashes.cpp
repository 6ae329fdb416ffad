#include "Platform/Testing/PowerLossSystemCalls.hpp"
#include "SDK/UpgradeTest.hpp"

#include <optional>

namespace mox::test {
namespace {

/// What is in a folder, by path: a file's content, nil for a folder.
using State = PowerLossSystemCalls::State;

/// Upgrades that end at some change of the disk, with the process or with the power.
class InterruptedUpgrades : public UpgradeTest {
protected:
    static constexpr std::size_t tooManyChanges = 2000;

    void SetUp() override {
        stub = makeOldStub("Word.app");
        oldStub = within(stateOnDisk(), stubPath);
        ASSERT_TRUE(open()->updateSubscriptionAtPath(stub, {}, {}));
        newStub = within(stateOnDisk(), stubPath);
        ASSERT_NE(oldStub, newStub);
        putBack();
    }

    /// Puts an old stub in its place, and nothing into the Trash and the temporary folder.
    void putBack() {
        test.systemCalls.stopFailing();
        for (const std::string& path : {inApps(), test.homePath(".local"), temporary})
            static_cast<void>(test.fileSystem.removeItem(path));
        makeFolder("tmp");
        makeOldStub("Word.app");
        test.systemCalls.resetCalls();
    }

    State stateOnDisk() const {
        State state;
        for (const auto& [path, content] : contentsOfTree(scratch.path()))
            state.emplace(path, content == "/" ? std::nullopt : std::optional(content));
        return state;
    }
    /// What `state` has in the folder at `path`; empty when there is none.
    static State within(const State& state, const std::string& path) {
        State result;
        for (const auto& [each, content] : state) {
            if (content && each.starts_with(path + "/")) result.emplace(each.substr(path.size()), content);
        }
        return result;
    }

    /// Whether nothing is lost in `state`: the stub's place holds the whole old stub, the whole new one or
    /// nothing, and if not the old one, the whole old one is in the Trash, which knows where it came from.
    testing::AssertionResult isNothingLost(const State& state) const {
        const State inPlace = within(state, stubPath);
        if (inPlace == oldStub) return testing::AssertionSuccess();
        if (inPlace != newStub && !inPlace.empty())
            return testing::AssertionFailure() << "a part of a stub is in its place";
        if (within(state, "home/.local/share/Trash/files/Word.app") != oldStub)
            return testing::AssertionFailure() << "the old stub is lost";
        const auto info = state.find("home/.local/share/Trash/info/Word.app.trashinfo");
        if (info == state.end() || !info->second || info->second->find("Path=" + stub) == Bytes::npos)
            return testing::AssertionFailure() << "the Trash does not know the old stub";
        return testing::AssertionSuccess();
    }

    static constexpr const char* stubPath = "home/Applications/Word.app";
    std::string stub;
    State oldStub;
    State newStub;
};

TEST_F(InterruptedUpgrades, A_death_at_any_change_leaves_one_of_the_two_stubs_and_never_a_part_of_one) {
    std::size_t number = 1;
    for (bool hasDied = true; hasDied; ++number) {
        ASSERT_LT(number, tooManyChanges);
        putBack();
        const auto store = open();
        test.systemCalls.dieAtChange(number);
        store->updateSubscriptionAtPath(stub, {}, {});
        hasDied = test.systemCalls.faultsFired() > 0;
        test.systemCalls.stopFailing();
        ASSERT_TRUE(isNothingLost(stateOnDisk())) << "at change " << number;
        const auto reopened = open();
        for (const std::string& listed : reopened->subscriptionPaths())
            EXPECT_EQ(listed, stub) << "at change " << number;
    }
    EXPECT_GT(number, 20U);
}

TEST_F(InterruptedUpgrades, A_power_cut_at_any_change_leaves_one_of_the_two_stubs_and_never_a_part_of_one) {
    std::size_t number = 1;
    std::size_t states = 0;
    for (bool hasDied = true; hasDied; ++number) {
        ASSERT_LT(number, tooManyChanges);
        putBack();
        SystemCalls system;
        FaultySystemCalls mortal(system);
        PowerLossSystemCalls disk(mortal, scratch.path());
        TestPlatform cut({.systemCalls = &disk, .folder = scratch.path()});
        const ScopedPlatform cutScope(cut.platform);
        const auto store = std::make_shared<OpenBundleStore>();
        mortal.resetCalls();
        mortal.dieAtChange(number);
        store->updateSubscriptionAtPath(stub, {}, {});
        hasDied = mortal.faultsFired() > 0;
        for (const State& state : disk.statesAfterPowerLoss()) {
            ++states;
            ASSERT_TRUE(isNothingLost(state)) << "at change " << number;
        }
    }
    EXPECT_GT(number, 20U);
    EXPECT_GT(states, number);
}

} // namespace
} // namespace mox::test
