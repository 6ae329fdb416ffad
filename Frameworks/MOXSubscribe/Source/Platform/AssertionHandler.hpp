#pragma once

#include "Foundation/Export.hpp"

#include <stdexcept>
#include <string>
#include <string_view>

namespace mox {

/// A programming error: an abstract operation called, the shared manager asked for too early, a damaged
/// store.
struct AssertionFailure {
    /// The object that received the call; the null pointer for an operation of a class.
    const void* object;
    /// The operation's full name, "-[Class selector:]" or "+[Class selector:]".
    std::string_view operation;
    /// The source file's name, as a fixed text.
    std::string_view file;
    /// The line, as a fixed number.
    int line;
    /// What went wrong.
    std::string_view description;
};

/// What the standard assertion handler throws on an assertion failure; `what()` is the description.
class MOX_EXPORT InternalInconsistencyException : public std::runtime_error {
public:
    /// Keeps a copy of all texts of `failure`.
    explicit InternalInconsistencyException(const AssertionFailure& failure);
    ~InternalInconsistencyException() override;

    /// As in `AssertionFailure`.
    const std::string& operation() const noexcept { return _operation; }
    const std::string& file() const noexcept { return _file; }
    int line() const noexcept { return _line; }

private:
    std::string _operation;
    std::string _file;
    int _line;
};

/// What the standard assertion handler throws when an object is asked for an operation that it does not have;
/// `what()` names the operation.
class MOX_EXPORT InvalidArgumentException : public std::invalid_argument {
public:
    /// The exception about `operation`, given by its full name.
    explicit InvalidArgumentException(std::string_view operation);
    ~InvalidArgumentException() override;

    /// The full name of the operation.
    const std::string& operation() const noexcept { return _operation; }

private:
    std::string _operation;
};

/// Decides what a programming error does. The standard one, this class itself, throws. One that returns lets
/// the operation go on; each operation's documentation says with what. May be called on any thread that calls
/// the framework, and while a manager's monitor is held.
class MOX_EXPORT AssertionHandler {
public:
    AssertionHandler() = default;
    AssertionHandler(const AssertionHandler&) = delete;
    AssertionHandler& operator=(const AssertionHandler&) = delete;
    virtual ~AssertionHandler();

    /// An assertion failed. The standard handler throws `InternalInconsistencyException`.
    virtual void handleFailure(const AssertionFailure& failure);

    /// `object` (the null pointer for a class) does not recognise `operation`. The standard handler throws
    /// `InvalidArgumentException`.
    virtual void unrecognizedSelector(const void* object, std::string_view operation);
};

} // namespace mox
