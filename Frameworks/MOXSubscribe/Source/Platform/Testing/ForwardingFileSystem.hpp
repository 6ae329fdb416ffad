#pragma once

#include "Platform/FileSystem.hpp"

#include <cstddef>
#include <map>
#include <mutex>
#include <optional>

namespace mox::test {

/// The operations of a `FileSystem`.
enum class FileSystemOperation {
    ItemKind,
    ItemIdentity,
    ContentsOfFile,      ///< Shared or not.
    WriteFileAtomically, ///< In pieces or not.
    WriteFileInPlace,
    CreateDirectory,
    MoveItem,
    ContentsOfDirectory, ///< Listing or visiting one; what is looked at from it does not count.
    RemoveItem,
    RemoveAlmostEmptyDirectory,
    CopyItem,
    StageForMove,
    CreateTemporaryDirectory,
};

/// Whether a fault passes or stays.
enum class FaultDuration { Once, FromThenOn };

/// A file system that hands every call on to another one, counts the calls, and fails those that a test
/// names. A call that fails does not reach the other one. Any thread may use it.
class ForwardingFileSystem : public FileSystem {
public:
    /// `target` must outlive the object.
    explicit ForwardingFileSystem(FileSystem& target) : _target(target) {}

    /// Lets the `number`-th call from now (1 is the next one) of `operation`, or of any operation when it is
    /// nil, fail with the errno value `errorNumber`; when it lasts, all later ones too. A question for an
    /// item's kind is then answered with `Inaccessible`. Replaces the fault set before.
    void failCall(std::optional<FileSystemOperation> operation, std::size_t number, int errorNumber,
                  FaultDuration duration);

    /// Sets no fault any more.
    void stopFailing();

    /// How many calls have failed because of faults set here, since the beginning or the last `resetCounts`.
    std::size_t faultsFired() const;

    /// How many calls of `operation` there were, failed ones included, since the beginning or the last
    /// `resetCounts`.
    std::size_t count(FileSystemOperation operation) const;

    /// Sets all counts to 0; a fault that is set stays so.
    void resetCounts();

    ItemKind itemKindAtPath(const std::string& path) override;
    Result<ItemIdentity> identityOfItem(const std::string& path) override;
    Result<Bytes> contentsOfFile(const std::string& path) override;
    Result<SharedBytes> sharedContentsOfFile(const std::string& path) override;
    Result<void> writeFileAtomically(const std::string& path, ByteView content,
                                     std::optional<FileMode> newFileMode) override;
    Result<void> writePiecesAtomically(const std::string& path, const std::vector<ByteView>& pieces,
                                       std::optional<FileMode> newFileMode) override;
    Result<void> writeFileInPlace(const std::string& path, ByteView content) override;
    Result<void> createDirectoryWithIntermediates(const std::string& path, FileMode newMode) override;
    Result<void> moveItem(const std::string& source, const std::string& destination) override;
    Result<void> visitDirectory(const std::string& path, const DirectoryVisitor& visit) override;
    Result<void> removeItem(const std::string& path) override;
    Result<void> removeAlmostEmptyDirectory(const std::string& path) override;
    Result<std::string> copyItem(const std::string& source, const std::string& folder,
                                 const std::string& name) override;
    Result<std::string> stageForMove(const std::string& source, const std::string& destination) override;
    Result<std::string> createTemporaryDirectory(const std::string& pathTemplate) override;

private:
    struct Fault {
        std::optional<FileSystemOperation> operation;
        std::size_t callsUntil;
        int errorNumber;
        FaultDuration duration;
    };

    std::optional<int> faultFor(FileSystemOperation operation);

    FileSystem& _target;
    mutable std::mutex _mutex;
    std::map<FileSystemOperation, std::size_t> _counts;
    std::optional<Fault> _fault;
    std::size_t _faultsFired = 0;
};

} // namespace mox::test
