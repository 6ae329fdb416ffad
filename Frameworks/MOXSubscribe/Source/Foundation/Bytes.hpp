#pragma once

#include <string>
#include <string_view>

namespace mox {

/// Bytes without an encoding: the content of a file, a serialised document, an image's file form.
/// They share the standard library's string types, so that text and bytes pass between layers without copies.
using Bytes = std::string;

/// A view of bytes that somebody else owns.
using ByteView = std::string_view;

} // namespace mox
