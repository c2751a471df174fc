#pragma once
// The host's preferences, a JSON file "preferences.json" in the user profile directory.
// Unknown keys are kept; a missing or broken file gives the defaults.
#include <filesystem>
#include <string>
#include <vector>

namespace host {

struct LockingPreferences {
    std::string name;   // written into lock files as the holder; empty: the system's default
    std::string second; // empty: this machine's host name
    bool enabled = true;
};

struct Preferences {
    std::filesystem::path lastProduction;
    // The productions opened last, the latest first (File > Open Recent).
    std::vector<std::filesystem::path> recentProductions;
    LockingPreferences locking;
    std::string trace; // debug trace configuration, "Category=level,..."
    bool folderProjectFormat = true;
    bool newMasking = false;   // projects keep object-selection data that moves with them
    bool forcePolling = false; // watch every folder by polling, as on a network share
    int pollIntervalMs = 2000; // how often polled folders are looked at
    int heartbeatSeconds = 60; // how often the locks we hold are refreshed and checked
    // A lock from another machine not refreshed for this long is shown as silent.
    int silentLockSeconds = 15 * 60;
    // How often the production's folder is looked at to tell whether its share answers.
    int shareProbeSeconds = 5;
};

// The defaults of this user and machine: the full name from the system (else the login
// name), and the host name.
LockingPreferences DefaultLockingPreferences();
// The saved choices with the system's defaults filled in where nothing was chosen.
LockingPreferences ResolveLockingPreferences(const LockingPreferences& saved);

// How many productions File > Open Recent keeps.
inline constexpr std::size_t kMostRecentProductions = 8;
// The production just opened becomes the last one and the first of the recent ones.
void RememberProduction(Preferences& preferences, const std::filesystem::path& folder);

Preferences LoadPreferences(const std::filesystem::path& profileDirectory);
// Writes the file beside the old one and renames it over, so a crash never leaves half a file.
bool SavePreferences(const std::filesystem::path& profileDirectory, const Preferences& preferences);

} // namespace host
