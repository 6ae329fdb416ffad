#pragma once

#include "Foundation/Export.hpp"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace mox {

/// The mode in which a run loop runs unless another one is named, and the only one in which the framework
/// delivers anything.
inline constexpr std::string_view defaultRunLoopMode = "kCFRunLoopDefaultMode";

/// The loop in which one thread waits for events and handles them. What is scheduled in a mode is handled
/// only while its thread runs the loop in that mode; until then it waits.
class MOX_EXPORT RunLoop {
public:
    RunLoop() = default;
    RunLoop(const RunLoop&) = delete;
    RunLoop& operator=(const RunLoop&) = delete;
    virtual ~RunLoop();

    /// Runs in `mode` until `stop` is called. Only on the loop's own thread; on another it returns at once.
    virtual void run(std::string_view mode = defaultRunLoopMode) = 0;

    /// Handles what is due in `mode`, after waiting for it at most `timeout` (nil: for ever); whether
    /// anything was handled. Only on the loop's own thread; on another it does nothing.
    virtual bool runOnce(std::string_view mode = defaultRunLoopMode,
                         std::optional<std::chrono::milliseconds> timeout = std::nullopt) = 0;

    /// Lets `run`, or a `runOnce` that waits, return: now, or the next of them when none is under way. One
    /// that has something to handle handles it first. Any thread may call.
    virtual void stop() = 0;

    /// A descriptor that another loop can poll: it is readable as long as something is due in the default
    /// mode, which `runOnce(defaultRunLoopMode, 0ms)` then handles. It belongs to the run loop. -1 on a
    /// system without such descriptors.
    virtual int descriptor() const = 0;
};

/// The run loops of the process.
class RunLoops {
public:
    virtual ~RunLoops() = default;

    /// The run loop of the calling thread; it lives as long as the thread or its last reference. Once the
    /// thread has ended, it handles nothing any more. Null when the system has no room for one.
    virtual std::shared_ptr<RunLoop> currentRunLoop() = 0;
};

} // namespace mox
