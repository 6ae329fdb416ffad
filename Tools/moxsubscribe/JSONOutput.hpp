#pragma once

#include <nlohmann/json.hpp>

#include <ostream>

namespace mox::tool {

/// Members stay in the order in which they were put in.
using JSON = nlohmann::ordered_json;

/// Prints `value` and a line feed. Only ASCII is printed, so that no text in it can steer a terminal; bytes
/// that are no UTF-8 become U+FFFD.
inline void printJSON(std::ostream& output, const JSON& value) {
    output << value.dump(2, ' ', true, JSON::error_handler_t::replace) << '\n';
}

} // namespace mox::tool
