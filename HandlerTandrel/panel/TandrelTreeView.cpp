#include "panel/TandrelTreeView.h"

#include "columns/ColumnWidthRecorder.h"
#include "directoryview/TandrelDirectoryView.h"
#include "search/TandrelSearchResultsView.h"

namespace HandlerTandrel {

namespace {

constexpr std::string_view kTreeViewNodeID = "Handlers.Tandrel.TandrelTreeView";

void CopyLayout(host::UI_MultiColumnTreeHeaderRow& fromHeader,
                Columns::ColumnWidthRecorder& fromWidths,
                host::UI_MultiColumnTreeHeaderRow& toHeader,
                Columns::ColumnWidthRecorder& toWidths) {
    Columns::CopyHeaderRowLayout(&fromHeader, &toHeader);
    toWidths.Set(fromWidths.Get());
    toWidths.SetScale(fromWidths.GetScale());
}

} // namespace

TandrelTreeView::TandrelTreeView(host::TabView& panel,
                                 std::shared_ptr<TandrelDirectoryView> directoryView,
                                 std::shared_ptr<TandrelSearchResultsView> searchResultsView)
    : mArea(host::SubView::Create(panel, host::ByteString(kTreeViewNodeID))),
      mDirectory(std::move(directoryView)), mSearch(std::move(searchResultsView)) {
    mArea->EmbedTree(mDirectory->GetTree());
    mArea->EmbedTree(mSearch->GetTree());
    mSearch->GetTree().SetVisible(false);
}

TandrelTreeView::~TandrelTreeView() = default;

void TandrelTreeView::SetMode(Mode mode) {
    if (mode == mMode) {
        return;
    }
    mMode = mode;
    if (mode == kSearchResultsMode) {
        CopyLayout(mDirectory->GetHeaderRow(), mDirectory->GetColumnWidths(),
                   mSearch->GetHeaderRow(), mSearch->GetColumnWidths());
        mSearch->GetTree().Resort();
        mDirectory->GetTree().SetVisible(false);
        mSearch->GetTree().SetVisible(true);
    } else {
        CopyLayout(mSearch->GetHeaderRow(), mSearch->GetColumnWidths(), mDirectory->GetHeaderRow(),
                   mDirectory->GetColumnWidths());
        mDirectory->GetTree().Resort();
        mSearch->GetTree().SetVisible(false);
        mDirectory->GetTree().SetVisible(true);
        mDirectory->RefreshOpenedRows();
    }
}

} // namespace HandlerTandrel
