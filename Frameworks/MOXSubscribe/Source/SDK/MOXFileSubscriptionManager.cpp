#include "SDK/MOXFileSubscriptionManager.hpp"

namespace mox {

MOXFileSubscriptionManager::MOXFileSubscriptionManager() = default;

MOXFileSubscriptionManager::~MOXFileSubscriptionManager() = default;

std::shared_ptr<MOXSubscriptionManager> MOXFileSubscriptionManager::sharedManager() {
    static std::recursive_mutex classMonitor;
    return sharedManagerUnder(classMonitor);
}

} // namespace mox
