#include "host/MultiColumnTree.h"
#include "Marvane/core/DefaultExecutor.h"
#include "Marvane/uitoolkit/CellTextCache.h"
#include "Marvane/uitoolkit/TreeView.h"
#include "NamedRowsTree.h"
#include "ViewTestSupport.h"

#include <QAbstractItemModelTester>
#include <QApplication>
#include <QContextMenuEvent>
#include <QHeaderView>
#include <QHelpEvent>
#include <QImage>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPixmap>
#include <QSignalSpy>
#include <QToolTip>
#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

using host::TreeRowPtr;
using host::UI_MultiColumnTree;

constexpr UI_MultiColumnTree::ColumnID kName = 1;
constexpr UI_MultiColumnTree::ColumnID kSize = 2;

// A cell view that records how it was laid out and drawn.
class RecordingCell : public host::UI_SubView {
public:
    // Each cell knows which one it was made as, so a new cell is told from an old one without
    // comparing the address of one that was freed.
    explicit RecordingCell(int& made) : serial(++made) {}
    void BoundsChanged(const host::UI_Rect& bounds) override {
        SetBounds(bounds);
        lastBounds = bounds;
        ++layouts;
    }
    host::UI_Rect lastBounds;
    int layouts = 0;
    int serial = 0;
};

class MultiColumnTreeTest : public ::testing::Test {
protected:
    void SetUp() override {
        header.AppendColumn("Name", kName);
        header.AppendColumn("Size", kSize);
        testsupport::SortAscendingBy(header, kName);
        tree.SetHeaderRow(&header);
        tree.SetSortDataCallback(
            [this](const TreeRowPtr& row, UI_MultiColumnTree::ColumnID column) {
                return column == kName ? names.at(row.get()) : sizes.at(row.get());
            });
        tree.SetCellTextCallback(
            [this](const TreeRowPtr& row, UI_MultiColumnTree::ColumnID column) {
                return column == kName ? names.at(row.get()) : sizes.at(row.get());
            });
        tree.SetRowHeight(20);
        // Every change the tree makes to its model (rows inserted, removed, moved into their
        // sorted places by rotation) is checked against Qt's rules for item models; a broken
        // rule stops the tests at once.
        modelTester = std::make_unique<QAbstractItemModelTester>(
            view()->model(), QAbstractItemModelTester::FailureReportingMode::Fatal);
        view()->resize(400, 200);
        view()->show();
        SettleEvents();
    }
    QTreeView* view() const { return tree.GetImpl()->view.data(); }
    TreeRowPtr Row(const std::u16string& name, bool folder = false,
                   const std::u16string& size = u"") {
        auto row = std::make_shared<host::UI_TreeRow>(folder);
        names[row.get()] = name;
        sizes[row.get()] = size;
        return row;
    }
    std::vector<std::u16string> Names(const std::vector<TreeRowPtr>& rows) const {
        std::vector<std::u16string> result;
        for (const auto& row : rows) {
            result.push_back(names.at(row.get()));
        }
        return result;
    }
    std::vector<TreeRowPtr> TopLevel() const {
        std::vector<TreeRowPtr> rows;
        for (int index = 0; index < tree.GetTopLevelRowCount(); ++index) {
            rows.push_back(tree.GetTopLevelRow(index));
        }
        return rows;
    }

    host::UI_MultiColumnTreeHeaderRow header;
    UI_MultiColumnTree tree{"Test.Tree"};
    std::map<const host::UI_TreeRow*, std::u16string> names;
    std::map<const host::UI_TreeRow*, std::u16string> sizes;
    std::unique_ptr<QAbstractItemModelTester> modelTester;
};

TEST_F(MultiColumnTreeTest, RowsAreInsertedInSortOrderAskingEachRowForItsKeyOnce) {
    tree.InsertRows(nullptr, {Row(u"c"), Row(u"a"), Row(u"b")});
    EXPECT_EQ(Names(TopLevel()), (std::vector<std::u16string>{u"a", u"b", u"c"}));
    EXPECT_EQ(tree.GetSortDataRequestCount(), 3u);
    tree.InsertRows(nullptr, {Row(u"bb")});
    EXPECT_EQ(Names(TopLevel()), (std::vector<std::u16string>{u"a", u"b", u"bb", u"c"}));
    EXPECT_EQ(tree.GetSortDataRequestCount(), 4u); // only the new row was asked
}

TEST_F(MultiColumnTreeTest, RowsGivenInOrderWithTheirKeysAreTakenAsTheyAreAskingNothing) {
    tree.InsertRowsInOrder(nullptr, {Row(u"a"), Row(u"b"), Row(u"c")}, {u"a", u"b", u"c"});
    EXPECT_EQ(Names(TopLevel()), (std::vector<std::u16string>{u"a", u"b", u"c"}));
    EXPECT_EQ(tree.GetSortDataRequestCount(), 0u);
    // The keys given are the rows' keys until the next sort: a row added later finds its place.
    tree.InsertRows(nullptr, {Row(u"bb")});
    EXPECT_EQ(Names(TopLevel()), (std::vector<std::u16string>{u"a", u"b", u"bb", u"c"}));
    EXPECT_EQ(tree.GetSortDataRequestCount(), 1u);
}

TEST_F(MultiColumnTreeTest, RowsGivenOutOfOrderAreSortedByTheKeysGiven) {
    tree.InsertRowsInOrder(nullptr, {Row(u"c"), Row(u"a"), Row(u"b")}, {u"c", u"a", u"b"});
    EXPECT_EQ(Names(TopLevel()), (std::vector<std::u16string>{u"a", u"b", u"c"}));
    header.SetSortDirection(false);
    const TreeRowPtr folder = Row(u"f", true);
    tree.InsertRows(nullptr, {folder});
    // Keys in the ascending order while the header sorts descending: put in its order.
    tree.InsertRowsInOrder(folder, {Row(u"p"), Row(u"q")}, {u"p", u"q"});
    EXPECT_EQ(names.at(folder->GetChild(0).get()), u"q");
}

TEST_F(MultiColumnTreeTest, RowsInOrderIntoAFolderThatHasRowsGoToTheirPlacesOneByOne) {
    tree.InsertRows(nullptr, {Row(u"b")});
    tree.InsertRowsInOrder(nullptr, {Row(u"a"), Row(u"c")}, {u"a", u"c"});
    EXPECT_EQ(Names(TopLevel()), (std::vector<std::u16string>{u"a", u"b", u"c"}));
    tree.InsertRowsInOrder(nullptr, {Row(u"d")}, {}); // no keys: asked as usual
    EXPECT_EQ(Names(TopLevel()), (std::vector<std::u16string>{u"a", u"b", u"c", u"d"}));
}

