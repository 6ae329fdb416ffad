#pragma once

#include "Foundation/Bytes.hpp"
#include "Foundation/Error.hpp"
#include "Foundation/Export.hpp"
#include "Foundation/Image.hpp"
#include "Platform/AssertionHandler.hpp"

#include <memory>
#include <optional>
#include <string_view>

namespace mox {

/// The domain of the framework's own errors.
inline constexpr std::string_view MOXSubscribeErrorDomain = "com.korvan.MOXSubscribe.ErrorDomain";

/// The identifier of the framework's own bundle.
inline constexpr std::string_view MOXSubscribeBundleIdentifier = "com.korvan.MOXSubscribe";

/// What goes wrong in the framework: each code belongs to one key, the name of its text. Of the errors below,
/// those of the application-bundle model that concern one file carry its path under `NSFilePathErrorKey`.
struct MOXSubscribeErrorKey {
    /// The key of the text in the framework's string table.
    std::string_view key;
    /// The code in the framework's domain.
    Error::Code code;
};

/// A subscription could not be made for a reason without a key of its own.
inline constexpr MOXSubscribeErrorKey MOXSubscribeUnknownError{"MOXSubscribeUnknownError", 2001};
/// There is no template to make a stub bundle from.
inline constexpr MOXSubscribeErrorKey MOXSubscribeNoTemplateError{"MOXSubscribeNoTemplateError", 2002};
/// A folder could not be made in the applications folder. Carries the lower-level error under
/// `NSUnderlyingErrorKey` when there is one.
inline constexpr MOXSubscribeErrorKey MOXSubscribeDestinationFolderCreateError{
    "MOXSubscribeDestinationFolderCreateError", 2003};
/// The template could not be copied or finished, or, in either model, something of another type is in the
/// subscription's place. After a failed update it may carry the lower-level error under
/// `NSUnderlyingErrorKey`.
inline constexpr MOXSubscribeErrorKey MOXSubscribeTemplateCopyError{"MOXSubscribeTemplateCopyError", 2004};
/// A stub bundle has no information list.
inline constexpr MOXSubscribeErrorKey MOXSubscribeMissingInfoPlistError{"MOXSubscribeMissingInfoPlistError",
                                                                        2005};
/// A stub bundle's information list could not be written.
inline constexpr MOXSubscribeErrorKey MOXSubscribeInfoPlistWriteError{"MOXSubscribeInfoPlistWriteError",
                                                                      2006};
/// A launch alias could not be written.
inline constexpr MOXSubscribeErrorKey MOXSubscribeLaunchAliasWriteError{"MOXSubscribeLaunchAliasWriteError",
                                                                        2007};
/// Nothing is stored at the path of a subscription or folder.
inline constexpr MOXSubscribeErrorKey MOXSubscribeNoSubscriptionAtPathError{
    "MOXSubscribeNoSubscriptionAtPathError", 2008};
/// What is stored at the path is no subscription.
inline constexpr MOXSubscribeErrorKey MOXSubscribeBadSubscriptionAtPathError{
    "MOXSubscribeBadSubscriptionAtPathError", 2009};
/// A subscription to be brought up to date cannot be read.
inline constexpr MOXSubscribeErrorKey MOXSubscribeCorruptSubscriptionError{
    "MOXSubscribeCorruptSubscriptionError", 2010};

/// An error of `MOXSubscribeErrorDomain` with `code`. Its user information has the text of `key` in the
/// user's language under `NSLocalizedDescriptionKey` (`key` itself when it is not translated, no entry when
/// the framework's bundle is not found), then all of `additionalInfo`, which wins. That key and code belong
/// together is not checked. Never fails; reads the framework's string table; any thread may call.
MOX_EXPORT Error
moxSubscribeErrorWithKey(std::string_view key, Error::Code code,
                         const std::optional<Error::UserInfo>& additionalInfo = std::nullopt);

/// Whether `text` is nil or has no characters. A blank is a character. Any thread may call.
MOX_EXPORT bool isNilOrEmpty(const std::optional<std::string_view>& text);

/// The image in the bytes of a PNG, TIFF or ICNS file, as a client passes it on as an icon; nil when they
/// hold none. Sides are at most `maximumImageSide` pixels. Any thread may call.
MOX_EXPORT std::optional<Image> imageWithData(ByteView bytes);

/// The image as a PNG file of its largest representation; nil when there is none. Any thread may call.
MOX_EXPORT std::optional<Bytes> pngDataOfImage(const Image& image);

/// Puts `handler` in force for the framework's assertions, the standard one when it is null. Returns the one
/// in force before. Any thread may call; a failure that is being handled finishes with the handler that it
/// began with.
MOX_EXPORT std::shared_ptr<AssertionHandler>
installAssertionHandler(std::shared_ptr<AssertionHandler> handler);

} // namespace mox
