#include "CommandLine.hpp"

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
  moxsubscribe --model dictionary import feed.xml --url https://apps.example.com/feed
  moxsubscribe --model dictionary list --recursive
  moxsubscribe --model dictionary show Office/Writer)";

void printFailure(std::ostream& errors, std::string_view line) {
    errors << "moxsubscribe: " << line << '\n';
}

/// What is wrong with the command line. An unknown command is told by its name: the parser would only say
/// that there is none.
std::string messageOf(const CLI::ParseError& error, const CLI::App& program) {
    const std::vector<std::string> unknown = program.remaining();
    if (program.get_subcommands().empty() && !unknown.empty())
        return "unknown command or option " + unknown.front();
    return error.what();
}

/// A programming error of the framework's view: here it means that the store's file is not what it should be.
void printDamage(std::ostream& errors, const Session& session, std::string_view operation,
                 std::string_view what) {
    printFailure(errors, printable(session.storeFilePath()) + ": the store cannot be used (" +
                             printable(operation) + ": " + printable(what) +
                             "); the file was left as it is: repair it, or move it away to begin anew");
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
    } catch (const InternalInconsistencyException& damage) {
        printDamage(errors, session, damage.operation(), damage.what());
    } catch (const InvalidArgumentException& damage) {
        printDamage(errors, session, damage.operation(), damage.what());
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
    addBundleModelCommands(*program, chosen);
    return program;
}

int runCommandLine(int argumentCount, const char* const* arguments, std::ostream& output,
                   std::ostream& errors) try {
    Request request;
    const std::unique_ptr<CLI::App> program = makeCommandLine(request);
    try {
        program->parse(argumentCount, arguments);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            program->exit(error, output, errors);
            return output.flush() ? statusDone : statusFailed;
        }
        printFailure(errors, printable(messageOf(error, *program)) + " (see moxsubscribe --help)");
        return statusUsage;
    }
    return runCommand(request, output, errors);
} catch (const std::exception& error) {
    printFailure(errors, error.what());
    return statusFailed;
}

} // namespace mox::tool
