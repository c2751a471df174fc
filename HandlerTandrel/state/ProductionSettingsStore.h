#pragma once
// The saved panel state of every production the user has had open, by normalised folder.
#include "host/CoreTypes.h"
#include "state/TabViewStateData.h"

#include <map>
#include <optional>

namespace HandlerTandrel {

// The file's path: the profile folder as the host gives it, with the file name appended.
host::WideString ProductionSettingsFilePath();

class ProductionSettingsStore {
public:
    using StateMap = std::map<host::WideString, TabViewStateData>;

    // Empties the store, then reads the settings file into it. A missing or unreadable file
    // leaves the store empty.
    void LoadProductionSettings();
    std::optional<TabViewStateData>
    FindProductionState(const host::WideString& productionPath) const;
    void StoreProductionState(const host::WideString& productionPath,
                              const TabViewStateData& state);

    const StateMap& GetStates() const { return mStates; }

private:
    StateMap mStates;
    // The file on disk could not be read: before the store writes over it, it is kept aside as
    // "Production Panel Settings.unreadable", so that a damaged file never takes every
    // production's settings with it.
    bool mKeepFileAside = false;
};

} // namespace HandlerTandrel
