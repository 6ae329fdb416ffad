#include "Commands.hpp"
#include "JSONOutput.hpp"
#include "PrintableText.hpp"

namespace mox::tool {
namespace {

void printFolders(Session& session, bool asJSON) {
    const std::vector<std::string>& folders = session.manager().folders();
    if (asJSON) return printJSON(session.output(), JSON(folders));
    for (const std::string& folder : folders)
        session.output() << printable(folder) << '\n';
}

} // namespace

void addFoldersCommand(CLI::App& program, const CommandChosen& chosen) {
    const auto asJSON = std::make_shared<bool>(false);
    CLI::App* command = program.add_subcommand("folders", "List all folders");
    command->footer(R"(One path a line, each folder before the folders in it, in the bundle model behind
them. There only folders with stubs, and the applications folder, are listed.

Example:
  moxsubscribe folders)");
    command->add_flag("--json", *asJSON, "Print a JSON array of paths");
    command->callback(
        [asJSON, chosen] { chosen([asJSON](Session& session) { printFolders(session, *asJSON); }); });
}

} // namespace mox::tool
