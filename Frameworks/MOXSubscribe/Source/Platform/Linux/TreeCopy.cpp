#include "Platform/Linux/TreeCopy.hpp"

#include "Foundation/BytesBuffer.hpp"
#include "Platform/Linux/DirectoryChain.hpp"
#include "Platform/Linux/DirectoryReader.hpp"
#include "Platform/Linux/FileOperations.hpp"
#include "Platform/Linux/TreeRemoval.hpp"

#include <climits>

#include <algorithm>
#include <array>
#include <cstddef>
#include <dirent.h>
#include <fcntl.h>
#include <new>
#include <utility>
#include <vector>

namespace mox {
namespace {

/// Whether the system copies no contents by itself, from this file system to that one or at all: an old
/// system, a file system without it, or a sandbox that does not know it.
bool meansNoSuchCopying(ErrorNumber error) {
    return error == EXDEV || error == EINVAL || error == EOPNOTSUPP || error == ENOSYS || error == EPERM;
}

/// One copy. It keeps its own stack, for trees may be deeper than the process's.
class TreeCopy {
public:
    TreeCopy(SystemCalls& system, int folder)
        : _system(system), _sources(system, AT_FDCWD), _copies(system, folder) {}

    ErrorNumber copy(const std::string& source, const std::string& name) {
        ErrorNumber error = copyItem(source.c_str(), name.c_str(), DT_UNKNOWN);
        while (error == 0 && !_levels.empty()) {
            Level& level = _levels.back();
            if (level.next == level.items.size()) {
                error = finishDirectory();
            } else {
                const ListedItem item = std::move(level.items[level.next++]);
                error = copyItem(item.name.c_str(), item.name.c_str(), item.type);
            }
        }
        return error;
    }

private:
    struct Level {
        std::vector<ListedItem> items;
        std::size_t next;
    };

    /// Copies an item of the current directory, or enters it.
    ErrorNumber copyItem(const char* source, const char* name, unsigned char type) {
        if (type == DT_UNKNOWN) {
            struct ::stat status = {};
            if (_system.fstatat(_sources.descriptor(), source, &status, AT_SYMLINK_NOFOLLOW) < 0)
                return errno;
            type = static_cast<unsigned char>(IFTODT(status.st_mode));
        }
        switch (type) {
        case DT_DIR:
            return beginDirectory(source, name);
        case DT_LNK:
            return copyLink(source, name);
        case DT_REG:
            return copyFile(source, name);
        default:
            return EINVAL;
        }
    }

    ErrorNumber beginDirectory(const char* source, const char* name) {
        if (const ErrorNumber error = _sources.enter(source)) return error;
        // A copy into itself would have no end.
        if (_sources.isAtBeginningOf(_copies)) return EINVAL;
        // Until all is in it, nobody else may look.
        if (_system.mkdirat(_copies.descriptor(), name, S_IRWXU) < 0) return errno;
        if (const ErrorNumber error = _copies.enter(name)) return error;
        Level level = {{}, 0};
        if (const ErrorNumber error = listDirectory(_system, _sources.descriptor(), level.items))
            return error;
        _levels.push_back(std::move(level));
        return 0;
    }

    ErrorNumber finishDirectory() {
        const int copy = _copies.descriptor();
        if (_system.fchmod(copy, _sources.mode() & permissionBits) < 0) return errno;
        if (const ErrorNumber error = synchronizeFolder(_system, copy)) return error;
        _levels.pop_back();
        if (const ErrorNumber error = _sources.leave()) return error;
        return _copies.leave();
    }

    ErrorNumber copyLink(const char* source, const char* name) {
        std::array<char, PATH_MAX> target = {};
        const ssize_t length =
            _system.readlinkat(_sources.descriptor(), source, target.data(), target.size());
        if (length < 0) return errno;
        const auto end = static_cast<std::size_t>(length);
        // One that fills the buffer may have been cut off, but no link that can be made is that long.
        if (end == target.size()) return ENAMETOOLONG;
        target[end] = '\0';
        return errorNumberOf(_system.symlinkat(target.data(), _copies.descriptor(), name));
    }

