#include "Marvane/uitoolkit/TreeView.h"
#include "host/Localizer.h"

#include "Marvane/uitoolkit/CutCellText.h"
#include "Marvane/uitoolkit/DragAndDrop.h"
#include "Marvane/uitoolkit/PictureImpl.h"
#include "Marvane/uitoolkit/PlainToolTip.h"
#include "Marvane/uitoolkit/TextMetrics.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QCursor>
#include <QDragEnterEvent>
#include <QDragLeaveEvent>
#include <QDragMoveEvent>
#include <QDropEvent>
#include <QHeaderView>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QStyleOption>
#include <QToolTip>
#include <algorithm>
#include <vector>

namespace host {

namespace {

QRectF ToQRect(const UI_Rect& rect) {
    return {rect.left, rect.top, rect.width, rect.height};
}

// Draws a node and, for containers, its children, in the cell's own coordinates.
void PaintNode(QPainter& painter, const UI_Node& node, const QPalette::ColorRole textRole,
               const QPalette& palette, CellTextCache& texts) {
    if (!node.IsVisible()) {
        return;
    }
    const QRectF bounds = ToQRect(node.GetBounds());
    if (const auto* image = dynamic_cast<const UI_StaticImage*>(&node)) {
        if (const UI_Picture picture = image->RequestPicture(static_cast<float>(bounds.width()),
                                                             static_cast<float>(bounds.height()))) {
            picture->Paint(painter, bounds);
        }
    } else if (const auto* text = dynamic_cast<const UI_StaticText*>(&node)) {
        painter.setPen(palette.color(textRole));
        // The same font the name is measured with.
        texts.Draw(painter, bounds, StaticTextValue(*text), StaticTextFont(*text, TreeCellFont()));
    }
    if (const auto* container = dynamic_cast<const UI_Container*>(&node)) {
        for (const auto& child : container->GetChildren()) {
            PaintNode(painter, *child, textRole, palette, texts);
        }
    }
}

} // namespace

std::uint32_t CurrentModifiers(Qt::KeyboardModifiers modifiers) {
    std::uint32_t flags = 0;
    flags |= modifiers.testFlag(Qt::ShiftModifier) ? kModifierShift : 0u;
    flags |= modifiers.testFlag(Qt::ControlModifier) ? kModifierControl : 0u;
    flags |= modifiers.testFlag(Qt::AltModifier) ? kModifierAlternative : 0u;
    return flags;
}

void CellDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                         const QModelIndex& index) const {
    const TreeRowPtr row = mTree.model.RowAt(index);
    UI_SubView* cell = row ? mTree.CellView(row, mTree.model.ColumnAt(index.column())) : nullptr;
    // The background, selection and focus as for any cell, then its text or its view.
    QStyleOptionViewItem background = option;
    initStyleOption(&background, index);
    const QString text = cell == nullptr ? background.text : QString();
    background.text.clear();
    const QWidget* widget = option.widget;
    QStyle* style = widget ? widget->style() : QApplication::style();
    style->drawControl(QStyle::CE_ItemViewItem, &background, painter, widget);
    const bool selected = option.state.testFlag(QStyle::State_Selected);
    const QPalette::ColorRole textRole = selected ? QPalette::HighlightedText : QPalette::Text;
    painter->save();
    if (cell == nullptr) {
        // A text cell, where the style puts item texts.
        background.text = text;
        const QRect area = style->subElementRect(QStyle::SE_ItemViewItemText, &background, widget);
        painter->setClipRect(option.rect);
        painter->setPen(option.palette.color(textRole));
        mTexts.Draw(*painter, QRectF(area), text, background.font);
        painter->restore();
        DrawGridLine(*painter, option.rect);
        return;
    }
    cell->BoundsChanged(
        {0, 0, static_cast<float>(option.rect.width()), static_cast<float>(option.rect.height())});
    painter->translate(option.rect.topLeft());
    painter->setClipRect(QRect(QPoint(0, 0), option.rect.size()));
    PaintNode(*painter, *cell, textRole, option.palette, mTexts);
    painter->restore();
    DrawGridLine(*painter, option.rect);
}

