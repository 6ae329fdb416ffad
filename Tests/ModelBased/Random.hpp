#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace mox::test::model {

/// Numbers that follow from a seed in the same way with every standard library.
class Random {
public:
    explicit Random(std::uint64_t seed) : _engine(seed) {}

    /// A number below `limit`, which is not 0.
    std::size_t below(std::size_t limit) { return static_cast<std::size_t>(_engine() % limit); }

    /// True `percent` times in a hundred.
    bool chance(std::size_t percent) { return below(100) < percent; }

    /// One of `choices`, of which there is at least one.
    template<typename Value>
    const Value& oneOf(const std::vector<Value>& choices) {
        return choices[below(choices.size())];
    }

private:
    std::mt19937_64 _engine;
};

} // namespace mox::test::model
