#pragma once

#include "Platform/SystemVersion.hpp"

namespace mox {

/// Linux is of another line than the systems that the version numbers belong to: it has none of the parts.
class LinuxSystemVersion : public SystemVersion {
public:
    std::optional<std::int32_t> part(SystemVersionPart) override { return std::nullopt; }
};

} // namespace mox
