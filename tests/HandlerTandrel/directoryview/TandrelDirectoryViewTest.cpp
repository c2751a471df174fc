#include "TandrelDirectoryViewFixture.h"

#include "GoneProcess.h"
#include "Marvane/core/DefaultExecutor.h"
#include "Marvane/documents/DocumentManager.h"
#include "Marvane/fileservices/AccessDeadline.h"
#include "Marvane/fileservices/IoCounters.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "Marvane/projectbackend/ProjectFormats.h"
#include "Marvane/uitoolkit/TreeView.h"
#include "ProjectOpenings.h"
#include "columns/DisplayName.h"
#include "columns/NameCellView.h"
#include "columns/SortString.h"

#include <QApplication>
#include <QHeaderView>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QTest>
#include <QToolTip>
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>

namespace {

namespace fs = std::filesystem;
using host::TreeRowPtr;
using testsupport::SelectionNotices;
using testsupport::TandrelDirectoryViewTest;

TEST_F(TandrelDirectoryViewTest, ShowsFoldersAndSupportedProjectsOnly) {
    OpenPanel(5);
    EXPECT_EQ(TopNames(), (std::vector<std::string>{"Edit", "Hidden", "Promo.mvproj",
                                                    "Scene 12.mvproj", "Titles.mvprojd"}));
    EXPECT_EQ(RowOf(production / "notes.txt"), nullptr);
    EXPECT_EQ(RowOf(production / "cut.mvproj.bak"), nullptr); // an extension it does not support
    EXPECT_EQ(RowOf(production / "Scene 12.mvproj.lock"), nullptr);
}

TEST_F(TandrelDirectoryViewTest, AFolderNamedLikeALockIsNeverARow) {
    fs::create_directories(production / "Promo.mvproj.lock");
    Write(production / "Promo.mvproj.lock" / "inside.mvproj", "{}");
    fs::create_directories(production / "Edit" / "Cut.mvproj.lock");
    OpenPanel(5);
    EXPECT_EQ(RowOf(production / "Promo.mvproj.lock"), nullptr);
    EXPECT_EQ(RowOf(production / "Promo.mvproj.lock" / "inside.mvproj"), nullptr);
    OpenFolder(production / "Edit", 2); // Reel 1 and Reel 2 only
    EXPECT_EQ(RowOf(production / "Edit" / "Cut.mvproj.lock"), nullptr);
    // A folder merely ending in ".lock" is an ordinary folder.
    EXPECT_TRUE(host::IsPathExcludedFromMvProduction(W(production / "Promo.mvproj.lock")));
    EXPECT_FALSE(host::IsPathExcludedFromMvProduction(W(production / "Dailies.lock")));
}

TEST_F(TandrelDirectoryViewTest, AProductionOfPlainFilesShowsAnEmptyTree) {
    fs::remove_all(production);
    fs::create_directories(production);
    Write(production / "readme.txt", "hello");
    Write(production / "edl.xml", "<edl/>");
    OpenPanel(0);
    host::WaitForDefaultExecutor(10000);
    SettleEvents(100);
    EXPECT_EQ(View().GetTree().GetTopLevelRowCount(), 0);
}

TEST_F(TandrelDirectoryViewTest, AFolderOfExcludedItemsIsARowThatOpensToNothing) {
    OpenPanel(5);
    OpenFolder(production / "Hidden", 0);
    EXPECT_EQ(RowOf(production / "Hidden")->GetChildCount(), 0);
    EXPECT_TRUE(View().GetTree().RowHasCustomChild(RowOf(production / "Hidden")));
}

TEST_F(TandrelDirectoryViewTest, TheContentOfAFolderProjectIsNeverListed) {
    OpenPanel(5);
    const TreeRowPtr titles = RowOf(production / "Titles.mvprojd");
    ASSERT_NE(titles, nullptr);
    EXPECT_FALSE(titles->CanHaveChildren());
    // Even when asked to, the view lists nothing from inside it.
    View().InsertDirectoryContent(
        titles, (production / "Titles.mvprojd").string(),
        {host::DirectoryEntry{
            {{std::string(host::kPathField), W(production / "Titles.mvprojd" / "inner.mvproj")}}}});
    EXPECT_EQ(titles->GetChildCount(), 0);
}

TEST_F(TandrelDirectoryViewTest, OpeningAProductionReadsOnlyTheLockFilesItsTopFolderHolds) {
    testsupport::WriteProject(production / "Edit" / "Deep" / "Reel 9.mvproj");
    const std::uint64_t before = host::LockFileReadCount();
    const std::uint64_t statsBefore = host::FileInfoStatCount();
    OpenPanel(5);
    // The listing gives dates and sizes, and says that of the three projects at the top only
    // Scene 12 has a lock file beside it: that one is read, nothing else is looked at.
    EXPECT_EQ(host::LockFileReadCount() - before, 1u);
    EXPECT_EQ(host::FileInfoStatCount() - statsBefore, 0u);
}

TEST_F(TandrelDirectoryViewTest, ARecordMadeFromTheListingHoldsWhatTheDiskSays) {
    LockAs(production / "Promo.mvproj", "Ben Okafor");
    OpenPanel(5);
    for (const char* name : {"Scene 12.mvproj", "Promo.mvproj", "Titles.mvprojd"}) {
        SCOPED_TRACE(name);
        const TreeRowPtr row = RowOf(production / name);
        ASSERT_NE(row, nullptr);
        const auto listed = View().GetRowMetadata(row);
        ASSERT_TRUE(listed);
        HandlerTandrel::Columns::FileMetadata read(W(production / name));
        read.Update(true, HandlerTandrel::Columns::kNameColumn);
        EXPECT_EQ(listed->displayName, read.displayName);
        EXPECT_EQ(listed->hasLockFile, read.hasLockFile);
        EXPECT_EQ(listed->lockOwner, read.lockOwner);
        EXPECT_EQ(listed->lockOwnedByCurrentUser, read.lockOwnedByCurrentUser);
        EXPECT_EQ(listed->modifiedTime, read.modifiedTime);
        EXPECT_EQ(listed->createdTime, read.createdTime);
        EXPECT_EQ(listed->size, read.size);
        EXPECT_TRUE(listed->hasModifiedTime && listed->hasCreatedTime && listed->hasSize);
    }
    EXPECT_EQ(View().GetRowMetadata(RowOf(production / "Promo.mvproj"))->lockOwner, u"Ben Okafor");
    EXPECT_EQ(View().GetRowMetadata(RowOf(production / "Scene 12.mvproj"))->lockOwner,
              host::ToUTF16(std::string(host::kUnreadableLockHolder)));
}

TEST_F(TandrelDirectoryViewTest, ASavedProjectKeepsItsDateCreated) {
    OpenPanel(5);
    const fs::path promo = production / "Promo.mvproj";
    const auto before = View().GetRowMetadata(RowOf(promo));
    ASSERT_TRUE(before && before->hasCreatedTime);
    // Dates are shown to the second: the save comes in a later one.
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    const auto project = testsupport::OpenProject(promo);
    host::ProjectContent content = project->Content();
    content.sequences.push_back("Saved later");
    project->EditContent(content);
    std::string error;
    ASSERT_TRUE(host::DocumentManager::Instance().Save(project, error)) << error;
    // The listing that follows the save, and a look at the file itself, say the same.
    ASSERT_TRUE(WaitUntil([&] {
        const auto now = View().GetRowMetadata(RowOf(promo));
        return now && now->modifiedTime > before->modifiedTime;
    }));
    EXPECT_EQ(View().GetRowMetadata(RowOf(promo))->createdTime, before->createdTime);
    HandlerTandrel::Columns::FileMetadata read(W(promo));
    read.Update(true, HandlerTandrel::Columns::kNameColumn);
    EXPECT_EQ(read.createdTime, before->createdTime);
    struct statx status {};
    ASSERT_EQ(::statx(AT_FDCWD, promo.c_str(), 0, STATX_BTIME, &status), 0);
    EXPECT_GT(static_cast<std::int64_t>(status.stx_btime.tv_sec), before->createdTime)
        << "the save made a new file, born later";
}

TEST_F(TandrelDirectoryViewTest, RowsUnderAClosedFolderGetTheirLockStatusWhenItOpens) {
    OpenPanel(5);
    OpenFolder(production / "Edit", 2);
    const TreeRowPtr reel = RowOf(production / "Edit" / "Reel 1.mvproj");
    View().GetTree().OpenRow(RowOf(production / "Edit"), false);
    LockAs(production / "Edit" / "Reel 1.mvproj", "Ben Okafor");
    View().RefreshRowMetadata(reel, false, false);
    EXPECT_TRUE(View().IsRowMetadataStale(reel));
    EXPECT_FALSE(View().GetRowMetadata(reel)->hasLockFile);
    View().GetTree().OpenRow(RowOf(production / "Edit"), true);
    EXPECT_FALSE(View().IsRowMetadataStale(reel));
    EXPECT_TRUE(View().GetRowMetadata(reel)->hasLockFile);
}

TEST_F(TandrelDirectoryViewTest, TenChangesDuringARenameLeadToOneReReadWhenItEnds) {
    OpenPanel(5);
    const std::uint64_t reads = View().GetDirectoryReadCount();
    View().SetRenameInProgress(true);
    for (int change = 0; change < 10; ++change) {
        View().OnDirectoryChanged(host::ToUTF8(View().GetRootPath()));
    }
    EXPECT_EQ(View().GetDirectoryReadCount(), reads);
    EXPECT_EQ(View().GetPendingPaths().size(), 1u);
    View().SetRenameInProgress(false);
    EXPECT_EQ(View().GetDirectoryReadCount(), reads + 1);
    EXPECT_TRUE(View().GetPendingPaths().empty());
}

TEST_F(TandrelDirectoryViewTest, PausedNotificationsWaitUntilTheHostResumesThem) {
    OpenPanel(5);
    const std::uint64_t reads = View().GetDirectoryReadCount();
    View().SetNotifyPaused(true);
    View().SetNotifyPaused(true);
    View().OnDirectoryChanged(host::ToUTF8(View().GetRootPath()));
    View().SetRenameInProgress(true);
    View().SetRenameInProgress(false); // still paused: nothing yet
    EXPECT_EQ(View().GetDirectoryReadCount(), reads);
    View().SetNotifyPaused(false);
    EXPECT_EQ(View().GetDirectoryReadCount(), reads + 1);
}

TEST_F(TandrelDirectoryViewTest, ChangesMadeByAnotherProcessAppear) {
    OpenPanel(5);
    const auto run = [](const std::string& command) {
        ASSERT_EQ(std::system(command.c_str()), 0) << command;
    };
    run("cp '" + (production / "Promo.mvproj").string() + "' '" +
        (production / "Trailer.mvproj").string() + "'");
    EXPECT_TRUE(WaitUntil([&] { return RowOf(production / "Trailer.mvproj") != nullptr; }));
    run("mv '" + (production / "Promo.mvproj").string() + "' '" +
        (production / "Teaser.mvproj").string() + "'");
    EXPECT_TRUE(WaitUntil([&] {
        return RowOf(production / "Teaser.mvproj") && !RowOf(production / "Promo.mvproj");
    }));
    run("mkdir '" + (production / "Dailies").string() + "'");
    EXPECT_TRUE(WaitUntil([&] { return RowOf(production / "Dailies") != nullptr; }));
    run("rm '" + (production / "Scene 12.mvproj").string() + "'");
    EXPECT_TRUE(WaitUntil([&] { return RowOf(production / "Scene 12.mvproj") == nullptr; }));
}

TEST_F(TandrelDirectoryViewTest, ChangesAppearThroughPollingWhenItIsForced) {
    host::HostSession::Instance().preferences.forcePolling = true;
    host::HostSession::Instance().preferences.pollIntervalMs = 100;
    OpenPanel(5);
    ASSERT_EQ(std::system(("touch '" + (production / "Polled.mvproj").string() + "'").c_str()), 0);
    EXPECT_TRUE(WaitUntil([&] { return RowOf(production / "Polled.mvproj") != nullptr; }));
}

TEST_F(TandrelDirectoryViewTest, SelectAllNeverSelectsRowsInTheTrash) {
    testsupport::WriteProject(Trash() / "Old.mvproj");
    OpenPanel(6);
    OpenFolder(Trash(), 1);
    View().SelectAll();
    const auto selected = View().GetSelectedPaths();
    EXPECT_EQ(selected.size(), 5u);
    for (const auto& path : selected) {
        EXPECT_FALSE(host::IsInMvProductionTrash(path, true)) << host::ToUTF8(path);
    }
    View().DeselectAll();
    EXPECT_TRUE(View().GetSelectedPaths().empty());
}

// Select All does not look at the disk for each row (on a share each look is a round trip):
// the trash is found by its name among the top rows.
TEST_F(TandrelDirectoryViewTest, SelectAllLooksAtTheDiskAFewTimesWhateverTheRows) {
    for (int index = 0; index < 80; ++index) {
        Write(production / "Many" / ("Take " + std::to_string(100 + index) + ".mvproj"), "{}");
    }
    testsupport::WriteProject(Trash() / "Old.mvproj");
    OpenPanel(7);
    OpenFolder(production / "Many", 80);
    OpenFolder(Trash(), 1);
    const std::uint64_t before = host::files::BoundedAccessCount();
    View().SelectAll();
    EXPECT_LT(host::files::BoundedAccessCount() - before, 10u);
    const auto selected = View().GetSelectedPaths();
    EXPECT_EQ(selected.size(), 86u); // every row but the trash and what it holds
    for (const auto& path : selected) {
        EXPECT_FALSE(host::IsInMvProductionTrash(path, true)) << host::ToUTF8(path);
    }
}

TEST_F(TandrelDirectoryViewTest, HomeEndAndPagingMoveTheSelectionWithinTheOpenedRows) {
    for (int index = 0; index < 60; ++index) {
        Write(production / "Many" / ("Take " + std::to_string(100 + index) + ".mvproj"), "{}");
    }
    OpenPanel(6);
    OpenFolder(production / "Many", 60);
    const auto opened = View().GetTree().GetOpenedRows();
    View().MoveEnd();
    EXPECT_EQ(View().GetTree().GetSelectedRows(), std::vector<TreeRowPtr>{opened.back()});
    View().MoveHome();
    EXPECT_EQ(View().GetTree().GetSelectedRows(), std::vector<TreeRowPtr>{opened.front()});
    SettleEvents();
    const int last = View().GetTree().GetLastVisibleOpenedRowIndex();
    View().MovePageDown(); // first press: to the bottom of the page
    EXPECT_EQ(View().GetTree().GetSelectedRows(),
              std::vector<TreeRowPtr>{opened[static_cast<std::size_t>(last)]});
    SettleEvents();
    View().MovePageDown(); // then by a page
    EXPECT_EQ(
        View().GetTree().GetSelectedRows(),
        std::vector<TreeRowPtr>{opened[static_cast<std::size_t>(last + View().RowsPerPage())]});
    for (int press = 0; press < 10; ++press) {
        SettleEvents(10);
        View().MovePageDown();
    }
    EXPECT_EQ(View().GetTree().GetSelectedRows(), std::vector<TreeRowPtr>{opened.back()});
    View().MoveHome();
    SettleEvents();
    View().MovePageUp(); // at the first visible row near the top: row 0, never below
    EXPECT_EQ(View().GetTree().GetSelectedRows(), std::vector<TreeRowPtr>{opened.front()});
}

TEST_F(TandrelDirectoryViewTest, SelectionChangesAreAnnounced) {
    OpenPanel(5);
    auto notices = std::make_shared<SelectionNotices>();
    host::MessageStation::Get(HandlerTandrel::kDirectoryViewStation)->Subscribe(notices);
    View().SelectPaths({W(production / "Promo.mvproj")});
    EXPECT_EQ(notices->count, 1);
    host::MessageStation::Get(HandlerTandrel::kDirectoryViewStation)->Unsubscribe(notices.get());
}

TEST_F(TandrelDirectoryViewTest, OpeningAProjectRedrawsItsRowWithTheOpenBadge) {
    OpenPanel(5);
    const TreeRowPtr promo = RowOf(production / "Promo.mvproj");
    using HandlerTandrel::Columns::NameCellKind;
    auto kind = [&] {
        auto* cell = dynamic_cast<HandlerTandrel::Columns::NameCellView*>(
            View().GetTree().GetCellView(promo, HandlerTandrel::Columns::kNameColumn));
        return cell ? cell->GetKind() : NameCellKind::Folder;
    };
    EXPECT_EQ(kind(), NameCellKind::ProjectClosedNoLock);
    testsupport::OpenProject(production / "Promo.mvproj");
    EXPECT_EQ(kind(), NameCellKind::ProjectOpenEditable);
    testsupport::CloseAllProjects();
    EXPECT_EQ(kind(), NameCellKind::ProjectClosedNoLock);
}

// Root reads every folder: run as root, this test is run again by its own entry as another
// user (setpriv), where the folder below really cannot be read.
// The number the process's next open file would get: below it every number is taken.
rlim_t LowestFreeFileNumber() {
    const int probe = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::close(probe);
    return static_cast<rlim_t>(probe);
}

TEST_F(TandrelDirectoryViewTest, AFolderThatFailsToBeReadKeepsItsRowsAndIsReadAgainLater) {
    OpenPanel(5);
    const fs::path edit = production / "Edit";
    OpenFolder(edit, 2);
    const TreeRowPtr folder = RowOf(edit);
    // The process may open no more files for a moment: the folder's next read fails, with
    // nothing changed on disk.
    rlimit limits{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limits), 0);
    const rlimit saved = limits;
    limits.rlim_cur = LowestFreeFileNumber();
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limits), 0);
    View().OnDirectoryChanged(edit.string());
    // Only the read runs meanwhile (the window draws nothing): the sanitizers' own checks
    // need files too.
    const bool readDone = host::WaitForDefaultExecutor(10000);
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &saved), 0);
    ASSERT_TRUE(readDone);
    ASSERT_TRUE(WaitUntil([&] { return !View().GetReadFailure(W(edit)).empty(); }));
    EXPECT_EQ(View().GetReadFailure(W(edit)), u"Too many open files");
    EXPECT_EQ(folder->GetChildCount(), 2);
    EXPECT_NE(RowOf(edit / "Reel 2.mvproj"), nullptr);
    // Nothing tells the view of a change, yet it reads the folder again by itself a moment
    // later, and shows it as read.
    EXPECT_TRUE(WaitUntil([&] { return View().GetReadFailure(W(edit)).empty(); }, 6000));
    EXPECT_EQ(folder->GetChildCount(), 2);
}

