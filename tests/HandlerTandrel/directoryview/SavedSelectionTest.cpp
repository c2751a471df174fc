// The saved selection and scroll position, put back over a plain media browser view.
#include "directoryview/SavedSelection.h"

#include "FileBytes.h"
#include "Marvane/core/DefaultExecutor.h"
#include "Marvane/monitor/DirectoryMonitorImpl.h"
#include "Marvane/uitoolkit/TreeView.h"
#include "TemporaryFolder.h"
#include "ViewTestSupport.h"

#include <QElapsedTimer>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using host::TreeRowPtr;

class SavedSelectionTest : public ::testing::Test {
protected:
    void SetUp() override {
        for (int index = 0; index < 60; ++index) {
            testsupport::WriteBytes(root / ("Take " + std::to_string(100 + index) + ".mvproj"),
                                    "{}");
        }
        header.AppendColumn("Name", 1);
        header.SetSortColumn(1);
        view = std::make_shared<host::MediaBrowserDirectoryView>("Test.Selection");
        view->GetTree().SetHeaderRow(&header);
        view->GetTree().SetSortDataCallback(
            [this](const TreeRowPtr& row, host::UI_MultiColumnTree::ColumnID) {
                return view->GetRowPath(row);
            });
        view->SetRootPath(W(root));
        view->GetTree().GetImpl()->view->resize(300, 200);
        view->GetTree().GetImpl()->view->show();
        view->RequestDirectoryContent(nullptr, root.string());
        ASSERT_TRUE(WaitUntil([this] { return view->GetTree().GetTopLevelRowCount() == 60; }));
        SettleEvents();
    }
    void TearDown() override {
        host::DirectoryMonitor::Instance().Reset();
        host::WaitForDefaultExecutor(10000);
        SettleEvents(20);
        view.reset();
    }
    host::WideString Take(int number) const {
        return W(root / ("Take " + std::to_string(number) + ".mvproj"));
    }
    static host::WideString W(const fs::path& path) { return host::ToUTF16(path.string()); }

    const testsupport::TemporaryFolder temporary{"selection"};
    const fs::path root = temporary.Path();
    host::UI_MultiColumnTreeHeaderRow header;
    std::shared_ptr<host::MediaBrowserDirectoryView> view;
};

TEST_F(SavedSelectionTest, TheRowsAtThePathsReplaceTheSelectionAndMissingPathsAreSkipped) {
    view->GetTree().SelectRow(view->GetRowForPath(Take(150)), host::RowSelection::kOnlyRow,
                              host::SelectionNotice::kQuiet);
    HandlerTandrel::SelectRowsAtPaths(*view, {W(root / "Gone.mvproj"), Take(101), Take(103)});
    EXPECT_EQ(view->GetSelectedPaths(), (std::vector<host::WideString>{Take(101), Take(103)}));
}

TEST_F(SavedSelectionTest, TheSavedTopRowComesBackAtTheTop) {
    HandlerTandrel::DirectoryViewStateData state;
    state.mSelectedRowPaths = {Take(145)};
    state.mTopVisibleRowPath = Take(140);
    HandlerTandrel::RestoreSelectionAndScroll(*view, state);
    SettleEvents();
    EXPECT_EQ(view->GetSelectedPaths(), std::vector<host::WideString>{Take(145)});
    const auto opened = view->GetTree().GetOpenedRows();
    const int first = view->GetTree().GetFirstVisibleOpenedRowIndex();
    ASSERT_GE(first, 0);
    EXPECT_EQ(view->GetRowPath(opened[static_cast<std::size_t>(first)]), Take(140));
}

TEST_F(SavedSelectionTest, WithoutItsTopRowTheFirstSelectedRowIsScrolledIntoView) {
    HandlerTandrel::DirectoryViewStateData state;
    state.mSelectedRowPaths = {Take(155), Take(102)};
    state.mTopVisibleRowPath = W(root / "Gone.mvproj");
    HandlerTandrel::RestoreSelectionAndScroll(*view, state);
    SettleEvents();
    EXPECT_TRUE(view->GetTree().IsRowVisible(view->GetRowForPath(Take(155))));
    EXPECT_FALSE(view->GetTree().IsRowVisible(view->GetRowForPath(Take(102))));
}

} // namespace
