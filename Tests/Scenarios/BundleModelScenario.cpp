#include "Scenarios/BundleModelScenario.hpp"

#include "Formats/PropertyListReading.hpp"

#include <algorithm>
#include <stdexcept>

namespace mox::test {
namespace {

constexpr const char* applications = "home/Applications";
constexpr const char* trash = "home/.local/share/Trash";

std::string inApplications(const std::string& path) {
    return std::string(applications) + "/" + path;
}

const Lines writerLines = {"-[MOXFileSubscription writeToFolder:withName:error:] ",
                           "-[MOXFileSubscription updateInfoPlistForSubscriptionAtPath:error:] Missing ",
                           "-[MOXFileSubscription updateFileTypesForInfoPlistStringsAtPath:] Unable to "};

Lines linesOfUpgrade() {
    Lines lines = writerLines;
    lines.emplace_back("-[MOXFileSubscriptionManager updateSubscription:storeNameBlock:iconBlock:error:] ");
    return lines;
}

} // namespace

Tree within(const Tree& tree, std::string_view path) {
    const std::string beginning = std::string(path) + "/";
    Tree result;
    for (auto item = tree.lower_bound(beginning); item != tree.end() && item->first.starts_with(beginning);
         ++item) {
        result.emplace(item->first.substr(beginning.size()), item->second);
    }
    return result;
}

bool isInOneOf(const std::string& path, const std::vector<std::string>& places) {
    return std::ranges::any_of(
        places, [&path](const std::string& place) { return path == place || path.starts_with(place + "/"); });
}

bool isTemporaryPath(std::string_view path) {
    return path.find("/.mox-") != path.npos;
}

BundleModelScenario::BundleModelScenario() {
    MOXSubscriptionManager::setSubscriptionModel(SubscriptionModel::ApplicationBundle);
    _template = contentsOfTree(scratch.path("DockApplication.app"));
}

BundleModelScenario::~BundleModelScenario() {
    end();
}

const BundleModelScenario::Manager& BundleModelScenario::start() {
    end();
    test.fileSystem.stopFailing();
    test.systemCalls.stopFailing();
    manager = MOXSubscriptionManager::sharedManager();
    test.fileSystem.resetCounts();
    test.systemCalls.resetCalls();
    test.systemLog.clear();
    test.launchRegistration.calls.clear();
    test.workspace.calls.clear();
    return manager;
}

void BundleModelScenario::end() {
    manager.reset();
    SharedManagerAccess::dropSharedManager();
}

MOXOptionalInfo BundleModelScenario::optionalInfo() {
    return {{"Icon Image", imageOfSides({16})},
            {"Description", "Writes"},
            {"FileTypes", std::vector{MOXFileType{"Text", {".txt"}, "Text file"}}}};
}

std::vector<BundleModelScenario::Operation> BundleModelScenario::operations() {
    using Scenario = BundleModelScenario;
    using Place = std::optional<Error>*;
    const auto subscribe = [](const char* fileName, const char* folder) {
        return [=](Scenario& scenario, Place error) {
            MOXSubscribeKeywords keywords = keywordsFor(fileName, scenario.inApps(folder));
            keywords.andOptionalInfo = optionalInfo();
            return scenario.manager->subscribeToResource("Farm:New", keywords, error);
        };
    };
    const std::string word = stubPlace;
    return {
        {.name = "subscribe",
         .perform = subscribe("New.app", "Made/Here"),
         .harm = Harm::WholeFiles,
         .places = {inApplications("Made")},
         .codes = {2002, 2003, 2004, 2005, 2006, 2007},
         .lines = writerLines},
        {.name = "refresh",
         .perform = subscribe("Word.app", "Work"),
         .harm = Harm::WholeFiles,
         .places = {word},
         .codes = {2002, 2003, 2004, 2005, 2006, 2007},
         .lines = writerLines},
        {.name = "remove",
         .perform =
             [](Scenario& scenario, Place error) {
                 return scenario.manager->removeSubscriptionAtPath(scenario.inApps("Work/Word.app"), error);
             },
         .harm = Harm::PartlyRemoved,
         .places = {word},
         .givesSystemErrors = true},
        {.name = "move",
         .perform =
             [](Scenario& scenario, Place error) {
                 return scenario.manager->moveSubscriptionFrom(scenario.inApps("Work/Word.app"),
                                                               scenario.inApps("Other/Moved.app"), error);
             },
         .places = {word, inApplications("Other/Moved.app")},
         .givesSystemErrors = true},
        {.name = "create_folder",
         .perform =
             [](Scenario& scenario, Place error) {
                 return scenario.manager->createFolderAtPath(scenario.inApps("Made/Here"), error);
             },
         .harm = Harm::WholeFiles,
         .places = {inApplications("Made")},
         .codes = {2003}},
        {.name = "rename_folder",
         .perform =
             [](Scenario& scenario, Place error) {
                 return scenario.manager->renameFolderAtPath(scenario.inApps("Work"),
                                                             scenario.inApps("Other/Renamed"), error);
             },
         .places = {inApplications("Work"), inApplications("Other/Renamed")},
         .givesSystemErrors = true},
        {.name = "remove_folder",
         .perform =
             [](Scenario& scenario, Place error) {
                 return scenario.manager->removeFolderAtPath(scenario.inApps("Work"), false, error);
             },
         .harm = Harm::PartlyRemoved,
         .places = {inApplications("Work")},
         .givesSystemErrors = true},
        {.name = "remove_empty_folder",
         .perform =
             [](Scenario& scenario, Place error) {
                 return scenario.manager->removeFolderAtPath(scenario.inApps("Empty"), true, error);
             },
         .harm = Harm::PartlyRemoved,
         .places = {inApplications("Empty")},
         .givesSystemErrors = true,
         .mayFailSilently = true},
        {.name = "remove_all",
         .perform =
             [](Scenario& scenario, Place) {
                 return scenario.manager->removeAllSubscriptionsWithUniqueName("Farm:Word", "Store")
                     .has_value();
             },
         .harm = Harm::PartlyRemoved,
         .places = {word, inApplications("Other/Excel.app")},
         .mayFailSilently = true,
         .isTruthful = false},
        {.name = "upgrade",
         .perform =
             [](Scenario& scenario, Place error) {
                 auto& bundles = dynamic_cast<MOXFileSubscriptionManager&>(*scenario.manager);
                 return bundles.updateSubscriptionAtPath(scenario.inApps("Work/Word.app"), {},
                                                         scenario.askForIcon(32), error);
             },
         .harm = Harm::Upgrade,
         .places = {word, "home/.local", "tmp"},
         .codes = {2002, 2004, 2005, 2006, 2007, 2008, 2009},
         .lines = linesOfUpgrade()},
    };
}

BundleModelScenario::Operation BundleModelScenario::operationNamed(std::string_view name) {
    for (Operation& operation : operations()) {
        if (operation.name == name) return operation;
    }
    throw std::invalid_argument("no such operation");
}

void BundleModelScenario::putSample() {
    test.fileSystem.stopFailing();
    test.systemCalls.stopFailing();
    for (const std::string& path : {inApps(), test.homePath(".local"), temporary}) {
        if (isThere(path)) {
            EXPECT_TRUE(test.fileSystem.removeItem(path)) << path;
        }
    }
    makeFolder("tmp");
    for (const auto& [place, resource] :
         {std::pair("Work/Word.app", "Farm:Word"), std::pair("Other/Excel.app", "Farm:Word"),
          std::pair("Other/Desk.app", "Farm:Desk")}) {
        Dictionary alias = oldAlias();
        alias.set("Korvan Application Type", "Application");
        alias.set("Korvan Server Unique Application Name", resource);
        BundleContent content = templateContent("1.0");
        content.alias = alias;
        content.files["Contents/mark"] = "old";
        makeBundle(inApplications(place), content);
    }
    makeApplication("Work/Plain.app");
    makeFile(inApplications("Work/letter.txt"), "Dear all");
    makeFile(inApplications("Empty/Inner/.DS_Store"), "desktop");
}

void BundleModelScenario::makeStartableTemplate() const {
    BundleContent content = templateContent();
    content.infoPlist->set("CFBundleExecutable", "Launcher");
    makeBundle("DockApplication.app", content);
}

Tree BundleModelScenario::disk() const {
    Tree tree;
    for (const std::string part : {"home", "tmp"}) {
        if (!isThere(scratch.path(part))) continue;
        tree.emplace(part, "/");
        for (const auto& [path, content] : contentsOfTree(scratch.path(part)))
            tree.emplace(part + "/" + path, content);
    }
    return tree;
}

void BundleModelScenario::learn(const Operation& operation) {
    putSample();
    before = disk();
    start();
    ASSERT_TRUE(operation.perform(*this, nullptr)) << operation.name;
    after = disk();
    ASSERT_NE(before, after);
    putSample();
}

/// Whether `stub` is the whole of `complete`, but for what may go wrong without a failure: its icon, its
/// types and their names may be the template's, or its types without names when those could not be read.
bool BundleModelScenario::isStubOf(const Tree& stub, const Tree& complete) const {
    if (stub.empty() || stub.size() != complete.size()) return false;
    return std::ranges::all_of(complete, [&](const auto& item) {
        const auto found = stub.find(item.first);
        if (found == stub.end()) return false;
        if (found->second == item.second) return true;
        if (item.first == applicationIcon) return found->second == _template.at(item.first);
        if (item.first == stringsFile) return found->second.starts_with(_template.at(item.first));
        if (item.first != "Contents/Info.plist") return false;
        const auto list = propertyListFromBytes(found->second);
        const Dictionary* information = list ? list->dictionary() : nullptr;
        return information && *information->string("KorvanVersionString") == "2.0" &&
               *information->string("CFBundleName") == "Word";
    });
}

testing::AssertionResult BundleModelScenario::isNothingLost(const Tree& state) const {
    const Tree inPlace = within(state, stubPlace);
    const Tree old = within(before, stubPlace);
    if (inPlace == old) return testing::AssertionSuccess();
    if (!inPlace.empty() && !isStubOf(inPlace, within(after, stubPlace)))
        return testing::AssertionFailure() << "a part of a stub is in its place";
    if (within(state, std::string(trash) + "/files/Word.app") != old)
        return testing::AssertionFailure() << "the old stub is lost";
    const auto info = state.find(std::string(trash) + "/info/Word.app.trashinfo");
    if (info == state.end() || !info->second.starts_with("[Trash Info]\n") ||
        info->second.find("\nPath=" + scratch.path(stubPlace) + "\n") == std::string::npos)
        return testing::AssertionFailure() << "the Trash does not know the old stub";
    return testing::AssertionSuccess();
}

/// Whether every file at `place` is that of before, of the template or of after, and a stub there has no file
/// less than its template.
testing::AssertionResult BundleModelScenario::areWholeFiles(const Tree& state,
                                                            const std::string& place) const {
    std::string stub = place;
    for (const auto& [path, content] : after) {
        if (isInOneOf(path, {place}) && path.ends_with(".app")) stub = path;
    }
    const Tree made = within(state, stub);
    const Tree old = within(before, stub);
    const Tree complete = within(after, stub);
    for (const auto& [path, content] : made) {
        const auto isIn = [&path = path, &content = content](const Tree& tree) {
            const auto found = tree.find(path);
            return found != tree.end() && found->second == content;
        };
        if (!isIn(old) && !isIn(_template) && !isIn(complete) && !isTemporaryPath("/" + path))
            return testing::AssertionFailure() << "mixed: " << path;
    }
    if (!state.contains(stub)) {
        if (!old.empty()) return testing::AssertionFailure() << "the stub is gone";
        return testing::AssertionSuccess();
    }
    for (const auto& [path, content] : old.empty() && stub.ends_with(".app") ? _template : old) {
        if (!made.contains(path)) return testing::AssertionFailure() << "missing: " << path;
    }
    return testing::AssertionSuccess();
}

testing::AssertionResult BundleModelScenario::isUnharmed(const Tree& state,
                                                         const Operation& operation) const {
    for (const auto& [path, content] : before) {
        if (isInOneOf(path, operation.places)) continue;
        const auto found = state.find(path);
        if (found == state.end() || found->second != content)
            return testing::AssertionFailure() << "changed or lost: " << path;
    }
    for (const auto& [path, content] : state) {
        if (!before.contains(path) && !isInOneOf(path, operation.places) && !isTemporaryPath(path))
            return testing::AssertionFailure() << "new: " << path;
    }
    switch (operation.harm) {
    case Harm::Upgrade:
        return isNothingLost(state);
    case Harm::WholeFiles:
        for (const std::string& place : operation.places) {
            if (const auto result = areWholeFiles(state, place); !result) return result;
        }
        return testing::AssertionSuccess();
    case Harm::PartlyRemoved:
        for (const auto& [path, content] : state) {
            const auto found = before.find(path);
            if (!isTemporaryPath(path) && (found == before.end() || found->second != content))
                return testing::AssertionFailure() << "removing made " << path;
        }
        return testing::AssertionSuccess();
    case Harm::None:
        break;
    }
    Tree visible = state;
    std::erase_if(visible, [](const auto& item) { return isTemporaryPath(item.first); });
    if (visible == before || visible == after) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "neither as before nor done";
}

testing::AssertionResult BundleModelScenario::isListingSound(const Operation& operation) {
    start();
    for (const std::string& path : manager->subscriptionPaths()) {
        const std::string place = path.substr(scratch.path().size() + 1);
        if (!before.contains(place) && !after.contains(place))
            return testing::AssertionFailure() << "listed: " << path;
        if (operation.harm != Harm::PartlyRemoved && !manager->subscriptionAtPath(path))
            return testing::AssertionFailure() << "a part of a stub is listed: " << path;
    }
    for (const std::string& path : manager->folders()) {
        const std::string place = path.substr(scratch.path().size() + 1);
        if (!before.contains(place) && !after.contains(place))
            return testing::AssertionFailure() << "listed as a folder: " << path;
    }
    return testing::AssertionSuccess();
}

} // namespace mox::test