TEST_F(TandrelDirectoryViewTest, AnUnreadableFolderSaysWhyInsteadOfLookingEmpty) {
    if (::geteuid() == 0) {
        GTEST_SKIP() << "root reads every folder; the entry run as another user covers this";
    }
    const fs::path locked = production / "Locked Away";
    testsupport::WriteProject(locked / "Secret.mvproj");
    fs::permissions(locked, fs::perms::none);
    struct Restore {
        fs::path folder;
        ~Restore() { fs::permissions(folder, fs::perms::owner_all); }
    } restore{locked};
    OpenPanel(6);
    const TreeRowPtr row = RowOf(locked);
    ASSERT_NE(row, nullptr);
    using HandlerTandrel::Columns::NameCellKind;
    auto kind = [&] {
        auto* cell = dynamic_cast<HandlerTandrel::Columns::NameCellView*>(
            View().GetTree().GetCellView(row, HandlerTandrel::Columns::kNameColumn));
        return cell ? cell->GetKind() : NameCellKind::ProjectClosedNoLock;
    };
    EXPECT_EQ(kind(), NameCellKind::Folder); // not read yet: nothing is known against it
    View().GetTree().OpenRow(row, true);
    ASSERT_TRUE(WaitUntil([&] { return !View().GetReadFailure(W(locked)).empty(); }));
    EXPECT_EQ(View().GetReadFailure(W(locked)), u"Permission denied");
    EXPECT_EQ(kind(), NameCellKind::FolderUnreadable);
    EXPECT_EQ(row->GetChildCount(), 0);
    QTreeView* treeView = View().GetTree().GetImpl()->view;
    const QModelIndex index = treeView->model()->index(row->Node().index, 0);
    const QString tip = treeView->model()->data(index, Qt::ToolTipRole).toString();
    EXPECT_EQ(tip.toStdString(), "This folder cannot be read (Permission denied), so what it "
                                 "holds is not shown.");
    // A screen reader says it too: the row reads as its name and why.
    EXPECT_TRUE(treeView->model()
                    ->data(index, Qt::AccessibleTextRole)
                    .toString()
                    .startsWith(QStringLiteral("Locked Away, This folder cannot be read")));
    // Readable again: the next look shows what it holds, with the ordinary folder picture.
    fs::permissions(locked, fs::perms::owner_all);
    View().OnDirectoryChanged(locked.string());
    ASSERT_TRUE(WaitUntil([&] { return row->GetChildCount() == 1; }));
    EXPECT_TRUE(View().GetReadFailure(W(locked)).empty());
    EXPECT_EQ(kind(), NameCellKind::Folder);
}

