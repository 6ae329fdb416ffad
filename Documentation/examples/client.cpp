#include <MOXSubscribe.hpp>
#include <iostream>

int main() {
    mox::MOXSubscriptionManager::setSubscriptionModel(mox::SubscriptionModel::Dictionary);
    const auto manager = mox::MOXSubscriptionManager::sharedManager();

    const std::string office = manager->appsFolderPath() + "/Office";
    std::optional<mox::Error> error;
    if (!manager->createFolderAtPath(office, &error) ||
        !manager->subscribeToResource("Work:Writer",
                                      {.ofType = mox::MOXSubscriptionType::Application,
                                       .onStoreNamed = "Work",
                                       .withInternalStoreURL = "https://store.example",
                                       .withFileName = "Writer",
                                       .inFolder = office},
                                      &error)) {
        std::cerr << (error ? error->localizedDescription() : "The subscription was not made.") << '\n';
        return 1;
    }
    for (const std::string& path : manager->subscriptionPaths())
        std::cout << path << '\n';
}