TEST_F(MultiColumnTreeTest, RowsInOrderThatFollowTheLastRowAreAddedAtTheEndInOneStep) {
    tree.InsertRowsInOrder(nullptr, {Row(u"a"), Row(u"b")}, {u"a", u"b"});
    QAbstractItemModel& model = *tree.GetImpl()->view->model();
    QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
    tree.InsertRowsInOrder(nullptr, {Row(u"c"), Row(u"d"), Row(u"e")}, {u"c", u"d", u"e"});
    EXPECT_EQ(Names(TopLevel()), (std::vector<std::u16string>{u"a", u"b", u"c", u"d", u"e"}));
    ASSERT_EQ(inserted.count(), 1); // one step for the part, not one per row
    EXPECT_EQ(inserted.at(0).at(1).toInt(), 2);
    EXPECT_EQ(inserted.at(0).at(2).toInt(), 4);
    EXPECT_EQ(tree.GetSortDataRequestCount(), 0u);
    // Rows that do not follow the last one still go to their places.
    tree.InsertRowsInOrder(nullptr, {Row(u"bb"), Row(u"f")}, {u"bb", u"f"});
    EXPECT_EQ(Names(TopLevel()),
              (std::vector<std::u16string>{u"a", u"b", u"bb", u"c", u"d", u"e", u"f"}));
}

TEST_F(MultiColumnTreeTest, AResortAsksEveryRowOnceAndFollowsTheHeader) {
    const TreeRowPtr small = Row(u"z", false, u"1");
    const TreeRowPtr big = Row(u"y", false, u"9");
    const TreeRowPtr folder = Row(u"x", true, u"5");
    tree.InsertRows(nullptr, {small, big, folder});
    tree.InsertRows(folder, {Row(u"q", false, u"2"), Row(u"p", false, u"3")});
    tree.OpenRow(folder, true);
    tree.SelectRow(big, host::RowSelection::kOnlyRow, host::SelectionNotice::kTell);
    const std::uint64_t before = tree.GetSortDataRequestCount();
    header.SetSortColumn(kSize);
    header.SetSortDirection(false);
    tree.Resort();
    EXPECT_EQ(tree.GetSortDataRequestCount() - before, 5u);
    EXPECT_EQ(Names(TopLevel()), (std::vector<std::u16string>{u"y", u"x", u"z"}));
    EXPECT_EQ(names.at(folder->GetChild(0).get()), u"p");
    EXPECT_EQ(tree.GetSelectedRows(), std::vector<TreeRowPtr>{big}); // the selection follows
}

TEST_F(MultiColumnTreeTest, AResortOfManyOpenFoldersOrdersEachAsAStableSortWould) {
    // Enough rows for the sort to be shared with a second thread; sizes repeat, so rows of one
    // size must keep the order they had (by name).
    std::vector<TreeRowPtr> folders;
    for (int folderIndex = 0; folderIndex < 24; ++folderIndex) {
        const TreeRowPtr folder =
            Row(u"folder " + std::u16string(1, static_cast<char16_t>(u'A' + folderIndex)), true,
                std::u16string(1, static_cast<char16_t>(u'a' + folderIndex % 5)));
        folders.push_back(folder);
    }
    tree.InsertRows(nullptr, folders);
    std::size_t rowCount = folders.size();
    for (std::size_t folderIndex = 0; folderIndex < folders.size(); ++folderIndex) {
        std::vector<TreeRowPtr> rows;
        for (int index = 0; index < 250; ++index) {
            const int number = index * 37 % 250;
            rows.push_back(
                Row(u"row " + host::ToUTF16(std::to_string(1000 + number)), false,
                    std::u16string(1, static_cast<char16_t>(
                                          u'a' + (number + static_cast<int>(folderIndex)) % 9))));
        }
        tree.InsertRows(folders[folderIndex], rows);
        tree.OpenRow(folders[folderIndex], true);
        rowCount += rows.size();
    }
    // What a stable sort of each folder, as it stands (by name), by size from large to small
    // gives.
    const auto bySizeDescending = [this](const TreeRowPtr& a, const TreeRowPtr& b) {
        return sizes.at(b.get()) < sizes.at(a.get());
    };
    std::vector<std::vector<TreeRowPtr>> expected;
    for (const TreeRowPtr& folder : folders) {
        std::vector<TreeRowPtr> rows;
        for (int index = 0; index < folder->GetChildCount(); ++index) {
            rows.push_back(folder->GetChild(index));
        }
        std::stable_sort(rows.begin(), rows.end(), bySizeDescending);
        expected.push_back(rows);
    }
    std::vector<TreeRowPtr> expectedTop = TopLevel();
    std::stable_sort(expectedTop.begin(), expectedTop.end(), bySizeDescending);
    const std::uint64_t before = tree.GetSortDataRequestCount();
    header.SetSortColumn(kSize);
    header.SetSortDirection(false);
    tree.Resort();
    EXPECT_EQ(tree.GetSortDataRequestCount() - before, rowCount); // each row asked once
    EXPECT_EQ(TopLevel(), expectedTop);
    for (std::size_t folderIndex = 0; folderIndex < folders.size(); ++folderIndex) {
        std::vector<TreeRowPtr> rows;
        for (int index = 0; index < folders[folderIndex]->GetChildCount(); ++index) {
            rows.push_back(folders[folderIndex]->GetChild(index));
        }
        EXPECT_EQ(rows, expected[folderIndex]) << "folder " << folderIndex;
    }
    // The view shows the new order.
    const QModelIndex first = view()->model()->index(0, 0);
    EXPECT_EQ(first.data().toString(),
              QString::fromStdU16String(names.at(expectedTop.front().get())));
    EXPECT_EQ(view()->model()->index(0, 0, first).data().toString(),
              QString::fromStdU16String(names.at(
                  expected[static_cast<std::size_t>(
                               std::find(folders.begin(), folders.end(), expectedTop.front()) -
                               folders.begin())]
                      .front()
                      .get())));
}

