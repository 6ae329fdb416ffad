#include "Platform/Linux/FolderTree.hpp"

#include "Platform/Linux/DirectoryReader.hpp"
#include "Platform/PackageNames.hpp"

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <functional>
#include <sys/stat.h>
#include <utility>

namespace mox {

struct FolderTree::Node {
    Node* parent = nullptr;
    std::string name;
    int watch = -1;
    /// The batch in which it was reported last.
    std::uint64_t reportedIn = 0;
    /// Of what a folder without a watch held when it was listed last.
    std::size_t contents = 0;
    /// Whether folders in it may have been missed because its path was no longer known.
    bool isOutdated = false;
    std::map<std::string, std::unique_ptr<Node>, std::less<>> children = {};
};

namespace {

constexpr std::uint32_t folderMask =
    IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_CLOSE_WRITE | IN_ATTRIB | IN_ONLYDIR;

bool meansGone(int error) {
    return error == ENOENT || error == ENOTDIR || error == ELOOP;
}

void append(std::string& path, std::string_view name) {
    if (!path.ends_with('/')) path += '/';
    path += name;
}

bool isFolder(int folder, const DirectoryReader::Entry& entry) {
    if (entry.type != DT_UNKNOWN) return entry.type == DT_DIR;
    struct stat status = {};
    return ::fstatat(folder, entry.name.data(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
}

/// A number that another one takes the place of when the entry changes in a way that is to be told.
std::size_t stateOf(int folder, const DirectoryReader::Entry& entry) {
    struct stat status = {};
    if (::fstatat(folder, entry.name.data(), &status, AT_SYMLINK_NOFOLLOW) != 0) return 0;
    std::size_t state = std::hash<std::string_view>()(entry.name);
    const auto add = [&](auto value) {
        state = state * 1'000'003 + std::hash<std::uint64_t>()(static_cast<std::uint64_t>(value));
    };
    add(status.st_ino);
    add(status.st_mode);
    add(status.st_uid);
    add(status.st_gid);
    // A folder's own times tell of what is in it, which is a change of that one.
    if (S_ISDIR(status.st_mode)) return state;
    add(status.st_size);
    add(status.st_mtim.tv_sec);
    add(status.st_mtim.tv_nsec);
    add(status.st_ctim.tv_sec);
    add(status.st_ctim.tv_nsec);
    return state;
}

} // namespace

FolderTree::FolderTree(SystemCalls& system, WatchCalls& calls, std::string path)
    : _queue(calls, std::size_t{256} * 1024)
    , _system(system)
    , _calls(calls)
    , _path(std::move(path))
    , _root(std::make_unique<Node>()) {}

FolderTree::~FolderTree() = default;

// Paths and nodes

std::string FolderTree::pathOf(const Node& node) const {
    if (node.parent == nullptr) return _path;
    std::string_view top = _path;
    if (top.ends_with('/')) top.remove_suffix(1);
    std::size_t end = top.size();
    for (const Node* current = &node; current->parent != nullptr; current = current->parent)
        end += 1 + current->name.size();
    // Written from its end, where the way through the parents begins.
    std::string path(end, '/');
    for (const Node* current = &node; current->parent != nullptr; current = current->parent) {
        end -= current->name.size();
        current->name.copy(path.data() + end, current->name.size());
        --end;
    }
    top.copy(path.data(), top.size());
    return path;
}

FolderTree::Node& FolderTree::topOf(Node& node) const {
    Node* current = &node;
    while (current->parent != nullptr)
        current = current->parent;
    return *current;
}

bool FolderTree::isInTree(Node& node) const {
    return &topOf(node) == _root.get();
}

void FolderTree::forget(Node& top) {
    std::vector<Node*> waiting = {&top};
    while (!waiting.empty()) {
        Node& node = *waiting.back();
        waiting.pop_back();
        for (const auto& [name, child] : node.children)
            waiting.push_back(child.get());
        if (node.watch >= 0) {
            _nodes.erase(node.watch);
            _queue.removeWatch(node.watch);
        }
        _unwatched.erase(&node);
    }
}

void FolderTree::drop(Node& node) {
    forget(node);
    auto& siblings = node.parent->children;
    siblings.erase(siblings.find(node.name));
}

void FolderTree::dropChildren(Node& node) {
    for (const auto& [name, child] : node.children)
        forget(*child);
    node.children.clear();
}

// Watching

int FolderTree::open(const Node& node, const std::string& path) {
    return _calls.openFolder(path.c_str(), &node == _root.get());
}

int FolderTree::addWatch(const Node& node, int folder) {
    const bool isRoot = &node == _root.get();
    return _queue.addWatch(folder, isRoot ? folderMask | IN_MOVE_SELF | IN_DELETE_SELF : folderMask);
}

/// The watch of the folder that is at `path` now, for `node`; -1 and `errno` when there is none.
int FolderTree::watchAt(const Node& node, const std::string& path) {
    const int folder = open(node, path);
    if (folder < 0) return -1;
    const int watch = addWatch(node, folder);
    // That the system lacks what a watch takes does not mean that the folder is gone.
    const int error = watch < 0 && meansGone(errno) ? ENOSYS : errno;
    _calls.close(folder);
    errno = error;
    return watch;
}

/// Gives `node` the watch of the folder with the descriptor `folder`; 0, or the error.
int FolderTree::arm(Node& node, int folder) {
    const int watch = addWatch(node, folder);
    if (watch < 0) return errno;
    const auto [entry, isNew] = _nodes.try_emplace(watch, &node);
    Node& holder = *entry->second;
    if (&holder != &node) {
        // In two places at once, as by a bind mount: the first one keeps the watch.
        if (isInTree(holder) && watchAt(holder, pathOf(holder)) == watch) return EEXIST;
        // The folder has been moved here, and the events that say so are yet to come. What is at the holder's
        // path now will be seen when that is polled.
        holder.watch = -1;
        _unwatched.insert(&holder);
        entry->second = &node;
    }
    node.watch = watch;
    return 0;
}

/// Watches folders that are new in the tree, lists them, and goes on with the folders in them. When they are
/// news, what they hold already is a change, since there was no watch to tell of it.
void FolderTree::visit(std::vector<Node*> waiting, bool isNews) {
    while (!waiting.empty()) {
        Node& node = *waiting.back();
        waiting.pop_back();
        const int folder = open(node, pathOf(node));
        if (folder < 0 && meansGone(errno)) {
            if (node.parent == nullptr) continue;
            // Or a folder above it has another name by now.
            node.parent->isOutdated = true;
            drop(node);
            continue;
        }
        if (node.parent == nullptr) _isRootThere = true;
        if (folder < 0) {
            _unwatched.insert(&node);
            continue;
        }
        // Watched before it is listed: what comes in between is seen twice, never missed.
        const int error = arm(node, folder);
        if (error != 0) _unwatched.insert(&node);
        if (error == ENOSPC) report(*_root);
        list(node, folder, isNews, waiting);
    }
}

/// Makes nodes for the folders in that of `node` and adds those that are new to `found`. Closes `folder`, its
/// descriptor.
void FolderTree::list(Node& node, int folder, bool isNews, std::vector<Node*>& found) {
    const bool isPolled = _unwatched.contains(&node);
    std::size_t contents = 1;
    std::unordered_set<std::string_view> missing;
    if (isPolled)
        for (const auto& [name, child] : node.children)
            missing.insert(name);
    bool isEmpty = true;
    DirectoryReader reader(_system, folder);
    while (const DirectoryReader::Entry* const entry = reader.next()) {
        const std::string_view name = entry->name;
        isEmpty = false;
        if (isPolled) contents += stateOf(folder, *entry);
        if (!isFolder(folder, *entry) || isPackageName(name)) continue;
        missing.erase(name);
        const auto [child, isNew] = node.children.try_emplace(std::string(name));
        if (!isNew) continue;
        child->second = std::make_unique<Node>(Node{&node, std::string(name)});
        found.push_back(child->second.get());
    }
    _calls.close(folder);
    if (isNews && !isEmpty) report(node);
    if (reader.error() != 0) {
        // What was not listed is not gone.
        _unwatched.insert(&node);
        return;
    }
    node.contents = contents;
    const std::vector<std::string> gone(missing.begin(), missing.end());
    for (const std::string& name : gone)
        drop(*node.children.find(name)->second);
}

void FolderTree::watchAll() {
    const auto formerNodes = std::exchange(_nodes, {});
    _unwatched.clear();
    _detached.clear();
    _changedWhileDetached.clear();
    _root = std::make_unique<Node>();
    _isRootThere = false;
    _hasLostEvents = false;
    _mustCheckRoot = false;
    // A folder that has a watch gets the same one again.
    visit({_root.get()}, false);
    for (const auto& [watch, node] : formerNodes)
        if (!_nodes.contains(watch)) _queue.removeWatch(watch);
}

void FolderTree::checkRoot() {
    const int watch = watchAt(*_root, _path);
    const int error = watch < 0 ? errno : 0;
    if (watch >= 0 && watch == _root->watch) return;
    const bool isThere = !meansGone(error);
    if (!isThere && !_isRootThere) return;
    // Known not to be watchable, and polled.
    if (isThere && error != 0 && _unwatched.contains(_root.get())) return;
    watchAll();
    report(*_root);
}

// Polling

void FolderTree::poll() {
    const std::vector<Node*> nodes(_unwatched.begin(), _unwatched.end());
    for (Node* const node : nodes)
        // One may have gone with another, or be on its way elsewhere.
        if (_unwatched.contains(node) && isInTree(*node)) pollFolder(*node);
}

void FolderTree::pollFolder(Node& node) {
    const int folder = open(node, pathOf(node));
    if (folder < 0) {
        if (!meansGone(errno)) return;
        if (node.parent == nullptr) return checkRoot();
        report(*node.parent);
        drop(node);
        return;
    }
    std::vector<Node*> found;
    if (arm(node, folder) == 0) {
        // Watched at last. What happened before is not known.
        _unwatched.erase(&node);
        dropChildren(node);
        list(node, folder, false, found);
        if (!_unwatched.contains(&node)) report(node);
    } else {
        const std::size_t formerContents = node.contents;
        list(node, folder, false, found);
        if (node.contents != formerContents) report(node);
    }
    visit(std::move(found), true);
}

// Events

void FolderTree::handleEvents() {
    const bool isDrained = _queue.drain(
        [this](const struct inotify_event& event, std::string_view name) { handle(event, name); });
    if (!isDrained) return;
    // A move of which there is no second half led out of the tree.
    for (const auto& [cookie, node] : _detached)
        forget(*node);
    _detached.clear();
    _changedWhileDetached.clear();
    if (_hasLostEvents) {
        watchAll();
        report(*_root);
    } else if (std::exchange(_mustCheckRoot, false)) {
        checkRoot();
    }
}

void FolderTree::handle(const struct inotify_event& event, std::string_view name) {
    if ((event.mask & IN_Q_OVERFLOW) != 0) {
        _hasLostEvents = true;
        return;
    }
    const auto found = _nodes.find(event.wd);
    if (found == _nodes.end()) return;
    Node& node = *found->second;
    if (name.empty()) return handleOwnEvent(node, event.mask);
    report(node);
    if ((event.mask & IN_ISDIR) == 0) return;
    if (Node& top = topOf(node); &top != _root.get()) {
        top.isOutdated = true;
    } else if ((event.mask & IN_CREATE) != 0) {
        arrive(node, name, nullptr);
    } else if ((event.mask & IN_MOVED_TO) != 0) {
        auto moved = _detached.extract(event.cookie);
        arrive(node, name, moved ? std::move(moved.mapped()) : nullptr);
    } else if ((event.mask & IN_MOVED_FROM) != 0) {
        detach(node, name, event.cookie);
    } else if ((event.mask & IN_DELETE) != 0) {
        const auto child = node.children.find(name);
        if (child != node.children.end()) drop(*child->second);
    }
}

/// An event of a folder itself. Its parent's watch tells of the same, unless it is the root or is unmounted.
void FolderTree::handleOwnEvent(Node& node, std::uint32_t mask) {
    const bool isRoot = &node == _root.get();
    if ((mask & IN_IGNORED) != 0) {
        _nodes.erase(node.watch);
        node.watch = -1;
        if (!isRoot) _unwatched.insert(&node);
    }
    if (!isRoot) return;
    _mustCheckRoot = true;
    if ((mask & IN_ATTRIB) != 0) report(node);
}

/// A folder is now in that of `parent`: `moved` when it was in the tree before.
void FolderTree::arrive(Node& parent, std::string_view name, std::unique_ptr<Node> moved) {
    if (isPackageName(name)) {
        if (moved) forget(*moved);
        return;
    }
    const auto found = parent.children.find(name);
    Node* const existing = found == parent.children.end() ? nullptr : found->second.get();
    if (existing != nullptr || moved) {
        std::string path = pathOf(parent);
        append(path, name);
        const int watch = watchAt(moved ? *moved : *existing, path);
        const auto is = [watch](const Node* node) { return node && watch >= 0 && node->watch == watch; };
        const bool isMoved = is(moved.get()) && !moved->isOutdated;
        if (moved && !isMoved) forget(*moved);
        // Listed with its parent already.
        if (is(existing)) return;
        if (existing != nullptr) drop(*existing);
        if (isMoved) return attach(parent, name, std::move(moved));
    }
    auto& child = parent.children[std::string(name)];
    child = std::make_unique<Node>(Node{&parent, std::string(name)});
    visit({child.get()}, true);
}

void FolderTree::attach(Node& parent, std::string_view name, std::unique_ptr<Node> moved) {
    moved->parent = &parent;
    moved->name = name;
    parent.children.emplace(name, std::move(moved));
    for (const int watch : std::exchange(_changedWhileDetached, {}))
        if (const auto node = _nodes.find(watch); node != _nodes.end()) report(*node->second);
}

void FolderTree::detach(Node& parent, std::string_view name, std::uint32_t cookie) {
    const auto found = parent.children.find(name);
    if (found == parent.children.end()) return;
    std::unique_ptr<Node> moved = std::move(found->second);
    parent.children.erase(found);
    moved->parent = nullptr;
    std::vector<Node*> waiting = {moved.get()};
    while (!waiting.empty()) {
        Node& node = *waiting.back();
        waiting.pop_back();
        // Whatever was reported had another path.
        node.reportedIn = 0;
        if (node.isOutdated) moved->isOutdated = true;
        for (const auto& [childName, child] : node.children)
            waiting.push_back(child.get());
    }
    _detached[cookie] = std::move(moved);
}

// Changes

void FolderTree::report(Node& node) {
    if (node.reportedIn == _batch) return;
    if (!isInTree(node)) {
        _changedWhileDetached.push_back(node.watch);
        return;
    }
    node.reportedIn = _batch;
    const auto [path, isNew] = _changedPaths.insert(pathOf(node));
    if (isNew) _changes.push_back(&*path);
}

std::vector<std::string> FolderTree::takeChanges() {
    ++_batch;
    std::vector<std::string> changes;
    changes.reserve(_changes.size());
    for (const std::string* const path : std::exchange(_changes, {}))
        changes.push_back(std::move(_changedPaths.extract(*path).value()));
    // A path that there was no memory to tell of is not kept from being told of the next time.
    _changedPaths.clear();
    return changes;
}

} // namespace mox
