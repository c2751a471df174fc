#pragma once
// Bringing projects from outside into the production as copies: the check that they are not
// in the production already, the user's confirmation, and the host's progress panel.
#include "host/CoreTypes.h"

#include <vector>

namespace HandlerTandrel::Utils {

// Adds copies of the projects to the folder of the production, after asking. Only the first
// project is checked against the production: when it is in it already, the user is told
// and nothing happens.
void AddProjectsToProduction(const std::vector<host::WideString>& projectPaths,
                             const host::WideString& destinationFolder);

// "Add Projects to Production": true only when the user chose "Copy". Without a workspace
// nobody can be asked, so false.
bool ConfirmAddProjects();

// Asks the host to bring up its progress panel: at once on the main thread, queued for it
// from any other.
void NotifyProgressPanel();

} // namespace HandlerTandrel::Utils
