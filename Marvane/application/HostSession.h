#pragma once
// Where this copy of the host keeps its things, and who it is, for the life of the process.
#include "Marvane/application/Preferences.h"

#include <filesystem>
#include <optional>
#include <string>

namespace host {

struct HostSession {
    std::filesystem::path profileDirectory;  // preferences and the panel settings file
    std::filesystem::path dataDirectory;     // the demo production
    Preferences preferences;                 // as saved; this run's overrides are apart
    std::optional<std::string> userOverride; // --user: the locking name for this run only

    // The locking identity in force: --user, else the saved name, else the system's.
    LockingPreferences GetLocking() const;

    static HostSession& Instance();
};

// The profile folder: $XDG_CONFIG_HOME/marvane, else ~/.config/marvane.
std::filesystem::path DefaultProfileDirectory();
// The data folder: $XDG_DATA_HOME/marvane, else ~/.local/share/marvane.
std::filesystem::path DefaultDataDirectory();

} // namespace host
