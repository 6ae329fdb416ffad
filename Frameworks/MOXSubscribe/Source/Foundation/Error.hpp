#pragma once

#include "Foundation/Export.hpp"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace mox {

/// Key of an error's localised text in its user information.
inline constexpr std::string_view NSLocalizedDescriptionKey = "NSLocalizedDescription";
/// Key of the file system path concerned in an error's user information.
inline constexpr std::string_view NSFilePathErrorKey = "NSFilePath";
/// Key of the lower-level error in an error's user information.
inline constexpr std::string_view NSUnderlyingErrorKey = "NSUnderlyingError";

/// Domain of errors whose code is an errno value.
inline constexpr std::string_view NSPOSIXErrorDomain = "NSPOSIXErrorDomain";
/// Domain of errors of the file system and of text encodings.
inline constexpr std::string_view NSCocoaErrorDomain = "NSCocoaErrorDomain";

/// Why an operation failed: a domain, a code that has its meaning within the domain, and user information.
///
/// A value: copying is cheap enough for failure paths, and a copy is independent of its original. Errors are
/// immutable once made; any thread may read one.
class MOX_EXPORT Error {
public:
    /// Signed and as wide as the machine's word.
    using Code = std::intptr_t;

    /// A value of the user information: text, or the error that caused this one.
    using UserInfoValue = std::variant<std::string, std::shared_ptr<const Error>>;

    /// What the error tells beyond domain and code, by key.
    using UserInfo = std::map<std::string, UserInfoValue, std::less<>>;

    /// Makes an error of `domain` with `code`; without user information the dictionary is empty.
    Error(std::string_view domain, Code code, UserInfo userInfo = {});

    /// Makes the error of an errno value in `NSPOSIXErrorDomain`, without user information.
    static Error posix(int errorNumber);

    /// The domain in which the code has its meaning.
    const std::string& domain() const { return _domain; }

    /// The code.
    Code code() const { return _code; }

    /// Everything that the error tells beyond domain and code.
    const UserInfo& userInfo() const { return *_userInfo; }

    /// The text under `key` in the user information; nil when it is absent or no text.
    std::optional<std::string> userInfoText(std::string_view key) const;

    /// The text for a person: the one under `NSLocalizedDescriptionKey`, else the system's text of an errno
    /// value, else one that names domain and code.
    std::string localizedDescription() const;

    /// The path under `NSFilePathErrorKey`; nil when the error carries none.
    std::optional<std::string> filePath() const { return userInfoText(NSFilePathErrorKey); }

    /// The error under `NSUnderlyingErrorKey`; null when the error carries none.
    std::shared_ptr<const Error> underlyingError() const;

    /// The form for logs: `Error Domain=D Code=N "localized description"`.
    std::string description() const;

private:
    std::string _domain;
    Code _code;
    // Shared by copies: copying it with g++ 12 is undefined when memory runs out halfway.
    std::shared_ptr<const UserInfo> _userInfo;
};

} // namespace mox
