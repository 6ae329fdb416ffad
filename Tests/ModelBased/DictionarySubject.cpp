#include "ModelBased/DictionarySubject.hpp"

#include "Formats/PropertyListReading.hpp"
#include "Support/SharedManagerAccess.hpp"
#include "Support/StaleError.hpp"

#include <cerrno>
#include <filesystem>
#include <fstream>

#include "ModelBased/CommonOperations.hpp"
#include "ModelBased/DictionaryReference.hpp"
#include "ModelBased/SubjectTexts.hpp"

namespace mox::test::model {
namespace {

namespace fs = std::filesystem;

std::string xmlOf(const FolderNode& node) {
    std::string xml = "<dict>";
    if (node.hasFolders) {
        xml.append("<key>Folders</key><dict>");
        for (const auto& [name, child] : node.folders)
            xml.append(xmlElement("key", name)).append(xmlOf(child));
        xml.append("</dict>");
    }
    if (node.hasSubscriptions) {
        xml.append("<key>Subscriptions</key><dict>");
        for (const auto& [name, entry] : node.subscriptions)
            xml.append(xmlElement("key", name)).append(xmlOf(entry));
        xml.append("</dict>");
    }
    return xml + "</dict>";
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

Observations DictionarySubject::resultOf(const Step& step, std::optional<Error>* error) {
    Observations calls;
    const auto never = [&calls](auto&&...) -> std::optional<std::string> {
        calls.emplace_back("a callback was called");
        return std::nullopt;
    };
    const MOXUpdateErrorBlock errorBlock = never;
    const MOXUpdateIconBlock iconBlock = [&never](const auto& record) -> std::optional<Image> {
        never(record);
        return std::nullopt;
    };
    switch (step.operation) {
    case Operation::RecordAtPath:
        return propertiesOf(MOXPlistSubscription::subscriptionWithPath(step.path, error).get());
    case Operation::WriteRecord:
        return resultOfWriting(
            *MOXPlistSubscription::subscriptionWithFileName(step.fileName, recordKeywordsOf(step)), step,
            error);
    case Operation::Update:
        _manager->updateSubscriptionsAtPathsStoreNameHandler({step.path}, errorBlock, never, iconBlock);
        return calls;
    case Operation::CommonUpdate:
        _manager->updateSubscriptionsAtPaths({step.path}, errorBlock, never, iconBlock);
        return calls;
    case Operation::NameOfSubscription:
        return {told(_manager->fileNameForSubscription(MOXPlistSubscription::subscription()))};
    case Operation::PathOfSubscription:
        return {told(_manager->pathForSubscription(MOXPlistSubscription::subscription()))};
    case Operation::Reopen:
        reopen(step.variant);
        return {};
    default:
        return resultOfCommonOperation(*_manager, step, propertiesOf, error);
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
    Observations observations;
    bool isAsserted = false;
    try {
        append(observations, "result", resultOf(step, step.wantsError ? &place : nullptr));
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
    append(observations, "log", _environment.systemLog.lines());
    observations.push_back(
        "writes " + std::to_string(_environment.fileSystem.count(FileSystemOperation::WriteFileAtomically)));
    appendLists(observations, *_manager);
    return observations;
}

} // namespace mox::test::model