TEST_F(TandrelDirectoryViewTest, DoubleClickOpensAProjectWhoseNameIsNotUtf8) {
    // Named on a machine that writes Latin-1: "Scène 7" with a single byte for the è.
    const fs::path latin = production / std::string("Sc\xe8ne 7.mvproj");
    testsupport::WriteProject(latin);
    OpenPanel(6);
    const TreeRowPtr row = RowOf(latin);
    ASSERT_NE(row, nullptr);
    View().RowDoubleClicked(row, 0);
    ASSERT_TRUE(testsupport::WaitForOpenings());
    const auto opened = host::DocumentManager::Instance().Find(latin);
    ASSERT_NE(opened, nullptr) << "nothing opened; asked: " << responder->GetRequests().size();
    EXPECT_FALSE(opened->IsReadOnly());
    EXPECT_TRUE(fs::exists(latin.string() + ".lock"));
    EXPECT_TRUE(responder->GetRequests().empty());
}

TEST_F(TandrelDirectoryViewTest, ClosingTheProductionEmptiesTheTreeAndOpeningFillsItAgain) {
    OpenPanel(5);
    host::ProductionSession::Instance().Close();
    EXPECT_EQ(View().GetTree().GetTopLevelRowCount(), 0);
    ASSERT_EQ(host::ProductionSession::Instance().Open(production / "Edit"), "");
    EXPECT_TRUE(WaitUntil([&] { return View().GetTree().GetTopLevelRowCount() == 2; }));
}

