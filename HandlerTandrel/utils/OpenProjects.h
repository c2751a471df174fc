#pragma once
// The open projects that a set of production items holds, and closing them.
#include "host/CoreTypes.h"
#include "host/OpenProjects.h"
#include "host/ProjectBackEnd.h"

#include <cstdint>
#include <vector>

namespace HandlerTandrel::Utils {

// Closing projects: whether their unsaved changes are saved without asking.
enum class UnsavedChanges : std::uint8_t { kAsk, kSaveWithoutAsking };
// Whether the question about one project's changes offers to answer it for all of them.
enum class ApplyToAll : std::uint8_t { kNotOffered, kOffer };

// The open projects among the items: a project that is open, and every open project found
// at any depth inside a folder. Each appears once, in the order found.
std::vector<host::ProjectPtr> CollectOpenProjects(const std::vector<host::WideString>& paths);
// Closes the projects through the host; false when the user cancelled.
bool CloseProjects(const std::vector<host::ProjectPtr>& projects, UnsavedChanges changes,
                   ApplyToAll applyToAll);
// Closes the open projects among the items; false when the user cancelled.
bool CloseProjectsIn(const std::vector<host::WideString>& paths, UnsavedChanges changes,
                     ApplyToAll applyToAll);
// Closes every open project that is not among the items; false when the user cancelled.
bool CloseProjectsNotIn(const std::vector<host::WideString>& paths, UnsavedChanges changes,
                        ApplyToAll applyToAll);

} // namespace HandlerTandrel::Utils
