#include "ModelBased/BundleSubject.hpp"

#include "Formats/ICNSCoding.hpp"
#include "Formats/PropertyListReading.hpp"
#include "SDK/MOXNotifications.hpp"
#include "Support/SharedManagerAccess.hpp"
#include "Support/StaleError.hpp"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <stdexcept>
#include <system_error>

#include "ModelBased/BundleReference.hpp"
#include "ModelBased/CommonOperations.hpp"
#include "ModelBased/SubjectTexts.hpp"

namespace mox::test::model {
namespace {

namespace fs = std::filesystem;

constexpr int registrationStatus = 5;

std::string fileWith(const std::string& xml) {
    return R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0">)" + xml + "</plist>";
}

std::string xmlOf(const InfoList& infoList) {
    std::string xml = "<dict>";
    for (const auto& [key, text] : infoList.texts)
        xml.append(xmlElement("key", key)).append(xmlElement("string", text));
    if (!infoList.documentTypes) return xml + "</dict>";
    xml.append(xmlElement("key", "CFBundleDocumentTypes")).append("<array>");
    for (const DocumentType& type : *infoList.documentTypes) {
        xml.append("<dict><key>CFBundleTypeName</key>").append(xmlElement("string", type.name));
        xml.append("<key>CFBundleTypeExtensions</key><array>");
        for (const std::string& extension : type.extensions)
            xml.append(xmlElement("string", extension));
        xml.append("</array></dict>");
    }
    return xml + "</array></dict>";
}

std::string iconFileOfSide(int side) {
    return icnsWithRepresentations(imageOfSide(side).representations).value();
}

void write(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

// What cannot be asked for is not there.

bool isThere(const std::string& path) {
    std::error_code ignored;
    return fs::exists(path, ignored);
}

bool isFolder(const std::string& path) {
    std::error_code ignored;
    return fs::is_directory(path, ignored);
}

bool isFile(const std::string& path) {
    std::error_code ignored;
    return fs::is_regular_file(path, ignored);
}

/// Puts a reference's item on the disk.
void materialise(const Item& item, const std::string& path) {
    if (!item.isFolder) {
        return write(path, item.infoList ? fileWith(xmlOf(*item.infoList))
                           : item.alias  ? fileWith(xmlOf(*item.alias))
                           : item.icon   ? iconFileOfSide(item.icon)
                                         : item.bytes);
    }
    std::error_code failure;
    if (!fs::create_directory(path, failure)) return;
    for (const auto& [name, child] : item.items)
        materialise(child, path + "/" + name);
}

std::string contentOfFile(const std::string& path) {
    const std::string bytes = bytesOfFile(path);
    if (bytes.starts_with("icns")) {
        const std::optional<Image> image = imageFromICNS(bytes);
        std::string text = "icon";
        for (const Image::Representation& representation :
             image ? image->representations : Image().representations)
            text.append(" ").append(std::to_string(representation.pixelsWide));
        return text;
    }
    if (!bytes.starts_with("<?xml") && !bytes.starts_with("bplist")) return bytes;
    const std::optional<PropertyList> list = propertyListFromBytes(bytes);
    return list && list->dictionary() ? textOf(*list) : bytes;
}

void describeDisk(const std::string& real, const std::string& path, Observations& lines) {
    const fs::file_status status = fs::symlink_status(real);
    if (!fs::is_directory(status)) {
        lines.push_back(path + (fs::is_regular_file(status) ? " = " + contentOfFile(real) : " is odd"));
        return;
    }
    lines.push_back(path + "/");
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(real))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    for (const std::string& name : names)
        describeDisk(real + "/" + name, path + "/" + name, lines);
}

std::string withoutPercents(const std::string& text) {
    std::string decoded;
    for (std::size_t index = 0; index < text.size(); ++index) {
        if (text[index] == '%') {
            decoded.push_back(static_cast<char>(std::stoi(text.substr(index + 1, 2), nullptr, 16)));
            index += 2;
        } else {
            decoded.push_back(text[index]);
        }
    }
    return decoded;
}

/// What can be seen of a stub's record.
Observations toldStub(const MOXSubscription* record) {
    Observations lines = propertiesOf(record);
    if (!record) return lines;
    lines.push_back("path " + told(record->path()) + " name " + told(record->fileName()));
    lines.push_back("version " + record->subscriptionVersion().value_or("nil"));
    lines.emplace_back(record->needsUpdate() ? "old" : "current");
    const std::optional<std::vector<MOXFileType>> fileTypes = record->fileTypes();
    for (const MOXFileType& type : fileTypes.value()) {
        std::string text = "file type " + type.group;
        for (const std::string& extension : type.extensions)
            text.append(" ").append(extension);
        lines.push_back(text + " " + told(type.description));
    }
    return lines;
}

} // namespace

BundleSubject::BundleSubject() {
    fs::create_directories(_root + "/tmp");
    fs::create_directories(_root + "/Client.app/Contents/MacOS");
    putTemplate(1, "2.0");
    putTemplate(2, "2.0");
    _environment.notificationCenter.addObserver(MOXFolderChangedNotification,
                                                [this](auto&&...) { ++_notifications; });
    MOXSubscriptionManager::setSubscriptionModel(SubscriptionModel::ApplicationBundle);
    reopen();
}

BundleSubject::~BundleSubject() {
    _manager.reset();
    SharedManagerAccess::dropSharedManager();
}

void BundleSubject::reopen() {
    _manager.reset();
    SharedManagerAccess::dropSharedManager();
    _manager = std::dynamic_pointer_cast<MOXFileSubscriptionManager>(MOXSubscriptionManager::sharedManager());
}

std::string BundleSubject::expanded(const std::string& path) const {
    if (path.empty()) return path;
    // Whatever the steps are, nothing but the scratch folder is touched.
    const std::vector<std::string> components = componentsOf(path);
    if (components.front() != "~" ||
        std::find(components.begin(), components.end(), "..") != components.end())
        throw std::invalid_argument(path);
    return _home + path.substr(1);
}

std::string BundleSubject::shortened(std::string text) const {
    const std::vector<std::pair<std::string, std::string>> names = {{_home, "~"}, {_root + "/tmp", "~tmp"}};
    for (const auto& [path, name] : names) {
        for (std::size_t at = text.find(path); at != std::string::npos; at = text.find(path))
            text.replace(at, path.size(), name);
    }
    static const std::regex temporaryName("korvan\\.tmp\\.[A-Za-z0-9]{6}");
    static const std::regex errorText("(Error Domain=[^ ]+ Code=-?[0-9]+) \"[^\"]*\"");
    text = std::regex_replace(text, temporaryName, "korvan.tmp.XXXXXX");
    return std::regex_replace(text, errorText, "$1");
}

std::vector<std::string> BundleSubject::namesIn(const std::string& path) const {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(expanded(path)))
        names.push_back(entry.path().filename().string());
    return names;
}

