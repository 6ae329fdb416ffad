#pragma once

#include "Platform/Testing/ForwardingFileSystem.hpp"
#include "Platform/Testing/ForwardingSystemCalls.hpp"

#include <functional>
#include <mutex>
#include <optional>
#include <vector>

namespace mox::test {

/// The operations of `SystemCalls`.
enum class SystemCall {
    Open,
    Close,
    Read,
    Write,
    CopyFileRange,
    Writev,
    Fsync,
    Syncfs,
    Fchmod,
    Fstat,
    Stat,
    Lstat,
    Mkdir,
    Renameat,
    Renameat2,
    Openat,
    Getdents64,
    Fstatat,
    Faccessat,
    Statx,
    Readlinkat,
    Mkdirat,
    Symlinkat,
    Unlinkat,
    Getentropy,
};

/// System calls that are recorded, of which a test can let some fail, be interrupted or transfer little, and
/// before which it can intervene. A call that fails changes nothing on the disk, but a descriptor is closed
/// whatever is said about it. Any thread may use it.
class FaultySystemCalls : public ForwardingSystemCalls {
public:
    using ForwardingSystemCalls::ForwardingSystemCalls;

    /// Lets the `number`-th call from now (1 is the next one) of the kind `call`, or of any kind when it is
    /// nil, fail with `errorNumber`; when it lasts, all later ones too. Replaces the fault set before.
    void failCall(std::optional<SystemCall> call, std::size_t number, int errorNumber,
                  FaultDuration duration);

    /// Lets nothing reach the disk any more from the `number`-th call (from now, 1 is the next one) on that
    /// would change it, as if the process had died there: all of these calls fail with EIO. What they had
    /// changed before stays. Opening to write or make a file, write, writev, copy_file_range, fsync, syncfs,
    /// fchmod, and what makes, removes or renames an item count.
    void dieAtChange(std::size_t number);

    /// Sets no fault any more.
    void stopFailing();

    /// Lets every first try of open, openat, read, write, writev, copy_file_range, fsync and getdents64 fail
    /// with EINTR: the same call succeeds when it is made again at once.
    void interruptFirstTries();

    /// Lets no read, write, writev or copy_file_range transfer more than `size` bytes.
    void limitTransfers(std::size_t size);

    /// Runs `action` just before the `number`-th call from now (1 is the next one), as if somebody else were
    /// that fast. Replaces the action set before.
    void actBefore(std::size_t number, std::function<void()> action);

    /// How many calls have failed because of `failCall` or `dieAtChange`.
    std::size_t faultsFired() const;

    /// The kinds of all calls so far, failed and interrupted ones included, in their order.
    std::vector<SystemCall> calls() const;

    /// Forgets the calls and the faults fired so far.
    void resetCalls();

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
    enum class Effect { Looks, Changes };

    struct Fault {
        std::optional<SystemCall> call;
        std::optional<Effect> effect;
        std::size_t callsUntil;
        int errorNumber;
        FaultDuration duration;
    };

    void actIfDue();
    bool refuses(SystemCall call, Effect effect);
    std::size_t limited(std::size_t size) const;

    mutable std::mutex _mutex;
    /// Made long beforehand: a destructor that closes a descriptor must not run out of memory for the record.
    std::vector<SystemCall> _calls = [] {
        std::vector<SystemCall> calls;
        calls.reserve(16384);
        return calls;
    }();
    std::size_t _callsUntilAction = 0;
    std::function<void()> _action;
    std::optional<Fault> _fault;
    std::size_t _faultsFired = 0;
    bool _interruptsFirstTries = false;
    bool _hasJustInterrupted = false;
    std::optional<std::size_t> _transferLimit;
};

} // namespace mox::test
