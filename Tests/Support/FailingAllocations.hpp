#pragma once

#include <cstddef>

namespace mox::test {

/// Lets one allocation of this thread fail: the `number`-th `operator new` from now, 1 being the next one,
/// throws std::bad_alloc. It passes when the object ends. One at a time for each thread.
///
/// A program that links the library MOXFailingAllocations has its `operator new` replaced for good, so this
/// is a library of its own.
class FailingAllocation {
public:
    explicit FailingAllocation(std::size_t number);
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
    ~FailingAllocation();

    /// Whether it has failed by now.
    bool hasFailed() const;
};

} // namespace mox::test
