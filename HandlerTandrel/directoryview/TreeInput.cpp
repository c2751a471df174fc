// The tree's clicks and keys: each is turned into an intent (directoryview/TreeIntents), which
// is carried out here; the slow second click and the rename keys are the rename trigger's.
#include "directoryview/TandrelDirectoryView.h"

#include "base/TandrelIDs.h"
#include "columns/Columns.h"
#include "columns/NameCellView.h"
#include "directoryview/ContextMenus.h"
#include "directoryview/TreeIntents.h"
#include "host/ApplicationLayer.h"
#include "host/FileServices.h"
#include "host/OpenProjects.h"
#include "host/UIFramework.h"
#include "utils/MoveItems.h"
#include "utils/ProductionItems.h"

#include <algorithm>

namespace HandlerTandrel {

namespace {

RowKind KindOf(const host::WideString& path) {
    if (path.empty() || !host::FileOrDirExists(path)) {
        return RowKind::kGone;
    }
    if (Utils::IsFolderItem(path)) {
        return RowKind::kFolder;
    }
    return host::IsInMvProductionTrash(path, true) ? RowKind::kProjectInTrash : RowKind::kProject;
}

} // namespace

std::string_view TandrelDirectoryView::ContextClick(const host::TreeRowPtr& row) {
    std::vector<host::WideString> selected =
        row ? GetSelectedPaths() : std::vector<host::WideString>();
    const bool rowSelected =
        row && std::find(selected.begin(), selected.end(), GetRowPath(row)) != selected.end();
    std::string_view menu = kNoSelectionContextMenuID;
    switch (SelectionOfContextClick(row != nullptr, rowSelected)) {
    case MenuSelection::kClear:
        GetTree().DeselectAllRows();
        break;
    case MenuSelection::kOnlyThisRow:
        GetTree().SelectRow(row, host::RowSelection::kOnlyRow, host::SelectionNotice::kTell);
        selected = GetSelectedPaths();
        menu = ContextMenuForSelection(Utils::ClassifyItems(selected));
        break;
    case MenuSelection::kKeep:
        menu = ContextMenuForSelection(Utils::ClassifyItems(selected));
        break;
    }
    if (!menu.empty()) {
        host::TrackContextMenu(host::ByteString(menu));
    }
    return menu;
}

host::TreeRowPtr TandrelDirectoryView::RenamableSelectedRow() const {
    const std::vector<host::TreeRowPtr> selected = GetTree().GetSelectedRows();
    return selected.size() == 1 && GetTree().IsRowVisible(selected.front()) ? selected.front()
                                                                            : nullptr;
}

bool TandrelDirectoryView::UI_DoKeyboardEvent(const host::KeyboardEvent& event) {
    switch (IntentOfKey(event.keyCode, event.modifiers, mRename.IsRenameKey(event))) {
    case Intent::kSelectAll:
        SelectAll(); // never the trash's content
        return true;
    case Intent::kStartRename:
        mRename.Start(RenamableSelectedRow());
        return true;
    default:
        return mPanelKeys && mPanelKeys(event);
    }
}

bool TandrelDirectoryView::UI_DoTimerNotify(host::UI_TimerID id) {
    return mRename.TimerFired(id);
}

void TandrelDirectoryView::RowClickDown(const host::TreeRowPtr&) {
    mRename.ClickDown(GetTree().GetSelectedRows());
}

bool TandrelDirectoryView::IsOnName(const host::TreeRowPtr& row, host::UI_Point point) {
    const host::UI_Rect frame = GetTree().GetCellFrame(row, Columns::kNameColumn);
    float trailingWidth = 0;
    if (auto* cell = dynamic_cast<Columns::NameCellView*>(
            GetTree().GetCellView(row, Columns::kNameColumn))) {
        // Laid out for the frame as it is drawn now, so its unused part is current.
        cell->BoundsChanged({0, 0, frame.width, frame.height});
        trailingWidth = cell->GetTrailingWidth();
    }
    return RenameTrigger::IsOnName(frame, trailingWidth, point);
}

void TandrelDirectoryView::RowClickUp(const host::TreeRowPtr& row, host::UI_Point point,
                                      std::uint32_t value) {
    if (!row || value != 0) {
        return; // no row, or the end of a drag
    }
    mRename.ClickUp(row, IsOnName(row, point));
}

void TandrelDirectoryView::RowDoubleClicked(const host::TreeRowPtr& row, std::uint32_t modifiers) {
    mRename.DoubleClicked(); // a double-click never starts a rename
    const host::WideString path = GetRowPath(row);
    const Intent intent = IntentOfDoubleClick(KindOf(path), modifiers);
    if (intent == Intent::kToggleFolder) {
        GetTree().ToggleRow(row);
    } else if (const std::optional<int> mode = OpenModeOf(intent)) {
        host::OpenProjectInHost(host::ToUTF8(path), *mode);
    }
}

} // namespace HandlerTandrel
