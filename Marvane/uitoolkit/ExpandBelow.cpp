#include "Marvane/uitoolkit/ExpandBelow.h"

#include <QElapsedTimer>
#include <QTreeView>

namespace host {

namespace {

// How long one turn of opening may hold the window: each folder opened is laid out by the
// view at once.
constexpr qint64 kTurnMs = 20;

// Whether the opening goes on into the row: a folder, and not a link to one (which may lead
// back up the tree, or anywhere).
bool Follows(const UI_TreeRow& row) {
    return row.CanHaveChildren() && !row.Node().throughLink;
}

void StopBelow(const TreeRowPtr& row) {
    TreeRowNode& node = row->Node();
    if (!node.expandBelow) {
        return;
    }
    node.expandBelow = false;
    for (const TreeRowPtr& child : node.children) {
        StopBelow(child);
    }
}

} // namespace

ExpandBelow::ExpandBelow(TreeModel& model, QTreeView& view) : mModel(model), mView(view) {
    mNext.setSingleShot(true);
    mNext.setInterval(0);
    connect(&mNext, &QTimer::timeout, this, [this] { OpenSome(); });
    connect(&model, &QAbstractItemModel::rowsInserted, this,
            [this](const QModelIndex& parent, int first, int last) {
                RowsInserted(parent, first, last);
            });
    connect(&view, &QTreeView::collapsed, this,
            [this](const QModelIndex& index) { Collapsed(index); });
}

void ExpandBelow::Start(const TreeRowPtr& folder) {
    if (!folder || folder->Node().tree != &mModel || !folder->CanHaveChildren()) {
        return;
    }
    Queue(folder);
    OpenSome();
}

void ExpandBelow::Queue(const TreeRowPtr& folder) {
    folder->Node().expandBelow = true;
    mWaiting.push_back(folder);
    if (!mNext.isActive()) {
        mNext.start();
    }
}

void ExpandBelow::RowsInserted(const QModelIndex& parent, int first, int last) {
    const TreeRowPtr folder = mModel.RowAt(parent);
    if (!folder || !folder->Node().expandBelow) {
        return;
    }
    const std::vector<TreeRowPtr>& rows = folder->Node().children;
    for (int number = first; number <= last && static_cast<std::size_t>(number) < rows.size();
         ++number) {
        if (const TreeRowPtr& row = rows[static_cast<std::size_t>(number)]; Follows(*row)) {
            Queue(row);
        }
    }
}

void ExpandBelow::Collapsed(const QModelIndex& index) {
    if (const TreeRowPtr folder = mModel.RowAt(index)) {
        StopBelow(folder);
    }
}

void ExpandBelow::OpenSome() {
    QElapsedTimer turn;
    turn.start();
    while (!mWaiting.empty() && turn.elapsed() < kTurnMs) {
        const TreeRowPtr folder = mWaiting.front().lock();
        mWaiting.pop_front();
        // Gone from the tree, or closed since (with the folder it was found in).
        if (!folder || folder->Node().tree != &mModel || !folder->Node().expandBelow) {
            continue;
        }
        const QModelIndex index = mModel.IndexOf(folder);
        if (!mView.isExpanded(index)) {
            mView.setExpanded(index, true);
        }
        // Rows it already had are not inserted again: their folders wait their turn now.
        for (const TreeRowPtr& row : folder->Node().children) {
            if (Follows(*row) && !row->Node().expandBelow) {
                Queue(row);
            }
        }
    }
    if (!mWaiting.empty() && !mNext.isActive()) {
        mNext.start();
    }
}

} // namespace host
