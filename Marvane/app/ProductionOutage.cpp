#include "Marvane/app/ProductionOutage.h"

#include "Marvane/app/MainWindow.h"
#include "Marvane/application/HostSession.h"
#include "Marvane/application/ProductionSession.h"
#include "Marvane/application/ScriptingHooks.h"
#include "Marvane/documents/Recovery.h"
#include "host/DebugTrace.h"
#include "host/Localizer.h"

namespace host {

namespace {

bool gPausedForOutage = false;

void PauseThePanel(bool paused) {
    if (const NotifyPauseFn pause = GetTandrelNotifyPauseFn()) {
        pause(paused);
    }
}

} // namespace

void ProductionReachabilityChanged(MainWindow& window, bool reachable, const std::string& reason) {
    if (!reachable) {
        if (!gPausedForOutage) {
            PauseThePanel(true);
            gPausedForOutage = true;
        }
        // Kept on this machine: the share may come back, or not.
        const RecoveryResult kept = SaveRecoveryCopies(HostSession::Instance().dataDirectory);
        std::string text = Localize(
            "$$$/Marvane/Host/Production/UnreachableBanner=The production \"@0\" cannot be "
            "reached (@1).",
            {ProductionSession::Instance().GetFolder().filename().string(), reason});
        if (!kept.written.empty()) {
            text += " " + Localize("$$$/Marvane/Host/Production/ChangesKept=Unsaved changes of "
                                   "@0 project(s) are kept in @1.",
                                   {std::to_string(kept.written.size()),
                                    (HostSession::Instance().dataDirectory / "Recovery").string()});
        }
        for (const auto& [project, why] : kept.failed) {
            Trace("Host", 1, "No recovery copy of " + project.string() + ": " + why);
        }
        window.SetProductionBanner(QString::fromStdString(text));
        return;
    }
    window.SetProductionBanner({});
    if (gPausedForOutage) {
        PauseThePanel(false);
        gPausedForOutage = false;
    }
    if (const std::string error = ProductionSession::Instance().Reopen(); !error.empty()) {
        window.SetProductionBanner(QString::fromStdString(error));
    }
}

void ProductionChangedDuringOutage(MainWindow& window) {
    if (!gPausedForOutage) {
        return;
    }
    window.SetProductionBanner({});
    PauseThePanel(false);
    gPausedForOutage = false;
}

} // namespace host
