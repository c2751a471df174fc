#pragma once
// The record behind a project's row: what its five columns show and by what they sort. It is
// filled from disk and from the project's lock file, per column, so that a large production
// opens fast and re-sorting reads only what the sort needs.
#include "columns/ColumnIDs.h"
#include "host/CoreTypes.h"
#include "host/ProjectBackEnd.h"

#include <cstdint>

namespace HandlerTandrel::Columns {

class FileMetadata {
public:
    explicit FileMetadata(host::WideString path);

    // Refreshes every field (all), or only the field of the given column. Name and lock are
    // refreshed even when the file is gone; dates and size keep their last values then.
    // Never throws.
    void Update(bool all, ColumnID column);

    // What a listing of the project's folder, read a moment ago, said of the project.
    struct Listed {
        std::int64_t modifiedTicks = 0; // 100-nanosecond ticks since 1970, as the file's own
        std::int64_t createdTicks = 0;
        std::uint64_t size = 0;
        bool lockListed = false; // the same listing holds the project's lock file
        bool lockRead = false;   // and read it: lock is what it holds (null: gone by then)
        host::ProjectLockFilePtr lock;
    };
    // Refreshes every field as Update(true, ...) does, taking dates and size from the listing
    // and the lock from what the listing read of it; a lock file the listing holds but did not
    // read is read now, and a project whose lock is not in its folder has none. On a share,
    // where every look is a round trip, a folder's records then cost its listing and its locks
    // read side by side. Never throws.
    void UpdateFromListing(const Listed& listed);

    host::WideString GetDisplayString(ColumnID column) const;
    host::WideString GetSortString(ColumnID column) const;
    // The key of the fields as they stand, for a record whose file is known to be there
    // (GetSortString without the look at the path).
    host::WideString GetFieldSortString(ColumnID column) const;

    bool lockOwnedByCurrentUser = false; // meaningful while hasLockFile
    bool hasLockFile = false;
    host::WideString path;
    host::WideString displayName;
    host::WideString lockOwner;
    std::int64_t modifiedTime = 0; // whole seconds since 1970 UTC
    bool hasModifiedTime = false;
    std::int64_t createdTime = 0;
    bool hasCreatedTime = false;
    std::uint64_t size = 0;
    bool hasSize = false;

private:
    void UpdateSteps(bool all, ColumnID column);
    void UpdateLock();
    // The lock step with a lock already read (null: no lock file).
    void TakeLock(const host::ProjectLockFilePtr& lock);
};

// The Lock column's key of a project nobody holds.
inline constexpr char16_t kUnlockedSortKey[] = u"__UNLOCKED";

} // namespace HandlerTandrel::Columns
