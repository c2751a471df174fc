#include "Marvane/application/HostSession.h"

#include <cstdlib>

namespace host {

namespace {
std::filesystem::path FromEnvironment(const char* variable, const char* homeRelative) {
    if (const char* value = std::getenv(variable); value != nullptr && value[0] == '/') {
        return std::filesystem::path(value) / "marvane";
    }
    const char* home = std::getenv("HOME");
    return std::filesystem::path(home != nullptr ? home : "/tmp") / homeRelative / "marvane";
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
