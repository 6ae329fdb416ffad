#include "Platform/Linux/FileOperations.hpp"

#include "Platform/TemporaryNames.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <fcntl.h>
#include <utility>
#include <vector>

namespace mox {
namespace {

/// Whether there is a directory at `path`; 0, or why not. What is there but no directory is EEXIST.
ErrorNumber checkDirectory(SystemCalls& system, const std::string& path) {
    struct ::stat status = {};
    if (system.stat(path.c_str(), &status) < 0) return errno == ENOTDIR ? EEXIST : errno;
    return S_ISDIR(status.st_mode) ? 0 : EEXIST;
}

constexpr int newFileFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW;

/// The mode to make a file with: when one is to be set later, nobody else may look in the meantime.
mode_t modeUntilSet(std::optional<FileMode> mode) {
    return mode ? 0600 : 0666;
}

template<typename Content>
ErrorNumber fillNewFile(SystemCalls& system, Descriptor& file, const Content& content,
                        std::optional<FileMode> mode, bool& isMade) {
    if (file.openError() != 0) return file.openError();
    isMade = true;
    if (const ErrorNumber error = writeAll(system, file.number(), content)) return error;
    if (mode && system.fchmod(file.number(), static_cast<mode_t>(*mode)) < 0) return errno;
    if (const ErrorNumber error = synchronize(system, file.number())) return error;
    return file.close();
}

} // namespace

Descriptor::Descriptor(SystemCalls& system, const std::string& path, int flags, mode_t mode)
    : _system(&system)
    , _number(uninterrupted([&] { return system.open(path.c_str(), flags | O_CLOEXEC, mode); }))
    , _openError(errorNumberOf(_number)) {}

Descriptor::Descriptor(SystemCalls& system, int folder, const char* path, int flags, mode_t mode)
    : _system(&system)
    , _number(uninterrupted([&] { return system.openat(folder, path, flags | O_CLOEXEC, mode); }))
    , _openError(errorNumberOf(_number)) {}

Descriptor::Descriptor(Descriptor&& other) noexcept
    : _system(other._system), _number(std::exchange(other._number, -1)), _openError(other._openError) {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    if (this == &other) return *this;
    close();
    _system = other._system;
    _number = std::exchange(other._number, -1);
    _openError = other._openError;
    return *this;
}

ErrorNumber Descriptor::close() {
    if (_number < 0) return 0;
    const ErrorNumber error = errorNumberOf(_system->close(std::exchange(_number, -1)));
    // An interrupted close has closed all the same, and must not be repeated.
    return error == EINTR ? 0 : error;
}

bool holdsNul(std::string_view path) {
    return path.find('\0') != path.npos;
}

bool isNameOfItem(std::string_view name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == name.npos && !holdsNul(name);
}

std::string withoutTrailingSeparators(std::string path) {
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

std::string folderOf(const std::string& path) {
    const std::size_t separator = path.rfind('/');
    if (separator == path.npos) return ".";
    return separator == 0 ? "/" : path.substr(0, separator);
}

std::string nameInFolder(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

ErrorNumber makeHiddenName(SystemCalls& system, std::string& name) {
    std::array<unsigned char, temporaryNameDigits / 2> random = {};
    if (system.getentropy(random.data(), random.size()) < 0) return errno;
    name = temporaryNamePrefix;
    name.reserve(name.size() + temporaryNameDigits);
    for (const unsigned char byte : random) {
        constexpr const char* digits = "0123456789abcdef";
        name += digits[byte >> 4];
        name += digits[byte & 15];
    }
    return 0;
}

ErrorNumber readPathOf(SystemCalls& system, int descriptor, std::string& path) {
    // Longer paths than fit are ENAMETOOLONG to the kernel too.
    std::array<char, PATH_MAX> buffer = {};
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    const ssize_t length = system.readlinkat(AT_FDCWD, link.c_str(), buffer.data(), buffer.size());
    if (length < 0) return errno;
    if (static_cast<std::size_t>(length) == buffer.size()) return ENAMETOOLONG;
    std::string found(buffer.data(), static_cast<std::size_t>(length));
    // The kernel marks the path of what was deleted with a text that a genuine name may have too, and gives
    // no absolute path for what is out of reach: only what is found at the path tells.
    if (!found.starts_with('/')) return ENOENT;
    struct ::stat item = {};
    struct ::stat atPath = {};
    if (system.fstat(descriptor, &item) < 0) return errno;
    if (system.lstat(found.c_str(), &atPath) < 0) return errno == ENOTDIR ? ENOENT : errno;
    if (item.st_dev != atPath.st_dev || item.st_ino != atPath.st_ino) return ENOENT;
    path = std::move(found);
    return 0;
}

ErrorNumber refusalOfKind(mode_t mode) {
    if (S_ISREG(mode)) return 0;
    return S_ISDIR(mode) ? EISDIR : EINVAL;
}

ErrorNumber writeAll(SystemCalls& system, int descriptor, ByteView content) {
    while (!content.empty()) {
        const ssize_t written =
            uninterrupted([&] { return system.write(descriptor, content.data(), content.size()); });
        if (written < 0) return errno;
        content.remove_prefix(static_cast<std::size_t>(written));
    }
    return 0;
}

ErrorNumber writeAll(SystemCalls& system, int descriptor, const std::vector<ByteView>& pieces) {
    if (pieces.size() == 1) return writeAll(system, descriptor, pieces.front());
    // Without memory that could be wanting: the file is there already, and nobody would remove it.
    std::array<struct ::iovec, 256> next = {};
    std::size_t first = 0;
    std::size_t writtenOfFirst = 0;
    while (first != pieces.size()) {
        const std::size_t count = std::min(next.size(), pieces.size() - first);
        for (std::size_t index = 0; index < count; ++index) {
            const ByteView piece = pieces[first + index].substr(index == 0 ? writtenOfFirst : 0);
            // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): the call does not change what it writes.
            next[index] = {const_cast<char*>(piece.data()), piece.size()};
        }
        const ssize_t written =
            uninterrupted([&] { return system.writev(descriptor, next.data(), static_cast<int>(count)); });
        if (written < 0) return errno;
        writtenOfFirst += static_cast<std::size_t>(written);
        while (first != pieces.size() && writtenOfFirst >= pieces[first].size())
            writtenOfFirst -= pieces[first++].size();
    }
    return 0;
}

ErrorNumber synchronize(SystemCalls& system, int descriptor) {
    return errorNumberOf(uninterrupted([&] { return system.fsync(descriptor); }));
}

ErrorNumber synchronizeFolder(SystemCalls& system, int folder) {
    const ErrorNumber error = synchronize(system, folder);
    return error == EINVAL ? 0 : error;
}

ErrorNumber synchronizeFolder(SystemCalls& system, const Descriptor& folder) {
    return synchronizeFolder(system, folder.number());
}

ErrorNumber writeNewFile(SystemCalls& system, int folder, const std::string& name,
                         const std::vector<ByteView>& pieces, std::optional<FileMode> mode, bool& isMade) {
    Descriptor file(system, folder, name.c_str(), newFileFlags, modeUntilSet(mode));
    return fillNewFile(system, file, pieces, mode, isMade);
}

ErrorNumber writeNewFile(SystemCalls& system, int folder, const std::string& name, ByteView content,
                         std::optional<FileMode> mode, bool& isMade) {
    Descriptor file(system, folder, name.c_str(), newFileFlags, modeUntilSet(mode));
    return fillNewFile(system, file, content, mode, isMade);
}

ErrorNumber makeDirectory(SystemCalls& system, const std::string& path, mode_t mode) {
    if (system.mkdir(path.c_str(), mode) < 0) {
        if (errno != EEXIST) return errno;
        // Somebody else was faster, or a link that leads nowhere is in the way.
        return checkDirectory(system, path) == 0 ? 0 : EEXIST;
    }
    const Descriptor parent(system, folderOf(path), O_RDONLY | O_DIRECTORY);
    return parent.openError() != 0 ? parent.openError() : synchronizeFolder(system, parent);
}

ErrorNumber makeDirectories(SystemCalls& system, const std::string& path, mode_t mode) {
    if (holdsNul(path)) return EINVAL;
    if (path.empty()) return ENOENT;
    std::vector<std::string> missing;
    for (std::string folder = withoutTrailingSeparators(path);;
         folder = withoutTrailingSeparators(folderOf(folder))) {
        const ErrorNumber error = checkDirectory(system, folder);
        if (error == 0) break;
        if (error != ENOENT || folder == ".") return error;
        missing.push_back(folder);
    }
    while (!missing.empty()) {
        const mode_t modeHere = missing.size() == 1 ? mode : permissionBits;
        if (const ErrorNumber error = makeDirectory(system, missing.back(), modeHere)) return error;
        missing.pop_back();
    }
    return 0;
}

ErrorNumber moveWithoutReplacing(SystemCalls& system, int sourceFolder, const std::string& source,
                                 int destinationFolder, const std::string& destination) {
    if (holdsNul(source) || holdsNul(destination)) return EINVAL;
    const char* const from = source.c_str();
    const char* const to = destination.c_str();
    if (system.renameat2(sourceFolder, from, destinationFolder, to, RENAME_NOREPLACE) == 0) return 0;
    if (errno != EINVAL && errno != ENOSYS) return errno;
    // The file system has no such rename: the next best is to look first.
    struct ::stat status = {};
    if (system.fstatat(destinationFolder, to, &status, AT_SYMLINK_NOFOLLOW) == 0) return EEXIST;
    if (errno != ENOENT) return errno;
    return errorNumberOf(system.renameat(sourceFolder, from, destinationFolder, to));
}

ErrorNumber moveWithoutReplacing(SystemCalls& system, const std::string& source,
                                 const std::string& destination) {
    return moveWithoutReplacing(system, AT_FDCWD, source, AT_FDCWD, destination);
}

} // namespace mox
