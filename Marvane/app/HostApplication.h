#pragma once
// Start-up and shutdown of the host: profile, preferences, modules, main window, production.
#include "Marvane/app/CommandLine.h"

#include <iosfwd>

namespace host {

// Runs the host with parsed options inside an existing QApplication; returns the exit code.
int RunHost(const CommandLineOptions& options, std::ostream& out, std::ostream& err);

// Prints every command context with its commands, in declaration order, and the window
// menus registered under each context.
void PrintCommandContexts(std::ostream& out);

} // namespace host
