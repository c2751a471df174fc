// The panel's commands in the real marvane, carried out as their menu items are (status asked
// through the command chain, then carried out), with a second editor's marvane watching.
#include "E2eProjects.h"
#include "ScriptedMarvane.h"
#include "TemporaryFolder.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace e2e;

class PanelCommandsFlowTest : public ::testing::Test {
protected:
    void SetUp() override {
        WriteProject(production / "Scene 4.mvproj");
        WriteProject(production / "Dailies" / "Shot 1.mvproj");
        fs::create_directories(production / "Trash");
    }
    std::unique_ptr<ScriptedMarvane> Start(const std::string& user) const {
        return StartEditorOn(production, root, user);
    }

    const testsupport::TemporaryFolder temporary{"e2e-commands"};
    const fs::path root = temporary.Path();
    const fs::path production = root / "Pilot";
};

TEST_F(PanelCommandsFlowTest, AFolderAProjectATrashMoveAndTheReadOnlyToggleAsAnEditorDoesThem) {
    auto ana = Start("Ana Ruiz");
    ASSERT_EQ(ana->SendUntil({"ui", "rows", kTree}, "ok count=3 Dailies|Scene 4|Trash"),
              "ok count=3 Dailies|Scene 4|Trash");
    ASSERT_EQ(ana->Send({"ui", "focus", kTree}), "ok");

    // New Folder: a name that exists is refused and asked again.
    ASSERT_EQ(ana->Send({"text", "Dailies"}), "ok");
    ASSERT_EQ(ana->Send({"text", "Rushes"}), "ok");
    EXPECT_EQ(ana->Send({"command", "cmd.mediabrowser.newfolder"}), "ok");
    EXPECT_EQ(ana->Send({"dialogs"}), "ok count=1 last=Directory Exists");
    EXPECT_TRUE(fs::is_directory(production / "Rushes"));
    EXPECT_EQ(ana->SendUntil({"ui", "rows", kTree}, "ok count=4 Dailies|Rushes|Scene 4|Trash"),
              "ok count=4 Dailies|Rushes|Scene 4|Trash");

    // New Project in the selected folder, under the name it offers.
    ASSERT_EQ(ana->Send({"ui", "select", kTree, "Rushes"}), "ok");
    ASSERT_EQ(ana->Send({"text", "Untitled Project"}), "ok");
    EXPECT_EQ(ana->Send({"command", "cmd.mvproductionfolder.newproject"}), "ok");
    EXPECT_TRUE(fs::exists(production / "Rushes" / "Untitled Project.mvproj"));

    // Two copies in one command: each beside its original under a name of its own.
    ASSERT_EQ(ana->SendUntil({"ui", "select", kTree, "Scene 4", "Rushes"}, "ok"), "ok");
    EXPECT_EQ(ana->Send({"command", "cmd.mvproductionfolder.makeacopy"}), "ok");
    for (int attempt = 0; attempt < 200; ++attempt) {
        if (fs::exists(production / "Scene 4_1.mvproj") &&
            fs::exists(production / "Rushes_1" / "Untitled Project.mvproj")) {
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    EXPECT_TRUE(fs::exists(production / "Scene 4_1.mvproj"));
    EXPECT_TRUE(fs::exists(production / "Rushes_1" / "Untitled Project.mvproj"));
    EXPECT_TRUE(fs::exists(production / "Rushes" / "Untitled Project.mvproj"));

    // A folder to the trash; the trash itself cannot go there.
    ASSERT_EQ(ana->Send({"ui", "select", kTree, "Dailies"}), "ok");
    EXPECT_EQ(ana->Send({"command", "cmd.mvproductionfolder.movetotrash"}), "ok");
    EXPECT_TRUE(fs::exists(production / "Trash" / "Dailies" / "Shot 1.mvproj"));
    EXPECT_FALSE(fs::exists(production / "Dailies"));
    ASSERT_EQ(ana->SendUntil({"ui", "select", kTree, "Trash"}, "ok"), "ok");
    EXPECT_EQ(ana->Send({"command", "cmd.mvproductionfolder.movetotrash"}), "error disabled");

    // The read-only toggle: Ben sees Ana's lock, then sees it go.
    const std::string scene = (production / "Scene 4.mvproj").string();
    ASSERT_EQ(ana->Send({"open", scene}), "ok");
    auto ben = Start("Ben Okafor");
    ASSERT_EQ(ben->Send({"open", scene}), "ok");
    EXPECT_EQ(ben->Send({"status", scene}),
              "ok read-only=1 out-of-date=0 modified=0 holder=Ana Ruiz sequences=Sequence 1");
    ASSERT_EQ(ben->Send({"close", scene}), "ok");
    ASSERT_EQ(ana->Send({"ui", "select", kTree, "Scene 4"}), "ok");
    EXPECT_EQ(ana->Send({"command", "cmd.mvproductionfolder.togglelock"}), "ok");
    EXPECT_EQ(ana->Send({"status", scene}).rfind("ok read-only=1", 0), 0u);
    ASSERT_EQ(ben->Send({"open", scene}), "ok");
    EXPECT_EQ(ben->Send({"status", scene}),
              "ok read-only=0 out-of-date=0 modified=0 holder=Ben Okafor sequences=Sequence 1");
    // Now Ben holds it: Ana cannot switch back to read-write.
    EXPECT_EQ(ana->Send({"command", "cmd.mvproductionfolder.togglelock"}), "error disabled");

    EXPECT_EQ(ben->Finish(), 0) << ben->ErrorOutput();
    EXPECT_EQ(ana->Finish(), 0) << ana->ErrorOutput();
}

} // namespace
