#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <string_view>

namespace mox::fuzz {

/// Ends the fuzzer, which then keeps the input, when something does not hold.
inline void require(bool condition) {
    if (!condition) std::abort();
}

/// The input taken apart at bytes FF; what is missing is empty, and the rest behind the last field is
/// dropped.
template<std::size_t count>
std::array<std::string, count> fieldsOf(std::string_view input) {
    std::array<std::string, count> fields;
    for (std::string& field : fields) {
        field = input.substr(0, input.find('\xFF'));
        input.remove_prefix(std::min(field.size() + 1, input.size()));
    }
    return fields;
}

} // namespace mox::fuzz
