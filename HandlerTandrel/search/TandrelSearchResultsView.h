#pragma once
// The flat list of the production's projects whose names hold the search text: what the panel
// shows instead of the tree while the search box has text. It shares the tree's columns, cell
// drawing and sorting, but has no folders.
//
// Find runs the host's search on a worker: the window keeps answering on a big production or
// a network share, a newer text cancels an older search, and the rows are replaced when the
// results arrive (OnResultsShown is told then). An empty text empties the list at once.
#include "columns/ColumnWidthRecorder.h"
#include "columns/Columns.h"
#include "directoryview/RowRecords.h"
#include "host/FileServices.h"
#include "host/Messaging.h"
#include "host/MultiColumnTree.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace HandlerTandrel {

inline constexpr std::string_view kSearchResultsNodeID =
    "Handlers.Tandrel.TandrelSearchResultsView";

class TandrelSearchResultsView : public host::Listener,
                                 public std::enable_shared_from_this<TandrelSearchResultsView> {
public:
    // resultsShown: told each time rows of a search's results were shown (many results come
    // in parts, one per turn of the event loop). searchMoved: told while the search runs,
    // as it finds more (the first of them are shown at once).
    static std::shared_ptr<TandrelSearchResultsView> Create(std::function<void()> resultsShown,
                                                            std::function<void()> searchMoved = {});
    TandrelSearchResultsView(std::function<void()> resultsShown, std::function<void()> searchMoved);
    ~TandrelSearchResultsView() override;

    // Recomputes the results for the text (searching the open production's folder).
    void Find(const host::WideString& searchText);
    // True from the text until its last result row is shown.
    bool IsSearching() const { return (mSearch && mSearch->IsRunning()) || mPending != nullptr; }
    // How many projects the running search found so far (rows shown or not yet).
    std::size_t GetFoundCount() const;

    // Results are shown in parts of rows, as many parts in one turn of the event loop as fit
    // in its time; more come at the next turns.
    static constexpr std::size_t kRowsPerPart = 2000;
    static constexpr std::chrono::milliseconds kTimePerTurn{20};
    // What the window does between two turns (laying out every row shown, drawing) grows with
    // the rows shown; the parts of a turn take what is left of kWholeTurn after it, never
    // more than kTimePerTurn, never less than kLeastTimePerTurn.
    static constexpr std::chrono::milliseconds kWholeTurn{30};
    static constexpr std::chrono::milliseconds kLeastTimePerTurn{5};
    // The time for the parts of the next turn, when the window took `between` since the last.
    static std::chrono::steady_clock::duration
    TimeForParts(std::chrono::steady_clock::duration between);
    // Rows shown while the search still runs, before its results in order replace them.
    static constexpr std::size_t kEarlyRows = 500;

    host::UI_MultiColumnTree& GetTree() { return mTree; }
    host::UI_MultiColumnTreeHeaderRow& GetHeaderRow() { return *mHeaderRow; }
    // The full paths of the selected rows, in the tree's order.
    std::vector<host::WideString> GetSelectedPaths() const;
    host::TreeRowPtr GetRowForPath(const host::WideString& path) const;
    const host::WideString& GetRowPath(const host::TreeRowPtr& row) const;

    void ReceiveMessage(const host::Message& message) override;
    // A right-click on a row (null: on the empty area). On the empty area every row is
    // deselected and no menu follows (false); on a row outside the selection, that row
    // becomes the selection; on a selected row the selection stays. True: the menu follows.
    bool SelectForContextMenu(const host::TreeRowPtr& row);
    int GetRowCount() const { return mTree.GetTopLevelRowCount(); }
    Columns::ColumnWidthRecorder& GetColumnWidths() { return mWidths; }
    // A double-click on a row: a project that still exists opens in the host.
    void RowDoubleClicked(const host::TreeRowPtr& row, std::uint32_t modifiers);

private:
    // The order a search's results were put in on the worker: by the sort column and
    // direction of the moment the search started, with each row's key; no keys when the
    // worker left them unordered.
    struct ResultOrder {
        Columns::ColumnID column = 0;
        bool ascending = true;
        std::vector<host::WideString> keys;
    };
    // Runs on the worker: orders the paths by name as the tree would, keeping the names.
    static void OrderByName(std::vector<host::WideString>& paths, ResultOrder& order);
    void ShowResults(std::vector<host::WideString> paths, ResultOrder order);
    // What the running search found since it last told.
    void ShowEarlyResults(std::vector<host::WideString> foundSince);
    // Shows the next part of the results waiting, and asks for the next turn while any wait.
    void ShowNextPart();
    std::vector<host::TreeRowPtr> MakeRows(std::vector<host::WideString>::iterator first,
                                           std::vector<host::WideString>::iterator last);
    void RemoveAllRows();
    void ProjectStateChanged(const host::ByteString& projectPath);
    // Reads the records of the rows about to be drawn that have none yet, all in one look:
    // results come from all over the production, so no folder's listing has them.
    void ReadRecordsOf(const std::vector<host::TreeRowPtr>& rows);

    std::function<void()> mResultsShown;
    std::function<void()> mSearchMoved;
    // Results in order still to be shown, from `next` on.
    struct PendingRows {
        std::vector<host::WideString> paths;
        ResultOrder order;
        std::size_t next = 0;
        std::optional<std::chrono::steady_clock::time_point> lastTurnEnded;
    };
    std::unique_ptr<PendingRows> mPending;
    static void FreeOnWorker(std::unique_ptr<PendingRows> pending);
    std::uint64_t mGeneration = 0; // a new text: parts of older results are not shown
    std::size_t mFoundSoFar = 0;
    std::unique_ptr<host::UI_MultiColumnTreeHeaderRow> mHeaderRow;
    host::UI_MultiColumnTree mTree;
    Columns::ColumnWidthRecorder mWidths{*mHeaderRow};
    RowRecords mRecords;
    host::FileSearchPtr mSearch;
};

} // namespace HandlerTandrel
