#pragma once

#include "Platform/Linux/FileOperations.hpp"

#include <string>

namespace mox {

/// A copy of an item under a hidden name in a folder, until it gets a name of its own. What was not given one
/// is removed at the end.
class StagedCopy {
public:
    /// Makes nothing yet. `folder` is a descriptor that stays the caller's and open.
    StagedCopy(SystemCalls& system, int folder) : _system(system), _folder(folder) {}
    StagedCopy(const StagedCopy&) = delete;
    StagedCopy& operator=(const StagedCopy&) = delete;
    ~StagedCopy();

    /// Copies what is at `source`, a directory with all in it, and brings all of it to the disk but for the
    /// hidden name itself. Permission bits are kept without set-user-ID, set-group-ID and sticky, links are
    /// copied as links; what is neither file, directory nor link is refused with EINVAL, and so is a source
    /// that holds the folder.
    ErrorNumber make(const std::string& source);

    /// The hidden name, once there is a copy.
    const std::string& name() const { return _name; }

    /// Gives the copy its name in the folder, which must be free (else EEXIST), and brings that to the disk.
    /// After a failure the copy is hidden again.
    ErrorNumber publish(const std::string& name);

    /// Leaves the copy to the caller under its hidden name.
    void release() { _name.clear(); }

private:
    SystemCalls& _system;
    int _folder;
    std::string _name;
};

} // namespace mox
