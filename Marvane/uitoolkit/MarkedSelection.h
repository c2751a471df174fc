#pragma once
// The selected rows of a multi-column tree, marked on the rows themselves: a row knows whether
// it is selected and a folder how many rows below it are, so that selecting every row of a
// million costs one pass over them, drawing a row asks one flag, and the rows are collected in
// display order by visiting only folders that hold some.
//
// Qt's own selection keeps ranges of rows, one or more per folder, and compares ranges with
// each other and with every row it draws: with thousands of folders open that grows with the
// square of their number. The view still talks to this class as to any selection model
// (clicks, keys and its Select All come through select()); Qt's part of it holds the
// selection only while it is small.
#include "Marvane/uitoolkit/TreeModel.h"

#include <QItemSelectionModel>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

namespace host {

class MarkedSelection final : public QItemSelectionModel {
public:
    MarkedSelection(TreeModel& model, QObject* parent);

    static bool IsSelected(const UI_TreeRow& row) { return row.Node().selected; }
    bool IsSelected(const QModelIndex& index) const;
    std::size_t Count() const { return mCount; }
    // Adds the rows of the tree among `rows` to the selection (false: takes them out), told
    // as one change when any changed.
    void SetRows(const std::vector<TreeRowPtr>& rows, bool selected);
    // Adds every row of open folders to the selection, but `except` and the rows below it, as
    // one change; the last row marked (null when none was there).
    TreeRowPtr SetOpenedRows(const TreeModel::OpenTest& isOpen, const UI_TreeRow* except);
    // No row is selected any more (told when one was).
    void ClearRows();
    // The selected rows in display order: each folder's rows, each followed by the rows of
    // its folders.
    std::vector<TreeRowPtr> InDisplayOrder() const;
    // The first selected row in display order; null when none is.
    TreeRowPtr First() const;
    // Calls visit with the selected rows in display order until it answers false (whether it
    // never did); with `outermost`, not the rows below a selected row.
    bool Visit(const std::function<bool(const TreeRowPtr&)>& visit, bool outermost) const;

    void select(const QModelIndex& index, SelectionFlags command) override;
    void select(const QItemSelection& selection, SelectionFlags command) override;
    void clear() override;
    void reset() override;

private:
    // Marks or unmarks one row (toggles when `toggle`); whether it changed. The caller tells
    // the row's folders with Propagate.
    static bool Mark(TreeRowNode& node, bool selected, bool toggle, int& delta);
    // Adds `delta` to what the folder `parent` and the folders above it hold selected.
    void Propagate(UI_TreeRow* parent, long long delta);
    // Puts the rows the last step that extends the selection from its anchor changed back as
    // they were before it; whether any changed.
    bool UndoAnchoredStep();
    void RowsAboutToBeRemoved(const QModelIndex& parent, int first, int last);
    // A small selection is also given to Qt's own part, which screen readers, the folder
    // lines and the focus frame read; a big one is not (that is what costs).
    void Mirror();
    void Changed();

    TreeModel& mModel;
    std::size_t mCount = 0;
    // What the last step made with the anchor (a Shift+click, Shift+arrow, a drag over rows)
    // changed, each row with whether it was selected before: the next such step replaces it.
    std::vector<std::pair<TreeRowPtr, bool>> mAnchoredStep;
    bool mRemovedSelected = false;
    static constexpr std::size_t kMirroredRows = 64;
    std::uint64_t mTold = 0;     // times a change was told, by this class or by Qt's part
    std::uint64_t mToldSeen = 0; // mTold when this class last looked
};

} // namespace host
