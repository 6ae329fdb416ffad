#include "Platform/Linux/LinuxRunLoop.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <future>
#include <poll.h>
#include <string>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

namespace mox::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

/// How long a test waits for what must come. It never takes that long unless something is broken.
constexpr auto longEnough = 60s;

/// A descriptor that is readable while it is set.
class Signal {
public:
    Signal() : _descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;
    ~Signal() { ::close(_descriptor); }

    int descriptor() const { return _descriptor; }
    void set() const {
        const std::uint64_t one = 1;
        ASSERT_EQ(::write(_descriptor, &one, sizeof one), static_cast<ssize_t>(sizeof one));
    }
    void clear() const {
        std::uint64_t count = 0;
        ASSERT_EQ(::read(_descriptor, &count, sizeof count), static_cast<ssize_t>(sizeof count));
    }

private:
    int _descriptor;
};

class LinuxRunLoopTest : public testing::Test {
protected:
    LinuxRunLoopTest() { EXPECT_NE(loop, nullptr); }

    /// A source that notes `note`, and clears `cause`.
    std::unique_ptr<LinuxRunLoop::Source> noting(const Signal& cause, const std::string& note,
                                                 std::string_view mode = defaultRunLoopMode) {
        return loop->addSource(cause.descriptor(), mode, [this, &cause, note] {
            cause.clear();
            notes.push_back(note);
        });
    }

    static bool isReadable(int descriptor) {
        struct pollfd polled = {descriptor, POLLIN, 0};
        return ::poll(&polled, 1, 0) == 1;
    }

    LinuxRunLoops loops;
    const std::shared_ptr<LinuxRunLoop> loop = LinuxRunLoop::makeForThisThread();
    const Signal signal;
    const Signal otherSignal;
    std::vector<std::string> notes;
};

TEST_F(LinuxRunLoopTest, A_thread_has_one_loop_and_each_thread_its_own) {
    const auto own = loops.currentRunLoop();
    ASSERT_NE(own, nullptr);
    EXPECT_EQ(loops.currentRunLoop(), own);
    EXPECT_EQ(LinuxRunLoops().currentRunLoop(), own);
    const auto other = std::async(std::launch::async, [&] { return loops.currentRunLoop(); }).get();
    EXPECT_NE(other, nullptr);
    EXPECT_NE(other, own);
}

TEST_F(LinuxRunLoopTest, Without_anything_due_nothing_is_handled) {
    const auto source = noting(signal, "called");
    EXPECT_FALSE(loop->runOnce(defaultRunLoopMode, 0ms));
    EXPECT_FALSE(loop->runOnce(defaultRunLoopMode, 1ms));
    EXPECT_THAT(notes, IsEmpty());
}

TEST_F(LinuxRunLoopTest, What_is_due_is_handled_once) {
    const auto source = noting(signal, "called");
    signal.set();
    EXPECT_TRUE(loop->runOnce(defaultRunLoopMode, std::nullopt));
    EXPECT_FALSE(loop->runOnce(defaultRunLoopMode, 0ms));
    EXPECT_THAT(notes, ElementsAre("called"));
}

TEST_F(LinuxRunLoopTest, All_that_is_due_is_handled_in_one_round) {
    const auto source = noting(signal, "one");
    const auto otherSource = noting(otherSignal, "other");
    signal.set();
    otherSignal.set();
    EXPECT_TRUE(loop->runOnce(defaultRunLoopMode, 0ms));
    EXPECT_THAT(notes, UnorderedElementsAre("one", "other"));
}

TEST_F(LinuxRunLoopTest, What_stays_readable_is_handled_again_each_round) {
    int calls = 0;
    const auto source = loop->addSource(signal.descriptor(), defaultRunLoopMode, [&] { ++calls; });
    signal.set();
    EXPECT_TRUE(loop->runOnce(defaultRunLoopMode, 0ms));
    EXPECT_TRUE(loop->runOnce(defaultRunLoopMode, 0ms));
    EXPECT_EQ(calls, 2);
}

TEST_F(LinuxRunLoopTest, Only_the_running_modes_sources_are_handled) {
    const auto source = noting(signal, "default");
    const auto otherSource = noting(otherSignal, "tracking", "tracking");
    signal.set();
    otherSignal.set();
    EXPECT_TRUE(loop->runOnce("tracking", 0ms));
    EXPECT_FALSE(loop->runOnce("tracking", 0ms));
    EXPECT_THAT(notes, ElementsAre("tracking"));
    EXPECT_TRUE(loop->runOnce(defaultRunLoopMode, 0ms));
    EXPECT_THAT(notes, ElementsAre("tracking", "default"));
}

TEST_F(LinuxRunLoopTest, A_mode_in_which_nothing_was_scheduled_has_nothing_to_do) {
    EXPECT_FALSE(loop->runOnce("unknown", 0ms));
    EXPECT_FALSE(loop->runOnce("unknown", 1ms));
    loop->stop();
    loop->run("unknown");
}

