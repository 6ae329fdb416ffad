#include "Platform/FileSystemErrors.hpp"

#include <gtest/gtest.h>

#include <cerrno>

namespace mox {
namespace {

TEST(FileSystemErrors, Carry_domain_path_and_cause) {
    for (const Error& error : {readError("/a", EIO), writeError("/a", EIO)}) {
        EXPECT_EQ(error.domain(), "NSCocoaErrorDomain");
        EXPECT_EQ(error.filePath(), "/a");
        ASSERT_TRUE(error.underlyingError());
        EXPECT_EQ(error.underlyingError()->domain(), "NSPOSIXErrorDomain");
        EXPECT_EQ(error.underlyingError()->code(), EIO);
        EXPECT_EQ(error.userInfo().size(), 2U);
    }
}

TEST(FileSystemErrors, Of_reading_tell_absence_and_permission_from_the_rest) {
    EXPECT_EQ(readError("", ENOENT).code(), 260);
    EXPECT_EQ(readError("", EACCES).code(), 257);
    EXPECT_EQ(readError("", EPERM).code(), 257);
    for (const int other : {EIO, EISDIR, EINVAL, ENOTDIR, EMFILE, ELOOP})
        EXPECT_EQ(readError("", other).code(), 256);
}

TEST(FileSystemErrors,
     Of_writing_tell_absence_permission_presence_space_and_read_only_volumes_from_the_rest) {
    EXPECT_EQ(writeError("", ENOENT).code(), 4);
    EXPECT_EQ(writeError("", EACCES).code(), 513);
    EXPECT_EQ(writeError("", EPERM).code(), 513);
    EXPECT_EQ(writeError("", EEXIST).code(), 516);
    EXPECT_EQ(writeError("", ENOSPC).code(), 640);
    EXPECT_EQ(writeError("", EDQUOT).code(), 640);
    EXPECT_EQ(writeError("", EROFS).code(), 642);
    for (const int other : {EIO, EISDIR, EINVAL, ENOTDIR, EMFILE, EXDEV})
        EXPECT_EQ(writeError("", other).code(), 512);
}

} // namespace
} // namespace mox
