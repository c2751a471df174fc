#include "panel/SelectionTests.h"

#include "host/ApplicationLayer.h"

namespace HandlerTandrel {

bool CanCreateForSelection(const SelectedItems& selected, bool productionOpen) {
    if (selected.empty()) {
        return productionOpen;
    }
    return selected.size() == 1 && !host::IsInMvProductionTrash(selected.Only(), true);
}

} // namespace HandlerTandrel
