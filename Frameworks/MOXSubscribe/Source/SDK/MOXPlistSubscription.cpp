#include "SDK/MOXPlistSubscription.hpp"

#include "SDK/MOXPlistSubscriptionManager.hpp"
#include "SDK/OperationNames.hpp"
#include "SDK/Reporting.hpp"

#include <utility>

namespace mox {

MOXPlistSubscription::~MOXPlistSubscription() = default;

std::shared_ptr<MOXPlistSubscription> MOXPlistSubscription::subscription() {
    return std::shared_ptr<MOXPlistSubscription>(new MOXPlistSubscription());
}

std::shared_ptr<MOXPlistSubscription>
MOXPlistSubscription::subscriptionWithDictionary(std::optional<PropertyList::Dictionary> dictionary) {
    return std::shared_ptr<MOXPlistSubscription>(new MOXPlistSubscription(std::move(dictionary)));
}

std::shared_ptr<MOXPlistSubscription>
MOXPlistSubscription::subscriptionWithFileName(std::optional<std::string> fileName,
                                               const MOXSubscriptionKeywords& keywords) {
    return std::shared_ptr<MOXPlistSubscription>(new MOXPlistSubscription(std::move(fileName), keywords));
}

std::shared_ptr<MOXPlistSubscription>
MOXPlistSubscription::subscriptionWithPath(std::string_view path, std::optional<Error>* error) {
    const auto manager = MOXSubscriptionManager::sharedManager();
    if (!manager) return nullptr;
    return std::dynamic_pointer_cast<MOXPlistSubscription>(manager->subscriptionAtPath(path, error));
}

std::optional<Image> MOXPlistSubscription::icon() const {
    return _launchAlias ? _launchAlias->icon() : std::nullopt;
}

void MOXPlistSubscription::setIcon(std::optional<Image> icon) {
    if (_launchAlias) _launchAlias->setIcon(icon);
}

bool MOXPlistSubscription::writeToFolder(std::string_view folder, std::string_view name,
                                         std::optional<Error>*) {
    const auto manager = MOXSubscriptionManager::sharedManager();
    if (const auto store = std::dynamic_pointer_cast<MOXPlistSubscriptionManager>(manager)) {
        // The result is not looked at, on purpose: a record that found no place is no failure here.
        store->setSubscription(*this, name, folder);
        store->saveSubscriptions();
    } else if (manager) {
        reportUnrecognizedSelector(currentPlatform(), manager.get(),
                                   operations::MOXFileSubscriptionManager::setSubscription);
    }
    return true;
}

} // namespace mox
