// Right-clicks in the panel of a real main window over a real production: how the selection
// follows the click, which menu opens, the states of its entries, and what choosing does.
#include "Marvane/app/HostCommands.h"
#include "PanelWindow.h"
#include "ProjectOpenings.h"
#include "TemporaryFolder.h"
#include "TestProjects.h"
#include "search/TandrelSearchResultsView.h"

#include "Marvane/uiframework/MenuResources.h"

#include <QContextMenuEvent>
#include <QLineEdit>
#include <QMenu>
#include <QTest>
#include <QTreeView>
#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;

class PanelContextMenuTest : public ::testing::Test {
protected:
    static fs::path Production(const testsupport::TemporaryFolder& folder) {
        const fs::path pilot = folder.Path() / "Pilot";
        testsupport::WriteProject(pilot / "Scene 4.mvproj");
        testsupport::WriteProject(pilot / "Scene 12.mvproj");
        testsupport::WriteProject(pilot / "Teaser.mvproj");
        testsupport::WriteProject(pilot / "Dailies" / "Shot 1.mvproj");
        testsupport::WriteProject(pilot / "Trash" / "Old Cut.mvproj");
        return pilot;
    }
    void SetUp() override {
        // The menus hold the host's own commands too (Empty Trash…), declared as the host does.
        host::DeclareHostCommands(host::ShortcutManager::Instance());
        Tree().OpenRow(Row(pilot / "Trash"), true);
        ASSERT_TRUE(WaitUntil([&] { return Row(pilot / "Trash" / "Old Cut.mvproj") != nullptr; }));
    }
    std::shared_ptr<HandlerTandrel::TandrelTabView> Panel() const { return panel.Panel(); }
    HandlerTandrel::TandrelDirectoryView& View() const { return panel.View(); }
    host::UI_MultiColumnTree& Tree() const { return panel.Tree(); }
    host::TreeRowPtr Row(const fs::path& path) const { return panel.Row(path); }
    void Select(const std::vector<fs::path>& paths) const { panel.Select(paths); }
    std::vector<host::WideString> Selected() const { return View().GetSelectedPaths(); }
    static host::WideString W(const fs::path& path) { return host::ToUTF16(path.string()); }
    // The last context menu shown, as "menu: entry+ entry- ..." (+ enabled, - disabled).
    std::string LastMenu() const {
        if (panel.responder->GetMenuRequests().empty()) {
            return "none";
        }
        const host::ContextMenuRequest& request = panel.responder->GetMenuRequests().back();
        std::string text = request.menuID + ":";
        for (const host::ContextMenuEntry& entry : request.entries) {
            text += " " + entry.command + (entry.enabled ? "+" : "-");
        }
        return text;
    }

    const testsupport::TemporaryFolder temporary{"context-menu"};
    const fs::path pilot = Production(temporary);
    testsupport::PanelWindow panel{pilot, temporary.Path() / "profile", 5};
    const std::shared_ptr<host::ScriptedDialogResponder>& responder = panel.responder;
    std::unique_ptr<host::MainWindow>& window = panel.window;
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
    ASSERT_TRUE(testsupport::WaitForOpenings());
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
    results.GetTree().SelectRow(results.GetTree().GetTopLevelRow(0), host::RowSelection::kOnlyRow,
                                host::SelectionNotice::kTell);
    EXPECT_TRUE(results.SelectForContextMenu(results.GetTree().GetTopLevelRow(1)));
    host::TrackContextMenu(host::ByteString(HandlerTandrel::kSearchResultsContextMenuID));
    EXPECT_EQ(LastMenu().rfind("HandlerTandrel_SearchResults_Context_Menu_Project:", 0), 0u);
    EXPECT_NE(LastMenu().find("cmd.mvproductionfolder.openproject+"), std::string::npos);
}

} // namespace

