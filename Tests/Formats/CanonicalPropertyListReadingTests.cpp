#include "Formats/CanonicalPropertyListReading.hpp"
#include "Formats/PropertyListReading.hpp"
#include "Formats/PropertyListSamples.hpp"
#include "Formats/PropertyListWriting.hpp"
#include "Formats/XMLPropertyListReading.hpp"

#include <gtest/gtest.h>

namespace mox {
namespace {

using namespace std::string_literals;

std::string canonical(std::string_view root) {
    return std::string(test::xmlStart).append(root).append("\n</plist>\n");
}

std::optional<PropertyList> read(std::string_view root) {
    return propertyListFromCanonicalXML(canonical(root));
}

bool isXML(const Bytes& bytes) {
    return bytes.starts_with("<?xml");
}

TEST(CanonicalPropertyListReading, What_we_write_is_read_in_place) {
    const std::optional<Bytes> written = storedFormOfPropertyList(test::everyKind());
    ASSERT_TRUE(written && isXML(*written));
    EXPECT_EQ(propertyListFromCanonicalXML(*written), test::everyKind());
    std::mt19937 random(7);
    int inPlace = 0;
    for (int tree = 0; tree < 400; ++tree) {
        const PropertyList value = test::randomTree(random);
        const std::optional<Bytes> document = storedFormOfPropertyList(value);
        ASSERT_TRUE(document);
        if (!isXML(*document)) continue;
        ASSERT_EQ(propertyListFromCanonicalXML(*document), value) << *document;
        ++inPlace;
    }
    EXPECT_GT(inPlace, 50);
}

TEST(CanonicalPropertyListReading, Data_may_be_broken_into_lines_as_the_platform_does) {
    EXPECT_EQ(read("<data>\n\tAAEC\n\tAwQ=\n\t</data>"), PropertyList(PropertyList::Data("\0\1\2\3\4"s)));
    EXPECT_EQ(read("<data>\n</data>"), PropertyList(PropertyList::Data("")));
    EXPECT_EQ(read("<data>\n\tAAECAw==\n\t</data>"), PropertyList(PropertyList::Data("\0\1\2\3"s)));
}

TEST(CanonicalPropertyListReading, The_references_of_writing_are_resolved) {
    EXPECT_EQ(read("<string>&lt;a&gt;&amp;amp;&#13;</string>"), PropertyList("<a>&amp;\r"));
}

TEST(CanonicalPropertyListReading, Of_a_repeated_key_the_last_value_stays) {
    PropertyList::Dictionary expected;
    expected.set("a", PropertyList("2"));
    EXPECT_EQ(read("<dict><key>a</key><string>1</string><key>a</key><string>2</string></dict>"),
              PropertyList(expected));
}

/// Dictionaries with a dictionary of each list of keys; each value is its key.
std::string dictionariesOf(const std::vector<std::vector<std::string>>& lists) {
    std::string text = "<array>";
    for (const auto& keys : lists) {
        text += "<dict>";
        for (const std::string& key : keys)
            text += "<key>" + key + "</key><string>" + key + "</string>";
        text += "</dict>";
    }
    return text + "</array>";
}

TEST(CanonicalPropertyListReading, Dictionaries_that_are_alike_share_their_keys) {
    const auto value = read(dictionariesOf({{"a", "b", "c", "d"}, {"a", "d"}, {"a", "b", "bc", "d"}}));
    ASSERT_TRUE(value);
    const auto keyOf = [&value](std::size_t dictionary, int entry) {
        return ((*value->array())[dictionary].dictionary()->begin() + entry)->key.view().data();
    };
    EXPECT_EQ(keyOf(0, 0), keyOf(1, 0));
    EXPECT_EQ(keyOf(0, 3), keyOf(1, 1));
    EXPECT_EQ(keyOf(0, 1), keyOf(2, 1));
    EXPECT_EQ(keyOf(0, 3), keyOf(2, 3));
}

TEST(CanonicalPropertyListReading, Keys_are_what_the_document_has_whatever_the_dictionaries_before_had) {
    const std::vector<std::vector<std::string>> lists = {
        {"a", "b", "c"},
        {"a", "c"},
        {"a", "b", "c"},
        {"ab", "b", "bc", "c"},
        {"a"},
        {},
        {"c", "d", "e"},
        {"", "a"},
        {"a", "b"},
        {"&lt;", "b"},
        {"&lt;", "c"},
        {"\u00E9", "b"},
        {"\u00E9", "c"},
        {"d", "c"},
        {"a", "a"},
        {"a &amp; b", "c"},
        {"a", "b", "c", "d", "e"},
    };
    const std::string document = canonical(dictionariesOf(lists));
    const auto value = propertyListFromCanonicalXML(document);
    ASSERT_TRUE(value);
    EXPECT_EQ(value, propertyListFromGeneralXML(document));
}

TEST(CanonicalPropertyListReading, More_keys_than_are_known_are_read_too) {
    std::vector<std::vector<std::string>> lists(3);
    for (std::size_t list = 0; list < lists.size(); ++list) {
        for (int key = 0; key < 200; ++key)
            lists[list].push_back("key " + std::to_string(list % 2) + std::to_string(1000 + key));
    }
    const std::string document = canonical(dictionariesOf(lists));
    const auto value = propertyListFromCanonicalXML(document);
    ASSERT_TRUE(value);
    EXPECT_EQ(value, propertyListFromGeneralXML(document));
}

TEST(CanonicalPropertyListReading, Every_other_form_is_left_to_the_general_reader) {
    for (const std::string& root : {
             "<!-- c --><string>a</string>"s,
             "<string><![CDATA[a]]></string>"s,
             "<string >a</string>"s,
             "<string/>"s,
             "<string>&quot;</string>"s,
             "<string>&#65;</string>"s,
             "<string>a\rb</string>"s,
             "<string>]]></string>"s,
             "<string>\x01</string>"s,
             "<string>\0</string>"s,
             "<string>\xEF\xBF\xBE</string>"s,
             "<string>\xFF</string>"s,
             "<string>a"s,
             "<string>a</key>"s,
             "<data>AA.A</data>"s,
             "<data>&#65;AAA</data>"s,
             "<integer>one</integer>"s,
             "<real></real>"s,
             "<date>yesterday</date>"s,
             "<key>a</key>"s,
             "<dict><key>a</key></dict>"s,
             "<dict><string>a</string></dict>"s,
             "<dict><key>a</key><key>b</key><string>c</string></dict>"s,
             "<array><key>a</key></array>"s,
             "<array></dict>"s,
             "<dict><key>a</key><string>b</string>"s,
             "<string>a</string><string>b</string>"s,
             "text"s,
             ""s,
         }) {
        EXPECT_EQ(read(root), std::nullopt) << root;
    }
    const std::string whole = canonical("<true/>");
    EXPECT_EQ(propertyListFromCanonicalXML(whole), PropertyList::boolean(true));
    EXPECT_EQ(propertyListFromCanonicalXML(whole + "<!-- c -->"), std::nullopt);
    EXPECT_EQ(propertyListFromCanonicalXML(whole + "\0"s), std::nullopt);
    EXPECT_EQ(propertyListFromCanonicalXML(" " + whole), std::nullopt);
}

TEST(CanonicalPropertyListReading, A_document_that_ends_anywhere_too_early_is_refused) {
    const std::string whole = canonical(
        "<dict>\n\t<key>a key of more than sixteen bytes</key>\n" + std::string(40, '\t') +
        "<string>a text of far more than sixteen bytes</string>\n\t<key>other</key>\n\t<true/>\n</dict>");
    ASSERT_NE(propertyListFromCanonicalXML(whole), std::nullopt);
    for (const std::string& document : {whole, canonical("<true/>")}) {
        // A copy in memory of its own each time, beyond which nothing may be read.
        for (std::size_t length = 0; length + 1 < document.size(); ++length) {
            const std::vector<char> beginning(document.data(), document.data() + length);
            EXPECT_EQ(propertyListFromCanonicalXML({beginning.data(), length}), std::nullopt) << length;
        }
    }
    for (std::size_t tabs = 0; tabs <= 40; ++tabs) {
        const std::string withTabs = whole + std::string(tabs, '\t');
        const std::vector<char> exact(withTabs.begin(), withTabs.end());
        EXPECT_NE(propertyListFromCanonicalXML({exact.data(), exact.size()}), std::nullopt) << tabs;
    }
}

TEST(CanonicalPropertyListReading, Nesting_is_read_to_the_common_limit_and_no_deeper) {
    const auto nested = [](std::size_t depth) {
        std::string root;
        for (std::size_t level = 1; level < depth; ++level)
            root += "<array>";
        root += "<array/>";
        for (std::size_t level = 1; level < depth; ++level)
            root += "</array>";
        return root;
    };
    EXPECT_EQ(read(nested(maximumPropertyListDepth)), test::nestedArrays(maximumPropertyListDepth));
    EXPECT_EQ(read(nested(maximumPropertyListDepth + 1)), std::nullopt);
}

TEST(CanonicalPropertyListReading, A_document_with_any_byte_changed_is_read_as_the_general_reader_reads_it) {
    const std::string document =
        canonical("<dict>\n\t<key>k&amp;</key>\n\t<data>\n\tAAEC\n\t</data>\n"
                  "\t<key>\xC3\xA9</key>\n\t<array>\n\t\t<integer>12</integer>\n"
                  "\t\t<string>a long enough text ]] of \xE2\x82\xAC</string>\n"
                  "\t\t<true/>\n\t\t<real>1.5</real>\n\t\t<dict/>\n\t</array>\n</dict>");
    ASSERT_NE(propertyListFromCanonicalXML(document), std::nullopt);
    int accepted = 0;
    for (std::size_t position = 0; position < document.size(); ++position) {
        for (const char byte : "<>&/ak1=] \t\n\r\x01\x7F\xC3\xEF\xFF;"s) {
            std::string changed = document;
            changed[position] = byte;
            const auto value = propertyListFromCanonicalXML(changed);
            if (!value) continue;
            ++accepted;
            ASSERT_EQ(value, propertyListFromGeneralXML(changed)) << changed;
        }
    }
    EXPECT_GT(accepted, 500);
}

} // namespace
} // namespace mox
