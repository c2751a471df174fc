#pragma once
// Moving production items: single moves on disk, project moves that take their locks and side
// data along, the production trash, and open projects that follow their folder.
#include "host/CoreTypes.h"
#include "host/FileServices.h"
#include "host/ProjectBackEnd.h"
#include "utils/OpenProjects.h"

#include <functional>
#include <optional>
#include <vector>

namespace HandlerTandrel::Utils {

// What a selection holds, as bits: kItemFile, kItemFolder, kItemTrashFolder, kItemInTrash.
enum ItemClass : int {
    kItemFile = 1,        // a project, or anything that is not a folder, outside the trash
    kItemFolder = 2,      // a folder outside the trash
    kItemTrashFolder = 4, // the production trash itself
    kItemInTrash = 8      // anything inside the trash
};
int ClassifyItems(const std::vector<host::WideString>& paths);

// Whether every item may go to the trash: none is in the trash already, none is a project
// locked by another user, and no folder holds a locked project. An empty list may not. work,
// when given, counts each item tested; stopped by the person, the answer is no.
bool CanMoveItems(const std::vector<host::WideString>& paths, host::ItemByItemWork* work = nullptr);

// What that test needs of the session, read on the main thread: the trash folder and who we
// lock as.
struct MoveTestContext {
    host::WideString trash; // empty while no production is open
    host::ByteString lockName;
    host::ByteString lockSecond;
};
MoveTestContext CurrentMoveTestContext();

// The same test with the session's part given, so that it may run on a worker thread: it
// only reads the file system. keepGoing, when given, is asked before each item; the test
// stops without an answer once it says no.
std::optional<bool> CanMoveItemsIn(const MoveTestContext& context,
                                   const std::vector<host::WideString>& paths,
                                   const std::function<bool()>& keepGoing = {});

// Closes the open projects among the items (asking to save; a cancel stops everything), then
// moves the items into the production trash, numbering names that are taken there.
// changes and applyToAll are passed on to closing the projects; work, when given, counts the
// items as they are moved (see CopyFiles).
void MoveToTrash(const std::vector<host::WideString>& paths, UnsavedChanges changes,
                 ApplyToAll applyToAll, host::ItemByItemWork* work = nullptr);

// One move on disk. The folder watch on a moving local folder is stopped first and given
// 100 ms to settle; a failure is traced and the watch restarted. True when it moved.
bool MoveFileOrFolder(const host::WideString& source, const host::WideString& destination);

// Moves a project with its locks and object-selection data; an open project follows it.
void MoveProjectFile(const host::WideString& source, const host::WideString& destination);

// After a folder moved: every open, writable project that was inside it now lives under the
// new folder, locked there. Read-only projects keep their old path.
void RelocateOpenProjects(const host::WideString& oldFolder, const host::WideString& newFolder);

// "Unable to Move Project" for the path, when the host has a workspace; traced either way.
void ShowMoveError(const host::WideString& path);

} // namespace HandlerTandrel::Utils
