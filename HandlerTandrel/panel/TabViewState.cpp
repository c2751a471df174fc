// What the panel saves of itself per production, and puts back when it is made again.
#include "panel/PanelZoom.h"
#include "panel/TandrelTabView.h"
#include "panel/TandrelTreeView.h"

#include "columns/Columns.h"
#include "directoryview/TandrelDirectoryView.h"
#include "search/TandrelSearchResultsView.h"
#include "utils/ProductionItems.h"

#include <algorithm>
#include <cmath>

namespace HandlerTandrel {

std::vector<host::WideString> TandrelTabView::GetSelectedPaths() const {
    if (!mTreeView) {
        return {};
    }
    return IsShowingSearchResults() ? mSearchResultsView->GetSelectedPaths()
                                    : mDirectoryView->GetSelectedPaths();
}

const SelectedItems& TandrelTabView::SelectionForStatus() {
    if (!mTreeView) {
        mStatusSelection.reset();
        static const SelectedItems none;
        return none;
    }
    const bool searchResults = IsShowingSearchResults();
    const std::uint64_t version = searchResults
                                      ? mSearchResultsView->GetTree().GetSelectionVersion()
                                      : mDirectoryView->GetTree().GetSelectionVersion();
    if (!mStatusSelection || mStatusSelection->searchResults != searchResults ||
        mStatusSelection->version != version) {
        // Search results are few enough to be listed; the tree's rows are read where they are.
        mStatusSelection = StatusSelection{
            searchResults, version,
            searchResults
                ? SelectedItems(mSearchResultsView->GetSelectedPaths())
                : SelectedItems::OfRows(
                      std::weak_ptr<const host::MediaBrowserDirectoryView>(mDirectoryView))};
    }
    return mStatusSelection->items;
}

float TandrelTabView::GetStackedDimensionHeight() const {
    return mDirectoryView ? mDirectoryView->GetExactOpenedHeight() : 0.0f;
}

float TandrelTabView::GetFirstStartWidth() const {
    float width = static_cast<float>(mFirstStartScrollBarRoom + mFirstStartFrameRoom);
    if (mDirectoryView) {
        const host::UI_MultiColumnTreeHeaderRow& header = mDirectoryView->GetHeaderRow();
        for (int position = 0; position < header.GetCountOfColumns(); ++position) {
            width += header.GetColumnWidth(header.GetColumnAt(position));
        }
    }
    return width;
}

TandrelTabView::StateData TandrelTabView::GetStateData() const {
    StateData state;
    if (!mTreeView) {
        return state;
    }
    state.mDirectoryViewData = mDirectoryView->GetStateData();
    if (IsShowingSearchResults()) {
        // The columns as the user sees them now, which the tree takes back when it returns.
        state.mDirectoryViewData.mHeaderRowData = Columns::GetHeaderRowData(
            &mSearchResultsView->GetHeaderRow(), mSearchResultsView->GetColumnWidths().Get());
    }
    state.mZoom = mZoom;
    state.mSearchText = mSearchBox->GetValue();
    state.mDockedInMainWindow = !IsFloating();
    const host::UI_Rect frame = GetFloatingFrame();
    state.mFloatingWindowGlobalRect = {
        static_cast<std::int32_t>(frame.left), static_cast<std::int32_t>(frame.top),
        static_cast<std::int32_t>(frame.width), static_cast<std::int32_t>(frame.height)};
    return state;
}

void TandrelTabView::ApplyStateData(const StateData& state) {
    if (!mTreeView) {
        return;
    }
    mZoom = std::isfinite(state.mZoom) ? std::clamp(state.mZoom, 0.0, 1.0) : 0.0;
    mZoomSlider->SetValue(mZoom);
    const float scale = ColumnScaleAtZoom(mZoom, mMetrics.minRowHeight, mMetrics.maxRowHeight);
    mDirectoryView->ApplyHeaderRowData(state.mDirectoryViewData.mHeaderRowData, scale);
    ApplyZoom();
    mDirectoryView->UpdateFromStateData(state.mDirectoryViewData, true);
    // The search box tells the panel of its new text, which shows the results.
    mSearchBox->SetValue(state.mSearchText, true);
    OnSearchTextChanged();
}

bool TandrelTabView::RestoreState() {
    if (!mSettings || !mTreeView) {
        return false;
    }
    const std::optional<StateData> state =
        mSettings->FindProductionState(Utils::OpenProductionFolder());
    if (state) {
        ApplyStateData(*state);
    }
    return state.has_value();
}

void TandrelTabView::ProductionShown() {
    if (!RestoreState()) {
        ClearSearch(); // results of another production mean nothing here
    }
    UpdateButtons();
    UpdateStatusText();
}

void TandrelTabView::DirectoryShowsProduction() {
    if (IsCreated()) {
        ProductionShown();
    }
}

void TandrelTabView::ClearSearch() {
    if (mSearchBox && !mSearchBox->GetValue().empty()) {
        mSearchBox->SetValue({}, true);
    }
    OnSearchTextChanged();
}

void TandrelTabView::SaveState() {
    SaveStateFor(Utils::OpenProductionFolder());
}

void TandrelTabView::SaveStateFor(const host::WideString& production) {
    if (!mTreeView || production.empty()) {
        return;
    }
    if (mSettings) {
        mSettings->StoreProductionState(production, GetStateData());
    }
}

} // namespace HandlerTandrel
