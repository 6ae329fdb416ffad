#include "Commands.hpp"
#include "Failure.hpp"

namespace mox::tool {
namespace {

void check(Session& session, const std::string& argument) {
    const std::string path = session.path(argument);
    if (!session.manager().isSubscriptionAtPath(path)) throw Failure("check", path, "not a subscription");
}

} // namespace

void addCheckCommand(CLI::App& program, const CommandChosen& chosen) {
    const auto path = std::make_shared<std::string>();
    CLI::App* command =
        program.add_subcommand("check", "Tell by the exit status whether a path is a subscription");
    command->footer(R"(Exit status 0 when it is one, else 1.

Example:
  moxsubscribe check Office/Writer.app && echo "at hand")");
    command->add_option("PATH", *path, "The path")->required();
    command->callback([path, chosen] { chosen([path](Session& session) { check(session, *path); }); });
}

} // namespace mox::tool
