#include "Marvane/application/ScriptingHooks.h"

namespace host {

namespace {

TryToMoveToTrashFn& TryToMove() {
    static TryToMoveToTrashFn function;
    return function;
}

MoveItemsIntoFolderFn& MoveIntoFolder() {
    static MoveItemsIntoFolderFn function;
    return function;
}

MoveItemToPathFn& MoveToPath() {
    static MoveItemToPathFn function;
    return function;
}

NotifyPauseFn& NotifyPause() {
    static NotifyPauseFn function;
    return function;
}

} // namespace

void SetTryToMoveToTandrelTrashFn(TryToMoveToTrashFn function) {
    TryToMove() = std::move(function);
}

void SetMoveItemsIntoFolderFn(MoveItemsIntoFolderFn function) {
    MoveIntoFolder() = std::move(function);
}

MoveItemsIntoFolderFn GetMoveItemsIntoFolderFn() {
    return MoveIntoFolder();
}

void SetMoveItemToPathFn(MoveItemToPathFn function) {
    MoveToPath() = std::move(function);
}

MoveItemToPathFn GetMoveItemToPathFn() {
    return MoveToPath();
}

void SetTandrelNotifyPauseFn(NotifyPauseFn function) {
    NotifyPause() = std::move(function);
}

TryToMoveToTrashFn GetTryToMoveToTandrelTrashFn() {
    return TryToMove();
}

NotifyPauseFn GetTandrelNotifyPauseFn() {
    return NotifyPause();
}

} // namespace host
