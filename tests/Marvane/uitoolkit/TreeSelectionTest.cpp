// The tree's selection as the person makes it (clicks, Shift and Control, keys, the view's own
// Select All) and as it follows the rows (removed, sorted), drawn where the rows are.
#include "NamedRowsTree.h"

#include <QApplication>
#include <QHeaderView>
#include <QImage>
#include <QItemSelectionModel>
#include <QKeyEvent>
#include <QMouseEvent>
#include <cstdlib>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

namespace {

using host::TreeRowPtr;

class TreeSelectionTest : public testsupport::NamedRowsTree {
protected:
    void SetUp() override {
        NamedRowsTree::SetUp();
        tree.SetAllowsMultipleSelection(true);
        tree.SetSelectionChangedCallback([this] { ++told; });
        Show();
    }
    // Folders "f0".."fN" of rows "fX-00".."fX-NN", every one open.
    std::vector<TreeRowPtr> Folders(int folders, int rowsEach) {
        std::vector<TreeRowPtr> made;
        for (int folder = 0; folder < folders; ++folder) {
            const std::u16string name = u"f" + host::ToUTF16(std::to_string(folder));
            const TreeRowPtr row = Row(name, true);
            tree.InsertRows(nullptr, {row});
            std::vector<TreeRowPtr> children;
            for (int child = 0; child < rowsEach; ++child) {
                const std::string number = (child < 10 ? "0" : "") + std::to_string(child);
                children.push_back(Row(name + u"-" + host::ToUTF16(number)));
            }
            tree.InsertRows(row, children);
            tree.OpenRow(row, true);
            made.push_back(row);
        }
        SettleEvents();
        return made;
    }
    std::vector<std::u16string> SelectedNames() const {
        std::vector<std::u16string> selected;
        for (const TreeRowPtr& row : tree.GetSelectedRows()) {
            selected.push_back(Name(row));
        }
        return selected;
    }
    QPoint At(const TreeRowPtr& row) const {
        return view()->visualRect(tree.GetImpl()->model.IndexOf(row)).center();
    }
    void Mouse(QEvent::Type type, const TreeRowPtr& row, Qt::KeyboardModifiers modifiers,
               Qt::MouseButton button = Qt::LeftButton) {
        QWidget* target = view()->viewport();
        const QPoint at = At(row);
        QMouseEvent event(type, at, target->mapToGlobal(at), button,
                          type == QEvent::MouseButtonRelease ? Qt::NoButton : button, modifiers);
        QApplication::sendEvent(target, &event);
    }
    void Click(const TreeRowPtr& row, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        Mouse(QEvent::MouseButtonPress, row, modifiers);
        Mouse(QEvent::MouseButtonRelease, row, modifiers);
    }
    void Key(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        // As a keyboard sends it: Space types a space (the view searches the rows for it).
        QKeyEvent event(QEvent::KeyPress, key, modifiers,
                        key == Qt::Key_Space ? QStringLiteral(" ") : QString());
        QApplication::sendEvent(view(), &event);
    }

