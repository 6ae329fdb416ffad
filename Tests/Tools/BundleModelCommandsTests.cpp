#include "Support/FolderInspection.hpp"

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "ClientTest.hpp"

namespace mox::tool {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

/// Runs the built program on the bundle model, which is the one without an option.
class BundleClientTest : public ClientTest {
protected:
    std::string outputOfBundle(const std::vector<std::string>& arguments) const {
        const test::ProgramRun ended = runBare(arguments);
        EXPECT_EQ(ended.status, 0) << ended.errors;
        return ended.output;
    }

    nlohmann::json jsonOfBundle(std::vector<std::string> arguments) const {
        arguments.emplace_back("--json");
        return nlohmann::json::parse(runBare(arguments).output);
    }

    /// Subscribes below `folder`, in the applications folder itself when it is empty.
    void subscribeStub(const std::string& folder, const std::string& name,
                       std::vector<std::string> more = {}) const {
        std::vector<std::string> arguments{"subscribe",
                                           "--resource",
                                           "Fleet:" + name,
                                           "--type",
                                           "application",
                                           "--file-name",
                                           name,
                                           "--store",
                                           "Fleet",
                                           "--internal-url",
                                           "https://apps.example.com/"};
        if (!folder.empty()) arguments.insert(arguments.end(), {"--folder", folder});
        arguments.insert(arguments.end(), more.begin(), more.end());
        outputOfBundle(arguments);
    }

    std::vector<std::string> stubs() const { return jsonOfBundle({"list", "--recursive"}); }

    void replaceInFile(const std::string& path, const std::string& from, const std::string& to) const {
        std::string text = test::bytesOfFile(path);
        const std::size_t found = text.find(from);
        ASSERT_NE(found, std::string::npos) << path;
        text.replace(found, from.size(), to);
        _home.write(path.substr(home().size() + 1), text);
    }

    /// Gives the stub a version that is older than every template's.
    void makeStale(const std::string& stub) const {
        const std::string path = inApplications(stub) + "/Contents/Info.plist";
        const std::string text = test::bytesOfFile(path);
        const std::size_t key = text.find("<key>KorvanVersionString</key>");
        ASSERT_NE(key, std::string::npos);
        const std::size_t begin = text.find("<string>", key);
        const std::size_t end = text.find("</string>", begin);
        replaceInFile(path, text.substr(key, end - key), text.substr(key, begin - key) + "<string>0.1");
    }

    bool exists(const std::string& path) const {
        struct stat attributes {};
        return lstat(path.c_str(), &attributes) == 0;
    }

