#pragma once

#include "SDK/MOXFileSubscription.hpp"
#include "SDK/MOXSubscriptionManager.hpp"

#include <set>

namespace mox {

class FolderEventStream;

/// The application-bundle model's manager: every subscription is a stub, a small application bundle in the
/// user's applications folder or below it, and every folder is a folder there. Both are on the disk and
/// nowhere else; others may change them at any time.
///
/// `subscriptionPaths` and `folders` are what the last walk through the applications folder found, both with
/// full paths. A walk goes depth-first, in the order in which the system lists each folder; nothing is
/// sorted. The stubs stand in that order. A folder is listed when a stub is in it at any depth, or when it
/// was made, or renamed to, through this manager in the life of this process; it stands behind the folders
/// in it, and the applications folder, which is always listed and need not exist, stands last. Packages are
/// never entered, symbolic links to folders are followed. Only a link that leads back to a folder which the
/// walk is in is passed over, on purpose: such a walk would not end.
///
/// The arrays are rebuilt as a whole, and change at one instant, under the monitor: by each operation that
/// says so before it returns, and when the watch reports that a listed folder changed. The watch begins with
/// the manager, tells of changes about a second after they began, of our own ones too, and is delivered to
/// the run loop of the thread that built the manager while that runs in its default mode. After the rebuild
/// it posts `MOXFolderChangedNotification` on that thread. A thread whose run loop does not run learns
/// nothing, and where the system cannot watch, there is no watch and no error.
///
/// Nothing is ever replaced by a move or a rename: when something has the new path, they fail. Nothing here
/// is rolled back but an upgrade. No operation but an upgrade logs a line; writing a stub logs its own.
///
/// What the desktop knows of stubs follows our own successful writes, moves and removals; after a change by
/// others it follows with the watch. Each operation refreshes the desktop's caches at most once; see
/// `MOXLaunchRegistrationScope`.
///
/// Threads. No operation takes the monitor, but for the instant in which it changes the arrays: all of them
/// belong to the thread that built the manager.
class MOX_EXPORT MOXFileSubscriptionManager : public MOXSubscriptionManager {
public:
    /// Ends the watch; nothing is delivered any more. Call it on the thread that built the manager.
    ~MOXFileSubscriptionManager() override;

    /// As the base's, but calls on this class wait for each other only.
    static std::shared_ptr<MOXSubscriptionManager> sharedManager();

    /// The subscription's own file name; nil for a null subscription. Nothing is looked up on the disk.
    std::optional<std::string>
    fileNameForSubscription(const std::shared_ptr<MOXSubscription>& subscription) override;
    /// The subscription's own path; nil for a null subscription. Nothing is looked up on the disk.
    std::optional<std::string>
    pathForSubscription(const std::shared_ptr<MOXSubscription>& subscription) override;

    /// Removes the listed stubs whose resource name and store name equal the given ones, each as
    /// `removeSubscriptionAtPath` does, which rebuilds the arrays for each. Gives their paths in the order of
    /// `subscriptionPaths`, on purpose also of those that could not be removed; nil when none matched. A nil
    /// name equals nothing, and a stub that cannot be read is passed over.
    std::optional<std::vector<std::string>>
    removeAllSubscriptionsWithUniqueName(const std::optional<std::string>& uniqueName,
                                         const std::optional<std::string>& storeName) override;
    /// Moves the stub at the full path `source` to the full path `destination`, its new name included, and
    /// rebuilds the arrays, also after a failure. Whether it is a stub is not looked at. Errors are the
    /// system's; the stub is then where it was. Fails when something is at `destination`.
    bool moveSubscriptionFrom(std::string_view source, std::string_view destination,
                              std::optional<Error>* error = nullptr) override;
    /// Removes the folder at `path` with all in it, for good and not to the Trash. With `onlyIfEmpty`, a
    /// folder that is not almost empty (see `isAlmostEmptyDirectoryAtPath`) stays, which is false without an
    /// error; of one that is, only what made it so is removed, so that a file that arrives meanwhile stays
    /// and is the failure. Other errors are the system's; what was removed before one is gone. On purpose the
    /// arrays are not rebuilt: they show the folder until the watch or another operation rebuilds them.
    bool removeFolderAtPath(std::string_view path, bool onlyIfEmpty,
                            std::optional<Error>* error = nullptr) override;
    /// Moves the folder at `path` to the full path `newPath`; whether it did. Errors are the system's; the
    /// folder is then where it was. Fails when something is at `newPath`. On purpose in any case `newPath`
    /// counts from now on as a folder made through this manager and `path` no more, and the arrays are
    /// rebuilt.
    bool renameFolderAtPath(std::string_view path, std::string_view newPath,
                            std::optional<Error>* error = nullptr) override;
    /// Makes the folder at `path` and every missing one above it; true as well when it was there already.
    /// Only a folder that was made here counts as made through this manager, under the path as it was given;
    /// then the arrays are rebuilt. The error place is cleared first. Error 2003: something that is no folder
    /// is there; or the folder could not be made, with the system's error under `NSUnderlyingErrorKey`, and
    /// folders made on the way stay.
    bool createFolderAtPath(std::string_view path, std::optional<Error>* error = nullptr) override;

