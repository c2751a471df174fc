#include "columns/NameCellView.h"

#include "columns/DisplayName.h"
#include "columns/TuningValue.h"
#include "host/ApplicationLayer.h"
#include "host/FileServices.h"
#include "host/OpenProjects.h"
#include "host/ProjectBackEnd.h"
#include "host/UIToolkit.h"
#include "utils/ProjectLocks.h"

#include <algorithm>

namespace HandlerTandrel::Columns {

namespace {

const TuningValue gThumbFraction("Tandrel.Columns.Name.Thumb.Height.FractionOfRowHeight", 0.6f);
const TuningValue gThumbSpacing("Tandrel.Columns.Name.SpaceBetweenThumbAndName", 10.0f);
const TuningValue gFontFraction("Tandrel.FontSize.FractionOfCellHeight", 0.5f);

host::UI_Picture& FolderPictureSlot() {
    static host::UI_Picture picture;
    return picture;
}

// Whether a folder's row is the production's trash. A cell is made at every paint of its row, and
// comparing whole paths resolves links on disk (on a share, round trips for each folder row
// shown): only a folder with the trash's own name is compared.
bool IsTheTrash(const host::WideString& path) {
    const host::WideString trash = host::GetMvProductionTrashDirectoryPath();
    return !trash.empty() && host::GetPathFileName(path) == host::GetPathFileName(trash) &&
           host::IsTheMvProductionTrashDirectory(path);
}

} // namespace

const host::UI_Picture& SharedFolderPicture() {
    host::UI_Picture& picture = FolderPictureSlot();
    if (!picture) {
        picture = host::GetGenericFolderIcon(256, 256);
    }
    return picture;
}

void ReleaseSharedFolderPicture() {
    FolderPictureSlot().reset();
}

NameCellKind NameCellKindOf(const host::WideString& path, bool lockOwnedByCurrentUser,
                            bool hasLockFile, bool unreadable) {
    if (path.empty()) {
        return NameCellKind::Folder;
    }
    const host::ByteString utf8 = host::ToUTF8(path);
    if (!host::IsMarvaneProjectFile(utf8)) {
        if (IsTheTrash(path)) {
            return NameCellKind::Trash;
        }
        return unreadable ? NameCellKind::FolderUnreadable : NameCellKind::Folder;
    }
    if (!host::FindOpenProject(utf8)) {
        return hasLockFile ? NameCellKind::ProjectClosedLocked : NameCellKind::ProjectClosedNoLock;
    }
    if (!hasLockFile) {
        return NameCellKind::ProjectOpenNoLock;
    }
    return lockOwnedByCurrentUser ? NameCellKind::ProjectOpenEditable
                                  : NameCellKind::ProjectOpenLockedByOther;
}

std::string_view BadgeResourceOf(NameCellKind kind) {
    switch (kind) {
    case NameCellKind::Folder:
        return {};
    case NameCellKind::FolderUnreadable:
        return "kMvProductionPanelFolderUnreadableDecal";
    case NameCellKind::Trash:
        return "kHistoryActionDeleteDecal";
    case NameCellKind::ProjectClosedNoLock:
        return "kMvProductionPanelProjectClosedNoLockDecal";
    case NameCellKind::ProjectClosedLocked:
        return "kMvProductionPanelProjectClosedLockedDecal";
    case NameCellKind::ProjectOpenNoLock:
        return "kMvProductionPanelProjectOpenNoLockDecal";
    case NameCellKind::ProjectOpenLockedByOther:
        return "kMvProductionPanelProjectOpenLockedDecal";
    case NameCellKind::ProjectOpenEditable:
        return "kMvProductionPanelProjectOpenEditableDecal";
    }
    return {};
}

NameCellView::NameCellView(const host::WideString& path, bool lockOwnedByCurrentUser,
                           bool hasLockFile, bool unreadable)
    : mKind(NameCellKindOf(path, lockOwnedByCurrentUser, hasLockFile, unreadable)) {
    const host::WideString name = DisplayNameOf(path);
    SetNodeID("Tandrel.NameCellView." + host::ToUTF8(path));
    if (const std::string_view badge = BadgeResourceOf(mKind); !badge.empty()) {
        mBadge = host::MakeIconSetImageHandler(host::ByteString(badge));
    } else {
        SharedFolderPicture();
    }
    auto image = std::make_unique<host::UI_StaticImage>();
    image->SetPictureSupplier([this](host::UI_PictureRequest& request) { SupplyPicture(request); });
    mImage = image.get();
    ChildPushBack(std::move(image));
    auto text = std::make_unique<host::UI_StaticText>();
    text->SetValue(name);
    if (Utils::IsOpenReadOnlyAndOutOfDate(path)) {
        text->SetFontStyle("Italic");
    }
    mText = text.get();
    ChildPushBack(std::move(text));
}

host::UI_StaticImage& NameCellView::Image() const {
    if (mImage == nullptr) {
        throw host::NullPointerException("UI_StaticImage");
    }
    return *mImage;
}

host::UI_StaticText& NameCellView::Text() const {
    if (mText == nullptr) {
        throw host::NullPointerException("UI_StaticText");
    }
    return *mText;
}

void NameCellView::SupplyPicture(host::UI_PictureRequest& request) const {
    request.stateFlags |= kCellPictureFlag;
    if (mBadge) {
        mBadge->Answer(request);
    } else {
        request.picture = SharedFolderPicture();
    }
}

void NameCellView::BoundsChanged(const host::UI_Rect& bounds) {
    SetBounds(bounds);
    const float side = gThumbFraction.Get() * bounds.height;
    // The picture is centred from the cell's own origin, not from its top.
    Image().SetBounds({bounds.left, (bounds.height - side) * 0.5f, side, side});
    host::UI_StaticText& text = Text();
    const float spacing = gThumbSpacing.Get();
    const float textLeft = bounds.left + side + spacing;
    const float textWidth = bounds.width - (spacing + side + bounds.left);
    if (textWidth < kMinimumTextWidth) {
        // Only the picture is shown: everything after it is unused.
        text.SetVisible(false);
        mTextAreaWidth = 0;
        mHiddenTrailingWidth = std::max(0.0f, bounds.width - (bounds.left + side));
        return;
    }
    text.SetBounds({textLeft, bounds.top, textWidth, bounds.height});
    text.SetFontSize(gFontFraction.Get() * bounds.height);
    text.SetVisible(true);
    mTextAreaWidth = textWidth;
}

float NameCellView::GetTrailingWidth() const {
    if (mTextAreaWidth <= 0) {
        return mHiddenTrailingWidth;
    }
    // A name shorter than its area leaves the rest of the cell unused; a long one is cut to
    // fit and leaves nothing.
    const float nameWidth = Text().MeasureValueWidth();
    return nameWidth < 0 ? 0.0f : std::max(0.0f, mTextAreaWidth - nameWidth);
}

} // namespace HandlerTandrel::Columns
