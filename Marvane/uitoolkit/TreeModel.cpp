#include "Marvane/uitoolkit/TreeModel.h"

#include "Marvane/uitoolkit/FolderSorting.h"
#include "Marvane/uitoolkit/HeaderRowImpl.h"
#include "Marvane/uitoolkit/PlainToolTip.h"
#include "host/AsyncCalls.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <numeric>
#include <unordered_set>
#include <utility>

namespace host {

namespace {

TreeRowNode* NodeOf(const QModelIndex& index) {
    return index.isValid() ? static_cast<TreeRowNode*>(index.internalPointer()) : nullptr;
}

} // namespace

QModelIndex TreeModel::index(int row, int column, const QModelIndex& parent) const {
    const TreeRowNode* parentNode = NodeOf(parent);
    const std::vector<TreeRowPtr>& rows = ChildrenOf(parentNode ? parentNode->self : nullptr);
    if (row < 0 || column < 0 || static_cast<std::size_t>(row) >= rows.size() ||
        column >= columnCount()) {
        return {};
    }
    // The view lays its rows out asking for them in order, then for each one's flags.
    if (const std::size_t ahead = static_cast<std::size_t>(row) + kNodesAhead;
        ahead < rows.size()) {
        PrefetchNode(*rows[ahead]);
    }
    return createIndex(row, column, &rows[static_cast<std::size_t>(row)]->Node());
}

QModelIndex TreeModel::parent(const QModelIndex& child) const {
    const TreeRowNode* node = NodeOf(child);
    if (node == nullptr || node->parent == nullptr) {
        return {};
    }
    return IndexOf(node->parent);
}

int TreeModel::rowCount(const QModelIndex& parent) const {
    if (parent.column() > 0) {
        return 0;
    }
    const TreeRowNode* node = NodeOf(parent);
    return static_cast<int>(ChildrenOf(node ? node->self : nullptr).size());
}

int TreeModel::columnCount(const QModelIndex&) const {
    return mHeader ? std::max<int>(1, static_cast<int>(mHeader->ids.size())) : 1;
}

bool TreeModel::hasChildren(const QModelIndex& parent) const {
    const TreeRowNode* node = NodeOf(parent);
    if (node == nullptr) {
        return !mTopLevel.empty();
    }
    if (parent.column() > 0) {
        return false;
    }
    // A folder not read yet can be opened; so can one marked as having a custom child.
    return !node->children.empty() || node->customChild ||
           (node->canHaveChildren && !node->childrenLoaded);
}

QVariant TreeModel::data(const QModelIndex& index, int role) const {
    if (role == Qt::AccessibleTextRole) {
        return AccessibleText(index);
    }
    const QVariant text = SourceText(index, role);
    // A tooltip names holders and files: shown as it is, never as markup.
    return role == Qt::ToolTipRole && text.isValid() ? PlainToolTip(text.toString()) : text;
}

QVariant TreeModel::SourceText(const QModelIndex& index, int role) const {
    const UI_MultiColumnTree::CellTextCallback& source = role == Qt::DisplayRole   ? cellText
                                                         : role == Qt::ToolTipRole ? toolTip
                                                                                   : nullptr;
    if (!source) {
        return {};
    }
    const TreeRowPtr row = RowAt(index);
    if (!row) {
        return {};
    }
    const WideString text = source(row, ColumnAt(index.column()));
    if (text.empty() && role == Qt::ToolTipRole) {
        return {};
    }
    return QString::fromUtf16(text.data(), static_cast<qsizetype>(text.size()));
}

// A cell as words: its text, and for the first cell (the row as a whole) or a cell that is only
// a picture (the lock badge), what its tooltip says, such as who holds the lock.
QString TreeModel::AccessibleText(const QModelIndex& index) const {
    const QString text = SourceText(index, Qt::DisplayRole).toString();
    const QString tip = SourceText(index, Qt::ToolTipRole).toString();
    if (tip.isEmpty() || tip == text || (index.column() > 0 && !text.isEmpty())) {
        return text;
    }
    return text.isEmpty() ? tip : text + QStringLiteral(", ") + tip;
}

QVariant TreeModel::headerData(int section, Qt::Orientation orientation, int role) const {
    return mHeader ? mHeader->model.headerData(section, orientation, role) : QVariant();
}

Qt::ItemFlags TreeModel::flags(const QModelIndex& index) const {
    if (!index.isValid()) {
        return Qt::NoItemFlags;
    }
    Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    const TreeRowNode* node = NodeOf(index);
    if (!node->canHaveChildren && !node->customChild && node->children.empty()) {
        flags |= Qt::ItemNeverHasChildren;
    }
    return mDragEnabled ? flags | Qt::ItemIsDragEnabled : flags;
}

Qt::DropActions TreeModel::supportedDragActions() const {
    return Qt::CopyAction | Qt::MoveAction;
}

void TreeModel::SetHeader(HeaderRowImpl* header) {
    beginResetModel();
    mHeader = header;
    endResetModel();
}

UI_MultiColumnTree::ColumnID TreeModel::ColumnAt(int section) const {
    if (!mHeader || section < 0 || static_cast<std::size_t>(section) >= mHeader->ids.size()) {
        return 0;
    }
    return mHeader->ids[static_cast<std::size_t>(section)];
}

int TreeModel::SectionOf(UI_MultiColumnTree::ColumnID column) const {
    return mHeader ? mHeader->SectionOf(column) : -1;
}

QModelIndex TreeModel::IndexOf(const TreeRowPtr& row, int column) const {
    return IndexOf(row.get(), column);
}

QModelIndex TreeModel::IndexOf(const UI_TreeRow* row, int column) const {
    if (row == nullptr || row->Node().tree != this) {
        return {};
    }
    return createIndex(row->Node().index, column, &row->Node());
}

TreeRowPtr TreeModel::RowAt(const QModelIndex& index) const {
    const TreeRowNode* node = NodeOf(index);
    if (node == nullptr) {
        return nullptr;
    }
    const std::vector<TreeRowPtr>& siblings = ChildrenOf(node->parent);
    const auto position = static_cast<std::size_t>(node->index);
    return position < siblings.size() ? siblings[position] : nullptr;
}

const std::vector<TreeRowPtr>& TreeModel::ChildrenOf(const UI_TreeRow* parent) const {
    return parent ? parent->Node().children : mTopLevel;
}

std::vector<TreeRowPtr>& TreeModel::MutableChildrenOf(const UI_TreeRow* parent) {
    return parent ? parent->Node().children : mTopLevel;
}

std::optional<std::u16string_view> TreeModel::KeyInName(const TreeRowPtr& row) const {
    if (!sortKeyInName || !mHeader) {
        return std::nullopt;
    }
    const std::optional<std::size_t> length = sortKeyInName(row, mHeader->sortColumn);
    if (!length) {
        return std::nullopt;
    }
    const std::u16string_view name = row->Node().name;
    return name.substr(0, std::min(*length, name.size()));
}

std::u16string_view TreeModel::KeyOf(const TreeRowPtr& row) {
    TreeRowNode& node = row->Node();
    if (node.sortKeyValid) {
        return node.sortKey.View();
    }
    if (const std::optional<std::u16string_view> inName = KeyInName(row)) {
        return *inName;
    }
    ++sortDataRequests;
    node.sortKey.Set(sortData && mHeader ? sortData(row, mHeader->sortColumn) : WideString());
    node.sortKeyValid = true;
    return node.sortKey.View();
}

bool TreeModel::Before(const TreeRowPtr& a, const TreeRowPtr& b) {
    const std::u16string_view first = KeyOf(a);
    const std::u16string_view second = KeyOf(b);
    const bool ascending = !mHeader || mHeader->sortAscending;
    const auto& less = mHeader ? mHeader->stringSorting : nullptr;
    if (less) {
        return ascending ? less(first, second) : less(second, first);
    }
    return ascending ? first < second : second < first;
}

std::size_t TreeModel::RowsAtAndBelow(const std::vector<TreeRowPtr>& rows) {
    std::size_t count = rows.size();
    for (const TreeRowPtr& row : rows) {
        count += RowsAtAndBelow(row->Node().children);
    }
    return count;
}

void TreeModel::Reindex(std::vector<TreeRowPtr>& rows, std::size_t from) {
    for (std::size_t position = from; position < rows.size(); ++position) {
        rows[position]->Node().index = static_cast<int>(position);
    }
}

void TreeModel::SortChildren(std::vector<TreeRowPtr>& rows, bool deep) {
    // One question per row, before any comparison; the comparisons use the keys taken here
    // (parts of names, or keys kept on the rows, neither of which moves while sorting).
    std::vector<std::u16string_view> keys;
    keys.reserve(rows.size());
    for (const TreeRowPtr& row : rows) {
        keys.push_back(KeyOf(row));
    }
    const bool ascending = !mHeader || mHeader->sortAscending;
    const auto& less = mHeader ? mHeader->stringSorting : nullptr;
    std::vector<std::uint32_t> order(rows.size());
    std::iota(order.begin(), order.end(), std::uint32_t{0});
    std::stable_sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) {
        const std::u16string_view first = keys[ascending ? a : b];
        const std::u16string_view second = keys[ascending ? b : a];
        return less ? less(first, second) : first < second;
    });
    std::vector<TreeRowPtr> sorted;
    sorted.reserve(rows.size());
    for (const std::uint32_t from : order) {
        sorted.push_back(std::move(rows[from]));
    }
    rows.swap(sorted);
    Reindex(rows);
    if (deep) {
        for (const TreeRowPtr& row : rows) {
            SortChildren(row->Node().children, true);
        }
    }
}

