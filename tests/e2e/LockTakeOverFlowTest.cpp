// Locks left by a crash and locks of a machine that stopped answering, with real marvane
// processes: one on this machine, one on "another machine" (its own host name and boot id,
// given by Linux namespaces), both on one production folder, on a local disk and on an SMB
// share (Samba on 127.0.0.1, mounted with smbnetfs).
#include "E2eProjects.h"
#include "FileBytes.h"
#include "LockRecord.h"
#include "ScriptedMarvane.h"
#include "Shares.h"
#include "TemporaryFolder.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace e2e;
using testsupport::ReadBytes;

void Pause(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

// Why a second machine cannot be made here (namespaces refused), or empty.
std::string WhyNoSecondMachine() {
    const int result = std::system(
        "unshare --uts --mount --propagation private sh -c 'hostname edit-bay-2' 2>/dev/null");
    return result == 0 ? std::string()
                       : "this system refuses the namespaces a second machine needs (unshare "
                         "--uts --mount as root)";
}

constexpr const char* kLocal = "local";

class LockTakeOverFlowTest : public ::testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        if (GetParam() == testsupport::kSmb) {
            if (const std::string why = testsupport::NetworkShare::WhyUnavailable(); !why.empty()) {
                GTEST_SKIP() << why;
            }
            fs::create_directories(root / "Export" / "Pilot");
            ASSERT_EQ(share.Start(root / "Export", root / "smb"), "");
            production = share.Path() / "Pilot";
        }
        scene = production / "Scene 1.mvproj";
        WriteProject(scene, "Assembly");
        std::ofstream(root / "other-boot-id") << "0b0b0b0b-1111-2222-3333-444455556666\n";
    }
    void Preferences(const std::string& user, const nlohmann::json& preferences) const {
        fs::create_directories(root / user);
        std::ofstream(root / user / "preferences.json") << preferences.dump();
    }
    std::unique_ptr<ScriptedMarvane> Start(const std::string& user, bool otherMachine = false) {
        std::vector<std::string> launcher;
        if (otherMachine) {
            // Another host name and another boot id: what another editing machine's
            // marvane writes into its locks.
            launcher = {"unshare",
                        "--uts",
                        "--mount",
                        "--propagation",
                        "private",
                        "sh",
                        "-c",
                        "hostname edit-bay-2 && mount --bind '" +
                            (root / "other-boot-id").string() +
                            "' /proc/sys/kernel/random/boot_id && exec \"$0\" \"$@\""};
        }
        auto editor = std::make_unique<ScriptedMarvane>(
            std::vector<std::string>{"--production", production.string(), "--profile",
                                     (root / user).string(), "--user", user},
            std::vector<std::string>{}, launcher);
        EXPECT_EQ(editor->ReadLine(), "ready") << editor->ErrorOutput();
        return editor;
    }
    std::vector<nlohmann::json> Record() const { return LockRecord(production); }
    int RecoveryCopiesHolding(const std::string& user, const std::string& text) const {
        int copies = 0;
        std::error_code error;
        for (const auto& entry : fs::directory_iterator(root / user / "data" / "Recovery", error)) {
            if (entry.path().extension() == ".mvproj" &&
                ReadBytes(entry.path()).find(text) != std::string::npos) {
                ++copies;
            }
        }
        return copies;
    }

    void TearDown() override { share.Stop(); }

    const testsupport::TemporaryFolder temporary{"e2e-takeover"};
    const fs::path root = temporary.Path();
    fs::path production = root / "Pilot";
    fs::path scene;
    testsupport::SmbShare share;
};

TEST_P(LockTakeOverFlowTest, AfterAKillTheOtherEditorTakesOverAndTheHolderFindsItTakenOver) {
    auto ana = Start("Ana Ruiz");
    ASSERT_EQ(ana->Send({"open", scene.string()}), "ok");
    ASSERT_TRUE(fs::exists(scene.string() + ".lock"));
    ana->Signal(SIGKILL);
    ana->WaitForExit();

    auto ben = Start("Ben Okafor");
    ASSERT_EQ(ben->Send({"open", scene.string()}), "ok");
    EXPECT_EQ(ben->Send({"status", scene.string()}).rfind("ok read-only=1", 0), 0u);
    const std::string offered = ben->Send({"lock", scene.string()});
    EXPECT_EQ(offered.rfind("ok offer=take-over", 0), 0u) << offered;
    EXPECT_NE(offered.find("Ana Ruiz's marvane on this machine is no longer running"),
              std::string::npos)
        << offered;
    const std::string taken = ben->Send({"take-over", scene.string()});
    EXPECT_EQ(taken, "ok offer=none mode=Read-write: you hold the lock.") << taken;
    EXPECT_EQ(ben->Send({"add-sequence", scene.string(), "Ben's Cut"}), "ok");
    EXPECT_EQ(ben->Send({"save", scene.string()}), "ok");
    ASSERT_EQ(Record().size(), 1u);
    EXPECT_EQ(Record()[0].at("how"), "take over");
    EXPECT_EQ(Record()[0].at("by"), "Ben Okafor");
    EXPECT_EQ(Record()[0].at("lock").at("lockingName"), "Ana Ruiz");

    // Ana starts again on the same machine: the project is Ben's now.
    auto again = Start("Ana Ruiz");
    ASSERT_EQ(again->Send({"open", scene.string()}), "ok");
    const std::string status = again->Send({"status", scene.string()});
    EXPECT_EQ(status.rfind("ok read-only=1", 0), 0u) << status;
    EXPECT_NE(status.find("holder=Ben Okafor"), std::string::npos) << status;
    EXPECT_EQ(again->Send({"lock", scene.string()}).rfind("ok offer=none", 0), 0u);
    EXPECT_EQ(again->Finish(), 0) << again->ErrorOutput();
    EXPECT_EQ(ben->Finish(), 0) << ben->ErrorOutput();
    EXPECT_FALSE(fs::exists(scene.string() + ".lock"));
}

