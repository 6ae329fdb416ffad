#pragma once

#include "Foundation/Error.hpp"
#include "Foundation/TextFormatting.hpp"
#include "Platform/Platform.hpp"
#include "SDK/MOXSubscribeAdditions.hpp"

#include <initializer_list>
#include <optional>
#include <string_view>

namespace mox {

// How the framework's classes tell what went wrong: to the log, to the assertion handler and to the caller.

/// Where an assertion stands.
struct AssertionPlace {
    /// The object that received the call; null for an operation of a class.
    const void* object;
    /// The operation's full name, one of `operations`.
    std::string_view operation;
    /// The source file's name, as a fixed text.
    std::string_view file;
    /// The line, as a fixed number.
    int line;
};

/// Logs one line: `format` filled with `arguments`, the first of which is the operation's full name.
void logLine(const Platform& platform, std::string_view format,
             std::initializer_list<FormatArgument> arguments);

/// Tells the assertion handler in force that the assertion at `place` failed; a "%s" in `format` is filled
/// with the operation. Comes back only when the handler does.
void reportAssertion(const Platform& platform, const AssertionPlace& place, std::string_view format);

/// Reports the assertion at `place`, then the operation as not recognised, both to the handler that is in
/// force at the beginning. Comes back only when it returns from both.
void reportUnsupportedOperation(const Platform& platform, const AssertionPlace& place,
                                std::string_view format);

/// Tells the assertion handler in force that `object` (null for a class) does not recognise `operation`.
/// Comes back only when the handler does.
void reportUnrecognizedSelector(const Platform& platform, const void* object, std::string_view operation);

/// Puts `error` into the caller's place for it, when there is one.
void storeError(std::optional<Error>* place, Error error);

/// The error for a required argument that is nil or empty: code 22 of `NSPOSIXErrorDomain`, without user
/// information.
Error invalidArgumentError();

/// The framework's error for `key`, with the code that belongs to it.
Error frameworkError(const MOXSubscribeErrorKey& key,
                     const std::optional<Error::UserInfo>& additionalInfo = std::nullopt);

/// The additional information of an error that another one, `error`, caused.
Error::UserInfo underlyingErrorInfo(const Error& error);

} // namespace mox
