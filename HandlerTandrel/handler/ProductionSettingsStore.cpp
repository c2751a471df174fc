#include "handler/ProductionSettingsStore.h"

namespace HandlerTandrel {

void ProductionSettingsStore::LoadProductionSettings() {
    // The settings file is not read yet: the panel starts from its defaults each time.
    mStates.clear();
}

std::optional<TabViewStateData>
ProductionSettingsStore::FindProductionState(const host::WideString& productionPath) const {
    const auto found = mStates.find(productionPath);
    if (found == mStates.end()) {
        return std::nullopt;
    }
    return found->second;
}

void ProductionSettingsStore::StoreProductionState(const host::WideString& productionPath,
                                                   const TabViewStateData& state) {
    mStates[productionPath] = state;
}

} // namespace HandlerTandrel
