#include "Platform/Testing/SteppedRunLoops.hpp"

namespace mox::test {
namespace {

class IdleRunLoop : public RunLoop {
public:
    void run(std::string_view) override {}
    bool runOnce(std::string_view, std::optional<std::chrono::milliseconds>) override { return false; }
    void stop() override {}
    int descriptor() const override { return -1; }
};

} // namespace

std::shared_ptr<RunLoop> SteppedRunLoops::currentRunLoop() {
    thread_local const std::shared_ptr<RunLoop> loop = std::make_shared<IdleRunLoop>();
    return loop;
}

} // namespace mox::test
