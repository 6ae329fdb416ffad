#pragma once

#include "Foundation/Image.hpp"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace mox {

/// A signed integer as wide as the machine's word.
using MOXInteger = std::intptr_t;

/// An unsigned integer as wide as the machine's word.
using MOXUInteger = std::uintptr_t;

/// Where subscriptions are kept. Any other value can be carried and is refused when the manager is built.
enum class SubscriptionModel : std::int32_t {
    Dictionary = 0,        ///< In the property-list file `Subscriptions.plist`.
    ApplicationBundle = 1, ///< As stub application bundles in the user's applications folder.
};

/// What a subscription starts. Any other value can be carried; like `Unknown` it is never stored.
enum class MOXSubscriptionType : std::int32_t {
    Unknown = 0,     ///< What is not stored, or stored as an unknown word, reads as this.
    Application = 1, ///< One published application.
    Desktop = 2,     ///< A published desktop.
};

/// The kind of gateway to a store. Any other value can be carried; it is never stored.
enum class MOXNorvikType : std::int32_t {
    Standard = 0,
    Advanced = 1,
    Enterprise = 2,
    None = 9, ///< No gateway; what is not stored, or stored as an unknown word, reads as this.
};

/// How a gateway authenticates its user. Any other value can be carried; it is never stored.
enum class MOXNorvikAuthType : std::int32_t {
    None = 0, ///< No authentication; what is not stored, or stored as an unknown word, reads as this.
    Domain = 1,
    RSA = 2,
    DomainAndRSA = 3,
    SMS = 4,
};

/// A document type that a resource opens.
struct MOXFileType {
    /// The type's name.
    std::string group;
    /// File name extensions, each with its leading ".".
    std::vector<std::string> extensions;
    /// The text for a person.
    std::optional<std::string> description;

    friend bool operator==(const MOXFileType&, const MOXFileType&) = default;
};

/// A value of the optional information that a subscription can be given.
using MOXOptionalInfoValue = std::variant<std::string, Image, std::vector<MOXFileType>>;

/// The optional information of a subscription, by the keys below. A value of another type than its key's
/// counts as absent, and so does an unknown key.
using MOXOptionalInfo = std::map<std::string, MOXOptionalInfoValue, std::less<>>;

inline constexpr std::string_view MOXOptionalInfoIconImageKey = "Icon Image";           ///< An `Image`.
inline constexpr std::string_view MOXOptionalInfoDescriptionKey = "Description";        ///< Text.
inline constexpr std::string_view MOXOptionalInfoLaunchURLKey = "SVLaunchURL";          ///< Text.
inline constexpr std::string_view MOXOptionalInfoPublisherNameKey = "Publisher Name";   ///< Text.
inline constexpr std::string_view MOXOptionalInfoContentAddressKey = "Content Address"; ///< Text.
inline constexpr std::string_view MOXOptionalInfoFileTypesKey = "FileTypes";            ///< File types.

/// A bundle: a folder that the platform treats as one thing, known by its path.
struct MOXBundle {
    /// The absolute path of the folder.
    std::string path;
};

} // namespace mox
