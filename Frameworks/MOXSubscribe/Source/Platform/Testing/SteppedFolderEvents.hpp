#pragma once

#include "Platform/FolderEvents.hpp"

#include <string>
#include <vector>

namespace mox::test {

/// Folder events that happen when a test says so. One thread at a time.
class SteppedFolderEvents : public FolderEvents {
public:
    /// What was asked for at one stream.
    struct Stream {
        std::string path;
        std::chrono::milliseconds latency;
        Callback callback;
        std::shared_ptr<RunLoop> runLoop = nullptr;
        std::string mode = {};
        bool isStarted = false;
        bool isDestroyed = false;
    };

    /// Whether no stream can be made.
    bool refusesToCreate = false;

    /// The streams made so far, in their order, those already destroyed too.
    std::vector<std::shared_ptr<Stream>> streams;

    /// Delivers one batch to every stream that is started and not destroyed.
    void deliver(const std::vector<std::string>& folders);

    std::unique_ptr<FolderEventStream>
    createStream(const std::string& path, std::chrono::milliseconds latency, Callback callback) override;
};

} // namespace mox::test
