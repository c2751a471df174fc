#pragma once
// The Qt side of a multi-column tree: a QTreeView over the tree model, with a delegate that
// draws cell views, and the user's clicks turned into the tree's callbacks.
#include "Marvane/uitoolkit/CellTextCache.h"
#include "Marvane/uitoolkit/ExpandBelow.h"
#include "Marvane/uitoolkit/MarkedSelection.h"
#include "Marvane/uitoolkit/TreeModel.h"

#include <QLabel>
#include <QPointer>
#include <QProgressBar>
#include <QStyledItemDelegate>
#include <QTreeView>

namespace host {

class MultiColumnTreeImpl;

class CellDelegate final : public QStyledItemDelegate {
public:
    explicit CellDelegate(MultiColumnTreeImpl& tree) : mTree(tree) {}
    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    // The pointer resting on a cell shows ToolTipFor's text.
    bool helpEvent(QHelpEvent* event, QAbstractItemView* view, const QStyleOptionViewItem& option,
                   const QModelIndex& index) override;
    // What a cell's tooltip says: the cell's whole text when it is drawn cut (or hidden for
    // want of room), then what the tree's owner says of the cell.
    QString ToolTipFor(const QStyleOptionViewItem& option, const QModelIndex& index) const;

private:
    void DrawGridLine(QPainter& painter, const QRect& cell) const;
    QString CutText(const QStyleOptionViewItem& option, const QModelIndex& index) const;

    MultiColumnTreeImpl& mTree;
    mutable CellTextCache mTexts;
};

class TreeWidget final : public QTreeView {
public:
    explicit TreeWidget(MultiColumnTreeImpl& tree);
    void SetBusy(bool busy);
    bool IsBusy() const;
    // Puts the busy indicator where the tree's spinner alignment says.
    void PlaceBusyIndicator();
    void SetOverlayText(const QString& text);
    QString OverlayText() const;

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void startDrag(Qt::DropActions supportedActions) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    // Rows are drawn selected by the tree's own selection, which Qt's drawing does not ask.
    void drawRow(QPainter* painter, const QStyleOptionViewItem& option,
                 const QModelIndex& index) const override;
    // What a click, a key or a drag over rows does to the selection, asked of the tree's
    // own selection where Qt would ask its own.
    QItemSelectionModel::SelectionFlags selectionCommand(const QModelIndex& index,
                                                         const QEvent* event) const override;
    QModelIndexList selectedIndexes() const override;

private:
    // Tells the owner which rows a paint of the area is about to draw.
    void TellRowsToDraw(const QRect& area);
    // Asks the owner about a drag event at its position and answers the event.
    void AnswerDrag(QDropEvent& event, bool isDrop);
    UI_MultiColumnTree::DropPlace PlaceAt(QPoint point, QRect& feedback) const;
    // Whether point lies on the disclosure triangle's strip of its row, left of the cell
    // (right of it, right to left): that click opens or closes the folder, nothing else.
    bool IsOnBranch(QPoint point) const;

    MultiColumnTreeImpl& mTree;
    QRect mDropFeedback; // where the feedback is drawn, in the viewport
    QPoint mPressedAt;
    bool mPressedOnBranch = false;
    QPersistentModelIndex mPressedIndex;
    bool mPressedSelected = false; // the pressed row was selected before the press
    QPointer<QProgressBar> mBusy;
    QPointer<QLabel> mOverlay;
    void PlaceOverlay();
};

class MultiColumnTreeImpl {
public:
    explicit MultiColumnTreeImpl(ByteString nodeID);
    ~MultiColumnTreeImpl();

    ByteString nodeID;
    TreeModel model;
    CellDelegate delegate;
    QPointer<TreeWidget> view;
    MarkedSelection* selection = nullptr; // the view's selection model, owned by the view
    std::unique_ptr<ExpandBelow> expandBelow;
    UI_MultiColumnTreeHeaderRow* header = nullptr;
    float rowHeight = 24.0f;
    bool notifySelection = true;
    std::uint64_t selectionVersion = 0; // see UI_MultiColumnTree::GetSelectionVersion
    // The selected rows as last collected, for the selection version they were collected at:
    // the panel's status line, buttons and menus ask for them after one change, and a Select
    // All of 100,000 rows is collected once.
    mutable std::vector<TreeRowPtr> selectedRows;
    mutable std::uint64_t selectedRowsVersion = ~std::uint64_t{0};
    UI_MultiColumnTree::CellViewCallback cellViews;
    UI_MultiColumnTree::RowsCallback rowsToDraw;
    UI_MultiColumnTree::DisclosureCallback disclosureChanged;
    UI_MultiColumnTree::SelectionCallback selectionChanged;
    UI_MultiColumnTree::ClickCallback doubleClick;
    UI_MultiColumnTree::ClickCallback clickDown;
    UI_MultiColumnTree::ClickCallback clickUp;
    UI_MultiColumnTree::KeyboardCallback keyboard;
    UI_MultiColumnTree::WheelCallback wheel;
    UI_MultiColumnTree::ClickCallback contextClick;
    bool deselectOnEmptyClick = true;
    bool gridLines = false;
    int spinnerAlignment = 0;
    bool visible = true;
    std::vector<std::unique_ptr<UI_TextEdit>> editFields;
    UI_MultiColumnTree::DragStartCallback dragStart;
    UI_MultiColumnTree::DropCallback drop;
    bool dragFeedbackShown = false;
    DragCursor dragCursor = DragCursor::FistNo;

    UI_SubView* CellView(const TreeRowPtr& row, UI_MultiColumnTree::ColumnID column);
    // Whether a row is open in the view.
    TreeModel::OpenTest OpenTest() const;
    // Orders the rows again by the header: the selection stays, and so does the row at the top
    // of the rows area unless they were scrolled to the very top (where the new first rows
    // are what the user wants to see).
    void Resort();
    // In display order.
    std::vector<TreeRowPtr> SelectedRows() const;
};

// Modifier flags of the keys held now.
std::uint32_t CurrentModifiers(Qt::KeyboardModifiers modifiers);

} // namespace host
