#pragma once
// The host UI toolkit's multi-column tree: rows in folders that open and close, columns from a
// header row, one selection. The tree orders rows itself: for each sort it asks its owner once
// per row for that row's key in the sort column and compares keys with the header row's
// string sorting callback. Cells are drawn from the owner's text, or from a cell view (a
// UI_SubView) the owner makes for the cell. All rows have one height. Main thread only; a big
// tree sorts on worker threads, which call only the header's comparison and the callback of
// SetSortKeyInNameCallback.
#include "host/CoreTypes.h"
#include "host/DataTransfer.h"
#include "host/UINodes.h"
#include "host/UITextEdit.h"
#include "host/UITimers.h"
#include "host/UIToolkit.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <vector>

namespace host {

class TreeRowNode;
class MultiColumnTreeImpl;

// One row. Rows are shared: the tree holds its rows, and owners may keep them in maps.
class UI_TreeRow {
public:
    explicit UI_TreeRow(bool canHaveChildren);
    ~UI_TreeRow();
    UI_TreeRow(const UI_TreeRow&) = delete;
    UI_TreeRow& operator=(const UI_TreeRow&) = delete;

    // The parent row; null at the top level or when the row is not in a tree.
    UI_TreeRow* GetParent() const;
    int GetChildCount() const;
    std::shared_ptr<UI_TreeRow> GetChild(int index) const;
    bool CanHaveChildren() const;
    // The owner's name for the row; a directory view keeps the entry's file name here, so a
    // row's path is its parent's path and its name. Empty until set.
    const WideString& GetName() const;
    void SetName(WideString name);
    // What the tree's owner keeps with a row (a record of what it shows); it lives and goes
    // with the row, so the owner needs no map from rows to it. It is the owner's, not part of
    // the row's state: a row handed around as const still takes it.
    class OwnerData {
    public:
        virtual ~OwnerData() = default;
    };
    OwnerData* GetOwnerData() const;
    void SetOwnerData(std::unique_ptr<OwnerData> data) const;
    // The host's side of the row, kept inside the row itself: one allocation per row, and a
    // row's state is where the row is (a tree of 100,000 rows is walked for every layout).
    TreeRowNode& Node() const { return *std::launder(reinterpret_cast<TreeRowNode*>(mNode)); }

private:
    static constexpr std::size_t kNodeSize = 120; // what TreeRowNode takes with libstdc++
    alignas(8) mutable std::byte mNode[kNodeSize];
};
using TreeRowPtr = std::shared_ptr<UI_TreeRow>;

struct UI_Point {
    float x = 0;
    float y = 0;
};

// Modifier flags of clicks: the bit of value 4 stands for the alternative (Alt) key.
inline constexpr std::uint32_t kModifierShift = 1;
inline constexpr std::uint32_t kModifierControl = 2;
inline constexpr std::uint32_t kModifierAlternative = 4;

// How SelectRow changes the selection.
enum class RowSelection : std::uint8_t {
    kOnlyRow,  // the row becomes the only selected row
    kAddRow,   // the row is added to the selection
    kAddRange, // the rows from the current row to this one are added
};
// Whether a change of the selection is told to the selection callback.
enum class SelectionNotice : std::uint8_t { kQuiet, kTell };

class UI_MultiColumnTree {
public:
    using ColumnID = UI_MultiColumnTreeHeaderRow::ColumnID;
    using SortDataCallback = std::function<WideString(const TreeRowPtr& row, ColumnID column)>;
    // How many code units at the start of the row's name (GetName) are its key in the column,
    // when its key is the start of its name; none when it is not (the key is then asked of the
    // sort data callback). Such keys are neither asked for nor kept: a re-sort copies a
    // folder's keys into one block for the time of its sort. A big tree is re-sorted on worker
    // threads, which call this too: it must read nothing but the row's name.
    using SortKeyInNameCallback =
        std::function<std::optional<std::size_t>(const TreeRowPtr& row, ColumnID column)>;
    using CellTextCallback = std::function<WideString(const TreeRowPtr& row, ColumnID column)>;
    // A cell view for the cell, or null to draw the cell's text.
    using CellViewCallback =
        std::function<std::unique_ptr<UI_SubView>(const TreeRowPtr& row, ColumnID column)>;
    using RowCallback = std::function<void(const TreeRowPtr& row)>;
    using DisclosureCallback = std::function<void(const TreeRowPtr& row, bool open)>;
    // value: 0 for a plain click on the row; a release that ends a drag, or a click on a
    // row's disclosure triangle, carries a non-zero value.
    using ClickCallback = std::function<void(const TreeRowPtr& row, UI_Point point,
                                             std::uint32_t modifiers, std::uint32_t value)>;
    using SelectionCallback = std::function<void()>;
    // Answers whether the key was handled; an unhandled key goes on to the tree.
    using KeyboardCallback = std::function<bool(const KeyboardEvent& event)>;
    // A turn of the mouse wheel over the rows: steps > 0 away from the user, in notches.
    // Answers whether it was used; an unused turn scrolls the tree.
    using WheelCallback = std::function<bool(float steps, std::uint32_t modifiers)>;

