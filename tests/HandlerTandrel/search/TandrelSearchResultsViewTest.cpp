// The flat list of projects whose names hold the search text, over a real production folder.
#include "search/TandrelSearchResultsView.h"

#include "Marvane/application/HostSession.h"
#include "Marvane/application/ProductionSession.h"
#include "Marvane/core/DefaultExecutor.h"
#include "Marvane/fileservices/AccessDeadline.h"
#include "Marvane/projectbackend/ProjectFormats.h"
#include "Marvane/uitoolkit/TreeView.h"
#include "TemporaryFolder.h"
#include "TestProjects.h"
#include "ViewTestSupport.h"
#include "columns/ColumnIDs.h"
#include "columns/FileMetadata.h"
#include "host/OpenProjects.h"
#include "host/ProjectBackEnd.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;
using HandlerTandrel::TandrelSearchResultsView;

class TandrelSearchResultsViewTest : public ::testing::Test {
protected:
    void SetUp() override {
        Touch("ABC_Final.mvproj");
        Touch("Day 1/xAbCx.mvproj");
        Touch("Day 1/Interview.mvproj");
        fs::create_directories(root / "abc");
        Touch("abc/notes.txt");
        Touch("abc.txt");
        Touch("\xC3\x89"
              "clair.mvproj"); // capital E with acute accent
        ASSERT_EQ(host::ProductionSession::Instance().Open(root), "");
        view = TandrelSearchResultsView::Create([this] { ++shown; });
    }
    void TearDown() override {
        view.reset();
        host::WaitForDefaultExecutor(10000);
        SettleEvents(20);
        host::ProductionSession::Instance().Close();
    }
    void Touch(const fs::path& relative) const {
        fs::create_directories((root / relative).parent_path());
        std::ofstream(root / relative) << R"({"formatVersion": 1, "name": "x"})";
    }
    // Searches and waits for the rows; the names shown, in the tree's order.
    std::vector<std::string> FindAndWait(const std::u16string& text) {
        const int before = shown;
        view->Find(text);
        EXPECT_TRUE(WaitUntil([&] { return shown > before; }));
        return TopLevelFileNames(*view);
    }

    testsupport::TemporaryFolder folder{"search-view"};
    fs::path root = folder.Path();
    std::shared_ptr<TandrelSearchResultsView> view;
    int shown = 0;
};

TEST_F(TandrelSearchResultsViewTest, SearchingForAbcFindsItsProjectsInAnyAsciiCaseAndNothingElse) {
    EXPECT_EQ(FindAndWait(u"abc"), (std::vector<std::string>{"ABC_Final.mvproj", "xAbCx.mvproj"}));
    // Each row knows its path both ways.
    const host::WideString path = host::ToUTF16((root / "Day 1" / "xAbCx.mvproj").string());
    ASSERT_NE(view->GetRowForPath(path), nullptr);
    EXPECT_EQ(view->GetRowPath(view->GetRowForPath(path)), path);
}

TEST_F(TandrelSearchResultsViewTest, AResultInTheTrashSaysSoInItsToolTip) {
    Touch("Trash/abc old.mvproj");
    EXPECT_EQ(FindAndWait(u"abc"),
              (std::vector<std::string>{"abc old.mvproj", "ABC_Final.mvproj", "xAbCx.mvproj"}));
    const auto& model = view->GetTree().GetImpl()->model;
    const auto tip = [&](const fs::path& path) {
        const host::TreeRowPtr row = view->GetRowForPath(host::ToUTF16(path.string()));
        return row ? model.data(model.IndexOf(row), Qt::ToolTipRole).toString().toStdString()
                   : std::string("no row");
    };
    EXPECT_EQ(tip(root / "Trash" / "abc old.mvproj"), "This project lies in the Trash.");
    EXPECT_EQ(tip(root / "ABC_Final.mvproj"), "");
    EXPECT_EQ(tip(root / "Day 1" / "xAbCx.mvproj"), "");
}

