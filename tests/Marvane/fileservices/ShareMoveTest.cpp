// Moves on real network shares (sshfs over our own SSH server, SMB from our own Samba server,
// both on 127.0.0.1), whose file systems cannot rename without replacing: nothing at the
// destination is ever replaced, even when two processes race to move different files to one
// name.
#include "Marvane/application/HostSession.h"
#include "Marvane/application/ProjectImport.h"
#include "Marvane/fileservices/FileWriting.h"
#include "Marvane/fileservices/IoCounters.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "host/FileServices.h"

#include "FileBytes.h"
#include "Inventory.h"
#include "SharedBoard.h"
#include "Shares.h"
#include "TemporaryFolder.h"

#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

constexpr int kRounds = 200;

host::WideString W(const fs::path& path) {
    return host::ToUTF16(path.string());
}

using ShareMoveTest = testsupport::ShareTest;

TEST_P(ShareMoveTest, AShareThatCannotRenameWithoutReplacingStillNeverReplaces) {
    std::ofstream(mount / "Take 1.mov") << "take one";
    std::ofstream(mount / "Take 2.mov") << "take two";
    // What the kernel's no-replace rename answers on this file system.
    ASSERT_NE(::renameat2(AT_FDCWD, (mount / "Take 1.mov").c_str(), AT_FDCWD,
                          (mount / "Take 3.mov").c_str(), RENAME_NOREPLACE),
              0);
    EXPECT_EQ(host::RenameNoReplace(mount / "Take 1.mov", mount / "Take 2.mov"), EEXIST);
    EXPECT_EQ(testsupport::ReadBytes(exported / "Take 2.mov"), "take two");
    EXPECT_EQ(host::RenameNoReplace(mount / "Take 1.mov", mount / "Take 3.mov"), 0);
    EXPECT_FALSE(fs::exists(exported / "Take 1.mov"));
    EXPECT_EQ(testsupport::ReadBytes(exported / "Take 3.mov"), "take one");
}

