#include "Platform/Testing/RecordingLaunchRegistration.hpp"

namespace mox::test {

std::vector<std::string> RecordingLaunchRegistration::callsWithinBatches() const {
    std::vector<std::string> result;
    for (const std::string& call : calls)
        if (call != "begin" && call != "end") result.push_back(call);
    return result;
}

int RecordingLaunchRegistration::registerBundle(const std::string& path) {
    calls.push_back("register " + path);
    return status;
}

void RecordingLaunchRegistration::bundleMoved(const std::string& source, const std::string& destination) {
    calls.push_back("moved " + source + " to " + destination);
}

void RecordingLaunchRegistration::bundleRemoved(const std::string& path) {
    calls.push_back("removed " + path);
}

void RecordingLaunchRegistration::reconcile(const std::vector<std::string>& stubPaths) {
    std::string call = "reconcile";
    for (const std::string& path : stubPaths)
        call += " " + path;
    calls.push_back(call);
}

void RecordingLaunchRegistration::beginBatch() {
    calls.push_back("begin");
}

void RecordingLaunchRegistration::endBatch() {
    calls.push_back("end");
}

} // namespace mox::test
