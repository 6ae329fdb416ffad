#include "Formats/DesktopEntryReading.hpp"
#include "Formats/ImageCoding.hpp"
#include "Foundation/UnicodeText.hpp"
#include "Platform/StubDesktop.hpp"
#include "Support/FolderInspection.hpp"
#include "Support/HostileTexts.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace mox {
namespace {

using test::StubContents;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using testing::UnorderedElementsAre;

class LinuxLaunchRegistrationTest : public testing::Test {
protected:
    test::StubDesktop desktop;
    LinuxLaunchRegistration& registration = desktop.registration;

    /// Registers a stub with `contents`, which must succeed.
    std::string registerStub(const std::string& relativePath, const StubContents& contents = {}) {
        const std::string stub = desktop.writeStub(relativePath, contents);
        EXPECT_EQ(registration.registerBundle(stub), 0);
        return stub;
    }

    /// The name, without folder and extension, under which the only entry was written.
    std::string nameOfOnlyEntry() {
        const std::vector<std::string> paths = desktop.pathsOfFiles(".desktop");
        EXPECT_EQ(paths.size(), 1U);
        const std::string path = paths.empty() ? "applications/.desktop" : paths[0];
        return path.substr(13, path.size() - 13 - 8);
    }

    void moveOnDisk(const std::string& source, const std::string& destination) {
        ASSERT_EQ(std::rename(source.c_str(), destination.c_str()), 0);
    }

