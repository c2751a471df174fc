#include "directoryview/TandrelDirectoryView.h"

#include "columns/Columns.h"
#include "columns/DisplayName.h"
#include "columns/NameCellView.h"
#include "columns/SortString.h"
#include "host/ApplicationLayer.h"
#include "host/DirectoryMonitor.h"
#include "host/FileServices.h"
#include "host/PanelFramework.h"
#include "host/ProjectBackEnd.h"
#include "panel/TandrelTabView.h"

#include <algorithm>
#include <cmath>

namespace HandlerTandrel {

namespace {

bool Exists(const host::ByteString& path) {
    return !path.empty() && host::FileOrDirExists(host::ToUTF16(path));
}

} // namespace

std::shared_ptr<TandrelDirectoryView>
TandrelDirectoryView::Create(const host::ByteString& productionFolder,
                             std::weak_ptr<TandrelTabView> tabView) {
    auto view = std::make_shared<TandrelDirectoryView>(std::move(tabView));
    view->StartListening();
    host::MessageStation::Get(host::kPanelFrameworkStation)->Subscribe(view);
    host::MessageStation::Get(host::kProjectActivationStation)->Subscribe(view);
    view->SetProductionFolder({}, productionFolder);
    return view;
}

TandrelDirectoryView::TandrelDirectoryView(std::weak_ptr<TandrelTabView> tabView)
    : host::MediaBrowserDirectoryView(host::ByteString(kDirectoryTreeNodeID)),
      mTabView(std::move(tabView)),
      mHeaderRow(std::make_unique<host::UI_MultiColumnTreeHeaderRow>()) {
    SetNodeID(host::ByteString(kDirectoryViewNodeID));
    host::UI_MultiColumnTree& tree = GetTree();
    Columns::SetupColumns(mHeaderRow.get(), Columns::SortStringIsLess, nullptr);
    // By name until a saved layout says otherwise.
    mHeaderRow->SetSortColumn(Columns::kNameColumn);
    mHeaderRow->SetSortDirection(true);
    tree.SetHeaderRow(mHeaderRow.get());
    tree.SetSortDataCallback([this](const host::TreeRowPtr& row, Columns::ColumnID column) {
        return SortKey(row, column);
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
}

TandrelDirectoryView::~TandrelDirectoryView() {
    host::MessageStation::Get(host::kPanelFrameworkStation)->Unsubscribe(this);
    host::MessageStation::Get(host::kProjectActivationStation)->Unsubscribe(this);
    if (!mProductionFolder.empty()) {
        host::StopMonitoringDirectory(host::ToUTF16(mProductionFolder), false);
    }
}

std::shared_ptr<TandrelTabView> TandrelDirectoryView::GetOwner() const {
    std::shared_ptr<TandrelTabView> owner = mTabView.lock();
    return owner && owner->IsCreated() ? owner : nullptr;
}

void TandrelDirectoryView::SetProductionFolder(const host::ByteString& oldPath,
                                               const host::ByteString& newPath) {
    if (!oldPath.empty()) {
        host::StopMonitoringDirectory(host::ToUTF16(oldPath), false);
    }
    GetTree().RemoveAllRows();
    mRecords.clear();
    mProductionFolder = newPath;
    mRootDelivered = false;
    SetRootPath(newPath.empty() ? host::WideString() : host::ToUTF16(newPath));
    if (Exists(newPath)) {
        LoadRoot();
        Watch(newPath);
    }
}

void TandrelDirectoryView::ReloadProductionFolder() {
    SetProductionFolder(mProductionFolder, host::ToUTF8(host::GetTandrelManagerFolderPath()));
}

void TandrelDirectoryView::LoadRoot() {
    if (Exists(mProductionFolder)) {
        RequestDirectoryContent(nullptr, host::ToUTF8(GetRootPath()));
    }
}

void TandrelDirectoryView::Watch(const host::ByteString& path) {
    host::MonitorDirectory(host::ToUTF16(path), false, false);
}

bool TandrelDirectoryView::RowCanHaveChildren(const host::DirectoryEntry& entry) const {
    return host::EntryIsDirectory(entry) &&
           !host::ProductionSupportsMarvaneProjectFile(host::EntryPath(entry));
}

void TandrelDirectoryView::InsertDirectoryContent(const host::TreeRowPtr& row,
                                                  const host::ByteString& directoryPath,
                                                  const host::DirectoryContent& content) {
    const host::WideString directory = host::ToUTF16(directoryPath);
    const bool isRoot = row == nullptr;
    if (isRoot) {
        mRootDelivered = true;
    }
    bool listed =
        !host::IsPathExcludedFromMvProduction(directory) &&
        !(host::IsFolderProjectFormatEnabled() && host::IsFolderFormatProject(directoryPath));
    host::DirectoryContent kept;
    if (listed) {
        for (const host::DirectoryEntry& entry : content) {
            const host::WideString& path = host::EntryPath(entry);
            const bool project = host::ProductionSupportsMarvaneProjectFile(path);
            const bool folder = !project && host::EntryIsDirectory(entry) &&
                                !host::IsPathExcludedFromMvProduction(path);
            if (project || folder) {
                kept.push_back(entry);
            }
        }
        host::MediaBrowserDirectoryView::InsertDirectoryContent(row, directoryPath, kept);
        if (kept.empty() && !isRoot) {
            GetTree().SetRowHasCustomChild(row, true);
        }
        const bool parentOpen = isRoot || GetTree().IsRowOpen(row);
        // A refresh can move a row among its siblings: go through them as they are now.
        for (const host::TreeRowPtr& child : ChildRows(row)) {
            RefreshRowMetadata(child, false, parentOpen);
        }
    }
    if (mOpener.IsRunning()) {
        mOpener.DirectoryDelivered(directory);
    }
}

void TandrelDirectoryView::RemoveRowFromMaps(const host::TreeRowPtr& row) {
    mRecords.erase(row.get());
    host::MediaBrowserDirectoryView::RemoveRowFromMaps(row);
}

const Columns::FileMetadata*
TandrelDirectoryView::GetRowMetadata(const host::TreeRowPtr& row) const {
    const auto found = mRecords.find(row.get());
    return found == mRecords.end() ? nullptr : &found->second.record;
}

bool TandrelDirectoryView::IsRowMetadataStale(const host::TreeRowPtr& row) const {
    const auto found = mRecords.find(row.get());
    return found != mRecords.end() && found->second.stale;
}

void TandrelDirectoryView::RefreshRowMetadata(const host::TreeRowPtr& row, bool onlyIfStale,
                                              bool parentOpen) {
    const host::WideString path = GetRowPath(row);
    if (!row || !host::ProductionSupportsMarvaneProjectFile(path)) {
        return;
    }
    auto [found, added] = mRecords.try_emplace(row.get(), RowRecord{Columns::FileMetadata(path)});
    RowRecord& entry = found->second;
    if (parentOpen) {
        if (onlyIfStale && !entry.stale && !added) {
            return;
        }
        // Shown in the tree (its folder is open): every field, lock state included.
        entry.record.Update(true, mHeaderRow->GetSortColumn());
        entry.stale = false;
        GetTree().RefreshRow(row);
        // What was read may order it differently (someone took the lock since it was listed).
        GetTree().RowSortKeyChanged(row);
    } else if (!onlyIfStale) {
        entry.stale = true;
    }
}

std::vector<host::TreeRowPtr> TandrelDirectoryView::ChildRows(const host::TreeRowPtr& row) const {
    const int count = row ? row->GetChildCount() : GetTree().GetTopLevelRowCount();
    std::vector<host::TreeRowPtr> children;
    children.reserve(static_cast<std::size_t>(count));
    for (int index = 0; index < count; ++index) {
        children.push_back(row ? row->GetChild(index) : GetTree().GetTopLevelRow(index));
    }
    return children;
}

void TandrelDirectoryView::RefreshChildren(const host::TreeRowPtr& row, bool open) {
    // A refresh can move a row among its siblings: go through them as they are now.
    for (const host::TreeRowPtr& child : ChildRows(row)) {
        RefreshRowMetadata(child, open, open);
        if (!open || GetTree().IsRowOpen(child)) {
            RefreshChildren(child, open && GetTree().IsRowOpen(child));
        }
    }
}

void TandrelDirectoryView::RowDisclosureChanged(const host::TreeRowPtr& row, bool open) {
    host::MediaBrowserDirectoryView::RowDisclosureChanged(row, open);
    RefreshChildren(row, open);
}

void TandrelDirectoryView::OnDirectoryChanged(const host::ByteString& directoryPath) {
    if (!mRenameInProgress && !mNotifyPaused) {
        host::MediaBrowserDirectoryView::OnDirectoryChanged(directoryPath);
        return;
    }
    mPending.insert(host::ToUTF16(directoryPath));
}

void TandrelDirectoryView::FlushPending() {
    std::set<host::WideString> pending;
    pending.swap(mPending);
    for (const host::WideString& path : pending) {
        OnDirectoryChanged(host::ToUTF8(path));
    }
}

void TandrelDirectoryView::SetRenameInProgress(bool inProgress) {
    if (mRenameInProgress == inProgress) {
        return;
    }
    mRenameInProgress = inProgress;
    if (!inProgress) {
        FlushPending();
    }
}

void TandrelDirectoryView::SetNotifyPaused(bool paused) {
    if (mNotifyPaused == paused) {
        return;
    }
    mNotifyPaused = paused;
    if (!paused) {
        FlushPending();
    }
}

host::WideString TandrelDirectoryView::SortKey(const host::TreeRowPtr& row,
                                               Columns::ColumnID column) {
    const host::WideString path = GetRowPath(row);
    if (!host::ProductionSupportsMarvaneProjectFile(path)) {
        return column == Columns::kNameColumn ? DisplayNameOf(path) : host::WideString();
    }
    auto [found, added] = mRecords.try_emplace(row.get(), RowRecord{Columns::FileMetadata(path)});
    if (added || found->second.stale) {
        // A row not shown yet reads only what the sort needs: the sort column's field.
        found->second.record.Update(false, column);
        found->second.stale = true;
    }
    if (column == Columns::kNameColumn && found->second.record.displayName.empty()) {
        return DisplayNameOf(path);
    }
    return found->second.record.GetSortString(column);
}

host::WideString TandrelDirectoryView::CellText(const host::TreeRowPtr& row,
                                                Columns::ColumnID column) {
    const auto found = mRecords.find(row.get());
    if (found == mRecords.end()) {
        return column == Columns::kNameColumn ? DisplayNameOf(GetRowPath(row)) : host::WideString();
    }
    return found->second.record.GetDisplayString(column);
}

std::unique_ptr<host::UI_SubView> TandrelDirectoryView::CellView(const host::TreeRowPtr& row,
                                                                 Columns::ColumnID column) {
    if (column != Columns::kNameColumn) {
        return nullptr;
    }
    const auto found = mRecords.find(row.get());
    const bool owned = found != mRecords.end() && found->second.record.lockOwnedByCurrentUser;
    const bool locked = found != mRecords.end() && found->second.record.hasLockFile;
    return std::make_unique<Columns::NameCellView>(GetRowPath(row), owned, locked);
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
    const host::TreeRowPtr row = GetRowForPath(host::ToNormalizedPath(path));
    if (!row) {
        return;
    }
    const host::WideString rowPath = GetRowPath(row);
    const host::TreeRowPtr parent = GetRowForPath(rowPath.substr(0, rowPath.rfind(u'/')));
    const bool parentOpen = row->GetParent() == nullptr || GetTree().IsRowOpen(parent);
    RefreshRowMetadata(row, false, parentOpen);
    GetTree().RefreshRow(row);
}

void TandrelDirectoryView::ReceiveMessage(const host::Message& message) {
    const host::MessageTypeID type = message.GetTypeID();
    if (type == host::MvProductionFolderOpenedMessage::kTypeID) {
        ReloadProductionFolder();
    } else if (type == host::MvProductionFolderClosedMessage::kTypeID) {
        SetProductionFolder(
            static_cast<const host::MvProductionFolderClosedMessage&>(message).oldPath, {});
    } else if (type == host::ProjectOpenedMessage::kTypeID) {
        ProjectStateChanged(static_cast<const host::ProjectOpenedMessage&>(message).projectPath);
    } else if (type == host::ProjectClosedMessage::kTypeID) {
        ProjectStateChanged(static_cast<const host::ProjectClosedMessage&>(message).projectPath);
    } else if (type == host::ProjectReadOnlyChangedMessage::kTypeID) {
        ProjectStateChanged(
            static_cast<const host::ProjectReadOnlyChangedMessage&>(message).projectPath);
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
    const DirectoryViewStateData saved = state;
    mOpener.OpenAllFoldersInDirectory(
        GetRootPath(), state.mOpenFolderPaths, [this, weakSelf, saved, restoreSelection] {
            if (weakSelf.expired() || !restoreSelection) {
                return;
            }
            SelectPaths(saved.mSelectedRowPaths);
            const host::TreeRowPtr top = GetRowForPath(saved.mTopVisibleRowPath);
            if (top) {
                GetTree().ScrollRowIntoView(top, true, 0, true);
            } else if (!saved.mSelectedRowPaths.empty()) {
                if (const host::TreeRowPtr first = GetRowForPath(saved.mSelectedRowPaths.front())) {
                    GetTree().ScrollRowIntoView(first, false, 0, true);
                }
            }
        });
    if (mRootDelivered) {
        mOpener.DirectoryDelivered(GetRootPath());
    }
}

void TandrelDirectoryView::SelectPaths(const std::vector<host::WideString>& paths) {
    bool first = true;
    for (const host::WideString& path : paths) {
        if (const host::TreeRowPtr row = GetRowForPath(path)) {
            GetTree().SelectRow(row, first, false, true);
            first = false;
        }
    }
}

host::UI_TimerID TandrelDirectoryView::RenameTimerID() {
    static const host::UI_TimerID id = host::UI_NodeManager::GetUniqueTimerID();
    return id;
}

bool TandrelDirectoryView::IsRenameTimerInstalled() const {
    return mTimers.IsTimerInstalled(RenameTimerID());
}

void TandrelDirectoryView::InstallNameEdit(const host::TreeRowPtr& row) {
    if (row && mStartRename) {
        mStartRename(row);
    }
}

bool TandrelDirectoryView::UI_DoKeyboardEvent(const host::KeyboardEvent& event) {
    if (!mKeyboardEvents) {
        return false;
    }
    if (!event.actionKeyDown || event.modifiers != 0) {
        return false; // the tree handles it
    }
    if (event.keyCode != host::kKeyCodeReturn && event.keyCode != host::kKeyCodeEnter) {
        return false;
    }
    const std::vector<host::TreeRowPtr> selected = GetTree().GetSelectedRows();
    if (selected.size() == 1 && GetTree().IsRowVisible(selected.front())) {
        InstallNameEdit(selected.front());
    }
    return true; // these keys never reach the tree
}

bool TandrelDirectoryView::UI_DoTimerNotify(host::UI_TimerID id) {
    if (id != RenameTimerID()) {
        return false;
    }
    mTimers.UI_RemoveTimer(id);
    InstallNameEdit(mRenameCandidate.lock());
    return true;
}

void TandrelDirectoryView::RowClickDown(const host::TreeRowPtr&) {
    const std::vector<host::TreeRowPtr> selected = GetTree().GetSelectedRows();
    mRenameCandidate = selected.size() == 1 ? selected.front() : nullptr;
}

void TandrelDirectoryView::RowClickUp(const host::TreeRowPtr& row, host::UI_Point point,
                                      std::uint32_t value) {
    if (!row || value != 0) {
        return;
    }
    host::UI_Rect frame = GetTree().GetCellFrame(row, Columns::kNameColumn);
    if (auto* cell = dynamic_cast<Columns::NameCellView*>(
            GetTree().GetCellView(row, Columns::kNameColumn))) {
        // Laid out for the frame as it is drawn now, so its unused part is current.
        cell->BoundsChanged({0, 0, frame.width, frame.height});
        frame.width -= cell->GetTrailingWidth();
    }
    const bool inside = frame.width > 0 && frame.height > 0 && point.x >= frame.left &&
                        point.x < frame.left + frame.width && point.y >= frame.top &&
                        point.y < frame.top + frame.height;
    if (inside) {
        mTimers.UI_RemoveTimer(RenameTimerID());
    } else if (row == mRenameCandidate.lock()) {
        mTimers.UI_RemoveTimer(RenameTimerID());
        mTimers.UI_InstallTimer(kRenameDelaySeconds, RenameTimerID());
    }
}

void TandrelDirectoryView::RowDoubleClicked(const host::TreeRowPtr& row, std::uint32_t modifiers) {
    mTimers.UI_RemoveTimer(RenameTimerID()); // a double-click never starts a rename
    const host::WideString path = GetRowPath(row);
    if (path.empty() || !host::FileOrDirExists(path)) {
        return;
    }
    if (!host::ProductionSupportsMarvaneProjectFile(path) && host::DirectoryExists(path)) {
        GetTree().ToggleRow(row);
        return;
    }
    if (host::IsInMvProductionTrash(path, true)) {
        return; // a project in the trash is not opened
    }
    host::OpenProjectInHost(host::ToUTF8(path), (modifiers & host::kModifierAlternative) != 0
                                                    ? host::kOpenModeAlternative
                                                    : host::kOpenModePlain);
}

int TandrelDirectoryView::RowsPerPage() const {
    return static_cast<int>(
        std::floor(GetTree().GetScrollViewHeight() / (GetTree().GetRowHeight() + 1.0f)));
}

void TandrelDirectoryView::MoveSelectionTo(const host::TreeRowPtr& row) {
    GetTree().SelectRow(row, true, false, true);
    GetTree().ScrollRowIntoView(row, false, 0, true);
}

void TandrelDirectoryView::MoveHome() {
    const auto opened = GetTree().GetOpenedRows();
    if (!opened.empty()) {
        MoveSelectionTo(opened.front());
    }
}

void TandrelDirectoryView::MoveEnd() {
    const auto opened = GetTree().GetOpenedRows();
    if (!opened.empty()) {
        MoveSelectionTo(opened.back());
    }
}

void TandrelDirectoryView::MovePageDown() {
    const auto opened = GetTree().GetOpenedRows();
    if (opened.empty()) {
        return;
    }
    const int last = GetTree().GetLastVisibleOpenedRowIndex();
    const auto selected = GetTree().GetSelectedRows();
    int target = last;
    if (selected.size() == 1 && last >= 0 &&
        selected.front() == opened[static_cast<std::size_t>(last)]) {
        target = std::min(last + RowsPerPage(), static_cast<int>(opened.size()) - 1);
    }
    MoveSelectionTo(opened[static_cast<std::size_t>(std::max(target, 0))]);
}

void TandrelDirectoryView::MovePageUp() {
    const auto opened = GetTree().GetOpenedRows();
    if (opened.empty()) {
        return;
    }
    const int first = GetTree().GetFirstVisibleOpenedRowIndex();
    const auto selected = GetTree().GetSelectedRows();
    int target = first;
    if (selected.size() == 1 && first >= 0 &&
        selected.front() == opened[static_cast<std::size_t>(first)]) {
        target = first - RowsPerPage();
        if (target < 1) {
            target = 0;
        }
    }
    MoveSelectionTo(opened[static_cast<std::size_t>(std::max(target, 0))]);
}

void TandrelDirectoryView::SelectAll() {
    for (const host::TreeRowPtr& row : GetTree().GetOpenedRows()) {
        if (!host::IsInMvProductionTrash(GetRowPath(row), true)) {
            GetTree().SelectRow(row, false, false, true);
        }
    }
}

void TandrelDirectoryView::DeselectAll() {
    GetTree().DeselectAllRows();
}

} // namespace HandlerTandrel
