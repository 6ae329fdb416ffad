#include "SDK/Reporting.hpp"
#include "SDK/SDKTest.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

namespace mox::test {
namespace {

using Then = RecordingAssertionHandler::Then;

constexpr int someObject = 0;
constexpr AssertionPlace place = {&someObject, "-[A b:]", "Source/A", 17};

class Reporting : public SDKTest {};

TEST_F(Reporting, Logs_a_line_with_its_places_filled) {
    const std::optional<std::string> noPath;
    logLine(test.platform, "%s Error writing subscription dictionary at path (%@)", {"-[A b:]", noPath});
    EXPECT_EQ(test.systemLog.lines(),
              std::vector<std::string>{"-[A b:] Error writing subscription dictionary at path ((null))"});
}

TEST_F(Reporting, Logs_percent_signs_of_an_argument_as_they_are) {
    logLine(test.platform, "%s (%@/%@)", {"-[A b:]", "%@", "100%s"});
    EXPECT_EQ(test.systemLog.lines(), std::vector<std::string>{"-[A b:] (%@/100%s)"});
}

TEST_F(Reporting, Tells_the_handler_everything_about_an_assertion) {
    const auto handler = installHandler(Then::Returns);
    reportAssertion(test.platform, place, "%s is not implemented");
    ASSERT_EQ(handler->failures().size(), 1U);
    const auto failure = handler->failures().front();
    EXPECT_EQ(failure.object, &someObject);
    EXPECT_EQ(failure.operation, "-[A b:]");
    EXPECT_EQ(failure.file, "Source/A");
    EXPECT_EQ(failure.line, 17);
    EXPECT_EQ(failure.description, "-[A b:] is not implemented");
    EXPECT_TRUE(handler->unrecognized().empty());
}

TEST_F(Reporting, Takes_a_description_without_a_place_as_it_is) {
    const auto handler = installHandler(Then::Returns);
    reportAssertion(test.platform, place, "Missing subscriptions dictionary");
    EXPECT_EQ(handler->failures().front().description, "Missing subscriptions dictionary");
}

TEST_F(Reporting, Reports_an_unsupported_operation_as_an_assertion_and_then_as_not_recognised) {
    const auto handler = installHandler(Then::Returns);
    reportUnsupportedOperation(test.platform, place, "%s not supported");
    EXPECT_EQ(handler->failures().size(), 1U);
    ASSERT_EQ(handler->unrecognized().size(), 1U);
    EXPECT_EQ(handler->unrecognized().front().object, &someObject);
    EXPECT_EQ(handler->unrecognized().front().operation, "-[A b:]");
}

TEST_F(Reporting, Stops_at_an_assertion_that_throws) {
    const auto handler = installHandler(Then::Throws);
    EXPECT_THROW(reportUnsupportedOperation(test.platform, place, "%s not supported"),
                 InternalInconsistencyException);
    EXPECT_TRUE(handler->unrecognized().empty());
}

TEST_F(Reporting, Throws_for_the_selector_when_only_the_assertion_returns) {
    class Handler : public AssertionHandler {
        void handleFailure(const AssertionFailure&) override {}
    };
    installAssertionHandler(std::make_shared<Handler>());
    EXPECT_THROW(reportUnsupportedOperation(test.platform, place, "%s not supported"),
                 InvalidArgumentException);
}

TEST_F(Reporting, Finishes_with_the_handler_that_it_began_with) {
    class Handler : public AssertionHandler {
    public:
        int unrecognized = 0;
        void handleFailure(const AssertionFailure&) override { installAssertionHandler(nullptr); }
        void unrecognizedSelector(const void*, std::string_view) override { ++unrecognized; }
    };
    const auto handler = std::make_shared<Handler>();
    installAssertionHandler(handler);
    reportUnsupportedOperation(test.platform, place, "%s not supported");
    EXPECT_EQ(handler->unrecognized, 1);
    EXPECT_NE(test.assertionHandler.get(), handler);
}

TEST_F(Reporting, Reports_a_selector_alone) {
    const auto handler = installHandler(Then::Returns);
    reportUnrecognizedSelector(test.platform, nullptr, "-[A c]");
    EXPECT_TRUE(handler->failures().empty());
    EXPECT_EQ(handler->unrecognized().front().operation, "-[A c]");
    EXPECT_EQ(handler->unrecognized().front().object, nullptr);
}

TEST_F(Reporting, Stores_an_error_only_when_there_is_a_place_for_it) {
    storeError(nullptr, Error::posix(1));
    std::optional<Error> error = Error::posix(1);
    storeError(&error, Error::posix(2));
    EXPECT_EQ(error->code(), 2);
}

TEST_F(Reporting, Has_POSIX_22_without_user_information_for_an_invalid_argument) {
    const Error error = invalidArgumentError();
    EXPECT_EQ(error.domain(), "NSPOSIXErrorDomain");
    EXPECT_EQ(error.code(), 22);
    EXPECT_TRUE(error.userInfo().empty());
}

TEST_F(Reporting, Gives_a_framework_error_the_code_of_its_key) {
    const Error error =
        frameworkError(MOXSubscribeCorruptSubscriptionError,
                       Error::UserInfo{{std::string(NSFilePathErrorKey), std::string("/path")}});
    EXPECT_EQ(error.domain(), MOXSubscribeErrorDomain);
    EXPECT_EQ(error.code(), 2010);
    EXPECT_EQ(error.filePath(), "/path");
}

} // namespace
} // namespace mox::test
