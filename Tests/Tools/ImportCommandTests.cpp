#include "ClientTest.hpp"

namespace mox::tool {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string firstSample = MOXSUBSCRIBE_SAMPLES "/Feeds/larkfield-1.1.xml";
const std::string secondSample = MOXSUBSCRIBE_SAMPLES "/Feeds/brightmoor-2.1.xml";
const std::string sampleIcons = MOXSUBSCRIBE_SAMPLES "/Icons";

using ImportTest = ClientTest;

TEST_F(ImportTest, The_sample_with_folders_is_subscribed_as_it_says) {
    const test::ProgramRun ended =
        run({"import", secondSample, "--url", "https://workspace.brightmoor.example.net/feeds/all", "--icons",
             sampleIcons});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.output, "skipped \"untitled\": it has no title\n8 imported, 1 skipped\n");
    EXPECT_THAT(ended.errors, HasSubstr("[1/9] Studio Mail: " + inApplications("Studio Mail") + "\n"));
    EXPECT_THAT(ended.errors, HasSubstr("[9/9] untitled: skipped: it has no title\n"));
    EXPECT_THAT(allPaths(),
                testing::UnorderedElementsAre(
                    inApplications("Studio Mail"), inApplications("Studio Workplace"),
                    inApplications("Office/Income-Expenses"), inApplications("Office/Sales Charts"),
                    inApplications("Office/Sales Charts (charts-south)"),
                    inApplications("Office/Studio Mail"), inApplications("Studio/Colour Workshop"),
                    inApplications("Studio/Drafts/Colour Workshop")));
    const nlohmann::json shown = jsonOf({"show", "Studio/Colour Workshop"});
    EXPECT_EQ(shown["resource"], "Colour Workshop");
    EXPECT_EQ(shown["store"], "Brightmoor Studios & Partners");
    EXPECT_EQ(shown["publisher"], "Brightmoor Studios & Partners");
    EXPECT_EQ(shown["internal-url"], "https://workspace.brightmoor.example.net/feeds/all");
    EXPECT_EQ(shown["external-url"], nullptr);
    EXPECT_EQ(shown["launch-url"], "https://workspace.brightmoor.example.net/launch/paint.rdp");
    EXPECT_EQ(shown["icon"], nlohmann::json::array({"128x128"}));
    EXPECT_EQ(jsonOf({"show", "Studio Workplace"})["type"], "desktop");
}

TEST_F(ImportTest, A_second_import_replaces_what_the_first_subscribed) {
    ASSERT_EQ(run({"import", firstSample, "--icons", sampleIcons}).status, 0);
    const std::vector<std::string> paths = allPaths();
    EXPECT_FALSE(paths.empty());
    ASSERT_EQ(run({"import", firstSample, "--icons", sampleIcons}).status, 0);
    EXPECT_EQ(allPaths(), paths);
}

TEST_F(ImportTest, The_result_is_told_as_JSON) {
    const test::ProgramRun ended = run({"import", secondSample, "--folder", "Work", "--json"});
    const nlohmann::json result = nlohmann::json::parse(ended.output);
    EXPECT_EQ(result["imported"].size(), 8U);
    EXPECT_EQ(result["imported"][0], nlohmann::json::parse(R"({"resource":"Studio Mail","path":")" +
                                                           inApplications("Work/Studio Mail") +
                                                           R"(","type":"application","icon":false})"));
    EXPECT_EQ(result["skipped"],
              nlohmann::json::parse(R"([{"resource":"untitled","reason":"it has no title"}])"));
    EXPECT_EQ(jsonOf({"show", "Work/Studio Mail"})["internal-url"], secondSample);
}

TEST_F(ImportTest, A_feed_that_cannot_be_read_is_a_failure_and_changes_nothing) {
    expectFailure(run({"import", home() + "/missing.xml"}), 1, "NSPOSIXErrorDomain 2: ");
    expectFailure(run({"import", home()}), 1, "NSPOSIXErrorDomain 21: ");
    const std::string page = _home.write("page.xml", "<html/>");
    expectFailure(run({"import", page}), 1, "import " + page + ": line 1: not a workspace feed");
    const std::string bomb = _home.write("bomb.xml", "<!DOCTYPE r [<!ENTITY a \"a\">]><ResourceCollection/>");
    expectFailure(run({"import", bomb}), 1, "no document type declaration");
    EXPECT_THAT(allPaths(), IsEmpty());
}