    explicit UI_MultiColumnTree(const ByteString& nodeID);
    ~UI_MultiColumnTree();
    UI_MultiColumnTree(const UI_MultiColumnTree&) = delete;
    UI_MultiColumnTree& operator=(const UI_MultiColumnTree&) = delete;

    const ByteString& GetNodeID() const;
    // The tree takes the header row's columns, widths and sort as its own.
    void SetHeaderRow(UI_MultiColumnTreeHeaderRow* header);
    UI_MultiColumnTreeHeaderRow* GetHeaderRow() const;

    // Rows. A null parent is the top level. Inserted rows are put in sort order.
    void InsertRows(const TreeRowPtr& parent, const std::vector<TreeRowPtr>& rows);
    // Fills an empty parent with rows that are already in the header's order, each with its
    // key in the sort column (keys[i] for rows[i]): the tree asks for no key and checks the
    // order once; rows found out of order are sorted as InsertRows would. Into a parent that
    // has rows, rows in order that all follow its last row are added at its end in one step
    // (results shown in parts); other rows are inserted as InsertRows does.
    void InsertRowsInOrder(const TreeRowPtr& parent, const std::vector<TreeRowPtr>& rows,
                           std::vector<WideString> keys);
    void RemoveRow(const TreeRowPtr& row);
    void RemoveChildren(const TreeRowPtr& parent);
    void RemoveAllRows();
    // Whether the row is in this tree now (inserted, and not removed since).
    bool HoldsRow(const UI_TreeRow* row) const;
    int GetTopLevelRowCount() const;
    TreeRowPtr GetTopLevelRow(int index) const;
    // A folder row without children still shows that it can be opened (and shows nothing).
    void SetRowHasCustomChild(const TreeRowPtr& row, bool hasCustomChild);
    bool RowHasCustomChild(const TreeRowPtr& row) const;

    // Opening and closing.
    void OpenRow(const TreeRowPtr& row, bool open);
    void ToggleRow(const TreeRowPtr& row);
    bool IsRowOpen(const TreeRowPtr& row) const;
    // The rows reachable through open folders, in display order.
    std::vector<TreeRowPtr> GetOpenedRows() const;
    // Indexes into GetOpenedRows of the first and last row that can be seen whole; -1 when
    // there are no rows.
    int GetFirstVisibleOpenedRowIndex() const;
    int GetLastVisibleOpenedRowIndex() const;
    // Whether the row is reachable through open folders and inside the visible area.
    bool IsRowVisible(const TreeRowPtr& row) const;
    // Scrolls so that the row can be seen: at the top when placeAtTop, else as little as
    // needed, keeping marginRows rows around it.
    void ScrollRowIntoView(const TreeRowPtr& row, bool placeAtTop, int marginRows, bool now);

    // Selection.
    // Selects the row as said, and makes it the current row.
    void SelectRow(const TreeRowPtr& row, RowSelection how, SelectionNotice notice);
    // Adds the rows to the selection in one change, the last of them becoming the current
    // row. notify: tell the selection callback, once.
    void SelectRows(const std::vector<TreeRowPtr>& rows, bool notify);
    // Adds every row that can be seen (its folders open) to the selection in one change, but
    // `except` and the rows below it; the last one becomes the current row. Costs one look
    // at each such row, with no list of them made.
    void SelectOpenedRows(const TreeRowPtr& except, bool notify);
    void DeselectAllRows();
    // In display order.
    std::vector<TreeRowPtr> GetSelectedRows() const;
    std::size_t GetSelectedRowCount() const;
    bool IsRowSelected(const TreeRowPtr& row) const;
    // Calls visit with each selected row in display order until it answers false; whether it
    // never did. With `outermost`, the rows below a selected row are not visited: a selected
    // folder stands for what it holds. No list of the rows is made.
    bool VisitSelectedRows(const std::function<bool(const TreeRowPtr&)>& visit,
                           bool outermost) const;
    // A number that changes whenever the selection, or the rows, may have changed: what was
    // made of the selected rows at one value still holds while it stays.
    std::uint64_t GetSelectionVersion() const;

