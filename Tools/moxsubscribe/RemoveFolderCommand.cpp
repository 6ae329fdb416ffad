#include "BundleModel.hpp"
#include "Commands.hpp"
#include "Failure.hpp"

namespace mox::tool {
namespace {

struct RemoveFolderOptions {
    std::string path;
    bool onlyIfEmpty = false;
};

void removeFolder(Session& session, const RemoveFolderOptions& options) {
    const std::string path = session.path(options.path);
    requireFolderIfAny(session, "remove-folder", path);
    std::optional<Error> error;
    if (!session.manager().removeFolderAtPath(path, options.onlyIfEmpty, &error)) {
        if (error) throw Failure(*error, path);
        throw Failure("remove-folder", path, options.onlyIfEmpty ? "it is not empty" : "failed");
    }
    session.requireSaved();
}

} // namespace

void addRemoveFolderCommand(CLI::App& program, const CommandChosen& chosen) {
    const auto options = std::make_shared<RemoveFolderOptions>();
    CLI::App* command = program.add_subcommand("remove-folder", "Remove a folder with all in it");
    command->footer(R"(In the dictionary model, with --only-if-empty a folder that holds a subscription,
at any depth, is kept; the exit status is 0 then too. A folder that does not exist
is no error there. In the bundle model --only-if-empty keeps a folder that holds
anything but empty folders, and both are failures.

Example:
  moxsubscribe remove-folder Office --only-if-empty)");
    command->add_option("PATH", options->path, "The folder")->required();
    command->add_flag("--only-if-empty", options->onlyIfEmpty, "Keep it when it holds a subscription");
    command->callback(
        [options, chosen] { chosen([options](Session& session) { removeFolder(session, *options); }); });
}

} // namespace mox::tool
