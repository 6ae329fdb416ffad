#pragma once

#include "Platform/AssertionHandler.hpp"

#include <mutex>
#include <string>
#include <vector>

namespace mox::test {

/// An assertion handler that keeps what it was told, for a test to look at, and then either throws like the
/// standard one or returns. Any thread may use it.
class RecordingAssertionHandler : public AssertionHandler {
public:
    enum class Then { Throws, Returns };

    /// An assertion failure, with texts of its own.
    struct Failure {
        const void* object;
        std::string operation;
        std::string file;
        int line;
        std::string description;
    };

    /// An operation that was not recognised.
    struct Unrecognized {
        const void* object;
        std::string operation;
    };

    explicit RecordingAssertionHandler(Then then) : _then(then) {}

    void handleFailure(const AssertionFailure& failure) override;
    void unrecognizedSelector(const void* object, std::string_view operation) override;

    /// The failures so far, in their order.
    std::vector<Failure> failures() const;

    /// The unrecognised operations so far, in their order.
    std::vector<Unrecognized> unrecognized() const;

private:
    const Then _then;
    mutable std::mutex _mutex;
    std::vector<Failure> _failures;
    std::vector<Unrecognized> _unrecognized;
};

} // namespace mox::test
