#pragma once
// Every command the Production panel understands, in the order it declares them.
#include "host/UIFramework.h"

#include <array>
#include <string_view>

namespace HandlerTandrel {

enum ProductionCommandID : host::CommandID {
    kCmdNewFolder = 30007, // the media browser's own id
    kCmdNewProject = 30303,
    kCmdAddProject = 30304,
    kCmdOpenProject = 30305,
    kCmdCloseProject = 30306,
    kCmdRefreshProject = 30307,
    kCmdRenameItem = 30308,
    kCmdRevealRootInSystem = 30309,
    kCmdRevealItemInSystem = 30310,
    kCmdToggleLock = 30311,
    kCmdToggleShowPath = 30312,
    kCmdMoveHome = 30313,
    kCmdMoveEnd = 30314,
    kCmdMovePageDown = 30315,
    kCmdMovePageUp = 30316,
    // 30317 is unused and stays so: menus and shortcuts already refer to the numbers.
    kCmdRenameProduction = 30318,
    kCmdMakeACopy = 30319,
    kCmdRefreshAllProjects = 30320,
    kCmdSaveAllProjects = 30321,
    kCmdCloseAllProjects = 30322,
    kCmdZoomIn = 30323,
    kCmdZoomOut = 30324,
    kCmdMoveToTrash = 30325,
};

// Commands of the host that the panel answers while it has the focus: the File menu's close
// (the selected open projects), and the Edit menu's Select All and Deselect All.
enum HostCommandAnswered : host::CommandID {
    kHostCmdCloseProjects = 11215,
    kHostCmdSelectAll = 57642,
    kHostCmdDeselectAll = 11303,
};

struct ProductionCommand {
    std::string_view name;
    host::CommandID id;
    host::CommandKind kind;
    std::string_view label; // empty for menu-text commands
};

inline constexpr std::size_t kProductionCommandCount = 23;

const std::array<ProductionCommand, kProductionCommandCount>& ProductionCommandTable();

// Declares the "mvproduction" context and all its commands. The host calls it through
// RegisterCommandContext; calling it again declares the same commands again, in place.
void DeclareProductionCommands(host::ShortcutManager& shortcutManager);

} // namespace HandlerTandrel