    void removeOnDisk(const std::string& path) { ASSERT_TRUE(desktop.disk.removeItem(path)); }
};

TEST_F(LinuxLaunchRegistrationTest, Making_a_registration_writes_nothing) {
    EXPECT_EQ(desktop.disk.itemKindAtPath(desktop.dataFolder), ItemKind::Missing);
    EXPECT_THAT(desktop.caches.refreshes, IsEmpty());
}

TEST_F(LinuxLaunchRegistrationTest, A_stub_gets_an_entry_that_tells_its_name_comment_icon_and_launcher) {
    const std::string stub = registerStub("Word.app");
    const std::string name = nameOfOnlyEntry();
    EXPECT_EQ(desktop.onlyEntry(), "[Desktop Entry]\n"
                                   "Type=Application\n"
                                   "Version=1.4\n"
                                   "X-MOXSubscribe-Bundle=" +
                                       stub +
                                       "\n"
                                       "Name=Word\n"
                                       "Comment=Writes letters\n"
                                       "Icon=" +
                                       name +
                                       "\n"
                                       "TryExec=" +
                                       stub +
                                       "/Contents/MacOS/launcher\n"
                                       "Exec=\"" +
                                       stub +
                                       "/Contents/MacOS/launcher\" %F\n"
                                       "Terminal=false\n"
                                       "Categories=Network;RemoteAccess;\n");
}

TEST_F(LinuxLaunchRegistrationTest, The_icon_goes_into_the_folder_of_each_of_its_sizes) {
    registerStub("Word.app", {.iconSides = {16, 32, 256, 1024}});
    const std::string file = "/apps/" + nameOfOnlyEntry() + ".png";
    EXPECT_THAT(desktop.pathsOfFiles(".png"),
                ElementsAre("icons/hicolor/16x16" + file, "icons/hicolor/256x256" + file,
                            "icons/hicolor/32x32" + file, "icons/hicolor/512x512@2" + file));
    const auto image = imageFromBytes(desktop.files().at("icons/hicolor/32x32" + file));
    ASSERT_TRUE(image);
    EXPECT_EQ(image->representations.at(0).pixelsWide, 32U);
}

TEST_F(LinuxLaunchRegistrationTest, A_picture_that_is_a_PNG_file_in_the_stub_is_the_same_file_in_the_theme) {
    const std::string stub = registerStub("Word.app", {.iconSides = {256}});
    const Bytes icon = test::bytesOfFile(stub + "/Contents/Resources/DockApplication.icns");
    const Bytes file = desktop.files().at("icons/hicolor/256x256/apps/" + nameOfOnlyEntry() + ".png");
    ASSERT_GT(file.size(), 100U);
    EXPECT_NE(icon.find(file), icon.npos);
}

TEST_F(LinuxLaunchRegistrationTest, A_picture_that_is_a_damaged_PNG_file_is_left_out) {
    const std::string stub = desktop.writeStub("Word.app", {.iconSides = {16, 256}});
    const std::string path = stub + "/Contents/Resources/DockApplication.icns";
    Bytes icon = test::bytesOfFile(path);
    icon.at(icon.size() - 20) = static_cast<char>(icon.at(icon.size() - 20) ^ 1);
    desktop.writeFile(path, icon);
    EXPECT_EQ(registration.registerBundle(stub), 0);
    EXPECT_THAT(desktop.pathsOfFiles(".png"),
                ElementsAre("icons/hicolor/16x16/apps/" + nameOfOnlyEntry() + ".png"));
}

TEST_F(LinuxLaunchRegistrationTest, Stubs_in_a_batch_have_their_own_icons_whether_equal_or_not) {
    const LaunchRegistrationBatch batch(registration);
    std::vector<std::vector<std::string>> folders;
    for (const std::vector<std::uint32_t>& sides :
         {std::vector<std::uint32_t>{16, 48}, {16, 48}, {}, {32}, {16, 48}}) {
        const std::string stub = registerStub("Word.app", {.iconSides = sides});
        folders.push_back(desktop.pathsOfFiles(".png"));
        for (std::string& path : folders.back())
            path = path.substr(0, path.find("/apps/"));
        registration.bundleRemoved(stub);
    }
    const std::vector<std::string> two = {"icons/hicolor/16x16", "icons/hicolor/48x48"};
    EXPECT_THAT(folders, ElementsAre(two, two, IsEmpty(), ElementsAre("icons/hicolor/32x32"), two));
}

TEST_F(LinuxLaunchRegistrationTest, A_stub_without_a_readable_icon_has_an_entry_without_icon) {
    const std::string stub = desktop.writeStub("Word.app");
    desktop.writeFile(stub + "/Contents/Resources/DockApplication.icns", "no icon");
    EXPECT_EQ(registration.registerBundle(stub), 0);
    EXPECT_EQ(desktop.lineOfOnlyEntry("Icon"), std::nullopt);
    EXPECT_THAT(desktop.pathsOfFiles(".png"), IsEmpty());
}

TEST_F(LinuxLaunchRegistrationTest, A_stub_without_a_name_is_called_after_its_path) {
    registerStub("Far Word.app", {.name = std::nullopt, .description = std::nullopt});
    EXPECT_EQ(desktop.lineOfOnlyEntry("Name"), "Far Word");
    EXPECT_EQ(desktop.lineOfOnlyEntry("Comment"), std::nullopt);
}

TEST_F(LinuxLaunchRegistrationTest, Two_stubs_of_one_name_have_entries_of_their_own) {
    const std::string first = registerStub("A/Word.app");
    const std::string second = registerStub("B/Word.app");
    EXPECT_THAT(desktop.registeredBundles(), ElementsAre(first, second));
}

TEST_F(LinuxLaunchRegistrationTest, Spellings_of_one_path_share_the_entry) {
    const std::string stub = registerStub("Word.app");
    EXPECT_EQ(registration.registerBundle(desktop.applications + "//Word.app/"), 0);
    EXPECT_THAT(desktop.registeredBundles(), ElementsAre(stub));
}

TEST_F(LinuxLaunchRegistrationTest, Registering_again_makes_current_what_is_known) {
    registerStub("Word.app", {.name = "Word", .iconSides = {16, 48}});
    registerStub("Word.app", {.name = "Better Word", .iconSides = {48, 128}});
    EXPECT_EQ(desktop.lineOfOnlyEntry("Name"), "Better Word");
    EXPECT_THAT(desktop.pathsOfFiles(".png"),
                ElementsAre(StartsWith("icons/hicolor/128x128/"), StartsWith("icons/hicolor/48x48/")));
}

TEST_F(LinuxLaunchRegistrationTest, Registering_what_is_known_already_changes_nothing) {
    const std::string stub = registerStub("Word.app", {.documentTypes = {{"Words", {"xyzword"}}}});
    desktop.caches.refreshes.clear();
    desktop.fileSystem.resetCounts();
    EXPECT_EQ(registration.registerBundle(stub), 0);
    EXPECT_EQ(desktop.fileSystem.count(test::FileSystemOperation::WriteFileAtomically), 0U);
    EXPECT_THAT(desktop.caches.refreshes, IsEmpty());
}

TEST_F(LinuxLaunchRegistrationTest, An_entry_of_somebody_else_is_never_overwritten_or_removed) {
    const std::string stub = registerStub("Word.app");
    const std::string entry = desktop.dataFolder + "/" + desktop.pathsOfFiles(".desktop").at(0);
    for (const std::string text : {"[Desktop Entry]\nType=Application\nName=Mine\nExec=mine\n",
                                   "[Desktop Entry]\nX-MOXSubscribe-Bundle=/elsewhere/Word.app\n", ""}) {
        desktop.writeFile(entry, text);
        const auto before = desktop.files();
        EXPECT_EQ(registration.registerBundle(stub), EEXIST) << text;
        registration.bundleMoved(stub, stub + "2");
        registration.bundleRemoved(stub);
        registration.bundleRemoved(desktop.applications);
        registration.reconcile({stub});
        EXPECT_EQ(desktop.files(), before) << text;
    }
}

TEST_F(LinuxLaunchRegistrationTest, A_copy_of_an_entry_under_another_name_belongs_to_who_made_it) {
    const std::string stub = registerStub("Word.app");
    const std::string text = desktop.onlyEntry();
    const std::vector<std::string> names = {"moxsubscribe-mine.desktop", "word.desktop"};
    for (const std::string& name : names)
        desktop.writeFile(desktop.dataFolder + "/applications/" + name, text);
    removeOnDisk(stub);
    registration.bundleRemoved(stub);
    registration.bundleRemoved(desktop.applications);
    registration.reconcile({});
    EXPECT_EQ(test::namesIn(desktop.dataFolder + "/applications"), names);
}

TEST_F(LinuxLaunchRegistrationTest, A_link_in_the_entry_s_place_that_leads_nowhere_is_left_alone) {
    const std::string stub = registerStub("Word.app");
    const std::string entry = desktop.dataFolder + "/" + desktop.pathsOfFiles(".desktop").at(0);
    registration.bundleRemoved(stub);
    ASSERT_EQ(::symlink("nowhere", entry.c_str()), 0);
    EXPECT_EQ(registration.registerBundle(stub), EEXIST);
    EXPECT_EQ(::unlink(entry.c_str()), 0);
}

TEST_F(LinuxLaunchRegistrationTest, What_cannot_be_registered_is_told_by_an_errno_value) {
    EXPECT_EQ(registration.registerBundle(desktop.applications + "/None.app"), ENOENT);
    EXPECT_EQ(registration.registerBundle("Relative.app"), EINVAL);
    EXPECT_EQ(registration.registerBundle(""), EINVAL);
    EXPECT_EQ(registration.registerBundle(desktop.writeStub("a=b.app")), EINVAL);
    EXPECT_EQ(registration.registerBundle(desktop.writeStub("a\033b.app")), EINVAL);
    EXPECT_EQ(registration.registerBundle(desktop.writeStub("a\xFF.app")), EINVAL);
    EXPECT_EQ(registration.registerBundle(desktop.writeStub("No.app", {.executable = std::nullopt})),
              ENOEXEC);
    const std::string damaged = desktop.writeStub("Damaged.app");
    desktop.writeFile(damaged + "/Contents/Info.plist", "<plist");
    EXPECT_EQ(registration.registerBundle(damaged), ENOEXEC);
    EXPECT_THAT(desktop.files(), IsEmpty());
    EXPECT_THAT(desktop.caches.refreshes, IsEmpty());
}

TEST_F(LinuxLaunchRegistrationTest, A_launcher_outside_its_folder_is_refused) {
    const std::string stub = desktop.writeStub("Word.app");
    for (const std::string executable : {"../x", "/bin/sh", "a/b", "..", ".", ""}) {
        desktop.writeFile(stub + "/Contents/Info.plist",
                          "<plist version=\"1.0\"><dict><key>CFBundleExecutable</key><string>" + executable +
                              "</string></dict></plist>");
        EXPECT_EQ(registration.registerBundle(stub), ENOEXEC) << executable;
    }
    EXPECT_THAT(desktop.files(), IsEmpty());
}

TEST_F(LinuxLaunchRegistrationTest, A_moved_stub_is_known_at_its_new_place_only) {
    const std::string stub = registerStub("Word.app", {.documentTypes = {{"Words", {"xyzword"}}}});
    const std::string moved = desktop.applications + "/Text.app";
    moveOnDisk(stub, moved);
    registration.bundleMoved(stub, moved);
    EXPECT_THAT(desktop.registeredBundles(), ElementsAre(moved));
    EXPECT_EQ(desktop.lineOfOnlyEntry("TryExec"), moved + "/Contents/MacOS/launcher");
    for (const auto& [path, content] : desktop.files())
        EXPECT_THAT(path, HasSubstr(nameOfOnlyEntry()));
}

TEST_F(LinuxLaunchRegistrationTest, A_moved_folder_takes_the_stubs_below_it_along_and_no_others) {
    const std::string within = registerStub("A/B/Word.app");
    const std::string beside = registerStub("AB/Word.app");
    moveOnDisk(desktop.applications + "/A", desktop.applications + "/C");
    registration.bundleMoved(desktop.applications + "/A/", desktop.applications + "/C");
    EXPECT_THAT(desktop.registeredBundles(),
                UnorderedElementsAre(beside, desktop.applications + "/C/B/Word.app"));
}

TEST_F(LinuxLaunchRegistrationTest, A_moved_stub_that_was_not_known_stays_so) {
    const std::string stub = desktop.writeStub("Word.app");
    const std::string moved = desktop.applications + "/Text.app";
    moveOnDisk(stub, moved);
    registration.bundleMoved(stub, moved);
    EXPECT_THAT(desktop.files(), IsEmpty());
}

TEST_F(LinuxLaunchRegistrationTest, A_stub_moved_onto_itself_stays_known) {
    const std::string stub = registerStub("Word.app");
    const auto before = desktop.files();
    registration.bundleMoved(stub, stub + "/");
    EXPECT_EQ(desktop.files(), before);
}

TEST_F(LinuxLaunchRegistrationTest, A_stub_moved_to_where_it_cannot_be_registered_is_known_nowhere) {
    const std::string stub = registerStub("Word.app");
    const std::string moved = desktop.applications + "/a=b.app";
    moveOnDisk(stub, moved);
    registration.bundleMoved(stub, moved);
    EXPECT_THAT(desktop.files(), IsEmpty());
}

TEST_F(LinuxLaunchRegistrationTest, Nothing_is_left_of_a_removed_stub) {
    const std::string stub = registerStub("Word.app", {.documentTypes = {{"Words", {"xyzword"}}}});
    EXPECT_THAT(desktop.files(), testing::SizeIs(4));
    removeOnDisk(stub);
    registration.bundleRemoved(stub);
    EXPECT_THAT(desktop.files(), IsEmpty());
}

TEST_F(LinuxLaunchRegistrationTest, A_folder_that_is_none_in_the_theme_or_database_keeps_no_entry) {
    for (const std::string place : {"icons", "icons/hicolor/48x48/apps", "mime", "mime/packages"}) {
        SCOPED_TRACE(place);
        const std::string path = desktop.dataFolder + "/" + place;
        const StubContents contents = {.documentTypes = {{"Words", {"xyzword"}}}};
        const std::string known = registerStub("Known.app", contents);
        removeOnDisk(path);
        desktop.writeFile(path, "a file");
        EXPECT_EQ(registration.registerBundle(desktop.writeStub("New.app", contents)), ENOTDIR);
        EXPECT_THAT(desktop.registeredBundles(), ElementsAre(known));
        registration.bundleRemoved(known);
        EXPECT_THAT(desktop.pathsOfFiles(), ElementsAre(place));

        removeOnDisk(path);
        ASSERT_EQ(::symlink(path.c_str(), path.c_str()), 0);
        EXPECT_EQ(registration.registerBundle(known), ELOOP);
        EXPECT_THAT(test::namesIn(desktop.dataFolder + "/applications"), IsEmpty());
        ASSERT_EQ(::unlink(path.c_str()), 0);
    }
}

TEST_F(LinuxLaunchRegistrationTest, A_link_under_the_name_of_a_file_that_is_being_written_is_not_followed) {
    const std::string stub = registerStub("Word.app");
    const std::string victim = desktop.scratch.write("victim", "kept");
    const auto whole = desktop.files();
    for (const std::string& path : desktop.pathsOfFiles(".png")) {
        const std::string name = path.substr(path.rfind('/') + 1);
        const std::string folder = desktop.dataFolder + "/" + path.substr(0, path.rfind('/') + 1);
        removeOnDisk(folder + name);
        ASSERT_EQ(::symlink(victim.c_str(), (folder + ".mox-" + name).c_str()), 0);
    }
    EXPECT_EQ(registration.registerBundle(stub), 0);
    EXPECT_EQ(desktop.files(), whole);
    EXPECT_EQ(test::bytesOfFile(victim), "kept");
}

TEST_F(LinuxLaunchRegistrationTest, A_removed_folder_takes_the_stubs_below_it_along_and_no_others) {
    registerStub("A/Word.app");
    registerStub("A/B/Word.app");
    const std::string beside = registerStub("AB/Word.app");
    registration.bundleRemoved(desktop.applications + "/A");
    EXPECT_THAT(desktop.registeredBundles(), ElementsAre(beside));
}

TEST_F(LinuxLaunchRegistrationTest, Reconciling_registers_what_is_new_and_forgets_what_is_gone) {
    const std::string kept = registerStub("Kept.app");
    const std::string gone = registerStub("Gone.app");
    const std::string elsewhere = registerStub("../Elsewhere.app");
    const std::string fresh = desktop.writeStub("New.app");
    removeOnDisk(gone);
    desktop.caches.refreshes.clear();
    registration.reconcile({kept, fresh});
    EXPECT_THAT(desktop.registeredBundles(), UnorderedElementsAre(kept, elsewhere, fresh));
    EXPECT_THAT(desktop.caches.refreshes, testing::SizeIs(1));
}

TEST_F(LinuxLaunchRegistrationTest, Reconciling_keeps_a_stub_that_cannot_be_looked_at_or_is_a_dangling_link) {
    const std::string stub = registerStub("Word.app");
    removeOnDisk(stub);
    ASSERT_EQ(::symlink("nowhere", stub.c_str()), 0);
    registration.reconcile({});
    EXPECT_THAT(desktop.registeredBundles(), ElementsAre(stub));
}

TEST_F(LinuxLaunchRegistrationTest, A_batch_refreshes_the_caches_once_for_all_that_changed) {
    {
        const LaunchRegistrationBatch outer(registration);
        const std::string stub = registerStub("Word.app");
        {
            const LaunchRegistrationBatch inner(registration);
            registerStub("Text.app", {.documentTypes = {{"Words", {"xyzword"}}}});
        }
        registration.bundleRemoved(stub);
        EXPECT_THAT(desktop.caches.refreshes, IsEmpty());
    }
    ASSERT_THAT(desktop.caches.refreshes, testing::SizeIs(1));
    EXPECT_TRUE(desktop.caches.refreshes[0].entries);
    EXPECT_TRUE(desktop.caches.refreshes[0].icons);
    EXPECT_TRUE(desktop.caches.refreshes[0].types);
}

TEST_F(LinuxLaunchRegistrationTest, Only_the_caches_of_what_changed_are_refreshed) {
    registerStub("Word.app", {.iconSides = {}});
    ASSERT_THAT(desktop.caches.refreshes, testing::SizeIs(1));
    EXPECT_TRUE(desktop.caches.refreshes[0].entries);
    EXPECT_FALSE(desktop.caches.refreshes[0].icons);
    EXPECT_FALSE(desktop.caches.refreshes[0].types);
}

// Types of documents.

class DocumentTypesTest : public LinuxLaunchRegistrationTest {
protected:
    void know(const std::string& globs) { desktop.writeFile(desktop.sharedFolder + "/mime/globs2", globs); }
    void handle(const std::string& lines) {
        desktop.writeFile(desktop.sharedFolder + "/applications/mimeinfo.cache", "[MIME Cache]\n" + lines);
    }

