#include "Marvane/uiframework/CommandDispatch.h"

#include "host/ExceptionLog.h"
#include "host/PanelFramework.h"

namespace host {

CommandDispatcher& CommandDispatcher::Instance() {
    static CommandDispatcher dispatcher;
    return dispatcher;
}

std::vector<CommandHandler*>
CommandDispatcher::Chain(std::shared_ptr<TabView>& tabHolder,
                         std::shared_ptr<CommandHandler>& handlerHolder) const {
    std::vector<CommandHandler*> chain;
    tabHolder = mFocusedTabView.lock();
    if (tabHolder) {
        chain.push_back(tabHolder.get());
        handlerHolder = Handler::FindHandler(tabHolder->GetHandlerID());
        if (handlerHolder) {
            chain.push_back(handlerHolder.get());
        }
    }
    if (mApplicationHandler != nullptr) {
        chain.push_back(mApplicationHandler);
    }
    return chain;
}

CommandStatus CommandDispatcher::FindStatus(CommandID id) const {
    CommandStatus status;
    const CommandDeclaration* declaration = ShortcutManager::Instance().FindCommand(id);
    if (declaration == nullptr) {
        return status;
    }
    const Command command{id, declaration->name};
    std::shared_ptr<TabView> tabHolder;
    std::shared_ptr<CommandHandler> handlerHolder;
    try {
        for (CommandHandler* link : Chain(tabHolder, handlerHolder)) {
            if (link->FindCommandStatus(command, status)) {
                return status;
            }
        }
    } catch (const std::exception& error) {
        LogException("host::CommandDispatcher::FindStatus", error);
    } catch (...) {
        LogUnknownException("host::CommandDispatcher::FindStatus");
    }
    return CommandStatus{};
}

bool CommandDispatcher::Obey(CommandID id) const {
    const CommandDeclaration* declaration = ShortcutManager::Instance().FindCommand(id);
    if (declaration == nullptr) {
        return false;
    }
    const Command command{id, declaration->name};
    std::shared_ptr<TabView> tabHolder;
    std::shared_ptr<CommandHandler> handlerHolder;
    try {
        for (CommandHandler* link : Chain(tabHolder, handlerHolder)) {
            if (link->ObeyCommand(command)) {
                return true;
            }
        }
    } catch (const std::exception& error) {
        LogException("host::CommandDispatcher::Obey", error);
    } catch (...) {
        LogUnknownException("host::CommandDispatcher::Obey");
    }
    return false;
}

} // namespace host