TEST_P(ShareMoveTest, ACopyOnTheShareSyncsEachFileAndArrivesWhole) {
    fs::create_directories(mount / "Edit" / "Reels");
    std::ofstream(mount / "Edit" / "Scene 12.mvproj") << R"({"formatVersion":1})";
    std::ofstream(mount / "Edit" / "Reels" / "Reel 1.mvproj") << std::string(100'000, 'r');
    const testsupport::Inventory inventory = testsupport::TakeInventory(exported / "Edit");
    const auto files = host::FileSyncCount();
    const auto systems = host::FileSystemSyncCount();
    host::Copy(W(mount / "Edit"), W(mount / "Edit copy"));
    // The server is told of each file: one sync of this machine's file systems would not.
    EXPECT_EQ(host::FileSyncCount() - files, 2u);
    EXPECT_EQ(host::FileSystemSyncCount() - systems, 0u);
    EXPECT_EQ(testsupport::TakeInventory(exported / "Edit copy"), inventory);
}

TEST_P(ShareMoveTest, AFolderIsNeverMovedOverAFolderThatHoldsAnything) {
    fs::create_directories(mount / "Day1");
    std::ofstream(mount / "Day1" / "a.mov") << "a";
    fs::create_directories(mount / "Day2");
    std::ofstream(mount / "Day2" / "b.mov") << "b";
    EXPECT_EQ(host::RenameNoReplace(mount / "Day1", mount / "Day2"), EEXIST);
    EXPECT_EQ(host::Move(W(mount / "Day1"), W(mount / "Day2")), -EEXIST);
    EXPECT_EQ(testsupport::ReadBytes(exported / "Day1" / "a.mov"), "a");
    EXPECT_EQ(testsupport::ReadBytes(exported / "Day2" / "b.mov"), "b");
    // A rename can only ever replace an empty folder, and even that is checked for first.
    fs::create_directories(mount / "Empty");
    EXPECT_EQ(host::RenameNoReplace(mount / "Day1", mount / "Empty"), EEXIST);
    EXPECT_TRUE(fs::exists(exported / "Day1" / "a.mov"));
}

TEST_P(ShareMoveTest, LockingAndReleasingThroughTheShareLeavesNothingBehind) {
    host::HostSession::Instance().preferences.locking = {"Ana Ruiz", "suite-1", true};
    host::HostSession::Instance().userOverride.reset();
    const std::string project = (mount / "Scene 12.mvproj").string();
    std::ofstream(project) << R"({"formatVersion": 1, "name": "Scene 12"})";
    for (int round = 0; round < 60; ++round) {
        const auto lock = host::CreateProjectLockFile(project, "Ana Ruiz", "suite-1");
        ASSERT_TRUE(lock && lock->IsOwnedByCaller()) << "round " << round;
        // Read as the panel does, then released as closing the project does.
        ASSERT_NE(host::ReadProjectLockFile(project, "Ana Ruiz", "suite-1"), nullptr);
        ASSERT_TRUE(host::RemoveOwnLockFile(project)) << "round " << round;
    }
    share->Stop(); // every pending close reaches the server
    std::vector<std::string> left;
    for (const auto& entry : fs::directory_iterator(exported)) {
        if (entry.path().filename() != "Scene 12.mvproj") {
            left.push_back(entry.path().filename().string());
        }
    }
    EXPECT_TRUE(left.empty()) << left.size() << " left, the first: " << left.front();
}

struct RaceBoard {
    int results[kRounds][2];
};

TEST_P(ShareMoveTest, TwoProcessesMovingDifferentFilesToOneNameNeverLoseEither) {
    for (int round = 0; round < kRounds; ++round) {
        for (int editor = 0; editor < 2; ++editor) {
            std::ofstream(mount / ("Round " + std::to_string(round) + " from " +
                                   std::to_string(editor) + ".mov"))
                << "round " << round << " by editor " << editor;
        }
    }
    const auto before = testsupport::ContentCounts(testsupport::TakeInventory(exported));
    testsupport::SharedBoard<RaceBoard> board(2);
    std::vector<pid_t> children;
    for (int editor = 0; editor < 2; ++editor) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            for (int round = 0; round < kRounds; ++round) {
                const std::string prefix = "Round " + std::to_string(round);
                board.StartRound();
                board->results[round][editor] =
                    host::Move(W(mount / (prefix + " from " + std::to_string(editor) + ".mov")),
                               W(mount / (prefix + ".mov")));
            }
            _exit(0);
        }
        children.push_back(child);
    }
    EXPECT_TRUE(testsupport::children::AllEndedCleanly(children));
    int roundsWithOneMove = 0;
    for (int round = 0; round < kRounds; ++round) {
        const int moved =
            (board->results[round][0] == 0 ? 1 : 0) + (board->results[round][1] == 0 ? 1 : 0);
        const int refused = (board->results[round][0] == -EEXIST ? 1 : 0) +
                            (board->results[round][1] == -EEXIST ? 1 : 0);
        EXPECT_EQ(moved, 1) << "round " << round;
        EXPECT_EQ(refused, 1) << "round " << round;
        roundsWithOneMove += moved == 1 && refused == 1 ? 1 : 0;
    }
    EXPECT_EQ(roundsWithOneMove, kRounds);
    // Every content is there exactly once, by inventory of the export.
    EXPECT_EQ(testsupport::ContentCounts(testsupport::TakeInventory(exported)), before);
}

} // namespace

namespace {

TEST_P(ShareMoveTest, ProjectsAddedOnTheShareArePutInPlaceBesideWhatIsThereNeverOverIt) {
    const fs::path outside = root / "Outside" / "Scene 4.mvproj";
    fs::create_directories(outside.parent_path());
    std::ofstream(outside) << R"({"formatVersion": 1, "name": "Scene 4"})";
    fs::create_directories(mount / "Pilot");
    std::ofstream(mount / "Pilot" / "Scene 4.mvproj") << "the production's own";
    host::ProjectImport::Instance().Add({outside}, mount / "Pilot");
    host::ProjectImport::Instance().AddAs(outside, mount / "Pilot" / "Scene 4 take.mvproj");
    ASSERT_TRUE(host::ProjectImport::Instance().Wait(60000));
    const host::ImportProgress progress = host::ProjectImport::Instance().Progress();
    EXPECT_TRUE(progress.failures.empty()) << progress.failures.front();
    EXPECT_EQ(testsupport::ReadBytes(mount / "Pilot" / "Scene 4.mvproj"), "the production's own");
    EXPECT_EQ(testsupport::ReadBytes(mount / "Pilot" / "Scene 4_1.mvproj"),
              testsupport::ReadBytes(outside));
    EXPECT_EQ(testsupport::ReadBytes(mount / "Pilot" / "Scene 4 take.mvproj"),
              testsupport::ReadBytes(outside));
    host::ProjectImport::Instance().ClearFinished();
}

INSTANTIATE_TEST_SUITE_P(Shares, ShareMoveTest, ::testing::ValuesIn(testsupport::ShareKinds()),
                         testsupport::ShareParamName());

} // namespace
