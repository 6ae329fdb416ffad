#pragma once

#include "Platform/Linux/EventQueue.hpp"

#include <string>
#include <unordered_map>

namespace mox {

/// Watches the folders through which an absolute path leads, those behind links too, for what may let it lead
/// elsewhere: that one of its components appears, disappears, is replaced or lets somebody else pass. One
/// thread at a time.
class PathRoute {
public:
    /// `calls` must outlive the object.
    PathRoute(WatchCalls& calls, std::string path);

    /// Readable when `drain` has something to do; -1 when the system had no room for it.
    int descriptor() const { return _queue.descriptor(); }

    /// Watches the route as it is now, up to the first component that is missing.
    void trace();

    /// Reads what has happened; whether the path may lead elsewhere now, so that it is to be traced again.
    bool drain();

    /// Whether a part of the route has no watch and must be traced again from time to time.
    bool needsPolling() const { return _needsPolling; }

private:
    enum class Step { ToEntry, ToNowhere, ThroughLink };
    Step follow(const std::string& folder, const std::string& name, std::string& target);

    WatchCalls& _calls;
    EventQueue _queue;
    const std::string _path;
    /// The names that count in each watched folder. A route with links may pass a folder twice.
    std::unordered_multimap<int, std::string> _names;
    bool _needsPolling = false;
};

} // namespace mox
