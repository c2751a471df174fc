#include "directoryview/RowRecords.h"

#include "columns/DisplayName.h"
#include "host/ApplicationLayer.h"

namespace HandlerTandrel {

const Columns::FileMetadata* RowRecords::Find(const host::UI_TreeRow* row) const {
    const auto found = mRecords.find(row);
    return found == mRecords.end() ? nullptr : &found->second.record;
}

bool RowRecords::IsStale(const host::UI_TreeRow* row) const {
    const auto found = mRecords.find(row);
    return found != mRecords.end() && found->second.stale;
}

void RowRecords::Forget(const host::UI_TreeRow* row) {
    mRecords.erase(row);
}

void RowRecords::Clear() {
    mRecords.clear();
}

RowRecords::Outcome RowRecords::Update(const host::UI_TreeRow* row, const host::WideString& path,
                                       bool onlyIfStale, bool parentOpen,
                                       Columns::ColumnID sortColumn) {
    if (row == nullptr || !host::ProductionSupportsMarvaneProjectFile(path)) {
        return Outcome::kNothing;
    }
    auto [found, added] = mRecords.try_emplace(row, RowRecord{Columns::FileMetadata(path)});
    RowRecord& entry = found->second;
    if (parentOpen) {
        if (onlyIfStale && !entry.stale && !added) {
            return Outcome::kNothing;
        }
        // Shown in the tree (its folder is open): every field, lock state included.
        entry.record.Update(true, sortColumn);
        entry.stale = false;
        return Outcome::kRead;
    }
    if (!onlyIfStale) {
        entry.stale = true;
        return Outcome::kMarkedStale;
    }
    return Outcome::kNothing;
}

host::WideString RowRecords::SortKey(const host::UI_TreeRow* row, const host::WideString& path,
                                     Columns::ColumnID column) {
    if (!host::ProductionSupportsMarvaneProjectFile(path)) {
        return column == Columns::kNameColumn ? DisplayNameOf(path) : host::WideString();
    }
    auto [found, added] = mRecords.try_emplace(row, RowRecord{Columns::FileMetadata(path)});
    if (added || found->second.stale) {
        // A row not shown yet reads only what the sort needs: the sort column's field.
        found->second.record.Update(false, column);
        found->second.stale = true;
    }
    if (column == Columns::kNameColumn && found->second.record.displayName.empty()) {
        return DisplayNameOf(path);
    }
    return found->second.record.GetSortString(column);
}

} // namespace HandlerTandrel
