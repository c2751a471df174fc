#include "host/MediaBrowser.h"
#include "Marvane/application/HostSession.h"
#include "Marvane/core/DefaultExecutor.h"
#include "Marvane/monitor/DirectoryMonitorImpl.h"
#include "TemporaryFolder.h"
#include "TestProjects.h"
#include "ViewTestSupport.h"
#include "host/DirectoryMonitor.h"
#include "host/FileServices.h"
#include "host/ProjectBackEnd.h"

#include <QElapsedTimer>
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <unistd.h>

#include "FileBytes.h"

namespace {

namespace fs = std::filesystem;
using host::TreeRowPtr;

class MediaBrowserTest : public ::testing::Test {
protected:
    void SetUp() override {
        testsupport::WriteBytes(root / "Edit" / "Scene 12.mvproj", "{}");
        testsupport::WriteBytes(root / "Edit" / "Reels" / "Reel 1.mvproj", "{}");
        testsupport::WriteBytes(root / "notes.txt", "notes");
        header.AppendColumn("Name", 1);
        header.SetSortColumn(1);
        view = std::make_shared<host::MediaBrowserDirectoryView>("Test.Browser");
        view->StartListening();
        view->GetTree().SetHeaderRow(&header);
        view->GetTree().SetSortDataCallback(
            [this](const TreeRowPtr& row, host::UI_MultiColumnTree::ColumnID) {
                return view->GetRowPath(row);
            });
        view->SetRootPath(host::ToUTF16(root.string()));
    }
    void TearDown() override {
        host::DirectoryMonitor::Instance().Reset();
        host::WaitForDefaultExecutor(10000);
        SettleEvents(20);
        view.reset();
    }
    std::vector<std::string> TopLevelNames() const { return TopLevelFileNames(*view); }
    TreeRowPtr RowOf(const fs::path& path) const {
        return view->GetRowForPath(host::ToUTF16(path.string()));
    }
    void LoadRoot() {
        view->RequestDirectoryContent(nullptr, root.string());
        ASSERT_TRUE(WaitUntil([this] { return view->GetTree().GetTopLevelRowCount() == 2; }));
    }

