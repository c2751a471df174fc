#pragma once
// Copy and Paste of items, the host's Edit commands for the production's tree. Copy puts the
// selected items on the clipboard as the desktop's file managers take them (a list of file
// addresses, with the desktop's copy marker). Paste hands what the clipboard holds to the
// tree as a drop on the selected folder (beside a selected project; the production's top
// with nothing selected): the same rules as a drop of the same files, so files copied in a
// file manager come in as copies, and nothing is ever written over.
#include "host/CoreTypes.h"

#include <vector>

class QMimeData;

namespace host {

bool CanCopySelectedItems();
void CopySelectedItems();
// Cut marks the selected items to be moved by the next Paste in the production (with a drop's
// rules; refused at once when one may not move), and offers them to file managers with the
// desktop's cut marker.
void CutSelectedItems();
bool CanPasteItems();
void PasteItems();

// What Copy (or Cut) puts on the clipboard for the paths (tests read it back).
QMimeData* ClipboardDataForPaths(const std::vector<WideString>& paths, bool cut = false);

} // namespace host
