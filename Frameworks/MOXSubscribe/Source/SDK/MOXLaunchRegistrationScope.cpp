#include "SDK/MOXLaunchRegistrationScope.hpp"

#include "Platform/Platform.hpp"

namespace mox {

MOXLaunchRegistrationScope::MOXLaunchRegistrationScope()
    : _registration(currentPlatform().launchRegistration) {
    _registration.beginBatch();
}

MOXLaunchRegistrationScope::~MOXLaunchRegistrationScope() {
    endBatchOf(_registration);
}

} // namespace mox
