#include "Marvane/uiframework/DockWorkspace.h"
#include "Marvane/uiframework/PanelTitleBar.h"

#include "Marvane/uiframework/CommandDispatch.h"
#include "Marvane/uiframework/MenuResources.h"
#include "Marvane/uiframework/TabViewImpl.h"
#include "host/DebugTrace.h"
#include "host/ExceptionLog.h"
#include "host/PanelFramework.h"

#include <QApplication>
#include <QMenu>
#include <algorithm>

namespace host {

namespace {

class WorkspaceManagerImpl final : public WorkspaceManager {
public:
    Workspace* GetCurrentWorkspace() const override { return mCurrent; }
    Workspace* mCurrent = nullptr;
};

WorkspaceManagerImpl& TheWorkspaceManager() {
    static WorkspaceManagerImpl manager;
    return manager;
}

constexpr int kInitialPanelWidth = 460;
// What a panel leaves of the main window's width for the project area at least.
constexpr int kProjectAreaWidth = 300;

} // namespace

WorkspaceManager& Workspace::Instance() {
    return TheWorkspaceManager();
}

void SetCurrentWorkspace(Workspace* workspace) {
    TheWorkspaceManager().mCurrent = workspace;
}

DockWorkspace::DockWorkspace(QMainWindow* mainWindow)
    : QObject(mainWindow), mMainWindow(mainWindow), mWindow(std::make_unique<Window>(mainWindow)) {
    mMainWindow->setDockOptions(QMainWindow::AnimatedDocks | QMainWindow::AllowTabbedDocks |
                                QMainWindow::AllowNestedDocks);
    // The focused panel starts the command chain.
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget*, QWidget* now) {
        for (QWidget* widget = now; widget != nullptr; widget = widget->parentWidget()) {
            for (auto& [id, tab] : mTabs) {
                if (tab.dock == widget) {
                    CommandDispatcher::Instance().SetFocusedTabView(tab.tabView);
                    return;
                }
            }
        }
    });
}

DockWorkspace::~DockWorkspace() {
    Shutdown();
    if (TheWorkspaceManager().mCurrent == this) {
        SetCurrentWorkspace(nullptr);
    }
}

bool DockWorkspace::TabIsShown(HandlerID handlerID) const {
    const auto found = mTabs.find(handlerID);
    const QDockWidget* dock = found != mTabs.end() ? found->second.dock.data() : nullptr;
    return dock != nullptr && !dock->isHidden();
}

