// The selection and "expand all below" over the production's own folders while the disk
// changes under them, and over folders a user may have made awkward: a link back up the tree.
#include "Marvane/uitoolkit/TreeView.h"
#include "TandrelDirectoryViewFixture.h"
#include "panel/SelectedItems.h"

#include <QKeyEvent>
#include <QTreeView>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

using host::TreeRowPtr;
using testsupport::TandrelDirectoryViewTest;
namespace fs = std::filesystem;

void PressAsterisk(TandrelDirectoryViewTest&, host::UI_MultiColumnTree& tree) {
    QKeyEvent key(QEvent::KeyPress, Qt::Key_Asterisk, Qt::KeypadModifier, QStringLiteral("*"));
    QApplication::sendEvent(tree.GetImpl()->view.data(), &key);
}

TEST_F(TandrelDirectoryViewTest, AFolderRemovedByAnotherProcessLeavesSelectAllAndTheCountFollows) {
    for (int index = 0; index < 70; ++index) {
        testsupport::WriteProject(production / "Dailies" /
                                  ("Take " + std::to_string(index) + ".mvproj"));
    }
    OpenPanel(6);
    OpenFolder(production / "Dailies", 70);
    OpenFolder(production / "Edit", 2);
    View().SelectAll();
    // The 6 top rows, 70 takes and 2 reels.
    ASSERT_EQ(View().GetSelectedPaths().size(), 78u);
    fs::remove_all(production / "Dailies");
    ASSERT_TRUE(WaitUntil([&] { return RowOf(production / "Dailies") == nullptr; }));
    const auto selected = View().GetSelectedPaths();
    EXPECT_EQ(selected.size(), 7u);
    for (const auto& path : selected) {
        EXPECT_EQ(host::ToUTF8(path).find("Dailies"), std::string::npos) << host::ToUTF8(path);
    }
    // What is left can be selected again and cleared.
    View().DeselectAll();
    EXPECT_TRUE(View().GetSelectedPaths().empty());
    View().SelectAll();
    EXPECT_EQ(View().GetSelectedPaths().size(), 7u);
}

