#include "Formats/MIMEPackage.hpp"

#include <gtest/gtest.h>

#include <string>

namespace mox {
namespace {

using namespace std::string_literals;

TEST(MIMEPackage, Has_an_element_for_each_type_with_its_comment_and_pattern) {
    EXPECT_EQ(mimePackageText({{"application/x-a", "A document", "aaa"}, {"application/x-b", "", "b b"}}),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<mime-info xmlns=\"http://www.freedesktop.org/standards/shared-mime-info\">\n"
              "  <mime-type type=\"application/x-a\">\n"
              "    <comment>A document</comment>\n"
              "    <glob pattern=\"*.aaa\"/>\n"
              "  </mime-type>\n"
              "  <mime-type type=\"application/x-b\">\n"
              "    <glob pattern=\"*.b b\"/>\n"
              "  </mime-type>\n"
              "</mime-info>\n");
}

TEST(MIMEPackage, Escapes_what_has_a_meaning_in_XML_and_replaces_what_XML_cannot_carry) {
    const std::string text =
        mimePackageText({{"a/b", "</comment><x y=\"&\">\n\033\0\xFF\uFFFE\uFFFF\uFFFD"s, "\"<&>"}});
    EXPECT_NE(text.find("<comment>&lt;/comment&gt;&lt;x y=&quot;&amp;&quot;&gt; "
                        "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD</comment>"),
              text.npos)
        << text;
    EXPECT_NE(text.find("<glob pattern=\"*.&quot;&lt;&amp;&gt;\"/>"), text.npos) << text;
}

TEST(ExtensionOfFiles, Is_any_text_that_a_file_s_name_can_end_in) {
    for (const std::string extension : {"txt", "TXT", "tar.gz", "a b", "\u00E9", "e\u0301", "]", "%s", "-x",
                                        ";", "\"", "'", "$(x)", "&<>", "."})
        EXPECT_TRUE(isExtensionOfFiles(extension)) << extension;
    EXPECT_TRUE(isExtensionOfFiles(std::string(253, 'x')));
}

TEST(ExtensionOfFiles, Is_none_that_would_be_a_pattern_or_break_the_database_s_lines) {
    for (const std::string& extension : {""s, "*"s, "a*"s, "a?"s, "[a]"s, "a\\b"s, "a/b"s, "a:b"s, "a\nb"s,
                                         "a\tb"s, "a\0"s, "\033"s, "\x7f"s, "\xFF"s, "a\uFFFE"s, "\uFFFF"s})
        EXPECT_FALSE(isExtensionOfFiles(extension)) << extension;
    EXPECT_FALSE(isExtensionOfFiles(std::string(254, 'x')));
}

} // namespace
} // namespace mox
