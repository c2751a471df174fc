#pragma once
// The item model behind a multi-column tree: rows are UI_TreeRow objects, found from a model
// index through the index's pointer and back through the row's parent and index.
#include "Marvane/uitoolkit/TreeRowNode.h"

#include <QAbstractItemModel>
#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
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
    // A cell's text or tooltip as the tree's callbacks give it (data() shows a tooltip as
    // plain text); nothing for other roles.
    QVariant SourceText(const QModelIndex& index, int role) const;
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
    // Whether a row is open in the view.
    using OpenTest = std::function<bool(const TreeRowPtr& row)>;
    // Orders the rows again, every row that can be seen asked for its key once. Folders that
    // are closed keep their rows as they are until they open (SortOpenedFolder).
    void Resort(const OpenTest& isOpen);
    // A folder opened: rows of it, and of its open folders, that wait for a sort are sorted.
    void SortOpenedFolder(const TreeRowPtr& folder, const OpenTest& isOpen);
    // Asks the row for its key again and moves it to its place when the key changed.
    void MoveToSortedPlace(const TreeRowPtr& row);
    void RowChanged(const TreeRowPtr& row);

    UI_MultiColumnTree::SortDataCallback sortData;
    UI_MultiColumnTree::SortKeyInNameCallback sortKeyInName;
    UI_MultiColumnTree::CellTextCallback cellText;
    UI_MultiColumnTree::CellTextCallback toolTip;
    std::uint64_t sortDataRequests = 0;

private:
    std::vector<TreeRowPtr>& MutableChildrenOf(const UI_TreeRow* parent);
    // The row's key in the sort column: part of its name when the owner says so (nothing is
    // kept), else the key kept from the last sort, else asked for now and kept.
    std::u16string_view KeyOf(const TreeRowPtr& row);
    std::optional<std::u16string_view> KeyInName(const TreeRowPtr& row) const;
    bool Before(const TreeRowPtr& a, const TreeRowPtr& b);
    bool mDragEnabled = false;
    void SortChildren(std::vector<TreeRowPtr>& rows, bool deep);
    // Orders the rows of the folders, the first ones given first, and of the open folders below
    // them, by the header's sort; closed folders are marked to be sorted when they open.
    void SortFolders(std::vector<std::vector<TreeRowPtr>*> folders, const OpenTest& isOpen);
    // Sorts what SortFolders sorts, in one layout change with the persistent indexes kept.
    void SortInOneLayoutChange(std::vector<std::vector<TreeRowPtr>*> folders,
                               const OpenTest& isOpen);
    static void Reindex(std::vector<TreeRowPtr>& rows, std::size_t from = 0);
    void Detach(const TreeRowPtr& row);

    std::vector<TreeRowPtr> mTopLevel;
    HeaderRowImpl* mHeader = nullptr;
};

} // namespace host
