#pragma once

#include "SDK/SharedManagerState.hpp"

#include <memory>
#include <mutex>
#include <utility>

namespace mox {

/// Does for tests what clients must not: gives the shared manager up.
class SharedManagerAccess {
public:
    /// Drops the framework's own reference to the shared manager, which is destroyed unless somebody else
    /// still holds it.
    static void dropSharedManager() {
        MOXSubscriptionManager::SharedState& state = MOXSubscriptionManager::sharedState();
        std::shared_ptr<MOXSubscriptionManager> dropped;
        const std::lock_guard lock(state.mutex);
        dropped.swap(state.owner);
    }
};

} // namespace mox
