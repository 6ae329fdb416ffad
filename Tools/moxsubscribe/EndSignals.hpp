#pragma once

#include <csignal>
#include <ostream>

namespace mox::tool {

/// Holds back the signals that end a program (SIGINT, SIGTERM, SIGHUP) while it lives, so that none of them
/// leaves half a stub behind. At its end what was printed is written out, and then a signal that came
/// meanwhile ends the program. One that the program was started with ignored or blocked is left so. For the
/// only thread of a program.
class HeldEndSignals {
public:
    explicit HeldEndSignals(std::ostream& output);
    HeldEndSignals(const HeldEndSignals&) = delete;
    HeldEndSignals& operator=(const HeldEndSignals&) = delete;
    ~HeldEndSignals();

    /// Whether one came: whoever does many things does no more of them.
    bool arePending() const;

    /// Those that are held.
    const sigset_t& signals() const { return _signals; }

private:
    std::ostream& _output;
    sigset_t _signals = {};
    sigset_t _before = {};
};

} // namespace mox::tool
