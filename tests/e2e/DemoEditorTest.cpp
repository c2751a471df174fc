// The demo's second editor: a real second marvane that holds a project of the demo production
// while the first run lasts, and gives it back when that run ends, in order or killed.
#include "E2eProjects.h"
#include "FileBytes.h"
#include "ScriptedMarvane.h"
#include "TemporaryFolder.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <thread>

namespace {

namespace fs = std::filesystem;

// How many running processes have the text in their command line.
int ProcessesNaming(const std::string& text) {
    int count = 0;
    std::error_code ignored;
    for (const fs::directory_entry& entry : fs::directory_iterator("/proc", ignored)) {
        const std::string name = entry.path().filename().string();
        if (name.find_first_not_of("0123456789") != std::string::npos) {
            continue;
        }
        std::ifstream in(entry.path() / "cmdline", std::ios::binary);
        std::string line((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        if (line.find(text) != std::string::npos) {
            ++count;
        }
    }
    return count;
}

bool WaitFor(const std::function<bool()>& done, std::chrono::seconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return true;
}

class DemoEditorTest : public ::testing::Test {
protected:
    std::string LockText() const {
        std::error_code ignored;
        return fs::exists(lock, ignored) ? testsupport::ReadBytes(lock) : std::string();
    }
    bool Held() const { return LockText().find("Rowan Achebe") != std::string::npos; }
    bool Given() const {
        std::error_code ignored;
        return !fs::exists(lock, ignored) && ProcessesNaming(editorProfile.string()) == 0;
    }

    const testsupport::TemporaryFolder temporary{"e2e-demo-editor"};
    const fs::path profile = temporary.Path() / "profile";
    const fs::path demo = profile / "data" / "Demo Production";
    const fs::path lock = demo / "Scene 12.mvproj.lock";
    const fs::path editorProfile = profile / "data" / "Demo Editor";
};

TEST_F(DemoEditorTest, OnTheDemoASecondEditorHoldsAProjectUntilTheRunQuits) {
    ScriptedMarvane marvane({"--demo-editor", "--profile", profile.string()});
    ASSERT_EQ(marvane.ReadLine(), "ready") << marvane.ErrorOutput();
    ASSERT_TRUE(WaitFor([&] { return Held(); }, std::chrono::seconds(30))) << marvane.ErrorOutput();
    EXPECT_EQ(ProcessesNaming(editorProfile.string()), 1);
    // The panel shows the project as another editor's.
    EXPECT_NE(marvane.SendUntilHolding({"ui", "tooltip", e2e::kTree, "Scene 12"}, "Rowan Achebe")
                  .find("Rowan Achebe"),
              std::string::npos);
    EXPECT_EQ(marvane.Send({"quit"}), "ok");
    EXPECT_EQ(marvane.Finish(), 0) << marvane.ErrorOutput();
    // The run waited for it: its lock is given back and it is gone.
    EXPECT_TRUE(Given()) << LockText();
}

TEST_F(DemoEditorTest, ARunKilledLeavesNoSecondEditorAndNoLock) {
    ScriptedMarvane marvane({"--demo-editor", "--profile", profile.string()});
    ASSERT_EQ(marvane.ReadLine(), "ready") << marvane.ErrorOutput();
    ASSERT_TRUE(WaitFor([&] { return Held(); }, std::chrono::seconds(30))) << marvane.ErrorOutput();
    marvane.Signal(SIGKILL);
    marvane.WaitForExit();
    // Its script ends with the run: it quits in order and gives the project back.
    EXPECT_TRUE(WaitFor([&] { return Given(); }, std::chrono::seconds(30))) << LockText();
}

TEST_F(DemoEditorTest, AnotherProductionGetsNoSecondEditor) {
    const fs::path pilot = temporary.Path() / "Pilot";
    e2e::WriteProject(pilot / "Scene 12.mvproj");
    ScriptedMarvane marvane(
        {"--demo-editor", "--production", pilot.string(), "--profile", profile.string()});
    ASSERT_EQ(marvane.ReadLine(), "ready") << marvane.ErrorOutput();
    EXPECT_EQ(ProcessesNaming(editorProfile.string()), 0);
    EXPECT_FALSE(fs::exists(pilot / "Scene 12.mvproj.lock"));
    EXPECT_FALSE(fs::exists(demo));
    EXPECT_EQ(marvane.Send({"quit"}), "ok");
    EXPECT_EQ(marvane.Finish(), 0) << marvane.ErrorOutput();
}

} // namespace
