#include <algorithm>

#include "BundleModel.hpp"
#include "Commands.hpp"
#include "Failure.hpp"

namespace mox::tool {
namespace {

struct RenameOptions {
    std::string oldPath;
    std::string newPath;
};

std::string lastComponent(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

std::string folderOf(const std::string& path) {
    return path.substr(0, path.rfind('/') + 1);
}

void renameFolder(Session& session, const RenameOptions& options) {
    MOXSubscriptionManager& manager = session.manager();
    const std::string oldPath = session.path(options.oldPath);
    const std::string newPath = session.path(options.newPath);
    if (oldPath.empty() || newPath.empty()) throw Failure(Error::posix(EINVAL), "");
    // The framework would give the folder an empty name, with which no path finds it again.
    if (newPath == "/") throw Failure(Error::posix(EINVAL), newPath);
    requireFolderIfAny(session, "rename-folder", oldPath);
    std::optional<Error> error;
    if (!manager.renameFolderAtPath(oldPath, newPath, &error)) {
        if (error) throw Failure(*error, oldPath);
        throw Failure("rename-folder", oldPath,
                      "there is no such folder, or it cannot be renamed to " + newPath);
    }
    session.requireSaved();
    if (session.model() != SubscriptionModel::Dictionary) return;
    if (folderOf(oldPath) == folderOf(newPath)) return;
    if (lastComponent(oldPath) == lastComponent(newPath)) {
        session.remark("a rename to the same name elsewhere removes a folder: " + oldPath + " is gone");
    } else {
        session.remark("a rename never moves a folder: it is now " + folderOf(oldPath) +
                       lastComponent(newPath));
    }
}

} // namespace

void addRenameFolderCommand(CLI::App& program, const CommandChosen& chosen) {
    const auto options = std::make_shared<RenameOptions>();
    CLI::App* command = program.add_subcommand("rename-folder", "Give a folder another name");
    command->footer(R"(NEW is the folder's new path. In the dictionary model only its last component
counts: a folder never moves to another parent, and a NEW that differs in its
parent alone REMOVES the folder; both are remarked upon. A folder that has the
new name already is replaced, with all in it. In the bundle model the folder is
moved to NEW, and nothing is ever replaced.

Example:
  moxsubscribe rename-folder Office "Office tools")");
    command->add_option("OLD", options->oldPath, "The folder")->required();
    command->add_option("NEW", options->newPath, "Its new path")->required();
    command->callback(
        [options, chosen] { chosen([options](Session& session) { renameFolder(session, *options); }); });
}

} // namespace mox::tool
