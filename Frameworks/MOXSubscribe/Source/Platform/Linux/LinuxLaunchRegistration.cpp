#include "Platform/Linux/LinuxLaunchRegistration.hpp"

#include <cerrno>
#include <utility>

namespace mox {

LinuxLaunchRegistration::LinuxLaunchRegistration(Surroundings surroundings)
    : _surroundings(std::move(surroundings)) {}

int LinuxLaunchRegistration::registerBundle(const std::string&) {
    return ENOSYS;
}

void LinuxLaunchRegistration::bundleMoved(const std::string&, const std::string&) {}
void LinuxLaunchRegistration::bundleRemoved(const std::string&) {}
void LinuxLaunchRegistration::reconcile(const std::vector<std::string>&) {}
void LinuxLaunchRegistration::beginBatch() {}
void LinuxLaunchRegistration::endBatch() {}

} // namespace mox
