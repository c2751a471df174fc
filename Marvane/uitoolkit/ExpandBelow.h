#pragma once
// "Expand all below" (the keypad's `*` on a folder): the folder opens, and every folder below
// it opens as its rows arrive, a few at a time between other events, so that the first rows
// of each folder are drawn as they come and the window answers throughout. Closing a folder
// meanwhile stops the opening below it.
#include "Marvane/uitoolkit/TreeModel.h"

#include <QObject>
#include <QTimer>
#include <deque>
#include <memory>

class QTreeView;

namespace host {

class ExpandBelow final : public QObject {
public:
    ExpandBelow(TreeModel& model, QTreeView& view);

    void Start(const TreeRowPtr& folder);
    // Folders waiting to be opened.
    std::size_t Waiting() const { return mWaiting.size(); }

private:
    void Queue(const TreeRowPtr& folder);
    void RowsInserted(const QModelIndex& parent, int first, int last);
    void Collapsed(const QModelIndex& index);
    void OpenSome();

    TreeModel& mModel;
    QTreeView& mView;
    std::deque<std::weak_ptr<UI_TreeRow>> mWaiting;
    QTimer mNext;
};

} // namespace host
