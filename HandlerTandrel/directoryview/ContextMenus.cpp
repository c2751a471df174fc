#include "directoryview/ContextMenus.h"

#include "base/TandrelIDs.h"
#include "utils/MoveItems.h"

namespace HandlerTandrel {

std::string_view ContextMenuForSelection(int classification) {
    const auto has = [classification](int bit) { return (classification & bit) != 0; };
    if (has(Utils::kItemTrashFolder)) {
        return kTrashContextMenuID;
    }
    if (has(Utils::kItemInTrash)) {
        return {};
    }
    if (has(Utils::kItemFile) && has(Utils::kItemFolder)) {
        return kMixedSelectionContextMenuID;
    }
    if (has(Utils::kItemFile)) {
        return kProjectContextMenuID;
    }
    if (has(Utils::kItemFolder)) {
        return kFolderContextMenuID;
    }
    return {};
}

} // namespace HandlerTandrel
