// What we write is read by GLib to the same values, and taken by GIO for a program that can be started.

#include "Formats/DesktopEntry.hpp"
#include "Formats/DesktopEntryReading.hpp"
#include "Formats/GLibDesktopEntry.hpp"
#include "Foundation/UnicodeText.hpp"
#include "Support/HostileTexts.hpp"
#include "Support/ScratchFolder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <gio/gdesktopappinfo.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace mox::test {
namespace {

using testing::ElementsAre;

std::string carried(const std::string& text) {
    return carriedText(repairedUTF8(text));
}

/// Of hostile file names, those that a path in an entry may have.
std::vector<std::string> carriableNames() {
    std::vector<std::string> names = hostileFileNames();
    std::erase_if(
        names, [](const std::string& name) { return carried(name) != name || name.find('=') != name.npos; });
    return names;
}

DesktopEntry entryFor(const std::string& folder, const std::string& name) {
    return {.bundle = folder,
            .program = folder + "/launcher",
            .name = name,
            .comment = "About " + name,
            .icon = "moxsubscribe-icon",
            .documentTypes = {"text/plain", "application/x-a"}};
}

using Application = std::unique_ptr<GDesktopAppInfo, decltype(&g_object_unref)>;

/// What GIO makes of an entry; null when it is none, or its program cannot be started.
Application applicationOf(const Bytes& text) {
    const std::unique_ptr<GKeyFile, decltype(&g_key_file_unref)> file(g_key_file_new(), &g_key_file_unref);
    const bool isRead =
        g_key_file_load_from_data(file.get(), text.data(), text.size(), G_KEY_FILE_NONE, nullptr) == TRUE;
    return {isRead ? g_desktop_app_info_new_from_keyfile(file.get()) : nullptr, &g_object_unref};
}

TEST(DesktopEntryInGLib, Has_the_values_that_were_given) {
    for (const std::string& text : hostileTexts()) {
        SCOPED_TRACE(text.substr(0, 40));
        const auto written = desktopEntryText(entryFor("/a/Word.app", text));
        ASSERT_TRUE(written);
        const auto values = glibDesktopEntry(*written);
        ASSERT_TRUE(values);
        EXPECT_EQ(values->at("Type"), "Application");
        EXPECT_EQ(values->at("Name"), carried(text));
        EXPECT_EQ(values->at("Comment"), carried("About " + text));
        EXPECT_EQ(values->at("Icon"), "moxsubscribe-icon");
        EXPECT_EQ(values->at("X-MOXSubscribe-Bundle"), "/a/Word.app");
        EXPECT_EQ(values->size(), 11U);
        EXPECT_THAT(glibListInDesktopEntry(*written, "MimeType").value(),
                    ElementsAre("text/plain", "application/x-a"));
        EXPECT_THAT(glibListInDesktopEntry(*written, "Categories").value(),
                    ElementsAre("Network", "RemoteAccess"));
    }
}

TEST(DesktopEntryInGLib, Starts_the_program_at_whatever_path_with_the_file_as_it_is) {
    for (const std::string& name : carriableNames()) {
        SCOPED_TRACE(name);
        const DesktopEntry entry = entryFor("/" + name + "/ " + name, "Word");
        const auto values = glibDesktopEntry(desktopEntryText(entry).value());
        ASSERT_TRUE(values);
        EXPECT_EQ(values->at("X-MOXSubscribe-Bundle"), entry.bundle);
        EXPECT_EQ(values->at("TryExec"), entry.program);
        const auto arguments = glibArguments(values->at("Exec"), "-a 'b'");
        ASSERT_TRUE(arguments);
        if (name.find('%') == name.npos) {
            EXPECT_THAT(*arguments, ElementsAre(entry.program, "-a 'b'"));
        } else {
            EXPECT_THAT(*arguments, ElementsAre("/usr/bin/env", entry.program, "-a 'b'"));
        }
    }
}

TEST(DesktopEntryInGLib, The_readers_here_refuse_what_is_no_entry) {
    EXPECT_EQ(glibDesktopEntry("no key file"), std::nullopt);
    EXPECT_EQ(glibDesktopEntry("[Desktop Entry]\nName=a\n[Other]\n"), std::nullopt);
    EXPECT_EQ(glibDesktopEntry("[Desktop Entry]\nName=\\q\n"), std::nullopt);
    EXPECT_EQ(glibListInDesktopEntry("[Desktop Entry]\n", "MimeType"), std::nullopt);
    EXPECT_EQ(glibArguments("\"open", "file"), std::nullopt);
    EXPECT_EQ(glibArguments("\"a\" %u", "file"), std::nullopt);
}

TEST(DesktopEntryInGIO, Is_an_application_with_its_name_comment_icon_and_types_while_its_program_is_there) {
    const ScratchFolder scratch;
    for (const std::string& name : carriableNames()) {
        SCOPED_TRACE(name);
        const std::string folder = scratch.path(name);
        ASSERT_EQ(::mkdir(folder.c_str(), 0700), 0);
        const DesktopEntry entry = entryFor(folder, name);
        ASSERT_EQ(::chmod(scratch.write(name + "/launcher", "#!/bin/sh\n").c_str(), 0700), 0);

        const Bytes text = desktopEntryText(entry).value();
        const Application application = applicationOf(text);
        ASSERT_NE(application, nullptr) << text;
        GAppInfo* const information = G_APP_INFO(application.get());
        EXPECT_EQ(g_app_info_get_name(information), name);
        EXPECT_EQ(g_app_info_get_description(information), "About " + name);
        EXPECT_TRUE(g_app_info_should_show(information));
        const char* const* types = g_app_info_get_supported_types(information);
        EXPECT_THAT(std::vector<std::string>(types, types + g_strv_length(const_cast<char**>(types))),
                    ElementsAre("text/plain", "application/x-a"));
        const std::unique_ptr<char, decltype(&g_free)> icon(
            g_icon_to_string(g_app_info_get_icon(information)), &g_free);
        EXPECT_STREQ(icon.get(), "moxsubscribe-icon");

        ASSERT_EQ(::unlink(entry.program.c_str()), 0);
        EXPECT_EQ(applicationOf(text), nullptr) << "without its program it is none";
    }
}

} // namespace
} // namespace mox::test
