#pragma once
// A small production, "Pilot" (Scene 4, Dailies/Shot 1 and the trash), that the tests' editors
// each open in a marvane of their own.
#include "E2eProjects.h"
#include "ScriptedMarvane.h"
#include "TemporaryFolder.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace e2e {

class TwoEditorsOnPilot : public ::testing::Test {
protected:
    explicit TwoEditorsOnPilot(const char* folderName) : temporary(folderName) {}
    void SetUp() override {
        WriteProject(production / "Scene 4.mvproj");
        WriteProject(production / "Dailies" / "Shot 1.mvproj", "Ana's take");
        std::filesystem::create_directories(production / "Trash");
    }
    std::unique_ptr<ScriptedMarvane> Start(const std::string& user) const {
        return StartEditorOn(production, root, user);
    }
    // Quits the editor's marvane and demands a clean end.
    static void Finish(ScriptedMarvane& editor) {
        EXPECT_EQ(editor.Send({"quit"}), "ok");
        EXPECT_EQ(editor.Finish(), 0) << editor.ErrorOutput();
    }

    const testsupport::TemporaryFolder temporary;
    const std::filesystem::path root = temporary.Path();
    const std::filesystem::path production = root / "Pilot";
    const std::filesystem::path shot = production / "Dailies" / "Shot 1.mvproj";
};

} // namespace e2e