TEST_F(TandrelDirectoryViewTest, SelectedItemsOfTheTreeAreReadFromItsRowsFolderByFolder) {
    for (int index = 0; index < 40; ++index) {
        testsupport::WriteProject(production / "Dailies" /
                                  ("Take " + std::to_string(index) + ".mvproj"));
    }
    OpenPanel(6);
    OpenFolder(production / "Dailies", 40);
    OpenFolder(production / "Edit", 2);
    const HandlerTandrel::SelectedItems items = HandlerTandrel::SelectedItems::OfRows(
        std::weak_ptr<const host::MediaBrowserDirectoryView>(panel->GetDirectoryView()));
    EXPECT_TRUE(items.empty());
    EXPECT_EQ(items.Only(), host::WideString());

    auto& tree = View().GetTree();
    tree.SelectRow(RowOf(production / "Edit" / "Reel 2.mvproj"), host::RowSelection::kOnlyRow,
                   host::SelectionNotice::kQuiet);
    EXPECT_EQ(items.size(), 1u);
    EXPECT_EQ(items.Only(), W(production / "Edit" / "Reel 2.mvproj"));

    // Every row: the count is every row's, the outermost items are the top rows only.
    View().SelectAll();
    EXPECT_EQ(items.size(), View().GetSelectedPaths().size());
    EXPECT_EQ(items.size(), 6u + 40u + 2u);
    EXPECT_EQ(items.Only(), host::WideString());
    const HandlerTandrel::SelectedItems all = HandlerTandrel::SelectedItems::OfRows(
        std::weak_ptr<const host::MediaBrowserDirectoryView>(panel->GetDirectoryView()));
    std::vector<host::WideString> top;
    for (int index = 0; index < tree.GetTopLevelRowCount(); ++index) {
        top.push_back(View().GetRowPath(tree.GetTopLevelRow(index)));
    }
    EXPECT_EQ(*all.Outermost(), top);
    EXPECT_EQ(all.All(), View().GetSelectedPaths());

    // A question is answered at the first row that answers it, and only the rows whose name
    // may answer have their path made.
    int tested = 0;
    EXPECT_TRUE(all.AnyOf([&tested](const host::WideString&) { return ++tested == 3; }));
    EXPECT_EQ(tested, 3);
    std::vector<host::WideString> named;
    EXPECT_FALSE(all.AnyOf(
        [&named](const host::WideString& path) {
            named.push_back(path);
            return false;
        },
        [](std::u16string_view name) { return name == u"Take 7.mvproj"; }));
    EXPECT_EQ(named, std::vector<host::WideString>{W(production / "Dailies" / "Take 7.mvproj")});

    // A folder and some rows in it stand as the folder alone; a row elsewhere stands as itself.
    tree.SelectRow(RowOf(production / "Dailies"), host::RowSelection::kOnlyRow,
                   host::SelectionNotice::kQuiet);
    tree.SelectRow(RowOf(production / "Dailies" / "Take 3.mvproj"), host::RowSelection::kAddRow,
                   host::SelectionNotice::kQuiet);
    tree.SelectRow(RowOf(production / "Edit" / "Reel 1.mvproj"), host::RowSelection::kAddRow,
                   host::SelectionNotice::kQuiet);
    const HandlerTandrel::SelectedItems some = HandlerTandrel::SelectedItems::OfRows(
        std::weak_ptr<const host::MediaBrowserDirectoryView>(panel->GetDirectoryView()));
    EXPECT_EQ(some.size(), 3u);
    EXPECT_EQ(*some.Outermost(),
              (std::vector<host::WideString>{W(production / "Dailies"),
                                             W(production / "Edit" / "Reel 1.mvproj")}));

    // Once the view is gone, nothing is selected.
    panel.reset();
    EXPECT_EQ(items.size(), 0u);
    EXPECT_FALSE(items.AnyOf([](const host::WideString&) { return true; }));
    EXPECT_TRUE(items.All().empty());
}

TEST_F(TandrelDirectoryViewTest, AsteriskDoesNotFollowALinkBackUpTheTree) {
    testsupport::WriteProject(production / "Loop" / "Inner" / "Take.mvproj");
    fs::create_directory_symlink("../..", production / "Loop" / "Inner" / "Up");
    ::mkfifo((production / "Loop" / "pipe.mvproj").c_str(), 0644);
    OpenPanel(6);
    auto& tree = View().GetTree();
    const TreeRowPtr loop = RowOf(production / "Loop");
    ASSERT_NE(loop, nullptr);
    tree.SelectRow(loop, host::RowSelection::kOnlyRow, host::SelectionNotice::kQuiet);
    PressAsterisk(*this, tree);
    ASSERT_TRUE(WaitUntil([&] {
        const TreeRowPtr inner = RowOf(production / "Loop" / "Inner");
        return inner && tree.IsRowOpen(inner) &&
               RowOf(production / "Loop" / "Inner" / "Take.mvproj");
    }));
    // The link is a folder row, but the opening does not go through it: it stays closed,
    // nothing waits, and no row lies below it.
    SettleEvents(300);
    EXPECT_EQ(tree.GetImpl()->expandBelow->Waiting(), 0u);
    const TreeRowPtr up = RowOf(production / "Loop" / "Inner" / "Up");
    ASSERT_NE(up, nullptr);
    EXPECT_TRUE(up->CanHaveChildren());
    EXPECT_FALSE(tree.IsRowOpen(up));
    EXPECT_EQ(up->GetChildCount(), 0);
    // Opened by hand it shows what it leads to.
    tree.OpenRow(up, true);
    EXPECT_TRUE(WaitUntil([&] { return up->GetChildCount() > 0; }));
    // The window still answers: a folder closes at once.
    tree.OpenRow(loop, false);
    EXPECT_FALSE(tree.IsRowOpen(loop));
}

} // namespace
