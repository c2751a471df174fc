// Right-clicks in the panel of a real main window over a real production: how the selection
// follows the click, which menu opens, the states of its entries, and what choosing does.
#include "Marvane/app/MainWindow.h"
#include "Marvane/application/HostSession.h"
#include "Marvane/application/ProductionSession.h"
#include "Marvane/core/DefaultExecutor.h"
#include "Marvane/panelframework/Registries.h"
#include "Marvane/uiframework/CommandDispatch.h"
#include "Marvane/uiframework/DialogResponder.h"
#include "Marvane/uiframework/DockWorkspace.h"
#include "ProductionCommands.h"
#include "TandrelIDs.h"
#include "TestProjects.h"
#include "directoryview/TandrelDirectoryView.h"
#include "panel/TandrelTabView.h"
#include "search/TandrelSearchResultsView.h"

#include <QContextMenuEvent>
#include <QTreeView>
#include <filesystem>
#include <gtest/gtest.h>

#include "TemporaryFolder.h"
#include "ViewTestSupport.h"

namespace {

namespace fs = std::filesystem;
using HandlerTandrel::kMvProductionFolderHandlerID;

class PanelContextMenuTest : public ::testing::Test {
protected:
    void SetUp() override {
        host::HostSession::Instance().profileDirectory = temporary.Path() / "profile";
        testsupport::WriteProject(pilot / "Scene 4.mvproj");
        testsupport::WriteProject(pilot / "Scene 12.mvproj");
        testsupport::WriteProject(pilot / "Teaser.mvproj");
        testsupport::WriteProject(pilot / "Dailies" / "Shot 1.mvproj");
        testsupport::WriteProject(pilot / "Trash" / "Old Cut.mvproj");
        HandlerTandrel::DeclareProductionCommands(host::ShortcutManager::Instance());
        host::PanelFrameworkRegistry::Instance().CreateRegisteredHandlers();
        window = std::make_unique<host::MainWindow>();
        window->show();
        previous = host::SetDialogResponder(responder);
        ASSERT_EQ(host::ProductionSession::Instance().Open(pilot), "");
        SettleEvents();
        ASSERT_NE(Panel(), nullptr);
        ASSERT_TRUE(WaitUntil([&] { return Tree().GetTopLevelRowCount() == 5; }));
        Tree().OpenRow(Row(pilot / "Trash"), true);
        ASSERT_TRUE(WaitUntil([&] { return Row(pilot / "Trash" / "Old Cut.mvproj") != nullptr; }));
        host::CommandDispatcher::Instance().SetFocusedTabView(Panel());
    }
    void TearDown() override {
        host::SetDialogResponder(previous);
        testsupport::CloseAllProjects();
        window.reset();
        host::WaitForDefaultExecutor(10000);
        host::ProductionSession::Instance().Close();
        host::HostSession::Instance().profileDirectory.clear();
    }
    std::shared_ptr<HandlerTandrel::TandrelTabView> Panel() const {
        return std::dynamic_pointer_cast<HandlerTandrel::TandrelTabView>(
            window->GetWorkspace().GetTabView(kMvProductionFolderHandlerID));
    }
    HandlerTandrel::TandrelDirectoryView& View() const {
        const auto panel = Panel();
        if (!panel || !panel->GetDirectoryView()) {
            throw std::logic_error("no panel");
        }
        return *panel->GetDirectoryView();
    }
    host::UI_MultiColumnTree& Tree() const { return View().GetTree(); }
    host::TreeRowPtr Row(const fs::path& path) const {
        return View().GetRowForPath(host::ToUTF16(path.string()));
    }
    void Select(const std::vector<fs::path>& paths) const {
        Tree().DeselectAllRows();
        for (const fs::path& path : paths) {
            Tree().SelectRow(Row(path), false, false, true);
        }
    }
    std::vector<host::WideString> Selected() const { return View().GetSelectedPaths(); }
    static host::WideString W(const fs::path& path) { return host::ToUTF16(path.string()); }
    // The last context menu shown, as "menu: entry+ entry- ..." (+ enabled, - disabled).
    std::string LastMenu() const {
        if (responder->GetMenuRequests().empty()) {
            return "none";
        }
        const host::ContextMenuRequest& request = responder->GetMenuRequests().back();
        std::string text = request.menuID + ":";
        for (const host::ContextMenuEntry& entry : request.entries) {
            text += " " + entry.command + (entry.enabled ? "+" : "-");
        }
        return text;
    }

