#pragma once

#include "Platform/LaunchRegistration.hpp"

#include <string>
#include <vector>

namespace mox::test {

/// A registration that keeps its calls, as texts, for a test to look at, and registers nothing. One thread at
/// a time.
class RecordingLaunchRegistration : public LaunchRegistration {
public:
    /// What `registerBundle` answers.
    int status = 0;

    /// The calls in their order: "register PATH", "moved SOURCE to DESTINATION", "removed PATH", "reconcile
    /// PATH PATH...", "begin", "end".
    std::vector<std::string> calls;

    /// The calls without "begin" and "end".
    std::vector<std::string> callsWithinBatches() const;

    int registerBundle(const std::string& path) override;
    void bundleMoved(const std::string& source, const std::string& destination) override;
    void bundleRemoved(const std::string& path) override;
    void reconcile(const std::vector<std::string>& stubPaths) override;
    void beginBatch() override;
    void endBatch() override;
};

} // namespace mox::test