void TreeModel::InsertInOrder(const TreeRowPtr& parent, const std::vector<TreeRowPtr>& rows,
                              std::vector<WideString> keys) {
    const bool fresh = std::all_of(rows.begin(), rows.end(), [](const TreeRowPtr& row) {
        return row && row->Node().tree == nullptr;
    });
    std::unordered_set<const UI_TreeRow*> distinct;
    for (const TreeRowPtr& row : rows) {
        distinct.insert(row.get());
    }
    if ((parent && parent->Node().tree != this) || !fresh || keys.size() != rows.size() ||
        distinct.size() != rows.size() || rows.empty()) {
        Insert(parent, rows);
        return;
    }
    RowsChanging();
    std::vector<TreeRowPtr> ordered = rows;
    for (std::size_t index = 0; index < ordered.size(); ++index) {
        TreeRowNode& node = ordered[index]->Node();
        node.tree = this;
        node.parent = parent.get();
        // A key that is part of the row's name is not kept: the name is.
        node.sortKeyValid = !KeyInName(ordered[index]);
        if (node.sortKeyValid) {
            node.sortKey.Set(keys[index]);
        }
    }
    // One look at the order; rows the owner did not order as the header says are sorted.
    const auto before = [this](const TreeRowPtr& a, const TreeRowPtr& b) { return Before(a, b); };
    const bool inOrder = std::is_sorted(ordered.begin(), ordered.end(), before);
    std::vector<TreeRowPtr>& siblings = MutableChildrenOf(parent.get());
    if (!siblings.empty()) {
        // More rows for a parent that has some: in one step at its end when they follow its
        // last row in order (the next part of results delivered in parts), else each to its
        // place.
        if (!inOrder || before(ordered.front(), siblings.back())) {
            for (const TreeRowPtr& row : ordered) {
                Detach(row);
            }
            Insert(parent, rows);
            return;
        }
        const int first = static_cast<int>(siblings.size());
        beginInsertRows(IndexOf(parent), first, first + static_cast<int>(ordered.size()) - 1);
        mRowCount += RowsAtAndBelow(ordered);
        siblings.insert(siblings.end(), ordered.begin(), ordered.end());
        Reindex(siblings, static_cast<std::size_t>(first));
        endInsertRows();
        return;
    }
    if (parent) {
        parent->Node().childrenLoaded = true;
    }
    if (inOrder) {
        Reindex(ordered);
    } else {
        SortChildren(ordered, false);
    }
    beginInsertRows(IndexOf(parent), 0, static_cast<int>(ordered.size()) - 1);
    mRowCount += RowsAtAndBelow(ordered);
    siblings = std::move(ordered);
    endInsertRows();
}

