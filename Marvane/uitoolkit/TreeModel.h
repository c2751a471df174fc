#pragma once
// The item model behind a multi-column tree: rows are UI_TreeRow objects, found from a model
// index through the index's pointer and back through the row's parent and index.
#include "Marvane/uitoolkit/TreeRowNode.h"

#include <QAbstractItemModel>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace host {

class BackgroundSorting;
class HeaderRowImpl;

class TreeModel final : public QAbstractItemModel {
public:
    // From this many rows taken out at once (the rows below them counted), the rows are freed
    // on a worker: freeing 200,000 rows (nodes, names, records) took 75 ms of the window's
    // time. Their cell views, which belong to the window's thread, are freed as they are taken
    // out, however many they are.
    static constexpr std::size_t kRowsFreedOnAWorker = 4096;

    explicit TreeModel(QObject* parent = nullptr);
    ~TreeModel() override;
    TreeModel(const TreeModel&) = delete;
    TreeModel& operator=(const TreeModel&) = delete;

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
    // are closed keep their rows as they are until they open (SortOpenedFolder). A big tree
    // whose keys are the starts of its rows' names is sorted on worker threads, its rows as
    // they were until the sort is done; then they change places at once. `done` is called
    // when the rows are in their new order: at once, or once the workers are done. A change of
    // the rows meanwhile starts the sort again; another Resort replaces it.
    void Resort(const OpenTest& isOpen, std::function<void()> done = nullptr);
    // The view has drawn the rows: what a sort on worker threads left behind may be freed now,
    // without slowing the drawing down.
    void RowsDrawn();
    // Whether a sort goes on on worker threads.
    bool IsSorting() const { return mBackground != nullptr || mSortRestartDue; }
    // Trees of this many rows or more are sorted on worker threads when they can be.
    void SetSortInBackgroundFrom(std::size_t rows) { mBackgroundFrom = rows; }
    // How long what a sort on worker threads left behind waits for the rows to be drawn before
    // it is freed all the same.
    void SetFreeUndrawnAfter(int milliseconds) { mFreeUndrawnAfterMs = milliseconds; }
    // The rows in the tree, at any depth.
    std::size_t RowCount() const { return mRowCount; }
    // A row's name is about to change: a sort that reads names starts again.
    void NameChanging();
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
    // Puts rows in a new order, in one layout change with the persistent indexes kept.
    void InOneLayoutChange(const std::function<void()>& reorder);
    // Sorts what SortFolders sorts, in one layout change.
    void SortInOneLayoutChange(std::vector<std::vector<TreeRowPtr>*> folders,
                               const OpenTest& isOpen);
    static void Reindex(std::vector<TreeRowPtr>& rows, std::size_t from = 0);
    // How many rows these are with the rows below them.
    static std::size_t RowsAtAndBelow(const std::vector<TreeRowPtr>& rows);
    // Takes the row and the rows below it out of the tree; how many there were. dropCells: their
    // cell views go too, as rows about to be freed on a worker must have no cell view left.
    std::size_t Detach(const TreeRowPtr& row, bool dropCells = false);
    // Frees rows taken out of the tree, withRowsBelow counting the rows below them too (see
    // kRowsFreedOnAWorker).
    static void LetGo(std::vector<TreeRowPtr> rows, std::size_t withRowsBelow);
    // Starts the sort asked for by Resort: on worker threads when it can, else at once.
    void StartSorting();
    // The workers are done: the rows change places, or are sorted here when they could not be.
    void BackgroundSortEnded(std::uint64_t sorting);
    void SortingDone();
    // The rows are about to change: a sort on worker threads stops, and starts again after.
    void RowsChanging();

    std::vector<TreeRowPtr> mTopLevel;
    HeaderRowImpl* mHeader = nullptr;
    std::size_t mRowCount = 0;
    std::size_t mBackgroundFrom;
    int mFreeUndrawnAfterMs;
    // The sort asked for last: how it tells open folders, whom to tell once done, how many
    // times it started again because the rows changed under it.
    OpenTest mSortIsOpen;
    std::function<void()> mSortDone;
    int mSortRestarts = 0;
    bool mSortRestartDue = false; // stopped by a change, it starts again at the next turn
    std::uint64_t mSortings = 0;  // sorts started, telling a message of the workers whose it is
    std::unique_ptr<BackgroundSorting> mBackground;
    // A sort applied, its workers freeing what the rows no longer need.
    std::unique_ptr<BackgroundSorting> mFreeing;
};

} // namespace host
