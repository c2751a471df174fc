#include "directoryview/RecordRefresher.h"

#include "host/ApplicationLayer.h"
#include "host/FileServices.h"

namespace HandlerTandrel {

std::vector<host::TreeRowPtr> RecordRefresher::ChildRows(const host::UI_MultiColumnTree& tree,
                                                         const host::TreeRowPtr& row) {
    const int count = row ? row->GetChildCount() : tree.GetTopLevelRowCount();
    std::vector<host::TreeRowPtr> children;
    children.reserve(static_cast<std::size_t>(count));
    for (int index = 0; index < count; ++index) {
        children.push_back(row ? row->GetChild(index) : tree.GetTopLevelRow(index));
    }
    return children;
}

void RecordRefresher::RefreshRow(const host::TreeRowPtr& row, bool onlyIfStale, bool parentOpen) {
    const host::WideString path = mView.GetRowPath(row);
    const RowRecords::Outcome outcome =
        mRecords.Update(row.get(), path, onlyIfStale, parentOpen, mHeader.GetSortColumn());
    if (outcome == RowRecords::Outcome::kRead) {
        mView.GetTree().RefreshRow(row);
        // What was read may order it differently (someone took the lock since it was listed).
        mView.GetTree().RowSortKeyChanged(row);
    }
}

void RecordRefresher::RefreshRowsTogether(const std::vector<host::TreeRowPtr>& rows) {
    std::vector<host::WideString> paths;
    paths.reserve(rows.size());
    for (const host::TreeRowPtr& row : rows) {
        paths.push_back(mView.GetRowPath(row));
    }
    const std::vector<bool> read = ReadTogether(mRecords, rows, paths);
    for (std::size_t index = 0; index < rows.size(); ++index) {
        if (!read[index]) {
            RefreshRow(rows[index], false, true);
            continue;
        }
        mView.GetTree().RefreshRow(rows[index]);
        mView.GetTree().RowSortKeyChanged(rows[index]);
    }
}

std::vector<bool> RecordRefresher::ReadTogether(RowRecords& records,
                                                const std::vector<host::TreeRowPtr>& rows,
                                                const std::vector<host::WideString>& paths) {
    std::vector<bool> read(rows.size(), false);
    const ListedProjects listed = ProjectsOfListing(host::DescribeEntries(paths));
    for (std::size_t index = 0; index < rows.size(); ++index) {
        const auto found = listed.find(paths[index]);
        read[index] = found != listed.end() &&
                      records.UpdateFromListing(rows[index].get(), paths[index], found->second) ==
                          RowRecords::Outcome::kRead;
    }
    return read;
}

void RecordRefresher::ContentDelivered(const host::TreeRowPtr& folder, bool folderOpen,
                                       const ListedProjects& listed) {
    // A refresh can move a row among its siblings: go through them as they are now.
    for (const host::TreeRowPtr& child : ChildRows(mView.GetTree(), folder)) {
        const host::WideString path = mView.GetRowPath(child);
        const auto found = folderOpen ? listed.find(path) : listed.end();
        if (found == listed.end()) {
            RefreshRow(child, false, folderOpen);
            continue;
        }
        if (mRecords.UpdateFromListing(child.get(), path, found->second) ==
            RowRecords::Outcome::kRead) {
            mView.GetTree().RefreshRow(child);
            mView.GetTree().RowSortKeyChanged(child);
        }
    }
}

RecordRefresher::ListedProjects
RecordRefresher::ProjectsOfListing(const host::DirectoryContent& content) {
    ListedProjects listed;
    for (const host::DirectoryEntry& entry : content) {
        const host::WideString& path = host::EntryPath(entry);
        Columns::FileMetadata::Listed facts;
        std::int64_t size = 0;
        // Only entries looked at whole: one the listing could not look at is read from disk.
        if (!host::ProductionSupportsMarvaneProjectFile(path) ||
            !host::EntryNumber(entry, host::kModifiedField, facts.modifiedTicks) ||
            !host::EntryNumber(entry, host::kCreatedField, facts.createdTicks) ||
            !host::EntryNumber(entry, host::kSizeField, size)) {
            continue;
        }
        facts.size = static_cast<std::uint64_t>(size);
        facts.lockListed = host::EntryFlag(entry, host::kLockListedField);
        if (const host::ProjectLockFilePtr* lock = host::EntryLock(entry)) {
            facts.lockRead = true;
            facts.lock = *lock;
        }
        listed.emplace(path, std::move(facts));
    }
    return listed;
}

void RecordRefresher::DisclosureChanged(const host::TreeRowPtr& folder, bool open) {
    const host::UI_MultiColumnTree& tree = mView.GetTree();
    // A refresh can move a row among its siblings: go through them as they are now.
    for (const host::TreeRowPtr& child : ChildRows(tree, folder)) {
        RefreshRow(child, open, open);
        if (!open || tree.IsRowOpen(child)) {
            DisclosureChanged(child, open && tree.IsRowOpen(child));
        }
    }
}

void RecordRefresher::ProjectChanged(const host::WideString& projectPath) {
    const host::TreeRowPtr row = mView.GetRowForPath(host::ToNormalizedPath(projectPath));
    if (!row) {
        return;
    }
    const host::WideString rowPath = mView.GetRowPath(row);
    const host::TreeRowPtr parent = mView.GetRowForPath(rowPath.substr(0, rowPath.rfind(u'/')));
    const bool parentOpen = row->GetParent() == nullptr || mView.GetTree().IsRowOpen(parent);
    RefreshRow(row, false, parentOpen);
    mView.GetTree().RefreshRow(row);
}

} // namespace HandlerTandrel
