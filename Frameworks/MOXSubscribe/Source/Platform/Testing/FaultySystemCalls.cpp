#include "Platform/Testing/FaultySystemCalls.hpp"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <limits>
#include <utility>

namespace mox::test {
namespace {

bool mayBeInterrupted(SystemCall call) {
    switch (call) {
    case SystemCall::Open:
    case SystemCall::Openat:
    case SystemCall::Read:
    case SystemCall::Write:
    case SystemCall::CopyFileRange:
    case SystemCall::Writev:
    case SystemCall::Fsync:
    case SystemCall::Getdents64:
        return true;
    default:
        return false;
    }
}

bool opensToChange(int flags) {
    return (flags & O_ACCMODE) != O_RDONLY;
}

} // namespace

void FaultySystemCalls::failCall(std::optional<SystemCall> call, std::size_t number, int errorNumber,
                                 FaultDuration duration) {
    const std::lock_guard lock(_mutex);
    _fault = Fault{call, std::nullopt, number, errorNumber, duration};
}

void FaultySystemCalls::dieAtChange(std::size_t number) {
    const std::lock_guard lock(_mutex);
    _fault = Fault{std::nullopt, Effect::Changes, number, EIO, FaultDuration::FromThenOn};
}

void FaultySystemCalls::stopFailing() {
    const std::lock_guard lock(_mutex);
    _fault.reset();
}

void FaultySystemCalls::interruptFirstTries() {
    const std::lock_guard lock(_mutex);
    _interruptsFirstTries = true;
}

void FaultySystemCalls::limitTransfers(std::size_t size) {
    const std::lock_guard lock(_mutex);
    _transferLimit = size;
}

void FaultySystemCalls::actBefore(std::size_t number, std::function<void()> action) {
    const std::lock_guard lock(_mutex);
    _callsUntilAction = number;
    _action = std::move(action);
}

std::size_t FaultySystemCalls::faultsFired() const {
    const std::lock_guard lock(_mutex);
    return _faultsFired;
}

std::vector<SystemCall> FaultySystemCalls::calls() const {
    const std::lock_guard lock(_mutex);
    return _calls;
}

void FaultySystemCalls::resetCalls() {
    const std::lock_guard lock(_mutex);
    _calls.clear();
    _faultsFired = 0;
}

void FaultySystemCalls::actIfDue() {
    std::function<void()> action;
    {
        const std::lock_guard lock(_mutex);
        if (_callsUntilAction == 0 || --_callsUntilAction > 0) return;
        action = std::exchange(_action, nullptr);
    }
    if (action) action();
}

/// Records the call; whether it is to fail, `errno` being set then.
bool FaultySystemCalls::refuses(SystemCall call, Effect effect) {
    actIfDue();
    const std::lock_guard lock(_mutex);
    _calls.push_back(call);
    if (_interruptsFirstTries && mayBeInterrupted(call)) {
        _hasJustInterrupted = !_hasJustInterrupted;
        if (_hasJustInterrupted) {
            errno = EINTR;
            return true;
        }
    }
    if (!_fault || _fault->call.value_or(call) != call || _fault->effect.value_or(effect) != effect)
        return false;
    if (_fault->callsUntil > 1) {
        --_fault->callsUntil;
        return false;
    }
    ++_faultsFired;
    errno = _fault->errorNumber;
    if (_fault->duration == FaultDuration::Once) _fault.reset();
    return true;
}

std::size_t FaultySystemCalls::limited(std::size_t size) const {
    const std::lock_guard lock(_mutex);
    return std::min(size, _transferLimit.value_or(size));
}

int FaultySystemCalls::open(const char* path, int flags, mode_t mode) {
    if (refuses(SystemCall::Open, opensToChange(flags) ? Effect::Changes : Effect::Looks)) return -1;
    return ForwardingSystemCalls::open(path, flags, mode);
}

int FaultySystemCalls::openat(int folder, const char* path, int flags, mode_t mode) {
    if (refuses(SystemCall::Openat, opensToChange(flags) ? Effect::Changes : Effect::Looks)) return -1;
    return ForwardingSystemCalls::openat(folder, path, flags, mode);
}

int FaultySystemCalls::close(int descriptor) {
    const bool isRefused = refuses(SystemCall::Close, Effect::Looks);
    const int errorNumber = errno;
    const int result = ForwardingSystemCalls::close(descriptor);
    if (!isRefused) return result;
    errno = errorNumber;
    return -1;
}

ssize_t FaultySystemCalls::read(int descriptor, void* buffer, std::size_t size) {
    if (refuses(SystemCall::Read, Effect::Looks)) return -1;
    return ForwardingSystemCalls::read(descriptor, buffer, limited(size));
}

ssize_t FaultySystemCalls::write(int descriptor, const void* bytes, std::size_t size) {
    if (refuses(SystemCall::Write, Effect::Changes)) return -1;
    return ForwardingSystemCalls::write(descriptor, bytes, limited(size));
}

ssize_t FaultySystemCalls::copy_file_range(int source, int destination, std::size_t size) {
    if (refuses(SystemCall::CopyFileRange, Effect::Changes)) return -1;
    return ForwardingSystemCalls::copy_file_range(source, destination, limited(size));
}

ssize_t FaultySystemCalls::writev(int descriptor, const struct ::iovec* pieces, int count) {
    if (refuses(SystemCall::Writev, Effect::Changes)) return -1;
    std::vector<struct ::iovec> transferred(pieces, pieces + count);
    std::size_t left = limited(std::numeric_limits<std::size_t>::max());
    for (struct ::iovec& piece : transferred) {
        piece.iov_len = std::min(piece.iov_len, left);
        left -= piece.iov_len;
    }
    return ForwardingSystemCalls::writev(descriptor, transferred.data(), count);
}

int FaultySystemCalls::fsync(int descriptor) {
    return refuses(SystemCall::Fsync, Effect::Changes) ? -1 : ForwardingSystemCalls::fsync(descriptor);
}

int FaultySystemCalls::syncfs(int descriptor) {
    return refuses(SystemCall::Syncfs, Effect::Changes) ? -1 : ForwardingSystemCalls::syncfs(descriptor);
}

int FaultySystemCalls::fchmod(int descriptor, mode_t mode) {
    return refuses(SystemCall::Fchmod, Effect::Changes) ? -1
                                                        : ForwardingSystemCalls::fchmod(descriptor, mode);
}

int FaultySystemCalls::fstat(int descriptor, struct ::stat* status) {
    return refuses(SystemCall::Fstat, Effect::Looks) ? -1 : ForwardingSystemCalls::fstat(descriptor, status);
}

int FaultySystemCalls::stat(const char* path, struct ::stat* status) {
    return refuses(SystemCall::Stat, Effect::Looks) ? -1 : ForwardingSystemCalls::stat(path, status);
}

int FaultySystemCalls::lstat(const char* path, struct ::stat* status) {
    return refuses(SystemCall::Lstat, Effect::Looks) ? -1 : ForwardingSystemCalls::lstat(path, status);
}

int FaultySystemCalls::mkdir(const char* path, mode_t mode) {
    return refuses(SystemCall::Mkdir, Effect::Changes) ? -1 : ForwardingSystemCalls::mkdir(path, mode);
}

int FaultySystemCalls::renameat(int sourceFolder, const char* source, int destinationFolder,
                                const char* destination) {
    if (refuses(SystemCall::Renameat, Effect::Changes)) return -1;
    return ForwardingSystemCalls::renameat(sourceFolder, source, destinationFolder, destination);
}

int FaultySystemCalls::renameat2(int sourceFolder, const char* source, int destinationFolder,
                                 const char* destination, unsigned flags) {
    if (refuses(SystemCall::Renameat2, Effect::Changes)) return -1;
    return ForwardingSystemCalls::renameat2(sourceFolder, source, destinationFolder, destination, flags);
}

ssize_t FaultySystemCalls::getdents64(int descriptor, void* buffer, std::size_t size) {
    if (refuses(SystemCall::Getdents64, Effect::Looks)) return -1;
    return ForwardingSystemCalls::getdents64(descriptor, buffer, size);
}

int FaultySystemCalls::fstatat(int folder, const char* path, struct ::stat* status, int flags) {
    if (refuses(SystemCall::Fstatat, Effect::Looks)) return -1;
    return ForwardingSystemCalls::fstatat(folder, path, status, flags);
}

int FaultySystemCalls::faccessat(int folder, const char* path, int mode, int flags) {
    if (refuses(SystemCall::Faccessat, Effect::Looks)) return -1;
    return ForwardingSystemCalls::faccessat(folder, path, mode, flags);
}

int FaultySystemCalls::statx(int folder, const char* path, int flags, unsigned mask, struct ::statx* status) {
    if (refuses(SystemCall::Statx, Effect::Looks)) return -1;
    return ForwardingSystemCalls::statx(folder, path, flags, mask, status);
}

ssize_t FaultySystemCalls::readlinkat(int folder, const char* path, char* buffer, std::size_t size) {
    if (refuses(SystemCall::Readlinkat, Effect::Looks)) return -1;
    return ForwardingSystemCalls::readlinkat(folder, path, buffer, size);
}

int FaultySystemCalls::mkdirat(int folder, const char* path, mode_t mode) {
    if (refuses(SystemCall::Mkdirat, Effect::Changes)) return -1;
    return ForwardingSystemCalls::mkdirat(folder, path, mode);
}

int FaultySystemCalls::symlinkat(const char* target, int folder, const char* path) {
    if (refuses(SystemCall::Symlinkat, Effect::Changes)) return -1;
    return ForwardingSystemCalls::symlinkat(target, folder, path);
}

int FaultySystemCalls::unlinkat(int folder, const char* path, int flags) {
    if (refuses(SystemCall::Unlinkat, Effect::Changes)) return -1;
    return ForwardingSystemCalls::unlinkat(folder, path, flags);
}

int FaultySystemCalls::getentropy(void* buffer, std::size_t size) {
    return refuses(SystemCall::Getentropy, Effect::Looks) ? -1
                                                          : ForwardingSystemCalls::getentropy(buffer, size);
}

} // namespace mox::test
