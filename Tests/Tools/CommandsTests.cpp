#include <sys/stat.h>

#include "ClientTest.hpp"

namespace mox::tool {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST_F(ClientTest, A_subscription_is_shown_with_every_property) {
    outputOf({"subscribe",
              "--resource",
              "Fleet:Writer",
              "--type",
              "application",
              "--file-name",
              "Writer",
              "--folder",
              "Office/Text",
              "--store",
              "Fleet",
              "--internal-url",
              "https://in/",
              "--external-url",
              "https://out/",
              "--gateway",
              "enterprise",
              "--auth",
              "domainandrsa",
              "--icon",
              MOXSUBSCRIBE_SAMPLES "/Icons/mail_32x32.png",
              "--description",
              "Writes",
              "--launch-url",
              "https://in/w.rdp",
              "--publisher",
              "P",
              "--content-address",
              "C",
              "--file-type",
              "Text:.odt,.txt:Text document",
              "--file-type",
              "Note:.md"});
    const nlohmann::json shown = jsonOf({"show", "Office/Text/Writer"});
    EXPECT_EQ(shown, nlohmann::json::parse(R"({"path":")" + inApplications("Office/Text/Writer") + R"(",
        "resource":"Fleet:Writer","type":"application","store":"Fleet","internal-url":"https://in/",
        "external-url":"https://out/","gateway":"enterprise","auth":"domainandrsa","description":"Writes",
        "launch-url":"https://in/w.rdp","publisher":"P","content-address":"C","seamless-name":"P#Writer",
        "server":null,"icon":["32x32"],"file-types":null,"schema-version":1,"version":null,"update-due":false})"));
    const std::string text = outputOf({"show", "Office/Text/Writer/"});
    EXPECT_THAT(text, HasSubstr("seamless-name:   P#Writer\n"));
    EXPECT_THAT(text, HasSubstr("server:          -\n"));
    EXPECT_THAT(text, HasSubstr("update-due:      no\n"));
}

TEST_F(ClientTest, A_subscription_needs_no_more_than_a_name_a_type_and_a_url) {
    outputOf(
        {"subscribe", "--resource", "R", "--type", "desktop", "--file-name", "D", "--external-url", "u"});
    const nlohmann::json shown = jsonOf({"show", "D"});
    EXPECT_EQ(shown["type"], "desktop");
    EXPECT_EQ(shown["gateway"], "none");
    EXPECT_EQ(shown["auth"], "none");
    EXPECT_EQ(shown["store"], nullptr);
    EXPECT_EQ(shown["icon"], nullptr);
}

TEST_F(ClientTest, Lists_tell_a_folder_and_with_recursive_those_below) {
    subscribe(inApplications(""), "A");
    subscribe("Office", "B");
    subscribe("Office/Old", "C");
    EXPECT_EQ(outputOf({"list"}), inApplications("A\n"));
    EXPECT_EQ(outputOf({"list", "Office/"}), inApplications("Office/B\n"));
    EXPECT_EQ(outputOf({"list", "Office", "--recursive"}),
              inApplications("Office/B\n") + inApplications("Office/Old/C\n"));
    EXPECT_THAT(allPaths(),
                ElementsAre(inApplications("A"), inApplications("Office/B"), inApplications("Office/Old/C")));
    EXPECT_EQ(outputOf({"list", "/"}), "");
    expectFailure(run({"list", "Offic"}), 1, "list " + inApplications("Offic") + ": no such folder");
}

TEST_F(ClientTest, In_a_new_home_the_applications_folder_is_empty_and_known) {
    EXPECT_EQ(outputOf({"list"}), "");
    EXPECT_EQ(jsonOf({"list"}), nlohmann::json::array());
    EXPECT_THAT(outputOf({"folders"}), testing::StartsWith("/\n"));
    EXPECT_THAT(outputOf({"folders"}), testing::EndsWith("\n" + home() + "/Applications\n"));
}

TEST_F(ClientTest, Check_tells_by_its_status) {
    subscribe("Office", "Writer");
    EXPECT_EQ(outputOf({"check", "Office/Writer"}), "");
    expectFailure(run({"check", "Office"}), 1, "check " + inApplications("Office") + ": not a subscription");
    expectFailure(run({"check", ""}), 1, "not a subscription");
}

TEST_F(ClientTest, A_missing_subscription_is_error_2008_with_its_path) {
    for (const char* command : {"show", "remove"}) {
        expectFailure(run({command, "Nothing"}), 1, "com.korvan.MOXSubscribe.ErrorDomain 2008: ");
        expectFailure(run({command, "Nothing"}), 1, ": " + inApplications("Nothing") + "\n");
    }
}

TEST_F(ClientTest, An_empty_path_is_an_invalid_argument) {
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"show", ""},
                                                      {"remove", ""},
                                                      {"move", "", "x"},
                                                      {"move", "x", ""},
                                                      {"create-folder", ""},
                                                      {"rename-folder", "", "x"},
                                                      {"rename-folder", "x", ""}}) {
        expectFailure(run(arguments), 1, "NSPOSIXErrorDomain 22: ");
    }
    expectFailure(
        run({"subscribe", "--resource", "R", "--type", "desktop", "--file-name", "", "--external-url", "u"}),
        1, "NSPOSIXErrorDomain 22: ");
    expectFailure(run({"subscribe", "--resource", "R", "--type", "desktop", "--file-name", "D"}), 1,
                  "NSPOSIXErrorDomain 22: ");
}