namespace {

QTreeView* TreeWidget(QWidget& window) {
    return window.findChild<QTreeView*>(
        QString::fromStdString(std::string(HandlerTandrel::kDirectoryTreeNodeID)));
}

TEST_F(PanelContextMenuTest, DeleteOnTheTreeMovesTheSelectionToTheTrash) {
    QTreeView* tree = TreeWidget(*window);
    ASSERT_NE(tree, nullptr);
    tree->setFocus();
    QApplication::setActiveWindow(window.get());
    SettleEvents();
    Select({pilot / "Teaser.mvproj"});
    QTest::keyClick(tree, Qt::Key_Delete);
    EXPECT_FALSE(fs::exists(pilot / "Teaser.mvproj"));
    EXPECT_TRUE(fs::exists(pilot / "Trash" / "Teaser.mvproj"));
}

TEST_F(PanelContextMenuTest, DeleteAndBackspaceInTheFindBoxEditTheTextAndMoveNothing) {
    auto* field = window->findChild<QLineEdit*>(
        QString::fromStdString(std::string(HandlerTandrel::kSearchBoxNodeID)));
    ASSERT_NE(field, nullptr);
    Select({pilot / "Teaser.mvproj"});
    field->setFocus();
    QApplication::setActiveWindow(window.get());
    SettleEvents();
    QTest::keyClicks(field, "ab");
    QTest::keyClick(field, Qt::Key_Backspace);
    QTest::keyClick(field, Qt::Key_Home);
    QTest::keyClick(field, Qt::Key_Delete);
    EXPECT_EQ(field->text(), QString());
    EXPECT_TRUE(fs::exists(pilot / "Teaser.mvproj"));
}

TEST_F(PanelContextMenuTest, ControlAOnTheTreeSelectsEveryRowButTheTrashsContent) {
    QTreeView* tree = TreeWidget(*window);
    tree->setFocus();
    QApplication::setActiveWindow(window.get());
    SettleEvents();
    QTest::keyClick(tree, Qt::Key_A, Qt::ControlModifier);
    const std::vector<host::WideString> selected = Selected();
    EXPECT_EQ(selected.size(), 4u); // the top rows but the trash, whose project is left out too
    EXPECT_EQ(std::count(selected.begin(), selected.end(), W(pilot / "Trash" / "Old Cut.mvproj")),
              0);
    EXPECT_EQ(std::count(selected.begin(), selected.end(), W(pilot / "Trash")), 0);
}

TEST_F(PanelContextMenuTest, TheMenusShowTheKeysOfTheirCommands) {
    View().ContextClick(Row(pilot / "Scene 4.mvproj"));
    std::unique_ptr<QMenu> menu(host::BuildMenu("HandlerTandrel_Context_Menu_Project", nullptr));
    ASSERT_NE(menu, nullptr);
    QStringList texts;
    for (const QAction* action : menu->actions()) {
        texts << action->text();
    }
    EXPECT_TRUE(texts.contains(QStringLiteral("Move To Trash\tDel")))
        << texts.join('|').toStdString();
}

} // namespace

namespace {

// The real menu's entries as "text+" or "text-" (enabled or not) once it is about to show.
std::string RealMenu(std::string_view menuID) {
    std::unique_ptr<QMenu> menu(host::BuildMenu(host::ByteString(menuID), nullptr));
    if (!menu) {
        return "none";
    }
    emit menu->aboutToShow();
    std::string text;
    for (const QAction* action : menu->actions()) {
        if (!action->isSeparator()) {
            text += (text.empty() ? "" : "|") + action->text().section('\t', 0, 0).toStdString() +
                    (action->isEnabled() ? "+" : "-");
        }
    }
    return text;
}

TEST_F(PanelContextMenuTest, TheRealProjectMenuEnablesWhatTheSelectedClosedProjectAllows) {
    Select({pilot / "Scene 4.mvproj"});
    EXPECT_EQ(RealMenu(HandlerTandrel::kProjectContextMenuID),
              "Open Project+|Close Project-|Refresh-|Read-Only Mode-|Make a Copy+|Rename+|"
              "Move To Trash+|Reveal in File Browser+");
}

TEST_F(PanelContextMenuTest, RenameIsOffForAProjectAnotherEditorHolds) {
    testsupport::LockAsAnotherEditor(pilot / "Scene 4.mvproj", "Ben Okafor");
    Select({pilot / "Scene 4.mvproj"});
    EXPECT_NE(RealMenu(HandlerTandrel::kProjectContextMenuID).find("|Rename-|"), std::string::npos);
}

TEST_F(PanelContextMenuTest, TheRealTrashAndNoSelectionMenusEnableWhatTheyAllow) {
    Select({pilot / "Trash"});
    // The host's Empty Trash… comes first: the trash holds Old Cut.
    EXPECT_EQ(RealMenu(HandlerTandrel::kTrashContextMenuID),
              "Empty Trash…+|Reveal in File Browser+");
    Select({});
    EXPECT_EQ(RealMenu(HandlerTandrel::kNoSelectionContextMenuID),
              "New Project…+|New Folder+|Add Project…+|Reveal Production in File Browser+");
}

} // namespace
