#include "Foundation/PathRules.hpp"
#include "Platform/FileSystemErrors.hpp"
#include "SDK/StubBundles.hpp"
#include "Support/FolderInspection.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <ostream>

namespace mox::test {
namespace {

using Tree = std::map<std::string, std::string>;
using Operation = FileSystemOperation;

constexpr std::array faults = {ENOSPC, EIO, EACCES, EROFS, EDQUOT, EMFILE, ENOENT};

/// What a file of a stub is after a writing that met a fault.
enum class State { Old, New };

/// A call of the disk that fails once, and what comes of it.
struct Row {
    const char* name;
    Operation operation;
    std::size_t number;
    /// 0 when the writing succeeds all the same.
    Error::Code code;
    /// The operation that logs a line, and the rest of it, "STUB" for the stub's path, "ERROR" for the disk's
    /// error; no line when empty.
    const char* logger;
    const char* line;
    State infoPlist;
    State strings;
    State icon;
    State alias;
    bool isStubThere = true;
};

std::ostream& operator<<(std::ostream& stream, const Row& row) {
    return stream << row.name;
}

constexpr const char* writing = "-[MOXFileSubscription writeToFolder:withName:error:]";
constexpr const char* updating = "-[MOXFileSubscription updateInfoPlistForSubscriptionAtPath:error:]";
constexpr const char* updatingStrings = "-[MOXFileSubscription updateFileTypesForInfoPlistStringsAtPath:]";

constexpr auto Old = State::Old;
constexpr auto New = State::New;

// Common to both ways of writing; the numbers of the reads are those of a new stub.
constexpr Row stringsNotSeen = {"strings_not_seen",
                                Operation::ItemKind,
                                2,
                                0,
                                updating,
                                "Missing InfoPlist.strings file in subscription (STUB)",
                                New,
                                Old,
                                New,
                                New};
constexpr Row infoPlistUnreadable = {"list_unreadable",
                                     Operation::ContentsOfFile,
                                     1,
                                     2005,
                                     writing,
                                     "Error updating Info.plist for subscription at path (STUB)",
                                     Old,
                                     Old,
                                     Old,
                                     Old};
constexpr Row stringsUnreadable = {"strings_unreadable",
                                   Operation::ContentsOfFile,
                                   2,
                                   0,
                                   updatingStrings,
                                   "Unable to read InfoPlist.strings file: ERROR",
                                   New,
                                   Old,
                                   New,
                                   New};
constexpr Row stringsUnwritable = {"strings_unwritable",
                                   Operation::WriteFileAtomically,
                                   1,
                                   0,
                                   updatingStrings,
                                   "Unable to write InfoPlist.strings file: ERROR",
                                   New,
                                   Old,
                                   New,
                                   New};
constexpr Row infoPlistUnwritable = {"list_unwritable",
                                     Operation::WriteFileAtomically,
                                     2,
                                     2006,
                                     writing,
                                     "Error updating Info.plist for subscription at path (STUB)",
                                     Old,
                                     New,
                                     Old,
                                     Old};
constexpr Row iconUnwritable = {"icon_unwritable",
                                Operation::WriteFileAtomically,
                                3,
                                0,
                                writing,
                                "Error saving icon to path "
                                "(STUB/Contents/Resources/DockApplication.icns)",
                                New,
                                New,
                                Old,
                                New};
constexpr Row aliasUnwritable = {"alias_unwritable",
                                 Operation::WriteFileAtomically,
                                 4,
                                 2007,
                                 writing,
                                 "Error writing launch alias for subscription at path (STUB)",
                                 New,
                                 New,
                                 New,
                                 Old};

constexpr Row withNumber(Row row, std::size_t number) {
    row.number = number;
    return row;
}

constexpr std::array rowsOfNewStub = {
    Row{"nothing_seen", Operation::ItemKind, 1, 0, "", "", New, New, New, New},
    Row{"no_copy", Operation::CopyItem, 1, 2004, writing, "Error copying subscription template", Old, Old,
        Old, Old, false},
    stringsNotSeen,
    infoPlistUnreadable,
    stringsUnreadable,
    stringsUnwritable,
    infoPlistUnwritable,
    iconUnwritable,
    aliasUnwritable};

constexpr std::array rowsOfRefresh = {
    // What is not seen is not replaced either: the copy finds its place taken.
    Row{"nothing_seen", Operation::ItemKind, 1, 2004, writing, "Error copying subscription template", Old,
        Old, Old, Old},
    Row{"alias_unreadable", Operation::ContentsOfFile, 1, 2004, writing,
        "Can't update subscription because something else exists at path (STUB)", Old, Old, Old, Old},
    stringsNotSeen,
    withNumber(infoPlistUnreadable, 2),
    withNumber(stringsUnreadable, 3),
    stringsUnwritable,
    infoPlistUnwritable,
    iconUnwritable,
    aliasUnwritable};

std::string replaced(std::string text, const std::string& place, const std::string& value) {
    const std::size_t start = text.find(place);
    return start == text.npos ? text : text.replace(start, place.size(), value);
}

/// Writes stubs, new ones and over old ones, into folders of the applications folder.
class FileSubscriptionFaults : public StubBundleTest {
protected:
    FileSubscriptionFaults() {
        makeTemplates();
        const std::string reference = makeFolder("Reference");
        newStub = written(recordOf("new"), reference);
        oldStub = written(recordOf("old"), makeFolder("Old"));
        EXPECT_TRUE(recordOf("new")->writeToFolder(scratch.path("Old"), ""));
        refreshedStub = contentsOfTree(scratch.path("Old/Word.app"));
        forgetPast();
    }

