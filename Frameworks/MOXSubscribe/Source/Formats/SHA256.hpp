#pragma once

#include "Foundation/Bytes.hpp"

#include <string>

namespace mox {

/// The SHA-256 digest (FIPS 180-4) of `bytes`, as 64 lower-case hexadecimal digits.
std::string sha256Digits(ByteView bytes);

} // namespace mox
