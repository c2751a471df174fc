#pragma once
// What the host's scripts call to move items to the production trash, answered by the panel
// while it exists.
#include "host/CoreTypes.h"
#include "host/UIFramework.h"

#include <memory>
#include <vector>

namespace HandlerTandrel {

// The answer for a script: false when the panel is gone or the items may not move; otherwise
// true, after moving them to the trash (which the user may still stop by cancelling the
// closing of an open project).
bool TryToMoveToTrash(const std::weak_ptr<host::TabView>& panel,
                      const std::vector<host::WideString>& paths, bool saveWithoutAsking,
                      bool offerApplyToAll);

// The host's Cut and Paste: moves the items into the folder as a drop of their rows there
// would (an empty folder: only whether they may move). False when refused.
bool MoveItemsIntoFolder(const std::weak_ptr<host::TabView>& panel,
                         const std::vector<host::WideString>& paths,
                         const host::WideString& folder);

// Registers TryToMoveToTrash and MoveItemsIntoFolder for the panel, holding it weakly.
void RegisterTrashScriptingHook(const std::weak_ptr<host::TabView>& panel);
// Removes the panel's scripting functions (at teardown).
void ClearScriptingHooks();

} // namespace HandlerTandrel
