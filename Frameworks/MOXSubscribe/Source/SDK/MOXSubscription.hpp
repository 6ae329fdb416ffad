#pragma once

#include "Foundation/Error.hpp"
#include "Foundation/Export.hpp"
#include "Foundation/Image.hpp"
#include "Foundation/PropertyList.hpp"
#include "SDK/MOXLaunchAlias.hpp"
#include "SDK/MOXTypes.hpp"
#include "SDK/MOXVersionNumber.hpp"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mox {

/// What a record is made of besides its file name; fill it by name, as a call's keywords.
struct MOXSubscriptionKeywords {
    /// The resource's name on its server.
    std::optional<std::string> resourceName = std::nullopt;
    /// What the resource is.
    MOXSubscriptionType type = MOXSubscriptionType::Unknown;
    /// The name of the store that publishes it.
    std::optional<std::string> storeName = std::nullopt;
    /// The store's address from inside its network.
    std::optional<std::string> internalStoreURL = std::nullopt;
    /// The store's address from outside.
    std::optional<std::string> externalStoreURL = std::nullopt;
    /// The kind of gateway in front of the store.
    MOXNorvikType norvikType = MOXNorvikType::None;
    /// How that gateway authenticates its user.
    MOXNorvikAuthType norvikAuthType = MOXNorvikAuthType::None;
};

/// The record of one subscription, an application or a desktop of a store.
///
/// Everything that it tells is kept in its launch alias. A record may be without one: then a setter does
/// nothing, and a getter gives the value that its comment names (nil where none is named). A setter has the
/// meaning of the getter above it; a text set to nil is removed from the alias, an empty one is stored. No
/// accessor reports an error.
///
/// A record is an object, not a value: it is shared by pointer, belongs to one thread at a time, and takes no
/// lock. No accessor touches the disk unless it says so.
///
/// This class is the common part of the two models' records. What only they can do ends here in an assertion:
/// with the standard assertion handler that throws `InternalInconsistencyException`; with one that returns,
/// the selector is reported as not recognised, and then the comment's result holds.
class MOX_EXPORT MOXSubscription {
public:
    MOXSubscription(const MOXSubscription&) = delete;
    MOXSubscription& operator=(const MOXSubscription&) = delete;
    virtual ~MOXSubscription();

    // Making. A model's record class has factories of its own under the same names. These do not choose a
    // class by the model: they assert ("%s base class method must be overridden") and touch no disk.

    /// Asserts; null if the handler returns.
    static std::shared_ptr<MOXSubscription> subscription();
    /// Asserts; null if the handler returns.
    static std::shared_ptr<MOXSubscription>
    subscriptionWithDictionary(std::optional<PropertyList::Dictionary> dictionary);
    /// Asserts; null if the handler returns. On purpose the only factory here that does not report its
    /// selector as not recognised.
    static std::shared_ptr<MOXSubscription> subscriptionWithFileName(std::optional<std::string> fileName,
                                                                     const MOXSubscriptionKeywords& keywords);
    /// Asserts; null if the handler returns. `error` is left untouched.
    static std::shared_ptr<MOXSubscription> subscriptionWithPath(std::string_view path,
                                                                 std::optional<Error>* error = nullptr);

    /// The icon. Abstract: asserts ("%s base class method must be overridden"), results in nil.
    virtual std::optional<Image> icon() const;
    /// Abstract: asserts as `icon`, changes nothing.
    virtual void setIcon(std::optional<Image> icon);

