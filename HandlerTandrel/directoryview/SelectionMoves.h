#pragma once
// Home, End, Page Up and Page Down move the selection among the rows that can be reached
// through open folders, and scroll it into view; Select All selects those rows. Page Down
// first goes to the last row seen whole, and from there a page further; Page Up likewise
// upwards.
#include "host/MultiColumnTree.h"

#include <vector>

namespace HandlerTandrel {

class SelectionMoves {
public:
    explicit SelectionMoves(host::UI_MultiColumnTree& tree) : mTree(tree) {}

    void MoveHome();
    void MoveEnd();
    void MovePageDown();
    void MovePageUp();
    // Selects every row reachable through open folders, but `except` (a top row, or null)
    // and what it holds.
    void SelectAll(const host::TreeRowPtr& except);
    void DeselectAll();
    // Whole rows that fit in the tree's visible height.
    int RowsPerPage() const;

    // Where Page Down goes among count rows: the last row seen whole (lastVisible, -1 for
    // none), or a page below it when that row is already the selection.
    static int PageDownTarget(int count, int lastVisible, bool selectionIsLastVisible,
                              int rowsPerPage);
    // Where Page Up goes: the first row seen whole, or a page above it when that row is
    // already the selection; never above the first row.
    static int PageUpTarget(int firstVisible, bool selectionIsFirstVisible, int rowsPerPage);
    // Whole rows of rowHeight (and a line between rows) in viewHeight.
    static int RowsPerPageFor(float viewHeight, float rowHeight);

private:
    void MoveSelectionTo(const host::TreeRowPtr& row);
    // Whether the selection is exactly the row at index among the opened rows.
    bool SelectionIsOnly(const std::vector<host::TreeRowPtr>& opened, int index) const;

    host::UI_MultiColumnTree& mTree;
};

} // namespace HandlerTandrel
