// "Expand all below" on the production's own folders: each folder is listed from the disk when
// it opens, and the folders found in it open in their turn.
#include "Marvane/uitoolkit/TreeView.h"
#include "TandrelDirectoryViewFixture.h"

#include <QKeyEvent>
#include <QTreeView>
#include <gtest/gtest.h>

namespace {

using host::TreeRowPtr;
using testsupport::TandrelDirectoryViewTest;
namespace fs = std::filesystem;

TEST_F(TandrelDirectoryViewTest, KeypadAsteriskOnAFolderOpensEveryFolderBelowItFromTheDisk) {
    // Three levels below "Season", with a project at the bottom of each branch; "Edit" beside.
    for (const char* day : {"Day 1", "Day 2"}) {
        for (const char* scene : {"Scene A", "Scene B"}) {
            testsupport::WriteProject(production / "Season" / "Episode 1" / day / scene /
                                      "Take.mvproj");
        }
    }
    OpenPanel(6);
    const TreeRowPtr season = RowOf(production / "Season");
    ASSERT_NE(season, nullptr);
    auto& tree = View().GetTree();
    tree.SelectRow(season, host::RowSelection::kOnlyRow, host::SelectionNotice::kQuiet);
    QTreeView* view = tree.GetImpl()->view.data();
    view->setFocus();
    QKeyEvent key(QEvent::KeyPress, Qt::Key_Asterisk, Qt::KeypadModifier, QStringLiteral("*"));
    QApplication::sendEvent(view, &key);
    const fs::path deepest = production / "Season" / "Episode 1" / "Day 2" / "Scene B";
    ASSERT_TRUE(WaitUntil([&] {
        const TreeRowPtr row = RowOf(deepest);
        return row && tree.IsRowOpen(row) && row->GetChildCount() == 1;
    }));
    for (const fs::path& folder : {production / "Season", production / "Season" / "Episode 1",
                                   production / "Season" / "Episode 1" / "Day 1",
                                   production / "Season" / "Episode 1" / "Day 1" / "Scene A",
                                   production / "Season" / "Episode 1" / "Day 2" / "Scene A"}) {
        const TreeRowPtr row = RowOf(folder);
        ASSERT_NE(row, nullptr) << folder;
        EXPECT_TRUE(WaitUntil([&] { return tree.IsRowOpen(row) && row->GetChildCount() > 0; }))
            << folder;
    }
    EXPECT_NE(RowOf(deepest / "Take.mvproj"), nullptr);
    // The folder beside it stays closed.
    EXPECT_FALSE(tree.IsRowOpen(RowOf(production / "Edit")));
}

} // namespace
