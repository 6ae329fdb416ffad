#include "Platform/AssertionHandler.hpp"

#include <utility>

namespace mox {

InternalInconsistencyException::InternalInconsistencyException(const AssertionFailure& failure)
    : std::runtime_error(std::string(failure.description))
    , _operation(failure.operation)
    , _file(failure.file)
    , _line(failure.line) {}

InternalInconsistencyException::~InternalInconsistencyException() = default;

InvalidArgumentException::InvalidArgumentException(std::string_view operation)
    : std::invalid_argument(std::string(operation).append(": unrecognized selector"))
    , _operation(operation) {}

InvalidArgumentException::~InvalidArgumentException() = default;

AssertionHandler::~AssertionHandler() = default;

void AssertionHandler::handleFailure(const AssertionFailure& failure) {
    throw InternalInconsistencyException(failure);
}

void AssertionHandler::unrecognizedSelector(const void*, std::string_view operation) {
    throw InvalidArgumentException(operation);
}

std::shared_ptr<AssertionHandler>
CurrentAssertionHandler::install(std::shared_ptr<AssertionHandler> handler) {
    if (!handler) handler = std::make_shared<AssertionHandler>();
    const std::lock_guard lock(_mutex);
    return std::exchange(_handler, std::move(handler));
}

std::shared_ptr<AssertionHandler> CurrentAssertionHandler::get() const {
    const std::lock_guard lock(_mutex);
    return _handler;
}

} // namespace mox