void CellDelegate::DrawGridLine(QPainter& painter, const QRect& cell) const {
    if (mTree.gridLines) {
        painter.save();
        painter.setPen(QColor(0, 0, 0, 40));
        painter.drawLine(cell.bottomLeft(), cell.bottomRight());
        painter.drawLine(cell.topRight(), cell.bottomRight());
        painter.restore();
    }
}

QSize CellDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const {
    QSize size = QStyledItemDelegate::sizeHint(option, index);
    size.setHeight(static_cast<int>(mTree.rowHeight));
    return size;
}

bool CellDelegate::helpEvent(QHelpEvent* event, QAbstractItemView* view,
                             const QStyleOptionViewItem& option, const QModelIndex& index) {
    if (event == nullptr || view == nullptr || event->type() != QEvent::ToolTip) {
        return QStyledItemDelegate::helpEvent(event, view, option, index);
    }
    const QString tip = index.isValid() ? ToolTipFor(option, index) : QString();
    // Nothing to say hides the tooltip shown for another cell.
    QToolTip::showText(event->globalPos(), tip.isEmpty() ? tip : PlainToolTip(tip),
                       view->viewport(), option.rect);
    event->setAccepted(!tip.isEmpty());
    return event->isAccepted();
}

QString CellDelegate::ToolTipFor(const QStyleOptionViewItem& option,
                                 const QModelIndex& index) const {
    const QString said = mTree.model.SourceText(index, Qt::ToolTipRole).toString();
    const QString cut = CutText(option, index);
    if (cut.isEmpty() || cut == said) {
        return said;
    }
    return said.isEmpty() ? cut : cut + QStringLiteral("\n") + said;
}

QString CellDelegate::CutText(const QStyleOptionViewItem& option, const QModelIndex& index) const {
    const TreeRowPtr row = mTree.model.RowAt(index);
    if (!row) {
        return {};
    }
    if (UI_SubView* cell = mTree.CellView(row, mTree.model.ColumnAt(index.column()))) {
        // Laid out as it is drawn at this width.
        cell->BoundsChanged({0, 0, static_cast<float>(option.rect.width()),
                             static_cast<float>(option.rect.height())});
        return CutTextsOf(*cell);
    }
    QStyleOptionViewItem item = option;
    initStyleOption(&item, index);
    const QWidget* widget = option.widget;
    const QStyle* style = widget ? widget->style() : QApplication::style();
    const QRect area = style->subElementRect(QStyle::SE_ItemViewItemText, &item, widget);
    return IsDrawnCut(item.text, item.font, area.width()) ? item.text : QString();
}

TreeWidget::TreeWidget(MultiColumnTreeImpl& tree) : mTree(tree) {
    setUniformRowHeights(true);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setExpandsOnDoubleClick(false);
    setAllColumnsShowFocus(true);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
}

bool TreeWidget::IsOnBranch(QPoint point) const {
    const QModelIndex index = indexAt(point);
    if (!index.isValid()) {
        return false;
    }
    const QRect cell = visualRect(index);
    const int sectionLeft = columnViewportPosition(index.column());
    const int sectionRight = sectionLeft + columnWidth(index.column());
    return isRightToLeft() ? point.x() >= cell.right() + 1 && point.x() < sectionRight
                           : point.x() >= sectionLeft && point.x() < cell.left();
}

void TreeWidget::mousePressEvent(QMouseEvent* event) {
    mPressedAt = event->position().toPoint();
    mPressedOnBranch = IsOnBranch(mPressedAt);
    // A click on the empty area below the rows: every row is deselected, or, when the tree
    // is set not to, nothing changes.
    if (!indexAt(mPressedAt).isValid()) {
        if (mTree.deselectOnEmptyClick) {
            mTree.selection->ClearRows();
        }
        event->accept();
        return;
    }
    // The owner hears of the click before it changes the selection.
    if (const TreeRowPtr row = mTree.model.RowAt(indexAt(mPressedAt)); row && mTree.clickDown) {
        mTree.clickDown(
            row,
            {static_cast<float>(event->position().x()), static_cast<float>(event->position().y())},
            CurrentModifiers(event->modifiers()), 0);
    }
    mPressedIndex = indexAt(mPressedAt);
    mPressedSelected = mTree.selection->IsSelected(mPressedIndex);
    QTreeView::mousePressEvent(event);
}

