#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mox::test {

// Desktop entries as GLib reads them, which is what most desktops do.

/// The values by their keys, escapes resolved. Nil unless GLib takes `text` for a key file with the one group
/// "Desktop Entry", and each of its values for text.
std::optional<std::map<std::string, std::string>> glibDesktopEntry(std::string_view text);

/// The items of the list under `key`; nil when GLib finds none.
std::optional<std::vector<std::string>> glibListInDesktopEntry(std::string_view text, const std::string& key);

/// The arguments of an "Exec" value, which GLib splits by the rules of a shell once the field codes are
/// replaced: "%F" by `file`, "%%" by "%". Nil when it refuses the line, or there is another field code.
std::optional<std::vector<std::string>> glibArguments(std::string_view line, const std::string& file);

} // namespace mox::test
