// The panel as the handler of its commands: their status by the rules, and carrying them out.
#include "panel/CommandRules.h"
#include "panel/MoveToTrashTest.h"
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
#include "host/UsageEvents.h"
#include "search/TandrelSearchResultsView.h"
#include "utils/MoveItems.h"
#include "utils/OpenProjects.h"
#include "utils/ProductionItems.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <set>

namespace HandlerTandrel {

namespace {

constexpr std::string_view kMovingToTrashKey =
    "$$$/Marvane/TR/MvProduction/MovingToTrash=Moving to the Trash";

// The commands the panel carries out so far; the others stay with the host's default, so
// that nothing is offered that would do nothing.
bool CarriesOut(host::CommandID id) {
    static const std::set<host::CommandID> carried = {kCmdOpenProject,
                                                      kCmdCloseProject,
                                                      kHostCmdCloseProjects,
                                                      kCmdRefreshProject,
                                                      kCmdMoveToTrash,
                                                      kHostCmdSelectAll,
                                                      kHostCmdDeselectAll,
                                                      kCmdMoveHome,
                                                      kCmdMoveEnd,
                                                      kCmdMovePageDown,
                                                      kCmdMovePageUp,
                                                      kCmdCloseAllProjects,
                                                      kCmdZoomIn,
                                                      kCmdZoomOut,
                                                      kCmdNewFolder,
                                                      kCmdNewProject,
                                                      kCmdToggleLock,
                                                      kCmdRefreshAllProjects,
                                                      kCmdSaveAllProjects,
                                                      kCmdMakeACopy,
                                                      kCmdAddProject,
                                                      kCmdRevealRootInSystem,
                                                      kCmdRevealItemInSystem,
                                                      kCmdRenameItem};
    return carried.count(id) != 0;
}

// Commands whose rule never looks at the selection. The main menu asks for its commands'
// status several times a second: reading a big selection for them would be work for nothing.
bool IgnoresSelection(host::CommandID id) {
    static const std::set<host::CommandID> ignoring = {
        kCmdMoveHome,        kCmdMoveEnd,          kCmdMovePageDown,
        kCmdMovePageUp,      kCmdZoomIn,           kCmdZoomOut,
        kHostCmdSelectAll,   kHostCmdDeselectAll,  kCmdRefreshAllProjects,
        kCmdSaveAllProjects, kCmdCloseAllProjects, kCmdRevealRootInSystem};
    return ignoring.count(id) != 0;
}

// The zoom commands tell the host the zoom they arrived at, in its shortest exact form
// ("0.25", "1").
void ReportZoomUsage(double zoom) {
    std::array<char, 32> text{};
    const auto result = std::to_chars(text.data(), text.data() + text.size(), zoom);
    host::ReportUsageEvent(
        "Zoom", std::string_view(text.data(), static_cast<std::size_t>(result.ptr - text.data())));
}

} // namespace

bool TandrelTabView::FindCommandStatus(const host::Command& command, host::CommandStatus& status) {
    if (!CarriesOut(command.id)) {
        return host::TabView::FindCommandStatus(command, status);
    }
    CommandFacts facts;
    facts.created = IsCreated() && mTreeView != nullptr;
    facts.production = Utils::OpenProductionFolder();
    static const std::vector<host::WideString> kNone;
    const std::vector<host::WideString>& selected =
        IgnoresSelection(command.id) || !RuleReadsSelection(command.id) ? kNone
                                                                        : SelectedPathsForStatus();
    if (command.id == kCmdMoveToTrash && facts.created && mMoveTest) {
        // Not known yet: the command may be chosen, and carrying it out tests.
        facts.movable = mMoveTest->Answer(SharedSelectedPathsForStatus()).value_or(true);
    }
    if (DecideCommandStatus(command.id, facts, selected, status)) {
        return true;
    }
    return host::TabView::FindCommandStatus(command, status);
}

bool TandrelTabView::ObeyCommand(const host::Command& command) {
    if (CarriesOut(command.id) && CarryOut(command.id)) {
        return true;
    }
    return host::TabView::ObeyCommand(command);
}

bool TandrelTabView::CarryOut(host::CommandID id) {
    const bool created = IsCreated() && mTreeView != nullptr;
    const std::vector<host::WideString> selected = GetSelectedPaths();
    switch (id) {
    case kCmdOpenProject:
        for (const host::WideString& path : selected) {
            if (host::HasDocumentManager() && !Utils::IsFolderItem(path)) {
                host::OpenProjectInHost(host::ToUTF8(path), host::kOpenModePlain);
            }
        }
        return true;
    case kCmdCloseProject:
        Utils::CloseProjectsIn(selected, false, true);
        return true;
    case kHostCmdCloseProjects:
        Utils::CloseProjectsIn(selected, false, false);
        return true;
    case kCmdRefreshProject:
        for (const host::WideString& path : selected) {
            const host::ProjectPtr project =
                Utils::IsFolderItem(path) ? nullptr : host::FindOpenProject(host::ToUTF8(path));
            if (project) {
                host::ReloadOpenProject(project, true);
            }
        }
        return true;
    case kCmdRenameItem:
        StartRenamingSelectedRow();
        return true;
    case kCmdMoveToTrash:
        if (!created) {
            return false;
        }
        {
            // Each item is tested, planned and moved, and the window keeps turning meanwhile:
            // a selection of thousands takes a while.
            host::ItemByItemWork work(host::Localize(kMovingToTrashKey), selected.size() * 3);
            if (Utils::CanMoveItems(selected, &work)) {
                Utils::MoveToTrash(selected, false, true, &work);
            }
        }
        return true;
    case kHostCmdSelectAll:
    case kHostCmdDeselectAll:
        if (!created) {
            return false;
        }
        SelectAllOfShownView(id == kHostCmdSelectAll);
        return true;
    case kCmdMoveHome:
    case kCmdMoveEnd:
    case kCmdMovePageDown:
    case kCmdMovePageUp:
        MoveSelection(id);
        return true;
    case kCmdCloseAllProjects:
        if (host::HasDocumentManager()) {
            host::CloseAllOpenProjects();
        }
        return true;
    case kCmdNewFolder:
        if (!created) {
            return false;
        }
        OnNewFolderCommand();
        return true;
    case kCmdNewProject:
        OnNewProjectCommand();
        return true;
    case kCmdToggleLock:
        OnToggleReadOnlyCommand();
        return true;
    case kCmdMakeACopy:
        OnMakeACopyCommand();
        return true;
    case kCmdAddProject:
        OnAddProjectCommand();
        return true;
    case kCmdRevealRootInSystem:
        // Converted once, as the host's own paths are; a folder gone meanwhile shows nothing.
        if (const host::WideString production = Utils::OpenProductionFolder();
            !production.empty() && host::DirectoryExists(production)) {
            host::RevealFolder(production);
        }
        return true;
    case kCmdRevealItemInSystem:
        host::RevealAndSelectFiles(selected);
        return true;
    case kCmdRefreshAllProjects:
        OnRefreshOutOfDateProjectsCommand();
        return true;
    case kCmdSaveAllProjects:
        OnSaveAllCommand();
        return true;
    case kCmdZoomIn:
        ZoomIn();
        ReportZoomUsage(mZoom);
        return true;
    case kCmdZoomOut:
        ZoomOut();
        ReportZoomUsage(mZoom);
        return true;
    default:
        return false;
    }
}

void TandrelTabView::AnswerDropOnTrashButton(host::DropRequest& request) {
    request.accepted = false;
    request.action = host::kDropActionNone;
    request.cursor = host::DragCursor::FistNo;
    const host::WideString trashPath = host::GetMvProductionTrashDirectoryPath();
    if (!mDirectoryView || trashPath.empty()) {
        return;
    }
    const auto rows = mDirectoryView->DraggedRowsOf(request.data);
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
    if (inTrash || !mDirectoryView->CanDropRows(*rows, trash, request.isDrop) ||
        (request.isDrop && !Utils::CanMoveItems(paths))) {
        return;
    }
    request.accepted = true;
    request.action = host::kDropActionMove;
    request.cursor = host::DragCursor::Fist;
    if (request.isDrop) {
        Utils::MoveToTrash(paths, false, true);
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
        tree.SelectRow(tree.GetTopLevelRow(index), false, false, index + 1 == count);
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
