#pragma once
// What the person's clicks, keys and drops on the tree ask for. The view says what happened
// and what lies under the pointer; these answer with an intent, which the view carries out.
// Plain decisions: nothing here reads the disk or touches the tree.
#include "host/CoreTypes.h"

#include <cstdint>
#include <optional>

namespace HandlerTandrel {

// What a row is, as far as an intent depends on it.
enum class RowKind : std::uint8_t {
    kGone,           // no row, or its item is no longer on disk
    kFolder,         // a folder (a project stored as a folder is a project)
    kProject,        // a project outside the production's trash
    kProjectInTrash, // a project in the trash: shown, never opened from there
};

enum class Intent : std::uint8_t {
    kNothing,
    kToggleFolder,           // open or close the folder's row
    kOpenProject,            // open the project
    kOpenProjectAlternative, // open it in the alternative way (the modifier held)
    kSelectAll,              // select every row but the trash and what it holds
    kStartRename,            // edit the name of the one selected row, when it can be seen
    kLeaveToTree,            // the tree's own keys (moving, typing to find)
};

// A double-click on a row, with the modifiers held.
Intent IntentOfDoubleClick(RowKind row, std::uint32_t modifiers);
// The host's opening mode for an intent to open a project; nothing for any other intent.
std::optional<int> OpenModeOf(Intent intent);

// A key going down; renameKey: the rename trigger takes it for one of its keys.
Intent IntentOfKey(int keyCode, std::uint32_t modifiers, bool renameKey);

// What a right-click does to the selection before its menu shows.
enum class MenuSelection : std::uint8_t {
    kClear,       // on no row: nothing is selected, the menu is the one for no selection
    kOnlyThisRow, // on a row outside the selection: that row alone becomes the selection
    kKeep,        // on a selected row: the menu is for the whole selection
};
MenuSelection SelectionOfContextClick(bool onRow, bool rowSelected);

// Where a drop lands, as the tree reports it, with what its rows are.
struct DropPlaceFacts {
    host::WideString production;  // the production's folder
    host::WideString rowPath;     // the row under the pointer; empty for none
    bool rowIsFolder = false;     // whether that row is a folder
    host::WideString rowAfterGap; // between two rows: the row after the gap
};
// The folder a drop there puts items into: a folder row itself; beside a project, among the
// rows after a gap, the folder that holds them; below the last row, the production.
host::WideString FolderOfDrop(const DropPlaceFacts& place);

} // namespace HandlerTandrel
