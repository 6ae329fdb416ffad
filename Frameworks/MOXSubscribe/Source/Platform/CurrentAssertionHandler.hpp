#pragma once

#include "Platform/AssertionHandler.hpp"

#include <memory>
#include <mutex>

namespace mox {

/// Holds the assertion handler in force. Any thread may use it.
class CurrentAssertionHandler {
public:
    /// Puts `handler` in force, the standard one when it is null. Returns the one in force before.
    std::shared_ptr<AssertionHandler> install(std::shared_ptr<AssertionHandler> handler);

    /// The handler in force; never null.
    std::shared_ptr<AssertionHandler> get() const;

private:
    mutable std::mutex _mutex;
    std::shared_ptr<AssertionHandler> _handler = std::make_shared<AssertionHandler>();
};

} // namespace mox
