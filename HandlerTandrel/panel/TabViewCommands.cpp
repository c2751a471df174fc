// The panel as the handler of its commands: their status by the rules, and carrying them out.
#include "panel/CommandRules.h"
#include "panel/MoveToTrashTest.h"
#include "panel/PanelCommands.h"
#include "panel/TandrelTabView.h"
#include "panel/TandrelTreeView.h"

#include "base/ProductionCommands.h"
#include "directoryview/TandrelDirectoryView.h"
#include "host/ApplicationLayer.h"
#include "host/FileServices.h"
#include "host/Localizer.h"
#include "host/OpenProjects.h"
#include "host/ProjectBackEnd.h"
#include "host/UIFramework.h"
#include "search/TandrelSearchResultsView.h"
#include "utils/MoveItems.h"
#include "utils/ProductionItems.h"

#include <algorithm>

namespace HandlerTandrel {

bool TandrelTabView::FindCommandStatus(const host::Command& command, host::CommandStatus& status) {
    const PanelCommand* record = FindPanelCommand(command.id);
    if (record == nullptr) {
        return host::TabView::FindCommandStatus(command, status);
    }
    CommandFacts facts;
    facts.created = IsCreated() && mTreeView != nullptr;
    facts.production = Utils::OpenProductionFolder();
    static const SelectedItems kNone;
    const SelectedItems& selected = RuleReadsSelection(*record) ? SelectionForStatus() : kNone;
    if (command.id == kCmdMoveToTrash && facts.created && mMoveTest) {
        // Not known yet: the command may be chosen, and carrying it out tests.
        const SelectedItems& moved = SelectionForStatus();
        facts.movable = mMoveTest->Answer(moved.Outermost(), moved.size()).value_or(true);
    }
    if (DecideCommandStatus(command.id, facts, selected, status)) {
        return true;
    }
    return host::TabView::FindCommandStatus(command, status);
}

bool TandrelTabView::ObeyCommand(const host::Command& command) {
    const PanelCommand* record = FindPanelCommand(command.id);
    const bool created = IsCreated() && mTreeView != nullptr;
    if (record == nullptr || (record->before == Before::kHostRules && !created)) {
        return host::TabView::ObeyCommand(command);
    }
    record->action(*this,
                   record->selection == SelectionUse::kNone ? SelectedPaths() : GetSelectedPaths());
    return true;
}

void TandrelTabView::AnswerDropOnTrashButton(host::DropRequest& request) {
    request.accepted = false;
    request.action = host::kDropActionNone;
    request.cursor = host::DragCursor::FistNo;
    const host::WideString trashPath = host::GetMvProductionTrashDirectoryPath();
    if (!mDirectoryView || trashPath.empty()) {
        return;
    }
    const auto rows = mDirectoryView->GetDrops().DraggedRowsOf(request.data);
    if (!rows || rows->empty()) {
        return;
    }
    DropTarget trash;
    trash.path = trashPath;
    trash.folder = trashPath;
    trash.folderRow = mDirectoryView->GetRowForPath(trashPath);
    trash.row = trash.folderRow;
    std::vector<host::WideString> paths;
    for (const host::TreeRowPtr& row : *rows) {
        paths.push_back(mDirectoryView->GetRowPath(row));
    }
    // The button takes what the Trash command would take: while the drag moves, by what its
    // first look at the locks found; on the drop, by a fresh look.
    const bool inTrash = std::any_of(paths.begin(), paths.end(), [](const host::WideString& path) {
        return host::IsInMvProductionTrash(path, true);
    });
    if (inTrash || !mDirectoryView->GetDrops().CanDropRows(*rows, trash, request.isDrop) ||
        (request.isDrop && !Utils::CanMoveItems(paths))) {
        return;
    }
    request.accepted = true;
    request.action = host::kDropActionMove;
    request.cursor = host::DragCursor::Fist;
    if (request.isDrop) {
        Utils::MoveToTrash(paths, Utils::UnsavedChanges::kAsk, Utils::ApplyToAll::kOffer);
    }
}

void TandrelTabView::StartRenamingSelectedRow() {
    // Names are edited in the tree; search results show where an item is, not its name alone.
    if (!mDirectoryView || IsShowingSearchResults()) {
        return;
    }
    const std::vector<host::TreeRowPtr> rows = mDirectoryView->GetTree().GetSelectedRows();
    if (rows.size() == 1) {
        mDirectoryView->InstallNameEditText(rows.front());
    }
}

void TandrelTabView::SelectAllOfShownView(bool select) {
    if (!IsShowingSearchResults()) {
        if (select) {
            mDirectoryView->SelectAll();
        } else {
            mDirectoryView->DeselectAll();
        }
        return;
    }
    host::UI_MultiColumnTree& tree = mSearchResultsView->GetTree();
    if (!select) {
        tree.DeselectAllRows();
        return;
    }
    const int count = tree.GetTopLevelRowCount();
    for (int index = 0; index < count; ++index) {
        // Told once, for the last row.
        tree.SelectRow(tree.GetTopLevelRow(index), host::RowSelection::kAddRow,
                       index + 1 == count ? host::SelectionNotice::kTell
                                          : host::SelectionNotice::kQuiet);
    }
}

void TandrelTabView::MoveSelection(host::CommandID id) {
    if (!mDirectoryView || IsShowingSearchResults()) {
        return; // the results are a plain list: the tree's own keys move in it
    }
    switch (id) {
    case kCmdMoveHome:
        mDirectoryView->MoveHome();
        break;
    case kCmdMoveEnd:
        mDirectoryView->MoveEnd();
        break;
    case kCmdMovePageDown:
        mDirectoryView->MovePageDown();
        break;
    default:
        mDirectoryView->MovePageUp();
        break;
    }
}

} // namespace HandlerTandrel
