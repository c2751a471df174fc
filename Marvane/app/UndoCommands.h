#pragma once
// Edit > Undo and Redo of the panel's organising steps (see OrganisingHistory.h): the items
// move through the panel's own move, and a step the world no longer allows is refused in one
// message that gives every reason.
#include <string>

namespace host {

// Whether there is a step to undo or redo in the open production, with the panel there to
// move its items; nothing is read from disk.
bool CanUndoStep();
bool CanRedoStep();
// The menu's words, naming the step ("Undo Move of 3 Items").
std::string UndoStepLabel();
std::string RedoStepLabel();
void UndoStep();
void RedoStep();

} // namespace host
