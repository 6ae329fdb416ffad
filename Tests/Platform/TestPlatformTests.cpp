#include "Platform/Testing/PowerLossSystemCalls.hpp"
#include "Platform/Testing/RecordingAssertionHandler.hpp"
#include "Platform/Testing/ScopedPlatform.hpp"
#include "Platform/Testing/TestPlatform.hpp"

#include <gtest/gtest.h>

#include <cerrno>

namespace mox::test {
namespace {

TEST(ScopedPlatform, Is_in_force_until_its_end_and_then_the_one_before) {
    const TestPlatform outer;
    const TestPlatform inner;
    {
        const ScopedPlatform outerScope(outer.platform);
        {
            const ScopedPlatform innerScope(inner.platform);
            EXPECT_EQ(&currentPlatform(), &inner.platform);
        }
        EXPECT_EQ(&currentPlatform(), &outer.platform);
    }
    EXPECT_EQ(&currentPlatform(), &operatingSystemPlatform());
}

TEST(OperatingSystemPlatform, Is_one_and_the_same) {
    EXPECT_EQ(&operatingSystemPlatform(), &operatingSystemPlatform());
    EXPECT_FALSE(operatingSystemPlatform().bundles.mainBundlePath().empty());
    EXPECT_EQ(operatingSystemPlatform().fileSystem.itemKindAtPath("/"), ItemKind::Directory);
}

TEST(TestPlatform, Has_a_home_that_is_there_and_a_library_that_is_not) {
    TestPlatform test;
    const UserDirectories& directories = test.platform.userDirectories;
    EXPECT_EQ(directories.homeDirectory(), test.homePath());
    EXPECT_EQ(test.fileSystem.itemKindAtPath(test.homePath()), ItemKind::Directory);
    EXPECT_EQ(directories.libraryDirectories(), std::vector{test.homePath("Library")});
    EXPECT_EQ(test.fileSystem.itemKindAtPath(test.homePath("Library")), ItemKind::Missing);
}

TEST(TestPlatform, Lets_a_test_take_the_library_folders_away) {
    TestPlatform test;
    test.userDirectories.libraries.clear();
    EXPECT_TRUE(test.platform.userDirectories.libraryDirectories().empty());
}

TEST(TestPlatform, Uses_the_folder_and_the_system_calls_that_it_is_given) {
    const ScratchFolder folder;
    SystemCalls system;
    FaultySystemCalls calls(system);
    TestPlatform test({.systemCalls = &calls, .folder = folder.path()});
    EXPECT_EQ(test.homePath("a"), folder.path("home/a"));
    calls.resetCalls();
    EXPECT_EQ(test.platform.fileSystem.itemKindAtPath(test.homePath()), ItemKind::Directory);
    EXPECT_EQ(calls.calls(), std::vector{SystemCall::Stat});
}

TEST(TestPlatform, Lets_a_test_cut_the_power_under_it) {
    const ScratchFolder folder;
    SystemCalls system;
    FaultySystemCalls mortal(system);
    PowerLossSystemCalls disk(mortal, folder.path());
    TestPlatform test({.systemCalls = &disk, .folder = folder.path()});
    const std::string path = test.homePath("Library/file");
    ASSERT_TRUE(test.fileSystem.createDirectoryWithIntermediates(test.homePath("Library"), 0700));
    ASSERT_TRUE(test.fileSystem.writeFileAtomically(path, "old", std::nullopt));
    // Opening, writing, the mode, synchronising, and then death at the renaming.
    mortal.dieAtChange(5);
    EXPECT_FALSE(test.fileSystem.writeFileAtomically(path, "new", std::nullopt));
    mortal.stopFailing();
    std::size_t restarts = 0;
    for (const auto& state : disk.statesAfterPowerLoss()) {
        disk.restart(state);
        EXPECT_EQ(bytesOfFile(path), "old");
        ++restarts;
    }
    // With the temporary file and without it.
    EXPECT_EQ(restarts, 2U);
}

TEST(TestPlatform, Finds_the_framework_s_own_bundle_and_its_texts_in_the_user_s_language) {
    for (const std::string language : {"en", "de"}) {
        const TestPlatform test({.languages = {language}});
        const auto bundle = test.bundles.frameworkBundlePath("com.korvan.MOXSubscribe");
        ASSERT_TRUE(bundle);
        const auto texts = test.bundles.pathForResource("Localizable", "strings", *bundle);
        ASSERT_TRUE(texts);
        EXPECT_TRUE(texts->ends_with("/Resources/" + language + ".lproj/Localizable.strings")) << *texts;
    }
}

TEST(RecordingSystemLog, Keeps_messages_as_they_are_given) {
    RecordingSystemLog log;
    log.log("one\ntwo");
    log.log("");
    EXPECT_EQ(log.lines(), (std::vector<std::string>{"one\ntwo", ""}));
    log.clear();
    EXPECT_TRUE(log.lines().empty());
}

constexpr AssertionFailure failure = {nullptr, "-[A b]", "A", 7, "-[A b] failed"};

TEST(RecordingAssertionHandler, Records_and_throws_like_the_standard_one) {
    RecordingAssertionHandler handler(RecordingAssertionHandler::Then::Throws);
    EXPECT_THROW(handler.handleFailure(failure), InternalInconsistencyException);
    EXPECT_THROW(handler.unrecognizedSelector(&handler, "-[A c]"), InvalidArgumentException);
    ASSERT_EQ(handler.failures().size(), 1U);
    EXPECT_EQ(handler.failures().front().description, "-[A b] failed");
    ASSERT_EQ(handler.unrecognized().size(), 1U);
    EXPECT_EQ(handler.unrecognized().front().object, &handler);
}

TEST(RecordingAssertionHandler, Records_and_returns_when_asked_to) {
    RecordingAssertionHandler handler(RecordingAssertionHandler::Then::Returns);
    handler.handleFailure(failure);
    handler.unrecognizedSelector(nullptr, "-[A c]");
    EXPECT_EQ(handler.failures().front().line, 7);
    EXPECT_EQ(handler.unrecognized().front().operation, "-[A c]");
}

} // namespace
} // namespace mox::test
