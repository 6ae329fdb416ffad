#ifndef __linux__
#error "This is the Linux backend."
#endif

#include "Platform/Linux/OptionalFile.hpp"

#include <utility>

namespace mox {

Result<std::optional<Bytes>> contentsOfFileIfPresent(FileSystem& fileSystem, const std::string& path) {
    constexpr Error::Code noSuchFileOnReading = 260;
    Result<Bytes> bytes = fileSystem.contentsOfFile(path);
    if (bytes) return std::optional(*std::move(bytes));
    if (bytes.error().code() == noSuchFileOnReading) return std::optional<Bytes>();
    return bytes.error();
}

} // namespace mox
