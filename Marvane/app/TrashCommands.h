#pragma once
// Restore from Trash, the host's command for the items selected in the production's trash:
// each goes back to the folder it came from (see TrashRecords.h).
namespace host {

// Whether the shown directory view's selection is all items lying directly in the open
// production's trash.
bool CanRestoreSelection();
// Puts each selected item back; what could not go back is told in one message, with why.
void RestoreSelection();

} // namespace host
