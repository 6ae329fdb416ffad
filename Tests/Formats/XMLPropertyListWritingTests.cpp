#include "Formats/CanonicalPropertyListReading.hpp"
#include "Formats/PropertyListReading.hpp"
#include "Formats/PropertyListSamples.hpp"
#include "Formats/PropertyListWriting.hpp"

#include <gtest/gtest.h>

#include <clocale>
#include <limits>

namespace mox {
namespace {

using namespace std::string_literals;
using test::xmlDocument;

TEST(XMLPropertyListWriting, The_layout_is_the_platforms_to_the_byte) {
    PropertyList::Dictionary applications;
    applications.set("Folders", PropertyList::Dictionary());
    applications.set("List", PropertyList::Array());
    PropertyList::Dictionary root;
    root.set("SchemaVersion", PropertyList::integer(1));
    root.set("Icon", PropertyList::Data("hello"));
    root.set("Applications", applications);
    root.set("Values",
             PropertyList::Array{PropertyList::boolean(true), PropertyList::boolean(false),
                                 PropertyList::real(0), PropertyList::real(0.1),
                                 PropertyList::Date{86'400.75}, PropertyList::Data(""), "", "text"});
    EXPECT_EQ(xmlFromPropertyList(root), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                         "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                                         "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                                         "<plist version=\"1.0\">\n"
                                         "<dict>\n"
                                         "\t<key>Applications</key>\n"
                                         "\t<dict>\n"
                                         "\t\t<key>Folders</key>\n"
                                         "\t\t<dict/>\n"
                                         "\t\t<key>List</key>\n"
                                         "\t\t<array/>\n"
                                         "\t</dict>\n"
                                         "\t<key>Icon</key>\n"
                                         "\t<data>\n"
                                         "\taGVsbG8=\n"
                                         "\t</data>\n"
                                         "\t<key>SchemaVersion</key>\n"
                                         "\t<integer>1</integer>\n"
                                         "\t<key>Values</key>\n"
                                         "\t<array>\n"
                                         "\t\t<true/>\n"
                                         "\t\t<false/>\n"
                                         "\t\t<real>0.0</real>\n"
                                         "\t\t<real>0.10000000000000001</real>\n"
                                         "\t\t<date>2001-01-02T00:00:00Z</date>\n"
                                         "\t\t<data>\n"
                                         "\t\t</data>\n"
                                         "\t\t<string></string>\n"
                                         "\t\t<string>text</string>\n"
                                         "\t</array>\n"
                                         "</dict>\n"
                                         "</plist>\n");
}

TEST(XMLPropertyListWriting, Keys_stand_in_the_order_of_UTF16_code_units) {
    PropertyList::Dictionary root;
    for (const char* key : {"\uFB01", "\U0001F600", "b", "a", "B", "é"})
        root.set(key, PropertyList::boolean(true));
    EXPECT_EQ(xmlFromPropertyList(root),
              xmlDocument("<dict>\n\t<key>B</key>\n\t<true/>\n\t<key>a</key>\n\t<true/>\n"
                          "\t<key>b</key>\n\t<true/>\n\t<key>é</key>\n\t<true/>\n"
                          "\t<key>\U0001F600</key>\n\t<true/>\n"
                          "\t<key>\uFB01</key>\n\t<true/>\n</dict>\n"));
}

TEST(XMLPropertyListWriting, Only_what_has_to_be_is_escaped_and_a_carriage_return_survives) {
    EXPECT_EQ(xmlFromPropertyList("&<>\"'\t\n\r\x7F"),
              xmlDocument("<string>&amp;&lt;&gt;\"'\t\n&#13;\x7F</string>\n"));
    PropertyList::Dictionary root;
    root.set("<\r>", "");
    EXPECT_EQ(xmlFromPropertyList(root),
              xmlDocument("<dict>\n\t<key>&lt;&#13;&gt;</key>\n\t<string></string>\n</dict>\n"));
}

TEST(XMLPropertyListWriting, An_empty_text_and_an_empty_key_have_elements_of_their_own) {
    PropertyList::Dictionary root;
    root.set("", "");
    EXPECT_EQ(xmlFromPropertyList(root),
              xmlDocument("<dict>\n\t<key></key>\n\t<string></string>\n</dict>\n"));
    EXPECT_EQ(propertyListFromXML(*xmlFromPropertyList(root)), PropertyList(root));
}

/// Texts are looked at by sixteen bytes at once, and the last ones together with what follows them.
TEST(XMLPropertyListWriting, What_has_to_be_escaped_or_refused_is_found_at_every_place_of_every_text) {
    const std::pair<char, const char*> escapes[] = {{'&', "&amp;"},  {'<', "&lt;"}, {'>', "&gt;"},
                                                    {'\r', "&#13;"}, {'\t', "\t"},  {'\n', "\n"},
                                                    {']', "]"}};
    for (std::size_t size = 1; size <= 50; ++size) {
        for (std::size_t place = 0; place < size; ++place) {
            std::string text(size, 'x');
            for (const auto& [character, escape] : escapes) {
                text[place] = character;
                std::string escapedText(size, 'x');
                escapedText.replace(place, 1, escape);
                ASSERT_EQ(xmlFromPropertyList(text), xmlDocument("<string>" + escapedText + "</string>\n"));
                ASSERT_EQ(propertyListFromCanonicalXML(*xmlFromPropertyList(text)), PropertyList(text));
            }
            text[place] = '\x01';
            ASSERT_EQ(xmlFromPropertyList(text), std::nullopt);
        }
    }
}

TEST(XMLPropertyListWriting, Each_line_is_indented_by_a_tab_for_every_container_around_it) {
    PropertyList value("text");
    std::string lines = "<string>text</string>\n";
    for (std::size_t depth = 1; depth <= 50; ++depth) {
        PropertyList::Dictionary dictionary;
        dictionary.set("key", std::move(value));
        value = PropertyList(std::move(dictionary));
        std::string inner = "<key>key</key>\n" + lines;
        for (std::size_t line = 0; line < inner.size(); line = inner.find('\n', line) + 1)
            inner.insert(line, "\t");
        lines = "<dict>\n" + inner + "</dict>\n";
        ASSERT_EQ(xmlFromPropertyList(value), xmlDocument(lines));
        ASSERT_EQ(propertyListFromCanonicalXML(xmlDocument(lines)), value);
    }
}

TEST(XMLPropertyListWriting, Data_stays_on_one_line_however_long) {
    EXPECT_EQ(xmlFromPropertyList(PropertyList::Data(Bytes(300, '\0'))),
              xmlDocument("<data>\n" + std::string(400, 'A') + "\n</data>\n"));
}

TEST(XMLPropertyListWriting, Numbers_are_written_exactly) {
    const auto written = [](const PropertyList& value) { return xmlFromPropertyList(value); };
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(written(PropertyList::real(infinity)), xmlDocument("<real>+infinity</real>\n"));
    EXPECT_EQ(written(PropertyList::real(-infinity)), xmlDocument("<real>-infinity</real>\n"));
    EXPECT_EQ(written(PropertyList::real(std::numeric_limits<double>::quiet_NaN())),
              xmlDocument("<real>nan</real>\n"));
    EXPECT_EQ(written(PropertyList::real(-1e300)), xmlDocument("<real>-1.0000000000000001e+300</real>\n"));
    EXPECT_EQ(written(PropertyList::real(3)), xmlDocument("<real>3</real>\n"));
    EXPECT_EQ(written(PropertyList::integer(std::numeric_limits<std::int64_t>::min())),
              xmlDocument("<integer>-9223372036854775808</integer>\n"));
    EXPECT_EQ(written(PropertyList::unsignedInteger(std::numeric_limits<std::uint64_t>::max())),
              xmlDocument("<integer>18446744073709551615</integer>\n"));
}

TEST(XMLPropertyListWriting, Dates_reach_from_the_first_day_of_year_1_to_the_last_of_9999) {
    const double first = -63'113'904'000;
    const double last = 252'423'993'599;
    EXPECT_EQ(xmlFromPropertyList(PropertyList::Date{first}),
              xmlDocument("<date>0001-01-01T00:00:00Z</date>\n"));
    EXPECT_EQ(xmlFromPropertyList(PropertyList::Date{last}),
              xmlDocument("<date>9999-12-31T23:59:59Z</date>\n"));
    EXPECT_EQ(xmlFromPropertyList(PropertyList::Date{-0.5}),
              xmlDocument("<date>2000-12-31T23:59:59Z</date>\n"));
    for (const double seconds : {first - 1, last + 1, 1e300, std::numeric_limits<double>::quiet_NaN()}) {
        const PropertyList date = PropertyList::Date{seconds};
        EXPECT_EQ(xmlFromPropertyList(date), std::nullopt);
        EXPECT_EQ(propertyListFromBytes(storedFormOfPropertyList(date).value()), date);
    }
}

TEST(XMLPropertyListWriting, What_XML_cannot_carry_is_stored_in_the_binary_form) {
    for (const char* text : {"\x01", "\x08", "\x0B", "\x0C", "\x0E", "\x1F", "\uFFFE", "\uFFFF", "a\uFFFF"}) {
        PropertyList::Dictionary asKey;
        asKey.set(text, "value");
        for (const PropertyList& value : {PropertyList(text), PropertyList(asKey)}) {
            EXPECT_EQ(xmlFromPropertyList(value), std::nullopt);
            const auto stored = storedFormOfPropertyList(value);
            ASSERT_TRUE(stored);
            EXPECT_TRUE(stored->starts_with("bplist00"));
            EXPECT_EQ(propertyListFromBytes(*stored), value);
        }
    }
    EXPECT_EQ(xmlFromPropertyList(std::string(1, '\0')), std::nullopt);
    EXPECT_EQ(xmlFromPropertyList(PropertyList::UID{1}), std::nullopt);
    EXPECT_TRUE(storedFormOfPropertyList("\uFFFD\uFFFC\uFEFF\uEFFF")->starts_with("<?xml"));
}

TEST(XMLPropertyListWriting, The_greatest_depth_is_written_and_read_and_anything_deeper_is_refused) {
    for (const auto& nested : {test::nestedArrays, test::nestedDictionaries}) {
        const PropertyList deepest = nested(maximumPropertyListDepth);
        const auto document = storedFormOfPropertyList(deepest);
        ASSERT_TRUE(document);
        EXPECT_TRUE(document->starts_with("<?xml"));
        EXPECT_EQ(propertyListFromBytes(*document), deepest);
        const PropertyList tooDeep = nested(maximumPropertyListDepth + 1);
        EXPECT_EQ(xmlFromPropertyList(tooDeep), std::nullopt);
        EXPECT_EQ(storedFormOfPropertyList(tooDeep), std::nullopt);
    }
    EXPECT_EQ(storedFormOfPropertyList(test::nestedArrays(100'000)), std::nullopt);
}

TEST(XMLPropertyListWriting, The_process_locale_has_no_influence) {
    const std::string previous = std::setlocale(LC_NUMERIC, nullptr);
    bool hasCommaLocale = false;
    for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "de_DE"}) {
        hasCommaLocale = hasCommaLocale || std::setlocale(LC_NUMERIC, name) != nullptr;
    }
    const auto written = xmlFromPropertyList(PropertyList::real(1.5));
    const auto read = propertyListFromXML("<real>1.5</real>");
    std::setlocale(LC_NUMERIC, previous.c_str());
    EXPECT_EQ(written, xmlDocument("<real>1.5</real>\n"));
    EXPECT_EQ(read, PropertyList::real(1.5));
    if (!hasCommaLocale) GTEST_SKIP() << "no locale with a decimal comma is installed";
}

} // namespace
} // namespace mox
