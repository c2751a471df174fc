// The Production panel in the real marvane, driven as a user drives it: searching, clearing,
// sizing columns, sorting, zooming, then quitting and starting again.
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

class ProductionPanelFlowTest : public ::testing::Test {
protected:
    void SetUp() override {
        WriteProject(production / "Scene 4.mvproj");
        WriteProject(production / "Scene 12.mvproj");
        WriteProject(production / "Teaser.mvproj");
        WriteProject(production / "Dailies" / "Scene 9 pickup.mvproj");
        WriteProject(production / "Dailies" / "Interview.mvproj");
        std::ofstream(production / "Dailies" / "scene notes.txt") << "not a project";
    }
    std::unique_ptr<ScriptedMarvane> Start() {
        auto marvane = std::make_unique<ScriptedMarvane>(
            std::vector<std::string>{"--production", production.string(), "--profile",
                                     profile.string(), "--user", "Ana Ruiz"});
        EXPECT_EQ(marvane->ReadLine(), "ready") << marvane->ErrorOutput();
        return marvane;
    }

    const testsupport::TemporaryFolder temporary{"e2e-panel"};
    const fs::path production = temporary.Path() / "Pilot";
    const fs::path profile = temporary.Path() / "profile";
};

TEST_F(ProductionPanelFlowTest, TypingShowsTheMatchingProjectsAndClearingBringsTheTreeBack) {
    auto marvane = Start();
    ASSERT_EQ(
        marvane->SendUntil({"ui", "rows", kTree}, "ok count=4 Dailies|Scene 4|Scene 12|Teaser"),
        "ok count=4 Dailies|Scene 4|Scene 12|Teaser");
    EXPECT_EQ(marvane->SendUntil({"ui", "text", kStatus}, "ok 4 items"), "ok 4 items");

    ASSERT_EQ(marvane->Send({"ui", "set", kSearchBox, "scene"}), "ok");
    EXPECT_EQ(
        marvane->SendUntil({"ui", "rows", kResults}, "ok count=3 Scene 4|Scene 9 pickup|Scene 12"),
        "ok count=3 Scene 4|Scene 9 pickup|Scene 12");
    EXPECT_EQ(marvane->Send({"ui", "shown", kResults}), "ok 1 enabled=1");
    EXPECT_EQ(marvane->Send({"ui", "shown", kTree}), "ok 0 enabled=1");
    EXPECT_EQ(marvane->SendUntil({"ui", "text", kStatus}, "ok 3 items"), "ok 3 items");
    ASSERT_EQ(marvane->Send({"ui", "select", kResults, "Scene 12"}), "ok");
    EXPECT_EQ(marvane->SendUntil({"ui", "text", kStatus}, "ok 1 of 3 items selected"),
              "ok 1 of 3 items selected");

    // Escape clears the box: the tree is back at once.
    ASSERT_EQ(marvane->Send({"ui", "key", kSearchBox, "escape"}), "ok");
    EXPECT_EQ(marvane->Send({"ui", "text", kSearchBox}), "ok ");
    EXPECT_EQ(marvane->Send({"ui", "shown", kTree}), "ok 1 enabled=1");
    EXPECT_EQ(marvane->Send({"ui", "shown", kResults}), "ok 0 enabled=1");
    EXPECT_EQ(marvane->Send({"ui", "rows", kTree}), "ok count=4 Dailies|Scene 4|Scene 12|Teaser");
    EXPECT_EQ(marvane->SendUntil({"ui", "text", kStatus}, "ok 4 items"), "ok 4 items");
    EXPECT_EQ(marvane->Finish(), 0) << marvane->ErrorOutput();
}

TEST_F(ProductionPanelFlowTest, AfterQuittingAndStartingAgainThePanelIsAsTheUserLeftIt) {
    {
        auto marvane = Start();
        ASSERT_EQ(
            marvane->SendUntil({"ui", "rows", kTree}, "ok count=4 Dailies|Scene 4|Scene 12|Teaser"),
            "ok count=4 Dailies|Scene 4|Scene 12|Teaser");
        ASSERT_EQ(marvane->Send({"ui", "open", kTree, "Dailies"}), "ok");
        ASSERT_EQ(marvane->SendUntil({"ui", "rows", kTree},
                                     "ok count=6 Dailies|>Interview|>Scene 9 pickup|Scene 4|Scene "
                                     "12|Teaser"),
                  "ok count=6 Dailies|>Interview|>Scene 9 pickup|Scene 4|Scene 12|Teaser");
        ASSERT_EQ(marvane->Send({"ui", "move-column", kTree, "Size", "1"}), "ok");
        ASSERT_EQ(marvane->Send({"ui", "resize-column", kTree, "Name", "260"}), "ok");
        ASSERT_EQ(marvane->Send({"ui", "sort", kTree, "Name"}), "ok"); // now descending
        ASSERT_EQ(marvane->Send({"ui", "slider", kSlider, "0.5"}), "ok");
        EXPECT_EQ(marvane->Send({"ui", "columns", kTree}),
                  "ok Name:494|Size:200|Project Locked:200|Date Modified:200|Date Created:200 "
                  "sort=Name desc row-height=47");
        ASSERT_EQ(marvane->Send({"ui", "set", kSearchBox, "interview"}), "ok");
        ASSERT_EQ(marvane->SendUntil({"ui", "rows", kResults}, "ok count=1 Interview"),
                  "ok count=1 Interview");
        ASSERT_EQ(marvane->Send({"quit"}), "ok");
        EXPECT_EQ(marvane->Finish(), 0) << marvane->ErrorOutput();
    }
    auto marvane = Start();
    EXPECT_EQ(marvane->Send({"ui", "text", kSearchBox}), "ok interview");
    EXPECT_EQ(marvane->SendUntil({"ui", "rows", kResults}, "ok count=1 Interview"),
              "ok count=1 Interview");
    EXPECT_EQ(marvane->Send({"ui", "value", kSlider}), "ok 0.5");
    EXPECT_EQ(marvane->Send({"ui", "columns", kResults}),
              "ok Name:494|Size:200|Project Locked:200|Date Modified:200|Date Created:200 "
              "sort=Name desc row-height=47");
    ASSERT_EQ(marvane->Send({"ui", "set", kSearchBox, ""}), "ok");
    EXPECT_EQ(marvane->SendUntil({"ui", "rows", kTree},
                                 "ok count=6 Teaser|Scene 12|Scene 4|Dailies|>Scene 9 "
                                 "pickup|>Interview"),
              "ok count=6 Teaser|Scene 12|Scene 4|Dailies|>Scene 9 pickup|>Interview");
    EXPECT_EQ(marvane->Finish(), 0) << marvane->ErrorOutput();
}

} // namespace
