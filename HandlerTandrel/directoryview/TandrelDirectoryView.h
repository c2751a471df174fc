#pragma once
// The production as a tree: its folders and the projects the production supports, at any
// depth, with the panel's five columns. Folders are read when they open and again when they
// change on disk; a project's lock state is read only once its row can be seen, so a large
// production opens as fast as its top folder can be listed.
//
// The view ties its parts together; each keeps one concern:
//   RowFilter        which folders are listed and which entries become rows
//   RowRecords       the record behind each project row, and whether it is stale
//   RecordRefresher  reads records again as folders arrive, open and close
//   ChangeDeferral   changes on disk held back during a rename or a pause
//   RenameTrigger    Return/Enter and the slow second click that start a rename
//   InPlaceRename    the edit field over a name, and the rename on disk
//   RowDragAndDrop   rows dragged and dropped, files and project items dropped
//   TreeIntents      what a double-click, a key, a right-click and a drop place ask for
//   SelectionMoves   Home, End, paging and Select All
//   SavedSelection   the saved selection and scroll position, put back
//   FolderOpener     the saved open folders, opened one after another
#include "columns/ColumnWidthRecorder.h"
#include "columns/FileMetadata.h"
#include "directoryview/ChangeDeferral.h"
#include "directoryview/FolderOpener.h"
#include "directoryview/InPlaceRename.h"
#include "directoryview/RecordRefresher.h"
#include "directoryview/RenameTrigger.h"
#include "directoryview/RowDragAndDrop.h"
#include "directoryview/RowRecords.h"
#include "directoryview/SelectionMoves.h"
#include "host/DataTransfer.h"
#include "host/MediaBrowser.h"
#include "host/Messaging.h"
#include "state/TabViewStateData.h"

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string_view>
#include <vector>

namespace HandlerTandrel {

// What the view tells the panel that holds it. The view calls back through this; it never
// reaches up into the panel.
class DirectoryViewOwner {
public:
    virtual ~DirectoryViewOwner() = default;
    // The rows of a production that was just opened are shown.
    virtual void DirectoryShowsProduction() = 0;
};

// Broadcast on kDirectoryViewStation whenever the tree's selection changes.
struct DirectoryViewSelectionChangedMessage : host::Message {
    HOST_DECLARE_MESSAGE_TYPE(DirectoryViewSelectionChangedMessage)
};
// Broadcast on kDirectoryViewStation when rows came, went, opened or closed.
struct DirectoryViewRowsChangedMessage : host::Message {
    HOST_DECLARE_MESSAGE_TYPE(DirectoryViewRowsChangedMessage)
};
inline constexpr std::string_view kDirectoryViewStation = "MvProduction.DirectoryView";
inline constexpr std::string_view kDirectoryViewNodeID = "MvProduction.DirectoryView";
inline constexpr std::string_view kDirectoryTreeNodeID =
    "MvProduction.DirectoryView.MediaBrowserMultiColumnTree";

class TandrelDirectoryView : public host::MediaBrowserDirectoryView, private InPlaceRename::Owner {
public:
    // Makes the view for the production folder (UTF-8, may be empty) and starts loading it.
    static std::shared_ptr<TandrelDirectoryView> Create(const host::ByteString& productionFolder,
                                                        std::weak_ptr<DirectoryViewOwner> owner);
    explicit TandrelDirectoryView(std::weak_ptr<DirectoryViewOwner> owner);
    ~TandrelDirectoryView() override;

    // Shows another production folder: stops watching the old one, removes every row, then
    // loads and watches the new one when it exists.
    void SetProductionFolder(const host::ByteString& oldPath, const host::ByteString& newPath);
    // The production the host has open now, reloaded from scratch.
    void ReloadProductionFolder();

    void InsertDirectoryContent(const host::TreeRowPtr& row, const host::ByteString& directoryPath,
                                const host::DirectoryContent& content) override;
    void OnDirectoryChanged(const host::ByteString& directoryPath) override;
    void RowDisclosureChanged(const host::TreeRowPtr& row, bool open) override;
    bool RowCanHaveChildren(const host::DirectoryEntry& entry) const override;
    void RemoveRowFromMaps(const host::TreeRowPtr& row) override;
    void ReceiveMessage(const host::Message& message) override;

