#pragma once

#include "Foundation/Bytes.hpp"

#include <optional>
#include <string>
#include <vector>

namespace mox {

/// What the desktop is told of an application bundle, by the rules of the Desktop Entry Specification 1.4.
struct DesktopEntry {
    /// The bundle's path: what the entry stands for and belongs to. Valid UTF-8 without control characters
    /// other than line feed, tabulator and carriage return.
    std::string bundle;

    /// The path of the program that is started, with the documents behind it. As the bundle's path, and
    /// without "=", which the format forbids.
    std::string program;

    /// What menus show. Where the format cannot carry a character (a control character other than the three
    /// above), or text is not UTF-8, U+FFFD stands in its place.
    std::string name;

    /// What menus show beside the name, under the same rule; empty for none.
    std::string comment;

    /// The icon's name in the theme; empty for none.
    std::string icon;

    /// The types of documents that it opens; names without ";" or white space.
    std::vector<std::string> documentTypes;
};

/// The text of a desktop entry's file; nil when the format cannot carry one of the paths.
std::optional<Bytes> desktopEntryText(const DesktopEntry& entry);

/// The path of the bundle that the desktop entry in `bytes` stands for; nil when it is an entry of somebody
/// else's, or no desktop entry.
std::optional<std::string> bundleOfDesktopEntry(ByteView bytes);

} // namespace mox
