#include "panel/PanelCommands.h"

#include "base/ProductionCommands.h"
#include "host/ApplicationLayer.h"
#include "host/FileServices.h"
#include "host/Localizer.h"
#include "host/OpenProjects.h"
#include "host/UsageEvents.h"
#include "panel/CommandRules.h"
#include "panel/TandrelTabView.h"
#include "utils/MoveItems.h"
#include "utils/OpenProjects.h"
#include "utils/ProductionItems.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace HandlerTandrel {

namespace {

constexpr std::string_view kMovingToTrashKey =
    "$$$/Marvane/TR/MvProduction/MovingToTrash=Moving to the Trash";

// The zoom commands tell the host the zoom they arrived at, in its shortest exact form
// ("0.25", "1").
void ReportZoomUsage(double zoom) {
    std::array<char, 32> text{};
    const auto result = std::to_chars(text.data(), text.data() + text.size(), zoom);
    host::ReportUsageEvent(
        "Zoom", std::string_view(text.data(), static_cast<std::size_t>(result.ptr - text.data())));
}

void OpenProjects(TandrelTabView&, const SelectedPaths& selected) {
    for (const host::WideString& path : selected) {
        if (host::HasDocumentManager() && !Utils::IsFolderItem(path)) {
            host::OpenProjectInHost(host::ToUTF8(path), host::kOpenModePlain);
        }
    }
}

void CloseProjects(TandrelTabView&, const SelectedPaths& selected) {
    Utils::CloseProjectsIn(selected, Utils::UnsavedChanges::kAsk, Utils::ApplyToAll::kOffer);
}

// The host's Close: one project at a time, as its own command asks.
void CloseProjectsOneByOne(TandrelTabView&, const SelectedPaths& selected) {
    Utils::CloseProjectsIn(selected, Utils::UnsavedChanges::kAsk, Utils::ApplyToAll::kNotOffered);
}

void RefreshProjects(TandrelTabView&, const SelectedPaths& selected) {
    for (const host::WideString& path : selected) {
        const host::ProjectPtr project =
            Utils::IsFolderItem(path) ? nullptr : host::FindOpenProject(host::ToUTF8(path));
        if (project) {
            host::ReloadOpenProject(project, true);
        }
    }
}

void Rename(TandrelTabView& panel, const SelectedPaths&) {
    panel.StartRenamingSelectedRow();
}

// Each item is tested, planned and moved, and the window keeps turning meanwhile: a selection
// of thousands takes a while.
void MoveToTrash(TandrelTabView&, const SelectedPaths& selected) {
    host::ItemByItemWork work(host::Localize(kMovingToTrashKey), selected.size() * 3);
    if (Utils::CanMoveItems(selected, &work)) {
        Utils::MoveToTrash(selected, Utils::UnsavedChanges::kAsk, Utils::ApplyToAll::kOffer, &work);
    }
}

void SelectAll(TandrelTabView& panel, const SelectedPaths&) {
    panel.SelectAllOfShownView(true);
}

void DeselectAll(TandrelTabView& panel, const SelectedPaths&) {
    panel.SelectAllOfShownView(false);
}

void MoveHome(TandrelTabView& panel, const SelectedPaths&) {
    panel.MoveSelection(kCmdMoveHome);
}

void MoveEnd(TandrelTabView& panel, const SelectedPaths&) {
    panel.MoveSelection(kCmdMoveEnd);
}

void MovePageDown(TandrelTabView& panel, const SelectedPaths&) {
    panel.MoveSelection(kCmdMovePageDown);
}

void MovePageUp(TandrelTabView& panel, const SelectedPaths&) {
    panel.MoveSelection(kCmdMovePageUp);
}

void CloseAllProjects(TandrelTabView&, const SelectedPaths&) {
    if (host::HasDocumentManager()) {
        host::CloseAllOpenProjects();
    }
}

void NewFolder(TandrelTabView& panel, const SelectedPaths&) {
    panel.OnNewFolderCommand();
}

void NewProject(TandrelTabView& panel, const SelectedPaths&) {
    panel.OnNewProjectCommand();
}

void AddProject(TandrelTabView& panel, const SelectedPaths&) {
    panel.OnAddProjectCommand();
}

void ToggleLock(TandrelTabView& panel, const SelectedPaths&) {
    panel.OnToggleReadOnlyCommand();
}

void MakeACopy(TandrelTabView& panel, const SelectedPaths&) {
    panel.OnMakeACopyCommand();
}

// Converted once, as the host's own paths are; a folder gone meanwhile shows nothing.
void RevealProduction(TandrelTabView&, const SelectedPaths&) {
    if (const host::WideString production = Utils::OpenProductionFolder();
        !production.empty() && host::DirectoryExists(production)) {
        host::RevealFolder(production);
    }
}

void RevealItems(TandrelTabView&, const SelectedPaths& selected) {
    host::RevealAndSelectFiles(selected);
}

void RefreshAllProjects(TandrelTabView& panel, const SelectedPaths&) {
    panel.OnRefreshOutOfDateProjectsCommand();
}

void SaveAllProjects(TandrelTabView& panel, const SelectedPaths&) {
    panel.OnSaveAllCommand();
}

void ZoomIn(TandrelTabView& panel, const SelectedPaths&) {
    panel.ZoomIn();
    ReportZoomUsage(panel.GetZoom());
}

void ZoomOut(TandrelTabView& panel, const SelectedPaths&) {
    panel.ZoomOut();
    ReportZoomUsage(panel.GetZoom());
}

using enum SelectionUse;
using enum Before;

constexpr std::array kCommands = std::to_array<PanelCommand>({
    // Making items.
    {kCmdNewFolder, kAlways, kHostRules, &Rules::MakesItems, &NewFolder},
    {kCmdNewProject, kAlways, kPanelRules, &Rules::MakesItems, &NewProject},
    {kCmdAddProject, kAlways, kPanelRules, &Rules::MakesItems, &AddProject},
    {kCmdMakeACopy, kAlways, kPanelRules, &Rules::NeedsASelection, &MakeACopy},
    // The selected items.
    {kCmdOpenProject, kAlways, kPanelRules, &Rules::OpensClosedProjects, &OpenProjects},
    {kCmdCloseProject, kWhileAProjectIsOpen, kPanelRules, &Rules::ClosesOpenProjects,
     &CloseProjects},
    {kHostCmdCloseProjects, kWhileTwoProjectsAreOpen, kPanelRules,
     &Rules::ClosesSomeOfTheOpenProjects, &CloseProjectsOneByOne},
    {kCmdRefreshProject, kWhileAProjectIsOpen, kPanelRules, &Rules::RefreshesOutOfDateProjects,
     &RefreshProjects},
    {kCmdToggleLock, kAlways, kPanelRules, &Rules::TogglesTheLock, &ToggleLock},
    {kCmdRenameItem, kAlways, kPanelRules, &Rules::RenamesOneFreeItem, &Rename},
    {kCmdMoveToTrash, kAlways, kHostRules, &Rules::MovesToTrash, &MoveToTrash},
    {kCmdRevealItemInSystem, kAlways, kPanelRules, &Rules::NeedsASelection, &RevealItems},
    // The production's open projects and its folder.
    {kCmdRefreshAllProjects, kNone, kPanelRules, &Rules::RefreshesTheProductionsOutOfDateProjects,
     &RefreshAllProjects},
    {kCmdSaveAllProjects, kNone, kPanelRules, &Rules::SavesTheProductionsProjects,
     &SaveAllProjects},
    {kCmdCloseAllProjects, kNone, kPanelRules, &Rules::ClosesTheProductionsProjects,
     &CloseAllProjects},
    {kCmdRevealRootInSystem, kNone, kPanelRules, &Rules::NeedsAProduction, &RevealProduction},
    // Selecting, moving through the rows and zooming.
    {kHostCmdSelectAll, kNone, kHostRules, &Rules::AlwaysOn, &SelectAll},
    {kHostCmdDeselectAll, kNone, kHostRules, &Rules::AlwaysOn, &DeselectAll},
    {kCmdMoveHome, kNone, kPanelRules, &Rules::AlwaysOn, &MoveHome},
    {kCmdMoveEnd, kNone, kPanelRules, &Rules::AlwaysOn, &MoveEnd},
    {kCmdMovePageDown, kNone, kPanelRules, &Rules::AlwaysOn, &MovePageDown},
    {kCmdMovePageUp, kNone, kPanelRules, &Rules::AlwaysOn, &MovePageUp},
    {kCmdZoomIn, kNone, kPanelRules, &Rules::AlwaysOn, &ZoomIn},
    {kCmdZoomOut, kNone, kPanelRules, &Rules::AlwaysOn, &ZoomOut},
});

} // namespace

std::span<const PanelCommand> PanelCommands() {
    return kCommands;
}

const PanelCommand* FindPanelCommand(host::CommandID id) {
    const auto found = std::find_if(kCommands.begin(), kCommands.end(),
                                    [id](const PanelCommand& command) { return command.id == id; });
    return found != kCommands.end() ? &*found : nullptr;
}

bool RuleReadsSelection(const PanelCommand& command) {
    switch (command.selection) {
    case kNone:
        return false;
    case kWhileAProjectIsOpen:
        return host::OpenProjectCount() > 0;
    case kWhileTwoProjectsAreOpen:
        return host::OpenProjectCount() > 1;
    case kAlways:
        break;
    }
    return true;
}

} // namespace HandlerTandrel