TEST_F(ClientTest, A_subscribe_replaces_the_same_type_and_refuses_another) {
    subscribe("Office", "Writer");
    subscribe("Office", "Writer");
    EXPECT_THAT(allPaths(), ElementsAre(inApplications("Office/Writer")));
    expectFailure(run({"subscribe", "--resource", "R", "--type", "desktop", "--file-name", "Writer",
                       "--folder", "Office", "--external-url", "u"}),
                  1, "com.korvan.MOXSubscribe.ErrorDomain 2004: ");
}

TEST_F(ClientTest, A_move_takes_a_subscription_to_another_folder_and_name) {
    subscribe("Office", "Writer");
    outputOf({"create-folder", "Writing"});
    EXPECT_EQ(outputOf({"move", "Office/Writer", "Writing/Author"}), "");
    EXPECT_THAT(allPaths(), ElementsAre(inApplications("Writing/Author")));
    expectFailure(run({"move", "Office/Writer", "Writing/Author"}), 1,
                  "move " + inApplications("Office/Writer"));
}

TEST_F(ClientTest, A_move_that_ends_elsewhere_is_remarked_upon) {
    subscribe("Office", "Writer");
    const test::ProgramRun elsewhere = run({"move", "Office/Writer", "Missing/Writer"});
    EXPECT_EQ(elsewhere.status, 0);
    EXPECT_THAT(elsewhere.errors,
                HasSubstr("note: the folder of " + inApplications("Missing/Writer") + " does not exist"));
    EXPECT_THAT(allPaths(), ElementsAre(inApplications("Writer")));
    const test::ProgramRun ontoItself = run({"move", "Writer", "Writer"});
    EXPECT_EQ(ontoItself.status, 0);
    EXPECT_THAT(ontoItself.errors, HasSubstr("note: a move onto itself removes a subscription"));
    EXPECT_THAT(allPaths(), IsEmpty());
}

TEST_F(ClientTest, Remove_takes_one_subscription) {
    subscribe("Office", "Writer");
    subscribe("Office", "Mail");
    EXPECT_EQ(outputOf({"remove", "Office/Writer"}), "");
    EXPECT_THAT(allPaths(), ElementsAre(inApplications("Office/Mail")));
}

TEST_F(ClientTest, Remove_all_takes_each_subscription_of_the_resource_and_tells_them) {
    subscribe("Office", "Writer");
    subscribe("Old", "Writer");
    subscribe("Old", "Mail");
    EXPECT_EQ(outputOf({"remove-all", "--resource", "Fleet:Writer", "--store", "Other"}), "");
    EXPECT_EQ(outputOf({"remove-all", "--resource", "Fleet:Writer", "--store", "Fleet"}),
              inApplications("Office/Writer\n") + inApplications("Old/Writer\n"));
    EXPECT_EQ(jsonOf({"remove-all", "--resource", "Fleet:Mail", "--store", "Fleet"}),
              nlohmann::json::array({inApplications("Old/Mail")}));
    EXPECT_EQ(jsonOf({"remove-all", "--resource", "Fleet:Mail", "--store", "Fleet"}),
              nlohmann::json::array());
}

TEST_F(ClientTest, Folders_are_made_renamed_and_removed) {
    EXPECT_EQ(outputOf({"create-folder", "A/B"}), "");
    EXPECT_EQ(outputOf({"rename-folder", "A/B", "A/C"}), "");
    EXPECT_THAT(outputOf({"folders"}), testing::EndsWith(inApplications("A\n") + inApplications("A/C\n")));
    subscribe("A/C", "Writer");
    EXPECT_EQ(outputOf({"remove-folder", "A", "--only-if-empty"}), "");
    EXPECT_THAT(allPaths(), ElementsAre(inApplications("A/C/Writer")));
    EXPECT_EQ(outputOf({"remove-folder", "A"}), "");
    EXPECT_THAT(allPaths(), IsEmpty());
    expectFailure(run({"rename-folder", "A", "B"}), 1, "rename-folder " + inApplications("A"));
    expectFailure(run({"remove-folder", "/"}), 1, "com.korvan.MOXSubscribe.ErrorDomain 2008: ");
}

