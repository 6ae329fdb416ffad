#include "ModelBased/BundleReference.hpp"

#include <algorithm>
#include <array>
#include <cerrno>

namespace mox::test::model {
namespace {

constexpr const char* temporaryFolder = "~tmp/korvan.tmp.XXXXXX";
constexpr int registrationStatus = 5;

const std::string writing = "-[MOXFileSubscription writeToFolder:withName:error:]";
const std::string upgrading =
    "-[MOXFileSubscriptionManager updateSubscription:storeNameBlock:iconBlock:error:]";

std::string iconNameOf(int type) {
    return type == 2 ? "025_Apps_Combo_Mac.icns" : "DockApplication.icns";
}

std::string replaced(std::string text, const std::string& old, const std::string& replacement) {
    for (std::size_t at = text.find(old); at != std::string::npos;
         at = text.find(old, at + replacement.size()))
        text.replace(at, old.size(), replacement);
    return text;
}

/// What stands before the extension of the last component.
std::string nameWithoutExtension(const std::string& name) {
    const std::size_t slash = name.rfind('/');
    if (slash == std::string::npos) return withoutExtension(name);
    return name.substr(0, slash + 1) + withoutExtension(name.substr(slash + 1));
}

std::array<unsigned long, 4> numbersOf(const std::string& version) {
    std::array<unsigned long, 4> numbers = {};
    std::size_t index = 0;
    for (const char character : version) {
        if (character == '.')
            ++index;
        else if (index < numbers.size())
            numbers.at(index) = numbers.at(index) * 10 + static_cast<unsigned long>(character - '0');
    }
    return numbers;
}

std::string textOfVersion(const std::string& version) {
    std::string text;
    for (const unsigned long number : numbersOf(version))
        text.append(text.empty() ? "" : ".").append(std::to_string(number));
    return text;
}

Item infoPlistItem(const InfoList& infoList) {
    Item item;
    item.infoList = infoList;
    return item;
}

Item iconItem(int side) {
    Item item;
    item.icon = side;
    return item;
}

} // namespace

Item templateItem(int type, const std::string& version) {
    InfoList infoList{.texts = {{"CFBundleName", "Template"}, {"CFBundleIdentifier", "com.korvan.Template"}},
                      .documentTypes = std::vector<DocumentType>{{.name = "Own type", .extensions = {"own"}},
                                                                 {.name = "", .extensions = {"none"}}}};
    if (version != "none") infoList.texts["KorvanVersionString"] = version;
    return folderOf(
        {{"Contents",
          folderOf(
              {{"Info.plist", infoPlistItem(infoList)},
               {"MacOS", folderOf({{"Launcher", fileOf("program")}})},
               {"Resources",
                folderOf({{iconNameOf(type), iconItem(48)},
                          {"en.lproj", folderOf({{"InfoPlist.strings",
                                                  fileOf("\"Own type\" = \"The template's\";\n")}})}})}})}});
}

Item foreignStub(const Step& step) {
    InfoList infoList{.texts = {{"CFBundleName", "Foreign"}, {"CFBundleShortVersionString", step.other}}};
    if (step.other == "none") infoList.texts.clear();
    Item alias;
    alias.alias = recordOf(step);
    if (step.type == 0) alias.alias->erase("Korvan Application Type");
    if (!step.paths.empty()) (*alias.alias)["Korvan Server"] = textValue(step.paths.front());
    return folderOf({{"Contents", folderOf({{"Info.plist", infoPlistItem(infoList)},
                                            {"Resources", folderOf({{"Korvalias.plist", alias}})}})}});
}

Item applicationItem() {
    return folderOf({{"Contents", folderOf({{"Info.plist", infoPlistItem({.texts = {{"Key", "value"}}})},
                                            {"Resources", folderOf({{"Own.txt", fileOf("own")}})}})}});
}

std::string aliasFileIn(const std::string& bundle) {
    return joined(bundle, "Contents/Resources/Korvalias.plist");
}

std::string infoPlistIn(const std::string& bundle) {
    return joined(bundle, "Contents/Info.plist");
}

std::string stringsFileIn(const std::string& bundle) {
    return joined(bundle, "Contents/Resources/en.lproj/InfoPlist.strings");
}

std::string iconFileIn(const std::string& bundle, int type) {
    return joined(bundle, "Contents/Resources/" + iconNameOf(type));
}

BundleReference::BundleReference(Listing listing) : _listing(std::move(listing)) {
    _tree.put("~", folderOf({}));
    _tree.put("~tmp", folderOf({}));
    _tree.put("~templates", folderOf({{"1", templateItem(1, "2.0")}, {"2", templateItem(2, "2.0")}}));
    rebuild();
}

Observations BundleReference::disk() {
    Observations lines;
    if (exists(_apps)) describe(*_tree.find(_apps), _apps, lines);
    describe(*_tree.find("~tmp"), "~tmp", lines);
    std::vector<Observations> trash;
    for (const Trashed& trashed : _trash) {
        trash.emplace_back();
        describe(trashed.item, "in Trash, from " + trashed.path, trash.back());
    }
    std::sort(trash.begin(), trash.end());
    for (const Observations& item : trash)
        lines.insert(lines.end(), item.begin(), item.end());
    return lines;
}

std::vector<std::string> BundleReference::everyPath() {
    Observations lines;
    if (exists(_apps)) describe(*_tree.find(_apps), _apps, lines);
    for (std::string& line : lines)
        line = line.ends_with('/') ? line.substr(0, line.size() - 1) : line.substr(0, line.find(" = "));
    return lines;
}

// What calls are made of

BundleReference::Failure BundleReference::framework(int code, const std::optional<std::string>& path,
                                                    const std::optional<Failure>& underlying) {
    return {frameworkError(code, path, underlying ? std::optional(underlying->text) : std::nullopt),
            "Error Domain=com.korvan.MOXSubscribe.ErrorDomain Code=" + std::to_string(code)};
}

BundleReference::Failure BundleReference::system(const FileTree::Outcome& outcome) {
    return {errorOf(outcome), "Error Domain=NSCocoaErrorDomain Code=" + std::to_string(errorCodeOf(outcome))};
}

bool BundleReference::isFaulty(FaultKind kind) {
    const int number = ++_call.calls[kind];
    return _call.fault / 10 == static_cast<int>(kind) &&
           (_call.fault % 10 == everyCall || _call.fault % 10 == number);
}

void BundleReference::log(const std::string& operation, const std::string& text) {
    _call.log.push_back(operation + " " + text);
}

bool BundleReference::yesUnless(const Failed& failure) {
    if (failure) _call.place = failure->text;
    return !failure;
}

std::optional<std::string> BundleReference::resourceIn(const std::string& bundle, const std::string& name) {
    std::string folder = joined(bundle, "Contents/Resources");
    if (!_tree.isFolder(folder)) folder = joined(bundle, "Resources");
    if (!_tree.isFolder(folder)) folder = bundle;
    for (const std::string& path : {joined(folder, name), joined(folder, "en.lproj/" + name)}) {
        if (exists(path)) return path;
    }
    return std::nullopt;
}

std::optional<BundleReference::Record> BundleReference::readRecord(const std::string& path, Failed& failure) {
    const Item* alias = _tree.find(path + "/Contents/Resources/Korvalias.plist");
    if (alias && alias->alias) return Record{.alias = *alias->alias, .path = path};
    failure = framework(exists(path) ? 2009 : 2008, path);
    return std::nullopt;
}

std::optional<std::string> BundleReference::fileNameOf(const Record& record) const {
    return record.path ? lastComponentOf(*record.path) : textIn(record.alias, "cloneName");
}

std::optional<std::string> BundleReference::versionOf(const std::string& bundle) {
    const Item* item = _tree.find(infoPlistIn(bundle));
    if (!item || !item->infoList) return std::nullopt;
    for (const char* key : {"KorvanVersionString", "CFBundleShortVersionString"}) {
        const auto found = item->infoList->texts.find(key);
        if (found != item->infoList->texts.end()) return found->second;
    }
    return std::nullopt;
}

std::optional<std::string> BundleReference::templateFor(const Record& record) {
    const int type = typeOf(record.alias);
    if (type == 0) {
        log("-[MOXFileSubscription templatePath]", "Unexpected subscription type (0)");
        return std::nullopt;
    }
    const std::string path = "~templates/" + std::to_string(type);
    return exists(path) ? std::optional(path) : std::nullopt;
}

std::optional<std::string> BundleReference::iconNameFor(const Record& record) {
    const int type = typeOf(record.alias);
    if (type != 0) return iconNameOf(type);
    log("-[MOXFileSubscription templateIconName]", "Unexpected subscription type (0)");
    return std::nullopt;
}

int BundleReference::iconOf(const Record& record) {
    if (record.icon != 0 || !record.path) return record.icon;
    const std::optional<std::string> name = iconNameFor(record);
    const std::optional<std::string> path = name ? resourceIn(*record.path, *name) : std::nullopt;
    return path ? _tree.find(*path)->icon : 0;
}

std::optional<std::vector<FileType>> BundleReference::fileTypesOf(const Record& record) {
    if (record.fileTypes || !record.path) return record.fileTypes;
    std::vector<FileType> fileTypes;
    const Item* item = _tree.find(infoPlistIn(*record.path));
    if (!item || !item->infoList || !item->infoList->documentTypes) return fileTypes;
    const std::optional<std::string> stringsPath = resourceIn(*record.path, "InfoPlist.strings");
    const auto texts = textsInStrings(stringsPath ? _tree.find(*stringsPath)->bytes : "");
    for (const DocumentType& type : *item->infoList->documentTypes) {
        if (type.name.empty()) continue;
        FileType fileType{.group = type.name};
        for (const std::string& extension : type.extensions)
            fileType.extensions.push_back("." + extension);
        const auto text = texts.find(type.name);
        if (text != texts.end()) fileType.description = text->second;
        fileTypes.push_back(fileType);
    }
    return fileTypes;
}

bool BundleReference::needsUpdate(const Record& record) {
    if (!record.path) return false;
    const std::optional<std::string> version = versionOf(*record.path);
    if (!version) return true;
    const std::optional<std::string> templatePath = templateFor(record);
    const std::optional<std::string> newVersion = templatePath ? versionOf(*templatePath) : std::nullopt;
    return newVersion && numbersOf(*version) < numbersOf(*newVersion);
}

std::string BundleReference::versionTextOf(const Record& record) {
    const std::optional<std::string> version = record.path ? versionOf(*record.path) : std::nullopt;
    return version ? textOfVersion(*version) : "";
}

void BundleReference::tellRecord(const std::optional<Record>& record) {
    if (!record) {
        _call.results = {"nil"};
        return;
    }
    const int icon = iconOf(*record);
    _call.results = propertiesOf(record->alias, icon == 0 ? "nil" : std::to_string(icon));
    _call.results.push_back("path " + told(record->path) + " name " + told(fileNameOf(*record)));
    _call.results.push_back("version " + versionTextOf(*record));
    _call.results.emplace_back(needsUpdate(*record) ? "old" : "current");
    const std::optional<std::vector<FileType>> fileTypes = fileTypesOf(*record);
    for (const FileType& type : fileTypes.value()) {
        std::string text = "file type " + type.group;
        for (const std::string& extension : type.extensions)
            text.append(" ").append(extension);
        _call.results.push_back(text + " " + told(type.description));
    }
}

// Writing

BundleReference::Record BundleReference::newRecord(const Step& step) const {
    Record record{.alias = recordOf(step)};
    if (step.info) {
        record.fileTypes = step.info->fileTypes;
        record.icon = step.info->icon;
    }
    return record;
}

BundleReference::Failed BundleReference::write(Record& record, const std::string& folder) {
    const std::string name = fileNameOf(record).value_or("");
    const std::string destination = joined(folder, name);
    const bool isOneName = name.find('/') == std::string::npos && name.find('\0') == std::string::npos &&
                           !name.empty() && name != "." && name != "..";
    if (exists(destination)) {
        Failed ignored;
        const std::optional<Record> existing = readRecord(destination, ignored);
        // What the name reaches in another folder is nobody's to refresh.
        if (!isOneName || !existing || typeOf(existing->alias) != typeOf(record.alias)) {
            log(writing,
                "Can't update subscription because something else exists at path (" + destination + ")");
            return framework(2004);
        }
    } else {
        const std::optional<std::string> source = templateFor(record);
        if (!source) {
            log(writing, "Error retrieving subscription template path");
            return framework(2002);
        }
        const Item copy = *_tree.find(*source);
        if (isFaulty(FaultKind::Copy) || !isOneName || !_tree.isFolder(folder) ||
            !_tree.put(destination, copy)) {
            log(writing, "Error copying subscription template");
            return framework(2004);
        }
    }
    if (const Failed failure = updateInfoPlist(record, destination)) {
        log(writing, "Error updating Info.plist for subscription at path (" + destination + ")");
        return failure;
    }
    if (const int side = iconOf(record); side != 0) saveIcon(record, destination, side);
    buildSeamlessName(record.alias);
    const std::string aliasPath = aliasFileIn(destination);
    if (isFaulty(FaultKind::Write) || !_tree.isFolder(parentOf(aliasPath))) {
        log(writing, "Error writing launch alias for subscription at path (" + destination + ")");
        return framework(2007);
    }
    Item alias;
    alias.alias = record.alias;
    _tree.remove(aliasPath);
    _tree.put(aliasPath, alias);
    _call.registrations.push_back("register " + destination);
    if (isFaulty(FaultKind::Registration)) {
        log(writing, "Error registering subscription with launch services (" +
                         std::to_string(registrationStatus) + ")");
    }
    record.path = destination;
    return std::nullopt;
}

BundleReference::Failed BundleReference::updateInfoPlist(const Record& record, const std::string& path) {
    const std::string operation = "-[MOXFileSubscription updateInfoPlistForSubscriptionAtPath:error:]";
    Item* item = _tree.find(infoPlistIn(path));
    if (!item || !item->infoList) return framework(2005, infoPlistIn(path));
    InfoList infoList = *item->infoList;
    infoList.texts["CFBundleName"] = nameWithoutExtension(fileNameOf(record).value_or(""));
    const int type = typeOf(record.alias);
    std::string prefix = type == 2 ? "com.korvan.BelcastraAlias" : "com.korvan.TarvioAlias";
    if (type == 0) {
        log("-[MOXFileSubscription subscriptionBundleIDPrefix]", "Unexpected subscription type (0)");
        prefix = "(null)";
    }
    const std::string identifier =
        prefix + "-" + textIn(record.alias, "Korvan Server Unique Application Name").value_or("(null)");
    infoList.texts["CFBundleIdentifier"] = replaced(replaced(identifier, ":", "-"), " ", "");
    if (type == 2) infoList.isDesktopViewer = true;
    const std::vector<FileType> fileTypes = fileTypesOf(record).value_or(std::vector<FileType>());
    if (!fileTypes.empty()) {
        infoList.documentTypes.emplace();
        const std::string iconName = iconNameFor(record).value_or("");
        std::string block = "\n\n/* Type names */\n\n";
        for (const FileType& fileType : fileTypes) {
            DocumentType documentType{.name = fileType.group, .role = "Editor", .iconFile = iconName};
            for (const std::string& extension : fileType.extensions)
                documentType.extensions.push_back(extension.substr(1));
            infoList.documentTypes->push_back(documentType);
            block.append("\"" + fileType.group + "\" = \"" + fileType.description.value_or("(null)") +
                         "\";\n");
        }
        const std::optional<std::string> stringsPath = resourceIn(path, "InfoPlist.strings");
        if (!stringsPath) {
            log(operation, "Missing InfoPlist.strings file in subscription (" + path + ")");
        } else if (isFaulty(FaultKind::Write)) {
            log("-[MOXFileSubscription updateFileTypesForInfoPlistStringsAtPath:]",
                "Unable to write InfoPlist.strings file: Error Domain=NSCocoaErrorDomain Code=640");
        } else {
            _tree.find(*stringsPath)->bytes.append(block);
        }
    }
    if (isFaulty(FaultKind::Write)) return framework(2006, infoPlistIn(path));
    item->infoList = infoList;
    return std::nullopt;
}

void BundleReference::saveIcon(const Record& record, const std::string& path, int side) {
    const std::optional<std::string> name = iconNameFor(record);
    const std::optional<std::string> iconPath = name ? resourceIn(path, *name) : std::nullopt;
    const bool hasSize = side >= 16;
    if (!iconPath || !hasSize || isFaulty(FaultKind::Write))
        return log(writing, "Error saving icon to path (" + iconPath.value_or("(null)") + ")");
    *_tree.find(*iconPath) = iconItem(side);
}

// The disk

BundleReference::Failed BundleReference::removeForGood(const std::string& path, FaultKind fault) {
    const FileTree::Outcome outcome = isFaulty(fault) ? FileTree::Outcome{ENOSPC, path} : _tree.remove(path);
    if (!outcome) return system(outcome);
    _call.registrations.push_back("removed " + path);
    return std::nullopt;
}

bool BundleReference::recycle(const std::string& path) {
    const Item* item = _tree.find(path);
    if (!item || isFaulty(FaultKind::Trash)) return false;
    _trash.push_back({joined(parentOf(path), lastComponentOf(path)), *item});
    _tree.remove(path);
    _call.registrations.push_back("removed " + path);
    return true;
}

BundleReference::Failed BundleReference::moveItem(const std::string& source, const std::string& destination) {
    const FileTree::Outcome outcome =
        isFaulty(FaultKind::Move) ? FileTree::Outcome{ENOSPC, source} : _tree.move(source, destination);
    if (!outcome) return system(outcome);
    _call.registrations.push_back("moved " + source + " to " + destination);
    return std::nullopt;
}

BundleReference::Failed BundleReference::createFolder(const std::string& path) {
    _call.place = clearedPlace;
    if (_tree.isFolder(path)) return std::nullopt;
    if (exists(path)) return framework(2003);
    const FileTree::Outcome outcome =
        isFaulty(FaultKind::FolderCreation) ? FileTree::Outcome{ENOSPC, path} : _tree.makeFolders(path);
    if (!outcome) return framework(2003, std::nullopt, system(outcome));
    _addedByUser.insert(path);
    rebuild();
    return std::nullopt;
}

bool BundleReference::isAlmostEmpty(const std::string& path) {
    if (!_tree.isFolder(path) || isPackageName(path)) return false;
    for (const auto& [name, item] : _tree.find(path)->items) {
        if (name != ".DS_Store" && !isAlmostEmpty(joined(path, name))) return false;
    }
    return true;
}

bool BundleReference::isStub(const std::string& path) {
    return _tree.isFolder(path) && isPackageName(path) && resourceIn(path, "Korvalias.plist").has_value();
}

void BundleReference::rebuild() {
    _subscriptionPaths.clear();
    _folders.clear();
    walk(_apps);
    if (std::find(_folders.begin(), _folders.end(), _apps) == _folders.end()) _folders.push_back(_apps);
}

bool BundleReference::walk(const std::string& path) {
    bool holdsStub = false;
    // What the disk has beside the reference's names is told by the comparison of the disks.
    for (const std::string& name : _tree.isFolder(path) ? _listing(path) : std::vector<std::string>()) {
        const std::string child = joined(path, name);
        if (_tree.isFolder(child) && !isPackageName(child)) {
            holdsStub |= walk(child);
        } else if (isStub(child)) {
            _subscriptionPaths.push_back(child);
            holdsStub = true;
        }
    }
    if (holdsStub || _addedByUser.contains(path)) _folders.push_back(path);
    return holdsStub;
}

// The operations

void BundleReference::subscribe(const Step& step) {
    const bool hasURL = !step.internalURL.value_or("").empty() || !step.externalURL.value_or("").empty();
    if (step.resource.value_or("").empty() || (step.type != 1 && step.type != 2) || !hasURL ||
        step.fileName.empty() || step.path.empty()) {
        return finish(Failure{invalidArgument()});
    }
    Failed failure = createFolder(step.path);
    if (!failure) {
        Record record = newRecord(step);
        failure = write(record, step.path);
        if (!failure) rebuild();
    }
    finish(failure);
}

void BundleReference::removeAll(const Step& step) {
    std::vector<std::string> removed;
    for (const std::string& path : std::vector<std::string>(_subscriptionPaths)) {
        Failed ignored;
        const std::optional<Record> record = readRecord(path, ignored);
        if (!record || !step.resource || !step.store) continue;
        if (textIn(record->alias, "Korvan Server Unique Application Name") != stored(*step.resource) ||
            textIn(record->alias, "Store Name") != stored(*step.store)) {
            continue;
        }
        removeForGood(path);
        rebuild();
        removed.push_back(path);
    }
    _call.results = removed.empty() ? std::vector<std::string>{"nil"} : removed;
}

bool BundleReference::upgrade(const std::string& path, const Step& step, Failed& failure) {
    std::optional<Record> record = readRecord(path, failure);
    if (!record) return false;
    if (!needsUpdate(*record)) return true;
    const auto isGiven = [&record](const char* key) {
        return !textIn(record->alias, key).value_or("").empty();
    };
    if (!isGiven("Internal Store URL") && !isGiven("External Store URL") && !isGiven("Store Name")) {
        const std::string server = textIn(record->alias, "Korvan Server").value_or("");
        std::string name;
        if (!server.empty() && (step.variant & GivesStoreNameBlock) != 0) {
            _call.callbacks.push_back("store of " + server);
            name = step.store.value_or("");
        }
        if (name.empty()) {
            log(upgrading, "Corrupt subscription at path (" + path + ")");
            failure = framework(2010, path);
            return false;
        }
        record->alias["Store Name"] = textValue(stored(name));
        record->alias["Internal Store URL"] = textValue(server);
        record->alias.erase("Korvan Server");
    }
    if ((step.variant & GivesIconBlock) != 0) {
        _call.callbacks.push_back("icon of " + path);
        if (step.info && step.info->icon != 0) record->icon = step.info->icon;
    }
    if (isFaulty(FaultKind::TemporaryFolder)) {
        failure = framework(2004);
        log(upgrading, "Error creating temporary directory");
        return false;
    }
    _tree.put(temporaryFolder, folderOf({}));
    const bool isUpgraded = upgradeInTemporaryFolder(*record, failure);
    if (const Failed removal = removeForGood(temporaryFolder)) {
        log(upgrading,
            std::string("Error deleting temp directory (") + temporaryFolder + "): " + removal->brief);
        // It is in nobody's way, and the next one has another name.
        _tree.move(temporaryFolder, "~tmp/left over " + std::to_string(++_leftOver));
    }
    return isUpgraded;
}

bool BundleReference::upgradeInTemporaryFolder(Record& record, Failed& failure) {
    const std::string old = *record.path;
    const std::string oldVersion = versionTextOf(record);
    if ((failure = write(record, temporaryFolder))) {
        log(upgrading, "Error writing subscription to temp folder: " + failure->brief);
        return false;
    }
    if (!recycle(old)) {
        failure = framework(2004);
        log(upgrading, "Error deleting old subscription (" + old + ")");
        return false;
    }
    const Failed moved = moveItem(*record.path, old);
    if (!moved) {
        // What the desktop knew of the old stub it is to know of the new one, not of one in a temporary
        // folder.
        _call.registrations.back() = "register " + old;
        Failed ignored;
        const std::optional<Record> renewed = readRecord(old, ignored);
        log(upgrading,
            "Successfully upgraded '" + old + "' from " + oldVersion + " to " + versionTextOf(*renewed));
        return true;
    }
    failure = framework(2004, std::nullopt, moved);
    log(upgrading, "Error moving subscription in place: " + moved->brief);
    if (isFaulty(FaultKind::Move)) {
        log(upgrading, "Error restoring old subscription: Error Domain=NSCocoaErrorDomain Code=640");
        return false;
    }
    _tree.put(old, _trash.back().item);
    _trash.pop_back();
    _call.registrations.push_back("register " + old);
    return false;
}

void BundleReference::upgradeAll(const Step& step) {
    for (const std::string& path : step.paths) {
        Failed failure;
        if (upgrade(path, step, failure) || (step.variant & GivesErrorBlock) == 0) continue;
        _call.callbacks.push_back("failure of " + path + " " + (failure ? failure->text : "nil"));
        if ((step.variant & Stops) != 0) return;
    }
}

void BundleReference::interfere(const Step& step) {
    const auto removeFile = [this](const std::string& path) {
        const Item* item = _tree.find(path);
        if (item && !item->isFolder) _tree.remove(path);
    };
    switch (static_cast<Interference>(step.variant)) {
    case Interference::File:
        _tree.put(step.path, fileOf("file"));
        break;
    case Interference::Folder:
        _tree.put(step.path, folderOf({}));
        break;
    case Interference::Stub:
        _tree.put(step.path, foreignStub(step));
        break;
    case Interference::HiddenFile:
        _tree.put(joined(step.path, ".DS_Store"), fileOf("hidden"));
        break;
    case Interference::Application:
        _tree.put(step.path, applicationItem());
        break;
    case Interference::RemoveAlias:
        removeFile(aliasFileIn(step.path));
        break;
    case Interference::BreakAlias:
        if (exists(aliasFileIn(step.path))) *_tree.find(aliasFileIn(step.path)) = fileOf("broken");
        break;
    case Interference::RemoveInfoPlist:
        removeFile(infoPlistIn(step.path));
        break;
    case Interference::RemoveStrings:
        removeFile(stringsFileIn(step.path));
        break;
    case Interference::RemoveIcon:
        removeFile(iconFileIn(step.path, step.type));
        break;
    case Interference::ChangeTemplate:
        _tree.remove("~templates/" + std::to_string(step.type));
        if (!step.other.empty()) {
            _tree.put("~templates/" + std::to_string(step.type), templateItem(step.type, step.other));
        }
        break;
    }
}

void BundleReference::deliverEvents(const std::vector<std::string>& paths) {
    for (std::string path : paths) {
        if (path.size() > 1 && path.back() == '/') path.pop_back();
        if (std::find(_folders.begin(), _folders.end(), path) == _folders.end()) continue;
        rebuild();
        _call.notifications = 1;
        return;
    }
}

void BundleReference::call(const Step& step) {
    Failed failure;
    switch (step.operation) {
    case Operation::Subscribe:
        return subscribe(step);
    case Operation::LookUp:
        if (step.path.empty()) {
            failure = Failure{invalidArgument()};
            tellRecord(std::nullopt);
        } else {
            tellRecord(readRecord(step.path, failure));
        }
        yesUnless(failure);
        return;
    case Operation::RecordAtPath:
        tellRecord(readRecord(step.path, failure));
        yesUnless(failure);
        return;
    case Operation::IsSubscription:
        return result(isStub(step.path));
    case Operation::Remove:
        if (step.path.empty()) return finish(Failure{invalidArgument()});
        failure = removeForGood(step.path);
        rebuild();
        return finish(failure);
    case Operation::CreateFolder:
        return finish(createFolder(step.path));
    case Operation::RenameFolder:
        failure = moveItem(step.path, step.other);
        _addedByUser.erase(step.path);
        _addedByUser.insert(step.other);
        rebuild();
        return finish(failure);
    case Operation::RemoveFolder:
        if (!step.flag) return finish(removeForGood(step.path));
        if (!isAlmostEmpty(step.path)) return result(false);
        return finish(removeForGood(step.path, FaultKind::CarefulRemoval));
    case Operation::Move:
        failure = moveItem(step.path, step.other);
        rebuild();
        return finish(failure);
    case Operation::RemoveAll:
        return removeAll(step);
    case Operation::ListFolder:
        _call.results = pathsInFolder(_subscriptionPaths, step.path, step.flag);
        return;
    case Operation::Update:
        return upgradeAll(step);
    case Operation::UpdateOne: {
        const bool isCurrent = upgrade(step.path, step, failure);
        yesUnless(failure);
        return result(isCurrent);
    }
    case Operation::NameOfSubscription: {
        const std::optional<Record> record = readRecord(step.path, failure);
        _call.results = {record ? told(fileNameOf(*record)) : "nil"};
        return;
    }
    case Operation::PathOfSubscription: {
        const std::optional<Record> record = readRecord(step.path, failure);
        _call.results = {record ? told(record->path) : "nil"};
        return;
    }
    case Operation::WriteRecord: {
        Record record = newRecord(step);
        return finish(write(record, step.path));
    }
    case Operation::RemoveItem:
        if (step.flag) return result(recycle(step.path));
        return finish(removeForGood(step.path));
    case Operation::Reopen:
        _addedByUser.clear();
        return rebuild();
    case Operation::Interfere:
        return interfere(step);
    case Operation::DeliverFolderEvents:
        return deliverEvents(step.paths);
    default:
        return;
    }
}

Observations BundleReference::perform(const Step& step) {
    _call = {};
    _call.fault = step.fault;
    call(step);
    Observations observations;
    append(observations, "result", _call.results);
    append(observations, "callback", _call.callbacks);
    if (step.wantsError) observations.push_back("error " + _call.place);
    append(observations, "log", _call.log);
    append(observations, "desktop", _call.registrations);
    observations.push_back("notifications " + std::to_string(_call.notifications));
    observations.push_back("number " + std::to_string(_subscriptionPaths.size()));
    append(observations, "subscription", _subscriptionPaths);
    append(observations, "folder", _folders);
    return observations;
}

} // namespace mox::test::model
