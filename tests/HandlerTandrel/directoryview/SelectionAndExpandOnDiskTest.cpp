// The selection and "expand all below" over the production's own folders while the disk
// changes under them, and over folders a user may have made awkward: a link back up the tree.
#include "Marvane/uitoolkit/TreeView.h"
#include "TandrelDirectoryViewFixture.h"

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
