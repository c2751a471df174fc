#pragma once
// The item model behind a multi-column tree: rows are UI_TreeRow objects, found from a model
// index through the index's pointer and back through the row's parent and index.
#include "Marvane/uitoolkit/TreeRowNode.h"

#include <QAbstractItemModel>
#include <cstdint>
#include <vector>

namespace host {

class HeaderRowImpl;

class TreeModel final : public QAbstractItemModel {
public:
    explicit TreeModel(QObject* parent = nullptr) : QAbstractItemModel(parent) {}
    ~TreeModel() override;

    QModelIndex index(int row, int column,
                      const QModelIndex& parent = QModelIndex()) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    bool hasChildren(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QString AccessibleText(const QModelIndex& index) const;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    Qt::DropActions supportedDragActions() const override;
    // Rows can be dragged (the view starts the drag).
    void SetDragEnabled(bool enabled) { mDragEnabled = enabled; }

    void SetHeader(HeaderRowImpl* header);
    UI_MultiColumnTree::ColumnID ColumnAt(int section) const;
    int SectionOf(UI_MultiColumnTree::ColumnID column) const;

    QModelIndex IndexOf(const TreeRowPtr& row, int column = 0) const;
    QModelIndex IndexOf(const UI_TreeRow* row, int column = 0) const;
    TreeRowPtr RowAt(const QModelIndex& index) const;
    const std::vector<TreeRowPtr>& ChildrenOf(const UI_TreeRow* parent) const;

    void Insert(const TreeRowPtr& parent, const std::vector<TreeRowPtr>& rows);
    // Rows already in order with their keys, into an empty parent (else as Insert).
    void InsertInOrder(const TreeRowPtr& parent, const std::vector<TreeRowPtr>& rows,
                       std::vector<WideString> keys);
    void Remove(const TreeRowPtr& row);
    void RemoveChildren(const UI_TreeRow* parent);
    void SetCustomChild(const TreeRowPtr& row, bool custom);
    // Orders every row again; every row is asked for its key once.
    void Resort();
    // Asks the row for its key again and moves it to its place when the key changed.
    void MoveToSortedPlace(const TreeRowPtr& row);
    void RowChanged(const TreeRowPtr& row);

    UI_MultiColumnTree::SortDataCallback sortData;
    UI_MultiColumnTree::CellTextCallback cellText;
    UI_MultiColumnTree::CellTextCallback toolTip;
    std::uint64_t sortDataRequests = 0;

private:
    std::vector<TreeRowPtr>& MutableChildrenOf(const UI_TreeRow* parent);
    const WideString& KeyOf(const TreeRowPtr& row);
    bool Before(const TreeRowPtr& a, const TreeRowPtr& b);
    bool mDragEnabled = false;
    void SortChildren(std::vector<TreeRowPtr>& rows, bool deep);
    static void Reindex(std::vector<TreeRowPtr>& rows, std::size_t from = 0);
    void Detach(const TreeRowPtr& row);

    std::vector<TreeRowPtr> mTopLevel;
    HeaderRowImpl* mHeader = nullptr;
};

} // namespace host
