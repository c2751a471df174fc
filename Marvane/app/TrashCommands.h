#pragma once
// The host's commands on the production's trash: Restore from Trash puts the items selected
// in it back where they came from (see TrashRecords.h); Empty Trash removes what it holds
// for good (see TrashEmptying.h).
namespace host {

// Whether the shown directory view's selection is all items lying directly in the open
// production's trash.
bool CanRestoreSelection();
// Puts each selected item back; what could not go back is told in one message, with why.
void RestoreSelection();

// Whether the open production's trash holds anything.
bool CanEmptyTrash();
// Asks, naming how many items go for good, then empties the trash, keeping every project
// someone holds and saying which stayed.
void EmptyTrashAfterAsking();

} // namespace host
