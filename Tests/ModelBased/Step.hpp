#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace mox::test::model {

/// What a step does. The names that a model does not know are never chosen for it.
enum class Operation {
    Subscribe,
    LookUp,
    IsSubscription,
    Remove,
    CreateFolder,
    RenameFolder,
    RemoveFolder,
    Move,
    RemoveAll,
    ListFolder,
    Update,              ///< The batch upgrade that the model has.
    CommonUpdate,        ///< The batch upgrade of the base class, where the model's own is another one.
    NameOfSubscription,  ///< The file name that the manager tells of a record.
    PathOfSubscription,  ///< The path that the manager tells of a record.
    WriteRecord,         ///< A record writes itself.
    RecordAtPath,        ///< A record is made from a path.
    Reopen,              ///< The client ends and starts anew, maybe on something else.
    RemoveItem,          ///< Removal with or without the Trash.
    Interfere,           ///< Somebody else changes the disk.
    DeliverFolderEvents, ///< The watch reports folders.
    UpdateOne,           ///< The upgrade of one subscription.
};

/// A document type: its name, its extensions, its description.
struct FileType {
    std::string group = {};
    std::vector<std::string> extensions = {};
    std::optional<std::string> description = std::nullopt;
};

/// The optional information of a subscription.
struct Info {
    std::optional<std::string> description = std::nullopt;
    std::optional<std::string> launchURL = std::nullopt;
    std::optional<std::string> publisher = std::nullopt;
    std::optional<std::string> contentAddress = std::nullopt;
    /// The side of a square icon in pixels; 0 for none.
    int icon = 0;
    std::optional<std::vector<FileType>> fileTypes = std::nullopt;
};

/// One call with all its arguments, and what goes wrong during it. Kept as plain values, so that a list of
/// steps can be cut, printed as a program text and run again.
struct Step {
    Operation operation = Operation::LookUp;
    /// The path, the folder of a subscription, or the source.
    std::string path = {};
    /// The destination, or the new path.
    std::string other = {};
    std::string fileName = {};
    std::optional<std::string> resource = std::nullopt;
    std::optional<std::string> store = std::nullopt;
    std::optional<std::string> internalURL = std::nullopt;
    std::optional<std::string> externalURL = std::nullopt;
    int type = 0;
    int gateway = 9;
    int authentication = 0;
    std::optional<Info> info = std::nullopt;
    /// Recursive, only if empty, with the Trash.
    bool flag = false;
    /// Whether the caller wants to know the error.
    bool wantsError = true;
    /// Which of several variants, as the model says.
    int variant = 0;
    /// What the model lets fail; 0 for nothing.
    int fault = 0;
    /// The paths of a batch.
    std::vector<std::string> paths = {};
};

/// The program text of `step`, with what differs from a new one.
std::string programText(const Step& step);

/// The program text of a list of steps.
std::string programText(const std::vector<Step>& steps);

} // namespace mox::test::model
