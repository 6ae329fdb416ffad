#include "Platform/FileSystemContract.hpp"
#include "Platform/Linux/LinuxFileSystem.hpp"
#include "Platform/Testing/ForwardingFileSystem.hpp"

#include <cerrno>

namespace mox::test {
namespace {

using Operation = FileSystemOperation;

struct Stack {
    SystemCalls system;
    LinuxFileSystem disk{system};
    ForwardingFileSystem fileSystem{disk};
};

INSTANTIATE_TEST_SUITE_P(Forwarding, FileSystemContract,
                         testing::Values(FileSystemKind{"File_system",
                                                        [] {
                                                            const auto stack = std::make_shared<Stack>();
                                                            return std::shared_ptr<FileSystem>(
                                                                stack, &stack->fileSystem);
                                                        }}),
                         nameOfKind);

class ForwardingFileSystemTest : public testing::Test {
protected:
    const ScratchFolder folder;
    Stack stack;
    ForwardingFileSystem& fileSystem = stack.fileSystem;
};

TEST_F(ForwardingFileSystemTest, Counts_each_operation_by_itself) {
    const std::string path = folder.path("file");
    ASSERT_TRUE(fileSystem.writeFileAtomically(path, "x", std::nullopt));
    ASSERT_TRUE(fileSystem.writeFileInPlace(path, "y"));
    ASSERT_TRUE(fileSystem.contentsOfFile(path));
    ASSERT_TRUE(fileSystem.contentsOfFile(path));
    ASSERT_FALSE(fileSystem.moveItem(path, path));
    EXPECT_EQ(fileSystem.count(Operation::WriteFileAtomically), 1U);
    EXPECT_EQ(fileSystem.count(Operation::WriteFileInPlace), 1U);
    EXPECT_EQ(fileSystem.count(Operation::ContentsOfFile), 2U);
    EXPECT_EQ(fileSystem.count(Operation::MoveItem), 1U);
    EXPECT_EQ(fileSystem.count(Operation::CreateDirectory), 0U);
    EXPECT_EQ(fileSystem.faultsFired(), 0U);
    fileSystem.resetCounts();
    EXPECT_EQ(fileSystem.count(Operation::ContentsOfFile), 0U);
}

TEST_F(ForwardingFileSystemTest, Fails_the_named_call_of_one_operation_once) {
    const std::string path = folder.path("file");
    fileSystem.failCall(Operation::WriteFileAtomically, 2, ENOSPC, FaultDuration::Once);
    EXPECT_TRUE(fileSystem.createDirectoryWithIntermediates(folder.path("a"), 0777));
    EXPECT_TRUE(fileSystem.writeFileAtomically(path, "1", std::nullopt));
    EXPECT_TRUE(
        isFileSystemError(fileSystem.writeFileAtomically(path, "2", std::nullopt), 640, path, ENOSPC));
    EXPECT_EQ(bytesOfFile(path), "1");
    EXPECT_TRUE(fileSystem.writeFileAtomically(path, "3", std::nullopt));
    EXPECT_EQ(fileSystem.faultsFired(), 1U);
}

TEST_F(ForwardingFileSystemTest, Fails_every_operation_from_the_named_call_on) {
    const std::string path = folder.write("file", "x");
    fileSystem.failCall(std::nullopt, 2, EIO, FaultDuration::FromThenOn);
    EXPECT_TRUE(fileSystem.contentsOfFile(path));
    EXPECT_TRUE(isFileSystemError(fileSystem.contentsOfFile(path), 256, path, EIO));
    EXPECT_TRUE(isFileSystemError(fileSystem.writeFileInPlace(path, ""), 512, path, EIO));
    EXPECT_TRUE(isFileSystemError(fileSystem.moveItem(path, folder.path("new")), 512, path, EIO));
    EXPECT_TRUE(isFileSystemError(fileSystem.createDirectoryWithIntermediates(path, 0777), 512, path, EIO));
    EXPECT_EQ(fileSystem.itemKindAtPath(path), ItemKind::Inaccessible);
    EXPECT_TRUE(isFileSystemError(fileSystem.identityOfItem(path), 256, path, EIO));
    EXPECT_EQ(fileSystem.faultsFired(), 6U);
    fileSystem.stopFailing();
    EXPECT_EQ(fileSystem.itemKindAtPath(path), ItemKind::File);
    EXPECT_EQ(bytesOfFile(path), "x");
}

} // namespace
} // namespace mox::test
