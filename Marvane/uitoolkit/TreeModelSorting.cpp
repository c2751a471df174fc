// Sorting the tree's rows. A sort asks each row that can be seen for its key once, folder by
// folder on the main thread, while a helper thread sorts the folders already asked. A big tree
// sorted by its names is sorted on worker threads instead, the window answering meanwhile; its
// rows change places all at once when they are done.
#include "Marvane/uitoolkit/BackgroundSorting.h"
#include "Marvane/uitoolkit/FolderSorting.h"
#include "Marvane/uitoolkit/HeaderRowImpl.h"
#include "Marvane/uitoolkit/TreeModel.h"

#include <QMetaObject>
#include <QTimer>
#include <exception>
#include <system_error>
#include <utility>

namespace host {

namespace {

// A re-sort of this many rows or more sorts on a second thread while the keys are asked.
constexpr std::size_t kSortHelperFromRows = 4096;

// A tree of this many rows or more, sorted by keys that are parts of names, is sorted on
// worker threads: sorted at once, it would keep the window from answering for too long.
constexpr std::size_t kSortInBackgroundFromRows = 50'000;

// The workers of such a sort; the main thread meanwhile only answers the window.
constexpr unsigned kSortWorkers = 2;

// A sort on worker threads that had to start again this many times, because the rows kept
// changing under it, is done at once the next time.
constexpr int kRestartsBeforeAtOnce = 2;

// What such a sort left behind is freed once the view has drawn the rows, or after this long
// when no view draws them.
constexpr int kFreeUndrawnAfterMs = 1000;

TreeRowNode* NodeOf(const QModelIndex& index) {
    return index.isValid() ? static_cast<TreeRowNode*>(index.internalPointer()) : nullptr;
}

} // namespace

TreeModel::TreeModel(QObject* parent)
    : QAbstractItemModel(parent), mBackgroundFrom(kSortInBackgroundFromRows),
      mFreeUndrawnAfterMs(kFreeUndrawnAfterMs) {}

TreeModel::~TreeModel() {
    // The workers stop before the rows they read go.
    mBackground.reset();
    mFreeing.reset();
    for (const TreeRowPtr& row : mTopLevel) {
        Detach(row);
    }
}

void TreeModel::Resort(const OpenTest& isOpen, std::function<void()> done) {
    mBackground.reset(); // a sort under way is of no use now
    mSortIsOpen = isOpen;
    mSortDone = std::move(done);
    mSortRestarts = 0;
    mSortRestartDue = false;
    ++mSortings;
    StartSorting();
}

void TreeModel::StartSorting() {
    mFreeing.reset(); // done freeing by now, or told to free and waited for
    const bool big = mRowCount >= mBackgroundFrom && mSortRestarts < kRestartsBeforeAtOnce;
    // By names, which the workers read; a row whose key is not part of its name ends the
    // sort on the workers, and it is done here.
    if (big && mHeader && !mTopLevel.empty() && KeyInName(mTopLevel.front())) {
        const auto column = mHeader->sortColumn;
        try {
            mBackground = std::make_unique<BackgroundSorting>(
                mTopLevel, mHeader->stringSorting, mHeader->sortAscending,
                [keyInName = sortKeyInName, column](const TreeRowPtr& row) {
                    return keyInName(row, column);
                },
                [this, sorting = mSortings] {
                    QMetaObject::invokeMethod(
                        this, [this, sorting] { BackgroundSortEnded(sorting); },
                        Qt::QueuedConnection);
                },
                kSortWorkers);
            return;
        } catch (const std::system_error&) {
            // No thread to be had: sorted at once.
        }
    }
    try {
        SortInOneLayoutChange({&mTopLevel}, mSortIsOpen);
    } catch (...) {
        SortingDone();
        throw;
    }
    SortingDone();
}

void TreeModel::BackgroundSortEnded(std::uint64_t sorting) {
    if (!mBackground || sorting != mSortings) {
        return; // stopped, or replaced by another sort
    }
    if (!mBackground->Sorted()) {
        // A key that is not part of a name, or a comparison that failed: sorted here, where a
        // failure shows.
        mBackground.reset();
        try {
            SortInOneLayoutChange({&mTopLevel}, mSortIsOpen);
        } catch (...) {
            // What could be sorted is in order; nobody waits for the sort to throw now.
        }
        SortingDone();
        return;
    }
    // Taken out first: the change of layout it makes does not stop it.
    std::unique_ptr<BackgroundSorting> sorted = std::move(mBackground);
    InOneLayoutChange([&] { sorted->Apply(); });
    mFreeing = std::move(sorted);
    // What the rows no longer need is freed once the view has drawn them (RowsDrawn), or soon
    // when no view draws them.
    QTimer::singleShot(mFreeUndrawnAfterMs, this, [this, sorting = mSortings] {
        if (sorting == mSortings) {
            RowsDrawn();
        }
    });
    SortingDone();
}

void TreeModel::RowsDrawn() {
    if (mFreeing) {
        mFreeing->FreeLeftovers();
    }
}

void TreeModel::SortingDone() {
    if (const std::function<void()> done = std::exchange(mSortDone, nullptr)) {
        done();
    }
}

void TreeModel::NameChanging() {
    RowsChanging();
}

void TreeModel::RowsChanging() {
    if (!mBackground) {
        return;
    }
    // What the workers read may no longer hold: they stop before anything changes, and the
    // sort starts again once the change is made.
    mBackground.reset();
    ++mSortRestarts;
    mSortRestartDue = true;
    QTimer::singleShot(0, this, [this, sorting = mSortings] {
        if (sorting == mSortings && mSortRestartDue) {
            mSortRestartDue = false;
            try {
                StartSorting();
            } catch (...) {
                // Sorted at once and failed midway: what could be sorted is in order, and
                // nobody waits for the sort to throw now.
            }
        }
    });
}

void TreeModel::SortOpenedFolder(const TreeRowPtr& folder, const OpenTest& isOpen) {
    if (folder && folder->Node().tree == this && folder->Node().childrenUnsorted) {
        RowsChanging();
        folder->Node().childrenUnsorted = false; // in order from now on, rows added too
        SortInOneLayoutChange({&folder->Node().children}, isOpen);
    }
}

void TreeModel::InOneLayoutChange(const std::function<void()>& reorder) {
    emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    const QModelIndexList before = persistentIndexList();
    std::vector<std::pair<TreeRowNode*, int>> places;
    places.reserve(static_cast<std::size_t>(before.size()));
    for (const QModelIndex& index : before) {
        places.emplace_back(NodeOf(index), index.column());
    }
    // Folders are put in order as they are sorted: should a key or a comparison fail, the
    // ones already sorted have moved, and the view hears of it all the same.
    std::exception_ptr failure;
    try {
        reorder();
    } catch (...) {
        failure = std::current_exception();
    }
    QModelIndexList after;
    after.reserve(before.size());
    for (const auto& [node, column] : places) {
        after.push_back(node ? createIndex(node->index, column, node) : QModelIndex());
    }
    changePersistentIndexList(before, after);
    emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
    if (failure) {
        std::rethrow_exception(failure);
    }
}

void TreeModel::SortInOneLayoutChange(std::vector<std::vector<TreeRowPtr>*> folders,
                                      const OpenTest& isOpen) {
    InOneLayoutChange([&] { SortFolders(std::move(folders), isOpen); });
}

void TreeModel::SortFolders(std::vector<std::vector<TreeRowPtr>*> folders, const OpenTest& isOpen) {
    // Folder by folder, each row is asked for its key once, on this thread; the folders already
    // asked are sorted meanwhile, on a helper thread once there are many rows, and each folder's
    // rows are put in their new order by the thread that sorted it.
    FolderSorting sorting(mHeader ? mHeader->stringSorting : nullptr,
                          !mHeader || mHeader->sortAscending, kSortHelperFromRows);
    const UI_MultiColumnTree::ColumnID column = mHeader ? mHeader->sortColumn : 0;
    for (std::size_t next = 0; next < folders.size(); ++next) {
        std::vector<TreeRowPtr>& rows = *folders[next];
        FolderSortJob job;
        job.rows = &rows;
        job.keys.reserve(rows.size());
        for (std::size_t position = 0; position < rows.size(); ++position) {
            if (position + 2 * kNodesAhead < rows.size()) {
                PrefetchNode(*rows[position + 2 * kNodesAhead]);
            }
            if (position + kNodesAhead < rows.size()) {
                PrefetchName(*rows[position + kNodesAhead]);
            }
            const TreeRowPtr& row = rows[position];
            TreeRowNode& node = row->Node();
            if (!node.sortKey.empty()) {
                job.discarded.push_back(std::move(node.sortKey));
            }
            node.sortKeyValid = false;
            if (const std::optional<std::u16string_view> inName = KeyInName(row)) {
                job.keys.push_back(*inName);
            } else {
                ++sortDataRequests;
                job.AddOwnedKey(sortData && mHeader ? sortData(row, column) : WideString());
            }
            node.childrenUnsorted = false;
            if (!node.children.empty()) {
                if (isOpen && !isOpen(row)) {
                    node.childrenUnsorted = true; // sorted when it opens
                } else {
                    folders.push_back(&node.children);
                }
            }
        }
        sorting.Submit(std::move(job));
    }
    sorting.Finish(); // every folder's rows are in their new order
}

} // namespace host
