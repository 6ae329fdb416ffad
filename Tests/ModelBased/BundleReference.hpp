#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "ModelBased/FileTree.hpp"
#include "ModelBased/Observations.hpp"
#include "ModelBased/ReferenceRecords.hpp"
#include "ModelBased/Step.hpp"

namespace mox::test::model {

/// What a step's fault makes fail: tens for the kind, ones for the number of the call within the step, with 9
/// for all calls from the first on.
enum class FaultKind {
    None,
    Registration,
    Trash,
    Write,
    Copy,
    Move,
    Removal,
    CarefulRemoval,
    FolderCreation,
    TemporaryFolder
};
inline constexpr int everyCall = 9;

/// What `Interfere` does, by a step's variant.
enum class Interference {
    File = 1,        ///< Puts a file.
    Folder,          ///< Makes a folder.
    Stub,            ///< Puts a stub of another client.
    HiddenFile,      ///< Puts ".DS_Store" into a folder.
    Application,     ///< Puts an application that is no stub.
    RemoveAlias,     ///< Removes a bundle's launch alias.
    BreakAlias,      ///< Makes it unreadable.
    RemoveInfoPlist, ///< Removes a bundle's information list.
    RemoveStrings,   ///< Removes its strings.
    RemoveIcon,      ///< Removes its icon.
    ChangeTemplate,  ///< Puts another template for the step's type, or none.
    Last = ChangeTemplate,
};

/// The callbacks that a step's variant gives to an upgrade, and whether the first failure ends it.
enum UpgradeVariant { GivesErrorBlock = 1, GivesStoreNameBlock = 2, GivesIconBlock = 4, Stops = 8 };

/// What a template, a stub of another client and an ordinary application hold.
Item templateItem(int type, const std::string& version);
Item foreignStub(const Step& step);
Item applicationItem();

/// The files in a bundle of `type` that are removed or broken.
std::string aliasFileIn(const std::string& bundle);
std::string infoPlistIn(const std::string& bundle);
std::string stringsFileIn(const std::string& bundle);
std::string iconFileIn(const std::string& bundle, int type);

/// What the bundle model has to do, told in the simplest way: a disk in memory, and lists.
///
/// Paths begin with "~" for the user's home and with "~tmp" for the temporary directory; templates are in
/// "~templates".
class BundleReference {
public:
    /// Gives the names in a folder in the order in which the system lists them, which nobody can foretell.
    using Listing = std::function<std::vector<std::string>(const std::string& path)>;

    explicit BundleReference(Listing listing);

    /// What is to be seen of `step`, which the subject has already done, so that the order of its folders is
    /// known.
    Observations perform(const Step& step);

    /// What is to be on the disk.
    Observations disk();

    const std::vector<std::string>& subscriptionPaths() const { return _subscriptionPaths; }
    const std::vector<std::string>& folders() const { return _folders; }
    /// Every path at and below the applications folder.
    std::vector<std::string> everyPath();

private:
    struct Failure {
        /// The whole error, and how a log line names it.
        std::string text = {};
        std::string brief = {};
    };
    using Failed = std::optional<Failure>;

    struct Record {
        Entry alias = {};
        std::optional<std::string> path = std::nullopt;
        std::optional<std::vector<FileType>> fileTypes = std::nullopt;
        int icon = 0;
    };

    struct Trashed {
        std::string path;
        Item item;
    };

    struct Call {
        std::vector<std::string> results = {};
        std::vector<std::string> callbacks = {};
        std::string place = untouchedPlace;
        std::vector<std::string> log = {};
        std::vector<std::string> registrations = {};
        int notifications = 0;
        int fault = 0;
        std::map<FaultKind, int> calls = {};
    };

    static Failure framework(int code, const std::optional<std::string>& path = std::nullopt,
                             const std::optional<Failure>& underlying = std::nullopt);
    static Failure system(const FileTree::Outcome& outcome);
    bool isFaulty(FaultKind kind);
    void log(const std::string& operation, const std::string& text);
    void result(bool isYes) { _call.results.emplace_back(isYes ? "YES" : "NO"); }
    bool yesUnless(const Failed& failure);
    void finish(const Failed& failure) { result(yesUnless(failure)); }

    bool exists(const std::string& path) { return _tree.find(path) != nullptr; }
    std::optional<std::string> resourceIn(const std::string& bundle, const std::string& name);
    std::optional<Record> readRecord(const std::string& path, Failed& failure);
    std::optional<std::string> fileNameOf(const Record& record) const;
    std::optional<std::string> versionOf(const std::string& bundle);
    std::optional<std::string> templateFor(const Record& record);
    std::optional<std::string> iconNameFor(const Record& record);
    int iconOf(const Record& record);
    std::optional<std::vector<FileType>> fileTypesOf(const Record& record);
    bool needsUpdate(const Record& record);
    std::string versionTextOf(const Record& record);
    void tellRecord(const std::optional<Record>& record);

    Record newRecord(const Step& step) const;
    Failed write(Record& record, const std::string& folder);
    Failed updateInfoPlist(const Record& record, const std::string& path);
    void saveIcon(const Record& record, const std::string& path, int side);

    Failed removeForGood(const std::string& path, FaultKind fault = FaultKind::Removal);
    bool recycle(const std::string& path);
    Failed moveItem(const std::string& source, const std::string& destination);
    Failed createFolder(const std::string& path);
    bool isAlmostEmpty(const std::string& path);
    bool isStub(const std::string& path);
    void rebuild();
    bool walk(const std::string& path);

    void subscribe(const Step& step);
    void removeAll(const Step& step);
    bool upgrade(const std::string& path, const Step& step, Failed& failure);
    bool upgradeInTemporaryFolder(Record& record, Failed& failure);
    void upgradeAll(const Step& step);
    void interfere(const Step& step);
    void deliverEvents(const std::vector<std::string>& paths);
    void call(const Step& step);

    const Listing _listing;
    const std::string _apps = "~/Applications";
    FileTree _tree;
    std::vector<Trashed> _trash;
    std::set<std::string> _addedByUser;
    std::vector<std::string> _subscriptionPaths;
    std::vector<std::string> _folders;
    int _leftOver = 0;
    Call _call;
};

} // namespace mox::test::model