TEST_F(TandrelSearchResultsViewTest, SearchingForTheProjectExtensionFindsNothing) {
    EXPECT_EQ(FindAndWait(u"mvproj"), std::vector<std::string>{});
    Touch("An mvproj primer.mvproj");
    EXPECT_EQ(FindAndWait(u"mvproj"), (std::vector<std::string>{"An mvproj primer.mvproj"}));
}

TEST_F(TandrelSearchResultsViewTest, ALetterOutsideAsciiInTheOtherCaseDoesNotMatch) {
    EXPECT_EQ(FindAndWait(u"\u00e9clair"), std::vector<std::string>{});
    EXPECT_EQ(FindAndWait(u"\u00c9clair"), (std::vector<std::string>{"\xC3\x89"
                                                                     "clair.mvproj"}));
}

TEST_F(TandrelSearchResultsViewTest, ClearingTheTextEmptiesTheListAtOnceWithoutSearching) {
    ASSERT_EQ(FindAndWait(u"abc").size(), 2u);
    const int before = shown;
    view->Find(u"");
    EXPECT_EQ(view->GetTree().GetTopLevelRowCount(), 0);
    EXPECT_FALSE(view->IsSearching());
    EXPECT_EQ(view->GetRowForPath(host::ToUTF16((root / "ABC_Final.mvproj").string())), nullptr);
    SettleEvents(100);
    EXPECT_EQ(shown, before); // no search ran
}

TEST_F(TandrelSearchResultsViewTest, ANewerTextReplacesAnOlderSearchBeforeItsResultsShow) {
    view->Find(u"abc");
    EXPECT_EQ(FindAndWait(u"interview"), (std::vector<std::string>{"Interview.mvproj"}));
    host::WaitForDefaultExecutor(10000);
    SettleEvents(100);
    EXPECT_EQ(shown, 1); // the first search's results never arrived
}

TEST_F(TandrelSearchResultsViewTest, RowsAreSortedByTheCurrentColumn) {
    Touch("Day 2/abc 10.mvproj");
    Touch("Day 2/abc 2.mvproj");
    EXPECT_EQ(FindAndWait(u"abc"), (std::vector<std::string>{"abc 2.mvproj", "abc 10.mvproj",
                                                             "ABC_Final.mvproj", "xAbCx.mvproj"}));
}

TEST_F(TandrelSearchResultsViewTest, ResultsSortedByNameAreOrderedOffTheWindowsThread) {
    Touch("Day 2/abc 10.mvproj");
    Touch("Day 2/abc 2.mvproj");
    const std::uint64_t before = view->GetTree().GetSortDataRequestCount();
    EXPECT_EQ(FindAndWait(u"abc"), (std::vector<std::string>{"abc 2.mvproj", "abc 10.mvproj",
                                                             "ABC_Final.mvproj", "xAbCx.mvproj"}));
    EXPECT_EQ(view->GetTree().GetSortDataRequestCount(), before); // no row was asked for a key
    view->GetHeaderRow().SetSortDirection(false);
    EXPECT_EQ(FindAndWait(u"abc"), (std::vector<std::string>{"xAbCx.mvproj", "ABC_Final.mvproj",
                                                             "abc 10.mvproj", "abc 2.mvproj"}));
}

TEST_F(TandrelSearchResultsViewTest, ResultsSortedByAnotherColumnAreSortedByTheTree) {
    Touch("Day 2/abc big.mvproj");
    std::ofstream(root / "Day 2" / "abc big.mvproj", std::ios::app) << std::string(4000, ' ');
    view->GetHeaderRow().SetSortColumn(0x53697A65); // Size
    view->GetHeaderRow().SetSortDirection(false);
    const std::vector<std::string> rows = FindAndWait(u"abc");
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows.front(), "abc big.mvproj");
}