    // Changes that arrive while a rename is under way, or while the host paused notifications,
    // wait; each path is applied once when both are over.
    void SetRenameInProgress(bool inProgress) { mDeferral.SetRenameInProgress(inProgress); }
    void SetNotifyPaused(bool paused) { mDeferral.SetNotifyPaused(paused); }
    const std::set<host::WideString>& GetPendingPaths() const { return mDeferral.GetPending(); }

    // The record of a project row; null for other rows.
    std::optional<Columns::FileMetadata> GetRowMetadata(const host::TreeRowPtr& row) const {
        return mRecords.Find(row.get(), GetRowPath(row));
    }
    bool IsRowMetadataStale(const host::TreeRowPtr& row) const {
        return mRecords.IsStale(row.get());
    }
    // Refreshes a project row's record: now when its folder is open, else only marked stale.
    void RefreshRowMetadata(const host::TreeRowPtr& row, bool onlyIfStale, bool parentOpen) {
        mRefresher.RefreshRow(row, onlyIfStale, parentOpen);
    }

    // An item was just made at the path: its folder opens and is read again now, so that it
    // shows without waiting for the directory monitor, and it is selected and scrolled into
    // view once it is listed.
    void ShowNewItem(const host::WideString& path);
    // Items on their way (copies made in the background): once the row for awaited is listed,
    // those at the paths are selected and the first is scrolled into view.
    void SelectWhenListed(std::vector<host::WideString> paths, const host::WideString& awaited);
    // Opens the saved folders, then selects the saved rows and scrolls to the saved top row.
    void UpdateFromStateData(const DirectoryViewStateData& state, bool restoreSelection);
    // What the view would put back later: open folders (parents first), selection, columns
    // with their unzoomed widths, and the row at the top.
    DirectoryViewStateData GetStateData() const;
    // The columns' saved order, widths (drawn at scale) and sort.
    void ApplyHeaderRowData(const Columns::HeaderRowData& data, float scale);
    Columns::ColumnWidthRecorder& GetColumnWidths() { return mWidths; }
    // The rows reachable through open folders: the items the panel counts.
    int GetItemCount() const;
    // Reads the records of the project rows that can be reached through open folders again
    // (the tree comes back after the search results were shown).
    void RefreshOpenedRows();
    void SelectPaths(const std::vector<host::WideString>& paths);
    const FolderOpener& GetFolderOpener() const { return mOpener; }
    // Used by the folder opener: opens the folder's row, telling the opener when that makes a
    // read.
    void OpenFolderForOpener(const host::WideString& folder);

    // Keys: Return and Enter start renaming the one selected row when it can be seen (and are
    // used up either way); Ctrl+A selects all but the trash's content; keys with another
    // modifier, and every other key, go to the tree.
    bool UI_DoKeyboardEvent(const host::KeyboardEvent& event);
    // The rename timer fired: renaming starts on the rename candidate.
    bool UI_DoTimerNotify(host::UI_TimerID id);
    void RowClickDown(const host::TreeRowPtr& row);
    void RowClickUp(const host::TreeRowPtr& row, host::UI_Point point, std::uint32_t value);
    // Keys the view leaves alone go to this handler (the panel's own keys) before the tree.
    void SetPanelKeyHandler(std::function<bool(const host::KeyboardEvent&)> handler) {
        mPanelKeys = std::move(handler);
    }
    // Starts renaming a row in place the way the keys and the slow click do (through the
    // handler, which is InstallNameEditText unless replaced).
    void InstallNameEdit(const host::TreeRowPtr& row) { mRename.Start(row); }
    void SetStartRenameHandler(std::function<void(const host::TreeRowPtr&)> handler) {
        mRename.SetStartRenameHandler(std::move(handler));
    }
    // The rename in place (see InPlaceRename::Begin and Complete).
    void InstallNameEditText(const host::TreeRowPtr& row) { mNameEdit.Begin(row); }
    void OnRowRenameComplete(const host::TreeRowPtr& row, host::UI_MultiColumnTree* container,
                             int endReason, host::UI_TextEdit* edit) {
        mNameEdit.Complete(row, container, endReason, edit);
    }
    // The view state a rename left to put back after the next listing; empty when none.
    const std::optional<DirectoryViewStateData>& GetStateAfterListing() const {
        return mStateAfterListing;
    }
    void EnableKeyboardEvents(bool enabled) { mRename.EnableKeys(enabled); }
    bool AreKeyboardEventsEnabled() const { return mRename.AreKeysEnabled(); }
    host::TreeRowPtr GetRenameCandidate() const { return mRename.GetCandidate(); }
    bool IsRenameTimerInstalled() const { return mRename.IsTimerInstalled(); }
    // The one id of the rename timer, shared by every directory view.
    static host::UI_TimerID RenameTimerID() { return RenameTrigger::TimerID(); }
    static constexpr double kRenameDelaySeconds = RenameTrigger::kDelaySeconds;

