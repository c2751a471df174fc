#pragma once
// The selection and scroll position a panel saved, put back once the saved folders are open.
#include "host/MediaBrowser.h"
#include "state/TabViewStateData.h"

#include <vector>

namespace HandlerTandrel {

// Selects the rows at the paths: the first found alone, the others added. Paths without a
// row are skipped.
void SelectRowsAtPaths(host::MediaBrowserDirectoryView& view,
                       const std::vector<host::WideString>& paths);
// Selects the saved rows, then scrolls the saved top row to the top, or else the first saved
// selected row into view.
void RestoreSelectionAndScroll(host::MediaBrowserDirectoryView& view,
                               const DirectoryViewStateData& state);

} // namespace HandlerTandrel