TEST_F(TandrelDirectoryViewTest, SavedOpenFoldersAndSelectionAreRestored) {
    testsupport::WriteProject(production / "Edit" / "Day 1" / "Take 1.mvproj");
    OpenPanel(5);
    HandlerTandrel::DirectoryViewStateData state;
    state.mOpenFolderPaths = {W(production / "Edit"), W(production / "Edit" / "Day 1")};
    state.mSelectedRowPaths = {W(production / "Edit" / "Day 1" / "Take 1.mvproj")};
    View().UpdateFromStateData(state, true);
    ASSERT_TRUE(WaitUntil([&] { return !View().GetFolderOpener().IsRunning(); }));
    EXPECT_TRUE(View().GetTree().IsRowOpen(RowOf(production / "Edit")));
    EXPECT_TRUE(View().GetTree().IsRowOpen(RowOf(production / "Edit" / "Day 1")));
    EXPECT_EQ(View().GetSelectedPaths(), state.mSelectedRowPaths);
}

} // namespace

namespace {

TEST_F(TandrelDirectoryViewTest, DoubleClickTogglesAFolderAndOpensAProject) {
    OpenPanel(5);
    const TreeRowPtr edit = RowOf(production / "Edit");
    View().RowDoubleClicked(edit, 0);
    EXPECT_TRUE(View().GetTree().IsRowOpen(edit));
    View().RowDoubleClicked(edit, 0);
    EXPECT_FALSE(View().GetTree().IsRowOpen(edit));
    View().RowDoubleClicked(RowOf(production / "Promo.mvproj"), 0);
    ASSERT_TRUE(testsupport::WaitForOpenings());
    const auto promo = host::DocumentManager::Instance().Find(production / "Promo.mvproj");
    ASSERT_NE(promo, nullptr);
    EXPECT_FALSE(promo->IsReadOnly());
}

TEST_F(TandrelDirectoryViewTest, DoubleClickWithTheAlternativeKeyOpensReadOnly) {
    OpenPanel(5);
    View().RowDoubleClicked(RowOf(production / "Scene 12.mvproj"), host::kModifierAlternative);
    ASSERT_TRUE(testsupport::WaitForOpenings());
    const auto scene = host::DocumentManager::Instance().Find(production / "Scene 12.mvproj");
    ASSERT_NE(scene, nullptr);
    EXPECT_TRUE(scene->IsReadOnly());
}

TEST_F(TandrelDirectoryViewTest, DoubleClickingAProjectInTheTrashDoesNothingButItsFolderOpens) {
    testsupport::WriteProject(Trash() / "Old.mvproj");
    OpenPanel(6);
    View().RowDoubleClicked(RowOf(Trash()), 0);
    ASSERT_TRUE(WaitUntil([&] { return RowOf(Trash() / "Old.mvproj") != nullptr; }));
    EXPECT_TRUE(View().GetTree().IsRowOpen(RowOf(Trash())));
    View().RowDoubleClicked(RowOf(Trash() / "Old.mvproj"), 0);
    EXPECT_TRUE(host::DocumentManager::Instance().GetAll().empty());
}

TEST_F(TandrelDirectoryViewTest, DoubleClickingARowWhoseFileIsGoneDoesNothing) {
    OpenPanel(5);
    const TreeRowPtr promo = RowOf(production / "Promo.mvproj");
    fs::remove(production / "Promo.mvproj");
    View().RowDoubleClicked(promo, 0);
    EXPECT_TRUE(host::DocumentManager::Instance().GetAll().empty());
    EXPECT_TRUE(responder->GetRequests().empty());
}

} // namespace

namespace {

TEST_F(TandrelDirectoryViewTest, AProductionFolderWhoseNameStartsWithADotIsStillShown) {
    const fs::path dotted = root / ".Pilot";
    testsupport::WriteProject(dotted / "Scene 1.mvproj");
    testsupport::WriteProject(dotted / ".Scene 1.mvproj.objsel" / "inner.mvproj");
    host::ProductionSession::Instance().Close();
    ASSERT_EQ(host::ProductionSession::Instance().Open(dotted), "");
    OpenPanel(1);
    EXPECT_NE(RowOf(dotted / "Scene 1.mvproj"), nullptr);
    EXPECT_EQ(RowOf(dotted / ".Scene 1.mvproj.objsel"), nullptr); // side data stays hidden
}

} // namespace

