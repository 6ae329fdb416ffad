#include "Platform/Linux/TrashFolder.hpp"

#include "Platform/Linux/TrashInformation.hpp"

#include <fcntl.h>

namespace mox {
namespace {

constexpr mode_t privateFolderMode = 0700;
constexpr mode_t informationMode = 0600;

/// A Trash that has so many items of one name takes no more of them: the search must end.
constexpr std::size_t mostNames = 100000;

std::string informationNameOf(const std::string& nameHere) {
    return nameHere + std::string(trashInformationExtension);
}

} // namespace

Descriptor openFolderIn(SystemCalls& system, const Descriptor& folder, const std::string& name,
                        MissingFolder missing) {
    constexpr int flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW;
    const auto open = [&] { return Descriptor(system, folder.number(), name.c_str(), flags); };
    Descriptor opened = open();
    if (opened.openError() != ENOENT || missing == MissingFolder::Fails) return opened;
    if (system.mkdirat(folder.number(), name.c_str(), privateFolderMode) < 0) {
        // Somebody else may have been faster.
        if (errno != EEXIST) return opened;
    } else if (synchronizeFolder(system, folder) != 0) {
        // Later nobody would know that a power cut may take it, and all that is in it.
        system.unlinkat(folder.number(), name.c_str(), AT_REMOVEDIR);
        return opened;
    }
    return open();
}

TrashFolder::TrashFolder(SystemCalls& system, const Descriptor& folder, MissingFolder missing)
    : _system(system)
    , _files(openFolderIn(system, folder, "files", missing))
    , _information(openFolderIn(system, folder, "info", missing)) {}

ErrorNumber TrashFolder::openError() const {
    return _files.openError() != 0 ? _files.openError() : _information.openError();
}

ErrorNumber TrashFolder::take(const Descriptor& folder, const std::string& name, const std::string& path,
                              const std::tm& deletionDate) {
    const std::string information = trashInformation(path, deletionDate);
    ErrorNumber error = EEXIST;
    for (std::size_t number = 1; error == EEXIST && number <= mostNames; ++number)
        error = takeAs(nameInTrash(name, number), folder, name, information);
    return error;
}

/// Takes the item under the name `nameHere`; EEXIST when that is taken.
ErrorNumber TrashFolder::takeAs(const std::string& nameHere, const Descriptor& folder,
                                const std::string& name, ByteView information) {
    // Information written beside an item that has none would tell of that one.
    struct ::stat status = {};
    if (_system.fstatat(_files.number(), nameHere.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) return EEXIST;
    if (errno != ENOENT) return errno;

    bool isMade = false;
    ErrorNumber error = writeNewFile(_system, _information.number(), informationNameOf(nameHere), information,
                                     informationMode, isMade);
    if (error == 0) error = synchronizeFolder(_system, _information);
    if (error == 0) error = moveWithoutReplacing(_system, folder.number(), name, _files.number(), nameHere);
    if (error != 0) {
        if (isMade) removeInformation(nameHere);
        return error;
    }

    error = synchronizeMove(folder);
    if (error == 0) return 0;
    // Where it cannot be moved back, it is in the Trash, and that is what the result must tell.
    if (moveWithoutReplacing(_system, _files.number(), nameHere, folder.number(), name) != 0) return 0;
    if (synchronizeMove(folder) == 0) removeInformation(nameHere);
    return error;
}

/// Makes a move between `folder` and the Trash safe.
ErrorNumber TrashFolder::synchronizeMove(const Descriptor& folder) {
    const ErrorNumber error = synchronizeFolder(_system, _files);
    return error != 0 ? error : synchronizeFolder(_system, folder);
}

void TrashFolder::removeInformation(const std::string& nameHere) {
    _system.unlinkat(_information.number(), informationNameOf(nameHere).c_str(), 0);
}

bool TrashFolder::keepsItemsIn(const Descriptor& folder) const {
    struct ::stat here = {};
    struct ::stat there = {};
    return _system.fstat(_files.number(), &here) == 0 && _system.fstat(folder.number(), &there) == 0 &&
           here.st_dev == there.st_dev && here.st_ino == there.st_ino;
}

void TrashFolder::forget(const std::string& name) {
    struct ::stat status = {};
    if (_system.fstatat(_files.number(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) return;
    if (errno != ENOENT) return;
    // The other folder of the move is not known here, so everything is made safe.
    if (_system.syncfs(_files.number()) == 0) removeInformation(name);
}

} // namespace mox