TEST_F(MultiColumnTreeTest, AResortLeavesTheRowsOfClosedFoldersUntilTheyOpen) {
    const TreeRowPtr folder = Row(u"f", true, u"5");
    const TreeRowPtr inner = Row(u"g", true, u"6");
    tree.InsertRows(nullptr, {Row(u"a", false, u"1"), folder});
    tree.InsertRows(folder, {Row(u"q", false, u"2"), Row(u"p", false, u"3"), inner});
    tree.InsertRows(inner, {Row(u"s", false, u"8"), Row(u"r", false, u"9")});
    tree.OpenRow(folder, true);
    tree.OpenRow(inner, true);
    tree.OpenRow(folder, false); // closed again; the folder inside stays open within it
    const std::uint64_t before = tree.GetSortDataRequestCount();
    header.SetSortColumn(kSize);
    header.SetSortDirection(false);
    tree.Resort();
    EXPECT_EQ(tree.GetSortDataRequestCount() - before, 2u); // the two rows that can be seen
    EXPECT_EQ(Names(TopLevel()), (std::vector<std::u16string>{u"f", u"a"}));
    EXPECT_EQ(names.at(folder->GetChild(1).get()), u"p"); // still in the old order (by name)
    // A row added to it meanwhile asks nothing either.
    const TreeRowPtr added = Row(u"o", false, u"7");
    tree.InsertRows(folder, {added});
    names[added.get()] = u"o";
    tree.RowSortKeyChanged(added);
    EXPECT_EQ(tree.GetSortDataRequestCount() - before, 2u);
    // It opens: its rows and those of the open folder in it take the new order.
    tree.OpenRow(folder, true);
    EXPECT_EQ(tree.GetSortDataRequestCount() - before, 8u);
    std::vector<std::u16string> inFolder;
    for (int index = 0; index < folder->GetChildCount(); ++index) {
        inFolder.push_back(names.at(folder->GetChild(index).get()));
    }
    EXPECT_EQ(inFolder, (std::vector<std::u16string>{u"o", u"g", u"p", u"q"}));
    EXPECT_EQ(names.at(inner->GetChild(0).get()), u"r");
    // The view shows the new order too.
    const QModelIndex folderIndex = view()->model()->index(0, 0);
    EXPECT_EQ(view()->model()->index(0, 0, folderIndex).data().toString(), QString("o"));
    // Open, it is in order again: a row added goes to its place, and a row whose key changed
    // moves, each asking its own key alone.
    const std::uint64_t opened = tree.GetSortDataRequestCount();
    const TreeRowPtr newest = Row(u"n", false, u"6.5");
    tree.InsertRows(folder, {newest});
    EXPECT_EQ(folder->GetChild(1), newest); // between o (7) and g (6)
    sizes[added.get()] = u"1";
    tree.RowSortKeyChanged(added);
    EXPECT_EQ(folder->GetChild(folder->GetChildCount() - 1), added);
    EXPECT_EQ(tree.GetSortDataRequestCount() - opened, 2u);
}

TEST_F(MultiColumnTreeTest, AResortKeepsTheRowAtTheTopWhereTheRowsWereScrolled) {
    std::vector<TreeRowPtr> rows;
    for (int i = 0; i < 40; ++i) {
        // Names in one order, sizes in the other.
        const std::u16string number = host::ToUTF16(std::to_string(10 + i));
        rows.push_back(Row(u"n" + number, false, host::ToUTF16(std::to_string(90 - i))));
    }
    tree.InsertRows(nullptr, rows);
    view()->scrollTo(view()->model()->index(20, 0), QAbstractItemView::PositionAtTop);
    SettleEvents();
    const QModelIndex topBefore = view()->indexAt(QPoint(0, 0));
    ASSERT_TRUE(topBefore.isValid());
    const QString name = topBefore.data().toString();
    ASSERT_NE(name, QString("n10"));
    header.SetSortColumn(kSize);
    tree.Resort();
    SettleEvents();
    EXPECT_EQ(view()->indexAt(QPoint(0, 0)).data().toString(), name);
    // At the very top, the new first rows are shown.
    view()->scrollToTop();
    header.SetSortColumn(kName);
    tree.Resort();
    SettleEvents();
    EXPECT_EQ(view()->indexAt(QPoint(0, 0)).data().toString(), QString("n10"));
}

TEST_F(MultiColumnTreeTest, ARowWhoseKeyChangedMovesToItsPlaceKeepingTheSelection) {
    const TreeRowPtr a = Row(u"a");
    const TreeRowPtr b = Row(u"b");
    const TreeRowPtr c = Row(u"c");
    const TreeRowPtr d = Row(u"d");
    tree.InsertRows(nullptr, {a, b, c, d});
    tree.SelectRow(a, host::RowSelection::kOnlyRow, host::SelectionNotice::kTell);
    const std::uint64_t before = tree.GetSortDataRequestCount();
    names[a.get()] = u"cc"; // down, between c and d
    tree.RowSortKeyChanged(a);
    EXPECT_EQ(Names(TopLevel()), (std::vector<std::u16string>{u"b", u"c", u"cc", u"d"}));
    EXPECT_EQ(tree.GetSortDataRequestCount() - before, 1u); // only that row was asked
    EXPECT_EQ(tree.GetSelectedRows(), std::vector<TreeRowPtr>{a});
    names[d.get()] = u"0"; // up, to the front
    tree.RowSortKeyChanged(d);
    EXPECT_EQ(Names(TopLevel()), (std::vector<std::u16string>{u"0", u"b", u"c", u"cc"}));
    names[c.get()] = u"bz"; // changed, but still in order
    tree.RowSortKeyChanged(c);
    EXPECT_EQ(Names(TopLevel()), (std::vector<std::u16string>{u"0", u"b", u"bz", u"cc"}));
    // The view's rows follow the model, and every row knows its new place.
    EXPECT_EQ(view()->model()->index(0, 0).data().toString(), QString("0"));
    EXPECT_EQ(view()->model()->index(3, 0).data().toString(), QString("cc"));
    const std::vector<TreeRowPtr> rows = TopLevel();
    for (std::size_t place = 0; place < rows.size(); ++place) {
        EXPECT_EQ(tree.GetImpl()->model.IndexOf(rows[place]).row(), static_cast<int>(place));
    }
}

