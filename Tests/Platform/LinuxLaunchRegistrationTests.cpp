#include "Formats/ImageCoding.hpp"
#include "Platform/Linux/SystemCalls.hpp"
#include "Platform/StubDesktop.hpp"
#include "Support/FolderInspection.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
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

} // namespace
} // namespace mox
