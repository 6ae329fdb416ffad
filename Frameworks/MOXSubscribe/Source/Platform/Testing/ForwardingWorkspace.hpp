#pragma once

#include "Platform/Workspace.hpp"

#include <string>
#include <vector>

namespace mox::test {

/// A workspace that hands every call on to another one, keeps what was asked of the Trash, and can be told to
/// refuse. One thread at a time.
class ForwardingWorkspace : public Workspace {
public:
    /// `target` must outlive the object.
    explicit ForwardingWorkspace(Workspace& target) : _target(target) {}

    /// Whether the Trash takes nothing.
    bool refusesToRecycle = false;

    /// The calls in their order: "recycle FOLDER NAME", "moved out PATH".
    std::vector<std::string> calls;

    bool isFilePackageAtPath(const std::string& path) override;
    bool recycleItem(const std::string& folder, const std::string& name) override;
    void recycledItemMovedOut(const std::string& pathInTrash) override;

private:
    Workspace& _target;
};

} // namespace mox::test
