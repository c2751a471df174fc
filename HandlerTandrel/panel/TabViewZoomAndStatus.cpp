// The panel's status line, buttons and zoom.
#include "panel/PanelZoom.h"
#include "panel/SelectionTests.h"
#include "panel/StatusText.h"
#include "panel/TandrelTabView.h"
#include "panel/TandrelTreeView.h"

#include "directoryview/TandrelDirectoryView.h"
#include "handler/TandrelHandler.h"
#include "search/TandrelSearchResultsView.h"
#include "utils/MoveItems.h"

namespace HandlerTandrel {

void TandrelTabView::UpdateStatusText() {
    if (!mTreeView || !mStatusText) {
        return;
    }
    const int total = IsShowingSearchResults() ? mSearchResultsView->GetRowCount()
                                               : mDirectoryView->GetItemCount();
    const auto selected = static_cast<int>(GetSelectedPaths().size());
    mStatusText->SetValue(StatusTextFor(total, selected));
}

void TandrelTabView::UpdateButtons() {
    if (!mTreeView || !mNewProjectButton) {
        return;
    }
    const std::vector<host::WideString> selected = GetSelectedPaths();
    const bool canCreate = CanCreateForSelection(selected, !GetTandrelManagerFolderPath().empty());
    mNewProjectButton->SetEnabled(canCreate);
    mNewFolderButton->SetEnabled(canCreate);
    mTrashButton->SetEnabled(Utils::CanMoveItems(selected));
}

void TandrelTabView::ZoomIn() {
    mZoom = ZoomedIn(mZoom, mZoomStep);
    if (mZoomSlider) {
        mZoomSlider->SetValue(mZoom);
    }
    ApplyZoom();
}

void TandrelTabView::ZoomOut() {
    mZoom = ZoomedOut(mZoom, mZoomStep);
    if (mZoomSlider) {
        mZoomSlider->SetValue(mZoom);
    }
    ApplyZoom();
}

void TandrelTabView::OnZoomSliderChanged() {
    if (mZoomSlider) {
        mZoom = mZoomSlider->GetValue();
        ApplyZoom();
    }
}

void TandrelTabView::ApplyZoom() {
    const float rowHeight = RowHeightAtZoom(mZoom, mMetrics.minRowHeight, mMetrics.maxRowHeight);
    if (mDirectoryView) {
        mDirectoryView->GetTree().SetRowHeight(rowHeight);
    }
    if (mSearchResultsView) {
        mSearchResultsView->GetTree().SetRowHeight(rowHeight);
    }
    if (!mTreeView) {
        return;
    }
    const float scale = ColumnScaleAtZoom(mZoom, mMetrics.minRowHeight, mMetrics.maxRowHeight);
    if (IsShowingSearchResults()) {
        mSearchResultsView->GetColumnWidths().ApplyScale(scale);
    } else {
        mDirectoryView->GetColumnWidths().ApplyScale(scale);
    }
}

} // namespace HandlerTandrel
