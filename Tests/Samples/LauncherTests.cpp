#include "Support/ProgramRun.hpp"
#include "Support/ScratchFolder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

#include "MOXLaunchAlias.hpp"

namespace mox {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

/// A stub in a scratch folder and, in another, programs that write down how they were called.
class LauncherTest : public testing::Test {
protected:
    LauncherTest() {
        copyTemplate("Korvan Viewer.app", stub());
        for (const char* folder : {"bin", "other"})
            ::mkdir(_scratch.path(folder).c_str(), 0700);
        addProgram("bin/xdg-open");
    }

    static void copyTemplate(const std::string& name, const std::string& to) {
        const test::ProgramRun copy = test::runProgram({"/bin/cp", "-R", MOX_TEMPLATES "/" + name, to}, {});
        if (copy.status != 0) throw std::runtime_error(copy.errors);
    }

    /// A program that writes each of its arguments, and a zero byte after it, to its own path and ".called".
    void addProgram(const std::string& name, const std::string& ending = "exit 0") {
        const std::string path =
            _scratch.write(name, "#!/bin/sh\nprintf '%s\\0' \"$@\" >\"$0.called\"\n" + ending + "\n");
        ::chmod(path.c_str(), 0755);
    }

    bool wasCalled(const std::string& name) const {
        return ::access((_scratch.path(name) + ".called").c_str(), F_OK) == 0;
    }

    std::vector<std::string> argumentsOf(const std::string& name) const {
        std::vector<std::string> arguments;
        std::string current;
        for (const char byte : test::bytesOfFile(_scratch.path(name) + ".called")) {
            if (byte != '\0') {
                current += byte;
            } else {
                arguments.push_back(std::move(current));
                current.clear();
            }
        }
        return arguments;
    }

    void setLaunchURL(const std::string& url) const {
        const auto alias = MOXLaunchAlias::launchAlias();
        alias->setLaunchURL(url);
        ASSERT_TRUE(alias->writeToBundleAtPath(stub(), true));
    }

    /// Changes the stub's information list, which is a dictionary in a file like a launch alias.
    void setInformation(const std::string& key, PropertyList value) const {
        const std::string path = stub() + "/Contents/Info.plist";
        PropertyList::Dictionary list = MOXLaunchAlias::launchAliasWithFile(path)->dictionaryRepresentation();
        list.set(key, std::move(value));
        ASSERT_TRUE(MOXLaunchAlias::launchAliasWithDictionary(list)->writeToFile(path, true));
    }

    test::ProgramRun launch(std::vector<std::string> documents = {}) const {
        return launchStub(stub(), std::move(documents), _scratch.path("bin"));
    }

    static test::ProgramRun launchStub(const std::string& path, std::vector<std::string> documents,
                                       const std::string& searchPath) {
        documents.insert(documents.begin(), path + "/Contents/MacOS/launcher");
        return test::runProgram(documents, {"PATH=" + searchPath, "LANG=C"});
    }

    void expectRefusal(const test::ProgramRun& ended, int status, const std::string& reason) const {
        EXPECT_EQ(ended.status, status);
        EXPECT_EQ(ended.output, "");
        EXPECT_TRUE(ended.errors.starts_with("launcher: ")) << ended.errors;
        EXPECT_THAT(ended.errors, HasSubstr(reason));
        EXPECT_EQ(ended.errors.find('\n'), ended.errors.size() - 1) << ended.errors;
        EXPECT_FALSE(wasCalled("bin/xdg-open"));
    }

    std::string stub() const { return _scratch.path("My $(x) \"Word\" é;.app"); }

    test::ScratchFolder _scratch;
};

TEST_F(LauncherTest, Hands_the_opener_the_launch_URL_as_its_one_argument) {
    setLaunchURL("https://apps.example.com/Start?app=Word 1&x=$(touch y);'\"*");
    const test::ProgramRun ended = launch();
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.errors, "");
    EXPECT_THAT(argumentsOf("bin/xdg-open"),
                ElementsAre("https://apps.example.com/Start?app=Word 1&x=$(touch y);'\"*"));
}

TEST_F(LauncherTest, Both_templates_launch) {
    const std::string other = _scratch.path("Other.app");
    copyTemplate("DockApplication.app", other);
    const auto alias = MOXLaunchAlias::launchAlias();
    alias->setLaunchURL("http://a/");
    ASSERT_TRUE(alias->writeToBundleAtPath(other, true));
    EXPECT_EQ(launchStub(other, {}, _scratch.path("bin")).status, 0);
    EXPECT_THAT(argumentsOf("bin/xdg-open"), ElementsAre("http://a/"));
}

