#pragma once
// What the selection allows: the tests that enable the panel's New Project, New Folder and
// Move to Trash, both as buttons and as commands.
#include "host/CoreTypes.h"

#include <vector>

namespace HandlerTandrel {

// Something can be made where the selection says: nothing selected in an open production (the
// production's top), or one selected item outside the trash.
bool CanCreateForSelection(const std::vector<host::WideString>& selected, bool productionOpen);
// Every path, in order, lies outside the trash, is not locked by another user, and is no
// folder that holds a locked project; the first that fails decides. False for no paths.
bool CanMoveToTrash(const std::vector<host::WideString>& paths);

} // namespace HandlerTandrel