    std::vector<std::string> trashed() const {
        const std::string folder = home() + "/.local/share/Trash/files";
        return exists(folder) ? test::namesIn(folder) : std::vector<std::string>();
    }
};

TEST_F(BundleClientTest, A_subscription_is_a_stub_whose_name_gets_the_extension_that_makes_it_one) {
    subscribeStub("Office", "Writer");
    subscribeStub("Office", "Painter.APP");
    EXPECT_THAT(stubs(), UnorderedElementsAre(inApplications("Office/Writer.app"),
                                              inApplications("Office/Painter.APP")));
    EXPECT_TRUE(exists(inApplications("Office/Writer.app/Contents/Resources/Korvalias.plist")));
    EXPECT_FALSE(exists(storeFile()));
    EXPECT_EQ(runBare({"check", "Office/Writer.app"}).status, 0);
    expectFailure(runBare({"check", "Office"}), 1, "not a subscription");
}

TEST_F(BundleClientTest, Subscribing_again_with_the_same_type_refreshes_and_with_the_other_fails) {
    subscribeStub("Office", "Writer");
    subscribeStub("Office", "Writer", {"--description", "Letters"});
    EXPECT_EQ(jsonOfBundle({"show", "Office/Writer.app"})["description"], "Letters");
    const test::ProgramRun ended =
        runBare({"subscribe", "--resource", "R", "--type", "desktop", "--file-name", "Writer", "--folder",
                 "Office", "--internal-url", "https://apps.example.com/"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.errors, HasSubstr("com.korvan.MOXSubscribe.ErrorDomain 2004"));
}

TEST_F(BundleClientTest, Show_tells_every_property_its_version_and_whether_an_update_is_due) {
    subscribeStub("Office", "Writer",
                  {"--icon", MOXSUBSCRIBE_SAMPLES "/Icons/notepad_128x128.png", "--file-type",
                   "Text:.txt,.text:Text document", "--launch-url", "https://apps.example.com/writer"});
    const nlohmann::json before = jsonOfBundle({"show", "Office/Writer.app"});
    EXPECT_EQ(before["resource"], "Fleet:Writer");
    EXPECT_EQ(before["launch-url"], "https://apps.example.com/writer");
    EXPECT_EQ(before["icon"], nlohmann::json::array({"128x128"}));
    EXPECT_EQ(before["file-types"][0]["group"], "Text");
    EXPECT_EQ(before["file-types"][0]["extensions"], nlohmann::json::array({".txt", ".text"}));
    EXPECT_EQ(before["update-due"], false);
    EXPECT_NE(before["version"], "");
    makeStale("Office/Writer.app");
    const nlohmann::json after = jsonOfBundle({"show", "Office/Writer.app"});
    EXPECT_EQ(after["update-due"], true);
    EXPECT_EQ(after["version"], "0.1.0.0");
}

TEST_F(BundleClientTest, What_is_not_there_and_what_is_no_stub_are_told_apart) {
    subscribeStub("Office", "Writer");
    expectFailure(runBare({"show", "Office/Nothing.app"}), 1, "com.korvan.MOXSubscribe.ErrorDomain 2008");
    expectFailure(runBare({"show", "Office"}), 1, "com.korvan.MOXSubscribe.ErrorDomain 2009");
}

TEST_F(BundleClientTest, Moving_renaming_and_removing_change_the_disk) {
    subscribeStub("Office", "Writer");
    outputOfBundle({"create-folder", "Archive/Old"});
    outputOfBundle({"move", "Office/Writer.app", "Archive/Old/Letters.app"});
    EXPECT_THAT(stubs(), ElementsAre(inApplications("Archive/Old/Letters.app")));
    outputOfBundle({"rename-folder", "Archive/Old", "Archive/2026"});
    EXPECT_THAT(stubs(), ElementsAre(inApplications("Archive/2026/Letters.app")));
    outputOfBundle({"remove", "Archive/2026/Letters.app"});
    EXPECT_THAT(stubs(), IsEmpty());
    EXPECT_FALSE(exists(inApplications("Archive/2026/Letters.app")));
    EXPECT_THAT(trashed(), IsEmpty());
    outputOfBundle({"remove-folder", "Archive/2026", "--only-if-empty"});
    EXPECT_FALSE(exists(inApplications("Archive/2026")));
}

TEST_F(BundleClientTest, Nothing_is_replaced_by_a_move_or_a_rename) {
    subscribeStub("Office", "Writer");
    subscribeStub("Office", "Painter");
    expectFailure(runBare({"move", "Office/Writer.app", "Office/Painter.app"}), 1, "NSCocoaErrorDomain 516");
    outputOfBundle({"create-folder", "Archive"});
    expectFailure(runBare({"rename-folder", "Office", "Archive"}), 1, "NSCocoaErrorDomain 516");
    EXPECT_EQ(stubs().size(), 2U);
}

TEST_F(BundleClientTest, A_folder_that_holds_anything_is_kept_when_only_an_empty_one_is_to_go) {
    subscribeStub("Office", "Writer");
    expectFailure(runBare({"remove-folder", "Office", "--only-if-empty"}), 1, "it is not empty");
    EXPECT_EQ(stubs().size(), 1U);
    outputOfBundle({"remove-folder", "Office"});
    EXPECT_FALSE(exists(inApplications("Office")));
}

TEST_F(BundleClientTest, Commands_for_stubs_leave_folders_alone_and_commands_for_folders_stubs) {
    subscribeStub("Office", "Writer");
    expectFailure(runBare({"remove", "Office"}), 1, "not a subscription");
    expectFailure(runBare({"move", "Office", "Elsewhere"}), 1, "not a subscription");
    expectFailure(runBare({"remove-folder", "Office/Writer.app"}), 1, "a subscription, not a folder");
    expectFailure(runBare({"rename-folder", "Office/Writer.app", "Office/W.app"}), 1,
                  "a subscription, not a folder");
    ASSERT_EQ(symlink(home().c_str(), (home() + "/link").c_str()), 0);
    for (const std::string& path : {inApplications(""), home(), std::string("/"), std::string("Office/.."),
                                    std::string("../Applications"), home() + "/link/Applications"})
        expectFailure(runBare({"remove-folder", path}), 1, "are left alone");
    EXPECT_THAT(stubs(), ElementsAre(inApplications("Office/Writer.app")));
}

TEST_F(BundleClientTest, Folders_without_stubs_can_be_listed_and_missing_ones_not) {
    outputOfBundle({"create-folder", "Empty"});
    EXPECT_EQ(outputOfBundle({"list", "Empty"}), "");
    expectFailure(runBare({"list", "Missing"}), 1, "no such folder");
    EXPECT_THAT(jsonOfBundle({"folders"}), ElementsAre(home() + "/Applications"));
}

TEST_F(BundleClientTest, A_query_makes_nothing_on_the_disk) {
    outputOfBundle({"list"});
    EXPECT_THAT(test::namesIn(home()), IsEmpty());
}

TEST_F(BundleClientTest, Import_makes_a_stub_for_each_resource_with_progress_and_a_summary) {
    const test::ProgramRun ended = runBare(
        {"import", MOXSUBSCRIBE_SAMPLES "/Feeds/larkfield-1.1.xml", "--icons", MOXSUBSCRIBE_SAMPLES "/Icons",
         "--folder", "Larkfield", "--url", "https://apps.larkfield.example.com/feed/workspace.xml"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(ended.errors, HasSubstr("1/"));
    EXPECT_THAT(ended.output, HasSubstr(" imported, "));
    ASSERT_THAT(stubs(), testing::Not(IsEmpty()));
    for (const std::string& stub : stubs()) {
        EXPECT_THAT(stub, EndsWith(".app"));
        EXPECT_NE(jsonOfBundle({"show", stub})["launch-url"], "");
    }
}

TEST_F(BundleClientTest, Remove_all_tells_what_was_removed_how_many_and_what_could_not_be_deleted) {
    subscribeStub("Office", "Writer");
    outputOfBundle({"subscribe", "--resource", "Fleet:Writer", "--type", "application", "--file-name", "W2",
                    "--store", "Fleet", "--internal-url", "https://apps.example.com/"});
    subscribeStub("Office", "Painter");
    const test::ProgramRun ended = runBare({"remove-all", "--resource", "Fleet:Writer", "--store", "Fleet"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(ended.errors, HasSubstr("removed"));
    EXPECT_THAT(ended.output, HasSubstr(inApplications("Office/Writer.app") + "\n"));
    EXPECT_THAT(ended.output, EndsWith("2 removed, 0 failed\n"));
    EXPECT_THAT(stubs(), ElementsAre(inApplications("Office/Painter.app")));
    EXPECT_THAT(runBare({"remove-all", "--resource", "fleet:painter", "--store", "Fleet"}).output,
                EndsWith("0 removed, 0 failed\n"));
}

TEST_F(BundleClientTest, Upgrade_makes_stale_stubs_anew_and_leaves_current_ones) {
    subscribeStub("Office", "Writer", {"--description", "Letters"});
    subscribeStub("Office", "Painter");
    makeStale("Office/Writer.app");
    const nlohmann::json results = jsonOfBundle({"upgrade"});
    ASSERT_EQ(results.size(), 2U);
    for (const nlohmann::json& each : results) {
        const bool wasStale = each["path"] == inApplications("Office/Writer.app");
        EXPECT_EQ(each["result"], wasStale ? "upgraded" : "current");
        if (wasStale) {
            EXPECT_EQ(each["old-version"], "0.1.0.0");
        }
    }
    const nlohmann::json shown = jsonOfBundle({"show", "Office/Writer.app"});
    EXPECT_EQ(shown["update-due"], false);
    EXPECT_EQ(shown["description"], "Letters");
    EXPECT_THAT(trashed(), ElementsAre("Writer.app"));
    EXPECT_THAT(outputOfBundle({"upgrade", "Office/Painter.app"}),
                EndsWith("0 upgraded, 1 current, 0 failed\n"));
}

TEST_F(BundleClientTest, A_stub_that_cannot_be_upgraded_stays_and_the_rest_goes_on) {
    subscribeStub("", "Good");
    subscribeStub("", "Bad");
    for (const char* name : {"Good.app", "Bad.app"})
        makeStale(name);
    const std::string alias = inApplications("Bad.app/Contents/Resources/Korvalias.plist");
    replaceInFile(alias, "<key>Store Name</key>", "<key>Korvan Server</key>");
    replaceInFile(alias, "<key>Internal Store URL</key>", "<key>Other</key>");
    const std::string before = test::bytesOfFile(alias);
    const test::ProgramRun ended = runBare({"upgrade"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.output, EndsWith("1 upgraded, 0 current, 1 failed\n"));
    EXPECT_THAT(ended.output, HasSubstr("com.korvan.MOXSubscribe.ErrorDomain 2010"));
    EXPECT_EQ(test::bytesOfFile(alias), before);
    // Its server's name is all that is known of its store; with the store's name it can be mended.
    EXPECT_EQ(runBare({"upgrade", "--store-name", "Fleet=Fleet store"}).status, 0);
    const nlohmann::json shown = jsonOfBundle({"show", "Bad.app"});
    EXPECT_EQ(shown["store"], "Fleet store");
    EXPECT_EQ(shown["internal-url"], "Fleet");
    EXPECT_EQ(shown["server"], nullptr);
}

TEST_F(BundleClientTest, A_store_name_needs_a_server_and_a_name) {
    for (const char* text : {"Fleet", "=Fleet", "Fleet="})
        expectFailure(runBare({"upgrade", "--store-name", text}), 2, "SERVER=NAME");
}

/// `open` with a desktop whose opener writes down what it is given.
class OpeningStubs : public BundleClientTest {
protected:
    void SetUp() override {
        ASSERT_EQ(mkdir((home() + "/bin").c_str(), 0755), 0);
        const std::string opener =
            _home.write("bin/xdg-open", "#!/bin/sh\nprintf '%s\\n' \"$@\" >\"$HOME/opened\"\n");
        ASSERT_EQ(chmod(opener.c_str(), 0755), 0);
    }

    test::ProgramRun open(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {MOXSUBSCRIBE_PROGRAM, "open"});
        return test::runProgram(arguments,
                                {"HOME=" + home(), "LANG=C", "PATH=" + home() + "/bin:/usr/bin:/bin"});
    }
};

TEST_F(OpeningStubs, Open_hands_the_launch_address_of_the_stub_to_the_desktop) {
    subscribeStub("", "Writer", {"--launch-url", "https://apps.example.com/writer?a=1&b=2"});
    EXPECT_EQ(open({"Writer.app"}).status, 0);
    EXPECT_EQ(test::bytesOfFile(home() + "/opened"), "https://apps.example.com/writer?a=1&b=2\n");
}

TEST_F(OpeningStubs, Open_fails_when_the_stub_refuses_and_when_there_is_none) {
    subscribeStub("", "Writer", {"--launch-url", "file:///etc/passwd"});
    const test::ProgramRun refused = open({"Writer.app"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.errors, HasSubstr("its program ended with status"));
    expectFailure(open({"Nothing.app"}), 1, "2008");
    EXPECT_FALSE(exists(home() + "/opened"));
}

/// The program, running beside the test.
class RunningClient : public BundleClientTest {
protected:
    void start(std::vector<std::string> command) {
        int outputs[2];
        int errors[2];
        ASSERT_EQ(pipe2(outputs, O_CLOEXEC), 0);
        ASSERT_EQ(pipe2(errors, O_CLOEXEC), 0);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, outputs[1], STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions, errors[1], STDERR_FILENO);
        // So few that a program which nobody reads from soon waits.
        fcntl(errors[1], F_SETPIPE_SZ, 4096);
        std::string program = MOXSUBSCRIBE_PROGRAM;
        std::string homeVariable = "HOME=" + home();
        std::vector<char*> arguments{program.data()};
        for (std::string& argument : command)
            arguments.push_back(argument.data());
        arguments.push_back(nullptr);
        char* environment[] = {homeVariable.data(), nullptr};
        ASSERT_EQ(posix_spawn(&_process, program.c_str(), &actions, nullptr, arguments.data(), environment),
                  0);
        posix_spawn_file_actions_destroy(&actions);
        close(outputs[1]);
        close(errors[1]);
        _output = outputs[0];
        _errors = errors[0];
    }

    void TearDown() override {
        if (_process > 0) kill(_process, SIGKILL);
        if (_process > 0) waitpid(_process, nullptr, 0);
        close(_output);
        close(_errors);
    }

    /// The next line; "" when none comes within the time that a hanging program is given.
    static std::string lineFrom(int descriptor) {
        constexpr int patience = 60'000;
        std::string line;
        char byte = 0;
        pollfd waiting{descriptor, POLLIN, 0};
        while (poll(&waiting, 1, patience) == 1 && read(descriptor, &byte, 1) == 1 && byte != '\n')
            line += byte;
        return line;
    }

    int statusAfter(int signal) {
        kill(_process, signal);
        return statusAtEnd();
    }

    /// The exit status; less than 0 is the signal that ended the program.
    int statusAtEnd() {
        int status = 0;
        waitpid(_process, &status, 0);
        _process = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    pid_t _process = -1;
    int _output = -1;
    int _errors = -1;
};

TEST_F(RunningClient, Watch_prints_what_appears_and_disappears_until_it_is_interrupted) {
    subscribeStub("", "Old");
    start({"watch"});
    EXPECT_THAT(lineFrom(_errors), HasSubstr("watching " + home() + "/Applications, 1 subscriptions"));
    outputOfBundle({"remove", "Old.app"});
    EXPECT_EQ(lineFrom(_output), "- " + inApplications("Old.app"));
    subscribeStub("Office", "Writer");
    // The folder and its stub may come in one batch or in two, the folder never later.
    const std::string first = lineFrom(_output);
    const std::string second = lineFrom(_output);
    EXPECT_THAT((std::vector<std::string>{first, second}),
                ElementsAre("+ " + inApplications("Office/"), "+ " + inApplications("Office/Writer.app")));
    EXPECT_EQ(statusAfter(SIGINT), 0);
}

TEST_F(RunningClient, An_import_that_is_interrupted_finishes_the_stub_that_it_is_at_and_tells_what_it_did) {
    constexpr std::size_t count = 200;
    std::string feed = "<ResourceCollection><Publisher Name='Fleet'><Resources>";
    for (std::size_t index = 0; index < count; ++index)
        feed += "<Resource Title='Writer " + std::to_string(index) + "' Type='RemoteApp'/>";
    feed += "</Resources></Publisher></ResourceCollection>";
    start({"import", _home.write("feed.xml", feed)});
    // By now it is in the middle of its work, and waits until somebody reads its progress.
    EXPECT_THAT(lineFrom(_errors), HasSubstr("[1/200]"));
    kill(_process, SIGINT);
    while (!lineFrom(_errors).empty()) {
    }
    const std::string summary = lineFrom(_output);
    EXPECT_EQ(statusAtEnd(), -SIGINT);
    const std::vector<std::string> made = stubs();
    EXPECT_LT(made.size(), count);
    EXPECT_EQ(summary, std::to_string(made.size()) + " imported, 0 skipped");
    EXPECT_EQ(test::namesIn(inApplications("")).size(), made.size());
    EXPECT_EQ(runBare({"import", home() + "/feed.xml"}).status, 0);
    EXPECT_EQ(stubs().size(), count);
}

} // namespace
} // namespace mox::tool
