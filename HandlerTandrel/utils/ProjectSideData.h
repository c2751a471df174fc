#pragma once
// The data a project keeps apart from its file (object selections, its search index), made to
// follow the project when it moves.
#include "host/CoreTypes.h"
#include "host/OpenProjects.h"
#include "host/ProjectBackEnd.h"

namespace HandlerTandrel::Utils {

// Moves the project's object-selection data folder to where the project is going. True when
// there is nothing to move or it moved; false (after the move error for the new data folder)
// when it could not, or something is in its way.
bool MoveMaskingStorage(const host::WideString& oldProjectPath,
                        const host::WideString& newProjectPath);

// Lets the project's search index follow it to its new path, in the background.
void MoveIndexFiles(const host::ProjectPtr& project, const host::WideString& newProjectPath);

} // namespace HandlerTandrel::Utils
