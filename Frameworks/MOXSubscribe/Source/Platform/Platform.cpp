#include "Platform/Platform.hpp"

#include <atomic>

namespace mox {
namespace {

// The one variable of its kind, for tests to set.
// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables)
std::atomic<const Platform*> replacement = nullptr;

} // namespace

const Platform& currentPlatform() {
    const Platform* platform = replacement.load();
    return platform ? *platform : operatingSystemPlatform();
}

const Platform* setCurrentPlatform(const Platform* platform) {
    return replacement.exchange(platform);
}

} // namespace mox
