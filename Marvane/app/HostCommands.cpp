#include "Marvane/app/HostCommands.h"

#include "Marvane/app/ClipboardCommands.h"
#include "Marvane/app/TrashCommands.h"
#include "Marvane/app/UndoCommands.h"
#include "Marvane/application/ProductionSession.h"
#include "Marvane/documents/DocumentManager.h"
#include "host/Localizer.h"

namespace host {

void DeclareHostCommands(ShortcutManager& shortcutManager) {
    CommandContext* context =
        shortcutManager.AddContext("global", Localize("$$$/Marvane/Host/GlobalContext=Global"));
    const auto declare = [&](const char* name, CommandID id, const char* label) {
        context->DeclareCommand(name, id, kCommandKindLabeled, label, {}, false);
    };
    declare("cmd.file.openproduction", kCmdOpenProduction,
            "$$$/Marvane/Host/Commands/OpenProduction=Open Production…");
    declare("cmd.file.closeproduction", kCmdCloseProduction,
            "$$$/Marvane/Host/Commands/CloseProduction=Close Production");
    declare("cmd.file.openproject", kCmdOpenProject,
            "$$$/Marvane/Host/Commands/OpenProject=Open Project…");
    declare("cmd.file.saveproject", kCmdSaveProject,
            "$$$/Marvane/Host/Commands/SaveProject=Save Project");
    declare("cmd.file.closeproject", kCmdCloseProject,
            "$$$/Marvane/Host/Commands/CloseProject=Close Project");
    declare("cmd.file.quit", kCmdQuit, "$$$/Marvane/Host/Commands/Quit=Quit");
    declare("cmd.edit.undo", kCmdUndo, "$$$/Marvane/Host/Commands/Undo=Undo");
    declare("cmd.edit.redo", kCmdRedo, "$$$/Marvane/Host/Commands/Redo=Redo");
    declare("cmd.edit.cut", kCmdCut, "$$$/Marvane/Host/Commands/Cut=Cut");
    declare("cmd.edit.copy", kCmdCopy, "$$$/Marvane/Host/Commands/Copy=Copy");
    declare("cmd.edit.paste", kCmdPaste, "$$$/Marvane/Host/Commands/Paste=Paste");
    declare("cmd.edit.restorefromtrash", kCmdRestoreFromTrash,
            "$$$/Marvane/Host/Commands/RestoreFromTrash=Restore from Trash");
    declare("cmd.edit.emptytrash", kCmdEmptyTrash,
            "$$$/Marvane/Host/Commands/EmptyTrash=Empty Trash…");
    declare("cmd.file.closeselectedprojects", kCmdCloseSelectedProjects,
            "$$$/Marvane/Host/Commands/CloseSelectedProjects=Close Selected Projects");
    declare("cmd.edit.selectall", kCmdSelectAll, "$$$/Marvane/Host/Commands/SelectAll=Select All");
    declare("cmd.edit.deselectall", kCmdDeselectAll,
            "$$$/Marvane/Host/Commands/DeselectAll=Deselect All");
    declare("cmd.help.about", kCmdAbout, "$$$/Marvane/Host/Commands/About=About Marvane");
}

bool HostCommandHandler::FindCommandStatus(const Command& command, CommandStatus& status) {
    switch (command.id) {
    case kCmdOpenProduction:
    case kCmdOpenProject:
    case kCmdQuit:
    case kCmdAbout:
        status.enabled = true;
        return true;
    case kCmdSaveProject: {
        const OpenProjectPtr active = DocumentManager::Instance().GetActive();
        status.enabled = active && !active->IsReadOnly() && active->IsModified();
        return true;
    }
    case kCmdCloseProject:
        status.enabled = DocumentManager::Instance().GetActive() != nullptr;
        return true;
    case kCmdCloseProduction:
        status.enabled = ProductionSession::Instance().IsOpen();
        return true;
    case kCmdRestoreFromTrash:
        status.enabled = CanRestoreSelection();
        return true;
    case kCmdEmptyTrash:
        status.enabled = CanEmptyTrash();
        return true;
    case kCmdUndo:
        status.enabled = CanUndoStep();
        status.label = UndoStepLabel();
        return true;
    case kCmdRedo:
        status.enabled = CanRedoStep();
        status.label = RedoStepLabel();
        return true;
    case kCmdCopy:
    case kCmdCut:
        status.enabled = CanCopySelectedItems();
        return true;
    case kCmdPaste:
        status.enabled = CanPasteItems();
        return true;
    default:
        // Edit commands belong to the focused panel; nobody else can do them.
        return false;
    }
}

bool HostCommandHandler::ObeyCommand(const Command& command) {
    const auto run = [](const std::function<void()>& action) {
        if (action) {
            action();
        }
        return true;
    };
    switch (command.id) {
    case kCmdOpenProduction:
        return run(mActions.openProduction);
    case kCmdCloseProduction:
        return run(mActions.closeProduction);
    case kCmdQuit:
        return run(mActions.quit);
    case kCmdAbout:
        return run(mActions.about);
    case kCmdOpenProject:
        return run(mActions.openProject);
    case kCmdSaveProject:
        return run(mActions.saveProject);
    case kCmdCloseProject:
        return run(mActions.closeProject);
    case kCmdRestoreFromTrash:
        return run(&RestoreSelection);
    case kCmdEmptyTrash:
        return run(&EmptyTrashAfterAsking);
    case kCmdUndo:
        return run(&UndoStep);
    case kCmdRedo:
        return run(&RedoStep);
    case kCmdCopy:
        return run(&CopySelectedItems);
    case kCmdCut:
        return run(&CutSelectedItems);
    case kCmdPaste:
        return run(&PasteItems);
    default:
        return false;
    }
}

} // namespace host
