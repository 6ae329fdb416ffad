#include "Commands.hpp"
#include "EndSignals.hpp"
#include "Failure.hpp"
#include "JSONOutput.hpp"
#include "PrintableText.hpp"
#include "Progress.hpp"

namespace mox::tool {
namespace {

struct RemoveAllOptions {
    std::string resource;
    std::string store;
    bool json = false;
};

/// Removes from the dictionary model, which is one change of one file.
std::vector<std::string> removeFromFile(Session& session, const RemoveAllOptions& options) {
    const auto removed =
        session.manager().removeAllSubscriptionsWithUniqueName(options.resource, options.store);
    // Nothing was saved when nothing matched.
    if (removed) session.requireSaved();
    return removed.value_or(std::vector<std::string>());
}

/// The stubs of the resource, by the names that the framework's own removal compares.
std::vector<std::string> stubsOf(Session& session, const RemoveAllOptions& options) {
    std::vector<std::string> paths;
    for (const std::string& path : session.manager().subscriptionPaths()) {
        const std::shared_ptr<MOXSubscription> stub = session.manager().subscriptionAtPath(path);
        if (stub && stub->resourceName() == options.resource && stub->storeName() == options.store)
            paths.push_back(path);
    }
    return paths;
}

/// Removes stubs one by one: the framework's removal of all tells neither how far it is nor what it could not
/// delete.
std::vector<std::string> removeStubs(Session& session, const RemoveAllOptions& options,
                                     const HeldEndSignals& held, std::vector<std::string>& failures) {
    const std::vector<std::string> paths = stubsOf(session, options);
    std::vector<std::string> removed;
    const MOXLaunchRegistrationScope scope;
    Progress progress(session.errors(), paths.size(), widthOfErrorTerminal());
    for (const std::string& path : paths) {
        if (held.arePending()) break;
        std::optional<Error> error;
        if (session.manager().removeSubscriptionAtPath(path, &error)) {
            removed.push_back(path);
            progress.step(path, "removed");
        } else {
            failures.push_back(path + ": " + (error ? lineOfError(*error) : "failed"));
            progress.step(path, "failed");
        }
    }
    return removed;
}

void removeAll(Session& session, const RemoveAllOptions& options) {
    const bool hasStubs = session.model() == SubscriptionModel::ApplicationBundle;
    std::vector<std::string> failures;
    const HeldEndSignals held(session.output());
    const std::vector<std::string> paths =
        hasStubs ? removeStubs(session, options, held, failures) : removeFromFile(session, options);
    if (options.json) {
        printJSON(session.output(), JSON(paths));
    } else {
        for (const std::string& path : paths)
            session.output() << printable(path) << '\n';
        if (hasStubs) session.output() << paths.size() << " removed, " << failures.size() << " failed\n";
    }
    if (!failures.empty()) throw Failure("remove-all", session.applicationsFolder(), failures.front());
}

} // namespace

void addRemoveAllCommand(CLI::App& program, const CommandChosen& chosen) {
    const auto options = std::make_shared<RemoveAllOptions>();
    CLI::App* command =
        program.add_subcommand("remove-all", "Remove every subscription of one resource on one store");
    command->footer(R"(Prints the paths that were removed, one a line, and in the bundle model how many
there were. That nothing matches is no failure: the exit status is 0. Both names
are compared exactly.

Example:
  moxsubscribe remove-all --resource Fleet:Writer --store Fleet)");
    command->add_option("--resource", options->resource, "The resource's name")
        ->type_name("NAME")
        ->required();
    command->add_option("--store", options->store, "The store's name")->type_name("NAME")->required();
    command->add_flag("--json", options->json, "Print a JSON array of the removed paths");
    command->callback(
        [options, chosen] { chosen([options](Session& session) { removeAll(session, *options); }); });
}

} // namespace mox::tool
