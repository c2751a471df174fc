#pragma once
// The main window's title: the host's name and the open production's. Two editors may each run
// a copy on one machine, each with a profile of their own or a --user name: the title then also
// names whose window it is.
#include "Marvane/application/HostSession.h"

#include <string>

namespace host {

// "Marvane — Pilot", or "Marvane" without a production; with " (Ana Ruiz)" after it when the
// session's profile is not the default one or its user was given for this run.
std::string MainWindowTitle(const std::string& productionName, const HostSession& session);

} // namespace host
