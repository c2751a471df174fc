#pragma once
// The host UI toolkit: the header row of a multi-column tree. Main thread only.
#include "host/CoreTypes.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace host {

// A required object is missing (a header row before its tree exists, say).
class NullPointerException : public std::logic_error {
public:
    explicit NullPointerException(const std::string& typeName)
        : std::logic_error("null pointer to " + typeName) {}
};

class HeaderRowImpl;

// The header row of a multi-column tree: columns by id, in an order the user may change, with
// widths, minimum widths and the sort column and direction. The tree sorts its rows itself
// with the string sorting callback; the header tells the owner when the user changed the sort.
class UI_MultiColumnTreeHeaderRow {
public:
    using ColumnID = std::uint32_t;
    // Compares two keys and nothing else: a tree re-sorting many rows calls it from a second
    // thread too, at the same time as from the main thread. A key may be part of a row's name.
    using StringSortingCallback = std::function<bool(std::u16string_view, std::u16string_view)>;
    using UserChangedSortCallback = std::function<void(ColumnID column, bool ascending)>;
    // The user dragged a column's edge (width) or moved a column (position); not called for
    // changes the owner makes.
    using UserResizedColumnCallback = std::function<void(ColumnID column, float width)>;
    using UserMovedColumnCallback = std::function<void(ColumnID column, int position)>;

    UI_MultiColumnTreeHeaderRow();
    ~UI_MultiColumnTreeHeaderRow();
    UI_MultiColumnTreeHeaderRow(const UI_MultiColumnTreeHeaderRow&) = delete;
    UI_MultiColumnTreeHeaderRow& operator=(const UI_MultiColumnTreeHeaderRow&) = delete;

    void AppendColumn(const ByteString& title, ColumnID id);
    int GetCountOfColumns() const;
    // The column shown at a position (0-based, left to right); 0 when there is none.
    ColumnID GetColumnAt(int position) const;
    // Where a column is shown; negative when the header has no such column.
    int GetIndexOfColumn(ColumnID id) const;
    void SetColumnWidth(ColumnID id, float width);
    float GetColumnWidth(ColumnID id) const;
    void SetColumnAllowedMinimumWidth(ColumnID id, float width);
    float GetColumnAllowedMinimumWidth(ColumnID id) const;
    void MoveColumn(ColumnID id, int position, bool animate);
    void SetAllowColumnMovingByUser(bool allow, bool allowFirstColumn);
    bool AllowsColumnMovingByUser() const;
    void ShowSortIndicator(bool show);
    bool IsSortIndicatorShown() const;
    void SetSortColumn(ColumnID id);
    ColumnID GetSortColumn() const;
    void SetSortDirection(bool ascending);
    bool IsSortDirectionAscending() const;
    void SetStringSortingCallback(StringSortingCallback callback);
    const StringSortingCallback& GetStringSortingCallback() const;
    void SetUserChangedSortCallback(UserChangedSortCallback callback);
    void SetUserResizedColumnCallback(UserResizedColumnCallback callback);
    void SetUserMovedColumnCallback(UserMovedColumnCallback callback);
    ByteString GetColumnTitle(ColumnID id) const;

    HeaderRowImpl* GetImpl() const { return mImpl.get(); }

private:
    std::unique_ptr<HeaderRowImpl> mImpl;
};

} // namespace host