    /// The resource's name on its server.
    std::optional<std::string> resourceName() const;
    void setResourceName(std::optional<std::string> name);
    /// The name of the store that publishes the resource.
    std::optional<std::string> storeName() const;
    void setStoreName(std::optional<std::string> name);
    /// The store's address from inside its network.
    std::optional<std::string> internalStoreURL() const;
    void setInternalStoreURL(std::optional<std::string> url);
    /// The store's address from outside.
    std::optional<std::string> externalStoreURL() const;
    void setExternalStoreURL(std::optional<std::string> url);
    /// The address that starts the resource.
    std::optional<std::string> launchURL() const;
    void setLaunchURL(std::optional<std::string> url);
    /// The address of the content that the resource shows.
    std::optional<std::string> contentAddress() const;
    void setContentAddress(std::optional<std::string> address);
    /// The text about the resource, for a person.
    std::optional<std::string> subscriptionDescription() const;
    void setSubscriptionDescription(std::optional<std::string> description);
    /// What the subscription starts; 0 without a launch alias.
    MOXSubscriptionType type() const;
    void setType(MOXSubscriptionType type);
    /// Who publishes the resource.
    std::optional<std::string> publisherName() const;
    void setPublisherName(std::optional<std::string> name);
    /// The name of the resource's seamless window, built anew first (see `buildSeamlessName`); nil also when
    /// it cannot be built and none is stored.
    std::optional<std::string> seamlessName() const;
    /// The kind of gateway; 9 without a launch alias.
    MOXNorvikType norvikType() const;
    void setNorvikType(MOXNorvikType type);
    /// How the gateway authenticates; 0 without a launch alias.
    MOXNorvikAuthType norvikAuthType() const;
    void setNorvikAuthType(MOXNorvikAuthType type);
    /// The server's name.
    std::optional<std::string> serverName() const;
    void setServerName(std::optional<std::string> name);
    /// The version of the record's own form; 0 without a launch alias, and in a record made from a dictionary
    /// that stores none.
    MOXUInteger schemaVersion() const;
    void setSchemaVersion(MOXUInteger version);

    /// A copy of the launch alias's whole dictionary, unknown keys included, after the seamless name was
    /// built anew. It is what a store keeps of the record.
    std::optional<PropertyList::Dictionary> dictionaryRepresentation() const;

    /// Puts publisher name, "#" and what follows the resource name's first ":" (the whole name when it has
    /// none) into the launch alias as the seamless name. While either name is nil or empty nothing changes:
    /// on purpose a seamless name that is already there then stays. Const because it changes the alias alone,
    /// and only what the getters would build anyway.
    void buildSeamlessName() const;

    /// Where the record is stored. Not supported here: asserts ("%s not supported in this implementation"),
    /// results in nil.
    virtual std::optional<std::string> path() const;
    /// Not supported here: asserts as `path`, changes nothing.
    virtual void setPath(std::optional<std::string> path);
    /// The name under which the record is stored. Not supported here: asserts as `path`, results in nil.
    virtual std::optional<std::string> fileName() const;
    /// Not supported here: asserts as `path`, changes nothing.
    virtual void setFileName(std::optional<std::string> name);

    /// Whether a newer form of the stored record is due; false here.
    virtual bool needsUpdate() const;
    /// The version of the stored record as text; nil here.
    virtual std::optional<std::string> subscriptionVersion() const;
    /// The version of the stored record; nil here.
    virtual std::optional<MOXVersionNumber> internalVersion() const;
    /// The document types that the resource opens; nil (not set) here.
    virtual std::optional<std::vector<MOXFileType>> fileTypes() const;
    /// Does nothing here.
    virtual void setFileTypes(std::optional<std::vector<MOXFileType>> fileTypes);

    /// Stores the record in `folder` under `name`; whether it did. Here: nothing is stored, the result is
    /// false, and `error` is left untouched.
    virtual bool writeToFolder(std::string_view folder, std::string_view name,
                               std::optional<Error>* error = nullptr);

protected:
    /// A record with an empty launch alias and schema version 1.
    MOXSubscription();
    /// A record filled from its arguments, the file name as the alias's clone name, with schema version 1.
    MOXSubscription(std::optional<std::string> fileName, const MOXSubscriptionKeywords& keywords);
    /// A record whose launch alias has a copy of `dictionary`; its schema version stays as it is there. Nil
    /// makes a record without a launch alias.
    explicit MOXSubscription(std::optional<PropertyList::Dictionary> dictionary);
    /// A record without a launch alias; both arguments are ignored.
    MOXSubscription(std::string_view path, std::optional<Error>* error);

    /// Filled on first use by the model whose records have a version; never here.
    mutable std::optional<MOXVersionNumber> _version;
    /// Null in a record without one.
    std::shared_ptr<MOXLaunchAlias> _launchAlias;
};

} // namespace mox
