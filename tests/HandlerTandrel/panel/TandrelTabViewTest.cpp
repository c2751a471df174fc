// The whole panel in a real main window over a real production folder: its children, the
// search in the tree's place, the status line, the buttons, the zoom, and its state across a
// restart.
#include "panel/TandrelTabView.h"
#include "Marvane/app/MainWindow.h"
#include "Marvane/application/HostSession.h"
#include "Marvane/application/ProductionIndex.h"
#include "Marvane/application/ProductionSession.h"
#include "Marvane/core/DefaultExecutor.h"
#include "Marvane/core/UsageLog.h"
#include "Marvane/fileservices/AccessDeadline.h"
#include "Marvane/panelframework/Registries.h"
#include "Marvane/uiframework/CommandDispatch.h"
#include "Marvane/uiframework/DockWorkspace.h"
#include "Marvane/uitoolkit/TreeView.h"
#include "TestProjects.h"
#include "base/ProductionCommands.h"
#include "base/TandrelIDs.h"
#include "directoryview/TandrelDirectoryView.h"
#include "handler/TandrelHandler.h"
#include "host/ProjectBackEnd.h"
#include "panel/TandrelTreeView.h"
#include "search/TandrelSearchResultsView.h"

#include <QAction>
#include <QApplication>
#include <QDockWidget>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLineEdit>
#include <QTreeView>
#include <QWheelEvent>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <thread>

#include "Marvane/fileservices/SearchHooks.h"
#include "TemporaryFolder.h"
#include "ViewTestSupport.h"

namespace {

namespace fs = std::filesystem;
using HandlerTandrel::kMvProductionFolderHandlerID;
using HandlerTandrel::TandrelTabView;
using HandlerTandrel::TandrelTreeView;
using ColumnID = host::UI_MultiColumnTreeHeaderRow::ColumnID;
constexpr ColumnID kNameColumn = 0x4E616D65;
constexpr ColumnID kSizeColumn = 0x53697A65;

class TandrelTabViewTest : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(profile);
        host::HostSession::Instance().profileDirectory = profile;
        testsupport::WriteProject(pilot / "Scene 4.mvproj");
        testsupport::WriteProject(pilot / "Scene 12.mvproj");
        testsupport::WriteProject(pilot / "Dailies" / "Day 1" / "Shot 1.mvproj");
        testsupport::WriteProject(pilot / "Dailies" / "Scene 9 pickup.mvproj");
        testsupport::WriteProject(pilot / "Trash" / "Old Scene.mvproj");
        testsupport::WriteProject(other / "Promo.mvproj");
        HandlerTandrel::DeclareProductionCommands(host::ShortcutManager::Instance());
        host::PanelFrameworkRegistry::Instance().CreateRegisteredHandlers();
        StartWindow();
        Open(pilot);
    }
    void TearDown() override {
        window.reset();
        host::WaitForDefaultExecutor(10000);
        host::ProductionSession::Instance().Close();
        host::HostSession::Instance().profileDirectory.clear();
    }
    void StartWindow() {
        window = std::make_unique<host::MainWindow>();
        window->resize(1600, 900);
        window->show();
        SettleEvents();
    }
    // Opens a production and waits for the panel's top folder.
    void Open(const fs::path& production) {
        ASSERT_EQ(host::ProductionSession::Instance().Open(production), "");
        SettleEvents();
        ASSERT_NE(Panel(), nullptr);
        ASSERT_TRUE(WaitUntil([&] { return Tree().GetTopLevelRowCount() > 0; }));
    }
    // Quits and starts again: the panel goes with its window, the settings are read afresh.
    void Restart(const fs::path& production) {
        window.reset();
        host::WaitForDefaultExecutor(10000);
        host::ProductionSession::Instance().Close();
        StartWindow();
        Open(production);
    }
    std::shared_ptr<TandrelTabView> Panel() const {
        return std::dynamic_pointer_cast<TandrelTabView>(
            window->GetWorkspace().GetTabView(kMvProductionFolderHandlerID));
    }
    // What a test cannot go on without.
    template <typename T> static T& Required(const std::shared_ptr<T>& object) {
        if (!object) {
            throw std::logic_error("the panel or one of its views is missing");
        }
        return *object;
    }
    HandlerTandrel::TandrelDirectoryView& Directory() const {
        return Required(Required(Panel()).GetDirectoryView());
    }
    HandlerTandrel::TandrelSearchResultsView& Results() const {
        return Required(Required(Panel()).GetSearchResultsView());
    }
    host::UI_MultiColumnTree& Tree() const { return Directory().GetTree(); }
    host::TreeRowPtr Row(const fs::path& path) const {
        return Directory().GetRowForPath(host::ToUTF16(path.string()));
    }
    QLineEdit& SearchField() const {
        return *window->findChild<QLineEdit*>(
            QString::fromStdString(std::string(HandlerTandrel::kSearchBoxNodeID)));
    }
    // Types a text as the user does and waits for the results.
    void Search(const std::string& text) {
        SearchField().setText(QString::fromStdString(text));
        ASSERT_TRUE(WaitUntil([&] { return !Results().IsSearching(); }));
        SettleEvents(20);
    }
    // The status line once the panel's pending update ran.
    std::string StatusLine() const {
        SettleEvents(5);
        return host::ToUTF8(Panel()->GetStatusText()->GetValue());
    }
    // Whether a button is enabled once the panel's pending update ran.
    static bool Enabled(const host::PictureButton* button) {
        SettleEvents(5);
        return button->IsEnabled();
    }
    // Drags the edge of a column of the tree shown as the user does.
    void DragColumn(std::string_view treeID, ColumnID id, int width) const {
        auto* view = window->findChild<QTreeView*>(QString::fromStdString(std::string(treeID)));
        ASSERT_NE(view, nullptr);
        const auto& header = treeID == HandlerTandrel::kDirectoryTreeNodeID
                                 ? Directory().GetHeaderRow()
                                 : Results().GetHeaderRow();
        QHeaderView* headerView = view->header();
        headerView->resizeSection(headerView->logicalIndex(header.GetIndexOfColumn(id)), width);
    }

    const testsupport::TemporaryFolder temporary{"tab-view"};
    const fs::path profile = temporary.Path() / "profile";
    const fs::path pilot = temporary.Path() / "Pilot";
    const fs::path other = temporary.Path() / "Promo Show";
    std::unique_ptr<host::MainWindow> window;
};

