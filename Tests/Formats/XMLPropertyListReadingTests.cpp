#include "Formats/PropertyListReading.hpp"
#include "Formats/PropertyListSamples.hpp"
#include "Formats/PropertyListWriting.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <limits>

namespace mox {
namespace {

using namespace std::string_literals;
using test::xmlDocument;

std::optional<PropertyList> read(std::string_view root) {
    return propertyListFromXML(xmlDocument(root));
}

TEST(XMLPropertyListReading, Each_kind_of_value_is_read) {
    PropertyList::Dictionary nested;
    nested.set("k", PropertyList::Array{PropertyList::boolean(true), PropertyList::boolean(false)});
    EXPECT_EQ(read("<dict><key>k</key><array><true/><false></false></array></dict>"), PropertyList(nested));
    EXPECT_EQ(read("<string>text</string>"), PropertyList("text"));
    EXPECT_EQ(read("<string/>"), PropertyList(""));
    EXPECT_EQ(read("<data>aGVs\n\tbG8=</data>"), PropertyList(PropertyList::Data("hello")));
    EXPECT_EQ(read("<data></data>"), PropertyList(PropertyList::Data("")));
    EXPECT_EQ(read("<date>2001-01-02T00:00:01Z</date>"), PropertyList(PropertyList::Date{86'401}));
    EXPECT_EQ(read("<array/>"), PropertyList(PropertyList::Array()));
    EXPECT_EQ(read("<dict/>"), PropertyList(PropertyList::Dictionary()));
}

TEST(XMLPropertyListReading, Integers_are_read_in_decimal_and_hexadecimal_to_their_limits) {
    const auto minimum = std::numeric_limits<std::int64_t>::min();
    const auto maximum = std::numeric_limits<std::uint64_t>::max();
    EXPECT_EQ(read("<integer> 42\n</integer>"), PropertyList::integer(42));
    EXPECT_EQ(read("<integer>+42</integer>"), PropertyList::integer(42));
    EXPECT_EQ(read("<integer>-0</integer>"), PropertyList::integer(0));
    EXPECT_EQ(read("<integer>0xFf</integer>"), PropertyList::integer(255));
    EXPECT_EQ(read("<integer>-0x10</integer>"), PropertyList::integer(-16));
    EXPECT_EQ(read("<integer>-9223372036854775808</integer>"), PropertyList::integer(minimum));
    EXPECT_EQ(read("<integer>18446744073709551615</integer>"), PropertyList::unsignedInteger(maximum));
}

TEST(XMLPropertyListReading, An_integer_out_of_range_or_malformed_is_refused_and_never_clipped) {
    for (const char* text : {"18446744073709551616", "-9223372036854775809", "0x10000000000000000", "", " ",
                             "-", "0x", "1.0", "1 2", "12a", "--1", "+-1", "0x-1"}) {
        EXPECT_EQ(read("<integer>"s + text + "</integer>"), std::nullopt) << text;
    }
}

TEST(XMLPropertyListReading, Reals_are_read_with_all_spellings_of_what_is_no_number) {
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(read("<real>0.1</real>"), PropertyList::real(0.1));
    EXPECT_EQ(read("<real> -1.5E+3 </real>"), PropertyList::real(-1500));
    EXPECT_EQ(read("<real>.5</real>"), PropertyList::real(0.5));
    EXPECT_EQ(read("<real>5</real>"), PropertyList::real(5));
    EXPECT_EQ(read("<real>4.9406564584124654e-324</real>"), PropertyList::real(5e-324));
    for (const char* text : {"inf", "+infinity", "Infinity", "+INF", "1e999"}) {
        EXPECT_EQ(read("<real>"s + text + "</real>"), PropertyList::real(infinity)) << text;
    }
    EXPECT_EQ(read("<real>-infinity</real>"), PropertyList::real(-infinity));
    const auto nan = read("<real>nan</real>");
    ASSERT_TRUE(nan && nan->real());
    EXPECT_TRUE(std::isnan(*nan->real()));
}

TEST(XMLPropertyListReading, A_malformed_real_is_refused) {
    for (const char* text : {"", "1,5", "0x1p3", "1e", "e5", ".", "1.5x", "nan(1)", "infinit"}) {
        EXPECT_EQ(read("<real>"s + text + "</real>"), std::nullopt) << text;
    }
}

TEST(XMLPropertyListReading, Dates_follow_the_calendar) {
    EXPECT_EQ(read("<date>1970-01-01T00:00:00Z</date>"), PropertyList(PropertyList::Date{-978'307'200}));
    EXPECT_EQ(read("<date>2000-02-29T00:00:00Z</date>"), PropertyList(PropertyList::Date{-26'524'800}));
    EXPECT_EQ(read("<date>0001-01-01T00:00:00Z</date>"), PropertyList(PropertyList::Date{-63'113'904'000}));
    for (const char* text : {"2001-02-29T00:00:00Z", "1900-02-29T00:00:00Z", "2001-13-01T00:00:00Z",
                             "2001-00-01T00:00:00Z", "2001-01-00T00:00:00Z", "2001-01-01T24:00:00Z",
                             "2001-01-01T00:60:00Z", "2001-01-01T00:00:60Z", "2001-01-01T00:00:00", "",
                             "2001-01-01 00:00:00Z", "0000-01-01T00:00:00Z", "2001-04-31T00:00:00Z"}) {
        EXPECT_EQ(read("<date>"s + text + "</date>"), std::nullopt) << text;
    }
}

TEST(XMLPropertyListReading, Base64_skips_what_is_outside_the_alphabet) {
    EXPECT_EQ(read("<data> a-G*V\ns\t bG8 = </data>"), PropertyList(PropertyList::Data("hello")));
    EXPECT_EQ(read("<data>aGVsbG8</data>"), PropertyList(PropertyList::Data("hello")));
    EXPECT_EQ(read("<data>aA==aGk=</data>"), PropertyList(PropertyList::Data("hhi")));
    EXPECT_EQ(read("<data>A</data>"), PropertyList(PropertyList::Data("")));
}

TEST(XMLPropertyListReading, CDATA_comments_references_and_instructions_are_understood) {
    EXPECT_EQ(read("<string>a<![CDATA[<&>]]>b<!-- no -->c&#65;&#x1F600;&lt;&gt;&amp;&quot;&apos;</string>"),
              PropertyList("a<&>bcA\U0001F600<>&\"'"));
    EXPECT_EQ(read("<!-- before --><?instruction?><array><!-- in --><true/></array><!-- after -->"),
              PropertyList(PropertyList::Array{PropertyList::boolean(true)}));
    EXPECT_EQ(read("<string>a\r\nb\rc&#13;d</string>"), PropertyList("a\nb\nc\rd"));
}

TEST(XMLPropertyListReading, The_last_of_equal_keys_stays) {
    PropertyList::Dictionary expected;
    expected.set("a", "3");
    expected.set("b", "2");
    EXPECT_EQ(read("<dict><key>a</key><string>1</string><key>b</key><string>2</string>"
                   "<key>a</key><string>3</string></dict>"),
              PropertyList(expected));
}

TEST(XMLPropertyListReading, A_dictionary_for_a_UID_stays_a_dictionary) {
    PropertyList::Dictionary expected;
    expected.set("CF$UID", PropertyList::integer(3));
    EXPECT_EQ(read("<dict><key>CF$UID</key><integer>3</integer></dict>"), PropertyList(expected));
}

TEST(XMLPropertyListReading, A_document_needs_neither_declaration_nor_plist_element) {
    EXPECT_EQ(propertyListFromXML("<string>x</string>"), PropertyList("x"));
    EXPECT_EQ(propertyListFromXML(" \n<plist><string>x</string></plist>\n \n"), PropertyList("x"));
    EXPECT_EQ(propertyListFromXML("<!DOCTYPE plist SYSTEM \"file://localhost/x.dtd\"><plist><true/></plist>"),
              PropertyList::boolean(true));
}

TEST(XMLPropertyListReading, What_is_no_property_list_is_refused) {
    const std::string refused[] = {
        "",
        " ",
        "<plist/>",
        "<plist></plist>",
        "<plist>text</plist>",
        "<plist><true/>",
        "<plist><true/></plist>text",
        "<plist><true/></plist><plist><true/></plist>",
        "<plist><true/><true/></plist>",
        "<plist><plist><true/></plist></plist>",
        "<array><plist><true/></plist></array>",
        "<true/><true/>",
        "<unknown/>",
        "<plist><array><unknown/></array></plist>",
        "<plist><array>text</array></plist>",
        "<plist><array><![CDATA[text]]></array></plist>",
        "<plist><dict>text</dict></plist>",
        "<plist><dict><key>k</key></dict></plist>",
        "<plist><dict><true/></dict></plist>",
        "<plist><dict><key>a</key><key>b</key><true/></dict></plist>",
        "<plist><dict><key>a</key><true/><true/></dict></plist>",
        "<plist><array><key>a</key></array></plist>",
        "<plist><key>a</key></plist>",
        "<plist><true>text</true></plist>",
        "<plist><string>a<true/></string></plist>",
        "<plist><dict><key>a<string>b</string></key></dict></plist>",
        "<plist><array></dict></plist>",
        "<Plist><true/></Plist>",
        "<plist><string>\x01</string></plist>",
        "<plist><string>&#0;</string></plist>",
        "<plist><string>&#xD800;</string></plist>",
        "<plist><string>\xFF</string></plist>",
        "<plist><string>\xED\xA0\x80</string></plist>",
        "<plist><true/></plist>\0"s,
    };
    for (const std::string& document : refused) {
        EXPECT_EQ(propertyListFromXML(document), std::nullopt) << document;
    }
}

TEST(XMLPropertyListReading, An_undeclared_entity_is_refused_and_not_dropped) {
    EXPECT_EQ(read("<string>a&nothing;b</string>"), std::nullopt);
    EXPECT_EQ(read("<array>&nothing;</array>"), std::nullopt);
    EXPECT_EQ(propertyListFromXML("<plist><string>&nothing;</string></plist>"), std::nullopt);
}

TEST(XMLPropertyListReading, Every_declaration_of_an_entity_is_refused) {
    for (const char* declaration : {"<!ENTITY a 'b'>", "<!ENTITY a SYSTEM 'file:///etc/passwd'>",
                                    "<!ENTITY % a 'b'>", "<!ENTITY % a SYSTEM 'file:///etc/passwd'> %a;"}) {
        EXPECT_EQ(propertyListFromXML("<!DOCTYPE plist ["s + declaration + "]><plist><true/></plist>"),
                  std::nullopt)
            << declaration;
    }
}

TEST(XMLPropertyListReading,
     A_declaration_of_attributes_is_refused_since_each_element_would_receive_them_all) {
    EXPECT_EQ(
        propertyListFromXML("<!DOCTYPE plist [<!ATTLIST plist version CDATA '1.0'>]><plist><true/></plist>"),
        std::nullopt);
}

TEST(XMLPropertyListReading, A_document_type_without_declarations_of_entities_and_attributes_is_read) {
    for (const char* subset : {"[]", "[<!ELEMENT true EMPTY>]", "SYSTEM 'no-such-file.dtd'", ""}) {
        EXPECT_EQ(propertyListFromXML("<!DOCTYPE plist "s + subset + "><plist><true/></plist>"),
                  PropertyList::boolean(true))
            << subset;
    }
}

TEST(XMLPropertyListReading, Entities_that_multiply_are_refused_at_once) {
    std::string document = "<!DOCTYPE plist [<!ENTITY e0 'laugh'>";
    for (int level = 1; level < 30; ++level) {
        const std::string inner = "&e" + std::to_string(level - 1) + ";";
        document += "<!ENTITY e" + std::to_string(level) + " '" + inner + inner + "'>";
    }
    document += "]><plist><string>&e29;</string></plist>";
    EXPECT_EQ(propertyListFromXML(document), std::nullopt);
}

TEST(XMLPropertyListReading, Every_encoding_is_read_with_and_without_byte_order_mark) {
    const PropertyList expected("aé");
    const std::string ascii = "<plist><string>aé</string></plist>";
    EXPECT_EQ(propertyListFromXML(ascii), expected);
    EXPECT_EQ(propertyListFromXML("\xEF\xBB\xBF" + ascii), expected);
    const std::string canonical = *xmlFromPropertyList(expected);
    EXPECT_EQ(propertyListFromXML(canonical), expected);
    EXPECT_EQ(propertyListFromXML("\xEF\xBB\xBF" + canonical), expected);
    const auto wide = [](std::string_view document, std::size_t size, bool bigEndian) {
        std::string bytes;
        for (const char character : document) {
            std::string unit(size, '\0');
            unit[bigEndian ? size - 1 : 0] = character;
            bytes += unit;
        }
        return bytes;
    };
    for (const char* declaration : {"", "<?xml version='1.0'?>", "<?xml version='1.0' encoding='UTF-16'?>"}) {
        // U+00E9 is one byte in the low half of its unit.
        const std::string document = declaration + "<plist><string>a\xE9</string></plist>"s;
        EXPECT_EQ(propertyListFromXML(wide(document, 2, false)), expected);
        EXPECT_EQ(propertyListFromXML(wide(document, 2, true)), expected);
        EXPECT_EQ(propertyListFromXML("\xFF\xFE"s + wide(document, 2, false)), expected);
        EXPECT_EQ(propertyListFromXML("\xFE\xFF"s + wide(document, 2, true)), expected);
        EXPECT_EQ(propertyListFromXML(wide(document, 4, false)), expected);
        EXPECT_EQ(propertyListFromXML(wide(document, 4, true)), expected);
        EXPECT_EQ(propertyListFromXML("\xFF\xFE\0\0"s + wide(document, 4, false)), expected);
        EXPECT_EQ(propertyListFromXML("\0\0\xFE\xFF"s + wide(document, 4, true)), expected);
    }
}

TEST(XMLPropertyListReading, A_declared_encoding_is_converted) {
    const auto declared = [](const std::string& encoding, const std::string& text) {
        return propertyListFromXML("<?xml version=\"1.0\" encoding=\"" + encoding + "\"?>\n<plist><string>" +
                                   text + "</string></plist>");
    };
    EXPECT_EQ(declared("ISO-8859-1", "\xE9"), PropertyList("é"));
    EXPECT_EQ(declared("windows-1252", "\x80"), PropertyList("€"));
    EXPECT_EQ(declared("Shift_JIS", "\x93\xFA\x96\x7B"), PropertyList("日本"));
    EXPECT_EQ(declared("utf-8", "é"), PropertyList("é"));
    EXPECT_EQ(declared("US-ASCII", "e"), PropertyList("e"));
    EXPECT_EQ(declared("no-such-encoding", "e"), std::nullopt);
    EXPECT_EQ(declared("UTF-8//IGNORE", "e\xFF"), std::nullopt);
    EXPECT_EQ(declared("../../ISO-8859-1", "e"), std::nullopt);
    EXPECT_EQ(declared("EUC-JP", "\x8F\xFF"), std::nullopt);
}

TEST(XMLPropertyListReading, Containers_are_read_down_to_the_greatest_depth_and_no_further) {
    const auto nested = [](std::size_t depth) {
        std::string document = "<plist>";
        for (std::size_t level = 0; level < depth; ++level)
            document += "<array>";
        for (std::size_t level = 0; level < depth; ++level)
            document += "</array>";
        return document + "</plist>";
    };
    EXPECT_EQ(propertyListFromXML(nested(maximumPropertyListDepth)),
              test::nestedArrays(maximumPropertyListDepth));
    EXPECT_EQ(propertyListFromXML(nested(maximumPropertyListDepth + 1)), std::nullopt);
    EXPECT_EQ(propertyListFromXML(nested(100'000)), std::nullopt);
    EXPECT_EQ(propertyListFromXML(nested(1'000'000)), std::nullopt);
}

TEST(XMLPropertyListReading, A_hundred_thousand_keys_in_falling_order_take_no_quadratic_time) {
    std::string document = "<plist><dict>";
    for (int key = 200'000; key > 100'000; --key)
        document += "<key>" + std::to_string(key) + "</key><true/>";
    document += "</dict></plist>";
    const auto start = std::chrono::steady_clock::now();
    const auto value = propertyListFromXML(document);
    const auto duration = std::chrono::steady_clock::now() - start;
    ASSERT_TRUE(value && value->dictionary());
    EXPECT_EQ(value->dictionary()->size(), 100'000u);
    EXPECT_EQ(value->dictionary()->begin()->key, "100001");
    EXPECT_LT(duration, std::chrono::seconds(10));
}

TEST(XMLPropertyListReading, A_file_cut_short_anywhere_is_refused) {
    const std::string document = *xmlFromPropertyList(PropertyList::Array{
        "text", PropertyList::Data("data"), PropertyList::Date{0}, test::nestedDictionaries(3)});
    // The line feed at the end may be missing.
    for (std::size_t size = 0; size + 1 < document.size(); ++size) {
        EXPECT_EQ(propertyListFromBytes(std::string_view(document).substr(0, size)), std::nullopt) << size;
    }
}

} // namespace
} // namespace mox
