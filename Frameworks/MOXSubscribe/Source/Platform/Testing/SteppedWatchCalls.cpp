#include "Platform/Testing/SteppedWatchCalls.hpp"

#include <climits>

#include <cerrno>
#include <cstring>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace mox::test {

void SteppedWatchCalls::advance(std::chrono::milliseconds duration) {
    _now += duration;
    for (auto timer = _deadlines.begin(); timer != _deadlines.end();) {
        if (timer->second > _now) {
            ++timer;
            continue;
        }
        const std::uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = ::write(timer->first, &one, sizeof one);
        timer = _deadlines.erase(timer);
    }
}

void SteppedWatchCalls::loseEvents() {
    _losingQueues = _queues;
}

int SteppedWatchCalls::makeQueue() {
    if (queuesLeft && (*queuesLeft)-- == 0) {
        queuesLeft = 0;
        errno = EMFILE;
        return -1;
    }
    const int queue = WatchCalls::makeQueue();
    _queues.insert(queue);
    return queue;
}

int SteppedWatchCalls::openFolder(const char* path, bool followsLink) {
    const int error = openFolderError ? openFolderError(path) : 0;
    if (error == 0) return WatchCalls::openFolder(path, followsLink);
    errno = error;
    return -1;
}

int SteppedWatchCalls::addWatch(int queue, int folder, std::uint32_t mask) {
    const int watch = WatchCalls::addWatch(queue, folder, mask);
    if (watch < 0) return watch;
    if (!_watches.contains({queue, watch}) && watchLimit && _watches.size() >= *watchLimit) {
        WatchCalls::removeWatch(queue, watch);
        errno = ENOSPC;
        return -1;
    }
    _watches.emplace(queue, watch);
    std::string path(PATH_MAX, '\0');
    const ssize_t length =
        ::readlink(("/proc/self/fd/" + std::to_string(folder)).c_str(), path.data(), path.size());
    path.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
    watchedPaths.push_back(path);
    if (afterAddWatch) afterAddWatch(path);
    return watch;
}

int SteppedWatchCalls::removeWatch(int queue, int watch) {
    _watches.erase({queue, watch});
    return WatchCalls::removeWatch(queue, watch);
}

ssize_t SteppedWatchCalls::readEvents(int queue, void* buffer, std::size_t size) {
    ssize_t length = 0;
    const bool isLosing = _losingQueues.erase(queue) == 1;
    do {
        length = WatchCalls::readEvents(queue, buffer, size);
        for (ssize_t offset = 0; offset < length;) {
            struct inotify_event event;
            std::memcpy(&event, static_cast<const char*>(buffer) + offset, sizeof event);
            if ((event.mask & IN_IGNORED) != 0) _watches.erase({queue, event.wd});
            offset += static_cast<ssize_t>(sizeof event + event.len);
        }
    } while (isLosing && length > 0);
    if (!isLosing) return length;
    struct inotify_event loss = {};
    loss.wd = -1;
    loss.mask = IN_Q_OVERFLOW;
    std::memcpy(buffer, &loss, sizeof loss);
    return sizeof loss;
}

int SteppedWatchCalls::makeTimer() {
    return ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
}

int SteppedWatchCalls::setTimer(int timer, std::chrono::milliseconds delay) {
    resetTimer(timer);
    _deadlines[timer] = _now + delay;
    advance(std::chrono::milliseconds(0));
    return 0;
}

void SteppedWatchCalls::resetTimer(int timer) {
    _deadlines.erase(timer);
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t length = ::read(timer, &count, sizeof count);
}

void SteppedWatchCalls::close(int descriptor) {
    _queues.erase(descriptor);
    _losingQueues.erase(descriptor);
    _deadlines.erase(descriptor);
    std::erase_if(_watches, [descriptor](const Watch& watch) { return watch.first == descriptor; });
    WatchCalls::close(descriptor);
}

} // namespace mox::test
