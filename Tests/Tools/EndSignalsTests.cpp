#include <gtest/gtest.h>

#include <sstream>

#include "EndSignals.hpp"

namespace mox::tool {
namespace {

volatile std::sig_atomic_t signalThatCame = 0;

/// Notes which signal comes, and leaves the handlers as they were.
class EndSignals : public testing::Test {
protected:
    void SetUp() override {
        signalThatCame = 0;
        for (const int signal : signals)
            before[signal] = std::signal(signal, [](int number) { signalThatCame = number; });
    }
    void TearDown() override {
        for (const int signal : signals)
            std::signal(signal, before[signal]);
    }

    static constexpr int signals[] = {SIGINT, SIGTERM, SIGHUP};
    void (*before[NSIG])(int) = {};
    std::ostringstream output;
};

TEST_F(EndSignals, A_held_signal_comes_when_the_work_is_done) {
    for (const int signal : signals) {
        signalThatCame = 0;
        {
            const HeldEndSignals held(output);
            EXPECT_FALSE(held.arePending());
            std::raise(signal);
            EXPECT_TRUE(held.arePending());
            EXPECT_EQ(signalThatCame, 0);
        }
        EXPECT_EQ(signalThatCame, signal);
    }
}

TEST_F(EndSignals, A_signal_that_is_ignored_is_not_held) {
    std::signal(SIGHUP, SIG_IGN);
    const HeldEndSignals held(output);
    std::raise(SIGHUP);
    EXPECT_FALSE(held.arePending());
    EXPECT_EQ(sigismember(&held.signals(), SIGHUP), 0);
}

TEST_F(EndSignals, A_signal_that_was_blocked_before_stays_blocked_and_ends_no_work) {
    sigset_t interrupt;
    sigemptyset(&interrupt);
    sigaddset(&interrupt, SIGINT);
    pthread_sigmask(SIG_BLOCK, &interrupt, nullptr);
    std::raise(SIGINT);
    {
        const HeldEndSignals held(output);
        EXPECT_FALSE(held.arePending());
    }
    EXPECT_EQ(signalThatCame, 0);
    pthread_sigmask(SIG_UNBLOCK, &interrupt, nullptr);
    EXPECT_EQ(signalThatCame, SIGINT);
}

} // namespace
} // namespace mox::tool
