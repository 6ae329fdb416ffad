#include "Platform/Linux/LinuxFolderEvents.hpp"

#include "Platform/Linux/FolderTree.hpp"
#include "Platform/Linux/LinuxRunLoop.hpp"
#include "Platform/Linux/PathRoute.hpp"

#include <array>
#include <utility>

namespace mox {
namespace {

/// A timer's descriptor; -1 when the system had no room for it.
class Timer {
public:
    explicit Timer(WatchCalls& calls) : _calls(calls), _descriptor(calls.makeTimer()) {}
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;
    ~Timer() {
        if (_descriptor >= 0) _calls.close(_descriptor);
    }

    int descriptor() const { return _descriptor; }

    /// Starts it unless it runs already.
    void start(std::chrono::milliseconds delay) {
        if (!_isRunning) _isRunning = _calls.setTimer(_descriptor, delay) == 0;
    }

    void reset() {
        _isRunning = false;
        _calls.resetTimer(_descriptor);
    }

private:
    WatchCalls& _calls;
    const int _descriptor;
    bool _isRunning = false;
};

/// What a stream does. The sources keep it alive, so that the callback may destroy the stream.
class Watch {
public:
    Watch(SystemCalls& system, WatchCalls& calls, const std::string& path, std::chrono::milliseconds latency,
          FolderEvents::Callback callback)
        : _tree(system, calls, path)
        , _route(calls, path)
        , _window(calls)
        , _pause(calls)
        , _latency(latency)
        , _callback(std::move(callback)) {}

    /// A descriptor and what to do when it is readable.
    struct Duty {
        int descriptor;
        void (Watch::*handler)();
    };

    std::array<Duty, 4> duties() const {
        return {{{_tree.descriptor(), &Watch::handleEvents},
                 {_route.descriptor(), &Watch::handleRoute},
                 {_window.descriptor(), &Watch::closeWindow},
                 {_pause.descriptor(), &Watch::poll}}};
    }

    void begin() {
        // The route first: a root that appears or goes while the tree is being watched is an event of it.
        _route.trace();
        _tree.watchAll();
        settle();
    }

private:
    void handleEvents() {
        _tree.handleEvents();
        settle();
    }

    void handleRoute() {
        if (_route.drain()) checkRoot();
        settle();
    }

    void poll() {
        _pause.reset();
        if (_route.needsPolling()) checkRoot();
        _tree.poll();
        settle();
    }

    void closeWindow() {
        _window.reset();
        _tree.handleEvents();
        const std::vector<std::string> folders = _tree.takeChanges();
        settle();
        _callback(folders);
    }

    void checkRoot() {
        _route.trace();
        _tree.checkRoot();
    }

    void settle() {
        if (_tree.hasChanges()) _window.start(_latency);
        if (_tree.needsPolling() || _route.needsPolling()) _pause.start(LinuxFolderEvents::pollInterval);
    }

    FolderTree _tree;
    PathRoute _route;
    Timer _window;
    Timer _pause;
    const std::chrono::milliseconds _latency;
    const FolderEvents::Callback _callback;
};

class LinuxFolderEventStream : public FolderEventStream {
public:
    explicit LinuxFolderEventStream(std::shared_ptr<Watch> watch) : _watch(std::move(watch)) {}

    void schedule(const std::shared_ptr<RunLoop>& runLoop, std::string_view mode) override {
        _runLoop = std::dynamic_pointer_cast<LinuxRunLoop>(runLoop);
        _mode = mode;
    }

    bool start() override {
        if (!_runLoop) return false;
        for (const Watch::Duty& duty : _watch->duties()) {
            auto source = _runLoop->addSource(
                duty.descriptor, _mode, [watch = _watch, handler = duty.handler] { (*watch.*handler)(); });
            if (!source) {
                _sources.clear();
                return false;
            }
            _sources.push_back(std::move(source));
        }
        _watch->begin();
        return true;
    }

private:
    std::shared_ptr<Watch> _watch;
    std::shared_ptr<LinuxRunLoop> _runLoop;
    std::string _mode;
    // Last, so that they end before what they handle.
    std::vector<std::unique_ptr<LinuxRunLoop::Source>> _sources;
};

} // namespace

std::unique_ptr<FolderEventStream> LinuxFolderEvents::createStream(const std::string& path,
                                                                   std::chrono::milliseconds latency,
                                                                   Callback callback) {
    auto watch = std::make_shared<Watch>(_system, _calls, path, latency, std::move(callback));
    for (const Watch::Duty& duty : watch->duties())
        if (duty.descriptor < 0) return nullptr;
    return std::make_unique<LinuxFolderEventStream>(std::move(watch));
}

} // namespace mox
