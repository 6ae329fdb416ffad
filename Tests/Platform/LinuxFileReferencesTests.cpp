#include "Platform/Linux/LinuxFileReferences.hpp"
#include "Platform/Testing/FaultySystemCalls.hpp"
#include "Support/FolderInspection.hpp"
#include "Support/ScratchFolder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace mox::test {
namespace {

class LinuxFileReferencesTest : public testing::Test {
protected:
    /// A reference to the item at `path`, which must be there.
    std::shared_ptr<const FileReference> referenceTo(const std::string& path) {
        std::shared_ptr<const FileReference> reference;
        EXPECT_EQ(references.makeReference(path, reference), 0);
        return reference;
    }

    /// An alias of the item at `path`, which must be there.
    std::shared_ptr<const FileAlias> aliasOf(const std::string& path) {
        std::shared_ptr<const FileAlias> alias;
        EXPECT_EQ(references.makeAlias(*referenceTo(path), alias), 0);
        return alias;
    }

    /// Where the item of `alias` is found, or the status that the search fails with.
    std::string placeOf(const FileAlias& alias) {
        std::shared_ptr<const FileReference> reference;
        std::string path;
        SystemStatus status = references.resolveAlias(alias, reference);
        if (status == 0) status = references.makePath(*reference, path);
        return status == 0 ? path : "errno " + std::to_string(status);
    }

    /// Makes folders in the scratch folder until the path of the innermost has `length` bytes.
    std::string makeFolderOfLength(std::size_t length) {
        constexpr std::size_t longestName = 200;
        std::string path = folder.path();
        while (path.size() < length) {
            std::size_t size = std::min(longestName, length - path.size() - 1);
            // A name needs a byte at least, after its "/".
            if (length - path.size() - 1 - size == 1) --size;
            path += "/" + std::string(size, 'x');
            EXPECT_EQ(::mkdir(path.c_str(), 0777), 0);
        }
        return path;
    }

