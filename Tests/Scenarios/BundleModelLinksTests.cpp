#include <cerrno>
#include <unistd.h>

#include "Scenarios/BundleModelScenario.hpp"

namespace mox::test {
namespace {

using testing::UnorderedElementsAre;

/// An applications folder with symbolic links that lead everywhere, out of it too.
class LinksInTheBundleModel : public BundleModelScenario {
protected:
    LinksInTheBundleModel() {
        makeFile("outside/letter.txt", "precious");
        makeBundle("outside/Far.app", oldStub());
        makeBundle("home/Applications/Work/Word.app", oldStub());
        makeLink("Work/to-self", ".");
        makeLink("Work/up", "..");
        makeLink("Work/to-each-other", "each-other");
        makeLink("Work/each-other", "to-each-other");
        makeLink("Root", "/");
        makeLink("Outside", scratch.path("outside"));
        makeLink("Linked.app", scratch.path("outside/Far.app"));
        makeLink("dangling", scratch.path("none"));
        makeLink("Dangling.app", scratch.path("none"));
        outside = contentsOfTree(scratch.path("outside"));
    }

    static BundleContent oldStub() {
        BundleContent content = templateContent("1.0");
        content.alias = oldAlias();
        content.alias->set("Korvan Application Type", "Application");
        content.files["Contents/mark"] = "old";
        return content;
    }
    bool isOutsideUntouched() const { return contentsOfTree(scratch.path("outside")) == outside; }
    bool upgrade(const std::string& path) {
        return dynamic_cast<MOXFileSubscriptionManager&>(*manager).updateSubscriptionAtPath(path, {}, {});
    }

