#pragma once
// The functions modules register for the host's scripts (host/ApplicationLayer.h).
#include "host/ApplicationLayer.h"

namespace host {

// The registered function, or empty when none is.
TryToMoveToTrashFn GetTryToMoveToTandrelTrashFn();
MoveItemsIntoFolderFn GetMoveItemsIntoFolderFn();
MoveItemToPathFn GetMoveItemToPathFn();
NotifyPauseFn GetTandrelNotifyPauseFn();

} // namespace host
