#pragma once

#include "SDK/MOXSubscriptionManager.hpp"

namespace mox {

/// The application-bundle model's manager. It does not keep subscriptions yet: it answers the queries from
/// empty arrays, and every other operation is still the base's, which asserts.
class MOX_EXPORT MOXFileSubscriptionManager : public MOXSubscriptionManager {
public:
    ~MOXFileSubscriptionManager() override;

    /// As the base's, but calls on this class wait for each other only.
    static std::shared_ptr<MOXSubscriptionManager> sharedManager();

protected:
    friend class MOXSubscriptionManager;

    MOXFileSubscriptionManager();
};

} // namespace mox
