#pragma once

#include <string>
#include <vector>

namespace mox::launcher {

/// Statuses with which the launcher itself ends; otherwise the status is that of the program that it became.
/// They are those of sysexits.h, which the desktop's opener does not use.
enum class Status : int {
    DocumentsRefused = 64, ///< Documents were given, and no client program is named or one has no name.
    NothingToLaunch = 65,  ///< No launch alias, no launch URL in it, or one that may not be opened.
    NoProgram = 69,        ///< The desktop's opener, or the client program, is not there.
    NotStarted = 71,       ///< The system would not start the program.
};

/// Why nothing was launched.
struct Refusal {
    Status status;
    std::string reason; ///< One sentence or more, for a person.
};

/// The name that the bundle's information list has for it, which a server chose; empty when there is none.
std::string bundleName();

/// Starts the resource of the bundle that the running program is in. Without `documents` it becomes the
/// desktop's opener (`xdg-open`) with one argument, the launch URL; with documents, the client program that
/// the bundle's information list names under "KVClientProgram", with the URL and the documents, each as an
/// absolute path. The list allows further schemes under "KVLaunchURLSchemes". Returns only when it refuses.
Refusal launch(const std::vector<std::string>& documents);

} // namespace mox::launcher
