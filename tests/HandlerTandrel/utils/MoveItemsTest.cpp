#include "utils/MoveItems.h"

#include "Marvane/application/ProductionIndex.h"
#include "Marvane/documents/ProjectSideData.h"
#include "Marvane/fileservices/AccessDeadline.h"
#include "ProductionFixture.h"
#include "TemporaryFolder.h"
#include "utils/CopyFiles.h"
#include "utils/MonitorTree.h"

#include <optional>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;
using namespace HandlerTandrel::Utils;
using testsupport::TakeInventory;

class MoveItemsTest : public testsupport::ProductionFixture {
protected:
    void SetUp() override {
        ProductionFixture::SetUp();
        edit = production / "Edit";
        scene = testsupport::WriteProject(edit / "Scene 12.mvproj");
        reel = testsupport::WriteProject(edit / "Reels" / "Reel 1.mvproj");
        Write(edit / "notes.txt", "notes");
    }
    void TearDown() override {
        otherFileSystem.reset();
        ProductionFixture::TearDown();
    }
    // A fresh folder on another file system than the production, or empty when there is none.
    fs::path OtherFileSystemFolder(const std::string& name) {
        otherFileSystem.emplace(name, "/dev/shm");
        if (!OnDifferentFileSystems(production, otherFileSystem->Path())) {
            otherFileSystem.reset();
            return {};
        }
        return otherFileSystem->Path();
    }
    static host::WatchKind Watch(const fs::path& folder) {
        return host::DirectoryMonitor::Instance().KindOf(folder.string());
    }
    fs::path edit;
    fs::path scene;
    fs::path reel;
    // For the tests that cross file systems.
    std::optional<testsupport::TemporaryFolder> otherFileSystem;
};

TEST_F(MoveItemsTest, AnEmptySelectionClassifiesAsNothing) {
    EXPECT_EQ(ClassifyItems({}), 0);
}

TEST_F(MoveItemsTest, OnlyTheTrashFolderClassifiesAsTheTrashFolderAlone) {
    fs::create_directories(Trash());
    EXPECT_EQ(ClassifyItems(Ws({Trash()})), kItemTrashFolder);
}

TEST_F(MoveItemsTest, TheTrashFolderAndAnItemInItClassifyAsTheTrashAndSomethingInIt) {
    Write(Trash() / "old.txt", "old");
    EXPECT_EQ(ClassifyItems(Ws({Trash(), Trash() / "old.txt"})), kItemTrashFolder | kItemInTrash);
}

TEST_F(MoveItemsTest, ProjectsAndFilesAreFilesAndFoldersAreFolders) {
    EXPECT_EQ(ClassifyItems(Ws({scene})), kItemFile);
    EXPECT_EQ(ClassifyItems(Ws({edit / "notes.txt"})), kItemFile);
    EXPECT_EQ(ClassifyItems(Ws({edit / "Reels"})), kItemFolder);
    const fs::path folderProject = testsupport::WriteProject(edit / "Titles.mvprojd");
    EXPECT_EQ(ClassifyItems(Ws({folderProject})), kItemFile);
    Write(Trash() / "old.txt", "old");
    EXPECT_EQ(ClassifyItems(Ws({scene, edit / "Reels", Trash(), Trash() / "old.txt"})),
              kItemFile | kItemFolder | kItemTrashFolder | kItemInTrash);
}

TEST_F(MoveItemsTest, ManyItemsAreClassifiedWithAWaitOnTheDiskPerFolderNotPerItem) {
    std::vector<fs::path> items;
    for (int number = 0; number < 300; ++number) {
        items.push_back(edit / ("Take " + std::to_string(number) + ".mvproj"));
    }
    items.push_back(edit / "Reels");
    Write(Trash() / "old.txt", "old");
    items.push_back(Trash() / "old.txt");
    const std::uint64_t before = host::files::BoundedAccessCount();
    EXPECT_EQ(ClassifyItems(Ws(items)), kItemFile | kItemFolder | kItemInTrash);
    // The trash twice, the two folders once each, and whether Reels is a folder.
    EXPECT_LE(host::files::BoundedAccessCount() - before, 5u);
}

