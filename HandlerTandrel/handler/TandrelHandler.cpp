#include "handler/TandrelHandler.h"

#include "base/TandrelIDs.h"
#include "host/ApplicationLayer.h"
#include "host/DataTransfer.h"
#include "host/ExceptionLog.h"
#include "host/Localizer.h"
#include "host/OpenProjects.h"
#include "host/ProjectBackEnd.h"
#include "panel/TandrelTabView.h"

namespace HandlerTandrel {

namespace {
constexpr std::string_view kWindowTitleKey =
    "$$$/Marvane/Handlers/Production/ProductionWindowTitle=Production";
constexpr std::string_view kPanelMenuTitleKey = "$$$/Marvane/Handlers/PanelMenu=Panel Menu";
constexpr std::string_view kTabViewTitleKey =
    "$$$/Marvane/Handlers/MvProductionFolder/MvProductionTabViewTitle=Production";
constexpr int kWindowClassType = 1;
} // namespace

TandrelHandler::TandrelHandler() : host::Handler(kMvProductionFolderHandlerID) {
    host::RegisterCustomDataType(host::ByteString(kRowDragType));
    host::AddWindowClass(kMvProductionFolderWindowTypeID, kMvProductionFolderHandlerID,
                         kWindowClassType);
    host::AddWindow(kMvProductionFolderWindowTypeID, host::kDefaultWindowID,
                    host::Localize(kWindowTitleKey), host::kDefaultWindowContextID);
    host::ShortcutManager::Instance().AddWindowMenuID(host::ByteString(kProductionContextName),
                                                      host::Localize(kPanelMenuTitleKey),
                                                      host::ByteString(kWingMenuID));
}

TandrelHandler::~TandrelHandler() = default;

bool TandrelHandler::FindCommandStatus(const host::Command& command, host::CommandStatus& status) {
    // The tab view decides the status of every panel command.
    return host::Handler::FindCommandStatus(command, status);
}

bool TandrelHandler::ObeyCommand(const host::Command& command) {
    return host::Handler::ObeyCommand(command);
}

std::shared_ptr<host::TabView> TandrelHandler::CreateTabView(host::Window* parent) {
    const host::ByteString title = host::Localize(kTabViewTitleKey);
    auto tabView = std::make_shared<TandrelTabView>(mSettingsStore);
    mTabView = tabView;
    tabView->PostSharedPtrInit();
    tabView->Create(kMvProductionFolderHandlerID, title, parent, host::kTabViewStandardPanel);
    return tabView;
}

bool TandrelHandler::CanFloat() const {
    return true;
}

void TandrelHandler::PostSharedPtrInit() {
    const auto self = std::static_pointer_cast<TandrelHandler>(shared_from_this());
    const std::weak_ptr<host::Listener> listener = self;
    host::MessageStation::Get(host::kPanelFrameworkStation)->Subscribe(listener);
    host::MessageStation::Get(host::kProjectActivationStation)->Subscribe(listener);
    host::Handler::PostSharedPtrInit();
}

void TandrelHandler::ReceiveMessage(const host::Message& message) {
    try {
        if (message.GetTypeID() == host::MvProductionFolderOpenedMessage::kTypeID) {
            mSettingsStore->LoadProductionSettings();
            ShowProductionPanel();
        } else if (message.GetTypeID() == host::ProjectClosedMessage::kTypeID) {
            if (host::IsTandrelManagerActive() && host::OpenProjectCount() == 0) {
                ShowProductionPanel();
            }
        }
    } catch (const std::exception& error) {
        host::LogException("HandlerTandrel::TandrelHandler::ReceiveMessage", error);
    }
}

void TandrelHandler::ShowProductionPanel() {
    host::Workspace* workspace = host::Workspace::Instance().GetCurrentWorkspace();
    if (workspace == nullptr) {
        return;
    }
    if (workspace->TabIsShown(kMvProductionFolderHandlerID)) {
        if (mTabView) {
            mTabView->Activate(true, false);
        }
    } else {
        workspace->OpenTab(kMvProductionFolderHandlerID);
    }
}

std::shared_ptr<TandrelHandler> FindTandrelHandler() {
    return std::dynamic_pointer_cast<TandrelHandler>(
        host::Handler::FindHandler(kMvProductionFolderHandlerID));
}

} // namespace HandlerTandrel
