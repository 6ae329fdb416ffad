#include "SDK/MOXPlistSubscriptionManager.hpp"

#include "Formats/PropertyListReading.hpp"
#include "Formats/PropertyListWriting.hpp"
#include "Foundation/PathRules.hpp"
#include "Foundation/UnicodeText.hpp"
#include "SDK/OperationNames.hpp"
#include "SDK/Reporting.hpp"
#include "SDK/SubscribeArguments.hpp"

#include <algorithm>
#include <iterator>
#include <map>
#include <set>
#include <utility>

namespace mox {
namespace {

namespace names = operations::MOXPlistSubscriptionManager;

constexpr std::string_view sourceFile = "Frameworks/MOXSubscribe/Source/SDK/MOXPlistSubscriptionManager";

constexpr std::string_view foldersKey = "Folders";
constexpr std::string_view subscriptionsKey = "Subscriptions";

constexpr FileMode supportFolderMode = 0700;
constexpr FileMode plistFileMode = 0600;

/// A path or name as the tree's keys are: without ill-formed UTF-8.
std::string wellFormed(std::string_view text) {
    return repairedUTF8(std::string(text));
}

std::string nameAtPath(std::string_view path) {
    return lastPathComponent(wellFormed(path));
}

PropertyList newFolderNode() {
    PropertyList::Dictionary node;
    node.set(std::string(foldersKey), PropertyList::Dictionary());
    node.set(std::string(subscriptionsKey), PropertyList::Dictionary());
    return node;
}

/// The subscriptions of `node`; null when it is null or lacks them.
template<typename Dictionary>
Dictionary* subscriptionsOfNode(Dictionary* node) {
    return node ? node->dictionary(subscriptionsKey) : nullptr;
}

/// The node at the end of the lenient walk along `path`, and `nodeWithoutKeys` in place of what is none. A
/// walk through constant nodes changes nothing, not even which of them may keep their text.
template<typename Dictionary>
Dictionary* endOfWalk(Dictionary* node, std::string_view path, Dictionary* nodeWithoutKeys) {
    for (const std::string& component : pathComponents(wellFormed(path))) {
        Dictionary* folders = node->dictionary(foldersKey);
        auto* child = folders ? folders->find(component) : nullptr;
        if (!child) return node;
        node = child->dictionary();
        if (!node) return nodeWithoutKeys;
    }
    return node;
}

/// Stores the value that is under `sourceName` in `source` under `destinationName` in `destination`, then
/// removes the source's name. Required to be in that order: when both are the same, the value is gone.
void moveValue(PropertyList::Dictionary& source, const std::string& sourceName,
               PropertyList::Dictionary& destination, const std::string& destinationName) {
    if (&source != &destination) {
        // The place is made first: once nothing can fail any more, the value changes over.
        destination.set(destinationName, PropertyList::boolean(false));
        *destination.find(destinationName) = std::move(*source.find(sourceName));
    } else if (sourceName != destinationName) {
        source.rename(sourceName, destinationName);
        return;
    }
    source.remove(sourceName);
}

/// Whether the path of `name` in `folder` is what stands in both, with a "/" between them.
bool isPlainlyJoined(const std::string& folder, std::string_view name) {
    return !folder.empty() && !name.empty() && name.find('/') == name.npos;
}

/// As `stringByAppendingPathComponent`, for a `folder` that came from it (and so needs no second look).
std::string joinedPath(const std::string& folder, std::string_view name) {
    if (!isPlainlyJoined(folder, name)) return stringByAppendingPathComponent(folder, name);
    std::string path;
    path.reserve(folder.size() + 1 + name.size());
    path += folder;
    if (folder.back() != '/') path += '/';
    path += name;
    return path;
}

/// Lists paths anew, taking over those of the old list that are still right: from one save to the next most
/// of them are, and making them again would take as long as all else but the writing. The old list stays as
/// it is until it is replaced, for which all memory is there before anything changes.
class RenewedPaths {
public:
    explicit RenewedPaths(std::vector<std::string>& paths) : _old(paths) {}

    void add(std::string path) {
        _made.push_back(std::move(path));
        ++_size;
    }

