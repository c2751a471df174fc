// Moving to a Trash on another disk runs while the window keeps turning: it shows how far it
// got, Cancel leaves everything where it was, and a disk that stops answering ends the move
// with the reason, not the window. The Trash is a disk of its own (a tmpfs, root only).
#include "DeepTrees.h"
#include "FileBytes.h"
#include "Marvane/app/LongWorkDialog.h"
#include "Marvane/fileservices/FileCopy.h"
#include "Marvane/fileservices/LongWork.h"
#include "PanelWindow.h"
#include "TemporaryFolder.h"
#include "TmpfsMount.h"

#include <QPushButton>
#include <QTimer>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace HandlerTandrel;

constexpr std::size_t kClipBytes = 8 * 1024 * 1024;

// Waits on the worker, without the main thread's help, until the condition holds.
bool WaitOnWorker(const std::function<bool()>& condition, std::chrono::seconds most) {
    const auto until = std::chrono::steady_clock::now() + most;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > until) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

std::vector<std::string> Hidden(const fs::path& folder) {
    std::vector<std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.path().filename().string().rfind(".mv-", 0) == 0) {
            found.push_back(entry.path().string());
        }
    }
    return found;
}

class MoveAcrossDisksTest : public ::testing::Test {
protected:
    void SetUp() override {
        testsupport::WriteProject(pilot / "Scene 4.mvproj");
        testsupport::WriteProject(pilot / "Dailies" / "Shot 1.mvproj");
        fs::create_directories(pilot / "Dailies" / "Camera A");
        std::ofstream(pilot / "Dailies" / "Camera A" / "clip.mov", std::ios::binary)
            << std::string(kClipBytes, 'c');
        fs::create_directories(pilot / "Trash");
        if (const std::string why = trash.Mount(); !why.empty()) {
            GTEST_SKIP() << why;
        }
        panel = std::make_unique<testsupport::PanelWindow>(pilot, temporary.Path() / "profile", 3);
    }
    void TearDown() override {
        release = true;
        host::files::SetLongWorkStepHookForTesting({});
        // Work given up runs on until its disk answers: it ends before the disk goes.
        EXPECT_TRUE(WaitUntil([] { return host::files::LongWorkThreadsRunning() == 0; }, 20000));
        host::files::SetStallLimitForTesting({});
        panel.reset();
    }
    void ExpectDailiesWholeWhereItWas() const {
        EXPECT_EQ(fs::file_size(pilot / "Dailies" / "Camera A" / "clip.mov"), kClipBytes);
        EXPECT_TRUE(fs::exists(pilot / "Dailies" / "Shot 1.mvproj"));
        EXPECT_FALSE(fs::exists(pilot / "Trash" / "Dailies"));
    }

    const testsupport::TemporaryFolder temporary{"across-disks"};
    const fs::path pilot = temporary.Path() / "Pilot";
    testsupport::TmpfsMount trash{pilot / "Trash", {}, "64m"};
    std::unique_ptr<testsupport::PanelWindow> panel;
    std::atomic<bool> release{false};
};

TEST_F(MoveAcrossDisksTest, TheWindowKeepsTurningWhileAFolderMovesToAnotherDisk) {
    std::atomic<int> ticks{0};
    QTimer ticker;
    QObject::connect(&ticker, &QTimer::timeout, [&] { ++ticks; });
    ticker.start(10);
    // The copy takes its first step only once the window turned a few times: with the window
    // waiting for the copy, it never would.
    host::files::SetLongWorkStepHookForTesting(
        [&] { WaitOnWorker([&] { return ticks.load() >= 5; }, std::chrono::seconds(10)); });
    panel->Select({pilot / "Dailies"});
    ASSERT_TRUE(panel->Obey(kCmdMoveToTrash));
    ticker.stop();
    EXPECT_GE(ticks.load(), 5);
    EXPECT_EQ(fs::file_size(pilot / "Trash" / "Dailies" / "Camera A" / "clip.mov"), kClipBytes);
    EXPECT_FALSE(fs::exists(pilot / "Dailies"));
    EXPECT_FALSE(panel->Said("Not Everything Was Done"));
}