void BundleSubject::putTemplate(int type, const std::string& version) const {
    const std::string path = _root + (type == 2 ? "/Korvan Viewer.app" : "/DockApplication.app");
    fs::remove_all(path);
    if (!version.empty()) materialise(templateItem(type, version), path);
}

Observations BundleSubject::disk() const {
    Observations lines;
    if (fs::exists(_home + "/Applications")) describeDisk(_home + "/Applications", "~/Applications", lines);
    describeDisk(_root + "/tmp", "~tmp", lines);
    const std::string trash = _home + "/.local/share/Trash";
    std::vector<Observations> items;
    for (const std::string folder : {"info", "files"}) {
        if (!fs::exists(trash)) break;
        for (const fs::directory_entry& entry : fs::directory_iterator(trash + "/" + folder)) {
            if (folder == "files") {
                if (!fs::exists(trash + "/info/" + entry.path().filename().string() + ".trashinfo"))
                    lines.push_back("without information in Trash: " + entry.path().string());
                continue;
            }
            std::ifstream info(entry.path());
            std::string line;
            while (std::getline(info, line) && !line.starts_with("Path=")) {
            }
            items.emplace_back();
            describeDisk(trash + "/files/" + entry.path().stem().string(),
                         "in Trash, from " + shortened(withoutPercents(line.substr(5))), items.back());
        }
    }
    std::sort(items.begin(), items.end());
    for (const Observations& item : items)
        lines.insert(lines.end(), item.begin(), item.end());
    return lines;
}

