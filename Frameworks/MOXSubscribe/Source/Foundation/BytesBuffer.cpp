#include "Foundation/BytesBuffer.hpp"

#include <memory>
#include <sys/mman.h>
#include <unistd.h>

namespace mox {
namespace {

/// Has the system give much memory in large pages, where it has such: most of what it takes to fill new
/// memory is done for each page. When it does not, nothing is lost.
void preferLargePages([[maybe_unused]] void* storage, [[maybe_unused]] std::size_t size) {
#ifdef MADV_HUGEPAGE
    constexpr std::size_t leastSize = std::size_t{8} * 1024 * 1024;
    if (size < leastSize) return;
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    if (std::align(page, page, storage, size) != nullptr)
        ::madvise(storage, size - size % page, MADV_HUGEPAGE);
#endif
}

} // namespace

char* BytesBuffer::resize(std::size_t size) {
    if (size > _capacity) {
        setCapacity(size);
        // Not where the bytes grow little by little: to move large pages, the system splits them again.
        preferLargePages(_storage.get(), size);
    }
    _size = size;
    return _storage.get();
}

} // namespace mox
