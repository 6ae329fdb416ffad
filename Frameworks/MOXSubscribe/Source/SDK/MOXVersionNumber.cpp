#include "SDK/MOXVersionNumber.hpp"

#include "Foundation/LenientNumbers.hpp"
#include "Foundation/TextFormatting.hpp"

#include <compare>
#include <tuple>

namespace mox {
namespace {

std::vector<std::string> componentsSeparatedByPoints(std::string_view text) {
    std::vector<std::string> components;
    std::size_t point = 0;
    while ((point = text.find('.')) != std::string_view::npos) {
        components.emplace_back(text.substr(0, point));
        text.remove_prefix(point + 1);
    }
    components.emplace_back(text);
    return components;
}

auto parts(const MOXVersionNumber& version) {
    return std::tuple(version.majorVersion(), version.minorVersion(), version.fixVersion(),
                      version.buildVersion());
}

} // namespace

MOXVersionNumber::MOXVersionNumber(MOXUInteger majorVersion, MOXUInteger minorVersion, MOXUInteger fixVersion,
                                   MOXUInteger buildVersion)
    : _majorVersion(majorVersion)
    , _minorVersion(minorVersion)
    , _fixVersion(fixVersion)
    , _buildVersion(buildVersion) {}

MOXVersionNumber::MOXVersionNumber(std::optional<std::string_view> string) {
    if (!string) return;
    const std::vector<std::string> components = componentsSeparatedByPoints(*string);
    _majorVersion = versionFromComponents(components, 0);
    _minorVersion = versionFromComponents(components, 1);
    _fixVersion = versionFromComponents(components, 2);
    _buildVersion = versionFromComponents(components, 3);
}

MOXVersionNumber MOXVersionNumber::versionNumber() {
    return {};
}

MOXVersionNumber MOXVersionNumber::versionNumberWithString(std::optional<std::string_view> string) {
    return MOXVersionNumber(string);
}

MOXVersionNumber MOXVersionNumber::versionNumberWithMajorVersion(MOXUInteger majorVersion,
                                                                 MOXUInteger minorVersion,
                                                                 MOXUInteger fixVersion,
                                                                 MOXUInteger buildVersion) {
    return {majorVersion, minorVersion, fixVersion, buildVersion};
}

MOXUInteger MOXVersionNumber::versionFromComponents(const std::vector<std::string>& components,
                                                    MOXUInteger index) {
    if (index >= components.size()) return 0;
    const MOXInteger value = integerValue(components[index]);
    return value < 1 ? 0 : static_cast<MOXUInteger>(value);
}

std::string MOXVersionNumber::stringValue() const {
    return formatted("%lu.%lu.%lu.%lu", {_majorVersion, _minorVersion, _fixVersion, _buildVersion});
}

std::string MOXVersionNumber::description() const {
    return stringValue();
}

MOXInteger MOXVersionNumber::compare(const std::optional<MOXVersionNumber>& other) const {
    const auto order = parts(*this) <=> parts(other.value_or(MOXVersionNumber()));
    if (std::is_lt(order)) return -1;
    return std::is_gt(order) ? 1 : 0;
}

bool MOXVersionNumber::isEqualToVersion(const std::optional<MOXVersionNumber>& other) const {
    return compare(other) == 0;
}

} // namespace mox
