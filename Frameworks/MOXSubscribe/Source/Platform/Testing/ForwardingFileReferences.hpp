#pragma once

#include "Platform/FileReferences.hpp"

namespace mox::test {

/// References that hand every call on to other ones, unless a test gives the call a status to fail with. One
/// thread at a time.
class ForwardingFileReferences : public FileReferences {
public:
    /// `target` must outlive the object.
    explicit ForwardingFileReferences(FileReferences& target) : _target(target) {}

    /// What each operation fails with; 0 hands it on.
    SystemStatus referenceStatus = 0;
    SystemStatus aliasStatus = 0;
    SystemStatus resolutionStatus = 0;
    SystemStatus pathStatus = 0;

    SystemStatus makeReference(const std::string& path,
                               std::shared_ptr<const FileReference>& reference) override;
    SystemStatus makeAlias(const FileReference& reference, std::shared_ptr<const FileAlias>& alias) override;
    SystemStatus resolveAlias(const FileAlias& alias,
                              std::shared_ptr<const FileReference>& reference) override;
    SystemStatus makePath(const FileReference& reference, std::string& path) override;

private:
    FileReferences& _target;
};

} // namespace mox::test