TEST_F(ClientTest, A_rename_to_another_parent_is_remarked_upon) {
    outputOf({"create-folder", "A/X"});
    outputOf({"create-folder", "B"});
    const test::ProgramRun renamed = run({"rename-folder", "A/X", "B/Y"});
    EXPECT_EQ(renamed.status, 0);
    EXPECT_THAT(renamed.errors,
                HasSubstr("note: a rename never moves a folder: it is now " + inApplications("A/Y")));
    const test::ProgramRun removed = run({"rename-folder", "A/Y", "B/Y"});
    EXPECT_EQ(removed.status, 0);
    EXPECT_THAT(removed.errors, HasSubstr("note: a rename to the same name elsewhere removes a folder"));
    EXPECT_THAT(outputOf({"folders"}), testing::Not(HasSubstr("/Y\n")));
}

TEST_F(ClientTest, Wrong_usage_is_status_2) {
    expectFailure(run({}), 2, "subcommand");
    expectFailure(run({"frobnicate"}), 2, "frobnicate");
    expectFailure(run({"show"}), 2, "PATH");
    expectFailure(run({"show", "a", "b"}), 2, "b");
    expectFailure(run({"list", "--bad\n"}), 2, "--bad\\u{0A}");
    expectFailure(runBare({"--model", "cloud", "list"}), 2, "cloud");
    expectFailure(run({"subscribe", "--resource", "R", "--type", "printer", "--file-name", "F"}), 2,
                  "printer");
    expectFailure(run({"subscribe", "--resource", "R", "--type", "desktop", "--file-name", "a/b"}), 2,
                  "--folder");
    expectFailure(
        run({"subscribe", "--resource", "R", "--type", "desktop", "--file-name", "a", "--file-type", "T"}), 2,
        "GROUP:.ext");
    EXPECT_NE(run({"list"}).status, 2);
}

TEST_F(ClientTest, Commands_of_the_bundle_model_are_wrong_usage_on_the_dictionary_model) {
    expectFailure(run({"watch"}), 2, "watch is a command of the bundle model");
    expectFailure(run({"upgrade", "--json"}), 2, "upgrade is a command of the bundle model");
    expectFailure(run({"open", "Writer", "a.txt", "b.txt"}), 2, "open is a command of the bundle model");
}

TEST_F(ClientTest, The_model_may_follow_the_command) {
    EXPECT_EQ(runBare({"list", "--model", "dictionary"}).status, 0);
}

TEST_F(ClientTest, Help_and_version_are_done_on_standard_output) {
    EXPECT_THAT(runBare({"--version"}).output, testing::MatchesRegex("moxsubscribe [0-9.]+\n"));
    EXPECT_EQ(runBare({"--help"}).status, 0);
    EXPECT_THAT(runBare({"--help"}).output, HasSubstr("Examples:"));
    EXPECT_THAT(runBare({"import", "--help"}).output, HasSubstr("--icons DIR"));
    EXPECT_EQ(runBare({"import", "--help"}).errors, "");
}

TEST_F(ClientTest, Hostile_names_reach_a_terminal_only_in_writing) {
    subscribe("a\nb", "\x1B[2J\u202E\xFF");
    EXPECT_EQ(outputOf({"list", "--recursive"}), inApplications("a\\u{0A}b/\\u{1B}[2J\\u{202E}\uFFFD\n"));
    const std::string json = outputOf({"list", "--recursive", "--json"});
    EXPECT_EQ(nlohmann::json::parse(json).at(0), inApplications("a\nb/\x1B[2J\u202E\uFFFD"));
    for (const char byte : json)
        EXPECT_TRUE(byte == '\n' || (byte >= ' ' && byte <= '~'));
    expectFailure(run({"show", "\x1B[2J"}), 1, "\\u{1B}[2J");
}

TEST_F(ClientTest, Names_that_look_like_options_follow_two_hyphens) {
    outputOf({"create-folder", "--", "-rf"});
    EXPECT_THAT(outputOf({"folders"}), testing::EndsWith(inApplications("-rf\n")));
    EXPECT_EQ(outputOf({"remove-folder", "--", "-rf"}), "");
}

TEST_F(ClientTest, Names_that_other_programs_would_take_apart_stay_whole) {
    for (const char* name :
         {"[a,b]", "{}", "%%", "$(x)", "%n%s%@", "\"q\"", "'", "a=b", ".DS_Store", "true"}) {
        outputOf({"create-folder", name});
        EXPECT_THAT(jsonOf({"folders"}), testing::Contains(inApplications(name))) << name;
    }
}

