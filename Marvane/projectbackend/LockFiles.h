#pragma once
// Lock files: "<project file name>.lock" beside the project, UTF-8 JSON naming the holder.
// Host-internal API; modules use ReadProjectLockFile / CreateProjectLockFile.
#include "host/ProjectBackEnd.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace host {

struct LockFileContent {
    std::string lockingName;
    std::string secondLockingString;
    std::string hostName;
    long long processId = 0;
    // When the holder's process started (clock ticks since boot): a pid reused by another
    // process has another start time. 0 in locks written before it was recorded.
    long long processStartTicks = 0;
    std::string bootId;
    std::string machineId;
    std::string createdUtc;
};

// Who holds a lock, as far as this machine can tell.
enum class LockHolder {
    ThisProcess,
    // Another process on this machine that is still running since it wrote the lock.
    LiveHere,
    // Written on this machine by a process that is gone (or before the machine restarted):
    // nobody holds it any more.
    GoneHere,
    // Written on another machine (or one we cannot tell from another): it may be live.
    Elsewhere,
};

enum class LockFileState { Missing, Valid, Unreadable };

std::filesystem::path LockFilePathFor(const std::filesystem::path& projectPath);
// Whether a file name is that of a project's lock ("Scene 12.mvproj.lock"), whatever it is.
bool IsProjectLockFileName(const std::string& name);
// Reads a lock file. Anything that exists but is not a complete lock (empty, truncated, not
// JSON, members of the wrong kind, a folder, a special file) is Unreadable.
LockFileState ReadLockFile(const std::filesystem::path& lockPath, LockFileContent& content);
// The same, also giving the lock's exact bytes (empty unless Valid).
LockFileState ReadLockFile(const std::filesystem::path& lockPath, LockFileContent& content,
                           std::string& bytes);
// How many times a lock file was looked for since the process started.
std::uint64_t LockFileReadCount();
// The content this process writes for an identity: its host name, process id, boot id, now.
LockFileContent MakeLockFileContent(const std::string& name, const std::string& second);
std::string SerialiseLockFile(const LockFileContent& content);

LockHolder JudgeLockHolder(const LockFileContent& content);
// Whether the lock may be held by another process that is running: on this machine (another
// copy of the host, perhaps of the same user) or on another one.
bool MayBeHeldByAnotherProcess(const LockFileContent& content);
// Whether the lock was written by this very process.
bool IsWrittenByThisProcess(const LockFileContent& content);

enum class TakeOverResult {
    Taken,        // the lock now names this process
    NotAbandoned, // the lock is held by a process that may be running, or is not ours
    Lost,         // another process took it over first, or the lock changed meanwhile
    Failed,       // ours could not be written; the old lock is as it was
};
// Replaces a lock of our identity that a process no longer running left behind by one that
// names this process. When several processes try at once exactly one succeeds, and a lock
// that is live is never removed.
TakeOverResult TakeOverOwnLockFile(const std::filesystem::path& projectPath);
// What a replacement may replace, and what it puts in the lock's place.
struct LockReplacement {
    bool onlyOurs = false;   // only a lock of our identity
    bool silentToo = false;  // also a lock from another machine not seen for silentAfter
    bool evenIfLive = false; // any lock, even a live one or an unreadable file (forced)
    bool placeOurs = true;   // our lock takes its place; otherwise the place is left free
    std::chrono::seconds silentAfter{15 * 60};
};
// Replaces the project's lock (an abandoned one, and what the replacement allows besides)
// with the same guarantees as the take-over: of many at once exactly one succeeds, and a lock
// that appears meanwhile is never removed. replacedBytes: the lock that was replaced.
TakeOverResult ReplaceLockFile(const std::filesystem::path& projectPath,
                               const LockReplacement& replacement, std::string* replacedBytes);
// The claim a take-over makes on the exact bytes of the lock it judged abandoned; a later
// generation is tried when the maker of an earlier one is gone.
std::filesystem::path TakeOverMarkerPath(const std::filesystem::path& lockPath,
                                         const std::string& judgedBytes, int generation);
// Removes the project's lock file when, and only when, this process wrote it; alsoAbandoned
// also removes a lock of our identity whose writer is gone (a crash left it). The check and
// the removal happen on a private name, so a lock someone else puts there meanwhile stays.
bool RemoveOwnLockFile(const std::filesystem::path& projectPath, bool alsoAbandoned = false);
// The same, telling a lock that is not ours (nothing to do) from one of ours that could not
// go: a share that kept refusing (a colleague reading it, for longer than kBusyPatience) or
// did not answer.
enum class LockRelease { Released, NotOurs, Failed };
LockRelease ReleaseOwnLockFile(const std::filesystem::path& projectPath,
                               bool alsoAbandoned = false);

// The project back end's lock operations (host/ProjectBackEnd.h hands them to modules as
// ReadProjectLockFile, CreateProjectLockFile and DoesDirectoryContainLockedProjects).
ProjectLockFilePtr ReadLockFor(const ByteString& projectPath, const ByteString& name,
                               const ByteString& second);
ProjectLockFilePtr CreateLockFor(const ByteString& projectPath, const ByteString& name,
                                 const ByteString& second);
bool FolderHoldsLockedProjects(const ByteString& folderPath, bool recursive, bool othersOnly);

// Why the last CreateProjectLockFile on this thread wrote nothing ("<path>: <reason>"), or
// empty when it did not fail for want of writing.
std::string LockCreationError();

// Locks made through CreateProjectLockFile stay until an open project takes one over
// (ForgetCreatedLock), or until the command that made them has ended and the event loop turns
// again (or the host stops, without one): ReleaseCreatedLocks then removes those this process
// wrote and returns how many it removed.
void ForgetCreatedLock(const std::filesystem::path& projectPath);
std::size_t ReleaseCreatedLocks();
// A lock of ours that could not be released now (LockRelease::Failed) is tried again with
// those: at the next turn of the event loop, and when the host stops.
void KeepReleasing(const std::filesystem::path& projectPath);
// The projects whose locks of ours are still waiting to go: after the last
// ReleaseCreatedLocks, those it could not remove.
std::vector<std::string> LocksLeftBehind();

// Those locks are noted while they wait to go in a record of this process kept in the folder
// given ("<data folder>/Locks"; empty keeps none), so that the next start removes the locks a
// run killed in the middle of a move left on projects nobody has open: a lock goes only when
// it is still the one that very run wrote. A lock on a share not mounted now stays noted for a
// later start. The start does it on a thread of its own (a share that does not answer never
// holds it up); the stop waits for that at most the deadline.
void SetLockNotesFolder(const std::filesystem::path& folder);
std::size_t ReleaseLocksOfGoneRuns();
void StartReleasingLocksOfGoneRuns();
void StopReleasingLocksOfGoneRuns(std::chrono::milliseconds deadline);
// Forgets this process's record at a clean stop (kept when a lock could not be removed).
void CloseLockNotes();

} // namespace host
