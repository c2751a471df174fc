#pragma once
// Keeps the records of a tree's project rows current as the tree changes: when a folder's
// content arrives, when a folder opens or closes, and when a project was opened, closed or
// made read-only. A record that was read again redraws its row and may move it among its
// siblings; records under closed folders are only marked stale.
#include "directoryview/RowRecords.h"
#include "host/MediaBrowser.h"

#include <unordered_map>
#include <vector>

namespace HandlerTandrel {

class RecordRefresher {
public:
    // header: the tree's header row, whose sort column a full read reads first.
    RecordRefresher(host::MediaBrowserDirectoryView& view, RowRecords& records,
                    const host::UI_MultiColumnTreeHeaderRow& header)
        : mView(view), mRecords(records), mHeader(header) {}

    // Refreshes one row's record: now when its folder is open, else only marked stale.
    void RefreshRow(const host::TreeRowPtr& row, bool onlyIfStale, bool parentOpen);
    // Reads the records of these rows, whose folders are open, again, all in one look (a row
    // alone is a stat and a lock read, each a wait on a share); a row the look could not
    // describe is read on its own.
    void RefreshRowsTogether(const std::vector<host::TreeRowPtr>& rows);
    // Reads the records of these project rows (paths: theirs) in one look at all of them, as
    // their folders' listings would describe them; for each row, whether it was read (a row
    // the look could not describe, or no project, is not).
    static std::vector<bool> ReadTogether(RowRecords& records,
                                          const std::vector<host::TreeRowPtr>& rows,
                                          const std::vector<host::WideString>& paths);
    // What a folder's listing said of its projects, by path.
    using ListedProjects = std::unordered_map<host::WideString, Columns::FileMetadata::Listed>;
    // A folder's content arrived (folder: null for the top level): its rows are read when the
    // folder is open, else marked stale. Projects the listing described are read from it.
    void ContentDelivered(const host::TreeRowPtr& folder, bool folderOpen,
                          const ListedProjects& listed = {});
    // What the listing says of each project in it.
    static ListedProjects ProjectsOfListing(const host::DirectoryContent& content);
    // A folder opened (stale and new records below it that can be seen are read) or closed
    // (every record below it is marked stale).
    void DisclosureChanged(const host::TreeRowPtr& folder, bool open);
    // A project's state changed; its row, if the tree has one, is read again and redrawn.
    void ProjectChanged(const host::WideString& projectPath);

    // The rows under row (null: the top level), in their order now.
    static std::vector<host::TreeRowPtr> ChildRows(const host::UI_MultiColumnTree& tree,
                                                   const host::TreeRowPtr& row);

private:
    host::MediaBrowserDirectoryView& mView;
    RowRecords& mRecords;
    const host::UI_MultiColumnTreeHeaderRow& mHeader;
};

} // namespace HandlerTandrel