// Keys that are the start of the rows' names: the rows are sorted by them, nothing is asked of
// the sort data callback and no key is kept, and a renamed row moves to its place.
TEST_F(MultiColumnTreeTest, KeysInTheRowsNamesAreSortedByWithoutBeingAskedOrKept) {
    // The key is the name up to its first dot.
    int lengthsAsked = 0;
    tree.SetSortKeyInNameCallback(
        [&lengthsAsked](const TreeRowPtr& row,
                        UI_MultiColumnTree::ColumnID column) -> std::optional<std::size_t> {
            ++lengthsAsked;
            if (column != kName) {
                return std::nullopt;
            }
            const std::size_t dot = row->GetName().find(u'.');
            return dot == std::u16string::npos ? row->GetName().size() : dot;
        });
    std::vector<TreeRowPtr> rows;
    for (const std::u16string name : {u"d.x", u"b.y", u"c", u"a.z"}) {
        rows.push_back(Row(name, false, name));
        rows.back()->SetName(name);
    }
    const TreeRowPtr folder = Row(u"e", true, u"e");
    folder->SetName(u"e");
    rows.push_back(folder);
    const std::uint64_t before = tree.GetSortDataRequestCount();
    tree.InsertRows(nullptr, rows);
    // A folder filled at once asks each row once, however many comparisons the sort makes.
    EXPECT_EQ(lengthsAsked, static_cast<int>(rows.size()));
    const std::vector<TreeRowPtr> children = {Row(u"g"), Row(u"f")};
    children[0]->SetName(u"g");
    children[1]->SetName(u"f");
    tree.InsertRows(folder, children);
    tree.OpenRow(folder, true);
    EXPECT_EQ(Names(TopLevel()), (std::vector<std::u16string>{u"a.z", u"b.y", u"c", u"d.x", u"e"}));
    EXPECT_EQ(folder->GetChild(0), children[1]);
    EXPECT_EQ(tree.GetSortDataRequestCount(), before);
    // By size the keys are asked for and kept; back by name they are let go of.
    header.SetSortColumn(kSize);
    tree.Resort();
    EXPECT_EQ(tree.GetSortDataRequestCount() - before, 7u);
    EXPECT_TRUE(rows[0]->Node().sortKeyValid);
    header.SetSortColumn(kName);
    header.SetSortDirection(false);
    tree.Resort();
    EXPECT_EQ(tree.GetSortDataRequestCount() - before, 7u);
    EXPECT_EQ(Names(TopLevel()), (std::vector<std::u16string>{u"e", u"d.x", u"c", u"b.y", u"a.z"}));
    EXPECT_EQ(folder->GetChild(0), children[0]);
    for (const TreeRowPtr& row : rows) {
        EXPECT_FALSE(row->Node().sortKeyValid);
        EXPECT_TRUE(row->Node().sortKey.empty());
    }
    // Renamed: the row goes where its new name belongs.
    header.SetSortDirection(true);
    tree.Resort();
    rows[2]->SetName(u"aa.w");
    names[rows[2].get()] = u"aa.w";
    tree.RowSortKeyChanged(rows[2]);
    EXPECT_EQ(Names(TopLevel()),
              (std::vector<std::u16string>{u"a.z", u"aa.w", u"b.y", u"d.x", u"e"}));
    EXPECT_EQ(tree.GetSortDataRequestCount() - before, 7u);
}

TEST_F(MultiColumnTreeTest, AChildWhoseKeyChangedMovesAmongItsSiblingsOnly) {
    const TreeRowPtr folder = Row(u"m", true);
    tree.InsertRows(nullptr, {Row(u"a"), folder, Row(u"z")});
    const TreeRowPtr p = Row(u"p");
    const TreeRowPtr q = Row(u"q");
    tree.InsertRows(folder, {p, q});
    names[p.get()] = u"zz";
    tree.RowSortKeyChanged(p);
    EXPECT_EQ(folder->GetChild(0), q);
    EXPECT_EQ(folder->GetChild(1), p);
    EXPECT_EQ(Names(TopLevel()), (std::vector<std::u16string>{u"a", u"m", u"z"}));
}

TEST_F(MultiColumnTreeTest, AFolderCanBeOpenedUntilReadAndStaysSoOnlyWithACustomChild) {
    const TreeRowPtr folder = Row(u"Reels", true);
    const TreeRowPtr empty = Row(u"Empty", true);
    const TreeRowPtr project = Row(u"Scene.mvproj");
    tree.InsertRows(nullptr, {folder, empty, project});
    auto& model = tree.GetImpl()->model;
    EXPECT_TRUE(model.hasChildren(model.IndexOf(folder)));
    EXPECT_FALSE(model.hasChildren(model.IndexOf(project)));
    tree.InsertRows(empty, {});
    EXPECT_FALSE(model.hasChildren(model.IndexOf(empty)));
    tree.SetRowHasCustomChild(empty, true);
    EXPECT_TRUE(model.hasChildren(model.IndexOf(empty)));
    EXPECT_TRUE(tree.RowHasCustomChild(empty));
}

// The view skips asking a row that never has children whether it is open: a file row says so,
// a folder does not, and neither does a file given a custom child.
TEST_F(MultiColumnTreeTest, AFileRowTellsTheViewItNeverHasChildren) {
    const TreeRowPtr folder = Row(u"Reels", true);
    const TreeRowPtr project = Row(u"Scene.mvproj");
    const TreeRowPtr marked = Row(u"Take.mvproj");
    tree.InsertRows(nullptr, {folder, project, marked});
    tree.InsertRows(folder, {});
    auto& model = tree.GetImpl()->model;
    EXPECT_TRUE(model.flags(model.IndexOf(project)).testFlag(Qt::ItemNeverHasChildren));
    EXPECT_FALSE(model.flags(model.IndexOf(folder)).testFlag(Qt::ItemNeverHasChildren));
    tree.SetRowHasCustomChild(marked, true);
    EXPECT_FALSE(model.flags(model.IndexOf(marked)).testFlag(Qt::ItemNeverHasChildren));
    EXPECT_TRUE(model.flags(model.IndexOf(project)).testFlag(Qt::ItemIsSelectable));
    // Opening a file row does nothing: the view does not count it as open.
    tree.OpenRow(project, true);
    SettleEvents();
    EXPECT_FALSE(view()->isExpanded(model.IndexOf(project)));
}

