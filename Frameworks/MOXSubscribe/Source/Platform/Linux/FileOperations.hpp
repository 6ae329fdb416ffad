#pragma once

#include "Foundation/Bytes.hpp"
#include "Platform/FileSystem.hpp"
#include "Platform/Linux/SystemCalls.hpp"

#include <cerrno>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mox {

// What the services that work on the disk have in common. Any thread may call.

/// An errno value; 0 is success.
using ErrorNumber = int;

/// What of a mode is kept: neither set-user-ID, set-group-ID nor sticky.
constexpr mode_t permissionBits = 0777;

/// Makes a call again for as long as a signal interrupts it.
template<typename Call>
auto uninterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

/// Why the call with `result` failed; 0 when it did not.
inline ErrorNumber errorNumberOf(ssize_t result) {
    return result < 0 ? errno : 0;
}

/// A file descriptor that is closed at the end. It belongs to one thread at a time.
class Descriptor {
public:
    /// Opens `path`; no program that is started inherits it.
    Descriptor(SystemCalls& system, const std::string& path, int flags, mode_t mode = 0);

    /// The same from the open directory `folder` on, as openat(2) does.
    Descriptor(SystemCalls& system, int folder, const char* path, int flags, mode_t mode = 0);

    Descriptor(Descriptor&& other) noexcept;
    Descriptor& operator=(Descriptor&& other) noexcept;
    ~Descriptor() { close(); }

    /// The number for system calls; negative when it is not open.
    int number() const { return _number; }

    /// Why it could not be opened.
    ErrorNumber openError() const { return _openError; }

    /// Closes it now, to learn of an error that a file system reports as late as that.
    ErrorNumber close();

private:
    SystemCalls* _system;
    int _number;
    ErrorNumber _openError;
};

/// Whether `path` cannot be given to the system, which it would take as ending at the first NUL.
bool holdsNul(std::string_view path);

/// Whether `name` can be that of an item in a folder: not empty, ".", or "..", without "/" and NUL.
bool isNameOfItem(std::string_view name);

/// `path` without the "/" at its end, but for "/" alone.
std::string withoutTrailingSeparators(std::string path);

/// The folder that holds what `path` names, for the system: never empty, and "." and ".." are left to it.
std::string folderOf(const std::string& path);

/// What `path`, which must not end in "/", names in that folder.
std::string nameInFolder(const std::string& path);

/// Makes a name for a temporary item: hidden, without an extension, of a length of its own (so that a
/// target's name may be as long as names can be), and not to be guessed by somebody who wants to be there
/// first.
ErrorNumber makeHiddenName(SystemCalls& system, std::string& name);

/// The path at which the item of `descriptor` is now, links resolved. ENOENT when it is nowhere any more.
ErrorNumber readPathOf(SystemCalls& system, int descriptor, std::string& path);

/// What an item that is no regular file is refused with: reading a pipe or a device could block for ever.
ErrorNumber refusalOfKind(mode_t mode);

/// Writes all of `content` to the open file.
ErrorNumber writeAll(SystemCalls& system, int descriptor, ByteView content);

/// Writes all of the pieces to the open file, one behind the other.
ErrorNumber writeAll(SystemCalls& system, int descriptor, const std::vector<ByteView>& pieces);

/// Makes the content of the open file safe.
ErrorNumber synchronize(SystemCalls& system, int descriptor);

/// Makes the names in the open folder safe. A file system that cannot synchronise a folder (EINVAL) is
/// believed to need none of that.
ErrorNumber synchronizeFolder(SystemCalls& system, int folder);
ErrorNumber synchronizeFolder(SystemCalls& system, const Descriptor& folder);

/// Makes the file `name`, which must not exist yet, in the open `folder` with `content`, or the pieces of it,
/// on the disk before it returns; its name in the folder is not synchronised. Without `mode` the umask
/// decides. What was made is left to the caller in case of failure too, and `isMade` tells of it.
ErrorNumber writeNewFile(SystemCalls& system, int folder, const std::string& name,
                         const std::vector<ByteView>& pieces, std::optional<FileMode> mode, bool& isMade);
ErrorNumber writeNewFile(SystemCalls& system, int folder, const std::string& name, ByteView content,
                         std::optional<FileMode> mode, bool& isMade);

/// Makes one directory and sees to it that it is still named in its parent after a crash. One that is there
/// is no failure; anything else in the way is EEXIST.
ErrorNumber makeDirectory(SystemCalls& system, const std::string& path, mode_t mode);

/// The same with every missing directory above it, for which the umask decides.
ErrorNumber makeDirectories(SystemCalls& system, const std::string& path, mode_t mode);

/// One rename within a file system that never replaces anything: EEXIST when something is at `destination`.
/// The paths are relative to the open folders.
ErrorNumber moveWithoutReplacing(SystemCalls& system, int sourceFolder, const std::string& source,
                                 int destinationFolder, const std::string& destination);
ErrorNumber moveWithoutReplacing(SystemCalls& system, const std::string& source,
                                 const std::string& destination);

} // namespace mox