    // Sorting and drawing.
    void SetSortDataCallback(SortDataCallback callback);
    void SetSortKeyInNameCallback(SortKeyInNameCallback callback);
    void SetCellTextCallback(CellTextCallback callback);
    // The text shown while the pointer rests on a cell; empty for none.
    void SetToolTipCallback(CellTextCallback callback);
    void SetCellViewCallback(CellViewCallback callback);
    // Told as a paint begins, with the rows it is about to draw, top to bottom: what they show
    // can then be read for all of them at once, before their cells ask for it one by one.
    using RowsCallback = std::function<void(const std::vector<TreeRowPtr>& rows)>;
    void SetRowsToDrawCallback(RowsCallback callback);
    // Orders every row again by the header's sort column and direction.
    void Resort();
    // The row's sort key may have changed: it is asked once more and, when the key differs,
    // the row moves to its place among its siblings. Nothing else is asked.
    void RowSortKeyChanged(const TreeRowPtr& row);
    // How many times rows were asked for their sort key since the tree was made (keys that are
    // part of a row's name are not asked for).
    std::uint64_t GetSortDataRequestCount() const;
    // The cell view of a cell, made on first use and kept with the row; null for text cells.
    UI_SubView* GetCellView(const TreeRowPtr& row, ColumnID column);
    // Drops a row's cell views so that they are made again (its state changed), and redraws.
    void RefreshRow(const TreeRowPtr& row);
    // The cell's rectangle in the tree's visible area; empty when it cannot be seen.
    UI_Rect GetCellFrame(const TreeRowPtr& row, ColumnID column) const;
    void SetRowHeight(float height);
    float GetRowHeight() const;
    // The height of the area that shows rows.
    float GetScrollViewHeight() const;

    // Settings. By default several rows may be selected and a click on the empty area
    // deselects every row.
    void SetAllowsMultipleSelection(bool allow);
    bool AllowsMultipleSelection() const;
    void SetDeselectAllOnEmptyClick(bool deselect);
    bool DeselectsAllOnEmptyClick() const;
    void SetShowsGridLines(bool show);
    bool ShowsGridLines() const;
    // Where the busy indicator sits: 0 in the middle of the rows, 1 at the top right.
    void SetBusySpinnerAlignment(int alignment);
    int GetBusySpinnerAlignment() const;
    // While busy the tree shows a moving indicator: its rows are about to change.
    void SetBusy(bool busy);
    bool IsBusy() const;
    // A sentence shown over the rows (the production cannot be reached, say); empty hides it.
    void SetOverlayText(const WideString& text);
    WideString GetOverlayText() const;
    // Whether the tree is shown (inside the area that holds it).
    void SetVisible(bool visible);
    bool IsVisible() const;

    // What the user does.
    void SetDisclosureChangedCallback(DisclosureCallback callback);
    void SetSelectionChangedCallback(SelectionCallback callback);
    void SetDoubleClickCallback(ClickCallback callback);
    void SetSingleClickDownCallback(ClickCallback callback);
    void SetSingleClickUpCallback(ClickCallback callback);
    void SetKeyboardCallback(KeyboardCallback callback);
    void SetWheelCallback(WheelCallback callback);
    // A right-click (or the menu key); the row is null over the empty area.
    void SetContextClickCallback(ClickCallback callback);

    // Drag and drop. Rows can be dragged once a drag start callback is set, and the tree
    // takes drops once a drop callback is set.
    // Where a drag is over the tree: on a row, or in the gap between two rows (the row after
    // the gap, in display order; null below the last row), or over the empty area below the
    // rows (betweenRows, no row after).
    struct DropPlace {
        TreeRowPtr row;
        bool betweenRows = false;
        TreeRowPtr rowAfterGap;
    };
    // The user started dragging the selected rows (in display order): the callback puts
    // their data in and runs the drag.
    using DragStartCallback =
        std::function<void(const std::vector<TreeRowPtr>& rows, SendData& data)>;
    // Asked while a drag moves over the tree and once more when it is dropped.
    using DropCallback = std::function<void(DropRequest& request, const DropPlace& place)>;
    void SetDragStartCallback(DragStartCallback callback);
    void SetDropCallback(DropCallback callback);
    // Shows where a drop would go (a frame around the row, or a line in the gap), or hides it.
    void ShowDragFeedback(bool show);
    bool IsShowingDragFeedback() const;
    // The cursor the last drag event over the tree asked for.
    DragCursor GetDragCursor() const;

    // Edit fields laid over the rows (the in-place rename). The frame is in the tree's
    // visible area (as GetCellFrame gives it); the field takes the keyboard focus. The tree
    // holds the field until it is removed or the tree goes.
    UI_TextEdit* CreateEditField(const UI_Rect& frame);
    std::vector<UI_TextEdit*> GetEditFields() const;
    // Removes the field and gives the keyboard focus back to the rows when the field had it.
    // Safe from inside the field's own end callback.
    void RemoveEditField(UI_TextEdit* field);

    MultiColumnTreeImpl* GetImpl() const { return mImpl.get(); }

private:
    std::unique_ptr<MultiColumnTreeImpl> mImpl;
};

} // namespace host
