#pragma once

#include "Foundation/Error.hpp"

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace mox {

/// A value for one place of a format. Nil text prints "(null)", and so does `std::nullopt`, which stands for
/// any other nil. An error prints its `description`.
class FormatArgument {
public:
    FormatArgument(const char* text) : _value(std::string(text)) {}
    FormatArgument(std::string_view text) : _value(std::string(text)) {}
    FormatArgument(const std::string& text) : _value(text) {}
    FormatArgument(const std::optional<std::string>& text) {
        if (text) _value = *text;
    }
    FormatArgument(std::nullopt_t) {}
    FormatArgument(const Error& error) : _value(error.description()) {}
    FormatArgument(int value) : _value(std::int64_t{value}) {}
    FormatArgument(long value) : _value(std::int64_t{value}) {}
    FormatArgument(long long value) : _value(std::int64_t{value}) {}
    FormatArgument(unsigned value) : _value(std::uint64_t{value}) {}
    FormatArgument(unsigned long value) : _value(std::uint64_t{value}) {}
    FormatArgument(unsigned long long value) : _value(std::uint64_t{value}) {}

private:
    friend std::string formatted(std::string_view, std::initializer_list<FormatArgument>);
    std::string text() const;

    std::variant<std::monostate, std::string, std::int64_t, std::uint64_t> _value;
};

/// Fills the places `%s %@ %d %ld %lu` of `format` with `arguments`, in order; `%%` prints "%". Each place
/// prints its argument by the argument's own type, so that no text can be read past its end; a place without
/// an argument prints "(null)".
std::string formatted(std::string_view format, std::initializer_list<FormatArgument> arguments);

} // namespace mox
