#include "Marvane/app/HostCommands.h"
#include "Marvane/app/MainWindow.h"
#include "Marvane/application/ProductionSession.h"
#include "Marvane/panelframework/Registries.h"
#include "Marvane/uiframework/DockWorkspace.h"
#include "Marvane/uiframework/MenuResources.h"
#include "Marvane/uiframework/PanelTitleBar.h"
#include "TestProjects.h"
#include "base/ProductionCommands.h"
#include "base/TandrelIDs.h"
#include "handler/TandrelHandler.h"
#include "panel/TandrelTabView.h"

#include <QApplication>
#include <QDockWidget>
#include <QMenu>
#include <QMenuBar>
#include <filesystem>
#include <gtest/gtest.h>

#include "TemporaryFolder.h"
#include "ViewTestSupport.h"

namespace {

namespace fs = std::filesystem;
using HandlerTandrel::kMvProductionFolderHandlerID;

class ProductionPanelTest : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(root / "Pilot");
        fs::create_directories(root / "Second Show");
        HandlerTandrel::DeclareProductionCommands(host::ShortcutManager::Instance());
        host::PanelFrameworkRegistry::Instance().CreateRegisteredHandlers();
        window = std::make_unique<host::MainWindow>();
        window->show();
        SettleEvents();
    }
    void TearDown() override {
        testsupport::CloseAllProjects();
        host::ProductionSession::Instance().Close();
        window.reset();
    }
    host::DockWorkspace& Workspace() { return window->GetWorkspace(); }
    QDockWidget* PanelDock() { return Workspace().GetDock(kMvProductionFolderHandlerID); }
    // Puts another panel on top of the Production panel in the same dock area.
    QDockWidget* CoverThePanel() {
        auto* other = new QDockWidget(QStringLiteral("Other"), window.get());
        other->setObjectName(QStringLiteral("Other"));
        other->setWidget(new QWidget(other));
        window->addDockWidget(Qt::LeftDockWidgetArea, other);
        window->tabifyDockWidget(PanelDock(), other);
        other->show();
        other->raise();
        SettleEvents();
        return other;
    }

    const testsupport::TemporaryFolder temporary{"panel"};
    const fs::path root = temporary.Path();
    std::unique_ptr<host::MainWindow> window;
};

TEST_F(ProductionPanelTest, OpeningAProductionOpensThePanelTabTitledWithItsName) {
    ASSERT_FALSE(Workspace().TabIsShown(kMvProductionFolderHandlerID));
    ASSERT_EQ(host::ProductionSession::Instance().Open(root / "Pilot"), "");
    SettleEvents();
    EXPECT_TRUE(Workspace().TabIsShown(kMvProductionFolderHandlerID));
    EXPECT_EQ(Workspace().TabViewsCreated(kMvProductionFolderHandlerID), 1);
    ASSERT_NE(PanelDock(), nullptr);
    EXPECT_EQ(PanelDock()->windowTitle(), QStringLiteral("Production: Pilot"));
    const auto tabView = std::dynamic_pointer_cast<HandlerTandrel::TandrelTabView>(
        Workspace().GetTabView(kMvProductionFolderHandlerID));
    ASSERT_NE(tabView, nullptr);
    EXPECT_EQ(tabView, HandlerTandrel::FindTandrelHandler()->GetTabView());
}

TEST_F(ProductionPanelTest, ANewPanelOpensWideEnoughForItsTitle) {
    ASSERT_EQ(host::ProductionSession::Instance().Open(root / "Pilot"), "");
    SettleEvents();
    ASSERT_NE(PanelDock(), nullptr);
    EXPECT_GE(PanelDock()->width(), 400);
}

TEST_F(ProductionPanelTest, OpeningAnotherProductionBringsTheShownPanelForwardWithoutASecondTab) {
    ASSERT_EQ(host::ProductionSession::Instance().Open(root / "Pilot"), "");
    SettleEvents();
    CoverThePanel();
    ASSERT_FALSE(Workspace().TabIsFrontmost(kMvProductionFolderHandlerID));
    ASSERT_EQ(host::ProductionSession::Instance().Open(root / "Second Show"), "");
    SettleEvents();
    EXPECT_TRUE(Workspace().TabIsFrontmost(kMvProductionFolderHandlerID));
    EXPECT_EQ(Workspace().TabViewsCreated(kMvProductionFolderHandlerID), 1);
    EXPECT_EQ(window
                  ->findChildren<QDockWidget*>(
                      QStringLiteral("Panel_%1").arg(kMvProductionFolderHandlerID))
                  .size(),
              1);
    EXPECT_EQ(PanelDock()->windowTitle(), QStringLiteral("Production: Second Show"));
}

TEST_F(ProductionPanelTest, ClosingTheLastProjectBringsThePanelForward) {
    ASSERT_EQ(host::ProductionSession::Instance().Open(root / "Pilot"), "");
    SettleEvents();
    testsupport::OpenProject(testsupport::WriteProject(root / "Pilot" / "A.mvproj"));
    testsupport::OpenProject(testsupport::WriteProject(root / "Pilot" / "B.mvproj"));
    CoverThePanel();
    ASSERT_TRUE(testsupport::CloseProject(root / "Pilot" / "A.mvproj"));
    SettleEvents();
    EXPECT_FALSE(Workspace().TabIsFrontmost(kMvProductionFolderHandlerID));
    ASSERT_TRUE(testsupport::CloseProject(root / "Pilot" / "B.mvproj"));
    SettleEvents();
    EXPECT_TRUE(Workspace().TabIsFrontmost(kMvProductionFolderHandlerID));
}

