#pragma once

#include "Platform/Linux/SystemCalls.hpp"

namespace mox::test {

/// System calls that another object makes: what decorators change a few operations of.
class ForwardingSystemCalls : public SystemCalls {
public:
    /// `target` must outlive the object.
    explicit ForwardingSystemCalls(SystemCalls& target) : _target(target) {}

    int open(const char* path, int flags, mode_t mode) override;
    int openat(int folder, const char* path, int flags, mode_t mode) override;
    int close(int descriptor) override;
    ssize_t read(int descriptor, void* buffer, std::size_t size) override;
    ssize_t write(int descriptor, const void* bytes, std::size_t size) override;
    ssize_t copy_file_range(int source, int destination, std::size_t size) override;
    ssize_t writev(int descriptor, const struct ::iovec* pieces, int count) override;
    int fsync(int descriptor) override;
    int syncfs(int descriptor) override;
    int fchmod(int descriptor, mode_t mode) override;
    int fstat(int descriptor, struct ::stat* status) override;
    int stat(const char* path, struct ::stat* status) override;
    int lstat(const char* path, struct ::stat* status) override;
    int mkdir(const char* path, mode_t mode) override;
    int renameat(int sourceFolder, const char* source, int destinationFolder,
                 const char* destination) override;
    int renameat2(int sourceFolder, const char* source, int destinationFolder, const char* destination,
                  unsigned flags) override;
    ssize_t getdents64(int descriptor, void* buffer, std::size_t size) override;
    int fstatat(int folder, const char* path, struct ::stat* status, int flags) override;
    int faccessat(int folder, const char* path, int mode, int flags) override;
    int statx(int folder, const char* path, int flags, unsigned mask, struct ::statx* status) override;
    ssize_t readlinkat(int folder, const char* path, char* buffer, std::size_t size) override;
    int mkdirat(int folder, const char* path, mode_t mode) override;
    int symlinkat(const char* target, int folder, const char* path) override;
    int unlinkat(int folder, const char* path, int flags) override;
    int getentropy(void* buffer, std::size_t size) override;

private:
    SystemCalls& _target;
};

} // namespace mox::test