TEST_F(LauncherTest, A_stub_that_is_called_through_a_link_reads_its_own_alias) {
    setLaunchURL("https://a/");
    const std::string link = _scratch.path("bin/link");
    ASSERT_EQ(::symlink((stub() + "/Contents/MacOS/launcher").c_str(), link.c_str()), 0);
    EXPECT_EQ(test::runProgram({link}, {"PATH=" + _scratch.path("bin")}).status, 0);
    EXPECT_THAT(argumentsOf("bin/xdg-open"), ElementsAre("https://a/"));
}

TEST_F(LauncherTest, Ends_as_the_opener_ends) {
    setLaunchURL("https://a/");
    addProgram("bin/xdg-open", "exit 4");
    EXPECT_EQ(launch().status, 4);
}

TEST_F(LauncherTest, A_template_itself_is_no_subscription) {
    expectRefusal(launch(), 65, "not a subscription");
}

TEST_F(LauncherTest, A_damaged_alias_is_none) {
    _scratch.write(stub().substr(_scratch.path().size() + 1) + "/Contents/Resources/Korvalias.plist",
                   "<plist>");
    expectRefusal(launch(), 65, "not a subscription");
}

TEST_F(LauncherTest, A_subscription_without_a_launch_URL_is_refused) {
    ASSERT_TRUE(MOXLaunchAlias::launchAlias()->writeToBundleAtPath(stub(), true));
    expectRefusal(launch(), 65, "no launch URL");
}

TEST_F(LauncherTest, Hostile_launch_URLs_are_refused_before_anything_runs) {
    for (const char* url : {"", "--version", "-x", "/usr/bin/true", "file:///etc/passwd", "FILE:/etc/passwd",
                            "data:text/html,x", "javascript:alert(1)", "JAVASCRIPT:x", "fleet:x", "x.desktop",
                            "https://a/\nfile:///b", "https://a/\x1b]0;x\x07", "https:", "smb://a/b"}) {
        setLaunchURL(url);
        SCOPED_TRACE(url);
        expectRefusal(launch(), 65, "The launch URL ");
    }
}

TEST_F(LauncherTest, A_scheme_that_the_information_list_allows_is_opened) {
    setLaunchURL("Fleet:start/Word");
    setInformation("KVLaunchURLSchemes", PropertyList::Array{PropertyList::integer(1), "fleet"});
    EXPECT_EQ(launch().status, 0);
    EXPECT_THAT(argumentsOf("bin/xdg-open"), ElementsAre("Fleet:start/Word"));
}

TEST_F(LauncherTest, The_information_list_cannot_allow_files_data_or_scripts) {
    setInformation("KVLaunchURLSchemes", PropertyList::Array{"file", "data", "javascript", "FILE"});
    for (const char* url : {"file:///etc/passwd", "data:,x", "javascript:x"}) {
        setLaunchURL(url);
        SCOPED_TRACE(url);
        expectRefusal(launch(), 65, "scheme that is not allowed");
    }
}

TEST_F(LauncherTest, A_list_of_schemes_of_the_wrong_type_allows_none) {
    setLaunchURL("fleet:x");
    setInformation("KVLaunchURLSchemes", "fleet");
    expectRefusal(launch(), 65, "scheme that is not allowed: fleet");
}

TEST_F(LauncherTest, Addresses_of_the_web_are_opened_even_when_the_information_list_cannot_be_read) {
    setLaunchURL("https://a/");
    ASSERT_EQ(::unlink((stub() + "/Contents/Info.plist").c_str()), 0);
    EXPECT_EQ(launch().status, 0);
    EXPECT_THAT(argumentsOf("bin/xdg-open"), ElementsAre("https://a/"));
}

TEST_F(LauncherTest, Documents_are_refused_when_no_client_program_is_named) {
    setLaunchURL("https://a/");
    expectRefusal(launch({"/tmp/a.txt"}), 64, "cannot open documents");
    setInformation("KVClientProgram", PropertyList::integer(1));
    expectRefusal(launch({"/tmp/a.txt"}), 64, "cannot open documents");
}

TEST_F(LauncherTest, The_client_program_gets_the_URL_and_the_documents_and_none_looks_like_an_option) {
    setLaunchURL("https://a/");
    setInformation("KVClientProgram", "fleet-client");
    addProgram("bin/fleet-client", "exit 7");
    EXPECT_EQ(launch({"/tmp/a b.txt", "-rf", "c;d"}).status, 7);
    char folder[4096];
    ASSERT_NE(::getcwd(folder, sizeof folder), nullptr);
    EXPECT_THAT(argumentsOf("bin/fleet-client"),
                ElementsAre("https://a/", "/tmp/a b.txt", std::string(folder) + "/-rf",
                            std::string(folder) + "/c;d"));
    EXPECT_FALSE(wasCalled("bin/xdg-open"));
}

