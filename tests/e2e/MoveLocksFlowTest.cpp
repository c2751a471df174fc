// An assistant editor organises closed projects while a colleague works: once each command is
// done, the projects moved are free for anyone, and a crash right after, or in the middle of
// the command, leaves no lock once marvane starts again.
#include "E2eProjects.h"
#include "ScriptedMarvane.h"
#include "TemporaryFolder.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

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

int ProjectsBelow(const fs::path& folder) {
    int count = 0;
    if (fs::exists(folder)) {
        for (const auto& entry : fs::recursive_directory_iterator(folder)) {
            count += entry.path().extension() == ".mvproj" ? 1 : 0;
        }
    }
    return count;
}

bool EventuallyNoLocksBelow(const fs::path& folder) {
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (LockFilesBelow(folder) != 0) {
        if (std::chrono::steady_clock::now() > until) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return true;
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

TEST_F(MoveLocksFlowTest, AKillInTheMiddleOfAMoveOfManyLeavesLocksTheNextStartRemoves) {
    constexpr int kProjects = 400;
    const fs::path batch = production / "Batch";
    for (int i = 0; i < kProjects; ++i) {
        WriteProject(batch / ("Take " + std::to_string(1000 + i) + ".mvproj"));
    }
    const fs::path trash = production / "Trash";
    // The kill has to come while a project is locked for its move; a run that happened to be
    // killed between two projects is started again on what is left.
    int stranded = 0;
    for (int attempt = 0; attempt < 5 && stranded == 0; ++attempt) {
        auto ana = StartEditor("Ana Ruiz");
        std::vector<std::string> command{"move-to-trash"};
        for (const auto& entry : fs::directory_iterator(batch)) {
            if (entry.path().extension() == ".mvproj") {
                command.push_back(entry.path().string());
            }
        }
        ASSERT_GT(command.size(), 1u) << "every project reached the Trash before a kill";
        ASSERT_TRUE(ana->Post(command));
        const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!(ProjectsBelow(trash) > 0 && LockFilesBelow(production) > 0) &&
               std::chrono::steady_clock::now() < until) {
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
        ana->Signal(SIGKILL);
        ana->WaitForExit();
        stranded = LockFilesBelow(production);
    }
    ASSERT_GT(stranded, 0) << "no kill came while a project was locked for its move";
    // Nothing is lost or doubled: every project is whole in one place or the other.
    EXPECT_EQ(ProjectsBelow(batch) + ProjectsBelow(trash), kProjects);

    auto again = StartEditor("Ana Ruiz");
    EXPECT_TRUE(EventuallyNoLocksBelow(production))
        << LockFilesBelow(production) << " of " << stranded << " locks left by the kill stay";
    EXPECT_EQ(again->Send({"quit"}), "ok");
    EXPECT_EQ(again->Finish(), 0) << again->ErrorOutput();
    EXPECT_EQ(LockFilesBelow(production), 0);
    EXPECT_EQ(ProjectsBelow(batch) + ProjectsBelow(trash), kProjects);
}

} // namespace
