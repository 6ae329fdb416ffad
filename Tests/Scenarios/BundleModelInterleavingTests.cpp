// Another client does all of its operation between any two system calls of the one that is watched.

#include "Formats/PropertyListReading.hpp"

#include "Scenarios/BundleModelScenario.hpp"

namespace mox::test {
namespace {

struct Pair {
    std::string first;
    std::string second;

    friend std::ostream& operator<<(std::ostream& stream, const Pair& pair) {
        return stream << pair.first << " and " << pair.second;
    }
};

class InterleavedClients : public BundleModelScenario, public testing::WithParamInterface<Pair> {
protected:
    /// Does an operation as a client of its own.
    void performElsewhere(const Operation& operation) {
        const Manager own = std::exchange(manager, std::make_shared<OpenBundleStore>());
        static_cast<void>(operation.perform(*this, nullptr));
        manager = own;
    }

    /// Runs `check` after `first`, with `second` done before each of its calls in turn.
    void forEachInterleaving(const Operation& first, const Operation& second,
                             const std::function<void()>& check) {
        bool wasReached = true;
        std::size_t number = 1;
        for (; wasReached; ++number) {
            SCOPED_TRACE("before call " + std::to_string(number));
            putSample();
            start();
            wasReached = false;
            test.systemCalls.actBefore(number, [&] {
                wasReached = true;
                performElsewhere(second);
            });
            static_cast<void>(first.perform(*this, nullptr));
            test.systemCalls.actBefore(1'000'000, {});
            check();
            if (HasFailure()) return;
        }
        EXPECT_GT(number, 10U);
    }

    static bool isWhole(const std::string& path, const std::string& content) {
        if (path.ends_with(".plist")) return propertyListFromBytes(content).has_value();
        if (path.ends_with(".trashinfo")) return content.starts_with("[Trash Info]\nPath=");
        return !path.ends_with(".icns") || !sidesInIconFile(content).empty();
    }

    /// Whether all files are whole, nothing is left on its way, and what neither is about is as it was.
    testing::AssertionResult isSound(const Tree& state, const Operation& first,
                                     const Operation& second) const {
        for (const auto& [path, content] : state) {
            if (isTemporaryPath(path) || path.starts_with("tmp/"))
                return testing::AssertionFailure() << "left over: " << path;
            if (!content.starts_with("-> ") && content != "/" && !isWhole(path, content))
                return testing::AssertionFailure() << "not whole: " << path;
        }
        for (const auto& [path, content] : before) {
            if (isInOneOf(path, first.places) || isInOneOf(path, second.places)) continue;
            const auto found = state.find(path);
            if (found == state.end() || found->second != content)
                return testing::AssertionFailure() << "changed or lost: " << path;
        }
        return testing::AssertionSuccess();
    }
};

TEST_P(InterleavedClients, Leave_every_file_whole_and_nothing_else_changed) {
    const Operation first = operationNamed(GetParam().first);
    const Operation second = operationNamed(GetParam().second);
    learn(first);
    forEachInterleaving(first, second, [&] { EXPECT_TRUE(isSound(disk(), first, second)); });
}

std::vector<Pair> pairs() {
    std::vector<Pair> pairs;
    for (const char* first : {"refresh", "remove", "move"}) {
        for (const char* second : {"subscribe", "refresh", "remove", "move", "upgrade", "remove_folder"})
            pairs.push_back({first, second});
    }
    // These make many calls: only what interferes.
    for (const char* first : {"subscribe", "upgrade"}) {
        for (const char* second : {first, "remove", "move"})
            pairs.push_back({first, second});
    }
    return pairs;
}

INSTANTIATE_TEST_SUITE_P(Pairs, InterleavedClients, testing::ValuesIn(pairs()), [](const auto& tested) {
    return tested.param.first + "_and_" + tested.param.second;
});

class InterleavedUpgrades : public InterleavedClients {
protected:
    /// Whether the whole old stub is in the Trash, under whatever name, with what brings it back.
    bool isOldStubInTrash(const Tree& state) const {
        const std::string trash = "home/.local/share/Trash/";
        for (const auto& [name, content] : within(state, trash + "info")) {
            const std::string item = name.substr(0, name.rfind('.'));
            if (content.find("\nPath=" + scratch.path(stubPlace) + "\n") != content.npos &&
                within(state, trash + "files/" + item) == within(before, stubPlace))
                return true;
        }
        return false;
    }
};

TEST_P(InterleavedUpgrades, Lose_no_stub_and_leave_a_new_one_in_its_place) {
    const Operation upgrade = operationNamed("upgrade");
    learn(upgrade);
    forEachInterleaving(upgrade, operationNamed(GetParam().second), [&] {
        EXPECT_TRUE(isOldStubInTrash(disk()));
        ASSERT_TRUE(isThere(scratch.path(stubPlace) + "/Contents/Info.plist"));
        EXPECT_EQ(versionOf(scratch.path(stubPlace)), "2.0");
    });
}

INSTANTIATE_TEST_SUITE_P(Pairs, InterleavedUpgrades, testing::Values(Pair{"upgrade", "upgrade"}),
                         [](const auto& tested) { return "with_an_" + tested.param.second; });

} // namespace
} // namespace mox::test
