#include "SDK/MOXVersionNumber.hpp"

#include <cstdint>
#include <limits>

#include "Fuzz/FuzzInput.hpp"

namespace {

using mox::MOXUInteger;
using mox::MOXVersionNumber;
using mox::fuzz::require;
using Parts = std::array<MOXUInteger, 4>;

constexpr auto largestSigned = static_cast<MOXUInteger>(std::numeric_limits<mox::MOXInteger>::max());

Parts partsOf(const MOXVersionNumber& version) {
    return {version.majorVersion(), version.minorVersion(), version.fixVersion(), version.buildVersion()};
}

/// What a component is worth, read digit by digit.
MOXUInteger worthOf(std::string_view component) {
    std::size_t index = 0;
    while (index < component.size() &&
           std::string_view(" \t\n\v\f\r").find(component[index]) != std::string_view::npos)
        ++index;
    const bool isNegative = index < component.size() && component[index] == '-';
    if (isNegative || (index < component.size() && component[index] == '+')) ++index;
    MOXUInteger worth = 0;
    for (; index < component.size() && component[index] >= '0' && component[index] <= '9'; ++index) {
        const auto digit = static_cast<MOXUInteger>(component[index] - '0');
        worth = worth > (largestSigned - digit) / 10 ? largestSigned : worth * 10 + digit;
    }
    return isNegative ? 0 : worth;
}

Parts expectedParts(std::string_view text) {
    Parts parts = {};
    for (MOXUInteger& part : parts) {
        const std::string_view component = text.substr(0, text.find('.'));
        part = worthOf(component);
        text.remove_prefix(std::min(component.size() + 1, text.size()));
    }
    return parts;
}

int sign(std::strong_ordering order) {
    return order < 0 ? -1 : order > 0 ? 1 : 0;
}

void requireOrder(const MOXVersionNumber& left, const MOXVersionNumber& right) {
    const int expected = sign(partsOf(left) <=> partsOf(right));
    require(left.compare(right) == expected && right.compare(left) == -expected);
    require(left.isEqualToVersion(right) == (expected == 0));
    require((left.stringValue() == right.stringValue()) == (expected == 0));
}

/// A version whose parts are any words at all.
MOXVersionNumber versionOfBytes(std::string_view bytes) {
    Parts parts = {};
    for (std::size_t index = 0; index < bytes.size() && index < sizeof parts; ++index) {
        MOXUInteger& part = parts[index / sizeof(MOXUInteger)];
        part = (part << 8) | static_cast<unsigned char>(bytes[index]);
    }
    return {parts[0], parts[1], parts[2], parts[3]};
}

} // namespace

/// The input, taken apart at bytes FF, is three versions' texts; the first is the bytes of a fourth too.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto texts = mox::fuzz::fieldsOf<3>({reinterpret_cast<const char*>(data), size});
    std::array<MOXVersionNumber, 4> versions;
    for (std::size_t index = 0; index < texts.size(); ++index) {
        versions[index] = MOXVersionNumber(texts[index]);
        require(partsOf(versions[index]) == expectedParts(texts[index]));
        require(MOXVersionNumber(versions[index].stringValue()).isEqualToVersion(versions[index]));
    }
    versions.back() = versionOfBytes(texts.front());
    for (const MOXVersionNumber& left : versions) {
        require(left.compare(std::nullopt) == left.compare(MOXVersionNumber()));
        require(left.description() == left.stringValue());
        for (const MOXVersionNumber& right : versions)
            requireOrder(left, right);
    }
    return 0;
}
