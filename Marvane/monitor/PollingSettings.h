#pragma once
// How the directory monitor polls, as the user set it. The monitor sits below the application,
// which owns the preferences: it installs the source at start, and the monitor asks it each
// time, so a changed preference is followed.
#include <functional>

namespace host {

struct PollingSettings {
    bool forcePolling = false; // poll every folder, even where the system notifies changes
    int pollIntervalMs = 2000; // between two looks at a polled folder
};

void SetPollingSettingsSource(std::function<PollingSettings()> source);
PollingSettings CurrentPollingSettings();

} // namespace host