TEST_F(MultiColumnTreeTest, OpenedRowsAreThoseReachableThroughOpenFolders) {
    const TreeRowPtr a = Row(u"a", true);
    const TreeRowPtr b = Row(u"b", true);
    tree.InsertRows(nullptr, {a, b});
    tree.InsertRows(a, {Row(u"a1"), Row(u"a2")});
    tree.InsertRows(b, {Row(u"b1")});
    std::vector<std::pair<std::u16string, bool>> disclosures;
    tree.SetDisclosureChangedCallback([&](const TreeRowPtr& row, bool open) {
        disclosures.emplace_back(names.at(row.get()), open);
    });
    tree.OpenRow(a, true);
    EXPECT_EQ(Names(tree.GetOpenedRows()), (std::vector<std::u16string>{u"a", u"a1", u"a2", u"b"}));
    tree.ToggleRow(a);
    tree.ToggleRow(b);
    EXPECT_EQ(Names(tree.GetOpenedRows()), (std::vector<std::u16string>{u"a", u"b", u"b1"}));
    EXPECT_EQ(disclosures, (std::vector<std::pair<std::u16string, bool>>{
                               {u"a", true}, {u"a", false}, {u"b", true}}));
}

TEST_F(MultiColumnTreeTest, VisibleOpenedRowsFollowScrolling) {
    std::vector<TreeRowPtr> rows;
    for (int index = 0; index < 100; ++index) {
        rows.push_back(Row(u"row " + std::u16string(1, static_cast<char16_t>(u'A' + index / 10)) +
                           std::u16string(1, static_cast<char16_t>(u'0' + index % 10))));
    }
    tree.InsertRows(nullptr, rows);
    SettleEvents();
    EXPECT_EQ(tree.GetFirstVisibleOpenedRowIndex(), 0);
    const int last = tree.GetLastVisibleOpenedRowIndex();
    const int perPage = static_cast<int>(tree.GetScrollViewHeight() / tree.GetRowHeight());
    EXPECT_NEAR(last, perPage - 1, 1);
    const std::vector<TreeRowPtr> opened = tree.GetOpenedRows();
    tree.ScrollRowIntoView(opened[50], true, 0, true);
    SettleEvents();
    EXPECT_EQ(tree.GetFirstVisibleOpenedRowIndex(), 50);
    EXPECT_TRUE(tree.IsRowVisible(opened[50]));
    EXPECT_FALSE(tree.IsRowVisible(opened[0]));
    tree.ScrollRowIntoView(opened[99], false, 0, true);
    SettleEvents();
    EXPECT_EQ(tree.GetLastVisibleOpenedRowIndex(), 99);
}

TEST_F(MultiColumnTreeTest, SelectingExclusivelyAddingAndClearing) {
    const TreeRowPtr a = Row(u"a");
    const TreeRowPtr b = Row(u"b");
    const TreeRowPtr c = Row(u"c");
    tree.InsertRows(nullptr, {c, b, a});
    int notified = 0;
    tree.SetSelectionChangedCallback([&] { ++notified; });
    tree.SelectRow(c, host::RowSelection::kOnlyRow, host::SelectionNotice::kTell);
    tree.SelectRow(a, host::RowSelection::kAddRow, host::SelectionNotice::kTell);
    EXPECT_EQ(tree.GetSelectedRows(), (std::vector<TreeRowPtr>{a, c})); // in display order
    EXPECT_EQ(notified, 2);
    tree.SelectRow(b, host::RowSelection::kOnlyRow, host::SelectionNotice::kQuiet);
    EXPECT_EQ(tree.GetSelectedRows(), std::vector<TreeRowPtr>{b});
    EXPECT_EQ(notified, 2); // asked not to tell
    tree.SelectRow(c, host::RowSelection::kAddRange, host::SelectionNotice::kTell);
    EXPECT_EQ(tree.GetSelectedRows(), (std::vector<TreeRowPtr>{b, c}));
    tree.DeselectAllRows();
    EXPECT_TRUE(tree.GetSelectedRows().empty());
}

// Many rows of several folders join the selection in one change, told once; the selection is
// given back in display order, rows of a closed folder included.
TEST_F(MultiColumnTreeTest, ManyRowsAreSelectedInOneChangeAndGivenBackInDisplayOrder) {
    const TreeRowPtr open = Row(u"m", true);
    const TreeRowPtr closed = Row(u"n", true);
    std::vector<TreeRowPtr> top = {Row(u"a"), open, closed, Row(u"z")};
    tree.InsertRows(nullptr, top);
    std::vector<TreeRowPtr> inOpen;
    std::vector<TreeRowPtr> inClosed;
    for (int index = 0; index < 30; ++index) {
        const std::u16string number = host::ToUTF16(std::to_string(10 + index));
        inOpen.push_back(Row(u"o" + number));
        inClosed.push_back(Row(u"c" + number));
    }
    tree.InsertRows(open, inOpen);
    tree.InsertRows(closed, inClosed);
    tree.OpenRow(open, true);
    int notified = 0;
    tree.SetSelectionChangedCallback([&] { ++notified; });
    // Out of order, with gaps, across folders.
    std::vector<TreeRowPtr> chosen = {top[3], inClosed[5], inOpen[29], top[0]};
    for (int index = 0; index < 20; ++index) {
        chosen.push_back(inOpen[static_cast<std::size_t>(index)]);
    }
    tree.SelectRows(chosen, true);
    EXPECT_EQ(notified, 1);
    std::vector<TreeRowPtr> expected = {top[0]};
    for (int index = 0; index < 20; ++index) {
        expected.push_back(inOpen[static_cast<std::size_t>(index)]);
    }
    expected.push_back(inOpen[29]);
    expected.push_back(inClosed[5]);
    expected.push_back(top[3]);
    EXPECT_EQ(tree.GetSelectedRows(), expected);
    // The last row given is the current one; rows not in the tree are passed over.
    EXPECT_EQ(view()->selectionModel()->currentIndex(), tree.GetImpl()->model.IndexOf(inOpen[19]));
    tree.SelectRows({Row(u"not in the tree")}, true);
    EXPECT_EQ(notified, 1);
    EXPECT_EQ(tree.GetSelectedRows().size(), expected.size());
    tree.SelectRows({}, true);
    EXPECT_EQ(notified, 1);
}

