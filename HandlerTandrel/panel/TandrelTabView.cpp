#include "panel/TandrelTabView.h"
#include "panel/TrashScriptingHook.h"

#include "TandrelIDs.h"
#include "columns/DisplayName.h"
#include "directoryview/TandrelDirectoryView.h"
#include "handler/TandrelHandler.h"
#include "host/ApplicationLayer.h"
#include "host/ExceptionLog.h"
#include "host/Localizer.h"
#include "host/PanelFramework.h"

namespace HandlerTandrel {

namespace {
constexpr std::string_view kTabTitlePrefixKey =
    "$$$/Marvane/Handlers/MvProductionFolder/TabTitlePrefix=Production: ";
constexpr std::string_view kTabTitleNoProductionKey =
    "$$$/Marvane/Handlers/MvProductionFolder/TabTitleWhenNoProductionIsOpen=Production";
} // namespace

TandrelTabView::TandrelTabView() = default;

TandrelTabView::~TandrelTabView() {
    Unsubscribe();
}

void TandrelTabView::PostSharedPtrInit() {
    const auto self = std::static_pointer_cast<TandrelTabView>(shared_from_this());
    host::MessageStation::Get(host::kPanelFrameworkStation)
        ->Subscribe(std::weak_ptr<host::Listener>(self));
    RegisterTrashScriptingHook(std::weak_ptr<host::TabView>(self));
}

void TandrelTabView::FinishCreateSelf() {
    try {
        UpdateTabTitle();
        const auto self = std::static_pointer_cast<TandrelTabView>(shared_from_this());
        mDirectoryView =
            TandrelDirectoryView::Create(host::ToUTF8(host::GetTandrelManagerFolderPath()), self);
        EmbedTree(mDirectoryView->GetTree());
        // The host pauses the tree's reaction to changes on disk through this.
        const std::weak_ptr<TandrelDirectoryView> view = mDirectoryView;
        host::SetTandrelNotifyPauseFn([view](bool paused) {
            if (const auto alive = view.lock()) {
                alive->SetNotifyPaused(paused);
            }
        });
    } catch (const std::exception& error) {
        host::LogException("HandlerTandrel::TandrelTabView::FinishCreateSelf", error);
    }
}

void TandrelTabView::RemoveUI() {
    Unsubscribe();
    ClearScriptingHooks();
    mDirectoryView.reset();
}

host::ByteString TandrelTabView::GetPanelMenuID() const {
    return host::ByteString(kWingMenuID);
}

void TandrelTabView::ReceiveMessage(const host::Message& message) {
    try {
        if (message.GetTypeID() == host::MvProductionFolderOpenedMessage::kTypeID ||
            message.GetTypeID() == host::MvProductionFolderClosedMessage::kTypeID) {
            UpdateTabTitle();
        }
    } catch (const std::exception& error) {
        host::LogException("HandlerTandrel::TandrelTabView::ReceiveMessage", error);
    }
}

void TandrelTabView::UpdateTabTitle() {
    SetTitle(TabTitleFor(GetTandrelManagerFolderPath()));
}

host::ByteString TabTitleFor(const host::WideString& productionPath) {
    if (productionPath.empty()) {
        return host::Localize(kTabTitleNoProductionKey);
    }
    return host::Localize(kTabTitlePrefixKey) + host::ToUTF8(DisplayNameOf(productionPath));
}

void TandrelTabView::Unsubscribe() {
    host::MessageStation::Get(host::kPanelFrameworkStation)->Unsubscribe(this);
}

} // namespace HandlerTandrel