TEST_F(ClientTest, An_empty_value_behind_an_equals_sign_is_empty) {
    outputOf({"subscribe", "--resource=R", "--type=desktop", "--file-name=D",
              "--description=", "--external-url=u", "--publisher="});
    const nlohmann::json shown = jsonOf({"show", "D"});
    EXPECT_EQ(shown["description"], "");
    EXPECT_EQ(shown["external-url"], "u");
    EXPECT_EQ(shown["publisher"], "");
}

TEST_F(ClientTest, A_value_that_looks_like_an_option_is_a_value) {
    outputOf({"subscribe", "--resource", "--store=", "--type", "desktop", "--file-name", "D",
              "--external-url", "--json", "--description", "--"});
    const nlohmann::json shown = jsonOf({"show", "D"});
    EXPECT_EQ(shown["resource"], "--store=");
    EXPECT_EQ(shown["external-url"], "--json");
    EXPECT_EQ(shown["description"], "--");
    EXPECT_EQ(shown["store"], nullptr);
}

TEST_F(ClientTest, Wrong_usage_names_the_first_argument_that_is_wrong) {
    expectFailure(run({"list", "a", "b", "c"}), 2,
                  "unexpected argument \"b\" (see moxsubscribe list --help)");
    expectFailure(run({"show", "-n"}), 2,
                  "unknown option \"-n\"; an argument that begins with \"-\" goes behind \"--\"");
    expectFailure(run({"subscribe", "--name", "x"}), 2, "unknown option \"--name\"");
    expectFailure(run({"subscribe", "x"}), 2, "unexpected argument \"x\"");
    expectFailure(run({"subscribe"}), 2, "--resource is required (see moxsubscribe subscribe --help)");
    expectFailure(run({"--model", "dictionary", "list"}), 2, "--model is given more than once");
    expectFailure(run({"import", "f", "--folder", "a", "--folder", "b"}), 2,
                  "--folder is given more than once");
    expectFailure(run({""}), 2, "unknown command or option \"\" (see moxsubscribe --help)");
}

TEST_F(ClientTest, A_folder_is_not_renamed_to_a_name_that_no_path_reaches) {
    outputOf({"create-folder", "A"});
    const nlohmann::json folders = jsonOf({"folders"});
    expectFailure(run({"rename-folder", "A", "/"}), 1, "NSPOSIXErrorDomain 22: ");
    EXPECT_EQ(jsonOf({"folders"}), folders);
}

TEST_F(ClientTest, A_damaged_store_is_told_and_left_as_it_is) {
    outputOf({"list"});
    for (const char* damage : {"no property list", "", "<plist><array/></plist>"}) {
        _home.write("Library/Application Support/Korvan Ostrel/Subscriptions.plist", damage);
        for (const std::vector<std::string>& arguments :
             {std::vector<std::string>{"list"},
              {"create-folder", "x"},
              {"remove-all", "--resource", "a", "--store", "b"}}) {
            expectFailure(run(arguments), 1,
                          storeFile() +
                              ": the store cannot be used: it is no property list that can be read; ");
            EXPECT_EQ(test::bytesOfFile(storeFile()), damage);
        }
    }
}

TEST_F(ClientTest, A_store_with_a_damaged_folder_is_told_too) {
    outputOf({"list"});
    const std::string damage = "<plist><dict><key>Subscriptions</key><dict/></dict></plist>";
    _home.write("Library/Application Support/Korvan Ostrel/Subscriptions.plist", damage);
    expectFailure(run({"create-folder", "x"}), 1,
                  storeFile() + ": the store cannot be used: a folder in it is damaged; ");
    EXPECT_EQ(test::bytesOfFile(storeFile()), damage);
}

TEST_F(ClientTest, A_change_that_does_not_reach_the_disk_is_a_failure) {
    // A folder in the file's place: nothing can be renamed over it, whoever runs the test.
    ASSERT_EQ(mkdir((home() + "/Library").c_str(), 0700), 0);
    ASSERT_EQ(mkdir((home() + "/Library/Application Support").c_str(), 0700), 0);
    ASSERT_EQ(mkdir(supportFolder().c_str(), 0700), 0);
    ASSERT_EQ(mkdir(storeFile().c_str(), 0700), 0);
    expectFailure(run({"create-folder", "x"}), 1, "the change did not reach this file");
    expectFailure(
        run({"subscribe", "--resource", "R", "--type", "desktop", "--file-name", "D", "--external-url", "u"}),
        1, "the change did not reach this file");
}

TEST_F(ClientTest, A_store_that_can_only_live_in_memory_fails_each_change) {
    _home.write("Library", "a file where the folder should be");
    EXPECT_EQ(run({"list"}).status, 0);
    expectFailure(run({"create-folder", "x"}), 1, "save ");
}

} // namespace
} // namespace mox::tool
