#include "Platform/Linux/PathRoute.hpp"

#include "Foundation/PathRules.hpp"

#include <climits>

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace mox {
namespace {

constexpr std::uint32_t entryMask =
    IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_ATTRIB | IN_ONLYDIR;
/// As many as the kernel follows.
constexpr int mostLinks = 40;

/// Puts the names in `path` on `names` so that the first one is the last element.
void push(std::vector<std::string>& names, std::string_view path) {
    const std::vector<std::string> components = pathComponents(path);
    for (auto component = components.rbegin(); component != components.rend(); ++component)
        if (*component != "/" && *component != ".") names.push_back(*component);
}

} // namespace

PathRoute::PathRoute(WatchCalls& calls, std::string path)
    : _calls(calls), _queue(calls, std::size_t{16} * 1024), _path(std::move(path)) {}

void PathRoute::trace() {
    const auto former = std::exchange(_names, {});
    _needsPolling = false;
    std::vector<std::string> names;
    push(names, _path);
    // Free of links at any time, so that ".." is its parent.
    std::string folder = "/";
    for (int links = 0; !names.empty() && links <= mostLinks;) {
        const std::string name = std::move(names.back());
        names.pop_back();
        if (name == "..") {
            folder = stringByDeletingLastPathComponent(folder);
            continue;
        }
        std::string target;
        const Step step = follow(folder, name, target);
        if (step == Step::ToNowhere) break;
        if (step == Step::ToEntry) {
            folder = stringByAppendingPathComponent(folder, name);
        } else {
            if (target.starts_with('/')) folder = "/";
            push(names, target);
            ++links;
        }
    }
    for (const auto& [watch, name] : former)
        if (!_names.contains(watch)) _queue.removeWatch(watch);
}

/// Watches `folder` for changes of `name` and tells what that is; `target` is where it leads when it is a
/// link.
PathRoute::Step PathRoute::follow(const std::string& folder, const std::string& name, std::string& target) {
    const int descriptor = _calls.openFolder(folder.c_str(), false);
    const int error = descriptor < 0 ? errno : 0;
    // Watched before it is looked at: a change in between is an event.
    const int watch = descriptor < 0 ? -1 : _queue.addWatch(descriptor, entryMask);
    if (watch >= 0) _names.emplace(watch, name);
    if (descriptor >= 0) _calls.close(descriptor);

    const std::string path = stringByAppendingPathComponent(folder, name);
    struct stat status = {};
    const bool isThere = ::lstat(path.c_str(), &status) == 0;
    // A folder on the way that may be passed but not read, as the one of all homes may be, is taken to stay
    // as it is while it has what is sought.
    if (watch < 0 && !(isThere && error == EACCES)) _needsPolling = true;
    if (!isThere) return Step::ToNowhere;
    if (!S_ISLNK(status.st_mode)) return Step::ToEntry;
    target.resize(PATH_MAX);
    const ssize_t length = ::readlink(path.c_str(), target.data(), target.size());
    // Replaced just now: an event will tell.
    if (length <= 0) return Step::ToNowhere;
    target.resize(static_cast<std::size_t>(length));
    return Step::ThroughLink;
}

bool PathRoute::drain() {
    bool mayLeadElsewhere = false;
    const auto handle = [&](const struct inotify_event& event, std::string_view name) {
        if ((event.mask & IN_Q_OVERFLOW) != 0) mayLeadElsewhere = true;
        const auto [first, last] = _names.equal_range(event.wd);
        for (auto entry = first; entry != last; ++entry)
            if (name.empty() || name == entry->second) mayLeadElsewhere = true;
    };
    _queue.drain(handle);
    return mayLeadElsewhere;
}

} // namespace mox