namespace {

TEST_F(TandrelDirectoryViewTest, ARowWhoseSortFieldChangedWhileItsFolderWasClosedMovesWhenItOpens) {
    testsupport::WriteProject(production / "Edit" / "Reel 2.mvproj",
                              std::vector<std::string>(50, "A long sequence name"));
    OpenPanel(5);
    auto& header = View().GetHeaderRow();
    header.SetSortColumn(HandlerTandrel::Columns::kSizeColumn);
    header.SetSortDirection(false); // largest first
    View().GetTree().Resort();
    OpenFolder(production / "Edit", 2);
    const TreeRowPtr edit = RowOf(production / "Edit");
    const TreeRowPtr reel1 = RowOf(production / "Edit" / "Reel 1.mvproj");
    ASSERT_EQ(edit->GetChild(1), reel1);
    View().GetTree().OpenRow(edit, false);
    // Reel 1 grows on disk while its folder is closed: the folder is read again, its rows
    // are only marked stale.
    const std::uint64_t reads = View().GetDirectoryReadCount();
    testsupport::WriteProject(production / "Edit" / "Reel 1.mvproj",
                              std::vector<std::string>(200, "A long sequence name"));
    ASSERT_TRUE(WaitUntil([&] { return View().GetDirectoryReadCount() > reads; }));
    SettleEvents(200);
    EXPECT_EQ(edit->GetChild(1), reel1);
    View().GetTree().OpenRow(edit, true);
    EXPECT_EQ(edit->GetChild(0), reel1);
    EXPECT_FALSE(View().IsRowMetadataStale(reel1));
}

TEST_F(TandrelDirectoryViewTest, ARowMovingDownWhileItsFolderOpensLeavesNoSiblingUnread) {
    const auto sequences = [](std::size_t count) {
        return std::vector<std::string>(count, "A long sequence name");
    };
    const fs::path edit = production / "Edit";
    testsupport::WriteProject(edit / "Reel 1.mvproj", sequences(200));
    testsupport::WriteProject(edit / "Reel 2.mvproj", sequences(100));
    testsupport::WriteProject(edit / "Reel 3.mvproj", sequences(50));
    OpenPanel(5);
    auto& header = View().GetHeaderRow();
    header.SetSortColumn(HandlerTandrel::Columns::kSizeColumn);
    header.SetSortDirection(false); // largest first
    View().GetTree().Resort();
    OpenFolder(edit, 3);
    const TreeRowPtr folder = RowOf(edit);
    View().GetTree().OpenRow(folder, false);
    // While it is closed the largest becomes the smallest, and the middle one the largest.
    const std::uint64_t reads = View().GetDirectoryReadCount();
    testsupport::WriteProject(edit / "Reel 1.mvproj", sequences(10));
    testsupport::WriteProject(edit / "Reel 2.mvproj", sequences(150));
    ASSERT_TRUE(WaitUntil([&] { return View().GetDirectoryReadCount() > reads; }));
    SettleEvents(200);
    View().GetTree().OpenRow(folder, true);
    const std::vector<TreeRowPtr> order = {folder->GetChild(0), folder->GetChild(1),
                                           folder->GetChild(2)};
    EXPECT_EQ(order,
              (std::vector<TreeRowPtr>{RowOf(edit / "Reel 2.mvproj"), RowOf(edit / "Reel 3.mvproj"),
                                       RowOf(edit / "Reel 1.mvproj")}));
    for (const TreeRowPtr& row : order) {
        EXPECT_FALSE(View().IsRowMetadataStale(row)) << host::ToUTF8(View().GetRowPath(row));
    }
}

TEST_F(TandrelDirectoryViewTest, ReSortingLeavesRowsUnderClosedFoldersUntilTheyOpen) {
    OpenPanel(5);
    OpenFolder(production / "Edit", 2);
    const TreeRowPtr edit = RowOf(production / "Edit");
    View().GetTree().OpenRow(edit, false);
    // Reel 2 grows on disk while its folder is closed; sorting by size must see it.
    testsupport::WriteProject(production / "Edit" / "Reel 2.mvproj",
                              std::vector<std::string>(200, "A long sequence name"));
    const TreeRowPtr reel2 = RowOf(production / "Edit" / "Reel 2.mvproj");
    View().RefreshRowMetadata(reel2, false, false);
    auto& header = View().GetHeaderRow();
    header.SetSortColumn(HandlerTandrel::Columns::kSizeColumn);
    header.SetSortDirection(false);
    const std::size_t statsBefore = host::FileInfoStatCount();
    View().GetTree().Resort();
    // Nobody sees the folder's rows: they are neither asked nor read, and wait in their order.
    EXPECT_EQ(host::FileInfoStatCount(), statsBefore); // the top rows were read when shown
    EXPECT_EQ(edit->GetChild(1), reel2);
    // The folder opens: its rows are read and take the new order, the grown one first.
    View().GetTree().OpenRow(edit, true);
    EXPECT_EQ(edit->GetChild(0), reel2);
    EXPECT_FALSE(View().IsRowMetadataStale(reel2));
    EXPECT_EQ(View().GetRowMetadata(reel2)->size,
              static_cast<std::uint64_t>(fs::file_size(production / "Edit" / "Reel 2.mvproj")));
}

} // namespace

