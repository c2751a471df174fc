#include "panel/SelectionTests.h"

#include "host/ApplicationLayer.h"
#include "host/ProjectBackEnd.h"
#include "utils/ProjectLocks.h"

namespace HandlerTandrel {

bool CanCreateForSelection(const std::vector<host::WideString>& selected, bool productionOpen) {
    if (selected.empty()) {
        return productionOpen;
    }
    return selected.size() == 1 && !host::IsInMvProductionTrash(selected.front(), true);
}

bool CanMoveToTrash(const std::vector<host::WideString>& paths) {
    if (paths.empty()) {
        return false;
    }
    for (const host::WideString& path : paths) {
        if (host::IsInMvProductionTrash(path, true) || Utils::IsLockedByOtherUser(path) ||
            host::DoesDirectoryContainLockedProjects(host::ToUTF8(path), true, true)) {
            return false;
        }
    }
    return true;
}

} // namespace HandlerTandrel