void TreeModel::Insert(const TreeRowPtr& parent, const std::vector<TreeRowPtr>& rows) {
    if (parent && parent->Node().tree != this) {
        return;
    }
    if (parent) {
        parent->Node().childrenLoaded = true;
    }
    std::vector<TreeRowPtr> fresh;
    std::unordered_set<const UI_TreeRow*> seen;
    for (const TreeRowPtr& row : rows) {
        if (row && row->Node().tree == nullptr && seen.insert(row.get()).second) {
            fresh.push_back(row);
        }
    }
    if (fresh.empty()) {
        if (parent) {
            RowChanged(parent); // its disclosure may change
        }
        return;
    }
    RowsChanging();
    mRowCount += RowsAtAndBelow(fresh);
    for (const TreeRowPtr& row : fresh) {
        row->Node().tree = this;
        row->Node().parent = parent.get();
        row->Node().sortKeyValid = false;
    }
    std::vector<TreeRowPtr>& siblings = MutableChildrenOf(parent.get());
    const QModelIndex parentIndex = IndexOf(parent);
    if (parent && parent->Node().childrenUnsorted && !siblings.empty()) {
        // A closed folder that waits for a sort: the rows join it, and are sorted with it
        // when it opens, asking no keys now.
        const int first = static_cast<int>(siblings.size());
        beginInsertRows(parentIndex, first, first + static_cast<int>(fresh.size()) - 1);
        siblings.insert(siblings.end(), fresh.begin(), fresh.end());
        Reindex(siblings, static_cast<std::size_t>(first));
        endInsertRows();
        return;
    }
    if (parent && siblings.empty()) {
        parent->Node().childrenUnsorted = false;
    }
    if (siblings.empty()) {
        // A folder filled for the first time: ordered once, inserted at once.
        SortChildren(fresh, false);
        beginInsertRows(parentIndex, 0, static_cast<int>(fresh.size()) - 1);
        siblings = fresh;
        endInsertRows();
        return;
    }
    // A few rows more: each goes to its place.
    for (const TreeRowPtr& row : fresh) {
        KeyOf(row);
        const auto at = std::upper_bound(
            siblings.begin(), siblings.end(), row,
            [this](const TreeRowPtr& a, const TreeRowPtr& b) { return Before(a, b); });
        const int position = static_cast<int>(at - siblings.begin());
        beginInsertRows(parentIndex, position, position);
        siblings.insert(at, row);
        Reindex(siblings, static_cast<std::size_t>(position));
        endInsertRows();
    }
}

