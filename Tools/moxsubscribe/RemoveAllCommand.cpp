#include "Commands.hpp"
#include "JSONOutput.hpp"
#include "PrintableText.hpp"

namespace mox::tool {
namespace {

struct RemoveAllOptions {
    std::string resource;
    std::string store;
    bool json = false;
};

void removeAll(Session& session, const RemoveAllOptions& options) {
    const auto removed =
        session.manager().removeAllSubscriptionsWithUniqueName(options.resource, options.store);
    // Nothing was saved when nothing matched.
    if (removed) session.requireSaved();
    const std::vector<std::string> paths = removed.value_or(std::vector<std::string>());
    if (options.json) return printJSON(session.output(), JSON(paths));
    for (const std::string& path : paths)
        session.output() << printable(path) << '\n';
}

} // namespace

void addRemoveAllCommand(CLI::App& program, const CommandChosen& chosen) {
    const auto options = std::make_shared<RemoveAllOptions>();
    CLI::App* command =
        program.add_subcommand("remove-all", "Remove every subscription of one resource on one store");
    command->footer(R"(Prints the paths that were removed, one a line. When nothing matches, nothing is
printed and the exit status is 0. Both names are compared exactly.

Example:
  moxsubscribe --model dictionary remove-all --resource Fleet:Writer --store Fleet)");
    command->add_option("--resource", options->resource, "The resource's name")
        ->type_name("NAME")
        ->required();
    command->add_option("--store", options->store, "The store's name")->type_name("NAME")->required();
    command->add_flag("--json", options->json, "Print a JSON array of the removed paths");
    command->callback(
        [options, chosen] { chosen([options](Session& session) { removeAll(session, *options); }); });
}

} // namespace mox::tool