void BundleSubject::letFail(int fault) {
    _environment.fileSystem.stopFailing();
    _environment.launchRegistration.status = 0;
    _environment.workspace.refusesToRecycle = false;
    const auto number = fault % 10;
    const auto fail = [this, number](FileSystemOperation operation) {
        const bool isLasting = number == everyCall;
        _environment.fileSystem.failCall(operation, isLasting ? 1 : static_cast<std::size_t>(number), ENOSPC,
                                         isLasting ? FaultDuration::FromThenOn : FaultDuration::Once);
    };
    switch (static_cast<FaultKind>(fault / 10)) {
    case FaultKind::None:
        break;
    case FaultKind::Registration:
        _environment.launchRegistration.status = registrationStatus;
        break;
    case FaultKind::Trash:
        _environment.workspace.refusesToRecycle = true;
        break;
    case FaultKind::Write:
        fail(FileSystemOperation::WriteFileAtomically);
        break;
    case FaultKind::Copy:
        fail(FileSystemOperation::CopyItem);
        break;
    case FaultKind::Move:
        fail(FileSystemOperation::MoveItem);
        break;
    case FaultKind::Removal:
        fail(FileSystemOperation::RemoveItem);
        break;
    case FaultKind::CarefulRemoval:
        fail(FileSystemOperation::RemoveAlmostEmptyDirectory);
        break;
    case FaultKind::FolderCreation:
        fail(FileSystemOperation::CreateDirectory);
        break;
    case FaultKind::TemporaryFolder:
        fail(FileSystemOperation::CreateTemporaryDirectory);
        break;
    }
}

void BundleSubject::interfere(const Step& step) const {
    const std::string& path = step.path;
    const auto put = [&path](const Item& item) {
        if (!isThere(path) && isFolder(fs::path(path).parent_path().string())) materialise(item, path);
    };
    const auto removeFile = [](const std::string& file) {
        if (isFile(file)) fs::remove(file);
    };
    switch (static_cast<Interference>(step.variant)) {
    case Interference::File:
        put(fileOf("file"));
        break;
    case Interference::Folder:
        put(folderOf({}));
        break;
    case Interference::Stub:
        put(foreignStub(step));
        break;
    case Interference::HiddenFile:
        if (isFolder(path) && !isThere(path + "/.DS_Store")) write(path + "/.DS_Store", "hidden");
        break;
    case Interference::Application:
        put(applicationItem());
        break;
    case Interference::RemoveAlias:
        removeFile(aliasFileIn(path));
        break;
    case Interference::BreakAlias:
        if (isFile(aliasFileIn(path))) write(aliasFileIn(path), "broken");
        break;
    case Interference::RemoveInfoPlist:
        removeFile(infoPlistIn(path));
        break;
    case Interference::RemoveStrings:
        removeFile(stringsFileIn(path));
        break;
    case Interference::RemoveIcon:
        removeFile(iconFileIn(path, step.type));
        break;
    case Interference::ChangeTemplate:
        putTemplate(step.type, step.other);
        break;
    }
}

