#include <cerrno>
#include <cstring>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "BundleModel.hpp"
#include "Commands.hpp"
#include "Failure.hpp"

namespace mox::tool {
namespace {

struct OpenOptions {
    std::string path;
    std::vector<std::string> documents;
};

/// The program in the stub at `path` that starts it.
std::string launcherOf(const std::string& path) {
    // A launch alias is the framework's way to read any property list that is a dictionary.
    const std::shared_ptr<MOXLaunchAlias> information =
        MOXLaunchAlias::launchAliasWithFile(path + "/Contents/Info.plist");
    const PropertyList::Dictionary values =
        information ? information->dictionaryRepresentation() : PropertyList::Dictionary();
    const std::string* name = values.string("CFBundleExecutable");
    if (name == nullptr || name->empty() || name->find('/') != std::string::npos)
        throw Failure("open", path, "its information list names no program");
    return path + "/Contents/MacOS/" + *name;
}

/// Runs the program and waits for its end; its exit status, 128 and more for a signal.
int runAndWait(const std::string& program, const std::vector<std::string>& documents) {
    // posix_spawn(3) writes nothing there.
    // NOLINTBEGIN(cppcoreguidelines-pro-type-const-cast)
    std::vector<char*> arguments{const_cast<char*>(program.c_str())};
    for (const std::string& document : documents)
        arguments.push_back(const_cast<char*>(document.c_str()));
    // NOLINTEND(cppcoreguidelines-pro-type-const-cast)
    arguments.push_back(nullptr);
    pid_t process = 0;
    if (const int error =
            posix_spawn(&process, program.c_str(), nullptr, nullptr, arguments.data(), environ)) {
        throw Failure("open", program, std::strerror(error));
    }
    int status = 0;
    while (waitpid(process, &status, 0) < 0) {
        if (errno != EINTR) throw Failure("open", program, std::strerror(errno));
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void open(Session& session, const OpenOptions& options) {
    requireBundleModel(session, "open");
    const std::string path = session.path(options.path);
    session.subscriptionAtPath("open", path);
    const int status = runAndWait(launcherOf(path), options.documents);
    if (status != 0) throw Failure("open", path, "its program ended with status " + std::to_string(status));
}

} // namespace

void addOpenCommand(CLI::App& program, const CommandChosen& chosen) {
    const auto options = std::make_shared<OpenOptions>();
    CLI::App* command = program.add_subcommand("open", "Bundle model: start a stub, with documents");
    command->footer(R"(Runs the stub's own program, which hands its launch URL to the desktop, and waits
for its end. What it refuses, and why, is on standard error.

Not on the dictionary model (exit status 2): an entry has no stub to start.
There, "show PATH --json" tells the launch URL.

Example:
  moxsubscribe open Office/Writer.app)");
    command->add_option("PATH", options->path, "The stub")->required();
    command->add_option("FILE", options->documents, "Documents to open");
    command->callback(
        [options, chosen] { chosen([options](Session& session) { open(session, *options); }); });
}

} // namespace mox::tool
