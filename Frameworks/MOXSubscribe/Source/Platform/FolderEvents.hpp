#pragma once

#include "Platform/RunLoop.hpp"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace mox {

/// A watch on a folder and everything below it. Destroying it ends the watch: nothing is delivered any more.
/// That may be done inside the callback; on another thread than the run loop's it waits for a callback that
/// is under way.
class FolderEventStream {
public:
    virtual ~FolderEventStream() = default;

    /// Delivers to `runLoop` while that runs in `mode`. Once, before `start`, on that run loop's thread.
    virtual void schedule(const std::shared_ptr<RunLoop>& runLoop, std::string_view mode) = 0;

    /// Begins to watch: changes from now on are delivered. Whether it did; it does not without a run loop
    /// that can be waited on. Once, on the run loop's thread.
    virtual bool start() = 0;
};

/// Makes watches on folders.
class FolderEvents {
public:
    virtual ~FolderEvents() = default;

    /// Receives the paths of the folders in which something changed, each once, spelt under the watched
    /// folder's path as that was given.
    using Callback = std::function<void(const std::vector<std::string>& folders)>;

    /// A watch on the folder at `path`, which need not be there yet. Changes are collected for `latency` from
    /// the first one on, never longer, and delivered together. Changes are told by folder: whatever appears,
    /// disappears, is renamed, written or given other attributes in a folder is a change of that folder. Our
    /// own changes count too. Null when no watch can be made.
    virtual std::unique_ptr<FolderEventStream>
    createStream(const std::string& path, std::chrono::milliseconds latency, Callback callback) = 0;
};

} // namespace mox
