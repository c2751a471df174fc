// Editors on a real SMB share (Samba on 127.0.0.1, mounted with smbnetfs), each a real marvane
// process: colleagues reading a lock never keep it on the share after its holder quits, and a
// lock left by a killed marvane is taken over, recorded, and given back when the taker quits.
#include "E2eProjects.h"
#include "LockRecord.h"
#include "ScriptedMarvane.h"
#include "SmbShare.h"
#include "TemporaryFolder.h"

#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace e2e;

class SmbFlowTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (const std::string why = testsupport::NetworkShare::WhyUnavailable(); !why.empty()) {
            GTEST_SKIP() << why;
        }
        WriteProject(exported / "Pilot" / "Scene 1.mvproj", "Assembly");
        ASSERT_EQ(share.Start(exported, root / "work"), "");
        production = share.Path() / "Pilot";
        scene = production / "Scene 1.mvproj";
    }
    void TearDown() override { share.Stop(); }

    std::unique_ptr<ScriptedMarvane> Start(const std::string& user) {
        auto editor = std::make_unique<ScriptedMarvane>(
            std::vector<std::string>{"--production", production.string(), "--profile",
                                     (root / user).string(), "--user", user});
        EXPECT_EQ(editor->ReadLine(), "ready") << editor->ErrorOutput();
        return editor;
    }
    bool LockOnTheShare() const { return fs::exists(exported / "Pilot" / "Scene 1.mvproj.lock"); }

    const testsupport::TemporaryFolder temporary{"e2e-smb"};
    const fs::path root = temporary.Path();
    const fs::path exported = root / "Export";
    fs::path production;
    fs::path scene;
    testsupport::SmbShare share;
};

TEST_F(SmbFlowTest, OneWriterAndThreeReadersLeaveNoLockWhenTheyQuit) {
    constexpr int kRounds = 20;
    int strandedAtQuit = 0;
    int strandedAtClose = 0;
    for (int round = 0; round < kRounds; ++round) {
        std::vector<std::unique_ptr<ScriptedMarvane>> editors;
        for (const char* user : {"Ana Ruiz", "Ben Okafor", "Chloe Diaz", "Dan Wu"}) {
            editors.push_back(Start(user));
            ASSERT_EQ(editors.back()->Send({"open", scene.string()}), "ok")
                << editors.back()->ErrorOutput();
        }
        ASSERT_EQ(editors[0]->Send({"status", scene.string()}).rfind("ok read-only=0", 0), 0u);
        ASSERT_EQ(editors[1]->Send({"status", scene.string()}).rfind("ok read-only=1", 0), 0u);
        if (round % 2 == 0) {
            // Everyone quits at once.
            for (const auto& editor : editors) {
                ASSERT_TRUE(editor->Post({"quit"}));
            }
            for (const auto& editor : editors) {
                EXPECT_EQ(editor->Finish(), 0) << editor->ErrorOutput();
            }
            strandedAtQuit += LockOnTheShare() ? 1 : 0;
        } else {
            // The writer closes while the others keep the project open read-only and look.
            ASSERT_TRUE(editors[0]->Post({"close", scene.string()}));
            for (int look = 0; look < 5; ++look) {
                for (std::size_t other = 1; other < editors.size(); ++other) {
                    editors[other]->Send({"lock", scene.string()});
                }
            }
            EXPECT_EQ(editors[0]->ReadLine(), "ok");
            strandedAtClose += LockOnTheShare() ? 1 : 0;
            for (const auto& editor : editors) {
                EXPECT_EQ(editor->Finish(), 0) << editor->ErrorOutput();
            }
        }
        ASSERT_FALSE(LockOnTheShare()) << "round " << round;
    }
    EXPECT_EQ(strandedAtQuit + strandedAtClose, 0);
    std::cout << "[ counts   ] " << strandedAtQuit << " of " << kRounds / 2
              << " rounds left the lock when all quit; " << strandedAtClose << " of " << kRounds / 2
              << " when the writer closed while three colleagues looked\n";
}

TEST_F(SmbFlowTest, AKilledHoldersLockIsTakenOverRecordedAndGivenBackAtQuit) {
    auto ana = Start("Ana Ruiz");
    ASSERT_EQ(ana->Send({"open", scene.string()}), "ok");
    ASSERT_TRUE(LockOnTheShare());
    ana->Signal(SIGKILL);
    ana->WaitForExit();

    auto ben = Start("Ben Okafor");
    // The window says what the production lies on, from the mount table, not from FUSE.
    const std::string centre = ben->Send({"ui", "text", "CentreText"});
    EXPECT_NE(centre.find("It lies on: SMB share."), std::string::npos) << centre;
    ASSERT_EQ(ben->Send({"open", scene.string()}), "ok");
    const std::string offered = ben->Send({"lock", scene.string()});
    EXPECT_EQ(offered.rfind("ok offer=take-over", 0), 0u) << offered;
    const std::string taken = ben->Send({"take-over", scene.string()});
    EXPECT_EQ(taken, "ok offer=none mode=Read-write: you hold the lock.") << taken;
    EXPECT_EQ(ben->Send({"add-sequence", scene.string(), "Ben's Cut"}), "ok");
    EXPECT_EQ(ben->Send({"save", scene.string()}), "ok");
    const std::vector<nlohmann::json> record = LockRecord(exported / "Pilot");
    ASSERT_EQ(record.size(), 1u);
    EXPECT_EQ(record[0].at("how"), "take over");
    EXPECT_EQ(record[0].at("by"), "Ben Okafor");
    // The production still answers: the record did not make the client drop its connection.
    EXPECT_EQ(ben->Send({"ui", "rows", kTree}), "ok count=1 Scene 1");
    EXPECT_EQ(ben->Send({"quit"}), "ok");
    EXPECT_EQ(ben->Finish(), 0) << ben->ErrorOutput();
    EXPECT_FALSE(LockOnTheShare());
}

} // namespace
