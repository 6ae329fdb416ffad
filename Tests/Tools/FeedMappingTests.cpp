#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FeedMapping.hpp"

namespace mox::tool {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const FeedPlace place{"https://apps.example.com/feed/all.aspx", "/u/Applications", ""};

FeedResource application(std::string title, std::vector<std::string> folders = {}) {
    FeedResource resource;
    resource.title = std::move(title);
    resource.type = "RemoteApp";
    resource.folders = std::move(folders);
    return resource;
}

struct Outcome {
    std::vector<PlannedSubscription> planned;
    std::vector<SkippedResource> skipped;

    std::vector<std::string> paths() const {
        std::vector<std::string> result;
        for (const auto& each : planned)
            result.push_back(each.keywords.inFolder + "/" + each.keywords.withFileName);
        return result;
    }
};

Outcome plan(std::vector<FeedResource> resources, const FeedPlace& where = place) {
    Outcome outcome;
    for (auto& item : planFeed(Feed{std::move(resources)}, where)) {
        if (auto* planned = std::get_if<PlannedSubscription>(&item)) {
            outcome.planned.push_back(std::move(*planned));
        } else {
            outcome.skipped.push_back(std::get<SkippedResource>(item));
        }
    }
    return outcome;
}

TEST(FeedMapping, Every_part_of_a_resource_finds_its_place) {
    FeedResource resource = application("Writer");
    resource.publisher = "Fleet";
    resource.fileExtensions = {".odt", "txt", ".odt", "", ".", ".a/b"};
    resource.resourceFileURL = "/launch/writer.rdp";
    const Outcome outcome = plan({resource});
    ASSERT_EQ(outcome.planned.size(), 1U);
    const PlannedSubscription& planned = outcome.planned[0];
    EXPECT_EQ(planned.resourceName, "Writer");
    EXPECT_EQ(planned.keywords.ofType, MOXSubscriptionType::Application);
    EXPECT_EQ(planned.keywords.onStoreNamed, "Fleet");
    EXPECT_EQ(planned.keywords.withInternalStoreURL, place.source);
    EXPECT_EQ(planned.keywords.andExternalStoreURL, std::nullopt);
    EXPECT_EQ(planned.keywords.withFileName, "Writer");
    EXPECT_EQ(planned.keywords.inFolder, "/u/Applications");
    const MOXOptionalInfo& info = planned.keywords.andOptionalInfo.value();
    EXPECT_EQ(std::get<std::string>(info.find(MOXOptionalInfoPublisherNameKey)->second), "Fleet");
    EXPECT_EQ(std::get<std::string>(info.find(MOXOptionalInfoLaunchURLKey)->second),
              "https://apps.example.com/launch/writer.rdp");
    EXPECT_THAT(std::get<std::vector<MOXFileType>>(info.find(MOXOptionalInfoFileTypesKey)->second),
                ElementsAre(MOXFileType{"Writer", {".odt", ".txt"}, std::nullopt}));
}

TEST(FeedMapping, A_launch_address_that_stays_relative_is_left_out) {
    FeedResource resource = application("Writer");
    resource.resourceFileURL = "/launch/writer.rdp";
    const Outcome outcome = plan({resource}, {"/home/user/feed.xml", "/u/Applications", ""});
    ASSERT_EQ(outcome.planned.size(), 1U);
    EXPECT_THAT(outcome.planned[0].keywords.andOptionalInfo.value(), IsEmpty());
    EXPECT_EQ(outcome.planned[0].keywords.withInternalStoreURL, "/home/user/feed.xml");
}

TEST(FeedMapping, A_desktop_becomes_a_desktop) {
    FeedResource desktop = application("Desk");
    desktop.type = "Desktop";
    EXPECT_EQ(plan({desktop}).planned.at(0).keywords.ofType, MOXSubscriptionType::Desktop);
}

TEST(FeedMapping, Without_title_or_known_type_a_resource_is_skipped_and_the_rest_goes_on) {
    FeedResource unknown = application("Odd");
    unknown.type = "Printer";
    FeedResource untyped = application("None");
    untyped.type = "";
    FeedResource untitled = application("");
    untitled.alias = "alias";
    const Outcome outcome = plan({unknown, untyped, untitled, application("Good")});
    EXPECT_THAT(outcome.paths(), ElementsAre("/u/Applications/Good"));
    ASSERT_EQ(outcome.skipped.size(), 3U);
    EXPECT_EQ(outcome.skipped[0].reason, "unknown type \"Printer\"");
    EXPECT_EQ(outcome.skipped[1].reason, "it has no type");
    EXPECT_EQ(outcome.skipped[2].title, "alias");
    EXPECT_EQ(outcome.skipped[2].reason, "it has no title");
}

TEST(FeedMapping, Each_folder_gives_one_subscription_and_the_slash_is_the_folder_itself) {
    const Outcome outcome = plan({application("Writer", {"/", "/Office", "/Office/Old", "/Office"})});
    EXPECT_THAT(outcome.paths(), ElementsAre("/u/Applications/Writer", "/u/Applications/Office/Writer",
                                             "/u/Applications/Office/Old/Writer"));
}

TEST(FeedMapping, A_folder_component_that_would_leave_the_folder_is_refused_and_reported) {
    for (const char* folder : {"", "//", "/..", "/../x", "/a/../b", "/./a", "/a//b", "/a/", ".."}) {
        const Outcome outcome = plan({application("Writer", {folder, "/Good"})});
        EXPECT_THAT(outcome.paths(), ElementsAre("/u/Applications/Good/Writer")) << folder;
        ASSERT_EQ(outcome.skipped.size(), 1U) << folder;
        EXPECT_THAT(outcome.skipped[0].reason, HasSubstr("is refused")) << folder;
    }
}

TEST(FeedMapping, A_folder_that_looks_like_a_stub_is_refused_in_the_bundle_model) {
    FeedPlace bundles = place;
    bundles.fileNameExtension = ".app";
    for (const char* folder : {"/Other.app", "/Other.APP/Contents/MacOS", "/a/x.app/b"}) {
        const Outcome outcome = plan({application("Writer", {folder, "/Good.apps"})}, bundles);
        EXPECT_THAT(outcome.paths(), ElementsAre("/u/Applications/Good.apps/Writer.app")) << folder;
        ASSERT_EQ(outcome.skipped.size(), 1U) << folder;
        EXPECT_THAT(outcome.skipped[0].reason, HasSubstr("is refused")) << folder;
    }
    EXPECT_THAT(plan({application("Writer", {"/Other.app"})}).paths(),
                ElementsAre("/u/Applications/Other.app/Writer"));
}

TEST(FeedMapping, Folder_components_are_plain_names_of_bounded_length) {
    const Outcome outcome = plan({application("W", {"/a\nb/" + std::string(300, 'x')})});
    EXPECT_THAT(outcome.paths(), ElementsAre("/u/Applications/a-b/" + std::string(255, 'x') + "/W"));
}

TEST(FeedMapping, A_path_that_would_be_too_long_is_skipped) {
    std::string folder;
    while (folder.size() < 4070)
        folder += "/f";
    const Outcome outcome =
        plan({application(std::string(100, 'w'), {folder}), application("W", {folder + folder})});
    EXPECT_THAT(outcome.paths(), IsEmpty());
    ASSERT_EQ(outcome.skipped.size(), 2U);
    EXPECT_EQ(outcome.skipped[0].reason, "its path is too long");
    EXPECT_EQ(outcome.skipped[1].reason, "the folder's path is too long");
}

TEST(FeedMapping, Too_many_folders_are_refused) {
    std::vector<std::string> folders;
    for (int index = 0; index < 33; ++index)
        folders.push_back("/" + std::to_string(index));
    EXPECT_EQ(plan({application("W", folders)}).skipped.at(0).reason, "it is in too many folders");
}

TEST(FeedMapping, A_title_becomes_a_plain_file_name_but_stays_the_resource_name) {
    const Outcome outcome = plan({application("Income/Expenses\n"), application("..")});
    EXPECT_THAT(outcome.paths(), ElementsAre("/u/Applications/Income-Expenses-", "/u/Applications/--"));
    EXPECT_EQ(outcome.planned[0].resourceName, "Income/Expenses\n");
}

TEST(FeedMapping, A_long_title_is_cut_to_255_bytes_at_a_character) {
    const Outcome outcome = plan({application(std::string(254, 'x') + "é")});
    EXPECT_EQ(outcome.planned.at(0).keywords.withFileName, std::string(254, 'x'));
}

TEST(FeedMapping, A_name_that_is_taken_gets_the_alias_and_then_the_resource_is_skipped) {
    FeedResource first = application("Charts");
    FeedResource second = application("Charts", {"/Elsewhere"});
    second.alias = "south/1";
    const Outcome outcome = plan({first, second, second, first});
    EXPECT_THAT(outcome.paths(),
                ElementsAre("/u/Applications/Charts", "/u/Applications/Elsewhere/Charts (south-1)"));
    EXPECT_EQ(outcome.planned[1].resourceName, "Charts");
    ASSERT_EQ(outcome.skipped.size(), 2U);
    EXPECT_EQ(outcome.skipped[0].reason, "an earlier resource of the feed has its name and alias");
}

TEST(FeedMapping, A_long_title_makes_room_for_the_alias) {
    FeedResource first = application(std::string(300, 'x'));
    FeedResource second = first;
    second.alias = std::string(300, 'a');
    const Outcome outcome = plan({first, second});
    const std::string& name = outcome.planned.at(1).keywords.withFileName;
    EXPECT_EQ(name.size(), 255U);
    EXPECT_TRUE(name.ends_with(" (" + std::string(120, 'a') + ")"));
}

TEST(FeedMapping, A_name_that_a_folder_of_the_same_path_would_hide_counts_as_taken) {
    FeedResource office = application("Office");
    office.alias = "suite";
    const Outcome outcome = plan({office, application("Writer", {"/Office/Old"})});
    EXPECT_THAT(outcome.paths(),
                ElementsAre("/u/Applications/Office (suite)", "/u/Applications/Office/Old/Writer"));
}

TEST(FeedMapping, File_names_end_in_the_extension_of_the_model) {
    FeedResource first = application(std::string(300, 'x'));
    FeedResource second = first;
    second.alias = "a";
    const Outcome outcome = plan({first, second}, {"https://a/", "/u/Applications", ".app"});
    EXPECT_EQ(outcome.planned.at(0).keywords.withFileName, std::string(251, 'x') + ".app");
    EXPECT_EQ(outcome.planned.at(1).keywords.withFileName, std::string(247, 'x') + " (a).app");
}

TEST(FeedMapping, Below_the_top_folder_no_slash_is_doubled) {
    const Outcome outcome = plan({application("W", {"/a", "/"})}, {"https://a/", "/", ""});
    ASSERT_EQ(outcome.planned.size(), 2U);
    EXPECT_EQ(outcome.planned[0].keywords.inFolder, "/");
    EXPECT_EQ(outcome.planned[1].keywords.inFolder, "/a");
}

} // namespace
} // namespace mox::tool
