#include "panel/SelectionTests.h"

#include "host/ApplicationLayer.h"

namespace HandlerTandrel {

bool CanCreateForSelection(const std::vector<host::WideString>& selected, bool productionOpen) {
    if (selected.empty()) {
        return productionOpen;
    }
    return selected.size() == 1 && !host::IsInMvProductionTrash(selected.front(), true);
}

} // namespace HandlerTandrel
