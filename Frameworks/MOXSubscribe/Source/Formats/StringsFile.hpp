#pragma once

#include "Foundation/Bytes.hpp"

#include <map>
#include <optional>
#include <string>

namespace mox {

/// The entries of a `.strings` file's bytes, by key; of a key that is there twice the last. UTF-8, UTF-16 and
/// UTF-32 are told apart by their byte order marks, UTF-8 also by being valid; property lists in XML and
/// binary form are accepted too. Nil when the bytes are no such text or a single entry is malformed.
std::optional<std::map<std::string, std::string, std::less<>>> stringsFromBytes(ByteView bytes);

} // namespace mox
