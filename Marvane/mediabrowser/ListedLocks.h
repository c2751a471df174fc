#pragma once
// The locks a folder's listing reads, kept by what the listing saw of each lock file (its inode,
// size, modification and change times): a lock file that is the same file, unchanged, is not
// read again when its folder is listed again (reopened, refreshed, or re-read because something
// else in it changed). On a share every read is several round trips to the server; an unchanged
// lock costs none. A lock written anew is a new file (locks are placed by link, refreshed by
// touching their time), so it never matches what was kept of the old one.
//
// This serves what the tree shows. Taking, releasing and judging locks always reads the file.
// Safe on any thread.
#include "host/ProjectBackEnd.h"

#include <cstdint>
#include <optional>
#include <string>
#include <sys/stat.h>

namespace host {

// What a listing saw of a lock file.
// Nothing seen (the look failed) is all zero, and is never kept.
struct LockFileSeen {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t size = 0;
    std::int64_t modifiedSeconds = 0;
    std::uint32_t modifiedNanoseconds = 0;
    std::int64_t changedSeconds = 0;
    std::uint32_t changedNanoseconds = 0;
    std::int64_t bornSeconds = 0; // where the file system keeps birth times
    std::uint32_t bornNanoseconds = 0;

    static LockFileSeen Of(const struct statx& status);
    bool operator==(const LockFileSeen&) const = default;
};

// The project's lock as ReadProjectLockFile gave it for the identity (name, second) when the
// same unchanged file was read before; empty when it was not.
std::optional<ProjectLockFilePtr> KeptListedLock(const std::string& projectPath,
                                                 const LockFileSeen& seen, const ByteString& name,
                                                 const ByteString& second);
// The project's lock as ReadProjectLockFile gives it for the identity: kept from an earlier
// read of the same unchanged file, else read now and kept when it names a holder (a lock gone
// or unreadable by the time it was read is read again next time).
ProjectLockFilePtr ReadListedLock(const std::string& projectPath, const LockFileSeen& seen,
                                  const ByteString& name, const ByteString& second);

// Forgets every lock kept (between tests).
void ForgetListedLocks();

} // namespace host
