#pragma once
// The tree as a drag source and a drop target: rows moved to another folder or into the
// trash, project files from the desktop added to the production, and bins and sequences from
// a project's window put into a project. A collaborator of the directory view: it reads the
// view's rows and their paths, and answers its tree's drags and drops.
#include "directoryview/RowDragPayload.h"
#include "host/DataTransfer.h"
#include "host/MediaBrowser.h"
#include "host/MultiColumnTree.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace HandlerTandrel {

// Where a drop goes: the path under the pointer (a row's, or the folder's between rows and
// below the last row) and the folder that takes dropped rows, with their rows (none for the
// production folder itself).
struct DropTarget {
    host::WideString path;
    host::TreeRowPtr row;
    host::WideString folder;
    host::TreeRowPtr folderRow;
};

class RowDragAndDrop {
public:
    explicit RowDragAndDrop(host::MediaBrowserDirectoryView& view) : mView(view) {}
    RowDragAndDrop(const RowDragAndDrop&) = delete;
    RowDragAndDrop& operator=(const RowDragAndDrop&) = delete;

    // Makes the view's tree start drags of its rows and ask here about drops.
    void Install();

    // A drag of rows from the view: its data, and the rows kept until it ends (the drag start
    // runs the drag between the two).
    std::vector<std::uint8_t> BeginRowDrag(const std::vector<host::TreeRowPtr>& rows);
    void EndRowDrag() { mDragged.End(); }
    // The rows a drag from the view carries, while it runs; nothing for data that names rows
    // the view did not send.
    std::optional<std::vector<host::TreeRowPtr>> DraggedRowsOf(const host::DropData& data) const;
    // Whether the rows may be dropped there: none locked by another editor or holding locked
    // projects, not the trash itself, and none dropped onto itself, into its own sub-folder or
    // into the folder that already holds it. freshLocks: read the locks again (a drop); a
    // drag moving over the tree uses what the drag's first look found.
    bool CanDropRows(const std::vector<host::TreeRowPtr>& rows, const DropTarget& target,
                     bool freshLocks = true) const;
    DropTarget ResolveDropTarget(const host::UI_MultiColumnTree::DropPlace& place) const;
    // Answers a drag over the tree (action, acceptance, cursor, feedback), or carries out the
    // drop.
    void AnswerDrop(host::DropRequest& request, const DropTarget& target);

private:
    // None of the rows is held by another editor, holds locked projects or is the trash.
    bool RowsMayMove(const std::vector<host::TreeRowPtr>& rows) const;
    void StartRowDrag(const std::vector<host::TreeRowPtr>& rows, host::SendData& data);
    void AnswerProjectItems(host::DropRequest& request, const DropTarget& target) const;
    void CarryOutDrop(host::DropRequest& request, const DropTarget& target);

    host::MediaBrowserDirectoryView& mView;
    DraggedRows mDragged;
};

} // namespace HandlerTandrel
