#include "Platform/Testing/RecordingSystemLog.hpp"

namespace mox::test {

void RecordingSystemLog::log(std::string_view message) {
    const std::lock_guard lock(_mutex);
    _lines.emplace_back(message);
}

std::vector<std::string> RecordingSystemLog::lines() const {
    const std::lock_guard lock(_mutex);
    return _lines;
}

void RecordingSystemLog::clear() {
    const std::lock_guard lock(_mutex);
    _lines.clear();
}

} // namespace mox::test
