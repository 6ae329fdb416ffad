#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "ModelBased/Observations.hpp"
#include "ModelBased/ReferencePaths.hpp"
#include "ModelBased/ReferenceRecords.hpp"
#include "ModelBased/Step.hpp"

namespace mox::test::model {

/// A folder. One that somebody damaged may lack one of its two keys.
struct FolderNode {
    std::map<std::string, FolderNode, ByUTF16> folders = {};
    std::map<std::string, Entry, ByUTF16> subscriptions = {};
    bool hasFolders = true;
    bool hasSubscriptions = true;
};

/// A text of everything below `node`.
std::string textOf(const FolderNode& node);

/// The trees on which a store can be reopened; `variant` is from 1 to `sampleTreeCount`.
FolderNode sampleTree(int variant);
inline constexpr int sampleTreeCount = 4;
/// Reopening with no file, on a support folder that is a file, and on a file that is a directory.
inline constexpr int withoutFile = 5;
inline constexpr int onBlockedFolder = 6;
inline constexpr int onBlockedFile = 7;

/// What the dictionary model has to do, told in the simplest way: a tree of maps, and a copy of it for the
/// disk. A step's fault is the number of the save that fails in it; -1 lets all of them fail.
class DictionaryReference {
public:
    /// A store that is opened for the first time, for a user at `home`; its file is at `plistPath`.
    DictionaryReference(const std::string& home, const std::string& plistPath);

    /// What is to be seen of `step`.
    Observations perform(const Step& step);

    /// What is to be on the disk.
    std::string disk() const;

    const std::vector<std::string>& subscriptionPaths() const { return _subscriptionPaths; }
    const std::vector<std::string>& folders() const { return _folders; }

private:
    /// What a call gives back and leaves behind.
    struct Call {
        std::vector<std::string> results = {};
        std::string place = untouchedPlace;
        std::vector<std::string> log = {};
        std::optional<std::string> assertion = std::nullopt;
        int saves = 0;
        int fault = 0;
        /// What the log tells of a subscription's place, ill-formed or not.
        std::string folderAsGiven = {};
        std::string nameAsGiven = {};
    };

    /// Ends a call by an assertion.
    struct Asserted {};

    FolderNode& nodeFor(const std::string& path);
    FolderNode* parentNodeFor(const std::string& path);
    Entry* entryIn(const std::string& folder, const std::string& name);
    void save();
    void list(const FolderNode& node, const std::optional<std::string>& path);
    [[noreturn]] void failAssertion(const std::string& operation, int line, const std::string& description,
                                    const std::string& file = "MOXPlistSubscriptionManager");
    void result(bool isYes) { _call.results.emplace_back(isYes ? "YES" : "NO"); }
    void fail(const std::string& error);

    void createFolder(const std::string& path);
    void subscribe(const Step& step);
    void lookUp(const std::string& path);
    void remove(const std::string& path);
    void renameFolder(const std::string& path, const std::string& newPath);
    void removeFolder(const std::string& path, bool onlyIfEmpty);
    void move(const std::string& source, const std::string& destination, bool wantsError);
    void removeAll(const Step& step);
    void writeRecord(const Step& step);
    void reopen(int variant);
    void perform(const Step& step, bool& hasPlace);

    const std::string _appsFolder;
    const std::string _plistPath;
    FolderNode _root;
    std::vector<std::string> _subscriptionPaths;
    std::vector<std::string> _folders;
    std::optional<FolderNode> _disk;
    bool _isFolderBlocked = false;
    bool _isFileBlocked = false;
    Call _call;
};

} // namespace mox::test::model
