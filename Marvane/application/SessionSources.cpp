// The layers below the application ask it, through sources it installs here, for what only it
// knows: the profile folder, the locking identity in force, and the preferences that steer
// polling and side data. Installed while the host library loads, before any code runs that
// could ask, and each answer is read from the session when asked, so changes are followed.
#include "Marvane/application/HostSession.h"
#include "Marvane/documents/ProjectSideData.h"
#include "Marvane/fileservices/HostFolders.h"
#include "Marvane/monitor/PollingSettings.h"
#include "Marvane/projectbackend/LockingIdentity.h"

namespace host {

namespace {

bool InstallSessionSources() {
    SetProfileFolderSource([] { return HostSession::Instance().profileDirectory; });
    SetLockingIdentitySource([] {
        const LockingPreferences locking = HostSession::Instance().GetLocking();
        return LockingIdentity{locking.name, locking.second, locking.enabled};
    });
    SetPollingSettingsSource([] {
        const Preferences& preferences = HostSession::Instance().preferences;
        return PollingSettings{preferences.forcePolling, preferences.pollIntervalMs};
    });
    SetNewMaskingSource([] { return HostSession::Instance().preferences.newMasking; });
    return true;
}

[[maybe_unused]] const bool gSessionSourcesInstalled = InstallSessionSources();

} // namespace

} // namespace host
