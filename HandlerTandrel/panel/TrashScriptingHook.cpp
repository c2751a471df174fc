#include "panel/TrashScriptingHook.h"

#include "host/ApplicationLayer.h"
#include "host/FileServices.h"
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

void RegisterTrashScriptingHook(const std::weak_ptr<host::TabView>& panel) {
    host::SetTryToMoveToTandrelTrashFn(
        [panel](const std::vector<host::WideString>& paths, bool flagA, bool flagB) {
            return TryToMoveToTrash(panel, paths, flagA, flagB);
        });
    host::SetMoveItemsIntoFolderFn(
        [panel](const std::vector<host::WideString>& paths, const host::WideString& folder) {
            return MoveItemsIntoFolder(panel, paths, folder);
        });
}

void ClearScriptingHooks() {
    host::SetTryToMoveToTandrelTrashFn({});
    host::SetMoveItemsIntoFolderFn({});
    host::SetTandrelNotifyPauseFn({});
}

} // namespace HandlerTandrel
