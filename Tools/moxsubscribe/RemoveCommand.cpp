#include "BundleModel.hpp"
#include "Commands.hpp"
#include "EndSignals.hpp"
#include "Failure.hpp"

namespace mox::tool {
namespace {

void remove(Session& session, const std::string& argument) {
    const std::string path = session.path(argument);
    requireStubIfAny(session, "remove", path);
    const HeldEndSignals held(session.output());
    std::optional<Error> error;
    if (!session.manager().removeSubscriptionAtPath(path, &error)) {
        if (error) throw Failure(*error, path);
        throw Failure("remove", path, "failed");
    }
    session.requireSaved();
}

} // namespace

void addRemoveCommand(CLI::App& program, const CommandChosen& chosen) {
    const auto path = std::make_shared<std::string>();
    CLI::App* command = program.add_subcommand("remove", "Remove a subscription");
    command->footer(R"(Example:
  moxsubscribe remove Office/Writer.app)");
    command->add_option("PATH", *path, "The subscription")->required();
    command->callback([path, chosen] { chosen([path](Session& session) { remove(session, *path); }); });
}

} // namespace mox::tool
