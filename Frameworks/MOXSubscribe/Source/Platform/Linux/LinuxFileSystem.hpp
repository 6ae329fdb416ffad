#pragma once

#include "Platform/FileSystem.hpp"
#include "Platform/Linux/SystemCalls.hpp"

namespace mox {

/// The disk through Linux's system calls.
///
/// A file written atomically, or a copy, is made first as a hidden neighbour of its target, named ".mox-" and
/// 32 random hexadecimal digits; only a crash leaves one behind. Trees are walked relative to open
/// directories, of which few are open at a time, and on the heap: neither their depth nor links put in place
/// meanwhile matter. What makes a folder or a file durable is fsync(2) of it and of the folder that names it;
/// a file system that cannot synchronise a folder (EINVAL) is believed to need none of that.
class LinuxFileSystem : public FileSystem {
public:
    /// Makes every call through `system`, which must outlive the object.
    explicit LinuxFileSystem(SystemCalls& system) : _system(system) {}

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
    SystemCalls& _system;
};

} // namespace mox
