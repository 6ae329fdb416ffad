#include "Platform/Linux/LinuxWorkspace.hpp"
#include "Platform/Testing/ForwardingSystemCalls.hpp"
#include "Platform/TrashInspection.hpp"
#include "Support/FolderInspection.hpp"
#include "Support/MountedVolume.hpp"
#include "Support/ProgramRun.hpp"
#include "Support/ScratchFolder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mox::test {
namespace {

using Names = std::vector<std::string>;

/// A workspace in a scratch folder: the user's data in "share", made as late as the Trash, and what is
/// recycled in "Apps".
class LinuxWorkspaceTest : public testing::Test {
protected:
    LinuxWorkspaceTest() { makeFolder("Apps"); }

    static LinuxWorkspace::Surroundings surroundings(const std::string& dataFolder) {
        return {.dataFolder = dataFolder, .localTime = valentinesDay};
    }

    std::string makeFolder(const std::string& name) const {
        EXPECT_EQ(::mkdir(folder.path(name).c_str(), 0777), 0);
        return folder.path(name);
    }

    std::string makeLink(const std::string& target, const std::string& name) const {
        EXPECT_EQ(::symlink(target.c_str(), folder.path(name).c_str()), 0);
        return folder.path(name);
    }

    const ScratchFolder folder;
    const std::string apps = folder.path("Apps");
    const std::string trash = folder.path("share/Trash");
    SystemCalls system;
    LinuxWorkspace workspace{system, surroundings(folder.path("share"))};
};

TEST_F(LinuxWorkspaceTest, A_directory_with_the_extension_of_a_package_is_one_in_any_case_of_letters) {
    for (const std::string extension :
         {"app", "bundle", "plugin", "pkg", "mpkg", "rtfd", "prefPane", "qlgenerator", "mdimporter", "saver",
          "service", "component", "kext", "xpc", "appex", "wdgt"}) {
        std::string upper = extension;
        std::string lower = extension;
        for (char& c : upper)
            c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
        for (char& c : lower)
            c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        EXPECT_TRUE(workspace.isFilePackageAtPath(makeFolder("mixed." + extension)));
        EXPECT_TRUE(workspace.isFilePackageAtPath(makeFolder("u." + upper)));
        EXPECT_TRUE(workspace.isFilePackageAtPath(makeFolder("l." + lower)));
        EXPECT_FALSE(workspace.isFilePackageAtPath(folder.write("file." + extension, "x")));
        EXPECT_FALSE(workspace.isFilePackageAtPath(makeFolder("x" + extension)));
        EXPECT_FALSE(workspace.isFilePackageAtPath(makeFolder("x." + extension + "x")));
    }
}

TEST_F(LinuxWorkspaceTest, A_directory_without_an_extension_or_with_nothing_before_it_is_no_package) {
    EXPECT_FALSE(workspace.isFilePackageAtPath(apps));
    EXPECT_FALSE(workspace.isFilePackageAtPath(makeFolder(".app")));
    EXPECT_FALSE(workspace.isFilePackageAtPath(makeFolder("Word.app.d")));
    EXPECT_FALSE(workspace.isFilePackageAtPath(makeFolder("Word.")));
    EXPECT_FALSE(workspace.isFilePackageAtPath(makeFolder("Word.ap\xc3\x9f")));
}

TEST_F(LinuxWorkspaceTest, What_is_missing_is_no_package) {
    EXPECT_FALSE(workspace.isFilePackageAtPath(folder.path("missing.app")));
    EXPECT_FALSE(workspace.isFilePackageAtPath(""));
    EXPECT_FALSE(workspace.isFilePackageAtPath("/"));
    makeFolder("Word.app");
    EXPECT_FALSE(workspace.isFilePackageAtPath(folder.path("Word.app") + std::string("\0.app", 5)));
}

TEST_F(LinuxWorkspaceTest, A_link_to_a_directory_is_a_package_by_its_own_name) {
    makeFolder("Word.app");
    makeFolder("plain");
    folder.write("file", "x");
    EXPECT_TRUE(workspace.isFilePackageAtPath(makeLink("plain", "link.app")));
    EXPECT_FALSE(workspace.isFilePackageAtPath(makeLink("Word.app", "link")));
    EXPECT_FALSE(workspace.isFilePackageAtPath(makeLink("file", "file.app")));
    EXPECT_FALSE(workspace.isFilePackageAtPath(makeLink("missing", "dangling.app")));
}

TEST_F(LinuxWorkspaceTest, A_recycled_item_is_whole_in_the_home_trash_with_its_path_and_the_date) {
    makeFolder("Apps/Word.app");
    folder.write("Apps/Word.app/content", "x");
    ASSERT_TRUE(workspace.recycleItem(apps, "Word.app"));
    EXPECT_EQ(namesIn(apps), Names());
    EXPECT_EQ(itemsInTrash(trash), Names{"Word.app"});
    EXPECT_EQ(bytesOfFile(trash + "/files/Word.app/content"), "x");
    EXPECT_EQ(informationInTrash(trash), Names{"Word.app.trashinfo"});
    EXPECT_EQ(bytesOfFile(trash + "/info/Word.app.trashinfo"), informationAbout(apps + "/Word.app"));
}

TEST_F(LinuxWorkspaceTest, The_trash_is_made_for_the_user_alone) {
    const mode_t umaskBefore = ::umask(0);
    folder.write("Apps/file", "x");
    EXPECT_TRUE(workspace.recycleItem(apps, "file"));
    ::umask(umaskBefore);
    EXPECT_EQ(modeOf(folder.path("share")), 0700U);
    EXPECT_EQ(modeOf(trash), 0700U);
    EXPECT_EQ(modeOf(trash + "/files"), 0700U);
    EXPECT_EQ(modeOf(trash + "/info"), 0700U);
    EXPECT_EQ(modeOf(trash + "/info/file.trashinfo"), 0600U);
}

TEST_F(LinuxWorkspaceTest, A_file_and_a_link_are_recycled_themselves) {
    folder.write("target", "x");
    folder.write("Apps/file", "x");
    makeLink("../target", "Apps/link");
    makeLink("missing", "Apps/dangling");
    for (const std::string name : {"file", "link", "dangling"}) {
        EXPECT_TRUE(workspace.recycleItem(apps, name));
        EXPECT_FALSE(isThere(apps + "/" + name));
    }
    EXPECT_EQ(itemsInTrash(trash), (Names{"dangling", "file", "link"}));
    EXPECT_EQ(bytesOfFile(folder.path("target")), "x");
}

TEST_F(LinuxWorkspaceTest, Items_of_one_name_get_numbers_and_information_each) {
    makeFolder("Other");
    for (const std::string where : {"Apps", "Other", "Apps"}) {
        makeFolder(where + "/Word.app");
        EXPECT_TRUE(workspace.recycleItem(folder.path(where), "Word.app"));
    }
    EXPECT_EQ(itemsInTrash(trash), (Names{"Word.2.app", "Word.3.app", "Word.app"}));
    EXPECT_EQ(bytesOfFile(trash + "/info/Word.2.app.trashinfo"),
              informationAbout(folder.path("Other/Word.app")));
    EXPECT_EQ(bytesOfFile(trash + "/info/Word.3.app.trashinfo"), informationAbout(apps + "/Word.app"));
}

TEST_F(LinuxWorkspaceTest, A_name_of_which_only_the_item_or_the_information_is_left_is_taken) {
    makeFolder("share");
    makeFolder("share/Trash");
    makeFolder("share/Trash/files");
    makeFolder("share/Trash/info");
    folder.write("share/Trash/info/Word.app.trashinfo", "left by a crash");
    makeLink("missing", "share/Trash/files/Word.2.app");
    makeFolder("Apps/Word.app");
    ASSERT_TRUE(workspace.recycleItem(apps, "Word.app"));
    EXPECT_EQ(itemsInTrash(trash), (Names{"Word.2.app", "Word.3.app"}));
    EXPECT_EQ(informationInTrash(trash), (Names{"Word.3.app.trashinfo", "Word.app.trashinfo"}));
    EXPECT_EQ(bytesOfFile(trash + "/info/Word.app.trashinfo"), "left by a crash");
}

/// Lets somebody else be faster: takes the name of the item in the Trash just when its information is made.
class TakesTheName : public ForwardingSystemCalls {
public:
    TakesTheName(SystemCalls& target, std::string path)
        : ForwardingSystemCalls(target), _path(std::move(path)) {}
    int openat(int folder, const char* path, int flags, mode_t mode) override {
        if ((flags & O_CREAT) != 0) ::close(::open(_path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
        return ForwardingSystemCalls::openat(folder, path, flags, mode);
    }

private:
    std::string _path;
};

TEST_F(LinuxWorkspaceTest, A_name_that_is_taken_meanwhile_is_left_to_the_other) {
    TakesTheName calls(system, trash + "/files/Word.app");
    LinuxWorkspace late(calls, surroundings(folder.path("share")));
    makeFolder("Apps/Word.app");
    ASSERT_TRUE(late.recycleItem(apps, "Word.app"));
    EXPECT_EQ(itemsInTrash(trash), (Names{"Word.2.app", "Word.app"}));
    EXPECT_EQ(informationInTrash(trash), Names{"Word.2.app.trashinfo"});
    EXPECT_EQ(bytesOfFile(trash + "/files/Word.app"), "");
}

/// Lets somebody else make every folder first.
class MakesFoldersFirst : public ForwardingSystemCalls {
public:
    using ForwardingSystemCalls::ForwardingSystemCalls;
    int mkdirat(int folder, const char* path, mode_t mode) override {
        ForwardingSystemCalls::mkdirat(folder, path, mode);
        return ForwardingSystemCalls::mkdirat(folder, path, mode);
    }
};

TEST_F(LinuxWorkspaceTest, A_trash_that_somebody_else_makes_meanwhile_is_used) {
    MakesFoldersFirst calls(system);
    LinuxWorkspace late(calls, surroundings(folder.path("share")));
    folder.write("Apps/file", "x");
    EXPECT_TRUE(late.recycleItem(apps, "file"));
    EXPECT_EQ(itemsInTrash(trash), Names{"file"});
}

TEST_F(LinuxWorkspaceTest, Names_of_any_bytes_come_back_from_the_information) {
    for (const std::string name :
         {"line\nfeed", "\x1b[31m", "\xff\xfe", " ", "-rf", "\"'\\", "%n%s%@", "caf\xc3\xa9", "\xe2\x80\xae",
          "...", "~", "$(x);", ".DS_Store", "x.trashinfo", "Path=x"}) {
        folder.write("Apps/" + name, "x");
        EXPECT_TRUE(workspace.recycleItem(apps, name));
        EXPECT_EQ(bytesOfFile(trash + "/info/" + name + ".trashinfo"), informationAbout(apps + "/" + name));
        EXPECT_TRUE(isThere(trash + "/files/" + name));
    }
}

TEST_F(LinuxWorkspaceTest, The_longest_names_are_cut_in_the_trash_but_not_in_the_information) {
    const std::string name = std::string(251, 'x') + ".app";
    for (int turn = 0; turn < 2; ++turn) {
        makeFolder("Apps/" + name);
        ASSERT_TRUE(workspace.recycleItem(apps, name));
    }
    const std::string first = std::string(241, 'x') + ".app";
    const std::string second = std::string(239, 'x') + ".2.app";
    EXPECT_EQ(itemsInTrash(trash), (Names{second, first}));
    EXPECT_EQ(bytesOfFile(trash + "/info/" + first + ".trashinfo"), informationAbout(apps + "/" + name));
    EXPECT_EQ(bytesOfFile(trash + "/info/" + second + ".trashinfo"), informationAbout(apps + "/" + name));
}

TEST_F(LinuxWorkspaceTest, What_is_no_name_of_an_item_is_refused) {
    makeFolder("Apps/a");
    folder.write("Apps/a/b", "x");
    for (const std::string& name : {std::string(), std::string("."), std::string(".."), std::string("a/b"),
                                    std::string("a/"), std::string("/"), std::string("a\0b", 3)})
        EXPECT_FALSE(workspace.recycleItem(apps, name)) << name;
    EXPECT_FALSE(workspace.recycleItem(apps + std::string("\0", 1), "a"));
    EXPECT_FALSE(workspace.recycleItem("", "a"));
    EXPECT_EQ(namesIn(apps), Names{"a"});
    EXPECT_FALSE(isThere(folder.path("share")));
}

TEST_F(LinuxWorkspaceTest, For_an_item_or_a_folder_that_is_missing_no_trash_is_made) {
    EXPECT_FALSE(workspace.recycleItem(apps, "missing"));
    EXPECT_FALSE(workspace.recycleItem(folder.path("missing"), "x"));
    EXPECT_FALSE(workspace.recycleItem(folder.write("file", "x"), "x"));
    EXPECT_FALSE(isThere(folder.path("share")));
}

TEST_F(LinuxWorkspaceTest, The_information_has_the_folders_path_with_links_resolved) {
    makeLink("Apps", "link");
    folder.write("Apps/file", "x");
    ASSERT_TRUE(workspace.recycleItem(folder.path("link/../link/"), "file"));
    EXPECT_EQ(bytesOfFile(trash + "/info/file.trashinfo"), informationAbout(apps + "/file"));
}

TEST_F(LinuxWorkspaceTest, A_home_trash_that_is_a_link_is_followed_and_one_in_it_is_not) {
    makeFolder("share");
    makeFolder("elsewhere");
    makeLink("../elsewhere", "share/Trash");
    folder.write("Apps/file", "x");
    ASSERT_TRUE(workspace.recycleItem(apps, "file"));
    EXPECT_EQ(itemsInTrash(folder.path("elsewhere")), Names{"file"});

    makeFolder("other");
    makeFolder("other/Trash");
    makeLink("../../Apps", "other/Trash/files");
    LinuxWorkspace linked(system, surroundings(folder.path("other")));
    folder.write("Apps/file", "x");
    EXPECT_FALSE(linked.recycleItem(apps, "file"));
    EXPECT_EQ(namesIn(apps), Names{"file"});
}

TEST_F(LinuxWorkspaceTest, Without_a_place_for_the_trash_the_item_stays) {
    folder.write("share", "a file");
    folder.write("Apps/file", "x");
    EXPECT_FALSE(workspace.recycleItem(apps, "file"));
    EXPECT_EQ(namesIn(apps), Names{"file"});
    EXPECT_EQ(bytesOfFile(folder.path("share")), "a file");
}

TEST_F(LinuxWorkspaceTest, A_folder_that_holds_the_trash_is_not_moved_into_it) {
    makeFolder("share");
    folder.write("share/file", "x");
    EXPECT_FALSE(workspace.recycleItem(folder.path(), "share"));
    EXPECT_FALSE(workspace.recycleItem(folder.path("share"), "Trash"));
    EXPECT_EQ(bytesOfFile(folder.path("share/file")), "x");
    EXPECT_EQ(informationInTrash(trash), Names());
}

TEST_F(LinuxWorkspaceTest, Of_an_item_that_was_moved_out_the_trash_forgets_exactly_that) {
    for (const std::string name : {"one", "two"}) {
        folder.write("Apps/" + name, "x");
        ASSERT_TRUE(workspace.recycleItem(apps, name));
    }
    ASSERT_EQ(::rename((trash + "/files/one").c_str(), (apps + "/one").c_str()), 0);
    workspace.recycledItemMovedOut(trash + "/files/one");
    EXPECT_EQ(informationInTrash(trash), Names{"two.trashinfo"});
    EXPECT_EQ(itemsInTrash(trash), Names{"two"});
    workspace.recycledItemMovedOut(trash + "/files/one");
    EXPECT_EQ(informationInTrash(trash), Names{"two.trashinfo"});
}

TEST_F(LinuxWorkspaceTest, An_item_that_is_in_the_trash_is_not_forgotten) {
    folder.write("Apps/file", "x");
    ASSERT_TRUE(workspace.recycleItem(apps, "file"));
    workspace.recycledItemMovedOut(trash + "/files/file");
    EXPECT_EQ(informationInTrash(trash), Names{"file.trashinfo"});
    ASSERT_EQ(::unlink((trash + "/files/file").c_str()), 0);
    makeLink("missing", "share/Trash/files/file");
    workspace.recycledItemMovedOut(trash + "/files/file");
    EXPECT_EQ(informationInTrash(trash), Names{"file.trashinfo"});
}

TEST_F(LinuxWorkspaceTest, Paths_that_are_in_no_trash_of_the_user_are_nothing_to_forget) {
    folder.write("Apps/file", "x");
    ASSERT_TRUE(workspace.recycleItem(apps, "file"));
    ASSERT_EQ(::rename((trash + "/files/file").c_str(), (apps + "/file").c_str()), 0);
    makeFolder("foreign");
    makeFolder("foreign/files");
    makeFolder("foreign/info");
    const std::string foreign = folder.write("foreign/info/file.trashinfo", "x");
    for (const std::string& path :
         {folder.path("foreign/files/file"), trash + "/file", trash + "/info/file", trash + "/files/sub/file",
          trash + "/files/", trash + "/files/.", trash + "/files/..", std::string("file"), std::string(),
          std::string("/"), trash + std::string("/files/file\0", 12)})
        workspace.recycledItemMovedOut(path);
    EXPECT_EQ(informationInTrash(trash), Names{"file.trashinfo"});
    EXPECT_TRUE(isThere(foreign));
    makeLink("share/Trash", "link");
    workspace.recycledItemMovedOut(folder.path("link/files/file"));
    EXPECT_EQ(informationInTrash(trash), Names());
}

TEST_F(LinuxWorkspaceTest, Being_told_of_a_path_makes_no_trash) {
    workspace.recycledItemMovedOut(trash + "/files/file");
    workspace.recycledItemMovedOut(apps + "/file");
    EXPECT_EQ(namesIn(folder.path()), Names{"Apps"});
}

TEST_F(LinuxWorkspaceTest, The_date_is_now_in_the_users_time_zone) {
    const std::time_t before = std::time(nullptr);
    std::tm local = currentLocalTime();
    const std::time_t told = std::mktime(&local);
    EXPECT_GE(told, before);
    EXPECT_LE(told, std::time(nullptr));
}

/// Lets the folder "Volume" of a scratch folder look as if another file system were mounted there.
class SeparateVolume : public ForwardingSystemCalls {
public:
    SeparateVolume(SystemCalls& target, std::string path)
        : ForwardingSystemCalls(target), _path(std::move(path)) {}

    int stat(const char* path, struct ::stat* status) override {
        return seen(path, status, ForwardingSystemCalls::stat(path, status));
    }
    int lstat(const char* path, struct ::stat* status) override {
        return seen(path, status, ForwardingSystemCalls::lstat(path, status));
    }
    int fstat(int descriptor, struct ::stat* status) override {
        return seen(pathOf(descriptor), status, ForwardingSystemCalls::fstat(descriptor, status));
    }
    int renameat2(int sourceFolder, const char* source, int destinationFolder, const char* destination,
                  unsigned flags) override {
        if (isOnIt(pathOf(sourceFolder)) != isOnIt(pathOf(destinationFolder))) {
            errno = EXDEV;
            return -1;
        }
        return ForwardingSystemCalls::renameat2(sourceFolder, source, destinationFolder, destination, flags);
    }

private:
    static std::string pathOf(int descriptor) {
        char path[4096];
        const ssize_t length =
            ::readlink(("/proc/self/fd/" + std::to_string(descriptor)).c_str(), path, sizeof path);
        return length < 0 ? std::string() : std::string(path, static_cast<std::size_t>(length));
    }

    bool isOnIt(const std::string& path) const { return path == _path || path.starts_with(_path + "/"); }

    int seen(const std::string& path, struct ::stat* status, int result) const {
        if (result == 0 && isOnIt(path)) ++status->st_dev;
        return result;
    }

    std::string _path;
};

class LinuxWorkspaceOnAnotherVolume : public LinuxWorkspaceTest {
protected:
    LinuxWorkspaceOnAnotherVolume() {
        makeFolder("Volume/Apps");
        folder.write("Volume/Apps/file", "x");
    }

    const std::string user = std::to_string(::geteuid());
    const std::string volume = makeFolder("Volume");
    const std::string appsThere = folder.path("Volume/Apps");
    const std::string shared = folder.path("Volume/.Trash");
    const std::string sharedTrash = shared + "/" + user;
    const std::string ownTrash = folder.path("Volume/.Trash-") + user;
    SeparateVolume calls{system, volume};
    LinuxWorkspace onVolume{calls, surroundings(folder.path("share"))};
};

TEST_F(LinuxWorkspaceOnAnotherVolume, An_item_goes_to_the_users_trash_at_the_top_with_a_relative_path) {
    ASSERT_TRUE(onVolume.recycleItem(appsThere, "file"));
    EXPECT_EQ(itemsInTrash(ownTrash), Names{"file"});
    EXPECT_EQ(bytesOfFile(ownTrash + "/info/file.trashinfo"), informationAbout("Apps/file"));
    EXPECT_EQ(modeOf(ownTrash), 0700U);
    EXPECT_EQ(modeOf(ownTrash + "/files"), 0700U);
    EXPECT_EQ(modeOf(ownTrash + "/info"), 0700U);
    EXPECT_FALSE(isThere(folder.path("share")));
}

TEST_F(LinuxWorkspaceOnAnotherVolume, An_item_at_the_top_is_noted_by_its_name) {
    folder.write("Volume/Word.app", "x");
    ASSERT_TRUE(onVolume.recycleItem(volume, "Word.app"));
    EXPECT_EQ(bytesOfFile(ownTrash + "/info/Word.app.trashinfo"), informationAbout("Word.app"));
}

TEST_F(LinuxWorkspaceOnAnotherVolume, A_path_through_a_link_leads_to_the_trash_of_its_end) {
    makeLink("Volume/Apps", "link");
    ASSERT_TRUE(onVolume.recycleItem(folder.path("link"), "file"));
    EXPECT_EQ(bytesOfFile(ownTrash + "/info/file.trashinfo"), informationAbout("Apps/file"));
}

TEST_F(LinuxWorkspaceOnAnotherVolume, A_trash_that_the_administrator_made_is_preferred) {
    makeFolder("Volume/.Trash");
    ASSERT_EQ(::chmod(shared.c_str(), 01777), 0);
    ASSERT_TRUE(onVolume.recycleItem(appsThere, "file"));
    EXPECT_EQ(itemsInTrash(sharedTrash), Names{"file"});
    EXPECT_EQ(bytesOfFile(sharedTrash + "/info/file.trashinfo"), informationAbout("Apps/file"));
    EXPECT_EQ(modeOf(sharedTrash), 0700U);
    EXPECT_FALSE(isThere(ownTrash));
}

TEST_F(LinuxWorkspaceOnAnotherVolume, A_shared_trash_without_the_sticky_bit_is_not_used) {
    makeFolder("Volume/.Trash");
    ASSERT_EQ(::chmod(shared.c_str(), 0777), 0);
    ASSERT_TRUE(onVolume.recycleItem(appsThere, "file"));
    EXPECT_EQ(namesIn(shared), Names());
    EXPECT_EQ(itemsInTrash(ownTrash), Names{"file"});
}

TEST_F(LinuxWorkspaceOnAnotherVolume, A_shared_trash_that_is_a_link_or_a_file_is_not_used) {
    const std::string target = makeFolder("Volume/target");
    ASSERT_EQ(::chmod(target.c_str(), 01777), 0);
    makeLink("target", "Volume/.Trash");
    ASSERT_TRUE(onVolume.recycleItem(appsThere, "file"));
    EXPECT_EQ(namesIn(target), Names());
    ASSERT_EQ(::unlink(shared.c_str()), 0);
    folder.write("Volume/.Trash", "a file");
    folder.write("Volume/Apps/file", "x");
    ASSERT_TRUE(onVolume.recycleItem(appsThere, "file"));
    EXPECT_EQ(itemsInTrash(ownTrash), (Names{"file", "file.2"}));
}

TEST_F(LinuxWorkspaceOnAnotherVolume,
       A_link_in_place_of_the_users_folder_of_the_shared_trash_is_not_followed) {
    makeFolder("Volume/.Trash");
    ASSERT_EQ(::chmod(shared.c_str(), 01777), 0);
    const std::string target = makeFolder("Volume/target");
    makeLink("../target", "Volume/.Trash/" + user);
    ASSERT_TRUE(onVolume.recycleItem(appsThere, "file"));
    EXPECT_EQ(namesIn(target), Names());
    EXPECT_EQ(itemsInTrash(ownTrash), Names{"file"});
}

TEST_F(LinuxWorkspaceOnAnotherVolume,
       A_link_or_a_file_in_place_of_the_users_trash_leaves_the_item_where_it_is) {
    const std::string target = makeFolder("Volume/target");
    makeLink("target", "Volume/.Trash-" + user);
    EXPECT_FALSE(onVolume.recycleItem(appsThere, "file"));
    EXPECT_EQ(namesIn(target), Names());
    ASSERT_EQ(::unlink(ownTrash.c_str()), 0);
    folder.write("Volume/.Trash-" + user, "a file");
    EXPECT_FALSE(onVolume.recycleItem(appsThere, "file"));
    EXPECT_EQ(namesIn(appsThere), Names{"file"});
}

TEST_F(LinuxWorkspaceOnAnotherVolume, A_trash_that_belongs_to_another_user_is_not_used) {
    const uid_t another = ::geteuid() + 1;
    LinuxWorkspace::Surroundings whose = surroundings(folder.path("share"));
    whose.user = another;
    LinuxWorkspace workspaceOfAnother(calls, whose);
    const std::string trashOfThisUser = makeFolder("Volume/.Trash-" + std::to_string(another));
    EXPECT_FALSE(workspaceOfAnother.recycleItem(appsThere, "file"));
    EXPECT_EQ(namesIn(trashOfThisUser), Names());
    EXPECT_EQ(namesIn(appsThere), Names{"file"});
}

TEST_F(LinuxWorkspaceOnAnotherVolume, An_item_that_was_moved_out_is_forgotten_there_too) {
    makeFolder("Volume/.Trash");
    for (const mode_t mode : {0777U, 01777U}) {
        ASSERT_EQ(::chmod(shared.c_str(), mode), 0);
        const std::string used = mode == 0777 ? ownTrash : sharedTrash;
        ASSERT_TRUE(onVolume.recycleItem(appsThere, "file"));
        ASSERT_EQ(::rename((used + "/files/file").c_str(), (appsThere + "/file").c_str()), 0);
        onVolume.recycledItemMovedOut(used + "/files/file");
        EXPECT_EQ(informationInTrash(used), Names());
    }
}

TEST_F(LinuxWorkspaceOnAnotherVolume, What_is_below_the_top_and_named_like_a_trash_is_none) {
    makeFolder("Volume/Apps/.Trash-" + user);
    const std::string fake = "Volume/Apps/.Trash-" + user;
    makeFolder(fake + "/files");
    makeFolder(fake + "/info");
    folder.write(fake + "/info/file.trashinfo", "x");
    onVolume.recycledItemMovedOut(folder.path(fake + "/files/file"));
    EXPECT_EQ(informationInTrash(folder.path(fake)), Names{"file.trashinfo"});
}

TEST_F(LinuxWorkspaceTest,
       On_a_mounted_file_system_the_trash_is_at_its_top_and_nothing_is_copied_to_another) {
    const std::string volume = makeFolder("Volume");
    const VolumeTrial trial = tryOnMountedVolume(volume, [&] {
        const std::string ownTrash = folder.path("Volume/.Trash-") + std::to_string(::geteuid());
        makeFolder("Volume/Apps");
        makeFolder("Volume/Apps/Word.app");
        folder.write("Volume/Apps/Word.app/content", "x");
        EXPECT_TRUE(workspace.recycleItem(folder.path("Volume/Apps"), "Word.app"));
        EXPECT_EQ(bytesOfFile(ownTrash + "/files/Word.app/content"), "x");
        EXPECT_EQ(bytesOfFile(ownTrash + "/info/Word.app.trashinfo"), informationAbout("Apps/Word.app"));

        EXPECT_EQ(
            ::rename((ownTrash + "/files/Word.app").c_str(), folder.path("Volume/Apps/Word.app").c_str()), 0);
        workspace.recycledItemMovedOut(ownTrash + "/files/Word.app");
        EXPECT_EQ(informationInTrash(ownTrash), Names());

        // The file system itself cannot be moved anywhere.
        EXPECT_FALSE(workspace.recycleItem(folder.path(), "Volume"));
        EXPECT_EQ(bytesOfFile(folder.path("Volume/Apps/Word.app/content")), "x");
        EXPECT_EQ(itemsInTrash(trash), Names());
        EXPECT_EQ(informationInTrash(trash), Names());

        // Nor can an item from a place where nobody may make a Trash.
        folder.write("Volume/.Trash-" + std::to_string(::geteuid()) + "/x", "x");
        EXPECT_EQ(::rename(ownTrash.c_str(), folder.path("Volume/away").c_str()), 0);
        folder.write("Volume/.Trash-" + std::to_string(::geteuid()), "a file");
        EXPECT_FALSE(workspace.recycleItem(folder.path("Volume/Apps"), "Word.app"));
        EXPECT_EQ(bytesOfFile(folder.path("Volume/Apps/Word.app/content")), "x");
        return !HasFailure();
    });
    if (trial == VolumeTrial::NotPossible) GTEST_SKIP() << "This user may not mount a file system.";
    EXPECT_EQ(trial, VolumeTrial::Succeeded);
}

/// Another program's view of the Trash.
class TrashAsOthersSeeIt : public LinuxWorkspaceTest {
protected:
    void SetUp() override {
        if (::access("/usr/bin/trash-list", X_OK) != 0 || ::access("/usr/bin/trash-restore", X_OK) != 0)
            GTEST_SKIP() << "trash-cli is not installed.";
    }

    ProgramRun run(const std::string& command) const {
        return runProgram({"/bin/sh", "-c", "cd \"$0\" && " + command, apps},
                          {"HOME=" + folder.path(), "XDG_DATA_HOME=" + folder.path("share"),
                           "PATH=/usr/bin:/bin", "LC_ALL=C.UTF-8"});
    }
};

TEST_F(TrashAsOthersSeeIt, A_recycled_item_is_listed_with_its_path_and_date) {
    makeFolder("Apps/W\xc3\xb6rd 100%.app");
    ASSERT_TRUE(workspace.recycleItem(apps, "W\xc3\xb6rd 100%.app"));
    const ProgramRun listed = run("trash-list");
    EXPECT_EQ(listed.status, 0) << listed.errors;
    EXPECT_NE(listed.output.find("2021-02-14 13:14:15 " + apps + "/W\xc3\xb6rd 100%.app\n"),
              std::string::npos)
        << listed.output;
}

TEST_F(TrashAsOthersSeeIt, A_recycled_item_is_restored_whole) {
    makeFolder("Apps/Word.app");
    folder.write("Apps/Word.app/content", "x");
    ASSERT_TRUE(workspace.recycleItem(apps, "Word.app"));
    const ProgramRun restored = run("echo 0 | trash-restore");
    EXPECT_EQ(restored.status, 0) << restored.errors;
    EXPECT_EQ(bytesOfFile(apps + "/Word.app/content"), "x");
    EXPECT_EQ(itemsInTrash(trash), Names());
    EXPECT_EQ(informationInTrash(trash), Names());
}

TEST_F(TrashAsOthersSeeIt, An_item_that_was_moved_out_is_not_listed_any_more) {
    makeFolder("Apps/Word.app");
    ASSERT_TRUE(workspace.recycleItem(apps, "Word.app"));
    ASSERT_EQ(::rename((trash + "/files/Word.app").c_str(), (apps + "/Word.app").c_str()), 0);
    workspace.recycledItemMovedOut(trash + "/files/Word.app");
    EXPECT_EQ(run("trash-list").output.find(folder.path()), std::string::npos);
}

} // namespace
} // namespace mox::test
