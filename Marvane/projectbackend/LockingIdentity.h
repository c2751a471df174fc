#pragma once
// Whose locks are ours: the locking name and second string in force, and whether locking is on.
// The project back end sits below the application, which owns the preferences and this run's
// --user: it installs the source at start, and each lock decision asks it again.
#include <functional>
#include <string>

namespace host {

struct LockingIdentity {
    std::string name;
    std::string second;
    bool enabled = false;
};

void SetLockingIdentitySource(std::function<LockingIdentity()> source);
// The identity in force; locking off (and no name) while no source is installed.
LockingIdentity CurrentLockingIdentity();

} // namespace host