    void add(const std::string& folder, std::string_view name) {
        // Behind a removal the next one fits, and behind an insertion the same one again.
        for (std::size_t old = _next; old < _old.size() && old < _next + 2; ++old) {
            if (!isPathOf(_old[old], folder, name)) continue;
            takeOver(old);
            return;
        }
        add(joinedPath(folder, name));
    }

    void replaceOld() {
        if (_runs.empty()) {
            _old.swap(_made);
            return;
        }
        // As long as none moves towards the end, none is in the way of another.
        const bool canStay =
            std::all_of(_runs.begin(), _runs.end(), [](const Run& run) { return run.place <= run.old; });
        std::vector<std::string> other;
        std::vector<std::string>& list = canStay ? _old : other;
        list.resize(std::max(list.size(), _size));
        std::string* place = list.data();
        auto made = _made.begin();
        for (const Run& run : _runs) {
            for (; place != list.data() + run.place; ++place, ++made)
                *place = std::move(*made);
            std::string* const old = _old.data() + run.old;
            if (place != old) std::move(old, old + run.size, place);
            place += run.size;
        }
        std::move(made, _made.end(), place);
        list.resize(_size);
        if (!canStay) _old.swap(other);
    }

private:
    /// Paths that follow each other in both lists.
    struct Run {
        std::size_t old;
        std::size_t place; ///< in the new list
        std::size_t size;
    };

    void takeOver(std::size_t old) {
        if (_runs.empty() || _runs.back().old + _runs.back().size != old ||
            _runs.back().place + _runs.back().size != _size) {
            _runs.push_back({old, _size, 0});
        }
        ++_runs.back().size;
        ++_size;
        _next = old + 1;
    }

    static bool isPathOf(const std::string& path, const std::string& folder, std::string_view name) {
        if (!isPlainlyJoined(folder, name)) return false;
        const std::size_t separators = folder.back() == '/' ? 0 : 1;
        return path.size() == folder.size() + separators + name.size() && path.ends_with(name) &&
               path.starts_with(folder) && path[path.size() - name.size() - 1] == '/';
    }