    // A right-click on a row (null: on empty space): empty space deselects every row; a row
    // outside the selection becomes the selection, a selected one keeps it. Then the menu for
    // what is selected is shown at the pointer; answers the menu shown (empty for none).
    std::string_view ContextClick(const host::TreeRowPtr& row);
    // A double-click: a folder opens or closes; a project opens in the host (read-only with
    // the alternative key held), unless it lies in the trash.
    void RowDoubleClicked(const host::TreeRowPtr& row, std::uint32_t modifiers);

    // Row movement and selection operations of the panel's commands.
    void MoveHome() { mMoves.MoveHome(); }
    void MoveEnd() { mMoves.MoveEnd(); }
    void MovePageDown() { mMoves.MovePageDown(); }
    void MovePageUp() { mMoves.MovePageUp(); }
    // Every row reachable through open folders, but none in the trash.
    void SelectAll();
    void DeselectAll() { mMoves.DeselectAll(); }
    int RowsPerPage() const { return mMoves.RowsPerPage(); }

    host::UI_MultiColumnTreeHeaderRow& GetHeaderRow() { return *mHeaderRow; }
    // The tree's drags and drops.
    RowDragAndDrop& GetDrops() { return mDrops; }
    const RowDragAndDrop& GetDrops() const { return mDrops; }

private:
    // Reads the production folder, which exists.
    void LoadRoot();
    void Watch(const host::ByteString& path);
    host::WideString SortKey(const host::TreeRowPtr& row, Columns::ColumnID column);
    host::WideString CellText(const host::TreeRowPtr& row, Columns::ColumnID column);
    std::unique_ptr<host::UI_SubView> CellView(const host::TreeRowPtr& row,
                                               Columns::ColumnID column);
    void BroadcastSelectionChanged();
    void BroadcastRowsChanged();
    void ProjectStateChanged(const host::ByteString& projectPath);
    // The one selected row when it can be seen, which Return renames; else null.
    host::TreeRowPtr RenamableSelectedRow() const;
    // Once the item the state waits for is listed, the state is put back.
    void ApplyStateAfterListing();
    // What the rename in place asks of the view.
    host::MediaBrowserDirectoryView& RenamedView() override { return *this; }
    void HoldChanges(bool hold) override { SetRenameInProgress(hold); }
    void EnableRenameKeys(bool enabled) override { mRename.EnableKeys(enabled); }
    DirectoryViewStateData StateNow() const override { return GetStateData(); }
    void PutBackOnceListed(DirectoryViewStateData state,
                           const host::WideString& renamedPath) override;
    // Whether a release at point in row's Name cell lies on the name itself.
    bool IsOnName(const host::TreeRowPtr& row, host::UI_Point point);

    std::weak_ptr<DirectoryViewOwner> mOwner;
    std::unique_ptr<host::UI_MultiColumnTreeHeaderRow> mHeaderRow;
    Columns::ColumnWidthRecorder mWidths{*mHeaderRow};
    RowRecords mRecords;
    RecordRefresher mRefresher{*this, mRecords, *mHeaderRow};
    host::ByteString mProductionFolder;
    ChangeDeferral mDeferral{[this](const host::ByteString& directoryPath) {
        host::MediaBrowserDirectoryView::OnDirectoryChanged(directoryPath);
    }};
    FolderOpener mOpener{*this};
    bool mRootDelivered = false;
    SelectionMoves mMoves{GetTree()};
    RenameTrigger mRename;
    std::function<bool(const host::KeyboardEvent&)> mPanelKeys;
    InPlaceRename mNameEdit{*this};
    std::optional<DirectoryViewStateData> mStateAfterListing;
    RowDragAndDrop mDrops{*this};
    host::WideString mRenamedPath; // the row the state waits for
    // While the state waits for copies: the selection then (none while a rename waits).
    std::optional<std::vector<host::WideString>> mSelectionWhileAwaiting;
};

} // namespace HandlerTandrel