void TreeWidget::mouseReleaseEvent(QMouseEvent* event) {
    QTreeView::mouseReleaseEvent(event);
    const QPoint at = event->position().toPoint();
    // A release after the pointer travelled (a drag), or of a click on a disclosure
    // triangle, carries a non-zero value: neither is a click on the row.
    const bool dragged = (at - mPressedAt).manhattanLength() >= QApplication::startDragDistance();
    const bool onBranch = mPressedOnBranch || IsOnBranch(at);
    if (const TreeRowPtr row = mTree.model.RowAt(indexAt(at)); row && mTree.clickUp) {
        mTree.clickUp(
            row,
            {static_cast<float>(event->position().x()), static_cast<float>(event->position().y())},
            CurrentModifiers(event->modifiers()), dragged || onBranch ? 1u : 0u);
    }
}

void TreeWidget::mouseDoubleClickEvent(QMouseEvent* event) {
    QTreeView::mouseDoubleClickEvent(event);
    // Two quick clicks on a triangle open and close the folder; they do not open the row.
    if (IsOnBranch(event->position().toPoint())) {
        return;
    }
    if (const TreeRowPtr row = mTree.model.RowAt(indexAt(event->position().toPoint()));
        row && mTree.doubleClick) {
        mTree.doubleClick(
            row,
            {static_cast<float>(event->position().x()), static_cast<float>(event->position().y())},
            CurrentModifiers(event->modifiers()), 0);
    }
}

void TreeWidget::keyPressEvent(QKeyEvent* event) {
    if (mTree.keyboard) {
        KeyboardEvent key;
        key.actionKeyDown = !event->isAutoRepeat();
        key.modifiers = CurrentModifiers(event->modifiers() & ~Qt::KeypadModifier);
        key.keyCode = event->key() == Qt::Key_Return  ? kKeyCodeReturn
                      : event->key() == Qt::Key_Enter ? kKeyCodeEnter
                                                      : 1000 + event->key();
        if (mTree.keyboard(key)) {
            event->accept();
            return;
        }
    }
    // Shift+F10 opens the menu of the current row, as the Menu key does.
    if (event->key() == Qt::Key_F10 &&
        (event->modifiers() & ~Qt::KeypadModifier) == Qt::ShiftModifier) {
        QContextMenuEvent menu(QContextMenuEvent::Keyboard, QPoint(), QCursor::pos(),
                               Qt::NoModifier);
        contextMenuEvent(&menu);
        event->accept();
        return;
    }
    // Copy, Cut and Paste are the window's Edit commands, which act on the selected items:
    // the tree never copies a cell's text instead.
    if (event->matches(QKeySequence::Copy) || event->matches(QKeySequence::Cut) ||
        event->matches(QKeySequence::Paste)) {
        event->ignore();
        return;
    }
    // "Expand all below": the folder and the folders below it open as their rows come (Qt's
    // own opens only the rows already there, all at once).
    if (event->key() == Qt::Key_Asterisk) {
        mTree.expandBelow->Start(mTree.model.RowAt(currentIndex()));
        event->accept();
        return;
    }
    QTreeView::keyPressEvent(event);
}

void TreeWidget::wheelEvent(QWheelEvent* event) {
    if (mTree.wheel) {
        const float steps = static_cast<float>(event->angleDelta().y()) / 120.0f;
        if (steps != 0.0f && mTree.wheel(steps, CurrentModifiers(event->modifiers()))) {
            event->accept();
            return;
        }
    }
    QTreeView::wheelEvent(event);
}

