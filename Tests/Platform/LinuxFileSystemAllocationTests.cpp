#include "Platform/Linux/LinuxFileSystem.hpp"
#include "Platform/TreeSamples.hpp"
#include "Support/FailingAllocations.hpp"
#include "Support/FolderInspection.hpp"
#include "Support/ScratchFolder.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <sys/stat.h>

namespace mox::test {
namespace {

using Names = std::vector<std::string>;

class LinuxFileSystemAllocationTest : public testing::Test {
protected:
    const ScratchFolder folder;
    SystemCalls system;
    LinuxFileSystem fileSystem{system};

    /// Lets each allocation of `operation` fail in turn, and runs `check` after each. Returns how many there
    /// were.
    std::size_t failEach(const std::function<void()>& operation, const std::function<void()>& check) {
        const std::size_t descriptors = namesIn("/proc/self/fd").size();
        for (std::size_t number = 1;; ++number) {
            bool hasFailed = false;
            {
                const FailingAllocation failing(number);
                try {
                    operation();
                } catch (const std::bad_alloc&) {
                }
                hasFailed = failing.hasFailed();
            }
            EXPECT_EQ(namesIn("/proc/self/fd").size(), descriptors);
            check();
            if (!hasFailed) return number - 1;
        }
    }
};

TEST_F(LinuxFileSystemAllocationTest, An_atomic_write_without_memory_leaves_old_or_new_and_nothing_else) {
    const std::string path = folder.path("file");
    const std::size_t count = failEach(
        [&] {
            const Result<void> result = fileSystem.writeFileAtomically(path, "new", std::nullopt);
            EXPECT_TRUE(result);
        },
        [&] {
            Names names = namesIn(folder.path());
            std::erase(names, "file");
            EXPECT_EQ(names, Names{});
        });
    EXPECT_GE(count, 2U);
    EXPECT_EQ(bytesOfFile(path), "new");
}

TEST_F(LinuxFileSystemAllocationTest, A_failed_atomic_write_without_memory_leaves_nothing) {
    ASSERT_EQ(::mkdir(folder.path("taken").c_str(), 0777), 0);
    const std::size_t count = failEach(
        [&] {
            const Result<void> result =
                fileSystem.writeFileAtomically(folder.path("taken"), "new", std::nullopt);
            EXPECT_FALSE(result);
        },
        [&] { EXPECT_EQ(namesIn(folder.path()), Names{"taken"}); });
    EXPECT_GE(count, 4U);
}

TEST_F(LinuxFileSystemAllocationTest, A_reading_without_memory_leaves_no_file_open) {
    const std::string path = folder.write("file", std::string(100'000, 'x'));
    Bytes content;
    const std::size_t count = failEach(
        [&] {
            Result<Bytes> result = fileSystem.contentsOfFile(path);
            ASSERT_TRUE(result);
            content = std::move(*result);
        },
        [] {});
    EXPECT_GE(count, 1U);
    EXPECT_EQ(content.size(), 100'000U);
}

TEST_F(LinuxFileSystemAllocationTest, Making_folders_without_memory_can_be_tried_again) {
    const std::string path = folder.path("a/b/c");
    const std::size_t count = failEach(
        [&] {
            const Result<void> result = fileSystem.createDirectoryWithIntermediates(path, 0700);
            EXPECT_TRUE(result);
        },
        [] {});
    EXPECT_GE(count, 3U);
    EXPECT_EQ(fileSystem.itemKindAtPath(path), ItemKind::Directory);
}

TEST_F(LinuxFileSystemAllocationTest, A_copy_without_memory_leaves_the_whole_copy_or_nothing) {
    makeSampleTree(folder, "tree");
    makeFolder(folder, "destination");
    const auto original = treeAt(folder.path("tree"));
    const std::string destination = folder.path("destination");
    std::size_t copies = 0;
    const std::size_t count = failEach(
        [&] {
            const Result<std::string> result = fileSystem.copyItem(folder.path("tree"), destination, "new");
            EXPECT_TRUE(result);
        },
        [&] {
            const Names names = namesIn(destination);
            EXPECT_TRUE(names == Names{} || names == Names{"new"});
            if (names.empty()) return;
            ++copies;
            EXPECT_EQ(treeAt(destination + "/new"), original);
        });
    EXPECT_GE(count, 12U);
    EXPECT_EQ(copies, 1U);
    EXPECT_EQ(treeAt(folder.path("tree")), original);
}

TEST_F(LinuxFileSystemAllocationTest, A_removal_without_memory_can_be_tried_again) {
    makeSampleTree(folder, "tree");
    makeFolder(folder, "outside");
    makeLink(folder, "tree/a/out", "../../outside");
    const std::size_t count = failEach(
        [&] {
            const Result<void> result = fileSystem.removeItem(folder.path("tree"));
            EXPECT_TRUE(result);
        },
        [] {});
    EXPECT_GE(count, 8U);
    EXPECT_EQ(namesIn(folder.path()), Names{"outside"});
}

TEST_F(LinuxFileSystemAllocationTest, A_listing_without_memory_leaves_no_directory_open) {
    makeSampleTree(folder, "tree");
    std::vector<DirectoryEntry> entries;
    const std::size_t count = failEach(
        [&] {
            Result<std::vector<DirectoryEntry>> result = fileSystem.contentsOfDirectory(folder.path("tree"));
            ASSERT_TRUE(result);
            entries = std::move(*result);
        },
        [] {});
    EXPECT_GE(count, 2U);
    EXPECT_EQ(entries.size(), 3U);
}

TEST_F(LinuxFileSystemAllocationTest, A_temporary_directory_without_memory_is_made_only_when_it_is_told) {
    std::size_t made = 0;
    failEach(
        [&] {
            const Result<std::string> result =
                fileSystem.createTemporaryDirectory(folder.path("long.name.XXXXXX"));
            EXPECT_TRUE(result);
            ++made;
        },
        [&] { EXPECT_EQ(namesIn(folder.path()).size(), made); });
    EXPECT_EQ(made, 1U);
}

} // namespace
} // namespace mox::test