TEST_P(LockTakeOverFlowTest, ASilentHolderOnAnotherMachineIsBrokenAndNeverWritesAgain) {
    if (const std::string why = WhyNoSecondMachine(); !why.empty()) {
        GTEST_SKIP() << why;
    }
    Preferences("Chloe Diaz", {{"heartbeatSeconds", 1}});
    Preferences("Ana Ruiz", {{"silentLockSeconds", 2}});
    auto chloe = Start("Chloe Diaz", true);
    ASSERT_EQ(chloe->Send({"open", scene.string()}), "ok");
    ASSERT_EQ(chloe->Send({"add-sequence", scene.string(), "Chloe's Unsaved Cut"}), "ok");
    const std::string before = ReadBytes(scene);
    // Chloe's machine stops answering: her marvane is frozen, her heartbeat stops.
    chloe->Signal(SIGSTOP);
    Pause(3500);

    auto ana = Start("Ana Ruiz");
    ASSERT_EQ(ana->Send({"open", scene.string()}), "ok");
    const std::string offered = ana->Send({"lock", scene.string()});
    EXPECT_EQ(offered.rfind("ok offer=break-lock", 0), 0u) << offered;
    EXPECT_NE(offered.find("Locked by Chloe Diaz on edit-bay-2, last seen"), std::string::npos)
        << offered;
    ASSERT_EQ(ana->Send({"answer", "0"}), "ok"); // the confirmation: Break Lock
    const std::string broken = ana->Send({"break-lock", scene.string()});
    EXPECT_EQ(broken, "ok offer=none mode=Read-write: you hold the lock.") << broken;
    EXPECT_EQ(ana->Send({"dialogs"}), "ok count=1 last=Break Lock");
    ASSERT_EQ(Record().size(), 1u);
    EXPECT_EQ(Record()[0].at("how"), "break lock");
    EXPECT_EQ(Record()[0].at("by"), "Ana Ruiz");
    EXPECT_EQ(Record()[0].at("lock").at("lockingName"), "Chloe Diaz");
    EXPECT_EQ(Record()[0].at("lock").at("hostName"), "edit-bay-2");

    // Chloe's machine comes back: at its next heartbeat her marvane learns the project is
    // Ana's, keeps her changes apart and never writes the project.
    chloe->Signal(SIGCONT);
    std::string status;
    for (int attempt = 0; attempt < 100; ++attempt) {
        status = chloe->Send({"status", scene.string()});
        if (status.rfind("ok read-only=1", 0) == 0) {
            break;
        }
        Pause(100);
    }
    EXPECT_EQ(status.rfind("ok read-only=1", 0), 0u) << status;
    EXPECT_NE(status.find("holder=Ana Ruiz"), std::string::npos) << status;
    EXPECT_EQ(chloe->Send({"dialogs"}), "ok count=1 last=Project Taken Over");
    EXPECT_EQ(chloe->Send({"save", scene.string()}).rfind("error", 0), 0u);
    EXPECT_EQ(ReadBytes(scene), before);
    EXPECT_EQ(RecoveryCopiesHolding("Chloe Diaz", "Chloe's Unsaved Cut"), 1);
    EXPECT_EQ(chloe->Finish(), 0) << chloe->ErrorOutput();
    EXPECT_EQ(ana->Finish(), 0) << ana->ErrorOutput();
    EXPECT_FALSE(fs::exists(scene.string() + ".lock"));
}

INSTANTIATE_TEST_SUITE_P(Places, LockTakeOverFlowTest,
                         ::testing::Values(std::string(kLocal), std::string(testsupport::kSmb)),
                         testsupport::ShareParamName());

} // namespace