    ErrorNumber copyFile(const char* source, const char* name) {
        // It may have become something else meanwhile, a pipe that keeps who opens it waiting for instance.
        const Descriptor original(_system, _sources.descriptor(), source,
                                  O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
        if (original.openError() != 0) return original.openError();
        struct ::stat status = {};
        if (_system.fstat(original.number(), &status) < 0) return errno;
        if (const ErrorNumber error = refusalOfKind(status.st_mode)) return error;
        Descriptor copy(_system, _copies.descriptor(), name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW,
                        S_IRUSR | S_IWUSR);
        if (copy.openError() != 0) return copy.openError();
        if (const ErrorNumber error = copyContent(original.number(), copy.number(), status.st_size))
            return error;
        if (_system.fchmod(copy.number(), status.st_mode & permissionBits) < 0) return errno;
        if (const ErrorNumber error = synchronize(_system, copy.number())) return error;
        return copy.close();
    }

    /// Copies what is in a file that had `size` bytes when it was looked at.
    ErrorNumber copyContent(int original, int copy, off_t size) {
        off_t length = 0;
        while (_systemCopies && length < size) {
            constexpr off_t mostAtOnce = off_t{1} << 30;
            const auto most = static_cast<std::size_t>(std::min(size - length, mostAtOnce));
            const ssize_t count =
                uninterrupted([&] { return _system.copy_file_range(original, copy, most); });
            if (count < 0 && !meansNoSuchCopying(errno)) return errno;
            if (count < 0) _systemCopies = false;
            // Either it has become shorter, or it is one of which the system says so by mistake.
            if (count <= 0) break;
            length += count;
        }
        // A file that the system makes up on reading has no size.
        return length == size && size != 0 ? 0 : copyRest(original, copy);
    }

    /// Copies what comes behind the positions in the files.
    ErrorNumber copyRest(int original, int copy) {
        constexpr std::size_t piece = std::size_t{64} * 1024;
        char* const buffer = _buffer.resize(piece);
        for (;;) {
            const ssize_t count = uninterrupted([&] { return _system.read(original, buffer, piece); });
            if (count <= 0) return errorNumberOf(count);
            const ByteView content(buffer, static_cast<std::size_t>(count));
            if (const ErrorNumber error = writeAll(_system, copy, content)) return error;
        }
    }

    SystemCalls& _system;
    DirectoryChain _sources;
    DirectoryChain _copies;
    std::vector<Level> _levels;
    /// Whether the system has not refused yet to copy by itself.
    bool _systemCopies = true;
    BytesBuffer _buffer;
};

} // namespace

StagedCopy::~StagedCopy() {
    if (_name.empty()) return;
    try {
        removeOwnTree(_system, _folder, _name);
    } catch (const std::bad_alloc&) {
        // It stays, hidden, as after a crash.
    }
}

ErrorNumber StagedCopy::make(const std::string& source) {
    if (holdsNul(source)) return EINVAL;
    const std::string path = withoutTrailingSeparators(source);
    TreeCopy copy(_system, _folder);
    std::string name;
    if (const ErrorNumber error = makeHiddenName(_system, name)) return error;
    _name = std::move(name);
    return copy.copy(path, _name);
}

ErrorNumber StagedCopy::publish(const std::string& name) {
    if (const ErrorNumber error = moveWithoutReplacing(_system, _folder, _name, _folder, name)) return error;
    const ErrorNumber error = synchronizeFolder(_system, _folder);
    // Somebody could take it for lost: better that it is so.
    if (error == 0 || moveWithoutReplacing(_system, _folder, name, _folder, _name) != 0) release();
    return error;
}

} // namespace mox