TEST_F(MoveItemsTest, ATrashThatIsALinkElsewhereIsStillTheTrashAndHoldsItsItems) {
    testsupport::TemporaryFolder elsewhere("kept-trash");
    Write(elsewhere.Path() / "old.txt", "old");
    fs::create_directory_symlink(elsewhere.Path(), Trash());
    EXPECT_EQ(ClassifyItems(Ws({Trash()})), kItemTrashFolder);
    EXPECT_EQ(ClassifyItems(Ws({Trash() / "old.txt"})), kItemInTrash);
    EXPECT_EQ(ClassifyItems(Ws({elsewhere.Path() / "old.txt"})), kItemInTrash);
    Write(production / "Trash 2" / "new.txt", "new");
    EXPECT_EQ(ClassifyItems(Ws({production / "Trash 2" / "new.txt"})), kItemFile);
    EXPECT_FALSE(CanMoveItems(Ws({Trash() / "old.txt"})));
    EXPECT_FALSE(CanMoveItems(Ws({elsewhere.Path() / "old.txt"})));
    EXPECT_TRUE(CanMoveItems(Ws({scene})));
}

TEST_F(MoveItemsTest, ATrashThatIsALinkElsewhereIsRefusedAndNothingLeavesTheProduction) {
    testsupport::TemporaryFolder elsewhere("linked-trash");
    fs::create_directory_symlink(elsewhere.Path(), Trash());
    const auto before = TakeInventory(production);
    MoveToTrash(Ws({scene, edit / "Reels"}), UnsavedChanges::kAsk, ApplyToAll::kOffer);
    EXPECT_TRUE(fs::exists(scene));
    EXPECT_TRUE(fs::exists(reel));
    EXPECT_TRUE(fs::is_empty(elsewhere.Path()));
    EXPECT_EQ(TakeInventory(production), before);
    ASSERT_EQ(responder->GetRequests().size(), 1u);
    EXPECT_EQ(responder->GetRequests()[0].title, "Cannot Move to Trash");
    EXPECT_NE(responder->GetRequests()[0].text.find("is a link to another place"),
              std::string::npos);
}

TEST_F(MoveItemsTest, ItemsReachedThroughALinkedFolderAreClassifiedWhereTheyLie) {
    Write(Trash() / "Old cut" / "notes.txt", "notes");
    // A folder of the production that leads into the trash: what is under it is in the trash.
    fs::create_directory_symlink(Trash() / "Old cut", edit / "Shortcut");
    EXPECT_EQ(ClassifyItems(Ws({edit / "Shortcut" / "notes.txt"})), kItemInTrash);
    EXPECT_FALSE(CanMoveItems(Ws({edit / "Shortcut" / "notes.txt"})));
    // The link itself lies in Edit: moving it moves the link, not the folder it leads to.
    EXPECT_EQ(ClassifyItems(Ws({edit / "Shortcut"})), kItemFolder);
    EXPECT_TRUE(CanMoveItems(Ws({edit / "Shortcut"})));
    MoveToTrash(Ws({edit / "Shortcut"}), UnsavedChanges::kAsk, ApplyToAll::kOffer);
    EXPECT_TRUE(fs::is_symlink(fs::symlink_status(Trash() / "Shortcut")));
    EXPECT_FALSE(fs::exists(fs::symlink_status(edit / "Shortcut")));
    EXPECT_EQ(testsupport::ReadBytes(Trash() / "Old cut" / "notes.txt"), "notes");
    EXPECT_EQ(responder->GetRequests().size(), 0u); // no refusal
}

TEST_F(MoveItemsTest, AnEmptyListCannotMove) {
    EXPECT_FALSE(CanMoveItems({}));
}

TEST_F(MoveItemsTest, ItemsInTheTrashOrLockedByOthersCannotMove) {
    EXPECT_TRUE(CanMoveItems(Ws({scene, edit / "notes.txt", edit / "Reels"})));
    Write(Trash() / "old.txt", "old");
    EXPECT_FALSE(CanMoveItems(Ws({scene, Trash() / "old.txt"})));
    EXPECT_FALSE(CanMoveItems(Ws({Trash()})));
    LockAs(reel, "Ben Okafor");
    EXPECT_FALSE(CanMoveItems(Ws({reel})));
    EXPECT_FALSE(CanMoveItems(Ws({edit / "Reels"}))); // the folder holds a locked project
    EXPECT_FALSE(CanMoveItems(Ws({edit})));
    EXPECT_TRUE(CanMoveItems(Ws({scene})));
}

