#pragma once
// Lock files: "<project file name>.lock" beside the project, UTF-8 JSON naming the holder.
// Host-internal API; modules use ReadProjectLockFile / CreateProjectLockFile.
#include "host/ProjectBackEnd.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

namespace host {

struct LockFileContent {
    std::string lockingName;
    std::string secondLockingString;
    std::string hostName;
    long long processId = 0;
    std::string bootId;
    std::string createdUtc;
};

enum class LockFileState { Missing, Valid, Unreadable };

std::filesystem::path LockFilePathFor(const std::filesystem::path& projectPath);
// Reads a lock file. Anything that exists but is not a complete lock (empty, truncated, not
// JSON, members of the wrong kind, a folder, a special file) is Unreadable.
LockFileState ReadLockFile(const std::filesystem::path& lockPath, LockFileContent& content);
// How many times a lock file was looked for since the process started.
std::uint64_t LockFileReadCount();
// The content this process writes for an identity: its host name, process id, boot id, now.
LockFileContent MakeLockFileContent(const std::string& name, const std::string& second);
std::string SerialiseLockFile(const LockFileContent& content);
std::string ThisMachinesBootId();

// Whether the lock was written by another process that is still running on this machine
// since its last start (another copy of the host, perhaps of the same user).
bool IsHeldByAnotherLiveProcessHere(const LockFileContent& content);
// Whether the lock was written by this very process.
bool IsWrittenByThisProcess(const LockFileContent& content);
// Rewrites a lock of our identity that a process no longer running left behind, so that it
// names this process. False when the lock is not ours or could not be rewritten.
bool TakeOverOwnLockFile(const std::filesystem::path& projectPath);
// Removes the project's lock file when, and only when, this process wrote it. The check and
// the removal happen on a private name, so a lock someone else puts there meanwhile stays.
bool RemoveOwnLockFile(const std::filesystem::path& projectPath);

// Locks made through CreateProjectLockFile stay until an open project takes one over
// (ForgetCreatedLock) or the host stops: ReleaseCreatedLocks then removes those this process
// wrote and returns how many it removed.
void ForgetCreatedLock(const std::filesystem::path& projectPath);
std::size_t ReleaseCreatedLocks();

} // namespace host