namespace {

class RenameStartTest : public TandrelDirectoryViewTest {
protected:
    void SetUp() override {
        TandrelDirectoryViewTest::SetUp();
        OpenPanel(5);
        View().SetStartRenameHandler([this](const TreeRowPtr& row) { renamed.push_back(row); });
        promo = RowOf(production / "Promo.mvproj");
        scene = RowOf(production / "Scene 12.mvproj");
    }
    void Key(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QKeyEvent press(QEvent::KeyPress, key, modifiers);
        QApplication::sendEvent(View().GetTree().GetImpl()->view.data(), &press);
    }
    // A point in the row's Size column, away from its name.
    host::UI_Point InSizeColumn(const TreeRowPtr& row) const {
        const host::UI_Rect frame =
            View().GetTree().GetCellFrame(row, HandlerTandrel::Columns::kSizeColumn);
        return {frame.left + 5, frame.top + frame.height / 2};
    }
    std::vector<TreeRowPtr> renamed;
    TreeRowPtr promo;
    TreeRowPtr scene;
};

TEST_F(RenameStartTest, ReturnStartsRenamingTheOneVisibleSelectedRow) {
    View().SelectPaths({W(production / "Promo.mvproj")});
    Key(Qt::Key_Return);
    EXPECT_EQ(renamed, std::vector<TreeRowPtr>{promo});
    Key(Qt::Key_Enter, Qt::KeypadModifier);
    EXPECT_EQ(renamed.size(), 2u);
}

TEST_F(RenameStartTest, WithTwoRowsSelectedReturnStartsNothingAndIsStillUsedUp) {
    View().SelectPaths({W(production / "Promo.mvproj"), W(production / "Scene 12.mvproj")});
    host::KeyboardEvent key;
    key.keyCode = host::kKeyCodeReturn;
    EXPECT_TRUE(View().UI_DoKeyboardEvent(key));
    EXPECT_TRUE(renamed.empty());
}

TEST_F(RenameStartTest, ASelectedRowScrolledOutOfViewIsNotRenamed) {
    for (int index = 0; index < 60; ++index) {
        Write(production / "Many" / ("Take " + std::to_string(100 + index) + ".mvproj"), "{}");
    }
    ASSERT_TRUE(WaitUntil([&] { return RowOf(production / "Many") != nullptr; }));
    OpenFolder(production / "Many", 60);
    const auto opened = View().GetTree().GetOpenedRows();
    View().GetTree().SelectRow(opened.back(), host::RowSelection::kOnlyRow,
                               host::SelectionNotice::kQuiet);
    View().GetTree().ScrollRowIntoView(opened.front(), true, 0, true);
    SettleEvents();
    host::KeyboardEvent key;
    key.keyCode = host::kKeyCodeReturn;
    EXPECT_TRUE(View().UI_DoKeyboardEvent(key));
    EXPECT_TRUE(renamed.empty());
}

TEST_F(RenameStartTest, ReturnWithShiftGoesToTheTree) {
    View().SelectPaths({W(production / "Promo.mvproj")});
    host::KeyboardEvent key;
    key.keyCode = host::kKeyCodeReturn;
    key.modifiers = host::kModifierShift;
    EXPECT_FALSE(View().UI_DoKeyboardEvent(key));
    Key(Qt::Key_Return, Qt::ShiftModifier);
    EXPECT_TRUE(renamed.empty());
}

TEST_F(RenameStartTest, KeysAreNotHandledWhileKeyboardEventsAreOff) {
    View().SelectPaths({W(production / "Promo.mvproj")});
    View().EnableKeyboardEvents(false);
    host::KeyboardEvent key;
    key.keyCode = host::kKeyCodeReturn;
    EXPECT_FALSE(View().UI_DoKeyboardEvent(key));
    EXPECT_TRUE(renamed.empty());
}

TEST_F(RenameStartTest, ASlowSecondClickStartsTheRenameHalfASecondLater) {
    View().SelectPaths({W(production / "Promo.mvproj")});
    SettleEvents();
    View().RowClickDown(promo);
    EXPECT_EQ(View().GetRenameCandidate(), promo);
    View().RowClickUp(promo, InSizeColumn(promo), 0);
    EXPECT_TRUE(View().IsRenameTimerInstalled());
    EXPECT_TRUE(renamed.empty()); // not at once
    ASSERT_TRUE(WaitUntil([&] { return !renamed.empty(); }, 5000));
    EXPECT_EQ(renamed, std::vector<TreeRowPtr>{promo});
    EXPECT_FALSE(View().IsRenameTimerInstalled()); // it fires once
}

TEST_F(RenameStartTest, TheSecondClickThroughTheTreeInstallsTheTimer) {
    View().SelectPaths({W(production / "Promo.mvproj")});
    SettleEvents();
    QWidget* viewport = View().GetTree().GetImpl()->view->viewport();
    const host::UI_Point at = InSizeColumn(promo);
    const QPoint point(static_cast<int>(at.x), static_cast<int>(at.y));
    QMouseEvent press(QEvent::MouseButtonPress, point, viewport->mapToGlobal(point), Qt::LeftButton,
                      Qt::LeftButton, Qt::NoModifier);
    QMouseEvent release(QEvent::MouseButtonRelease, point, viewport->mapToGlobal(point),
                        Qt::LeftButton, Qt::NoButton, Qt::NoModifier);
    QApplication::sendEvent(viewport, &press);
    QApplication::sendEvent(viewport, &release);
    EXPECT_TRUE(View().IsRenameTimerInstalled());
}

TEST_F(RenameStartTest, AFirstClickOnAnUnselectedRowStartsNothing) {
    View().SelectPaths({W(production / "Scene 12.mvproj")});
    View().RowClickDown(promo); // the candidate is the row selected before this click
    View().RowClickUp(promo, InSizeColumn(promo), 0);
    EXPECT_FALSE(View().IsRenameTimerInstalled());
}

TEST_F(RenameStartTest, ADoubleClickWithinTheDelayCancelsTheRenameAndOpensTheProject) {
    View().SelectPaths({W(production / "Promo.mvproj")});
    SettleEvents();
    View().RowClickDown(promo);
    View().RowClickUp(promo, InSizeColumn(promo), 0);
    View().RowDoubleClicked(promo, 0);
    EXPECT_FALSE(View().IsRenameTimerInstalled());
    SettleEvents(700);
    EXPECT_TRUE(renamed.empty());
    EXPECT_NE(host::DocumentManager::Instance().Find(production / "Promo.mvproj"), nullptr);
}

TEST_F(RenameStartTest, AClickDownWithTwoRowsSelectedLeavesTheTimerWithoutACandidate) {
    View().SelectPaths({W(production / "Promo.mvproj")});
    SettleEvents();
    View().RowClickDown(promo);
    View().RowClickUp(promo, InSizeColumn(promo), 0);
    View().SelectPaths({W(production / "Promo.mvproj"), W(production / "Scene 12.mvproj")});
    View().RowClickDown(scene);
    EXPECT_EQ(View().GetRenameCandidate(), nullptr);
    SettleEvents(700);
    EXPECT_TRUE(renamed.empty());
}

TEST_F(RenameStartTest, AReleaseOnTheNameItselfRemovesTheTimer) {
    View().SelectPaths({W(production / "Promo.mvproj")});
    SettleEvents();
    View().RowClickDown(promo);
    View().RowClickUp(promo, InSizeColumn(promo), 0);
    ASSERT_TRUE(View().IsRenameTimerInstalled());
    const host::UI_Rect name =
        View().GetTree().GetCellFrame(promo, HandlerTandrel::Columns::kNameColumn);
    View().RowClickUp(promo, {name.left + 2, name.top + 2}, 0);
    EXPECT_FALSE(View().IsRenameTimerInstalled());
    // A release that ends a drag is ignored.
    View().RowClickUp(promo, InSizeColumn(promo), 1);
    EXPECT_FALSE(View().IsRenameTimerInstalled());
}

TEST_F(RenameStartTest, AReleaseInTheNameCellPastTheEndOfTheNameInstallsTheTimer) {
    View().SelectPaths({W(production / "Promo.mvproj")});
    SettleEvents();
    const host::UI_Rect name =
        View().GetTree().GetCellFrame(promo, HandlerTandrel::Columns::kNameColumn);
    const auto* cell = dynamic_cast<const HandlerTandrel::Columns::NameCellView*>(
        View().GetTree().GetCellView(promo, HandlerTandrel::Columns::kNameColumn));
    ASSERT_NE(cell, nullptr);
    View().RowClickDown(promo);
    View().RowClickUp(promo, {name.left + name.width - 2, name.top + 2}, 0);
    // "Promo" is far shorter than its column: the end of the cell is not the name.
    EXPECT_GT(cell->GetTrailingWidth(), 2.0f);
    EXPECT_TRUE(View().IsRenameTimerInstalled());
}

} // namespace
namespace {

TEST_F(TandrelDirectoryViewTest, ChangesInAnOpenFolderAppear) {
    OpenPanel(5);
    OpenFolder(production / "Edit", 2);
    testsupport::WriteProject(production / "Edit" / "Reel 3.mvproj");
    EXPECT_TRUE(WaitUntil([&] { return RowOf(production / "Edit" / "Reel 3.mvproj") != nullptr; }));
    fs::remove(production / "Edit" / "Reel 1.mvproj");
    EXPECT_TRUE(WaitUntil([&] { return RowOf(production / "Edit" / "Reel 1.mvproj") == nullptr; }));
    EXPECT_EQ(RowOf(production / "Edit")->GetChildCount(), 2);
}

TEST_F(TandrelDirectoryViewTest, ChangesInAnOpenFolderAppearThroughPolling) {
    host::HostSession::Instance().preferences.forcePolling = true;
    host::HostSession::Instance().preferences.pollIntervalMs = 100;
    OpenPanel(5);
    OpenFolder(production / "Edit", 2);
    testsupport::WriteProject(production / "Edit" / "Reel 3.mvproj");
    EXPECT_TRUE(WaitUntil([&] { return RowOf(production / "Edit" / "Reel 3.mvproj") != nullptr; }));
}

TEST_F(TandrelDirectoryViewTest, APolledProductionIsNotReadAgainWhileNothingChanges) {
    // Links, a dangling one too, list differently from what they point to.
    fs::create_directory_symlink(production / "Edit", production / "Edit link");
    fs::create_symlink(production / "Nowhere", production / "Dangling");
    host::HostSession::Instance().preferences.forcePolling = true;
    host::HostSession::Instance().preferences.pollIntervalMs = 100;
    OpenPanel(6);
    OpenFolder(production / "Edit", 2);
    SettleEvents(300);
    const std::uint64_t reads = View().GetDirectoryReadCount();
    SettleEvents(800); // several polling rounds
    EXPECT_EQ(View().GetDirectoryReadCount(), reads);
    testsupport::WriteProject(production / "Edit" / "Reel 3.mvproj");
    EXPECT_TRUE(WaitUntil([&] { return RowOf(production / "Edit" / "Reel 3.mvproj") != nullptr; }));
}

TEST_F(TandrelDirectoryViewTest, AFolderThatWasOpenedOnceStaysUpToDateWhenClosed) {
    OpenPanel(5);
    OpenFolder(production / "Edit", 2);
    View().GetTree().OpenRow(RowOf(production / "Edit"), false);
    testsupport::WriteProject(production / "Edit" / "Reel 3.mvproj");
    EXPECT_TRUE(WaitUntil([&] { return RowOf(production / "Edit" / "Reel 3.mvproj") != nullptr; }));
}

TEST_F(TandrelDirectoryViewTest, AFolderIsWatchedOnlyWhileItsRowIsInTheTree) {
    OpenPanel(5);
    EXPECT_TRUE(View().GetWatchedFolders().empty()); // nothing opened yet
    OpenFolder(production / "Edit", 2);
    EXPECT_EQ(View().GetWatchedFolders(), (std::set<host::WideString>{W(production / "Edit")}));
    fs::remove_all(production / "Edit");
    EXPECT_TRUE(WaitUntil([&] { return RowOf(production / "Edit") == nullptr; }));
    EXPECT_TRUE(View().GetWatchedFolders().empty());
}

TEST_F(TandrelDirectoryViewTest, ClosingTheProductionStopsWatchingItsFolders) {
    OpenPanel(5);
    OpenFolder(production / "Edit", 2);
    ASSERT_FALSE(View().GetWatchedFolders().empty());
    host::ProductionSession::Instance().Close();
    EXPECT_TRUE(WaitUntil([&] { return View().GetTree().GetTopLevelRowCount() == 0; }));
    EXPECT_TRUE(View().GetWatchedFolders().empty());
    EXPECT_EQ(RowOf(production / "Edit"), nullptr);
}

} // namespace

