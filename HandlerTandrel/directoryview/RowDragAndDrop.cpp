#include "directoryview/RowDragAndDrop.h"

#include "base/TandrelIDs.h"
#include "directoryview/TreeIntents.h"
#include "host/ApplicationLayer.h"
#include "host/FileServices.h"
#include "host/Localizer.h"
#include "host/OpenProjects.h"
#include "host/ProjectBackEnd.h"
#include "host/UIFramework.h"
#include "utils/AddProjects.h"
#include "utils/CopyFiles.h"
#include "utils/MoveItems.h"
#include "utils/ProductionItems.h"
#include "utils/ProjectLocks.h"

#include <algorithm>

namespace HandlerTandrel {

namespace {

constexpr std::string_view kOnlyProjectsTitleKey =
    "$$$/Marvane/Handlers/MvProductionFolder/CanOnlyDropProjectsTitle=Can Only Drop Projects";
constexpr std::string_view kOnlyProjectsMessageKey =
    "$$$/Marvane/Handlers/MvProductionFolder/CanOnlyDropProjectsMessage=You can only drop "
    "projects into this panel.";

// Copy and move.
constexpr std::uint32_t kRowDragActions = host::kDropActionCopy | host::kDropActionMove;

bool AllSupportedProjects(const std::vector<host::WideString>& files) {
    return std::all_of(files.begin(), files.end(), [](const host::WideString& file) {
        return host::ProductionSupportsMarvaneProjectFile(file);
    });
}

// Whether `row` lies somewhere below `folder`.
bool IsADescendent(const host::UI_TreeRow* row, const host::UI_TreeRow* folder) {
    for (const host::UI_TreeRow* up = row != nullptr ? row->GetParent() : nullptr; up != nullptr;
         up = up->GetParent()) {
        if (up == folder) {
            return true;
        }
    }
    return false;
}

void Answer(host::DropRequest& request, bool accepted, std::uint32_t action) {
    request.accepted = accepted;
    request.action = accepted ? action : host::kDropActionNone;
    request.cursor = !accepted                         ? host::DragCursor::FistNo
                     : action == host::kDropActionCopy ? host::DragCursor::FistAdd
                                                       : host::DragCursor::Fist;
}

} // namespace

void RowDragAndDrop::Install() {
    host::UI_MultiColumnTree& tree = mView.GetTree();
    tree.SetDragStartCallback([this](const std::vector<host::TreeRowPtr>& rows,
                                     host::SendData& data) { StartRowDrag(rows, data); });
    tree.SetDropCallback(
        [this](host::DropRequest& request, const host::UI_MultiColumnTree::DropPlace& place) {
            AnswerDrop(request, ResolveDropTarget(place));
        });
}

void RowDragAndDrop::StartRowDrag(const std::vector<host::TreeRowPtr>& rows, host::SendData& data) {
    if (rows.empty()) {
        return;
    }
    data.AddBytes(host::ByteString(kRowDragType), BeginRowDrag(rows));
    data.RunDrag(kRowDragActions);
    EndRowDrag();
}

std::vector<std::uint8_t> RowDragAndDrop::BeginRowDrag(const std::vector<host::TreeRowPtr>& rows) {
    mDragged.Start(rows);
    return EncodeRowPayload(rows);
}

std::optional<std::vector<host::TreeRowPtr>>
RowDragAndDrop::DraggedRowsOf(const host::DropData& data) const {
    if (!data.HasType(host::ByteString(kRowDragType))) {
        return std::nullopt;
    }
    return mDragged.Resolve(data.GetBytes(host::ByteString(kRowDragType)));
}

DropTarget
RowDragAndDrop::ResolveDropTarget(const host::UI_MultiColumnTree::DropPlace& place) const {
    DropPlaceFacts facts;
    facts.production = mView.GetRootPath();
    if (place.row) {
        facts.rowPath = mView.GetRowPath(place.row);
        facts.rowIsFolder = Utils::IsFolderItem(facts.rowPath);
    } else if (place.betweenRows && place.rowAfterGap) {
        facts.rowAfterGap = mView.GetRowPath(place.rowAfterGap);
    }
    DropTarget target;
    target.row = place.row;
    target.folder = FolderOfDrop(facts);
    target.path = facts.rowPath.empty() ? target.folder : facts.rowPath;
    if (facts.rowIsFolder) {
        target.folderRow = place.row;
    } else if (host::StripTrailingSlash(target.folder) !=
               host::StripTrailingSlash(facts.production)) {
        target.folderRow = mView.GetRowForPath(target.folder);
    }
    return target;
}

bool RowDragAndDrop::RowsMayMove(const std::vector<host::TreeRowPtr>& rows) const {
    for (const host::TreeRowPtr& row : rows) {
        const host::WideString path = mView.GetRowPath(row);
        if (host::ProductionSupportsMarvaneProjectFile(path) && Utils::IsLockedByOtherUser(path)) {
            return false;
        }
        if (host::DoesDirectoryContainLockedProjects(host::ToUTF8(path), true, true) ||
            host::IsTheMvProductionTrashDirectory(path)) {
            return false;
        }
    }
    return true;
}

bool RowDragAndDrop::CanDropRows(const std::vector<host::TreeRowPtr>& rows,
                                 const DropTarget& target, bool freshLocks) const {
    bool mayMove = false;
    if (!freshLocks && mDragged.MayMove()) {
        mayMove = *mDragged.MayMove();
    } else {
        mayMove = RowsMayMove(rows);
        if (mDragged.IsDragging()) {
            mDragged.RememberMayMove(mayMove);
        }
    }
    if (!mayMove) {
        return false;
    }
    for (const host::TreeRowPtr& row : rows) {
        const host::UI_TreeRow* folder = target.folderRow.get();
        if (row.get() == folder || IsADescendent(folder, row.get()) || row->GetParent() == folder) {
            return false;
        }
    }
    return true;
}

void RowDragAndDrop::AnswerDrop(host::DropRequest& request, const DropTarget& target) {
    Answer(request, false, host::kDropActionNone);
    if (request.isDrop) {
        mView.GetTree().ShowDragFeedback(false);
        CarryOutDrop(request, target);
        return;
    }
    const host::DropData& data = request.data;
    if (data.HasType(host::ByteString(kRowDragType))) {
        const auto rows = DraggedRowsOf(data);
        Answer(request, rows && CanDropRows(*rows, target, false), host::kDropActionMove);
    } else if (data.HasType(host::kFilesType)) {
        const std::vector<host::WideString> files = data.GetFiles();
        Answer(request,
               host::IsTandrelManagerActive() && !files.empty() && AllSupportedProjects(files),
               host::kDropActionCopy);
    } else if (data.HasType(host::kDataTypeName_ProjectItem)) {
        AnswerProjectItems(request, target);
    }
    mView.GetTree().ShowDragFeedback(request.accepted);
}

void RowDragAndDrop::AnswerProjectItems(host::DropRequest& request,
                                        const DropTarget& target) const {
    host::DraggedProjectItems items;
    if (!host::GetDraggedProjectItems(request.data, items) || items.IsEmpty() || !target.row) {
        return;
    }
    const host::ProjectPtr project = host::FindOpenProject(host::ToUTF8(target.path));
    if (!project || host::GetIsReadOnly(project) || !host::CanAddProjectItems(items, project)) {
        return;
    }
    if ((host::GetCurrentModKeys() & host::kModKeyCopy) != 0) {
        Answer(request, true, host::kDropActionCopy);
        return;
    }
    const host::ProjectPtr parent = host::FindOpenProject(items.projectPath);
    Answer(request, !parent || !host::GetIsReadOnly(parent), host::kDropActionMove);
}

void RowDragAndDrop::CarryOutDrop(host::DropRequest& request, const DropTarget& target) {
    const host::DropData& data = request.data;
    if (data.HasType(host::ByteString(kRowDragType))) {
        const auto rows = DraggedRowsOf(data);
        if (!rows || !CanDropRows(*rows, target)) {
            return;
        }
        std::vector<host::WideString> paths;
        for (const host::TreeRowPtr& row : *rows) {
            paths.push_back(mView.GetRowPath(row));
        }
        // Reported before the move: moving may show questions and messages of its own.
        Answer(request, true, host::kDropActionMove);
        if (host::IsTheMvProductionTrashDirectory(target.folder)) {
            Utils::MoveToTrash(paths, Utils::UnsavedChanges::kAsk, Utils::ApplyToAll::kOffer);
        } else if (!paths.empty()) {
            Utils::CopyFiles(paths, target.folder, Utils::Transfer::kMove,
                             Utils::TakenName::kRefuse);
        }
        return;
    }
    if (data.HasType(host::kFilesType)) {
        const std::vector<host::WideString> files = data.GetFiles();
        const bool projects = !files.empty() && AllSupportedProjects(files);
        if (projects && host::IsTandrelManagerActive()) {
            Answer(request, true, host::kDropActionCopy);
            Utils::AddProjectsToProduction(files, target.folder);
        } else if (!projects) {
            host::ShowMessageBox(host::Localize(kOnlyProjectsTitleKey),
                                 host::Localize(kOnlyProjectsMessageKey), {}, host::kWarningIcon,
                                 0);
        }
        return;
    }
    if (data.HasType(host::kDataTypeName_ProjectItem)) {
        AnswerProjectItems(request, target);
        if (!request.accepted) {
            return;
        }
        host::DraggedProjectItems items;
        host::GetDraggedProjectItems(data, items);
        const host::ProjectPtr project = host::FindOpenProject(host::ToUTF8(target.path));
        const host::ItemsLeaveTheirProject leave = request.action == host::kDropActionMove
                                                       ? host::ItemsLeaveTheirProject::kYes
                                                       : host::ItemsLeaveTheirProject::kNo;
        if (!host::CopySelection(items, project, leave)) {
            Answer(request, false, host::kDropActionNone);
        }
    }
}

} // namespace HandlerTandrel
