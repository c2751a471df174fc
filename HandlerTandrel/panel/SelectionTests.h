#pragma once
// What the selection allows: the test that enables the panel's New Project and New Folder,
// both as buttons and as commands. (Move to Trash follows Utils::CanMoveItems.)
#include "host/CoreTypes.h"
#include "panel/SelectedItems.h"

#include <vector>

namespace HandlerTandrel {

// Something can be made where the selection says: nothing selected in an open production (the
// production's top), or one selected item outside the trash.
bool CanCreateForSelection(const SelectedItems& selected, bool productionOpen);

} // namespace HandlerTandrel
