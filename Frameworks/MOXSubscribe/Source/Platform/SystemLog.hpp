#pragma once

#include <string_view>

namespace mox {

/// Where diagnostics go. Any thread may log; each call is one message.
class SystemLog {
public:
    virtual ~SystemLog() = default;

    /// Logs `message`, which may hold any text, line feeds and escapes of a server's making included: what
    /// would let it pass for something else in the log is escaped by the backend that needs it.
    virtual void log(std::string_view message) = 0;
};

} // namespace mox
