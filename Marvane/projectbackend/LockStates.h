#pragma once
// What a lock means to the editor looking at it. A lock's holder refreshes the lock file's
// modification time while it holds it (the heartbeat), so "last seen" is that time:
//   yours       our identity, and its writer is running (here or, for a copy of ours, on
//               another machine)
//   live        someone else's, written here by a running process, or from another machine
//               and seen within the silence threshold
//   abandoned   written on this machine by a process that is gone (or before a restart)
//   silent      from another machine, not seen for longer than the threshold: its holder
//               may have crashed, lost the share, or be asleep
//   unreadable  anything at the lock's name that is not a complete lock
#include "Marvane/projectbackend/LockFiles.h"

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

namespace host {

enum class LockState { Yours, Live, Abandoned, Silent, Unreadable };

// "yours", "live", "abandoned", "silent", "unreadable".
const char* LockStateName(LockState state);

struct LockReport {
    std::filesystem::path projectPath;
    std::filesystem::path lockPath;
    LockState state = LockState::Unreadable;
    LockFileContent content; // empty for an unreadable lock
    // How long ago the holder last refreshed the lock; zero when it cannot be told.
    std::chrono::seconds sinceLastSeen{0};
    std::filesystem::file_time_type lastSeen{};
    // The lock's folder did not answer in time (a share that hangs): nothing else is known.
    bool unanswered = false;
};

// The default silence threshold; the preference "silentLockMinutes" changes it.
inline constexpr std::chrono::seconds kDefaultSilentAfter{15 * 60};
// How often a held lock is refreshed; the preference "heartbeatSeconds" changes it.
inline constexpr std::chrono::seconds kDefaultHeartbeat{60};

// The state of a lock from what it says and how long ago it was last seen.
LockState JudgeLockState(LockFileState read, const LockFileContent& content,
                         std::chrono::seconds sinceLastSeen, std::chrono::seconds silentAfter);
// The project's lock as it is now; nothing (state Unreadable with an empty lock path) when
// there is no lock.
bool InspectLock(const std::filesystem::path& projectPath, std::chrono::seconds silentAfter,
                 LockReport& report);
// Every lock of the production's projects at any depth (hidden folders, project folders and
// symbolic links are not entered), by path.
std::vector<LockReport> ListProductionLocks(const std::filesystem::path& production,
                                            std::chrono::seconds silentAfter);
// Refreshes the lock's modification time without touching its content; false when the lock
// on disk is not the one given (byte for byte) or cannot be touched.
bool RefreshLockTime(const std::filesystem::path& lockPath, const std::string& expectedBytes);
// "3 min ago", "2 h ago", "just now": how a user reads a last-seen time.
std::string DescribeLastSeen(std::chrono::seconds sinceLastSeen);
// One sentence on who holds the lock and whether anyone still does, for tooltips and the
// read-only banner: "Ben Okafor's marvane on edit-bay-2 is no longer running." ...
std::string DescribeLock(const LockReport& report);

} // namespace host
