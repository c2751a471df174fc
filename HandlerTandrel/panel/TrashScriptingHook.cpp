#include "panel/TrashScriptingHook.h"

#include "host/ApplicationLayer.h"
#include "host/FileServices.h"
#include "host/ProjectBackEnd.h"
#include "utils/CopyFiles.h"
#include "utils/MoveItems.h"

namespace HandlerTandrel {

bool TryToMoveToTrash(const std::weak_ptr<host::TabView>& panel,
                      const std::vector<host::WideString>& paths, bool saveWithoutAsking,
                      bool offerApplyToAll) {
    const std::shared_ptr<host::TabView> alive = panel.lock();
    if (!alive) {
        return false;
    }
    if (!Utils::CanMoveItems(paths)) {
        return false;
    }
    Utils::MoveToTrash(
        paths,
        saveWithoutAsking ? Utils::UnsavedChanges::kSaveWithoutAsking : Utils::UnsavedChanges::kAsk,
        offerApplyToAll ? Utils::ApplyToAll::kOffer : Utils::ApplyToAll::kNotOffered);
    return true; // the move was allowed, whatever became of it
}

bool MoveItemsIntoFolder(const std::weak_ptr<host::TabView>& panel,
                         const std::vector<host::WideString>& paths,
                         const host::WideString& folder) {
    if (!panel.lock() || paths.empty() || !Utils::CanMoveItems(paths)) {
        return false;
    }
    for (const host::WideString& path : paths) {
        // Never into itself or below itself.
        if (!folder.empty() && host::IsPathWithinDirectory(folder, path, true)) {
            return false;
        }
    }
    if (folder.empty()) {
        return true;
    }
    if (host::IsTheMvProductionTrashDirectory(folder)) {
        Utils::MoveToTrash(paths, Utils::UnsavedChanges::kAsk, Utils::ApplyToAll::kOffer);
    } else {
        Utils::CopyFiles(paths, folder, Utils::Transfer::kMove, Utils::TakenName::kRefuse);
    }
    return true;
}

// Undo and Redo: the item goes to its path the way the panel's own moves take it, and never
// while another editor holds it (or holds anything inside it).
// Items may come out of the trash this way, which the panel's own moves never take.
bool MoveItemToPath(const std::weak_ptr<host::TabView>& panel, const host::WideString& from,
                    const host::WideString& to) {
    if (!panel.lock() || host::IsTheMvProductionTrashDirectory(from)) {
        return false;
    }
    host::ByteString lockName;
    host::ByteString lockSecond;
    host::GetProjectLockingPrefs(lockName, lockSecond);
    const host::ByteString utf8 = host::ToUTF8(from);
    const host::ProjectLockFilePtr lock = host::ReadProjectLockFile(utf8, lockName, lockSecond);
    if ((lock && lock->GetOwnerName() != lockName) ||
        host::DoesDirectoryContainLockedProjects(utf8, true, true)) {
        return false;
    }
    return Utils::MoveOneItem(from, to);
}

void RegisterTrashScriptingHook(const std::weak_ptr<host::TabView>& panel) {
    host::SetTryToMoveToTandrelTrashFn(
        [panel](const std::vector<host::WideString>& paths, bool flagA, bool flagB) {
            return TryToMoveToTrash(panel, paths, flagA, flagB);
        });
    host::SetMoveItemsIntoFolderFn(
        [panel](const std::vector<host::WideString>& paths, const host::WideString& folder) {
            return MoveItemsIntoFolder(panel, paths, folder);
        });
    host::SetMoveItemToPathFn([panel](const host::WideString& from, const host::WideString& to) {
        return MoveItemToPath(panel, from, to);
    });
}

void ClearScriptingHooks() {
    host::SetTryToMoveToTandrelTrashFn({});
    host::SetMoveItemsIntoFolderFn({});
    host::SetMoveItemToPathFn({});
    host::SetTandrelNotifyPauseFn({});
}

} // namespace HandlerTandrel
