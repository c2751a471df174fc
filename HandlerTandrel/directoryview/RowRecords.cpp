#include "directoryview/RowRecords.h"

#include "columns/DisplayName.h"
#include "host/ApplicationLayer.h"

namespace HandlerTandrel {

Columns::FileMetadata RowRecords::Unpack(const Compact& compact,
                                         const host::WideString& path) const {
    Columns::FileMetadata record(path);
    const auto has = [&](std::uint8_t flag) { return (compact.flags & flag) != 0; };
    if (has(kNameRead)) {
        record.displayName = DisplayNameOf(path);
    }
    record.hasLockFile = has(kHasLockFile);
    record.lockOwnedByCurrentUser = has(kOwnedByCurrentUser);
    record.lockOwner = mOwners[compact.lockOwner];
    record.modifiedTime = compact.modifiedTime;
    record.hasModifiedTime = has(kHasModifiedTime);
    record.createdTime = compact.createdTime;
    record.hasCreatedTime = has(kHasCreatedTime);
    record.size = compact.size;
    record.hasSize = has(kHasSize);
    return record;
}

RowRecords::Compact RowRecords::Pack(const Columns::FileMetadata& record, std::uint8_t keep) {
    Compact compact;
    compact.modifiedTime = record.modifiedTime;
    compact.createdTime = record.createdTime;
    compact.size = record.size;
    compact.lockOwner = OwnerIndex(record.lockOwner);
    compact.flags = static_cast<std::uint8_t>(
        keep | (record.displayName.empty() ? 0 : kNameRead) |
        (record.hasLockFile ? kHasLockFile : 0) |
        (record.lockOwnedByCurrentUser ? kOwnedByCurrentUser : 0) |
        (record.hasModifiedTime ? kHasModifiedTime : 0) |
        (record.hasCreatedTime ? kHasCreatedTime : 0) | (record.hasSize ? kHasSize : 0));
    return compact;
}

std::uint32_t RowRecords::OwnerIndex(const host::WideString& owner) {
    if (owner.empty()) {
        return 0;
    }
    const auto [found, added] =
        mOwnerIndexes.try_emplace(owner, static_cast<std::uint32_t>(mOwners.size()));
    if (added) {
        mOwners.push_back(owner);
    }
    return found->second;
}

std::optional<Columns::FileMetadata> RowRecords::Find(const host::UI_TreeRow* row,
                                                      const host::WideString& path) const {
    const auto found = mRecords.find(row);
    if (found == mRecords.end()) {
        return std::nullopt;
    }
    return Unpack(found->second, path);
}

bool RowRecords::Has(const host::UI_TreeRow* row) const {
    return mRecords.count(row) != 0;
}

bool RowRecords::HasLockFile(const host::UI_TreeRow* row) const {
    const auto found = mRecords.find(row);
    return found != mRecords.end() && (found->second.flags & kHasLockFile) != 0;
}

bool RowRecords::IsLockOwnedByCurrentUser(const host::UI_TreeRow* row) const {
    const auto found = mRecords.find(row);
    return found != mRecords.end() && (found->second.flags & kOwnedByCurrentUser) != 0;
}

bool RowRecords::IsStale(const host::UI_TreeRow* row) const {
    const auto found = mRecords.find(row);
    return found != mRecords.end() && (found->second.flags & kStale) != 0;
}

void RowRecords::Forget(const host::UI_TreeRow* row) {
    mRecords.erase(row);
}

void RowRecords::Clear() {
    mRecords.clear();
    mOwners.resize(1);
    mOwnerIndexes.clear();
}

RowRecords::Outcome RowRecords::Update(const host::UI_TreeRow* row, const host::WideString& path,
                                       bool onlyIfStale, bool parentOpen,
                                       Columns::ColumnID sortColumn) {
    if (row == nullptr || !host::ProductionSupportsMarvaneProjectFile(path)) {
        return Outcome::kNothing;
    }
    auto [found, added] = mRecords.try_emplace(row);
    Compact& entry = found->second;
    const bool stale = (entry.flags & kStale) != 0;
    if (parentOpen) {
        if (onlyIfStale && !stale && !added) {
            return Outcome::kNothing;
        }
        // Shown in the tree (its folder is open): every field, lock state included.
        Columns::FileMetadata record = Unpack(entry, path);
        record.Update(true, sortColumn);
        entry = Pack(record, 0);
        return Outcome::kRead;
    }
    if (!onlyIfStale) {
        entry.flags |= kStale;
        return Outcome::kMarkedStale;
    }
    return Outcome::kNothing;
}

host::WideString RowRecords::NameKey(const host::UI_TreeRow* row, const host::WideString& name) {
    // A project's name field is its display name, which its name alone gives: nothing is read
    // from disk, and a record that is not there yet is not made for it.
    if (const auto found = mRecords.find(row); found != mRecords.end()) {
        found->second.flags |= kNameRead;
    }
    return DisplayNameOf(name);
}

host::WideString RowRecords::SortKey(const host::UI_TreeRow* row, const host::WideString& path,
                                     Columns::ColumnID column) {
    if (column == Columns::kNameColumn) {
        return NameKey(row, path);
    }
    if (!host::ProductionSupportsMarvaneProjectFile(path)) {
        return host::WideString();
    }
    auto [found, added] = mRecords.try_emplace(row);
    Compact& entry = found->second;
    Columns::FileMetadata record = Unpack(entry, path);
    if (added || (entry.flags & kStale) != 0) {
        // A row not shown yet reads only what the sort needs: the sort column's field.
        record.Update(false, column);
        entry = Pack(record, kStale);
    }
    return record.GetSortString(column);
}

} // namespace HandlerTandrel
