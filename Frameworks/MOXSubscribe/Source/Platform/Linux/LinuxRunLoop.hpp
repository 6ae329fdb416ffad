#pragma once

#ifndef __linux__
#error "This is the Linux backend."
#endif

#include "Platform/RunLoop.hpp"

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

namespace mox {

/// A run loop with one epoll(7) set for each mode in which something is scheduled.
class LinuxRunLoop : public RunLoop, public std::enable_shared_from_this<LinuxRunLoop> {
    struct Entry;

public:
    /// What is scheduled: a descriptor and what to do when it is readable. Destroying it ends that: the
    /// handler is not called any more. A handler may destroy its own source; on another thread than the
    /// loop's the destructor waits for the handler to return.
    class Source {
    public:
        Source(std::shared_ptr<LinuxRunLoop> loop, std::shared_ptr<Entry> entry);
        Source(const Source&) = delete;
        Source& operator=(const Source&) = delete;
        ~Source();

    private:
        std::shared_ptr<LinuxRunLoop> _loop;
        std::shared_ptr<Entry> _entry;
    };

    /// Called while the source's descriptor is readable, once each time round.
    using Handler = std::function<void()>;

    /// A run loop of the calling thread; null when the process has no descriptors left.
    static std::shared_ptr<LinuxRunLoop> makeForThisThread();

    ~LinuxRunLoop() override;

    /// Calls `handler` whenever `descriptor` is readable and the loop runs in `mode`. Null when the system
    /// has no room for it or the thread has ended. The descriptor stays open as long as the source lives.
    /// Only on the loop's own thread.
    std::unique_ptr<Source> addSource(int descriptor, std::string_view mode, Handler handler);

    /// Lets go of everything that is scheduled, for ever.
    void endOfThread();

    void run(std::string_view mode) override;
    bool runOnce(std::string_view mode, std::optional<std::chrono::milliseconds> timeout) override;
    void stop() override;
    int descriptor() const override { return _defaultSet; }

private:
    LinuxRunLoop(int defaultSet, int stopEvent);

    /// What ended a wait.
    struct Wakening {
        bool isDue = false;
        bool isStopped = false;
    };

    bool mayRun() const;
    int setOfMode(std::string_view mode) const;
    int makeSetOfMode(std::string_view mode);
    Wakening wait(int set, std::optional<std::chrono::milliseconds> timeout) const;
    bool takeStop();
    bool handleDue(int set);
    void removeEntry(const Entry& entry);

    const int _defaultSet;
    const int _stopEvent;
    const std::thread::id _owner = std::this_thread::get_id();
    std::atomic<bool> _isOver = false;

    mutable std::mutex _mutex;
    std::map<std::string, int, std::less<>> _sets;
    std::map<std::uint64_t, std::shared_ptr<Entry>> _entries;
    std::uint64_t _nextNumber = 1;
};

/// Run loops over epoll, one for each thread that asks.
class LinuxRunLoops : public RunLoops {
public:
    std::shared_ptr<RunLoop> currentRunLoop() override;
};

} // namespace mox
