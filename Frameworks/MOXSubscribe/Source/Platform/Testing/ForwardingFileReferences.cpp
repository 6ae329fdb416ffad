#include "Platform/Testing/ForwardingFileReferences.hpp"

namespace mox::test {

SystemStatus ForwardingFileReferences::makeReference(const std::string& path,
                                                     std::shared_ptr<const FileReference>& reference) {
    return referenceStatus != 0 ? referenceStatus : _target.makeReference(path, reference);
}

SystemStatus ForwardingFileReferences::makeAlias(const FileReference& reference,
                                                 std::shared_ptr<const FileAlias>& alias) {
    return aliasStatus != 0 ? aliasStatus : _target.makeAlias(reference, alias);
}

SystemStatus ForwardingFileReferences::resolveAlias(const FileAlias& alias,
                                                    std::shared_ptr<const FileReference>& reference) {
    return resolutionStatus != 0 ? resolutionStatus : _target.resolveAlias(alias, reference);
}

SystemStatus ForwardingFileReferences::makePath(const FileReference& reference, std::string& path) {
    return pathStatus != 0 ? pathStatus : _target.makePath(reference, path);
}

} // namespace mox::test
