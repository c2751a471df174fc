// The panel's status line, buttons and zoom.
#include "panel/CommandRules.h"
#include "panel/MoveToTrashTest.h"
#include "panel/PanelZoom.h"
#include "panel/StatusText.h"
#include "panel/TandrelTabView.h"
#include "panel/TandrelTreeView.h"

#include "base/ProductionCommands.h"
#include "directoryview/TandrelDirectoryView.h"
#include "search/TandrelSearchResultsView.h"
#include "utils/ProductionItems.h"

namespace HandlerTandrel {

void TandrelTabView::UpdateStatusText() {
    if (!mTreeView || !mStatusText) {
        return;
    }
    // A search still running says so, with how many it found so far: "0 items" would read
    // as nothing found.
    if (IsShowingSearchResults() && mSearchResultsView->IsSearching()) {
        mStatusText->SetValue(SearchingStatusTextFor(mSearchResultsView->GetFoundCount()));
        return;
    }
    const int total = IsShowingSearchResults() ? mSearchResultsView->GetRowCount()
                                               : mDirectoryView->GetItemCount();
    const auto selected = static_cast<int>(SelectionForStatus().size());
    mStatusText->SetValue(StatusTextFor(total, selected));
}

void TandrelTabView::UpdateButtons() {
    if (!mTreeView || !mNewProjectButton) {
        return;
    }
    // Each button is enabled exactly as its command is in the menus.
    CommandFacts facts;
    facts.created = IsCreated();
    facts.production = Utils::OpenProductionFolder();
    const SelectedItems& selected = SelectionForStatus();
    if (facts.created && mMoveTest) {
        // The button waits for the answer.
        facts.movable = mMoveTest->Answer(selected.Outermost(), selected.size()).value_or(false);
    }
    const auto enable = [&facts, &selected](host::PictureButton& button, host::CommandID id) {
        host::CommandStatus status;
        button.SetEnabled(DecideCommandStatus(id, facts, selected, status) && status.enabled);
    };
    enable(*mNewProjectButton, kCmdNewProject);
    enable(*mNewFolderButton, kCmdNewFolder);
    enable(*mTrashButton, kCmdMoveToTrash);
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

void TandrelTabView::ResetZoom() {
    mZoom = 0.0;
    if (mZoomSlider) {
        mZoomSlider->SetValue(mZoom);
    }
    ApplyZoom();
}

bool TandrelTabView::DoPanelKey(const host::KeyboardEvent& event) {
    if (event.actionKeyDown && event.keyCode == host::KeyCodeOfLetter('0') &&
        event.modifiers == host::kModifierControl) {
        ResetZoom();
        return true;
    }
    return false;
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
