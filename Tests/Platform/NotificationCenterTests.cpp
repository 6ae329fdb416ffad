#include "Platform/NotificationCenter.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace mox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class NotificationCentre : public testing::Test {
protected:
    NotificationCenter::Observer noting(const std::string& note) {
        return [this, note](std::string_view, const void*) { notes.push_back(note); };
    }

    NotificationCenter center;
    std::vector<std::string> notes;
};

TEST_F(NotificationCentre, Observers_are_called_in_the_order_in_which_they_were_added) {
    center.addObserver("changed", noting("first"));
    center.addObserver("other", noting("other"));
    center.addObserver("changed", noting("second"));
    center.postNotificationName("changed", nullptr);
    EXPECT_THAT(notes, ElementsAre("first", "second"));
}

TEST_F(NotificationCentre, Observers_learn_the_name_and_the_object) {
    const int object = 1;
    const void* seen = nullptr;
    std::string seenName;
    center.addObserver("changed", [&](std::string_view name, const void* about) {
        seenName = name;
        seen = about;
    });
    center.postNotificationName("changed", &object);
    EXPECT_EQ(seen, &object);
    EXPECT_EQ(seenName, "changed");
    center.postNotificationName("changed", nullptr);
    EXPECT_EQ(seen, nullptr);
}

TEST_F(NotificationCentre, A_name_that_nobody_observes_calls_nobody) {
    center.addObserver("changed", noting("called"));
    center.postNotificationName("Changed", nullptr);
    EXPECT_THAT(notes, IsEmpty());
}

TEST_F(NotificationCentre, A_removed_observer_is_not_called_and_may_be_removed_again) {
    const auto first = center.addObserver("changed", noting("first"));
    center.addObserver("changed", noting("second"));
    center.removeObserver(first);
    center.removeObserver(first);
    center.postNotificationName("changed", nullptr);
    EXPECT_THAT(notes, ElementsAre("second"));
}

TEST_F(NotificationCentre, An_observer_may_remove_itself_and_a_later_one_while_it_is_called) {
    NotificationCenter::ObserverToken own = 0;
    NotificationCenter::ObserverToken later = 0;
    own = center.addObserver("changed", [&](std::string_view, const void*) {
        notes.push_back("own");
        center.removeObserver(own);
        center.removeObserver(later);
    });
    later = center.addObserver("changed", noting("later"));
    center.addObserver("changed", noting("last"));
    center.postNotificationName("changed", nullptr);
    center.postNotificationName("changed", nullptr);
    EXPECT_THAT(notes, ElementsAre("own", "last", "last"));
}

TEST_F(NotificationCentre, An_observer_added_while_one_is_called_hears_of_the_next_posting) {
    bool hasAdded = false;
    center.addObserver("changed", [&](std::string_view, const void*) {
        if (!hasAdded) center.addObserver("changed", noting("added"));
        hasAdded = true;
    });
    center.postNotificationName("changed", nullptr);
    EXPECT_THAT(notes, IsEmpty());
    center.postNotificationName("changed", nullptr);
    EXPECT_THAT(notes, ElementsAre("added"));
}

TEST_F(NotificationCentre, An_observer_may_post) {
    center.addObserver("outer", [&](std::string_view, const void*) {
        center.postNotificationName("inner", nullptr);
        notes.push_back("outer");
    });
    center.addObserver("inner", noting("inner"));
    center.postNotificationName("outer", nullptr);
    EXPECT_THAT(notes, ElementsAre("inner", "outer"));
}

TEST_F(NotificationCentre, What_an_observer_throws_passes_on_and_the_rest_are_not_called) {
    center.addObserver("changed", noting("first"));
    const auto thrower = center.addObserver(
        "changed", [](std::string_view, const void*) { throw std::runtime_error("out of order"); });
    center.addObserver("changed", noting("last"));
    EXPECT_THROW(center.postNotificationName("changed", nullptr), std::runtime_error);
    EXPECT_THAT(notes, ElementsAre("first"));
    center.removeObserver(thrower);
    center.postNotificationName("changed", nullptr);
    EXPECT_THAT(notes, ElementsAre("first", "first", "last"));
}

TEST_F(NotificationCentre, An_empty_observer_is_passed_over) {
    center.addObserver("changed", nullptr);
    center.addObserver("changed", noting("called"));
    center.postNotificationName("changed", nullptr);
    EXPECT_THAT(notes, ElementsAre("called"));
}

TEST_F(NotificationCentre, Threads_may_add_post_and_remove_at_the_same_time) {
    constexpr int rounds = 300;
    constexpr int threadCount = 4;
    std::atomic<int> calls = 0;
    const auto work = [&] {
        for (int round = 0; round < rounds; ++round) {
            const auto token = center.addObserver("changed", [&](std::string_view, const void*) { ++calls; });
            center.postNotificationName("changed", nullptr);
            center.removeObserver(token);
        }
    };
    std::vector<std::jthread> threads;
    for (int count = 0; count < threadCount; ++count)
        threads.emplace_back(work);
    threads.clear();
    // Each posting calls at least the observer of its own thread.
    EXPECT_GE(calls, threadCount * rounds);
    const int callsBefore = calls;
    center.postNotificationName("changed", nullptr);
    EXPECT_EQ(calls, callsBefore);
}

} // namespace
} // namespace mox::test
