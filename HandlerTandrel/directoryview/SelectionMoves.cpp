#include "directoryview/SelectionMoves.h"

#include <algorithm>
#include <cmath>

namespace HandlerTandrel {

int SelectionMoves::PageDownTarget(int count, int lastVisible, bool selectionIsLastVisible,
                                   int rowsPerPage) {
    const int target =
        selectionIsLastVisible ? std::min(lastVisible + rowsPerPage, count - 1) : lastVisible;
    return std::max(target, 0);
}

int SelectionMoves::PageUpTarget(int firstVisible, bool selectionIsFirstVisible, int rowsPerPage) {
    const int target = selectionIsFirstVisible ? firstVisible - rowsPerPage : firstVisible;
    return std::max(target, 0);
}

int SelectionMoves::RowsPerPageFor(float viewHeight, float rowHeight) {
    return static_cast<int>(std::floor(viewHeight / (rowHeight + 1.0f)));
}

int SelectionMoves::RowsPerPage() const {
    return RowsPerPageFor(mTree.GetScrollViewHeight(), mTree.GetRowHeight());
}

void SelectionMoves::MoveSelectionTo(const host::TreeRowPtr& row) {
    mTree.SelectRow(row, host::RowSelection::kOnlyRow, host::SelectionNotice::kTell);
    mTree.ScrollRowIntoView(row, false, 0, true);
}

bool SelectionMoves::SelectionIsOnly(const std::vector<host::TreeRowPtr>& opened, int index) const {
    const auto selected = mTree.GetSelectedRows();
    return selected.size() == 1 && index >= 0 &&
           selected.front() == opened[static_cast<std::size_t>(index)];
}

void SelectionMoves::MoveHome() {
    const auto opened = mTree.GetOpenedRows();
    if (!opened.empty()) {
        MoveSelectionTo(opened.front());
    }
}

void SelectionMoves::MoveEnd() {
    const auto opened = mTree.GetOpenedRows();
    if (!opened.empty()) {
        MoveSelectionTo(opened.back());
    }
}

void SelectionMoves::MovePageDown() {
    const auto opened = mTree.GetOpenedRows();
    if (opened.empty()) {
        return;
    }
    const int last = mTree.GetLastVisibleOpenedRowIndex();
    const bool onLast = SelectionIsOnly(opened, last);
    const int target =
        PageDownTarget(static_cast<int>(opened.size()), last, onLast, onLast ? RowsPerPage() : 0);
    MoveSelectionTo(opened[static_cast<std::size_t>(target)]);
}

void SelectionMoves::MovePageUp() {
    const auto opened = mTree.GetOpenedRows();
    if (opened.empty()) {
        return;
    }
    const int first = mTree.GetFirstVisibleOpenedRowIndex();
    const bool onFirst = SelectionIsOnly(opened, first);
    const int target = PageUpTarget(first, onFirst, onFirst ? RowsPerPage() : 0);
    MoveSelectionTo(opened[static_cast<std::size_t>(target)]);
}

void SelectionMoves::SelectAll(const host::TreeRowPtr& except) {
    mTree.SelectOpenedRows(except, true); // one change, told once
}

void SelectionMoves::DeselectAll() {
    mTree.DeselectAllRows();
}

} // namespace HandlerTandrel