TEST_F(TandrelSearchResultsViewTest, ASortChangedWhileSearchingOrdersTheResultsByTheNewSort) {
    Touch("Day 2/abc 10.mvproj");
    Touch("Day 2/abc 2.mvproj");
    const int before = shown;
    view->Find(u"abc");
    view->GetHeaderRow().SetSortDirection(false); // the user clicks the column meanwhile
    ASSERT_TRUE(WaitUntil([&] { return shown > before; }));
    EXPECT_EQ(TopLevelFileNames(*view),
              (std::vector<std::string>{"xAbCx.mvproj", "ABC_Final.mvproj", "abc 10.mvproj",
                                        "abc 2.mvproj"}));
}

TEST_F(TandrelSearchResultsViewTest, ADoubleClickOnAProjectThatIsGoneDoesNothing) {
    ASSERT_EQ(FindAndWait(u"abc").size(), 2u);
    const host::TreeRowPtr row =
        view->GetRowForPath(host::ToUTF16((root / "ABC_Final.mvproj").string()));
    ASSERT_NE(row, nullptr);
    fs::remove(root / "ABC_Final.mvproj");
    view->RowDoubleClicked(row, 0);
    EXPECT_EQ(host::FindOpenProject((root / "ABC_Final.mvproj").string()), nullptr);
}

TEST_F(TandrelSearchResultsViewTest, TheRowsAboutToBeDrawnReadTheirRecordsInOneLook) {
    for (int number = 1; number <= 10; ++number) {
        Touch("Day 2/abc " + std::to_string(number) + ".mvproj");
    }
    const fs::path locked = root / "ABC_Final.mvproj";
    testsupport::LockAsAnotherEditor(locked, "Ben Okafor");
    ASSERT_EQ(FindAndWait(u"abc").size(), 12u);
    QTreeView* rows = view->GetTree().GetImpl()->view.data();
    ASSERT_NE(rows, nullptr);
    rows->resize(900, 600); // room for every row
    const std::uint64_t before = host::files::BoundedAccessCount();
    rows->show();
    SettleEvents();
    rows->viewport()->repaint();
    // At most two looks for the first row, whose height Qt's layout may ask before anything is
    // drawn, and one for the others, from three folders; each row read as its cells ask would
    // be two looks, 24 in all.
    EXPECT_GE(host::files::BoundedAccessCount() - before, 1u);
    EXPECT_LE(host::files::BoundedAccessCount() - before, 3u);
    const auto& model = view->GetTree().GetImpl()->model;
    for (int index = 0; index < view->GetRowCount(); ++index) {
        const host::TreeRowPtr row = view->GetTree().GetTopLevelRow(index);
        HandlerTandrel::Columns::FileMetadata record(view->GetRowPath(row));
        record.Update(true, HandlerTandrel::Columns::kNameColumn);
        for (int column = 0; column < model.columnCount(); ++column) {
            const QString text =
                model.data(model.IndexOf(row).siblingAtColumn(column), Qt::DisplayRole).toString();
            const host::WideString expected = record.GetDisplayString(model.ColumnAt(column));
            EXPECT_EQ(text.toStdU16String(), expected) << index << ", " << column;
        }
    }
    const host::TreeRowPtr lockedRow = view->GetRowForPath(host::ToUTF16(locked.string()));
    ASSERT_NE(lockedRow, nullptr);
    const int lockColumn = [&] {
        for (int column = 0; column < model.columnCount(); ++column) {
            if (model.ColumnAt(column) == HandlerTandrel::Columns::kLockColumn) {
                return column;
            }
        }
        return -1;
    }();
    ASSERT_GE(lockColumn, 0);
    EXPECT_EQ(model.data(model.IndexOf(lockedRow).siblingAtColumn(lockColumn), Qt::DisplayRole)
                  .toString(),
              QStringLiteral("Ben Okafor"));
    rows->hide();
}

