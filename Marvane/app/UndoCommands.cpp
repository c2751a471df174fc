#include "Marvane/app/UndoCommands.h"

#include "Marvane/application/OrganisingHistory.h"
#include "Marvane/application/ProductionSession.h"
#include "Marvane/application/ScriptingHooks.h"
#include "host/Localizer.h"
#include "host/UIFramework.h"

#include <filesystem>

namespace host {

namespace fs = std::filesystem;

namespace {

fs::path Production() {
    return ProductionSession::Instance().GetFolder();
}

// The panel's move, seen with the history's paths.
HistoryMover PanelMover() {
    const MoveItemToPathFn move = GetMoveItemToPathFn();
    if (!move) {
        return {};
    }
    return [move](const fs::path& from, const fs::path& to) {
        return move(ToUTF16(from.string()), ToUTF16(to.string()));
    };
}

void Tell(const HistoryOutcome& outcome, bool undoing) {
    if (outcome.refusal.empty()) {
        return;
    }
    ShowMessageBox(undoing ? Localize("$$$/Marvane/Host/Undo/RefusedTitle=Cannot Undo")
                           : Localize("$$$/Marvane/Host/Redo/RefusedTitle=Cannot Redo"),
                   outcome.refusal, {}, kWarningIcon, 0);
}

} // namespace

bool CanUndoStep() {
    return GetMoveItemToPathFn() && OrganisingHistory::Instance().CanUndo(Production());
}

bool CanRedoStep() {
    return GetMoveItemToPathFn() && OrganisingHistory::Instance().CanRedo(Production());
}

std::string UndoStepLabel() {
    return OrganisingHistory::Instance().UndoLabel(Production());
}

std::string RedoStepLabel() {
    return OrganisingHistory::Instance().RedoLabel(Production());
}

void UndoStep() {
    if (const HistoryMover mover = PanelMover()) {
        Tell(OrganisingHistory::Instance().Undo(Production(), mover), true);
    }
}

void RedoStep() {
    if (const HistoryMover mover = PanelMover()) {
        Tell(OrganisingHistory::Instance().Redo(Production(), mover), false);
    }
}

} // namespace host
