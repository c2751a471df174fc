// A big project read slowly is waited for while its bytes keep coming: the folder holding it
// is not taken for a share that stopped answering, the project opens writable, and its lock
// goes when it is closed. Only a read that stops moving is a folder that does not answer.
#include "Marvane/application/HostSession.h"
#include "Marvane/documents/DocumentManager.h"
#include "Marvane/documents/ProjectContent.h"
#include "Marvane/fileservices/AccessDeadline.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "TemporaryFolder.h"
#include "TestProjects.h"

#include <chrono>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;
using host::DocumentManager;

class SlowProjectReadTest : public ::testing::Test {
protected:
    void SetUp() override {
        // About 2 MB: some thirty pieces of 64 KiB.
        std::vector<std::string> sequences;
        for (int index = 0; index < 55000; ++index) {
            sequences.push_back("Sequence " + std::to_string(index) + " - a long enough name");
        }
        big = testsupport::WriteProject(root / "Big.mvproj", sequences);
        ASSERT_GT(fs::file_size(big), 30u * 65536u);
        host::HostSession::Instance().preferences.locking = {"Ana Ruiz", "suite-1", true};
        host::files::GuardFolder(root, std::chrono::milliseconds(200));
    }
    void TearDown() override {
        host::SetProjectReadHookForTesting({});
        testsupport::CloseAllProjects();
        host::files::GuardFolder({}, std::chrono::milliseconds(500));
    }

    const testsupport::TemporaryFolder temporary{"slow-read"};
    const fs::path root = temporary.Path();
    fs::path big;
};

TEST_F(SlowProjectReadTest, ABigProjectReadSlowlyOpensWritableAndTheFolderStillAnswers) {
    // 30 ms a piece: about a second for the whole file, five times the folder's deadline.
    int pieces = 0;
    host::SetProjectReadHookForTesting([&pieces](std::size_t) {
        ++pieces;
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
    });
    const auto opened = DocumentManager::Instance().Open(big);
    ASSERT_NE(opened.project, nullptr) << opened.error;
    EXPECT_GE(pieces, 30);
    EXPECT_FALSE(opened.project->IsReadOnly());
    EXPECT_TRUE(opened.project->HoldsLock());
    EXPECT_EQ(opened.project->Content().sequences.size(), 55000u);
    EXPECT_FALSE(host::files::GuardedFolderIsHung());
    // Closing gives the lock back.
    ASSERT_TRUE(DocumentManager::Instance().CloseAll());
    EXPECT_FALSE(fs::exists(host::LockFilePathFor(big)));
}

TEST_F(SlowProjectReadTest, AReadThatStopsMovingFailsAndLeavesNoLockWhenTheFolderAnswers) {
    host::SetProjectReadHookForTesting([](std::size_t bytesSoFar) {
        if (bytesSoFar <= 65536) {
            std::this_thread::sleep_for(std::chrono::milliseconds(700));
        }
    });
    const auto opened = DocumentManager::Instance().Open(big);
    EXPECT_EQ(opened.project, nullptr);
    EXPECT_NE(opened.error.find("cannot be read"), std::string::npos) << opened.error;
    // The folder itself answers when asked again: the lock made for the open goes.
    EXPECT_FALSE(fs::exists(host::LockFilePathFor(big)));
    EXPECT_FALSE(host::files::GuardedFolderIsHung());
}

TEST_F(SlowProjectReadTest, LocksAreGivenBackAtCloseWhenTheFolderAnswersAgain) {
    const fs::path scene = testsupport::WriteProject(root / "Scene 1.mvproj");
    const auto opened = DocumentManager::Instance().Open(scene);
    ASSERT_NE(opened.project, nullptr) << opened.error;
    ASSERT_TRUE(fs::exists(host::LockFilePathFor(scene)));
    // One access hangs for a moment: the folder is taken for not answering.
    ASSERT_FALSE(host::files::RunBounded(
        root / "Other", [] { std::this_thread::sleep_for(std::chrono::milliseconds(400)); }));
    ASSERT_TRUE(host::files::GuardedFolderIsHung());
    // Quitting now: the folder answers when asked again, and the lock goes.
    DocumentManager::Instance().CloseAllWithoutAsking();
    EXPECT_FALSE(fs::exists(host::LockFilePathFor(scene)));
    EXPECT_FALSE(host::files::GuardedFolderIsHung());
}

} // namespace
