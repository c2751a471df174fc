#include "base/ProductionCommands.h"

#include "base/TandrelIDs.h"
#include "host/Localizer.h"

namespace HandlerTandrel {

namespace {

constexpr std::string_view kContextDisplayNameKey =
    "$$$/Marvane/Handlers/MvProductionFolder/ProductionContext=Production Panel";

using host::kCommandKindLabeled;
using host::kCommandKindMenuText;

constexpr std::array<ProductionCommand, kProductionCommandCount> kCommands{{
    {"cmd.mediabrowser.newfolder", kCmdNewFolder, kCommandKindMenuText, {}},
    {"cmd.mvproductionfolder.newproject", kCmdNewProject, kCommandKindMenuText, {}},
    {"cmd.mvproductionfolder.addproject", kCmdAddProject, kCommandKindMenuText, {}},
    {"cmd.mvproductionfolder.refreshproject", kCmdRefreshProject, kCommandKindMenuText, {}},
    {"cmd.mvproductionfolder.renameitem", kCmdRenameItem, kCommandKindMenuText, {}},
    {"cmd.mvproductionfolder.togglelock", kCmdToggleLock, kCommandKindMenuText, {}},
    {"cmd.mvproductionfolder.revealrootinsystem", kCmdRevealRootInSystem, kCommandKindMenuText, {}},
    {"cmd.mvproductionfolder.revealiteminsystem", kCmdRevealItemInSystem, kCommandKindMenuText, {}},
    {"cmd.mvproductionfolder.toggle.showpath", kCmdToggleShowPath, kCommandKindMenuText, {}},
    {"cmd.mvproductionfolder.renameproduction", kCmdRenameProduction, kCommandKindMenuText, {}},
    {"cmd.mvproductionfolder.refreshallprojects", kCmdRefreshAllProjects, kCommandKindMenuText, {}},
    {"cmd.mvproductionfolder.saveallprojects", kCmdSaveAllProjects, kCommandKindMenuText, {}},
    {"cmd.mvproductionfolder.closeallprojects", kCmdCloseAllProjects, kCommandKindMenuText, {}},
    {"cmd.mvproductionfolder.move.pagedown", kCmdMovePageDown, kCommandKindLabeled,
     "$$$/Marvane/Handlers/MvProductionFolder/Commands/MoveSelectionPageDown="
     "Move Selection Page Down"},
    {"cmd.mvproductionfolder.move.pageup", kCmdMovePageUp, kCommandKindLabeled,
     "$$$/Marvane/Handlers/MvProductionFolder/Commands/MoveSelectionPageUp="
     "Move Selection Page Up"},
    {"cmd.mvproductionfolder.move.end", kCmdMoveEnd, kCommandKindLabeled,
     "$$$/Marvane/Handlers/MvProductionFolder/Commands/MoveSelectionEnd=Move Selection End"},
    {"cmd.mvproductionfolder.move.home", kCmdMoveHome, kCommandKindLabeled,
     "$$$/Marvane/Handlers/MvProductionFolder/Commands/MoveSelectionHome=Move Selection Home"},
    {"cmd.mvproductionfolder.zoomin", kCmdZoomIn, kCommandKindLabeled,
     "$$$/Marvane/Handlers/MvProductionFolder/Commands/ZoomIn=Zoom In"},
    {"cmd.mvproductionfolder.zoomout", kCmdZoomOut, kCommandKindLabeled,
     "$$$/Marvane/Handlers/MvProductionFolder/Commands/ZoomOut=Zoom Out"},
    {"cmd.mvproductionfolder.openproject", kCmdOpenProject, kCommandKindLabeled,
     "$$$/Marvane/Handlers/MvProductionFolder/Commands/OpenProject=Open Project"},
    {"cmd.mvproductionfolder.closeproject", kCmdCloseProject, kCommandKindLabeled,
     "$$$/Marvane/Handlers/MvProductionFolder/Commands/CloseProject=Close Project"},
    {"cmd.mvproductionfolder.makeacopy", kCmdMakeACopy, kCommandKindLabeled,
     "$$$/Marvane/Handlers/MvProductionFolder/Commands/MakeACopy=Make a Copy"},
    {"cmd.mvproductionfolder.movetotrash", kCmdMoveToTrash, kCommandKindLabeled,
     "$$$/Marvane/Handlers/MvProductionFolder/Commands/MoveToTrash=Move To Trash"},
}};

} // namespace

const std::array<ProductionCommand, kProductionCommandCount>& ProductionCommandTable() {
    return kCommands;
}

void DeclareProductionCommands(host::ShortcutManager& shortcutManager) {
    // Looked up for its side effect in the host: the global context exists before ours.
    static_cast<void>(shortcutManager.GetContext("global"));
    const host::ByteString displayName = host::Localize(kContextDisplayNameKey);
    host::CommandContext* context =
        shortcutManager.AddContext(host::ByteString(kProductionContextName), displayName);
    for (const ProductionCommand& command : kCommands) {
        context->DeclareCommand(host::ByteString(command.name), command.id, command.kind,
                                host::ByteString(command.label), host::ImmutableString(), false);
    }
}

} // namespace HandlerTandrel
