#pragma once
// The Qt side of a header row: a horizontal QHeaderView over a small model of column titles.
// A tree view later takes the header view as its own.
#include "host/UIToolkit.h"

#include <QAbstractTableModel>
#include <QHeaderView>
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
    // The column at a logical section, and the section of a column (-1 when absent).
    int SectionOf(UI_MultiColumnTreeHeaderRow::ColumnID id) const;

    HeaderTitlesModel model;
    std::unique_ptr<QHeaderView> view;
    std::vector<UI_MultiColumnTreeHeaderRow::ColumnID> ids; // by logical section
    std::vector<float> minimumWidths;                       // by logical section
    UI_MultiColumnTreeHeaderRow::ColumnID sortColumn = 0;
    bool sortAscending = true;
    bool allowMoving = false;
    UI_MultiColumnTreeHeaderRow::StringSortingCallback stringSorting;
    UI_MultiColumnTreeHeaderRow::UserChangedSortCallback userChangedSort;
};

} // namespace host