TEST_F(MultiColumnTreeTest, RowsSelectedTwiceInOverlappingRangesAreGivenBackOnce) {
    std::vector<TreeRowPtr> top;
    for (int index = 0; index < 20; ++index) {
        top.push_back(Row(host::ToUTF16(std::to_string(10 + index))));
    }
    tree.InsertRows(nullptr, top);
    auto& model = tree.GetImpl()->model;
    QItemSelection selection;
    selection.select(model.IndexOf(top[2]), model.IndexOf(top[9]));
    selection.append(QItemSelectionRange(model.IndexOf(top[5]), model.IndexOf(top[12])));
    selection.append(QItemSelectionRange(model.IndexOf(top[13]), model.IndexOf(top[13])));
    selection.append(QItemSelectionRange(model.IndexOf(top[16]), model.IndexOf(top[17])));
    view()->selectionModel()->select(selection,
                                     QItemSelectionModel::Select | QItemSelectionModel::Rows);
    const std::vector<TreeRowPtr> expected = {top[2],  top[3],  top[4],  top[5],  top[6],
                                              top[7],  top[8],  top[9],  top[10], top[11],
                                              top[12], top[13], top[16], top[17]};
    EXPECT_EQ(tree.GetSelectedRows(), expected);
}

TEST_F(MultiColumnTreeTest, TheSelectionVersionMovesWithTheSelectionAndTheRowsOnly) {
    const TreeRowPtr folder = Row(u"f", true);
    std::vector<TreeRowPtr> top = {Row(u"a"), folder, Row(u"b")};
    tree.InsertRows(nullptr, top);
    std::uint64_t version = tree.GetSelectionVersion();
    const auto moved = [&] {
        const std::uint64_t now = tree.GetSelectionVersion();
        const bool changed = now != version;
        version = now;
        return changed;
    };
    // Asking changes nothing, nor does opening a folder or scrolling.
    EXPECT_EQ(tree.GetSelectedRows().size(), 0u);
    tree.OpenRow(folder, true);
    EXPECT_FALSE(moved());
    // Silently or not, every change of the selection moves it.
    tree.SelectRow(top[0], host::RowSelection::kOnlyRow, host::SelectionNotice::kQuiet);
    EXPECT_TRUE(moved());
    tree.SelectRows({top[2]}, false);
    EXPECT_TRUE(moved());
    EXPECT_EQ(tree.GetSelectedRows().size(), 2u);
    EXPECT_FALSE(moved());
    tree.DeselectAllRows();
    EXPECT_TRUE(moved());
    // So does every change of the rows: their paths may be others now.
    tree.InsertRows(folder, {Row(u"inside")});
    EXPECT_TRUE(moved());
    tree.RemoveRow(top[2]);
    EXPECT_TRUE(moved());
    tree.RemoveAllRows();
    EXPECT_TRUE(moved());
}

TEST_F(MultiColumnTreeTest, ARemovedRowLeavesTheTreeAndItsParentsCount) {
    const TreeRowPtr folder = Row(u"f", true);
    const TreeRowPtr child = Row(u"c");
    tree.InsertRows(nullptr, {folder});
    tree.InsertRows(folder, {child, Row(u"d")});
    tree.RemoveRow(child);
    EXPECT_EQ(folder->GetChildCount(), 1);
    EXPECT_EQ(child->GetParent(), nullptr);
    EXPECT_FALSE(tree.GetImpl()->model.IndexOf(child).isValid());
    tree.RemoveAllRows();
    EXPECT_EQ(tree.GetTopLevelRowCount(), 0);
    EXPECT_EQ(folder->GetParent(), nullptr);
}

TEST_F(MultiColumnTreeTest, CellViewsAreMadeOnceLaidOutToTheCellAndDrawn) {
    int made = 0;
    std::vector<host::UI_StaticImage*> images;
    tree.SetCellViewCallback(
        [&](const TreeRowPtr&,
            UI_MultiColumnTree::ColumnID column) -> std::unique_ptr<host::UI_SubView> {
            if (column != kName) {
                return nullptr;
            }
            auto cell = std::make_unique<RecordingCell>(made);
            auto image = std::make_unique<host::UI_StaticImage>();
            image->SetBounds({0, 0, 12, 12});
            image->SetPictureSupplier([](host::UI_PictureRequest& request) {
                request.stateFlags |= 4;
                request.picture = host::GetGenericFolderIcon(256, 256);
            });
            images.push_back(image.get());
            cell->ChildPushBack(std::move(image));
            return cell;
        });
    const TreeRowPtr row = Row(u"Scene", false, u"3 KB");
    tree.InsertRows(nullptr, {row});
    SettleEvents();
    view()->grab(); // draws every visible cell
    auto* cell = dynamic_cast<RecordingCell*>(tree.GetCellView(row, kName));
    ASSERT_NE(cell, nullptr);
    EXPECT_EQ(made, 1);
    EXPECT_EQ(tree.GetCellView(row, kSize), nullptr);
    EXPECT_GE(cell->layouts, 1);
    EXPECT_EQ(cell->lastBounds.height, 20.0f);
    EXPECT_EQ(cell->lastBounds.top, 0.0f);
    EXPECT_EQ(images.back()->GetLastRequestFlags() & 4u, 4u);
    EXPECT_EQ(cell->serial, 1);
    tree.RefreshRow(row);
    // The row's cell is made again when next asked for: the second one made is shown now.
    auto* remade = dynamic_cast<RecordingCell*>(tree.GetCellView(row, kName));
    ASSERT_NE(remade, nullptr);
    EXPECT_EQ(remade->serial, 2);
    EXPECT_EQ(made, 2);
}

TEST_F(MultiColumnTreeTest, ClicksReachTheCallbacksWithTheirRowAndModifiers) {
    const TreeRowPtr row = Row(u"Scene");
    tree.InsertRows(nullptr, {row});
    SettleEvents();
    std::vector<std::string> calls;
    const auto record = [&](const char* what) {
        return [&calls, what](const TreeRowPtr&, host::UI_Point, std::uint32_t modifiers,
                              std::uint32_t value) {
            calls.push_back(std::string(what) + ":" + std::to_string(modifiers) + ":" +
                            std::to_string(value));
        };
    };
    tree.SetSingleClickDownCallback(record("down"));
    tree.SetSingleClickUpCallback(record("up"));
    tree.SetDoubleClickCallback(record("double"));
    const QPoint at = view()->visualRect(tree.GetImpl()->model.IndexOf(row)).center();
    QWidget* target = view()->viewport();
    QMouseEvent press(QEvent::MouseButtonPress, at, target->mapToGlobal(at), Qt::LeftButton,
                      Qt::LeftButton, Qt::AltModifier);
    QMouseEvent release(QEvent::MouseButtonRelease, at, target->mapToGlobal(at), Qt::LeftButton,
                        Qt::NoButton, Qt::AltModifier);
    QMouseEvent twice(QEvent::MouseButtonDblClick, at, target->mapToGlobal(at), Qt::LeftButton,
                      Qt::LeftButton, Qt::AltModifier);
    QApplication::sendEvent(target, &press);
    QApplication::sendEvent(target, &release);
    QApplication::sendEvent(target, &twice);
    EXPECT_EQ(calls, (std::vector<std::string>{"down:4:0", "up:4:0", "double:4:0"}));
    EXPECT_EQ(tree.GetSelectedRows(), std::vector<TreeRowPtr>{row});
}

