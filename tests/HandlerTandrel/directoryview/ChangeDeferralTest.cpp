#include "directoryview/ChangeDeferral.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using HandlerTandrel::ChangeDeferral;

class ChangeDeferralTest : public ::testing::Test {
protected:
    std::vector<std::string> applied;
    ChangeDeferral deferral{[this](const host::ByteString& folder) { applied.push_back(folder); }};
};

TEST_F(ChangeDeferralTest, WithNothingHoldingItBackAChangeIsAppliedAtOnce) {
    deferral.FolderChanged("/shows/Pilot");
    deferral.FolderChanged("/shows/Pilot");
    EXPECT_EQ(applied, (std::vector<std::string>{"/shows/Pilot", "/shows/Pilot"}));
    EXPECT_TRUE(deferral.GetPending().empty());
}

TEST_F(ChangeDeferralTest, TenChangesOfAFolderDuringARenameAreAppliedOnceWhenItEnds) {
    deferral.SetRenameInProgress(true);
    for (int count = 0; count < 10; ++count) {
        deferral.FolderChanged("/shows/Pilot/Edit");
    }
    EXPECT_TRUE(applied.empty());
    EXPECT_EQ(deferral.GetPending().size(), 1u);
    deferral.SetRenameInProgress(false);
    EXPECT_EQ(applied, std::vector<std::string>{"/shows/Pilot/Edit"});
    EXPECT_TRUE(deferral.GetPending().empty());
}

TEST_F(ChangeDeferralTest, ChangesWaitUntilBothTheRenameAndThePauseAreOver) {
    deferral.SetNotifyPaused(true);
    deferral.SetRenameInProgress(true);
    deferral.FolderChanged("/shows/Pilot/Edit");
    deferral.FolderChanged("/shows/Pilot");
    deferral.SetRenameInProgress(false);
    EXPECT_TRUE(applied.empty());
    EXPECT_TRUE(deferral.IsHoldingBack());
    deferral.SetNotifyPaused(false);
    EXPECT_EQ(applied, (std::vector<std::string>{"/shows/Pilot", "/shows/Pilot/Edit"}));
}

TEST_F(ChangeDeferralTest, SettingAStateItAlreadyHasAppliesNothing) {
    deferral.SetNotifyPaused(true);
    deferral.FolderChanged("/shows/Pilot");
    deferral.SetNotifyPaused(true);
    deferral.SetRenameInProgress(false);
    EXPECT_TRUE(applied.empty());
    EXPECT_EQ(deferral.GetPending().size(), 1u);
}

TEST_F(ChangeDeferralTest, ANameThatIsNotValidUtf8WaitsAndComesBackAsTheSameBytes) {
    const std::string latin1 = "/shows/Pilot/Caf\xe9";
    deferral.SetRenameInProgress(true);
    deferral.FolderChanged(latin1);
    deferral.SetRenameInProgress(false);
    EXPECT_EQ(applied, std::vector<std::string>{latin1});
}

TEST_F(ChangeDeferralTest, AChangeAppliedAfterThePauseWaitsAgainWhenApplyingPausesOnceMore) {
    ChangeDeferral* self = nullptr;
    ChangeDeferral pausing([&](const host::ByteString& folder) {
        applied.push_back(folder);
        self->SetNotifyPaused(true); // the first folder shown pauses notifications again
    });
    self = &pausing;
    pausing.SetNotifyPaused(true);
    pausing.FolderChanged("/a");
    pausing.FolderChanged("/b");
    pausing.SetNotifyPaused(false);
    EXPECT_EQ(applied, std::vector<std::string>{"/a"});
    EXPECT_EQ(pausing.GetPending(), (std::set<host::WideString>{u"/b"}));
}

} // namespace