TEST_F(TandrelTabViewTest, ThePanelBuildsItsSevenChildrenWithTheirTexts) {
    const auto panel = Panel();
    ASSERT_NE(panel->GetTreeView(), nullptr);
    EXPECT_EQ(panel->GetTreeView()->GetMode(), TandrelTreeView::kDirectoryMode);
    EXPECT_EQ(panel->GetSearchBox()->GetPromptText(), "Find");
    EXPECT_EQ(panel->GetZoomSlider()->GetToolTip(), "Adjust size of text and icons");
    EXPECT_EQ(panel->GetZoomSlider()->GetStepCount(), 200);
    EXPECT_EQ(panel->GetNewProjectButton()->GetToolTip(), "New Project");
    EXPECT_EQ(panel->GetNewProjectButton()->GetStatusText(), "Create a new project");
    EXPECT_EQ(panel->GetNewProjectButton()->GetCommandName(), "cmd.mvproductionfolder.newproject");
    EXPECT_EQ(panel->GetNewFolderButton()->GetToolTip(), "New Folder");
    EXPECT_EQ(panel->GetNewFolderButton()->GetStatusText(), "Create a new folder");
    EXPECT_EQ(panel->GetNewFolderButton()->GetCommandName(), "cmd.mediabrowser.newfolder");
    EXPECT_EQ(panel->GetTrashButton()->GetToolTip(), "Move to Trash");
    EXPECT_EQ(panel->GetTrashButton()->GetStatusText(), "Delete the currently selected items");
    EXPECT_EQ(panel->GetTrashButton()->GetCommandName(), "cmd.mvproductionfolder.movetotrash");
    EXPECT_TRUE(panel->HasORNChildViews());
    EXPECT_TRUE(panel->IsDoubleBuffered());
    EXPECT_EQ(panel->GetPanelMenuID(), "HandlerTandrel_Wing_Menu");
}

TEST_F(TandrelTabViewTest, TheChildrenFillThePanelWithoutOverlapping) {
    const auto panel = Panel();
    const host::UI_Rect search = panel->GetSearchBox()->GetFrame();
    const host::UI_Rect tree = panel->GetTreeView()->GetArea().GetFrame();
    const host::UI_Rect status = panel->GetStatusText()->GetFrame();
    const host::UI_Rect trash = panel->GetTrashButton()->GetFrame();
    EXPECT_GT(search.height, 0);
    EXPECT_GE(tree.top, search.top + search.height);
    EXPECT_EQ(tree.width, panel->GetBounds().width);
    EXPECT_GE(status.top, tree.top + tree.height);
    EXPECT_EQ(trash.left + trash.width, panel->GetBounds().width - 6);
}

TEST_F(TandrelTabViewTest, ANewPanelIsWideEnoughForAllFiveColumns) {
    QDockWidget* dock = window->GetWorkspace().GetDock(kMvProductionFolderHandlerID);
    float columns = 0;
    host::UI_MultiColumnTreeHeaderRow& header = Directory().GetHeaderRow();
    for (int position = 0; position < header.GetCountOfColumns(); ++position) {
        columns += header.GetColumnWidth(header.GetColumnAt(position));
    }
    EXPECT_EQ(header.GetCountOfColumns(), 5);
    EXPECT_GE(static_cast<float>(dock->width()), columns);
}