    std::vector<std::string>& _old;
    /// What the old list lacks.
    std::vector<std::string> _made;
    std::vector<Run> _runs;
    std::size_t _size = 0;
    std::size_t _next = 0;
};

} // namespace

// Loading

MOXPlistSubscriptionManager::MOXPlistSubscriptionManager() : _plistPath(findPlistPath()) {
    if (_plistPath) loadSubscriptions();
    if (!_subscriptionHierarchy) {
        _subscriptionHierarchy = newFolderNode();
        MOXPlistSubscriptionManager::createFolderAtPath(appsFolderPath());
    }
}

MOXPlistSubscriptionManager::~MOXPlistSubscriptionManager() = default;

std::shared_ptr<MOXSubscriptionManager> MOXPlistSubscriptionManager::sharedManager() {
    static std::recursive_mutex classMonitor;
    return sharedManagerUnder(classMonitor);
}

std::optional<std::string> MOXPlistSubscriptionManager::findPlistPath() const {
    const std::vector<std::string> libraries = platform().userDirectories.libraryDirectories();
    if (libraries.empty()) {
        logLine(platform(), "%s library directory not found", {names::init});
        return std::nullopt;
    }
    const std::string folder = stringByAppendingPathComponent(
        stringByAppendingPathComponent(libraries.front(), "Application Support"), "Korvan Ostrel");
    FileSystem& fileSystem = platform().fileSystem;
    switch (fileSystem.itemKindAtPath(folder)) {
    case ItemKind::File:
        logLine(platform(), "%s Error creating subscription dictionary folder (%@); (path is file)",
                {names::init, folder});
        return std::nullopt;
    case ItemKind::Directory:
        break;
    case ItemKind::Missing:
    case ItemKind::Inaccessible: // The attempt tells why.
        if (const auto made = fileSystem.createDirectoryWithIntermediates(folder, supportFolderMode); !made) {
            logLine(platform(), "%s Error creating subscription dictionary folder (%@): %@",
                    {names::init, folder, made.error().localizedDescription()});
            return std::nullopt;
        }
    }
    return stringByAppendingPathExtension(stringByAppendingPathComponent(folder, "Subscriptions"), "plist");
}

void MOXPlistSubscriptionManager::loadSubscriptions() {
    FileSystem& fileSystem = platform().fileSystem;
    const ItemKind kind = fileSystem.itemKindAtPath(*_plistPath);
    if (kind == ItemKind::Missing || kind == ItemKind::Directory) return;

    // What refuses to be looked at or read is a file all the same; taken for a missing one, it would be
    // overwritten.
    if (const auto bytes = fileSystem.sharedContentsOfFile(*_plistPath)) {
        _subscriptionHierarchy = propertyListKeepingBytes(*bytes);
    }
    if (_subscriptionHierarchy && _subscriptionHierarchy->dictionary()) {
        const std::lock_guard lock(monitor());
        updateConvenienceArrays();
        return;
    }
    _subscriptionHierarchy.reset();
    reportAssertion(platform(), {this, names::init, sourceFile, 107},
                    "Bad subscriptions class retrieved from plist");
    putUnreadableFileAside();
}

void MOXPlistSubscriptionManager::putUnreadableFileAside() {
    constexpr Error::Code somethingIsThere = 516;
    constexpr int maximumNumber = 1000;
    const std::string asidePath = stringByAppendingPathExtension(*_plistPath, "unreadable");
    for (int number = 0; number <= maximumNumber; ++number) {
        const std::string path =
            number == 0 ? asidePath : stringByAppendingPathExtension(asidePath, std::to_string(number));
        const auto moved = platform().fileSystem.moveItem(*_plistPath, path);
        if (moved) return;
        if (moved.error().code() != somethingIsThere) break;
    }
    _plistPath.reset();
}

// What the operations are made of

PropertyList::Dictionary* MOXPlistSubscriptionManager::dictionaryForPath(std::string_view path) {
    if (!_subscriptionHierarchy) return nullptr;
    return endOfWalk(_subscriptionHierarchy->dictionary(), path, &_nodeWithoutKeys);
}

const PropertyList::Dictionary* MOXPlistSubscriptionManager::nodeForPath(std::string_view path) const {
    if (!_subscriptionHierarchy) return nullptr;
    return endOfWalk(_subscriptionHierarchy->dictionary(), path, &_nodeWithoutKeys);
}

PropertyList::Dictionary* MOXPlistSubscriptionManager::parentDictionaryForPath(std::string_view path) {
    const std::string parent = stringByDeletingLastPathComponent(wellFormed(path));
    // Required to be this rough: it keeps the root and the top-level "/" away from the folder operations, and
    // with them every parent whose name is a single character.
    return lengthInUTF16(parent) < 2 ? nullptr : dictionaryForPath(parent);
}

std::shared_ptr<MOXPlistSubscription>
MOXPlistSubscriptionManager::subscriptionInFolder(std::string_view fileName, std::string_view folder) {
    const PropertyList::Dictionary* subscriptions = subscriptionsOfNode(nodeForPath(folder));
    const PropertyList::Dictionary* entry =
        subscriptions ? subscriptions->dictionary(wellFormed(fileName)) : nullptr;
    return entry ? MOXPlistSubscription::subscriptionWithDictionary(*entry) : nullptr;
}

bool MOXPlistSubscriptionManager::setSubscription(const MOXSubscription& subscription,
                                                  std::string_view fileName, std::string_view folder) {
    PropertyList::Dictionary* subscriptions = subscriptionsOfNode(dictionaryForPath(folder));
    std::optional<PropertyList::Dictionary> entry = subscription.dictionaryRepresentation();
    if (!subscriptions || !entry) return false;
    subscriptions->set(std::string(fileName), std::move(*entry));
    return true;
}

bool MOXPlistSubscriptionManager::removeSubscriptionNamed(std::string_view fileName,
                                                          std::string_view folder) {
    PropertyList::Dictionary* subscriptions = subscriptionsOfNode(dictionaryForPath(folder));
    if (!subscriptions) return false;
    subscriptions->remove(wellFormed(fileName));
    return true;
}

bool MOXPlistSubscriptionManager::folderContainsSubscriptions(const PropertyList::Dictionary* node) {
    // A list of its own instead of recursion: folders may be nested deeper than any stack.
    std::vector<const PropertyList::Dictionary*> pending{node};
    while (!pending.empty()) {
        const PropertyList::Dictionary* next = pending.back();
        pending.pop_back();
        if (!next) continue;
        const PropertyList::Dictionary* subscriptions = next->dictionary(subscriptionsKey);
        if (subscriptions && !subscriptions->empty()) return true;
        const PropertyList::Dictionary* folders = next->dictionary(foldersKey);
        if (!folders) continue;
        for (auto child = std::make_reverse_iterator(folders->end());
             child != std::make_reverse_iterator(folders->begin()); ++child) {
            pending.push_back(child->value.dictionary());
        }
    }
    return false;
}

bool MOXPlistSubscriptionManager::writeSubscriptions() const {
    if (!_plistPath || !_subscriptionHierarchy) return false;
    const std::optional<DocumentPieces> document = storedPiecesOfPropertyList(*_subscriptionHierarchy);
    if (!document) return false;
    return static_cast<bool>(
        platform().fileSystem.writePiecesAtomically(*_plistPath, document->pieces, plistFileMode));
}

void MOXPlistSubscriptionManager::saveSubscriptions() {
    if (!_subscriptionHierarchy) {
        reportAssertion(platform(), {this, names::saveSubscriptions, sourceFile, 571},
                        "Missing subscriptions dictionary");
    }
    const bool isWritten = writeSubscriptions();
    updateConvenienceArrays();
    if (!isWritten) {
        logLine(platform(), "%s Error writing subscription dictionary at path (%@)",
                {names::saveSubscriptions, _plistPath});
    }
}

void MOXPlistSubscriptionManager::updateConvenienceArrays() {
    struct Folder {
        const PropertyList::Dictionary* node;
        std::string path;
    };
    RenewedPaths subscriptionPaths(_subscriptionPaths);
    std::vector<std::string> folders;
    const auto listSubscriptions = [](const PropertyList::Dictionary& node, auto listName) {
        const PropertyList::Dictionary* subscriptions = node.dictionary(subscriptionsKey);
        if (!subscriptions) return;
        for (const PropertyList::Entry& entry : *subscriptions)
            listName(entry.key);
    };
    // A list of its own instead of recursion, the next folder at its end.
    std::vector<Folder> pending;
    const auto listFoldersLater = [&pending](const PropertyList::Dictionary& node, const std::string& path) {
        const PropertyList::Dictionary* children = node.dictionary(foldersKey);
        if (!children) return;
        for (auto child = std::make_reverse_iterator(children->end());
             child != std::make_reverse_iterator(children->begin()); ++child) {
            pending.push_back({child->value.dictionary(), joinedPath(path, child->key)});
        }
    };

    if (_subscriptionHierarchy) {
        const PropertyList::Dictionary& root = *_subscriptionHierarchy->dictionary();
        listSubscriptions(root, [&](std::string_view name) { subscriptionPaths.add(std::string(name)); });
        listFoldersLater(root, "");
    }
    while (!pending.empty()) {
        const Folder folder = std::move(pending.back());
        pending.pop_back();
        if (folder.node) {
            listSubscriptions(*folder.node,
                              [&](std::string_view name) { subscriptionPaths.add(folder.path, name); });
            listFoldersLater(*folder.node, folder.path);
        }
        folders.push_back(folder.path);
    }
    // The arrays stay the same objects, since callers hold them.
    subscriptionPaths.replaceOld();
    _folders.swap(folders);
}

void MOXPlistSubscriptionManager::reportBadlyFormedDictionary(std::string_view operation, int line) const {
    reportAssertion(platform(), {this, operation, sourceFile, line}, "Badly formed subscriptions dictionary");
}

// Folders

bool MOXPlistSubscriptionManager::createFolderAtPath(std::string_view path, std::optional<Error>* error) {
    if (error) error->reset();
    const std::lock_guard lock(monitor());
    PropertyList::Dictionary* node = _subscriptionHierarchy ? _subscriptionHierarchy->dictionary() : nullptr;
    for (const std::string& component : pathComponents(wellFormed(path))) {
        PropertyList::Dictionary* folders = node ? node->dictionary(foldersKey) : nullptr;
        if (!folders) {
            reportBadlyFormedDictionary(names::createFolderAtPath, 364);
            break;
        }
        if (!std::as_const(*folders).find(component)) folders->set(component, newFolderNode());
        node = folders->dictionary(component);
    }
    saveSubscriptions();
    return true;
}

bool MOXPlistSubscriptionManager::renameFolderAtPath(std::string_view path, std::string_view newPath,
                                                     std::optional<Error>* error) {
    // Required to be nil after a failure too. Nothing below stores an error, so that this holds on every
    // exit.
    if (error) error->reset();
    if (wellFormed(path) == wellFormed(newPath)) return true;
    const std::lock_guard lock(monitor());
    PropertyList::Dictionary* parent = parentDictionaryForPath(path);
    if (!parent) return false;
    PropertyList::Dictionary* folders = parent->dictionary(foldersKey);
    if (!folders) {
        reportBadlyFormedDictionary(names::renameFolderAtPath, 413);
        return false;
    }
    const std::string name = nameAtPath(path);
    if (!std::as_const(*folders).find(name)) return false;
    moveValue(*folders, name, *folders, nameAtPath(newPath));
    saveSubscriptions();
    return true;
}

bool MOXPlistSubscriptionManager::removeFolderAtPath(std::string_view path, bool onlyIfEmpty,
                                                     std::optional<Error>* error) {
    const std::lock_guard lock(monitor());
    PropertyList::Dictionary* parent = parentDictionaryForPath(path);
    if (!parent) {
        storeError(error, frameworkError(MOXSubscribeNoSubscriptionAtPathError));
        return false;
    }
    if (PropertyList::Dictionary* folders = parent->dictionary(foldersKey)) {
        const std::string name = nameAtPath(path);
        if (onlyIfEmpty && folderContainsSubscriptions(std::as_const(*folders).dictionary(name))) return true;
        folders->remove(name);
    } else {
        reportBadlyFormedDictionary(names::removeFolderAtPath, 456);
    }
    saveSubscriptions();
    return true;
}

// Subscriptions

bool MOXPlistSubscriptionManager::subscribeToResource(std::string_view resourceName,
                                                      const MOXSubscribeKeywords& keywords,
                                                      std::optional<Error>* error) {
    if (!areCompleteArguments(resourceName, keywords)) {
        storeError(error, invalidArgumentError());
        return false;
    }
    createFolderAtPath(keywords.inFolder, error);
    const auto record = MOXPlistSubscription::subscriptionWithFileName(
        keywords.withFileName, recordKeywords(resourceName, keywords));
    if (keywords.andOptionalInfo) applyOptionalInfo(*record, *keywords.andOptionalInfo);

    const auto existing = subscriptionInFolder(keywords.withFileName, keywords.inFolder);
    if (existing && existing->type() != keywords.ofType) {
        // The key of another failure, on purpose: clients of this model know it as the conflict's.
        storeError(error, frameworkError(MOXSubscribeTemplateCopyError));
        logLine(platform(), "%s Can't update subscription because something else exists at path (%@/%@)",
                {names::subscribeToResource, keywords.inFolder, keywords.withFileName});
        return false;
    }
    setSubscription(*record, keywords.withFileName, keywords.inFolder);
    saveSubscriptions();
    return true;
}

std::shared_ptr<MOXSubscription>
MOXPlistSubscriptionManager::subscriptionAtPath(std::string_view path, std::optional<Error>* error) {
    if (path.empty()) {
        storeError(error, invalidArgumentError());
        return nullptr;
    }
    const PropertyList::Dictionary* subscriptions = subscriptionsOfNode(nodeForPath(path));
    const PropertyList* entry = subscriptions ? subscriptions->find(nameAtPath(path)) : nullptr;
    if (!entry) {
        storeError(error, frameworkError(MOXSubscribeNoSubscriptionAtPathError));
        return nullptr;
    }
    if (!entry->dictionary()) {
        storeError(error, frameworkError(MOXSubscribeBadSubscriptionAtPathError));
        return nullptr;
    }
    return MOXPlistSubscription::subscriptionWithDictionary(*entry->dictionary());
}

bool MOXPlistSubscriptionManager::isSubscriptionAtPath(std::string_view path) {
    return subscriptionAtPath(path) != nullptr;
}

bool MOXPlistSubscriptionManager::removeSubscriptionAtPath(std::string_view path,
                                                           std::optional<Error>* error) {
    if (path.empty()) {
        storeError(error, invalidArgumentError());
        return false;
    }
    const std::string name = lastPathComponent(path);
    const std::string folder = stringByDeletingLastPathComponent(path);
    if (!subscriptionInFolder(name, folder)) {
        storeError(error, frameworkError(MOXSubscribeNoSubscriptionAtPathError));
        return false;
    }
    removeSubscriptionNamed(name, folder);
    saveSubscriptions();
    return true;
}

bool MOXPlistSubscriptionManager::moveSubscriptionFrom(std::string_view source, std::string_view destination,
                                                       std::optional<Error>* error) {
    // Required to be nil after a failure too. Nothing below stores an error, so that this holds on every
    // exit.
    if (error) error->reset();
    const std::lock_guard lock(monitor());
    PropertyList::Dictionary* sourceNode = dictionaryForPath(stringByDeletingLastPathComponent(source));
    if (!sourceNode) return false;
    PropertyList::Dictionary* sourceSubscriptions = subscriptionsOfNode(sourceNode);
    if (!sourceSubscriptions) {
        reportBadlyFormedDictionary(names::moveSubscriptionFrom, 491);
        return false;
    }
    const std::string sourceName = nameAtPath(source);
    if (!std::as_const(*sourceSubscriptions).dictionary(sourceName)) return false;

    PropertyList::Dictionary* destinationSubscriptions =
        subscriptionsOfNode(dictionaryForPath(stringByDeletingLastPathComponent(destination)));
    if (!destinationSubscriptions) {
        reportBadlyFormedDictionary(names::moveSubscriptionFrom, 510);
        return false;
    }
    moveValue(*sourceSubscriptions, sourceName, *destinationSubscriptions, nameAtPath(destination));
    saveSubscriptions();
    return true;
}

std::optional<std::vector<std::string>> MOXPlistSubscriptionManager::removeAllSubscriptionsWithUniqueName(
    const std::optional<std::string>& uniqueName, const std::optional<std::string>& storeName) {
    if (!uniqueName || !storeName) return std::nullopt;
    const std::string wantedResource = wellFormed(*uniqueName);
    const std::string wantedStore = wellFormed(*storeName);
    const std::lock_guard lock(monitor());
    std::vector<std::string> removedPaths;
    // Found first and removed together, so that many take no more time than a few, and none is gone when
    // memory runs out on the way.
    std::map<PropertyList::Dictionary*, std::set<std::string, std::less<>>> matches;
    for (const std::string& path : subscriptionPaths()) {
        const std::string name = lastPathComponent(path);
        const std::string folder = stringByDeletingLastPathComponent(path);
        const auto record = subscriptionInFolder(name, folder);
        if (!record || record->resourceName() != wantedResource || record->storeName() != wantedStore) {
            continue;
        }
        // Two listed paths may lead to one entry, which is gone at the second.
        const bool isNew = matches[subscriptionsOfNode(dictionaryForPath(folder))].insert(name).second;
        if (isNew) removedPaths.push_back(path);
    }
    if (removedPaths.empty()) return std::nullopt;
    for (const auto& [subscriptions, removedNames] : matches)
        subscriptions->remove(removedNames);
    saveSubscriptions();
    return removedPaths;
}

void MOXPlistSubscriptionManager::updateSubscriptionsAtPathsStoreNameHandler(const std::vector<std::string>&,
                                                                             const MOXUpdateErrorBlock&,
                                                                             const MOXUpdateStoreNameBlock&,
                                                                             const MOXUpdateIconBlock&) {}

// Not supported

std::optional<std::string>
MOXPlistSubscriptionManager::fileNameForSubscription(const std::shared_ptr<MOXSubscription>&) {
    reportAssertion(platform(), {this, names::fileNameForSubscription, sourceFile, 759},
                    "%s is not implemented for plist subscriptions");
    return std::nullopt;
}

std::optional<std::string>
MOXPlistSubscriptionManager::pathForSubscription(const std::shared_ptr<MOXSubscription>&) {
    reportAssertion(platform(), {this, names::pathForSubscription, sourceFile, 749},
                    "%s is not implemented for plist subscriptions");
    return std::nullopt;
}

} // namespace mox