void TreeWidget::contextMenuEvent(QContextMenuEvent* event) {
    if (!mTree.contextClick) {
        QTreeView::contextMenuEvent(event);
        return;
    }
    QPoint at = event->pos();
    TreeRowPtr row = mTree.model.RowAt(indexAt(at));
    if (event->reason() == QContextMenuEvent::Keyboard) {
        // From the keyboard, the menu is the current row's (the empty area's when there is
        // none), wherever the pointer is; the row is shown first.
        const QModelIndex current = currentIndex();
        row = mTree.model.RowAt(current);
        at = QPoint();
        if (current.isValid()) {
            scrollTo(current);
            at = visualRect(current).center();
        }
    }
    mTree.contextClick(row, {static_cast<float>(at.x()), static_cast<float>(at.y())},
                       CurrentModifiers(event->modifiers()), 0);
    event->accept();
}

void TreeWidget::resizeEvent(QResizeEvent* event) {
    QTreeView::resizeEvent(event);
    PlaceBusyIndicator();
    PlaceOverlay();
}

void TreeWidget::SetOverlayText(const QString& text) {
    if (text.isEmpty()) {
        if (mOverlay) {
            mOverlay->hide();
            mOverlay->clear();
        }
        return;
    }
    if (!mOverlay) {
        mOverlay = new QLabel(viewport());
        mOverlay->setObjectName(QStringLiteral("TreeOverlay"));
        mOverlay->setWordWrap(true);
        mOverlay->setTextFormat(Qt::PlainText);
        mOverlay->setAlignment(Qt::AlignCenter);
        mOverlay->setAutoFillBackground(true);
        mOverlay->setStyleSheet(QStringLiteral(
            "#TreeOverlay { background: #fff3c4; color: #3a2c00; border: 1px solid #d8b64a; "
            "padding: 8px; }"));
    }
    mOverlay->setText(text);
    PlaceOverlay();
    mOverlay->show();
    mOverlay->raise();
}

QString TreeWidget::OverlayText() const {
    return mOverlay && !mOverlay->isHidden() ? mOverlay->text() : QString();
}

void TreeWidget::PlaceOverlay() {
    if (!mOverlay) {
        return;
    }
    constexpr int kMargin = 12;
    const QRect area = viewport()->rect().adjusted(kMargin, kMargin, -kMargin, -kMargin);
    const int height = mOverlay->heightForWidth(area.width());
    mOverlay->setGeometry(area.left(), area.top(), area.width(),
                          std::max(height, mOverlay->sizeHint().height()));
}

void TreeWidget::startDrag(Qt::DropActions) {
    if (!mTree.dragStart) {
        return;
    }
    UI_MultiColumnTree::DragStartCallback callback = mTree.dragStart;
    std::vector<TreeRowPtr> rows;
    for (const TreeRowPtr& row : mTree.SelectedRows()) {
        rows.push_back(row);
    }
    if (rows.empty()) {
        return;
    }
    SendData sent(std::make_unique<SendDataImpl>(this));
    callback(rows, sent);
}

UI_MultiColumnTree::DropPlace TreeWidget::PlaceAt(QPoint point, QRect& feedback) const {
    UI_MultiColumnTree::DropPlace place;
    const QModelIndex index = indexAt(point);
    const QRect area = viewport()->rect();
    if (!index.isValid()) {
        place.betweenRows = true;
        feedback = QRect();
        return place;
    }
    const QModelIndex first = index.siblingAtColumn(0);
    const QRect rect(area.left(), visualRect(first).top(), area.width(),
                     visualRect(first).height());
    // Near a row's top or bottom edge the pointer is in the gap between two rows.
    const int margin = std::clamp(rect.height() / 5, 2, 12);
    if (point.y() - rect.top() < margin) {
        place.betweenRows = true;
        place.rowAfterGap = mTree.model.RowAt(first);
        feedback = QRect(rect.left(), rect.top(), rect.width(), 0);
    } else if (rect.bottom() - point.y() < margin) {
        place.betweenRows = true;
        place.rowAfterGap = mTree.model.RowAt(indexBelow(first));
        feedback = QRect(rect.left(), rect.bottom() + 1, rect.width(), 0);
    } else {
        place.row = mTree.model.RowAt(first);
        feedback = rect;
    }
    return place;
}

