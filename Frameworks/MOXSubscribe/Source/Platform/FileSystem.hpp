#pragma once

#include "Foundation/Bytes.hpp"
#include "Foundation/Result.hpp"
#include "Foundation/SharedBytes.hpp"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mox {

/// What is at a path, a symbolic link followed to what it leads to.
enum class ItemKind {
    Missing,      ///< Nothing is there, or a link that leads nowhere.
    File,         ///< Something that is no directory.
    Directory,    ///< A directory.
    Inaccessible, ///< Something may be there, but the system refuses to tell (no permission, an I/O error,
                  ///< links that lead to each other).
};

/// What an entry of a directory is, a symbolic link not followed.
enum class EntryKind {
    Directory,
    SymbolicLink,
    Other,   ///< Neither of the two, a regular file for instance.
    Unknown, ///< The directory itself does not tell.
};

/// One entry of a directory.
struct DirectoryEntry {
    std::string name;
    EntryKind kind;
};

/// Tells items apart: two paths that lead to one item at the same time have one identity, all others differ.
struct ItemIdentity {
    std::uint64_t volume;
    std::uint64_t item;

    friend bool operator==(const ItemIdentity&, const ItemIdentity&) = default;
};

/// A directory that is being visited, held open meanwhile.
class VisitedDirectory {
public:
    /// Whether something is at `relativePath` in the directory, links followed; when it ends in "/", whether
    /// a directory is. False as well when the system refuses to tell. It is looked for from the open
    /// directory on, which costs less than to ask for its path, but what no path reaches is not found.
    virtual bool holdsItem(const std::string& relativePath) = 0;

protected:
    ~VisitedDirectory() = default;
};

