#pragma once

#ifndef __linux__
#error "This is the Linux backend."
#endif

#include <cstddef>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/uio.h>

namespace mox {

/// The system calls through which the file system backend reaches the disk. Each operation here makes the
/// call of its name with the same arguments, result and `errno`; a subclass may count, refuse or record
/// calls. Any thread may call.
class SystemCalls {
public:
    SystemCalls() = default;
    SystemCalls(const SystemCalls&) = delete;
    SystemCalls& operator=(const SystemCalls&) = delete;
    virtual ~SystemCalls();

    /// `mode` counts only when the call makes a file.
    virtual int open(const char* path, int flags, mode_t mode);
    virtual int openat(int folder, const char* path, int flags, mode_t mode);
    virtual int close(int descriptor);
    virtual ssize_t read(int descriptor, void* buffer, std::size_t size);
    virtual ssize_t write(int descriptor, const void* bytes, std::size_t size);
    /// Both from where the descriptors stand, so without offsets and flags.
    virtual ssize_t copy_file_range(int source, int destination, std::size_t size);
    virtual ssize_t writev(int descriptor, const struct ::iovec* pieces, int count);
    virtual int fsync(int descriptor);
    virtual int syncfs(int descriptor);
    virtual int fchmod(int descriptor, mode_t mode);
    virtual int fstat(int descriptor, struct ::stat* status);
    virtual int stat(const char* path, struct ::stat* status);
    virtual int lstat(const char* path, struct ::stat* status);
    virtual int mkdir(const char* path, mode_t mode);

    virtual int renameat(int sourceFolder, const char* source, int destinationFolder,
                         const char* destination);
    virtual int renameat2(int sourceFolder, const char* source, int destinationFolder,
                          const char* destination, unsigned flags);
    virtual ssize_t getdents64(int descriptor, void* buffer, std::size_t size);
    virtual int fstatat(int folder, const char* path, struct ::stat* status, int flags);
    virtual int faccessat(int folder, const char* path, int mode, int flags);
    virtual int statx(int folder, const char* path, int flags, unsigned mask, struct ::statx* status);
    virtual ssize_t readlinkat(int folder, const char* path, char* buffer, std::size_t size);
    virtual int mkdirat(int folder, const char* path, mode_t mode);
    virtual int symlinkat(const char* target, int folder, const char* path);
    virtual int unlinkat(int folder, const char* path, int flags);

    /// Fills `buffer` with bytes that nobody can guess.
    virtual int getentropy(void* buffer, std::size_t size);
};

} // namespace mox
