// Moving a big selection to the Trash keeps the window turning: each item is tested and moved
// in turn, the window is drawn between them, a dialog shows how far it got once it runs for a
// moment, and its Cancel stops before the next item, leaving what moved in the Trash and the
// rest where it was, their locks given back.
#include "Marvane/app/LongWorkDialog.h"
#include "Marvane/fileservices/LongWork.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "PanelWindow.h"
#include "TemporaryFolder.h"

#include <QPushButton>
#include <QTimer>
#include <chrono>
#include <filesystem>
#include <gtest/gtest.h>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace HandlerTandrel;

constexpr int kProjects = 300;

int CountProjects(const fs::path& folder) {
    int count = 0;
    for (const auto& entry : fs::directory_iterator(folder)) {
        count += entry.path().extension() == ".mvproj" ? 1 : 0;
    }
    return count;
}

// The lock files left anywhere below the folder.
std::vector<std::string> LocksIn(const fs::path& folder) {
    std::vector<std::string> locks;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.path().extension() == ".lock") {
            locks.push_back(entry.path().string());
        }
    }
    return locks;
}

class MoveManyToTrashTest : public ::testing::Test {
protected:
    void SetUp() override {
        for (int index = 0; index < kProjects; ++index) {
            testsupport::WriteProject(pilot / "Dailies" /
                                      ("Take " + std::to_string(index) + ".mvproj"));
        }
        fs::create_directories(pilot / "Trash");
        panel = std::make_unique<testsupport::PanelWindow>(pilot, temporary.Path() / "profile", 2);
        for (int index = 0; index < kProjects; ++index) {
            takes.push_back(pilot / "Dailies" / ("Take " + std::to_string(index) + ".mvproj"));
        }
        panel->Tree().OpenRow(panel->Row(pilot / "Dailies"), true);
        ASSERT_TRUE(WaitUntil([&] { return panel->Row(takes.back()) != nullptr; }));
    }
    void TearDown() override {
        host::files::SetItemDoneHookForTesting({});
        panel.reset();
    }

    const testsupport::TemporaryFolder temporary{"many-to-trash"};
    const fs::path pilot = temporary.Path() / "Pilot";
    std::unique_ptr<testsupport::PanelWindow> panel;
    std::vector<fs::path> takes;
};

TEST_F(MoveManyToTrashTest, TheWindowKeepsTurningWhileManyProjectsGoToTheTrash) {
    int ticks = 0;
    QTimer ticker;
    QObject::connect(&ticker, &QTimer::timeout, [&] { ++ticks; });
    ticker.start(5);
    // Each item takes a millisecond more than it would: about a second in all, in which the
    // window must have turned again and again.
    host::files::SetItemDoneHookForTesting(
        [] { std::this_thread::sleep_for(std::chrono::milliseconds(1)); });
    panel->Select(takes);
    ASSERT_TRUE(panel->Obey(kCmdMoveToTrash));
    ticker.stop();
    EXPECT_GE(ticks, 10);
    // The locks taken for the moves go once the command is over and the event loop turns.
    SettleEvents();
    EXPECT_EQ(CountProjects(pilot / "Trash"), kProjects);
    EXPECT_EQ(CountProjects(pilot / "Dailies"), 0);
    EXPECT_EQ(LocksIn(pilot), std::vector<std::string>{});
    EXPECT_EQ(panel->window->GetLongWorkDialog().Dialog(), nullptr);
    EXPECT_FALSE(panel->Said("Not Everything Was Done"));
}

TEST_F(MoveManyToTrashTest, CancelStopsBeforeTheNextItemAndLeavesTheRestWhereTheyWere) {
    host::LongWorkDialog& dialog = panel->window->GetLongWorkDialog();
    std::string shown;
    bool cancelled = false;
    QTimer clicker;
    QObject::connect(&clicker, &QTimer::timeout, [&] {
        QProgressDialog* box = dialog.Dialog();
        if (!cancelled && box != nullptr && box->isVisible()) {
            shown = box->labelText().toStdString();
            if (auto* button = box->findChild<QPushButton*>()) {
                button->click(); // as the person does
                cancelled = true;
            }
        }
    });
    clicker.start(10);
    // Slow enough that the dialog shows long before the last item.
    host::files::SetItemDoneHookForTesting(
        [] { std::this_thread::sleep_for(std::chrono::milliseconds(3)); });
    panel->Select(takes);
    ASSERT_TRUE(panel->Obey(kCmdMoveToTrash));
    clicker.stop();
    ASSERT_TRUE(cancelled) << "no dialog showed";
    EXPECT_EQ(shown.substr(0, shown.find('\n')), "Moving to the Trash") << shown;
    EXPECT_NE(shown.find(" of " + std::to_string(kProjects * 3) + " items"), std::string::npos)
        << shown;
    EXPECT_EQ(dialog.Dialog(), nullptr);
    // Each project is whole in one place or the other, and no lock is left behind.
    const int moved = CountProjects(pilot / "Trash");
    const int left = CountProjects(pilot / "Dailies");
    EXPECT_EQ(moved + left, kProjects);
    EXPECT_LT(moved, kProjects);
    SettleEvents();
    EXPECT_EQ(LocksIn(pilot), std::vector<std::string>{});
}

} // namespace
