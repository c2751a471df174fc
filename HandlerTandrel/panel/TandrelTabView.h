#pragma once
// The Production panel itself: the tab view that the handler makes for the host.
#include "host/Messaging.h"
#include "host/UIFramework.h"
#include "panel/TabViewStateData.h"

#include <memory>

namespace HandlerTandrel {

class TandrelDirectoryView;

class TandrelTabView : public host::TabView, public host::Listener {
public:
    using StateData = TabViewStateData;

    TandrelTabView();
    ~TandrelTabView() override;

    // Subscribes to production messages; call once the view is held by a shared pointer.
    void PostSharedPtrInit();

    void FinishCreateSelf() override;
    void RemoveUI() override;
    host::ByteString GetPanelMenuID() const override;
    void ReceiveMessage(const host::Message& message) override;

    // "Production: <folder name>" while a production is open, else "Production".
    void UpdateTabTitle();
    // The tree of the production; null until the panel was created.
    const std::shared_ptr<TandrelDirectoryView>& GetDirectoryView() const { return mDirectoryView; }

private:
    void Unsubscribe();

    std::shared_ptr<TandrelDirectoryView> mDirectoryView;
};

// The tab title for a production folder path (empty when no production is open).
host::ByteString TabTitleFor(const host::WideString& productionPath);

} // namespace HandlerTandrel