TEST_F(TandrelSearchResultsViewTest, OddResultsAreDrawnTogetherWithoutWaitingOnAnyOfThem) {
    // A pipe named like a project, whose lock is a pipe too; a project whose lock is a folder;
    // a name of 250 bytes; a name that is not UTF-8; a link to a project outside.
    ASSERT_EQ(::mkfifo((root / "abc pipe.mvproj").c_str(), 0644), 0);
    ASSERT_EQ(::mkfifo((root / "abc pipe.mvproj.lock").c_str(), 0644), 0);
    Touch("abc folder lock.mvproj");
    fs::create_directories(root / "abc folder lock.mvproj.lock");
    const std::string longName = "abc " + std::string(250 - 11, 'x') + ".mvproj";
    Touch("Day 2/" + longName);
    Touch("Day 2/abc \xff\xfe.mvproj");
    const testsupport::TemporaryFolder elsewhere{"search-view-outside"};
    std::ofstream(elsewhere.Path() / "abc outside.mvproj") << "{}";
    fs::create_symlink(elsewhere.Path() / "abc outside.mvproj", root / "abc link.mvproj");
    const std::uint64_t failuresBefore = host::files::BoundedAccessFailures();
    const std::vector<std::string> found = FindAndWait(u"abc");
    EXPECT_NE(std::find(found.begin(), found.end(), longName), found.end());
    EXPECT_NE(std::find(found.begin(), found.end(), "abc pipe.mvproj"), found.end());
    QTreeView* rows = view->GetTree().GetImpl()->view.data();
    ASSERT_NE(rows, nullptr);
    rows->resize(900, 600);
    rows->show();
    SettleEvents();
    rows->viewport()->repaint();
    // Nothing was opened that could block: a look that did would have missed the production's
    // deadline and taken it for not answering.
    EXPECT_FALSE(host::files::GuardedFolderIsHung());
    EXPECT_EQ(host::files::BoundedAccessFailures(), failuresBefore);
    // The pipe is a result like any other: its cells show what reading it on its own shows.
    const auto& model = view->GetTree().GetImpl()->model;
    const host::TreeRowPtr pipe =
        view->GetRowForPath(host::ToUTF16((root / "abc pipe.mvproj").string()));
    ASSERT_NE(pipe, nullptr);
    HandlerTandrel::Columns::FileMetadata record(view->GetRowPath(pipe));
    record.Update(true, HandlerTandrel::Columns::kNameColumn);
    for (int column = 0; column < model.columnCount(); ++column) {
        EXPECT_EQ(model.data(model.IndexOf(pipe).siblingAtColumn(column), Qt::DisplayRole)
                      .toString()
                      .toStdU16String(),
                  record.GetDisplayString(model.ColumnAt(column)))
            << column;
    }
    rows->hide();
}

TEST_F(TandrelSearchResultsViewTest, ATurnOfPartsLeavesRoomForWhatTheWindowDoesBetweenTurns) {
    using std::chrono::milliseconds;
    using View = TandrelSearchResultsView;
    // The window answering at once: parts for the whole time of a turn.
    EXPECT_EQ(View::TimeForParts(milliseconds(1)), milliseconds(View::kTimePerTurn));
    // Laying out and drawing many rows took a while: the parts take what is left of the turn.
    EXPECT_EQ(View::TimeForParts(milliseconds(18)), View::kWholeTurn - milliseconds(18));
    EXPECT_LT(View::TimeForParts(milliseconds(18)), milliseconds(View::kTimePerTurn));
    // However long the window took, some rows still come at each turn.
    EXPECT_EQ(View::TimeForParts(milliseconds(400)), milliseconds(View::kLeastTimePerTurn));
    EXPECT_GT(View::kLeastTimePerTurn.count(), 0);
}

} // namespace

