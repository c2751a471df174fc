#include "Marvane/uitoolkit/HeaderRowImpl.h"
#include "Marvane/uitoolkit/TextEdit.h"
#include "Marvane/uitoolkit/TreeView.h"

#include <QItemSelectionModel>
#include <QScrollBar>
#include <algorithm>
#include <cmath>

namespace host {

UI_TreeRow::UI_TreeRow(bool canHaveChildren) {
    static_assert(sizeof(TreeRowNode) <= kNodeSize && alignof(TreeRowNode) <= 8,
                  "a row's node must fit in the row");
    new (mNode) TreeRowNode(this, canHaveChildren);
}

UI_TreeRow::~UI_TreeRow() {
    Node().~TreeRowNode();
}

UI_TreeRow* UI_TreeRow::GetParent() const {
    return Node().parent;
}

int UI_TreeRow::GetChildCount() const {
    return static_cast<int>(Node().children.size());
}

TreeRowPtr UI_TreeRow::GetChild(int index) const {
    return index >= 0 && static_cast<std::size_t>(index) < Node().children.size()
               ? Node().children[static_cast<std::size_t>(index)]
               : nullptr;
}

bool UI_TreeRow::CanHaveChildren() const {
    return Node().canHaveChildren;
}

const WideString& UI_TreeRow::GetName() const {
    return Node().name;
}

void UI_TreeRow::SetName(WideString name) {
    if (Node().tree != nullptr) {
        Node().tree->NameChanging(); // a sort on worker threads may be reading it
    }
    Node().name = std::move(name);
}

UI_TreeRow::OwnerData* UI_TreeRow::GetOwnerData() const {
    return Node().ownerData.get();
}

void UI_TreeRow::SetOwnerData(std::unique_ptr<OwnerData> data) const {
    Node().ownerData = std::move(data);
}

namespace {

void CollectOpened(const TreeModel& model, const QTreeView& view,
                   const std::vector<TreeRowPtr>& rows, std::vector<TreeRowPtr>& opened) {
    for (const TreeRowPtr& row : rows) {
        opened.push_back(row);
        if (!row->Node().children.empty() && view.isExpanded(model.IndexOf(row))) {
            CollectOpened(model, view, row->Node().children, opened);
        }
    }
}

} // namespace

UI_MultiColumnTree::UI_MultiColumnTree(const ByteString& nodeID)
    : mImpl(std::make_unique<MultiColumnTreeImpl>(nodeID)) {
    MultiColumnTreeImpl* impl = mImpl.get();
    QTreeView* view = impl->view.data();
    QObject::connect(view, &QTreeView::expanded, view, [impl](const QModelIndex& index) {
        if (const TreeRowPtr row = impl->model.RowAt(index)) {
            // Rows that waited for a sort while their folder was closed take their places.
            impl->model.SortOpenedFolder(row, impl->OpenTest());
            if (impl->disclosureChanged) {
                impl->disclosureChanged(row, true);
            }
        }
    });
    QObject::connect(view, &QTreeView::collapsed, view, [impl](const QModelIndex& index) {
        if (const TreeRowPtr row = impl->model.RowAt(index); row && impl->disclosureChanged) {
            impl->disclosureChanged(row, false);
        }
    });
    const auto changed = [impl] { ++impl->selectionVersion; };
    QAbstractItemModel* model = &impl->model;
    QObject::connect(model, &QAbstractItemModel::rowsInserted, view, changed);
    QObject::connect(model, &QAbstractItemModel::rowsRemoved, view, changed);
    QObject::connect(model, &QAbstractItemModel::rowsMoved, view, changed);
    QObject::connect(model, &QAbstractItemModel::layoutChanged, view, changed);
    QObject::connect(model, &QAbstractItemModel::modelReset, view, changed);
    QObject::connect(impl->selection, &QItemSelectionModel::selectionChanged, view, [impl] {
        ++impl->selectionVersion;
        // The selection tells the view nothing of which rows changed: they are drawn again.
        impl->view->viewport()->update();
        if (impl->notifySelection && impl->selectionChanged) {
            impl->selectionChanged();
        }
    });
}

UI_MultiColumnTree::~UI_MultiColumnTree() = default;

const ByteString& UI_MultiColumnTree::GetNodeID() const {
    return mImpl->nodeID;
}

void UI_MultiColumnTree::SetHeaderRow(UI_MultiColumnTreeHeaderRow* header) {
    mImpl->header = header;
    if (header == nullptr) {
        mImpl->model.SetHeader(nullptr);
        return;
    }
    HeaderRowImpl* headerImpl = header->GetImpl();
    QHeaderView* headerView = headerImpl->view.data();
    // The header keeps its columns' widths and order when the tree takes it over.
    std::vector<int> widths;
    std::vector<int> order;
    for (int section = 0; section < headerView->count(); ++section) {
        widths.push_back(headerView->sectionSize(section));
        order.push_back(headerView->visualIndex(section));
    }
    const OwnerChange change(*headerImpl);
    mImpl->model.SetHeader(headerImpl);
    mImpl->view->setHeader(headerView);
    for (int section = 0; section < static_cast<int>(widths.size()); ++section) {
        headerView->resizeSection(section, widths[static_cast<std::size_t>(section)]);
    }
    for (int section = 0; section < static_cast<int>(order.size()); ++section) {
        const int from = headerView->visualIndex(section);
        const int to = order[static_cast<std::size_t>(section)];
        if (from != to) {
            headerView->moveSection(from, to);
        }
    }
    headerView->setSortIndicatorShown(true);
    // Taking a header makes a tree without its own sorting switch header clicks off: the
    // titles sort here, so they take clicks again.
    headerView->setSectionsClickable(true);
    // After the owner heard of a new sort (the header tells it first), the rows follow.
    MultiColumnTreeImpl* impl = mImpl.get();
    QObject::connect(headerView, &QHeaderView::sectionClicked, mImpl->view.data(),
                     [impl](int) { impl->Resort(); });
}

UI_MultiColumnTreeHeaderRow* UI_MultiColumnTree::GetHeaderRow() const {
    return mImpl->header;
}

void UI_MultiColumnTree::InsertRows(const TreeRowPtr& parent, const std::vector<TreeRowPtr>& rows) {
    mImpl->model.Insert(parent, rows);
}

void UI_MultiColumnTree::InsertRowsInOrder(const TreeRowPtr& parent,
                                           const std::vector<TreeRowPtr>& rows,
                                           std::vector<WideString> keys) {
    mImpl->model.InsertInOrder(parent, rows, std::move(keys));
}

void UI_MultiColumnTree::RemoveRow(const TreeRowPtr& row) {
    mImpl->model.Remove(row);
}

void UI_MultiColumnTree::RemoveChildren(const TreeRowPtr& parent) {
    mImpl->model.RemoveChildren(parent.get());
}

void UI_MultiColumnTree::RemoveAllRows() {
    mImpl->model.RemoveChildren(nullptr);
}

bool UI_MultiColumnTree::HoldsRow(const UI_TreeRow* row) const {
    return row != nullptr && row->Node().tree == &mImpl->model;
}

int UI_MultiColumnTree::GetTopLevelRowCount() const {
    return static_cast<int>(mImpl->model.ChildrenOf(nullptr).size());
}

TreeRowPtr UI_MultiColumnTree::GetTopLevelRow(int index) const {
    const auto& rows = mImpl->model.ChildrenOf(nullptr);
    return index >= 0 && static_cast<std::size_t>(index) < rows.size()
               ? rows[static_cast<std::size_t>(index)]
               : nullptr;
}

void UI_MultiColumnTree::SetRowHasCustomChild(const TreeRowPtr& row, bool hasCustomChild) {
    mImpl->model.SetCustomChild(row, hasCustomChild);
}

bool UI_MultiColumnTree::RowHasCustomChild(const TreeRowPtr& row) const {
    return row && row->Node().customChild;
}

void UI_MultiColumnTree::OpenRow(const TreeRowPtr& row, bool open) {
    const QModelIndex index = mImpl->model.IndexOf(row);
    if (index.isValid()) {
        mImpl->view->setExpanded(index, open);
    }
}

void UI_MultiColumnTree::ToggleRow(const TreeRowPtr& row) {
    OpenRow(row, !IsRowOpen(row));
}

bool UI_MultiColumnTree::IsRowOpen(const TreeRowPtr& row) const {
    const QModelIndex index = mImpl->model.IndexOf(row);
    return index.isValid() && mImpl->view->isExpanded(index);
}

std::vector<TreeRowPtr> UI_MultiColumnTree::GetOpenedRows() const {
    std::vector<TreeRowPtr> opened;
    CollectOpened(mImpl->model, *mImpl->view, mImpl->model.ChildrenOf(nullptr), opened);
    return opened;
}

namespace {

int OpenedIndexOf(const std::vector<TreeRowPtr>& opened, const TreeRowPtr& row) {
    const auto found = std::find(opened.begin(), opened.end(), row);
    return found == opened.end() ? -1 : static_cast<int>(found - opened.begin());
}

} // namespace

int UI_MultiColumnTree::GetFirstVisibleOpenedRowIndex() const {
    const std::vector<TreeRowPtr> opened = GetOpenedRows();
    if (opened.empty()) {
        return -1;
    }
    const QModelIndex index = mImpl->view->indexAt(QPoint(1, 0));
    const TreeRowPtr row = mImpl->model.RowAt(index);
    if (!row) {
        return 0;
    }
    // A row cut off at the top does not count as visible.
    const int found = OpenedIndexOf(opened, row);
    const bool cut = mImpl->view->visualRect(index).top() < 0;
    return cut && found + 1 < static_cast<int>(opened.size()) ? found + 1 : found;
}

int UI_MultiColumnTree::GetLastVisibleOpenedRowIndex() const {
    const std::vector<TreeRowPtr> opened = GetOpenedRows();
    if (opened.empty()) {
        return -1;
    }
    const int bottom = mImpl->view->viewport()->height() - 1;
    const QModelIndex index = mImpl->view->indexAt(QPoint(1, bottom));
    const TreeRowPtr row = mImpl->model.RowAt(index);
    if (!row) {
        // Below the last row there is empty space: the last row is the last visible one.
        return static_cast<int>(opened.size()) - 1;
    }
    // A row cut off at the bottom does not count as visible.
    const int found = OpenedIndexOf(opened, row);
    const bool cut = mImpl->view->visualRect(index).bottom() > bottom;
    return cut && found > 0 ? found - 1 : found;
}

bool UI_MultiColumnTree::IsRowVisible(const TreeRowPtr& row) const {
    const QModelIndex index = mImpl->model.IndexOf(row);
    if (!index.isValid()) {
        return false;
    }
    for (QModelIndex parent = index.parent(); parent.isValid(); parent = parent.parent()) {
        if (!mImpl->view->isExpanded(parent)) {
            return false;
        }
    }
    return mImpl->view->visualRect(index).intersects(mImpl->view->viewport()->rect());
}

void UI_MultiColumnTree::ScrollRowIntoView(const TreeRowPtr& row, bool placeAtTop, int marginRows,
                                           bool) {
    const QModelIndex index = mImpl->model.IndexOf(row);
    if (!index.isValid()) {
        return;
    }
    mImpl->view->scrollTo(index, placeAtTop ? QAbstractItemView::PositionAtTop
                                            : QAbstractItemView::EnsureVisible);
    if (marginRows > 0 && !placeAtTop) {
        QScrollBar* bar = mImpl->view->verticalScrollBar();
        const QRect rect = mImpl->view->visualRect(index);
        const int margin = marginRows * static_cast<int>(mImpl->rowHeight);
        if (rect.top() < margin) {
            bar->setValue(bar->value() - (margin - rect.top()));
        } else if (rect.bottom() > mImpl->view->viewport()->height() - margin) {
            bar->setValue(bar->value() + rect.bottom() -
                          (mImpl->view->viewport()->height() - margin));
        }
    }
}

void UI_MultiColumnTree::SelectRow(const TreeRowPtr& row, RowSelection how,
                                   SelectionNotice notice) {
    const QModelIndex index = mImpl->model.IndexOf(row);
    if (!index.isValid()) {
        return;
    }
    mImpl->notifySelection = notice == SelectionNotice::kTell;
    MarkedSelection& selection = *mImpl->selection;
    const QModelIndex current = selection.currentIndex();
    QItemSelection range(index, index);
    if (how == RowSelection::kAddRange && current.isValid()) {
        range = QItemSelection(current, index);
        if (mImpl->view->visualRect(index).top() < mImpl->view->visualRect(current).top()) {
            range = QItemSelection(index, current);
        }
    }
    selection.select(range, how == RowSelection::kOnlyRow ? QItemSelectionModel::ClearAndSelect
                                                          : QItemSelectionModel::Select);
    selection.setCurrentIndex(index, QItemSelectionModel::NoUpdate);
    mImpl->notifySelection = true;
}

void UI_MultiColumnTree::SelectRows(const std::vector<TreeRowPtr>& rows, bool notify) {
    // The last row of the tree given becomes the current one.
    const auto last = std::find_if(rows.rbegin(), rows.rend(), [this](const TreeRowPtr& row) {
        return row && row->Node().tree == &mImpl->model;
    });
    if (last == rows.rend()) {
        return;
    }
    mImpl->notifySelection = notify;
    mImpl->selection->SetRows(rows, true); // one change, told once
    mImpl->selection->setCurrentIndex(mImpl->model.IndexOf(*last), QItemSelectionModel::NoUpdate);
    mImpl->notifySelection = true;
}

void UI_MultiColumnTree::SelectOpenedRows(const TreeRowPtr& except, bool notify) {
    mImpl->notifySelection = notify;
    if (const TreeRowPtr last = mImpl->selection->SetOpenedRows(mImpl->OpenTest(), except.get())) {
        mImpl->selection->setCurrentIndex(mImpl->model.IndexOf(last),
                                          QItemSelectionModel::NoUpdate);
    }
    mImpl->notifySelection = true;
}

void UI_MultiColumnTree::DeselectAllRows() {
    mImpl->selection->ClearRows();
}

std::vector<TreeRowPtr> MultiColumnTreeImpl::SelectedRows() const {
    // Rows added, removed, moved or sorted change the version too.
    if (selectedRowsVersion != selectionVersion) {
        selectedRows = selection->InDisplayOrder();
        selectedRowsVersion = selectionVersion;
    }
    return selectedRows;
}

std::uint64_t UI_MultiColumnTree::GetSelectionVersion() const {
    return mImpl->selectionVersion;
}

std::vector<TreeRowPtr> UI_MultiColumnTree::GetSelectedRows() const {
    return mImpl->SelectedRows();
}

std::size_t UI_MultiColumnTree::GetSelectedRowCount() const {
    return mImpl->selection->Count();
}

bool UI_MultiColumnTree::IsRowSelected(const TreeRowPtr& row) const {
    return row && row->Node().tree == &mImpl->model && MarkedSelection::IsSelected(*row);
}

bool UI_MultiColumnTree::VisitSelectedRows(const std::function<bool(const TreeRowPtr&)>& visit,
                                           bool outermost) const {
    return mImpl->selection->Visit(visit, outermost);
}

void UI_MultiColumnTree::SetSortDataCallback(SortDataCallback callback) {
    mImpl->model.sortData = std::move(callback);
}

void UI_MultiColumnTree::SetSortKeyInNameCallback(SortKeyInNameCallback callback) {
    mImpl->model.sortKeyInName = std::move(callback);
}

void UI_MultiColumnTree::SetToolTipCallback(CellTextCallback callback) {
    mImpl->model.toolTip = std::move(callback);
}

void UI_MultiColumnTree::SetCellTextCallback(CellTextCallback callback) {
    mImpl->model.cellText = std::move(callback);
}

void UI_MultiColumnTree::SetCellViewCallback(CellViewCallback callback) {
    mImpl->cellViews = std::move(callback);
}

void UI_MultiColumnTree::SetRowsToDrawCallback(RowsCallback callback) {
    mImpl->rowsToDraw = std::move(callback);
}

void UI_MultiColumnTree::Resort() {
    mImpl->Resort();
}

void UI_MultiColumnTree::RowSortKeyChanged(const TreeRowPtr& row) {
    mImpl->model.MoveToSortedPlace(row);
}

std::uint64_t UI_MultiColumnTree::GetSortDataRequestCount() const {
    return mImpl->model.sortDataRequests;
}

UI_SubView* UI_MultiColumnTree::GetCellView(const TreeRowPtr& row, ColumnID column) {
    if (!row || row->Node().tree != &mImpl->model) {
        return nullptr;
    }
    return mImpl->CellView(row, column);
}

void UI_MultiColumnTree::RefreshRow(const TreeRowPtr& row) {
    if (!row) {
        return;
    }
    row->Node().cells.reset();
    mImpl->model.RowChanged(row);
}

UI_Rect UI_MultiColumnTree::GetCellFrame(const TreeRowPtr& row, ColumnID column) const {
    const int section = mImpl->model.SectionOf(column);
    const QModelIndex index = mImpl->model.IndexOf(row, std::max(section, 0));
    if (!index.isValid() || (section < 0 && column != 0)) {
        return {};
    }
    const QRect rect = mImpl->view->visualRect(index);
    return {static_cast<float>(rect.left()), static_cast<float>(rect.top()),
            static_cast<float>(rect.width()), static_cast<float>(rect.height())};
}

void UI_MultiColumnTree::SetRowHeight(float height) {
    mImpl->rowHeight = std::max(1.0f, height);
    mImpl->view->doItemsLayout();
}

float UI_MultiColumnTree::GetRowHeight() const {
    return mImpl->rowHeight;
}

float UI_MultiColumnTree::GetScrollViewHeight() const {
    return static_cast<float>(mImpl->view->viewport()->height());
}

void UI_MultiColumnTree::SetDisclosureChangedCallback(DisclosureCallback callback) {
    mImpl->disclosureChanged = std::move(callback);
}

void UI_MultiColumnTree::SetSelectionChangedCallback(SelectionCallback callback) {
    mImpl->selectionChanged = std::move(callback);
}

void UI_MultiColumnTree::SetDoubleClickCallback(ClickCallback callback) {
    mImpl->doubleClick = std::move(callback);
}

void UI_MultiColumnTree::SetSingleClickDownCallback(ClickCallback callback) {
    mImpl->clickDown = std::move(callback);
}

void UI_MultiColumnTree::SetSingleClickUpCallback(ClickCallback callback) {
    mImpl->clickUp = std::move(callback);
}

void UI_MultiColumnTree::SetKeyboardCallback(KeyboardCallback callback) {
    mImpl->keyboard = std::move(callback);
}

void UI_MultiColumnTree::SetWheelCallback(WheelCallback callback) {
    mImpl->wheel = std::move(callback);
}

void UI_MultiColumnTree::SetContextClickCallback(ClickCallback callback) {
    mImpl->contextClick = std::move(callback);
}

void UI_MultiColumnTree::SetAllowsMultipleSelection(bool allow) {
    mImpl->view->setSelectionMode(allow ? QAbstractItemView::ExtendedSelection
                                        : QAbstractItemView::SingleSelection);
}

bool UI_MultiColumnTree::AllowsMultipleSelection() const {
    return mImpl->view->selectionMode() == QAbstractItemView::ExtendedSelection;
}

void UI_MultiColumnTree::SetDeselectAllOnEmptyClick(bool deselect) {
    mImpl->deselectOnEmptyClick = deselect;
}

bool UI_MultiColumnTree::DeselectsAllOnEmptyClick() const {
    return mImpl->deselectOnEmptyClick;
}

void UI_MultiColumnTree::SetShowsGridLines(bool show) {
    mImpl->gridLines = show;
    mImpl->view->viewport()->update();
}

bool UI_MultiColumnTree::ShowsGridLines() const {
    return mImpl->gridLines;
}

void UI_MultiColumnTree::SetBusySpinnerAlignment(int alignment) {
    mImpl->spinnerAlignment = alignment;
    mImpl->view->PlaceBusyIndicator();
}

int UI_MultiColumnTree::GetBusySpinnerAlignment() const {
    return mImpl->spinnerAlignment;
}

void UI_MultiColumnTree::SetBusy(bool busy) {
    mImpl->view->SetBusy(busy);
}

bool UI_MultiColumnTree::IsBusy() const {
    return mImpl->view->IsBusy();
}

void UI_MultiColumnTree::SetVisible(bool visible) {
    mImpl->visible = visible;
    mImpl->view->setVisible(visible);
}

bool UI_MultiColumnTree::IsVisible() const {
    return mImpl->visible;
}

UI_TextEdit* UI_MultiColumnTree::CreateEditField(const UI_Rect& frame) {
    auto field = std::make_unique<UI_TextEdit>(
        std::make_unique<TextEditImpl>(mImpl->view->viewport(), frame));
    UI_TextEdit* made = field.get();
    mImpl->editFields.push_back(std::move(field));
    return made;
}

std::vector<UI_TextEdit*> UI_MultiColumnTree::GetEditFields() const {
    std::vector<UI_TextEdit*> fields;
    for (const auto& field : mImpl->editFields) {
        fields.push_back(field.get());
    }
    return fields;
}

void UI_MultiColumnTree::RemoveEditField(UI_TextEdit* field) {
    auto& fields = mImpl->editFields;
    const auto found = std::find_if(fields.begin(), fields.end(),
                                    [field](const auto& held) { return held.get() == field; });
    if (found == fields.end()) {
        return;
    }
    // The field may have lost the focus to a message it led to (a modal box has it while
    // shown): its window still remembers it as where the keyboard goes, and would have the
    // keyboard nowhere once the field is gone.
    const QLineEdit* line = field->Impl().line;
    const bool hadFocus =
        line != nullptr && (line->hasFocus() || line->window()->focusWidget() == line);
    // Out of the list first: removing runs the field's destructor, which may end an edit.
    std::unique_ptr<UI_TextEdit> removed = std::move(*found);
    fields.erase(found);
    removed.reset();
    if (hadFocus && mImpl->view) {
        mImpl->view->setFocus(Qt::OtherFocusReason);
    }
}

void UI_MultiColumnTree::SetDragStartCallback(DragStartCallback callback) {
    mImpl->dragStart = std::move(callback);
    const bool enabled = static_cast<bool>(mImpl->dragStart);
    mImpl->model.SetDragEnabled(enabled);
    mImpl->view->setDragEnabled(enabled);
}

void UI_MultiColumnTree::SetDropCallback(DropCallback callback) {
    mImpl->drop = std::move(callback);
    const bool enabled = static_cast<bool>(mImpl->drop);
    mImpl->view->setAcceptDrops(enabled);
    mImpl->view->viewport()->setAcceptDrops(enabled);
}

void UI_MultiColumnTree::SetOverlayText(const WideString& text) {
    mImpl->view->SetOverlayText(
        QString::fromUtf16(text.data(), static_cast<qsizetype>(text.size())));
}

WideString UI_MultiColumnTree::GetOverlayText() const {
    const QString text = mImpl->view->OverlayText();
    return {reinterpret_cast<const char16_t*>(text.utf16()), static_cast<std::size_t>(text.size())};
}

void UI_MultiColumnTree::ShowDragFeedback(bool show) {
    mImpl->dragFeedbackShown = show;
    mImpl->view->viewport()->update();
}

bool UI_MultiColumnTree::IsShowingDragFeedback() const {
    return mImpl->dragFeedbackShown;
}

DragCursor UI_MultiColumnTree::GetDragCursor() const {
    return mImpl->dragCursor;
}

} // namespace host
