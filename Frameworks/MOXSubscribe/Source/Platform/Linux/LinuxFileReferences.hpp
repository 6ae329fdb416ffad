#pragma once

#include "Platform/FileReferences.hpp"
#include "Platform/Linux/SystemCalls.hpp"

namespace mox {

/// References that are descriptors opened with `O_PATH`: the kernel keeps the item and knows its path.
class LinuxFileReferences : public FileReferences {
public:
    /// Makes every call through `system`, which must outlive the object and all references.
    explicit LinuxFileReferences(SystemCalls& system) : _system(system) {}

    SystemStatus makeReference(const std::string& path,
                               std::shared_ptr<const FileReference>& reference) override;
    SystemStatus makeAlias(const FileReference& reference, std::shared_ptr<const FileAlias>& alias) override;
    SystemStatus resolveAlias(const FileAlias& alias,
                              std::shared_ptr<const FileReference>& reference) override;
    SystemStatus makePath(const FileReference& reference, std::string& path) override;

private:
    SystemCalls& _system;
};

} // namespace mox
