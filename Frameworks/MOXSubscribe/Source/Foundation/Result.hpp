#pragma once

#include "Foundation/Error.hpp"

#include <optional>
#include <utility>
#include <variant>

namespace mox {

/// The outcome of an internal operation: a value, or the error that explains why there is none.
template<typename Value>
class [[nodiscard]] Result {
public:
    Result(Value value) : _outcome(std::in_place_index<0>, std::move(value)) {}
    Result(Error error) : _outcome(std::in_place_index<1>, std::move(error)) {}

    /// Whether there is a value.
    explicit operator bool() const { return _outcome.index() == 0; }

    /// The value; only when there is one.
    Value& operator*() { return std::get<0>(_outcome); }
    const Value& operator*() const { return std::get<0>(_outcome); }
    Value* operator->() { return &std::get<0>(_outcome); }
    const Value* operator->() const { return &std::get<0>(_outcome); }

    /// The error; only when there is no value.
    const Error& error() const { return std::get<1>(_outcome); }

private:
    std::variant<Value, Error> _outcome;
};

/// The outcome of an internal operation that yields nothing but its success.
template<>
class [[nodiscard]] Result<void> {
public:
    Result() = default;
    Result(Error error) : _error(std::move(error)) {}

    /// Whether the operation succeeded.
    explicit operator bool() const { return !_error.has_value(); }

    /// The error; only when the operation failed.
    const Error& error() const { return *_error; }

private:
    std::optional<Error> _error;
};

} // namespace mox
