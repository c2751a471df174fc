#pragma once
// The record behind a project's row: what its five columns show and by what they sort. It is
// filled from disk and from the project's lock file, per column, so that a large production
// opens fast and re-sorting reads only what the sort needs.
#include "columns/ColumnIDs.h"
#include "host/CoreTypes.h"

#include <cstdint>

namespace HandlerTandrel::Columns {

class FileMetadata {
public:
    explicit FileMetadata(host::WideString path);

    // Refreshes every field (all), or only the field of the given column. Name and lock are
    // refreshed even when the file is gone; dates and size keep their last values then.
    // Never throws.
    void Update(bool all, ColumnID column);

    host::WideString GetDisplayString(ColumnID column) const;
    host::WideString GetSortString(ColumnID column) const;

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
};

// The Lock column's key of a project nobody holds.
inline constexpr char16_t kUnlockedSortKey[] = u"__UNLOCKED";

} // namespace HandlerTandrel::Columns
