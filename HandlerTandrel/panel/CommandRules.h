#pragma once
// When each of the panel's commands is enabled, from what the panel shows: whether it is
// created, the selected paths of the view shown, and the open production. The rules look at
// the real folders, lock files and open projects through the host.
#include "host/CoreTypes.h"
#include "host/UIFramework.h"

#include <optional>
#include <vector>

namespace HandlerTandrel {

struct CommandFacts {
    bool created = false;                   // the panel's tab view exists with its children
    std::vector<host::WideString> selected; // the selected paths of the view shown
    host::WideString production;            // the open production's folder; empty for none
    // Whether the selection may go to the trash, when the caller has decided it (false while
    // it is still being decided); unset, the rule tests the selection itself.
    std::optional<bool> movable = std::nullopt;
};

// Decides the status of a command the panel rules on and answers true; false leaves the
// command to the host's default (an id the panel does not rule on, or a rule that says
// "default" while the panel is not created). Never sets the checked flag. The lock toggle's
// menu text is set with its status.
bool DecideCommandStatus(host::CommandID id, const CommandFacts& facts,
                         host::CommandStatus& status);
// The same with the selected paths given apart (facts.selected is not looked at): a caller
// that keeps a big selection's paths need not copy them for each command.
bool DecideCommandStatus(host::CommandID id, const CommandFacts& facts,
                         const std::vector<host::WideString>& selected,
                         host::CommandStatus& status);
// Whether the command's rule reads the selected paths at all now: commands about open
// projects do not while too few projects are open to change the answer.
bool RuleReadsSelection(host::CommandID id);

} // namespace HandlerTandrel
