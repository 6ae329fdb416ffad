#pragma once

#include "Foundation/Export.hpp"

#include <atomic>
#include <cstddef>
#include <string_view>
#include <utility>

namespace mox {

/// Text that never changes. Copies share it, from any thread; it takes one block of memory for all of them
/// and a pointer for each. One that was moved from has no text.
class MOX_EXPORT SharedText {
public:
    /// No text, which takes no block.
    SharedText() noexcept = default;

    /// A copy of `text`.
    explicit SharedText(std::string_view text);

    /// Shares the text.
    SharedText(const SharedText& other) noexcept : _block(other._block) {
        if (_block) _block->owners.fetch_add(1, std::memory_order_relaxed);
    }
    /// Takes over the text.
    SharedText(SharedText&& other) noexcept : _block(std::exchange(other._block, nullptr)) {}
    /// Takes the place of the text that was there.
    SharedText& operator=(SharedText other) noexcept {
        std::swap(_block, other._block);
        return *this;
    }
    ~SharedText() {
        if (_block && _block->owners.fetch_sub(1, std::memory_order_acq_rel) == 1) destroyBlock();
    }

    /// The text; the view holds as long as this value or a copy of it lives.
    std::string_view view() const noexcept {
        return _block ? std::string_view(_block->text(), _block->size) : std::string_view();
    }
    operator std::string_view() const noexcept { return view(); }

    /// Whether the two share a text, which takes no look at it; two without a text share none.
    bool isSharedWith(const SharedText& other) const noexcept { return _block && _block == other._block; }

    friend bool operator==(const SharedText& left, const SharedText& right) noexcept {
        return left._block == right._block || left.view() == right.view();
    }
    friend bool operator==(const SharedText& left, std::string_view right) noexcept {
        return left.view() == right;
    }

private:
    /// Stands before the text, in the same memory.
    struct Block {
        std::size_t size;
        std::atomic<std::size_t> owners;

        char* text() noexcept { return static_cast<char*>(static_cast<void*>(this + 1)); }
    };

    void destroyBlock() noexcept;

    Block* _block = nullptr;
};

} // namespace mox