    /// Brings the stubs at `paths` up to date, one after another, each as `updateSubscriptionAtPath` does.
    /// `errorBlock` is told of each that failed, with its error, which may be nil, and can stop the rest;
    /// without it, failures are passed over. Any block may be empty. They are called on this thread, before
    /// this returns, and may change `paths`: its length is looked at anew for each.
    void updateSubscriptionsAtPaths(const std::vector<std::string>& paths,
                                    const MOXUpdateErrorBlock& errorBlock,
                                    const MOXUpdateStoreNameBlock& storeNameBlock,
                                    const MOXUpdateIconBlock& iconBlock) override;
    /// Brings the stub at `path` up to date as `updateSubscription` does; whether it is current now. A path
    /// at which there is no stub fails with the errors of `MOXFileSubscription::subscriptionWithPath`.
    bool updateSubscriptionAtPath(std::string_view path, const MOXUpdateStoreNameBlock& storeNameBlock,
                                  const MOXUpdateIconBlock& iconBlock, std::optional<Error>* error = nullptr);
    /// Replaces the stub of `subscription` by a new one made from the running client's template, in the same
    /// place; whether the stub is current now. One that does not need it (`needsUpdate`), or a null
    /// subscription, is current: nothing is done, no block is called.
    ///
    /// A record that knows no store, neither an address nor a name, is given one first: `storeNameBlock` is
    /// asked for the name that belongs to its server name, which becomes the internal address. Then
    /// `iconBlock` may give a new icon; nil keeps the old one. Then the new stub is written into a new
    /// temporary folder, the old one goes to the user's Trash, and the new one takes its place. When that
    /// last step fails, the old stub is taken back from the Trash.
    ///
    /// The record keeps what it was given; once the new stub was written, its path is the one in the
    /// temporary folder, whatever happens afterwards, and nothing is there any more. The temporary folder is
    /// removed in any case. The arrays are not rebuilt here; the watch sees the moves.
    ///
    /// Errors; each is logged as well, and the old stub is in its place, unless said otherwise:
    /// - 2010 with the stub's path under `NSFilePathErrorKey`: the record knows no store, and none was given.
    /// - 2004: no temporary folder could be made, or the old stub could not be moved to the Trash.
    /// - 2004 with the system's error under `NSUnderlyingErrorKey`: the new stub could not be moved into
    ///   place. The old stub is back in its place, or in the Trash when that failed too, which is logged.
    /// - The error of writing the stub, as it is; when writing gave none, the error place stays untouched.
    ///
    /// A crash between the two moves leaves the old stub in the Trash and nothing in its place; never a part
    /// of a stub.
    bool updateSubscription(const std::shared_ptr<MOXFileSubscription>& subscription,
                            const MOXUpdateStoreNameBlock& storeNameBlock,
                            const MOXUpdateIconBlock& iconBlock, std::optional<Error>* error = nullptr);