void TreeWidget::AnswerDrag(QDropEvent& event, bool isDrop) {
    if (!mTree.drop) {
        event.ignore();
        return;
    }
    QRect feedback;
    const UI_MultiColumnTree::DropPlace place = PlaceAt(event.position().toPoint(), feedback);
    mDropFeedback = feedback;
    const UI_MultiColumnTree::DropCallback callback = mTree.drop;
    const DropRequest answer =
        AnswerDragEvent(event, isDrop, [&](DropRequest& request) { callback(request, place); });
    mTree.dragCursor = answer.cursor;
    viewport()->update();
}

void TreeWidget::dragEnterEvent(QDragEnterEvent* event) {
    AnswerDrag(*event, false);
    // The tree stays interested while the pointer is over it, so that moving onto a row
    // that takes the drop is noticed even when the place entered first did not.
    if (mTree.drop) {
        event->accept();
    }
}

void TreeWidget::dragMoveEvent(QDragMoveEvent* event) {
    AnswerDrag(*event, false);
}

void TreeWidget::dragLeaveEvent(QDragLeaveEvent* event) {
    mTree.dragFeedbackShown = false;
    mDropFeedback = QRect();
    viewport()->update();
    event->accept();
}

void TreeWidget::dropEvent(QDropEvent* event) {
    AnswerDrag(*event, true);
    mDropFeedback = QRect();
    viewport()->update();
}

void TreeWidget::drawRow(QPainter* painter, const QStyleOptionViewItem& option,
                         const QModelIndex& index) const {
    if (!mTree.selection->IsSelected(index)) {
        QTreeView::drawRow(painter, option, index);
        return;
    }
    QStyleOptionViewItem selected = option;
    selected.state |= QStyle::State_Selected;
    QTreeView::drawRow(painter, selected, index);
}

QItemSelectionModel::SelectionFlags TreeWidget::selectionCommand(const QModelIndex& index,
                                                                 const QEvent* event) const {
    if (selectionMode() != QAbstractItemView::ExtendedSelection) {
        return QTreeView::selectionCommand(index, event);
    }
    using Flags = QItemSelectionModel::SelectionFlags;
    const Flags rows = QItemSelectionModel::Rows;
    Qt::KeyboardModifiers modifiers = QApplication::keyboardModifiers();
    const bool selected = mTree.selection->IsSelected(index);
    switch (event != nullptr ? event->type() : QEvent::None) {
    case QEvent::MouseMove:
        modifiers = static_cast<const QMouseEvent*>(event)->modifiers();
        if (modifiers.testFlag(Qt::ControlModifier)) {
            // Dragging over rows with Control does to each what the press did to the first.
            return (mPressedSelected ? QItemSelectionModel::Deselect
                                     : QItemSelectionModel::Select) |
                   QItemSelectionModel::Current | rows;
        }
        break;
    case QEvent::MouseButtonPress: {
        const auto* mouse = static_cast<const QMouseEvent*>(event);
        modifiers = mouse->modifiers();
        const bool shift = modifiers.testFlag(Qt::ShiftModifier);
        const bool control = modifiers.testFlag(Qt::ControlModifier);
        const bool right = mouse->button() == Qt::RightButton;
        if (!index.isValid() || ((shift || control) && right)) {
            return QItemSelectionModel::NoUpdate;
        }
        // Shift extends from the anchor, with Control or not.
        if (shift) {
            break;
        }
        // A press on a selected row may start dragging the selection: the release decides.
        if (selected) {
            return QItemSelectionModel::NoUpdate;
        }
        if (control) {
            return QItemSelectionModel::Select | rows;
        }
        break;
    }
    case QEvent::MouseButtonRelease: {
        // The release of a click on a selected row that did not drag: the row alone stays
        // selected, or with Control it leaves the selection.
        const auto* mouse = static_cast<const QMouseEvent*>(event);
        modifiers = mouse->modifiers();
        if (index != mPressedIndex || !mPressedSelected || state() == DragSelectingState ||
            modifiers.testFlag(Qt::ShiftModifier) || mouse->button() == Qt::RightButton) {
            return QItemSelectionModel::NoUpdate;
        }
        return (modifiers.testFlag(Qt::ControlModifier) ? QItemSelectionModel::Deselect
                                                        : QItemSelectionModel::ClearAndSelect) |
               rows;
    }
    case QEvent::KeyPress: {
        const auto* key = static_cast<const QKeyEvent*>(event);
        modifiers = key->modifiers();
        switch (key->key()) {
        case Qt::Key_Backtab:
            modifiers &= ~Qt::ShiftModifier;
            [[fallthrough]];
        case Qt::Key_Down:
        case Qt::Key_Up:
        case Qt::Key_Left:
        case Qt::Key_Right:
        case Qt::Key_Home:
        case Qt::Key_End:
        case Qt::Key_PageUp:
        case Qt::Key_PageDown:
        case Qt::Key_Tab:
            if (modifiers.testFlag(Qt::ControlModifier)) {
                return QItemSelectionModel::NoUpdate; // moves the current row only
            }
            break;
        case Qt::Key_Select:
            return QItemSelectionModel::Toggle | rows;
        case Qt::Key_Space:
            return (modifiers.testFlag(Qt::ControlModifier) ? QItemSelectionModel::Toggle
                                                            : QItemSelectionModel::Select) |
                   rows;
        default:
            break;
        }
        break;
    }
    default:
        break;
    }
    if (modifiers.testFlag(Qt::ShiftModifier)) {
        return QItemSelectionModel::SelectCurrent | rows;
    }
    if (modifiers.testFlag(Qt::ControlModifier)) {
        return QItemSelectionModel::Toggle | rows;
    }
    if (state() == DragSelectingState) {
        return QItemSelectionModel::Clear | QItemSelectionModel::SelectCurrent | rows;
    }
    return QItemSelectionModel::ClearAndSelect | rows;
}

