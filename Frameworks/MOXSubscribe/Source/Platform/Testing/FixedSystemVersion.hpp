#pragma once

#include "Platform/SystemVersion.hpp"

#include <map>

namespace mox::test {

/// A system version as a test says; a part that is not set cannot be told.
class FixedSystemVersion : public SystemVersion {
public:
    std::map<SystemVersionPart, std::int32_t> parts;

    std::optional<std::int32_t> part(SystemVersionPart part) override {
        const auto found = parts.find(part);
        return found == parts.end() ? std::nullopt : std::optional(found->second);
    }
};

} // namespace mox::test
