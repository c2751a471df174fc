#pragma once
// The command chain: the focused panel's tab view, then its handler, then the host
// application's own handler. Main thread only.
#include "host/UIFramework.h"

#include <memory>
#include <vector>

namespace host {

class CommandDispatcher {
public:
    static CommandDispatcher& Instance();

    // The host's own handler, at the end of every chain.
    void SetApplicationHandler(CommandHandler* handler) { mApplicationHandler = handler; }
    // The tab view whose panel has focus (held weakly).
    void SetFocusedTabView(const std::shared_ptr<TabView>& tabView) { mFocusedTabView = tabView; }
    std::shared_ptr<TabView> GetFocusedTabView() const { return mFocusedTabView.lock(); }

    // The status of a declared command; disabled when nobody in the chain decides it.
    CommandStatus FindStatus(CommandID id) const;
    // Carries the command out; false when nobody in the chain handled it.
    bool Obey(CommandID id) const;

private:
    std::vector<CommandHandler*> Chain(std::shared_ptr<TabView>& tabHolder,
                                       std::shared_ptr<CommandHandler>& handlerHolder) const;

    CommandHandler* mApplicationHandler = nullptr;
    std::weak_ptr<TabView> mFocusedTabView;
};

} // namespace host
