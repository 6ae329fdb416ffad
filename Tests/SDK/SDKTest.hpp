#pragma once

#include "Platform/Testing/RecordingAssertionHandler.hpp"
#include "Platform/Testing/ScopedPlatform.hpp"
#include "Platform/Testing/TestPlatform.hpp"
#include "SDK/MOXSubscribeAdditions.hpp"
#include "Support/ScratchFolder.hpp"
#include "Support/SharedManagerAccess.hpp"

#include <gtest/gtest.h>

#include <memory>

namespace mox::test {

/// A test of the framework's classes, on a platform of its own. The shared manager is given up at its end.
class SDKTest : public ::testing::Test {
protected:
    void TearDown() override { SharedManagerAccess::dropSharedManager(); }

    /// Puts a handler in force that records what it is told and then throws or returns.
    std::shared_ptr<RecordingAssertionHandler> installHandler(RecordingAssertionHandler::Then then) {
        auto handler = std::make_shared<RecordingAssertionHandler>(then);
        installAssertionHandler(handler);
        return handler;
    }

    ScratchFolder scratch;
    TestPlatform test{{.folder = scratch.path()}};
    ScopedPlatform scope{test.platform};
};

} // namespace mox::test
