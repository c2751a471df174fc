#pragma once
// Renaming a row in place: an edit field over the name, and, when the edit ends, the folder
// renamed (a moment later, on the main thread) or the project moved with its lock. A
// collaborator of the directory view, which it asks through Owner.
#include "host/MediaBrowser.h"
#include "host/MultiColumnTree.h"
#include "host/UITextEdit.h"
#include "state/TabViewStateData.h"

namespace HandlerTandrel {

class InPlaceRename {
public:
    // What the rename needs of the view that holds it.
    class Owner {
    public:
        // The view: its tree, its rows' paths, and whether it is still alive.
        virtual host::MediaBrowserDirectoryView& RenamedView() = 0;
        // Changes on disk wait while a name is edited and its rename runs.
        virtual void HoldChanges(bool hold) = 0;
        // The keys that start a rename are off while a name is edited.
        virtual void EnableRenameKeys(bool enabled) = 0;
        // The view's state now, and the state to put back once the renamed item is listed.
        virtual DirectoryViewStateData StateNow() const = 0;
        virtual void PutBackOnceListed(DirectoryViewStateData state,
                                       const host::WideString& renamedPath) = 0;

    protected:
        ~Owner() = default;
    };

    explicit InPlaceRename(Owner& owner) : mOwner(owner) {}
    InPlaceRename(const InPlaceRename&) = delete;
    InPlaceRename& operator=(const InPlaceRename&) = delete;

    // Lays an edit field over the row's name, its display name in it and selected, and holds
    // back changes on disk until the edit ends. Nothing without a production, a row or a name
    // cell, for the trash, or while another name is edited.
    void Begin(const host::TreeRowPtr& row);
    // The edit ended (reason: UI_TextEdit's end values; cancelled renames nothing). A valid new
    // name renames the folder (queued on the main thread) or moves the project with its lock;
    // an invalid one is refused with a message. The field goes, held-back changes are applied.
    // A completion that arrives while one runs, anywhere in the module, is ignored.
    void Complete(const host::TreeRowPtr& row, host::UI_MultiColumnTree* container, int endReason,
                  host::UI_TextEdit* edit);

private:
    host::UI_Rect NameEditFrame(const host::TreeRowPtr& row);
    void RenameRow(const host::TreeRowPtr& row, const host::WideString& newName);
    void RenameFolder(const host::WideString& oldPath, const host::WideString& newName);
    void RenameProject(const host::WideString& oldPath, const host::WideString& newName);

    Owner& mOwner;
};

} // namespace HandlerTandrel
