#include "Platform/Linux/LinuxFileSystem.hpp"

#include "Platform/FileSystemErrors.hpp"
#include "Platform/Linux/FileOperations.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <limits>
#include <vector>

namespace mox {
namespace {

/// What an item that is no regular file is refused with: reading a pipe or a device could block for ever.
ErrorNumber refusalOfKind(const struct ::stat& status) {
    if (S_ISREG(status.st_mode)) return 0;
    return S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
}

/// Reads what is left of the file, of which about `expectedSize` bytes are expected. The size is only a hint:
/// a file may grow meanwhile, and some that the kernel makes up have none.
ErrorNumber readAll(SystemCalls& system, int descriptor, std::uintmax_t expectedSize, Bytes& content) {
    // One byte more than expected lets the end be seen without growing the buffer.
    constexpr std::uintmax_t smallestBuffer = 4096;
    const std::uintmax_t wanted = std::max(expectedSize + 1, smallestBuffer);
    if (wanted > content.max_size() / 2) return EFBIG;
    content.resize(static_cast<std::size_t>(wanted));
    std::size_t length = 0;
    for (;;) {
        if (length == content.size()) {
            if (length > content.max_size() / 2) return EFBIG;
            content.resize(2 * length);
        }
        const ssize_t count = uninterrupted(
            [&] { return system.read(descriptor, content.data() + length, content.size() - length); });
        if (count < 0) return errno;
        if (count == 0) break;
        length += static_cast<std::size_t>(count);
    }
    content.resize(length);
    content.shrink_to_fit();
    return 0;
}

/// A path for a temporary file in `folder`: hidden, of a length of its own (so that a target's name may be as
/// long as names can be), and not to be guessed by somebody who wants to be there first.
ErrorNumber makeTemporaryPath(SystemCalls& system, const std::string& folder, std::string& path) {
    std::array<unsigned char, 16> random;
    if (system.getentropy(random.data(), random.size()) < 0) return errno;
    path = folder + "/.mox-";
    for (const unsigned char byte : random) {
        constexpr const char* digits = "0123456789abcdef";
        path += digits[byte >> 4];
        path += digits[byte & 15];
    }
    return 0;
}

/// The permission bits that the file to be written over `path` must have; nil when the umask decides.
ErrorNumber findRequiredMode(SystemCalls& system, const std::string& path, std::optional<FileMode>& mode) {
    struct ::stat status;
    if (system.lstat(path.c_str(), &status) < 0) return errno == ENOENT ? 0 : errno;
    if (S_ISREG(status.st_mode)) mode = status.st_mode & permissionBits;
    return 0;
}

ErrorNumber replaceFile(SystemCalls& system, const std::string& path, ByteView content,
                        std::optional<FileMode> newFileMode) {
    if (holdsNul(path)) return EINVAL;
    const std::string folderPath = folderOf(path);
    // Opened before anything is written, so that once the new file is in place only the synchronisation
    // itself can still fail.
    const Descriptor folder(system, folderPath, O_RDONLY | O_DIRECTORY);
    if (folder.openError() != 0) return folder.openError();
    std::optional<FileMode> mode = newFileMode;
    if (const ErrorNumber error = findRequiredMode(system, path, mode)) return error;
    std::string temporaryPath;
    if (const ErrorNumber error = makeTemporaryPath(system, folderPath, temporaryPath)) return error;

    bool isMade = false;
    ErrorNumber error = writeNewFile(system, temporaryPath, content, mode, isMade);
    if (error == 0) error = errorNumberOf(system.rename(temporaryPath.c_str(), path.c_str()));
    if (error == 0) return synchronizeFolder(system, folder);
    if (isMade) system.unlink(temporaryPath.c_str());
    return error;
}

} // namespace

ItemKind LinuxFileSystem::itemKindAtPath(const std::string& path) {
    if (holdsNul(path)) return ItemKind::Missing;
    struct ::stat status;
    if (_system.stat(path.c_str(), &status) == 0) {
        return S_ISDIR(status.st_mode) ? ItemKind::Directory : ItemKind::File;
    }
    switch (errno) {
    case ENOENT:
    case ENOTDIR:
    case ENAMETOOLONG:
        return ItemKind::Missing;
    default:
        return ItemKind::Inaccessible;
    }
}

Result<Bytes> LinuxFileSystem::contentsOfFile(const std::string& path) {
    if (holdsNul(path)) return readError(path, EINVAL);
    // Without O_NONBLOCK, opening a pipe would wait for somebody to write to it.
    const Descriptor file(_system, path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
    if (file.openError() != 0) return readError(path, file.openError());
    struct ::stat status;
    if (_system.fstat(file.number(), &status) < 0) return readError(path, errno);
    if (const ErrorNumber error = refusalOfKind(status)) return readError(path, error);
    Bytes content;
    const auto size = static_cast<std::uintmax_t>(std::max<off_t>(status.st_size, 0));
    if (const ErrorNumber error = readAll(_system, file.number(), size, content))
        return readError(path, error);
    return content;
}

Result<void> LinuxFileSystem::writeFileAtomically(const std::string& path, ByteView content,
                                                  std::optional<FileMode> newFileMode) {
    if (const ErrorNumber error = replaceFile(_system, path, content, newFileMode))
        return writeError(path, error);
    return {};
}

Result<void> LinuxFileSystem::writeFileInPlace(const std::string& path, ByteView content) {
    if (holdsNul(path)) return writeError(path, EINVAL);
    Descriptor file(_system, path, O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_NOCTTY, 0666);
    if (file.openError() != 0) return writeError(path, file.openError());
    struct ::stat status;
    if (_system.fstat(file.number(), &status) < 0) return writeError(path, errno);
    if (const ErrorNumber error = refusalOfKind(status)) return writeError(path, error);
    if (const ErrorNumber error = writeAll(_system, file.number(), content)) return writeError(path, error);
    if (const ErrorNumber error = file.close()) return writeError(path, error);
    return {};
}

Result<void> LinuxFileSystem::createDirectoryWithIntermediates(const std::string& path, FileMode newMode) {
    const ErrorNumber error = makeDirectories(_system, path, static_cast<mode_t>(newMode));
    if (error != 0) return writeError(path, error);
    return {};
}

Result<void> LinuxFileSystem::moveItem(const std::string& source, const std::string& destination) {
    const ErrorNumber error = moveWithoutReplacing(_system, source, destination);
    if (error == 0) return {};
    // What is in the way is at the destination; everything else is told of what was to be moved.
    return writeError(error == EEXIST ? destination : source, error);
}

Result<std::vector<DirectoryEntry>> LinuxFileSystem::contentsOfDirectory(const std::string& path) {
    return readError(path, ENOSYS);
}

Result<void> LinuxFileSystem::removeItem(const std::string& path) {
    return writeError(path, ENOSYS);
}

Result<void> LinuxFileSystem::removeAlmostEmptyDirectory(const std::string& path) {
    return writeError(path, ENOSYS);
}

Result<std::string> LinuxFileSystem::copyItem(const std::string& source, const std::string&,
                                              const std::string&) {
    return writeError(source, ENOSYS);
}

Result<std::string> LinuxFileSystem::stageForMove(const std::string& source, const std::string&) {
    return writeError(source, ENOSYS);
}

Result<std::string> LinuxFileSystem::createTemporaryDirectory(const std::string& pathTemplate) {
    return writeError(pathTemplate, ENOSYS);
}

} // namespace mox