TEST_F(TandrelTabViewTest,
       TypingShowsTheMatchingProjectsInTheTreesPlaceAndClearingBringsTheTreeBack) {
    Search("SCENE");
    const auto panel = Panel();
    EXPECT_EQ(panel->GetTreeView()->GetMode(), TandrelTreeView::kSearchResultsMode);
    EXPECT_TRUE(Results().GetTree().IsVisible());
    EXPECT_FALSE(Tree().IsVisible());
    EXPECT_EQ(TopLevelFileNames(Results()),
              (std::vector<std::string>{"Old Scene.mvproj", "Scene 4.mvproj",
                                        "Scene 9 pickup.mvproj", "Scene 12.mvproj"}));
    EXPECT_EQ(StatusLine(), "4 items");
    SearchField().clear();
    EXPECT_EQ(panel->GetTreeView()->GetMode(), TandrelTreeView::kDirectoryMode);
    EXPECT_EQ(Results().GetTree().GetTopLevelRowCount(), 0); // emptied at once
    EXPECT_TRUE(Tree().IsVisible());
    EXPECT_FALSE(Results().GetTree().IsVisible());
    EXPECT_EQ(StatusLine(), "4 items");
}

TEST_F(TandrelTabViewTest, ClearingTheSearchReadsTheShownProjectsAgainInOneLook) {
    Search("SCENE");
    testsupport::LockAsAnotherEditor(pilot / "Scene 12.mvproj", "Ben Okafor");
    host::WaitForDefaultExecutor(10000);
    SettleEvents(300);
    const std::uint64_t before = host::files::BoundedAccessCount();
    SearchField().clear();
    // The two projects shown at the top are read again in one look, where each alone is two
    // (the watched folder may have shown the lock already; the count is what tells).
    EXPECT_EQ(host::files::BoundedAccessCount() - before, 1u);
    const auto record = Directory().GetRowMetadata(Row(pilot / "Scene 12.mvproj"));
    ASSERT_TRUE(record.has_value());
    EXPECT_EQ(record->lockOwner, u"Ben Okafor");
    EXPECT_TRUE(Directory().GetRowMetadata(Row(pilot / "Scene 4.mvproj"))->lockOwner.empty());
}

TEST_F(TandrelTabViewTest, WhileASearchRunsTheStatusSaysSoInsteadOfACountOfNothing) {
    SearchField().setText("scene");
    // The search runs on a worker: until its results are shown, the status says it runs.
    ASSERT_TRUE(Results().IsSearching());
    Panel()->UpdateStatusText();
    EXPECT_EQ(host::ToUTF8(Panel()->GetStatusText()->GetValue()).rfind("Searching... ", 0), 0u)
        << host::ToUTF8(Panel()->GetStatusText()->GetValue());
    ASSERT_TRUE(WaitUntil([&] { return !Results().IsSearching(); }));
    EXPECT_EQ(Results().GetFoundCount(), 4u);
    EXPECT_EQ(StatusLine(), "4 items");
}

TEST_F(TandrelTabViewTest, ResultsFoundShowWhileTheSearchStillRuns) {
    // A slow disk, before the names of the production are indexed (so the search walks it):
    // each folder takes a while to reach.
    host::ProductionIndex::Instance().Close();
    host::files::SetSearchFolderHookForTesting(
        [] { std::this_thread::sleep_for(std::chrono::milliseconds(150)); });
    struct Restore {
        ~Restore() { host::files::SetSearchFolderHookForTesting({}); }
    } restore;
    SearchField().setText("scene");
    bool seenWhileSearching = false;
    ASSERT_TRUE(WaitUntil([&] {
        if (Results().IsSearching() && Results().GetRowCount() > 0) {
            Panel()->UpdateStatusText();
            seenWhileSearching =
                host::ToUTF8(Panel()->GetStatusText()->GetValue()).rfind("Searching... ", 0) == 0;
        }
        return !Results().IsSearching();
    }));
    EXPECT_TRUE(seenWhileSearching) << "no result showed before the search ended";
    EXPECT_EQ(TopLevelFileNames(Results()),
              (std::vector<std::string>{"Old Scene.mvproj", "Scene 4.mvproj",
                                        "Scene 9 pickup.mvproj", "Scene 12.mvproj"}));
    EXPECT_EQ(StatusLine(), "4 items");
}

