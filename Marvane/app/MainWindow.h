#pragma once
// The host's main window: menus, the docked panels (through the workspace) and a centre
// area that says which production is open.
#include "host/Messaging.h"

#include <QLabel>
#include <QMainWindow>
#include <QTimer>
#include <memory>
#include <vector>

namespace host {

class DockWorkspace;
class HostCommandHandler;

class MainWindow final : public QMainWindow {
public:
    MainWindow();
    ~MainWindow() override;

    DockWorkspace& GetWorkspace() { return *mWorkspace; }
    // Opens a production chosen by the user, reporting a refusal in a message box.
    void OpenProductionFromUser();
    // Refreshes the window title and centre text from the open production.
    void UpdateProductionDisplay();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    class ProductionListener;

    void BuildMenus();
    void BuildWindowMenu(QMenu* menu);
    void RefreshCommandStatus();
    void ShowAbout();

    DockWorkspace* mWorkspace = nullptr;
    std::unique_ptr<HostCommandHandler> mCommandHandler;
    std::shared_ptr<ProductionListener> mListener;
    QLabel* mCentre = nullptr;
    QTimer mStatusTimer;
    std::vector<QAction*> mCommandActions;
};

} // namespace host
