#include "Marvane/projectbackend/LockingIdentity.h"
#include "Marvane/core/InstalledSource.h"

#include <mutex>

namespace host {

namespace {

InstalledSource<LockingIdentity>& IdentitySource() {
    static InstalledSource<LockingIdentity> source;
    return source;
}

} // namespace

void SetLockingIdentitySource(std::function<LockingIdentity()> source) {
    IdentitySource().Install(std::move(source));
}

LockingIdentity CurrentLockingIdentity() {
    return IdentitySource().Get();
}

} // namespace host
