#pragma once
// Project locks as the panel uses them: who holds a project, whether an open read-only
// project is out of date, the lock error, and the lock steps that moving projects takes.
#include "host/CoreTypes.h"
#include "host/OpenProjects.h"
#include "host/ProjectBackEnd.h"

namespace HandlerTandrel::Utils {

// True only when the project has a lock file whose holder is not this user, compared byte
// for byte with the locking name (an empty locking name counts as someone else).
bool IsLockedByOtherUser(const host::WideString& projectPath);

// True when the project is open in the host, read-only, and changed on disk since it loaded.
bool IsOpenReadOnlyAndOutOfDate(const host::WideString& projectPath);

// "Unable to Lock Project" for the path, when the host has a workspace; traced either way.
void ShowLockError(const host::WideString& projectPath);

// The lock steps before a project file moves from source to destination.
struct ProjectMoveLocks {
    // False: do not move. Either another user holds the source (skipped silently) or a lock
    // could not be made (the lock error was shown for the path that failed).
    bool proceed = false;
    // The source already carried this user's lock: the destination lock then goes to the open
    // project after the move. A source that was unlocked gets a lock of its own first, and its
    // open project keeps the locks it had.
    bool sourceHadOwnLock = false;
    host::ProjectPtr openProject;
    host::ProjectLockFilePtr destinationLock;
};
ProjectMoveLocks LockProjectForMove(const host::WideString& source,
                                    const host::WideString& destination);

// After an open, writable project moved with its folder: lock it at its new path and attach
// the lock to it, when the locking preferences are available. Failures are silent.
void RelockMovedProject(const host::ProjectPtr& project, const host::WideString& newPath);

} // namespace HandlerTandrel::Utils
