#pragma once

#include "Foundation/Bytes.hpp"
#include "Platform/Testing/ForwardingSystemCalls.hpp"

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace mox::test {

/// System calls that keep book of what in a folder has been synchronised, and can tell and make the states in
/// which a power cut may leave it.
///
/// The disk that is assumed here promises no more than the system calls do: a file's content is safe after
/// fsync of the file; a name that was made, moved or removed is so after fsync of the folder, or both
/// folders, that it is in, and everything after syncfs; of what is not safe any part may survive, in any
/// order, but each rename as a whole. Modes are not looked at. Calls that fail count for nothing, so that put
/// over `FaultySystemCalls` that die, the states are those of a cut at that call. Any thread may use it; two
/// threads that change one item do so at their own risk.
class PowerLossSystemCalls : public ForwardingSystemCalls {
public:
    /// What is in a folder, by its path in there: a file's content, nil for a folder. A link is its target,
    /// with "@" behind its path, which no file's name may end in therefore.
    using State = std::map<std::string, std::optional<Bytes>>;

    /// Keeps book of what is in `folder` (an absolute path, spelt as in the calls to come), and takes all
    /// that is there now as safe. Links in it must not be on the way to what is used. `target` must outlive
    /// the object.
    PowerLossSystemCalls(SystemCalls& target, std::string folder);

    /// All the states that a power cut now may leave, each once. More than 12 changes of names that are not
    /// safe yet would be too many to combine: only those states are told then in which the changes up to one
    /// of them, or all but one of them, survive.
    std::set<State> statesAfterPowerLoss() const;

    /// Makes `state` what is in the folder, as after the restart, and safe. No file may be open.
    void restart(const State& state);

    int open(const char* path, int flags, mode_t mode) override;
    int openat(int folder, const char* path, int flags, mode_t mode) override;
    int close(int descriptor) override;
    ssize_t write(int descriptor, const void* bytes, std::size_t size) override;
    ssize_t copy_file_range(int source, int destination, std::size_t size) override;
    ssize_t writev(int descriptor, const struct ::iovec* pieces, int count) override;
    int fsync(int descriptor) override;
    int syncfs(int descriptor) override;
    int mkdir(const char* path, mode_t mode) override;
    int renameat(int sourceFolder, const char* source, int destinationFolder,
                 const char* destination) override;
    int renameat2(int sourceFolder, const char* source, int destinationFolder, const char* destination,
                  unsigned flags) override;
    int mkdirat(int folder, const char* path, mode_t mode) override;
    int symlinkat(const char* target, int folder, const char* path) override;
    int unlinkat(int folder, const char* path, int flags) override;

private:
    struct File {
        Bytes safe;
        Bytes current;
        /// A link's target comes and goes with its name.
        bool isLink = false;
    };

    /// The file or link at a path; null stands for a folder.
    using Tree = std::map<std::string, std::shared_ptr<File>>;

    /// A change of names: `destination` gets `item` when there is one, `source` goes when there is one.
    struct Change {
        std::optional<std::string> source;
        std::optional<std::string> destination;
        std::shared_ptr<File> item;
        /// The folders that have not been synchronised since.
        std::set<std::string> folders;
    };

    struct OpenItem {
        std::string path;
        std::shared_ptr<File> file;
        std::size_t offset = 0;
    };

    enum class Survival { Safe, Half, Current };

    static Tree treeOf(const std::string& folder);
    static void apply(const Change& change, Tree& tree);
    static State stateOf(const Tree& tree, Survival survival);
    bool isInside(const std::string& path) const;
    std::string pathOf(int folder, const char* path) const;
    void noteOpening(int descriptor, const std::string& path, int flags);
    void noteWriting(int descriptor, ByteView content);
    void noteNewFolder(const std::string& path);
    void noteRemoval(const std::string& path);
    void note(Change change);
    void noteMove(const std::string& source, const std::string& destination);

    const std::string _folder;
    mutable std::mutex _mutex;
    Tree _safe;
    Tree _current;
    std::vector<Change> _changes;
    std::map<int, OpenItem> _openItems;
};

} // namespace mox::test
