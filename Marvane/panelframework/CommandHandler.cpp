// A link of the command chain declines every command unless it says otherwise. Handlers (here)
// and tab views (in the window framework above) are links, so the defaults live at the lower of
// the two layers.
#include "host/UIFramework.h"

namespace host {

bool CommandHandler::FindCommandStatus(const Command&, CommandStatus&) {
    return false;
}

bool CommandHandler::ObeyCommand(const Command&) {
    return false;
}

} // namespace host
