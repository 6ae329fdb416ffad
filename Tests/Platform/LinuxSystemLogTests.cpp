#include "Platform/Linux/LinuxSystemLog.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

namespace mox {
namespace {

using namespace std::string_literals;

TEST(EscapedForLog, Leaves_plain_text_of_any_script_as_it_is) {
    for (const std::string text :
         {"", "plain", "-[A b:] c (/d/é/日本/🙂)", "back\\slash", "%s%n%d", "a\u00A0b"}) {
        EXPECT_EQ(escapedForLog(text), text);
    }
}

TEST(EscapedForLog, Keeps_a_message_on_one_line) {
    EXPECT_EQ(escapedForLog("a\nb\r\nc"), "a\\nb\\r\\nc");
    EXPECT_EQ(escapedForLog("a\u2028b\u2029c\u0085d"), "a\\u{2028}b\\u{2029}c\\u{85}d");
}

TEST(EscapedForLog, Takes_the_effect_of_control_characters) {
    EXPECT_EQ(escapedForLog("\x1b[31mred\x7f\t\b"), "\\x1B[31mred\\x7F\\t\\x08");
    EXPECT_EQ(escapedForLog("a\0b"s), "a\\x00b");
    EXPECT_EQ(escapedForLog("\u009b31m"), "\\u{9B}31m");
    EXPECT_EQ(escapedForLog("\u202Etxt.exe\u2066"), "\\u{202E}txt.exe\\u{2066}");
}

TEST(EscapedForLog, Repairs_what_is_no_UTF_8) {
    EXPECT_EQ(escapedForLog("a\x9b\xff\xc3"), "a\uFFFD\uFFFD\uFFFD");
}

TEST(LinuxSystemLog, Takes_a_message_as_text_not_as_a_format) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        // With this option the line goes to standard error too, whether or not a log service runs.
        ::dup2(ends[1], STDERR_FILENO);
        ::openlog("host", LOG_PERROR, LOG_USER);
        LinuxSystemLog().log("100%n %s\nnext");
        ::_exit(0);
    }
    ::close(ends[1]);
    std::string line;
    char buffer[256];
    for (ssize_t count = 0; (count = ::read(ends[0], buffer, sizeof buffer)) > 0;) {
        line.append(buffer, static_cast<std::size_t>(count));
    }
    ::close(ends[0]);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(line, "host: 100%n %s\\nnext\n");
}

} // namespace
} // namespace mox
