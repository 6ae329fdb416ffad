#pragma once

#include "Foundation/Error.hpp"

#include <gtest/gtest.h>

#include <optional>

namespace mox::test {

/// An error that stood in the caller's place before the call.
inline Error staleError() {
    return Error("Stale", 1);
}

/// Whether the caller's place still holds `staleError`.
inline testing::AssertionResult isStale(const std::optional<Error>& error) {
    if (!error) return testing::AssertionFailure() << "the place was cleared";
    if (error->domain() == "Stale" && error->code() == 1) return testing::AssertionSuccess();
    return testing::AssertionFailure() << error->description();
}

} // namespace mox::test
