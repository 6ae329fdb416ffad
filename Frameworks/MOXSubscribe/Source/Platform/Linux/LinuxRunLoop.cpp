#include "Platform/Linux/LinuxRunLoop.hpp"

#include <climits>

#include <algorithm>
#include <array>
#include <cerrno>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>

namespace mox {

struct LinuxRunLoop::Entry {
    std::uint64_t number = 0;
    int descriptor = -1;
    int set = -1;
    Handler handler;
    // Held while the handler runs, so that who ends the source on another thread waits. The handler itself
    // may end it: hence recursive.
    std::recursive_mutex mutex;
    bool isEnded = false;
};

LinuxRunLoop::Source::Source(std::shared_ptr<LinuxRunLoop> loop, std::shared_ptr<Entry> entry)
    : _loop(std::move(loop)), _entry(std::move(entry)) {}

LinuxRunLoop::Source::~Source() {
    _loop->removeEntry(*_entry);
    const std::scoped_lock lock(_entry->mutex);
    _entry->isEnded = true;
}

std::shared_ptr<LinuxRunLoop> LinuxRunLoop::makeForThisThread() {
    const int set = ::epoll_create1(EPOLL_CLOEXEC);
    const int stopEvent = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (set >= 0 && stopEvent >= 0) return std::shared_ptr<LinuxRunLoop>(new LinuxRunLoop(set, stopEvent));
    if (set >= 0) ::close(set);
    if (stopEvent >= 0) ::close(stopEvent);
    return nullptr;
}

LinuxRunLoop::LinuxRunLoop(int defaultSet, int stopEvent) : _defaultSet(defaultSet), _stopEvent(stopEvent) {
    _sets.emplace(defaultRunLoopMode, defaultSet);
}

LinuxRunLoop::~LinuxRunLoop() {
    for (const auto& [mode, set] : _sets)
        ::close(set);
    ::close(_stopEvent);
}

std::unique_ptr<LinuxRunLoop::Source> LinuxRunLoop::addSource(int descriptor, std::string_view mode,
                                                              Handler handler) {
    if (!mayRun()) return nullptr;
    const std::scoped_lock lock(_mutex);
    const int set = makeSetOfMode(mode);
    if (set < 0) return nullptr;
    struct epoll_event event = {};
    event.events = EPOLLIN;
    event.data.u64 = _nextNumber;
    if (::epoll_ctl(set, EPOLL_CTL_ADD, descriptor, &event) != 0) return nullptr;
    auto entry = std::make_shared<Entry>();
    entry->number = _nextNumber++;
    entry->descriptor = descriptor;
    entry->set = set;
    entry->handler = std::move(handler);
    _entries.emplace(entry->number, entry);
    return std::make_unique<Source>(shared_from_this(), std::move(entry));
}

void LinuxRunLoop::removeEntry(const Entry& entry) {
    const std::scoped_lock lock(_mutex);
    if (_entries.erase(entry.number) == 1) ::epoll_ctl(entry.set, EPOLL_CTL_DEL, entry.descriptor, nullptr);
}

void LinuxRunLoop::endOfThread() {
    _isOver = true;
    std::map<std::uint64_t, std::shared_ptr<Entry>> entries;
    {
        const std::scoped_lock lock(_mutex);
        entries.swap(_entries);
        for (const auto& [number, entry] : entries)
            ::epoll_ctl(entry->set, EPOLL_CTL_DEL, entry->descriptor, nullptr);
    }
}

bool LinuxRunLoop::mayRun() const {
    return !_isOver && std::this_thread::get_id() == _owner;
}

int LinuxRunLoop::setOfMode(std::string_view mode) const {
    const std::scoped_lock lock(_mutex);
    const auto found = _sets.find(mode);
    return found == _sets.end() ? -1 : found->second;
}

int LinuxRunLoop::makeSetOfMode(std::string_view mode) {
    if (const auto found = _sets.find(mode); found != _sets.end()) return found->second;
    const int set = ::epoll_create1(EPOLL_CLOEXEC);
    if (set >= 0) _sets.emplace(mode, set);
    return set;
}

LinuxRunLoop::Wakening LinuxRunLoop::wait(int set, std::optional<std::chrono::milliseconds> timeout) const {
    using Clock = std::chrono::steady_clock;
    // poll(2) passes over a descriptor of -1: a mode in which nothing was ever scheduled.
    std::array<struct pollfd, 2> polled = {{{set, POLLIN, 0}, {_stopEvent, POLLIN, 0}}};
    const auto start = Clock::now();
    for (std::optional<std::chrono::milliseconds> rest = timeout;;) {
        // A wait that is longer than poll can say is made in parts.
        const auto part = rest ? std::min<std::chrono::milliseconds::rep>(rest->count(), INT_MAX) : -1;
        const int count = ::poll(polled.data(), polled.size(), static_cast<int>(part));
        if (count > 0) break;
        if (count < 0 && errno != EINTR) return {};
        if (!timeout) continue;
        rest = *timeout - std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
        if (rest->count() <= 0) return {};
    }
    return {.isDue = polled[0].revents != 0, .isStopped = polled[1].revents != 0};
}

bool LinuxRunLoop::takeStop() {
    std::uint64_t count = 0;
    return ::read(_stopEvent, &count, sizeof count) == sizeof count;
}

bool LinuxRunLoop::handleDue(int set) {
    std::array<struct epoll_event, 64> events{};
    const int count = ::epoll_wait(set, events.data(), static_cast<int>(events.size()), 0);
    bool isHandled = false;
    for (int index = 0; index < count; ++index) {
        std::shared_ptr<Entry> entry;
        {
            const std::scoped_lock lock(_mutex);
            const auto found = _entries.find(events[static_cast<std::size_t>(index)].data.u64);
            if (found == _entries.end()) continue;
            entry = found->second;
        }
        const std::scoped_lock lock(entry->mutex);
        if (entry->isEnded) continue;
        entry->handler();
        isHandled = true;
    }
    return isHandled;
}

void LinuxRunLoop::run(std::string_view mode) {
    while (mayRun()) {
        // Looked up again each time: a handler may be the first to schedule something in this mode.
        const int set = setOfMode(mode);
        const Wakening wakening = wait(set, std::nullopt);
        if (wakening.isDue) handleDue(set);
        if (wakening.isStopped && takeStop()) return;
    }
}

bool LinuxRunLoop::runOnce(std::string_view mode, std::optional<std::chrono::milliseconds> timeout) {
    if (!mayRun()) return false;
    const int set = setOfMode(mode);
    if (handleDue(set)) return true;
    if (timeout && timeout->count() <= 0) return false;
    const Wakening wakening = wait(set, timeout);
    if (wakening.isDue) return handleDue(set);
    if (wakening.isStopped) takeStop();
    return false;
}

void LinuxRunLoop::stop() {
    // It fails only when the event is set already, which is just as well.
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(_stopEvent, &one, sizeof one);
}

std::shared_ptr<RunLoop> LinuxRunLoops::currentRunLoop() {
    // Without a destructor, so that it can still be read by whoever asks while the thread is being ended.
    thread_local bool isOver = false;
    struct OwnLoop {
        std::shared_ptr<LinuxRunLoop> loop;
        ~OwnLoop() {
            isOver = true;
            if (loop) loop->endOfThread();
        }
    };
    thread_local OwnLoop own;
    if (isOver) return nullptr;
    if (!own.loop) own.loop = LinuxRunLoop::makeForThisThread();
    return own.loop;
}

} // namespace mox
