#include "Platform/Linux/MIMEHandlers.hpp"
#include "Platform/StubDesktop.hpp"

#include <gtest/gtest.h>

#include <cerrno>

namespace mox {
namespace {

class MIMEHandlersTest : public testing::Test {
protected:
    test::StubDesktop desktop;

    Result<MIMEHandlers> read() {
        const std::vector<std::string> dataFolders = {desktop.dataFolder, desktop.sharedFolder};
        return MIMEHandlers::read(desktop.fileSystem,
                                  {dataFolders, {desktop.configurationFolder}, {"xfce", "other"}},
                                  *MIMEDatabase::read(desktop.fileSystem, dataFolders, "none"), "ours-");
    }
    MIMEHandlers handlers() { return *read(); }

    void install(const std::string& program) {
        desktop.writeFile(desktop.sharedFolder + "/applications/" + program, "[Desktop Entry]\n");
    }
};

TEST_F(MIMEHandlersTest, A_program_in_a_cache_or_added_by_a_choice_is_a_handler) {
    desktop.writeFile(desktop.sharedFolder + "/applications/mimeinfo.cache",
                      "[MIME Cache]\na/b=x.desktop;y.desktop;\n[Other]\na/z=x.desktop\n");
    desktop.writeFile(desktop.configurationFolder + "/mimeapps.list",
                      "[Added Associations]\na/c=x.desktop\n[Removed Associations]\na/d=x.desktop\n");
    EXPECT_TRUE(handlers().hasHandler("a/b"));
    EXPECT_TRUE(handlers().hasHandler("a/c"));
    EXPECT_FALSE(handlers().hasHandler("a/d"));
    EXPECT_FALSE(handlers().hasHandler("a/z"));
    EXPECT_FALSE(handlers().hasChosenDefault("a/b"));
}

TEST_F(MIMEHandlersTest, Entries_of_ours_are_no_handlers) {
    desktop.writeFile(desktop.dataFolder + "/applications/mimeinfo.cache",
                      "[MIME Cache]\na/b=ours-1.desktop;\na/c=ours-1.desktop;x.desktop\n");
    EXPECT_FALSE(handlers().hasHandler("a/b"));
    EXPECT_TRUE(handlers().hasHandler("a/c"));
}

TEST_F(MIMEHandlersTest, A_handler_of_a_type_by_another_name_is_one_of_the_type) {
    desktop.writeFile(desktop.sharedFolder + "/mime/aliases", "a/nick a/b\n");
    desktop.writeFile(desktop.sharedFolder + "/applications/mimeinfo.cache",
                      "[MIME Cache]\na/nick=x.desktop\n");
    EXPECT_TRUE(handlers().hasHandler("a/b"));
}

TEST_F(MIMEHandlersTest, A_default_counts_where_it_is_installed) {
    install("x.desktop");
    desktop.writeFile(
        desktop.configurationFolder + "/mimeapps.list",
        "[Default Applications]\na/b=x.desktop\na/c=gone.desktop;\na/d=gone.desktop;x.desktop;\n");
    EXPECT_TRUE(handlers().hasChosenDefault("a/b"));
    EXPECT_FALSE(handlers().hasChosenDefault("a/c"));
    EXPECT_TRUE(handlers().hasChosenDefault("a/d"));
    EXPECT_FALSE(handlers().hasHandler("a/b"));
}

TEST_F(MIMEHandlersTest, Choices_stand_in_folders_of_settings_and_data_also_for_one_desktop) {
    install("x.desktop");
    int type = 0;
    for (const std::string& list :
         {desktop.configurationFolder + "/mimeapps.list", desktop.configurationFolder + "/xfce-mimeapps.list",
          desktop.configurationFolder + "/other-mimeapps.list",
          desktop.dataFolder + "/applications/mimeapps.list",
          desktop.sharedFolder + "/applications/mimeapps.list",
          desktop.sharedFolder + "/applications/xfce-mimeapps.list"}) {
        const std::string name = "a/" + std::to_string(++type);
        desktop.writeFile(list, "[Default Applications]\n" + name + "=x.desktop\n");
        EXPECT_TRUE(handlers().hasChosenDefault(name)) << list;
    }
    desktop.writeFile(desktop.configurationFolder + "/kde-mimeapps.list",
                      "[Default Applications]\na/kde=x.desktop\n");
    EXPECT_FALSE(handlers().hasChosenDefault("a/kde"));
}

TEST_F(MIMEHandlersTest, Damaged_lists_tell_nothing) {
    desktop.writeFile(desktop.sharedFolder + "/applications/mimeinfo.cache",
                      "a/b=x\n[MIME Cache\n=\n===\n;;\n[\n]\n[MIME Cache]\na/c\na/d=;;;\n");
    EXPECT_FALSE(handlers().hasHandler("a/b"));
    EXPECT_FALSE(handlers().hasHandler("a/c"));
    EXPECT_FALSE(handlers().hasHandler("a/d"));
}

TEST_F(MIMEHandlersTest, A_list_that_is_there_and_cannot_be_read_is_an_error) {
    // The database's six files are read before.
    for (std::size_t call = 7; call <= 7 + 10; ++call) {
        desktop.fileSystem.failCall(test::FileSystemOperation::ContentsOfFile, call, EACCES,
                                    test::FaultDuration::Once);
        EXPECT_FALSE(read()) << call;
    }
}

} // namespace
} // namespace mox
