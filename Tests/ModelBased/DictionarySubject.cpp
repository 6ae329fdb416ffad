#include "ModelBased/DictionarySubject.hpp"

#include "Formats/PropertyListReading.hpp"
#include "Support/SharedManagerAccess.hpp"
#include "Support/StaleError.hpp"

#include <cerrno>
#include <filesystem>
#include <fstream>

#include "ModelBased/DictionaryReference.hpp"
#include "ModelBased/SubjectTexts.hpp"

namespace mox::test::model {
namespace {

namespace fs = std::filesystem;

std::string escaped(const std::string& text) {
    std::string result;
    for (const char character : text)
        result.append(character == '&' ? "&amp;" : character == '<' ? "&lt;" : std::string(1, character));
    return result;
}

std::string xmlOf(const Entry& entry) {
    std::string xml = "<dict>";
    for (const auto& [key, value] : entry) {
        xml.append("<key>").append(escaped(key)).append("</key>");
        const bool isText = value.kind == EntryValue::Kind::Text;
        xml.append(isText ? "<string>" : "<integer>").append(escaped(value.text));
        xml.append(isText ? "</string>" : "</integer>");
    }
    return xml + "</dict>";
}

std::string xmlOf(const FolderNode& node) {
    std::string xml = "<dict>";
    if (node.hasFolders) {
        xml.append("<key>Folders</key><dict>");
        for (const auto& [name, child] : node.folders)
            xml.append("<key>").append(escaped(name)).append("</key>").append(xmlOf(child));
        xml.append("</dict>");
    }
    if (node.hasSubscriptions) {
        xml.append("<key>Subscriptions</key><dict>");
        for (const auto& [name, entry] : node.subscriptions)
            xml.append("<key>").append(escaped(name)).append("</key>").append(xmlOf(entry));
        xml.append("</dict>");
    }
    return xml + "</dict>";
}

void append(Observations& results, bool result) {
    results.emplace_back(result ? "YES" : "NO");
}

} // namespace

DictionarySubject::DictionarySubject()
    : _supportFolder(_environment.homePath("Library/Application Support/Korvan Ostrel"))
    , _plistPath(_supportFolder + "/Subscriptions.plist")
    , _scope(_environment.platform) {
    _environment.userDirectories.home = "/Users/user";
    MOXSubscriptionManager::setSubscriptionModel(SubscriptionModel::Dictionary);
    reopen(0);
}

DictionarySubject::~DictionarySubject() {
    _manager.reset();
    SharedManagerAccess::dropSharedManager();
}

void DictionarySubject::putOnDisk(int variant) const {
    if (variant == 0) return;
    fs::remove_all(_supportFolder);
    if (variant == onBlockedFolder) {
        std::ofstream(_supportFolder) << "in the way";
        return;
    }
    fs::create_directories(variant == onBlockedFile ? _plistPath : _supportFolder);
    if (variant > sampleTreeCount) return;
    std::ofstream(_plistPath) << R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0">)"
                              << xmlOf(sampleTree(variant)) << "</plist>";
}

void DictionarySubject::reopen(int variant) {
    _manager.reset();
    SharedManagerAccess::dropSharedManager();
    putOnDisk(variant);
    _manager =
        std::dynamic_pointer_cast<MOXPlistSubscriptionManager>(MOXSubscriptionManager::sharedManager());
}

std::string DictionarySubject::disk() const {
    if (!fs::is_directory(_supportFolder)) return "no folder";
    for (const fs::directory_entry& item : fs::directory_iterator(_supportFolder)) {
        if (item.path() != _plistPath) return "there is also " + item.path().string();
    }
    if (fs::is_directory(_plistPath)) return "directory";
    if (!fs::exists(_plistPath)) return "no file";
    const std::optional<PropertyList> tree = propertyListFromBytes(bytesOfFile(_plistPath));
    return tree ? textOf(*tree) : "unreadable";
}

void DictionarySubject::call(const Step& step, Observations& results, std::optional<Error>* error) {
    const auto never = [&results](auto&&...) -> std::optional<std::string> {
        results.emplace_back("a callback was called");
        return std::nullopt;
    };
    const MOXUpdateErrorBlock errorBlock = never;
    const MOXUpdateIconBlock iconBlock = [&never](const auto& record) -> std::optional<Image> {
        never(record);
        return std::nullopt;
    };
    switch (step.operation) {
    case Operation::Subscribe:
        append(results, _manager->subscribeToResource(step.resource.value_or(""), keywordsOf(step), error));
        break;
    case Operation::LookUp:
        results = propertiesOf(_manager->subscriptionAtPath(step.path, error).get());
        break;
    case Operation::RecordAtPath:
        results = propertiesOf(MOXPlistSubscription::subscriptionWithPath(step.path, error).get());
        break;
    case Operation::IsSubscription:
        append(results, _manager->isSubscriptionAtPath(step.path));
        break;
    case Operation::Remove:
        append(results, _manager->removeSubscriptionAtPath(step.path, error));
        break;
    case Operation::CreateFolder:
        append(results, _manager->createFolderAtPath(step.path, error));
        break;
    case Operation::RenameFolder:
        append(results, _manager->renameFolderAtPath(step.path, step.other, error));
        break;
    case Operation::RemoveFolder:
        append(results, _manager->removeFolderAtPath(step.path, step.flag, error));
        break;
    case Operation::Move:
        append(results, _manager->moveSubscriptionFrom(step.path, step.other, error));
        break;
    case Operation::RemoveAll:
        results = _manager->removeAllSubscriptionsWithUniqueName(step.resource, step.store)
                      .value_or(std::vector<std::string>{"nil"});
        break;
    case Operation::ListFolder:
        results = _manager->subscriptionPathsInFolder(step.path, step.flag);
        break;
    case Operation::Update:
        _manager->updateSubscriptionsAtPathsStoreNameHandler({step.path}, errorBlock, never, iconBlock);
        break;
    case Operation::CommonUpdate:
        _manager->updateSubscriptionsAtPaths({step.path}, errorBlock, never, iconBlock);
        break;
    case Operation::NameOfSubscription:
        _manager->fileNameForSubscription(MOXPlistSubscription::subscription());
        break;
    case Operation::PathOfSubscription:
        _manager->pathForSubscription(MOXPlistSubscription::subscription());
        break;
    case Operation::WriteRecord: {
        const auto record =
            MOXPlistSubscription::subscriptionWithFileName(step.fileName, recordKeywordsOf(step));
        applyInfo(step, *record);
        append(results, record->writeToFolder(step.path, step.other, error));
        break;
    }
    case Operation::Reopen:
        reopen(step.variant);
        break;
    default:
        results.emplace_back("unknown operation");
        break;
    }
}

Observations DictionarySubject::perform(const Step& step) {
    _assertions = std::make_shared<RecordingAssertionHandler>(RecordingAssertionHandler::Then::Throws);
    _environment.assertionHandler.install(_assertions);
    _environment.systemLog.clear();
    _environment.fileSystem.resetCounts();
    _environment.fileSystem.stopFailing();
    if (step.fault != 0) {
        _environment.fileSystem.failCall(FileSystemOperation::WriteFileAtomically,
                                         step.fault == -1 ? 1 : static_cast<std::size_t>(step.fault), ENOSPC,
                                         step.fault == -1 ? FaultDuration::FromThenOn : FaultDuration::Once);
    }
    std::optional<Error> place = staleError();
    Observations results;
    Observations observations;
    bool isAsserted = false;
    try {
        call(step, results, step.wantsError ? &place : nullptr);
        model::append(observations, "result", results);
    } catch (const InternalInconsistencyException&) {
        isAsserted = true;
    } catch (const std::exception& exception) {
        observations.push_back(std::string("exception ") + exception.what());
    }
    for (const auto& failure : _assertions->failures()) {
        observations.push_back("assertion " + failure.operation + " " + failure.file + " " +
                               std::to_string(failure.line) + " " + failure.description);
    }
    const bool takesError = step.operation != Operation::IsSubscription &&
                            step.operation != Operation::RemoveAll &&
                            step.operation != Operation::ListFolder && step.operation != Operation::Update &&
                            step.operation != Operation::Reopen;
    if (step.wantsError && takesError && !isAsserted) observations.push_back("error " + textOfPlace(place));
    model::append(observations, "log", _environment.systemLog.lines());
    observations.push_back(
        "writes " + std::to_string(_environment.fileSystem.count(FileSystemOperation::WriteFileAtomically)));
    observations.push_back("number " + std::to_string(_manager->numberOfSubscriptions()));
    model::append(observations, "subscription", _manager->subscriptionPaths());
    model::append(observations, "folder", _manager->folders());
    return observations;
}

} // namespace mox::test::model
