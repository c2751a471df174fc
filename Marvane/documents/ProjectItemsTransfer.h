#pragma once
// Bins and sequences put from one open project into another (dragged from a project's window
// onto a project of the production). The target is changed in memory, as any edit: the user
// saves it. Nothing of what either project holds is ever replaced: a name the target has
// already gets the next free number ("Reel A 2").
#include "Marvane/documents/OpenProject.h"

#include <string>
#include <vector>

namespace host {

struct ItemsToTransfer {
    std::vector<std::string> bins;
    std::vector<std::string> sequences;
};

// Whether the target takes items from the source project (null when that one is not open):
// it is writable, and it is not the project they come from.
bool CanReceiveItems(const OpenProject& target, const OpenProject* source);
// Adds the items to the target; with move, they also leave the source when it is open and
// writable (a read-only source keeps them: the items are copied). False when the target did
// not take them.
bool TransferItems(OpenProject& target, OpenProject* source, const ItemsToTransfer& items,
                   bool move);
// The name under which an item joins a list that may hold it already.
std::string FreeItemName(const NameList& list, const std::string& name);

} // namespace host
