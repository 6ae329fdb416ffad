#pragma once

#include "Foundation/Error.hpp"
#include "Foundation/Export.hpp"
#include "SDK/MOXSubscription.hpp"
#include "SDK/MOXTypes.hpp"

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mox {

struct Platform;

/// The keywords of `MOXSubscriptionManager::subscribeToResource` behind the resource's name; fill them by
/// name.
struct MOXSubscribeKeywords {
    /// What the resource is: an application or a desktop; needed.
    MOXSubscriptionType ofType = MOXSubscriptionType::Unknown;
    /// The store that publishes it, by its name.
    std::optional<std::string> onStoreNamed = std::nullopt;
    /// The store's address from inside its network; one of the two addresses is needed.
    std::optional<std::string> withInternalStoreURL = std::nullopt;
    /// The store's address from outside; see `withInternalStoreURL`.
    std::optional<std::string> andExternalStoreURL = std::nullopt;
    /// The kind of gateway in front of the store.
    MOXNorvikType usingNorvikType = MOXNorvikType::None;
    /// How that gateway authenticates its user.
    MOXNorvikAuthType andNorvikAuthType = MOXNorvikAuthType::None;
    /// The name to store the subscription under; needed.
    std::string withFileName = {};
    /// The path of the folder to store it in; needed.
    std::string inFolder = {};
    /// What else is known about the resource; nil when nothing is.
    std::optional<MOXOptionalInfo> andOptionalInfo = std::nullopt;
};

/// Told of each subscription that could not be updated: its path, why (nil when that is not known), and a
/// flag that ends the whole update when it is set.
using MOXUpdateErrorBlock =
    std::function<void(const std::string& path, const std::optional<Error>& error, bool& stop)>;
/// Asked for a store's name, given the server name stored in a subscription; nil when it is not known.
using MOXUpdateStoreNameBlock =
    std::function<std::optional<std::string>(const std::optional<std::string>& serverName)>;
/// Asked for a subscription's icon; nil when there is none.
using MOXUpdateIconBlock =
    std::function<std::optional<Image>(const std::shared_ptr<MOXSubscription>& subscription)>;

/// The one object through which a client keeps its user's subscriptions.
///
/// A client chooses the storage model once with `setSubscriptionModel` and then asks for `sharedManager`. A
/// subscription path is the path of its folder and its file name; a folder path consists of components
/// separated by "/". Paths are compared by whole components, byte by byte.
///
/// Errors. An operation that can fail takes a place for an error, which may be left out. On failure the place
/// gets an error, on success it is left as it was, unless the operation says otherwise. A required argument
/// that is nil or empty is error 22 of `NSPOSIXErrorDomain`, without user information, before anything is
/// changed.
///
/// Abstract operations. This class answers the four queries itself; everything else is a model's. What a
/// model leaves out ends here in an assertion ("%s must be implemented by derived class"): with the standard
/// assertion handler that throws `InternalInconsistencyException`; with one that returns, the selector is
/// reported as not recognised (`InvalidArgumentException`), and when that returns too, the result is nil or
/// false. The error place, the disk and the log stay untouched.
///
/// Threads. Each manager has one monitor, a recursive lock. `sharedManager` and the four queries are safe on
/// any thread together with the operations that say that they take the monitor. Everything else belongs to
/// one thread at a time. `folders` and `subscriptionPaths` hand out live arrays: do not walk them while
/// another thread may change the store; `subscriptionPathsInFolder` gives a snapshot.
class MOX_EXPORT MOXSubscriptionManager {
public:
    MOXSubscriptionManager(const MOXSubscriptionManager&) = delete;
    MOXSubscriptionManager& operator=(const MOXSubscriptionManager&) = delete;
    virtual ~MOXSubscriptionManager();

    /// Chooses the storage model. Any value is taken; one that is no model is refused by `sharedManager`. May
    /// be called again, but only the last call before the shared manager is built counts: once built, that
    /// stays as it is. Takes no lock and touches no disk: call it before any thread asks for the shared
    /// manager.
    static void setSubscriptionModel(SubscriptionModel model);
    /// The model that was chosen last; the dictionary model before any choice. Takes no lock.
    static SubscriptionModel subscriptionModel();

    /// The manager of the chosen model: the same one at each call, built at the first, which reads and may
    /// write the store as the model's class says.
    ///
    /// Asserts "%s subscription model has not been set" when no model was chosen, and goes on with the
    /// dictionary model if the handler returns; asserts "%s bad subscription model type" for a value that is
    /// no model, and gives null if the handler returns. Whatever building throws passes on, and nothing is
    /// kept. Any thread may ask; calls on one class wait for each other. Calls on different classes (this one
    /// and a model's) do not, on purpose.
    static std::shared_ptr<MOXSubscriptionManager> sharedManager();

    /// The path of the user's applications folder: "Applications" in the home directory, in both models. It
    /// never changes, and whether the folder exists is not looked at. Any thread may ask; takes no lock.
    const std::string& appsFolderPath() const { return _appsFolderPath; }

    // What the models do. Here is told what an operation is for and what it results in; what it does to the
    // store, its errors and whether it takes the monitor are told at the model's class. Only the four queries
    // are this class's own.

    /// The name under which `subscription` is stored; nil when it has none. Abstract; the dictionary model
    /// does not support it.
    virtual std::optional<std::string>
    fileNameForSubscription(const std::shared_ptr<MOXSubscription>& subscription);
    /// The path at which `subscription` is stored; nil when it has none. Abstract; the dictionary model does
    /// not support it.
    virtual std::optional<std::string>
    pathForSubscription(const std::shared_ptr<MOXSubscription>& subscription);

    /// The paths of the subscriptions whose folder is exactly `folder`; with `recursive` also those in
    /// folders below it. A new array, in the order of `subscriptionPaths`, duplicates kept. The empty folder
    /// stands for no components: it yields the paths that are a bare name, recursively every path. A folder
    /// with a "/" at its end matches nothing, unless it is "/" itself, since that "/" is a component. Cannot
    /// fail. Takes the monitor.
    std::vector<std::string> subscriptionPathsInFolder(std::string_view folder, bool recursive) const;
    /// The paths of the store's folders: the live array, not a copy, valid as long as the manager. Cannot
    /// fail. Takes the monitor to read it.
    const std::vector<std::string>& folders() const;
    /// The paths of the store's subscriptions: the live array, not a copy, valid as long as the manager.
    /// Cannot fail. Takes the monitor to read it.
    const std::vector<std::string>& subscriptionPaths() const;
    /// How many subscriptions the store has. Cannot fail. Takes the monitor.
    MOXUInteger numberOfSubscriptions() const;

    /// Removes every subscription whose resource name is `uniqueName` on the store named `storeName`. What
    /// the array holds is told at the model's class. Abstract.
    virtual std::optional<std::vector<std::string>>
    removeAllSubscriptionsWithUniqueName(const std::optional<std::string>& uniqueName,
                                         const std::optional<std::string>& storeName);
    /// Moves the subscription at the path `source` to the path `destination`; whether it did. Abstract.
    virtual bool moveSubscriptionFrom(std::string_view source, std::string_view destination,
                                      std::optional<Error>* error = nullptr);
    /// Removes the folder at `path` with all in it, with `onlyIfEmpty` only one without subscriptions; false
    /// when that failed. Abstract.
    virtual bool removeFolderAtPath(std::string_view path, bool onlyIfEmpty,
                                    std::optional<Error>* error = nullptr);
    /// Renames the folder at `path` to `newPath`; whether it did. Abstract.
    virtual bool renameFolderAtPath(std::string_view path, std::string_view newPath,
                                    std::optional<Error>* error = nullptr);
    /// Makes the folder at `path` and every missing one above it; false when that failed. Abstract.
    virtual bool createFolderAtPath(std::string_view path, std::optional<Error>* error = nullptr);
    /// Brings the subscriptions at `paths` up to date, calling the blocks, any of which may be empty, before
    /// it returns. Abstract, and so on purpose also in the dictionary model, whose own batch update has
    /// another name.
    virtual void updateSubscriptionsAtPaths(const std::vector<std::string>& paths,
                                            const MOXUpdateErrorBlock& errorBlock,
                                            const MOXUpdateStoreNameBlock& storeNameBlock,
                                            const MOXUpdateIconBlock& iconBlock);
    /// Whether there is a subscription at `path`. Abstract.
    virtual bool isSubscriptionAtPath(std::string_view path);
    /// The subscription at `path`; null when there is none. Abstract.
    virtual std::shared_ptr<MOXSubscription> subscriptionAtPath(std::string_view path,
                                                                std::optional<Error>* error = nullptr);
    /// Removes the subscription at `path`; whether it did. Abstract.
    virtual bool removeSubscriptionAtPath(std::string_view path, std::optional<Error>* error = nullptr);
    /// Stores a subscription to the resource `resourceName`, made from `keywords`; whether it did. Abstract.
    virtual bool subscribeToResource(std::string_view resourceName, const MOXSubscribeKeywords& keywords,
                                     std::optional<Error>* error = nullptr);

protected:
    /// A manager with empty arrays, on the platform in force, which must outlive it.
    MOXSubscriptionManager();

    /// The platform that this manager was built with.
    const Platform& platform() const { return _platform; }

    /// Guards the two arrays and what a model says.
    std::recursive_mutex& monitor() const { return _monitor; }

    /// The one way to the shared manager: under `classMonitor`, the monitor of the class that was asked.
    static std::shared_ptr<MOXSubscriptionManager> sharedManagerUnder(std::recursive_mutex& classMonitor);

    /// The live array of the subscriptions' paths, under the monitor.
    std::vector<std::string> _subscriptionPaths;
    /// The live array of the folders' paths, under the monitor.
    std::vector<std::string> _folders;
    /// The path of the applications folder; it never changes.
    std::string _appsFolderPath;

private:
    friend class SharedManagerAccess;

    struct SharedState;
    static SharedState& sharedState();

    const Platform& _platform;
    mutable std::recursive_mutex _monitor;
};

} // namespace mox