QModelIndexList TreeWidget::selectedIndexes() const {
    // Qt asks this only to know whether a drag may start (the drag itself asks the owner
    // for the selected rows): one row says so without listing a million.
    const TreeRowPtr first = mTree.selection->First();
    return first ? QModelIndexList{mTree.model.IndexOf(first)} : QModelIndexList{};
}

void TreeWidget::TellRowsToDraw(const QRect& area) {
    if (!mTree.rowsToDraw) {
        return;
    }
    // Every row is as high as the tree says (uniform heights): one look per row's height
    // finds them without asking Qt where each row lies.
    const int step = std::max(1, static_cast<int>(mTree.rowHeight));
    // A point inside the first column shown: the columns need not reach the left edge (right
    // to left, they start at the right).
    const QHeaderView* columns = header();
    int x = 0;
    for (int visual = 0; visual < columns->count(); ++visual) {
        const int logical = columns->logicalIndex(visual);
        if (!columns->isSectionHidden(logical) && columns->sectionSize(logical) > 0) {
            x = std::clamp(columns->sectionViewportPosition(logical) +
                               columns->sectionSize(logical) / 2,
                           0, std::max(0, viewport()->width() - 1));
            break;
        }
    }
    std::vector<TreeRowPtr> rows;
    const auto add = [&](int y) {
        const QModelIndex index = indexAt(QPoint(x, y));
        TreeRowPtr row = index.isValid() ? mTree.model.RowAt(index) : nullptr;
        if (row && (rows.empty() || rows.back() != row)) {
            rows.push_back(std::move(row));
        }
        return index.isValid();
    };
    const int top = std::max(0, area.top());
    int y = top;
    while (y <= area.bottom() && add(y)) {
        y += step;
    }
    // The last line, for a last row cut by the area's bottom edge that the steps went past.
    if (y > area.bottom() && area.bottom() >= top) {
        add(area.bottom());
    }
    if (!rows.empty()) {
        mTree.rowsToDraw(rows);
    }
}

