#pragma once
// The directory views alive now, for the host's own commands that act on what the person
// selected in one (Restore from Trash): the selection of the one that is shown.
#include "host/CoreTypes.h"

#include <vector>

namespace host {

class MediaBrowserDirectoryView;

void NoteDirectoryViewMade(MediaBrowserDirectoryView* view);
void NoteDirectoryViewGone(MediaBrowserDirectoryView* view);
// The directory view whose tree is shown on screen (the first such), or null.
MediaBrowserDirectoryView* ShownDirectoryView();
// The paths selected in it (none without one).
std::vector<WideString> SelectedPathsOfShownDirectoryView();

} // namespace host
