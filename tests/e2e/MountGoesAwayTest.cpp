// The production is the very folder a share is mounted on, and the mount goes away under a
// running marvane (the share's client ended): the folder beneath is not taken for the
// production. Its rows stay, a save writes nothing beneath the mount, and the production comes
// back when the share is mounted again.
#include "E2eProjects.h"
#include "FileBytes.h"
#include "ScriptedMarvane.h"
#include "TemporaryFolder.h"
#include "TmpfsMount.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace e2e;

TEST(MountGoesAwayTest, TheFolderBeneathIsNotTakenForTheProductionAndASaveWritesNothingThere) {
    const testsupport::TemporaryFolder temporary{"e2e-mount-away"};
    const fs::path root = temporary.Path();
    const fs::path pilot = root / "Pilot";
    const fs::path scene = pilot / "Scene 1.mvproj";
    fs::create_directories(pilot);
    // What the share holds survives its mount, lock files too.
    testsupport::TmpfsMount share(pilot, root / "Server");
    if (const std::string why = share.Mount(); !why.empty()) {
        GTEST_SKIP() << why;
    }
    WriteProject(scene, "Assembly");
    WriteProject(pilot / "Edit" / "Reel 1.mvproj", "Reel");
    const std::string onShare = testsupport::ReadBytes(root / "Server" / "Scene 1.mvproj");
    fs::create_directories(root / "ana");
    std::ofstream(root / "ana" / "preferences.json") << R"({"shareProbeSeconds": 1})";
    ScriptedMarvane ana({"--production", pilot.string(), "--profile", (root / "ana").string(),
                         "--user", "Ana Ruiz"});
    ASSERT_EQ(ana.ReadLine(), "ready") << ana.ErrorOutput();
    ASSERT_EQ(ana.SendUntil({"ui", "rows", kTree}, "ok count=2 Edit|Scene 1"),
              "ok count=2 Edit|Scene 1");
    ASSERT_EQ(ana.Send({"ui", "open", kTree, "Edit"}), "ok");
    ASSERT_EQ(ana.Send({"open", scene.string()}), "ok");
    ASSERT_EQ(ana.Send({"add-sequence", scene.string(), "Cut made as the share went"}), "ok");

    ASSERT_TRUE(share.Unmount());
    const std::string banner =
        ana.SendUntilHolding({"ui", "text", "ProductionBanner"}, "cannot be reached");
    EXPECT_NE(banner.find("mounted on the folder is gone"), std::string::npos) << banner;
    EXPECT_NE(banner.find("Unsaved changes of 1 project(s) are kept"), std::string::npos) << banner;
    // The rows stay as they were last seen, even once the folder beneath was looked at again.
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    EXPECT_EQ(ana.Send({"ui", "rows", kTree}), "ok count=3 Edit|>Reel 1|Scene 1");
    // A save has nowhere to go: nothing is written beneath the mount, the change stays open.
    const std::string saved = ana.Send({"save", scene.string()});
    EXPECT_EQ(saved.rfind("error ", 0), 0u) << saved;
    EXPECT_NE(saved.find("mounted on the folder is gone"), std::string::npos) << saved;
    EXPECT_TRUE(fs::is_empty(pilot));
    EXPECT_EQ(testsupport::ReadBytes(root / "Server" / "Scene 1.mvproj"), onShare);
    EXPECT_NE(ana.Send({"status", scene.string()}).find("modified=1"), std::string::npos);
    // Nor does a new project or a new folder land there.
    ASSERT_EQ(ana.Send({"text", "Scene 2"}), "ok");
    EXPECT_EQ(ana.Send({"command", "cmd.mvproductionfolder.newproject"}), "ok");
    EXPECT_EQ(ana.Send({"dialogs"}), "ok count=1 last=Cannot Make a New Project");
    ASSERT_EQ(ana.Send({"text", "Rushes"}), "ok");
    EXPECT_EQ(ana.Send({"command", "cmd.mediabrowser.newfolder"}), "ok");
    EXPECT_TRUE(fs::is_empty(pilot));

    // Mounted again, as the share's client started anew: the production comes back by itself.
    ASSERT_EQ(share.Mount(), "");
    EXPECT_EQ(ana.SendUntil({"ui", "text", "ProductionBanner"}, "ok "), "ok ");
    EXPECT_EQ(ana.SendUntil({"ui", "rows", kTree}, "ok count=3 Edit|>Reel 1|Scene 1"),
              "ok count=3 Edit|>Reel 1|Scene 1");
    EXPECT_NE(ana.Send({"status", scene.string()}).find("read-only=0"), std::string::npos);
    EXPECT_EQ(ana.Send({"save", scene.string()}), "ok");
    EXPECT_NE(testsupport::ReadBytes(scene).find("Cut made as the share went"), std::string::npos);
    EXPECT_EQ(ana.Send({"quit"}), "ok");
    EXPECT_EQ(ana.Finish(), 0) << ana.ErrorOutput();
}

// The editor opens the folder beneath on purpose while the production cannot be reached: the
// outage's banner goes, and the panel shows that folder and follows it again.
TEST(MountGoesAwayTest, OpeningTheFolderBeneathOnPurposeEndsTheOutage) {
    const testsupport::TemporaryFolder temporary{"e2e-mount-beneath"};
    const fs::path root = temporary.Path();
    const fs::path pilot = root / "Pilot";
    fs::create_directories(pilot);
    testsupport::TmpfsMount share(pilot);
    if (const std::string why = share.Mount(); !why.empty()) {
        GTEST_SKIP() << why;
    }
    WriteProject(pilot / "Scene 1.mvproj", "Assembly");
    fs::create_directories(root / "ana");
    std::ofstream(root / "ana" / "preferences.json") << R"({"shareProbeSeconds": 1})";
    ScriptedMarvane ana({"--production", pilot.string(), "--profile", (root / "ana").string(),
                         "--user", "Ana Ruiz"});
    ASSERT_EQ(ana.ReadLine(), "ready") << ana.ErrorOutput();
    ASSERT_EQ(ana.SendUntil({"ui", "rows", kTree}, "ok count=1 Scene 1"), "ok count=1 Scene 1");
    ASSERT_TRUE(share.Unmount());
    const std::string banner =
        ana.SendUntilHolding({"ui", "text", "ProductionBanner"}, "cannot be reached");
    ASSERT_NE(banner.find("mounted on the folder is gone"), std::string::npos) << banner;

    EXPECT_EQ(ana.Send({"ui", "trigger", "OpenRecentMenu", "Pilot"}), "ok");
    EXPECT_EQ(ana.SendUntil({"ui", "text", "ProductionBanner"}, "ok "), "ok ");
    EXPECT_EQ(ana.SendUntil({"ui", "rows", kTree}, "ok count=0 "), "ok count=0 ");
    // The panel is not paused any more: what is made in the folder shows.
    WriteProject(pilot / "Beneath.mvproj", "Here on purpose");
    EXPECT_EQ(ana.SendUntil({"ui", "rows", kTree}, "ok count=1 Beneath"), "ok count=1 Beneath");
    EXPECT_EQ(ana.Send({"quit"}), "ok");
    EXPECT_EQ(ana.Finish(), 0) << ana.ErrorOutput();
}

} // namespace
