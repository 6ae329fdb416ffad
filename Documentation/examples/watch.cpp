#include <MOXSubscribe.hpp>
#include <iostream>
#include <poll.h>
#include <unistd.h>

// Tells of changes in the applications folder until its standard input ends. The program has a loop of its
// own, poll(2), in which the framework's run loop is one descriptor among others.
int main() {
    mox::MOXSubscriptionManager::setSubscriptionModel(mox::SubscriptionModel::ApplicationBundle);
    const auto manager = mox::MOXSubscriptionManager::sharedManager();
    // Of the thread that asked for the shared manager: there the framework delivers.
    const auto runLoop = mox::currentRunLoop();
    if (!runLoop) return 1;

    mox::defaultNotificationCenter().addObserver(
        mox::MOXFolderChangedNotification, [&](std::string_view name, const void*) {
            std::cout << name << ": " << manager->subscriptionPaths().size() << " subscriptions" << std::endl;
        });
    std::cout << "watching " << manager->appsFolderPath() << std::endl;

    struct pollfd polled[] = {{runLoop->descriptor(), POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
    while (poll(polled, 2, -1) >= 0) {
        // Readable as long as something is due in the default mode. It is handled here, on this thread.
        if (polled[0].revents != 0) runLoop->runOnce(mox::defaultRunLoopMode, std::chrono::milliseconds(0));
        char input[512];
        if (polled[1].revents != 0 && read(STDIN_FILENO, input, sizeof input) <= 0) return 0;
    }
    return 1;
}
