#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <utility>
#include <vector>

namespace mox {

/// The bytes of a bitmap's pixels. They never change, and copies share them: an image passes through many
/// hands, and nothing else of a subscription is as large. Copies may be used from any thread.
class Pixels {
public:
    /// What the names of a container's types say.
    using value_type = std::uint8_t;
    using const_iterator = const std::uint8_t*;

    /// No bytes.
    Pixels() = default;

    /// Takes over `bytes`.
    Pixels(std::vector<std::uint8_t> bytes)
        : _bytes(std::make_shared<const std::vector<std::uint8_t>>(std::move(bytes))) {}

    /// The bytes that are listed.
    Pixels(std::initializer_list<std::uint8_t> bytes) : Pixels(std::vector(bytes)) {}

    /// Where the bytes are, for as long as this value or a copy of it lives.
    const std::uint8_t* data() const noexcept { return _bytes ? _bytes->data() : nullptr; }

    /// How many bytes there are.
    std::size_t size() const noexcept { return _bytes ? _bytes->size() : 0; }

    /// Whether there are none.
    bool empty() const noexcept { return size() == 0; }

    /// The first byte, and what follows the last one.
    const_iterator begin() const noexcept { return data(); }
    const_iterator end() const noexcept { return data() + size(); }

    /// One byte; `index` must be below `size()`.
    std::uint8_t operator[](std::size_t index) const { return (*_bytes)[index]; }

    /// A copy of the bytes, to be changed.
    std::vector<std::uint8_t> bytes() const { return {begin(), end()}; }

    /// Whether the bytes are the same, wherever they are.
    friend bool operator==(const Pixels& left, const Pixels& right) {
        return left._bytes == right._bytes ||
               std::equal(left.begin(), left.end(), right.begin(), right.end());
    }

private:
    std::shared_ptr<const std::vector<std::uint8_t>> _bytes;
};

} // namespace mox