TEST_F(LauncherTest, A_client_program_may_be_named_by_its_absolute_path) {
    setLaunchURL("https://a/");
    addProgram("other/client");
    setInformation("KVClientProgram", _scratch.path("other/client"));
    EXPECT_EQ(launch({"/x"}).status, 0);
    EXPECT_THAT(argumentsOf("other/client"), ElementsAre("https://a/", "/x"));
}

TEST_F(LauncherTest, A_client_program_that_is_missing_or_named_by_a_relative_path_is_refused) {
    setLaunchURL("https://a/");
    for (const char* name : {"missing", "./missing", "bin/xdg-open", "/missing/program"}) {
        setInformation("KVClientProgram", name);
        SCOPED_TRACE(name);
        expectRefusal(launch({"/x"}), 69, "was not found");
    }
}

TEST_F(LauncherTest, Without_documents_the_client_program_is_not_asked) {
    setLaunchURL("https://a/");
    setInformation("KVClientProgram", "missing");
    EXPECT_EQ(launch().status, 0);
    EXPECT_TRUE(wasCalled("bin/xdg-open"));
}

TEST_F(LauncherTest, A_hostile_URL_does_not_reach_the_client_program) {
    setLaunchURL("--config=/tmp/x");
    setInformation("KVClientProgram", "fleet-client");
    addProgram("bin/fleet-client");
    expectRefusal(launch({"/x"}), 65, "not an absolute URL");
    EXPECT_FALSE(wasCalled("bin/fleet-client"));
}

TEST_F(LauncherTest, A_document_without_a_name_is_refused) {
    setLaunchURL("https://a/");
    setInformation("KVClientProgram", "fleet-client");
    addProgram("bin/fleet-client");
    expectRefusal(launch({""}), 64, "without a name");
    EXPECT_FALSE(wasCalled("bin/fleet-client"));
}

TEST_F(LauncherTest, An_opener_that_is_not_there_is_told) {
    setLaunchURL("https://a/");
    expectRefusal(launchStub(stub(), {}, _scratch.path("other")), 69, "xdg-open was not found");
}

TEST_F(LauncherTest, An_opener_in_a_relative_folder_of_the_search_path_does_not_count) {
    setLaunchURL("https://a/");
    addProgram("other/xdg-open");
    const std::string command = "cd \"$1\" && PATH=:.:bin:other exec \"$2\"";
    const test::ProgramRun ended = test::runProgram(
        {"/bin/sh", "-c", command, "sh", _scratch.path("other"), stub() + "/Contents/MacOS/launcher"}, {});
    expectRefusal(ended, 69, "xdg-open was not found");
    EXPECT_FALSE(wasCalled("other/xdg-open"));
}

TEST_F(LauncherTest, Files_that_cannot_be_executed_are_passed_over_in_the_search) {
    setLaunchURL("https://a/");
    _scratch.write("other/xdg-open", "");
    EXPECT_EQ(launchStub(stub(), {}, _scratch.path("other") + ":" + _scratch.path("bin")).status, 0);
    EXPECT_TRUE(wasCalled("bin/xdg-open"));
}

TEST_F(LauncherTest, An_opener_that_the_system_cannot_start_is_told) {
    setLaunchURL("https://a/");
    ::chmod(_scratch.write("bin/xdg-open", "#!/missing/interpreter\n").c_str(), 0755);
    expectRefusal(launch(), 71, "could not be started: No such file or directory");
}

TEST_F(LauncherTest, A_refusal_is_shown_on_the_desktop_when_there_is_no_terminal) {
    addProgram("bin/notify-send");
    setInformation("CFBundleName", "--help\x1b[2J");
    setLaunchURL("file:///x");
    expectRefusal(launch(), 65, "scheme");
    EXPECT_THAT(argumentsOf("bin/notify-send"),
                ElementsAre("--", "--help\x1b[2J", "The launch URL has a scheme that is not allowed: file."));
}

TEST_F(LauncherTest, A_notification_that_fails_changes_nothing) {
    addProgram("bin/notify-send", "echo noise >&2; exit 1");
    setLaunchURL("file:///x");
    expectRefusal(launch(), 65, "scheme");
}

} // namespace
} // namespace mox
