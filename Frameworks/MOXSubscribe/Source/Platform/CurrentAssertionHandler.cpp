#include "Platform/CurrentAssertionHandler.hpp"

#include <utility>

namespace mox {

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
