#pragma once

#include "Platform/Linux/WatchCalls.hpp"

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace mox::test {

/// The calls of folder events on the real inotify, with time that passes when a test says so and with
/// refusals and losses that it asks for. One thread at a time.
class SteppedWatchCalls : public WatchCalls {
public:
    /// How many queues can still be made; nil for any number.
    std::optional<std::size_t> queuesLeft;

    /// How many watches there can be at a time; nil for any number.
    std::optional<std::size_t> watchLimit;

    /// With what error the folder at a path cannot be opened; 0 when it can. Nil when each can.
    std::function<int(const std::string& path)> openFolderError;

    /// Called after a watch was added on the folder that is at `path`, before anything else is done.
    std::function<void(const std::string& path)> afterAddWatch;

    /// The paths of the folders on which a watch was added, in their order.
    std::vector<std::string> watchedPaths;

    /// Lets `duration` pass.
    void advance(std::chrono::milliseconds duration);

    /// Lets the events that wait now in each queue be lost with the next reading, which tells of the loss
    /// alone.
    void loseEvents();

    /// How many watches there are.
    std::size_t watchCount() const { return _watches.size(); }

    int makeQueue() override;
    int openFolder(const char* path, bool followsLink) override;
    int addWatch(int queue, int folder, std::uint32_t mask) override;
    int removeWatch(int queue, int watch) override;
    ssize_t readEvents(int queue, void* buffer, std::size_t size) override;
    int makeTimer() override;
    int setTimer(int timer, std::chrono::milliseconds delay) override;
    void resetTimer(int timer) override;
    void close(int descriptor) override;

private:
    using Watch = std::pair<int, int>;

    std::set<int> _queues;
    std::set<int> _losingQueues;
    std::set<Watch> _watches;
    std::chrono::milliseconds _now{0};
    /// When the time of each timer that runs is up.
    std::map<int, std::chrono::milliseconds> _deadlines;
};

} // namespace mox::test
