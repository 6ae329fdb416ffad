#pragma once

#include "Foundation/Bytes.hpp"

#include <memory>
#include <utility>

namespace mox {

/// A part of bytes that never change, with a share in the ownership of all of them. Copies may be used from
/// any thread.
class SharedBytes {
public:
    /// No bytes.
    SharedBytes() = default;

    /// Takes over `bytes`.
    explicit SharedBytes(Bytes bytes) {
        const auto owner = std::make_shared<const Bytes>(std::move(bytes));
        *this = SharedBytes(*owner, owner);
    }

    /// The `bytes`, which hold and stay the same for as long as `owner` lives.
    SharedBytes(ByteView bytes, std::shared_ptr<const void> owner)
        : _whole(std::make_shared<const Whole>(Whole{bytes, std::move(owner)})), _part(bytes) {}

    /// The bytes of this part; the view holds as long as this value or another part of the same whole lives.
    ByteView view() const noexcept { return _part; }

    /// All the bytes that the part keeps in memory.
    ByteView whole() const noexcept { return _whole ? _whole->bytes : ByteView(); }

    /// Another part of the same whole, in which `part` must lie.
    SharedBytes part(ByteView part) const {
        SharedBytes other = *this;
        other._part = part;
        return other;
    }

private:
    struct Whole {
        ByteView bytes;
        std::shared_ptr<const void> owner;
    };

    std::shared_ptr<const Whole> _whole;
    ByteView _part;
};

} // namespace mox
