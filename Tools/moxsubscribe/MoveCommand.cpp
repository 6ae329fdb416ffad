#include <algorithm>
#include <cerrno>

#include "BundleModel.hpp"
#include "Commands.hpp"
#include "EndSignals.hpp"
#include "Failure.hpp"

namespace mox::tool {
namespace {

struct MoveOptions {
    std::string source;
    std::string destination;
};

std::size_t countOf(const std::vector<std::string>& paths, const std::string& path) {
    return static_cast<std::size_t>(std::count(paths.begin(), paths.end(), path));
}

void move(Session& session, const MoveOptions& options) {
    MOXSubscriptionManager& manager = session.manager();
    const std::string source = session.path(options.source);
    const std::string destination = session.path(options.destination);
    // The framework takes an empty destination for a name at the top of the store, where nothing finds it
    // again.
    if (source.empty() || destination.empty())
        throw Failure(Error::posix(EINVAL), source.empty() ? source : destination);
    requireStubIfAny(session, "move", source);
    const HeldEndSignals held(session.output());
    std::optional<Error> error;
    if (!manager.moveSubscriptionFrom(source, destination, &error)) {
        if (error) throw Failure(*error, source);
        throw Failure("move", source,
                      "there is no such subscription, or it cannot be moved to " + destination);
    }
    session.requireSaved();
    if (session.model() != SubscriptionModel::Dictionary) return;
    if (source == destination) {
        session.remark("a move onto itself removes a subscription: " + source + " is gone");
    } else if (countOf(manager.subscriptionPaths(), destination) == 0) {
        session.remark("the folder of " + destination +
                       " does not exist; the subscription is in the deepest folder above that does");
    }
}

} // namespace

void addMoveCommand(CLI::App& program, const CommandChosen& chosen) {
    const auto options = std::make_shared<MoveOptions>();
    CLI::App* command = program.add_subcommand("move", "Move or rename a subscription");
    command->footer(R"(TO is the new path, name included. In the dictionary model what is at TO is
replaced, a missing folder stands for the deepest one above it that exists, and
a move onto itself REMOVES the subscription; the last two are remarked upon. In
the bundle model the folder of TO must be there, and nothing is ever replaced.

Example:
  moxsubscribe move Office/Writer.app Writing/Writer.app)");
    command->add_option("FROM", options->source, "The subscription")->required();
    command->add_option("TO", options->destination, "Its new path")->required();
    command->callback(
        [options, chosen] { chosen([options](Session& session) { move(session, *options); }); });
}

} // namespace mox::tool
