#include "ModelBased/DictionaryReference.hpp"

#include <algorithm>

namespace mox::test::model {
namespace {

bool holdsSubscriptions(const FolderNode& node) {
    return !node.subscriptions.empty() ||
           std::any_of(node.folders.begin(), node.folders.end(),
                       [](auto& child) { return holdsSubscriptions(child.second); });
}

/// The entry that a subscription makes: its record with the icon.
Entry entryOf(const Step& step) {
    Entry entry = recordOf(step);
    if (step.info && step.info->icon != 0)
        entry["Icon"] = {EntryValue::Kind::Image, std::to_string(step.info->icon)};
    return entry;
}

std::string iconOf(const Entry& entry) {
    const auto icon = entry.find("Icon");
    return icon == entry.end() ? "nil" : icon->second.text;
}

/// The node of a path that a sample needs, made on the way.
FolderNode& made(FolderNode& root, const std::vector<std::string>& components) {
    FolderNode* node = &root;
    for (const std::string& component : components)
        node = &node->folders[component];
    return *node;
}

Entry sampleEntry(const std::string& type) {
    return {{"Korvan Application Type", textValue(type)},
            {"Korvan Server Unique Application Name", textValue("Farm:Word")},
            {"Store Name", textValue("Store")},
            {"Norvik Type", textValue("Standard")},
            {"Tavamor Name", textValue("kept as it is")},
            {"Korvan Server", textValue("https://server.example")},
            {"Some Other Key", integerValue("7")}};
}

} // namespace

std::string textOf(const FolderNode& node) {
    std::vector<std::string> keys;
    std::string list;
    for (const auto& [name, child] : node.folders)
        list.append(list.empty() ? "" : ", ").append(quoted(name)).append(": ").append(textOf(child));
    if (node.hasFolders) keys.push_back("\"Folders\": {" + list + "}");
    list.clear();
    for (const auto& [name, entry] : node.subscriptions)
        list.append(list.empty() ? "" : ", ").append(quoted(name)).append(": ").append(textOf(entry));
    if (node.hasSubscriptions) keys.push_back("\"Subscriptions\": {" + list + "}");
    return "{" + (keys.empty() ? "" : keys.size() == 1 ? keys[0] : keys[0] + ", " + keys[1]) + "}";
}

FolderNode sampleTree(int variant) {
    FolderNode root;
    FolderNode& apps = made(root, {"/", "Users", "user", "Applications"});
    switch (variant) {
    case 1: // As an older client may have left it: entries at the root, unknown keys and words.
        root.subscriptions["Bare"] = sampleEntry("Application");
        root.subscriptions["Odd"] = sampleEntry("application");
        apps.subscriptions["Word"] = sampleEntry("Desktop");
        apps.subscriptions["N"] = {};
        made(apps, {"A", "B"}).subscriptions["N"] = sampleEntry("Application");
        made(apps, {"N"});
        break;
    case 2: // Nodes without one of their keys.
        made(apps, {"A"}).hasSubscriptions = false;
        made(apps, {"A", "B"}).subscriptions["Word"] = sampleEntry("Application");
        made(apps, {"a"}).subscriptions["Word"] = sampleEntry("Application");
        made(apps, {"a"}).hasFolders = false;
        made(apps, {"N"}).hasFolders = false;
        made(apps, {"N"}).hasSubscriptions = false;
        break;
    case 3: // A root without folders.
        root = {};
        root.hasFolders = false;
        root.subscriptions["Word"] = sampleEntry("Application");
        break;
    case 4: // A root without subscriptions, and no folder for applications.
        root = {};
        root.hasSubscriptions = false;
        made(root, {"ab", "x", "A"}).subscriptions["N"] = sampleEntry("Desktop");
        made(root, {"x", "ab"}).subscriptions["N"] = sampleEntry("Desktop");
        break;
    default:
        break;
    }
    return root;
}

DictionaryReference::DictionaryReference(const std::string& home, const std::string& plistPath)
    : _appsFolder(joined(home, "Applications")), _plistPath(plistPath) {
    reopen(withoutFile);
}

std::string DictionaryReference::disk() const {
    if (_isFolderBlocked) return "no folder";
    if (_isFileBlocked) return "directory";
    return _disk ? textOf(*_disk) : "no file";
}

FolderNode& DictionaryReference::nodeFor(const std::string& path) {
    FolderNode* node = &_root;
    for (const std::string& component : componentsOf(path)) {
        const auto found = node->folders.find(component);
        if (found == node->folders.end()) break;
        node = &found->second;
    }
    return *node;
}

FolderNode* DictionaryReference::parentNodeFor(const std::string& path) {
    const std::string parent = parentOf(path);
    return utf16Of(parent).size() < 2 ? nullptr : &nodeFor(parent);
}

Entry* DictionaryReference::entryIn(const std::string& folder, const std::string& name) {
    FolderNode& node = nodeFor(folder);
    const auto found = node.subscriptions.find(name);
    return found == node.subscriptions.end() ? nullptr : &found->second;
}

void DictionaryReference::save() {
    ++_call.saves;
    const bool isWritten =
        !_isFolderBlocked && !_isFileBlocked && _call.fault != -1 && _call.fault != _call.saves;
    if (isWritten) _disk = _root;
    _subscriptionPaths.clear();
    _folders.clear();
    list(_root, std::nullopt);
    if (!isWritten) {
        _call.log.push_back("-[MOXPlistSubscriptionManager saveSubscriptions] Error writing subscription "
                            "dictionary at path (" +
                            (_isFolderBlocked ? "(null)" : _plistPath) + ")");
    }
}

void DictionaryReference::list(const FolderNode& node, const std::optional<std::string>& path) {
    for (const auto& [name, entry] : node.subscriptions)
        _subscriptionPaths.push_back(path ? joined(*path, name) : name);
    if (path) _folders.push_back(*path);
    for (const auto& [name, child] : node.folders)
        list(child, joined(path.value_or(""), name));
}

void DictionaryReference::failAssertion(const std::string& operation, int line,
                                        const std::string& description, const std::string& file) {
    _call.assertion = operation + " Frameworks/MOXSubscribe/Source/SDK/" + file + " " + std::to_string(line) +
                      " " + description;
    throw Asserted();
}

void DictionaryReference::fail(const std::string& error) {
    _call.place = error;
    result(false);
}

void DictionaryReference::createFolder(const std::string& path) {
    _call.place = clearedPlace;
    FolderNode* node = &_root;
    for (const std::string& component : componentsOf(path)) {
        if (!node->hasFolders) {
            failAssertion("-[MOXPlistSubscriptionManager createFolderAtPath:error:]", 364,
                          "Badly formed subscriptions dictionary");
        }
        node = &node->folders[component];
    }
    save();
}

void DictionaryReference::subscribe(const Step& step) {
    const bool hasURL = !step.internalURL.value_or("").empty() || !step.externalURL.value_or("").empty();
    if (step.resource.value_or("").empty() || (step.type != 1 && step.type != 2) || !hasURL ||
        step.fileName.empty() || step.path.empty()) {
        return fail(invalidArgument());
    }
    createFolder(step.path);
    Entry record = entryOf(step);
    const Entry* existing = entryIn(step.path, step.fileName);
    if (existing && typeOf(*existing) != step.type) {
        _call.log.push_back(
            "-[MOXPlistSubscriptionManager subscribeToResource:ofType:onStoreNamed:withInternalStoreURL:"
            "andExternalStoreURL:usingNorvikType:andNorvikAuthType:withFileName:inFolder:andOptionalInfo:"
            "error:]"
            " Can't update subscription because something else exists at path (" +
            _call.folderAsGiven + "/" + _call.nameAsGiven + ")");
        return fail(frameworkError(2004));
    }
    FolderNode& folder = nodeFor(step.path);
    buildSeamlessName(record);
    if (folder.hasSubscriptions) folder.subscriptions[step.fileName] = record;
    save();
    result(true);
}

void DictionaryReference::lookUp(const std::string& path) {
    const Entry* entry = path.empty() ? nullptr : entryIn(path, lastComponentOf(path));
    if (entry)
        _call.results = propertiesOf(*entry, iconOf(*entry));
    else
        _call.results = {"nil"};
    if (path.empty())
        _call.place = invalidArgument();
    else if (!entry)
        _call.place = frameworkError(2008);
}

void DictionaryReference::remove(const std::string& path) {
    if (path.empty()) return fail(invalidArgument());
    if (!entryIn(parentOf(path), lastComponentOf(path))) return fail(frameworkError(2008));
    nodeFor(parentOf(path)).subscriptions.erase(lastComponentOf(path));
    save();
    result(true);
}

void DictionaryReference::renameFolder(const std::string& path, const std::string& newPath) {
    _call.place = clearedPlace;
    if (path == newPath) return result(true);
    FolderNode* parent = parentNodeFor(path);
    if (!parent) return result(false);
    if (!parent->hasFolders) {
        failAssertion("-[MOXPlistSubscriptionManager renameFolderAtPath:to:error:]", 413,
                      "Badly formed subscriptions dictionary");
    }
    const auto found = parent->folders.find(lastComponentOf(path));
    if (found == parent->folders.end()) return result(false);
    const FolderNode folder = found->second;
    parent->folders[lastComponentOf(newPath)] = folder;
    parent->folders.erase(lastComponentOf(path));
    save();
    result(true);
}

void DictionaryReference::removeFolder(const std::string& path, bool onlyIfEmpty) {
    FolderNode* parent = parentNodeFor(path);
    if (!parent) return fail(frameworkError(2008));
    if (!parent->hasFolders) {
        failAssertion("-[MOXPlistSubscriptionManager removeFolderAtPath:onlyIfEmpty:error:]", 456,
                      "Badly formed subscriptions dictionary");
    }
    const auto found = parent->folders.find(lastComponentOf(path));
    const bool isKept = onlyIfEmpty && found != parent->folders.end() && holdsSubscriptions(found->second);
    if (!isKept) {
        parent->folders.erase(lastComponentOf(path));
        save();
    }
    result(true);
}

void DictionaryReference::move(const std::string& source, const std::string& destination, bool wantsError) {
    const std::string operation = "-[MOXPlistSubscriptionManager moveSubscriptionFrom:to:error:]";
    FolderNode& sourceFolder = nodeFor(parentOf(source));
    if (!sourceFolder.hasSubscriptions)
        failAssertion(operation, 491, "Badly formed subscriptions dictionary");
    const auto found = sourceFolder.subscriptions.find(lastComponentOf(source));
    if (wantsError) _call.place = clearedPlace;
    if (found == sourceFolder.subscriptions.end()) return result(false);
    const Entry entry = found->second;
    FolderNode& destinationFolder = nodeFor(parentOf(destination));
    if (!destinationFolder.hasSubscriptions)
        failAssertion(operation, 510, "Badly formed subscriptions dictionary");
    destinationFolder.subscriptions[lastComponentOf(destination)] = entry;
    sourceFolder.subscriptions.erase(lastComponentOf(source));
    save();
    result(true);
}

void DictionaryReference::removeAll(const Step& step) {
    std::vector<std::string> removed;
    for (const std::string& path : std::vector<std::string>(_subscriptionPaths)) {
        const Entry* entry = entryIn(parentOf(path), lastComponentOf(path));
        if (!entry || !step.resource || !step.store) continue;
        if (textIn(*entry, "Korvan Server Unique Application Name") != stored(*step.resource) ||
            textIn(*entry, "Store Name") != stored(*step.store)) {
            continue;
        }
        nodeFor(parentOf(path)).subscriptions.erase(lastComponentOf(path));
        removed.push_back(path);
    }
    if (removed.empty()) {
        _call.results = {"nil"};
        return;
    }
    save();
    _call.results = removed;
}

void DictionaryReference::writeRecord(const Step& step) {
    Entry record = entryOf(step);
    buildSeamlessName(record);
    FolderNode& folder = nodeFor(step.path);
    // The name that counts is the argument's, not the record's own.
    if (folder.hasSubscriptions) folder.subscriptions[step.other] = record;
    save();
    result(true);
}

void DictionaryReference::reopen(int variant) {
    if (variant != 0) {
        _isFolderBlocked = variant == onBlockedFolder;
        _isFileBlocked = variant == onBlockedFile;
        _disk.reset();
        if (variant <= sampleTreeCount) _disk = sampleTree(variant);
    }
    if (_isFolderBlocked) {
        _call.log.push_back(
            "-[MOXPlistSubscriptionManager init] Error creating subscription dictionary folder (" +
            parentOf(_plistPath) + "); (path is file)");
    }
    if (_disk) {
        _root = *_disk;
        _subscriptionPaths.clear();
        _folders.clear();
        list(_root, std::nullopt);
    } else {
        _root = {};
        createFolder(_appsFolder);
        _call.place = untouchedPlace;
    }
}

void DictionaryReference::perform(const Step& step, bool& hasPlace) {
    const std::string manager = "-[MOXPlistSubscriptionManager ";
    switch (step.operation) {
    case Operation::Subscribe:
        return subscribe(step);
    case Operation::LookUp:
    case Operation::RecordAtPath:
        return lookUp(step.path);
    case Operation::IsSubscription:
        hasPlace = false;
        return result(!step.path.empty() && entryIn(step.path, lastComponentOf(step.path)));
    case Operation::Remove:
        return remove(step.path);
    case Operation::CreateFolder:
        createFolder(step.path);
        return result(true);
    case Operation::RenameFolder:
        return renameFolder(step.path, step.other);
    case Operation::RemoveFolder:
        return removeFolder(step.path, step.flag);
    case Operation::Move:
        return move(step.path, step.other, step.wantsError);
    case Operation::RemoveAll:
        hasPlace = false;
        return removeAll(step);
    case Operation::ListFolder:
        hasPlace = false;
        _call.results = pathsInFolder(_subscriptionPaths, step.path, step.flag);
        return;
    case Operation::Update:
        hasPlace = false;
        return;
    case Operation::CommonUpdate: {
        const std::string name = "-[MOXSubscriptionManager "
                                 "updateSubscriptionsAtPaths:errorBlock:storeNameBlock:iconBlock:]";
        failAssertion(name, 170, name + " must be implemented by derived class", "MOXSubscriptionManager");
    }
    case Operation::NameOfSubscription: {
        const std::string name = manager + "fileNameForSubscription:]";
        failAssertion(name, 759, name + " is not implemented for plist subscriptions");
    }
    case Operation::PathOfSubscription: {
        const std::string name = manager + "pathForSubscription:]";
        failAssertion(name, 749, name + " is not implemented for plist subscriptions");
    }
    case Operation::WriteRecord:
        return writeRecord(step);
    case Operation::Reopen:
        hasPlace = false;
        return reopen(step.variant);
    default:
        return;
    }
}

Observations DictionaryReference::perform(const Step& step) {
    _call = {};
    _call.fault = step.fault;
    _call.folderAsGiven = step.path;
    _call.nameAsGiven = step.fileName;
    Step known = step;
    for (std::string* name : {&known.path, &known.other, &known.fileName})
        *name = stored(*name);
    bool hasPlace = step.wantsError;
    try {
        perform(known, hasPlace);
    } catch (const Asserted&) {
        hasPlace = false;
    }
    Observations observations;
    append(observations, "result", _call.assertion ? std::vector<std::string>() : _call.results);
    if (_call.assertion) observations.push_back("assertion " + *_call.assertion);
    if (hasPlace) observations.push_back("error " + _call.place);
    append(observations, "log", _call.log);
    // A store that has no path to write to asks the disk for nothing.
    observations.push_back("writes " + std::to_string(_isFolderBlocked ? 0 : _call.saves));
    observations.push_back("number " + std::to_string(_subscriptionPaths.size()));
    append(observations, "subscription", _subscriptionPaths);
    append(observations, "folder", _folders);
    return observations;
}

} // namespace mox::test::model
