#include "Platform/Testing/RecordingAssertionHandler.hpp"

namespace mox::test {

void RecordingAssertionHandler::handleFailure(const AssertionFailure& failure) {
    {
        const std::lock_guard lock(_mutex);
        _failures.push_back({failure.object, std::string(failure.operation), std::string(failure.file),
                             failure.line, std::string(failure.description)});
    }
    if (_then == Then::Throws) AssertionHandler::handleFailure(failure);
}

void RecordingAssertionHandler::unrecognizedSelector(const void* object, std::string_view operation) {
    {
        const std::lock_guard lock(_mutex);
        _unrecognized.push_back({object, std::string(operation)});
    }
    if (_then == Then::Throws) AssertionHandler::unrecognizedSelector(object, operation);
}

std::vector<RecordingAssertionHandler::Failure> RecordingAssertionHandler::failures() const {
    const std::lock_guard lock(_mutex);
    return _failures;
}

std::vector<RecordingAssertionHandler::Unrecognized> RecordingAssertionHandler::unrecognized() const {
    const std::lock_guard lock(_mutex);
    return _unrecognized;
}

} // namespace mox::test
