#pragma once

#include "Foundation/PropertyList.hpp"
#include "SDK/MOXPlistSubscription.hpp"
#include "SDK/MOXSubscriptionManager.hpp"

namespace mox {

/// The dictionary model's manager: every subscription and every folder is in one property list,
/// `Subscriptions.plist` in the folder "Korvan Ostrel" of the user's Application Support folder.
///
/// The whole file is in memory as a tree of folder nodes. A node is a dictionary with the keys "Folders"
/// (child folders by name) and "Subscriptions" (entries by file name). Every change rewrites the whole file,
/// atomically and durably, and rebuilds the lists of paths. Changes that other processes make to the file are
/// not seen, and the next save overwrites them. A save that fails is logged and nothing more: memory keeps
/// the change and the operation succeeds.
///
/// Walking a path is lenient on purpose: where a component is missing, the walk ends at the deepest folder
/// that exists. So a look-up of "a/missing/N" finds the subscription N of a.
///
/// A value of the wrong type in the tree counts as missing, but stays where it is: a child folder that is no
/// dictionary is a folder in which nothing can be stored, and an entry that is none is listed and found to be
/// bad. A node that lacks "Folders" or "Subscriptions" where an operation needs it is an assertion failure
/// ("Badly formed subscriptions dictionary"); each operation says what it does when the handler returns.
///
/// Paths and names that are not well-formed UTF-8 are repaired as texts in a property list are, so that
/// memory, file and look-ups agree.
class MOX_EXPORT MOXPlistSubscriptionManager : public MOXSubscriptionManager {
public:
    ~MOXPlistSubscriptionManager() override;

    /// As the base's, but calls on this class wait for each other only.
    static std::shared_ptr<MOXSubscriptionManager> sharedManager();

    /// Not supported: asserts ("%s is not implemented for plist subscriptions"), results in nil if the
    /// handler returns.
    std::optional<std::string>
    fileNameForSubscription(const std::shared_ptr<MOXSubscription>& subscription) override;
    /// Not supported, as `fileNameForSubscription`.
    std::optional<std::string>
    pathForSubscription(const std::shared_ptr<MOXSubscription>& subscription) override;

    /// Removes the entries whose resource name and store name equal the given ones, and saves once. Gives
    /// their paths in the order of `subscriptionPaths`; nil, and no save, when there is none. A nil name
    /// equals nothing. Takes the monitor.
    std::optional<std::vector<std::string>>
    removeAllSubscriptionsWithUniqueName(const std::optional<std::string>& uniqueName,
                                         const std::optional<std::string>& storeName) override;
    /// Moves the entry at `source` to `destination`, in place of any entry there, and saves once. Its clone
    /// name stays. A missing destination folder stands for its deepest ancestor that exists. A move onto
    /// itself removes the subscription. Without an entry at `source` the result is false. On every exit the
    /// error place is cleared, after a failure too and when an assertion throws; all of this on purpose. When
    /// either folder is badly formed and the handler returns, nothing changes and the result is false. Takes
    /// the monitor.
    bool moveSubscriptionFrom(std::string_view source, std::string_view destination,
                              std::optional<Error>* error = nullptr) override;
    /// Removes the folder with all in it and saves once; true also when it did not exist. With `onlyIfEmpty`
    /// a folder that holds a subscription at any depth is kept: true, no save. Error 2008 when the path
    /// without its last component is shorter than two characters: what is at the top is never removed. When
    /// the parent is badly formed and the handler returns, the result is true after a save. Takes the
    /// monitor.
    bool removeFolderAtPath(std::string_view path, bool onlyIfEmpty,
                            std::optional<Error>* error = nullptr) override;
    /// Gives the folder the last component of `newPath` as its name, in place of any folder of that name
    /// beside it, and saves once. It is never moved to another parent: when only the parents differ, the
    /// folder is removed. Equal paths: true, and nothing is done. False when there is no such folder or its
    /// parent's path is shorter than two characters, and when its parent is badly formed and the handler
    /// returns. On every exit the error place is cleared, after a failure too and when an assertion throws;
    /// all of this on purpose. Takes the monitor, except for equal paths.
    bool renameFolderAtPath(std::string_view path, std::string_view newPath,
                            std::optional<Error>* error = nullptr) override;
    /// Makes the folder and every missing one above it, and saves once, also when nothing was missing. Always
    /// true, the error place cleared. Below a badly formed folder, when the handler returns, nothing is made.
    /// What is there is never overwritten. Takes the monitor.
    bool createFolderAtPath(std::string_view path, std::optional<Error>* error = nullptr) override;
    /// Whether `subscriptionAtPath` gives a record. Takes no lock.
    bool isSubscriptionAtPath(std::string_view path) override;
    /// A record of its own of the entry at `path`: changing it does not change the store. The whole path is
    /// walked, so that a folder of the subscription's name hides it. Errors: POSIX 22 for an empty path, 2008
    /// when nothing is there, 2009 when it is no dictionary. Takes no lock.
    std::shared_ptr<MOXSubscription> subscriptionAtPath(std::string_view path,
                                                        std::optional<Error>* error = nullptr) override;
    /// Removes the entry at `path` and saves once. Here the folder's path is walked, so that a folder of the
    /// subscription's name hides nothing. Errors: POSIX 22 for an empty path, 2008 when nothing is there.
    /// Takes no lock.
    bool removeSubscriptionAtPath(std::string_view path, std::optional<Error>* error = nullptr) override;
    /// Makes the folder, with a save, then stores the entry, in place of one of the same name and type, with
    /// a second save. POSIX 22, and nothing is touched, when the resource name, both URLs, the file name or
    /// the folder is empty or the type is neither application nor desktop. Error 2004, and the folder stays,
    /// when an entry of another type has the name. In a badly formed folder nothing is stored, and the result
    /// is true all the same. Takes no lock of its own.
    bool subscribeToResource(std::string_view resourceName, const MOXSubscribeKeywords& keywords,
                             std::optional<Error>* error = nullptr) override;

