#pragma once

#include "Foundation/Export.hpp"
#include "Foundation/Image.hpp"
#include "Foundation/PropertyList.hpp"
#include "SDK/MOXTypes.hpp"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace mox {

/// What a client needs to start one subscribed resource: a typed view of one property-list dictionary.
///
/// The dictionary is the only state. A getter reads it and a setter changes it at once; keys that are not
/// known here stay in it untouched. A value of an unexpected type counts as missing. Nothing here logs. An
/// alias belongs to one thread at a time; no lock is taken.
class MOX_EXPORT MOXLaunchAlias {
public:
    MOXLaunchAlias(const MOXLaunchAlias&) = delete;
    MOXLaunchAlias& operator=(const MOXLaunchAlias&) = delete;
    virtual ~MOXLaunchAlias();

    // Making. Each gives null when its source yields no dictionary, without an error or a log line. Nothing
    // on the disk is changed.

    /// An alias with an empty dictionary.
    static std::shared_ptr<MOXLaunchAlias> launchAlias();
    /// The alias in the bundle of the running program, found as `launchAliasWithBundle` finds it.
    static std::shared_ptr<MOXLaunchAlias> launchAliasWithMainBundle();
    /// The alias in the resource "Korvalias" of type "plist", as the resource lookup of `bundle` finds it.
    static std::shared_ptr<MOXLaunchAlias> launchAliasWithBundle(const MOXBundle& bundle);
    /// The alias in `Contents/Resources/Korvalias.plist` below `bundlePath`.
    static std::shared_ptr<MOXLaunchAlias> launchAliasWithBundleAtPath(std::string_view bundlePath);
    /// The alias in the property list, of any form, at `path`.
    static std::shared_ptr<MOXLaunchAlias> launchAliasWithFile(std::string_view path);
    /// An alias with a copy of `dictionary`; null for nil.
    static std::shared_ptr<MOXLaunchAlias>
    launchAliasWithDictionary(std::optional<PropertyList::Dictionary> dictionary);

    // Writing. Each returns whether the file was written; why not is not told, and no folder is made for it.
    // Atomically: at every instant, and after a failure, the file is the old or the new one, whole. Otherwise
    // it is written in place and may be short after a failure.

    /// Writes into the bundle of the running program, not atomically.
    bool writeToMainBundle() const;
    /// Writes `Korvalias.plist` into the folder of the resources of `bundle`.
    bool writeToBundle(const MOXBundle& bundle, bool atomically) const;
    /// Writes `Contents/Resources/Korvalias.plist` below `bundlePath`.
    bool writeToBundleAtPath(std::string_view bundlePath, bool atomically) const;
    /// Writes the file at `path`, as an XML property list (binary when a text in it cannot be carried by
    /// XML).
    bool writeToFile(std::string_view path, bool atomically) const;

    /// A copy of the whole dictionary, unknown keys included.
    PropertyList::Dictionary dictionaryRepresentation() const;

    // Texts: nil when the key is absent. A setter stores its text, an empty one too; nil removes the key.
    // Text that is not well-formed UTF-8 is repaired as it is stored: what is damaged becomes U+FFFD.

    /// Key "cloneName": the file name under which the resource was subscribed.
    std::optional<std::string> cloneName() const;
    void setCloneName(std::optional<std::string> name);
    /// Key "Store Name": the name of the store that publishes the resource.
    std::optional<std::string> storeName() const;
    void setStoreName(std::optional<std::string> name);
    /// Key "Internal Store URL": the store's address from inside its network.
    std::optional<std::string> internalStoreURL() const;
    void setInternalStoreURL(std::optional<std::string> url);
    /// Key "External Store URL": the store's address from outside.
    std::optional<std::string> externalStoreURL() const;
    void setExternalStoreURL(std::optional<std::string> url);
    /// Key "Korvan Server Unique Application Name": the resource's name on its server.
    std::optional<std::string> applicationName() const;
    void setApplicationName(std::optional<std::string> name);
    /// Key "Tavamor Name": the seamless name.
    std::optional<std::string> tavamorName() const;
    void setTavamorName(std::optional<std::string> name);
    /// Key "Korvan Description": the text about the resource, for a person.
    std::optional<std::string> applicationDescription() const;
    void setApplicationDescription(std::optional<std::string> description);
    /// Key "Korvan Content Address": the address of the content that the resource shows.
    std::optional<std::string> contentAddress() const;
    void setContentAddress(std::optional<std::string> address);
    /// Key "Stavenor Launch URL": the address that starts the resource.
    std::optional<std::string> launchURL() const;
    void setLaunchURL(std::optional<std::string> url);
    /// Key "Korvan Publisher Name": who publishes the resource.
    std::optional<std::string> publisherName() const;
    void setPublisherName(std::optional<std::string> name);
    /// Key "Korvan Server": the server's name.
    std::optional<std::string> serverName() const;
    void setServerName(std::optional<std::string> name);

    // Kinds, stored as words that are compared exactly. Readers of existing files depend on the asymmetries.

    /// Key "Korvan Application Type", words "Application" and "Desktop"; anything else reads as 0. Storing
    /// any value other than 1 and 2 removes the key.
    MOXSubscriptionType subscriptionType() const;
    void setSubscriptionType(MOXSubscriptionType type);
    /// Key "Norvik Type", words "standard", "advanced", "enterprise", and "none" for no gateway, 9. Anything
    /// else reads as 9. Storing any value other than 0, 1, 2 and 9 removes the key.
    MOXNorvikType norvikType() const;
    void setNorvikType(MOXNorvikType type);
    /// Key "Norvik Auth Type", words "none" for 0, "domain", "rsa", "domainandrsa", "sms"; anything else
    /// reads as 0. Storing a value outside 0 to 4 removes the key.
    MOXNorvikAuthType norvikAuthType() const;
    void setNorvikAuthType(MOXNorvikAuthType type);

    /// Key "Icon": the image in the stored keyed archive, decoded at each call; nil when there is none or it
    /// cannot be decoded. The stored bytes stay as they are until an icon is set.
    std::optional<Image> icon() const;
    /// Stores the keyed archive of `icon`. Nil, or an image of which no archive can be made, removes the key.
    void setIcon(const std::optional<Image>& icon);

    /// Key "SchemaVersion": the version of the record's own form; 0 when it is absent or no number.
    MOXUInteger schemaVersion() const;
    /// Always stores a number, 0 too.
    void setSchemaVersion(MOXUInteger version);

protected:
    /// An alias that takes over `dictionary` as it is.
    explicit MOXLaunchAlias(PropertyList::Dictionary dictionary);

private:
    std::optional<std::string> textForKey(std::string_view key) const;
    void setText(std::optional<std::string> text, std::string_view key);

    PropertyList::Dictionary _aliasDict;
};

} // namespace mox
