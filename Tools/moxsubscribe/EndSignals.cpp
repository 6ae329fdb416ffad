#include "EndSignals.hpp"

namespace mox::tool {
namespace {

constexpr int endSignals[] = {SIGINT, SIGTERM, SIGHUP};

bool isIgnored(int signal) {
    struct sigaction action {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

} // namespace

HeldEndSignals::HeldEndSignals(std::ostream& output) : _output(output) {
    sigemptyset(&_signals);
    pthread_sigmask(SIG_BLOCK, nullptr, &_before);
    for (const int signal : endSignals) {
        // The system keeps also an ignored one for later while it is blocked.
        if (!isIgnored(signal) && sigismember(&_before, signal) == 0) sigaddset(&_signals, signal);
    }
    pthread_sigmask(SIG_BLOCK, &_signals, nullptr);
}

HeldEndSignals::~HeldEndSignals() {
    if (arePending()) _output.flush();
    pthread_sigmask(SIG_SETMASK, &_before, nullptr);
}

bool HeldEndSignals::arePending() const {
    sigset_t pending;
    sigpending(&pending);
    for (const int signal : endSignals) {
        if (sigismember(&_signals, signal) == 1 && sigismember(&pending, signal) == 1) return true;
    }
    return false;
}

} // namespace mox::tool
