#include <algorithm>
#include <cerrno>

#include "Scenarios/BundleModelScenario.hpp"

namespace mox::test {
namespace {

using testing::StartsWith;

constexpr int errorNumbers[] = {ENOSPC, EIO, EACCES, EROFS, EDQUOT, EMFILE};
constexpr FaultDuration durations[] = {FaultDuration::Once, FaultDuration::FromThenOn};

class FaultsInTheBundleModel : public BundleModelScenario, public testing::WithParamInterface<const char*> {
protected:
    /// Lets one call after the other fail, set by `setFault`, until `faultsFired` tells that none did. Each
    /// call fails once and from then on, for as many of the errors as `errors` tells, which differ from call
    /// to call.
    void failEachCall(std::size_t errors,
                      const std::function<void(std::size_t, int, FaultDuration)>& setFault,
                      const std::function<std::size_t()>& faultsFired);

    /// Checks what came of an operation that met a fault.
    void expectTruth(const Operation& operation, const Tree& state, bool result, int errorNumber,
                     FaultDuration duration);

    bool hasErrorForm(const Operation& operation, int errorNumber) const;

    std::optional<Error> error;
};

/// Whether the error is one that `operation` may give for a fault of `errorNumber`.
bool FaultsInTheBundleModel::hasErrorForm(const Operation& operation, int errorNumber) const {
    const auto isOfSystem = [errorNumber](const Error& candidate) {
        const auto underlying = candidate.underlyingError();
        return candidate.domain() == NSCocoaErrorDomain && candidate.filePath() && underlying &&
               underlying->domain() == NSPOSIXErrorDomain && underlying->code() == errorNumber;
    };
    if (error->domain() != MOXSubscribeErrorDomain) return operation.givesSystemErrors && isOfSystem(*error);
    if (!std::ranges::count(operation.codes, error->code())) return false;
    const bool hasPath = error->code() == 2005 || error->code() == 2006 || error->code() >= 2008;
    const auto underlying = error->underlyingError();
    return error->filePath().has_value() == hasPath && (!underlying || isOfSystem(*underlying));
}

void FaultsInTheBundleModel::expectTruth(const Operation& operation, const Tree& state, bool result,
                                         int errorNumber, FaultDuration duration) {
    EXPECT_TRUE(isUnharmed(state, operation));
    const Lines lines = logLines();
    for (const std::string& line : lines) {
        EXPECT_TRUE(std::ranges::any_of(operation.lines, [&line](const std::string& beginning) {
            return line.starts_with(beginning);
        })) << line;
    }

    const bool hasError = error && error->domain() != "Stale";
    if (result) {
        EXPECT_FALSE(hasError) << error->description();
        if (operation.harm == Harm::Upgrade && asked.empty()) {
            // Without a version of the template nothing is older, and nothing is done.
            EXPECT_EQ(state, before);
            EXPECT_EQ(lines, Lines());
        } else if (operation.harm == Harm::Upgrade) {
            EXPECT_NE(within(state, stubPlace), within(before, stubPlace));
            EXPECT_TRUE(state.contains(stubPlace));
        } else if (operation.isTruthful && lines.empty()) {
            EXPECT_EQ(state, after);
        }
        if (operation.isTruthful && operation.harm == Harm::WholeFiles) {
            for (const auto& [path, content] : after) {
                if (path.ends_with(aliasFile) || path.ends_with("Info.plist")) {
                    EXPECT_EQ(state.at(path), content) << path;
                }
            }
        }
    } else {
        EXPECT_TRUE(hasError || operation.mayFailSilently);
        if (hasError) {
            EXPECT_TRUE(hasErrorForm(operation, errorNumber)) << error->description();
        }
        if (operation.harm == Harm::None) {
            EXPECT_EQ(state, before);
        }
        if (operation.harm == Harm::Upgrade) {
            EXPECT_TRUE(!state.contains(stubPlace) || within(state, stubPlace) == within(before, stubPlace));
        }
    }

    if (duration == FaultDuration::Once) {
        for (const auto& [path, content] : state)
            EXPECT_FALSE(isTemporaryPath(path)) << path;
    }
    const bool isToldOfRemoval = std::ranges::any_of(lines, [](const std::string& line) {
        return line.find("Error deleting temp directory") != line.npos;
    });
    if (operation.harm == Harm::Upgrade) {
        EXPECT_EQ(!within(state, "tmp").empty(), isToldOfRemoval);
    }
}

void FaultsInTheBundleModel::failEachCall(
    std::size_t errors, const std::function<void(std::size_t, int, FaultDuration)>& setFault,
    const std::function<std::size_t()>& faultsFired) {
    const Operation operation = operationNamed(GetParam());
    learn(operation);
    start();
    int cases = 0;
    for (std::size_t kind = 0; kind < errors; ++kind) {
        for (const FaultDuration duration : durations) {
            std::size_t number = 1;
            for (bool hasFired = true; hasFired; ++number, ++cases) {
                const int errorNumber = errorNumbers[(kind * std::size(errorNumbers) / errors + number) %
                                                     std::size(errorNumbers)];
                SCOPED_TRACE("error " + std::to_string(errorNumber) + ", call " + std::to_string(number) +
                             (duration == FaultDuration::Once ? "" : " and all that follow"));
                error = staleError();
                asked.clear();
                setFault(number, errorNumber, duration);
                const bool result = operation.perform(*this, &error);
                hasFired = faultsFired() != 0;
                test.fileSystem.stopFailing();
                test.systemCalls.stopFailing();
                const Tree state = disk();
                expectTruth(operation, state, result, errorNumber, duration);
                if (!hasFired) {
                    EXPECT_TRUE(result);
                }
                EXPECT_TRUE(isListingSound(operation));
                if (HasFailure()) return;
                if (state == before) continue;
                putSample();
                start();
            }
            EXPECT_GT(number, 2U) << "the loop has met the calls of the operation";
        }
    }
    RecordProperty("cases", cases);
}

TEST_P(FaultsInTheBundleModel, Every_failing_operation_of_the_disk_is_told_as_it_is_and_loses_nothing) {
    failEachCall(
        std::size(errorNumbers),
        [this](std::size_t number, int errorNumber, FaultDuration duration) {
            test.fileSystem.failCall(std::nullopt, number, errorNumber, duration);
        },
        [this] { return test.fileSystem.faultsFired(); });
}

TEST_P(FaultsInTheBundleModel, Every_failing_system_call_is_told_as_it_is_and_loses_nothing) {
    failEachCall(
        2,
        [this](std::size_t number, int errorNumber, FaultDuration duration) {
            test.systemCalls.failCall(std::nullopt, number, errorNumber, duration);
        },
        [this] { return test.systemCalls.faultsFired(); });
}

TEST_P(FaultsInTheBundleModel, Interrupted_calls_and_short_transfers_are_no_failures) {
    const Operation operation = operationNamed(GetParam());
    learn(operation);
    start();
    test.systemCalls.interruptFirstTries();
    test.systemCalls.limitTransfers(7);
    EXPECT_TRUE(operation.perform(*this, &error));
    EXPECT_FALSE(error);
    const Tree state = disk();
    EXPECT_TRUE(isUnharmed(state, operation));
    EXPECT_EQ(within(state, "home/Applications"), within(after, "home/Applications"));
}

INSTANTIATE_TEST_SUITE_P(Of, FaultsInTheBundleModel,
                         testing::Values("subscribe", "refresh", "remove", "move", "create_folder",
                                         "rename_folder", "remove_folder", "remove_empty_folder",
                                         "remove_all", "upgrade"),
                         [](const auto& one) { return std::string(one.param); });

} // namespace
} // namespace mox::test
