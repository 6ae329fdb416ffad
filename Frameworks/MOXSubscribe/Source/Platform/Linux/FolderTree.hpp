#pragma once

#include "Platform/Linux/EventQueue.hpp"
#include "Platform/Linux/SystemCalls.hpp"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace mox {

/// The folders at and below a path, each with a watch, and what changed in them. Packages are entries of
/// their folder: there is no watch in them. The path may be a link; those below it are not followed. What
/// cannot be watched is visited by `poll`. One thread at a time.
class FolderTree {
public:
    /// `path` is absolute; `system`, which lists, and `calls` must outlive the object. Watches nothing yet.
    FolderTree(SystemCalls& system, WatchCalls& calls, std::string path);
    ~FolderTree();

    /// Readable when `handleEvents` has something to do; -1 when the system had no room for it.
    int descriptor() const { return _queue.descriptor(); }

    /// Watches all that is there.
    void watchAll();

    /// Finds out whether the path leads to another folder than the one that is watched, or to none any more.
    /// If so, that is watched, and is a change of the root.
    void checkRoot();

    /// Reads what has happened.
    void handleEvents();

    /// Looks at what has no watch.
    void poll();

    /// Whether `poll` has something to look at.
    bool needsPolling() const { return !_unwatched.empty(); }

    /// Whether a folder has changed since `takeChanges`.
    bool hasChanges() const { return !_changes.empty(); }

    /// The folders that have changed since the last call, in the order of their first changes.
    std::vector<std::string> takeChanges();

private:
    struct Node;

    std::string pathOf(const Node& node) const;
    Node& topOf(Node& node) const;
    bool isInTree(Node& node) const;
    int open(const Node& node, const std::string& path);
    int addWatch(const Node& node, int folder);
    int watchAt(const Node& node, const std::string& path);
    int arm(Node& node, int folder);
    void visit(std::vector<Node*> waiting, bool isNews);
    void list(Node& node, int folder, bool isNews, std::vector<Node*>& found);
    void pollFolder(Node& node);
    void handle(const struct inotify_event& event, std::string_view name);
    void handleOwnEvent(Node& node, std::uint32_t mask);
    void arrive(Node& parent, std::string_view name, std::unique_ptr<Node> moved);
    void attach(Node& parent, std::string_view name, std::unique_ptr<Node> moved);
    void detach(Node& parent, std::string_view name, std::uint32_t cookie);
    void report(Node& node);
    void forget(Node& top);
    void drop(Node& node);
    void dropChildren(Node& node);

    EventQueue _queue;
    SystemCalls& _system;
    WatchCalls& _calls;
    const std::string _path;
    std::unique_ptr<Node> _root;
    bool _isRootThere = false;
    std::unordered_map<int, Node*> _nodes;
    std::unordered_set<Node*> _unwatched;

    /// Folders of which only the first half of a move has been read, by the move's number, and the watches of
    /// those among and below them that changed since.
    std::unordered_map<std::uint32_t, std::unique_ptr<Node>> _detached;
    std::vector<int> _changedWhileDetached;

    bool _hasLostEvents = false;
    bool _mustCheckRoot = false;

    std::unordered_set<std::string> _changedPaths;
    /// Those in `_changedPaths`, in the order of their first changes.
    std::vector<const std::string*> _changes;
    std::uint64_t _batch = 1;
};

} // namespace mox