std::size_t TreeModel::Detach(const TreeRowPtr& row, bool dropCells) {
    TreeRowNode& node = row->Node();
    node.tree = nullptr;
    node.parent = nullptr;
    node.selected = false; // a row out of the tree is selected in none
    node.selectedBelow = 0;
    node.expandBelow = false;
    if (dropCells) {
        node.cells.reset(); // made again if the row is drawn again
    }
    std::size_t detached = 1;
    for (const TreeRowPtr& child : node.children) {
        detached += Detach(child, dropCells);
    }
    return detached;
}

void TreeModel::LetGo(std::vector<TreeRowPtr> rows, std::size_t withRowsBelow) {
    if (withRowsBelow < kRowsFreedOnAWorker) {
        return; // freed here, as the rows go
    }
    // Rows still held elsewhere only lose this hold: the last holder frees them.
    RunOnDefaultExecutor([gone = std::make_shared<std::vector<TreeRowPtr>>(
                              std::move(rows))]() mutable { gone.reset(); });
}

void TreeModel::Remove(const TreeRowPtr& row) {
    if (!row || row->Node().tree != this) {
        return;
    }
    std::vector<TreeRowPtr>& siblings = MutableChildrenOf(row->Node().parent);
    RowsChanging();
    const int position = row->Node().index;
    beginRemoveRows(IndexOf(row->Node().parent), position, position);
    const TreeRowPtr keep = row; // the row may be held only by its parent
    siblings.erase(siblings.begin() + position);
    Reindex(siblings, static_cast<std::size_t>(position));
    mRowCount -= Detach(keep);
    endRemoveRows();
}