TEST_F(MoveAcrossDisksTest, CancelLeavesTheFolderWholeWhereItWasAndNothingInTheTrash) {
    host::LongWorkDialog& dialog = panel->window->GetLongWorkDialog();
    std::string shown;
    std::atomic<bool> cancelled{false};
    QTimer clicker;
    QObject::connect(&clicker, &QTimer::timeout, [&] {
        if (QProgressDialog* box = dialog.Dialog(); box != nullptr && box->isVisible()) {
            shown = box->labelText().toStdString();
            if (auto* button = box->findChild<QPushButton*>()) {
                button->click(); // as the person does
                cancelled = true;
            }
        }
    });
    clicker.start(10);
    // The copy waits at its first step until the person has cancelled.
    host::files::SetLongWorkStepHookForTesting(
        [&] { WaitOnWorker([&] { return cancelled.load(); }, std::chrono::seconds(10)); });
    panel->Select({pilot / "Dailies"});
    ASSERT_TRUE(panel->Obey(kCmdMoveToTrash));
    clicker.stop();
    EXPECT_TRUE(cancelled.load()) << "no dialog showed";
    EXPECT_EQ(shown.substr(0, shown.find('\n')), "\"Dailies\" \u2192 \"Trash\"") << shown;
    EXPECT_EQ(dialog.Dialog(), nullptr);
    ExpectDailiesWholeWhereItWas();
    EXPECT_EQ(Hidden(pilot / "Trash"), std::vector<std::string>{});
    EXPECT_FALSE(panel->Said("Not Everything Was Done"));
}

TEST_F(MoveAcrossDisksTest, ADiskThatStopsAnsweringEndsTheMoveWithTheReasonAndLeavesNothing) {
    host::files::SetStallLimitForTesting(std::chrono::milliseconds(300));
    // The Trash's disk stops answering at the copy's first step, until the test lets it go.
    host::files::SetLongWorkStepHookForTesting(
        [&] { WaitOnWorker([&] { return release.load(); }, std::chrono::seconds(20)); });
    panel->Select({pilot / "Dailies"});
    ASSERT_TRUE(panel->Obey(kCmdMoveToTrash));
    EXPECT_FALSE(release.load());
    ASSERT_TRUE(WaitUntil([&] { return panel->Said("Not Everything Was Done"); }));
    const auto& requests = panel->responder->GetRequests();
    EXPECT_EQ(requests.back().text, "\"Dailies\" could not be moved into \"" +
                                        (pilot / "Trash").string() +
                                        "\": the disk stopped answering, so it was given up (the "
                                        "item is still where it was).");
    // The disk answers again: the copy begun stops and takes away what it made.
    release = true;
    EXPECT_TRUE(WaitUntil([] { return host::files::LongWorkThreadsRunning() == 0; }, 20000));
    ExpectDailiesWholeWhereItWas();
    EXPECT_EQ(Hidden(pilot / "Trash"), std::vector<std::string>{});
}

TEST_F(MoveAcrossDisksTest, AFolderNestedPastThePathLimitMovesToTheOtherDiskWhole) {
    // Past 4,095 bytes below the folder: reached only folder by folder.
    const std::string name = "Level";
    const int levels = testsupport::LevelsBeyondTheLongestPath(name);
    testsupport::MakeDeepChain(pilot / "Chain", name, levels, "the last take");
    ASSERT_TRUE(WaitUntil([&] { return panel->Row(pilot / "Chain") != nullptr; }));
    panel->Select({pilot / "Chain"});
    ASSERT_TRUE(panel->Obey(kCmdMoveToTrash));
    EXPECT_FALSE(panel->Said("Not Everything Was Done"));
    EXPECT_EQ(testsupport::ReadDeepChain(pilot / "Trash" / "Chain", name, levels), "the last take");
    EXPECT_FALSE(fs::exists(pilot / "Chain"));
    EXPECT_TRUE(Hidden(pilot).empty());
    host::RemoveTree(pilot / "Trash" / "Chain");
}

} // namespace
