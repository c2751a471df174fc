#pragma once
// The workspace of the main window: each panel is a dock widget holding its tab view.
#include "Marvane/uiframework/Window.h"
#include "host/UIFramework.h"

#include <QMainWindow>
#include <QObject>
#include <QPointer>
#include <map>
#include <memory>
#include <vector>

namespace host {

class DockWorkspace final : public QObject, public Workspace {
public:
    explicit DockWorkspace(QMainWindow* mainWindow);
    ~DockWorkspace() override;

    bool TabIsShown(HandlerID handlerID) const override;
    void OpenTab(HandlerID handlerID) override;
    Window* GetMainWindow() const override;

    // Whether the panel is the one on top in its dock area (not behind another tab).
    bool TabIsFrontmost(HandlerID handlerID) const;
    // How many times a tab view was made for the handler's panel.
    int TabViewsCreated(HandlerID handlerID) const;
    QDockWidget* GetDock(HandlerID handlerID) const;
    std::shared_ptr<TabView> GetTabView(HandlerID handlerID) const;
    void CloseTab(HandlerID handlerID);
    // The titles of the panels that are shown, by handler id.
    std::vector<ByteString> ShownPanelTitles() const;

    // Lets every panel save its state and drop its UI; call before the main window goes.
    void Shutdown();

private:
    struct Tab {
        std::shared_ptr<TabView> tabView;
        QPointer<QDockWidget> dock;
        bool frontmost = false;
        int created = 0;
    };

    void ShowPanelMenu(HandlerID handlerID, const QPoint& globalPosition);

    QMainWindow* mMainWindow;
    std::unique_ptr<Window> mWindow;
    std::map<HandlerID, Tab> mTabs;
};

// Makes the workspace the current one (or none, with null).
void SetCurrentWorkspace(Workspace* workspace);

} // namespace host
