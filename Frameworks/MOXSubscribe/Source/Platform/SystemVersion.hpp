#pragma once

#include <cstdint>
#include <optional>

namespace mox {

/// The parts of the version of the operating system line that some behaviour depends on.
enum class SystemVersionPart { Major, Minor, BugFix };

/// Tells the operating system's version. Any thread may ask.
class SystemVersion {
public:
    virtual ~SystemVersion() = default;

    /// One part of the version; nil when the system is of another line and has no such version.
    virtual std::optional<std::int32_t> part(SystemVersionPart part) = 0;
};

} // namespace mox