TEST_F(ImportTest, Wrong_options_are_wrong_usage) {
    expectFailure(run({"import", firstSample, "--url", "/relative"}), 2, "is no absolute URL");
    expectFailure(run({"import", firstSample, "--icons", home() + "/missing"}), 2, "--icons");
}

TEST_F(ImportTest, A_feed_of_which_nothing_can_be_imported_is_a_failure_with_a_summary) {
    const std::string feed = _home.write(
        "feed.xml", "<ResourceCollection><Resource Title=\"T\" Type=\"Printer\"/></ResourceCollection>");
    const test::ProgramRun ended = run({"import", feed});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.output, HasSubstr("0 imported, 1 skipped\n"));
    EXPECT_THAT(ended.errors, HasSubstr("moxsubscribe: import " + feed + ": nothing could be imported\n"));
}

TEST_F(ImportTest, An_empty_feed_is_done) {
    const std::string feed = _home.write("feed.xml", "<ResourceCollection/>");
    const test::ProgramRun ended = run({"import", feed});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.output, "0 imported, 0 skipped\n");
}

TEST_F(ImportTest, An_entry_of_the_other_type_is_kept_and_the_resource_skipped) {
    subscribe("Taken", "T", "desktop");
    const std::string feed = _home.write(
        "feed.xml", "<ResourceCollection><Resource Title=\"T\" Type=\"RemoteApp\"><Folder Name=\"/\"/>"
                    "<Folder Name=\"/Sub\"/></Resource></ResourceCollection>");
    const test::ProgramRun ended = run({"import", feed, "--folder", "Taken"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(ended.output, HasSubstr("com.korvan.MOXSubscribe.ErrorDomain 2004"));
    EXPECT_THAT(ended.output, HasSubstr("1 imported, 1 skipped\n"));
    EXPECT_EQ(jsonOf({"show", "Taken/T"})["type"], "desktop");
    EXPECT_EQ(jsonOf({"show", "Taken/Sub/T"})["type"], "application");
}

TEST_F(ImportTest, Hostile_texts_stay_below_the_folder_and_off_the_terminal) {
    const std::string feed = _home.write("feed.xml", R"(<ResourceCollection><Publisher Name="P&#10;Q">
        <Resource Title="../../x" Type="RemoteApp"><Folder Name="/../../etc"/><Folder Name="/ok"/></Resource>
        <Resource Title=".." Alias="a" Type="RemoteApp"/>
        <Resource Title="&#x202E;a&#10;b" Type="Desktop"/></Publisher></ResourceCollection>)");
    const test::ProgramRun ended = run({"import", feed, "--folder", "W"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(allPaths(), ElementsAre(inApplications("W/--"), inApplications("W/\u202Ea-b"),
                                        inApplications("W/ok/..-..-x")));
    EXPECT_THAT(ended.output + ended.errors, testing::Not(HasSubstr("\u202E")));
    EXPECT_THAT(ended.output, HasSubstr("3 imported, 1 skipped\n"));
}

TEST_F(ImportTest, A_damaged_folder_of_the_store_does_not_stop_the_rest) {
    subscribe("Bad", "A");
    std::string store = test::bytesOfFile(storeFile());
    const std::size_t key = store.find("<key>Folders</key>", store.find("<key>Bad</key>"));
    ASSERT_NE(key, std::string::npos);
    store.replace(key, 18, "<key>Unknown</key>");
    _home.write("Library/Application Support/Korvan Ostrel/Subscriptions.plist", store);
    _home.write("feed.xml", R"(<ResourceCollection><Publisher Name="P"><Resources>
        <Resource Title="Inside" Type="RemoteApp"><Folders><Folder Name="/Bad/Below"/></Folders></Resource>
        <Resource Title="Beside" Type="RemoteApp"><Folders><Folder Name="/Good"/></Folders></Resource>
        </Resources></Publisher></ResourceCollection>)");
    const test::ProgramRun ended = run({"import", home() + "/feed.xml"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.output, "skipped \"Inside\": " + inApplications("Bad/Below") +
                                ": the store has a damaged folder there\n1 imported, 1 skipped\n");
    EXPECT_THAT(allPaths(),
                testing::UnorderedElementsAre(inApplications("Bad/A"), inApplications("Good/Beside")));
}

TEST_F(ImportTest, A_store_that_cannot_be_saved_is_a_failure) {
    _home.write("Library", "a file where the folder should be");
    const test::ProgramRun ended = run({"import", secondSample});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.output, "");
    EXPECT_THAT(ended.errors, HasSubstr("the change did not reach this file"));
}

} // namespace
} // namespace mox::tool
