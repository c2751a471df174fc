#include "panel/TrashScriptingHook.h"

#include "host/ApplicationLayer.h"
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

void RegisterTrashScriptingHook(const std::weak_ptr<host::TabView>& panel) {
    host::SetTryToMoveToTandrelTrashFn(
        [panel](const std::vector<host::WideString>& paths, bool flagA, bool flagB) {
            return TryToMoveToTrash(panel, paths, flagA, flagB);
        });
}

void ClearScriptingHooks() {
    host::SetTryToMoveToTandrelTrashFn({});
    host::SetTandrelNotifyPauseFn({});
}

} // namespace HandlerTandrel
