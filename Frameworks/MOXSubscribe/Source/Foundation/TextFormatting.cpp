#include "Foundation/TextFormatting.hpp"

#include <array>

namespace mox {
namespace {

constexpr std::array<std::string_view, 5> places = {"%s", "%@", "%d", "%ld", "%lu"};

/// The length of the place that `text` begins with; 0 when it begins with none.
std::size_t placeLength(std::string_view text) {
    for (const std::string_view place : places) {
        if (text.starts_with(place)) return place.size();
    }
    return 0;
}

} // namespace

std::string FormatArgument::text() const {
    if (const auto* text = std::get_if<std::string>(&_value)) return *text;
    if (const auto* number = std::get_if<std::int64_t>(&_value)) return std::to_string(*number);
    if (const auto* number = std::get_if<std::uint64_t>(&_value)) return std::to_string(*number);
    return "(null)";
}

std::string formatted(std::string_view format, std::initializer_list<FormatArgument> arguments) {
    std::string text;
    const FormatArgument* argument = arguments.begin();
    while (!format.empty()) {
        if (format.starts_with("%%")) {
            text.push_back('%');
            format.remove_prefix(2);
        } else if (const std::size_t length = placeLength(format)) {
            text += argument != arguments.end() ? (argument++)->text() : FormatArgument(std::nullopt).text();
            format.remove_prefix(length);
        } else {
            text.push_back(format.front());
            format.remove_prefix(1);
        }
    }
    return text;
}

} // namespace mox