namespace {

using testsupport::TandrelDirectoryViewTest;
namespace fs = std::filesystem;

// Clicks the title of the column shown at a position with the mouse, as a user does.
void ClickColumnTitle(QTreeView& tree, int position) {
    QHeaderView& header = *tree.header();
    const int section = header.logicalIndex(position);
    const QPoint at(header.sectionViewportPosition(section) + header.sectionSize(section) / 2,
                    header.height() / 2);
    QTest::mouseClick(header.viewport(), Qt::LeftButton, Qt::NoModifier, at);
}

// By name the rows are in the order of their display names, however odd the names: numbers,
// case, a long name, a name that is not valid UTF-8, dots in a project's name, the trash.
TEST_F(TandrelDirectoryViewTest, OddNamesSortByTheirDisplayNames) {
    const std::vector<std::string> projects = {"Shot 10.mvproj",
                                               "Shot 9.mvproj",
                                               "shot 2.mvproj",
                                               "Cut.v2.mvproj",
                                               std::string(240, 'x') + ".mvproj",
                                               "Cut.mvproj"};
    for (const std::string& name : projects) {
        testsupport::WriteProject(production / name);
    }
    fs::create_directories(production / std::string("Day \xff 1"));
    fs::create_directories(Trash());
    OpenPanel(5 + projects.size() + 2);
    std::vector<host::WideString> shown;
    for (const std::string& name : TopNames()) {
        shown.push_back(HandlerTandrel::DisplayNameOf(host::ToUTF16(name)));
    }
    std::vector<host::WideString> expected = shown;
    std::stable_sort(expected.begin(), expected.end(), HandlerTandrel::Columns::SortStringIsLess);
    EXPECT_EQ(shown, expected);
    EXPECT_EQ(TopNames().back(), "Trash");
    // By size and back: the same order again.
    const std::vector<std::string> byName = TopNames();
    View().GetHeaderRow().SetSortColumn(HandlerTandrel::Columns::kSizeColumn);
    View().GetTree().Resort();
    View().GetHeaderRow().SetSortColumn(HandlerTandrel::Columns::kNameColumn);
    View().GetTree().Resort();
    EXPECT_EQ(TopNames(), byName);
}

// A pipe named like a project, a 250-byte name and a name that is not valid UTF-8 are listed,
// sorted and selected with the rest; nothing waits for the pipe's writer.
TEST_F(TandrelDirectoryViewTest, APipeALongNameAndAnInvalidNameAreListedAndSelectedWithoutWaiting) {
    ASSERT_EQ(::mkfifo((production / "Pipe.mvproj").c_str(), 0644), 0);
    const std::string longName = std::string(243, 'y') + ".mvproj";
    ASSERT_EQ(longName.size(), 250u);
    testsupport::WriteProject(production / longName);
    testsupport::WriteProject(production / std::string("Odd \xfe.mvproj"));
    OpenPanel(8);
    View().SelectAll();
    const auto selected = View().GetSelectedPaths();
    EXPECT_EQ(selected.size(), 8u);
    EXPECT_NE(RowOf(production / "Pipe.mvproj"), nullptr);
    EXPECT_NE(RowOf(production / longName), nullptr);
    View().GetHeaderRow().SetSortColumn(HandlerTandrel::Columns::kSizeColumn);
    View().GetTree().Resort();
    View().GetHeaderRow().SetSortColumn(HandlerTandrel::Columns::kNameColumn);
    View().GetTree().Resort();
    EXPECT_EQ(View().GetTree().GetTopLevelRowCount(), 8);
}

TEST_F(TandrelDirectoryViewTest, ClickingAColumnTitleSortsByItAndASecondClickReverses) {
    OpenPanel(5);
    QTreeView& tree = *View().GetTree().GetImpl()->view;
    const int name = View().GetHeaderRow().GetIndexOfColumn(HandlerTandrel::Columns::kNameColumn);
    ASSERT_GE(name, 0);
    ClickColumnTitle(tree, name); // already by name, ascending: the click reverses it
    EXPECT_FALSE(View().GetHeaderRow().IsSortDirectionAscending());
    EXPECT_EQ(tree.header()->sortIndicatorOrder(), Qt::DescendingOrder);
    EXPECT_EQ(TopNames(), (std::vector<std::string>{"Titles.mvprojd", "Scene 12.mvproj",
                                                    "Promo.mvproj", "Hidden", "Edit"}));
    ClickColumnTitle(tree, name);
    EXPECT_TRUE(View().GetHeaderRow().IsSortDirectionAscending());
    EXPECT_EQ(TopNames(), (std::vector<std::string>{"Edit", "Hidden", "Promo.mvproj",
                                                    "Scene 12.mvproj", "Titles.mvprojd"}));
    const int size = View().GetHeaderRow().GetIndexOfColumn(HandlerTandrel::Columns::kSizeColumn);
    ASSERT_GE(size, 0);
    ClickColumnTitle(tree, size);
    EXPECT_EQ(View().GetHeaderRow().GetSortColumn(), HandlerTandrel::Columns::kSizeColumn);
    EXPECT_EQ(tree.header()->sortIndicatorSection(), tree.header()->logicalIndex(size));
    // The choice goes with the view's state.
    const auto state = View().GetStateData();
    EXPECT_EQ(state.mHeaderRowData.mSortColumnID, HandlerTandrel::Columns::kSizeColumn);
    EXPECT_TRUE(state.mHeaderRowData.mSortAscending);
}

TEST_F(TandrelDirectoryViewTest, ANameCutByANarrowColumnShowsWholeInItsToolTip) {
    OpenPanel(5);
    host::UI_MultiColumnTree& tree = View().GetTree();
    QTreeView& view = *tree.GetImpl()->view;
    const auto& model = tree.GetImpl()->model;
    // The tooltip the pointer resting on the row's name brings up; empty for none.
    const auto tipOver = [&](const fs::path& path) {
        const QModelIndex index = model.IndexOf(RowOf(path));
        const QPoint at = view.visualRect(index).center();
        QHelpEvent help(QEvent::ToolTip, at, view.viewport()->mapToGlobal(at));
        QApplication::sendEvent(view.viewport(), &help);
        return help.isAccepted() ? QToolTip::text().toStdString() : std::string();
    };
    const auto nameOf = [&](const fs::path& path) {
        auto* cell = dynamic_cast<HandlerTandrel::Columns::NameCellView*>(
            tree.GetCellView(RowOf(path), HandlerTandrel::Columns::kNameColumn));
        return cell ? host::ToUTF8(cell->Text().GetValue()) : std::string();
    };
    const fs::path promo = production / "Promo.mvproj";
    const fs::path scene = production / "Scene 12.mvproj";
    View().GetHeaderRow().SetColumnWidth(HandlerTandrel::Columns::kNameColumn, 600);
    SettleEvents();
    EXPECT_EQ(tipOver(promo), "") << "a whole name needs no tooltip";
    View().GetHeaderRow().SetColumnWidth(HandlerTandrel::Columns::kNameColumn, 60);
    SettleEvents();
    ASSERT_FALSE(nameOf(promo).empty());
    EXPECT_EQ(tipOver(promo), nameOf(promo));
    // A row the view has more to say of: the whole name first, then the rest.
    const std::string said =
        model.SourceText(model.IndexOf(RowOf(scene)), Qt::ToolTipRole).toString().toStdString();
    ASSERT_FALSE(said.empty());
    EXPECT_EQ(tipOver(scene), nameOf(scene) + "\n" + said);
    // Too narrow for any of the name: the tooltip still gives it.
    View().GetHeaderRow().SetColumnWidth(HandlerTandrel::Columns::kNameColumn, 24);
    SettleEvents();
    EXPECT_EQ(tipOver(promo), nameOf(promo));
}

TEST_F(TandrelDirectoryViewTest, AProjectRowsToolTipSaysWhetherItsHolderIsStillThere) {
    host::LockFileContent gone = host::MakeLockFileContent("Ben Okafor", "suite-2");
    gone.processId = testsupport::PidOfAGoneProcess();
    std::ofstream(host::LockFilePathFor(production / "Promo.mvproj"))
        << host::SerialiseLockFile(gone);
    OpenPanel(5);
    const auto& model = View().GetTree().GetImpl()->model;
    const QModelIndex promo = model.IndexOf(RowOf(production / "Promo.mvproj"));
    const QString tip = model.data(promo, Qt::ToolTipRole).toString();
    EXPECT_TRUE(tip.contains("Ben Okafor's marvane on this machine is no longer running"))
        << tip.toStdString();
    // A project nobody locks, and a folder, have none.
    EXPECT_FALSE(model.data(model.IndexOf(RowOf(production / "Edit")), Qt::ToolTipRole).isValid());
    fs::remove(production / "Scene 12.mvproj.lock");
    EXPECT_FALSE(model.data(model.IndexOf(RowOf(production / "Scene 12.mvproj")), Qt::ToolTipRole)
                     .isValid());
}

} // namespace
