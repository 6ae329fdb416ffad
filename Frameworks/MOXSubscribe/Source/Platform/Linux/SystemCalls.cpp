#include "Platform/Linux/SystemCalls.hpp"

#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

namespace mox {

SystemCalls::~SystemCalls() = default;

int SystemCalls::open(const char* path, int flags, mode_t mode) {
    return ::open(path, flags, mode);
}

int SystemCalls::openat(int folder, const char* path, int flags, mode_t mode) {
    return ::openat(folder, path, flags, mode);
}

int SystemCalls::close(int descriptor) {
    return ::close(descriptor);
}

ssize_t SystemCalls::read(int descriptor, void* buffer, std::size_t size) {
    return ::read(descriptor, buffer, size);
}

ssize_t SystemCalls::write(int descriptor, const void* bytes, std::size_t size) {
    return ::write(descriptor, bytes, size);
}

ssize_t SystemCalls::copy_file_range(int source, int destination, std::size_t size) {
    return ::copy_file_range(source, nullptr, destination, nullptr, size, 0);
}

ssize_t SystemCalls::writev(int descriptor, const struct ::iovec* pieces, int count) {
    return ::writev(descriptor, pieces, count);
}

int SystemCalls::fsync(int descriptor) {
    return ::fsync(descriptor);
}

int SystemCalls::syncfs(int descriptor) {
    return ::syncfs(descriptor);
}

int SystemCalls::fchmod(int descriptor, mode_t mode) {
    return ::fchmod(descriptor, mode);
}

int SystemCalls::fstat(int descriptor, struct ::stat* status) {
    return ::fstat(descriptor, status);
}

int SystemCalls::stat(const char* path, struct ::stat* status) {
    return ::stat(path, status);
}

int SystemCalls::lstat(const char* path, struct ::stat* status) {
    return ::lstat(path, status);
}

int SystemCalls::mkdir(const char* path, mode_t mode) {
    return ::mkdir(path, mode);
}

int SystemCalls::renameat(int sourceFolder, const char* source, int destinationFolder,
                          const char* destination) {
    return ::renameat(sourceFolder, source, destinationFolder, destination);
}

int SystemCalls::renameat2(int sourceFolder, const char* source, int destinationFolder,
                           const char* destination, unsigned flags) {
    return ::renameat2(sourceFolder, source, destinationFolder, destination, flags);
}

ssize_t SystemCalls::getdents64(int descriptor, void* buffer, std::size_t size) {
    return ::getdents64(descriptor, buffer, size);
}

int SystemCalls::fstatat(int folder, const char* path, struct ::stat* status, int flags) {
    return ::fstatat(folder, path, status, flags);
}

int SystemCalls::faccessat(int folder, const char* path, int mode, int flags) {
    return ::faccessat(folder, path, mode, flags);
}

int SystemCalls::statx(int folder, const char* path, int flags, unsigned mask, struct ::statx* status) {
    return ::statx(folder, path, flags, mask, status);
}

ssize_t SystemCalls::readlinkat(int folder, const char* path, char* buffer, std::size_t size) {
    return ::readlinkat(folder, path, buffer, size);
}

int SystemCalls::mkdirat(int folder, const char* path, mode_t mode) {
    return ::mkdirat(folder, path, mode);
}

int SystemCalls::symlinkat(const char* target, int folder, const char* path) {
    return ::symlinkat(target, folder, path);
}

int SystemCalls::unlinkat(int folder, const char* path, int flags) {
    return ::unlinkat(folder, path, flags);
}

int SystemCalls::getentropy(void* buffer, std::size_t size) {
    return ::getentropy(buffer, size);
}

} // namespace mox
