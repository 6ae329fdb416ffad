#include "ClientTest.hpp"

namespace mox::tool {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class CompletionTest : public ClientTest {
protected:
    /// What bash is offered in the place of the last of `words`, which it has taken apart already.
    std::vector<std::string> repliesTo(const std::vector<std::string>& words) const {
        const std::string program = MOXSUBSCRIBE_PROGRAM;
        std::vector<std::string> arguments{
            "/bin/bash", "-c",
            "source \"$1\"; shift; COMP_WORDS=(\"$@\") COMP_CWORD=$(($# - 1))\n"
            "COMP_LINE=${*} COMP_LINE=${COMP_LINE// = /=}\n"
            "COMP_LINE=${COMP_LINE// : /:} COMP_LINE=${COMP_LINE/% :/:}\n"
            "COMP_POINT=${#COMP_LINE}; _moxsubscribe\n"
            "printf '%s\\n' \"${COMPREPLY[@]}\"",
            "bash", MOXSUBSCRIBE_TOOL_FOLDER "/completion/moxsubscribe.bash"};
        arguments.insert(arguments.end(), words.begin(), words.end());
        const test::ProgramRun ended = test::runProgram(
            arguments, {"HOME=" + home(), "PATH=" + program.substr(0, program.rfind('/')) + ":/usr/bin:/bin",
                        "LC_ALL=C.UTF-8"});
        EXPECT_EQ(ended.status, 0);
        EXPECT_EQ(ended.errors, "");
        std::vector<std::string> replies;
        for (std::size_t begin = 0; begin < ended.output.size();) {
            const std::size_t end = ended.output.find('\n', begin);
            if (end > begin) replies.push_back(ended.output.substr(begin, end - begin));
            begin = end + 1;
        }
        return replies;
    }

    std::vector<std::string> pathsAt(const std::string& word) const {
        return repliesTo({"moxsubscribe", "--model", "dictionary", "show", word});
    }
};

TEST_F(CompletionTest, Commands_options_and_words_are_offered) {
    EXPECT_THAT(repliesTo({"moxsubscribe", "rename"}), ElementsAre("rename-folder"));
    EXPECT_THAT(repliesTo({"moxsubscribe", "import", "--ic"}), ElementsAre("--icons"));
    EXPECT_THAT(repliesTo({"moxsubscribe", "subscribe", "--type", "d"}), ElementsAre("desktop"));
    EXPECT_THAT(repliesTo({"moxsubscribe", "subscribe", "--description", "d"}), IsEmpty());
}

TEST_F(CompletionTest, A_value_may_follow_an_equals_sign) {
    subscribe("My Office", "Writer");
    EXPECT_THAT(repliesTo({"moxsubscribe", "--model", "=", "d"}), ElementsAre("dictionary"));
    EXPECT_THAT(repliesTo({"moxsubscribe", "--model", "=", "dictionary", "list", "My"}),
                ElementsAre("My\\ Office"));
    EXPECT_THAT(repliesTo({"moxsubscribe", "--model", "dictionary", "import", "--folder", "=", "My"}),
                ElementsAre("My\\ Office"));
}

TEST_F(CompletionTest, Paths_are_completed_behind_a_blank_a_colon_and_a_quote) {
    subscribe("My Office", "Work:Notes");
    EXPECT_THAT(pathsAt("My\\ Off"), ElementsAre("My\\ Office/Work:Notes"));
    EXPECT_THAT(pathsAt("\"My Off"), ElementsAre("My Office/Work:Notes"));
    EXPECT_THAT(pathsAt("'My Off"), ElementsAre("My Office/Work:Notes"));
    EXPECT_THAT(repliesTo({"moxsubscribe", "--model", "dictionary", "show", "My\\ Office/Work", ":", "No"}),
                ElementsAre("Notes"));
    EXPECT_THAT(repliesTo({"moxsubscribe", "--model", "dictionary", "show", "My\\ Office/Work", ":"}),
                ElementsAre("Notes"));
}

TEST_F(CompletionTest, What_a_name_holds_is_never_run_by_the_shell) {
    subscribe("F", "a$(b)`c`\"d\\e'f");
    EXPECT_THAT(pathsAt("F"), ElementsAre("F/a\\$\\(b\\)\\`c\\`\\\"d\\\\e\\'f"));
    EXPECT_THAT(pathsAt("\"F"), ElementsAre("F/a\\$(b)\\`c\\`\\\"d\\\\e'f"));
    EXPECT_THAT(pathsAt("'F"), ElementsAre("F/a$(b)`c`\"d\\e'\\''f"));
}

} // namespace
} // namespace mox::tool
