#include "directoryview/TandrelDirectoryView.h"

#include "base/TandrelIDs.h"
#include "columns/Columns.h"
#include "columns/DisplayName.h"
#include "columns/NameCellView.h"
#include "columns/SortString.h"
#include "columns/TuningValue.h"
#include "directoryview/RowFilter.h"
#include "directoryview/SavedSelection.h"
#include "host/ApplicationLayer.h"
#include "host/DirectoryMonitor.h"
#include "host/FileServices.h"
#include "host/PanelFramework.h"
#include "host/ProjectBackEnd.h"
#include "host/UIFramework.h"
#include "utils/ProjectMessages.h"

#include <algorithm>
#include <optional>

namespace HandlerTandrel {

namespace {

bool Exists(const host::ByteString& path) {
    return !path.empty() && host::FileOrDirExists(host::ToUTF16(path));
}

} // namespace

std::shared_ptr<TandrelDirectoryView>
TandrelDirectoryView::Create(const host::ByteString& productionFolder,
                             std::weak_ptr<DirectoryViewOwner> owner) {
    auto view = std::make_shared<TandrelDirectoryView>(std::move(owner));
    view->StartListening();
    host::MessageStation::Get(host::kPanelFrameworkStation)->Subscribe(view);
    host::MessageStation::Get(host::kProjectActivationStation)->Subscribe(view);
    view->SetProductionFolder({}, productionFolder);
    return view;
}

TandrelDirectoryView::TandrelDirectoryView(std::weak_ptr<DirectoryViewOwner> owner)
    : host::MediaBrowserDirectoryView(host::ByteString(kDirectoryTreeNodeID)),
      mOwner(std::move(owner)), mHeaderRow(std::make_unique<host::UI_MultiColumnTreeHeaderRow>()) {
    SetNodeID(host::ByteString(kDirectoryViewNodeID));
    host::UI_MultiColumnTree& tree = GetTree();
    Columns::SetupColumns(mHeaderRow.get(), Columns::SortStringIsLess, nullptr);
    // By name until a saved layout says otherwise.
    mHeaderRow->SetSortColumn(Columns::kNameColumn);
    mHeaderRow->SetSortDirection(true);
    tree.SetHeaderRow(mHeaderRow.get());
    mRename.SetStartRenameHandler(
        [this](const host::TreeRowPtr& row) { InstallNameEditText(row); });
    mDrops.Install();
    tree.SetSortDataCallback([this](const host::TreeRowPtr& row, Columns::ColumnID column) {
        return SortKey(row, column);
    });
    // By name, a row's key is the start of its file name: sorting by name copies no names.
    tree.SetSortKeyInNameCallback(
        [](const host::TreeRowPtr& row, Columns::ColumnID column) -> std::optional<std::size_t> {
            if (column != Columns::kNameColumn) {
                return std::nullopt;
            }
            return DisplayNameLength(row->GetName());
        });
    tree.SetCellTextCallback([this](const host::TreeRowPtr& row, Columns::ColumnID column) {
        return CellText(row, column);
    });
    tree.SetCellViewCallback([this](const host::TreeRowPtr& row, Columns::ColumnID column) {
        return CellView(row, column);
    });
    tree.SetSelectionChangedCallback([this] { BroadcastSelectionChanged(); });
    tree.SetKeyboardCallback(
        [this](const host::KeyboardEvent& event) { return UI_DoKeyboardEvent(event); });
    tree.SetSingleClickDownCallback([this](const host::TreeRowPtr& row, host::UI_Point,
                                           std::uint32_t, std::uint32_t) { RowClickDown(row); });
    tree.SetSingleClickUpCallback([this](const host::TreeRowPtr& row, host::UI_Point point,
                                         std::uint32_t,
                                         std::uint32_t value) { RowClickUp(row, point, value); });
    tree.SetDoubleClickCallback([this](const host::TreeRowPtr& row, host::UI_Point,
                                       std::uint32_t modifiers,
                                       std::uint32_t) { RowDoubleClicked(row, modifiers); });
    tree.SetContextClickCallback([this](const host::TreeRowPtr& row, host::UI_Point, std::uint32_t,
                                        std::uint32_t) { ContextClick(row); });
    mWidths.Install();
}

TandrelDirectoryView::~TandrelDirectoryView() {
    host::MessageStation::Get(host::kPanelFrameworkStation)->Unsubscribe(this);
    host::MessageStation::Get(host::kProjectActivationStation)->Unsubscribe(this);
    if (!mProductionFolder.empty()) {
        host::StopMonitoringDirectory(host::ToUTF16(mProductionFolder), false);
    }
}

void TandrelDirectoryView::SetProductionFolder(const host::ByteString& oldPath,
                                               const host::ByteString& newPath) {
    if (!oldPath.empty()) {
        host::StopMonitoringDirectory(host::ToUTF16(oldPath), false);
    }
    GetTree().RemoveAllRows();
    mRecords.Clear();
    mProductionFolder = newPath;
    mRootDelivered = false;
    SetRootPath(newPath.empty() ? host::WideString() : host::ToUTF16(newPath));
    if (Exists(newPath)) {
        LoadRoot();
        Watch(newPath);
    }
    BroadcastRowsChanged();
}

void TandrelDirectoryView::ReloadProductionFolder() {
    SetProductionFolder(mProductionFolder, host::ToUTF8(host::GetTandrelManagerFolderPath()));
}

void TandrelDirectoryView::LoadRoot() {
    // Its caller has just seen that the folder exists (on a share every look is a round trip).
    RequestDirectoryContent(nullptr, host::ToUTF8(GetRootPath()));
}

void TandrelDirectoryView::Watch(const host::ByteString& path) {
    host::MonitorDirectory(host::ToUTF16(path), false, false);
}

bool TandrelDirectoryView::RowCanHaveChildren(const host::DirectoryEntry& entry) const {
    return CanRowOpen(entry);
}

void TandrelDirectoryView::InsertDirectoryContent(const host::TreeRowPtr& row,
                                                  const host::ByteString& directoryPath,
                                                  const host::DirectoryContent& content) {
    const bool isRoot = row == nullptr;
    if (isRoot) {
        mRootDelivered = true;
    }
    if (IsFolderListed(directoryPath)) {
        const host::DirectoryContent kept = ShownEntries(content);
        host::MediaBrowserDirectoryView::InsertDirectoryContent(row, directoryPath, kept);
        if (kept.empty() && !isRoot) {
            GetTree().SetRowHasCustomChild(row, true);
        }
        // The listing says what the projects' records hold: no look at each one again. A
        // failed read says nothing of them: the rows keep what they showed.
        if (!IsDeliveringAFailedRead()) {
            mRefresher.ContentDelivered(row, isRoot || GetTree().IsRowOpen(row),
                                        RecordRefresher::ProjectsOfListing(content));
        }
        BroadcastRowsChanged();
    }
    if (mOpener.IsRunning()) {
        mOpener.DirectoryDelivered(host::ToUTF16(directoryPath));
    }
    // A rename's open folders and selection come back once the renamed item is listed.
    ApplyStateAfterListing();
}

void TandrelDirectoryView::RemoveRowFromMaps(const host::TreeRowPtr& row) {
    mRecords.Forget(row.get());
    host::MediaBrowserDirectoryView::RemoveRowFromMaps(row);
}

void TandrelDirectoryView::RowDisclosureChanged(const host::TreeRowPtr& row, bool open) {
    host::MediaBrowserDirectoryView::RowDisclosureChanged(row, open);
    mRefresher.DisclosureChanged(row, open);
    BroadcastRowsChanged();
}

void TandrelDirectoryView::OnDirectoryChanged(const host::ByteString& directoryPath) {
    mDeferral.FolderChanged(directoryPath);
}

host::WideString TandrelDirectoryView::SortKey(const host::TreeRowPtr& row,
                                               Columns::ColumnID column) {
    if (column == Columns::kNameColumn) {
        return mRecords.NameKey(row.get(), row->GetName()); // no path to make
    }
    if (std::optional<host::WideString> known = mRecords.KnownSortKey(row.get(), column)) {
        return std::move(*known);
    }
    return mRecords.SortKey(row.get(), GetRowPath(row), column);
}

host::WideString TandrelDirectoryView::CellText(const host::TreeRowPtr& row,
                                                Columns::ColumnID column) {
    if (!mRecords.Has(row.get())) {
        return column == Columns::kNameColumn ? DisplayNameOf(row->GetName()) : host::WideString();
    }
    return mRecords.Find(row.get(), GetRowPath(row))->GetDisplayString(column);
}

std::unique_ptr<host::UI_SubView> TandrelDirectoryView::CellView(const host::TreeRowPtr& row,
                                                                 Columns::ColumnID column) {
    if (column != Columns::kNameColumn) {
        return nullptr;
    }
    const bool owned = mRecords.IsLockOwnedByCurrentUser(row.get());
    const bool locked = mRecords.HasLockFile(row.get());
    const host::WideString path = GetRowPath(row);
    const bool unreadable = !mRecords.Has(row.get()) && !GetReadFailure(path).empty();
    return std::make_unique<Columns::NameCellView>(path, owned, locked, unreadable);
}

void TandrelDirectoryView::BroadcastRowsChanged() {
    host::MessageStation::Get(kDirectoryViewStation)->Broadcast(DirectoryViewRowsChangedMessage());
}

void TandrelDirectoryView::BroadcastSelectionChanged() {
    const auto station = host::MessageStation::Get(kDirectoryViewStation);
    if (host::CurrentThreadIsMainThread()) {
        station->Broadcast(DirectoryViewSelectionChangedMessage());
    } else {
        station->Post(std::make_shared<DirectoryViewSelectionChangedMessage>());
    }
}

void TandrelDirectoryView::ProjectStateChanged(const host::ByteString& projectPath) {
    const host::WideString path = host::ToUTF16(projectPath);
    if (!host::IsWithinCurrentMvProductionFolder(path)) {
        return;
    }
    mRefresher.ProjectChanged(path);
}

void TandrelDirectoryView::ReceiveMessage(const host::Message& message) {
    const host::MessageTypeID type = message.GetTypeID();
    if (type == host::MvProductionFolderOpenedMessage::kTypeID) {
        ReloadProductionFolder();
        if (const std::shared_ptr<DirectoryViewOwner> owner = mOwner.lock()) {
            owner->DirectoryShowsProduction();
        }
    } else if (type == host::MvProductionFolderClosedMessage::kTypeID) {
        SetProductionFolder(
            static_cast<const host::MvProductionFolderClosedMessage&>(message).oldPath, {});
    } else if (const host::ByteString* project = Utils::ProjectPathOfMessage(message)) {
        ProjectStateChanged(*project);
    } else {
        host::MediaBrowserDirectoryView::ReceiveMessage(message);
    }
}

void TandrelDirectoryView::OpenFolderForOpener(const host::WideString& folder) {
    const host::TreeRowPtr row = GetRowForPath(folder);
    if (!row || !row->CanHaveChildren()) {
        return;
    }
    if (row->GetChildCount() == 0 && !GetTree().RowHasCustomChild(row) &&
        !GetTree().IsRowOpen(row)) {
        mOpener.DirectoryRequested(folder);
    }
    GetTree().OpenRow(row, true);
}

void TandrelDirectoryView::UpdateFromStateData(const DirectoryViewStateData& state,
                                               bool restoreSelection) {
    const std::weak_ptr<host::MediaBrowserDirectoryView> weakSelf = weak_from_this();
    mOpener.OpenAllFoldersInDirectory(
        GetRootPath(), state.mOpenFolderPaths, [weakSelf, saved = state, restoreSelection] {
            const std::shared_ptr<host::MediaBrowserDirectoryView> self = weakSelf.lock();
            if (self && restoreSelection) {
                RestoreSelectionAndScroll(*self, saved);
            }
        });
    if (mRootDelivered) {
        mOpener.DirectoryDelivered(GetRootPath());
    }
}

void TandrelDirectoryView::ShowNewItem(const host::WideString& path) {
    SelectWhenListed({path}, path);
}

void TandrelDirectoryView::SelectWhenListed(std::vector<host::WideString> paths,
                                            const host::WideString& awaited) {
    if (paths.empty() || awaited.empty()) {
        return;
    }
    DirectoryViewStateData state = GetStateData();
    state.mSelectedRowPaths = std::move(paths);
    state.mTopVisibleRowPath.clear(); // the first of them comes into view instead
    // The folder the item is made in opens, so that the item can be seen.
    const std::size_t slash = awaited.find_last_of(u'/');
    const host::WideString folder = slash != host::WideString::npos && slash > 0
                                        ? awaited.substr(0, slash)
                                        : host::WideString();
    const host::TreeRowPtr folderRow = folder.empty() ? nullptr : GetRowForPath(folder);
    const bool opensFolder = folderRow && !GetTree().IsRowOpen(folderRow);
    if (opensFolder) {
        state.mOpenFolderPaths.push_back(folder);
    }
    mStateAfterListing = std::move(state);
    mRenamedPath = awaited;
    // A selection the person makes before the items arrive is theirs: it stays.
    mSelectionWhileAwaiting = GetSelectedPaths();
    if (opensFolder) {
        GetTree().OpenRow(folderRow, true);
    }
    // The folder is read again now, so that the item shows without waiting for the directory
    // monitor; an item that is listed already is selected at once.
    if (!folder.empty()) {
        OnDirectoryChanged(host::ToUTF8(folder));
    }
    ApplyStateAfterListing();
}

DirectoryViewStateData TandrelDirectoryView::GetStateData() const {
    DirectoryViewStateData state;
    const host::UI_MultiColumnTree& tree = GetTree();
    const std::vector<host::TreeRowPtr> opened = tree.GetOpenedRows();
    for (const host::TreeRowPtr& row : opened) {
        if (row->CanHaveChildren() && tree.IsRowOpen(row)) {
            state.mOpenFolderPaths.push_back(GetRowPath(row));
        }
    }
    state.mSelectedRowPaths = GetSelectedPaths();
    state.mHeaderRowData = Columns::GetHeaderRowData(mHeaderRow.get(), mWidths.Get());
    const int top = tree.GetFirstVisibleOpenedRowIndex();
    if (top >= 0 && static_cast<std::size_t>(top) < opened.size()) {
        state.mTopVisibleRowPath = GetRowPath(opened[static_cast<std::size_t>(top)]);
    }
    return state;
}

void TandrelDirectoryView::ApplyHeaderRowData(const Columns::HeaderRowData& data, float scale) {
    Columns::ApplyHeaderRowData(mHeaderRow.get(), data, scale);
    // A column saved at the default width was never sized by the user: it stays at that width
    // at any zoom, as it was before it was saved. The others are the user's widths again.
    const float defaultWidth = Columns::ColumnWidth().Get();
    Columns::RecordedWidths widths;
    for (const Columns::ColumnData& column : data.mColumnDataList) {
        if (column.mWidth == defaultWidth) {
            mHeaderRow->SetColumnWidth(column.mColumnID, defaultWidth);
        } else {
            widths.emplace(column.mColumnID, column.mWidth);
        }
    }
    mWidths.Set(std::move(widths));
    mWidths.SetScale(scale);
    GetTree().Resort();
}

int TandrelDirectoryView::GetItemCount() const {
    return static_cast<int>(GetTree().GetOpenedRows().size());
}

void TandrelDirectoryView::RefreshOpenedRows() {
    std::vector<host::TreeRowPtr> rows;
    for (const host::TreeRowPtr& row : GetTree().GetOpenedRows()) {
        if (mRecords.Has(row.get())) {
            rows.push_back(row);
        }
    }
    if (!rows.empty()) {
        mRefresher.RefreshRowsTogether(rows);
    }
}

void TandrelDirectoryView::SelectPaths(const std::vector<host::WideString>& paths) {
    SelectRowsAtPaths(*this, paths);
}

void TandrelDirectoryView::SelectAll() {
    // The trash and what it holds are never selected with the rest. The trash is a top row:
    // it is found by its name, and only a row of that name is compared with it on disk (on a
    // share a comparison is a round trip, and there may be many thousand rows).
    host::TreeRowPtr trash;
    const host::WideString trashName =
        host::GetPathFileName(host::GetMvProductionTrashDirectoryPath());
    host::UI_MultiColumnTree& tree = GetTree();
    for (int index = 0; !trashName.empty() && index < tree.GetTopLevelRowCount(); ++index) {
        const host::TreeRowPtr row = tree.GetTopLevelRow(index);
        if (row->GetName() == trashName && host::IsTheMvProductionTrashDirectory(GetRowPath(row))) {
            trash = row;
            break;
        }
    }
    mMoves.SelectAll(trash);
}

void TandrelDirectoryView::ApplyStateAfterListing() {
    // Listings of other folders may come first; the state waits for the renamed item's row.
    if (mSelectionWhileAwaiting && mStateAfterListing &&
        GetSelectedPaths() != *mSelectionWhileAwaiting) {
        mStateAfterListing.reset(); // the person chose something else meanwhile
        mSelectionWhileAwaiting.reset();
    }
    if (!mStateAfterListing || !GetRowForPath(mRenamedPath)) {
        return;
    }
    mSelectionWhileAwaiting.reset();
    const DirectoryViewStateData state = std::move(*mStateAfterListing);
    mStateAfterListing.reset();
    UpdateFromStateData(state, true);
}

void TandrelDirectoryView::PutBackOnceListed(DirectoryViewStateData state,
                                             const host::WideString& renamedPath) {
    mStateAfterListing = std::move(state);
    mSelectionWhileAwaiting.reset();
    mRenamedPath = renamedPath;
}

} // namespace HandlerTandrel
