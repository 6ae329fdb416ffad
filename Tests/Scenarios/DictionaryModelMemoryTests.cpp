#include "Formats/PropertyListReading.hpp"
#include "SDK/PlistStore.hpp"

#include <cstdlib>
#include <functional>
#include <new>

namespace {

/// How many allocations of this thread succeed before one fails; below 0 all succeed.
thread_local long allocationsLeft = -1;

void* allocate(std::size_t size) {
    if (allocationsLeft == 0) {
        allocationsLeft = -1;
        throw std::bad_alloc();
    }
    if (allocationsLeft > 0) --allocationsLeft;
    if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
    throw std::bad_alloc();
}

} // namespace

void* operator new(std::size_t size) {
    return allocate(size);
}
void* operator new[](std::size_t size) {
    return allocate(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace mox::test {
namespace {

class MemoryOfTheDictionaryModel : public PlistStoreTest {
protected:
    static Dictionary sample() {
        return node({{"Top Folder", node({{"Sub", node({}, {{"Deep", entry()}})}},
                                         {{"One", entry()}, {"Two", entry({.resource = "Farm:Two"})}})}});
    }

    /// Runs `body` with the `number`-th allocation failing; whether none failed.
    static bool survives(long number, const std::function<void()>& body) {
        allocationsLeft = number;
        try {
            body();
        } catch (const std::bad_alloc&) {
            return false;
        }
        const bool hasFailed = allocationsLeft < 0;
        allocationsLeft = -1;
        // A failure that something on the way got over is none for this call.
        return !hasFailed;
    }
};

TEST_F(MemoryOfTheDictionaryModel, Every_failing_allocation_leaves_a_store_that_works_and_loads) {
    using Operation = std::function<void(OpenPlistStore&)>;
    const Operation operations[] = {
        [](auto& store) {
            store.subscribeToResource("Farm:New",
                                      keywordsFor("A new one with a long name", "Top Folder/New/X"));
        },
        [](auto& store) { store.subscriptionAtPath("Top Folder/One"); },
        [](auto& store) { store.removeSubscriptionAtPath("Top Folder/One"); },
        [](auto& store) { store.createFolderAtPath("Top Folder/A folder with a long name/Inner"); },
        [](auto& store) {
            store.renameFolderAtPath("Top Folder/Sub", "Top Folder/A long name for a folder");
        },
        [](auto& store) { store.removeFolderAtPath("Top Folder/Sub", false); },
        [](auto& store) {
            store.moveSubscriptionFrom("Top Folder/One", "Top Folder/Sub/A long name for an entry");
        },
        [](auto& store) { store.removeAllSubscriptionsWithUniqueName("Farm:Word", "Store"); },
    };
    for (const Operation& operation : operations) {
        long number = 0;
        for (bool isDone = false; !isDone; ++number) {
            SCOPED_TRACE("operation " + std::to_string(&operation - operations) + ", allocation " +
                         std::to_string(number));
            const auto store = open(sample());
            isDone = survives(number, [&] { operation(*store); });
            EXPECT_TRUE(store->isMonitorFree());
            EXPECT_TRUE(store->createFolderAtPath("Afterwards"));
            EXPECT_EQ(treeOnDisk(), store->root());
            const auto reopened = std::make_shared<OpenPlistStore>();
            EXPECT_EQ(reopened->subscriptionPaths(), store->subscriptionPaths());
            EXPECT_EQ(reopened->folders(), store->folders());
            ASSERT_LT(number, 100'000);
        }
        EXPECT_GT(number, 3);
    }
}

TEST_F(MemoryOfTheDictionaryModel, A_move_or_rename_that_runs_out_of_memory_loses_nothing) {
    long number = 0;
    for (bool isDone = false; !isDone; ++number) {
        SCOPED_TRACE(number);
        const auto store = open(sample());
        isDone = survives(number, [&] {
            store->moveSubscriptionFrom("Top Folder/One", "Top Folder/Sub/A long name for an entry");
        });
        store->updateConvenienceArrays();
        EXPECT_EQ(store->numberOfSubscriptions(), 3U);
        std::size_t whole = 0;
        for (const std::string& path : Paths(store->subscriptionPaths()))
            whole += store->isSubscriptionAtPath(path) ? 1U : 0U;
        EXPECT_EQ(whole, 3U);
    }
    number = 0;
    for (bool isDone = false; !isDone; ++number) {
        SCOPED_TRACE(number);
        const auto store = open(sample());
        isDone = survives(number, [&] {
            store->renameFolderAtPath("Top Folder/Sub", "Top Folder/A long name for a folder");
        });
        store->updateConvenienceArrays();
        EXPECT_EQ(store->numberOfSubscriptions(), 3U);
        EXPECT_EQ(store->folders().size(), 2U);
    }
}

TEST_F(MemoryOfTheDictionaryModel, Lists_that_cannot_be_renewed_stay_as_they_were) {
    // One in front of those that stay, so that all move; none in front; and one that goes.
    for (const std::string change : {"A name in front of all", "Z name behind all others", "One"}) {
        long number = 0;
        for (bool isDone = false; !isDone; ++number) {
            SCOPED_TRACE(change + ", allocation " + std::to_string(number));
            const auto store = open(sample());
            const Paths paths = store->subscriptionPaths();
            const Paths folders = store->folders();
            Dictionary& top = *store->dictionaryForPath("Top Folder");
            Dictionary& subscriptions = *top.dictionary("Subscriptions");
            if (!subscriptions.remove(change)) subscriptions.set(change, entry());
            top.dictionary("Folders")->set("A new folder with a long name", node());
            isDone = survives(number, [&] { store->updateConvenienceArrays(); });
            EXPECT_EQ(store->subscriptionPaths() == paths, !isDone);
            EXPECT_EQ(store->folders() == folders, !isDone);
        }
        EXPECT_GT(number, 3);
    }
}

TEST_F(MemoryOfTheDictionaryModel, A_start_that_runs_out_of_memory_leaves_the_file_alone) {
    putTree(sample());
    const std::string before = bytesOfFile(plistPath());
    long number = 0;
    for (bool isDone = false; !isDone; ++number) {
        SCOPED_TRACE(number);
        isDone = survives(number, [] { const OpenPlistStore store; });
        EXPECT_EQ(bytesOfFile(plistPath()), before);
        EXPECT_EQ(namesIn(supportFolder()), Paths{"Subscriptions.plist"});
    }
    EXPECT_GT(number, 10);
}

} // namespace
} // namespace mox::test
