#include "SDK/MOXNotifications.hpp"

#include "Platform/Platform.hpp"

namespace mox {

NotificationCenter& defaultNotificationCenter() {
    return currentPlatform().notificationCenter;
}

} // namespace mox