TEST_F(MoveItemsTest, OurOwnLockDoesNotStopAMove) {
    const auto project = testsupport::OpenProject(scene);
    ASSERT_TRUE(project->HoldsLock());
    EXPECT_TRUE(CanMoveItems(Ws({scene, edit})));
}

TEST_F(MoveItemsTest, NamesThatAreNotUtf8AreCheckedAndMovedByTheirOwnBytes) {
    // Written on a machine whose names are Latin-1: "Scène 7" with a single byte for the è.
    const fs::path latin1 = edit / "Sc\xE8ne 7.mvproj";
    testsupport::WriteProject(latin1);
    LockAs(latin1, "Ben Okafor");
    // Ben's lock is found beside the very file, so the project and its folder stay put.
    EXPECT_FALSE(CanMoveItems(Ws({latin1})));
    EXPECT_FALSE(CanMoveItems(Ws({edit})));
    fs::remove(latin1.string() + ".lock");
    const fs::path folder = edit / "D\xED"
                                   "a 2";
    Write(folder / "take.txt", "take");
    ASSERT_TRUE(CanMoveItems(Ws({latin1, folder})));
    MoveToTrash(Ws({latin1, folder}), UnsavedChanges::kAsk, ApplyToAll::kOffer);
    EXPECT_TRUE(fs::exists(Trash() / "Sc\xE8ne 7.mvproj"));
    EXPECT_EQ(testsupport::ReadBytes(Trash() /
                                     "D\xED"
                                     "a 2" /
                                     "take.txt"),
              "take");
    EXPECT_FALSE(fs::exists(latin1));
    EXPECT_FALSE(fs::exists(folder));
    EXPECT_FALSE(fs::exists(latin1.string() + ".lock"));
    EXPECT_EQ(responder->GetRequests().size(), 0u);
}

TEST_F(MoveItemsTest, MoveToTrashKeepsBothWhenNamesCollide) {
    Write(Trash() / "notes.txt", "older notes");
    testsupport::WriteProject(Trash() / "Scene 12.mvproj", {"Old cut"});
    const auto before = testsupport::ContentCounts(TakeInventory(production));
    MoveToTrash(Ws({edit / "notes.txt", scene}), UnsavedChanges::kAsk, ApplyToAll::kOffer);
    EXPECT_EQ(testsupport::ReadBytes(Trash() / "notes_1.txt"), "notes");
    EXPECT_TRUE(fs::exists(Trash() / "Scene 12_1.mvproj"));
    EXPECT_FALSE(fs::exists(scene));
    // Every file is still there exactly once; only the locks made for the move, and the
    // host's records of where the two came from, are new.
    auto after = TakeInventory(production);
    const auto records = std::erase_if(
        after, [](const auto& entry) { return entry.first.rfind(".marvane/trash/", 0) == 0; });
    std::erase_if(after, [](const auto& entry) { return entry.first.ends_with(".lock"); });
    EXPECT_EQ(testsupport::ContentCounts(after), before);
    EXPECT_EQ(records, 2u);
    EXPECT_EQ(responder->GetRequests().size(), 0u);
}

TEST_F(MoveItemsTest, MoveToTrashMakesTheTrashFolderWhenMissing) {
    ASSERT_FALSE(fs::exists(Trash()));
    MoveToTrash(Ws({edit / "Reels"}), UnsavedChanges::kAsk, ApplyToAll::kOffer);
    EXPECT_TRUE(fs::exists(Trash() / "Reels" / "Reel 1.mvproj"));
    EXPECT_FALSE(fs::exists(edit / "Reels"));
}

TEST_F(MoveItemsTest, ClosingRefusedByTheUserMovesNothing) {
    const auto project = testsupport::OpenProject(scene);
    auto content = project->Content();
    content.sequences.push_back("Unsaved cut");
    project->EditContent(content);
    responder->AddAnswer(2); // Cancel in the save question
    const auto before = TakeInventory(production);
    MoveToTrash(Ws({edit}), UnsavedChanges::kAsk, ApplyToAll::kOffer);
    EXPECT_EQ(TakeInventory(production), before);
    ASSERT_EQ(responder->GetRequests().size(), 1u);
    EXPECT_EQ(responder->GetRequests()[0].title, "Save Changes?");
    EXPECT_TRUE(host::DocumentManager::Instance().Find(scene)); // still open
}

