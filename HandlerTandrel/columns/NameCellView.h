#pragma once
// The Name cell of a production row: a small square picture (the folder icon, or a badge that
// says whether a project is open and who holds its lock) followed by the display name, in
// italics for an open read-only project that changed on disk. Its kind is decided once, when
// it is made; a change of state makes a new cell.
#include "host/CoreTypes.h"
#include "host/UINodes.h"

#include <memory>
#include <string_view>

namespace HandlerTandrel::Columns {

enum class NameCellKind {
    Folder,
    FolderUnreadable,
    Trash,
    ProjectClosedNoLock,
    ProjectClosedLocked,
    ProjectOpenNoLock,
    ProjectOpenLockedByOther,
    ProjectOpenEditable
};

// The kind of a path's cell from the project's open state and the two lock flags of its record;
// a folder whose content could not be read (unreadable) has a picture of its own.
NameCellKind NameCellKindOf(const host::WideString& path, bool lockOwnedByCurrentUser,
                            bool hasLockFile, bool unreadable = false);
// The icon set's badge for a kind; empty for a folder.
std::string_view BadgeResourceOf(NameCellKind kind);

class NameCellView : public host::UI_SubView {
public:
    // The picture's state flags get this bit when the cell supplies its picture.
    static constexpr std::uint32_t kCellPictureFlag = 4;
    // Below this width the name is hidden (the picture stays).
    static constexpr float kMinimumTextWidth = 10.0f;

    NameCellView(const host::WideString& path, bool lockOwnedByCurrentUser, bool hasLockFile,
                 bool unreadable = false);

    void BoundsChanged(const host::UI_Rect& bounds) override;

    NameCellKind GetKind() const { return mKind; }
    host::UI_StaticImage& Image() const;
    host::UI_StaticText& Text() const;
    // The width at the end of the cell that the name does not use (for the slow click), for
    // the last layout. The name is measured when this is asked, not on every layout.
    float GetTrailingWidth() const;

private:
    void SupplyPicture(host::UI_PictureRequest& request) const;

    NameCellKind mKind;
    host::UI_StaticImage* mImage = nullptr;
    host::UI_StaticText* mText = nullptr;
    std::shared_ptr<host::UI_ImageHandler> mBadge;
    float mTextAreaWidth = 0; // 0 while the name is hidden
    float mHiddenTrailingWidth = 0;
};

// The folder picture, asked of the host once and shared by every cell until the module goes.
const host::UI_Picture& SharedFolderPicture();
void ReleaseSharedFolderPicture();

} // namespace HandlerTandrel::Columns
