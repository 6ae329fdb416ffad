#include "Formats/PropertyListSamples.hpp"

#include "Foundation/UnicodeText.hpp"

#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

namespace mox::test {
namespace {

std::size_t below(std::mt19937& random, std::size_t limit) {
    return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random);
}

std::string randomText(std::mt19937& random) {
    std::string text;
    const bool isRare = below(random, 4) == 0;
    for (std::size_t count = below(random, 24); count > 0; --count) {
        const std::size_t scalar =
            isRare ? below(random, below(random, 8) == 0 ? 0x20 : 0x110000) : 0x20 + below(random, 0x60);
        appendUTF8(text, static_cast<char32_t>(scalar));
    }
    return text;
}

Bytes randomBytes(std::mt19937& random) {
    Bytes bytes;
    for (std::size_t count = below(random, 100); count > 0; --count) {
        bytes.push_back(static_cast<char>(below(random, 256)));
    }
    return bytes;
}

PropertyList randomScalar(std::mt19937& random) {
    std::uniform_int_distribution<std::uint64_t> bits;
    switch (below(random, 6)) {
    case 0:
        return PropertyList::boolean(below(random, 2) == 0);
    case 1:
        return PropertyList::unsignedInteger(bits(random) >> below(random, 64));
    case 2:
        return PropertyList::integer(static_cast<std::int64_t>(bits(random)));
    case 3:
        return PropertyList::real(std::ldexp(std::uniform_real_distribution<>(-1, 1)(random),
                                             static_cast<int>(below(random, 600)) - 300));
    case 4:
        return PropertyList::Date{static_cast<double>(below(random, 4'000'000'000)) - 2e9};
    default:
        return PropertyList::Data(randomBytes(random));
    }
}

PropertyList randomTree(std::mt19937& random, std::size_t levels) {
    const std::size_t choice = below(random, 6);
    if (levels == 0 || choice == 0) return randomScalar(random);
    if (choice == 1) return randomText(random);
    std::size_t count = below(random, 6);
    if (choice < 4) {
        PropertyList::Array values;
        while (count-- > 0)
            values.push_back(randomTree(random, levels - 1));
        return values;
    }
    PropertyList::Dictionary entries;
    while (count-- > 0)
        entries.set(randomText(random), randomTree(random, levels - 1));
    return entries;
}

} // namespace

PropertyList nestedArrays(std::size_t depth) {
    PropertyList value = PropertyList::Array();
    for (std::size_t level = 1; level < depth; ++level) {
        PropertyList::Array outer;
        outer.push_back(std::move(value));
        value = PropertyList(std::move(outer));
    }
    return value;
}

PropertyList nestedDictionaries(std::size_t depth) {
    PropertyList value = PropertyList::Dictionary();
    for (std::size_t level = 1; level < depth; ++level) {
        PropertyList::Dictionary outer;
        outer.set("Folders", std::move(value));
        value = PropertyList(std::move(outer));
    }
    return value;
}

PropertyList everyKind() {
    using Limits = std::numeric_limits<std::int64_t>;
    PropertyList::Dictionary all;
    all.set("true", PropertyList::boolean(true));
    all.set("false", PropertyList::boolean(false));
    PropertyList::Array integers;
    for (const std::int64_t value :
         {std::int64_t{0}, std::int64_t{1}, std::int64_t{-1}, std::int64_t{127}, std::int64_t{128},
          std::int64_t{255}, std::int64_t{256}, std::int64_t{-128}, std::int64_t{65'535},
          std::int64_t{65'536}, std::int64_t{4'294'967'295}, std::int64_t{4'294'967'296}, Limits::max(),
          Limits::min()}) {
        integers.push_back(PropertyList::integer(value));
    }
    integers.push_back(PropertyList::unsignedInteger(std::uint64_t{1} << 63));
    integers.push_back(PropertyList::unsignedInteger(std::numeric_limits<std::uint64_t>::max()));
    all.set("integers", std::move(integers));
    all.set("reals", PropertyList::Array{PropertyList::real(1.5), PropertyList::real(-0.25)});
    all.set("dates",
            PropertyList::Array{PropertyList::Date{0}, PropertyList::Date{-1}, PropertyList::Date{7e8}});
    PropertyList::Array data;
    for (const std::size_t size : {0u, 1u, 2u, 3u, 14u, 15u, 16u, 255u, 256u, 70'000u}) {
        data.push_back(PropertyList::Data(Bytes(size, '\xA5')));
    }
    all.set("data", std::move(data));
    PropertyList::Array texts;
    for (const std::size_t size : {0u, 1u, 14u, 15u, 64u, 65u, 255u, 256u, 70'000u}) {
        texts.push_back(std::string(size, 'x'));
        texts.push_back("é" + std::string(size, 'x'));
    }
    texts.push_back("a<b>&c\r\n\t\"'");
    texts.push_back("\U0001F600 \U0010FFFF \uE000 \uFFFD");
    all.set("texts", std::move(texts));
    all.set("empty", PropertyList::Array{PropertyList::Array(), PropertyList::Dictionary()});
    all.set("Schlüssel", "Wert");
    all.set("\U0001F600", "supplementary");
    all.set("\uE000", "private");
    all.set("", "the empty key");
    return all;
}

PropertyList randomTree(std::mt19937& random) {
    return randomTree(random, 5);
}

} // namespace mox::test
