#include "Platform/Linux/TrashInformation.hpp"

#include <gtest/gtest.h>

#include <string>

namespace mox::test {
namespace {

/// 7 March 2009, 4:05:06 in the morning.
std::tm earlyMorning() {
    std::tm date = {};
    date.tm_year = 109;
    date.tm_mon = 2;
    date.tm_mday = 7;
    date.tm_hour = 4;
    date.tm_min = 5;
    date.tm_sec = 6;
    return date;
}

std::string pathLineFor(std::string_view path) {
    const std::string text = trashInformation(path, earlyMorning());
    const std::size_t start = text.find('\n') + 1;
    return text.substr(start, text.find('\n', start) - start);
}

TEST(TrashInformation, Has_a_heading_the_path_and_the_date) {
    EXPECT_EQ(trashInformation("/home/u/Word.app", earlyMorning()),
              "[Trash Info]\nPath=/home/u/Word.app\nDeletionDate=2009-03-07T04:05:06\n");
}

TEST(TrashInformation, Encodes_every_byte_that_is_no_plain_letter_digit_or_mark) {
    EXPECT_EQ(pathLineFor("/a b%c=d"), "Path=/a%20b%25c%3Dd");
    EXPECT_EQ(pathLineFor("AZaz09-_.~/"), "Path=AZaz09-_.~/");
    EXPECT_EQ(pathLineFor("caf\xc3\xa9"), "Path=caf%C3%A9");
    EXPECT_EQ(pathLineFor("\xff\xfe\x80"), "Path=%FF%FE%80");
    EXPECT_EQ(pathLineFor(std::string("\0\x1b\x7f", 3)), "Path=%00%1B%7F");
}

TEST(TrashInformation, Lets_no_name_add_a_line_of_its_own) {
    EXPECT_EQ(pathLineFor("a\nPath=/etc/passwd\r"), "Path=a%0APath%3D/etc/passwd%0D");
}

TEST(NameInTrash, Is_the_items_own_at_first_and_numbered_before_the_extension_then) {
    EXPECT_EQ(nameInTrash("Word.app", 1), "Word.app");
    EXPECT_EQ(nameInTrash("Word.app", 2), "Word.2.app");
    EXPECT_EQ(nameInTrash("Word.app", 100000), "Word.100000.app");
    EXPECT_EQ(nameInTrash("Word", 2), "Word.2");
    EXPECT_EQ(nameInTrash(".app", 2), ".app.2");
    EXPECT_EQ(nameInTrash("a.b.app", 3), "a.b.3.app");
}

TEST(NameInTrash, Leaves_room_for_the_extension_of_the_information_file) {
    EXPECT_EQ(nameInTrash(std::string(245, 'x'), 1), std::string(245, 'x'));
    EXPECT_EQ(nameInTrash(std::string(255, 'x'), 1), std::string(245, 'x'));
    EXPECT_EQ(nameInTrash(std::string(255, 'x'), 12), std::string(242, 'x') + ".12");
    EXPECT_EQ(nameInTrash(std::string(251, 'x') + ".app", 1), std::string(241, 'x') + ".app");
    EXPECT_EQ(nameInTrash(std::string(251, 'x') + ".app", 2), std::string(239, 'x') + ".2.app");
}

TEST(NameInTrash, Gives_up_an_extension_that_leaves_no_room) {
    const std::string name = "a." + std::string(253, 'x');
    EXPECT_EQ(nameInTrash(name, 1), name.substr(0, 245));
    EXPECT_EQ(nameInTrash(name, 2), name.substr(0, 243) + ".2");
}

TEST(NameInTrash, Is_not_cut_within_a_character) {
    std::string name;
    while (name.size() < 252)
        name += "\xe2\x82\xac";
    EXPECT_EQ(nameInTrash(name, 1), name.substr(0, 243));
    EXPECT_EQ(nameInTrash("x" + name, 1), ("x" + name).substr(0, 244));
    EXPECT_EQ(nameInTrash("xx" + name, 1), ("xx" + name).substr(0, 245));
}

TEST(NameInTrash, Cuts_bytes_that_are_no_text_anywhere) {
    const std::string name(255, '\x80');
    EXPECT_EQ(nameInTrash(name, 1), name.substr(0, 245));
}

} // namespace
} // namespace mox::test
