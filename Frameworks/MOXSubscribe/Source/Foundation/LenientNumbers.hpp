#pragma once

#include "Foundation/Export.hpp"

#include <cstdint>
#include <string_view>

namespace mox {

class PropertyList;

/// The decimal number that `text` begins with: white space is skipped, then one sign may stand directly
/// before the digits, and whatever follows them is ignored. 0 when there are no digits. A number beyond the
/// limits of a signed word is the limit.
MOX_EXPORT std::intptr_t integerValue(std::string_view text) noexcept;

/// The number in `value` as an unsigned word: a real loses its fraction, a boolean is 0 or 1. A negative
/// number wraps around, and one that is too large for the word keeps its lower bits. A real beyond every
/// 64-bit integer is the nearest of them first; NaN is 0. What is no number, text included, is 0.
MOX_EXPORT std::uintptr_t unsignedIntegerValue(const PropertyList& value) noexcept;

} // namespace mox
