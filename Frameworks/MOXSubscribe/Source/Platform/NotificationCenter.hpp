#pragma once

#include "Foundation/Export.hpp"

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

namespace mox {

/// Tells observers, by name, that something happened. Any thread may use it; observers are called on the
/// thread that posts, before the posting returns, in the order in which they were added.
class MOX_EXPORT NotificationCenter {
public:
    /// Called with the notification's name and the object that it is about, which may be null.
    using Observer = std::function<void(std::string_view name, const void* object)>;
    /// Names one observer for its removal.
    using ObserverToken = std::uint64_t;

    NotificationCenter() = default;
    NotificationCenter(const NotificationCenter&) = delete;
    NotificationCenter& operator=(const NotificationCenter&) = delete;

    /// Lets `observer` know of the notifications called `name`, until it is removed.
    ObserverToken addObserver(std::string_view name, Observer observer);

    /// The observer is not called any more by postings that begin later; does nothing for one already
    /// removed. An observer may remove itself or others while it is called: those removed are then not called
    /// any more.
    void removeObserver(ObserverToken token);

    /// Calls the observers of `name`. What one throws passes on, and the rest are not called.
    void postNotificationName(std::string_view name, const void* object);

private:
    struct Entry {
        std::string name;
        Observer observer;
    };

    std::mutex _mutex;
    std::map<ObserverToken, Entry> _observers;
    ObserverToken _nextToken = 1;
};

} // namespace mox
