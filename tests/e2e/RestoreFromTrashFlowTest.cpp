// Restore from Trash in the real marvane, with a second editor's marvane changing the
// production between the move to the trash and the restore.
#include "FileBytes.h"
#include "TwoEditorsOnPilot.h"

#include <chrono>
#include <filesystem>
#include <gtest/gtest.h>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace e2e;

class RestoreFromTrashFlowTest : public TwoEditorsOnPilot {
protected:
    RestoreFromTrashFlowTest() : TwoEditorsOnPilot("e2e-restore") {}
};

TEST_F(RestoreFromTrashFlowTest, AnItemWhoseNameWasTakenMeanwhileGoesBackBesideItOnlyIfAsked) {
    auto ana = Start("Ana Ruiz");
    auto ben = Start("Ben Okafor");
    const std::string taken = testsupport::ReadBytes(shot);
    ASSERT_EQ(ana->Send({"move-to-trash", shot.string()}), "ok allowed");
    ASSERT_TRUE(fs::exists(production / "Trash" / "Shot 1.mvproj"));

    // Meanwhile Ben makes a new "Shot 1" where it was.
    ASSERT_EQ(ben->SendUntil({"ui", "select", kTree, "Dailies"}, "ok"), "ok");
    ASSERT_EQ(ben->Send({"text", "Shot 1"}), "ok");
    ASSERT_EQ(ben->Send({"command", "cmd.mvproductionfolder.newproject"}), "ok");
    ASSERT_TRUE(fs::exists(shot));
    const std::string bens = testsupport::ReadBytes(shot);

    // Ana's restore says why it cannot go back as it was; left in the trash, nothing moves.
    ASSERT_EQ(ana->Send({"ui", "open", kTree, "Trash"}), "ok");
    ASSERT_EQ(ana->SendUntil({"ui", "select", kTree, "Shot 1"}, "ok"), "ok");
    ASSERT_EQ(ana->Send({"answer", "1"}), "ok"); // Leave in Trash
    EXPECT_EQ(ana->Send({"command", "cmd.edit.restorefromtrash"}), "ok");
    EXPECT_EQ(ana->Send({"last-dialog"}),
              "ok Put Back Another Way?\t\"Shot 1.mvproj\" cannot be put back: \"Dailies\" "
              "already holds an item named \"Shot 1.mvproj\".\t");
    EXPECT_EQ(testsupport::ReadBytes(shot), bens);
    EXPECT_EQ(testsupport::ReadBytes(production / "Trash" / "Shot 1.mvproj"), taken);

    // Asked again, Keep Both: hers goes back beside his under a numbered name.
    ASSERT_EQ(ana->SendUntil({"ui", "select", kTree, "Shot 1"}, "ok"), "ok");
    ASSERT_EQ(ana->Send({"answer", "0"}), "ok"); // Keep Both
    EXPECT_EQ(ana->Send({"command", "cmd.edit.restorefromtrash"}), "ok");
    EXPECT_EQ(ana->Send({"dialogs"}), "ok count=2 last=Put Back Another Way?") << "no refusal";
    EXPECT_EQ(testsupport::ReadBytes(shot), bens);
    EXPECT_EQ(testsupport::ReadBytes(production / "Dailies" / "Shot 1_1.mvproj"), taken);
    EXPECT_FALSE(fs::exists(production / "Trash" / "Shot 1.mvproj"));

    EXPECT_EQ(ana->Send({"quit"}), "ok");
    EXPECT_EQ(ben->Send({"quit"}), "ok");
    EXPECT_EQ(ana->Finish(), 0) << ana->ErrorOutput();
    EXPECT_EQ(ben->Finish(), 0) << ben->ErrorOutput();
}

TEST_F(RestoreFromTrashFlowTest, RestoreIsOffUnlessTheSelectionIsInTheTrash) {
    auto ana = Start("Ana Ruiz");
    ASSERT_EQ(ana->SendUntil({"ui", "select", kTree, "Scene 4"}, "ok"), "ok");
    EXPECT_EQ(ana->Send({"command", "cmd.edit.restorefromtrash"}), "error disabled");
    EXPECT_TRUE(fs::exists(production / "Scene 4.mvproj"));
    EXPECT_EQ(ana->Send({"quit"}), "ok");
    EXPECT_EQ(ana->Finish(), 0) << ana->ErrorOutput();
}

TEST_F(RestoreFromTrashFlowTest, EmptyTrashAsksThenKeepsTheProjectAnotherEditorHolds) {
    auto ana = Start("Ana Ruiz");
    auto ben = Start("Ben Okafor");
    ASSERT_EQ(ana->Send({"move-to-trash", shot.string()}), "ok allowed");
    ASSERT_EQ(ana->Send({"move-to-trash", (production / "Scene 4.mvproj").string()}), "ok allowed");
    // Ben opens Scene 4 where it lies now, in the trash: he holds it. (Ana's move holds it
    // for a moment too: Ben waits until she lets go, or he would open it read-only.)
    const fs::path held = production / "Trash" / "Scene 4.mvproj";
    const fs::path lock = production / "Trash" / "Scene 4.mvproj.lock";
    for (int attempt = 0; attempt < 200 && fs::exists(lock); ++attempt) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    ASSERT_FALSE(fs::exists(lock)) << "Ana's move kept its lock";
    ASSERT_EQ(ben->Send({"open", held.string()}), "ok");
    ASSERT_EQ(ben->Send({"status", held.string()}).rfind("ok read-only=0", 0), 0u);
    ASSERT_TRUE(fs::exists(lock));

    // Cancelled, nothing goes.
    ASSERT_EQ(ana->SendUntil({"ui", "select", kTree, "Trash"}, "ok"), "ok");
    ASSERT_EQ(ana->Send({"answer", "1"}), "ok");
    EXPECT_EQ(ana->Send({"command", "cmd.edit.emptytrash"}), "ok");
    EXPECT_EQ(ana->Send({"last-dialog"})
                  .rfind("ok Empty Trash\tRemove the 2 item(s) in the trash "
                         "of \"Pilot\" for good?",
                         0),
              0u);
    EXPECT_TRUE(fs::exists(production / "Trash" / "Shot 1.mvproj"));

    // Emptied: Shot 1 goes, Ben's Scene 4 stays, and Ana is told so.
    ASSERT_EQ(ana->Send({"answer", "0"}), "ok");
    EXPECT_EQ(ana->Send({"command", "cmd.edit.emptytrash"}), "ok");
    EXPECT_NE(
        ana->Send({"last-dialog"}).find("Kept because someone holds them: \"Scene 4.mvproj\""),
        std::string::npos);
    EXPECT_FALSE(fs::exists(production / "Trash" / "Shot 1.mvproj"));
    EXPECT_TRUE(fs::exists(held));
    EXPECT_EQ(ben->Send({"status", held.string()}).rfind("ok read-only=0", 0), 0u);

    EXPECT_EQ(ana->Send({"quit"}), "ok");
    EXPECT_EQ(ben->Send({"quit"}), "ok");
    EXPECT_EQ(ana->Finish(), 0) << ana->ErrorOutput();
    EXPECT_EQ(ben->Finish(), 0) << ben->ErrorOutput();
}

} // namespace
