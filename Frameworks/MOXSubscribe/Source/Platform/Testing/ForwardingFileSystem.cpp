#include "Platform/Testing/ForwardingFileSystem.hpp"

#include "Platform/FileSystemErrors.hpp"

namespace mox::test {

void ForwardingFileSystem::failCall(std::optional<FileSystemOperation> operation, std::size_t number,
                                    int errorNumber, FaultDuration duration) {
    const std::lock_guard lock(_mutex);
    _fault = Fault{operation, number, errorNumber, duration};
}

void ForwardingFileSystem::stopFailing() {
    const std::lock_guard lock(_mutex);
    _fault.reset();
}

std::size_t ForwardingFileSystem::faultsFired() const {
    const std::lock_guard lock(_mutex);
    return _faultsFired;
}

std::size_t ForwardingFileSystem::count(FileSystemOperation operation) const {
    const std::lock_guard lock(_mutex);
    const auto entry = _counts.find(operation);
    return entry == _counts.end() ? 0 : entry->second;
}

void ForwardingFileSystem::resetCounts() {
    const std::lock_guard lock(_mutex);
    _counts.clear();
    _faultsFired = 0;
}

/// Counts a call of `operation`; the errno value that it fails with, nil when it does not.
std::optional<int> ForwardingFileSystem::faultFor(FileSystemOperation operation) {
    const std::lock_guard lock(_mutex);
    ++_counts[operation];
    if (!_fault || _fault->operation.value_or(operation) != operation) return std::nullopt;
    if (_fault->callsUntil > 1) {
        --_fault->callsUntil;
        return std::nullopt;
    }
    ++_faultsFired;
    const int errorNumber = _fault->errorNumber;
    if (_fault->duration == FaultDuration::Once) _fault.reset();
    return errorNumber;
}

ItemKind ForwardingFileSystem::itemKindAtPath(const std::string& path) {
    if (faultFor(FileSystemOperation::ItemKind)) return ItemKind::Inaccessible;
    return _target.itemKindAtPath(path);
}

Result<ItemIdentity> ForwardingFileSystem::identityOfItem(const std::string& path) {
    if (const auto error = faultFor(FileSystemOperation::ItemIdentity)) return readError(path, *error);
    return _target.identityOfItem(path);
}

Result<Bytes> ForwardingFileSystem::contentsOfFile(const std::string& path) {
    if (const auto error = faultFor(FileSystemOperation::ContentsOfFile)) return readError(path, *error);
    return _target.contentsOfFile(path);
}

Result<SharedBytes> ForwardingFileSystem::sharedContentsOfFile(const std::string& path) {
    if (const auto error = faultFor(FileSystemOperation::ContentsOfFile)) return readError(path, *error);
    return _target.sharedContentsOfFile(path);
}

Result<void> ForwardingFileSystem::writeFileAtomically(const std::string& path, ByteView content,
                                                       std::optional<FileMode> newFileMode) {
    if (const auto error = faultFor(FileSystemOperation::WriteFileAtomically))
        return writeError(path, *error);
    return _target.writeFileAtomically(path, content, newFileMode);
}

Result<void> ForwardingFileSystem::writePiecesAtomically(const std::string& path,
                                                         const std::vector<ByteView>& pieces,
                                                         std::optional<FileMode> newFileMode) {
    if (const auto error = faultFor(FileSystemOperation::WriteFileAtomically))
        return writeError(path, *error);
    return _target.writePiecesAtomically(path, pieces, newFileMode);
}

Result<void> ForwardingFileSystem::writeFileInPlace(const std::string& path, ByteView content) {
    if (const auto error = faultFor(FileSystemOperation::WriteFileInPlace)) return writeError(path, *error);
    return _target.writeFileInPlace(path, content);
}

Result<void> ForwardingFileSystem::createDirectoryWithIntermediates(const std::string& path,
                                                                    FileMode newMode) {
    if (const auto error = faultFor(FileSystemOperation::CreateDirectory)) return writeError(path, *error);
    return _target.createDirectoryWithIntermediates(path, newMode);
}

Result<void> ForwardingFileSystem::moveItem(const std::string& source, const std::string& destination) {
    if (const auto error = faultFor(FileSystemOperation::MoveItem)) return writeError(source, *error);
    return _target.moveItem(source, destination);
}

Result<void> ForwardingFileSystem::visitDirectory(const std::string& path, const DirectoryVisitor& visit) {
    if (const auto error = faultFor(FileSystemOperation::ContentsOfDirectory)) return readError(path, *error);
    return _target.visitDirectory(path, visit);
}

Result<void> ForwardingFileSystem::removeItem(const std::string& path) {
    if (const auto error = faultFor(FileSystemOperation::RemoveItem)) return writeError(path, *error);
    return _target.removeItem(path);
}

Result<void> ForwardingFileSystem::removeAlmostEmptyDirectory(const std::string& path) {
    if (const auto error = faultFor(FileSystemOperation::RemoveAlmostEmptyDirectory))
        return writeError(path, *error);
    return _target.removeAlmostEmptyDirectory(path);
}

Result<std::string> ForwardingFileSystem::copyItem(const std::string& source, const std::string& folder,
                                                   const std::string& name) {
    if (const auto error = faultFor(FileSystemOperation::CopyItem)) return writeError(source, *error);
    return _target.copyItem(source, folder, name);
}

Result<std::string> ForwardingFileSystem::stageForMove(const std::string& source,
                                                       const std::string& destination) {
    if (const auto error = faultFor(FileSystemOperation::StageForMove)) return writeError(source, *error);
    return _target.stageForMove(source, destination);
}

Result<std::string> ForwardingFileSystem::createTemporaryDirectory(const std::string& pathTemplate) {
    if (const auto error = faultFor(FileSystemOperation::CreateTemporaryDirectory))
        return writeError(pathTemplate, *error);
    return _target.createTemporaryDirectory(pathTemplate);
}

} // namespace mox::test