    const testsupport::TemporaryFolder temporary{"browser"};
    const fs::path root = temporary.Path();
    host::UI_MultiColumnTreeHeaderRow header;
    std::shared_ptr<host::MediaBrowserDirectoryView> view;
};

TEST_F(MediaBrowserTest, TheRootIsReadOffTheMainThreadAndArrivesLater) {
    view->RequestDirectoryContent(nullptr, root.string());
    EXPECT_EQ(view->GetTree().GetTopLevelRowCount(), 0); // nothing yet: the read is elsewhere
    ASSERT_TRUE(WaitUntil([this] { return view->GetTree().GetTopLevelRowCount() == 2; }));
    EXPECT_EQ(TopLevelNames(), (std::vector<std::string>{"Edit", "notes.txt"}));
    EXPECT_TRUE(RowOf(root / "Edit")->CanHaveChildren());
    EXPECT_FALSE(RowOf(root / "notes.txt")->CanHaveChildren());
}

TEST_F(MediaBrowserTest, OpeningAFolderReadsItOnce) {
    LoadRoot();
    const TreeRowPtr edit = RowOf(root / "Edit");
    const std::uint64_t reads = view->GetDirectoryReadCount();
    view->GetTree().OpenRow(edit, true);
    ASSERT_TRUE(WaitUntil([&] { return edit->GetChildCount() == 2; }));
    EXPECT_EQ(view->GetDirectoryReadCount(), reads + 1);
    view->GetTree().OpenRow(edit, false);
    view->GetTree().OpenRow(edit, true);
    SettleEvents(50);
    EXPECT_EQ(view->GetDirectoryReadCount(), reads + 1);
    EXPECT_EQ(view->GetExactOpenedHeight(), 4 * view->GetTree().GetRowHeight());
}

TEST_F(MediaBrowserTest, AReReadKeepsOpenFoldersAndTheSelectionAndDropsWhatIsGone) {
    LoadRoot();
    const TreeRowPtr edit = RowOf(root / "Edit");
    view->GetTree().OpenRow(edit, true);
    ASSERT_TRUE(WaitUntil([&] { return edit->GetChildCount() == 2; }));
    const TreeRowPtr scene = RowOf(root / "Edit" / "Scene 12.mvproj");
    view->GetTree().SelectRow(scene, host::RowSelection::kOnlyRow, host::SelectionNotice::kTell);
    fs::remove(root / "notes.txt");
    testsupport::WriteBytes(root / "Archive" / "old.mvproj", "{}");
    testsupport::WriteBytes(root / "Edit" / "Scene 13.mvproj", "{}");
    view->OnDirectoryChanged(root.string());
    view->OnDirectoryChanged((root / "Edit").string());
    ASSERT_TRUE(WaitUntil([&] { return edit->GetChildCount() == 3 && RowOf(root / "Archive"); }));
    EXPECT_EQ(TopLevelNames(), (std::vector<std::string>{"Archive", "Edit"}));
    EXPECT_EQ(RowOf(root / "Edit"), edit); // the same row, still open
    EXPECT_TRUE(view->GetTree().IsRowOpen(edit));
    EXPECT_EQ(view->GetSelectedPaths(), std::vector<std::u16string>{host::ToUTF16(
                                            (root / "Edit" / "Scene 12.mvproj").string())});
    EXPECT_EQ(RowOf(root / "notes.txt"), nullptr);
}

TEST_F(MediaBrowserTest, AFolderThatVanishedBeforeItsContentArrivedGivesNoRows) {
    LoadRoot();
    const TreeRowPtr edit = RowOf(root / "Edit");
    fs::remove_all(root / "Edit");
    view->GetTree().OpenRow(edit, true);
    host::WaitForDefaultExecutor(10000);
    SettleEvents(50);
    EXPECT_EQ(edit->GetChildCount(), 0);
}

TEST_F(MediaBrowserTest, AChangeMadeByAnotherProcessAppearsThroughTheMonitor) {
    LoadRoot();
    host::MonitorDirectory(host::ToUTF16(root.string()), false, false);
    ASSERT_EQ(std::system(("touch '" + (root / "Promo.mvproj").string() + "'").c_str()), 0);
    EXPECT_TRUE(WaitUntil([this] { return RowOf(root / "Promo.mvproj") != nullptr; }));
}

TEST_F(MediaBrowserTest, AHugeDirectoryDoesNotHoldTheMainThread) {
    for (int index = 0; index < 20'000; ++index) {
        std::ofstream(root / "Edit" / ("take " + std::to_string(index) + ".mvproj"));
    }
    LoadRoot();
    const TreeRowPtr edit = RowOf(root / "Edit");
    view->GetTree().OpenRow(edit, true);
    // While the folder is read, the main thread keeps handling events.
    int turns = 0;
    QElapsedTimer timer;
    timer.start();
    while (edit->GetChildCount() == 0 && timer.elapsed() < 120'000) {
        QApplication::processEvents(QEventLoop::AllEvents, 1);
        ++turns;
    }
    EXPECT_GT(turns, 1);
    EXPECT_EQ(edit->GetChildCount(), 20'002);
}

// A directory view that keeps what each listing delivered.
class ListingKeeper : public host::MediaBrowserDirectoryView {
public:
    using MediaBrowserDirectoryView::MediaBrowserDirectoryView;
    void InsertDirectoryContent(const TreeRowPtr& row, const host::ByteString& directoryPath,
                                const host::DirectoryContent& content) override {
        delivered[directoryPath] = content;
        MediaBrowserDirectoryView::InsertDirectoryContent(row, directoryPath, content);
    }
    const host::DirectoryEntry* Entry(const fs::path& path) const {
        const auto folder = delivered.find(path.parent_path().string());
        if (folder == delivered.end()) {
            return nullptr;
        }
        for (const host::DirectoryEntry& entry : folder->second) {
            if (host::EntryPath(entry) == host::ToUTF16(path.string())) {
                return &entry;
            }
        }
        return nullptr;
    }
    std::map<std::string, host::DirectoryContent> delivered;
};

TEST_F(MediaBrowserTest, AListingGivesDatesSizesAndTheLocksOfAFolderThatIsShown) {
    host::HostSession::Instance().preferences.locking = {"Ana Ruiz", "suite-1", true};
    const fs::path scene = root / "Scene 12.mvproj";
    const fs::path promo = root / "Promo.mvproj";
    testsupport::WriteBytes(scene, "{}");
    testsupport::WriteBytes(promo, "{\"formatVersion\":1}");
    testsupport::LockAsAnotherEditor(scene, "Ben Okafor");
    testsupport::WriteBytes(root / "Reels" / "Reel 1.mvproj", "{}");
    testsupport::LockAsAnotherEditor(root / "Reels" / "Reel 1.mvproj", "Ben Okafor");
    host::UI_MultiColumnTreeHeaderRow keeperHeader; // a tree takes its header for its own
    keeperHeader.AppendColumn("Name", 1);
    auto keeper = std::make_shared<ListingKeeper>("Test.Keeper");
    keeper->GetTree().SetHeaderRow(&keeperHeader);
    keeper->SetRootPath(host::ToUTF16(root.string()));
    keeper->RequestDirectoryContent(nullptr, root.string()); // the top: always shown
    ASSERT_TRUE(WaitUntil([&] { return keeper->Entry(scene) != nullptr; }));
    const host::DirectoryEntry& sceneEntry = *keeper->Entry(scene);
    EXPECT_TRUE(host::EntryFlag(sceneEntry, host::kLockListedField));
    const host::ProjectLockFilePtr* lock = host::EntryLock(sceneEntry);
    ASSERT_NE(lock, nullptr);
    ASSERT_NE(*lock, nullptr);
    EXPECT_EQ((*lock)->GetOwnerName(), "Ben Okafor");
    EXPECT_FALSE((*lock)->IsOwnedByCaller());
    const host::DirectoryEntry& promoEntry = *keeper->Entry(promo);
    EXPECT_FALSE(host::EntryFlag(promoEntry, host::kLockListedField));
    EXPECT_EQ(host::EntryLock(promoEntry), nullptr);
    std::int64_t size = 0;
    std::int64_t modified = 0;
    std::int64_t created = 0;
    ASSERT_TRUE(host::EntryNumber(promoEntry, host::kSizeField, size));
    EXPECT_EQ(size, static_cast<std::int64_t>(fs::file_size(promo)));
    EXPECT_TRUE(host::EntryNumber(promoEntry, host::kModifiedField, modified));
    EXPECT_TRUE(host::EntryNumber(promoEntry, host::kCreatedField, created));
    const host::FileInfo info(host::ToUTF16(promo.string()));
    EXPECT_EQ(modified, info.Modified());
    EXPECT_EQ(created, info.Created());
    // A closed folder's listing says where locks are, and reads none of them.
    const TreeRowPtr reels = keeper->GetRowForPath(host::ToUTF16((root / "Reels").string()));
    ASSERT_NE(reels, nullptr);
    keeper->RequestDirectoryContent(reels, (root / "Reels").string());
    const fs::path reel = root / "Reels" / "Reel 1.mvproj";
    ASSERT_TRUE(WaitUntil([&] { return keeper->Entry(reel) != nullptr; }));
    EXPECT_TRUE(host::EntryFlag(*keeper->Entry(reel), host::kLockListedField));
    EXPECT_EQ(host::EntryLock(*keeper->Entry(reel)), nullptr);
}

TEST(DirectoryEntry, APathFieldOfAnotherTypeIsAnError) {
    host::DirectoryEntry entry;
    entry.fields.emplace(std::string(host::kPathField), std::int64_t{3});
    EXPECT_THROW(host::EntryPath(entry), std::logic_error);
}

} // namespace
