#include "Platform/Linux/ItemTransfer.hpp"

#include "Foundation/PathRules.hpp"
#include "Platform/Linux/TreeCopy.hpp"
#include "Platform/Linux/TreeRemoval.hpp"

#include <fcntl.h>

namespace mox {
namespace {

/// Whether an item can be renamed from the mount of one path to that of the other. Not even two mounts of one
/// file system allow it.
ErrorNumber compareMounts(SystemCalls& system, const std::string& one, const std::string& other,
                          bool& areSame) {
    struct ::statx statusOfOne = {};
    struct ::statx statusOfOther = {};
    constexpr unsigned mask = STATX_TYPE | STATX_MNT_ID;
    if (system.statx(AT_FDCWD, one.c_str(), AT_SYMLINK_NOFOLLOW, mask, &statusOfOne) < 0) return errno;
    if (system.statx(AT_FDCWD, other.c_str(), 0, mask, &statusOfOther) < 0) return errno;
    areSame = statusOfOne.stx_dev_major == statusOfOther.stx_dev_major &&
              statusOfOne.stx_dev_minor == statusOfOther.stx_dev_minor;
    // Older systems do not tell mounts apart.
    if ((statusOfOne.stx_mask & statusOfOther.stx_mask & STATX_MNT_ID) != 0)
        areSame = areSame && statusOfOne.stx_mnt_id == statusOfOther.stx_mnt_id;
    return 0;
}

} // namespace

ErrorNumber copyIntoFolder(SystemCalls& system, const std::string& source, const std::string& folderPath,
                           const std::string& name) {
    if (!isNameOfItem(name) || holdsNul(folderPath)) return EINVAL;
    const Descriptor folder(system, folderPath, O_RDONLY | O_DIRECTORY);
    if (folder.openError() != 0) return folder.openError();
    // To be told now that the name is taken, or too long, saves the copying.
    struct ::stat status = {};
    if (system.fstatat(folder.number(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) return EEXIST;
    if (errno != ENOENT) return errno;
    StagedCopy copy(system, folder.number());
    if (const ErrorNumber error = copy.make(source)) return error;
    return copy.publish(name);
}

ErrorNumber transferItem(SystemCalls& system, const std::string& source, const std::string& destination) {
    const ErrorNumber error = moveWithoutReplacing(system, source, destination);
    if (error != EXDEV) return error;
    // Neither "." nor ".." could be removed afterwards.
    if (!isNameOfItem(nameInFolder(withoutTrailingSeparators(source)))) return EINVAL;
    const std::string place = withoutTrailingSeparators(destination);
    if (const ErrorNumber copyError = copyIntoFolder(system, source, folderOf(place), nameInFolder(place)))
        return copyError;
    return removeTree(system, AT_FDCWD, source);
}

ErrorNumber stageItem(SystemCalls& system, const std::string& source, const std::string& destination,
                      std::string& result) {
    if (holdsNul(source) || holdsNul(destination)) return EINVAL;
    const std::string folderPath = folderOf(withoutTrailingSeparators(destination));
    bool areSame = false;
    if (const ErrorNumber error =
            compareMounts(system, withoutTrailingSeparators(source), folderPath, areSame))
        return error;
    if (areSame) {
        result = source;
        return 0;
    }
    const Descriptor folder(system, folderPath, O_RDONLY | O_DIRECTORY);
    if (folder.openError() != 0) return folder.openError();
    StagedCopy copy(system, folder.number());
    if (const ErrorNumber error = copy.make(source)) return error;
    result = stringByAppendingPathComponent(folderPath, copy.name());
    copy.release();
    return 0;
}

} // namespace mox
