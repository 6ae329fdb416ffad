#pragma once

#include "Platform/FolderEvents.hpp"

namespace mox {

/// Folder events through inotify(7).
class LinuxFolderEvents : public FolderEvents {
public:
    std::unique_ptr<FolderEventStream>
    createStream(const std::string& path, std::chrono::milliseconds latency, Callback callback) override;
};

} // namespace mox
