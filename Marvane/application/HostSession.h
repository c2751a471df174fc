#pragma once
// Where this copy of the host keeps its things, and who it is, for the life of the process.
#include "Marvane/application/Preferences.h"

#include <filesystem>

namespace host {

struct HostSession {
    std::filesystem::path profileDirectory; // preferences and the panel settings file
    std::filesystem::path dataDirectory;    // the demo production
    Preferences preferences;                // as loaded, with this run's overrides

    static HostSession& Instance();
};

// The profile folder: $XDG_CONFIG_HOME/marvane, else ~/.config/marvane.
std::filesystem::path DefaultProfileDirectory();
// The data folder: $XDG_DATA_HOME/marvane, else ~/.local/share/marvane.
std::filesystem::path DefaultDataDirectory();

} // namespace host