    const testsupport::TemporaryFolder temporary{"context-menu"};
    const fs::path pilot = temporary.Path() / "Pilot";
    std::unique_ptr<host::MainWindow> window;
    std::shared_ptr<host::ScriptedDialogResponder> responder =
        std::make_shared<host::ScriptedDialogResponder>();
    std::shared_ptr<host::DialogResponder> previous;
};

TEST_F(PanelContextMenuTest, RightClickingAnUnselectedRowMakesItTheWholeSelection) {
    Select({pilot / "Scene 4.mvproj", pilot / "Scene 12.mvproj", pilot / "Dailies"});
    EXPECT_EQ(View().ContextClick(Row(pilot / "Teaser.mvproj")),
              "HandlerTandrel_Context_Menu_Project");
    EXPECT_EQ(Selected(), std::vector<host::WideString>{W(pilot / "Teaser.mvproj")});
}

TEST_F(PanelContextMenuTest, RightClickingOneOfSeveralSelectedRowsKeepsThemAllAndMixesTheMenu) {
    Select({pilot / "Scene 4.mvproj", pilot / "Dailies"});
    EXPECT_EQ(View().ContextClick(Row(pilot / "Dailies")),
              "HandlerTandrel_Context_Menu_MixedSelection");
    EXPECT_EQ(Selected().size(), 2u);
    EXPECT_EQ(LastMenu().rfind("HandlerTandrel_Context_Menu_MixedSelection:", 0), 0u);
}

TEST_F(PanelContextMenuTest, TheTrashFolderWithProjectsShowsTheTrashMenu) {
    Select({pilot / "Scene 4.mvproj", pilot / "Trash"});
    EXPECT_EQ(View().ContextClick(Row(pilot / "Trash")), "HandlerTandrel_Context_Menu_Trash");
}

TEST_F(PanelContextMenuTest, AProjectInsideTheTrashShowsNoMenuEvenWithOrdinaryProjects) {
    Select({pilot / "Scene 4.mvproj", pilot / "Trash" / "Old Cut.mvproj"});
    EXPECT_EQ(View().ContextClick(Row(pilot / "Scene 4.mvproj")), "");
    EXPECT_TRUE(responder->GetMenuRequests().empty());
}

TEST_F(PanelContextMenuTest, ASelectedProjectWhoseFileWasJustDeletedStillCountsAsAProject) {
    Select({pilot / "Teaser.mvproj"});
    fs::remove(pilot / "Teaser.mvproj");
    EXPECT_EQ(View().ContextClick(Row(pilot / "Teaser.mvproj")),
              "HandlerTandrel_Context_Menu_Project");
}

TEST_F(PanelContextMenuTest, RightClickingEmptySpaceClearsTheSelectionAndShowsTheNoSelectionMenu) {
    Select({pilot / "Scene 4.mvproj"});
    EXPECT_EQ(View().ContextClick(nullptr), "HandlerTandrel_Context_Menu_NoSelection");
    EXPECT_TRUE(Selected().empty());
    EXPECT_EQ(LastMenu().rfind("HandlerTandrel_Context_Menu_NoSelection:", 0), 0u);
}

TEST_F(PanelContextMenuTest, TheMenusEntriesAreEnabledByTheRulesOfThePanel) {
    View().ContextClick(Row(pilot / "Scene 4.mvproj"));
    const std::string menu = LastMenu();
    EXPECT_NE(menu.find("cmd.mvproductionfolder.openproject+"), std::string::npos) << menu;
    EXPECT_NE(menu.find("cmd.mvproductionfolder.closeproject-"), std::string::npos) << menu;
    EXPECT_NE(menu.find("cmd.mvproductionfolder.movetotrash+"), std::string::npos) << menu;
    testsupport::OpenProject(pilot / "Scene 4.mvproj");
    View().ContextClick(Row(pilot / "Scene 4.mvproj"));
    EXPECT_NE(LastMenu().find("cmd.mvproductionfolder.openproject-"), std::string::npos);
    EXPECT_NE(LastMenu().find("cmd.mvproductionfolder.closeproject+"), std::string::npos);
}

TEST_F(PanelContextMenuTest, ChoosingMoveToTrashFromTheMenuMovesTheProjectThere) {
    responder->AddMenuChoice("cmd.mvproductionfolder.movetotrash");
    View().ContextClick(Row(pilot / "Scene 12.mvproj"));
    EXPECT_FALSE(fs::exists(pilot / "Scene 12.mvproj"));
    EXPECT_TRUE(fs::exists(pilot / "Trash" / "Scene 12.mvproj"));
}

TEST_F(PanelContextMenuTest, ChoosingOpenProjectFromTheMenuOpensItInTheHost) {
    responder->AddMenuChoice("cmd.mvproductionfolder.openproject");
    View().ContextClick(Row(pilot / "Teaser.mvproj"));
    EXPECT_NE(host::FindOpenProject((pilot / "Teaser.mvproj").string()), nullptr);
}

TEST_F(PanelContextMenuTest, ARightClickOnTheTreeWidgetReachesTheView) {
    auto* view = window->findChild<QTreeView*>(
        QString::fromStdString(std::string(HandlerTandrel::kDirectoryTreeNodeID)));
    ASSERT_NE(view, nullptr);
    const QRect first = view->visualRect(view->model()->index(0, 0));
    QContextMenuEvent event(QContextMenuEvent::Mouse, first.center(),
                            view->viewport()->mapToGlobal(first.center()));
    QApplication::sendEvent(view->viewport(), &event);
    EXPECT_EQ(Selected(), std::vector<host::WideString>{W(pilot / "Dailies")});
    EXPECT_EQ(LastMenu().rfind("HandlerTandrel_Context_Menu_Folder:", 0), 0u);
}

TEST_F(PanelContextMenuTest, TheSearchResultsShowTheirOwnMenuForASelectedProject) {
    Panel()->GetSearchBox()->SetValue(u"scene", true);
    auto& results = *Panel()->GetSearchResultsView();
    ASSERT_TRUE(WaitUntil([&] { return results.GetRowCount() == 2; }));
    results.GetTree().SelectRow(results.GetTree().GetTopLevelRow(0), true, false, true);
    EXPECT_TRUE(results.SelectForContextMenu(results.GetTree().GetTopLevelRow(1)));
    host::TrackContextMenu(host::ByteString(HandlerTandrel::kSearchResultsContextMenuID));
    EXPECT_EQ(LastMenu().rfind("HandlerTandrel_SearchResults_Context_Menu_Project:", 0), 0u);
    EXPECT_NE(LastMenu().find("cmd.mvproductionfolder.openproject+"), std::string::npos);
}

} // namespace
