#include "Marvane/application/HostSession.h"

#include <cstdlib>
#include <pwd.h>
#include <string>
#include <unistd.h>

namespace host {

namespace {
// The user's home: $HOME, else the user database; never a folder shared with other users.
std::filesystem::path HomeDirectory() {
    if (const char* home = std::getenv("HOME"); home != nullptr && home[0] == '/') {
        return home;
    }
    if (const passwd* entry = getpwuid(getuid()); entry != nullptr && entry->pw_dir != nullptr) {
        return entry->pw_dir;
    }
    return std::filesystem::path("/tmp") / ("marvane-" + std::to_string(getuid()));
}

std::filesystem::path FromEnvironment(const char* variable, const char* homeRelative) {
    if (const char* value = std::getenv(variable); value != nullptr && value[0] == '/') {
        return std::filesystem::path(value) / "marvane";
    }
    return HomeDirectory() / homeRelative / "marvane";
}
} // namespace

HostSession& HostSession::Instance() {
    static HostSession session;
    return session;
}

LockingPreferences HostSession::GetLocking() const {
    LockingPreferences locking = ResolveLockingPreferences(preferences.locking);
    if (userOverride) {
        locking.name = *userOverride;
    }
    return locking;
}

std::filesystem::path DefaultProfileDirectory() {
    return FromEnvironment("XDG_CONFIG_HOME", ".config");
}

std::filesystem::path DefaultDataDirectory() {
    return FromEnvironment("XDG_DATA_HOME", ".local/share");
}

} // namespace host
