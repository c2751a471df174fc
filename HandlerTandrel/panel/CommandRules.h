#pragma once
// When each of the panel's commands is enabled, from what the panel shows: whether it is
// created, the selected paths of the view shown, and the open production. The rules look at
// the real folders, lock files and open projects through the host.
#include "host/CoreTypes.h"
#include "host/UIFramework.h"
#include "panel/PanelCommands.h"

#include <optional>
#include <vector>

namespace HandlerTandrel {

struct CommandFacts {
    bool created = false;        // the panel's tab view exists with its children
    SelectedPaths selected;      // the selected paths of the view shown
    host::WideString production; // the open production's folder; empty for none
    // Whether the selection may go to the trash, when the caller has decided it (false while
    // it is still being decided); unset, the rule tests the selection itself.
    std::optional<bool> movable = std::nullopt;
};

// Decides the status of a command the panel rules on and answers true; false leaves the
// command to the host's default (an id the panel has no record of, or a command that is the
// host's while the panel is not created). Never sets the checked flag. The lock toggle's menu
// text is set with its status.
bool DecideCommandStatus(host::CommandID id, const CommandFacts& facts,
                         host::CommandStatus& status);
// The same with the selected items given apart (facts.selected is not looked at): the panel
// reads a big selection per folder rather than as a list of paths.
bool DecideCommandStatus(host::CommandID id, const CommandFacts& facts,
                         const SelectedItems& selected, host::CommandStatus& status);

// The rules the commands' records name: whether a command is enabled.
namespace Rules {
// New Folder, New Project, Add Project: where the selection lets an item be made.
bool MakesItems(const CommandFacts& facts, const SelectedItems& selected,
                host::CommandStatus& status);
// Nothing selected is in the trash, held by another editor or holds their projects.
bool MovesToTrash(const CommandFacts& facts, const SelectedItems& selected,
                  host::CommandStatus& status);
bool AlwaysOn(const CommandFacts& facts, const SelectedItems& selected,
              host::CommandStatus& status);
// A selected project is closed.
bool OpensClosedProjects(const CommandFacts& facts, const SelectedItems& selected,
                         host::CommandStatus& status);
// A selected project is open.
bool ClosesOpenProjects(const CommandFacts& facts, const SelectedItems& selected,
                        host::CommandStatus& status);
// A selected project is open, and it is not the only open project.
bool ClosesSomeOfTheOpenProjects(const CommandFacts& facts, const SelectedItems& selected,
                                 host::CommandStatus& status);
// A selected project is open read-only and changed on disk since.
bool RefreshesOutOfDateProjects(const CommandFacts& facts, const SelectedItems& selected,
                                host::CommandStatus& status);
// One item is selected, and neither it nor anything in it is held by another editor.
bool RenamesOneFreeItem(const CommandFacts& facts, const SelectedItems& selected,
                        host::CommandStatus& status);
// Every selected item an open project, all in one mode; the menu text offers the other.
bool TogglesTheLock(const CommandFacts& facts, const SelectedItems& selected,
                    host::CommandStatus& status);
bool NeedsAProduction(const CommandFacts& facts, const SelectedItems& selected,
                      host::CommandStatus& status);
bool NeedsASelection(const CommandFacts& facts, const SelectedItems& selected,
                     host::CommandStatus& status);
// The production's open projects: one out of date, one that can be saved, any at all.
bool RefreshesTheProductionsOutOfDateProjects(const CommandFacts& facts,
                                              const SelectedItems& selected,
                                              host::CommandStatus& status);
bool SavesTheProductionsProjects(const CommandFacts& facts, const SelectedItems& selected,
                                 host::CommandStatus& status);
bool ClosesTheProductionsProjects(const CommandFacts& facts, const SelectedItems& selected,
                                  host::CommandStatus& status);
} // namespace Rules

} // namespace HandlerTandrel
