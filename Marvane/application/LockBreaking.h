#pragma once
// Taking an open, read-only project over from a holder who is gone: Take Over for a lock
// whose marvane is no longer running on this machine, Break Lock for a silent lock from
// another machine. Either way our lock replaces theirs in one safe step (never a live lock,
// and of several editors trying at once exactly one wins), the replacement is recorded in
// the production's lock record, and the project becomes writable with what its holder last
// saved.
#include "Marvane/documents/DocumentManager.h"
#include "Marvane/projectbackend/LockStates.h"

#include <string>

namespace host {

// The project's lock as it is now, judged with the silence threshold of the preferences.
bool InspectProjectLock(const OpenProject& project, LockReport& report);
// The confirmation Break Lock asks for, naming the holder, their machine and when they were
// last seen.
std::string BreakLockQuestion(const OpenProject& project, const LockReport& report);
// Replaces an abandoned lock (and, with breakSilent, a silent one) by ours; empty on
// success, otherwise what the user is told. A replacement that went ahead but could not be
// written to the lock record (recordError not null) sets recordError to what the user is told.
std::string TakeOverProject(const OpenProjectPtr& project, bool breakSilent,
                            std::string* recordError = nullptr);

} // namespace host