TEST_F(TandrelSearchResultsViewTest, TheListAllowsSeveralRowsHasNoGridAndShowsItsSpinnerAtTheTop) {
    host::UI_MultiColumnTree& tree = view->GetTree();
    EXPECT_EQ(tree.GetNodeID(), "Handlers.Tandrel.TandrelSearchResultsView");
    EXPECT_TRUE(tree.AllowsMultipleSelection());
    EXPECT_TRUE(tree.DeselectsAllOnEmptyClick());
    EXPECT_FALSE(tree.ShowsGridLines());
    EXPECT_EQ(tree.GetBusySpinnerAlignment(), 1);
}

TEST_F(TandrelSearchResultsViewTest, TheListIsBusyFromTheSearchUntilItsResultsShow) {
    EXPECT_FALSE(view->GetTree().IsBusy());
    const int before = shown;
    view->Find(u"abc");
    EXPECT_TRUE(view->GetTree().IsBusy());
    ASSERT_TRUE(WaitUntil([&] { return shown > before; }));
    EXPECT_FALSE(view->GetTree().IsBusy());
    view->Find(u"interview");
    view->Find(u"");
    EXPECT_FALSE(view->GetTree().IsBusy()); // an emptied list has nothing to wait for
}

TEST_F(TandrelSearchResultsViewTest, ARightClickOnTheEmptyAreaDeselectsEveryRowAndShowsNoMenu) {
    FindAndWait(u"abc");
    host::UI_MultiColumnTree& tree = view->GetTree();
    tree.SelectRow(tree.GetTopLevelRow(0), host::RowSelection::kOnlyRow,
                   host::SelectionNotice::kTell);
    EXPECT_FALSE(view->SelectForContextMenu(nullptr));
    EXPECT_TRUE(tree.GetSelectedRows().empty());
}

TEST_F(TandrelSearchResultsViewTest, ARightClickOutsideTheSelectionSelectsThatRowAlone) {
    FindAndWait(u"i");
    host::UI_MultiColumnTree& tree = view->GetTree();
    ASSERT_GE(tree.GetTopLevelRowCount(), 2);
    tree.SelectRow(tree.GetTopLevelRow(0), host::RowSelection::kOnlyRow,
                   host::SelectionNotice::kTell);
    const host::TreeRowPtr other = tree.GetTopLevelRow(1);
    EXPECT_TRUE(view->SelectForContextMenu(other));
    EXPECT_EQ(tree.GetSelectedRows(), std::vector<host::TreeRowPtr>{other});
}

TEST_F(TandrelSearchResultsViewTest, ARightClickOnASelectedRowKeepsTheWholeSelection) {
    FindAndWait(u"i");
    host::UI_MultiColumnTree& tree = view->GetTree();
    ASSERT_GE(tree.GetTopLevelRowCount(), 2);
    tree.SelectRow(tree.GetTopLevelRow(0), host::RowSelection::kOnlyRow,
                   host::SelectionNotice::kTell);
    tree.SelectRow(tree.GetTopLevelRow(1), host::RowSelection::kAddRow,
                   host::SelectionNotice::kTell);
    EXPECT_TRUE(view->SelectForContextMenu(tree.GetTopLevelRow(1)));
    EXPECT_EQ(tree.GetSelectedRows().size(), 2u);
    EXPECT_EQ(view->GetSelectedPaths().size(), 2u);
}

TEST_F(TandrelSearchResultsViewTest, AFolderProjectIsFoundOnlyWhileItsFormatIsEnabled) {
    fs::create_directories(root / "Titles abc.mvprojd");
    Touch("Titles abc.mvprojd/project.json");
    host::SetFolderProjectFormatEnabled(false);
    EXPECT_EQ(FindAndWait(u"titles"), std::vector<std::string>{});
    host::SetFolderProjectFormatEnabled(true);
    EXPECT_EQ(FindAndWait(u"titles"), std::vector<std::string>{"Titles abc.mvprojd"});
    host::SetFolderProjectFormatEnabled(false);
    EXPECT_EQ(FindAndWait(u"abc"), (std::vector<std::string>{"ABC_Final.mvproj", "xAbCx.mvproj"}));
    host::SetFolderProjectFormatEnabled(true); // as every other test expects it
}
