#pragma once

#include "Foundation/Error.hpp"

#include <optional>
#include <string>
#include <vector>

namespace mox::test::model {

/// All that can be seen of a step, a line for each thing. The reference and the subject write the same lines.
using Observations = std::vector<std::string>;

// How errors are told in observations: domain, code, what is under each key of the user information. Texts
// for people are told by their being there.

/// An error of the framework.
std::string frameworkError(int code, const std::optional<std::string>& path = std::nullopt,
                           const std::optional<std::string>& underlying = std::nullopt);
/// The error of a missing argument.
std::string invalidArgument();
/// An error of the file system about `path`, from an errno value.
std::string fileSystemError(int code, const std::string& path, int errorNumber);
/// What stands in a place for an error: untouched, nil, or the error.
std::string textOfPlace(const std::optional<Error>& place);

inline constexpr const char* untouchedPlace = "untouched";
inline constexpr const char* clearedPlace = "nil";

/// A line for each of `texts`, with `title` before it.
void append(Observations& observations, const std::string& title, const std::vector<std::string>& texts);

/// What of `seen` is not as `expected`, for people; nil when they are equal.
std::optional<std::string> difference(const Observations& expected, const Observations& seen);

} // namespace mox::test::model