TEST_F(LinuxRunLoopTest, The_descriptor_is_readable_while_something_is_due_in_the_default_mode) {
    const auto source = noting(signal, "called");
    const auto otherSource = noting(otherSignal, "tracking", "tracking");
    EXPECT_FALSE(isReadable(loop->descriptor()));
    otherSignal.set();
    loop->stop();
    EXPECT_FALSE(isReadable(loop->descriptor()));
    signal.set();
    EXPECT_TRUE(isReadable(loop->descriptor()));
    EXPECT_TRUE(loop->runOnce(defaultRunLoopMode, 0ms));
    EXPECT_FALSE(isReadable(loop->descriptor()));
    EXPECT_THAT(notes, ElementsAre("called"));
}

TEST_F(LinuxRunLoopTest, A_destroyed_source_is_not_handled_though_it_was_due) {
    auto source = noting(signal, "called");
    signal.set();
    source.reset();
    EXPECT_FALSE(isReadable(loop->descriptor()));
    EXPECT_FALSE(loop->runOnce(defaultRunLoopMode, 0ms));
    EXPECT_THAT(notes, IsEmpty());
}

TEST_F(LinuxRunLoopTest, A_handler_may_destroy_its_own_source) {
    std::unique_ptr<LinuxRunLoop::Source> source;
    const auto held = std::make_shared<int>(1);
    source = loop->addSource(signal.descriptor(), defaultRunLoopMode, [&source, &notes = notes, held] {
        source.reset();
        notes.push_back(std::to_string(*held));
    });
    signal.set();
    EXPECT_TRUE(loop->runOnce(defaultRunLoopMode, 0ms));
    EXPECT_FALSE(loop->runOnce(defaultRunLoopMode, 0ms));
    EXPECT_THAT(notes, ElementsAre("1"));
    EXPECT_EQ(held.use_count(), 1);
}

TEST_F(LinuxRunLoopTest, A_handler_may_destroy_another_source_that_is_due_in_the_same_round) {
    std::unique_ptr<LinuxRunLoop::Source> first;
    std::unique_ptr<LinuxRunLoop::Source> second;
    first = loop->addSource(signal.descriptor(), defaultRunLoopMode, [&] {
        notes.push_back("first");
        signal.clear();
        second.reset();
    });
    second = loop->addSource(otherSignal.descriptor(), defaultRunLoopMode, [&] {
        notes.push_back("second");
        otherSignal.clear();
        first.reset();
    });
    signal.set();
    otherSignal.set();
    EXPECT_TRUE(loop->runOnce(defaultRunLoopMode, 0ms));
    EXPECT_EQ(notes.size(), 1U);
}

TEST_F(LinuxRunLoopTest, A_handler_may_run_the_loop) {
    const auto source = loop->addSource(signal.descriptor(), defaultRunLoopMode, [&] {
        signal.clear();
        notes.push_back("outer begins");
        otherSignal.set();
        EXPECT_TRUE(loop->runOnce(defaultRunLoopMode, 0ms));
        notes.push_back("outer ends");
    });
    const auto otherSource = noting(otherSignal, "inner");
    signal.set();
    EXPECT_TRUE(loop->runOnce(defaultRunLoopMode, 0ms));
    EXPECT_THAT(notes, ElementsAre("outer begins", "inner", "outer ends"));
}

TEST_F(LinuxRunLoopTest, A_handler_may_be_the_first_to_schedule_something_in_the_running_mode) {
    std::unique_ptr<LinuxRunLoop::Source> added;
    const auto source = loop->addSource(signal.descriptor(), "first", [&] {
        signal.clear();
        added = loop->addSource(otherSignal.descriptor(), "first", [&] {
            otherSignal.clear();
            notes.push_back("added");
            loop->stop();
        });
        otherSignal.set();
    });
    signal.set();
    loop->run("first");
    EXPECT_THAT(notes, ElementsAre("added"));
}

TEST_F(LinuxRunLoopTest, What_a_handler_throws_passes_on_and_the_loop_goes_on_afterwards) {
    const auto source = loop->addSource(signal.descriptor(), defaultRunLoopMode, [&] {
        signal.clear();
        throw std::runtime_error("out of order");
    });
    const auto otherSource = noting(otherSignal, "called");
    signal.set();
    EXPECT_THROW(loop->runOnce(defaultRunLoopMode, 0ms), std::runtime_error);
    otherSignal.set();
    EXPECT_TRUE(loop->runOnce(defaultRunLoopMode, 0ms));
    EXPECT_THAT(notes, ElementsAre("called"));
}

TEST_F(LinuxRunLoopTest, A_descriptor_that_cannot_be_waited_on_gives_no_source) {
    EXPECT_EQ(loop->addSource(-1, defaultRunLoopMode, [] {}), nullptr);
}

TEST_F(LinuxRunLoopTest, A_handler_stops_its_own_loop) {
    const auto source = loop->addSource(signal.descriptor(), defaultRunLoopMode, [&] {
        signal.clear();
        notes.push_back("called");
        loop->stop();
    });
    signal.set();
    loop->run(defaultRunLoopMode);
    EXPECT_THAT(notes, ElementsAre("called"));
}