TEST_F(MoveItemsTest, OpenProjectsInsideAMovedFolderAreClosedBeforeTheMove) {
    testsupport::OpenProject(reel);
    MoveToTrash(Ws({edit}), UnsavedChanges::kAsk, ApplyToAll::kOffer);
    EXPECT_TRUE(host::DocumentManager::Instance().GetAll().empty());
    EXPECT_TRUE(fs::exists(Trash() / "Edit" / "Reels" / "Reel 1.mvproj"));
    EXPECT_FALSE(fs::exists(Trash() / "Edit" / "Reels" / "Reel 1.mvproj.lock"));
}

TEST_F(MoveItemsTest, AMoveAcrossFileSystemsLosesNothing) {
    const fs::path other = OtherFileSystemFolder("move");
    if (other.empty()) {
        GTEST_SKIP() << "/dev/shm is on the same file system as the temporary folder here";
    }
    fs::create_symlink("Reel 1.mvproj", edit / "Reels" / "latest");
    const auto before = TakeInventory(edit);
    EXPECT_TRUE(CopyFiles(Ws({edit}), W(other), Transfer::kMove, TakenName::kRefuse));
    EXPECT_FALSE(fs::exists(edit));
    EXPECT_EQ(TakeInventory(other / "Edit"), before);
    EXPECT_TRUE(fs::is_symlink(other / "Edit" / "Reels" / "latest"));
}

TEST_F(MoveItemsTest, AMoveBatchWhoseThirdFailsMovesTheOthersAndLosesNothing) {
    const fs::path other = OtherFileSystemFolder("batch");
    if (other.empty()) {
        GTEST_SKIP() << "/dev/shm is on the same file system as the temporary folder here";
    }
    const fs::path batch = production / "Batch";
    for (const char* name : {"a1", "a2", "a4", "a5"}) {
        Write(batch / name / "take.txt", name);
    }
    Write(batch / "a3" / "take.txt", "a3");
    // A pipe cannot cross file systems: the third move fails and leaves its source whole.
    ASSERT_EQ(::mkfifo((batch / "a3" / "pipe").c_str(), 0644), 0);
    const auto before = TakeInventory(batch);
    host::ConfigureTrace("Tandrel=8");
    EXPECT_TRUE(
        CopyFiles(Ws({batch / "a1", batch / "a2", batch / "a3", batch / "a4", batch / "a5"}),
                  W(other), Transfer::kMove, TakenName::kRefuse));
    EXPECT_TRUE(fs::exists(batch / "a3" / "take.txt"));
    EXPECT_FALSE(fs::exists(other / "a3"));
    // Everything is in exactly one of the two places.
    testsupport::Inventory together = TakeInventory(other);
    for (const auto& [path, content] : TakeInventory(batch)) {
        EXPECT_TRUE(together.emplace(path, content).second) << path;
    }
    EXPECT_EQ(together, before);
    // The failure is traced with its real cause (a pipe cannot be copied: EINVAL), never
    // shown, and a failed move is not a file error.
    EXPECT_EQ(responder->GetRequests().size(), 0u);
    const std::string prefix = "Tandrel:8:File move failed: error: ";
    const auto line = std::find_if(traced.begin(), traced.end(), [&](const std::string& entry) {
        return entry.starts_with(prefix);
    });
    ASSERT_NE(line, traced.end());
    EXPECT_EQ(*line, prefix + "ffffffea, source: " + (batch / "a3").string() +
                         ", dest: " + (other / "a3").string() + "\n");
}

TEST_F(MoveItemsTest, ALinkMovedToTheTrashIsTheLinkNeverWhatItPointsTo) {
    const fs::path footage = root / "Footage";
    Write(footage / "clip.txt", "clip");
    fs::create_symlink(footage, edit / "Footage link");
    fs::create_symlink(footage / "clip.txt", edit / "clip link");
    StartMonitoringTree(W(footage));
    MoveToTrash(Ws({edit / "Footage link", edit / "clip link"}), UnsavedChanges::kAsk,
                ApplyToAll::kOffer);
    EXPECT_EQ(Watch(footage), host::WatchKind::Notified); // the folder itself did not move
    EXPECT_TRUE(fs::is_symlink(Trash() / "Footage link"));
    EXPECT_TRUE(fs::is_symlink(Trash() / "clip link"));
    EXPECT_EQ(testsupport::ReadBytes(footage / "clip.txt"), "clip"); // the target stays put
    EXPECT_FALSE(fs::exists(Trash() / "clip.txt"));
}

