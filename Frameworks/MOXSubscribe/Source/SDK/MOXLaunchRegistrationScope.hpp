#pragma once

#include "Foundation/Export.hpp"

namespace mox {

class LaunchRegistration;

/// Makes what many operations of the application-bundle model tell the desktop one refresh of the desktop's
/// caches, at the end of the outermost scope. Without one, each operation refreshes them itself. What the
/// operations do and result in stays the same; a refresh that fails is not reported. Scopes nest. The manager
/// and its scopes belong to one thread at a time.
class MOX_EXPORT MOXLaunchRegistrationScope {
public:
    MOXLaunchRegistrationScope();
    MOXLaunchRegistrationScope(const MOXLaunchRegistrationScope&) = delete;
    MOXLaunchRegistrationScope& operator=(const MOXLaunchRegistrationScope&) = delete;
    ~MOXLaunchRegistrationScope();

private:
    LaunchRegistration& _registration;
};

} // namespace mox