TEST_F(TandrelTabViewTest, ManyResultsArriveInPartsAllInOrderAndANewTextDropsTheRest) {
    const std::size_t many = 3 * HandlerTandrel::TandrelSearchResultsView::kRowsPerPart + 7;
    for (std::size_t take = 0; take < many; ++take) {
        std::ofstream(pilot / "Dailies" / ("Take " + std::to_string(take) + ".mvproj"))
            << R"({"formatVersion":1,"name":"Take","bins":[],"sequences":[]})";
    }
    std::vector<int> shownCounts;
    SearchField().setText("take");
    ASSERT_TRUE(WaitUntil([&] {
        const int rows = Results().GetRowCount();
        if (shownCounts.empty() || shownCounts.back() != rows) {
            shownCounts.push_back(rows);
        }
        return !Results().IsSearching();
    }));
    ASSERT_EQ(static_cast<std::size_t>(Results().GetRowCount()), many);
    // In the order of their names as people count: Take 0, Take 1, Take 2, ... Take 10.
    const auto names = TopLevelFileNames(Results());
    for (std::size_t index = 0; index < names.size(); ++index) {
        ASSERT_EQ(names[index], "Take " + std::to_string(index) + ".mvproj");
    }
    EXPECT_EQ(StatusLine(), std::to_string(many) + " items");
    // A new text while parts of the results are still to come: only its results show.
    SearchField().setText("tak");
    ASSERT_TRUE(WaitUntil([&] { return Results().GetRowCount() > 0; }));
    SearchField().setText("scene");
    ASSERT_TRUE(WaitUntil([&] { return !Results().IsSearching(); }));
    SettleEvents(50);
    EXPECT_EQ(TopLevelFileNames(Results()),
              (std::vector<std::string>{"Old Scene.mvproj", "Scene 4.mvproj",
                                        "Scene 9 pickup.mvproj", "Scene 12.mvproj"}));
}

TEST_F(TandrelTabViewTest, TheSameTextAgainStartsNoNewSearch) {
    Search("scene");
    const auto rows = TopLevelFileNames(Results());
    Panel()->OnSearchTextChanged(); // the box tells again, with the text unchanged
    EXPECT_FALSE(Results().IsSearching());
    EXPECT_EQ(TopLevelFileNames(Results()), rows);
}

TEST_F(TandrelTabViewTest, TheColumnLayoutGoesWithTheUserBetweenTreeAndResults) {
    host::UI_MultiColumnTreeHeaderRow& header = Directory().GetHeaderRow();
    header.MoveColumn(kSizeColumn, 1, false);
    header.SetColumnWidth(kSizeColumn, 130);
    header.SetSortColumn(kSizeColumn);
    header.SetSortDirection(false);
    Search("scene");
    host::UI_MultiColumnTreeHeaderRow& results = Results().GetHeaderRow();
    EXPECT_EQ(results.GetIndexOfColumn(kSizeColumn), 1);
    EXPECT_EQ(results.GetColumnWidth(kSizeColumn), 130);
    EXPECT_EQ(results.GetSortColumn(), kSizeColumn);
    EXPECT_FALSE(results.IsSortDirectionAscending());
    results.SetColumnWidth(kNameColumn, 260);
    results.SetSortDirection(true);
    SearchField().clear();
    EXPECT_EQ(header.GetColumnWidth(kNameColumn), 260);
    EXPECT_TRUE(header.IsSortDirectionAscending());
}

TEST_F(TandrelTabViewTest, TheStatusLineCountsTheShownRowsAndTheSelection) {
    EXPECT_EQ(StatusLine(), "4 items");
    Tree().SelectRow(Row(pilot / "Scene 4.mvproj"), host::RowSelection::kOnlyRow,
                     host::SelectionNotice::kTell);
    EXPECT_EQ(StatusLine(), "1 of 4 items selected");
    Tree().SelectRow(Row(pilot / "Scene 12.mvproj"), host::RowSelection::kAddRow,
                     host::SelectionNotice::kTell);
    EXPECT_EQ(StatusLine(), "2 of 4 items selected");
    Search("scene 4");
    EXPECT_EQ(StatusLine(), "1 item");
    Results().GetTree().SelectRow(Results().GetTree().GetTopLevelRow(0),
                                  host::RowSelection::kOnlyRow, host::SelectionNotice::kTell);
    EXPECT_EQ(StatusLine(), "1 of 1 item selected");
}

TEST_F(TandrelTabViewTest, TheStatusLineCountsRowsOfOpenedFolders) {
    Tree().OpenRow(Row(pilot / "Dailies"), true);
    ASSERT_TRUE(WaitUntil([&] { return StatusLine() == "6 items"; })) << StatusLine();
}

TEST_F(TandrelTabViewTest, TheButtonsFollowTheSelectionAndTheTrash) {
    const auto panel = Panel();
    EXPECT_TRUE(Enabled(panel->GetNewProjectButton()));
    EXPECT_TRUE(Enabled(panel->GetNewFolderButton()));
    EXPECT_FALSE(Enabled(panel->GetTrashButton()));
    Tree().SelectRow(Row(pilot / "Scene 4.mvproj"), host::RowSelection::kOnlyRow,
                     host::SelectionNotice::kTell);
    EXPECT_TRUE(Enabled(panel->GetNewProjectButton()));
    EXPECT_TRUE(Enabled(panel->GetTrashButton()));
    Tree().SelectRow(Row(pilot / "Scene 12.mvproj"), host::RowSelection::kAddRow,
                     host::SelectionNotice::kTell);
    EXPECT_FALSE(Enabled(panel->GetNewProjectButton())); // two rows: no single place
    EXPECT_FALSE(Enabled(panel->GetNewFolderButton()));
    EXPECT_TRUE(Enabled(panel->GetTrashButton()));
    Tree().SelectRow(Row(pilot / "Trash"), host::RowSelection::kOnlyRow,
                     host::SelectionNotice::kTell);
    EXPECT_FALSE(Enabled(panel->GetNewProjectButton()));
    EXPECT_FALSE(Enabled(panel->GetTrashButton()));
}