TEST_F(MultiColumnTreeTest, ShiftF10AndTheMenuKeyOpenTheMenuOfTheCurrentRow) {
    std::vector<TreeRowPtr> rows;
    for (const char16_t* name : {u"A", u"B", u"C"}) {
        rows.push_back(Row(name));
    }
    tree.InsertRows(nullptr, rows);
    SettleEvents();
    std::vector<TreeRowPtr> menus;
    tree.SetContextClickCallback([&menus](const TreeRowPtr& row, host::UI_Point, std::uint32_t,
                                          std::uint32_t) { menus.push_back(row); });
    // No current row: the menu of the empty area, whatever row lies under the pointer.
    QKeyEvent shiftF10(QEvent::KeyPress, Qt::Key_F10, Qt::ShiftModifier);
    QApplication::sendEvent(view(), &shiftF10);
    ASSERT_EQ(menus.size(), 1u);
    EXPECT_EQ(menus[0], nullptr);
    view()->setCurrentIndex(tree.GetImpl()->model.IndexOf(rows[1]));
    QApplication::sendEvent(view(), &shiftF10);
    // The Menu key's event comes with a point of its own (the top row's, here): the current
    // row's menu all the same.
    QContextMenuEvent menuKey(QContextMenuEvent::Keyboard, QPoint(5, 5),
                              view()->viewport()->mapToGlobal(QPoint(5, 5)));
    QApplication::sendEvent(view()->viewport(), &menuKey);
    // F10 alone is not the menu.
    QKeyEvent f10(QEvent::KeyPress, Qt::Key_F10, Qt::NoModifier);
    QApplication::sendEvent(view(), &f10);
    EXPECT_EQ(menus, (std::vector<TreeRowPtr>{nullptr, rows[1], rows[1]}));
}

TEST_F(MultiColumnTreeTest, TheHeaderKeepsItsWidthsAndTitlesInTheTree) {
    EXPECT_EQ(view()->header()->count(), 2);
    EXPECT_EQ(tree.GetImpl()->model.headerData(1, Qt::Horizontal, Qt::DisplayRole).toString(),
              QStringLiteral("Size"));
    EXPECT_EQ(tree.GetHeaderRow(), &header);
}

// The right-most column with ink in it, or -1 for a blank image.
int RightmostInk(const QImage& image) {
    for (int x = image.width() - 1; x >= 0; --x) {
        for (int y = 0; y < image.height(); ++y) {
            if (qGray(image.pixel(x, y)) < 128) {
                return x;
            }
        }
    }
    return -1;
}

TEST(CellTextCache, EachTextIsLaidOutOnceAndALongOneIsCutToFit) {
    host::CellTextCache texts;
    QImage image(300, 20, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    painter.setPen(Qt::black);
    QFont font = QApplication::font();
    font.setPixelSize(12);
    const QString name = "Interview 42 with the director, final";
    texts.Draw(painter, QRectF(0, 0, 300, 20), name, font);
    texts.Draw(painter, QRectF(0, 0, 300, 20), name, font);
    EXPECT_EQ(texts.LayoutCount(), 1u); // drawn twice, laid out once
    EXPECT_EQ(texts.Size(), 1u);
    const int whole = RightmostInk(image);
    EXPECT_GT(whole, 100);
    image.fill(Qt::white);
    texts.Draw(painter, QRectF(0, 0, 80, 20), name, font);
    EXPECT_EQ(texts.LayoutCount(), 2u); // another width is another layout
    const int cut = RightmostInk(image);
    EXPECT_GT(cut, 20);
    EXPECT_LT(cut, 80); // the ellipsis keeps it inside its width
    font.setItalic(true);
    texts.Draw(painter, QRectF(0, 0, 80, 20), name, font);
    EXPECT_EQ(texts.LayoutCount(), 3u); // and another font another
    EXPECT_EQ(texts.Size(), 3u);
}

TEST(IconSet, EveryBadgeAndTheFolderIconHaveAPicture) {
    for (const char* name :
         {"kHistoryActionDeleteDecal", "kMvProductionPanelProjectClosedNoLockDecal",
          "kMvProductionPanelProjectClosedLockedDecal", "kMvProductionPanelProjectOpenNoLockDecal",
          "kMvProductionPanelProjectOpenLockedDecal",
          "kMvProductionPanelProjectOpenEditableDecal"}) {
        const auto handler = host::MakeIconSetImageHandler(name);
        ASSERT_NE(handler, nullptr) << name;
        host::UI_PictureRequest request;
        handler->Answer(request);
        EXPECT_NE(request.picture, nullptr) << name;
    }
    EXPECT_NE(host::GetGenericFolderIcon(256, 256), nullptr);
    EXPECT_EQ(host::MakeIconSetImageHandler("NoSuchBadge"), nullptr);
}

} // namespace

