#pragma once

#include "Platform/Linux/FileOperations.hpp"

#include <ctime>
#include <string>

namespace mox {

/// What opening a folder does when it is missing.
enum class MissingFolder { Fails, IsMade };

/// Opens the folder `name` in an open folder, never by way of a link. One that is made can be entered by its
/// owner alone, and is named in its folder after a crash.
Descriptor openFolderIn(SystemCalls& system, const Descriptor& folder, const std::string& name,
                        MissingFolder missing);

/// An open Trash folder of the freedesktop.org Trash specification 1.0: items are in "files" in it, and an
/// information file for each in "info". One thread at a time.
///
/// At every instant, also after a crash or a power cut, an item that `take` was told of is at its old path or
/// in the Trash with whole information. Information without an item may be left by a crash.
class TrashFolder {
public:
    /// Opens what is in the Trash folder `folder`. `system` must outlive the object.
    TrashFolder(SystemCalls& system, const Descriptor& folder, MissingFolder missing);

    /// Why it could not be opened; 0 when it could.
    ErrorNumber openError() const;

    /// Moves the item `name` of `folder` in here, on the disk before it returns. `path` and `deletionDate`
    /// are what its information tells. On failure the item is where it was, and nothing of it is here, but
    /// for its information when the disk could not be synchronised after the item was moved back.
    ErrorNumber take(const Descriptor& folder, const std::string& name, const std::string& path,
                     const std::tm& deletionDate);

    /// Whether `folder` is where the items are.
    bool keepsItemsIn(const Descriptor& folder) const;

    /// Removes the information about the item that was here as `name` and has been moved out: nothing while
    /// something is here under that name, nor before it is certain that a power cut cannot bring it back.
    void forget(const std::string& name);

private:
    ErrorNumber takeAs(const std::string& nameHere, const Descriptor& folder, const std::string& name,
                       ByteView information);
    ErrorNumber synchronizeMove(const Descriptor& folder);
    void removeInformation(const std::string& nameHere);

    SystemCalls& _system;
    Descriptor _files;
    Descriptor _information;
};

} // namespace mox