TEST_F(TandrelTabViewTest, TheTrashButtonIsOffForAProjectAnotherEditorHolds) {
    const fs::path scene = pilot / "Scene 4.mvproj";
    testsupport::LockAsAnotherEditor(scene, "Ben Okafor");
    Tree().SelectRow(Row(scene), host::RowSelection::kOnlyRow, host::SelectionNotice::kTell);
    EXPECT_FALSE(Enabled(Panel()->GetTrashButton()));
}

TEST_F(TandrelTabViewTest, ABigSelectionIsTestedForTheTrashBesideTheTreeAndTestedAgainOnChange) {
    const fs::path batch = pilot / "Batch";
    std::vector<fs::path> projects;
    for (int index = 0; index < 40; ++index) {
        projects.push_back(batch / ("Take " + std::to_string(index) + ".mvproj"));
        testsupport::WriteProject(projects.back());
    }
    ASSERT_TRUE(WaitUntil([&] { return Row(batch) != nullptr; }));
    Tree().OpenRow(Row(batch), true);
    ASSERT_TRUE(WaitUntil([&] { return Row(projects.back()) != nullptr; }));
    std::vector<host::TreeRowPtr> rows;
    for (const fs::path& project : projects) {
        rows.push_back(Row(project));
    }
    const auto panel = Panel();
    const host::Command moveToTrash{HandlerTandrel::kCmdMoveToTrash,
                                    "cmd.mvproductionfolder.movetotrash"};
    host::CommandStatus status;

    // The main thread reads no lock file and looks through no folder for it. Before the
    // answer, a menu or a shortcut may choose the command (carrying it out tests).
    Tree().SelectRows(rows, false);
    const std::uint64_t waits = host::files::BoundedAccessCount();
    ASSERT_TRUE(panel->FindCommandStatus(moveToTrash, status));
    EXPECT_TRUE(status.enabled);
    ASSERT_TRUE(panel->FindCommandStatus(moveToTrash, status));
    EXPECT_LT(host::files::BoundedAccessCount() - waits, 4u);
    // The button waits for the answer.
    EXPECT_TRUE(WaitUntil([&] { return Enabled(panel->GetTrashButton()); }));
    ASSERT_TRUE(panel->FindCommandStatus(moveToTrash, status));
    EXPECT_TRUE(status.enabled);

    // Another editor takes one of them: the answer kept is tested again, and the button goes
    // off without the selection changing.
    testsupport::LockAsAnotherEditor(projects[17], "Ben Okafor", "away");
    EXPECT_TRUE(WaitUntil([&] { return !Enabled(panel->GetTrashButton()); }));
    ASSERT_TRUE(panel->FindCommandStatus(moveToTrash, status));
    EXPECT_FALSE(status.enabled);
    EXPECT_EQ(Tree().GetSelectedRows().size(), rows.size());

    // Carrying the command out tests again: nothing moves.
    panel->ObeyCommand(moveToTrash);
    SettleEvents(20);
    for (const fs::path& project : projects) {
        EXPECT_TRUE(fs::exists(project)) << project;
    }
}

TEST_F(TandrelTabViewTest, ZoomInAndOutMoveTheSliderAndTheRowHeight) {
    const auto panel = Panel();
    EXPECT_EQ(Tree().GetRowHeight(), 25.0f);
    panel->ZoomIn();
    panel->ZoomIn();
    EXPECT_EQ(panel->GetZoom(), 0.5);
    EXPECT_EQ(panel->GetZoomSlider()->GetValue(), 0.5);
    EXPECT_EQ(Tree().GetRowHeight(), 47.5f);
    EXPECT_EQ(Results().GetTree().GetRowHeight(), 47.5f);
    panel->ZoomOut();
    EXPECT_EQ(panel->GetZoom(), 0.25);
}

