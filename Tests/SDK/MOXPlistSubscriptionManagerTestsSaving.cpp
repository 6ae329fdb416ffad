#include "Formats/PropertyListReading.hpp"
#include "SDK/PlistStore.hpp"

#include <cerrno>
#include <functional>
#include <mutex>
#include <thread>

namespace mox::test {
namespace {

/// A log that asks a question at each message and keeps the answers.
class AskingSystemLog : public SystemLog {
public:
    void log(std::string_view) override { answers.push_back(question()); }

    std::function<bool()> question;
    std::vector<bool> answers;
};

class SavingThePlistStore : public PlistStoreTest {
protected:
    std::string writeErrorLine() const {
        return "-[MOXPlistSubscriptionManager saveSubscriptions] Error writing subscription dictionary at "
               "path (" +
               plistPath() + ")";
    }

    /// Three folders, one in the other, with subscriptions in the first and the third.
    static Dictionary sample() {
        return node({{"Top", node({{"Sub", node({{"Deep", node({}, {{"Three", entry()}})}})}},
                                  {{"One", entry()}, {"Two", entry({.type = "Desktop"})}})}});
    }
};

TEST_F(SavingThePlistStore, The_whole_tree_is_written) {
    const auto store = open(sample());
    store->root().set("Unknown", "value");
    store->saveSubscriptions();
    EXPECT_EQ(treeOnDisk(), store->root());
    EXPECT_EQ(saves(), 1U);
    EXPECT_EQ(logLines(), Paths());
}

TEST_F(SavingThePlistStore, Keys_that_nobody_knows_survive_at_every_level) {
    Dictionary root = sample();
    root.set("Root Key", PropertyList::integer(7));
    root.dictionary("Folders")->dictionary("Top")->set("Node Key", PropertyList::Array{"a", "b"});
    const auto store = open(root);
    EXPECT_TRUE(store->createFolderAtPath("New"));
    root.dictionary("Folders")->set("New", node());
    EXPECT_EQ(treeOnDisk(), root);
}

TEST_F(SavingThePlistStore, Saving_without_a_tree_is_an_assertion_failure) {
    const auto store = open(sample());
    store->_subscriptionHierarchy.reset();
    EXPECT_THROW(store->saveSubscriptions(), InternalInconsistencyException);
    ASSERT_EQ(assertions->failures().size(), 1U);
    const auto failure = assertions->failures().back();
    EXPECT_EQ(failure.description, "Missing subscriptions dictionary");
    EXPECT_EQ(failure.operation, "-[MOXPlistSubscriptionManager saveSubscriptions]");
    EXPECT_EQ(failure.file, "Frameworks/MOXSubscribe/Source/SDK/MOXPlistSubscriptionManager");
    EXPECT_EQ(failure.line, 571);
    EXPECT_EQ(failure.object, static_cast<MOXSubscriptionManager*>(store.get()));
    EXPECT_EQ(treeOnDisk(), sample());
}

TEST_F(SavingThePlistStore,
       Without_a_tree_and_with_a_handler_that_returns_the_save_fails_and_the_file_stays) {
    const auto store = open(sample());
    letAssertions(Then::Returns);
    store->_subscriptionHierarchy.reset();
    store->saveSubscriptions();
    EXPECT_EQ(logLines(), Paths{writeErrorLine()});
    EXPECT_EQ(store->folders(), Paths());
    EXPECT_EQ(store->subscriptionPaths(), Paths());
    EXPECT_EQ(treeOnDisk(), sample());
}

TEST_F(SavingThePlistStore, A_write_that_fails_is_logged_and_memory_keeps_the_change) {
    const auto store = open(sample());
    environment.systemCalls.failCall(SystemCall::Open, 1, EACCES, FaultDuration::FromThenOn);
    std::optional<Error> error = staleError();
    EXPECT_TRUE(store->createFolderAtPath("New", &error));
    EXPECT_FALSE(error);
    EXPECT_EQ(logLines(), Paths{writeErrorLine()});
    EXPECT_EQ(store->folders(), (Paths{"New", "Top", "Top/Sub", "Top/Sub/Deep"}));
    EXPECT_EQ(treeOnDisk(), sample());
}

TEST_F(SavingThePlistStore, With_a_read_only_support_folder_every_save_logs_and_every_operation_succeeds) {
    const auto store = open(sample());
    environment.systemCalls.dieAtChange(1);
    EXPECT_TRUE(store->createFolderAtPath("Top/New"));
    EXPECT_TRUE(store->renameFolderAtPath("Top/New", "Top/Renamed"));
    EXPECT_TRUE(store->subscribeToResource("Farm:Word", keywordsFor("Word", "Top/Renamed")));
    EXPECT_TRUE(store->moveSubscriptionFrom("Top/Renamed/Word", "Top/Moved"));
    EXPECT_TRUE(store->removeSubscriptionAtPath("Top/Moved"));
    EXPECT_TRUE(store->removeFolderAtPath("Top/Renamed", false));
    EXPECT_TRUE(store->removeAllSubscriptionsWithUniqueName("Farm:Word", "Store").has_value());
    EXPECT_EQ(logLines(), Paths(8, writeErrorLine()));
    EXPECT_EQ(store->subscriptionPaths(), Paths());
    EXPECT_EQ(treeOnDisk(), sample());
}

TEST_F(SavingThePlistStore, The_next_save_that_succeeds_writes_what_failed_ones_could_not) {
    const auto store = open(sample());
    environment.systemCalls.failCall(SystemCall::Write, 1, ENOSPC, FaultDuration::Once);
    EXPECT_TRUE(store->createFolderAtPath("First"));
    EXPECT_EQ(treeOnDisk(), sample());
    EXPECT_TRUE(store->createFolderAtPath("Second"));
    EXPECT_EQ(treeOnDisk(), store->root());
    EXPECT_NE(nodeAt(treeOnDisk(), {"First"}), nullptr);
}

TEST_F(SavingThePlistStore, A_tree_too_deep_to_be_read_again_is_a_failed_write) {
    const auto store = open(sample());
    Dictionary deep = node();
    for (std::size_t level = 0; level <= maximumPropertyListDepth / 2; ++level) {
        Dictionary outer = node();
        outer.dictionary("Folders")->set("d", std::move(deep));
        deep = std::move(outer);
    }
    store->root().dictionary("Folders")->set("d", std::move(deep));
    store->saveSubscriptions();
    EXPECT_EQ(logLines(), Paths{writeErrorLine()});
    EXPECT_EQ(saves(), 0U);
    EXPECT_EQ(treeOnDisk(), sample());
    EXPECT_EQ(store->folders().size(), maximumPropertyListDepth / 2 + 5);
}

TEST_F(SavingThePlistStore, Five_thousand_folders_in_each_other_are_saved_and_loaded) {
    constexpr std::size_t depth = 5000;
    std::string path;
    for (std::size_t level = 0; level < depth; ++level)
        path += level == 0 ? "d" : "/d";
    {
        const auto store = open(node());
        EXPECT_TRUE(store->createFolderAtPath(path));
        EXPECT_TRUE(store->subscribeToResource("Farm:Word", keywordsFor("Word", path)));
        EXPECT_EQ(logLines(), Paths());
        EXPECT_EQ(store->folders().size(), depth);
    }
    const auto store = open();
    EXPECT_EQ(store->folders().size(), depth);
    EXPECT_EQ(store->folders().back(), path);
    EXPECT_EQ(store->subscriptionPaths(), Paths{path + "/Word"});
    EXPECT_TRUE(OpenPlistStore::folderContainsSubscriptions(&store->root()));
    EXPECT_TRUE(store->removeSubscriptionAtPath(path + "/Word"));
    EXPECT_FALSE(OpenPlistStore::folderContainsSubscriptions(&store->root()));
}

TEST_F(SavingThePlistStore, The_file_is_XML_unless_a_text_needs_the_binary_form) {
    const auto store = open(sample());
    const auto form = [this] { return bytesOfFile(plistPath()).substr(0, 8); };
    const std::string control = "Control\x01";
    EXPECT_TRUE(store->createFolderAtPath(control));
    EXPECT_EQ(form(), "bplist00");
    EXPECT_EQ(treeOnDisk(), store->root());
    EXPECT_TRUE(open()->subscriptionPaths() == store->subscriptionPaths());
    EXPECT_TRUE(store->root().dictionary("Folders")->remove(control));
    store->saveSubscriptions();
    EXPECT_EQ(form(), "<?xml ve");
}

TEST_F(SavingThePlistStore, The_lists_stay_the_same_objects) {
    const auto store = open(sample());
    const auto* paths = &store->subscriptionPaths();
    const auto* folders = &store->folders();
    EXPECT_TRUE(store->subscribeToResource("Farm:Word", keywordsFor("New", "Top")));
    EXPECT_EQ(&store->subscriptionPaths(), paths);
    EXPECT_EQ(&store->folders(), folders);
    EXPECT_EQ(paths->front(), "Top/New");
}

TEST_F(SavingThePlistStore, Subscriptions_come_before_those_of_inner_folders_and_folders_before_theirs) {
    const auto store = open(node({{"B", node({{"Inner", node({}, {{"3", entry()}})}}, {{"2", entry()}})},
                                  {"A", node({}, {{"1", entry()}})},
                                  {"/", node({{"U", node({}, {{"0", entry()}})}})}},
                                 {{"Z", entry()}}));
    EXPECT_EQ(store->subscriptionPaths(), (Paths{"Z", "/U/0", "A/1", "B/2", "B/Inner/3"}));
    EXPECT_EQ(store->folders(), (Paths{"/", "/U", "A", "B", "B/Inner"}));
}

TEST_F(SavingThePlistStore, A_subscription_at_the_root_is_listed_by_its_bare_name) {
    const auto store = open(node({}, {{"Bare", entry()}}));
    EXPECT_EQ(store->subscriptionPaths(), Paths{"Bare"});
    EXPECT_EQ(store->folders(), Paths());
}

TEST_F(SavingThePlistStore, Siblings_are_listed_in_the_order_of_their_UTF16_units) {
    const auto store =
        open(node({}, {{"\xEF\xBC\x81", entry()}, {"\xF0\x9F\x98\x80", entry()}, {"b", entry()}}));
    EXPECT_EQ(store->subscriptionPaths(), (Paths{"b", "\xF0\x9F\x98\x80", "\xEF\xBC\x81"}));
}

TEST_F(SavingThePlistStore, Names_that_are_no_single_components_are_listed_as_paths_join) {
    const auto store = open(node({{"a//b/", node({}, {{"c//d", entry()}})}, {"", node({}, {{"", entry()}})}},
                                 {{"x//y", entry()}}));
    EXPECT_EQ(store->subscriptionPaths(), (Paths{"x//y", "", "a/b/c/d"}));
    EXPECT_EQ(store->folders(), (Paths{"", "a/b"}));
}

TEST_F(SavingThePlistStore, After_any_change_the_lists_are_those_of_the_tree_whatever_they_were_before) {
    struct Tree {
        Dictionary root;
        Paths paths;
        Paths folders;
    };
    // Two folders, the second of which is there when it has subscriptions; each of the five subscriptions is
    // in half of the trees.
    std::vector<Tree> trees(std::size_t{1} << 5U);
    for (std::size_t number = 0; number < trees.size(); ++number) {
        Tree& tree = trees[number];
        tree.root = node({{"A", node()}});
        tree.folders = {"A"};
        std::size_t rest = number;
        for (const char* const path : {"A/1", "A/2, longer than a short text", "A/3", "B/1", "B/2"}) {
            if (rest % 2 != 0) {
                tree.paths.emplace_back(path);
                const std::string_view name(path, 1);
                Dictionary* const folders = tree.root.dictionary("Folders");
                if (name != tree.folders.back()) {
                    folders->set(std::string(name), node());
                    tree.folders.emplace_back(name);
                }
                folders->dictionary(name)->dictionary("Subscriptions")->set(path + 2, entry());
            }
            rest /= 2;
        }
    }
    const auto store = open(node());
    for (const Tree& before : trees) {
        for (const Tree& after : trees) {
            for (const Tree* const tree : {&before, &after}) {
                store->root() = tree->root;
                store->updateConvenienceArrays();
            }
            ASSERT_EQ(store->subscriptionPaths(), after.paths);
            ASSERT_EQ(store->folders(), after.folders);
        }
    }
}

TEST_F(SavingThePlistStore, Rebuilding_the_lists_does_not_save) {
    const auto store = open(sample());
    store->root().dictionary("Folders")->set("New", node());
    store->updateConvenienceArrays();
    EXPECT_EQ(store->folders().front(), "New");
    EXPECT_EQ(saves(), 0U);
}

TEST_F(SavingThePlistStore,
       The_locked_operations_hold_the_monitor_until_the_end_of_the_save_and_no_others_do) {
    AskingSystemLog log;
    const Platform platform = environment.platformWith(log);
    const ScopedPlatform withThatLog(platform);
    const auto store = open(sample());
    // Each save fails, so that its end is seen in the log.
    environment.systemCalls.dieAtChange(1);
    log.question = [&store] { return store->isMonitorFree(); };
    using Answers = std::vector<bool>;
    const auto monitorIsFreeDuring = [&log](const auto& operation) {
        log.answers.clear();
        operation();
        return log.answers;
    };
    EXPECT_EQ(monitorIsFreeDuring([&] { store->createFolderAtPath("Top/New"); }), Answers{false});
    EXPECT_EQ(monitorIsFreeDuring([&] { store->renameFolderAtPath("Top/New", "Top/Old"); }), Answers{false});
    EXPECT_EQ(monitorIsFreeDuring([&] { store->removeFolderAtPath("Top/Old", false); }), Answers{false});
    EXPECT_EQ(monitorIsFreeDuring([&] { store->moveSubscriptionFrom("Top/One", "Top/1"); }), Answers{false});
    EXPECT_EQ(monitorIsFreeDuring([&] { store->removeAllSubscriptionsWithUniqueName("Farm:Word", "Store"); }),
              Answers{false});
    EXPECT_EQ(
        monitorIsFreeDuring([&] { store->subscribeToResource("Farm:Word", keywordsFor("Word", "Top")); }),
        (Answers{false, true}))
        << "only the folder is made under it";
    EXPECT_EQ(monitorIsFreeDuring([&] { store->removeSubscriptionAtPath("Top/Word"); }), Answers{true});
    EXPECT_EQ(monitorIsFreeDuring([&] { store->saveSubscriptions(); }), Answers{true});
    EXPECT_TRUE(store->isMonitorFree());
}

TEST_F(SavingThePlistStore, Operations_that_take_no_lock_go_on_while_another_thread_holds_the_monitor) {
    const auto store = open(sample());
    const std::lock_guard held(OpenPlistStore::monitorOf(*store));
    std::thread([&store] {
        EXPECT_TRUE(store->isSubscriptionAtPath("Top/One"));
        EXPECT_NE(store->subscriptionAtPath("Top/Two"), nullptr);
        EXPECT_TRUE(store->removeSubscriptionAtPath("Top/One"));
        store->updateSubscriptionsAtPathsStoreNameHandler({"Top/Two"}, {}, {}, {});
    }).join();
    EXPECT_EQ(store->numberOfSubscriptions(), 2U);
}

TEST_F(SavingThePlistStore, Every_operation_saves_exactly_as_often_as_it_must) {
    const auto store = open(sample());
    const auto savesOf = [this](const auto& operation) {
        environment.fileSystem.resetCounts();
        operation();
        return saves();
    };
    MOXSubscribeKeywords keywords = keywordsFor("New", "Top/Sub");
    EXPECT_EQ(savesOf([&] { store->subscribeToResource("Farm:Excel", keywords); }), 2U);
    keywords.ofType = MOXSubscriptionType::Desktop;
    EXPECT_EQ(savesOf([&] { store->subscribeToResource("Farm:Excel", keywords); }), 1U) << "in the conflict";
    keywords.inFolder = "";
    EXPECT_EQ(savesOf([&] { store->subscribeToResource("Farm:Excel", keywords); }), 0U);
    EXPECT_EQ(savesOf([&] { store->createFolderAtPath("Top/Sub"); }), 1U) << "of a folder that is there";
    EXPECT_EQ(savesOf([&] { store->createFolderAtPath("Top/Sub/More/Still"); }), 1U);
    EXPECT_EQ(savesOf([&] { store->renameFolderAtPath("Top/Sub", "Top/Sub"); }), 0U);
    EXPECT_EQ(savesOf([&] { store->renameFolderAtPath("Top/Missing", "Top/Other"); }), 0U);
    EXPECT_EQ(savesOf([&] { store->renameFolderAtPath("Top/Sub", "Top/Other"); }), 1U);
    EXPECT_EQ(savesOf([&] { store->removeFolderAtPath("Top/Other", true); }), 0U);
    EXPECT_EQ(savesOf([&] { store->removeFolderAtPath("Top", false); }), 0U);
    EXPECT_EQ(savesOf([&] { store->removeFolderAtPath("Top/Missing", false); }), 1U);
    EXPECT_EQ(savesOf([&] { store->moveSubscriptionFrom("Top/Missing", "Top/Other"); }), 0U);
    EXPECT_EQ(savesOf([&] { store->moveSubscriptionFrom("Top/One", "Top/Other/One"); }), 1U);
    EXPECT_EQ(savesOf([&] { store->moveSubscriptionFrom("Top/Two", "Top/Two"); }), 1U);
    EXPECT_EQ(savesOf([&] { store->removeSubscriptionAtPath("Top/Missing"); }), 0U);
    EXPECT_EQ(savesOf([&] { store->removeSubscriptionAtPath("Top/Other/New"); }), 1U);
    EXPECT_EQ(savesOf([&] { store->removeAllSubscriptionsWithUniqueName("None", "Store"); }), 0U);
    EXPECT_EQ(store->numberOfSubscriptions(), 2U);
    EXPECT_EQ(savesOf([&] { store->removeAllSubscriptionsWithUniqueName("Farm:Word", "Store"); }), 1U);
    EXPECT_EQ(store->numberOfSubscriptions(), 0U);
    EXPECT_EQ(savesOf([&] { store->subscriptionAtPath("Top/One"); }), 0U);
    EXPECT_EQ(savesOf([&] { store->isSubscriptionAtPath("Top/One"); }), 0U);
    EXPECT_EQ(savesOf([&] { store->updateSubscriptionsAtPathsStoreNameHandler({"Top/One"}, {}, {}, {}); }),
              0U);
}

} // namespace
} // namespace mox::test
