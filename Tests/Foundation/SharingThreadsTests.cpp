#include "Foundation/KeptText.hpp"
#include "Foundation/SharedText.hpp"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace mox {
namespace {

TEST(SharedTextThreads, Threads_copy_and_drop_one_text_and_any_of_them_may_be_the_last) {
    constexpr int rounds = 100;
    const std::string written = "a text that several threads have";
    for (int round = 0; round < rounds; ++round) {
        std::array<bool, 4> wereRight = {};
        std::vector<std::thread> threads;
        {
            const SharedText text(written);
            for (bool& wasRight : wereRight) {
                threads.emplace_back([copy = text, &written, &wasRight]() mutable {
                    const SharedText another = copy;
                    copy = SharedText();
                    wasRight = another == written;
                });
            }
        }
        for (std::thread& thread : threads)
            thread.join();
        for (const bool wasRight : wereRight)
            EXPECT_TRUE(wasRight);
    }
}

Bytes reversed(std::string_view text) {
    return {text.rbegin(), text.rend()};
}

TEST(KeptTextThreads, Any_thread_may_ask_for_data_that_is_not_decoded_yet) {
    for (int round = 0; round < 100; ++round) {
        const PropertyList::Data data = KeptText::data(SharedBytes(Bytes(1000, 'x') + "a"), reversed);
        std::vector<std::thread> threads;
        std::array<const char*, 4> views = {};
        for (const char*& view : views)
            threads.emplace_back([copy = data, &view] { view = copy.bytes().data(); });
        for (std::thread& thread : threads)
            thread.join();
        for (const char* view : views)
            EXPECT_EQ(view, data.bytes().data());
        EXPECT_EQ(data.bytes(), "a" + Bytes(1000, 'x'));
    }
}

} // namespace
} // namespace mox
