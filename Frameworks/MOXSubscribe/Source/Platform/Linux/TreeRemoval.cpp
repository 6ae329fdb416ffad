#include "Platform/Linux/TreeRemoval.hpp"

#include "Platform/Linux/DirectoryChain.hpp"
#include "Platform/Linux/DirectoryReader.hpp"
#include "Platform/Linux/FileOperations.hpp"
#include "Platform/PackageNames.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <utility>
#include <vector>

namespace mox {
namespace {

enum class Extent { Everything, EverythingOwn, AlmostEmpty };

/// One removal. It keeps its own stack, for trees may be deeper than the process's.
class TreeRemoval {
public:
    TreeRemoval(SystemCalls& system, int folder, Extent extent)
        : _system(system), _directories(system, folder), _extent(extent) {}

    ErrorNumber remove(const std::string& path) {
        if (holdsNul(path)) return EINVAL;
        ListedItem item = {withoutTrailingSeparators(path), DT_UNKNOWN};
        // The system would refuse these as late as when everything in them is gone.
        const std::string name = nameInFolder(item.name);
        if (name == "." || name == "..") return EINVAL;
        ErrorNumber error = removeItem(std::move(item));
        while (error == 0 && !_levels.empty()) {
            Level& level = _levels.back();
            error = level.next < level.items.size() ? removeItem(std::move(level.items[level.next++]))
                                                    : removeLeftDirectory();
        }
        return error;
    }

private:
    struct Level {
        std::string name;
        std::vector<ListedItem> items;
        std::size_t next;
    };

    /// Removes an item of the current directory, or enters it.
    ErrorNumber removeItem(ListedItem item) {
        return _extent == Extent::AlmostEmpty ? removeIfAlmostEmpty(std::move(item))
                                              : removeAnything(std::move(item));
    }

    ErrorNumber removeAnything(ListedItem item) {
        if (item.type != DT_DIR) {
            const ErrorNumber error = unlink(item.name, 0);
            if (error != EISDIR) return error;
        }
        const std::string name = item.name;
        const ErrorNumber error = enter(std::move(item.name));
        // Somebody has put something else in its place.
        if (error == ENOTDIR || error == ELOOP) return unlink(name, 0);
        return error;
    }

    ErrorNumber removeIfAlmostEmpty(ListedItem item) {
        const bool isBeginning = _levels.empty();
        if (!isBeginning && item.name == ".DS_Store")
            return tolerated(removeTree(_system, _directories.descriptor(), item.name));
        if (isPackageName(item.name)) return ENOTEMPTY;
        const char* path = item.name.c_str();
        struct ::stat status = {};
        if (_system.fstatat(_directories.descriptor(), path, &status, AT_SYMLINK_NOFOLLOW) < 0)
            return tolerated(errno);
        if (S_ISDIR(status.st_mode)) return enter(std::move(item.name));
        const ErrorNumber refusal = isBeginning ? ENOTDIR : ENOTEMPTY;
        if (!S_ISLNK(status.st_mode)) return refusal;
        if (_system.fstatat(_directories.descriptor(), path, &status, 0) < 0) {
            const bool leadsNowhere = errno == ENOENT || errno == ENOTDIR || errno == ELOOP;
            return leadsNowhere ? refusal : errno;
        }
        return S_ISDIR(status.st_mode) ? unlink(item.name, 0) : refusal;
    }

    ErrorNumber enter(std::string name) {
        if (const ErrorNumber error = _directories.enter(name.c_str())) {
            // One that may not be listed can be removed all the same when there is nothing in it.
            if (error == EACCES && unlink(name, AT_REMOVEDIR) == 0) return 0;
            return tolerated(error);
        }
        Level level = {std::move(name), {}, 0};
        if (_directories.isMountPoint()) return EXDEV;
        const int descriptor = _directories.descriptor();
        // Whether this has helped, the removals will tell.
        if (_extent == Extent::EverythingOwn) _system.fchmod(descriptor, S_IRWXU);
        const ErrorNumber error = listDirectory(_system, descriptor, level.items);
        if (error == ENOENT) {
            // Somebody else has removed it by now.
            const ErrorNumber leaveError = _directories.leave();
            return leaveError != 0 ? leaveError : tolerated(error);
        }
        if (error != 0) return error;
        _levels.push_back(std::move(level));
        return 0;
    }

    ErrorNumber removeLeftDirectory() {
        if (const ErrorNumber error = _directories.leave()) return error;
        const Level level = std::move(_levels.back());
        _levels.pop_back();
        return unlink(level.name, AT_REMOVEDIR);
    }

    ErrorNumber unlink(const std::string& name, int flags) {
        return tolerated(errorNumberOf(_system.unlinkat(_directories.descriptor(), name.c_str(), flags)));
    }

    /// Somebody else may be faster with all but the beginning.
    ErrorNumber tolerated(ErrorNumber error) const { return error == ENOENT && !_levels.empty() ? 0 : error; }

    SystemCalls& _system;
    DirectoryChain _directories;
    const Extent _extent;
    std::vector<Level> _levels;
};

} // namespace

ErrorNumber removeTree(SystemCalls& system, int folder, const std::string& path) {
    return TreeRemoval(system, folder, Extent::Everything).remove(path);
}

ErrorNumber removeOwnTree(SystemCalls& system, int folder, const std::string& path) {
    return TreeRemoval(system, folder, Extent::EverythingOwn).remove(path);
}

ErrorNumber removeAlmostEmptyTree(SystemCalls& system, int folder, const std::string& path) {
    return TreeRemoval(system, folder, Extent::AlmostEmpty).remove(path);
}

} // namespace mox
