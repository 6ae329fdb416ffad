#include <cstddef>
#include <cstdint>

#include "Fuzz/PropertyListRoundTrip.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const mox::ByteView input(reinterpret_cast<const char*>(bytes), size);
    if (const auto value = mox::propertyListFromBinary(input)) mox::fuzz::requireRoundTrip(*value);
    return 0;
}
