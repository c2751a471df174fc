#include "Marvane/application/LockBreaking.h"

#include "Marvane/application/HostSession.h"
#include "Marvane/application/LockAudit.h"
#include "Marvane/application/ProductionSession.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "host/DebugTrace.h"
#include "host/Localizer.h"

#include <chrono>

namespace host {

namespace {

std::chrono::seconds SilentAfter() {
    return std::chrono::seconds(HostSession::Instance().preferences.silentLockSeconds);
}

} // namespace

bool InspectProjectLock(const OpenProject& project, LockReport& report) {
    return InspectLock(project.Path(), SilentAfter(), report);
}

std::string BreakLockQuestion(const OpenProject& project, const LockReport& report) {
    return Localize("$$$/Marvane/Host/Lock/BreakQuestion=@0 locked \"@1\" on @2 and was last "
                    "seen @3. Break the lock and take the project over? If @0 is still working, "
                    "their marvane will stop writing the project and keep their changes apart.",
                    {report.content.lockingName, project.DisplayName(), report.content.hostName,
                     DescribeLastSeen(report.sinceLastSeen)});
}

std::string TakeOverProject(const OpenProjectPtr& project, bool breakSilent,
                            std::string* recordError) {
    if (!project || !project->IsReadOnly()) {
        return {};
    }
    LockReplacement replacement;
    replacement.silentToo = breakSilent;
    replacement.silentAfter = SilentAfter();
    std::string replaced;
    switch (ReplaceLockFile(project->Path(), replacement, &replaced)) {
    case TakeOverResult::Taken:
        // Ours stands from now on: should the switch to read-write below fail, it still goes
        // at the next turn of the event loop or when the host stops.
        KeepReleasing(project->Path());
        break;
    case TakeOverResult::NotAbandoned:
        return Localize("$$$/Marvane/Host/Lock/StillHeld=@0 holds the project's lock now: it "
                        "cannot be taken over.",
                        {project->CurrentLockHolder()});
    case TakeOverResult::Lost:
        return Localize("$$$/Marvane/Host/Lock/TakenFirst=Another editor took the project over "
                        "first: it is locked by @0.",
                        {project->CurrentLockHolder()});
    case TakeOverResult::Failed:
        return Localize("$$$/Marvane/Host/Lock/NotWritten=The lock file could not be written "
                        "(@0).",
                        {LockCreationError()});
    }
    std::string error;
    const std::filesystem::path production =
        AuditProductionFor(project->Path(), ProductionSession::Instance().GetFolder());
    if (!RecordLockBreak(production, project->Path(), replaced,
                         breakSilent ? "break lock" : "take over", error)) {
        Trace("Host", 1, "The lock record could not be written: " + error);
        if (recordError != nullptr) {
            *recordError = Localize("$$$/Marvane/Host/Lock/RecordNotWritten=The project is "
                                    "yours now, but the production's record of broken locks "
                                    "could not be written: @0",
                                    {error});
        }
    }
    // Our lock stands now: the project becomes writable on it.
    const ReadOnlyResult result = DocumentManager::Instance().SetReadOnly(project, false);
    return result.error;
}

} // namespace host