/// Is shown one entry of a directory. Neither `name` nor `directory` may be kept.
using DirectoryVisitor =
    std::function<void(std::string_view name, EntryKind kind, VisitedDirectory& directory)>;

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

    /// Which item is at `path`, links followed. Nothing is changed.
    virtual Result<ItemIdentity> identityOfItem(const std::string& path) = 0;

    /// The bytes of the file at `path`, links followed. A directory is an error (256), and so is a file of
    /// more than 4 GiB (1 GiB where addresses have 32 bits), which is none of ours. Nothing is changed.
    virtual Result<Bytes> contentsOfFile(const std::string& path) = 0;

    /// The same bytes in memory of their own, which others can share.
    virtual Result<SharedBytes> sharedContentsOfFile(const std::string& path) = 0;

    /// Makes `content` the content of the file at `path`, atomically and durably: at every instant, also
    /// after a crash, the path holds the old file or the new one, byte for byte. It is written beside the
    /// target under another name, synchronised, renamed over it, and the directory is synchronised.
    ///
    /// An old file's permission bits are kept. A new file gets `newFileMode`, or 0666 less the umask when it
    /// is nil. A symbolic link at `path` is replaced, not followed. On failure the old file is as it was and
    /// nothing is left beside it. Content that is too long for `contentsOfFile` is not written (512). When
    /// only the directory's synchronisation failed, the result is that failure although the new content is in
    /// place.
    virtual Result<void> writeFileAtomically(const std::string& path, ByteView content,
                                             std::optional<FileMode> newFileMode = std::nullopt) = 0;

    /// The same for content in pieces, which are written one behind the other.
    virtual Result<void> writePiecesAtomically(const std::string& path, const std::vector<ByteView>& pieces,
                                               std::optional<FileMode> newFileMode = std::nullopt) = 0;

    /// Makes `content` the content of the file at `path` by writing into it, links followed; a missing file
    /// is made with 0666 less the umask. Not atomic: after a failure the file may be short.
    virtual Result<void> writeFileInPlace(const std::string& path, ByteView content) = 0;

    /// Makes the directory at `path` and every missing one above it. Directories made here get `newMode` at
    /// `path` itself, 0777 above it, both less the umask. An existing directory is no failure and stays as it
    /// is; anything else in the way is error 516. After a failure the directories made so far stay.
    virtual Result<void> createDirectoryWithIntermediates(const std::string& path,
                                                          FileMode newMode = 0777) = 0;

    /// Moves what is at `source` to `destination` without ever replacing anything: error 516, with the
    /// destination's path, when something is there; all other errors bear the source's path. Links are moved
    /// themselves. Within a file system this is one rename: on failure both are as they were, nothing is
    /// synchronised, and after a power cut the item is at one of the two. Across file systems the item is
    /// copied as `copyItem` does, then the source is removed; when only that removal fails, the result is its
    /// error, the copy is whole and stays, and what could not be removed of the source stays. At every
    /// instant, also after a power cut, the item is whole at one of the two paths at least.
    virtual Result<void> moveItem(const std::string& source, const std::string& destination) = 0;

    /// Shows `visit` the entries of the directory at `path` (links followed) without "." and "..", in the
    /// order in which the system lists them. After a failure it may have been shown some of them. Nothing is
    /// changed.
    virtual Result<void> visitDirectory(const std::string& path, const DirectoryVisitor& visit) = 0;

    /// All that `visitDirectory` shows.
    Result<std::vector<DirectoryEntry>> contentsOfDirectory(const std::string& path);

    /// Removes what is at `path`, a directory with all in it. A link is removed itself, never what it leads
    /// to, also when links are put in place meanwhile. Never crosses into another file system: a mount point
    /// at or below `path` is a failure (EXDEV below 512), and nothing in it is touched. A path that ends in
    /// "." or ".." is refused (EINVAL below 512). What somebody else removes meanwhile is no failure. The
    /// removal ends at the first failure: what it has removed before is gone. It is not synchronised.
    virtual Result<void> removeItem(const std::string& path) = 0;

    /// Removes the directory at `path`, or the link at `path` that leads to one, if it is almost empty,
    /// bottom-up: directories in it that are almost empty, symbolic links that lead to a directory (the links
    /// themselves), and whatever is named exactly ".DS_Store", with all in it. Anything else stays,
    /// directories with a package's name included, and is the failure (ENOTEMPTY below 512); what was removed
    /// before it is gone. What is no directory at `path` itself is refused with ENOTDIR. Mount points, dots
    /// and what somebody else removes meanwhile are as for `removeItem`.
    virtual Result<void> removeAlmostEmptyDirectory(const std::string& path) = 0;

    /// Copies what is at `source`, a directory with all in it, into `folder` under the new name `name`, and
    /// gives the copy's path, `folder` joined with `name`. `name` must be one component (not empty, ".",
    /// ".."; no "/" or NUL), else error 512 over EINVAL. Error 516 when something is there; nothing is ever
    /// replaced. The copy is made under a hidden name in `folder`, on the disk before it is renamed: the
    /// copy's path holds nothing or the whole copy at every instant, also after a crash. Permission bits are
    /// kept but for set-user-ID, set-group-ID and sticky; links are copied as links. What is neither file,
    /// directory nor link is a failure, and so is a copy into its own source (EINVAL below 512). Times and
    /// owners are the copy's own. Errors bear the copy's path when something is there, else the source's.
    /// After a failure nothing is left in `folder`, except where the system refuses its removal too: then the
    /// hidden copy, or, when only its new name could not be synchronised, the whole copy at its path.
    virtual Result<std::string> copyItem(const std::string& source, const std::string& folder,
                                         const std::string& name) = 0;

    /// Makes sure that moving the item at `source` to `destination` can be one rename. When they are in one
    /// file system that is so already, and the result is `source`. Otherwise the item is copied, as
    /// `copyItem` does, under a hidden name into the folder of `destination`, and the result is the copy's
    /// path; the source stays. Two mounts of one file system count as two. Errors bear the source's path. The
    /// caller removes a copy that it does not move.
    virtual Result<std::string> stageForMove(const std::string& source, const std::string& destination) = 0;

    /// Makes a new, empty directory that only its owner can enter, at `pathTemplate` with the six "X" at its
    /// end replaced so that the path is new, and gives its path. No missing folder is made.
    virtual Result<std::string> createTemporaryDirectory(const std::string& pathTemplate) = 0;
};

} // namespace mox
