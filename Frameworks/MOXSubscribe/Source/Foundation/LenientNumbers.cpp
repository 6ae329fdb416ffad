#include "Foundation/LenientNumbers.hpp"

#include "Foundation/PropertyList.hpp"

#include <algorithm>
#include <charconv>
#include <limits>
#include <system_error>

namespace mox {
namespace {

constexpr std::string_view whiteSpace = " \t\n\v\f\r";

std::uint64_t unsignedIntegerFromReal(double real) noexcept {
    constexpr double signedLowest = -9'223'372'036'854'775'808.0;
    constexpr double unsignedEnd = 18'446'744'073'709'551'616.0;
    if (real >= unsignedEnd) return std::numeric_limits<std::uint64_t>::max();
    if (real >= 0) return static_cast<std::uint64_t>(real);
    if (real >= signedLowest) return static_cast<std::uint64_t>(static_cast<std::int64_t>(real));
    const bool isNumber = real < 0;
    return isNumber ? static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::min()) : 0;
}

} // namespace

std::intptr_t integerValue(std::string_view text) noexcept {
    constexpr auto highest = std::numeric_limits<std::intptr_t>::max();
    constexpr auto lowest = std::numeric_limits<std::intptr_t>::min();
    text.remove_prefix(std::min(text.find_first_not_of(whiteSpace), text.size()));
    const bool isNegative = text.starts_with('-');
    if (isNegative || text.starts_with('+')) text.remove_prefix(1);
    std::uintptr_t magnitude = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), magnitude);
    if (error == std::errc::result_out_of_range) return isNegative ? lowest : highest;
    if (isNegative) {
        return magnitude > static_cast<std::uintptr_t>(highest) ? lowest
                                                                : -static_cast<std::intptr_t>(magnitude);
    }
    return magnitude > static_cast<std::uintptr_t>(highest) ? highest : static_cast<std::intptr_t>(magnitude);
}

std::uintptr_t unsignedIntegerValue(const PropertyList& value) noexcept {
    if (const auto number = value.unsignedInteger()) return static_cast<std::uintptr_t>(*number);
    if (const auto number = value.integer()) return static_cast<std::uintptr_t>(*number);
    if (const auto number = value.real())
        return static_cast<std::uintptr_t>(unsignedIntegerFromReal(*number));
    return value.boolean().value_or(false) ? 1 : 0;
}

} // namespace mox
