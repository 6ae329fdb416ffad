#include "Foundation/Error.hpp"

#include <gtest/gtest.h>

#include <cerrno>

namespace mox {
namespace {

TEST(Error, A_domain_and_a_code_suffice) {
    const Error error("Domain", -7);
    EXPECT_EQ(error.domain(), "Domain");
    EXPECT_EQ(error.code(), -7);
    EXPECT_TRUE(error.userInfo().empty());
    EXPECT_EQ(error.filePath(), std::nullopt);
    EXPECT_EQ(error.underlyingError(), nullptr);
    EXPECT_EQ(error.localizedDescription(), "The operation couldn’t be completed. (Domain error -7.)");
}

TEST(Error, The_error_of_an_errno_value_speaks_as_the_system_does) {
    const Error error = Error::posix(ENOENT);
    EXPECT_EQ(error.domain(), "NSPOSIXErrorDomain");
    EXPECT_EQ(error.code(), ENOENT);
    EXPECT_TRUE(error.userInfo().empty());
    EXPECT_EQ(error.localizedDescription(), "No such file or directory");
}

TEST(Error, User_information_is_found_under_its_keys) {
    const auto cause = std::make_shared<const Error>(Error::posix(EACCES));
    const Error error(
        NSCocoaErrorDomain, 513,
        {{"NSLocalizedDescription", "No permission."}, {"NSFilePath", "/a/b"}, {"NSUnderlyingError", cause}});
    EXPECT_EQ(error.localizedDescription(), "No permission.");
    EXPECT_EQ(error.filePath(), "/a/b");
    EXPECT_EQ(error.underlyingError(), cause);
    EXPECT_EQ(error.userInfo().size(), 3u);
}

TEST(Error, A_value_of_another_kind_counts_as_absent) {
    const auto cause = std::make_shared<const Error>(Error::posix(EIO));
    const Error error("Domain", 1, {{"NSFilePath", cause}, {"NSUnderlyingError", "text"}});
    EXPECT_EQ(error.filePath(), std::nullopt);
    EXPECT_EQ(error.underlyingError(), nullptr);
}

TEST(Error, The_form_for_logs_names_domain_code_and_text) {
    const Error error("Domain", 2009, {{"NSLocalizedDescription", "It is \"gone\"."}});
    EXPECT_EQ(error.description(), "Error Domain=Domain Code=2009 \"It is \"gone\".\"");
    EXPECT_EQ(Error::posix(EIO).description(),
              "Error Domain=NSPOSIXErrorDomain Code=5 \"Input/output error\"");
}

TEST(Error, A_copy_is_independent_of_its_original) {
    auto original = std::make_unique<Error>("Domain", 1, Error::UserInfo{{"NSFilePath", "/a"}});
    const Error copy = *original;
    original.reset();
    EXPECT_EQ(copy.domain(), "Domain");
    EXPECT_EQ(copy.filePath(), "/a");
}

} // namespace
} // namespace mox
