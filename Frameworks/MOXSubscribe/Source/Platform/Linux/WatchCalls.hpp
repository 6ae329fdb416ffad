#pragma once

#ifndef __linux__
#error "This is the Linux backend."
#endif

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <sys/types.h>

namespace mox {

/// The system calls that folder events need beyond looking at files: inotify(7), timers, and opening a
/// folder. Each fails with its call's `errno`; a subclass may refuse calls, make up events and let time
/// pass by hand. Any thread may call.
class WatchCalls {
public:
    WatchCalls() = default;
    WatchCalls(const WatchCalls&) = delete;
    WatchCalls& operator=(const WatchCalls&) = delete;
    virtual ~WatchCalls();

    /// A descriptor of a new queue of events, which never blocks; -1 on failure.
    virtual int makeQueue();

    /// A descriptor of the folder at `path`, for reading, which may be a link when `followsLink`; -1 on
    /// failure.
    virtual int openFolder(const char* path, bool followsLink);

    /// The number of the watch on the folder with the descriptor `folder`, for exactly the events of `mask`;
    /// -1 on failure. The same folder has the same number.
    virtual int addWatch(int queue, int folder, std::uint32_t mask);

    /// Ends a watch; 0, or -1 on failure.
    virtual int removeWatch(int queue, int watch);

    /// As read(2) from a queue.
    virtual ssize_t readEvents(int queue, void* buffer, std::size_t size);

    /// A descriptor of a new timer at rest, which never blocks; -1 on failure. It is readable from when the
    /// time is up until it is set or read.
    virtual int makeTimer();

    /// Lets the timer's time be up after `delay`, or at once when that is zero; 0, or -1 on failure.
    virtual int setTimer(int timer, std::chrono::milliseconds delay);

    /// Lets the timer rest, whether its time is up or not.
    virtual void resetTimer(int timer);

    /// Closes a queue, folder or timer.
    virtual void close(int descriptor);
};

} // namespace mox