Observations BundleSubject::resultOf(const Step& step, Observations& callbacks, std::optional<Error>* error) {
    const bool stops = (step.variant & Stops) != 0;
    MOXUpdateErrorBlock errorBlock = [&](const std::string& path, const std::optional<Error>& failure,
                                         bool& stop) {
        callbacks.push_back("failure of " + path + " " + textOfPlace(failure));
        stop = stops;
    };
    MOXUpdateStoreNameBlock storeNameBlock = [&](const std::optional<std::string>& serverName) {
        callbacks.push_back("store of " + serverName.value_or("nil"));
        return step.store;
    };
    MOXUpdateIconBlock iconBlock = [&](const std::shared_ptr<MOXSubscription>& record) {
        callbacks.push_back("icon of " + record->path().value_or("nil"));
        const bool hasIcon = step.info && step.info->icon != 0;
        return hasIcon ? std::optional(imageOfSide(step.info->icon)) : std::nullopt;
    };
    if ((step.variant & GivesErrorBlock) == 0) errorBlock = nullptr;
    if ((step.variant & GivesStoreNameBlock) == 0) storeNameBlock = nullptr;
    if ((step.variant & GivesIconBlock) == 0) iconBlock = nullptr;

    switch (step.operation) {
    case Operation::RecordAtPath:
        return toldStub(MOXFileSubscription::subscriptionWithPath(step.path, error).get());
    case Operation::WriteRecord:
        return resultOfWriting(
            *MOXFileSubscription::subscriptionWithFileName(step.fileName, recordKeywordsOf(step)), step,
            error);
    case Operation::Update:
        _manager->updateSubscriptionsAtPaths(step.paths, errorBlock, storeNameBlock, iconBlock);
        return {};
    case Operation::UpdateOne:
        return yesOrNo(_manager->updateSubscriptionAtPath(step.path, storeNameBlock, iconBlock, error));
    case Operation::NameOfSubscription:
        return {
            told(_manager->fileNameForSubscription(MOXFileSubscription::subscriptionWithPath(step.path)))};
    case Operation::PathOfSubscription:
        return {told(_manager->pathForSubscription(MOXFileSubscription::subscriptionWithPath(step.path)))};
    case Operation::RemoveItem:
        return yesOrNo(_manager->removeItemAtPath(step.path, step.flag, error));
    case Operation::Reopen:
        reopen();
        return {};
    case Operation::Interfere:
        interfere(step);
        return {};
    case Operation::DeliverFolderEvents:
        _environment.folderEvents.deliver(step.paths);
        return {};
    default:
        return resultOfCommonOperation(*_manager, step, toldStub, error);
    }
}

Observations BundleSubject::perform(const Step& step) {
    Step known = step;
    known.path = expanded(step.path);
    // A version, where somebody else puts a bundle.
    if (step.operation != Operation::Interfere) known.other = expanded(step.other);
    if (step.operation == Operation::Update || step.operation == Operation::DeliverFolderEvents) {
        for (std::string& path : known.paths)
            path = expanded(path);
    }
    _environment.systemLog.clear();
    _environment.launchRegistration.calls.clear();
    _notifications = 0;
    letFail(step.fault);
    std::optional<Error> place = staleError();
    Observations observations;
    Observations callbacks;
    try {
        append(observations, "result", resultOf(known, callbacks, step.wantsError ? &place : nullptr));
    } catch (const std::exception& exception) {
        observations.push_back(std::string("exception ") + exception.what());
    }
    append(observations, "callback", callbacks);
    if (step.wantsError) observations.push_back("error " + textOfPlace(place));
    append(observations, "log", _environment.systemLog.lines());
    for (const std::string& line : _environment.launchRegistration.callsWithinBatches()) {
        if (!line.starts_with("reconcile")) observations.push_back("desktop " + line);
    }
    observations.push_back("notifications " + std::to_string(_notifications));
    appendLists(observations, *_manager);
    for (std::string& line : observations)
        line = shortened(line);
    return observations;
}

} // namespace mox::test::model
