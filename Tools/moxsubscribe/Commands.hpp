#pragma once

#include <CLI/CLI.hpp>

#include <functional>

#include "Session.hpp"

namespace mox::tool {

/// Is handed what the chosen command does; it is run after the whole command line was understood.
using CommandChosen = std::function<void(std::function<void(Session&)> command)>;

// Each adds one command, with its options and help, to the program's command line.

void addSubscribeCommand(CLI::App& program, const CommandChosen& chosen);
void addImportCommand(CLI::App& program, const CommandChosen& chosen);
void addListCommand(CLI::App& program, const CommandChosen& chosen);
void addFoldersCommand(CLI::App& program, const CommandChosen& chosen);
void addShowCommand(CLI::App& program, const CommandChosen& chosen);
void addCheckCommand(CLI::App& program, const CommandChosen& chosen);
void addMoveCommand(CLI::App& program, const CommandChosen& chosen);
void addRemoveCommand(CLI::App& program, const CommandChosen& chosen);
void addRemoveAllCommand(CLI::App& program, const CommandChosen& chosen);
void addCreateFolderCommand(CLI::App& program, const CommandChosen& chosen);
void addRenameFolderCommand(CLI::App& program, const CommandChosen& chosen);
void addRemoveFolderCommand(CLI::App& program, const CommandChosen& chosen);

// Commands that only the bundle model has.

void addUpgradeCommand(CLI::App& program, const CommandChosen& chosen);
void addWatchCommand(CLI::App& program, const CommandChosen& chosen);
void addOpenCommand(CLI::App& program, const CommandChosen& chosen);

} // namespace mox::tool
