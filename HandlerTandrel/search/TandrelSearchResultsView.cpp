#include "search/TandrelSearchResultsView.h"

#include "base/TandrelIDs.h"
#include "columns/DisplayName.h"
#include "columns/NameCellView.h"
#include "columns/SortString.h"
#include "directoryview/RecordRefresher.h"
#include "directoryview/TreeIntents.h"
#include "host/ApplicationLayer.h"
#include "host/AsyncCalls.h"
#include "host/Localizer.h"
#include "host/OpenProjects.h"
#include "host/ProjectBackEnd.h"
#include "host/UIFramework.h"
#include "utils/ProjectMessages.h"

#include <algorithm>
#include <chrono>
#include <iterator>

namespace HandlerTandrel {

std::shared_ptr<TandrelSearchResultsView>
TandrelSearchResultsView::Create(std::function<void()> resultsShown,
                                 std::function<void()> searchMoved) {
    auto view =
        std::make_shared<TandrelSearchResultsView>(std::move(resultsShown), std::move(searchMoved));
    host::MessageStation::Get(host::kProjectActivationStation)->Subscribe(view);
    return view;
}

TandrelSearchResultsView::TandrelSearchResultsView(std::function<void()> resultsShown,
                                                   std::function<void()> searchMoved)
    : mResultsShown(std::move(resultsShown)), mSearchMoved(std::move(searchMoved)),
      mHeaderRow(std::make_unique<host::UI_MultiColumnTreeHeaderRow>()),
      mTree(host::ByteString(kSearchResultsNodeID)) {
    Columns::SetupColumns(mHeaderRow.get(), Columns::SortStringIsLess, nullptr);
    mHeaderRow->SetSortColumn(Columns::kNameColumn);
    mHeaderRow->SetSortDirection(true);
    mTree.SetHeaderRow(mHeaderRow.get());
    // Every row is a project: its record is read when the tree first asks for the row's
    // key or text, with the sort column's field first.
    mTree.SetSortDataCallback([this](const host::TreeRowPtr& row, Columns::ColumnID column) {
        return mRecords.SortKey(row.get(), GetRowPath(row), column);
    });
    mTree.SetRowsToDrawCallback(
        [this](const std::vector<host::TreeRowPtr>& rows) { ReadRecordsOf(rows); });
    mTree.SetCellTextCallback([this](const host::TreeRowPtr& row, Columns::ColumnID column) {
        const host::WideString path = GetRowPath(row);
        mRecords.Update(row.get(), path, true, true, mHeaderRow->GetSortColumn());
        if (const auto record = mRecords.Find(row.get(), path)) {
            return record->GetDisplayString(column);
        }
        return column == Columns::kNameColumn ? DisplayNameOf(path) : host::WideString();
    });
    // A result that lies in the trash says so: the search finds what the trash holds too.
    mTree.SetToolTipCallback([this](const host::TreeRowPtr& row, Columns::ColumnID) {
        return host::IsInMvProductionTrash(GetRowPath(row), false)
                   ? host::LocalizeWide("$$$/Marvane/Handlers/MvProductionFolder/Search/InTrash="
                                        "This project lies in the Trash.")
                   : host::WideString();
    });
    mTree.SetCellViewCallback([this](const host::TreeRowPtr& row, Columns::ColumnID column)
                                  -> std::unique_ptr<host::UI_SubView> {
        if (column != Columns::kNameColumn) {
            return nullptr;
        }
        return std::make_unique<Columns::NameCellView>(GetRowPath(row),
                                                       mRecords.IsLockOwnedByCurrentUser(row.get()),
                                                       mRecords.HasLockFile(row.get()));
    });
    mTree.SetDoubleClickCallback([this](const host::TreeRowPtr& row, host::UI_Point,
                                        std::uint32_t modifiers,
                                        std::uint32_t) { RowDoubleClicked(row, modifiers); });
    mTree.SetContextClickCallback(
        [this](const host::TreeRowPtr& row, host::UI_Point, std::uint32_t, std::uint32_t) {
            if (SelectForContextMenu(row)) {
                host::TrackContextMenu(host::ByteString(kSearchResultsContextMenuID));
            }
        });
    mTree.SetAllowsMultipleSelection(true);
    mTree.SetDeselectAllOnEmptyClick(true);
    mTree.SetShowsGridLines(false);
    mTree.SetBusySpinnerAlignment(1);
    mWidths.Install();
}

TandrelSearchResultsView::~TandrelSearchResultsView() {
    host::MessageStation::Get(host::kProjectActivationStation)->Unsubscribe(this);
    if (mSearch) {
        mSearch->Cancel();
    }
}

void TandrelSearchResultsView::Find(const host::WideString& searchText) {
    if (mSearch) {
        mSearch->Cancel(); // a newer text: the older results are never shown
        mSearch.reset();
    }
    ++mGeneration;
    FreeOnWorker(std::move(mPending));
    mFoundSoFar = 0;
    if (searchText.empty() || !host::IsTandrelManagerActive()) {
        mTree.SetBusy(false);
        RemoveAllRows();
        return;
    }
    mTree.SetBusy(true);
    std::vector<host::WideString> extensions = {host::WideString(host::kProjectFileExtension16)};
    if (host::IsFolderProjectFormatEnabled()) {
        extensions.emplace_back(host::kProjectFolderExtension16);
    }
    // Sorting by name needs nothing but the paths: the worker puts the rows in order, so that
    // a text matching tens of thousands of projects does not hold up the window to sort them.
    auto order = std::make_shared<ResultOrder>();
    order->column = mHeaderRow->GetSortColumn();
    order->ascending = mHeaderRow->IsSortDirectionAscending();
    std::function<void(std::vector<host::WideString>&)> arrange;
    if (order->column == Columns::kNameColumn) {
        arrange = [order](std::vector<host::WideString>& paths) { OrderByName(paths, *order); };
    }
    std::weak_ptr<TandrelSearchResultsView> self = weak_from_this();
    mSearch = host::StartFileSearch(
        host::GetTandrelManagerFolderPath(), extensions, searchText,
        [self, order](std::vector<host::WideString> paths) {
            if (auto view = self.lock()) {
                view->ShowResults(std::move(paths), std::move(*order));
            }
        },
        std::move(arrange),
        [self](std::vector<host::WideString> foundSince) {
            if (auto view = self.lock()) {
                view->ShowEarlyResults(std::move(foundSince));
            }
        });
}

void TandrelSearchResultsView::ShowEarlyResults(std::vector<host::WideString> foundSince) {
    mFoundSoFar += foundSince.size();
    // The first screenfuls show while the search runs, each row put in its place; all the
    // results, in order, replace them when the search is done.
    const auto shown = static_cast<std::size_t>(GetRowCount());
    if (shown < kEarlyRows && !foundSince.empty()) {
        const std::size_t take = std::min(kEarlyRows - shown, foundSince.size());
        mTree.InsertRows(nullptr, MakeRows(foundSince.begin(),
                                           foundSince.begin() + static_cast<std::ptrdiff_t>(take)));
    }
    if (mSearchMoved) {
        mSearchMoved();
    }
}

std::size_t TandrelSearchResultsView::GetFoundCount() const {
    return std::max(mFoundSoFar, static_cast<std::size_t>(GetRowCount()));
}

void TandrelSearchResultsView::OrderByName(std::vector<host::WideString>& paths,
                                           ResultOrder& order) {
    std::vector<host::WideString> names;
    names.reserve(paths.size());
    for (const host::WideString& path : paths) {
        names.push_back(DisplayNameOf(path));
    }
    std::vector<std::size_t> positions(paths.size());
    for (std::size_t index = 0; index < positions.size(); ++index) {
        positions[index] = index;
    }
    // Stable, as the tree's own sort: equal names keep the order the search found them in.
    const bool ascending = order.ascending;
    std::stable_sort(positions.begin(), positions.end(), [&](std::size_t a, std::size_t b) {
        return ascending ? Columns::SortStringIsLess(names[a], names[b])
                         : Columns::SortStringIsLess(names[b], names[a]);
    });
    std::vector<host::WideString> ordered;
    ordered.reserve(paths.size());
    order.keys.clear();
    order.keys.reserve(paths.size());
    for (const std::size_t position : positions) {
        ordered.push_back(std::move(paths[position]));
        order.keys.push_back(std::move(names[position]));
    }
    paths = std::move(ordered);
}

void TandrelSearchResultsView::FreeOnWorker(std::unique_ptr<PendingRows> pending) {
    // Hundreds of thousands of strings (what the rows were made of, or results a new text
    // made useless) are freed on a worker, not between two turns of the window.
    if (pending) {
        host::RunOnDefaultExecutor(
            [done = std::shared_ptr<PendingRows>(std::move(pending))]() mutable { done.reset(); });
    }
}

void TandrelSearchResultsView::RemoveAllRows() {
    mTree.RemoveAllRows();
    mRecords.Clear();
}

std::vector<host::TreeRowPtr>
TandrelSearchResultsView::MakeRows(std::vector<host::WideString>::iterator first,
                                   std::vector<host::WideString>::iterator last) {
    std::vector<host::TreeRowPtr> rows;
    rows.reserve(static_cast<std::size_t>(last - first));
    // A result row's name is its whole path: no map from rows to paths, or back, to build
    // and tear down for each search.
    for (auto path = first; path != last; ++path) {
        auto row = std::make_shared<host::UI_TreeRow>(false);
        row->SetName(std::move(*path));
        rows.push_back(std::move(row));
    }
    return rows;
}

void TandrelSearchResultsView::ShowResults(std::vector<host::WideString> paths, ResultOrder order) {
    RemoveAllRows();
    mFoundSoFar = paths.size();
    mPending = std::make_unique<PendingRows>();
    mPending->paths = std::move(paths);
    mPending->order = std::move(order);
    ShowNextPart();
}

std::chrono::steady_clock::duration
TandrelSearchResultsView::TimeForParts(std::chrono::steady_clock::duration between) {
    const std::chrono::steady_clock::duration left = kWholeTurn - between;
    return std::clamp<std::chrono::steady_clock::duration>(left, kLeastTimePerTurn, kTimePerTurn);
}

void TandrelSearchResultsView::ShowNextPart() {
    if (!mPending) {
        return;
    }
    PendingRows& pending = *mPending;
    const auto began = std::chrono::steady_clock::now();
    const auto timeForParts = pending.lastTurnEnded
                                  ? TimeForParts(began - *pending.lastTurnEnded)
                                  : std::chrono::steady_clock::duration(kTimePerTurn);
    // Parts of rows until this turn's time is used up; the rows already in are drawn, and
    // input answered, before the next turn.
    do {
        const bool inOrder = pending.order.keys.size() == pending.paths.size() &&
                             pending.order.column == mHeaderRow->GetSortColumn() &&
                             pending.order.ascending == mHeaderRow->IsSortDirectionAscending();
        // Results the worker could not put in order (another sort column, or the sort
        // changed since) go in at once, sorted by the tree.
        const std::size_t end = inOrder
                                    ? std::min(pending.paths.size(), pending.next + kRowsPerPart)
                                    : pending.paths.size();
        const auto first = pending.paths.begin() + static_cast<std::ptrdiff_t>(pending.next);
        const auto last = pending.paths.begin() + static_cast<std::ptrdiff_t>(end);
        const std::vector<host::TreeRowPtr> rows = MakeRows(first, last);
        if (inOrder) {
            // Each part follows the one before: the tree adds it at its end, asking no key.
            const auto keys = pending.order.keys.begin();
            mTree.InsertRowsInOrder(
                nullptr, rows,
                std::vector<host::WideString>(
                    std::make_move_iterator(keys + static_cast<std::ptrdiff_t>(pending.next)),
                    std::make_move_iterator(keys + static_cast<std::ptrdiff_t>(end))));
        } else {
            mTree.InsertRows(nullptr, rows);
        }
        pending.next = end;
    } while (pending.next < pending.paths.size() &&
             std::chrono::steady_clock::now() - began < timeForParts);
    if (pending.next >= pending.paths.size()) {
        FreeOnWorker(std::move(mPending));
        mTree.SetBusy(false);
    } else {
        pending.lastTurnEnded = std::chrono::steady_clock::now();
        const std::weak_ptr<TandrelSearchResultsView> self = weak_from_this();
        const std::uint64_t generation = mGeneration;
        // After a timer, not at once: the window's input, its timers and its drawing come
        // between two turns, however many parts are still to come.
        host::CallAsyncOnMainThread(
            [self, generation] {
                if (const auto view = self.lock(); view && view->mGeneration == generation) {
                    view->ShowNextPart();
                }
            },
            1);
    }
    if (mResultsShown) {
        mResultsShown();
    }
}

std::vector<host::WideString> TandrelSearchResultsView::GetSelectedPaths() const {
    std::vector<host::WideString> paths;
    for (const host::TreeRowPtr& row : mTree.GetSelectedRows()) {
        paths.push_back(GetRowPath(row));
    }
    return paths;
}

bool TandrelSearchResultsView::SelectForContextMenu(const host::TreeRowPtr& row) {
    if (!row) {
        mTree.DeselectAllRows();
        return false;
    }
    const std::vector<host::TreeRowPtr> selected = mTree.GetSelectedRows();
    if (std::find(selected.begin(), selected.end(), row) == selected.end()) {
        mTree.SelectRow(row, host::RowSelection::kOnlyRow, host::SelectionNotice::kTell);
    }
    return true;
}

host::TreeRowPtr TandrelSearchResultsView::GetRowForPath(const host::WideString& path) const {
    // Asked when a project's state changes: one look along the rows, paths compared from
    // their ends, where results differ.
    const int count = mTree.GetTopLevelRowCount();
    for (int index = 0; index < count; ++index) {
        host::TreeRowPtr row = mTree.GetTopLevelRow(index);
        const host::WideString& name = row->GetName();
        if (name.size() == path.size() && std::equal(name.rbegin(), name.rend(), path.rbegin())) {
            return row;
        }
    }
    return nullptr;
}

const host::WideString& TandrelSearchResultsView::GetRowPath(const host::TreeRowPtr& row) const {
    static const host::WideString kNone;
    return row ? row->GetName() : kNone;
}

void TandrelSearchResultsView::RowDoubleClicked(const host::TreeRowPtr& row,
                                                std::uint32_t modifiers) {
    // Every result is a project, wherever it lies: one gone from disk meanwhile is left alone.
    const host::WideString path = GetRowPath(row);
    const RowKind kind =
        path.empty() || !host::FileOrDirExists(path) ? RowKind::kGone : RowKind::kProject;
    if (const std::optional<int> mode = OpenModeOf(IntentOfDoubleClick(kind, modifiers))) {
        host::OpenProjectInHost(host::ToUTF8(path), *mode);
    }
}

void TandrelSearchResultsView::ReadRecordsOf(const std::vector<host::TreeRowPtr>& rows) {
    std::vector<host::TreeRowPtr> unread;
    std::vector<host::WideString> paths;
    for (const host::TreeRowPtr& row : rows) {
        if (!mRecords.Has(row.get()) || mRecords.IsStale(row.get())) {
            unread.push_back(row);
            paths.push_back(GetRowPath(row));
        }
    }
    // A project that could not be looked at now is read when its cells ask for it.
    if (!unread.empty()) {
        RecordRefresher::ReadTogether(mRecords, unread, paths);
    }
}

void TandrelSearchResultsView::ProjectStateChanged(const host::ByteString& projectPath) {
    const host::WideString path = host::ToUTF16(projectPath);
    if (!host::IsWithinCurrentMvProductionFolder(path)) {
        return;
    }
    const host::TreeRowPtr row = GetRowForPath(path);
    if (!row) {
        return;
    }
    mRecords.Update(row.get(), path, false, true, mHeaderRow->GetSortColumn());
    mTree.RefreshRow(row);
    mTree.RowSortKeyChanged(row);
}

void TandrelSearchResultsView::ReceiveMessage(const host::Message& message) {
    if (const host::ByteString* project = Utils::ProjectPathOfMessage(message)) {
        ProjectStateChanged(*project);
    }
}

} // namespace HandlerTandrel
