#include "Platform/Testing/PowerLossSystemCalls.hpp"

#include <climits>

#include <algorithm>
#include <array>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <ftw.h>
#include <iterator>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace mox::test {
namespace {

constexpr char linkMark = '@';

[[noreturn]] void fail(const std::string& path) {
    throw std::system_error(errno, std::generic_category(), path);
}

std::string parentOf(const std::string& path) {
    return path.substr(0, path.rfind('/'));
}

int removeItem(const char* path, const struct ::stat*, int kind, struct FTW* place) {
    if (place->level == 0) return 0;
    return kind == FTW_DP ? ::rmdir(path) : ::unlink(path);
}

void makeFile(const std::string& path, const Bytes& content) {
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream.write(content.data(), static_cast<std::streamsize>(content.size()));
    stream.close();
    if (!stream) fail(path);
}

Bytes contentOf(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    if (!stream) fail(path);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

Bytes targetOf(const std::string& path) {
    std::array<char, PATH_MAX> target = {};
    const ssize_t length = ::readlink(path.c_str(), target.data(), target.size());
    if (length < 0) fail(path);
    return {target.data(), static_cast<std::size_t>(length)};
}

} // namespace

PowerLossSystemCalls::PowerLossSystemCalls(SystemCalls& target, std::string folder)
    : ForwardingSystemCalls(target), _folder(std::move(folder)), _safe(treeOf(_folder)), _current(_safe) {}

/// What is in `folder`, all of it safe.
PowerLossSystemCalls::Tree PowerLossSystemCalls::treeOf(const std::string& folder) {
    Tree tree;
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(::opendir(folder.c_str()), ::closedir);
    if (!directory) fail(folder);
    while (const dirent* entry = ::readdir(directory.get())) {
        const std::string name = entry->d_name;
        if (name == "." || name == "..") continue;
        const std::string path = folder + "/" + name;
        struct ::stat status = {};
        if (::lstat(path.c_str(), &status) != 0) fail(path);
        if (S_ISDIR(status.st_mode)) {
            tree[path] = nullptr;
            tree.merge(treeOf(path));
        } else if (S_ISREG(status.st_mode)) {
            const Bytes content = contentOf(path);
            tree[path] = std::make_shared<File>(File{content, content});
        } else if (S_ISLNK(status.st_mode)) {
            const Bytes target = targetOf(path);
            tree[path] = std::make_shared<File>(File{target, target, true});
        }
    }
    return tree;
}

bool PowerLossSystemCalls::isInside(const std::string& path) const {
    return path.starts_with(_folder + "/");
}

void PowerLossSystemCalls::apply(const Change& change, Tree& tree) {
    Tree below;
    if (change.source) {
        tree.erase(*change.source);
        const std::string prefix = *change.source + "/";
        auto item = tree.lower_bound(prefix);
        while (item != tree.end() && item->first.starts_with(prefix)) {
            if (change.destination) {
                below[*change.destination + "/" + item->first.substr(prefix.size())] = item->second;
            }
            item = tree.erase(item);
        }
    }
    if (change.destination) tree[*change.destination] = change.item;
    tree.merge(below);
}

/// Enters a change that has just been made.
void PowerLossSystemCalls::note(Change change) {
    if (change.source) change.folders.insert(parentOf(*change.source));
    if (change.destination) change.folders.insert(parentOf(*change.destination));
    apply(change, _current);
    _changes.push_back(std::move(change));
}

void PowerLossSystemCalls::noteMove(const std::string& source, const std::string& destination) {
    const auto item = _current.find(source);
    if (item == _current.end()) return;
    note({.source = source, .destination = destination, .item = item->second, .folders = {}});
    for (auto& [descriptor, openItem] : _openItems) {
        const std::string& path = openItem.path;
        if (path == source || path.starts_with(source + "/"))
            openItem.path = destination + path.substr(source.size());
    }
}

void PowerLossSystemCalls::noteNewFolder(const std::string& path) {
    if (!isInside(path)) return;
    note({.source = std::nullopt, .destination = path, .item = nullptr, .folders = {}});
}

void PowerLossSystemCalls::noteRemoval(const std::string& path) {
    if (!_current.contains(path)) return;
    note({.source = path, .destination = std::nullopt, .item = nullptr, .folders = {}});
}

void PowerLossSystemCalls::noteOpening(int descriptor, const std::string& path, int flags) {
    if (path == _folder) _openItems[descriptor] = {_folder, nullptr, 0};
    if (!isInside(path)) return;
    if ((flags & O_CREAT) != 0 && !_current.contains(path)) {
        note({.source = std::nullopt, .destination = path, .item = std::make_shared<File>(), .folders = {}});
    }
    const std::shared_ptr<File> file = _current.contains(path) ? _current[path] : nullptr;
    if (file && file->isLink) return;
    if (file && (flags & O_TRUNC) != 0) file->current.clear();
    _openItems[descriptor] = {path, file, 0};
}

void PowerLossSystemCalls::noteWriting(int descriptor, ByteView content) {
    const auto item = _openItems.find(descriptor);
    if (item == _openItems.end() || !item->second.file) return;
    Bytes& known = item->second.file->current;
    std::size_t& offset = item->second.offset;
    if (known.size() < offset + content.size()) known.resize(offset + content.size());
    known.replace(offset, content.size(), content);
    offset += content.size();
}

/// The path that the system takes `path` in the folder of a descriptor for; "" when that is not in the book.
std::string PowerLossSystemCalls::pathOf(int folder, const char* path) const {
    if (folder == AT_FDCWD || *path == '/') return path;
    const auto item = _openItems.find(folder);
    if (item == _openItems.end()) return {};
    return std::string_view(path) == ".." ? parentOf(item->second.path) : item->second.path + "/" + path;
}

PowerLossSystemCalls::State PowerLossSystemCalls::stateOf(const Tree& tree, Survival survival) {
    State state;
    for (const auto& [path, file] : tree) {
        std::optional<Bytes>& content = state[file && file->isLink ? path + linkMark : path];
        if (!file) continue;
        switch (survival) {
        case Survival::Safe:
            content = file->safe;
            break;
        case Survival::Current:
            content = file->current;
            break;
        case Survival::Half:
            content =
                file->safe == file->current ? file->safe : file->current.substr(0, file->current.size() / 2);
            break;
        }
    }
    return state;
}

std::set<PowerLossSystemCalls::State> PowerLossSystemCalls::statesAfterPowerLoss() const {
    const std::lock_guard lock(_mutex);
    using Choice = std::vector<bool>;
    const std::size_t count = _changes.size();
    std::vector<Choice> choices;
    constexpr std::size_t mostToCombine = 12;
    if (count <= mostToCombine) {
        for (std::size_t bits = 0; bits < std::size_t{1} << count; ++bits) {
            Choice choice(count);
            for (std::size_t index = 0; index < count; ++index)
                choice[index] = (bits >> index & 1) != 0;
            choices.push_back(std::move(choice));
        }
    } else {
        for (std::size_t index = 0; index <= count; ++index) {
            Choice first(count);
            std::fill_n(first.begin(), index, true);
            choices.push_back(std::move(first));
            Choice allButOne(count, true);
            if (index < count) allButOne[index] = false;
            choices.push_back(std::move(allButOne));
        }
    }

    std::set<State> states;
    for (const Choice& choice : choices) {
        Tree tree = _safe;
        for (std::size_t index = 0; index < count; ++index) {
            if (choice[index]) apply(_changes[index], tree);
        }
        // What survived in a folder that did not is out of reach.
        std::erase_if(tree, [&](const auto& item) {
            const std::string parent = parentOf(item.first);
            return parent != _folder && !tree.contains(parent);
        });
        for (const Survival survival : {Survival::Safe, Survival::Half, Survival::Current}) {
            State state;
            for (auto& [path, content] : stateOf(tree, survival)) {
                state.emplace(path.substr(_folder.size() + 1), std::move(content));
            }
            states.insert(std::move(state));
        }
    }
    return states;
}

void PowerLossSystemCalls::restart(const State& state) {
    const std::lock_guard lock(_mutex);
    constexpr int openDirectories = 16;
    if (::nftw(_folder.c_str(), removeItem, openDirectories, FTW_PHYS | FTW_DEPTH) != 0) fail(_folder);
    for (const auto& [relativePath, content] : state) {
        const std::string path = _folder + "/" + relativePath;
        if (content && path.ends_with(linkMark)) {
            const std::string link = path.substr(0, path.size() - 1);
            if (::symlink(content->c_str(), link.c_str()) != 0) fail(link);
        } else if (content)
            makeFile(path, *content);
        else if (::mkdir(path.c_str(), 0777) != 0)
            fail(path);
    }
    _changes.clear();
    _openItems.clear();
    _safe = treeOf(_folder);
    _current = _safe;
}

int PowerLossSystemCalls::open(const char* path, int flags, mode_t mode) {
    const int descriptor = ForwardingSystemCalls::open(path, flags, mode);
    const std::lock_guard lock(_mutex);
    if (descriptor >= 0) noteOpening(descriptor, path, flags);
    return descriptor;
}

int PowerLossSystemCalls::openat(int folder, const char* path, int flags, mode_t mode) {
    const int descriptor = ForwardingSystemCalls::openat(folder, path, flags, mode);
    const std::lock_guard lock(_mutex);
    if (descriptor >= 0) noteOpening(descriptor, pathOf(folder, path), flags);
    return descriptor;
}

int PowerLossSystemCalls::close(int descriptor) {
    {
        const std::lock_guard lock(_mutex);
        _openItems.erase(descriptor);
    }
    return ForwardingSystemCalls::close(descriptor);
}

ssize_t PowerLossSystemCalls::write(int descriptor, const void* bytes, std::size_t size) {
    const ssize_t written = ForwardingSystemCalls::write(descriptor, bytes, size);
    if (written < 0) return written;
    const std::lock_guard lock(_mutex);
    noteWriting(descriptor, {static_cast<const char*>(bytes), static_cast<std::size_t>(written)});
    return written;
}

ssize_t PowerLossSystemCalls::writev(int descriptor, const struct ::iovec* pieces, int count) {
    const ssize_t written = ForwardingSystemCalls::writev(descriptor, pieces, count);
    if (written < 0) return written;
    const std::lock_guard lock(_mutex);
    for (auto left = static_cast<std::size_t>(written); left > 0; ++pieces) {
        const std::size_t size = std::min(left, pieces->iov_len);
        noteWriting(descriptor, {static_cast<const char*>(pieces->iov_base), size});
        left -= size;
    }
    return written;
}

ssize_t PowerLossSystemCalls::copy_file_range(int source, int destination, std::size_t size) {
    const ssize_t copied = ForwardingSystemCalls::copy_file_range(source, destination, size);
    if (copied < 0) return copied;
    // The copy is open for writing alone, perhaps; what it got is what the source's position went over.
    Bytes content(static_cast<std::size_t>(copied), '\0');
    const off_t end = ::lseek(source, 0, SEEK_CUR);
    if (::pread(source, content.data(), content.size(), end - copied) != copied) fail("copy_file_range");
    const std::lock_guard lock(_mutex);
    noteWriting(destination, content);
    return copied;
}

int PowerLossSystemCalls::fsync(int descriptor) {
    const int result = ForwardingSystemCalls::fsync(descriptor);
    if (result < 0) return result;
    const std::lock_guard lock(_mutex);
    const auto item = _openItems.find(descriptor);
    if (item == _openItems.end()) return result;
    if (item->second.file) {
        item->second.file->safe = item->second.file->current;
        return result;
    }
    std::erase_if(_changes, [&](Change& change) {
        change.folders.erase(item->second.path);
        if (!change.folders.empty()) return false;
        apply(change, _safe);
        return true;
    });
    return result;
}

int PowerLossSystemCalls::syncfs(int descriptor) {
    const int result = ForwardingSystemCalls::syncfs(descriptor);
    if (result < 0) return result;
    const std::lock_guard lock(_mutex);
    for (const auto& [path, file] : _current) {
        if (file) file->safe = file->current;
    }
    _safe = _current;
    _changes.clear();
    return result;
}

int PowerLossSystemCalls::mkdir(const char* path, mode_t mode) {
    const int result = ForwardingSystemCalls::mkdir(path, mode);
    const std::lock_guard lock(_mutex);
    if (result == 0) noteNewFolder(path);
    return result;
}

int PowerLossSystemCalls::mkdirat(int folder, const char* path, mode_t mode) {
    const int result = ForwardingSystemCalls::mkdirat(folder, path, mode);
    const std::lock_guard lock(_mutex);
    if (result == 0) noteNewFolder(pathOf(folder, path));
    return result;
}

int PowerLossSystemCalls::symlinkat(const char* target, int folder, const char* path) {
    const int result = ForwardingSystemCalls::symlinkat(target, folder, path);
    if (result < 0) return result;
    const std::lock_guard lock(_mutex);
    const std::string link = pathOf(folder, path);
    if (isInside(link)) {
        note({.source = std::nullopt,
              .destination = link,
              .item = std::make_shared<File>(File{target, target, true}),
              .folders = {}});
    }
    return result;
}

int PowerLossSystemCalls::unlinkat(int folder, const char* path, int flags) {
    const int result = ForwardingSystemCalls::unlinkat(folder, path, flags);
    const std::lock_guard lock(_mutex);
    if (result == 0) noteRemoval(pathOf(folder, path));
    return result;
}

int PowerLossSystemCalls::renameat(int sourceFolder, const char* source, int destinationFolder,
                                   const char* destination) {
    const int result = ForwardingSystemCalls::renameat(sourceFolder, source, destinationFolder, destination);
    const std::lock_guard lock(_mutex);
    if (result == 0) noteMove(pathOf(sourceFolder, source), pathOf(destinationFolder, destination));
    return result;
}

int PowerLossSystemCalls::renameat2(int sourceFolder, const char* source, int destinationFolder,
                                    const char* destination, unsigned flags) {
    const int result =
        ForwardingSystemCalls::renameat2(sourceFolder, source, destinationFolder, destination, flags);
    const std::lock_guard lock(_mutex);
    if (result == 0) noteMove(pathOf(sourceFolder, source), pathOf(destinationFolder, destination));
    return result;
}

} // namespace mox::test
