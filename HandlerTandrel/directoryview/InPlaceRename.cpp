#include "directoryview/InPlaceRename.h"

#include "directoryview/RenamePaths.h"

#include "columns/ColumnIDs.h"
#include "columns/DisplayName.h"
#include "columns/NameCellView.h"
#include "host/ApplicationLayer.h"
#include "host/AsyncCalls.h"
#include "host/DirectoryMonitor.h"
#include "host/FileServices.h"
#include "host/Localizer.h"
#include "host/ProjectBackEnd.h"
#include "host/UIFramework.h"
#include "utils/MonitorTree.h"
#include "utils/MoveItems.h"
#include "utils/ProductionItems.h"

#include <chrono>
#include <thread>

namespace HandlerTandrel {

namespace {

constexpr std::string_view kInvalidNameTitleKey =
    "$$$/Marvane/Handlers/MvProduction/Rename/InvalidNameWarning/Title=Invalid Name";
constexpr std::string_view kInvalidNameMessageKey =
    "$$$/Marvane/Handlers/MvProduction/Rename/InvalidNameWarning/MessageWithParam=A valid name "
    "cannot be empty and cannot contain any of the following characters:\n@0";

// The folder rename waits this long on the main thread, and sleeps this long after the
// folder left the monitor, so that the monitor lets go of it first.
constexpr int kFolderRenameDelayMs = 100;

// One completion at a time in the whole module: removing the edit field can end the edit a
// second time while the first completion still runs.
bool gCompletionRunning = false;

class CompletionGuard {
public:
    CompletionGuard() : mTaken(!gCompletionRunning) { gCompletionRunning = true; }
    ~CompletionGuard() {
        if (mTaken) {
            gCompletionRunning = false;
        }
    }
    CompletionGuard(const CompletionGuard&) = delete;
    CompletionGuard& operator=(const CompletionGuard&) = delete;
    bool Taken() const { return mTaken; }

private:
    bool mTaken;
};

constexpr std::string_view kFolderInUseTitleKey =
    "$$$/Marvane/Handlers/MvProduction/Rename/FolderInUse/Title=Cannot Rename";
constexpr std::string_view kFolderInUseMessageKey =
    "$$$/Marvane/Handlers/MvProduction/Rename/FolderInUse/Message=\"@0\" was not renamed: "
    "another editor has opened a project in it since you started typing the name. Try again "
    "once they have closed it.";
constexpr std::string_view kProjectInUseMessageKey =
    "$$$/Marvane/Handlers/MvProduction/Rename/ProjectInUse/Message=\"@0\" was not renamed: "
    "@1 has it open. Try again once they have closed it.";

// Tells the host of the rename, so that Edit > Undo can give the item its old name back.
void RecordRename(const host::WideString& oldPath, const host::WideString& newPath) {
    host::OrganisingStep step;
    step.kind = host::OrganisingStepKind::kRename;
    step.moved.emplace_back(host::StripTrailingSlash(oldPath), host::StripTrailingSlash(newPath));
    host::RecordOrganisingStep(step);
}

void ShowInvalidName() {
    host::ShowMessageBox(host::Localize(kInvalidNameTitleKey),
                         host::Localize(kInvalidNameMessageKey,
                                        {host::ToUTF8(host::GetIllegalFilenameCharacters())}),
                         {}, host::kWarningIcon, 0);
}

} // namespace

host::UI_Rect InPlaceRename::NameEditFrame(const host::TreeRowPtr& row) {
    host::UI_MultiColumnTree& tree = mOwner.RenamedView().GetTree();
    host::UI_Rect frame = tree.GetCellFrame(row, Columns::kNameColumn);
    if (frame.width <= 0 || frame.height <= 0) {
        // The rename command can name a row scrolled out of sight: it is brought into view.
        tree.ScrollRowIntoView(row, false, 0, true);
        frame = tree.GetCellFrame(row, Columns::kNameColumn);
    }
    host::UI_Rect text;
    if (auto* cell =
            dynamic_cast<Columns::NameCellView*>(tree.GetCellView(row, Columns::kNameColumn))) {
        cell->BoundsChanged({0, 0, frame.width, frame.height});
        if (cell->Text().IsVisible()) {
            text = cell->Text().GetBounds();
        }
    }
    if (text.width > 0 && text.height > 0) {
        return {frame.left + text.left, frame.top + text.top, text.width, text.height};
    }
    // No name laid out: the cell without its picture, a square as high as the row.
    return {frame.left + frame.height, frame.top, frame.width - frame.height, frame.height};
}

void InPlaceRename::Begin(const host::TreeRowPtr& row) {
    if (!host::IsTandrelManagerActive() || !row ||
        mOwner.RenamedView().GetTree().GetCellView(row, Columns::kNameColumn) == nullptr) {
        return;
    }
    // The production's trash keeps its name: renamed, it would become an ordinary folder
    // holding what was deleted, and the next Delete would make a new trash.
    if (host::IsTheMvProductionTrashDirectory(mOwner.RenamedView().GetRowPath(row))) {
        return;
    }
    // One name at a time: F2 again while a name is being edited leaves that edit alone.
    if (!mOwner.RenamedView().GetTree().GetEditFields().empty()) {
        return;
    }
    mOwner.HoldChanges(true);
    host::UI_MultiColumnTree& tree = mOwner.RenamedView().GetTree();
    host::UI_TextEdit* edit = tree.CreateEditField(NameEditFrame(row));
    edit->SetIsQuiet(true);
    edit->SetDesiredSizeVariation(host::UI_TextEdit::kSizeFollowsText);
    edit->SetValue(DisplayNameOf(mOwner.RenamedView().GetRowPath(row)));
    // A longer name could not be given on disk: the field stops taking text there.
    edit->SetMaximumBytes(host::GetLongestTypedNameBytes(mOwner.RenamedView().GetRowPath(row)));
    const std::weak_ptr<host::UI_TreeRow> weakRow = row;
    // This lives as long as the view that holds it.
    const std::weak_ptr<host::MediaBrowserDirectoryView> view =
        mOwner.RenamedView().weak_from_this();
    host::UI_MultiColumnTree* container = &tree;
    edit->NotifyWhenEditEnds(
        [this, view, weakRow, container](host::UI_TextEdit& field, int reason) {
            // Held for the whole completion: a message it shows may close the panel.
            if (const auto alive = view.lock()) {
                Complete(weakRow.lock(), container, reason, &field);
            }
        });
    mOwner.EnableRenameKeys(false);
}

void InPlaceRename::Complete(const host::TreeRowPtr& row, host::UI_MultiColumnTree* container,
                             int endReason, host::UI_TextEdit* edit) {
    const CompletionGuard guard;
    if (!guard.Taken()) {
        return;
    }
    mOwner.EnableRenameKeys(true);
    if (edit != nullptr && row && container != nullptr) {
        if (endReason != host::UI_TextEdit::kEndCancelled) {
            RenameRow(row, edit->GetValue());
        }
        edit->SetVisible(false);
        for (host::UI_TextEdit* child : container->GetEditFields()) {
            if (child == edit) {
                container->RemoveEditField(edit);
                break;
            }
        }
    }
    mOwner.HoldChanges(false);
}

void InPlaceRename::RenameRow(const host::TreeRowPtr& row, const host::WideString& newName) {
    if (newName.empty() || !host::IsValidFileName(newName)) {
        ShowInvalidName();
        return;
    }
    const host::WideString path = mOwner.RenamedView().GetRowPath(row);
    if (path.empty() || !host::FileOrDirExists(path)) {
        return;
    }
    if (Utils::IsFolderItem(path)) {
        if (SameNameIgnoringCase(newName, DisplayNameOf(path))) {
            return;
        }
        const std::weak_ptr<host::MediaBrowserDirectoryView> view =
            mOwner.RenamedView().weak_from_this();
        host::CallAsyncOnMainThread(
            [this, view, path, newName] {
                if (const auto alive = view.lock()) {
                    RenameFolder(path, newName);
                }
            },
            kFolderRenameDelayMs);
        return;
    }
    if (SameNameIgnoringCase(newName, host::GetFilePart(host::ToNormalizedPath(path)))) {
        return;
    }
    RenameProject(path, newName);
}

void InPlaceRename::RenameFolder(const host::WideString& oldPath, const host::WideString& newName) {
    if (!host::IsTandrelManagerActive() || host::IsTheMvProductionTrashDirectory(oldPath)) {
        return;
    }
    // Another editor may have opened a project inside since the command was allowed: the
    // folder would take their lock away from their project.
    if (host::DoesDirectoryContainLockedProjects(host::ToUTF8(oldPath), true, true)) {
        host::ShowMessageBox(
            host::Localize(kFolderInUseTitleKey),
            host::Localize(kFolderInUseMessageKey, {host::ToUTF8(DisplayNameOf(oldPath))}), {},
            host::kWarningIcon, 0);
        return;
    }
    DirectoryViewStateData state = mOwner.StateNow();
    const bool watched = !host::DoesPathRequirePolling(oldPath);
    if (watched) {
        // Watches follow a folder's inode: the old tree lets go first.
        Utils::StopMonitoringTree(oldPath);
        std::this_thread::sleep_for(std::chrono::milliseconds(kFolderRenameDelayMs));
    }
    host::Directory folder(oldPath);
    try {
        folder.Rename(newName);
    } catch (const std::exception&) {
        // The tree keeps showing the folder under its old name; it is watched again.
        if (watched) {
            Utils::StartMonitoringTree(oldPath);
        }
        return;
    }
    const host::WideString newPath = folder.FullPath();
    RecordRename(oldPath, newPath);
    // Projects open from inside the folder now live there, with their locks.
    Utils::RelocateOpenProjects(host::StripTrailingSlash(oldPath), newPath);
    MoveFolderInState(state, oldPath, newPath);
    mOwner.PutBackOnceListed(std::move(state), newPath);
}

void InPlaceRename::RenameProject(const host::WideString& oldPath,
                                  const host::WideString& newName) {
    const host::WideString newPath = ProjectRenameTarget(oldPath, newName);
    if (newPath == oldPath) {
        return; // the name typed was the name it has, extension and all
    }
    // A project another editor has open keeps its name (the move would leave it be without a
    // word): the person who typed the name is told who has it.
    host::ByteString lockName;
    host::ByteString lockSecond;
    host::GetProjectLockingPrefs(lockName, lockSecond);
    if (const host::ProjectLockFilePtr lock =
            host::ReadProjectLockFile(host::ToUTF8(oldPath), lockName, lockSecond);
        lock && lock->GetOwnerName() != lockName) {
        host::ShowMessageBox(
            host::Localize(kFolderInUseTitleKey),
            host::Localize(kProjectInUseMessageKey,
                           {host::ToUTF8(DisplayNameOf(oldPath)), lock->GetOwnerName()}),
            {}, host::kWarningIcon, 0);
        return;
    }
    DirectoryViewStateData state = mOwner.StateNow();
    Utils::MoveProjectFile(oldPath, newPath);
    if (host::FileOrDirExists(newPath) && !host::FileOrDirExists(oldPath)) {
        RecordRename(oldPath, newPath);
        MoveProjectInState(state, oldPath, newPath);
        mOwner.PutBackOnceListed(std::move(state), newPath);
    }
}

} // namespace HandlerTandrel
