#include "Scenarios/DictionaryModelScenario.hpp"

#include "Formats/PropertyListWriting.hpp"
#include "Support/SharedManagerAccess.hpp"

#include <algorithm>

namespace mox::test {

DictionaryModelScenario::DictionaryModelScenario() {
    MOXSubscriptionManager::setSubscriptionModel(SubscriptionModel::Dictionary);
}

DictionaryModelScenario::~DictionaryModelScenario() {
    end();
}

const DictionaryModelScenario::Manager& DictionaryModelScenario::start() {
    end();
    manager = MOXSubscriptionManager::sharedManager();
    return manager;
}

void DictionaryModelScenario::end() {
    manager.reset();
    SharedManagerAccess::dropSharedManager();
}

Dictionary DictionaryModelScenario::sampleTree() {
    return node({{"/", node({{"Apps", node({{"Store1", node({}, {{"Word", entry()}, {"Excel", entry()}})},
                                            {"Store2", node({}, {{"Desk", entry({.type = "Desktop"})}})},
                                            {"Empty", node()}})}})}},
                {{"Bare", entry({.resource = "Farm:Bare"})}});
}

std::vector<DictionaryModelScenario::Operation> DictionaryModelScenario::operations() {
    return {
        {"subscribe",
         [](auto& manager) {
             EXPECT_TRUE(manager.subscribeToResource("Farm:New", keywordsFor("New", "/Apps/New/Folder")));
         }},
        {"replace",
         [](auto& manager) {
             EXPECT_TRUE(manager.subscribeToResource("Farm:New", keywordsFor("Word", "/Apps/Store1")));
         }},
        {"remove", [](auto& manager) { EXPECT_TRUE(manager.removeSubscriptionAtPath("/Apps/Store1/Word")); }},
        {"move",
         [](auto& manager) {
             EXPECT_TRUE(manager.moveSubscriptionFrom("/Apps/Store1/Word", "/Apps/Store2/Moved"));
         }},
        {"create folder",
         [](auto& manager) { EXPECT_TRUE(manager.createFolderAtPath("/Apps/Store3/Inner")); }},
        {"rename folder",
         [](auto& manager) { EXPECT_TRUE(manager.renameFolderAtPath("/Apps/Store1", "/Apps/Renamed")); }},
        {"remove folder",
         [](auto& manager) { EXPECT_TRUE(manager.removeFolderAtPath("/Apps/Store1", false)); }},
        {"remove all",
         [](auto& manager) {
             EXPECT_TRUE(manager.removeAllSubscriptionsWithUniqueName("Farm:Word", "Store").has_value());
         }},
        {"write a record",
         [](auto&) {
             const auto record = MOXPlistSubscription::subscription();
             record->setResourceName("Farm:Written");
             EXPECT_TRUE(record->writeToFolder("/Apps/Store2", "Written"));
         }},
    };
}

std::vector<Dictionary> DictionaryModelScenario::savedTrees(const Operation& operation) {
    putTree(sampleTree());
    start();
    operation.perform(*manager);
    std::vector<Dictionary> trees{sampleTree()};
    if (operation.name == "subscribe") {
        // Its folder is saved before the subscription is there.
        Dictionary withFolder = sampleTree();
        withFolder.dictionary("Folders")
            ->dictionary("/")
            ->dictionary("Folders")
            ->dictionary("Apps")
            ->dictionary("Folders")
            ->set("New", node({{"Folder", node()}}));
        trees.push_back(std::move(withFolder));
    }
    trees.push_back(treeOnDisk());
    return trees;
}

bool DictionaryModelScenario::isSupportFolderClean() const {
    return namesIn(supportFolder()) == Paths{"Subscriptions.plist"};
}

bool isFileOfOneOf(std::string_view bytes, const std::vector<Dictionary>& trees) {
    return std::any_of(trees.begin(), trees.end(),
                       [bytes](const Dictionary& tree) { return bytes == *storedFormOfPropertyList(tree); });
}

} // namespace mox::test
