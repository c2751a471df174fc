#include "directoryview/SavedSelection.h"

namespace HandlerTandrel {

void SelectRowsAtPaths(host::MediaBrowserDirectoryView& view,
                       const std::vector<host::WideString>& paths) {
    bool first = true;
    for (const host::WideString& path : paths) {
        if (const host::TreeRowPtr row = view.GetRowForPath(path)) {
            view.GetTree().SelectRow(
                row, first ? host::RowSelection::kOnlyRow : host::RowSelection::kAddRow,
                host::SelectionNotice::kTell);
            first = false;
        }
    }
}

void RestoreSelectionAndScroll(host::MediaBrowserDirectoryView& view,
                               const DirectoryViewStateData& state) {
    SelectRowsAtPaths(view, state.mSelectedRowPaths);
    if (const host::TreeRowPtr top = view.GetRowForPath(state.mTopVisibleRowPath)) {
        view.GetTree().ScrollRowIntoView(top, true, 0, true);
    } else if (!state.mSelectedRowPaths.empty()) {
        if (const host::TreeRowPtr first = view.GetRowForPath(state.mSelectedRowPaths.front())) {
            view.GetTree().ScrollRowIntoView(first, false, 0, true);
        }
    }
}

} // namespace HandlerTandrel