TEST_F(MoveItemsTest, ALinkInTheTrashWithTheSameNameDoesNotLeadTheItemOutOfTheProduction) {
    const fs::path elsewhere = root / "Elsewhere";
    fs::create_directories(elsewhere);
    fs::create_directories(Trash());
    fs::create_symlink(elsewhere / "notes.txt", Trash() / "notes.txt"); // a dangling link
    MoveToTrash(Ws({edit / "notes.txt"}), UnsavedChanges::kAsk, ApplyToAll::kOffer);
    EXPECT_EQ(testsupport::ReadBytes(Trash() / "notes_1.txt"), "notes");
    EXPECT_TRUE(fs::is_empty(elsewhere));
}

TEST_F(MoveItemsTest, AFailedMoveIsTracedOnlyFromLevelEight) {
    Write(production / "Taken" / "notes.txt", "in the way");
    host::ConfigureTrace("Tandrel=7");
    EXPECT_FALSE(MoveFileOrFolder(W(edit / "notes.txt"), W(production / "Taken" / "notes.txt")));
    EXPECT_TRUE(traced.empty());
    host::ConfigureTrace("Tandrel=8");
    EXPECT_FALSE(MoveFileOrFolder(W(edit / "notes.txt"), W(production / "Taken" / "notes.txt")));
    EXPECT_TRUE(Traced(
        "Tandrel:8:File move failed: error: ffffffef, source: " + (edit / "notes.txt").string() +
        ", dest: " + (production / "Taken" / "notes.txt").string() + "\n"));
}