namespace {

TEST_F(MultiColumnTreeTest, ATextCutByItsColumnShowsWholeInItsToolTipBeforeTheOwnersWords) {
    const TreeRowPtr row = Row(u"Assembly", false, u"1,234,567,890 bytes on the shared drive");
    tree.InsertRows(nullptr, {row});
    tree.SetToolTipCallback([&](const TreeRowPtr& of, UI_MultiColumnTree::ColumnID) {
        return of == row ? std::u16string(u"Held by Ben Okafor") : std::u16string();
    });
    header.SetColumnWidth(kName, 200);
    header.SetColumnWidth(kSize, 60);
    SettleEvents();
    const auto tipOver = [&](UI_MultiColumnTree::ColumnID column) {
        const QModelIndex index =
            tree.GetImpl()->model.IndexOf(row, header.GetIndexOfColumn(column));
        const QPoint at = view()->visualRect(index).center();
        QHelpEvent help(QEvent::ToolTip, at, view()->viewport()->mapToGlobal(at));
        QApplication::sendEvent(view()->viewport(), &help);
        return help.isAccepted() ? QToolTip::text().toStdString() : std::string();
    };
    EXPECT_EQ(tipOver(kName), "Held by Ben Okafor") << "a whole name adds nothing";
    EXPECT_EQ(tipOver(kSize), "1,234,567,890 bytes on the shared drive\nHeld by Ben Okafor");
    header.SetColumnWidth(kSize, 390);
    SettleEvents();
    EXPECT_EQ(tipOver(kSize), "Held by Ben Okafor");
    tree.SetToolTipCallback(nullptr);
    EXPECT_EQ(tipOver(kSize), "") << "nothing to say: no tooltip";
}

TEST_F(MultiColumnTreeTest, APaintTellsTheRowsItIsAboutToDrawTopToBottomBeforeAnyCellAsks) {
    std::vector<TreeRowPtr> rows;
    for (int index = 0; index < 40; ++index) {
        const std::u16string number = index < 10 ? u"0" : u"";
        rows.push_back(Row(u"Scene " + number + host::ToUTF16(std::to_string(index))));
    }
    tree.InsertRows(nullptr, rows);
    SettleEvents();
    std::vector<std::string> happened;
    std::vector<std::vector<std::u16string>> told;
    tree.SetRowsToDrawCallback([&](const std::vector<TreeRowPtr>& drawn) {
        happened.emplace_back("told");
        told.push_back(Names(drawn));
    });
    tree.SetCellTextCallback([&](const TreeRowPtr& row, UI_MultiColumnTree::ColumnID column) {
        happened.emplace_back("asked");
        return column == kName ? names.at(row.get()) : sizes.at(row.get());
    });
    // Rows 20 pixels high: as many rows as the rows' area holds, the last one maybe in part.
    const int height = view()->viewport()->height();
    const std::size_t shown = static_cast<std::size_t>((height + 19) / 20);
    ASSERT_LT(shown, rows.size());
    view()->viewport()->repaint();
    ASSERT_EQ(told.size(), 1u);
    ASSERT_FALSE(happened.empty());
    EXPECT_EQ(happened.front(), "told");
    ASSERT_EQ(told[0].size(), shown);
    for (std::size_t index = 0; index < shown; ++index) {
        EXPECT_EQ(told[0][index], Names(TopLevel())[index]);
    }
    // Scrolled to the end, the last rows are told, still top to bottom.
    view()->scrollToBottom();
    SettleEvents();
    told.clear();
    view()->viewport()->repaint();
    ASSERT_FALSE(told.empty());
    ASSERT_GE(told.back().size(), 2u);
    EXPECT_EQ(told.back().back(), u"Scene 39");
    EXPECT_EQ(told.back()[told.back().size() - 2], u"Scene 38");

    // A paint of part of the rows tells the rows of that part.
    view()->scrollToTop();
    SettleEvents();
    told.clear();
    view()->viewport()->repaint(QRect(0, 45, view()->viewport()->width(), 30));
    ASSERT_FALSE(told.empty());
    EXPECT_EQ(told.back(), (std::vector<std::u16string>{u"Scene 02", u"Scene 03"}));

    // Right to left, with columns narrower than the rows' area: they lie at the right, and the
    // rows are still told.
    view()->header()->setStretchLastSection(false);
    view()->header()->resizeSection(0, 60);
    view()->header()->resizeSection(1, 60);
    view()->setLayoutDirection(Qt::RightToLeft);
    SettleEvents();
    told.clear();
    view()->viewport()->repaint();
    ASSERT_FALSE(told.empty());
    ASSERT_EQ(told.back().size(), shown);
    EXPECT_EQ(told.back().front(), u"Scene 00");
    view()->setLayoutDirection(Qt::LeftToRight);
}

TEST_F(MultiColumnTreeTest, ManyRowsTakenOutAreFreedOnAWorkerAndTheirCellViewsAtOnce) {
    // Tells on which thread its row was freed.
    struct Watched final : host::UI_TreeRow::OwnerData {
        explicit Watched(std::atomic<std::thread::id>& freedOn) : where(freedOn) {}
        ~Watched() override { where = std::this_thread::get_id(); }
        std::atomic<std::thread::id>& where;
    };
    // Counts the cell views alive.
    struct CountedCell final : host::UI_SubView {
        explicit CountedCell(int& alive) : count(alive) { ++count; }
        ~CountedCell() override { --count; }
        int& count;
    };
    int alive = 0;
    tree.SetCellViewCallback(
        [&](const TreeRowPtr&, UI_MultiColumnTree::ColumnID) -> std::unique_ptr<host::UI_SubView> {
            return std::make_unique<CountedCell>(alive);
        });
    const auto fill = [&](std::size_t count) {
        std::vector<TreeRowPtr> rows;
        for (std::size_t index = 0; index < count; ++index) {
            rows.push_back(Row(u"row " + host::ToUTF16(std::to_string(100000 + index))));
        }
        tree.InsertRows(nullptr, rows);
        return rows;
    };

    std::atomic<std::thread::id> freedOn{};
    std::vector<TreeRowPtr> rows = fill(host::TreeModel::kRowsFreedOnAWorker);
    rows.front()->SetOwnerData(std::make_unique<Watched>(freedOn));
    const std::weak_ptr<host::UI_TreeRow> first = rows.front();
    rows.clear();
    SettleEvents();
    view()->grab(); // the rows shown get their cell views
    ASSERT_GT(alive, 0);
    tree.RemoveAllRows();
    EXPECT_EQ(alive, 0); // at once, on the window's thread
    host::WaitForDefaultExecutor(10000);
    EXPECT_TRUE(first.expired());
    EXPECT_NE(freedOn.load(), std::thread::id());
    EXPECT_NE(freedOn.load(), std::this_thread::get_id());

    // A few rows are freed here and now, with their cell views.
    freedOn = std::thread::id();
    rows = fill(3);
    rows.front()->SetOwnerData(std::make_unique<Watched>(freedOn));
    const std::weak_ptr<host::UI_TreeRow> few = rows.front();
    rows.clear();
    SettleEvents();
    view()->grab();
    ASSERT_GT(alive, 0);
    tree.RemoveAllRows();
    EXPECT_EQ(alive, 0);
    EXPECT_TRUE(few.expired());
    EXPECT_EQ(freedOn.load(), std::this_thread::get_id());
}

} // namespace
