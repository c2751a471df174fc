#pragma once
// The path arithmetic of an in-place rename, apart from the tree and the disk.
#include "host/CoreTypes.h"
#include "state/TabViewStateData.h"

namespace HandlerTandrel {

// The extension of the last component with its dot (".mvproj"); empty when it has none.
// A leading dot (".hidden") is not an extension.
host::WideString ExtensionOf(const host::WideString& path);
// Where a project goes when renamed to newName: in the same folder, with the project's
// extension added unless the user typed it ("Scene 5" and "Scene 5.mvproj" both give
// ".../Scene 5.mvproj").
host::WideString ProjectRenameTarget(const host::WideString& oldPath,
                                     const host::WideString& newName);
// Whether two names differ at most in the case of the letters A to Z.
bool SameNameIgnoringCase(const host::WideString& a, const host::WideString& b);
// After a folder was renamed: the open folders, the selection and the top row that lay in it
// (or were it) now lie in the new folder. A sibling whose name starts with the old name
// ("Day 1 extra" beside "Day 1") is left alone.
void MoveFolderInState(DirectoryViewStateData& state, const host::WideString& oldFolder,
                       const host::WideString& newFolder);
// After a project was renamed: the selection and the top row follow it.
void MoveProjectInState(DirectoryViewStateData& state, const host::WideString& oldPath,
                        const host::WideString& newPath);

} // namespace HandlerTandrel