void TreeWidget::paintEvent(QPaintEvent* event) {
    TellRowsToDraw(event->rect());
    QTreeView::paintEvent(event);
    // Drawn in their new order after a sort: what the sort left behind may be freed now.
    mTree.model.RowsDrawn();
    if (!mTree.dragFeedbackShown || mDropFeedback.isNull()) {
        return;
    }
    QPainter painter(viewport());
    QStyleOption option;
    option.initFrom(this);
    option.rect = mDropFeedback;
    style()->drawPrimitive(QStyle::PE_IndicatorItemViewItemDrop, &option, &painter, this);
}

void TreeWidget::SetBusy(bool busy) {
    if (busy && !mBusy) {
        mBusy = new QProgressBar(viewport());
        mBusy->setObjectName(QStringLiteral("BusyIndicator"));
        mBusy->setRange(0, 0); // moves without a known end
        mBusy->setTextVisible(false);
    }
    if (QProgressBar* indicator = mBusy.data()) {
        indicator->setVisible(busy);
        PlaceBusyIndicator();
    }
}

bool TreeWidget::IsBusy() const {
    const QProgressBar* indicator = mBusy.data();
    return indicator != nullptr && !indicator->isHidden();
}

void TreeWidget::PlaceBusyIndicator() {
    QProgressBar* indicator = mBusy.data();
    if (indicator == nullptr) {
        return;
    }
    constexpr int kWidth = 60;
    constexpr int kHeight = 8;
    constexpr int kMargin = 6;
    const QRect area = viewport()->rect();
    const QPoint at = mTree.spinnerAlignment == 1
                          ? QPoint(area.right() - kWidth - kMargin, area.top() + kMargin)
                          : QPoint(area.center().x() - kWidth / 2, area.center().y() - kHeight / 2);
    indicator->setGeometry(QRect(at, QSize(kWidth, kHeight)));
}

MultiColumnTreeImpl::MultiColumnTreeImpl(ByteString id)
    : nodeID(std::move(id)), delegate(*this), view(new TreeWidget(*this)) {
    view->setObjectName(QString::fromStdString(nodeID));
    // What a screen reader says of the tree; each row says its own name and state.
    view->setAccessibleName(
        QString::fromStdString(Localize("$$$/Marvane/Host/Access/TreeName=Projects and folders")));
    view->setAccessibleDescription(QString::fromStdString(
        Localize("$$$/Marvane/Host/Access/TreeDescription=Each row names a folder or a project "
                 "and says who holds its lock.")));
    view->setModel(&model);
    // After the model: giving the view a model gives it a selection of Qt's own.
    selection = new MarkedSelection(model, view.data());
    QItemSelectionModel* qtSelection = view->selectionModel();
    view->setSelectionModel(selection);
    delete qtSelection;
    view->setItemDelegate(&delegate);
    expandBelow = std::make_unique<ExpandBelow>(model, *view);
}

MultiColumnTreeImpl::~MultiColumnTreeImpl() {
    expandBelow.reset();
    if (view) {
        view->setItemDelegate(nullptr);
        view->setModel(nullptr);
        // The widget points back at this tree: it goes now, even from a parent that stays.
        delete view.data();
    }
}

TreeModel::OpenTest MultiColumnTreeImpl::OpenTest() const {
    return [this](const TreeRowPtr& row) { return view && view->isExpanded(model.IndexOf(row)); };
}

void MultiColumnTreeImpl::Resort() {
    QPersistentModelIndex top;
    if (view && view->verticalScrollBar()->value() > 0) {
        top = view->indexAt(QPoint(0, 0));
    }
    // The row at the top stays there once the rows are in their new order.
    model.Resort(OpenTest(), [this, top] {
        if (top.isValid() && view) {
            view->scrollTo(top, QAbstractItemView::PositionAtTop);
        }
    });
}

UI_SubView* MultiColumnTreeImpl::CellView(const TreeRowPtr& row,
                                          UI_MultiColumnTree::ColumnID column) {
    auto& cells = row->Node().cells;
    if (!cells) {
        cells = std::make_unique<TreeRowNode::CellViews>();
    }
    auto found = cells->find(column);
    if (found == cells->end()) {
        found = cells->emplace(column, cellViews ? cellViews(row, column) : nullptr).first;
    }
    return found->second.get();
}

} // namespace host
