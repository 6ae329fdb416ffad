#pragma once

#include <memory>
#include <string>

namespace mox {

/// Why a call of the system failed: an errno value; 0 is success.
using SystemStatus = int;

/// One item on the disk itself, wherever it is moved. Each system's backend derives its own.
class FileReference {
public:
    virtual ~FileReference() = default;
};

/// A record of an item that finds it again after moves and renames. Each system's backend derives its own.
class FileAlias {
public:
    virtual ~FileAlias() = default;
};

/// Refers to items on the disk by what they are, not by their paths. Nothing on the disk is changed. Any
/// thread may call. A call that fails leaves its result as it was.
class FileReferences {
public:
    virtual ~FileReferences() = default;

    /// Refers to the item at `path`; a link is the item itself.
    virtual SystemStatus makeReference(const std::string& path,
                                       std::shared_ptr<const FileReference>& reference) = 0;

    /// Makes an alias of the item that `reference` refers to.
    virtual SystemStatus makeAlias(const FileReference& reference,
                                   std::shared_ptr<const FileAlias>& alias) = 0;

    /// Finds the item of `alias` again; ENOENT when it exists no more.
    virtual SystemStatus resolveAlias(const FileAlias& alias,
                                      std::shared_ptr<const FileReference>& reference) = 0;

    /// The path at which the item of `reference` is now; ENAMETOOLONG when it has more than 1023 bytes.
    virtual SystemStatus makePath(const FileReference& reference, std::string& path) = 0;
};

} // namespace mox