    /// The dictionary model's batch update: does nothing, on purpose, since an entry never grows old.
    void updateSubscriptionsAtPathsStoreNameHandler(const std::vector<std::string>& paths,
                                                    const MOXUpdateErrorBlock& errorBlock,
                                                    const MOXUpdateStoreNameBlock& storeNameHandler,
                                                    const MOXUpdateIconBlock& iconBlock);

protected:
    friend class MOXSubscriptionManager;
    friend class MOXPlistSubscription;

    /// Loads the file, or makes a new one that holds the chain of folders down to the applications folder.
    /// When the place for the file cannot be had, the store lives in memory, which is logged. A file that is
    /// there but cannot be read as a dictionary is an assertion failure ("Bad subscriptions class retrieved
    /// from plist"); if the handler returns, the file is put aside as `Subscriptions.plist.unreadable`,
    /// numbered when that is taken, and a new one is made; if it cannot be put aside, it stays and the store
    /// lives in memory.
    MOXPlistSubscriptionManager();

    // What the operations are made of. None takes the monitor or saves, but for `saveSubscriptions`.

    /// The node at the end of the lenient walk along `path`; null only without a hierarchy.
    PropertyList::Dictionary* dictionaryForPath(std::string_view path);
    /// The node of the path without its last component; null when that is shorter than two characters.
    PropertyList::Dictionary* parentDictionaryForPath(std::string_view path);
    /// A record with a copy of the entry; null when there is none.
    std::shared_ptr<MOXPlistSubscription> subscriptionInFolder(std::string_view fileName,
                                                               std::string_view folder);
    /// Stores the record's dictionary representation, in place of any entry of that name; false when the node
    /// has no "Subscriptions" or the record no launch alias.
    bool setSubscription(const MOXSubscription& subscription, std::string_view fileName,
                         std::string_view folder);
    /// Removes the entry; false when the node has no "Subscriptions", true also when the name was not in it.
    bool removeSubscriptionNamed(std::string_view fileName, std::string_view folder);
    /// Whether `node` holds an entry at any depth; false for null.
    static bool folderContainsSubscriptions(const PropertyList::Dictionary* node);
    /// Writes the file and rebuilds the lists, whether or not the write succeeded; a failure is logged.
    void saveSubscriptions();
    /// Rebuilds the lists from the tree: a node's subscriptions before those of its folders, a folder before
    /// the folders in it. The root is in no list.
    void updateConvenienceArrays();

    /// The root node, a dictionary; nil only while the manager is being built.
    std::optional<PropertyList> _subscriptionHierarchy;
    /// The file; nil while the store lives in memory.
    std::optional<std::string> _plistPath;

private:
    /// Where the file is, its folder made when it is missing; nil, which is logged, when it cannot be had.
    std::optional<std::string> findPlistPath() const;
    /// Reads the file into the hierarchy, which stays nil when there is no file.
    void loadSubscriptions();
    /// Gives the file a name under which no save overwrites it.
    void putUnreadableFileAside();
    /// Whether the tree was written.
    bool writeSubscriptions() const;
    /// As `dictionaryForPath`, for who only looks: it leaves the nodes' kept text and writes nothing, so that
    /// look-ups at the same time do each other no harm.
    const PropertyList::Dictionary* nodeForPath(std::string_view path) const;
    /// Asserts that a node lacks what the operation needs.
    void reportBadlyFormedDictionary(std::string_view operation, int line) const;

    /// Stands for a child folder that is no dictionary. Always empty.
    PropertyList::Dictionary _nodeWithoutKeys;
};

} // namespace mox
