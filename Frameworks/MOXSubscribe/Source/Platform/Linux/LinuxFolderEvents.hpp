#pragma once

#include "Platform/FolderEvents.hpp"
#include "Platform/Linux/SystemCalls.hpp"
#include "Platform/Linux/WatchCalls.hpp"

namespace mox {

/// Folder events through inotify(7), for run loops of this backend.
class LinuxFolderEvents : public FolderEvents {
public:
    /// How often that is looked at which the system has no watch for.
    static constexpr std::chrono::milliseconds pollInterval{2000};

    /// Both must outlive the object and all streams. `system` lists folders, `calls` makes the rest.
    LinuxFolderEvents(SystemCalls& system, WatchCalls& calls) : _system(system), _calls(calls) {}

    /// `path` is absolute. Null when the process has no descriptors left, or the user no inotify queues.
    std::unique_ptr<FolderEventStream>
    createStream(const std::string& path, std::chrono::milliseconds latency, Callback callback) override;

private:
    SystemCalls& _system;
    WatchCalls& _calls;
};

} // namespace mox