void DockWorkspace::OpenTab(HandlerID handlerID) {
    auto found = mTabs.find(handlerID);
    if (found != mTabs.end() && found->second.dock && found->second.tabView) {
        found->second.dock->show();
        found->second.dock->raise();
        return;
    }
    const std::shared_ptr<Handler> handler = Handler::FindHandler(handlerID);
    if (!handler) {
        Trace("Host", 2, "OpenTab: no handler for id " + std::to_string(handlerID));
        return;
    }
    std::shared_ptr<TabView> tabView;
    try {
        tabView = handler->CreateTabView(mWindow.get());
    } catch (const std::exception& error) {
        LogException("host::DockWorkspace::OpenTab", error);
    } catch (...) {
        LogUnknownException("host::DockWorkspace::OpenTab");
    }
    if (!tabView || tabView->GetImpl()->content == nullptr) {
        Trace("Host", 2, "OpenTab: the handler made no panel for id " + std::to_string(handlerID));
        return;
    }
    Tab& tab = mTabs[handlerID];
    if (tab.dock) {
        tab.dock->deleteLater();
    }
    auto* dock = new QDockWidget(QString::fromStdString(tabView->GetTitle()), mMainWindow);
    dock->setObjectName(QStringLiteral("Panel_%1").arg(handlerID));
    QDockWidget::DockWidgetFeatures features =
        QDockWidget::DockWidgetClosable | QDockWidget::DockWidgetMovable;
    if (handler->CanFloat()) {
        features |= QDockWidget::DockWidgetFloatable;
    }
    dock->setFeatures(features);
    dock->setWidget(tabView->GetImpl()->content);
    // The panel's command keys work while the focus is inside it, and go to it.
    const std::weak_ptr<TabView> keyTarget = tabView;
    InstallPanelShortcuts(tabView->GetImpl()->content, [keyTarget] {
        CommandDispatcher::Instance().SetFocusedTabView(keyTarget.lock());
    });
    tabView->GetImpl()->dock = dock;
    mMainWindow->addDockWidget(Qt::LeftDockWidgetArea, dock);
    // A new panel starts wide enough for a tree of names and a few columns, or as wide as it
    // asks, up to most of the window.
    const int asked = static_cast<int>(tabView->GetPreferredWidth());
    const int widest = std::max(kInitialPanelWidth, mMainWindow->width() - kProjectAreaWidth);
    mMainWindow->resizeDocks({dock}, {std::clamp(asked, kInitialPanelWidth, widest)},
                             Qt::Horizontal);
    connect(dock, &QDockWidget::visibilityChanged, this, [this, handlerID](bool visible) {
        const auto entry = mTabs.find(handlerID);
        if (entry == mTabs.end()) {
            return;
        }
        entry->second.frontmost = visible;
        // A panel the user closed keeps its state now.
        const QDockWidget* closed = entry->second.dock.data();
        if (!visible && closed != nullptr && closed->isHidden()) {
            if (TabView* panel = entry->second.tabView.get()) {
                panel->SaveState();
            }
        }
        // A panel that is no longer seen stops taking commands.
        auto& dispatcher = CommandDispatcher::Instance();
        if (!visible && dispatcher.GetFocusedTabView() == entry->second.tabView) {
            dispatcher.SetFocusedTabView(nullptr);
        }
    });
    // The panel menu opens from a button on the title bar too, not only by a right-click.
    std::function<void(QPoint)> showMenu;
    if (!tabView->GetPanelMenuID().empty()) {
        showMenu = [this, handlerID](QPoint at) { ShowPanelMenu(handlerID, at); };
    }
    dock->setTitleBarWidget(new PanelTitleBar(*dock, std::move(showMenu)));
    dock->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(dock, &QWidget::customContextMenuRequested, this, [this, handlerID, dock](QPoint at) {
        ShowPanelMenu(handlerID, dock->mapToGlobal(at));
    });
    tab.tabView = std::move(tabView);
    tab.dock = dock;
    tab.frontmost = true;
    ++tab.created;
    dock->show();
    dock->raise();
}

Window* DockWorkspace::GetMainWindow() const {
    return mWindow.get();
}

bool DockWorkspace::TabIsFrontmost(HandlerID handlerID) const {
    const auto found = mTabs.find(handlerID);
    return TabIsShown(handlerID) && found->second.frontmost;
}

int DockWorkspace::TabViewsCreated(HandlerID handlerID) const {
    const auto found = mTabs.find(handlerID);
    return found == mTabs.end() ? 0 : found->second.created;
}

QDockWidget* DockWorkspace::GetDock(HandlerID handlerID) const {
    const auto found = mTabs.find(handlerID);
    return found == mTabs.end() ? nullptr : found->second.dock.data();
}

std::shared_ptr<TabView> DockWorkspace::GetTabView(HandlerID handlerID) const {
    const auto found = mTabs.find(handlerID);
    return found == mTabs.end() ? nullptr : found->second.tabView;
}

void DockWorkspace::CloseTab(HandlerID handlerID) {
    if (QDockWidget* dock = GetDock(handlerID)) {
        dock->hide();
    }
}

std::vector<ByteString> DockWorkspace::ShownPanelTitles() const {
    std::vector<ByteString> titles;
    for (const auto& [id, tab] : mTabs) {
        if (TabIsShown(id)) {
            titles.push_back(tab.dock->windowTitle().toStdString());
        }
    }
    return titles;
}

void DockWorkspace::Shutdown() {
    CommandDispatcher::Instance().SetFocusedTabView(nullptr);
    for (auto& [id, tab] : mTabs) {
        if (tab.tabView) {
            tab.tabView->SaveState();
            tab.tabView->RemoveUI();
            tab.tabView.reset();
        }
    }
    mTabs.clear();
}

void DockWorkspace::ShowPanelMenu(HandlerID handlerID, const QPoint& globalPosition) {
    const auto found = mTabs.find(handlerID);
    if (found == mTabs.end() || !found->second.tabView) {
        return;
    }
    const ByteString menuID = found->second.tabView->GetPanelMenuID();
    if (menuID.empty()) {
        return;
    }
    CommandDispatcher::Instance().SetFocusedTabView(found->second.tabView);
    if (QMenu* menu = BuildMenu(menuID, mMainWindow)) {
        menu->setAttribute(Qt::WA_DeleteOnClose);
        menu->popup(globalPosition);
    }
}

} // namespace host