    void forgetPast() {
        test.fileSystem.stopFailing();
        test.fileSystem.resetCounts();
        test.systemCalls.stopFailing();
        test.systemCalls.resetCalls();
        test.systemLog.clear();
        test.launchRegistration.calls.clear();
    }

    static std::shared_ptr<MOXFileSubscription> recordOf(const std::string& text) {
        const auto record = MOXFileSubscription::subscriptionWithFileName(
            "Word.app", {.resourceName = text, .type = MOXSubscriptionType::Application});
        record->setIcon(imageOfSides({text == "new" ? 32U : 16U}));
        record->setFileTypes({{{.group = text, .extensions = {".txt"}, .description = text}}});
        return record;
    }
    static Tree written(const std::shared_ptr<MOXFileSubscription>& record, const std::string& folder) {
        EXPECT_TRUE(record->writeToFolder(folder, ""));
        return contentsOfTree(folder + "/Word.app");
    }

    /// A new folder that holds an old stub, or nothing.
    std::string folderWithOldStub(bool isOldStubThere) {
        const std::string folder = makeFolder("Apps/" + std::to_string(++_folders));
        if (isOldStubThere) written(recordOf("old"), folder);
        forgetPast();
        return folder;
    }
    Tree oldTree(bool isOldStubThere) const {
        return isOldStubThere ? oldStub : contentsOfTree(scratch.path("DockApplication.app"));
    }
    Tree newTree(bool isOldStubThere) const { return isOldStubThere ? refreshedStub : newStub; }

    /// Checks that each file of the stub at `path` is that of the old or that of the new stub.
    void expectNothingMixed(const std::string& path, bool isOldStubThere) const {
        const Tree before = oldTree(isOldStubThere);
        const Tree after = newTree(isOldStubThere);
        for (const auto& [file, bytes] : contentsOfTree(path)) {
            const auto isIn = [&file = file, &bytes = bytes](const Tree& tree) {
                const auto found = tree.find(file);
                return found != tree.end() && found->second == bytes;
            };
            const bool isLeftOver = lastPathComponent(file).starts_with(".mox-");
            EXPECT_TRUE(isIn(before) || isIn(after) || isLeftOver) << file;
        }
        for (const auto& [file, bytes] : before)
            EXPECT_TRUE(isThere(path + "/" + file)) << file;
    }

    void expectRow(const Row& row, bool isOldStubThere);
    void expectAllCallsCovered(const auto& rows, bool isOldStubThere);
    void expectTruthUnderEachFault(bool isOldStubThere);
    void expectWholeFilesAfterEachCrash(bool isOldStubThere);

