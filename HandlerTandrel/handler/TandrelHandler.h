#pragma once
// The host's handler of the Production panel: registers the panel's window and menu, makes
// its tab view on request, owns the saved panel states, and brings the panel forward when a
// production opens or the last project of an open production closes.
#include "host/Messaging.h"
#include "host/PanelFramework.h"
#include "state/ProductionSettingsStore.h"

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

    ProductionSettingsStore& GetSettingsStore() { return *mSettingsStore; }
    std::shared_ptr<TandrelTabView> GetTabView() const { return mTabView; }

private:
    std::shared_ptr<TandrelTabView> mTabView;
    // Shared with the panel it makes, which keeps each production's state there.
    const std::shared_ptr<ProductionSettingsStore> mSettingsStore =
        std::make_shared<ProductionSettingsStore>();
};

// The live Production panel handler, or empty when the host has none.
std::shared_ptr<TandrelHandler> FindTandrelHandler();

} // namespace HandlerTandrel
