#include "SDK/MOXLaunchRegistrationScope.hpp"

#include "Platform/Platform.hpp"

namespace mox {

MOXLaunchRegistrationScope::MOXLaunchRegistrationScope()
    : _registration(currentPlatform().launchRegistration) {
    _registration.beginBatch();
}

MOXLaunchRegistrationScope::~MOXLaunchRegistrationScope() {
    _registration.endBatch();
}

} // namespace mox
