#include "Foundation/BytesBuffer.hpp"

#include <memory>
#include <new>
#include <sys/mman.h>
#include <unistd.h>

namespace mox {
namespace {

/// Has the system give much memory in large pages, where it has such: most of what it takes to fill new
/// memory is done for each page. When it does not, nothing is lost.
void preferLargePages([[maybe_unused]] char* storage, [[maybe_unused]] std::size_t size) {
#ifdef MADV_HUGEPAGE
    constexpr std::size_t leastSize = std::size_t{8} * 1024 * 1024;
    if (size < leastSize) return;
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    // The whole of the first page, in which the allocator's own words stand before the storage: memory of
    // which a part was asked for otherwise is copied when it grows, instead of being moved.
    void* nextPage = storage;
    std::size_t fromNextPage = size;
    std::align(page, page, nextPage, fromNextPage);
    const std::size_t before = (page - (size - fromNextPage)) % page;
    const std::size_t pages = (before + size + page - 1) / page;
    ::madvise(storage - before, pages * page, MADV_HUGEPAGE);
#endif
}

} // namespace

void BytesBuffer::setCapacity(std::size_t capacity) {
    if (!trySetCapacity(capacity)) throw std::bad_alloc();
}

bool BytesBuffer::trySetCapacity(std::size_t capacity) noexcept {
    // NOLINTNEXTLINE(cppcoreguidelines-no-malloc): nothing else grows memory in its place.
    void* storage = std::realloc(_storage.get(), capacity);
    if (storage == nullptr) return false;
    static_cast<void>(_storage.release());
    _storage.reset(static_cast<char*>(storage));
    if (capacity > _capacity) preferLargePages(_storage.get(), capacity);
    _capacity = capacity;
    return true;
}

} // namespace mox