    /// The list of types in the entry of a stub that opens files with `extensions`; nil without a list.
    std::optional<std::string> listedFor(const std::vector<std::string>& extensions) {
        registerStub("Word.app", {.documentTypes = {{"Words", extensions}}});
        return desktop.lineOfOnlyEntry("MimeType");
    }

    bool hasPackage() { return !desktop.pathsOfFiles(".xml").empty(); }
};

TEST_F(DocumentTypesTest, A_known_extension_has_the_desktop_s_own_type_and_no_package) {
    know("50:a/words:*.words\n");
    EXPECT_EQ(listedFor({"words"}), "a/words;");
    EXPECT_FALSE(hasPackage());
}

TEST_F(DocumentTypesTest, An_unknown_extension_gets_a_generated_type_with_the_description_of_the_strings) {
    registerStub("Word.app", {.documentTypes = {{"Words", {"XyzWord", "xyz w"}, "Documents with words"},
                                                {"Secret", {"sec"}}}});
    const std::string type = "application/x-moxsubscribe-[0-9a-f]{32}";
    EXPECT_THAT(desktop.lineOfOnlyEntry("MimeType").value_or("none"),
                testing::MatchesRegex("(" + type + ";){3}"));
    const std::vector<std::string> packages = desktop.pathsOfFiles(".xml");
    ASSERT_THAT(packages, ElementsAre("mime/packages/" + nameOfOnlyEntry() + ".xml"));
    const std::string package = desktop.files().at(packages[0]);
    EXPECT_THAT(package,
                HasSubstr("<comment>Documents with words</comment>\n    <glob pattern=\"*.xyzword\"/>"));
    EXPECT_THAT(package,
                HasSubstr("<comment>Documents with words</comment>\n    <glob pattern=\"*.xyz w\"/>"));
    EXPECT_THAT(package, HasSubstr("<comment>Secret</comment>\n    <glob pattern=\"*.sec\"/>"));
}

TEST_F(DocumentTypesTest, The_generated_type_of_an_extension_is_the_same_in_every_stub) {
    const auto first = listedFor({"xyzword"});
    EXPECT_EQ(listedFor({"XYZWORD"}), first);
    EXPECT_NE(listedFor({"xyzwords"}), first);
}

TEST_F(DocumentTypesTest, A_generated_type_in_the_database_does_not_make_the_extension_a_known_one) {
    const auto before = listedFor({"xyzword"});
    desktop.writeFile(desktop.dataFolder + "/mime/globs2",
                      "50:" + before->substr(0, before->size() - 1) + ":*.xyzword\n");
    EXPECT_EQ(listedFor({"xyzword"}), before);
    EXPECT_TRUE(hasPackage());
}

TEST_F(DocumentTypesTest, Nothing_of_the_server_s_text_is_in_the_name_of_a_type) {
    const auto list = listedFor({"a;text-html", "b;", "x\";y", "$(x)"});
    EXPECT_THAT(list.value_or("none"),
                testing::MatchesRegex("(application/x-moxsubscribe-[0-9a-f]{32};){4}"));
}

TEST_F(DocumentTypesTest, An_extension_that_would_be_a_pattern_or_is_none_makes_no_type) {
    EXPECT_EQ(listedFor({"*", "x?", "[a]", "", "a/b", "a:b", "a\nb"}), std::nullopt);
    EXPECT_FALSE(hasPackage());
}

TEST_F(DocumentTypesTest, A_package_goes_when_no_type_of_it_is_left) {
    listedFor({"xyzword"});
    EXPECT_TRUE(hasPackage());
    EXPECT_EQ(listedFor({}), std::nullopt);
    EXPECT_FALSE(hasPackage());
}

TEST_F(DocumentTypesTest, A_type_that_a_program_opens_without_having_been_chosen_is_left_out) {
    know("50:a/words:*.words\n50:a/free:*.free\n");
    handle("a/words=other.desktop;\n");
    EXPECT_EQ(listedFor({"words", "free"}), "a/free;");
}

TEST_F(DocumentTypesTest, A_type_whose_default_was_chosen_is_listed) {
    know("50:a/words:*.words\n");
    handle("a/words=other.desktop;\n");
    const std::string choices = desktop.configurationFolder + "/mimeapps.list";
    desktop.writeFile(choices, "[Default Applications]\na/words=other.desktop\n");
    EXPECT_EQ(listedFor({"words"}), std::nullopt) << "the default is not installed";
    desktop.writeFile(desktop.sharedFolder + "/applications/other.desktop", "[Desktop Entry]\n");
    EXPECT_EQ(listedFor({"words"}), "a/words;");
}

TEST_F(DocumentTypesTest, A_type_that_is_opened_as_what_it_is_a_kind_of_is_left_out) {
    know("50:text/x-words:*.words\n50:a/zipped:*.zipped\n");
    desktop.writeFile(desktop.sharedFolder + "/mime/subclasses", "a/zipped a/zip\n");
    handle("text/plain=editor.desktop;\na/zip=zip.desktop;\n");
    EXPECT_EQ(listedFor({"words", "zipped"}), std::nullopt);
}

TEST_F(DocumentTypesTest, Other_stubs_that_open_a_type_do_not_keep_it_from_being_listed) {
    know("50:a/words:*.words\n");
    handle("a/words=moxsubscribe-00000000000000000000000000000000.desktop;\n");
    EXPECT_EQ(listedFor({"words"}), "a/words;");
}

TEST_F(DocumentTypesTest, Choices_of_the_user_are_never_written) {
    know("50:a/words:*.words\n");
    handle("a/words=other.desktop;\n");
    const std::vector<std::string> lists = {desktop.configurationFolder + "/mimeapps.list",
                                            desktop.dataFolder + "/applications/mimeapps.list"};
    for (const std::string& list : lists)
        desktop.writeFile(list, "[Default Applications]\n");
    const std::string stub = registerStub("Word.app", {.documentTypes = {{"Words", {"words", "xyzword"}}}});
    registration.bundleRemoved(stub);
    for (const std::string& list : lists)
        EXPECT_EQ(test::bytesOfFile(list), "[Default Applications]\n");
}

TEST_F(DocumentTypesTest, What_is_known_of_types_is_read_once_in_a_batch_and_anew_in_the_next) {
    const StubContents contents = {.documentTypes = {{"Words", {"words"}}}};
    {
        const LaunchRegistrationBatch batch(registration);
        registerStub("A.app", contents);
        know("50:a/words:*.words\n");
        registerStub("B.app", contents);
        EXPECT_EQ(desktop.pathsOfFiles(".xml").size(), 2U);
    }
    registerStub("B.app", contents);
    EXPECT_EQ(desktop.pathsOfFiles(".xml").size(), 1U);
}

// Hostile names. None of them may stop the registration, but for paths that the format cannot carry.

TEST_F(LinuxLaunchRegistrationTest, Hostile_names_and_descriptions_make_an_entry_with_nothing_else_in_it) {
    for (const std::string& name : test::hostileTexts()) {
        const std::string stub = registerStub("Word.app", {.name = name, .description = name});
        const auto values = test::strictDesktopEntry(desktop.onlyEntry());
        ASSERT_TRUE(values) << name;
        EXPECT_EQ(values->size(), 10U) << name;
        EXPECT_EQ(values->at("X-MOXSubscribe-Bundle"), stub) << name;
        EXPECT_THAT(test::strictArguments(values->at("Exec"), {}).value(),
                    ElementsAre(stub + "/Contents/MacOS/launcher"))
            << name;
    }
}

TEST_F(LinuxLaunchRegistrationTest, Hostile_types_of_documents_write_files_of_our_names_only) {
    for (const std::string& name : test::hostileTexts()) {
        registerStub("Word.app", {.documentTypes = {{name, {name}, name}}});
        for (const auto& [path, content] : desktop.files())
            EXPECT_THAT(path, HasSubstr(nameOfOnlyEntry())) << name;
        EXPECT_TRUE(test::strictDesktopEntry(desktop.onlyEntry())) << name;
    }
}

TEST_F(LinuxLaunchRegistrationTest, A_stub_with_a_hostile_file_name_is_registered_or_refused_as_a_whole) {
    for (const std::string& name : test::hostileFileNames(250)) {
        const std::string stub = desktop.writeStub(name + ".app");
        const bool isText = repairedUTF8(name) == name && name.find_first_of("\033\x07\x7F") == name.npos;
        const bool isCarriable = isText && name.find('=') == name.npos;
        EXPECT_EQ(registration.registerBundle(stub), isCarriable ? 0 : EINVAL) << name;
        if (isCarriable) {
            EXPECT_THAT(desktop.registeredBundles(), ElementsAre(stub));
            const auto values = test::strictDesktopEntry(desktop.onlyEntry());
            ASSERT_TRUE(values) << name;
            EXPECT_EQ(test::strictArguments(values->at("Exec"), {}).value().back(),
                      stub + "/Contents/MacOS/launcher");
        }
        registration.bundleRemoved(stub);
        EXPECT_THAT(desktop.files(), IsEmpty()) << name;
    }
}

TEST_F(LinuxLaunchRegistrationTest, The_program_s_environment_tells_where_the_desktop_looks) {
    for (const char* name : {"XDG_DATA_DIRS", "XDG_CONFIG_HOME", "XDG_CONFIG_DIRS", "XDG_CURRENT_DESKTOP"})
        ::unsetenv(name);
    auto surroundings = desktopOfThisProcess("/d", "/h");
    EXPECT_EQ(surroundings.dataFolder, "/d");
    EXPECT_THAT(surroundings.sharedDataFolders, ElementsAre("/usr/local/share", "/usr/share"));
    EXPECT_THAT(surroundings.configurationFolders, ElementsAre("/h/.config", "/etc/xdg"));
    EXPECT_THAT(surroundings.desktops, IsEmpty());

    ::setenv("XDG_DATA_DIRS", "/a:relative::/b", 1);
    ::setenv("XDG_CONFIG_HOME", "/c", 1);
    ::setenv("XDG_CONFIG_DIRS", "", 1);
    ::setenv("XDG_CURRENT_DESKTOP", "Ubuntu:GNOME", 1);
    surroundings = desktopOfThisProcess("/d", "/h");
    EXPECT_THAT(surroundings.sharedDataFolders, ElementsAre("/a", "/b"));
    EXPECT_THAT(surroundings.configurationFolders, ElementsAre("/c", "/etc/xdg"));
    EXPECT_THAT(surroundings.desktops, ElementsAre("ubuntu", "gnome"));
}

} // namespace
} // namespace mox
