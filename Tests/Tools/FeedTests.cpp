#include "Support/ScratchFolder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Feed.hpp"

namespace mox::tool {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string feedWith(std::string_view resources) {
    return "<ResourceCollection><Publisher Name=\"Fleet\"><Resources>" + std::string(resources) +
           "</Resources></Publisher></ResourceCollection>";
}

std::string refusalOf(const std::string& bytes) {
    try {
        readFeed(bytes);
        return "";
    } catch (const FeedError& error) {
        return error.what();
    }
}

TEST(FeedReading, The_first_sample_lists_its_resources) {
    const Feed feed = readFeed(test::bytesOfFile(MOXSUBSCRIBE_SAMPLES "/Feeds/larkfield-1.1.xml"));
    ASSERT_FALSE(feed.resources.empty());
    for (const FeedResource& resource : feed.resources) {
        EXPECT_NE(resource.title, "");
        EXPECT_NE(resource.resourceFileURL, "");
        EXPECT_THAT(resource.folders, IsEmpty());
    }
}

TEST(FeedReading, The_second_sample_shows_the_liberties_that_servers_take) {
    const Feed feed = readFeed(test::bytesOfFile(MOXSUBSCRIBE_SAMPLES "/Feeds/brightmoor-2.1.xml"));
    ASSERT_EQ(feed.resources.size(), 7U);
    const FeedResource& mail = feed.resources[0];
    EXPECT_EQ(mail.title, "Studio Mail");
    EXPECT_EQ(mail.alias, "mail");
    EXPECT_EQ(mail.type, "RemoteApp");
    EXPECT_EQ(mail.publisher, "Brightmoor Studios & Partners");
    EXPECT_THAT(mail.folders, ElementsAre("/", "/Office"));
    EXPECT_THAT(mail.fileExtensions, ElementsAre(".eml", ".vcf"));
    EXPECT_EQ(mail.iconURLs.size(), 4U);
    const FeedResource& paint = feed.resources[1];
    EXPECT_EQ(paint.resourceFileURL, "/launch/paint.rdp");
    EXPECT_THAT(paint.fileExtensions, ElementsAre(".png", ".tiff", ".palette"));
    EXPECT_THAT(paint.iconURLs, ElementsAre("/icons/brush_64x64.png", "/icons/brush_128x128.png"));
    EXPECT_EQ(feed.resources[5].type, "Desktop");
    EXPECT_EQ(feed.resources[6].title, "");
}

TEST(FeedReading, Name_spaces_and_prefixes_do_not_matter) {
    const Feed feed =
        readFeed("<x:ResourceCollection xmlns:x=\"urn:other\"><x:Publisher Name=\"P\">"
                 "<x:Resource Title=\"T\" Type=\"Desktop\"/></x:Publisher></x:ResourceCollection>");
    ASSERT_EQ(feed.resources.size(), 1U);
    EXPECT_EQ(feed.resources[0].title, "T");
    EXPECT_EQ(feed.resources[0].publisher, "P");
}

TEST(FeedReading, A_document_in_UTF16_is_read) {
    const std::string text =
        "<?xml version=\"1.0\" encoding=\"UTF-16\"?><ResourceCollection><Resource Title=\"T\"/>"
        "</ResourceCollection>";
    std::string bytes = "\xFF\xFE";
    for (const char character : text)
        bytes += {character, '\0'};
    EXPECT_EQ(readFeed(bytes).resources.at(0).title, "T");
}

TEST(FeedReading, The_icons_of_documents_are_not_those_of_the_resource) {
    const Feed feed =
        readFeed(feedWith("<Resource><FileExtensions><FileExtension Name=\".a\"><FileAssociationIcons>"
                          "<Icon32 FileURL=\"document.png\"/></FileAssociationIcons></FileExtension>"
                          "</FileExtensions><Icons><Icon32 FileURL=\"own.png\"/></Icons></Resource>"));
    EXPECT_THAT(feed.resources.at(0).iconURLs, ElementsAre("own.png"));
}

TEST(FeedReading, The_first_of_several_servers_counts) {
    const Feed feed =
        readFeed(feedWith("<Resource><ResourceFile/><ResourceFile URL=\"a\"/><ResourceFile URL=\"b\"/>"
                          "</Resource>"));
    EXPECT_EQ(feed.resources.at(0).resourceFileURL, "a");
}

TEST(FeedReading, Each_publisher_has_its_own_resources) {
    const Feed feed = readFeed("<ResourceCollection><Publisher Name=\"A\"><Resource/></Publisher><Resource/>"
                               "<Publisher><Resource/></Publisher></ResourceCollection>");
    ASSERT_EQ(feed.resources.size(), 3U);
    EXPECT_EQ(feed.resources[0].publisher, "A");
    EXPECT_EQ(feed.resources[1].publisher, std::nullopt);
    EXPECT_EQ(feed.resources[2].publisher, std::nullopt);
}

TEST(FeedReading, A_feed_without_resources_is_a_feed) {
    EXPECT_THAT(readFeed("<ResourceCollection/>").resources, IsEmpty());
}

TEST(FeedReading, What_is_no_feed_is_refused_with_the_line) {
    EXPECT_THAT(refusalOf("\n<html/>"), HasSubstr("line 2: not a workspace feed"));
    EXPECT_THAT(refusalOf("<ResourceCollection>\n<a>\n</b>"), HasSubstr("line 3: mismatched tag"));
    EXPECT_THAT(refusalOf(""), HasSubstr("line 1: no element found"));
    EXPECT_THAT(refusalOf(std::string("\0\0\0", 3)), HasSubstr("line 1: "));
}

TEST(FeedReading, A_document_type_declaration_is_refused_before_any_entity_can_grow) {
    EXPECT_THAT(refusalOf("<!DOCTYPE r [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;&a;&a;\">]>"
                          "<ResourceCollection><Resource Title=\"&b;\"/></ResourceCollection>"),
                HasSubstr("no document type declaration"));
    EXPECT_THAT(refusalOf("<!DOCTYPE r SYSTEM \"file:///etc/passwd\"><ResourceCollection/>"),
                HasSubstr("no document type declaration"));
}

TEST(FeedReading, Too_many_levels_are_refused) {
    std::string nested = "<ResourceCollection>";
    for (int level = 0; level < 99; ++level)
        nested += "<a>";
    EXPECT_THAT(refusalOf(nested), HasSubstr("no element found"));
    EXPECT_THAT(refusalOf(nested + "<a>"), HasSubstr("nested too deeply"));
}

TEST(FeedReading, Too_much_of_anything_is_refused) {
    EXPECT_THAT(refusalOf(std::string(maximumFeedLength + 1, ' ')), HasSubstr("too long"));
    EXPECT_THAT(refusalOf(feedWith("<Resource Title=\"" + std::string(8193, 'x') + "\"/>")),
                HasSubstr("an attribute is too long"));
    std::string resources;
    for (int count = 0; count <= 20'000; ++count)
        resources += "<Resource/>";
    EXPECT_THAT(refusalOf(feedWith(resources)), HasSubstr("too many resources"));
}

} // namespace
} // namespace mox::tool
