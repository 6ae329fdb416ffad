#include "Platform/Linux/EventQueue.hpp"

#include <climits>

#include <cerrno>

namespace mox {

EventQueue::EventQueue(WatchCalls& calls, std::size_t bufferSize)
    : _calls(calls), _descriptor(calls.makeQueue()), _buffer(bufferSize) {}

EventQueue::~EventQueue() {
    if (_descriptor >= 0) _calls.close(_descriptor);
}

int EventQueue::addWatch(int folder, std::uint32_t mask) {
    return _calls.addWatch(_descriptor, folder, mask);
}

void EventQueue::removeWatch(int watch) {
    _calls.removeWatch(_descriptor, watch);
}

bool EventQueue::drain(const Handler& handler) {
    constexpr int mostReads = 8;
    constexpr std::size_t longestEvent = sizeof(struct inotify_event) + NAME_MAX + 1;
    for (int reads = 0; reads < mostReads; ++reads) {
        const ssize_t length = _calls.readEvents(_descriptor, _buffer.data(), _buffer.size());
        if (length < 0 && errno == EINTR) continue;
        if (length <= 0) return true;
        const auto size = static_cast<std::size_t>(length);
        for (std::size_t offset = 0; offset < size;) {
            // The kernel pads each event so that the next one is aligned.
            // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast)
            const auto& event = *reinterpret_cast<const struct inotify_event*>(_buffer.data() + offset);
            handler(event, event.len > 0 ? std::string_view(event.name) : std::string_view());
            offset += sizeof event + event.len;
        }
        // A read stops early only when nothing is left: another one to learn that is saved.
        if (size + longestEvent <= _buffer.size()) return true;
    }
    return false;
}

} // namespace mox
