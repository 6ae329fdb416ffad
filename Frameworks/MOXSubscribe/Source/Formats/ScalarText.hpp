#pragma once

#include "Foundation/PropertyList.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace mox {

// The text of numbers and dates in XML property lists. None of it depends on the locale. White space around a
// text that is read does not matter.

/// Reads an integer: decimal, or hexadecimal behind "0x", with an optional sign. Nil when it is malformed or
/// lies outside -2^63 to 2^64 - 1.
std::optional<PropertyList> integerFromText(std::string_view text);

/// Reads a real number, or "nan", "inf" or "infinity" in any case with an optional sign. Nil when malformed;
/// what is too large for a double becomes infinite.
std::optional<double> realFromText(std::string_view text);

/// Reads a date of the form `2001-12-31T23:59:59Z`. Nil when malformed or when there is no such date.
std::optional<PropertyList::Date> dateFromText(std::string_view text);

/// Appends an integer in decimal form.
void appendInteger(std::string& text, const PropertyList& integer);

/// Appends a real number with the 17 digits that tell every double from its neighbours; "0.0" for zero,
/// "nan",
/// "+infinity" or "-infinity".
void appendReal(std::string& text, double value);

/// Appends a date in whole seconds, rounded down. False, with nothing appended, when its year is not within
/// 1 to 9999, which this form cannot carry.
[[nodiscard]] bool appendDate(std::string& text, PropertyList::Date date);

} // namespace mox