TEST_F(TandrelTabViewTest, ControlZeroResetsTheZoomFromEitherView) {
    const auto panel = Panel();
    const auto pressControlZero = [](host::UI_MultiColumnTree& tree) {
        QTreeView& view = *tree.GetImpl()->view;
        QKeyEvent press(QEvent::KeyPress, Qt::Key_0, Qt::ControlModifier, QStringLiteral("0"));
        QApplication::sendEvent(&view, &press);
        return press.isAccepted();
    };
    panel->ZoomIn();
    panel->ZoomIn();
    panel->ZoomIn();
    ASSERT_EQ(panel->GetZoom(), 0.75);
    EXPECT_TRUE(pressControlZero(Tree()));
    EXPECT_EQ(panel->GetZoom(), 0.0);
    EXPECT_EQ(panel->GetZoomSlider()->GetValue(), 0.0);
    EXPECT_EQ(Tree().GetRowHeight(), 25.0f);
    EXPECT_EQ(Results().GetTree().GetRowHeight(), 25.0f);
    // The same from the search results, and a 0 without Control changes nothing.
    panel->ZoomIn();
    QKeyEvent plain(QEvent::KeyPress, Qt::Key_0, Qt::NoModifier, QStringLiteral("0"));
    QApplication::sendEvent(Results().GetTree().GetImpl()->view, &plain);
    EXPECT_EQ(panel->GetZoom(), 0.25);
    EXPECT_TRUE(pressControlZero(Results().GetTree()));
    EXPECT_EQ(panel->GetZoom(), 0.0);
    EXPECT_EQ(Results().GetTree().GetRowHeight(), 25.0f);
}

TEST_F(TandrelTabViewTest, TheZoomCommandsAreThePanels) {
    const auto panel = Panel();
    host::CommandStatus status;
    EXPECT_TRUE(panel->FindCommandStatus(
        {HandlerTandrel::kCmdZoomIn, "cmd.mvproductionfolder.zoomin"}, status));
    EXPECT_TRUE(status.enabled);
    EXPECT_TRUE(panel->ObeyCommand({HandlerTandrel::kCmdZoomIn, "cmd.mvproductionfolder.zoomin"}));
    EXPECT_EQ(panel->GetZoom(), 0.25);
    EXPECT_TRUE(
        panel->ObeyCommand({HandlerTandrel::kCmdZoomOut, "cmd.mvproductionfolder.zoomout"}));
    EXPECT_EQ(panel->GetZoom(), 0.0);
}

TEST_F(TandrelTabViewTest, TheZoomCommandsReportTheZoomTheyArriveAt) {
    const auto panel = Panel();
    host::ClearUsageEvents();
    EXPECT_TRUE(panel->ObeyCommand({HandlerTandrel::kCmdZoomIn, "cmd.mvproductionfolder.zoomin"}));
    EXPECT_TRUE(panel->ObeyCommand({HandlerTandrel::kCmdZoomIn, "cmd.mvproductionfolder.zoomin"}));
    EXPECT_TRUE(
        panel->ObeyCommand({HandlerTandrel::kCmdZoomOut, "cmd.mvproductionfolder.zoomout"}));
    const auto events = host::RecentUsageEvents();
    ASSERT_EQ(events.size(), 3u);
    EXPECT_EQ(events[0].event, "Zoom");
    EXPECT_EQ(events[0].value, "0.25");
    EXPECT_EQ(events[1].value, "0.5");
    EXPECT_EQ(events[2].event, "Zoom");
    EXPECT_EQ(events[2].value, "0.25");
}

TEST_F(TandrelTabViewTest, MovingTheZoomSliderIsNotReportedAsAZoomCommand) {
    const auto panel = Panel();
    host::ClearUsageEvents();
    panel->GetZoomSlider()->SetValue(0.6);
    panel->OnZoomSliderChanged();
    EXPECT_EQ(panel->GetZoom(), 0.6);
    EXPECT_EQ(host::UsageEventCount(), 0u);
}

