#include "Support/ScratchFolder.hpp"

#include <cstddef>
#include <sys/stat.h>

#include "Scenarios/DictionaryModelScenario.hpp"

namespace mox::test {
namespace {

/// A client's work on a store that is far larger than any user's.
class LargeDictionaryModel : public DictionaryModelScenario {
protected:
    /// The root of a store with `subscriptions` in the applications folder. They are moved to their place,
    /// since copies of so many take longer than all that is tested.
    static Dictionary rootWith(Dictionary subscriptions) {
        Dictionary root = node();
        Dictionary* current = &root;
        for (const char* component : {"/", "Users", "user", "Applications"}) {
            Dictionary* folders = current->dictionary("Folders");
            folders->set(component, node());
            current = folders->dictionary(component);
        }
        current->set("Subscriptions", std::move(subscriptions));
        return root;
    }

    /// Six digits, so that the order of the names is that of the numbers.
    static std::string nameOf(std::size_t number) {
        return "Entry " + std::to_string(1'000'000 + number).substr(1);
    }

    std::size_t fileSize() const {
        struct stat status = {};
        EXPECT_EQ(::stat(plistPath().c_str(), &status), 0);
        return static_cast<std::size_t>(status.st_size);
    }
};

TEST_F(LargeDictionaryModel, A_hundred_thousand_subscriptions_are_loaded_listed_changed_and_removed) {
    constexpr std::size_t count = 100'000;
    Dictionary entries;
    for (std::size_t number = 0; number < count; ++number)
        entries.set(nameOf(number), entry({.store = number % 2 == 0 ? "Store" : "Other"}));
    putTree(rootWith(std::move(entries)));

    start();
    EXPECT_EQ(manager->numberOfSubscriptions(), count);
    const Paths paths = manager->subscriptionPathsInFolder(apps, false);
    ASSERT_EQ(paths.size(), count);
    EXPECT_EQ(paths.front(), apps + "/" + nameOf(0));
    EXPECT_EQ(paths.back(), apps + "/" + nameOf(count - 1));
    for (std::size_t number = 0; number < count; number += 37)
        ASSERT_NE(manager->subscriptionAtPath(paths[number]), nullptr) << paths[number];

    EXPECT_TRUE(manager->subscribeToResource("Farm:Excel", keywordsFor("Excel", apps)));
    EXPECT_TRUE(manager->moveSubscriptionFrom(paths[1], apps + "/Moved"));
    EXPECT_TRUE(manager->removeSubscriptionAtPath(paths[count - 1]));
    start();
    EXPECT_EQ(manager->numberOfSubscriptions(), count);
    EXPECT_TRUE(manager->isSubscriptionAtPath(apps + "/Excel"));
    EXPECT_TRUE(manager->isSubscriptionAtPath(apps + "/Moved"));
    EXPECT_FALSE(manager->isSubscriptionAtPath(paths[1]));
    EXPECT_FALSE(manager->isSubscriptionAtPath(paths[count - 1]));

    const auto removed = manager->removeAllSubscriptionsWithUniqueName("Farm:Word", "Other");
    ASSERT_TRUE(removed);
    EXPECT_EQ(removed->size(), count / 2 - 1);
    start();
    EXPECT_EQ(manager->numberOfSubscriptions(), count / 2 + 1);
    EXPECT_TRUE(manager->removeFolderAtPath(apps, false));
    EXPECT_EQ(start()->numberOfSubscriptions(), 0U);
    EXPECT_EQ(logLines(), Paths());
}

TEST_F(LargeDictionaryModel, A_file_of_fifty_megabytes_is_kept_to_the_last_byte_through_a_change) {
    constexpr std::size_t iconSize = 700'000;
    Dictionary entries;
    for (std::size_t number = 0; number < 60; ++number) {
        Bytes icon(iconSize, '\0');
        for (std::size_t index = 0; index < iconSize; ++index)
            icon[index] = static_cast<char>((index * index + number) >> 3 & 0xFF);
        Dictionary withIcon = entry();
        withIcon.set("Icon", PropertyList::Data(std::move(icon)));
        entries.set(nameOf(number), std::move(withIcon));
    }
    putTree(rootWith(entries));
    EXPECT_GT(fileSize(), 50'000'000U);

    start();
    EXPECT_TRUE(manager->moveSubscriptionFrom(apps + "/" + nameOf(0), apps + "/Moved"));
    start();
    EXPECT_TRUE(manager->removeSubscriptionAtPath(apps + "/" + nameOf(1)));
    entries.set("Moved", *entries.take(nameOf(0)));
    entries.remove(nameOf(1));
    EXPECT_TRUE(treeOnDisk() == rootWith(entries));
    EXPECT_GT(fileSize(), 50'000'000U);
    EXPECT_EQ(logLines(), Paths());
}

TEST_F(LargeDictionaryModel, Folders_in_each_other_five_thousand_deep_are_made_used_and_removed) {
    constexpr std::size_t depth = 5'000;
    std::string deepest = apps;
    for (std::size_t level = 0; level < depth; ++level)
        deepest += "/f";

    start();
    const std::size_t foldersBefore = manager->folders().size();
    const std::size_t sizeBefore = fileSize();
    EXPECT_TRUE(manager->subscribeToResource("Farm:Word", keywordsFor("Word", deepest)));
    start();
    EXPECT_EQ(manager->folders().size(), foldersBefore + depth);
    EXPECT_EQ(manager->subscriptionPathsInFolder(apps, true), Paths{deepest + "/Word"});
    EXPECT_TRUE(manager->isSubscriptionAtPath(deepest + "/Word"));
    EXPECT_TRUE(manager->renameFolderAtPath(deepest, deepest + "ound"));
    EXPECT_TRUE(manager->moveSubscriptionFrom(deepest + "ound/Word", apps + "/Word"));
    EXPECT_EQ(manager->subscriptionPaths(), Paths{apps + "/Word"});
    EXPECT_TRUE(manager->removeFolderAtPath(apps + "/f", true));
    start();
    EXPECT_EQ(manager->folders().size(), foldersBefore);
    EXPECT_EQ(manager->subscriptionPaths(), Paths{apps + "/Word"});
    EXPECT_LT(fileSize(), sizeBefore + 10'000);
    EXPECT_EQ(logLines(), Paths());
}

} // namespace
} // namespace mox::test
