#pragma once

#include "Foundation/SharedBytes.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <utility>

namespace mox {

/// Bytes that grow at their end and are shared at last. Memory for more of them is not filled before they are
/// written, and the system moves much of it without copying.
class BytesBuffer {
public:
    std::size_t size() const { return _size; }
    std::string_view view() const { return {_storage.get(), _size}; }

    /// Where to write the next `count` bytes, which belong to the bytes once `extend` has told of them.
    char* room(std::size_t count) {
        if (_capacity - _size < count) setCapacity(std::max(_size + count, _capacity * 2));
        return _storage.get() + _size;
    }
    void extend(std::size_t count) { _size += count; }

    void append(std::string_view text) {
        text.copy(room(text.size()), text.size());
        extend(text.size());
    }

    void append(std::size_t count, char character) {
        std::fill_n(room(count), count, character);
        extend(count);
    }

    /// Makes room for `size` bytes in all when that is more than twice the room there is, so that they are
    /// not moved while they come; anything less is left to the doubling of the room, so that many calls take
    /// no more time than that. It is no failure when there is no memory for as many.
    void expect(std::size_t size) {
        if (size / 2 > _capacity) trySetCapacity(size);
    }

    /// Drops what is behind the first `size` bytes.
    void truncate(std::size_t size) { _size = size; }

    /// Makes the bytes `size` in number, of which those that are new have any value, and gives the first one.
    char* resize(std::size_t size) {
        if (size > _capacity) setCapacity(size);
        _size = size;
        return _storage.get();
    }

    /// The bytes, which the buffer gives away.
    SharedBytes take() {
        if (_size == 0) return {};
        if (_size != _capacity) setCapacity(_size);
        const std::shared_ptr<const char> owner = std::move(_storage);
        _capacity = 0;
        return SharedBytes({owner.get(), std::exchange(_size, 0)}, owner);
    }

private:
    struct Free {
        // NOLINTNEXTLINE(cppcoreguidelines-no-malloc): the other half of std::realloc.
        void operator()(char* storage) const { std::free(storage); }
    };

    void setCapacity(std::size_t capacity);
    bool trySetCapacity(std::size_t capacity) noexcept;

    std::unique_ptr<char, Free> _storage;
    std::size_t _size = 0;
    std::size_t _capacity = 0;
};

} // namespace mox
