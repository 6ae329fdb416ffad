#pragma once

#include "Platform/Linux/WatchCalls.hpp"

#include <functional>
#include <string_view>
#include <sys/inotify.h>
#include <vector>

namespace mox {

/// One inotify queue. One thread at a time.
class EventQueue {
public:
    /// Called with an event and the name in the watched folder that it is about, empty for the folder itself.
    using Handler = std::function<void(const struct inotify_event& event, std::string_view name)>;

    /// Reads at most `bufferSize` bytes of events at once. `calls` must outlive the queue.
    EventQueue(WatchCalls& calls, std::size_t bufferSize);
    EventQueue(const EventQueue&) = delete;
    EventQueue& operator=(const EventQueue&) = delete;
    ~EventQueue();

    /// Readable when there are events; -1 when the system had no room for the queue.
    int descriptor() const { return _descriptor; }

    /// Watches the folder with the descriptor `folder` for `mask`, which replaces that of a watch that it
    /// has; the watch's number, or -1 and `errno`.
    int addWatch(int folder, std::uint32_t mask);

    /// Ends a watch; nothing when it has ended by itself.
    void removeWatch(int watch);

    /// Hands the events that wait to `handler`, in their order; whether none is left. Some may be left when
    /// new ones come as fast as they are read.
    bool drain(const Handler& handler);

private:
    WatchCalls& _calls;
    const int _descriptor;
    std::vector<char> _buffer;
};

} // namespace mox
