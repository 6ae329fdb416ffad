#include <cerrno>

#include "Commands.hpp"
#include "Failure.hpp"

namespace mox::tool {
namespace {

void createFolder(Session& session, const std::string& argument) {
    const std::string path = session.path(argument);
    // The framework makes nothing for the empty path and calls it done, which would tell a user too little.
    if (path.empty()) throw Failure(Error::posix(EINVAL), path);
    std::optional<Error> error;
    if (!session.manager().createFolderAtPath(path, &error)) {
        if (error) throw Failure(*error, path);
        throw Failure("create-folder", path, "failed");
    }
    session.requireSaved();
}

} // namespace

void addCreateFolderCommand(CLI::App& program, const CommandChosen& chosen) {
    const auto path = std::make_shared<std::string>();
    CLI::App* command =
        program.add_subcommand("create-folder", "Make a folder and every missing one above it");
    command->footer(R"(A folder that exists already is left as it is.

Example:
  moxsubscribe create-folder Office/Archive)");
    command->add_option("PATH", *path, "The folder")->required();
    command->callback([path, chosen] { chosen([path](Session& session) { createFolder(session, *path); }); });
}

} // namespace mox::tool