TEST_F(LinuxRunLoopTest, A_stop_before_the_run_ends_the_run_once_what_is_due_is_handled) {
    const auto source = noting(signal, "called");
    signal.set();
    loop->stop();
    loop->stop();
    loop->run(defaultRunLoopMode);
    EXPECT_THAT(notes, ElementsAre("called"));
    // Two stops without a run between them are one.
    EXPECT_FALSE(loop->runOnce(defaultRunLoopMode, 1ms));
}

TEST_F(LinuxRunLoopTest, A_stop_ends_one_waiting_round) {
    loop->stop();
    EXPECT_FALSE(loop->runOnce(defaultRunLoopMode, std::nullopt));
    // One that need not wait leaves it for the next that would.
    const auto source = noting(signal, "called");
    loop->stop();
    signal.set();
    EXPECT_TRUE(loop->runOnce(defaultRunLoopMode, std::nullopt));
    EXPECT_FALSE(loop->runOnce(defaultRunLoopMode, 0ms));
    loop->run(defaultRunLoopMode);
}

TEST_F(LinuxRunLoopTest, Another_thread_stops_a_run_that_waits) {
    for (int round = 0; round < 50; ++round) {
        const auto stopping = std::async(std::launch::async, [&] { loop->stop(); });
        loop->run(defaultRunLoopMode);
    }
}

TEST_F(LinuxRunLoopTest, Another_thread_cannot_run_the_loop_or_schedule_in_it) {
    const auto source = noting(signal, "called");
    signal.set();
    std::async(std::launch::async, [&] {
        loop->run(defaultRunLoopMode);
        EXPECT_FALSE(loop->runOnce(defaultRunLoopMode, std::nullopt));
        EXPECT_EQ(loop->addSource(otherSignal.descriptor(), defaultRunLoopMode, [] {}), nullptr);
    }).get();
    EXPECT_THAT(notes, IsEmpty());
}

TEST_F(LinuxRunLoopTest, Another_thread_that_destroys_a_source_waits_for_its_handler) {
    std::promise<void> isHandling;
    std::promise<void> mayEnd;
    std::unique_ptr<LinuxRunLoop::Source> source;
    std::promise<void> isScheduled;
    std::atomic<bool> hasEnded = false;
    const auto owner = std::async(std::launch::async, [&] {
        const auto own = LinuxRunLoop::makeForThisThread();
        source = own->addSource(signal.descriptor(), defaultRunLoopMode, [&] {
            signal.clear();
            isHandling.set_value();
            mayEnd.get_future().wait();
            hasEnded = true;
        });
        isScheduled.set_value();
        EXPECT_TRUE(own->runOnce(defaultRunLoopMode, longEnough));
    });
    isScheduled.get_future().wait();
    signal.set();
    isHandling.get_future().wait();
    const auto ending = std::async(std::launch::async, [&] {
        source.reset();
        EXPECT_TRUE(hasEnded);
    });
    mayEnd.set_value();
}

TEST_F(LinuxRunLoopTest, Sources_can_be_destroyed_by_another_thread_while_the_loop_runs) {
    for (int round = 0; round < 50; ++round) {
        int calls = 0;
        auto source = loop->addSource(signal.descriptor(), defaultRunLoopMode, [&calls] { ++calls; });
        if (round == 0) signal.set();
        const auto ending = std::async(std::launch::async, [&] {
            source.reset();
            // Nobody counts any more.
            calls = -1;
            loop->stop();
        });
        loop->run(defaultRunLoopMode);
        EXPECT_EQ(calls, -1);
    }
}

TEST_F(LinuxRunLoopTest, Once_its_thread_has_ended_a_loop_lets_go_of_its_sources_and_handles_nothing) {
    std::unique_ptr<LinuxRunLoop::Source> source;
    const auto held = std::make_shared<int>(1);
    const auto ended = std::async(std::launch::async, [&] {
                           const auto own = std::dynamic_pointer_cast<LinuxRunLoop>(loops.currentRunLoop());
                           source = own->addSource(signal.descriptor(), defaultRunLoopMode,
                                                   [&notes = notes, held] { notes.push_back("called"); });
                           return own;
                       }).get();
    // std::async's thread ends with its future, which is gone: its loop has been told.
    signal.set();
    EXPECT_FALSE(isReadable(ended->descriptor()));
    EXPECT_FALSE(ended->runOnce(defaultRunLoopMode, 0ms));
    ended->run(defaultRunLoopMode);
    ended->stop();
    EXPECT_THAT(notes, IsEmpty());
    source.reset();
    EXPECT_EQ(held.use_count(), 1);
}

TEST(LinuxRunLoops, Without_descriptors_left_there_is_no_loop_until_there_are_some_again) {
    // Each test is a process of its own: this one's limit harms no other.
    struct rlimit limit = {};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    const struct rlimit none = {0, limit.rlim_max};
    LinuxRunLoops loops;
    std::async(std::launch::async, [&] {
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
        EXPECT_EQ(loops.currentRunLoop(), nullptr);
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
        EXPECT_NE(loops.currentRunLoop(), nullptr);
    }).get();
}

} // namespace
} // namespace mox::test
