#pragma once

#include "Foundation/Bytes.hpp"
#include "Foundation/Result.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace mox {

/// What is at a path, a symbolic link followed to what it leads to.
enum class ItemKind {
    Missing,      ///< Nothing is there, or a link that leads nowhere.
    File,         ///< Something that is no directory.
    Directory,    ///< A directory.
    Inaccessible, ///< Something may be there, but the system refuses to tell (no permission, an I/O error,
                  ///< links that lead to each other).
};

/// Permission bits as in chmod(2).
using FileMode = unsigned;

/// The disk, as far as the framework uses it.
///
/// Paths are passed to the system as they are; one that holds a NUL fails like one that is not valid. Every
/// failure is an error of `NSCocoaErrorDomain` with the path under `NSFilePathErrorKey` and the errno value's
/// error under `NSUnderlyingErrorKey`. Codes: 4 nothing there, 260 nothing there on reading, 257 no
/// permission to read, 513 no permission to write, 516 something is there already, 640 no space (or quota)
/// left, 642 read-only volume, 512 any other failure of a write, 256 any other failure of a read. Calls
/// interrupted by signals and short reads and writes are continued; they are no failures. Any thread may
/// call; two calls on one path are as independent as the system makes them.
class FileSystem {
public:
    virtual ~FileSystem() = default;

    /// What is at `path`. Nothing is changed.
    virtual ItemKind itemKindAtPath(const std::string& path) = 0;

    /// The bytes of the file at `path`, links followed. A directory is an error (256). Nothing is changed.
    virtual Result<Bytes> contentsOfFile(const std::string& path) = 0;

    /// Makes `content` the content of the file at `path`, atomically and durably: at every instant, also
    /// after a crash, the path holds the old file or the new one, byte for byte. It is written beside the
    /// target under another name, synchronised, renamed over it, and the directory is synchronised.
    ///
    /// An old file's permission bits are kept. A new file gets `newFileMode`, or 0666 less the umask when it
    /// is nil. A symbolic link at `path` is replaced, not followed. On failure the old file is as it was and
    /// nothing is left beside it; when only the directory's synchronisation failed, the result is that
    /// failure although the new content is in place.
    virtual Result<void> writeFileAtomically(const std::string& path, ByteView content,
                                             std::optional<FileMode> newFileMode = std::nullopt) = 0;

    /// Makes `content` the content of the file at `path` by writing into it, links followed; a missing file
    /// is made with 0666 less the umask. Not atomic: after a failure the file may be short.
    virtual Result<void> writeFileInPlace(const std::string& path, ByteView content) = 0;

    /// Makes the directory at `path` and every missing one above it. Directories made here get `newMode` at
    /// `path` itself, 0777 above it, both less the umask. An existing directory is no failure and stays as it
    /// is; anything else in the way is error 516. After a failure the directories made so far stay.
    virtual Result<void> createDirectoryWithIntermediates(const std::string& path,
                                                          FileMode newMode = 0777) = 0;

    /// Moves what is at `source` to `destination` by a rename that never replaces anything: error 516, with
    /// the destination's path, when something is there; all other errors bear the source's path. Links are
    /// moved themselves. On failure both are as they were. Nothing is synchronised: after a power cut the
    /// item is at one of the two.
    virtual Result<void> moveItem(const std::string& source, const std::string& destination) = 0;
};

} // namespace mox
