#include <algorithm>
#include <sys/stat.h>

#include "Commands.hpp"
#include "Failure.hpp"
#include "JSONOutput.hpp"
#include "PrintableText.hpp"

namespace mox::tool {
namespace {

struct ListOptions {
    std::optional<std::string> folder;
    bool recursive = false;
    bool json = false;
};

/// Whether the store has the folder. The bundle model lists only folders with stubs, but any directory is
/// one.
bool isFolder(Session& session, const std::string& path) {
    struct ::stat status = {};
    if (session.model() == SubscriptionModel::ApplicationBundle)
        return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
    const std::vector<std::string>& folders = session.manager().folders();
    return std::find(folders.begin(), folders.end(), path) != folders.end();
}

void list(Session& session, const ListOptions& options) {
    const MOXSubscriptionManager& manager = session.manager();
    const std::string folder = options.folder ? session.path(*options.folder) : session.applicationsFolder();
    // The empty path stands for the top of the store, which is no folder of its own; and the applications
    // folder may be empty, but never unknown to a user.
    if (!folder.empty() && folder != session.applicationsFolder() && !isFolder(session, folder)) {
        throw Failure("list", folder, "no such folder");
    }
    const std::vector<std::string> paths = manager.subscriptionPathsInFolder(folder, options.recursive);
    if (options.json) return printJSON(session.output(), JSON(paths));
    for (const std::string& path : paths)
        session.output() << printable(path) << '\n';
}

} // namespace

void addListCommand(CLI::App& program, const CommandChosen& chosen) {
    const auto options = std::make_shared<ListOptions>();
    CLI::App* command = program.add_subcommand("list", "List the subscriptions of a folder");
    command->footer(R"(One path a line. A FOLDER that does not exist is an error; '' stands for the top
of the store, so that "list '' --recursive" lists everything.

Example:
  moxsubscribe list Office --recursive)");
    command->add_option("FOLDER", options->folder, "The folder (default: the applications folder)");
    command->add_flag("--recursive", options->recursive, "The folders below it too");
    command->add_flag("--json", options->json, "Print a JSON array of paths");
    command->callback(
        [options, chosen] { chosen([options](Session& session) { list(session, *options); }); });
}

} // namespace mox::tool
