#include "directoryview/TreeIntents.h"

#include "host/FileServices.h"
#include "host/MultiColumnTree.h"
#include "host/OpenProjects.h"
#include "host/UITimers.h"

namespace HandlerTandrel {

namespace {

host::WideString ParentOf(const host::WideString& path) {
    const host::WideString clean = host::StripTrailingSlash(path);
    const std::size_t slash = clean.find_last_of(u'/');
    return slash == host::WideString::npos || slash == 0 ? host::WideString(u"/")
                                                         : clean.substr(0, slash);
}

} // namespace

Intent IntentOfDoubleClick(RowKind row, std::uint32_t modifiers) {
    switch (row) {
    case RowKind::kFolder:
        return Intent::kToggleFolder;
    case RowKind::kProject:
        return (modifiers & host::kModifierAlternative) != 0 ? Intent::kOpenProjectAlternative
                                                             : Intent::kOpenProject;
    case RowKind::kGone:
    case RowKind::kProjectInTrash:
        break;
    }
    return Intent::kNothing;
}

std::optional<int> OpenModeOf(Intent intent) {
    switch (intent) {
    case Intent::kOpenProject:
        return host::kOpenModePlain;
    case Intent::kOpenProjectAlternative:
        return host::kOpenModeAlternative;
    default:
        return std::nullopt;
    }
}

Intent IntentOfKey(int keyCode, std::uint32_t modifiers, bool renameKey) {
    if (keyCode == host::KeyCodeOfLetter('A') && modifiers == host::kModifierControl) {
        return Intent::kSelectAll;
    }
    // A rename key is used up even when no row can be renamed: it never reaches the tree.
    return renameKey ? Intent::kStartRename : Intent::kLeaveToTree;
}

MenuSelection SelectionOfContextClick(bool onRow, bool rowSelected) {
    if (!onRow) {
        return MenuSelection::kClear;
    }
    return rowSelected ? MenuSelection::kKeep : MenuSelection::kOnlyThisRow;
}

host::WideString FolderOfDrop(const DropPlaceFacts& place) {
    if (!place.rowPath.empty()) {
        return place.rowIsFolder ? place.rowPath : ParentOf(place.rowPath);
    }
    if (!place.rowAfterGap.empty()) {
        return ParentOf(place.rowAfterGap);
    }
    return host::StripTrailingSlash(place.production);
}

} // namespace HandlerTandrel
