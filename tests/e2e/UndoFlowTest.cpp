// Edit > Undo in the real marvane, with a second editor's marvane changing the production
// between a step and its undoing.
#include "FileBytes.h"
#include "TwoEditorsOnPilot.h"

#include <chrono>
#include <filesystem>
#include <gtest/gtest.h>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace e2e;

class UndoFlowTest : public TwoEditorsOnPilot {
protected:
    UndoFlowTest() : TwoEditorsOnPilot("e2e-undo") {}
};

TEST_F(UndoFlowTest, AMoveToTrashIsNotUndoneOverTheNewItemAnotherEditorMadeThere) {
    auto ana = Start("Ana Ruiz");
    auto ben = Start("Ben Okafor");
    const std::string hers = testsupport::ReadBytes(shot);
    ASSERT_EQ(ana->Send({"move-to-trash", shot.string()}), "ok allowed");
    const fs::path trashed = production / "Trash" / "Shot 1.mvproj";
    ASSERT_TRUE(fs::exists(trashed));
    const std::string menu = ana->Send({"ui", "actions", "EditMenu"});
    EXPECT_NE(menu.find("Undo Move to Trash of \"Shot 1\""), std::string::npos) << menu;

    // Meanwhile Ben makes a new "Shot 1" where hers was.
    ASSERT_EQ(ben->SendUntil({"ui", "select", kTree, "Dailies"}, "ok"), "ok");
    ASSERT_EQ(ben->Send({"text", "Shot 1"}), "ok");
    ASSERT_EQ(ben->Send({"command", "cmd.mvproductionfolder.newproject"}), "ok");
    ASSERT_TRUE(fs::exists(shot));
    const std::string his = testsupport::ReadBytes(shot);

    // Her undo says why and writes over nothing.
    EXPECT_EQ(ana->Send({"command", "cmd.edit.undo"}), "ok");
    EXPECT_EQ(ana->Send({"last-dialog"}),
              "ok Cannot Undo\t\"Shot 1\" cannot go back: \"Dailies\" already holds an item "
              "named \"Shot 1.mvproj\".\t");
    EXPECT_EQ(testsupport::ReadBytes(shot), his);
    EXPECT_EQ(testsupport::ReadBytes(trashed), hers);

    // Once Ben has put his in the trash too, hers goes back.
    ASSERT_EQ(ben->Send({"move-to-trash", shot.string()}), "ok allowed");
    ASSERT_FALSE(fs::exists(shot));
    EXPECT_EQ(ana->Send({"command", "cmd.edit.undo"}), "ok");
    EXPECT_EQ(testsupport::ReadBytes(shot), hers);
    EXPECT_EQ(testsupport::ReadBytes(production / "Trash" / "Shot 1_1.mvproj"), his);
    EXPECT_EQ(ana->Send({"dialogs"}), "ok count=1 last=Cannot Undo") << "no second refusal";

    Finish(*ana);
    Finish(*ben);
}

TEST_F(UndoFlowTest, AMoveIsNotUndoneWhileAnotherEditorHasTheProjectOpen) {
    auto ana = Start("Ana Ruiz");
    auto ben = Start("Ben Okafor");
    ASSERT_EQ(ana->SendUntil({"ui", "select", kTree, "Scene 4"}, "ok"), "ok");
    ASSERT_EQ(ana->Send({"command", "cmd.edit.cut"}), "ok");
    ASSERT_EQ(ana->Send({"ui", "select", kTree, "Dailies"}), "ok");
    ASSERT_EQ(ana->Send({"command", "cmd.edit.paste"}), "ok");
    const fs::path moved = production / "Dailies" / "Scene 4.mvproj";
    ASSERT_TRUE(fs::exists(moved));
    // Ana's move holds the project while it carries it; Ben opens it once she let go (else
    // he would open it read-only, without a lock).
    const fs::path lock = moved.string() + ".lock";
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (fs::exists(lock) && std::chrono::steady_clock::now() < until) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ASSERT_FALSE(fs::exists(lock)) << "Ana's move never let go of the project";

    ASSERT_EQ(ben->Send({"open", moved.string()}), "ok") << ben->ErrorOutput();
    ASSERT_TRUE(fs::exists(lock)) << "Ben holds it";
    EXPECT_EQ(ana->Send({"command", "cmd.edit.undo"}), "ok");
    EXPECT_EQ(ana->Send({"last-dialog"}), "ok Cannot Undo\t\"Scene 4\" is open by Ben Okafor.\t");
    EXPECT_TRUE(fs::exists(moved));

    ASSERT_EQ(ben->Send({"close", moved.string()}), "ok");
    EXPECT_EQ(ana->Send({"command", "cmd.edit.undo"}), "ok");
    EXPECT_TRUE(fs::exists(production / "Scene 4.mvproj"));
    EXPECT_FALSE(fs::exists(moved));
    EXPECT_EQ(ana->Send({"command", "cmd.edit.undo"}), "error disabled") << "nothing more to undo";

    Finish(*ana);
    Finish(*ben);
}

TEST_F(UndoFlowTest, ANewFolderIsNotTakenAwayOnceAnotherEditorPutAProjectInIt) {
    auto ana = Start("Ana Ruiz");
    auto ben = Start("Ben Okafor");
    ASSERT_EQ(ana->Send({"text", "Music"}), "ok");
    ASSERT_EQ(ana->Send({"command", "cmd.mediabrowser.newfolder"}), "ok");
    ASSERT_TRUE(fs::is_directory(production / "Music"));

    ASSERT_EQ(ben->SendUntil({"ui", "select", kTree, "Music"}, "ok"), "ok");
    ASSERT_EQ(ben->Send({"text", "Cue 1"}), "ok");
    ASSERT_EQ(ben->Send({"command", "cmd.mvproductionfolder.newproject"}), "ok");
    ASSERT_TRUE(fs::exists(production / "Music" / "Cue 1.mvproj"));

    EXPECT_EQ(ana->Send({"command", "cmd.edit.undo"}), "ok");
    EXPECT_EQ(ana->Send({"last-dialog"}),
              "ok Cannot Undo\t\"Music\" is no longer empty: something was put in it.\t");
    EXPECT_TRUE(fs::exists(production / "Music" / "Cue 1.mvproj"));

    Finish(*ana);
    Finish(*ben);
}

} // namespace
