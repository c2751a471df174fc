// An exception that nothing catches, thrown from the event loop of a real marvane by a
// module's callback: the run still keeps its unsaved changes and removes its lock before it
// aborts.
#include "E2eProjects.h"
#include "FileBytes.h"
#include "ScriptedMarvane.h"
#include "TemporaryFolder.h"

#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;
using testsupport::ReadBytes;

int RecoveryCopiesHolding(const fs::path& profile, const std::string& text) {
    int copies = 0;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(profile / "data" / "Recovery", error)) {
        if (entry.path().extension() == ".mvproj" &&
            ReadBytes(entry.path()).find(text) != std::string::npos) {
            ++copies;
        }
    }
    return copies;
}

TEST(EmergencyStopTest, AnUncaughtExceptionKeepsUnsavedChangesAndRemovesTheLockBeforeAborting) {
    const testsupport::TemporaryFolder temporary{"e2e-emergency"};
    const fs::path production = temporary.Path() / "Pilot";
    const fs::path scene = production / "Scene 12.mvproj";
    const fs::path profile = temporary.Path() / "Ana Ruiz";
    e2e::WriteProject(scene, "Scene 12 - Assembly");
    const std::string before = ReadBytes(scene);
    ScriptedMarvane ana({"--production", production.string(), "--profile", profile.string(),
                         "--user", "Ana Ruiz", "--plugins",
                         MARVANE_FIXTURE_DIR "/EscapingExceptionModule"});
    ASSERT_EQ(ana.ReadLine(), "ready") << ana.ErrorOutput();
    ASSERT_EQ(ana.Send({"open", scene.string()}), "ok") << ana.ErrorOutput();
    ASSERT_EQ(ana.Send({"add-sequence", scene.string(), "Unsaved Cut"}), "ok");
    ASSERT_TRUE(fs::exists(scene.string() + ".lock"));

    // The fixture module's hook throws what no handler catches.
    ASSERT_TRUE(ana.Post({"move-to-trash", scene.string()}));
    EXPECT_EQ(ana.WaitForExit(), 128 + SIGABRT) << ana.ErrorOutput();
    EXPECT_NE(ana.ErrorOutput().find("stopping after an unexpected error"), std::string::npos)
        << ana.ErrorOutput();
    EXPECT_FALSE(fs::exists(scene.string() + ".lock"));
    EXPECT_EQ(ReadBytes(scene), before); // never written over
    EXPECT_EQ(RecoveryCopiesHolding(profile, "Unsaved Cut"), 1);
}

} // namespace
