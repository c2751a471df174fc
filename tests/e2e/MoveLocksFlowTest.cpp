// An assistant editor organises closed projects while a colleague works: once each command is
// done, the projects moved are free for anyone, and a crash right after leaves no lock.
#include "E2eProjects.h"
#include "ScriptedMarvane.h"
#include "TemporaryFolder.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace e2e;

bool EventuallyGone(const fs::path& path) {
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (fs::exists(fs::symlink_status(path))) {
        if (std::chrono::steady_clock::now() > until) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

int LockFilesBelow(const fs::path& folder) {
    int count = 0;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        count += entry.path().filename().string().ends_with(".lock") ? 1 : 0;
    }
    return count;
}

class MoveLocksFlowTest : public ::testing::Test {
protected:
    void SetUp() override {
        WriteProject(production / "Scene 4.mvproj");
        WriteProject(production / "Dailies" / "Shot 1.mvproj");
    }
    std::unique_ptr<ScriptedMarvane> StartEditor(const std::string& name) const {
        return StartEditorOn(production, root, name);
    }

    const testsupport::TemporaryFolder temporary{"e2e-move-locks"};
    const fs::path root = temporary.Path();
    const fs::path production = root / "Pilot";
};

TEST_F(MoveLocksFlowTest, AClosedProjectMovedToTheTrashIsFreeForAnotherEditorAtOnce) {
    auto ana = StartEditor("Ana Ruiz");
    const fs::path scene = production / "Scene 4.mvproj";
    ASSERT_EQ(ana->Send({"move-to-trash", scene.string()}), "ok allowed") << ana->ErrorOutput();
    const fs::path trashed = production / "Trash" / "Scene 4.mvproj";
    ASSERT_TRUE(fs::exists(trashed));
    EXPECT_TRUE(EventuallyGone(trashed.string() + ".lock"));
    EXPECT_FALSE(fs::exists(scene.string() + ".lock"));

    // Ben opens it read-write while Ana's marvane still runs.
    auto ben = StartEditor("Ben Okafor");
    ASSERT_EQ(ben->Send({"open", trashed.string()}), "ok") << ben->ErrorOutput();
    EXPECT_EQ(ben->Send({"status", trashed.string()}).rfind("ok read-only=0", 0), 0u);
    EXPECT_EQ(ben->Send({"close", trashed.string()}), "ok");
    EXPECT_EQ(ben->Finish(), 0) << ben->ErrorOutput();
    EXPECT_EQ(ana->Send({"quit"}), "ok");
    EXPECT_EQ(ana->Finish(), 0) << ana->ErrorOutput();
}

TEST_F(MoveLocksFlowTest, AKillRightAfterAMoveLeavesNoLockToCleanUp) {
    auto ana = StartEditor("Ana Ruiz");
    const fs::path shot = production / "Dailies" / "Shot 1.mvproj";
    ASSERT_EQ(ana->Send({"move-to-trash", shot.string(), (production / "Scene 4.mvproj").string()}),
              "ok allowed")
        << ana->ErrorOutput();
    // The next command is answered once the moving command is over.
    ASSERT_EQ(ana->Send({"dialogs"}).rfind("ok", 0), 0u);
    ana->Signal(SIGKILL);
    ana->WaitForExit();
    EXPECT_TRUE(fs::exists(production / "Trash" / "Shot 1.mvproj"));
    EXPECT_EQ(LockFilesBelow(production), 0);
}

} // namespace
