#pragma once

#include <MOXSubscribe.hpp>
#include <stdexcept>
#include <string>
#include <string_view>

namespace mox::tool {

/// Exit statuses of the program.
inline constexpr int statusDone = 0;
inline constexpr int statusFailed = 1;
inline constexpr int statusUsage = 2;

/// An operation failed: status 1 and one line.
class Failure : public std::runtime_error {
public:
    /// The line tells the error's domain, code and localised text and the path that it carries, else `path`.
    Failure(const Error& error, std::string_view path);

    /// For a failure that comes without an error: the line tells operation and path, and what is known of it.
    Failure(std::string_view operation, std::string_view path, std::string_view what);
};

/// A command that does not fit the chosen model: status 2 and one line.
class UsageFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// "DOMAIN CODE: localised text", on one line.
std::string lineOfError(const Error& error);

} // namespace mox::tool
