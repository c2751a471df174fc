// marvane killed with SIGKILL in the middle of its work: the next start leaves no hidden
// half-written file in the production, on a local disk and on an SMB share (Samba on
// 127.0.0.1, mounted with smbnetfs).
#include "E2eProjects.h"
#include "ScriptedMarvane.h"
#include "Shares.h"
#include "TemporaryFolder.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <iostream>
#include <random>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace e2e;

int HiddenWorkFilesBelow(const fs::path& folder) {
    int count = 0;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        count += name.starts_with(".mv-write") || name.find(".adding.") != std::string::npos;
    }
    return count;
}

class KilledRunsTest : public ::testing::TestWithParam<std::string> {};

TEST_P(KilledRunsTest, HiddenFilesOfSavesCutShortByAKillAreGoneAfterTheNextStart) {
    const testsupport::TemporaryFolder temporary{"e2e-killed-runs"};
    testsupport::SmbShare share;
    fs::path production = temporary.Path() / "Pilot";
    if (GetParam() == testsupport::kSmb) {
        if (const std::string why = testsupport::NetworkShare::WhyUnavailable(); !why.empty()) {
            GTEST_SKIP() << why;
        }
        fs::create_directories(temporary.Path() / "Export" / "Pilot");
        ASSERT_EQ(share.Start(temporary.Path() / "Export", temporary.Path() / "smb"), "");
        production = share.Path() / "Pilot";
    }
    const fs::path profile = temporary.Path() / "ana";
    const fs::path scene = production / "Scene 12.mvproj";
    WriteProject(scene);
    const std::vector<std::string> arguments = {
        "--production", production.string(), "--profile", profile.string(), "--user", "Ana Ruiz"};
    std::mt19937 random(7);
    int leftBehind = 0;
    for (int round = 0; round < 20; ++round) {
        ScriptedMarvane ana(arguments);
        ASSERT_EQ(ana.ReadLine(), "ready") << ana.ErrorOutput();
        ASSERT_EQ(ana.Send({"open", scene.string()}), "ok") << ana.ErrorOutput();
        // Saves go out without waiting for their answers; the kill comes in the middle.
        for (int save = 0; save < 200; ++save) {
            ana.Post({"add-sequence", scene.string(), "Cut " + std::to_string(save)});
            ana.Post({"save", scene.string()});
        }
        std::this_thread::sleep_for(std::chrono::microseconds(static_cast<int>(random() % 20000)));
        ana.Signal(SIGKILL);
        ana.WaitForExit();
        leftBehind += HiddenWorkFilesBelow(production);
    }
    // How often a kill caught a save between its hidden file and its rename.
    std::cout << "[ counts   ] " << GetParam() << ": " << leftBehind
              << " hidden file(s) were left by 20 kills\n";

    ScriptedMarvane next(arguments);
    ASSERT_EQ(next.ReadLine(), "ready") << next.ErrorOutput();
    // The tidy-up runs beside the start, so that a share that does not answer cannot hold it.
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (HiddenWorkFilesBelow(production) != 0 && std::chrono::steady_clock::now() < until) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_EQ(HiddenWorkFilesBelow(production), 0);
    // The project is whole, and the lock the kills left is taken over by the same editor.
    ASSERT_EQ(next.Send({"open", scene.string()}), "ok") << next.ErrorOutput();
    EXPECT_EQ(next.Send({"status", scene.string()}).rfind("ok read-only=0", 0), 0u);
    EXPECT_EQ(next.Send({"quit"}), "ok");
    EXPECT_EQ(next.Finish(), 0) << next.ErrorOutput();
    EXPECT_FALSE(fs::exists(profile / "data" / "Temporary") &&
                 !fs::is_empty(profile / "data" / "Temporary"));
}

INSTANTIATE_TEST_SUITE_P(Places, KilledRunsTest,
                         ::testing::Values(std::string("local"), std::string(testsupport::kSmb)),
                         testsupport::ShareParamName());

} // namespace
