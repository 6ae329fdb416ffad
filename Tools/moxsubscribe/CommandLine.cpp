#include "CommandLine.hpp"

#include <algorithm>
#include <exception>

#include "Failure.hpp"
#include "PrintableText.hpp"
#include "WordOption.hpp"
#include "Words.hpp"

namespace mox::tool {
namespace {

constexpr const char* description = "Keeps subscriptions to published applications and desktops";

constexpr const char* footer =
    R"(A relative FOLDER or PATH lies below the applications folder, $HOME/Applications.
Every command has a --help of its own. Text output shows control characters as
\u{HEX}; use --json in scripts.

Exit status: 0 done, 1 the operation failed (one line on standard error), 2 usage.

Examples:
  moxsubscribe import feed.xml --url https://apps.example.com/feed
  moxsubscribe list --recursive
  moxsubscribe --model dictionary list --recursive)";

void printFailure(std::ostream& errors, std::string_view line) {
    errors << "moxsubscribe: " << line << '\n';
}

/// The command that was chosen, else the program.
const CLI::App& chosenCommand(const CLI::App& program) {
    const std::vector<CLI::App*> commands = program.get_subcommands();
    return commands.empty() ? program : *commands.front();
}

/// The option of the chosen command or of the program by its name with dashes; null when there is none.
const CLI::Option* optionNamed(const CLI::App& command, const CLI::App& program, const std::string& name) {
    const CLI::Option* option = command.get_option_no_throw(name);
    return option != nullptr ? option : program.get_option_no_throw(name);
}

/// The arguments in the reverse order that the parser asks for, "--name=" as "--name" and an empty text: the
/// parser would take the next argument for the value that stands there, empty.
std::vector<std::string> argumentsForParser(const CLI::App& program, int count,
                                            const char* const* arguments) {
    std::vector<std::string> result;
    const CLI::App* command = &program;
    for (int index = 1; index < count; ++index) {
        const std::string& argument = result.emplace_back(arguments[index]);
        if (argument == "--") {
            result.insert(result.end(), arguments + index + 1, arguments + count);
            break;
        }
        if (!argument.starts_with("--")) {
            const auto named =
                program.get_subcommands([&](const CLI::App* each) { return each->get_name() == argument; });
            if (command == &program && !named.empty()) command = named.front();
            continue;
        }
        const std::size_t equalsSign = argument.find('=');
        const CLI::Option* option = optionNamed(*command, program, argument.substr(0, equalsSign));
        if (option == nullptr || option->get_items_expected_max() == 0) continue;
        if (equalsSign == std::string::npos) {
            if (++index < count) result.emplace_back(arguments[index]);
        } else if (equalsSign + 1 == argument.size()) {
            result.back().pop_back();
            result.emplace_back();
        }
    }
    std::reverse(result.begin(), result.end());
    return result;
}

/// The option that is given more often than it may be; null when there is none.
const CLI::Option* repeatedOption(const CLI::App& command, const CLI::App& program) {
    for (const CLI::App* each : {&command, &program}) {
        for (const CLI::Option* option : each->get_options()) {
            if (option->get_items_expected_max() == 1 && option->count() > 1) return option;
        }
    }
    return nullptr;
}

/// What is wrong with the command line. What is not known is told first and by its name: the parser would
/// only say what is missing.
std::string messageOf(const CLI::ParseError& error, const CLI::App& program) {
    const CLI::App& command = chosenCommand(program);
    const std::vector<std::string> unknown = program.remaining(true);
    if (!unknown.empty()) {
        const std::string& first = unknown.front();
        if (&command == &program) return "unknown command or option \"" + first + "\"";
        if (first.size() < 2 || !first.starts_with('-')) return "unexpected argument \"" + first + "\"";
        return "unknown option \"" + first + "\"; an argument that begins with \"-\" goes behind \"--\"";
    }
    if (const CLI::Option* repeated = repeatedOption(command, program))
        return repeated->get_name() + " is given more than once";
    return error.what();
}

/// A programming error of the framework's view: here it means that the store's file is not what it should be.
void printDamage(std::ostream& errors, const Session& session) {
    const char* reason =
        session.isOpen() ? "a folder in it is damaged" : "it is no property list that can be read";
    printFailure(errors, printable(session.storeFilePath()) + ": the store cannot be used: " + reason +
                             "; the file was left as it is: repair it, or move it away to begin anew");
}

int runCommand(const Request& request, std::ostream& output, std::ostream& errors) {
    Session session(request.model, output, errors);
    try {
        request.command(session);
        if (output.flush()) return statusDone;
        printFailure(errors, "standard output: cannot be written");
    } catch (const UsageFailure& failure) {
        printFailure(errors, failure.what());
        return statusUsage;
    } catch (const InternalInconsistencyException&) {
        printDamage(errors, session);
    }
    return statusFailed;
}

} // namespace

std::unique_ptr<CLI::App> makeCommandLine(Request& request) {
    auto program = std::make_unique<CLI::App>(description, "moxsubscribe");
    program->footer(footer);
    program->set_version_flag("--version", "moxsubscribe " MOXSUBSCRIBE_VERSION, "Print the version and end");
    program->set_help_flag("-h,--help", "Print this help and end");
    // Commands inherit it, so that --model is understood behind the command too.
    program->fallthrough();
    program->require_subcommand(1);
    addWordOption(*program, "--model", request.model, modelWords(),
                  "Where subscriptions are kept (default: bundle)");
    const CommandChosen chosen = [&request](std::function<void(Session&)> command) {
        request.command = std::move(command);
    };
    addSubscribeCommand(*program, chosen);
    addImportCommand(*program, chosen);
    addListCommand(*program, chosen);
    addFoldersCommand(*program, chosen);
    addShowCommand(*program, chosen);
    addCheckCommand(*program, chosen);
    addMoveCommand(*program, chosen);
    addRemoveCommand(*program, chosen);
    addRemoveAllCommand(*program, chosen);
    addCreateFolderCommand(*program, chosen);
    addRenameFolderCommand(*program, chosen);
    addRemoveFolderCommand(*program, chosen);
    addUpgradeCommand(*program, chosen);
    addWatchCommand(*program, chosen);
    addOpenCommand(*program, chosen);
    return program;
}

int runCommandLine(int argumentCount, const char* const* arguments, std::ostream& output,
                   std::ostream& errors) try {
    Request request;
    const std::unique_ptr<CLI::App> program = makeCommandLine(request);
    try {
        program->parse(argumentsForParser(*program, argumentCount, arguments));
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            program->exit(error, output, errors);
            return output.flush() ? statusDone : statusFailed;
        }
        const CLI::App& command = chosenCommand(*program);
        const std::string help = &command == program.get() ? "" : command.get_name() + " ";
        printFailure(errors,
                     printable(messageOf(error, *program)) + " (see moxsubscribe " + help + "--help)");
        return statusUsage;
    }
    return runCommand(request, output, errors);
} catch (const std::exception& error) {
    printFailure(errors, error.what());
    return statusFailed;
}

} // namespace mox::tool
