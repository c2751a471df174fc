// "Expand all below" on a tree whose folders are listed when they open, as the production's
// are: the rows of a folder arrive after it opens, in a later turn of the event loop.
#include "NamedRowsTree.h"

#include <QApplication>
#include <QKeyEvent>
#include <QTimer>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

namespace {

using host::TreeRowPtr;

class ExpandBelowTest : public testsupport::NamedRowsTree {
protected:
    void SetUp() override {
        NamedRowsTree::SetUp();
        // A folder opened for the first time is listed a turn later: three folders and two
        // projects, three levels deep.
        tree.SetDisclosureChangedCallback([this](const TreeRowPtr& row, bool open) {
            if (!open || listed.count(row.get()) != 0) {
                return;
            }
            listed[row.get()] = true;
            QTimer::singleShot(0, view(), [this, row] { List(row); });
        });
        Show();
    }
    int Depth(const TreeRowPtr& row) const {
        int depth = 0;
        for (const host::UI_TreeRow* at = row->GetParent(); at != nullptr; at = at->GetParent()) {
            ++depth;
        }
        return depth;
    }
    void List(const TreeRowPtr& folder) {
        if (!tree.HoldsRow(folder.get())) {
            return;
        }
        std::vector<TreeRowPtr> rows;
        const bool deepest = Depth(folder) == 2;
        for (int index = 0; index < 3; ++index) {
            rows.push_back(
                Row(Name(folder) + u"/d" + host::ToUTF16(std::to_string(index)), !deepest));
        }
        rows.push_back(Row(Name(folder) + u"/p0", false));
        rows.push_back(Row(Name(folder) + u"/p1", false));
        tree.InsertRows(folder, rows);
        ++listings;
        if (folder == closeOnceListed) {
            tree.OpenRow(folder, false); // the person closes it as its rows come
        }
    }
    // Every folder row of the tree, at any depth.
    std::vector<TreeRowPtr> FoldersBelow(const TreeRowPtr& folder) const {
        std::vector<TreeRowPtr> found;
        for (int index = 0; index < folder->GetChildCount(); ++index) {
            const TreeRowPtr row = folder->GetChild(index);
            if (row->CanHaveChildren()) {
                found.push_back(row);
                const std::vector<TreeRowPtr> deeper = FoldersBelow(row);
                found.insert(found.end(), deeper.begin(), deeper.end());
            }
        }
        return found;
    }
    void PressAsteriskOn(const TreeRowPtr& row) {
        tree.SelectRow(row, host::RowSelection::kOnlyRow, host::SelectionNotice::kQuiet);
        QKeyEvent key(QEvent::KeyPress, Qt::Key_Asterisk, Qt::KeypadModifier, QStringLiteral("*"));
        QApplication::sendEvent(view(), &key);
    }

    std::map<const host::UI_TreeRow*, bool> listed;
    int listings = 0;
    TreeRowPtr closeOnceListed;
};

TEST_F(ExpandBelowTest, KeypadAsteriskOpensEveryFolderBelowAsItsRowsArrive) {
    const TreeRowPtr top = Row(u"Episode", true);
    const TreeRowPtr other = Row(u"Other", true);
    tree.InsertRows(nullptr, {top, other});
    PressAsteriskOn(top);
    // The key opens the folder; nothing below it is there yet, so nothing else opened.
    EXPECT_TRUE(tree.IsRowOpen(top));
    EXPECT_EQ(top->GetChildCount(), 0);
    ASSERT_TRUE(WaitUntil([&] { return listings == 1 + 3 + 9; }));
    const std::vector<TreeRowPtr> below = FoldersBelow(top);
    ASSERT_EQ(below.size(), 3u + 9u);
    for (const TreeRowPtr& folder : below) {
        EXPECT_TRUE(tree.IsRowOpen(folder)) << host::ToUTF8(Name(folder));
    }
    // The deepest folders were listed, with their rows shown; the folder beside was left.
    EXPECT_EQ(below.back()->GetChildCount(), 5);
    EXPECT_FALSE(tree.IsRowOpen(other));
}

TEST_F(ExpandBelowTest, FoldersAlreadyListedOpenInTheirTurnToo) {
    const TreeRowPtr top = Row(u"Episode", true);
    tree.InsertRows(nullptr, {top});
    tree.OpenRow(top, true);
    ASSERT_TRUE(WaitUntil([&] { return top->GetChildCount() == 5; }));
    tree.OpenRow(top, false);
    PressAsteriskOn(top);
    ASSERT_TRUE(WaitUntil([&] { return listings == 1 + 3 + 9; }));
    for (const TreeRowPtr& folder : FoldersBelow(top)) {
        EXPECT_TRUE(tree.IsRowOpen(folder)) << host::ToUTF8(Name(folder));
    }
}

TEST_F(ExpandBelowTest, ClosingTheFolderMeanwhileStopsTheOpeningBelowIt) {
    const TreeRowPtr top = Row(u"Episode", true);
    tree.InsertRows(nullptr, {top});
    // Its own rows come, its folders wait to open: it is closed first.
    closeOnceListed = top;
    PressAsteriskOn(top);
    ASSERT_TRUE(WaitUntil([&] { return top->GetChildCount() == 5; }));
    SettleEvents();
    EXPECT_FALSE(tree.IsRowOpen(top));
    EXPECT_EQ(listings, 1);
    EXPECT_EQ(tree.GetImpl()->expandBelow->Waiting(), 0u);
    // Opening it again by hand opens it alone.
    tree.OpenRow(top, true);
    SettleEvents();
    for (const TreeRowPtr& folder : FoldersBelow(top)) {
        if (Depth(folder) == 1) {
            EXPECT_FALSE(tree.IsRowOpen(folder)) << host::ToUTF8(Name(folder));
        }
    }
}

TEST_F(ExpandBelowTest, AsteriskOnAProjectOpensNothing) {
    const TreeRowPtr project = Row(u"Scene", false);
    const TreeRowPtr folder = Row(u"Folder", true);
    tree.InsertRows(nullptr, {project, folder});
    PressAsteriskOn(project);
    SettleEvents();
    EXPECT_FALSE(tree.IsRowOpen(folder));
    EXPECT_EQ(listings, 0);
}

} // namespace
