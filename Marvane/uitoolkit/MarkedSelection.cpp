#include "Marvane/uitoolkit/MarkedSelection.h"

#include <algorithm>
#include <limits>
#include <span>

namespace host {

namespace {

// Unmarks `rows` and every row below them, stopping once `left` marked rows were found (the
// selection knows how many there are); how many were marked.
std::size_t UnmarkRows(std::span<const TreeRowPtr> rows,
                       std::size_t left = std::numeric_limits<std::size_t>::max()) {
    std::size_t unmarked = 0;
    for (const TreeRowPtr& row : rows) {
        if (unmarked == left) {
            break;
        }
        TreeRowNode& node = row->Node();
        if (node.selected) {
            node.selected = false;
            ++unmarked;
        }
        if (node.selectedBelow != 0) {
            unmarked += UnmarkRows(node.children, left - unmarked);
            node.selectedBelow = 0;
        }
    }
    return unmarked;
}

// Adds the marked rows of `rows`, each followed by the marked rows below it, until `count`
// rows are collected; whether they all are.
bool CollectMarked(const std::vector<TreeRowPtr>& rows, std::size_t count,
                   std::vector<TreeRowPtr>& marked) {
    for (const TreeRowPtr& row : rows) {
        const TreeRowNode& node = row->Node();
        if (node.selected) {
            marked.push_back(row);
            if (marked.size() == count) {
                return true;
            }
        }
        if (node.selectedBelow != 0 && CollectMarked(node.children, count, marked)) {
            return true;
        }
    }
    return false;
}

// Visits the marked rows of `rows`, each followed by the marked rows below it (not below a
// marked row when `outermost`); false when the visit asked to stop.
bool VisitMarked(const std::vector<TreeRowPtr>& rows,
                 const std::function<bool(const TreeRowPtr&)>& visit, bool outermost) {
    for (const TreeRowPtr& row : rows) {
        const TreeRowNode& node = row->Node();
        if (node.selected && !visit(row)) {
            return false;
        }
        if (node.selectedBelow != 0 && !(outermost && node.selected) &&
            !VisitMarked(node.children, visit, outermost)) {
            return false;
        }
    }
    return true;
}

} // namespace

MarkedSelection::MarkedSelection(TreeModel& model, QObject* parent)
    : QItemSelectionModel(&model, parent), mModel(model) {
    connect(&model, &QAbstractItemModel::rowsAboutToBeRemoved, this,
            [this](const QModelIndex& folder, int first, int last) {
                RowsAboutToBeRemoved(folder, first, last);
            });
    connect(&model, &QAbstractItemModel::rowsRemoved, this, [this] {
        if (mRemovedSelected) {
            mRemovedSelected = false;
            Changed();
        }
    });
    // Qt's own telling of a change (of the rows it holds too) is counted: see Changed.
    connect(this, &QItemSelectionModel::selectionChanged, this, [this] { ++mTold; });
    connect(&model, &QAbstractItemModel::modelAboutToBeReset, this, [this] {
        mAnchoredStep.clear();
        UnmarkRows(mModel.ChildrenOf(nullptr), mCount);
        mCount = 0;
    });
}

bool MarkedSelection::IsSelected(const QModelIndex& index) const {
    return index.isValid() && index.model() == &mModel &&
           static_cast<const TreeRowNode*>(index.internalPointer())->selected;
}

bool MarkedSelection::Mark(TreeRowNode& node, bool selected, bool toggle, int& delta) {
    const bool now = toggle ? !node.selected : selected;
    if (now == node.selected) {
        return false;
    }
    node.selected = now;
    delta += now ? 1 : -1;
    return true;
}

void MarkedSelection::Propagate(UI_TreeRow* parent, long long delta) {
    if (delta == 0) {
        return;
    }
    for (UI_TreeRow* folder = parent; folder != nullptr; folder = folder->Node().parent) {
        std::uint32_t& below = folder->Node().selectedBelow;
        below = static_cast<std::uint32_t>(static_cast<long long>(below) + delta);
    }
    mCount = static_cast<std::size_t>(static_cast<long long>(mCount) + delta);
}

void MarkedSelection::SetRows(const std::vector<TreeRowPtr>& rows, bool selected) {
    mAnchoredStep.clear();
    bool changed = false;
    // Rows of one folder mostly follow one another: their folders are told once a run.
    UI_TreeRow* runParent = nullptr;
    int delta = 0;
    for (const TreeRowPtr& row : rows) {
        if (!row || row->Node().tree != &mModel) {
            continue;
        }
        TreeRowNode& node = row->Node();
        if (node.parent != runParent) {
            Propagate(runParent, delta);
            runParent = node.parent;
            delta = 0;
        }
        changed = Mark(node, selected, false, delta) || changed;
    }
    Propagate(runParent, delta);
    if (changed) {
        Changed();
    }
}

TreeRowPtr MarkedSelection::SetOpenedRows(const TreeModel::OpenTest& isOpen,
                                          const UI_TreeRow* except) {
    mAnchoredStep.clear();
    TreeRowPtr last;
    bool changed = false;
    // Depth first in display order, each folder's marks counted once for the folders above.
    const auto mark = [&](const auto& self, const std::vector<TreeRowPtr>& rows,
                          UI_TreeRow* parent) -> void {
        int delta = 0;
        for (const TreeRowPtr& row : rows) {
            if (row.get() == except) {
                continue;
            }
            TreeRowNode& node = row->Node();
            changed = Mark(node, true, false, delta) || changed;
            last = row;
            if (!node.children.empty() && isOpen(row)) {
                self(self, node.children, row.get());
            }
        }
        Propagate(parent, delta);
    };
    mark(mark, mModel.ChildrenOf(nullptr), nullptr);
    if (changed) {
        Changed();
    }
    return last;
}

void MarkedSelection::ClearRows() {
    mAnchoredStep.clear();
    if (mCount == 0) {
        return;
    }
    UnmarkRows(mModel.ChildrenOf(nullptr), mCount);
    mCount = 0;
    Changed();
}

std::vector<TreeRowPtr> MarkedSelection::InDisplayOrder() const {
    std::vector<TreeRowPtr> selected;
    if (mCount != 0) {
        selected.reserve(mCount);
        CollectMarked(mModel.ChildrenOf(nullptr), mCount, selected);
    }
    return selected;
}

TreeRowPtr MarkedSelection::First() const {
    std::vector<TreeRowPtr> first;
    if (mCount != 0) {
        CollectMarked(mModel.ChildrenOf(nullptr), 1, first);
    }
    return first.empty() ? nullptr : first.front();
}

bool MarkedSelection::Visit(const std::function<bool(const TreeRowPtr&)>& visit,
                            bool outermost) const {
    return mCount == 0 || VisitMarked(mModel.ChildrenOf(nullptr), visit, outermost);
}

bool MarkedSelection::UndoAnchoredStep() {
    bool changed = false;
    for (auto step = mAnchoredStep.rbegin(); step != mAnchoredStep.rend(); ++step) {
        TreeRowNode& node = step->first->Node();
        int delta = 0;
        if (node.tree == &mModel && Mark(node, step->second, false, delta)) {
            Propagate(node.parent, delta);
            changed = true;
        }
    }
    mAnchoredStep.clear();
    return changed;
}

void MarkedSelection::select(const QModelIndex& index, SelectionFlags command) {
    select(QItemSelection(index, index), command);
}

void MarkedSelection::select(const QItemSelection& selection, SelectionFlags command) {
    if (command == NoUpdate) {
        return;
    }
    bool changed = false;
    // Cleared and selected again, the rows that were selected before and are again did not
    // change: they are compared afterwards.
    std::vector<TreeRowPtr> cleared;
    if (command.testFlag(Clear)) {
        mAnchoredStep.clear();
    }
    if (command.testFlag(Clear) && mCount != 0) {
        cleared = InDisplayOrder();
        UnmarkRows(mModel.ChildrenOf(nullptr), mCount);
        mCount = 0;
    }
    if (command.testFlag(Current)) {
        changed = UndoAnchoredStep() || changed;
    }
    mAnchoredStep.clear();
    const bool deselect = command.testFlag(Deselect);
    const bool toggle = !deselect && command.testFlag(Toggle);
    if (deselect || toggle || command.testFlag(Select)) {
        for (const QItemSelectionRange& range : selection) {
            const QModelIndex parentIndex = range.parent();
            const TreeRowPtr parent = mModel.RowAt(parentIndex);
            if (!range.isValid() || range.model() != &mModel ||
                (parentIndex.isValid() && !parent)) {
                continue;
            }
            const std::vector<TreeRowPtr>& rows = mModel.ChildrenOf(parent.get());
            const int last = std::min(range.bottom(), static_cast<int>(rows.size()) - 1);
            int delta = 0;
            for (int number = std::max(range.top(), 0); number <= last; ++number) {
                const TreeRowPtr& row = rows[static_cast<std::size_t>(number)];
                const bool before = row->Node().selected;
                if (Mark(row->Node(), !deselect, toggle, delta)) {
                    changed = true;
                    if (command.testFlag(Current)) {
                        mAnchoredStep.emplace_back(row, before);
                    }
                }
            }
            Propagate(parent.get(), delta);
        }
    }
    if (!cleared.empty()) {
        changed = mCount != cleared.size() ||
                  std::any_of(cleared.begin(), cleared.end(),
                              [](const TreeRowPtr& row) { return !row->Node().selected; });
    }
    if (changed) {
        Changed();
    }
}

void MarkedSelection::clear() {
    ClearRows();
    QItemSelectionModel::clear();
}

void MarkedSelection::reset() {
    mAnchoredStep.clear();
    UnmarkRows(mModel.ChildrenOf(nullptr), mCount);
    mCount = 0;
    QItemSelectionModel::reset();
}

void MarkedSelection::RowsAboutToBeRemoved(const QModelIndex& folder, int first, int last) {
    // Qt heard of the removal first and told of its part, the rows mirrored, if any went.
    const bool qtTold = mTold != mToldSeen;
    mToldSeen = mTold;
    const TreeRowPtr parent = mModel.RowAt(folder);
    // A step from the anchor goes on over rows that stay (rows below these are passed over
    // when the step is undone: they are out of the tree by then).
    std::erase_if(mAnchoredStep, [&](const auto& step) {
        const TreeRowNode& node = step.first->Node();
        return node.tree != &mModel ||
               (node.parent == parent.get() && node.index >= first && node.index <= last);
    });
    if (mCount == 0 || (folder.isValid() && !parent)) {
        return;
    }
    const std::vector<TreeRowPtr>& rows = mModel.ChildrenOf(parent.get());
    const auto begin = rows.begin() + std::clamp(first, 0, static_cast<int>(rows.size()));
    const auto end = rows.begin() + std::clamp(last + 1, 0, static_cast<int>(rows.size()));
    const std::size_t removed = UnmarkRows(std::span<const TreeRowPtr>(begin, end));
    if (removed != 0) {
        Propagate(parent.get(), -static_cast<long long>(removed));
        mRemovedSelected = !qtTold;
    }
}

void MarkedSelection::Mirror() {
    if (mCount <= kMirroredRows) {
        QItemSelection rows;
        for (const TreeRowPtr& row : InDisplayOrder()) {
            const QModelIndex first = mModel.IndexOf(row);
            rows.append(QItemSelectionRange(
                first, first.siblingAtColumn(mModel.columnCount(first.parent()) - 1)));
        }
        QItemSelectionModel::select(rows, ClearAndSelect);
    } else if (QItemSelectionModel::hasSelection()) {
        QItemSelectionModel::select(QItemSelection(), Clear);
    }
}

void MarkedSelection::Changed() {
    // Qt tells of its own part when it changed, with the rows that did; else the view is
    // told here that something changed, without which.
    const std::uint64_t told = mTold;
    Mirror();
    if (mTold == told) {
        emit selectionChanged(QItemSelection(), QItemSelection());
    }
    mToldSeen = mTold;
}

} // namespace host
