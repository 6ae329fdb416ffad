#include "Foundation/UnicodeText.hpp"

#include <algorithm>
#include <fstream>
#include <map>

#include "Scenarios/DictionaryModelScenario.hpp"
#include "Scenarios/HostileTextTrials.hpp"

namespace mox::test {
namespace {

using namespace std::string_literals;

class NamesInTheDictionaryModel : public DictionaryModelScenario, protected HostileTextTrials {
protected:
    NamesInTheDictionaryModel() {
        for (const char* decoy : {"Documents", "Applications", "Library/Preferences"})
            makeFolders(homePath(decoy));
        for (const char* decoy : {"Documents/decoy", "Applications/x", "x", "decoy"})
            std::ofstream(homePath(decoy)) << "precious";
    }

    /// What is in the scratch folder but outside the support folder.
    std::map<std::string, std::string> elsewhere() const override {
        const std::string scratch = homePath().substr(0, homePath().rfind('/'));
        std::map<std::string, std::string> content = contentsOfTree(scratch);
        const std::string ours = supportFolder().substr(scratch.size() + 1);
        std::erase_if(content, [&ours](const auto& item) { return item.first.starts_with(ours); });
        return content;
    }
};

TEST_F(NamesInTheDictionaryModel, Any_text_in_any_field_comes_back_and_nothing_else_on_the_disk_changes) {
    start();
    tryEachText([this](const std::string& text, const std::string& stored) {
        putTree(node());
        start();
        environment.systemLog.clear();
        const MOXSubscribeKeywords keywords = withText(text, keywordsFor(text, apps));
        EXPECT_TRUE(manager->subscribeToResource(text, keywords));
        EXPECT_TRUE(manager->subscribeToResource(text, keywords)) << "the same again replaces it";
        ASSERT_EQ(manager->numberOfSubscriptions(), 1U);
        const Dictionary written = treeOnDisk();
        const Dictionary* folder = nodeAt(written, {"/", "Users", "user", "Applications"});
        ASSERT_NE(folder, nullptr);
        const Dictionary* entry = folder->dictionary("Subscriptions")->dictionary(stored);
        ASSERT_NE(entry, nullptr);
        for (const char* key : {"cloneName", "Korvan Server Unique Application Name", "Store Name",
                                "Internal Store URL", "External Store URL", "Korvan Description",
                                "Stavenor Launch URL", "Korvan Publisher Name", "Korvan Content Address"}) {
            ASSERT_NE(entry->string(key), nullptr) << key;
            EXPECT_EQ(*entry->string(key), stored) << key;
        }
        start();
        EXPECT_EQ(manager->numberOfSubscriptions(), 1U);
        const std::string path = manager->subscriptionPaths().front();
        const bool isOneComponent = stored.find('/') == stored.npos;
        EXPECT_EQ(manager->isSubscriptionAtPath(path), isOneComponent)
            << "a name with a slash is listed as a path that leads elsewhere";
        if (isOneComponent) {
            EXPECT_EQ(path, apps + "/" + stored);
            EXPECT_TRUE(manager->isSubscriptionAtPath(apps + "/" + text)) << "also as the caller spelt it";
            expectTexts(*manager->subscriptionAtPath(path), stored);
            EXPECT_EQ(manager->removeAllSubscriptionsWithUniqueName(text, text), Paths{path});
        }
        EXPECT_EQ(logLines(), Paths());
        EXPECT_TRUE(isSupportFolderClean());
    });
}

TEST_F(NamesInTheDictionaryModel, Any_text_set_in_a_record_is_in_the_entry_that_it_writes) {
    start();
    tryEachText([this](const std::string& text, const std::string& stored) {
        putTree(node({{"Apps", node()}}));
        start();
        const auto record = MOXPlistSubscription::subscription();
        record->setType(MOXSubscriptionType::Application);
        setTexts(*record, text);
        EXPECT_TRUE(record->writeToFolder("Apps", "Word"));
        start();
        const auto written = manager->subscriptionAtPath("Apps/Word");
        ASSERT_NE(written, nullptr);
        expectTexts(*written, stored);
        EXPECT_EQ(written->serverName(), stored);
        EXPECT_TRUE(isSupportFolderClean());
    });
}

TEST_F(NamesInTheDictionaryModel, Any_text_in_a_file_that_somebody_else_wrote_leads_to_nothing_elsewhere) {
    start();
    tryEachText([this](const std::string&, const std::string& stored) {
        Dictionary texts;
        for (const char* key :
             {"cloneName", "Korvan Server Unique Application Name", "Store Name", "Internal Store URL",
              "External Store URL", "Korvan Description", "Stavenor Launch URL", "Korvan Publisher Name",
              "Korvan Content Address", "Korvan Application Type", "Norvik Type", "Norvik Auth Type",
              "Tavamor Name", "Korvan Server", "SchemaVersion", "Icon"})
            texts.set(key, stored);
        putTree(node({{"Apps", node({{stored, node({}, {{stored, texts}})}}, {{stored, texts}})}}));
        start();
        EXPECT_EQ(manager->numberOfSubscriptions(), 2U);
        for (const std::string& path : Paths(manager->subscriptionPaths())) {
            const auto record = manager->subscriptionAtPath(path);
            if (!record) continue;
            expectTexts(*record, stored);
            EXPECT_EQ(record->icon(), std::nullopt);
            EXPECT_EQ(record->type(), MOXSubscriptionType::Unknown);
        }
        EXPECT_TRUE(manager->createFolderAtPath("Apps/Made")) << "saved as it was read";
        const Paths paths = manager->subscriptionPaths();
        start();
        EXPECT_EQ(manager->subscriptionPaths(), paths);
        EXPECT_TRUE(isSupportFolderClean());
    });
}

TEST_F(NamesInTheDictionaryModel, Any_text_is_a_folder_path_and_nothing_else_on_the_disk_changes) {
    start();
    tryEachText([this](const std::string& text, const std::string&) {
        putTree(node());
        start();
        const std::string folder = "Top Folder/" + text;
        EXPECT_TRUE(manager->createFolderAtPath(folder));
        EXPECT_TRUE(manager->subscribeToResource("Farm:Word", keywordsFor("Word", folder)));
        ASSERT_EQ(manager->numberOfSubscriptions(), 1U);
        const std::string listed = manager->subscriptionPaths().front();
        const Paths folders = manager->folders();
        start();
        EXPECT_EQ(manager->folders(), folders);
        EXPECT_EQ(manager->subscriptionPaths(), Paths{listed});
        // A "/" at the end is a component of its own, which is lost where more is joined to it.
        EXPECT_EQ(manager->removeSubscriptionAtPath(folder + "/Word"), !text.ends_with('/'));
        const bool isInTopFolder = text.find_first_not_of('/') != text.npos;
        EXPECT_EQ(manager->renameFolderAtPath(folder, "Top Folder/Renamed"), isInTopFolder);
        EXPECT_TRUE(manager->removeFolderAtPath("Top Folder/Renamed", false));
        EXPECT_TRUE(isSupportFolderClean());
    });
}

TEST_F(NamesInTheDictionaryModel, Every_operation_bears_any_path) {
    start();
    tryEachText([this](const std::string& text, const std::string&) {
        putTree(sampleTree());
        start();
        for (const std::string& path : {text, "/Apps/" + text, text + "/Word", ""s}) {
            manager->subscriptionAtPath(path);
            manager->isSubscriptionAtPath(path);
            manager->subscriptionPathsInFolder(path, true);
            EXPECT_TRUE(manager->createFolderAtPath(path));
            manager->moveSubscriptionFrom("/Apps/Store1/Word", path);
            manager->moveSubscriptionFrom(path, "/Apps/Store1/Word");
            manager->renameFolderAtPath("/Apps/Store2", path);
            manager->renameFolderAtPath(path, "/Apps/Store2");
            manager->removeFolderAtPath(path, true);
            manager->removeFolderAtPath(path, false);
            manager->removeSubscriptionAtPath(path);
            MOXPlistSubscription::subscription()->writeToFolder(path, text);
        }
        const Paths paths = manager->subscriptionPaths();
        const Paths folders = manager->folders();
        start();
        EXPECT_EQ(manager->subscriptionPaths(), paths);
        EXPECT_EQ(manager->folders(), folders);
    });
    EXPECT_EQ(logLines(), Paths());
}

TEST_F(NamesInTheDictionaryModel, Paths_that_differ_only_in_what_is_repaired_are_one) {
    putTree(node({{"Top Folder", node({{"x\ufffd", node()}})}}));
    start();
    EXPECT_TRUE(manager->renameFolderAtPath("Top Folder/x\xff", "Top Folder/x\xfe"))
        << "equal once they are repaired: nothing is done";
    EXPECT_EQ(manager->folders(), (Paths{"Top Folder", "Top Folder/x\ufffd"}));
    EXPECT_TRUE(manager->subscribeToResource("Farm:Word", keywordsFor("Word\xff", "Top Folder/x\xff")));
    EXPECT_TRUE(manager->isSubscriptionAtPath("Top Folder/x\xfe/Word\xfd"));
    EXPECT_TRUE(manager->moveSubscriptionFrom("Top Folder/x\xff/Word\xff", "Top Folder/x\xff/Two\xff"));
    EXPECT_TRUE(manager->removeSubscriptionAtPath("Top Folder/x\xff/Two\xff"));
    EXPECT_EQ(manager->folders(), (Paths{"Top Folder", "Top Folder/x\ufffd"}));
}

} // namespace
} // namespace mox::test
