#pragma once
// The Qt side of a header row: a horizontal QHeaderView over a small model of column titles.
// A tree view later takes the header view as its own.
#include "host/UIToolkit.h"

#include <QAbstractTableModel>
#include <QHeaderView>
#include <QPointer>
#include <memory>
#include <vector>

namespace host {

class HeaderTitlesModel final : public QAbstractTableModel {
public:
    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    void Append(const QString& title);

private:
    std::vector<QString> mTitles;
};

class HeaderRowImpl {
public:
    HeaderRowImpl();
    // The header view goes with the header row, unless a tree has taken it as its own header
    // (and so as its child), in which case the tree deletes it.
    ~HeaderRowImpl();
    HeaderRowImpl(const HeaderRowImpl&) = delete;
    HeaderRowImpl& operator=(const HeaderRowImpl&) = delete;
    // The column at a logical section, and the section of a column (-1 when absent).
    int SectionOf(UI_MultiColumnTreeHeaderRow::ColumnID id) const;

    HeaderTitlesModel model;
    QPointer<QHeaderView> view;
    std::vector<UI_MultiColumnTreeHeaderRow::ColumnID> ids; // by logical section
    std::vector<float> minimumWidths;                       // by logical section
    UI_MultiColumnTreeHeaderRow::ColumnID sortColumn = 0;
    bool sortAscending = true;
    bool allowMoving = false;
    UI_MultiColumnTreeHeaderRow::StringSortingCallback stringSorting;
    UI_MultiColumnTreeHeaderRow::UserChangedSortCallback userChangedSort;
    UI_MultiColumnTreeHeaderRow::UserResizedColumnCallback userResized;
    UI_MultiColumnTreeHeaderRow::UserMovedColumnCallback userMoved;
    // Set while the owner changes widths or order, so that the user callbacks stay quiet.
    int ownerChanging = 0;
};

// Keeps the user callbacks quiet while the owner changes the header.
class OwnerChange {
public:
    explicit OwnerChange(HeaderRowImpl& impl) : mImpl(impl) { ++mImpl.ownerChanging; }
    ~OwnerChange() { --mImpl.ownerChanging; }
    OwnerChange(const OwnerChange&) = delete;
    OwnerChange& operator=(const OwnerChange&) = delete;

private:
    HeaderRowImpl& mImpl;
};

} // namespace host
