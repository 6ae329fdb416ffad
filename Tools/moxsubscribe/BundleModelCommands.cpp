#include "Commands.hpp"
#include "Failure.hpp"

namespace mox::tool {
namespace {

/// The end of a command that the dictionary model does not have. The bundle model, which would have it, fails
/// as every command does there.
void refuse(Session& session, const std::string& command) {
    if (session.model() == SubscriptionModel::Dictionary) {
        throw UsageFailure(command + " is a command of the bundle model: the dictionary model has no stubs");
    }
    session.manager();
}

CLI::App* addCommand(CLI::App& program, const CommandChosen& chosen, const std::string& name,
                     const std::string& description) {
    CLI::App* command = program.add_subcommand(name, description);
    command->callback([name, chosen] { chosen([name](Session& session) { refuse(session, name); }); });
    return command;
}

/// Any number of arguments, which are understood but not looked at.
void addArguments(CLI::App& command, const std::string& name, const std::string& description) {
    command.add_option_function<std::vector<std::string>>(
        name, [](const std::vector<std::string>&) {}, description);
}

} // namespace

void addBundleModelCommands(CLI::App& program, const CommandChosen& chosen) {
    CLI::App* upgrade = addCommand(program, chosen, "upgrade", "Bundle model: bring old stubs up to date");
    upgrade->footer("Not on the dictionary model (exit status 2): its entries never grow old.");
    addArguments(*upgrade, "PATH", "The stubs (default: all)");
    upgrade->add_option("--store-name", "A store's name by its server, SERVER=NAME; may be given again")
        ->type_name("SERVER=NAME")
        ->take_all()
        ->allow_extra_args(false);
    upgrade->add_option("--icon", "An icon for stubs without one")->type_name("FILE");
    const std::string descriptionOfJSON = "Print a JSON array of results";
    upgrade->add_flag("--json", descriptionOfJSON);

    addCommand(program, chosen, "watch", "Bundle model: print changes as they happen, until interrupted")
        ->footer("Not on the dictionary model (exit status 2): its file is not watched.");

    CLI::App* open = addCommand(program, chosen, "open", "Bundle model: start a stub, with documents");
    open->footer("Not on the dictionary model (exit status 2): an entry has no stub to start.\n"
                 "There, \"show PATH --json\" tells the launch URL.");
    open->add_option("PATH", "The stub")->required();
    addArguments(*open, "FILE", "Documents to open");
}

} // namespace mox::tool
