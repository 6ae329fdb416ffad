#include "Platform/Linux/WatchCalls.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace mox {

WatchCalls::~WatchCalls() = default;

int WatchCalls::makeQueue() {
    return ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
}

int WatchCalls::openFolder(const char* path, bool followsLink) {
    return ::open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC | (followsLink ? 0 : O_NOFOLLOW));
}

int WatchCalls::addWatch(int queue, int folder, std::uint32_t mask) {
    // There is no call that takes a descriptor. Through a path the watch could be another folder's than the
    // one that is listed.
    std::array<char, 32> path{};
    [[maybe_unused]] const int length = std::snprintf(path.data(), path.size(), "/proc/self/fd/%d", folder);
    return ::inotify_add_watch(queue, path.data(), mask);
}

int WatchCalls::removeWatch(int queue, int watch) {
    return ::inotify_rm_watch(queue, watch);
}

ssize_t WatchCalls::readEvents(int queue, void* buffer, std::size_t size) {
    return ::read(queue, buffer, size);
}

int WatchCalls::makeTimer() {
    return ::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
}

int WatchCalls::setTimer(int timer, std::chrono::milliseconds delay) {
    // A delay of nothing would let the timer rest.
    const auto nanoseconds = std::max(std::chrono::nanoseconds(1), std::chrono::nanoseconds(delay)).count();
    constexpr std::int64_t second = 1'000'000'000;
    struct itimerspec setting = {};
    setting.it_value.tv_sec = static_cast<time_t>(nanoseconds / second);
    setting.it_value.tv_nsec = static_cast<long>(nanoseconds % second);
    return ::timerfd_settime(timer, 0, &setting, nullptr);
}

void WatchCalls::resetTimer(int timer) {
    const struct itimerspec rest = {};
    ::timerfd_settime(timer, 0, &rest, nullptr);
}

void WatchCalls::close(int descriptor) {
    ::close(descriptor);
}

} // namespace mox
