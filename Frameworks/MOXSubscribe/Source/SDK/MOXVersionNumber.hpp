#pragma once

#include "Foundation/Export.hpp"
#include "SDK/MOXTypes.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mox {

/// A version of four parts, compared part by part.
///
/// A small value: it fails nowhere, touches no disk and takes no lock. One value belongs to one thread at a
/// time.
class MOX_EXPORT MOXVersionNumber {
public:
    /// 0.0.0.0.
    MOXVersionNumber() = default;

    /// The version with the four given parts.
    MOXVersionNumber(MOXUInteger majorVersion, MOXUInteger minorVersion, MOXUInteger fixVersion,
                     MOXUInteger buildVersion);

    /// The version in `string`: its components between "."s, each as `versionFromComponents` reads it. A
    /// missing component is 0, those after the fourth are dropped, nil is 0.0.0.0.
    explicit MOXVersionNumber(std::optional<std::string_view> string);

    // The factories make a `MOXVersionNumber` on purpose, also when they are called on a class derived from
    // it.

    /// 0.0.0.0.
    static MOXVersionNumber versionNumber();
    /// The version in `string`, as the constructor reads it.
    static MOXVersionNumber versionNumberWithString(std::optional<std::string_view> string);
    /// The version with the four given parts.
    static MOXVersionNumber versionNumberWithMajorVersion(MOXUInteger majorVersion, MOXUInteger minorVersion,
                                                          MOXUInteger fixVersion, MOXUInteger buildVersion);

    /// The number that `components[index]` begins with, after leading white space and a sign; 0 when there is
    /// no such component, when it begins with no digit, and when the number is below 1. A number too large
    /// for a signed word is the largest one.
    static MOXUInteger versionFromComponents(const std::vector<std::string>& components, MOXUInteger index);

    /// The first part.
    MOXUInteger majorVersion() const { return _majorVersion; }
    void setMajorVersion(MOXUInteger version) { _majorVersion = version; }
    /// The second part.
    MOXUInteger minorVersion() const { return _minorVersion; }
    void setMinorVersion(MOXUInteger version) { _minorVersion = version; }
    /// The third part.
    MOXUInteger fixVersion() const { return _fixVersion; }
    void setFixVersion(MOXUInteger version) { _fixVersion = version; }
    /// The fourth part.
    MOXUInteger buildVersion() const { return _buildVersion; }
    void setBuildVersion(MOXUInteger version) { _buildVersion = version; }

    /// All four parts in decimal, joined by ".": "6.2.0.0".
    std::string stringValue() const;
    /// The same text as `stringValue`.
    std::string description() const;

    /// -1 when this version is the older one, 1 when it is the newer one, else 0; by numbers, not by text.
    /// Nil compares as 0.0.0.0.
    MOXInteger compare(const std::optional<MOXVersionNumber>& other) const;
    /// Whether `compare` gives 0.
    bool isEqualToVersion(const std::optional<MOXVersionNumber>& other) const;

private:
    MOXUInteger _majorVersion = 0;
    MOXUInteger _minorVersion = 0;
    MOXUInteger _fixVersion = 0;
    MOXUInteger _buildVersion = 0;
};

} // namespace mox
