#include "SDK/MOXSubscriptionManager.hpp"

#include "Foundation/PathRules.hpp"
#include "Platform/Platform.hpp"
#include "SDK/MOXFileSubscriptionManager.hpp"
#include "SDK/MOXPlistSubscriptionManager.hpp"
#include "SDK/OperationNames.hpp"
#include "SDK/Reporting.hpp"
#include "SDK/SharedManagerState.hpp"

#include <atomic>

namespace mox {
namespace {

constexpr std::string_view sourceFile = "Frameworks/MOXSubscribe/Source/SDK/MOXSubscriptionManager";

// The class's state.
// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables)
std::atomic<SubscriptionModel> chosenModel = SubscriptionModel::Dictionary;
// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables)
std::atomic<bool> modelWasChosen = false;

void reportAbstract(const Platform& platform, const void* object, std::string_view operation, int line) {
    reportUnsupportedOperation(platform, {object, operation, sourceFile, line},
                               "%s must be implemented by derived class");
}

/// An assertion of `sharedManager`, which names the base's operation on whichever class it was called.
void reportBadStart(int line, std::string_view format) {
    reportAssertion(currentPlatform(),
                    {nullptr, operations::MOXSubscriptionManager::sharedManager, sourceFile, line}, format);
}

/// Whether `path` lies in the folder of the given components, directly or, with `recursive`, at any depth.
bool isInFolder(std::string_view path, const std::vector<std::string>& folder, bool recursive) {
    PathComponentReader parent(viewByDeletingLastPathComponent(path));
    for (const std::string& component : folder) {
        if (parent.next() != component) return false;
    }
    return recursive || !parent.next();
}

} // namespace

MOXSubscriptionManager::MOXSubscriptionManager() : _platform(currentPlatform()) {
    _appsFolderPath =
        stringByAppendingPathComponent(_platform.userDirectories.homeDirectory(), "Applications");
}

MOXSubscriptionManager::~MOXSubscriptionManager() = default;

void MOXSubscriptionManager::setSubscriptionModel(SubscriptionModel model) {
    chosenModel = model;
    modelWasChosen = true;
}

SubscriptionModel MOXSubscriptionManager::subscriptionModel() {
    return chosenModel;
}

std::shared_ptr<MOXSubscriptionManager> MOXSubscriptionManager::sharedManager() {
    static std::recursive_mutex classMonitor;
    return sharedManagerUnder(classMonitor);
}

MOXSubscriptionManager::SharedState& MOXSubscriptionManager::sharedState() {
    // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables)
    static SharedState& state = *new SharedState;
    return state;
}

std::shared_ptr<MOXSubscriptionManager>
MOXSubscriptionManager::sharedManagerUnder(std::recursive_mutex& classMonitor) {
    if (!modelWasChosen) reportBadStart(42, "%s subscription model has not been set");
    const std::lock_guard classLock(classMonitor);
    SharedState& state = sharedState();
    {
        const std::lock_guard lock(state.mutex);
        if (auto manager = state.manager.lock()) return manager;
    }

    std::shared_ptr<MOXSubscriptionManager> manager;
    switch (chosenModel.load()) {
    case SubscriptionModel::Dictionary:
        manager.reset(new MOXPlistSubscriptionManager);
        break;
    case SubscriptionModel::ApplicationBundle:
        manager.reset(new MOXFileSubscriptionManager);
        break;
    default:
        reportBadStart(62, "%s bad subscription model type");
        return nullptr;
    }

    // Another class may have built one meanwhile; the later one stays. The earlier one, if nobody holds it,
    // is destroyed only when the lock is free again.
    std::shared_ptr<MOXSubscriptionManager> owner = manager;
    const std::lock_guard lock(state.mutex);
    state.manager = manager;
    state.owner.swap(owner);
    return manager;
}

std::optional<std::string>
MOXSubscriptionManager::fileNameForSubscription(const std::shared_ptr<MOXSubscription>&) {
    reportAbstract(_platform, this, operations::MOXSubscriptionManager::fileNameForSubscription, 329);
    return std::nullopt;
}

std::optional<std::string>
MOXSubscriptionManager::pathForSubscription(const std::shared_ptr<MOXSubscription>&) {
    reportAbstract(_platform, this, operations::MOXSubscriptionManager::pathForSubscription, 321);
    return std::nullopt;
}

std::vector<std::string> MOXSubscriptionManager::subscriptionPathsInFolder(std::string_view folder,
                                                                           bool recursive) const {
    const std::vector<std::string> components = pathComponents(folder);
    std::vector<std::string> paths;
    const std::lock_guard lock(_monitor);
    for (const std::string& path : _subscriptionPaths) {
        if (isInFolder(path, components, recursive)) paths.push_back(path);
    }
    return paths;
}

const std::vector<std::string>& MOXSubscriptionManager::folders() const {
    const std::lock_guard lock(_monitor);
    return _folders;
}

const std::vector<std::string>& MOXSubscriptionManager::subscriptionPaths() const {
    const std::lock_guard lock(_monitor);
    return _subscriptionPaths;
}

MOXUInteger MOXSubscriptionManager::numberOfSubscriptions() const {
    const std::lock_guard lock(_monitor);
    return _subscriptionPaths.size();
}

std::optional<std::vector<std::string>>
MOXSubscriptionManager::removeAllSubscriptionsWithUniqueName(const std::optional<std::string>&,
                                                             const std::optional<std::string>&) {
    reportAbstract(_platform, this, operations::MOXSubscriptionManager::removeAllSubscriptionsWithUniqueName,
                   217);
    return std::nullopt;
}

bool MOXSubscriptionManager::moveSubscriptionFrom(std::string_view, std::string_view, std::optional<Error>*) {
    reportAbstract(_platform, this, operations::MOXSubscriptionManager::moveSubscriptionFrom, 208);
    return false;
}

bool MOXSubscriptionManager::removeFolderAtPath(std::string_view, bool, std::optional<Error>*) {
    reportAbstract(_platform, this, operations::MOXSubscriptionManager::removeFolderAtPath, 198);
    return false;
}

bool MOXSubscriptionManager::renameFolderAtPath(std::string_view, std::string_view, std::optional<Error>*) {
    reportAbstract(_platform, this, operations::MOXSubscriptionManager::renameFolderAtPath, 188);
    return false;
}

bool MOXSubscriptionManager::createFolderAtPath(std::string_view, std::optional<Error>*) {
    reportAbstract(_platform, this, operations::MOXSubscriptionManager::createFolderAtPath, 178);
    return false;
}

void MOXSubscriptionManager::updateSubscriptionsAtPaths(const std::vector<std::string>&,
                                                        const MOXUpdateErrorBlock&,
                                                        const MOXUpdateStoreNameBlock&,
                                                        const MOXUpdateIconBlock&) {
    reportAbstract(_platform, this, operations::MOXSubscriptionManager::updateSubscriptionsAtPaths, 170);
}

bool MOXSubscriptionManager::isSubscriptionAtPath(std::string_view) {
    reportAbstract(_platform, this, operations::MOXSubscriptionManager::isSubscriptionAtPath, 159);
    return false;
}

std::shared_ptr<MOXSubscription> MOXSubscriptionManager::subscriptionAtPath(std::string_view,
                                                                            std::optional<Error>*) {
    reportAbstract(_platform, this, operations::MOXSubscriptionManager::subscriptionAtPath, 151);
    return nullptr;
}

bool MOXSubscriptionManager::removeSubscriptionAtPath(std::string_view, std::optional<Error>*) {
    reportAbstract(_platform, this, operations::MOXSubscriptionManager::removeSubscriptionAtPath, 142);
    return false;
}

bool MOXSubscriptionManager::subscribeToResource(std::string_view, const MOXSubscribeKeywords&,
                                                 std::optional<Error>*) {
    reportAbstract(_platform, this, operations::MOXSubscriptionManager::subscribeToResource, 134);
    return false;
}

} // namespace mox
