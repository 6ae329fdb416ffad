#include "Foundation/PropertyList.hpp"
#include "Support/FailingAllocations.hpp"

#include <gtest/gtest.h>

#include <new>
#include <optional>

namespace mox::test {
namespace {

/// Arrays and dictionaries in each other by turns, each with values before and behind the nested one.
PropertyList mixedTree(int depth) {
    PropertyList tree("innermost value, too long to be held within a string object");
    for (int level = 0; level < depth; ++level) {
        if (level % 2 == 0) {
            PropertyList::Array array{PropertyList::Array{"a"}, "b", PropertyList::Array()};
            array[1] = std::move(tree);
            tree = std::move(array);
        } else {
            PropertyList::Dictionary dictionary;
            dictionary.set("k", std::move(tree));
            dictionary.set("a", PropertyList::Data("data"));
            dictionary.set("z", PropertyList::Array{"c", PropertyList::boolean(true)});
            tree = std::move(dictionary);
        }
    }
    return tree;
}

TEST(PropertyListAllocation, Destroying_and_replacing_a_deep_value_takes_no_memory) {
    std::optional<PropertyList> destroyed = mixedTree(100'000);
    PropertyList replaced = mixedTree(1'000);
    const FailingAllocation failing(1);
    destroyed.reset();
    replaced = PropertyList::boolean(true);
    EXPECT_FALSE(failing.hasFailed());
}

TEST(PropertyListAllocation, A_copy_without_memory_throws_and_leaves_both_values_as_they_were) {
    const PropertyList original = mixedTree(20);
    for (std::size_t number = 1;; ++number) {
        PropertyList assigned("before");
        bool hasFailed = false;
        {
            const FailingAllocation failing(number);
            try {
                assigned = original;
            } catch (const std::bad_alloc&) {
            }
            hasFailed = failing.hasFailed();
        }
        EXPECT_EQ(assigned, hasFailed ? PropertyList("before") : original);
        if (hasFailed) continue;
        EXPECT_GT(number, 40U);
        break;
    }
}

TEST(PropertyListAllocation, Storing_under_a_key_without_memory_leaves_the_dictionary_as_it_was) {
    PropertyList::Dictionary original;
    for (const char* key : {"a", "b", "d", "e"})
        original.set(key, key);
    const std::string key = "c key, too long to be held within a string object";
    for (std::size_t number = 1;; ++number) {
        PropertyList::Dictionary dictionary = original;
        bool hasFailed = false;
        {
            const FailingAllocation failing(number);
            try {
                dictionary.set(key, key);
            } catch (const std::bad_alloc&) {
            }
            hasFailed = failing.hasFailed();
        }
        EXPECT_EQ(dictionary.size(), hasFailed ? 4U : 5U);
        EXPECT_EQ(dictionary == original, hasFailed);
        if (!hasFailed) break;
    }
}

} // namespace
} // namespace mox::test
