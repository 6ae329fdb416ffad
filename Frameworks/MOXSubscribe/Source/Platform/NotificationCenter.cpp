#include "Platform/NotificationCenter.hpp"

#include <utility>
#include <vector>

namespace mox {

NotificationCenter::ObserverToken NotificationCenter::addObserver(std::string_view name, Observer observer) {
    const std::scoped_lock lock(_mutex);
    _observers.emplace(_nextToken, Entry{std::string(name), std::move(observer)});
    return _nextToken++;
}

void NotificationCenter::removeObserver(ObserverToken token) {
    const std::scoped_lock lock(_mutex);
    _observers.erase(token);
}

void NotificationCenter::postNotificationName(std::string_view name, const void* object) {
    std::vector<ObserverToken> tokens;
    {
        const std::scoped_lock lock(_mutex);
        for (const auto& [token, entry] : _observers)
            if (entry.name == name) tokens.push_back(token);
    }
    for (const ObserverToken token : tokens) {
        // Called without the lock, and looked up again each time, so that an observer may add and remove.
        Observer observer;
        {
            const std::scoped_lock lock(_mutex);
            const auto found = _observers.find(token);
            if (found == _observers.end()) continue;
            observer = found->second.observer;
        }
        if (observer) observer(name, object);
    }
}

} // namespace mox