TEST_F(MoveItemsTest, AMoveOnOneFileSystemStaysARename) {
    struct stat before {};
    ASSERT_EQ(::stat(reel.c_str(), &before), 0);
    EXPECT_TRUE(MoveFileOrFolder(W(edit / "Reels"), W(production / "Reels")));
    struct stat after {};
    ASSERT_EQ(::stat((production / "Reels" / "Reel 1.mvproj").c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);
}

TEST_F(MoveItemsTest, AFailedFolderMoveWatchesTheSourceTreeAgain) {
    // Not watched before: after the failed move it is, so the watch was started again.
    fs::create_directories(edit / "Reels" / "Day 1");
    ASSERT_EQ(Watch(edit / "Reels"), host::WatchKind::None);
    fs::create_directories(production / "Taken" / "Reels");
    EXPECT_FALSE(MoveFileOrFolder(W(edit / "Reels"), W(production / "Taken" / "Reels")));
    EXPECT_EQ(Watch(edit / "Reels"), host::WatchKind::Notified);
    EXPECT_EQ(Watch(edit / "Reels" / "Day 1"), host::WatchKind::Notified);
    EXPECT_EQ(Watch(production / "Taken" / "Reels"), host::WatchKind::None);
}

TEST_F(MoveItemsTest, ASuccessfulFolderMoveDoesNotWatchTheDestination) {
    // The production's name index keeps its whole tree watched: these look at the panel's own
    // watches alone.
    host::ProductionIndex::Instance().Close();
    StartMonitoringTree(W(edit));
    EXPECT_TRUE(MoveFileOrFolder(W(edit / "Reels"), W(production / "Reels")));
    EXPECT_EQ(Watch(edit / "Reels"), host::WatchKind::None);
    EXPECT_EQ(Watch(production / "Reels"), host::WatchKind::None);
}

TEST_F(MoveItemsTest, TheMonitorTreeFunctionsCoverEveryFolderBelow) {
    // The production's name index keeps its whole tree watched: these look at the panel's own
    // watches alone.
    host::ProductionIndex::Instance().Close();
    fs::create_directories(edit / "Reels" / "Day 1" / "Cam A");
    StartMonitoringTree(W(edit));
    EXPECT_EQ(Watch(edit), host::WatchKind::Notified);
    EXPECT_EQ(Watch(edit / "Reels" / "Day 1" / "Cam A"), host::WatchKind::Notified);
    StopMonitoringTree(W(edit));
    EXPECT_EQ(Watch(edit), host::WatchKind::None);
    EXPECT_EQ(Watch(edit / "Reels" / "Day 1" / "Cam A"), host::WatchKind::None);
}

TEST_F(MoveItemsTest, AMovedProjectWithoutLockEndsLockedAtItsNewPath) {
    const fs::path destination = production / "Cut" / "Scene 12.mvproj";
    fs::create_directories(destination.parent_path());
    MoveProjectFile(W(scene), W(destination));
    EXPECT_TRUE(fs::exists(destination));
    EXPECT_FALSE(fs::exists(scene));
    const auto lock = host::ReadProjectLockFile(destination.string(), "Ana Ruiz", "suite-1");
    ASSERT_NE(lock, nullptr);
    EXPECT_TRUE(lock->IsOwnedByCaller());
    // The lock made at the old path to guard the move is not left behind there.
    EXPECT_FALSE(fs::exists(scene.string() + ".lock"));
    EXPECT_EQ(responder->GetRequests().size(), 0u);
}

TEST_F(MoveItemsTest, AnOpenProjectWithOurLockFollowsItsFileAndKeepsALock) {
    const auto project = testsupport::OpenProject(scene);
    ASSERT_TRUE(project->HoldsLock());
    const fs::path destination = production / "Cut" / "Scene 12.mvproj";
    fs::create_directories(destination.parent_path());
    MoveProjectFile(W(scene), W(destination));
    EXPECT_EQ(project->Path(), destination);
    EXPECT_TRUE(project->HoldsLock());
    EXPECT_FALSE(fs::exists(scene.string() + ".lock"));
    host::DocumentManager::Instance().Close({project});
    EXPECT_FALSE(fs::exists(destination.string() + ".lock")); // released when it closed
}

TEST_F(MoveItemsTest, AnOpenReadOnlyProjectFollowsItsFileWithoutTakingTheLock) {
    const auto project = testsupport::OpenProject(scene, host::OpenMode::ReadOnly);
    const fs::path destination = production / "Cut" / "Scene 12.mvproj";
    fs::create_directories(destination.parent_path());
    MoveProjectFile(W(scene), W(destination));
    EXPECT_EQ(project->Path(), destination);
    EXPECT_FALSE(project->HoldsLock());
    EXPECT_TRUE(fs::exists(destination.string() + ".lock"));
}

TEST_F(MoveItemsTest, AProjectLockedByAnotherUserIsNotMovedAndNothingIsShown) {
    LockAs(scene, "Ben Okafor");
    const auto before = TakeInventory(production);
    MoveProjectFile(W(scene), W(production / "Scene 12.mvproj"));
    EXPECT_EQ(TakeInventory(production), before);
    EXPECT_EQ(responder->GetRequests().size(), 0u);
}

TEST_F(MoveItemsTest, AFailedDestinationLockNamesTheDestinationAndMovesNothing) {
    const fs::path destination = production / "Cut" / "Scene 12.mvproj";
    fs::create_directories(destination.parent_path());
    LockAs(destination, "Ben Okafor"); // a lock already sits at the new name
    MoveProjectFile(W(scene), W(destination));
    EXPECT_TRUE(fs::exists(scene));
    EXPECT_FALSE(fs::exists(destination));
    ASSERT_EQ(responder->GetRequests().size(), 1u);
    EXPECT_EQ(responder->GetRequests()[0].title, "Unable to Lock Project");
    EXPECT_NE(responder->GetRequests()[0].text.find(destination.string()), std::string::npos);
}

TEST_F(MoveItemsTest, AProjectMoveThatFailsOnDiskShowsTheMoveError) {
    const fs::path destination = production / "Cut" / "Scene 12.mvproj";
    Write(destination, "another project in the way");
    host::ConfigureTrace("Tandrel=5");
    MoveProjectFile(W(scene), W(destination));
    EXPECT_TRUE(fs::exists(scene));
    EXPECT_EQ(testsupport::ReadBytes(destination), "another project in the way");
    ASSERT_EQ(responder->GetRequests().size(), 1u);
    EXPECT_EQ(responder->GetRequests()[0].title, "Unable to Move Project");
    EXPECT_EQ(responder->GetRequests()[0].text, "The path " + destination.string() +
                                                    " already exists. Please choose a different "
                                                    "location.");
    EXPECT_EQ(responder->GetRequests()[0].buttons, std::vector<std::string>{"OK"});
    EXPECT_TRUE(Traced("Tandrel:5:Unable to move project. The path " + destination.string() +
                       " already exists.\n"));
}

TEST_F(MoveItemsTest, TheMoveErrorIsTracedButNotShownWithoutAWorkspace) {
    host::SetCurrentWorkspace(nullptr);
    host::ConfigureTrace("Tandrel=5");
    ShowMoveError(u"/somewhere/Scene.mvproj");
    EXPECT_EQ(responder->GetRequests().size(), 0u);
    EXPECT_TRUE(Traced("Tandrel:5:Unable to move project. The path /somewhere/Scene.mvproj "
                       "already exists.\n"));
}

TEST_F(MoveItemsTest, ObjectSelectionDataMovesWithItsProject) {
    host::HostSession::Instance().preferences.newMasking = true;
    const fs::path data = host::ObjectSelectionFolderFor(scene);
    Write(data / "selections.json", "{}");
    const fs::path destination = production / "Cut" / "Scene 12.mvproj";
    fs::create_directories(destination.parent_path());
    MoveProjectFile(W(scene), W(destination));
    EXPECT_TRUE(fs::exists(destination));
    EXPECT_FALSE(fs::exists(data));
    EXPECT_EQ(
        testsupport::ReadBytes(host::ObjectSelectionFolderFor(destination) / "selections.json"),
        "{}");
}

TEST_F(MoveItemsTest, ObjectSelectionDataInTheWayStopsTheProjectMove) {
    host::HostSession::Instance().preferences.newMasking = true;
    Write(host::ObjectSelectionFolderFor(scene) / "selections.json", "mine");
    const fs::path destination = production / "Cut" / "Scene 12.mvproj";
    const fs::path theirs = host::ObjectSelectionFolderFor(destination);
    Write(theirs / "selections.json", "theirs");
    MoveProjectFile(W(scene), W(destination));
    EXPECT_TRUE(fs::exists(scene));
    EXPECT_FALSE(fs::exists(destination));
    EXPECT_EQ(testsupport::ReadBytes(theirs / "selections.json"), "theirs");
    ASSERT_EQ(responder->GetRequests().size(), 1u);
    EXPECT_NE(responder->GetRequests()[0].text.find(theirs.string()), std::string::npos);
}

TEST_F(MoveItemsTest, WithNewMaskingOffObjectSelectionDataStaysWhereItIs) {
    const fs::path data = host::ObjectSelectionFolderFor(scene);
    Write(data / "selections.json", "{}");
    const fs::path destination = production / "Cut" / "Scene 12.mvproj";
    fs::create_directories(destination.parent_path());
    MoveProjectFile(W(scene), W(destination));
    EXPECT_TRUE(fs::exists(destination));
    EXPECT_TRUE(fs::exists(data));
}

TEST_F(MoveItemsTest, TheSearchIndexOfAnOpenProjectFollowsIt) {
    const auto project = testsupport::OpenProject(scene);
    std::string error;
    ASSERT_TRUE(host::DocumentManager::Instance().Save(project, error)) << error;
    ASSERT_TRUE(fs::exists(host::SearchIndexFileFor(scene)));
    const fs::path destination = production / "Cut" / "Scene 12.mvproj";
    fs::create_directories(destination.parent_path());
    MoveProjectFile(W(scene), W(destination));
    ASSERT_TRUE(host::WaitForDefaultExecutor(10000));
    EXPECT_FALSE(fs::exists(host::SearchIndexFileFor(scene)));
    EXPECT_NE(testsupport::ReadBytes(host::SearchIndexFileFor(destination)).find("Sequence 1"),
              std::string::npos);
}

TEST_F(MoveItemsTest, AMovedFolderTakesItsOpenWritableProjectsAlong) {
    const auto writable = testsupport::OpenProject(reel);
    const fs::path other = testsupport::WriteProject(edit / "Reels" / "Reel 2.mvproj");
    const auto readOnly = testsupport::OpenProject(other, host::OpenMode::ReadOnly);
    EXPECT_TRUE(
        CopyFiles(Ws({edit / "Reels"}), W(production), Transfer::kMove, TakenName::kRefuse));
    EXPECT_EQ(writable->Path(), production / "Reels" / "Reel 1.mvproj");
    EXPECT_TRUE(writable->HoldsLock());
    EXPECT_FALSE(writable->LostItsLock());
    EXPECT_EQ(readOnly->Path(), other); // read-only projects keep their old path
    host::DocumentManager::Instance().Close({writable});
    EXPECT_FALSE(fs::exists(production / "Reels" / "Reel 1.mvproj.lock"));
}

} // namespace
