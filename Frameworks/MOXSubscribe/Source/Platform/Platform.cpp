#include "Platform/Platform.hpp"

#include <atomic>

namespace mox {
namespace {

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
