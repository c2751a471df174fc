#pragma once
// The record behind each project row of the tree (what its columns show and by what it sorts)
// and whether it is stale. A record is read in full only while its row can be seen (its
// folder is open), from its folder's listing where there is one (UpdateFromListing). A row
// under a closed folder reads only what the sort needs and is marked stale, so that opening
// its folder reads it again; a production therefore opens with its top folder's listing and
// one read per lock file there.
//
// A production may show a hundred thousand rows, so records are kept small and with their rows
// (no map from rows to records): numbers and flags, and the lock holder's name once for all
// the projects it holds. The path and display name, which the row's path gives, are not kept;
// a record is made whole when it is asked for.
#include "columns/FileMetadata.h"
#include "host/MultiColumnTree.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

namespace HandlerTandrel {

class RowRecords {
public:
    // What an update did to a row's record.
    enum class Outcome {
        kNothing,     // not a project row, or nothing to do
        kMarkedStale, // its folder is closed: read when it opens
        kRead,        // read in full: redraw the row, which may sort elsewhere now
    };

    // The record of a project row at path; empty for other rows and rows not seen yet.
    std::optional<Columns::FileMetadata> Find(const host::UI_TreeRow* row,
                                              const host::WideString& path) const;
    // Whether the row has a record (read, or only marked stale).
    bool Has(const host::UI_TreeRow* row) const;
    // The two lock flags of a row's record, false for rows without one.
    bool HasLockFile(const host::UI_TreeRow* row) const;
    bool IsLockOwnedByCurrentUser(const host::UI_TreeRow* row) const;
    bool IsStale(const host::UI_TreeRow* row) const;
    void Forget(const host::UI_TreeRow* row);
    void Clear();
    // How many rows have a record.
    std::size_t Count() const { return mCount; }

    // Updates the record of the row at path, when path is a project the production supports.
    // With its folder open every field is read, lock state included (with onlyIfStale, only
    // when the record is new or stale); with its folder closed the record is only marked
    // stale, unless onlyIfStale. sortColumn is the field a full read reads first.
    Outcome Update(const host::UI_TreeRow* row, const host::WideString& path, bool onlyIfStale,
                   bool parentOpen, Columns::ColumnID sortColumn);

    // Reads the record of a project row whose folder is open from what the folder's listing
    // said of it (see FileMetadata::UpdateFromListing); nothing for other rows.
    Outcome UpdateFromListing(const host::UI_TreeRow* row, const host::WideString& path,
                              const Columns::FileMetadata::Listed& listed);

    // The row's key in the sort column. A project row that was never read, or is stale, reads
    // only that column's field and stays stale; other rows sort by name, and by nothing in the
    // other columns.
    host::WideString SortKey(const host::UI_TreeRow* row, const host::WideString& path,
                             Columns::ColumnID column);
    // The key in the Name column, from the row's name (the last part of its path) alone; the
    // whole path gives the same key.
    host::WideString NameKey(const host::UI_TreeRow* row, const host::WideString& name);
    // The key in a column other than Name of a row whose record is up to date, made from the
    // record alone; none when the row has no such record (SortKey then reads what is needed).
    std::optional<host::WideString> KnownSortKey(const host::UI_TreeRow* row,
                                                 Columns::ColumnID column) const;

private:
    // A record as kept, with its row: FileMetadata without its strings.
    struct Compact {
        std::int64_t modifiedTime = 0;
        std::int64_t createdTime = 0;
        std::uint64_t size = 0;
        std::uint32_t lockOwner = 0;  // in mOwners; 0 is nobody
        std::uint32_t generation = 0; // the records' generation it belongs to
        std::uint8_t flags = 0;
    };
    struct RowData;
    static constexpr std::uint8_t kNameRead = 1;
    static constexpr std::uint8_t kHasLockFile = 2;
    static constexpr std::uint8_t kOwnedByCurrentUser = 4;
    static constexpr std::uint8_t kHasModifiedTime = 8;
    static constexpr std::uint8_t kHasCreatedTime = 16;
    static constexpr std::uint8_t kHasSize = 32;
    static constexpr std::uint8_t kStale = 64;

    // The row's record, if it has one of these records (not of another owner, nor of a
    // generation that was cleared).
    Compact* Lookup(const host::UI_TreeRow* row) const;
    // The row's record, made empty when it has none; added tells which.
    Compact& Obtain(const host::UI_TreeRow* row, bool& added);
    Columns::FileMetadata Unpack(const Compact& compact, const host::WideString& path) const;
    Compact Pack(const Columns::FileMetadata& record, std::uint8_t keep);
    std::uint32_t OwnerIndex(const host::WideString& owner);

    std::uint32_t mGeneration = 0;
    std::size_t mCount = 0;
    std::vector<host::WideString> mOwners{host::WideString()};
    std::unordered_map<host::WideString, std::uint32_t> mOwnerIndexes;
};

} // namespace HandlerTandrel