TEST_F(ProductionPanelTest, AProjectClosedWithNoProductionOpenDoesNotOpenThePanel) {
    testsupport::OpenProject(testsupport::WriteProject(root / "Loose.mvproj"));
    ASSERT_TRUE(testsupport::CloseProject(root / "Loose.mvproj"));
    SettleEvents();
    EXPECT_FALSE(Workspace().TabIsShown(kMvProductionFolderHandlerID));
    EXPECT_EQ(Workspace().TabViewsCreated(kMvProductionFolderHandlerID), 0);
}

TEST_F(ProductionPanelTest, ClosingTheProductionTitlesThePanelProduction) {
    ASSERT_EQ(host::ProductionSession::Instance().Open(root / "Pilot"), "");
    SettleEvents();
    host::ProductionSession::Instance().Close();
    SettleEvents();
    ASSERT_NE(PanelDock(), nullptr);
    EXPECT_EQ(PanelDock()->windowTitle(), QStringLiteral("Production"));
}

TEST_F(ProductionPanelTest, ThePanelMenuComesFromTheHostsMenuResource) {
    ASSERT_EQ(host::ProductionSession::Instance().Open(root / "Pilot"), "");
    SettleEvents();
    const auto tabView = Workspace().GetTabView(kMvProductionFolderHandlerID);
    ASSERT_NE(tabView, nullptr);
    std::unique_ptr<QMenu> menu(host::BuildMenu(tabView->GetPanelMenuID(), nullptr));
    ASSERT_NE(menu, nullptr);
    QStringList texts;
    for (QAction* action : menu->actions()) {
        if (!action->isSeparator()) {
            texts << action->text();
        }
    }
    EXPECT_TRUE(texts.contains(QStringLiteral("Zoom In"))) << texts.join(", ").toStdString();
    // A command's key follows its text after a tab.
    EXPECT_TRUE(texts.contains(QStringLiteral("New Project…\tCtrl+Alt+N")))
        << texts.join(", ").toStdString();
}

TEST_F(ProductionPanelTest, AButtonOnTheTitleBarOpensThePanelMenu) {
    ASSERT_EQ(host::ProductionSession::Instance().Open(root / "Pilot"), "");
    SettleEvents();
    ASSERT_NE(PanelDock(), nullptr);
    auto* bar = dynamic_cast<host::PanelTitleBar*>(PanelDock()->titleBarWidget());
    ASSERT_NE(bar, nullptr);
    EXPECT_EQ(bar->Title(), QStringLiteral("Production: Pilot"));
    ASSERT_TRUE(bar->MenuButton()->isVisible());
    EXPECT_EQ(bar->MenuButton()->toolTip(), QStringLiteral("Panel Menu"));
    bar->MenuButton()->click();
    SettleEvents();
    auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    ASSERT_NE(menu, nullptr) << "no menu opened";
    QStringList texts;
    for (QAction* action : menu->actions()) {
        texts << action->text();
    }
    EXPECT_TRUE(texts.contains(QStringLiteral("Zoom In"))) << texts.join(", ").toStdString();
    // It opens below the button.
    EXPECT_GE(menu->pos().y(), bar->MenuButton()->mapToGlobal(QPoint(0, 0)).y());
    menu->close();
    SettleEvents();
    // The title follows the production; the close button closes the panel.
    host::ProductionSession::Instance().Close();
    SettleEvents();
    EXPECT_EQ(bar->Title(), QStringLiteral("Production"));
    bar->CloseButton()->click();
    SettleEvents();
    EXPECT_FALSE(Workspace().TabIsShown(kMvProductionFolderHandlerID));
}

TEST_F(ProductionPanelTest, EveryContextMenuOfThePanelExistsInTheMenuResource) {
    // The menus hold the host's own commands too (Empty Trash…), declared as the host does.
    host::DeclareHostCommands(host::ShortcutManager::Instance());
    for (std::string_view id :
         {HandlerTandrel::kWingMenuID, HandlerTandrel::kFolderContextMenuID,
          HandlerTandrel::kProjectContextMenuID, HandlerTandrel::kMixedSelectionContextMenuID,
          HandlerTandrel::kNoSelectionContextMenuID, HandlerTandrel::kTrashContextMenuID,
          HandlerTandrel::kSearchResultsContextMenuID}) {
        const auto items = host::FindMenuResource(std::string(id));
        EXPECT_FALSE(items.empty()) << id;
        for (const auto& item : items) {
            if (!item.separator) {
                EXPECT_NE(host::ShortcutManager::Instance().FindCommand(item.command), nullptr)
                    << id << ": " << item.command;
            }
        }
    }
}

TEST_F(ProductionPanelTest, WindowMenuBringsThePanelBackAfterItWasClosed) {
    ASSERT_EQ(host::ProductionSession::Instance().Open(root / "Pilot"), "");
    SettleEvents();
    Workspace().CloseTab(kMvProductionFolderHandlerID);
    SettleEvents();
    ASSERT_FALSE(Workspace().TabIsShown(kMvProductionFolderHandlerID));
    QAction* production = nullptr;
    for (QAction* menu : window->menuBar()->actions()) {
        if (menu->text() == QStringLiteral("&Window")) {
            emit menu->menu()->aboutToShow();
            for (QAction* item : menu->menu()->actions()) {
                if (item->text() == QStringLiteral("Production")) {
                    production = item;
                }
            }
        }
    }
    ASSERT_NE(production, nullptr);
    production->trigger();
    SettleEvents();
    EXPECT_TRUE(Workspace().TabIsShown(kMvProductionFolderHandlerID));
    EXPECT_EQ(Workspace().TabViewsCreated(kMvProductionFolderHandlerID), 1);
}

} // namespace