    int told = 0;
};

TEST_F(TreeSelectionTest, TheViewsOwnSelectAllSelectsEveryShownRowOnceInDisplayOrder) {
    const std::vector<TreeRowPtr> folders = Folders(3, 4);
    view()->selectAll();
    const std::vector<std::u16string> selected = SelectedNames();
    ASSERT_EQ(selected.size(), 15u);
    EXPECT_EQ(selected.front(), u"f0");
    EXPECT_EQ(selected[1], u"f0-00");
    EXPECT_EQ(selected[5], u"f1");
    EXPECT_EQ(selected.back(), u"f2-03");
    EXPECT_EQ(told, 1);
    // Again: nothing changes, nobody is told.
    view()->selectAll();
    EXPECT_EQ(tree.GetSelectedRows().size(), 15u);
    EXPECT_EQ(told, 1);
}

TEST_F(TreeSelectionTest, SelectingRowsGivenOutOfOrderAcrossFoldersKeepsEachOnce) {
    const std::vector<TreeRowPtr> folders = Folders(2, 3);
    tree.SelectRows({folders[1]->GetChild(2), folders[0], folders[1]->GetChild(0),
                     folders[0]->GetChild(1), folders[1]->GetChild(2)},
                    true);
    EXPECT_EQ(SelectedNames(), (std::vector<std::u16string>{u"f0", u"f0-01", u"f1-00", u"f1-02"}));
    EXPECT_EQ(told, 1);
    tree.DeselectAllRows();
    EXPECT_TRUE(tree.GetSelectedRows().empty());
    EXPECT_EQ(told, 2);
    tree.DeselectAllRows(); // nothing was selected: nobody is told
    EXPECT_EQ(told, 2);
}

TEST_F(TreeSelectionTest, RemovingAFolderTakesItsSelectedRowsOutOfTheSelectionAndTellsOnce) {
    const std::vector<TreeRowPtr> folders = Folders(2, 3);
    tree.SelectRows({folders[0]->GetChild(0), folders[0]->GetChild(2), folders[1]->GetChild(1)},
                    true);
    const int toldBefore = told;
    tree.RemoveRow(folders[0]);
    EXPECT_EQ(SelectedNames(), std::vector<std::u16string>{u"f1-01"});
    EXPECT_EQ(told, toldBefore + 1);
    // A row put back in the tree comes back unselected.
    tree.InsertRows(nullptr, {folders[0]});
    tree.OpenRow(folders[0], true);
    EXPECT_EQ(SelectedNames(), std::vector<std::u16string>{u"f1-01"});
    // Removing rows that were not selected tells nobody.
    const int toldNow = told;
    tree.RemoveChildren(folders[0]);
    EXPECT_EQ(told, toldNow);
}

TEST_F(TreeSelectionTest, SelectedRowsStaySelectedWhenTheRowsAreSortedAgain) {
    const std::vector<TreeRowPtr> folders = Folders(2, 5);
    tree.SelectRows({folders[1]->GetChild(0), folders[1]->GetChild(3)}, true);
    header.SetSortDirection(false);
    tree.Resort();
    // Descending now: the folder's rows come in the other order, still the same two.
    EXPECT_EQ(SelectedNames(), (std::vector<std::u16string>{u"f1-03", u"f1-00"}));
}

TEST_F(TreeSelectionTest, AClickSelectsTheRowAloneAndControlAddsOrTakesOut) {
    const std::vector<TreeRowPtr> folders = Folders(1, 6);
    const TreeRowPtr a = folders[0]->GetChild(1);
    const TreeRowPtr b = folders[0]->GetChild(4);
    Click(a);
    EXPECT_EQ(SelectedNames(), std::vector<std::u16string>{u"f0-01"});
    Click(b, Qt::ControlModifier);
    EXPECT_EQ(SelectedNames(), (std::vector<std::u16string>{u"f0-01", u"f0-04"}));
    Click(a, Qt::ControlModifier);
    EXPECT_EQ(SelectedNames(), std::vector<std::u16string>{u"f0-04"});
}

TEST_F(TreeSelectionTest, APressOnASelectedRowKeepsTheSelectionUntilTheRelease) {
    const std::vector<TreeRowPtr> folders = Folders(1, 6);
    tree.SelectRows({folders[0]->GetChild(1), folders[0]->GetChild(2)}, true);
    // The press may start dragging both: they stay selected until the button comes up.
    Mouse(QEvent::MouseButtonPress, folders[0]->GetChild(2), Qt::NoModifier);
    EXPECT_EQ(tree.GetSelectedRows().size(), 2u);
    Mouse(QEvent::MouseButtonRelease, folders[0]->GetChild(2), Qt::NoModifier);
    EXPECT_EQ(SelectedNames(), std::vector<std::u16string>{u"f0-02"});
    // A right-click on a selected row keeps the selection for its menu.
    tree.SelectRows({folders[0]->GetChild(1)}, true);
    Mouse(QEvent::MouseButtonPress, folders[0]->GetChild(1), Qt::NoModifier, Qt::RightButton);
    Mouse(QEvent::MouseButtonRelease, folders[0]->GetChild(1), Qt::NoModifier, Qt::RightButton);
    EXPECT_EQ(tree.GetSelectedRows().size(), 2u);
}

TEST_F(TreeSelectionTest, ShiftClicksFromOneAnchorReplaceEachOtherAcrossFolders) {
    const std::vector<TreeRowPtr> folders = Folders(2, 3);
    Click(folders[0]->GetChild(1));
    Click(folders[1]->GetChild(1), Qt::ShiftModifier);
    EXPECT_EQ(SelectedNames(),
              (std::vector<std::u16string>{u"f0-01", u"f0-02", u"f1", u"f1-00", u"f1-01"}));
    // A nearer Shift+click from the same anchor: the first step's rows beyond it go.
    Click(folders[0]->GetChild(2), Qt::ShiftModifier);
    EXPECT_EQ(SelectedNames(), (std::vector<std::u16string>{u"f0-01", u"f0-02"}));
    // Shift+Up extends from the anchor too.
    Click(folders[0]->GetChild(2));
    Key(Qt::Key_Up, Qt::ShiftModifier);
    Key(Qt::Key_Up, Qt::ShiftModifier);
    EXPECT_EQ(SelectedNames(), (std::vector<std::u16string>{u"f0-00", u"f0-01", u"f0-02"}));
    Key(Qt::Key_Down, Qt::ShiftModifier);
    EXPECT_EQ(SelectedNames(), (std::vector<std::u16string>{u"f0-01", u"f0-02"}));
}

TEST_F(TreeSelectionTest, ControlShiftClickExtendsFromTheAnchorKeepingTheRest) {
    const std::vector<TreeRowPtr> folders = Folders(1, 8);
    Click(folders[0]->GetChild(0));
    Click(folders[0]->GetChild(3), Qt::ControlModifier);
    Click(folders[0]->GetChild(5), Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(SelectedNames(),
              (std::vector<std::u16string>{u"f0-00", u"f0-03", u"f0-04", u"f0-05"}));
}

TEST_F(TreeSelectionTest, ASmallSelectionIsAlsoQtsOwnForScreenReadersAndABigOneIsNot) {
    const std::vector<TreeRowPtr> folders = Folders(2, 60);
    QItemSelectionModel& qt = *view()->selectionModel();
    const auto index = [&](const TreeRowPtr& row) { return tree.GetImpl()->model.IndexOf(row); };
    tree.SelectRows({folders[0]->GetChild(2), folders[1]->GetChild(7)}, true);
    EXPECT_TRUE(qt.isSelected(index(folders[0]->GetChild(2))));
    EXPECT_TRUE(qt.isSelected(index(folders[1]->GetChild(7))));
    EXPECT_FALSE(qt.isSelected(index(folders[1]->GetChild(8))));
    const int toldBefore = told;
    view()->selectAll(); // 122 rows: too many to give Qt, told once all the same
    EXPECT_EQ(told, toldBefore + 1);
    EXPECT_EQ(tree.GetSelectedRows().size(), 122u);
    EXPECT_FALSE(qt.hasSelection());
    // Back to a few: Qt's part holds them again.
    Click(folders[1]->GetChild(1));
    EXPECT_EQ(SelectedNames(), std::vector<std::u16string>{u"f1-01"});
    EXPECT_TRUE(qt.isSelected(index(folders[1]->GetChild(1))));
    EXPECT_EQ(qt.selectedRows().size(), 1);
}

TEST_F(TreeSelectionTest, ArrowKeysMoveTheSelectionAndControlSpaceTogglesTheCurrentRow) {
    const std::vector<TreeRowPtr> folders = Folders(1, 4);
    Click(folders[0]->GetChild(0));
    Key(Qt::Key_Down);
    EXPECT_EQ(SelectedNames(), std::vector<std::u16string>{u"f0-01"});
    Key(Qt::Key_Down, Qt::ControlModifier); // moves the current row only
    EXPECT_EQ(SelectedNames(), std::vector<std::u16string>{u"f0-01"});
    Key(Qt::Key_Space, Qt::ControlModifier);
    EXPECT_EQ(SelectedNames(), (std::vector<std::u16string>{u"f0-01", u"f0-02"}));
    Key(Qt::Key_Space, Qt::ControlModifier);
    EXPECT_EQ(SelectedNames(), std::vector<std::u16string>{u"f0-01"});
}

TEST_F(TreeSelectionTest, ASelectedRowIsDrawnInTheHighlightFromItsFolderLinesToItsEnd) {
    // Every row of a folder of 80 but its third: too many for Qt's own part, so what is drawn
    // selected is drawn from the rows' marks alone.
    const std::vector<TreeRowPtr> folders = Folders(1, 80);
    // Given last to first, so that the first (the last given) becomes the current row and the
    // tree stays scrolled to the top.
    std::vector<TreeRowPtr> rows;
    for (int index = 79; index >= 0; --index) {
        if (index != 2) {
            rows.push_back(folders[0]->GetChild(index));
        }
    }
    tree.SelectRows(rows, true);
    ASSERT_FALSE(view()->selectionModel()->hasSelection());
    const TreeRowPtr chosen = folders[0]->GetChild(1);
    SettleEvents();
    const QImage image = view()->viewport()->grab().toImage();
    const QColor highlight = view()->palette().color(QPalette::Active, QPalette::Highlight);
    const QColor inactive = view()->palette().color(QPalette::Inactive, QPalette::Highlight);
    const auto isHighlight = [&](QPoint at) {
        // The style may shade the highlight a little.
        const QColor seen = image.pixelColor(at * image.devicePixelRatio());
        const auto near = [&](const QColor& color) {
            return std::abs(seen.red() - color.red()) <= 8 &&
                   std::abs(seen.green() - color.green()) <= 8 &&
                   std::abs(seen.blue() - color.blue()) <= 8;
        };
        return near(highlight) || near(inactive);
    };
    const QRect selected = view()->visualRect(tree.GetImpl()->model.IndexOf(chosen));
    const QRect other = view()->visualRect(tree.GetImpl()->model.IndexOf(folders[0]->GetChild(2)));
    // Left of the name (where the folder's lines are drawn) and near the column's end, past
    // the text.
    const int end = view()->header()->sectionSize(0) - 4;
    EXPECT_TRUE(isHighlight(QPoint(2, selected.center().y())));
    EXPECT_TRUE(isHighlight(QPoint(end, selected.center().y())));
    EXPECT_FALSE(isHighlight(QPoint(2, other.center().y())));
    EXPECT_FALSE(isHighlight(QPoint(end, other.center().y())));
}

} // namespace
