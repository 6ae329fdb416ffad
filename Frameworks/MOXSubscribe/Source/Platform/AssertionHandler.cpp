#include "Platform/AssertionHandler.hpp"

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

} // namespace mox