    /// Whether a stub is at `path`: a package in which the resource lookup finds a launch alias, "Korvalias"
    /// of type "plist". Neither its extension nor anything else of it is looked at. Cannot fail.
    bool isSubscriptionAtPath(std::string_view path) override;
    /// The record of the stub at `path`, a `MOXFileSubscription`. Errors: POSIX 22 for an empty path, else
    /// those of `MOXFileSubscription::subscriptionWithPath`.
    std::shared_ptr<MOXSubscription> subscriptionAtPath(std::string_view path,
                                                        std::optional<Error>* error = nullptr) override;
    /// Removes what is at `path`, for good and not to the Trash, and rebuilds the arrays, also after a
    /// failure. On purpose it is not looked at whether that is a stub: anything is removed, a folder with all
    /// in it. Errors: POSIX 22 for an empty path, else the system's; what was removed before one is gone.
    bool removeSubscriptionAtPath(std::string_view path, std::optional<Error>* error = nullptr) override;
    /// Makes the folder as `createFolderAtPath` does, writes the stub into it as
    /// `MOXFileSubscription::writeToFolder` does, and rebuilds the arrays when that succeeded. A stub of the
    /// same name and type that is there is made current in place.
    ///
    /// POSIX 22, and nothing is touched, when the resource name, both URLs, the file name or the folder is
    /// empty or the type is neither application nor desktop. Otherwise the errors are those of the two
    /// operations, or 2001 when no record can be made; a folder that was made stays.
    bool subscribeToResource(std::string_view resourceName, const MOXSubscribeKeywords& keywords,
                             std::optional<Error>* error = nullptr) override;

    /// Moves what is at `path` to the user's Trash, or with `useTrash` false removes it for good, a folder
    /// with all in it; whether it did. On purpose `error` is never touched when the Trash is used; else it is
    /// the system's. The arrays are not rebuilt.
    virtual bool removeItemAtPath(std::string_view path, bool useTrash,
                                  std::optional<Error>* error = nullptr);

protected:
    friend class MOXSubscriptionManager;

    /// Builds the arrays and begins the watch. Nothing is written on the disk, and a missing applications
    /// folder is not made.
    MOXFileSubscriptionManager();

    /// What a walk finds.
    struct ConvenienceArrays {
        /// The paths of the stubs.
        std::vector<std::string> subscriptionPaths;
        /// The paths of the folders that hold stubs, at any depth, or were added by the user.
        std::vector<std::string> folders;
    };

    /// Walks through the applications folder and puts what it finds into the live arrays, at one instant and
    /// under the monitor.
    void updateConvenienceArrays();
    /// Walks through the folder at `path` and appends what it finds, `path` itself included when it is to be
    /// listed, to `arrays`. Stores whether there is a stub in it, at any depth, in `containsApps` unless that
    /// is null. What is missing or cannot be listed holds nothing.
    void updateConvenienceArraysAtPath(const std::string& path, ConvenienceArrays& arrays,
                                       bool* containsApps) const;

    /// Makes the record of a new subscription; null when that is impossible.
    virtual std::shared_ptr<MOXFileSubscription>
    subscriptionWithFileName(const std::string& fileName, const MOXSubscriptionKeywords& keywords) const;

    /// Makes a new folder in the user's folder for temporary files, in "/tmp" when the system names none. Its
    /// path; nil when that failed. Only its owner can enter it.
    std::optional<std::string> createTempDirectory();

    /// Begins the watch of the applications folder and everything below it. Without one, nothing is said.
    void installFSCallback();

    /// The folders made through this manager, or renamed to. Never pruned on purpose: a later folder of the
    /// same path is listed, even when it is empty.
    std::set<std::string, std::less<>> _foldersAddedByUser;

private:
    /// Whether the bundle at `bundlePath` has a launch alias.
    bool hasLaunchAlias(const std::string& bundlePath) const;
    /// Removes or moves an item on the disk and tells the desktop; whether it did, else the system's error.
    bool deleteItem(std::string_view path, std::optional<Error>* error);
    bool moveItem(std::string_view source, std::string_view destination, std::optional<Error>* error);
    /// Writes the new stub into `temporaryFolder` and lets it change places with the old one.
    bool replaceStub(MOXFileSubscription& subscription, const std::string& temporaryFolder,
                     std::optional<Error>* error);
    /// Told by the watch of the folders that changed.
    void fsEventCallback(const std::vector<std::string>& paths);

    /// The stubs of which the desktop was last made sure, sorted.
    std::vector<std::string> _reconciledPaths;
    /// The watch; null when there is none.
    std::unique_ptr<FolderEventStream> _fsEventQuery;
};

} // namespace mox
