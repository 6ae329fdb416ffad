#include "Support/FailingAllocations.hpp"

#include <cstdlib>
#include <new>

namespace mox::test {
namespace {

// How many allocations are left until the one that fails; 0 when none is to fail any more.
thread_local constinit std::size_t allocationsLeft = 0;
thread_local constinit bool hasAllocationFailed = false;

} // namespace

FailingAllocation::FailingAllocation(std::size_t number) {
    hasAllocationFailed = false;
    allocationsLeft = number;
}

FailingAllocation::~FailingAllocation() {
    allocationsLeft = 0;
}

bool FailingAllocation::hasFailed() const {
    return hasAllocationFailed;
}

} // namespace mox::test

void* operator new(std::size_t size) {
    using namespace mox::test;
    if (allocationsLeft > 0 && --allocationsLeft == 0) {
        hasAllocationFailed = true;
        throw std::bad_alloc();
    }
    void* memory = std::malloc(size > 0 ? size : 1);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
