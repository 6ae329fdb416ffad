#include "Formats/PropertyListReading.hpp"

#include <algorithm>
#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

#include "Scenarios/DictionaryModelScenario.hpp"

namespace mox::test {
namespace {

class FaultsInTheDictionaryModel : public DictionaryModelScenario {
protected:
    struct Outcome {
        Paths paths;
        Paths folders;
        friend bool operator==(const Outcome&, const Outcome&) = default;
    };

    Outcome outcome() const { return {manager->subscriptionPaths(), manager->folders()}; }

    /// A started client on the sample store, with counts, log and faults fired at nothing.
    void startOnSample() {
        putTree(sampleTree());
        start();
        environment.fileSystem.resetCounts();
        environment.systemCalls.resetCalls();
        environment.systemLog.clear();
    }

    static constexpr int errorNumbers[] = {ENOSPC, EIO, EACCES, EROFS, EDQUOT, EMFILE};
    static constexpr FaultDuration durations[] = {FaultDuration::Once, FaultDuration::FromThenOn};
};

TEST_F(FaultsInTheDictionaryModel, Every_failing_system_call_of_every_operation_costs_at_most_the_save) {
    for (const Operation& operation : operations()) {
        const std::vector<Dictionary> trees = savedTrees(operation);
        start();
        const Outcome expected = outcome();
        for (const int errorNumber : errorNumbers) {
            for (const FaultDuration duration : durations) {
                std::size_t number = 1;
                for (;; ++number) {
                    SCOPED_TRACE(operation.name + ", error " + std::to_string(errorNumber) + ", call " +
                                 std::to_string(number));
                    startOnSample();
                    environment.systemCalls.failCall(std::nullopt, number, errorNumber, duration);
                    operation.perform(*manager);
                    environment.systemCalls.stopFailing();
                    const bool hasFailed = environment.systemCalls.faultsFired() != 0;

                    EXPECT_EQ(outcome(), expected);
                    const std::string bytes = bytesOfFile(plistPath());
                    EXPECT_TRUE(isFileOfOneOf(bytes, trees));
                    const bool isSaved = treeOnDisk() == trees.back();
                    const Paths lines = logLines();
                    EXPECT_LE(lines.size(), saves());
                    EXPECT_EQ(std::count(lines.begin(), lines.end(), writeErrorLine),
                              static_cast<std::ptrdiff_t>(lines.size()));
                    if (!isSaved) {
                        EXPECT_FALSE(lines.empty());
                    }
                    if (duration == FaultDuration::Once) {
                        EXPECT_LE(lines.size(), 1U);
                        EXPECT_TRUE(isSupportFolderClean());
                    } else if (!isSaved) {
                        // The first save may have been before the fault.
                        EXPECT_GE(lines.size() + 1, saves());
                    }
                    if (!hasFailed) {
                        EXPECT_TRUE(isSaved && lines.empty());
                    }

                    // The next save brings the file up to date.
                    EXPECT_TRUE(manager->createFolderAtPath(""));
                    EXPECT_EQ(treeOnDisk(), trees.back());
                    start();
                    EXPECT_EQ(outcome(), expected);
                    if (duration == FaultDuration::FromThenOn) {
                        for (const std::string& name : namesIn(supportFolder()))
                            if (name != "Subscriptions.plist") unlink((supportFolder() + "/" + name).c_str());
                    }
                    if (HasFailure()) return;
                    if (!hasFailed) break;
                }
                EXPECT_GT(number, 5U) << "the loop has met the calls of a save";
            }
        }
    }
}

TEST_F(FaultsInTheDictionaryModel, Exactly_one_line_is_logged_for_each_save_that_failed) {
    for (const Operation& operation : operations()) {
        for (std::size_t number = 1;; ++number) {
            SCOPED_TRACE(operation.name + ", write " + std::to_string(number));
            startOnSample();
            environment.fileSystem.failCall(FileSystemOperation::WriteFileAtomically, number, ENOSPC,
                                            FaultDuration::FromThenOn);
            operation.perform(*manager);
            const std::size_t failed = environment.fileSystem.faultsFired();
            environment.fileSystem.stopFailing();
            EXPECT_EQ(logLines(), Paths(failed, writeErrorLine));
            if (failed == 0) break;
            EXPECT_EQ(failed, saves() - number + 1);
        }
    }
}

TEST_F(FaultsInTheDictionaryModel, Interrupted_calls_and_short_transfers_are_no_failures) {
    for (const Operation& operation : operations()) {
        SCOPED_TRACE(operation.name);
        const std::vector<Dictionary> trees = savedTrees(operation);
        environment.systemCalls.interruptFirstTries();
        environment.systemCalls.limitTransfers(7);
        startOnSample();
        operation.perform(*manager);
        EXPECT_EQ(treeOnDisk(), trees.back());
        EXPECT_EQ(logLines(), Paths());
    }
}

TEST_F(FaultsInTheDictionaryModel, A_client_that_starts_under_faults_never_harms_the_file) {
    putTree(sampleTree());
    const std::string before = bytesOfFile(plistPath());
    for (const int errorNumber : errorNumbers) {
        for (const FaultDuration duration : durations) {
            for (std::size_t number = 1;; ++number) {
                SCOPED_TRACE("error " + std::to_string(errorNumber) + ", call " + std::to_string(number));
                environment.systemCalls.resetCalls();
                environment.systemLog.clear();
                end();
                environment.systemCalls.failCall(std::nullopt, number, errorNumber, duration);
                try {
                    start();
                    const bool isInMemory = !logLines().empty();
                    EXPECT_EQ(manager->numberOfSubscriptions(), isInMemory ? 0U : 4U);
                } catch (const InternalInconsistencyException& exception) {
                    EXPECT_EQ(exception.line(), 107);
                }
                environment.systemCalls.stopFailing();
                EXPECT_EQ(bytesOfFile(plistPath()), before);
                EXPECT_TRUE(isSupportFolderClean());
                if (environment.systemCalls.faultsFired() == 0) break;
            }
        }
    }
}

TEST_F(FaultsInTheDictionaryModel, A_first_run_under_faults_ends_with_a_whole_file_or_none) {
    const std::vector<Dictionary> trees{
        node({{"/", node({{"Users", node({{"user", node({{"Applications", node()}})}})}})}})};
    for (const int errorNumber : errorNumbers) {
        for (const FaultDuration duration : durations) {
            for (std::size_t number = 1;; ++number) {
                SCOPED_TRACE("error " + std::to_string(errorNumber) + ", call " + std::to_string(number));
                TestPlatform fresh;
                const std::string freshHome = fresh.homePath();
                fresh.userDirectories.home = "/Users/user";
                const ScopedPlatform inForce(fresh.platform);
                fresh.systemCalls.failCall(std::nullopt, number, errorNumber, duration);
                try {
                    start();
                    EXPECT_EQ(manager->folders().size(), 4U);
                } catch (const InternalInconsistencyException& exception) {
                    EXPECT_EQ(exception.line(), 107) << "the file could not be looked for";
                }
                fresh.systemCalls.stopFailing();
                const std::string path =
                    freshHome + "/Library/Application Support/Korvan Ostrel/Subscriptions.plist";
                if (access(path.c_str(), F_OK) == 0) {
                    EXPECT_TRUE(isFileOfOneOf(bytesOfFile(path), trees));
                } else {
                    EXPECT_NE(fresh.systemCalls.faultsFired(), 0U);
                }
                end();
                if (fresh.systemCalls.faultsFired() == 0) break;
            }
        }
    }
}

} // namespace
} // namespace mox::test
