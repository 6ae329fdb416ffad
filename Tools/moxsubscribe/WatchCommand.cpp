#include <cerrno>
#include <cstring>
#include <poll.h>
#include <set>
#include <sys/signalfd.h>
#include <unistd.h>

#include "BundleModel.hpp"
#include "Commands.hpp"
#include "EndSignals.hpp"
#include "Failure.hpp"
#include "PrintableText.hpp"

namespace mox::tool {
namespace {

/// Turns the signals that end a program into a descriptor that becomes readable, for as long as it lives.
class EndSignalDescriptor {
public:
    explicit EndSignalDescriptor(std::ostream& output)
        : _held(output), _descriptor(signalfd(-1, &_held.signals(), SFD_CLOEXEC | SFD_NONBLOCK)) {}
    EndSignalDescriptor(const EndSignalDescriptor&) = delete;
    EndSignalDescriptor& operator=(const EndSignalDescriptor&) = delete;
    ~EndSignalDescriptor() {
        // One that was not taken would end the program as soon as it is let through again.
        signalfd_siginfo taken = {};
        while (_descriptor >= 0 && read(_descriptor, &taken, sizeof taken) > 0) {
        }
        if (_descriptor >= 0) close(_descriptor);
    }

    int descriptor() const { return _descriptor; }

private:
    const HeldEndSignals _held;
    const int _descriptor;
};

/// What the store listed when it was last looked at; a folder has a "/" at its end.
using Listing = std::set<std::string>;

Listing listingOf(const MOXSubscriptionManager& manager) {
    Listing listing(manager.subscriptionPaths().begin(), manager.subscriptionPaths().end());
    for (const std::string& folder : manager.folders())
        listing.insert(folder + "/");
    return listing;
}

void printLines(std::ostream& output, char sign, const Listing& listing, const Listing& other) {
    for (const std::string& path : listing) {
        if (!other.contains(path)) output << sign << ' ' << printable(path) << '\n';
    }
}

/// Observes the notification of changes while it lives.
class ChangeObserver {
public:
    explicit ChangeObserver(NotificationCenter::Observer observer)
        : _token(defaultNotificationCenter().addObserver(MOXFolderChangedNotification, std::move(observer))) {
    }
    ChangeObserver(const ChangeObserver&) = delete;
    ChangeObserver& operator=(const ChangeObserver&) = delete;
    ~ChangeObserver() { defaultNotificationCenter().removeObserver(_token); }

private:
    NotificationCenter::ObserverToken _token;
};

void watch(Session& session) {
    requireBundleModel(session, "watch");
    const EndSignalDescriptor endSignals(session.output());
    const MOXSubscriptionManager& manager = session.manager();
    Listing listing = listingOf(manager);
    const ChangeObserver observer([&](std::string_view, const void*) {
        Listing now = listingOf(manager);
        printLines(session.output(), '-', listing, now);
        printLines(session.output(), '+', now, listing);
        session.output().flush();
        listing = std::move(now);
    });
    session.errors() << "watching " << printable(session.applicationsFolder()) << ", "
                     << manager.numberOfSubscriptions() << " subscriptions; interrupt to end\n";
    session.errors().flush();

    const std::shared_ptr<RunLoop> runLoop = currentRunLoop();
    pollfd waiting[] = {{runLoop->descriptor(), POLLIN, 0}, {endSignals.descriptor(), POLLIN, 0}};
    while (session.output()) {
        if (poll(waiting, 2, -1) < 0) {
            if (errno == EINTR) continue;
            throw Failure("watch", session.applicationsFolder(), std::strerror(errno));
        }
        if (waiting[1].revents != 0) return;
        if (waiting[0].revents != 0) runLoop->runOnce(defaultRunLoopMode, std::chrono::milliseconds(0));
    }
}

} // namespace

void addWatchCommand(CLI::App& program, const CommandChosen& chosen) {
    CLI::App* command =
        program.add_subcommand("watch", "Bundle model: print changes as they happen, until interrupted");
    command->footer(R"(Prints a line for each subscription and each folder (with a "/" at its end) that
appeared ("+ PATH") or disappeared ("- PATH"), about a second after it happened.
Ends when it is interrupted, with status 0.

Not on the dictionary model (exit status 2): its file is not watched.)");
    command->callback([chosen] { chosen([](Session& session) { watch(session); }); });
}

} // namespace mox::tool
