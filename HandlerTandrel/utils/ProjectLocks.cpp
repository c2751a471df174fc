#include "utils/ProjectLocks.h"

#include "host/ApplicationLayer.h"
#include "host/DebugTrace.h"
#include "host/Localizer.h"
#include "host/UIFramework.h"
#include "utils/TraceSwitch.h"

namespace HandlerTandrel::Utils {

namespace {

constexpr std::string_view kLockErrorTitleKey =
    "$$$/Marvane/TR/MvProduction/LockError/Title=Unable to Lock Project";
constexpr std::string_view kLockErrorMessageKey =
    "$$$/Marvane/TR/MvProduction/LockError/Message=Unable to create a lock file for the project "
    "@0. Please try again.";
constexpr std::string_view kLockErrorOKKey = "$$$/Marvane/TR/MvProduction/LockError/OKText=OK";

TraceSwitch gLockTrace("Tandrel", 5);

bool IsValid(const host::ProjectLockFilePtr& lock) {
    return lock && lock->IsOwnedByCaller();
}

} // namespace

bool IsLockedByOtherUser(const host::WideString& projectPath) {
    host::ByteString name;
    host::ByteString second;
    host::GetProjectLockingPrefs(name, second);
    const host::ProjectLockFilePtr lock =
        host::ReadProjectLockFile(host::ToUTF8(projectPath), name, second);
    return lock && lock->GetOwnerName() != name;
}

bool IsOpenReadOnlyAndOutOfDate(const host::WideString& projectPath) {
    const host::ProjectPtr project = host::FindOpenProject(host::ToUTF8(projectPath));
    return project && host::GetIsReadOnly(project) && host::IsProjectOutOfDate(project);
}

void ShowLockError(const host::WideString& projectPath) {
    const host::ByteString path = host::ToUTF8(projectPath);
    // The message stays as editors know it; why the lock could not be made (a read-only
    // share, a full disk) goes below it and into the trace, since trying again rarely helps.
    host::ByteString cause = host::GetLastProjectLockError();
    if (cause.rfind(path, 0) != 0) {
        cause.clear(); // about another project's lock: not why this one failed
    }
    if (host::Workspace::Instance().GetCurrentWorkspace() != nullptr) {
        host::ShowMessageBox(host::Localize(kLockErrorTitleKey),
                             host::Localize(kLockErrorMessageKey, {path}),
                             {host::Localize(kLockErrorOKKey)}, host::kWarningIcon, 0, cause);
    }
    if (gLockTrace.IsOn()) {
        host::Trace("Tandrel", 5,
                    "Unable to lock project " + path + (cause.empty() ? "" : " (" + cause + ")") +
                        "\n");
    }
}

ProjectMoveLocks LockProjectForMove(const host::WideString& source,
                                    const host::WideString& destination) {
    ProjectMoveLocks result;
    const host::ByteString sourcePath = host::ToUTF8(source);
    const host::ByteString destinationPath = host::ToUTF8(destination);
    host::ByteString name;
    host::ByteString second;
    host::GetProjectLockingPrefs(name, second);
    const host::ProjectLockFilePtr existing = host::ReadProjectLockFile(sourcePath, name, second);
    if (existing && !existing->IsOwnedByCaller()) {
        return result; // another user's project: skipped without a word
    }
    result.sourceHadOwnLock = existing != nullptr;
    result.openProject = host::FindOpenProject(sourcePath);
    if (!existing) {
        // Nobody may open the project while it moves.
        if (!IsValid(host::CreateProjectLockFile(sourcePath, name, second))) {
            ShowLockError(source);
            return result;
        }
    }
    result.destinationLock = host::CreateProjectLockFile(destinationPath, name, second);
    if (!IsValid(result.destinationLock)) {
        result.destinationLock.reset();
        ShowLockError(destination);
        return result;
    }
    result.proceed = true;
    return result;
}

void RelockMovedProject(const host::ProjectPtr& project, const host::WideString& newPath) {
    host::ByteString name;
    host::ByteString second;
    if (!project || !host::GetProjectLockingPrefs(name, second)) {
        return;
    }
    const host::ProjectLockFilePtr lock =
        host::CreateProjectLockFile(host::ToUTF8(newPath), name, second);
    if (IsValid(lock)) {
        project->AttachLockFile(lock);
    }
}

} // namespace HandlerTandrel::Utils
