#include "Platform/Testing/ForwardingSystemCalls.hpp"

namespace mox::test {

int ForwardingSystemCalls::open(const char* path, int flags, mode_t mode) {
    return _target.open(path, flags, mode);
}

int ForwardingSystemCalls::openat(int folder, const char* path, int flags, mode_t mode) {
    return _target.openat(folder, path, flags, mode);
}

int ForwardingSystemCalls::close(int descriptor) {
    return _target.close(descriptor);
}

ssize_t ForwardingSystemCalls::read(int descriptor, void* buffer, std::size_t size) {
    return _target.read(descriptor, buffer, size);
}

ssize_t ForwardingSystemCalls::write(int descriptor, const void* bytes, std::size_t size) {
    return _target.write(descriptor, bytes, size);
}

ssize_t ForwardingSystemCalls::copy_file_range(int source, int destination, std::size_t size) {
    return _target.copy_file_range(source, destination, size);
}

ssize_t ForwardingSystemCalls::writev(int descriptor, const struct ::iovec* pieces, int count) {
    return _target.writev(descriptor, pieces, count);
}

int ForwardingSystemCalls::fsync(int descriptor) {
    return _target.fsync(descriptor);
}

int ForwardingSystemCalls::syncfs(int descriptor) {
    return _target.syncfs(descriptor);
}

int ForwardingSystemCalls::fchmod(int descriptor, mode_t mode) {
    return _target.fchmod(descriptor, mode);
}

int ForwardingSystemCalls::fstat(int descriptor, struct ::stat* status) {
    return _target.fstat(descriptor, status);
}

int ForwardingSystemCalls::stat(const char* path, struct ::stat* status) {
    return _target.stat(path, status);
}

int ForwardingSystemCalls::lstat(const char* path, struct ::stat* status) {
    return _target.lstat(path, status);
}

int ForwardingSystemCalls::mkdir(const char* path, mode_t mode) {
    return _target.mkdir(path, mode);
}

int ForwardingSystemCalls::renameat(int sourceFolder, const char* source, int destinationFolder,
                                    const char* destination) {
    return _target.renameat(sourceFolder, source, destinationFolder, destination);
}

int ForwardingSystemCalls::renameat2(int sourceFolder, const char* source, int destinationFolder,
                                     const char* destination, unsigned flags) {
    return _target.renameat2(sourceFolder, source, destinationFolder, destination, flags);
}

ssize_t ForwardingSystemCalls::getdents64(int descriptor, void* buffer, std::size_t size) {
    return _target.getdents64(descriptor, buffer, size);
}

int ForwardingSystemCalls::fstatat(int folder, const char* path, struct ::stat* status, int flags) {
    return _target.fstatat(folder, path, status, flags);
}

int ForwardingSystemCalls::faccessat(int folder, const char* path, int mode, int flags) {
    return _target.faccessat(folder, path, mode, flags);
}

int ForwardingSystemCalls::statx(int folder, const char* path, int flags, unsigned mask,
                                 struct ::statx* status) {
    return _target.statx(folder, path, flags, mask, status);
}

ssize_t ForwardingSystemCalls::readlinkat(int folder, const char* path, char* buffer, std::size_t size) {
    return _target.readlinkat(folder, path, buffer, size);
}

int ForwardingSystemCalls::mkdirat(int folder, const char* path, mode_t mode) {
    return _target.mkdirat(folder, path, mode);
}

int ForwardingSystemCalls::symlinkat(const char* target, int folder, const char* path) {
    return _target.symlinkat(target, folder, path);
}

int ForwardingSystemCalls::unlinkat(int folder, const char* path, int flags) {
    return _target.unlinkat(folder, path, flags);
}

int ForwardingSystemCalls::getentropy(void* buffer, std::size_t size) {
    return _target.getentropy(buffer, size);
}

} // namespace mox::test
