#pragma once
// The record behind each project row of the tree (what its columns show and by what it sorts)
// and whether it is stale. A record is read in full only while its row can be seen (its
// folder is open). A row under a closed folder reads only what the sort needs and is marked
// stale, so that opening its folder reads it again; a production therefore opens with one
// lock-file read per project at its top level.
#include "columns/FileMetadata.h"
#include "host/MultiColumnTree.h"

#include <cstddef>
#include <unordered_map>

namespace HandlerTandrel {

class RowRecords {
public:
    // What an update did to a row's record.
    enum class Outcome {
        kNothing,     // not a project row, or nothing to do
        kMarkedStale, // its folder is closed: read when it opens
        kRead,        // read in full: redraw the row, which may sort elsewhere now
    };

    // The record of a project row; null for other rows and rows not seen yet.
    const Columns::FileMetadata* Find(const host::UI_TreeRow* row) const;
    bool IsStale(const host::UI_TreeRow* row) const;
    void Forget(const host::UI_TreeRow* row);
    void Clear();
    std::size_t Count() const { return mRecords.size(); }

    // Updates the record of the row at path, when path is a project the production supports.
    // With its folder open every field is read, lock state included (with onlyIfStale, only
    // when the record is new or stale); with its folder closed the record is only marked
    // stale, unless onlyIfStale. sortColumn is the field a full read reads first.
    Outcome Update(const host::UI_TreeRow* row, const host::WideString& path, bool onlyIfStale,
                   bool parentOpen, Columns::ColumnID sortColumn);

    // The row's key in the sort column. A project row that was never read, or is stale, reads
    // only that column's field and stays stale; other rows sort by name, and by nothing in the
    // other columns.
    host::WideString SortKey(const host::UI_TreeRow* row, const host::WideString& path,
                             Columns::ColumnID column);

private:
    struct RowRecord {
        Columns::FileMetadata record;
        bool stale = false;
    };

    std::unordered_map<const host::UI_TreeRow*, RowRecord> mRecords;
};

} // namespace HandlerTandrel
