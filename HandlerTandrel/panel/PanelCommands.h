#pragma once
// The panel's commands, one record each: which command, what of the selection its rule reads,
// whether it is the panel's before the panel is made, the rule that enables it and the action
// that carries it out. A command without a record is the host's: its default status and action.
#include "host/CoreTypes.h"
#include "host/UIFramework.h"
#include "panel/SelectedItems.h"

#include <cstdint>
#include <span>
#include <vector>

namespace HandlerTandrel {

struct CommandFacts;
class TandrelTabView;

// What of the selection a command's rule reads. The main menu asks for its commands' status
// several times a second: a rule that cannot use the selection now is not given it.
enum class SelectionUse : std::uint8_t {
    kNone,                    // never
    kAlways,                  // always
    kWhileAProjectIsOpen,     // only while a project is open: the command is off otherwise
    kWhileTwoProjectsAreOpen, // only while two or more are
};

// Whose the command is before the panel is made with its children.
enum class Before : std::uint8_t {
    kPanelRules, // the panel's rule and action hold at any time
    kHostRules,  // until the panel is made, the host's default status and action hold
};

using SelectedPaths = std::vector<host::WideString>;
// Whether the command is enabled; may also set its menu text (status.label).
using StatusRule = bool (*)(const CommandFacts& facts, const SelectedItems& selected,
                            host::CommandStatus& status);
// Carries the command out; selected is empty for a command whose rule never reads it.
using CommandAction = void (*)(TandrelTabView& panel, const SelectedPaths& selected);

struct PanelCommand {
    host::CommandID id = 0;
    SelectionUse selection = SelectionUse::kAlways;
    Before before = Before::kPanelRules;
    StatusRule rule = nullptr;
    CommandAction action = nullptr;
};

// Every record: making items, the selected items, the production's, moving and zooming.
std::span<const PanelCommand> PanelCommands();
// The record of the command; null for the host's commands.
const PanelCommand* FindPanelCommand(host::CommandID id);
// Whether the command's rule reads the selection now, with the projects open now.
bool RuleReadsSelection(const PanelCommand& command);

} // namespace HandlerTandrel