    Tree newStub, oldStub, refreshedStub;

private:
    int _folders = 0;
};

void FileSubscriptionFaults::expectRow(const Row& row, bool isOldStubThere) {
    for (const int fault : faults) {
        const std::string folder = folderWithOldStub(isOldStubThere);
        const std::string stub = folder + "/Word.app";
        const auto record = recordOf("new");
        std::optional<Error> error = staleError();
        test.fileSystem.failCall(row.operation, row.number, fault, FaultDuration::Once);
        EXPECT_EQ(record->writeToFolder(folder, "", &error), row.code == 0);
        EXPECT_EQ(test.fileSystem.faultsFired(), 1U);

        const std::string strings = stub + "/" + std::string(stringsFile);
        const Error reason = row.operation == Operation::ContentsOfFile ? readError(strings, fault)
                                                                        : writeError(strings, fault);
        const std::string line = replaced(replaced(row.line, "STUB", stub), "ERROR", reason.description());
        EXPECT_EQ(logLines(), line.empty() ? Lines() : Lines{row.logger + (" " + line)});
        if (row.code == 0) {
            EXPECT_TRUE(isStale(error));
            EXPECT_EQ(record->path(), stub);
            EXPECT_EQ(test.launchRegistration.callsWithinBatches(), Lines{"register " + stub});
        } else {
            const bool concernsList = row.code == 2005 || row.code == 2006;
            EXPECT_TRUE(isStubError(
                error, row.code, concernsList ? std::optional(stub + "/Contents/Info.plist") : std::nullopt));
            EXPECT_EQ(record->path(), std::nullopt);
            EXPECT_EQ(test.launchRegistration.calls, Lines());
        }

        EXPECT_EQ(namesIn(folder), row.isStubThere ? Lines{"Word.app"} : Lines());
        if (!row.isStubThere) continue;
        Tree expected = oldTree(isOldStubThere);
        Tree replacement = newTree(isOldStubThere);
        const auto expectFile = [&](std::string_view file, State state) {
            if (state == State::New) expected[std::string(file)] = replacement[std::string(file)];
        };
        expectFile("Contents/Info.plist", row.infoPlist);
        expectFile(stringsFile, row.strings);
        expectFile(applicationIcon, row.icon);
        expectFile(aliasFile, row.alias);
        EXPECT_EQ(contentsOfTree(stub), expected);
    }
}

void FileSubscriptionFaults::expectAllCallsCovered(const auto& rows, bool isOldStubThere) {
    const std::string folder = folderWithOldStub(isOldStubThere);
    ASSERT_TRUE(recordOf("new")->writeToFolder(folder, ""));
    for (const Operation operation :
         {Operation::ItemKind, Operation::ContentsOfFile, Operation::WriteFileAtomically,
          Operation::WriteFileInPlace, Operation::CreateDirectory, Operation::MoveItem,
          Operation::ContentsOfDirectory, Operation::RemoveItem, Operation::RemoveAlmostEmptyDirectory,
          Operation::CopyItem, Operation::StageForMove, Operation::CreateTemporaryDirectory}) {
        const auto isOfOperation = [&](const Row& row) { return row.operation == operation; };
        EXPECT_EQ(test.fileSystem.count(operation),
                  static_cast<std::size_t>(std::ranges::count_if(rows, isOfOperation)));
    }
}

class NewStubUnderFault : public FileSubscriptionFaults, public testing::WithParamInterface<Row> {};

TEST_P(NewStubUnderFault, Is_told_and_left_as_that_step_demands) {
    expectRow(GetParam(), false);
}

INSTANTIATE_TEST_SUITE_P(EachCall, NewStubUnderFault, testing::ValuesIn(rowsOfNewStub),
                         [](const auto& one) { return one.param.name; });

class RefreshUnderFault : public FileSubscriptionFaults, public testing::WithParamInterface<Row> {};

TEST_P(RefreshUnderFault, Is_told_and_left_as_that_step_demands) {
    expectRow(GetParam(), true);
}

INSTANTIATE_TEST_SUITE_P(EachCall, RefreshUnderFault, testing::ValuesIn(rowsOfRefresh),
                         [](const auto& one) { return one.param.name; });

TEST_F(FileSubscriptionFaults, Each_call_of_the_disk_has_its_row) {
    expectAllCallsCovered(rowsOfNewStub, false);
    expectAllCallsCovered(rowsOfRefresh, true);
}

/// Lets the disk fail for good from each call on: whatever the result says must be so.
void FileSubscriptionFaults::expectTruthUnderEachFault(bool isOldStubThere) {
    for (std::size_t number = 1;; ++number) {
        const std::string folder = folderWithOldStub(isOldStubThere);
        const std::string stub = folder + "/Word.app";
        const auto record = recordOf("new");
        std::optional<Error> error;
        test.fileSystem.failCall(std::nullopt, number, EIO, FaultDuration::FromThenOn);
        const bool isWritten = record->writeToFolder(folder, "", &error);
        const std::size_t fired = test.fileSystem.faultsFired();
        test.fileSystem.stopFailing();

        EXPECT_EQ(isWritten, !error.has_value());
        EXPECT_EQ(isWritten, record->path() == stub);
        EXPECT_EQ(isWritten, !test.launchRegistration.calls.empty());
        if (!isWritten) {
            EXPECT_GE(logLines().size(), 1U);
        } else {
            const auto read = MOXFileSubscription::subscriptionWithPath(stub);
            ASSERT_NE(read, nullptr);
            EXPECT_EQ(read->resourceName(), "new");
        }
        EXPECT_TRUE(namesIn(folder) == Lines{"Word.app"} || (namesIn(folder).empty() && !isOldStubThere));
        if (isThere(stub)) expectNothingMixed(stub, isOldStubThere);
        if (fired != 0) continue;
        EXPECT_TRUE(isWritten);
        EXPECT_EQ(contentsOfTree(stub), newTree(isOldStubThere));
        EXPECT_GE(number, 9U);
        break;
    }
}

TEST_F(FileSubscriptionFaults, A_new_stub_is_never_said_to_be_there_when_it_is_not) {
    expectTruthUnderEachFault(false);
}

TEST_F(FileSubscriptionFaults, A_refresh_is_never_said_to_be_done_when_it_is_not) {
    expectTruthUnderEachFault(true);
}

/// Dies at each change of the disk: every file must be the old or the new one, whole.
void FileSubscriptionFaults::expectWholeFilesAfterEachCrash(bool isOldStubThere) {
    for (std::size_t number = 1;; ++number) {
        const std::string folder = folderWithOldStub(isOldStubThere);
        const std::string stub = folder + "/Word.app";
        test.systemCalls.dieAtChange(number);
        recordOf("new")->writeToFolder(folder, "");
        const bool hasDied = test.systemCalls.faultsFired() != 0;
        test.systemCalls.stopFailing();
        for (const std::string& name : namesIn(folder))
            EXPECT_TRUE(name == "Word.app" || name.starts_with(".mox-")) << name;
        EXPECT_TRUE(isThere(stub) || !isOldStubThere);
        if (isThere(stub)) expectNothingMixed(stub, isOldStubThere);

        // What is left can be written over, but for a copy without a launch alias: it is taken for another
        // application, and stays in the way.
        const bool isInTheWay = isThere(stub) && !isThere(stub + "/" + std::string(aliasFile));
        EXPECT_FALSE(isInTheWay && isOldStubThere);
        EXPECT_EQ(recordOf("new")->writeToFolder(folder, ""), !isInTheWay);
        if (hasDied) continue;
        EXPECT_GT(number, 10U);
        break;
    }
}

TEST_F(FileSubscriptionFaults, A_crash_leaves_no_new_stub_or_a_whole_copy_of_whole_files) {
    expectWholeFilesAfterEachCrash(false);
}

TEST_F(FileSubscriptionFaults, A_crash_of_a_refresh_leaves_a_stub_of_whole_files) {
    expectWholeFilesAfterEachCrash(true);
}

TEST_F(FileSubscriptionFaults, Interrupted_and_short_calls_change_nothing) {
    for (const bool isOldStubThere : {false, true}) {
        const std::string folder = folderWithOldStub(isOldStubThere);
        test.systemCalls.interruptFirstTries();
        test.systemCalls.limitTransfers(7);
        EXPECT_TRUE(recordOf("new")->writeToFolder(folder, ""));
        EXPECT_EQ(contentsOfTree(folder + "/Word.app"), newTree(isOldStubThere));
        EXPECT_EQ(logLines(), Lines());
    }
}

} // namespace
} // namespace mox::test