TEST_F(TandrelTabViewTest, ControlAndTheWheelOverTheTreeZoomsAndTheWheelAloneScrolls) {
    auto* view = window->findChild<QTreeView*>(
        QString::fromStdString(std::string(HandlerTandrel::kDirectoryTreeNodeID)));
    ASSERT_NE(view, nullptr);
    const QPoint at = view->viewport()->rect().center();
    QWheelEvent zoom(at, view->viewport()->mapToGlobal(at), QPoint(), QPoint(0, 120), Qt::NoButton,
                     Qt::ControlModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(view->viewport(), &zoom);
    EXPECT_EQ(Panel()->GetZoom(), 0.25);
    // A touchpad's small turns zoom once they add up to a notch.
    for (int turn = 0; turn < 3; ++turn) {
        QWheelEvent small(at, view->viewport()->mapToGlobal(at), QPoint(), QPoint(0, 40),
                          Qt::NoButton, Qt::ControlModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(view->viewport(), &small);
        EXPECT_EQ(Panel()->GetZoom(), turn < 2 ? 0.25 : 0.5);
    }
    QWheelEvent scroll(at, view->viewport()->mapToGlobal(at), QPoint(), QPoint(0, -120),
                       Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(view->viewport(), &scroll);
    EXPECT_EQ(Panel()->GetZoom(), 0.5);
}

TEST_F(TandrelTabViewTest, TheSliderZoomsAndRescalesOnlyTheColumnsTheUserSized) {
    const auto panel = Panel();
    host::UI_MultiColumnTreeHeaderRow& header = Directory().GetHeaderRow();
    DragColumn(HandlerTandrel::kDirectoryTreeNodeID, kSizeColumn, 100);
    ASSERT_EQ(Directory().GetColumnWidths().Get().at(kSizeColumn), 100.0f);
    panel->GetZoomSlider()->SetValue(1.0);
    panel->OnZoomSliderChanged();
    EXPECT_EQ(Tree().GetRowHeight(), 70.0f);
    EXPECT_EQ(header.GetColumnWidth(kSizeColumn), 280.0f);
    EXPECT_EQ(header.GetColumnWidth(kNameColumn), 200.0f); // never sized by the user
    // A width dragged while zoomed is kept unzoomed.
    DragColumn(HandlerTandrel::kDirectoryTreeNodeID, kSizeColumn, 140);
    EXPECT_FLOAT_EQ(Directory().GetColumnWidths().Get().at(kSizeColumn), 50.0f);
}

TEST_F(TandrelTabViewTest, TheStackedHeightIsTheHeightOfEveryShownRow) {
    EXPECT_EQ(Panel()->GetStackedDimensionHeight(), 4 * Tree().GetRowHeight());
}

TEST_F(TandrelTabViewTest, TheSelectedPathsAreTheResultsWhileTheyAreShown) {
    Tree().SelectRow(Row(pilot / "Scene 4.mvproj"), host::RowSelection::kOnlyRow,
                     host::SelectionNotice::kTell);
    EXPECT_EQ(Panel()->GetSelectedPaths(),
              std::vector<host::WideString>{host::ToUTF16((pilot / "Scene 4.mvproj").string())});
    Search("pickup");
    EXPECT_TRUE(Panel()->GetSelectedPaths().empty());
    Results().GetTree().SelectRow(Results().GetTree().GetTopLevelRow(0),
                                  host::RowSelection::kOnlyRow, host::SelectionNotice::kTell);
    EXPECT_EQ(Panel()->GetSelectedPaths(),
              std::vector<host::WideString>{
                  host::ToUTF16((pilot / "Dailies" / "Scene 9 pickup.mvproj").string())});
}

TEST_F(TandrelTabViewTest, AfterARestartThePanelIsAsTheUserLeftIt) {
    Tree().OpenRow(Row(pilot / "Dailies"), true);
    ASSERT_TRUE(WaitUntil([&] { return Row(pilot / "Dailies" / "Day 1") != nullptr; }));
    Tree().OpenRow(Row(pilot / "Dailies" / "Day 1"), true);
    ASSERT_TRUE(
        WaitUntil([&] { return Row(pilot / "Dailies" / "Day 1" / "Shot 1.mvproj") != nullptr; }));
    Tree().SelectRow(Row(pilot / "Dailies" / "Day 1" / "Shot 1.mvproj"),
                     host::RowSelection::kOnlyRow, host::SelectionNotice::kTell);
    host::UI_MultiColumnTreeHeaderRow& header = Directory().GetHeaderRow();
    header.MoveColumn(kSizeColumn, 1, false);
    DragColumn(HandlerTandrel::kDirectoryTreeNodeID, kSizeColumn, 120);
    header.SetSortDirection(false);
    Panel()->ZoomIn();
    Search("scene");

    Restart(pilot);
    const auto panel = Panel();
    EXPECT_EQ(panel->GetZoom(), 0.25);
    EXPECT_EQ(panel->GetSearchBox()->GetValue(), u"scene");
    ASSERT_TRUE(WaitUntil([&] { return Results().GetTree().GetTopLevelRowCount() == 4; }));
    EXPECT_EQ(panel->GetTreeView()->GetMode(), TandrelTreeView::kSearchResultsMode);
    host::UI_MultiColumnTreeHeaderRow& results = Results().GetHeaderRow();
    EXPECT_EQ(results.GetIndexOfColumn(kSizeColumn), 1);
    EXPECT_FALSE(results.IsSortDirectionAscending());
    const float scale = (70.0f / 25.0f - 1.0f) * 0.25f + 1.0f;
    EXPECT_EQ(results.GetColumnWidth(kSizeColumn), std::round(120.0f * scale));
    SearchField().clear();
    ASSERT_TRUE(
        WaitUntil([&] { return Row(pilot / "Dailies" / "Day 1" / "Shot 1.mvproj") != nullptr; }));
    EXPECT_TRUE(Tree().IsRowOpen(Row(pilot / "Dailies")));
    EXPECT_TRUE(Tree().IsRowOpen(Row(pilot / "Dailies" / "Day 1")));
    EXPECT_EQ(Directory().GetSelectedPaths(),
              std::vector<host::WideString>{
                  host::ToUTF16((pilot / "Dailies" / "Day 1" / "Shot 1.mvproj").string())});
}

TEST_F(TandrelTabViewTest, EachProductionKeepsItsOwnState) {
    Panel()->ZoomIn();
    Panel()->ZoomIn();
    Restart(other);
    EXPECT_EQ(Panel()->GetZoom(), 0.0);
    EXPECT_EQ(Tree().GetRowHeight(), 25.0f);
    Restart(pilot);
    EXPECT_EQ(Panel()->GetZoom(), 0.5);
}

TEST_F(TandrelTabViewTest, ClosingThePanelKeepsItsStateAtOnce) {
    Panel()->ZoomIn();
    window->GetWorkspace().CloseTab(kMvProductionFolderHandlerID);
    SettleEvents();
    const auto saved = HandlerTandrel::FindTandrelHandler()->GetSettingsStore().FindProductionState(
        host::ToUTF16(pilot.string()));
    ASSERT_TRUE(saved.has_value());
    EXPECT_EQ(saved->mZoom, 0.25);
    EXPECT_TRUE(fs::exists(profile / "Production Panel Settings"));
}

} // namespace

namespace {

TEST_F(TandrelTabViewTest, SwitchingProductionsKeepsTheStateOfTheOneLeftAndClearsTheSearch) {
    Tree().OpenRow(Row(pilot / "Dailies"), true);
    ASSERT_TRUE(WaitUntil([&] { return Row(pilot / "Dailies" / "Day 1") != nullptr; }));
    Panel()->ZoomIn();
    Search("scene");
    Open(other);
    EXPECT_EQ(Panel()->GetSearchBox()->GetValue(), u"");
    EXPECT_EQ(Panel()->GetTreeView()->GetMode(), TandrelTreeView::kDirectoryMode);
    EXPECT_EQ(Results().GetTree().GetTopLevelRowCount(), 0);
    EXPECT_EQ(TopLevelFileNames(Directory()), std::vector<std::string>{"Promo.mvproj"});
    Open(pilot);
    EXPECT_EQ(Panel()->GetZoom(), 0.25);
    EXPECT_EQ(Panel()->GetSearchBox()->GetValue(), u"scene");
    ASSERT_TRUE(WaitUntil([&] { return Results().GetTree().GetTopLevelRowCount() == 4; }));
    SearchField().clear();
    EXPECT_TRUE(WaitUntil([&] {
        return Row(pilot / "Dailies" / "Day 1") != nullptr &&
               Tree().IsRowOpen(Row(pilot / "Dailies"));
    }));
}

} // namespace

namespace {

TEST_F(TandrelTabViewTest, TheViewMenusZoomItemsAndTheirShortcutsZoomTheFocusedPanel) {
    QAction* zoomIn = nullptr;
    QAction* zoomOut = nullptr;
    for (QAction* action : window->findChildren<QAction*>()) {
        if (action->data().toInt() == HandlerTandrel::kCmdZoomIn) {
            zoomIn = action;
        } else if (action->data().toInt() == HandlerTandrel::kCmdZoomOut) {
            zoomOut = action;
        }
    }
    ASSERT_NE(zoomIn, nullptr);
    ASSERT_NE(zoomOut, nullptr);
    EXPECT_EQ(zoomIn->shortcut(), QKeySequence(QKeySequence::ZoomIn));
    EXPECT_EQ(zoomOut->shortcut(), QKeySequence(QKeySequence::ZoomOut));
    host::CommandDispatcher::Instance().SetFocusedTabView(Panel());
    zoomIn->trigger();
    zoomIn->trigger();
    zoomOut->trigger();
    EXPECT_EQ(Panel()->GetZoom(), 0.25);
    EXPECT_EQ(Tree().GetRowHeight(), (70.0f - 25.0f) * 0.25f + 25.0f);
}

} // namespace

namespace {

TEST_F(TandrelTabViewTest, WithNoProductionThePanelKeepsItsChildrenAndTheButtonsAreOff) {
    host::ProductionSession::Instance().Close();
    const auto panel = Panel();
    ASSERT_NE(panel, nullptr);
    EXPECT_NE(panel->GetSearchBox(), nullptr);
    EXPECT_NE(panel->GetTreeView(), nullptr);
    EXPECT_FALSE(Enabled(panel->GetNewProjectButton()));
    EXPECT_FALSE(Enabled(panel->GetNewFolderButton()));
    EXPECT_FALSE(Enabled(panel->GetTrashButton()));
    EXPECT_EQ(StatusLine(), "0 items");
    EXPECT_EQ(panel->GetTitle(), "Production");
}

TEST_F(TandrelTabViewTest, APanelMadeBeforeAnyProductionIsOpenBuildsTheSameChildren) {
    window.reset();
    host::WaitForDefaultExecutor(10000);
    host::ProductionSession::Instance().Close();
    StartWindow();
    window->GetWorkspace().OpenTab(kMvProductionFolderHandlerID);
    SettleEvents();
    const auto panel = Panel();
    ASSERT_NE(panel, nullptr);
    ASSERT_NE(panel->GetTrashButton(), nullptr);
    EXPECT_FALSE(Enabled(panel->GetNewProjectButton()));
    Open(pilot); // the tree shows it when it opens
    EXPECT_TRUE(Enabled(panel->GetNewProjectButton()));
    EXPECT_EQ(StatusLine(), "4 items");
}

} // namespace
