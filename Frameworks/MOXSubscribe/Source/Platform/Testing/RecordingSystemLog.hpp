#pragma once

#include "Platform/SystemLog.hpp"

#include <mutex>
#include <string>
#include <vector>

namespace mox::test {

/// A log that keeps the messages, as they were given, for a test to look at. Any thread may use it.
class RecordingSystemLog : public SystemLog {
public:
    void log(std::string_view message) override;

    /// The messages since the beginning or the last `clear`, in their order.
    std::vector<std::string> lines() const;

    /// Forgets the messages so far.
    void clear();

private:
    mutable std::mutex _mutex;
    std::vector<std::string> _lines;
};

} // namespace mox::test
