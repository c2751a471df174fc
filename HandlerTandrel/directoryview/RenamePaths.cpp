#include "directoryview/RenamePaths.h"

#include "host/FileServices.h"
#include "utils/CopyFiles.h"

namespace HandlerTandrel {

namespace {

void MovePath(host::WideString& path, const host::WideString& oldFolder,
              const host::WideString& newFolder) {
    if (path == oldFolder) {
        path = newFolder;
        return;
    }
    const host::WideString prefix = oldFolder + u"/";
    if (path.compare(0, prefix.size(), prefix) == 0) {
        path = newFolder + path.substr(oldFolder.size());
    }
}

void MoveAll(DirectoryViewStateData& state, const host::WideString& from,
             const host::WideString& to) {
    const host::WideString oldFolder = host::StripTrailingSlash(from);
    const host::WideString newFolder = host::StripTrailingSlash(to);
    for (host::WideString& path : state.mOpenFolderPaths) {
        MovePath(path, oldFolder, newFolder);
    }
    for (host::WideString& path : state.mSelectedRowPaths) {
        MovePath(path, oldFolder, newFolder);
    }
    MovePath(state.mTopVisibleRowPath, oldFolder, newFolder);
}

} // namespace

host::WideString ExtensionOf(const host::WideString& path) {
    const host::WideString name = host::GetFullFilePart(path);
    const std::size_t dot = name.find_last_of(u'.');
    return dot == host::WideString::npos || dot == 0 ? host::WideString() : name.substr(dot);
}

host::WideString ProjectRenameTarget(const host::WideString& oldPath,
                                     const host::WideString& newName) {
    const host::WideString clean = host::StripTrailingSlash(oldPath);
    const host::WideString extension = ExtensionOf(clean);
    const host::WideString name = ExtensionOf(newName) == extension ? newName : newName + extension;
    const std::size_t slash = clean.find_last_of(u'/');
    const host::WideString folder =
        slash == host::WideString::npos ? host::WideString() : clean.substr(0, slash + 1);
    return folder + name;
}

bool SameNameIgnoringCase(const host::WideString& a, const host::WideString& b) {
    return Utils::EqualsIgnoringAsciiCase(a, b);
}

void MoveFolderInState(DirectoryViewStateData& state, const host::WideString& oldFolder,
                       const host::WideString& newFolder) {
    MoveAll(state, oldFolder, newFolder);
}

void MoveProjectInState(DirectoryViewStateData& state, const host::WideString& oldPath,
                        const host::WideString& newPath) {
    // A project stored as a folder holds files, never rows: the same replacement serves.
    MoveAll(state, oldPath, newPath);
}

} // namespace HandlerTandrel
