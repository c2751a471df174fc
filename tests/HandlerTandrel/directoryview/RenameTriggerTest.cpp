#include "directoryview/RenameTrigger.h"

#include <gtest/gtest.h>
#include <memory>
#include <vector>

namespace {

using HandlerTandrel::RenameTrigger;
using host::TreeRowPtr;

host::KeyboardEvent Key(int keyCode, std::uint32_t modifiers = 0, bool down = true) {
    host::KeyboardEvent event;
    event.keyCode = keyCode;
    event.modifiers = modifiers;
    event.actionKeyDown = down;
    return event;
}

class RenameTriggerTest : public ::testing::Test {
protected:
    void SetUp() override {
        trigger.SetStartRenameHandler([this](const TreeRowPtr& row) { renamed.push_back(row); });
    }
    // The candidate is the one row selected when the click goes down.
    void SlowSecondClickOn(const TreeRowPtr& row) {
        trigger.ClickDown({row});
        trigger.ClickUp(row, false);
    }

    RenameTrigger trigger;
    std::vector<TreeRowPtr> renamed;
    TreeRowPtr promo = std::make_shared<host::UI_TreeRow>(false);
    TreeRowPtr scene = std::make_shared<host::UI_TreeRow>(false);
    const std::function<TreeRowPtr()> promoIsRenamable = [this] { return promo; };
};

TEST_F(RenameTriggerTest, ReturnAndEnterRenameTheRowThatCanBeRenamed) {
    EXPECT_TRUE(trigger.KeyDown(Key(host::kKeyCodeReturn), promoIsRenamable));
    EXPECT_TRUE(trigger.KeyDown(Key(host::kKeyCodeEnter), promoIsRenamable));
    EXPECT_EQ(renamed, (std::vector<TreeRowPtr>{promo, promo}));
}

TEST_F(RenameTriggerTest, ReturnWithNoRowToRenameIsStillUsedUp) {
    EXPECT_TRUE(trigger.KeyDown(Key(host::kKeyCodeReturn), [] { return TreeRowPtr(); }));
    EXPECT_TRUE(renamed.empty());
}

TEST_F(RenameTriggerTest, KeysWithAModifierReleasesAndOtherKeysGoToTheTree) {
    EXPECT_FALSE(
        trigger.KeyDown(Key(host::kKeyCodeReturn, host::kModifierShift), promoIsRenamable));
    EXPECT_FALSE(trigger.KeyDown(Key(host::kKeyCodeReturn, 0, false), promoIsRenamable));
    EXPECT_FALSE(trigger.KeyDown(Key(host::kKeyCodeEnter + 1), promoIsRenamable));
    EXPECT_TRUE(renamed.empty());
}

TEST_F(RenameTriggerTest, WhileKeysAreOffReturnGoesToTheTree) {
    trigger.EnableKeys(false);
    EXPECT_FALSE(trigger.AreKeysEnabled());
    EXPECT_FALSE(trigger.KeyDown(Key(host::kKeyCodeReturn), promoIsRenamable));
    EXPECT_TRUE(renamed.empty());
}

TEST_F(RenameTriggerTest, TheCandidateIsTheOneRowSelectedWhenTheClickWentDown) {
    trigger.ClickDown({promo});
    EXPECT_EQ(trigger.GetCandidate(), promo);
    trigger.ClickDown({promo, scene});
    EXPECT_EQ(trigger.GetCandidate(), nullptr);
    trigger.ClickDown({});
    EXPECT_EQ(trigger.GetCandidate(), nullptr);
}

TEST_F(RenameTriggerTest, ASlowSecondClickInstallsTheTimerWhichRenamesTheCandidateOnce) {
    SlowSecondClickOn(promo);
    EXPECT_TRUE(trigger.IsTimerInstalled());
    EXPECT_TRUE(renamed.empty()); // not at once
    EXPECT_TRUE(trigger.TimerFired(RenameTrigger::TimerID()));
    EXPECT_EQ(renamed, std::vector<TreeRowPtr>{promo});
    EXPECT_FALSE(trigger.IsTimerInstalled());
}

TEST_F(RenameTriggerTest, AReleaseOnAnotherRowThanTheCandidateStartsNothing) {
    trigger.ClickDown({scene});
    trigger.ClickUp(promo, false);
    EXPECT_FALSE(trigger.IsTimerInstalled());
}

TEST_F(RenameTriggerTest, AReleaseOnTheNameItselfRemovesTheTimer) {
    SlowSecondClickOn(promo);
    trigger.ClickUp(promo, true);
    EXPECT_FALSE(trigger.IsTimerInstalled());
}

TEST_F(RenameTriggerTest, ADoubleClickRemovesTheTimer) {
    SlowSecondClickOn(promo);
    trigger.DoubleClicked();
    EXPECT_FALSE(trigger.IsTimerInstalled());
}

TEST_F(RenameTriggerTest, OtherTimersAreNotTheRenameTimer) {
    SlowSecondClickOn(promo);
    EXPECT_FALSE(trigger.TimerFired(RenameTrigger::TimerID() + 1));
    EXPECT_TRUE(trigger.IsTimerInstalled());
    EXPECT_TRUE(renamed.empty());
}

TEST_F(RenameTriggerTest, ACandidateThatLeftTheTreeIsNotRenamed) {
    SlowSecondClickOn(promo);
    promo.reset();
    EXPECT_TRUE(trigger.TimerFired(RenameTrigger::TimerID()));
    EXPECT_TRUE(renamed.empty());
}

TEST_F(RenameTriggerTest, WithoutAHandlerNothingIsRenamed) {
    RenameTrigger bare;
    EXPECT_TRUE(bare.KeyDown(Key(host::kKeyCodeReturn), promoIsRenamable));
    bare.Start(promo);
    EXPECT_TRUE(renamed.empty());
}

TEST_F(RenameTriggerTest, OnlyTheNamePartOfTheNameCellIsOnTheName) {
    const host::UI_Rect cell{10, 20, 200, 18};
    EXPECT_TRUE(RenameTrigger::IsOnName(cell, 150, {12, 25}));
    EXPECT_FALSE(RenameTrigger::IsOnName(cell, 150, {61, 25})); // past the end of the name
    EXPECT_FALSE(RenameTrigger::IsOnName(cell, 150, {12, 38})); // below the row
    EXPECT_FALSE(RenameTrigger::IsOnName(cell, 0, {9, 25}));
    EXPECT_FALSE(RenameTrigger::IsOnName({0, 0, 0, 0}, 0, {0, 0})); // a cell not seen
    EXPECT_FALSE(RenameTrigger::IsOnName(cell, 250, {12, 25}));     // no name at all
}

} // namespace
