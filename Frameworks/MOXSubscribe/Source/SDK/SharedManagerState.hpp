#pragma once

#include "SDK/MOXSubscriptionManager.hpp"

#include <memory>
#include <mutex>

namespace mox {

/// The process's shared manager, for `MOXSubscriptionManager` alone.
struct MOXSubscriptionManager::SharedState {
    /// Guards the two references, since the monitors of the classes do not exclude each other.
    std::mutex mutex;
    /// The shared manager. Weak, so that it is empty again as soon as the instance is destroyed.
    std::weak_ptr<MOXSubscriptionManager> manager;
    /// Keeps the shared manager alive. Never destroyed at exit, when other threads may still use it.
    std::shared_ptr<MOXSubscriptionManager> owner;
};

} // namespace mox