    Tree outside;
};

TEST_F(LinksInTheBundleModel, The_walk_ends_and_lists_each_stub_under_the_names_that_lead_to_it) {
    start();
    EXPECT_THAT(
        manager->subscriptionPaths(),
        UnorderedElementsAre(inApps("Work/Word.app"), inApps("Linked.app"), inApps("Outside/Far.app")));
    EXPECT_THAT(manager->folders(), UnorderedElementsAre(inApps("Work"), inApps("Outside"), inApps()));
}

TEST_F(LinksInTheBundleModel, Removing_a_folder_removes_its_links_and_never_what_they_lead_to) {
    start();
    for (const char* name : {"Outside", "Root", "dangling", "Dangling.app", "Linked.app"})
        EXPECT_TRUE(manager->removeFolderAtPath(inApps(name), false)) << name;
    EXPECT_TRUE(manager->removeFolderAtPath(inApps("Work"), false));
    EXPECT_TRUE(isOutsideUntouched());
    EXPECT_EQ(namesIn(inApps()), Paths());
}

TEST_F(LinksInTheBundleModel, Only_what_is_almost_empty_through_every_link_is_removed_as_empty) {
    makeFolder("outside/hollow/inner");
    outside = contentsOfTree(scratch.path("outside"));
    start();
    const auto isRemoved = [this](const std::string& target) {
        const std::string folder = makeAppsFolder("Empty");
        makeLink("Empty/link", target);
        const bool result = manager->removeFolderAtPath(folder, true);
        EXPECT_EQ(isThere(folder), !result);
        EXPECT_TRUE(test.fileSystem.removeItem(folder) || result);
        return result;
    };
    EXPECT_TRUE(isRemoved(scratch.path("outside/hollow"))) << "the link goes";
    EXPECT_FALSE(isRemoved(scratch.path("outside")));
    EXPECT_FALSE(isRemoved("/"));
    EXPECT_FALSE(isRemoved("."));
    EXPECT_FALSE(isRemoved(scratch.path("none")));
    EXPECT_TRUE(isOutsideUntouched());
}

TEST_F(LinksInTheBundleModel, A_moved_link_is_moved_itself) {
    start();
    EXPECT_TRUE(manager->moveSubscriptionFrom(inApps("Linked.app"), inApps("Work/Moved.app")));
    EXPECT_TRUE(isOutsideUntouched());
    EXPECT_EQ(contentsOfTree(inApps("Work")).at("Moved.app"), "-> " + scratch.path("outside/Far.app"));
    EXPECT_FALSE(manager->moveSubscriptionFrom(inApps("Work/Word.app"), inApps("Dangling.app")))
        << "a link that leads nowhere is in the way too";
    EXPECT_TRUE(isOldStub(inApps("Work/Word.app")));
}

TEST_F(LinksInTheBundleModel, An_upgrade_of_a_link_puts_a_stub_in_its_place_and_leaves_what_it_led_to) {
    start();
    EXPECT_TRUE(upgrade(inApps("Linked.app")));
    EXPECT_TRUE(isOutsideUntouched());
    EXPECT_EQ(versionOf(inApps("Linked.app")), "2.0");
    EXPECT_EQ(contentsOfTree(test.homePath(".local/share/Trash/files")),
              (Tree{{"Linked.app", "-> " + scratch.path("outside/Far.app")}}));
}

TEST_F(LinksInTheBundleModel, An_upgrade_through_a_linked_folder_replaces_the_stub_where_it_is) {
    start();
    EXPECT_TRUE(upgrade(inApps("Outside/Far.app")));
    EXPECT_EQ(versionOf(scratch.path("outside/Far.app")), "2.0");
    EXPECT_TRUE(isOldStub(inTrash("Far.app")));
    const std::string info = bytesAt(test.homePath(".local/share/Trash/info/Far.app.trashinfo"));
    EXPECT_NE(info.find("\nPath=" + scratch.path("outside/Far.app") + "\n"), info.npos) << "without the link";
    EXPECT_EQ(bytesAt(scratch.path("outside/letter.txt")), "precious");
}

TEST_F(LinksInTheBundleModel, Links_in_a_stub_are_replaced_by_files_and_never_written_through) {
    for (const char* file :
         {"Contents/Info.plist", "Contents/Resources/Korvalias.plist",
          "Contents/Resources/DockApplication.icns", "Contents/Resources/en.lproj/InfoPlist.strings"}) {
        const std::string path = inApps("Work/Word.app") + "/" + file;
        const std::string target = makeFile("outside/target", bytesAt(path));
        outside = contentsOfTree(scratch.path("outside"));
        ASSERT_EQ(::unlink(path.c_str()), 0);
        ASSERT_EQ(::symlink(target.c_str(), path.c_str()), 0);
        start();
        MOXSubscribeKeywords keywords = keywordsFor("Word.app", inApps("Work"));
        keywords.andOptionalInfo = optionalInfo();
        EXPECT_TRUE(manager->subscribeToResource("Farm:New", keywords)) << file;
        EXPECT_TRUE(isOutsideUntouched()) << file;
        EXPECT_FALSE(contentsOfTree(inApps("Work/Word.app")).at(file).starts_with("-> ")) << file;
    }
}

TEST_F(LinksInTheBundleModel, Links_in_a_template_are_copied_as_links) {
    ASSERT_EQ(
        ::symlink(scratch.path("outside").c_str(), scratch.path("DockApplication.app/Contents/link").c_str()),
        0);
    start();
    EXPECT_TRUE(manager->subscribeToResource("Farm:New", keywordsFor("New.app", inApps("Work"))));
    EXPECT_EQ(contentsOfTree(inApps("Work/New.app")).at("Contents/link"), "-> " + scratch.path("outside"));
    EXPECT_TRUE(manager->removeSubscriptionAtPath(inApps("Work/New.app")));
    EXPECT_TRUE(isOutsideUntouched());
}

TEST_F(LinksInTheBundleModel, A_folder_that_becomes_a_link_before_any_call_of_its_removal_is_not_left_by_it) {
    // Somebody replaces the folder by a link while it is removed, before one call after the other.
    std::size_t number = 1;
    for (bool isReplaced = true; isReplaced; ++number) {
        SCOPED_TRACE(number);
        const std::string folder = makeAppsFolder("Race");
        makeFile("home/Applications/Race/inner/file", "ours");
        start();
        isReplaced = false;
        test.systemCalls.actBefore(number, [&] {
            isReplaced = ::rename((folder + "/inner").c_str(), inApps("away").c_str()) == 0 &&
                         ::symlink(scratch.path("outside").c_str(), (folder + "/inner").c_str()) == 0;
        });
        manager->removeFolderAtPath(folder, false);
        test.systemCalls.actBefore(1'000'000, {});
        ASSERT_TRUE(isOutsideUntouched());
        for (const std::string& left : {inApps("away"), folder}) {
            if (isThere(left)) {
                ASSERT_TRUE(test.fileSystem.removeItem(left));
            }
        }
    }
    EXPECT_GT(number, 3U);
}

TEST_F(LinksInTheBundleModel, An_applications_folder_that_is_a_link_works_as_one_that_is_none) {
    ASSERT_TRUE(test.fileSystem.removeItem(inApps()));
    makeFolder("elsewhere");
    ASSERT_EQ(::symlink(scratch.path("elsewhere").c_str(), inApps().c_str()), 0);
    start();
    ASSERT_TRUE(manager->subscribeToResource("Farm:Word", keywordsFor("Word.app", inApps("Work"))));
    EXPECT_EQ(manager->subscriptionPaths(), Paths{inApps("Work/Word.app")});
    EXPECT_TRUE(manager->renameFolderAtPath(inApps("Work"), inApps("Office")));
    makeBundle("elsewhere/Office/Old.app", oldStub());
    EXPECT_TRUE(upgrade(inApps("Office/Old.app")));
    EXPECT_TRUE(manager->removeSubscriptionAtPath(inApps("Office/Old.app")));
    EXPECT_EQ(manager->subscriptionPaths(), Paths{inApps("Office/Word.app")});
    EXPECT_EQ(manager->folders(), (Paths{inApps("Office"), inApps()}));
    EXPECT_EQ(namesIn(scratch.path("elsewhere/Office")), Paths{"Word.app"});
    EXPECT_TRUE(isOutsideUntouched());
}

} // namespace
} // namespace mox::test
