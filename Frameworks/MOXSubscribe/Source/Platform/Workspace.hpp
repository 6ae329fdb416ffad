#pragma once

#include <string>
#include <string_view>

namespace mox {

/// What the user's desktop knows about items on the disk. Any thread may call.
class Workspace {
public:
    virtual ~Workspace() = default;

    /// Whether the desktop shows the folder at `path` as one thing: a directory, links followed, whose own
    /// name has the extension of a package. A file is none, whatever its name.
    virtual bool isFilePackageAtPath(const std::string& path) = 0;

    /// Moves the item `name` of `folder` to the user's Trash; whether it did. On failure it is where it was,
    /// and the Trash has no trace of it. Never copies: an item whose volume has no Trash stays.
    virtual bool recycleItem(const std::string& folder, const std::string& name) = 0;

    /// Told that the item which was in the Trash at `pathInTrash` has been moved out again: the Trash
    /// forgets it. Does nothing for any other path.
    virtual void recycledItemMovedOut(const std::string& pathInTrash) = 0;
};

} // namespace mox
