#pragma once

#include "Foundation/Export.hpp"
#include "Platform/NotificationCenter.hpp"

#include <string_view>

namespace mox {

/// The name of the notification that something changed in the applications folder and that the lists of the
/// application-bundle model's manager show it already. Posted on the manager's run loop, about a second after
/// the first change of a batch; its object is null.
inline constexpr std::string_view MOXFolderChangedNotification = "fennixFolderChanged";

/// The notification centre on which the framework posts. It lives until the process ends. Any thread may
/// call.
MOX_EXPORT NotificationCenter& defaultNotificationCenter();

} // namespace mox