void TreeModel::RemoveChildren(const UI_TreeRow* parent) {
    if (parent && parent->Node().tree != this) {
        return;
    }
    std::vector<TreeRowPtr>& rows = MutableChildrenOf(parent);
    if (rows.empty()) {
        return;
    }
    RowsChanging();
    beginRemoveRows(IndexOf(parent), 0, static_cast<int>(rows.size()) - 1);
    std::vector<TreeRowPtr> gone;
    gone.swap(rows);
    std::size_t detached = 0;
    for (const TreeRowPtr& row : gone) {
        detached += Detach(row, true);
    }
    mRowCount -= detached;
    endRemoveRows();
    LetGo(std::move(gone), detached);
}

void TreeModel::SetCustomChild(const TreeRowPtr& row, bool custom) {
    if (!row || row->Node().tree != this || row->Node().customChild == custom) {
        return;
    }
    row->Node().customChild = custom;
    RowChanged(row);
}

void TreeModel::MoveToSortedPlace(const TreeRowPtr& row) {
    if (!row || row->Node().tree != this ||
        (row->Node().parent != nullptr && row->Node().parent->Node().childrenUnsorted)) {
        return; // rows that wait for their folder to open are sorted then
    }
    TreeRowNode& node = row->Node();
    const bool known = node.sortKeyValid;
    const WideString before(node.sortKey.View());
    node.sortKey.Clear();
    node.sortKeyValid = false;
    if (known && KeyOf(row) == before) {
        return;
    }
    RowsChanging();
    std::vector<TreeRowPtr>& siblings = MutableChildrenOf(node.parent);
    const auto from = siblings.begin() + node.index;
    const auto less = [this](const TreeRowPtr& a, const TreeRowPtr& b) { return Before(a, b); };
    // Its place among the others: they are in order, so search the part on its far side.
    const auto place = from != siblings.begin() && less(row, *(from - 1))
                           ? std::upper_bound(siblings.begin(), from, row, less)
                       : from + 1 != siblings.end() && less(*(from + 1), row)
                           ? std::upper_bound(from + 1, siblings.end(), row, less)
                           : from;
    if (place == from) {
        return; // still in order where it is
    }
    const int first = node.index;
    const int destination = static_cast<int>(place - siblings.begin()); // counted before the move
    const QModelIndex parentIndex = IndexOf(node.parent);
    if (!beginMoveRows(parentIndex, first, first, parentIndex, destination)) {
        return;
    }
    // Only the rows between its old and new places change their index.
    const bool up = place < from;
    if (up) {
        std::rotate(place, from, from + 1);
    } else {
        std::rotate(from, from + 1, place);
    }
    const int low = up ? destination : first;
    const int high = up ? first : destination - 1;
    for (int index = low; index <= high; ++index) {
        siblings[static_cast<std::size_t>(index)]->Node().index = index;
    }
    endMoveRows();
}

void TreeModel::RowChanged(const TreeRowPtr& row) {
    const QModelIndex first = IndexOf(row, 0);
    if (first.isValid()) {
        emit dataChanged(first, IndexOf(row, columnCount() - 1));
    }
}

} // namespace host
