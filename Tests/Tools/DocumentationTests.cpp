#include "Support/ScratchFolder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "CommandLine.hpp"

namespace mox::tool {
namespace {

using testing::HasSubstr;

std::string documentation(const std::string& name) {
    return test::bytesOfFile(MOXSUBSCRIBE_TOOL_FOLDER "/" + name);
}

/// What stands in `text` from `begin` up to the next `end`; fails the test when `begin` is missing.
std::string partOf(const std::string& text, const std::string& begin, const std::string& end) {
    const std::size_t start = text.find(begin);
    EXPECT_NE(start, std::string::npos) << begin;
    if (start == std::string::npos) return "";
    return text.substr(start, text.find(end, start + begin.size()) - start);
}

std::string withEscapedHyphens(const std::string& text) {
    std::string result;
    for (const char character : text)
        result += character == '-' ? std::string("\\-") : std::string(1, character);
    return result;
}

/// The long names of the options that `command` adds to what every command has, as "--name".
std::vector<std::string> optionsOf(const CLI::App& command) {
    std::vector<std::string> names;
    for (const CLI::Option* option : command.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            if (name != "help") names.push_back("--" + name);
        }
    }
    return names;
}

class DocumentationTest : public testing::Test {
protected:
    std::vector<const CLI::App*> commands() const {
        const CLI::App& program = *_program;
        std::vector<const CLI::App*> all = program.get_subcommands([](const CLI::App*) { return true; });
        EXPECT_GE(all.size(), 15U);
        return all;
    }

    Request _request;
    std::unique_ptr<CLI::App> _program = makeCommandLine(_request);
};

TEST_F(DocumentationTest, The_manual_page_names_each_option_in_its_command) {
    const std::string page = documentation("moxsubscribe.1");
    for (const CLI::App* command : commands()) {
        const std::string section =
            partOf(page, "\n.SS " + withEscapedHyphens(command->get_name()) + "\n", "\n.S");
        for (const std::string& option : optionsOf(*command)) {
            EXPECT_THAT(section, HasSubstr(withEscapedHyphens(option))) << command->get_name();
        }
    }
    for (const std::string& option : optionsOf(*_program))
        EXPECT_THAT(page, HasSubstr(withEscapedHyphens(option)));
}

TEST_F(DocumentationTest, The_completion_for_bash_names_each_option_in_its_command) {
    const std::string script = documentation("completion/moxsubscribe.bash");
    const std::string names = partOf(script, "local commands=\"", "\"\n") + "\n";
    for (const CLI::App* command : commands()) {
        EXPECT_THAT(names, testing::ContainsRegex("[ \"]" + command->get_name() + "[ \n]"));
        const std::string options = partOf(script, "\n        " + command->get_name() + ") options=", ";;");
        for (const std::string& option : optionsOf(*command)) {
            EXPECT_THAT(options, testing::ContainsRegex("[ \"]" + option + "[ \"\n]")) << command->get_name();
        }
    }
    for (const std::string& option : optionsOf(*_program))
        EXPECT_THAT(script, HasSubstr(option));
}

TEST_F(DocumentationTest, The_completion_for_zsh_names_each_option_in_its_command) {
    const std::string script = documentation("completion/_moxsubscribe");
    for (const CLI::App* command : commands()) {
        EXPECT_THAT(script, HasSubstr("\n        '" + command->get_name() + ":"));
        const std::string options = partOf(script, "\n        " + command->get_name() + ") _arguments", ";;");
        for (const std::string& option : optionsOf(*command)) {
            EXPECT_THAT(options, HasSubstr(option + "[")) << command->get_name();
        }
    }
    for (const std::string& option : optionsOf(*_program))
        EXPECT_THAT(script, HasSubstr(option));
}

TEST_F(DocumentationTest, Every_command_has_a_description_and_each_of_its_options_too) {
    for (const CLI::App* command : commands()) {
        EXPECT_NE(command->get_description(), "") << command->get_name();
        EXPECT_NE(command->get_footer(), "") << command->get_name();
        for (const CLI::Option* option : command->get_options()) {
            EXPECT_NE(option->get_description(), "") << command->get_name() << " " << option->get_name();
        }
    }
}

} // namespace
} // namespace mox::tool
