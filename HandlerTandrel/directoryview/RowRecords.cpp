#include "directoryview/RowRecords.h"

#include "columns/DisplayName.h"
#include "host/ApplicationLayer.h"

#include <typeinfo>

namespace HandlerTandrel {

struct RowRecords::RowData final : host::UI_TreeRow::OwnerData {
    explicit RowData(const RowRecords& owner) : records(&owner) {}
    const RowRecords* records; // whose record it is
    Compact compact;
};

RowRecords::Compact* RowRecords::Lookup(const host::UI_TreeRow* row) const {
    // RowData is final, so a look at the data's type stands for a dynamic_cast, for less.
    host::UI_TreeRow::OwnerData* owned = row != nullptr ? row->GetOwnerData() : nullptr;
    auto* data = owned != nullptr && typeid(*owned) == typeid(RowData)
                     ? static_cast<RowData*>(owned)
                     : nullptr;
    return data != nullptr && data->records == this && data->compact.generation == mGeneration
               ? &data->compact
               : nullptr;
}

RowRecords::Compact& RowRecords::Obtain(const host::UI_TreeRow* row, bool& added) {
    if (Compact* known = Lookup(row)) {
        added = false;
        return *known;
    }
    added = true;
    ++mCount;
    auto data = std::make_unique<RowData>(*this);
    data->compact.generation = mGeneration;
    Compact& compact = data->compact;
    row->SetOwnerData(std::move(data));
    return compact;
}

Columns::FileMetadata RowRecords::Unpack(const Compact& compact,
                                         const host::WideString& path) const {
    Columns::FileMetadata record(path);
    const auto has = [&](std::uint8_t flag) { return (compact.flags & flag) != 0; };
    if (has(kNameRead)) {
        record.displayName = DisplayNameOf(path);
    }
    record.hasLockFile = has(kHasLockFile);
    record.lockOwnedByCurrentUser = has(kOwnedByCurrentUser);
    if (compact.lockOwner < mOwners.size()) {
        record.lockOwner = mOwners[compact.lockOwner];
    }
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
    compact.generation = mGeneration;
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
    const Compact* compact = Lookup(row);
    if (compact == nullptr) {
        return std::nullopt;
    }
    return Unpack(*compact, path);
}

bool RowRecords::Has(const host::UI_TreeRow* row) const {
    return Lookup(row) != nullptr;
}

bool RowRecords::HasLockFile(const host::UI_TreeRow* row) const {
    const Compact* compact = Lookup(row);
    return compact != nullptr && (compact->flags & kHasLockFile) != 0;
}

bool RowRecords::IsLockOwnedByCurrentUser(const host::UI_TreeRow* row) const {
    const Compact* compact = Lookup(row);
    return compact != nullptr && (compact->flags & kOwnedByCurrentUser) != 0;
}

bool RowRecords::IsStale(const host::UI_TreeRow* row) const {
    const Compact* compact = Lookup(row);
    return compact != nullptr && (compact->flags & kStale) != 0;
}

void RowRecords::Forget(const host::UI_TreeRow* row) {
    if (Lookup(row) != nullptr) {
        row->SetOwnerData(nullptr);
        --mCount;
    }
}

void RowRecords::Clear() {
    // Records still on rows belong to the generation before and count as none.
    ++mGeneration;
    mCount = 0;
    mOwners.resize(1);
    mOwnerIndexes.clear();
}

RowRecords::Outcome RowRecords::Update(const host::UI_TreeRow* row, const host::WideString& path,
                                       bool onlyIfStale, bool parentOpen,
                                       Columns::ColumnID sortColumn) {
    if (row == nullptr || !host::ProductionSupportsMarvaneProjectFile(path)) {
        return Outcome::kNothing;
    }
    bool added = false;
    Compact& entry = Obtain(row, added);
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

RowRecords::Outcome RowRecords::UpdateFromListing(const host::UI_TreeRow* row,
                                                  const host::WideString& path,
                                                  const Columns::FileMetadata::Listed& listed) {
    if (row == nullptr || !host::ProductionSupportsMarvaneProjectFile(path)) {
        return Outcome::kNothing;
    }
    bool added = false;
    Compact& entry = Obtain(row, added);
    Columns::FileMetadata record = Unpack(entry, path);
    record.UpdateFromListing(listed);
    entry = Pack(record, 0);
    return Outcome::kRead;
}

host::WideString RowRecords::NameKey(const host::UI_TreeRow* row, const host::WideString& name) {
    // A project's name field is its display name, which its name alone gives: nothing is read
    // from disk, and a record that is not there yet is not made for it.
    if (Compact* compact = Lookup(row)) {
        compact->flags |= kNameRead;
        // A row with a record is a project: its name without the extension, as DisplayNameOf
        // gives it, without asking again what the name is.
        const std::size_t slash = name.rfind(u'/');
        const std::size_t start = slash == host::WideString::npos ? 0 : slash + 1;
        const std::size_t dot = name.rfind(u'.');
        return dot == host::WideString::npos || dot <= start ? name.substr(start)
                                                             : name.substr(start, dot - start);
    }
    return DisplayNameOf(name);
}

std::optional<host::WideString> RowRecords::KnownSortKey(const host::UI_TreeRow* row,
                                                         Columns::ColumnID column) const {
    // Only projects have records: a record up to date gives the key with no path made or
    // looked at. The name is not needed for any column but Name (NameKey).
    const Compact* known = Lookup(row);
    if (known == nullptr || (known->flags & kStale) != 0 || column == Columns::kNameColumn) {
        return std::nullopt;
    }
    return Unpack(*known, host::WideString()).GetFieldSortString(column);
}

host::WideString RowRecords::SortKey(const host::UI_TreeRow* row, const host::WideString& path,
                                     Columns::ColumnID column) {
    if (column == Columns::kNameColumn) {
        return NameKey(row, path);
    }
    if (!host::ProductionSupportsMarvaneProjectFile(path)) {
        return host::WideString();
    }
    bool added = false;
    Compact& entry = Obtain(row, added);
    Columns::FileMetadata record = Unpack(entry, path);
    if (added || (entry.flags & kStale) != 0) {
        // A row not shown yet reads only what the sort needs: the sort column's field.
        record.Update(false, column);
        entry = Pack(record, kStale);
    }
    return record.GetSortString(column);
}

} // namespace HandlerTandrel
