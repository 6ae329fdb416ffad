#include "Platform/Linux/MIMEDatabase.hpp"
#include "Platform/StubDesktop.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

namespace mox {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class MIMEDatabaseTest : public testing::Test {
protected:
    test::StubDesktop desktop;

    void write(const std::string& file, std::string_view content) {
        desktop.writeFile(desktop.sharedFolder + "/mime/" + file, content);
    }
    void writeOwn(const std::string& file, std::string_view content) {
        desktop.writeFile(desktop.dataFolder + "/mime/" + file, content);
    }

    MIMEDatabase database() {
        return *MIMEDatabase::read(desktop.fileSystem, {desktop.dataFolder, desktop.sharedFolder},
                                   "application/x-ours-");
    }
};

TEST_F(MIMEDatabaseTest, Without_any_files_nothing_is_known) {
    EXPECT_THAT(database().typesOfExtension("txt"), IsEmpty());
    EXPECT_THAT(database().lineageOfType("a/b"), ElementsAre("a/b"));
    EXPECT_EQ(database().properNameOfType("a/b"), "a/b");
}

TEST_F(MIMEDatabaseTest, An_extension_has_its_most_important_type) {
    write("globs2", "# comment\n50:a/low:*.x\n80:a/high:*.x\n10:a/lowest:*.x\n50:a/y:*.y\n");
    EXPECT_THAT(database().typesOfExtension("x"), ElementsAre("a/high"));
    EXPECT_THAT(database().typesOfExtension("y"), ElementsAre("a/y"));
    EXPECT_THAT(database().typesOfExtension("z"), IsEmpty());
}

TEST_F(MIMEDatabaseTest, Types_that_are_equally_important_are_all_told_once) {
    write("globs2", "50:a/one:*.x\n50:a/two:*.x\n50:a/one:*.x\n");
    EXPECT_THAT(database().typesOfExtension("x"), UnorderedElementsAre("a/one", "a/two"));
}

TEST_F(MIMEDatabaseTest, Capital_letters_do_not_matter_unless_the_pattern_says_so) {
    write("globs2", "50:a/c:*.c\n50:a/cpp:*.C:cs\n50:a/t:*.TXT\n");
    EXPECT_THAT(database().typesOfExtension("c"), ElementsAre("a/c"));
    EXPECT_THAT(database().typesOfExtension("C"), UnorderedElementsAre("a/c", "a/cpp"));
    EXPECT_THAT(database().typesOfExtension("tXt"), ElementsAre("a/t"));
}

TEST_F(MIMEDatabaseTest, An_extension_of_several_pieces_has_the_type_of_its_longest_known_ending) {
    write("globs2", "50:a/gz:*.gz\n50:a/targz:*.tar.gz\n");
    EXPECT_THAT(database().typesOfExtension("tar.gz"), ElementsAre("a/targz"));
    EXPECT_THAT(database().typesOfExtension("old.tar.gz"), ElementsAre("a/targz"));
    EXPECT_THAT(database().typesOfExtension("doc.gz"), ElementsAre("a/gz"));
    EXPECT_THAT(database().typesOfExtension("gz."), IsEmpty());
}

TEST_F(MIMEDatabaseTest, Patterns_other_than_extensions_and_damaged_lines_tell_nothing) {
    write("globs2",
          "50:a/b:x*.e\n50:a/b:*.e[0-9]\n50:a/b:e\nx:a/b:*.e\n50:*.e\n\n:::\n50:a;b/c:*.e\n50:ab:*.e\n"
          "50:a/b\x01:*.e\n50:a/[Group]:*.e");
    EXPECT_THAT(database().typesOfExtension("e"), IsEmpty());
    EXPECT_THAT(database().typesOfExtension("e[0-9]"), IsEmpty());
}

TEST_F(MIMEDatabaseTest, A_preferred_folder_may_take_back_what_others_say_of_a_type) {
    write("globs2", "50:a/b:*.x\n50:a/c:*.x\n");
    writeOwn("globs2", "0:a/b:__NOGLOBS__\n50:a/b:*.y\n");
    EXPECT_THAT(database().typesOfExtension("x"), ElementsAre("a/c"));
    EXPECT_THAT(database().typesOfExtension("y"), ElementsAre("a/b"));
}

TEST_F(MIMEDatabaseTest, Types_of_our_own_are_left_out) {
    writeOwn("globs2", "50:application/x-ours-1:*.x\n");
    EXPECT_THAT(database().typesOfExtension("x"), IsEmpty());
}

TEST_F(MIMEDatabaseTest, The_lineage_of_a_type_goes_up_over_all_its_parents_by_their_proper_names) {
    write("subclasses", "a/child a/alias\na/child b/other\na/parent c/top\nc/top a/child\n");
    write("aliases", "a/alias a/parent\na/nick a/child\n");
    EXPECT_THAT(database().lineageOfType("a/nick"), ElementsAre("a/child", "a/parent", "b/other", "c/top"));
    EXPECT_EQ(database().properNameOfType("a/nick"), "a/child");
}

TEST_F(MIMEDatabaseTest, Every_kind_of_text_is_plain_text) {
    EXPECT_THAT(database().lineageOfType("text/x-a"), ElementsAre("text/x-a", "text/plain"));
    EXPECT_THAT(database().lineageOfType("text/plain"), ElementsAre("text/plain"));
}

TEST_F(MIMEDatabaseTest, A_file_that_is_there_and_cannot_be_read_is_an_error) {
    write("globs2", "");
    for (std::size_t call = 1; call <= 6; ++call) {
        desktop.fileSystem.failCall(test::FileSystemOperation::ContentsOfFile, call, EIO,
                                    test::FaultDuration::Once);
        EXPECT_FALSE(MIMEDatabase::read(desktop.fileSystem, {desktop.dataFolder, desktop.sharedFolder}, ""))
            << call;
    }
}

} // namespace
} // namespace mox
