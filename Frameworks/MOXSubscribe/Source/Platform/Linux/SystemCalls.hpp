#pragma once

#ifndef __linux__
#error "This is the Linux backend."
#endif

#include <cstddef>
#include <sys/stat.h>
#include <sys/types.h>

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
    virtual int close(int descriptor);
    virtual ssize_t read(int descriptor, void* buffer, std::size_t size);
    virtual ssize_t write(int descriptor, const void* bytes, std::size_t size);
    virtual int fsync(int descriptor);
    virtual int fchmod(int descriptor, mode_t mode);
    virtual int fstat(int descriptor, struct ::stat* status);
    virtual int stat(const char* path, struct ::stat* status);
    virtual int lstat(const char* path, struct ::stat* status);
    virtual int mkdir(const char* path, mode_t mode);
    virtual int unlink(const char* path);
    virtual int rename(const char* source, const char* destination);

    /// As the call with `AT_FDCWD` for both folders.
    virtual int renameat2(const char* source, const char* destination, unsigned flags);

    /// Fills `buffer` with bytes that nobody can guess.
    virtual int getentropy(void* buffer, std::size_t size);
};

} // namespace mox
