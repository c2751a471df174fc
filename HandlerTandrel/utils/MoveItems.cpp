#include "utils/MoveItems.h"

#include "host/ApplicationLayer.h"
#include "host/DebugTrace.h"
#include "host/DirectoryMonitor.h"
#include "host/FileServices.h"
#include "host/Localizer.h"
#include "host/UIFramework.h"
#include "utils/CopyFiles.h"
#include "utils/MonitorTree.h"
#include "utils/OpenProjects.h"
#include "utils/ProjectLocks.h"
#include "utils/ProjectSideData.h"
#include "utils/TraceSwitch.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <thread>

namespace HandlerTandrel::Utils {

namespace {

constexpr std::string_view kMoveErrorTitleKey =
    "$$$/Marvane/TR/MvProduction/MoveError/Title=Unable to Move Project";
constexpr std::string_view kMoveErrorMessageKey =
    "$$$/Marvane/TR/MvProduction/MoveError/Message=The path @0 already exists. Please choose a "
    "different location.";
constexpr std::string_view kMoveErrorOKKey = "$$$/Marvane/TR/MvProduction/MoveError/OKText=OK";
constexpr std::string_view kTrashIsALinkTitleKey =
    "$$$/Marvane/TR/MvProduction/TrashIsALink/Title=Cannot Move to Trash";
constexpr std::string_view kTrashIsALinkMessageKey =
    "$$$/Marvane/TR/MvProduction/TrashIsALink/Message=The production's Trash folder @0 is a link "
    "to another place, so items thrown away would leave the production. Nothing was moved. "
    "Replace the link with a folder.";
constexpr auto kSettleTime = std::chrono::milliseconds(100);

TraceSwitch gMoveFailureTrace("Tandrel", 8);
TraceSwitch gMoveErrorTrace("Tandrel", 5);

// Gives the file system's watch a moment to let go of a folder before it moves. The whole
// time is waited even when the sleep wakes early.
void Settle() {
    const auto deadline = std::chrono::steady_clock::now() + kSettleTime;
    while (std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_until(deadline);
    }
}

// A link to a folder moves as a link: the folder it points to keeps its watch.
bool IsWatchedLocalFolder(const host::WideString& path) {
    return host::DirectoryExists(path) && !host::IsSymbolicLink(path) &&
           !host::DoesPathRequirePolling(path);
}

host::ByteString LowerHex(int code) {
    char text[16] = {};
    std::snprintf(text, sizeof(text), "%x", static_cast<std::uint32_t>(code));
    return text;
}

void ReplaceAll(host::WideString& text, const host::WideString& from, const host::WideString& to) {
    if (from.empty()) {
        return;
    }
    for (std::size_t at = text.find(from); at != host::WideString::npos;
         at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

// Whether path is folder or lies within it, both normalised the same way.
bool IsWithin(const host::WideString& path, const host::WideString& folder) {
    if (path.empty() || folder.empty() || path.size() < folder.size() ||
        path.compare(0, folder.size(), folder) != 0) {
        return false;
    }
    return path.size() == folder.size() || folder.back() == u'/' || path[folder.size()] == u'/';
}

// The trash as the rows reach it (its folder normalised, then its name) and, should the trash
// itself be a link, where it leads. Items, normalised by the same normalizer, are compared
// with both, so that many items cost a wait on the disk per folder rather than several each.
class TrashPlaces {
public:
    TrashPlaces(host::ItemPathNormalizer& normalizer, const host::WideString& trash) {
        if (!trash.empty()) {
            mReached = normalizer.Normalize(trash);
            mResolved = host::ToNormalizedPath(trash);
        }
    }
    bool IsTheTrash(const host::WideString& normal) const {
        return !normal.empty() && !mReached.empty() && (normal == mReached || normal == mResolved);
    }
    bool IsInTrash(const host::WideString& normal) const {
        return !IsTheTrash(normal) && (IsWithin(normal, mReached) || IsWithin(normal, mResolved));
    }

private:
    host::WideString mReached;
    host::WideString mResolved;
};

} // namespace

int ClassifyItems(const std::vector<host::WideString>& paths) {
    host::ItemPathNormalizer normalizer;
    const TrashPlaces trash(normalizer, host::GetMvProductionTrashDirectoryPath());
    int bits = 0;
    for (const host::WideString& path : paths) {
        if (bits == (kItemFile | kItemFolder | kItemTrashFolder | kItemInTrash)) {
            break;
        }
        const host::WideString normal = normalizer.Normalize(path);
        if (trash.IsTheTrash(normal)) {
            bits |= kItemTrashFolder;
        } else if (trash.IsInTrash(normal)) {
            bits |= kItemInTrash;
        } else if (host::ProductionSupportsMarvaneProjectFile(path) ||
                   !host::DirectoryExists(path)) {
            bits |= kItemFile;
        } else {
            bits |= kItemFolder;
        }
    }
    return bits;
}

bool CanMoveItems(const std::vector<host::WideString>& paths, host::ItemByItemWork* work) {
    if (work == nullptr) {
        return CanMoveItemsIn(CurrentMoveTestContext(), paths).value_or(false);
    }
    return CanMoveItemsIn(CurrentMoveTestContext(), paths, [work] { return work->ItemDone(); })
        .value_or(false);
}

MoveTestContext CurrentMoveTestContext() {
    MoveTestContext context;
    context.trash = host::GetMvProductionTrashDirectoryPath();
    host::GetProjectLockingPrefs(context.lockName, context.lockSecond);
    return context;
}

std::optional<bool> CanMoveItemsIn(const MoveTestContext& context,
                                   const std::vector<host::WideString>& paths,
                                   const std::function<bool()>& keepGoing) {
    if (paths.empty()) {
        return false;
    }
    host::ItemPathNormalizer normalizer;
    const TrashPlaces trash(normalizer, context.trash);
    for (const host::WideString& path : paths) {
        if (keepGoing && !keepGoing()) {
            return std::nullopt;
        }
        const host::ByteString utf8 = host::ToUTF8(path);
        const host::WideString normal = normalizer.Normalize(path);
        if (trash.IsTheTrash(normal) || trash.IsInTrash(normal)) {
            return false;
        }
        const host::ProjectLockFilePtr lock =
            host::ReadProjectLockFile(utf8, context.lockName, context.lockSecond);
        if ((lock && lock->GetOwnerName() != context.lockName) ||
            host::DoesDirectoryContainLockedProjects(utf8, true, true)) {
            return false;
        }
    }
    return true;
}

void MoveToTrash(const std::vector<host::WideString>& paths, UnsavedChanges changes,
                 ApplyToAll applyToAll, host::ItemByItemWork* work) {
    const host::WideString trash = host::GetMvProductionTrashDirectoryPath();
    // What goes to the trash stays in the production: a trash that leads elsewhere (another
    // folder, another disk) is refused before anything is closed or moved.
    if (!trash.empty() && host::IsSymbolicLink(trash)) {
        host::ShowMessageBox(host::Localize(kTrashIsALinkTitleKey),
                             host::Localize(kTrashIsALinkMessageKey, {host::ToUTF8(trash)}), {},
                             host::kWarningIcon, 0);
        return;
    }
    const std::vector<host::ProjectPtr> open = CollectOpenProjects(paths);
    if (!open.empty() && !CloseProjects(open, changes, applyToAll)) {
        return; // the user kept them open: nothing moves
    }
    if (trash.empty() || !host::EnsureDirectoryExists(trash)) {
        return;
    }
    CopyFiles(paths, trash, Transfer::kMove, TakenName::kMakeUnique, work);
}

bool MoveFileOrFolder(const host::WideString& source, const host::WideString& destination) {
    if (IsWatchedLocalFolder(source)) {
        StopMonitoringTree(source);
        Settle();
    }
    const int code = host::Move(source, destination);
    if (code < 0 && gMoveFailureTrace.IsOn()) {
        host::Trace("Tandrel", 8,
                    "File move failed: error: " + LowerHex(code) + ", source: " +
                        host::ToUTF8(source) + ", dest: " + host::ToUTF8(destination) + "\n");
    }
    if (IsWatchedLocalFolder(source)) {
        StartMonitoringTree(source); // it did not move: watch it again
    }
    return code >= 0;
}

void MoveProjectFile(const host::WideString& source, const host::WideString& destination) {
    if (!host::ProductionSupportsMarvaneProjectFile(source) ||
        !host::ProductionSupportsMarvaneProjectFile(destination)) {
        return;
    }
    const ProjectMoveLocks locks = LockProjectForMove(source, destination);
    if (!locks.proceed) {
        return;
    }
    if (!MoveMaskingStorage(source, destination)) {
        return;
    }
    if (!MoveFileOrFolder(source, destination)) {
        ShowMoveError(destination);
        MoveMaskingStorage(destination, source);
        return;
    }
    if (locks.openProject) {
        MoveIndexFiles(locks.openProject, destination);
        locks.openProject->SetPath(host::ToUTF8(host::ToNormalizedPath(destination)));
        // Only a project that carried our lock before takes the new one over; a project that
        // had none (open read-only) stays without.
        if (locks.sourceHadOwnLock) {
            locks.openProject->AttachLockFile(locks.destinationLock);
        }
    }
}

void RelocateOpenProjects(const host::WideString& oldFolder, const host::WideString& newFolder) {
    for (const host::ProjectPtr& project : host::GetOpenProjectList()) {
        if (host::GetIsReadOnly(project)) {
            continue;
        }
        // Spelled the way the moved folder was, so that the folder's name can be replaced.
        const host::WideString oldPath = host::ToNormalizedPath(host::ToUTF16(project->GetPath()));
        if (!host::IsPathWithinDirectory(oldPath, oldFolder, true)) {
            continue;
        }
        host::WideString path = oldPath;
        ReplaceAll(path, oldFolder, newFolder);
        if (path != oldPath && host::FileOrDirExists(path)) {
            project->SetPath(host::ToUTF8(host::ToNormalizedPath(path)));
            RelockMovedProject(project, path);
        }
    }
}

void ShowMoveError(const host::WideString& path) {
    const host::ByteString text = host::ToUTF8(path);
    if (host::Workspace::Instance().GetCurrentWorkspace() != nullptr) {
        host::ShowMessageBox(host::Localize(kMoveErrorTitleKey),
                             host::Localize(kMoveErrorMessageKey, {text}),
                             {host::Localize(kMoveErrorOKKey)}, host::kWarningIcon, 0);
    }
    if (gMoveErrorTrace.IsOn()) {
        host::Trace("Tandrel", 5,
                    "Unable to move project. The path " + text + " already exists.\n");
    }
}

} // namespace HandlerTandrel::Utils
