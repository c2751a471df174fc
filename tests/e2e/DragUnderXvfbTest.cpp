// A row dragged onto a folder with a real pointer: the real marvane on a virtual X display
// under a real window manager, the pointer and keys moved by xdotool, the drag carried by the
// X11 drag protocol as for a person.
#include "E2eProjects.h"
#include "ScriptedMarvane.h"
#include "TemporaryFolder.h"
#include "WindowManager.h"
#include "XvfbDisplay.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <sstream>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace e2e;

struct Frame {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

// "ok X Y W H" of `ui frame`.
bool ParseFrame(const std::string& answer, Frame& frame) {
    std::istringstream in(answer);
    std::string ok;
    return static_cast<bool>(in >> ok >> frame.x >> frame.y >> frame.width >> frame.height) &&
           ok == "ok" && frame.width > 0 && frame.height > 0;
}

void Pause(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

// Up to a minute: a machine busy with other tests may take its time over a synced write, and
// a wait that holds at once costs nothing.
bool WaitFor(const std::function<bool()>& condition) {
    for (int attempt = 0; attempt < 1200; ++attempt) {
        if (condition()) {
            return true;
        }
        Pause(50);
    }
    return condition();
}

class DragUnderXvfbTest : public ::testing::Test {
protected:
    void SetUp() override {
        WriteProject(production / "Scene 1.mvproj");
        WriteProject(production / "Dailies" / "Shot 1.mvproj");
        ASSERT_FALSE(display.Name().empty()) << "Xvfb did not start";
        ASSERT_EQ(windowManager.Name(), "Openbox") << "the window manager did not start";
        ana = std::make_unique<ScriptedMarvane>(
            std::vector<std::string>{"--production", production.string(), "--profile",
                                     (root / "ana").string(), "--user", "Ana Ruiz"},
            std::vector<std::string>{"DISPLAY=" + display.Name(), "QT_QPA_PLATFORM=xcb",
                                     "LSAN_OPTIONS=suppressions=" SYSTEM_LEAK_SUPPRESSIONS,
                                     "MARVANE_TRACE=Tandrel=8,Host=2"});
        ASSERT_EQ(ana->ReadLine(), "ready") << ana->ErrorOutput();
        ASSERT_EQ(ana->SendUntil({"ui", "rows", kTree}, "ok count=2 Dailies|Scene 1"),
                  "ok count=2 Dailies|Scene 1");
    }
    // What the window said and how long it stood still, for a drop that did not happen.
    std::string Diagnosis() {
        return "dialogs: " + ana->Send({"dialogs"}) + "\nlast: " + ana->Send({"last-dialog"}) +
               "\nlongest stall: " + ana->Send({"stall"}) + "\n" + ana->ErrorOutput();
    }
    void TearDown() override {
        if (ana) {
            EXPECT_EQ(ana->Send({"quit"}), "ok");
            EXPECT_EQ(ana->Finish(), 0) << ana->ErrorOutput();
        }
    }

    // Presses on the row, moves a little (a drag starts), travels to the target row and lets
    // go there, as a hand does; with the key held from before the press until after the drop.
    void Drag(const std::string& row, const std::string& target, const std::string& key = {}) {
        ASSERT_EQ(ana->Send({"ui", "select", kTree, row}), "ok");
        Frame from;
        Frame to;
        ASSERT_TRUE(ParseFrame(ana->Send({"ui", "frame", kTree, row}), from));
        ASSERT_TRUE(ParseFrame(ana->Send({"ui", "frame", kTree, target}), to));
        const int fromX = from.x + from.width / 2;
        const int fromY = from.y + from.height / 2;
        const int toX = to.x + to.width / 2;
        const int toY = to.y + to.height / 2;
        ASSERT_TRUE(
            display.Xdotool("mousemove " + std::to_string(fromX) + " " + std::to_string(fromY)));
        Pause(200);
        if (!key.empty()) {
            ASSERT_TRUE(display.Xdotool("keydown " + key));
            Pause(100);
        }
        ASSERT_TRUE(display.Xdotool("mousedown 1"));
        Pause(200);
        for (int step = 1; step <= 10; ++step) {
            const int x = fromX + (toX - fromX) * step / 10;
            const int y = fromY + (toY - fromY) * step / 10 + (step == 1 ? 12 : 0);
            ASSERT_TRUE(
                display.Xdotool("mousemove " + std::to_string(x) + " " + std::to_string(y)));
            Pause(100);
        }
        ASSERT_TRUE(
            display.Xdotool("mousemove " + std::to_string(toX) + " " + std::to_string(toY)));
        Pause(300);
        ASSERT_TRUE(display.Xdotool("mouseup 1"));
        if (!key.empty()) {
            Pause(100);
            ASSERT_TRUE(display.Xdotool("keyup " + key));
        }
    }

    const testsupport::TemporaryFolder temporary{"e2e-drag"};
    const fs::path root = temporary.Path();
    const fs::path production = root / "Pilot";
    const XvfbDisplay display;
    const WindowManager windowManager{display.Name()};
    std::unique_ptr<ScriptedMarvane> ana;
};

TEST_F(DragUnderXvfbTest, AProjectDraggedOntoAFolderMovesThereWithItsLock) {
    // Open, so that it carries Ana's lock.
    ASSERT_EQ(ana->Send({"open", (production / "Scene 1.mvproj").string()}), "ok");
    ASSERT_TRUE(fs::exists(production / "Scene 1.mvproj.lock"));

    Drag("Scene 1", "Dailies");

    EXPECT_TRUE(WaitFor([&] { return fs::exists(production / "Dailies" / "Scene 1.mvproj"); }))
        << Diagnosis();
    EXPECT_TRUE(fs::exists(production / "Dailies" / "Scene 1.mvproj.lock"));
    EXPECT_FALSE(fs::exists(production / "Scene 1.mvproj"));
    EXPECT_FALSE(fs::exists(production / "Scene 1.mvproj.lock"));
}

TEST_F(DragUnderXvfbTest, AClosedProjectDraggedWithCtrlHeldMovesAndKeepsNoLock) {
    // Rows of the panel always move; copies are made with Make a Copy.
    Drag("Scene 1", "Dailies", "ctrl");

    EXPECT_TRUE(WaitFor([&] { return fs::exists(production / "Dailies" / "Scene 1.mvproj"); }))
        << Diagnosis();
    EXPECT_FALSE(fs::exists(production / "Scene 1.mvproj"));
    // The lock that carried the closed project across goes once the drop is done.
    EXPECT_TRUE(WaitFor([&] {
        return !fs::exists(production / "Dailies" / "Scene 1.mvproj.lock");
    })) << Diagnosis();
    EXPECT_FALSE(fs::exists(production / "Scene 1.mvproj.lock"));
    // Nothing else came or went: no copy, no lock, no hidden file left behind.
    std::vector<std::string> projects;
    for (const auto& entry : fs::recursive_directory_iterator(production)) {
        if (entry.is_regular_file()) {
            projects.push_back(fs::relative(entry.path(), production).string());
        }
    }
    std::sort(projects.begin(), projects.end());
    EXPECT_EQ(projects,
              (std::vector<std::string>{"Dailies/Scene 1.mvproj", "Dailies/Shot 1.mvproj"}));
}

} // namespace
