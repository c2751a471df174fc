#pragma once
// The host's handler of the Production panel: registers the panel's window and menu, makes
// its tab view on request, owns the saved panel states, and brings the panel forward when a
// production opens or the last project of an open production closes.
#include "handler/ProductionSettingsStore.h"
#include "host/Messaging.h"
#include "host/PanelFramework.h"

#include <memory>

namespace HandlerTandrel {

class TandrelTabView;

class TandrelHandler : public host::Handler, public host::Listener {
public:
    TandrelHandler();
    ~TandrelHandler() override;

    bool FindCommandStatus(const host::Command& command, host::CommandStatus& status) override;
    bool ObeyCommand(const host::Command& command) override;

    std::shared_ptr<host::TabView> CreateTabView(host::Window* parent) override;
    bool CanFloat() const override;

    void PostSharedPtrInit() override;
    void ReceiveMessage(const host::Message& message) override;

    void ShowProductionPanel();

    ProductionSettingsStore& GetSettingsStore() { return mSettingsStore; }
    std::shared_ptr<TandrelTabView> GetTabView() const { return mTabView; }

private:
    std::shared_ptr<TandrelTabView> mTabView;
    ProductionSettingsStore mSettingsStore;
};

// The live Production panel handler, or empty when the host has none.
std::shared_ptr<TandrelHandler> FindTandrelHandler();

// The open production's folder, or empty when no production is open.
host::WideString GetTandrelManagerFolderPath();

} // namespace HandlerTandrel
