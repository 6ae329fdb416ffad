#pragma once

#ifndef __linux__
#error "This is the Linux backend."
#endif

#include <cstddef>
#include <ctime>
#include <string>
#include <string_view>

namespace mox {

// The text side of a Trash folder: what items and their information files are called, and what is in those.
// None fails; any thread may call.

/// What the file of information about an item has behind the item's name.
constexpr std::string_view trashInformationExtension = ".trashinfo";

/// The content of the information file: where the item was (absolute, or relative to the folder that the
/// Trash is in) and when it was moved, by the clock on the wall. Of the path, all bytes are told, whatever
/// they are.
std::string trashInformation(std::string_view path, const std::tm& deletionDate);

/// The `number`-th name (from 1) to try for an item in the Trash: its own, then "Word.2.app" for "Word.app"
/// and so on, cut where the name of its information file would be too long.
std::string nameInTrash(const std::string& name, std::size_t number);

} // namespace mox
