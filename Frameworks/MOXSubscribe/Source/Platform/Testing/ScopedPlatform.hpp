#pragma once

#include "Platform/Platform.hpp"

namespace mox::test {

/// Puts a platform in force for as long as it lives, then the one that was in force before. Scopes end in the
/// reverse order of their beginnings.
class ScopedPlatform {
public:
    /// `platform` must outlive the scope and everything built in it.
    explicit ScopedPlatform(const Platform& platform) : _previous(setCurrentPlatform(&platform)) {}
    ScopedPlatform(const ScopedPlatform&) = delete;
    ScopedPlatform& operator=(const ScopedPlatform&) = delete;
    ~ScopedPlatform() { setCurrentPlatform(_previous); }

private:
    const Platform* _previous;
};

} // namespace mox::test
