#pragma once
// The host's own commands (context "global") and the handler at the end of every command
// chain that carries them out.
#include "host/UIFramework.h"

#include <functional>

namespace host {

enum HostCommandID : CommandID {
    kCmdOpenProduction = 1001,
    kCmdCloseProduction = 1002,
    kCmdQuit = 1003,
    kCmdOpenProject = 1004,
    kCmdSaveProject = 1005,
    kCmdCloseProject = 1006,
    kCmdCut = 1101,
    kCmdCopy = 1102,
    kCmdPaste = 1103,
    kCmdRestoreFromTrash = 1104,
    kCmdEmptyTrash = 1105,
    kCmdUndo = 1106,
    kCmdRedo = 1107,
    // Answered by the focused panel; the host itself does nothing with them.
    kCmdSelectAll = 57642,
    kCmdDeselectAll = 11303,
    kCmdCloseSelectedProjects = 11215,
    kCmdAbout = 1301,
};

void DeclareHostCommands(ShortcutManager& shortcutManager);

class HostCommandHandler : public CommandHandler {
public:
    struct Actions {
        std::function<void()> openProduction;
        std::function<void()> closeProduction;
        std::function<void()> quit;
        std::function<void()> about;
        std::function<void()> openProject;
        std::function<void()> saveProject;
        std::function<void()> closeProject;
    };
    explicit HostCommandHandler(Actions actions) : mActions(std::move(actions)) {}

    bool FindCommandStatus(const Command& command, CommandStatus& status) override;
    bool ObeyCommand(const Command& command) override;

private:
    Actions mActions;
};

} // namespace host
