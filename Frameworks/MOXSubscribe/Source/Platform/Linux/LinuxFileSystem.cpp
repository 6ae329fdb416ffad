#include "Platform/Linux/LinuxFileSystem.hpp"

#include "Foundation/BytesBuffer.hpp"
#include "Foundation/PathRules.hpp"
#include "Platform/FileSystemErrors.hpp"
#include "Platform/Linux/DirectoryReader.hpp"
#include "Platform/Linux/FileOperations.hpp"
#include "Platform/Linux/ItemTransfer.hpp"
#include "Platform/Linux/TreeRemoval.hpp"

#include <climits>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>
#include <utility>
#include <vector>

namespace mox {
namespace {

/// A file that claims to be longer is none of ours, and the system would run out of memory, or end the
/// program, while it is read. What is written is held to the same length.
constexpr std::uintmax_t longestContent =
    sizeof(std::size_t) > 4 ? std::uintmax_t{1} << 32 : std::uintmax_t{1} << 30;

/// Fills the `limit` bytes at `content` with what is left of the file; tells how many there were, and whether
/// the end was seen. It was, too, by a read that was asked for more than the `expected` bytes and gave these;
/// one that stops at any other length may have met an error, of which only the next one would tell.
ErrorNumber readRest(SystemCalls& system, int descriptor, char* content, std::size_t limit,
                     std::size_t expected, std::size_t& length, bool& isAtEnd) {
    length = 0;
    while (length != limit && !isAtEnd) {
        const ssize_t count =
            uninterrupted([&] { return system.read(descriptor, content + length, limit - length); });
        if (count < 0) return errno;
        length += static_cast<std::size_t>(count);
        isAtEnd = count == 0 || length == expected;
    }
    return 0;
}

/// Reads what is left of the file, of which about `expectedSize` bytes are expected, into the memory that
/// `resize` gives for a number of bytes. The size is only a hint: a file may grow meanwhile, and some that
/// the kernel makes up have none.
template<typename Resize>
ErrorNumber readAll(SystemCalls& system, int descriptor, std::uintmax_t expectedSize, Resize resize) {
    constexpr std::size_t piece = 16384;
    if (expectedSize > longestContent) return EFBIG;
    const auto expected = static_cast<std::size_t>(expectedSize);
    // One more than expected is asked for, so that a file that has grown shows.
    const std::size_t limit = expected + 1;
    std::size_t length = 0;
    bool isAtEnd = false;
    if (const ErrorNumber error =
            readRest(system, descriptor, resize(limit), limit, expected, length, isAtEnd))
        return error;
    if (length > longestContent) return EFBIG;
    // The end is looked for with a buffer of its own: the content, which may be large, would have to move.
    while (!isAtEnd) {
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): clearing the buffer would take longer.
        std::array<char, piece> more;
        std::size_t count = 0;
        if (const ErrorNumber error = readRest(system, descriptor, more.data(), piece, 0, count, isAtEnd))
            return error;
        if (count > longestContent - length) return EFBIG;
        if (count != 0) std::memcpy(resize(length + count) + length, more.data(), count);
        length += count;
    }
    resize(length);
    return 0;
}

/// Reads the file at `path` as `readAll` does.
template<typename Resize>
ErrorNumber readFile(SystemCalls& system, const std::string& path, Resize resize) {
    if (holdsNul(path)) return EINVAL;
    // Without O_NONBLOCK, opening a pipe would wait for somebody to write to it.
    const Descriptor file(system, path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
    if (file.openError() != 0) return file.openError();
    struct ::stat status = {};
    if (system.fstat(file.number(), &status) < 0) return errno;
    if (const ErrorNumber error = refusalOfKind(status.st_mode)) return error;
    const auto size = static_cast<std::uintmax_t>(std::max<off_t>(status.st_size, 0));
    return readAll(system, file.number(), size, resize);
}

/// The permission bits that the file to be written over `name` must have; nil when the umask decides.
ErrorNumber findRequiredMode(SystemCalls& system, const Descriptor& folder, const std::string& name,
                             std::optional<FileMode>& mode) {
    struct ::stat status = {};
    if (system.fstatat(folder.number(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) < 0)
        return errno == ENOENT ? 0 : errno;
    if (S_ISREG(status.st_mode)) mode = status.st_mode & permissionBits;
    return 0;
}

ErrorNumber replaceFile(SystemCalls& system, const std::string& path, const std::vector<ByteView>& pieces,
                        std::optional<FileMode> newFileMode) {
    if (holdsNul(path)) return EINVAL;
    std::uintmax_t length = 0;
    for (const ByteView piece : pieces)
        length += piece.size();
    // What could not be read again must not take the place of what can.
    if (length > longestContent) return EFBIG;
    // Opened before anything is written, so that once the new file is in place only the synchronisation
    // itself can still fail; and all is done in it, so that nothing is left behind when somebody moves it
    // meanwhile.
    const Descriptor folder(system, folderOf(path), O_RDONLY | O_DIRECTORY);
    if (folder.openError() != 0) return folder.openError();
    const std::string name = nameInFolder(path);
    std::optional<FileMode> mode = newFileMode;
    if (const ErrorNumber error = findRequiredMode(system, folder, name, mode)) return error;
    std::string temporaryName;
    if (const ErrorNumber error = makeHiddenName(system, temporaryName)) return error;

    const int place = folder.number();
    bool isMade = false;
    ErrorNumber error = writeNewFile(system, place, temporaryName, pieces, mode, isMade);
    if (error == 0) error = errorNumberOf(system.renameat(place, temporaryName.c_str(), place, name.c_str()));
    if (error == 0) return synchronizeFolder(system, folder);
    if (isMade) system.unlinkat(place, temporaryName.c_str(), 0);
    return error;
}

/// Replaces the six "X" at the end of `path` so that it is new, and makes a directory there.
ErrorNumber makeTemporaryDirectory(SystemCalls& system, std::string& path) {
    constexpr std::string_view placeholder = "XXXXXX";
    if (!path.ends_with(placeholder) || holdsNul(path)) return EINVAL;
    constexpr int mostTries = 100;
    for (int tries = 0; tries < mostTries; ++tries) {
        std::array<unsigned char, placeholder.size()> random = {};
        if (system.getentropy(random.data(), random.size()) < 0) return errno;
        std::transform(random.begin(), random.end(), path.end() - placeholder.size(),
                       [](unsigned char byte) { return "0123456789abcdefghijklmnopqrstuv"[byte % 32]; });
        if (system.mkdir(path.c_str(), S_IRWXU) == 0) return 0;
        if (errno != EEXIST) return errno;
    }
    return EEXIST;
}

EntryKind entryKindOfType(unsigned char type) {
    switch (type) {
    case DT_DIR:
        return EntryKind::Directory;
    case DT_LNK:
        return EntryKind::SymbolicLink;
    case DT_UNKNOWN:
        return EntryKind::Unknown;
    default:
        return EntryKind::Other;
    }
}

/// The open directory at a path.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): nothing can be derived from it.
class OpenDirectory final : public VisitedDirectory {
public:
    OpenDirectory(SystemCalls& system, int descriptor, const std::string& path)
        : _system(system)
        , _descriptor(descriptor)
        , _lengthAbove(path.size() + (path.ends_with('/') ? 0 : 1)) {}

    bool holdsItem(const std::string& relativePath) override {
        if (holdsNul(relativePath) || _lengthAbove + relativePath.size() >= PATH_MAX) return false;
        return _system.faccessat(_descriptor, relativePath.c_str(), F_OK, AT_EACCESS) == 0;
    }

private:
    SystemCalls& _system;
    int _descriptor;
    std::size_t _lengthAbove;
};

} // namespace

ItemKind LinuxFileSystem::itemKindAtPath(const std::string& path) {
    if (holdsNul(path)) return ItemKind::Missing;
    struct ::stat status = {};
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

Result<ItemIdentity> LinuxFileSystem::identityOfItem(const std::string& path) {
    struct ::stat status = {};
    if (holdsNul(path)) return readError(path, EINVAL);
    if (_system.stat(path.c_str(), &status) != 0) return readError(path, errno);
    return ItemIdentity{status.st_dev, status.st_ino};
}

Result<Bytes> LinuxFileSystem::contentsOfFile(const std::string& path) {
    Bytes content;
    const auto resize = [&content](std::size_t size) {
        content.resize(size);
        return content.data();
    };
    if (const ErrorNumber error = readFile(_system, path, resize)) return readError(path, error);
    return content;
}

Result<SharedBytes> LinuxFileSystem::sharedContentsOfFile(const std::string& path) {
    BytesBuffer content;
    const auto resize = [&content](std::size_t size) { return content.resize(size); };
    if (const ErrorNumber error = readFile(_system, path, resize)) return readError(path, error);
    return content.take();
}

Result<void> LinuxFileSystem::writeFileAtomically(const std::string& path, ByteView content,
                                                  std::optional<FileMode> newFileMode) {
    return writePiecesAtomically(path, {content}, newFileMode);
}

Result<void> LinuxFileSystem::writePiecesAtomically(const std::string& path,
                                                    const std::vector<ByteView>& pieces,
                                                    std::optional<FileMode> newFileMode) {
    if (const ErrorNumber error = replaceFile(_system, path, pieces, newFileMode))
        return writeError(path, error);
    return {};
}

Result<void> LinuxFileSystem::writeFileInPlace(const std::string& path, ByteView content) {
    if (holdsNul(path)) return writeError(path, EINVAL);
    Descriptor file(_system, path, O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_NOCTTY, 0666);
    if (file.openError() != 0) return writeError(path, file.openError());
    struct ::stat status = {};
    if (_system.fstat(file.number(), &status) < 0) return writeError(path, errno);
    if (const ErrorNumber error = refusalOfKind(status.st_mode)) return writeError(path, error);
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
    const ErrorNumber error = transferItem(_system, source, destination);
    if (error == 0) return {};
    // What is in the way is at the destination; everything else is told of what was to be moved.
    return writeError(error == EEXIST ? destination : source, error);
}

Result<void> LinuxFileSystem::visitDirectory(const std::string& path, const DirectoryVisitor& visit) {
    if (holdsNul(path)) return readError(path, EINVAL);
    const Descriptor directory(_system, path, O_RDONLY | O_DIRECTORY);
    if (directory.openError() != 0) return readError(path, directory.openError());
    OpenDirectory visited(_system, directory.number(), path);
    DirectoryReader reader(_system, directory.number());
    while (const DirectoryReader::Entry* entry = reader.next())
        visit(entry->name, entryKindOfType(entry->type), visited);
    if (reader.error() != 0) return readError(path, reader.error());
    return {};
}

Result<void> LinuxFileSystem::removeItem(const std::string& path) {
    if (const ErrorNumber error = removeTree(_system, AT_FDCWD, path)) return writeError(path, error);
    return {};
}

Result<void> LinuxFileSystem::removeAlmostEmptyDirectory(const std::string& path) {
    if (const ErrorNumber error = removeAlmostEmptyTree(_system, AT_FDCWD, path))
        return writeError(path, error);
    return {};
}

Result<std::string> LinuxFileSystem::copyItem(const std::string& source, const std::string& folder,
                                              const std::string& name) {
    // Made first: once there is a copy, nothing more may fail.
    std::string copy = stringByAppendingPathComponent(folder, name);
    const ErrorNumber error = copyIntoFolder(_system, source, folder, name);
    if (error == 0) return copy;
    return writeError(error == EEXIST ? copy : source, error);
}

Result<std::string> LinuxFileSystem::stageForMove(const std::string& source, const std::string& destination) {
    std::string path;
    if (const ErrorNumber error = stageItem(_system, source, destination, path))
        return writeError(source, error);
    return path;
}

Result<std::string> LinuxFileSystem::createTemporaryDirectory(const std::string& pathTemplate) {
    std::string path = pathTemplate;
    if (const ErrorNumber error = makeTemporaryDirectory(_system, path))
        return writeError(pathTemplate, error);
    return path;
}

} // namespace mox