    const ScratchFolder folder;
    SystemCalls system;
    FaultySystemCalls calls{system};
    LinuxFileReferences references{calls};
};

const std::string gone = "errno " + std::to_string(ENOENT);

TEST_F(LinuxFileReferencesTest, A_file_a_folder_and_a_link_are_found_where_they_are) {
    const std::string file = folder.write("file", "x");
    const std::string directory = folder.path("folder");
    const std::string link = folder.path("link");
    ASSERT_EQ(::mkdir(directory.c_str(), 0777), 0);
    ASSERT_EQ(::symlink("file", link.c_str()), 0);
    EXPECT_EQ(placeOf(*aliasOf(file)), file);
    EXPECT_EQ(placeOf(*aliasOf(directory)), directory);
    EXPECT_EQ(placeOf(*aliasOf(link)), link);
}

TEST_F(LinuxFileReferencesTest, A_link_that_leads_nowhere_is_an_item_all_the_same) {
    const std::string link = folder.path("link");
    ASSERT_EQ(::symlink("missing", link.c_str()), 0);
    EXPECT_EQ(placeOf(*aliasOf(link)), link);
}

TEST_F(LinuxFileReferencesTest, An_item_that_cannot_be_read_is_referred_to) {
    const std::string file = folder.write("file", "x");
    ASSERT_EQ(::chmod(file.c_str(), 0), 0);
    EXPECT_EQ(placeOf(*aliasOf(file)), file);
}

TEST_F(LinuxFileReferencesTest, An_item_is_found_after_moves_of_itself_and_of_a_folder_above_it) {
    ASSERT_EQ(::mkdir(folder.path("a").c_str(), 0777), 0);
    ASSERT_EQ(::mkdir(folder.path("a/stub.app").c_str(), 0777), 0);
    const std::shared_ptr<const FileAlias> alias = aliasOf(folder.path("a/stub.app"));
    ASSERT_EQ(::rename(folder.path("a/stub.app").c_str(), folder.path("a/other.app").c_str()), 0);
    EXPECT_EQ(placeOf(*alias), folder.path("a/other.app"));
    ASSERT_EQ(::rename(folder.path("a").c_str(), folder.path("b").c_str()), 0);
    EXPECT_EQ(placeOf(*alias), folder.path("b/other.app"));
}

TEST_F(LinuxFileReferencesTest, Another_item_at_the_old_path_is_not_taken_for_the_one_that_moved) {
    const std::string path = folder.write("file", "old");
    const std::shared_ptr<const FileAlias> alias = aliasOf(path);
    ASSERT_EQ(::rename(path.c_str(), folder.path("moved").c_str()), 0);
    folder.write("file", "new");
    EXPECT_EQ(placeOf(*alias), folder.path("moved"));
}

TEST_F(LinuxFileReferencesTest, An_item_that_was_deleted_exists_no_more) {
    const std::string file = folder.write("file", "x");
    const std::string directory = folder.path("folder");
    ASSERT_EQ(::mkdir(directory.c_str(), 0777), 0);
    const std::shared_ptr<const FileAlias> fileAlias = aliasOf(file);
    const std::shared_ptr<const FileAlias> directoryAlias = aliasOf(directory);
    const std::shared_ptr<const FileReference> reference = referenceTo(file);
    ASSERT_EQ(::unlink(file.c_str()), 0);
    ASSERT_EQ(::rmdir(directory.c_str()), 0);
    EXPECT_EQ(placeOf(*fileAlias), gone);
    EXPECT_EQ(placeOf(*directoryAlias), gone);
    std::string path = "as it was";
    EXPECT_EQ(references.makePath(*reference, path), ENOENT);
    EXPECT_EQ(path, "as it was");
}

TEST_F(LinuxFileReferencesTest, A_name_that_ends_as_the_system_marks_deleted_items_is_a_name) {
    const std::string file = folder.write("file (deleted)", "x");
    const std::shared_ptr<const FileAlias> alias = aliasOf(file);
    EXPECT_EQ(placeOf(*alias), file);
    ASSERT_EQ(::unlink(file.c_str()), 0);
    EXPECT_EQ(placeOf(*alias), gone);
}

TEST_F(LinuxFileReferencesTest, A_deleted_item_is_not_taken_for_one_that_is_named_as_the_system_marks_it) {
    const std::string file = folder.write("file", "deleted");
    const std::shared_ptr<const FileAlias> alias = aliasOf(file);
    folder.write("file (deleted)", "another");
    ASSERT_EQ(::unlink(file.c_str()), 0);
    EXPECT_EQ(placeOf(*alias), gone);
}

TEST_F(LinuxFileReferencesTest, An_item_in_a_folder_that_was_deleted_and_replaced_by_a_file_exists_no_more) {
    ASSERT_EQ(::mkdir(folder.path("a").c_str(), 0777), 0);
    const std::shared_ptr<const FileAlias> alias = aliasOf(folder.write("a/file", "x"));
    ASSERT_EQ(::unlink(folder.path("a/file").c_str()), 0);
    ASSERT_EQ(::rmdir(folder.path("a").c_str()), 0);
    folder.write("a", "x");
    EXPECT_EQ(placeOf(*alias), gone);
}

TEST_F(LinuxFileReferencesTest, Names_of_any_bytes_are_kept) {
    for (const std::string name :
         {"line\nfeed", "\x1b[31m", "\xff\xfe", " ", "-rf", "\"'\\", "%n%s", "caf\xc3\xa9", "\xe2\x80\xae"}) {
        EXPECT_EQ(placeOf(*aliasOf(folder.write(name, "x"))), folder.path(name));
    }
}

TEST_F(LinuxFileReferencesTest, The_path_is_given_with_links_resolved) {
    ASSERT_EQ(::mkdir(folder.path("a").c_str(), 0777), 0);
    folder.write("a/file", "x");
    ASSERT_EQ(::symlink("a", folder.path("link").c_str()), 0);
    EXPECT_EQ(placeOf(*aliasOf(folder.path("link/file"))), folder.path("a/file"));
}

TEST_F(LinuxFileReferencesTest, A_path_may_have_1023_bytes_and_no_more) {
    std::string longest = makeFolderOfLength(1023);
    ASSERT_EQ(longest.size(), 1023U);
    const std::shared_ptr<const FileReference> reference = referenceTo(longest);
    std::string path;
    EXPECT_EQ(references.makePath(*reference, path), 0);
    EXPECT_EQ(path, longest);

    std::string longer = longest + "x";
    ASSERT_EQ(::rename(longest.c_str(), longer.c_str()), 0);
    path = "as it was";
    EXPECT_EQ(references.makePath(*reference, path), ENAMETOOLONG);
    EXPECT_EQ(path, "as it was");
    std::shared_ptr<const FileAlias> alias;
    std::shared_ptr<const FileReference> resolved;
    EXPECT_EQ(references.makeAlias(*reference, alias), 0);
    EXPECT_EQ(references.resolveAlias(*alias, resolved), 0);
}

TEST_F(LinuxFileReferencesTest, What_is_not_there_has_no_reference) {
    std::shared_ptr<const FileReference> reference;
    EXPECT_EQ(references.makeReference(folder.path("missing"), reference), ENOENT);
    EXPECT_EQ(references.makeReference("", reference), ENOENT);
    EXPECT_EQ(references.makeReference(folder.write("file", "x") + "/x", reference), ENOTDIR);
    EXPECT_EQ(references.makeReference(folder.path() + std::string("\0x", 2), reference), EINVAL);
    EXPECT_EQ(references.makeReference(folder.path(std::string(300, 'x')), reference), ENAMETOOLONG);
    EXPECT_FALSE(reference);
}

TEST_F(LinuxFileReferencesTest, What_another_backend_made_is_refused) {
    struct ForeignReference : FileReference {};
    struct ForeignAlias : FileAlias {};
    std::shared_ptr<const FileAlias> alias;
    std::shared_ptr<const FileReference> reference;
    std::string path;
    EXPECT_EQ(references.makeAlias(ForeignReference(), alias), EINVAL);
    EXPECT_EQ(references.resolveAlias(ForeignAlias(), reference), EINVAL);
    EXPECT_EQ(references.makePath(ForeignReference(), path), EINVAL);
}

TEST_F(LinuxFileReferencesTest, The_item_is_kept_open_until_nothing_refers_to_it_any_more) {
    const std::size_t before = namesIn("/proc/self/fd").size();
    std::shared_ptr<const FileReference> reference = referenceTo(folder.write("file", "x"));
    std::shared_ptr<const FileAlias> alias;
    ASSERT_EQ(references.makeAlias(*reference, alias), 0);
    EXPECT_EQ(namesIn("/proc/self/fd").size(), before + 1);
    reference.reset();
    EXPECT_EQ(placeOf(*alias), folder.path("file"));
    alias.reset();
    EXPECT_EQ(namesIn("/proc/self/fd").size(), before);
}

/// Keeps how the last item was opened.
class RecordsFlags : public ForwardingSystemCalls {
public:
    using ForwardingSystemCalls::ForwardingSystemCalls;
    int open(const char* path, int openFlags, mode_t mode) override {
        flags = openFlags;
        return ForwardingSystemCalls::open(path, openFlags, mode);
    }
    int flags = 0;
};

TEST_F(LinuxFileReferencesTest, The_item_is_neither_read_nor_followed_nor_inherited_by_other_programs) {
    RecordsFlags recorder(system);
    LinuxFileReferences recorded(recorder);
    std::shared_ptr<const FileReference> reference;
    ASSERT_EQ(recorded.makeReference(folder.path(), reference), 0);
    EXPECT_EQ(recorder.flags & ~O_LARGEFILE, O_PATH | O_NOFOLLOW | O_CLOEXEC);
}

TEST_F(LinuxFileReferencesTest, A_failure_of_any_call_is_told_and_leaves_the_result_as_it_was) {
    const std::string file = folder.write("file", "x");
    const std::shared_ptr<const FileReference> before = referenceTo(folder.path());
    for (const int errorNumber : {EIO, EACCES, EMFILE, ENOMEM}) {
        calls.failCall(SystemCall::Open, 1, errorNumber, FaultDuration::Once);
        std::shared_ptr<const FileReference> reference = before;
        EXPECT_EQ(references.makeReference(file, reference), errorNumber);
        EXPECT_EQ(reference, before);
        const std::shared_ptr<const FileAlias> alias = aliasOf(file);
        const std::shared_ptr<const FileReference> whole = referenceTo(file);
        // The path is read, and both ends of it are looked at.
        std::size_t number = 1;
        for (bool hasFired = true; hasFired; ++number) {
            calls.resetCalls();
            calls.failCall(std::nullopt, number, errorNumber, FaultDuration::Once);
            const SystemStatus status = references.resolveAlias(*alias, reference);
            hasFired = calls.faultsFired() > 0;
            EXPECT_EQ(status, hasFired ? errorNumber : 0);
            EXPECT_EQ(reference == before, hasFired);
            reference = before;

            calls.resetCalls();
            calls.failCall(std::nullopt, number, errorNumber, FaultDuration::Once);
            std::string path = "as it was";
            EXPECT_EQ(references.makePath(*whole, path), hasFired ? errorNumber : 0);
            EXPECT_EQ(path, hasFired ? "as it was" : file);
        }
        EXPECT_EQ(number - 2, 3U);
        calls.stopFailing();
    }
}

} // namespace
} // namespace mox::test
