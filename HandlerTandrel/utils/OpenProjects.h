#pragma once
// The open projects that a set of production items holds, and closing them.
#include "host/CoreTypes.h"
#include "host/OpenProjects.h"
#include "host/ProjectBackEnd.h"

#include <vector>

namespace HandlerTandrel::Utils {

// The open projects among the items: a project that is open, and every open project found
// at any depth inside a folder. Each appears once, in the order found.
std::vector<host::ProjectPtr> CollectOpenProjects(const std::vector<host::WideString>& paths);
// Closes the open projects among the items; false when the user cancelled.
bool CloseProjectsIn(const std::vector<host::WideString>& paths, bool saveWithoutAsking,
                     bool offerApplyToAll);
// Closes every open project that is not among the items; false when the user cancelled.
bool CloseProjectsNotIn(const std::vector<host::WideString>& paths, bool saveWithoutAsking,
                        bool offerApplyToAll);

} // namespace HandlerTandrel::Utils
