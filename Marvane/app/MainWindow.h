#pragma once
// The host's main window: menus, the docked panels (through the workspace) and a centre
// area that says which production is open.
#include "host/Messaging.h"

#include <QLabel>
#include <QMainWindow>
#include <QStackedWidget>
#include <QTabWidget>
#include <QTimer>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace host {

class DockWorkspace;
class HostCommandHandler;
class LongWorkDialog;
class ProgressPanel;

class MainWindow final : public QMainWindow {
public:
    MainWindow();
    ~MainWindow() override;

    DockWorkspace& GetWorkspace() { return *mWorkspace; }
    // Opens a production chosen by the user, reporting a refusal in a message box.
    void OpenProductionFromUser();
    // Opens the folder as the production and remembers it; a refusal is shown with its reason.
    bool OpenProductionFolder(const std::filesystem::path& folder);
    // Refreshes the window title and centre text from the open production.
    void UpdateProductionDisplay();
    // Opens a project and shows it: its page is there at once, with how far the reading got,
    // and the project's own page takes its place when it is read. False when it cannot be
    // opened at all; a refusal, at once or once the reading failed, is reported in a message
    // box.
    bool OpenProjectFile(const std::filesystem::path& project);
    void OpenProjectFromUser();
    // One tab per open project, in the order they were opened, and one per project being
    // opened.
    void SyncProjectTabs();
    void BringOpeningToFront(const std::filesystem::path& project);
    QTabWidget* GetProjectTabs() const { return mProjectTabs; }
    // Brings up the progress panel (made on first use).
    void ShowProgressPanel();
    ProgressPanel* GetProgressPanel() const { return mProgressPanel; }
    // Shows copies and moves to another disk while the window waits for them.
    LongWorkDialog& GetLongWorkDialog() const { return *mLongWork; }
    // Why the production asked for could not be opened; the window says so while none is open.
    void SetProductionError(const std::string& error);
    QString CentreText() const;
    // A warning about the production across the window's bottom edge; empty hides it.
    void SetProductionBanner(const QString& text);
    QString ProductionBanner() const;

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    class ProductionListener;

    void BuildMenus();
    void FillRecentMenu(QMenu& menu);
    void BuildWindowMenu(QMenu* menu);
    void RefreshCommandStatus();
    // The index of the opening page of the project; -1 when there is none.
    int FindOpeningPage(const std::filesystem::path& project) const;
    // Adds a project's page before the index (at the end for -1).
    void AddProjectTab(QWidget* page, int before, const std::string& name,
                       const std::filesystem::path& project);
    void RemoveProjectTab(int index);
    void ShowAbout();

    DockWorkspace* mWorkspace = nullptr;
    std::unique_ptr<HostCommandHandler> mCommandHandler;
    std::unique_ptr<LongWorkDialog> mLongWork;
    std::shared_ptr<ProductionListener> mListener;
    QLabel* mCentre = nullptr;
    QStackedWidget* mCentreStack = nullptr;
    QTabWidget* mProjectTabs = nullptr;
    ProgressPanel* mProgressPanel = nullptr;
    QLabel* mProductionBanner = nullptr;
    bool mSyncingTabs = false;
    std::string mProductionError;
    QTimer mStatusTimer;
    std::vector<QAction*> mCommandActions;
};

} // namespace host
