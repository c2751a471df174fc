// The records of project rows follow the tree over a plain media browser view: read when
// their folder is open, marked stale when it is closed.
#include "directoryview/RecordRefresher.h"

#include "Marvane/core/DefaultExecutor.h"
#include "Marvane/monitor/DirectoryMonitorImpl.h"
#include "TemporaryFolder.h"
#include "TestProjects.h"
#include "ViewTestSupport.h"
#include "columns/ColumnIDs.h"

#include <QElapsedTimer>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using HandlerTandrel::RecordRefresher;
using HandlerTandrel::RowRecords;
using host::TreeRowPtr;

class RecordRefresherTest : public ::testing::Test {
protected:
    void SetUp() override {
        testsupport::WriteProject(root / "Scene 12.mvproj");
        testsupport::WriteProject(root / "Edit" / "Reel 1.mvproj");
        header.AppendColumn("Name", HandlerTandrel::Columns::kNameColumn);
        header.SetSortColumn(HandlerTandrel::Columns::kNameColumn);
        view = std::make_shared<host::MediaBrowserDirectoryView>("Test.Refresher");
        view->GetTree().SetHeaderRow(&header);
        view->GetTree().SetSortDataCallback(
            [this](const TreeRowPtr& row, host::UI_MultiColumnTree::ColumnID) {
                return view->GetRowPath(row);
            });
        view->SetRootPath(W(root));
        refresher = std::make_unique<RecordRefresher>(*view, records, header);
        view->RequestDirectoryContent(nullptr, root.string());
        ASSERT_TRUE(WaitUntil([this] { return view->GetTree().GetTopLevelRowCount() == 2; }));
    }
    void TearDown() override {
        host::DirectoryMonitor::Instance().Reset();
        host::WaitForDefaultExecutor(10000);
        SettleEvents(20);
        refresher.reset();
        view.reset();
    }
    static host::WideString W(const fs::path& path) { return host::ToUTF16(path.string()); }
    TreeRowPtr RowOf(const fs::path& path) const { return view->GetRowForPath(W(path)); }
    // Opens Edit and waits for its row.
    TreeRowPtr OpenEdit() {
        const TreeRowPtr edit = RowOf(root / "Edit");
        view->GetTree().OpenRow(edit, true);
        EXPECT_TRUE(WaitUntil([&] { return edit->GetChildCount() == 1; }));
        return edit;
    }

    const testsupport::TemporaryFolder temporary{"refresher"};
    const fs::path root = temporary.Path();
    host::UI_MultiColumnTreeHeaderRow header;
    std::shared_ptr<host::MediaBrowserDirectoryView> view;
    RowRecords records;
    std::unique_ptr<RecordRefresher> refresher;
};

TEST_F(RecordRefresherTest, TheTopLevelIsReadWhenItArrivesAndFoldersHaveNoRecord) {
    refresher->ContentDelivered(nullptr, true);
    const TreeRowPtr scene = RowOf(root / "Scene 12.mvproj");
    ASSERT_TRUE(records.Has(scene.get()));
    EXPECT_FALSE(records.IsStale(scene.get()));
    EXPECT_EQ(records.Find(scene.get(), view->GetRowPath(scene))->displayName, u"Scene 12");
    EXPECT_FALSE(records.Has(RowOf(root / "Edit").get()));
}

TEST_F(RecordRefresherTest, RowsOfAClosedFolderAreStaleUntilItOpens) {
    const TreeRowPtr edit = OpenEdit();
    view->GetTree().OpenRow(edit, false);
    refresher->ContentDelivered(edit, false);
    const TreeRowPtr reel = RowOf(root / "Edit" / "Reel 1.mvproj");
    ASSERT_NE(reel, nullptr);
    EXPECT_TRUE(records.IsStale(reel.get()));
    refresher->DisclosureChanged(edit, true);
    EXPECT_FALSE(records.IsStale(reel.get()));
    EXPECT_EQ(records.Find(reel.get(), view->GetRowPath(reel))->displayName, u"Reel 1");
    refresher->DisclosureChanged(edit, false);
    EXPECT_TRUE(records.IsStale(reel.get()));
}

TEST_F(RecordRefresherTest, AChangedProjectIsReadAgainOnlyWhereItCanBeSeen) {
    const TreeRowPtr edit = OpenEdit();
    view->GetTree().OpenRow(edit, false);
    const TreeRowPtr reel = RowOf(root / "Edit" / "Reel 1.mvproj");
    refresher->ProjectChanged(W(root / "Edit" / "Reel 1.mvproj"));
    EXPECT_TRUE(records.IsStale(reel.get()));
    const TreeRowPtr scene = RowOf(root / "Scene 12.mvproj");
    refresher->ProjectChanged(W(root / "Scene 12.mvproj"));
    ASSERT_TRUE(records.Has(scene.get()));
    EXPECT_FALSE(records.IsStale(scene.get()));
    refresher->ProjectChanged(W(root / "Elsewhere.mvproj")); // no row: nothing
    EXPECT_EQ(records.Count(), 2u);
}

TEST_F(RecordRefresherTest, ChildRowsAreTheRowsUnderARowInTheirOrder) {
    const auto top = RecordRefresher::ChildRows(view->GetTree(), nullptr);
    ASSERT_EQ(top.size(), 2u);
    EXPECT_EQ(top[0], view->GetTree().GetTopLevelRow(0));
    EXPECT_EQ(top[1], view->GetTree().GetTopLevelRow(1));
    const TreeRowPtr edit = OpenEdit();
    EXPECT_EQ(RecordRefresher::ChildRows(view->GetTree(), edit),
              std::vector<TreeRowPtr>{RowOf(root / "Edit" / "Reel 1.mvproj")});
}

} // namespace
