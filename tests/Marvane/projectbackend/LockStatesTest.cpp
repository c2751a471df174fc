// What a lock means to the editor looking at it, from what it says and when its holder last
// refreshed it; and breaking locks that nobody holds any more.
#include "Marvane/projectbackend/LockStates.h"
#include "GoneProcess.h"
#include "Marvane/application/HostSession.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

#include "TemporaryFolder.h"
#include "TestProjects.h"

namespace {

namespace fs = std::filesystem;
using host::LockState;
using namespace std::chrono_literals;

class LockStatesTest : public ::testing::Test {
protected:
    void SetUp() override {
        auto& session = host::HostSession::Instance();
        session.preferences.locking = {"Ana Ruiz", "suite-1", true};
        session.userOverride.reset();
        scene = testsupport::WriteProject(root / "Scene 1.mvproj");
    }
    // A lock as another editor's marvane writes it: on another machine, or here.
    static host::LockFileContent Lock(const std::string& name, const std::string& machine) {
        host::LockFileContent content = host::MakeLockFileContent(name, "their-suite");
        if (!machine.empty()) {
            content.hostName = machine;
            content.bootId = "their boot";
            content.machineId = "their machine";
        }
        return content;
    }
    static void Plant(const fs::path& project, const host::LockFileContent& content,
                      std::chrono::seconds age = 0s) {
        const fs::path lock = host::LockFilePathFor(project);
        std::ofstream(lock) << host::SerialiseLockFile(content);
        fs::last_write_time(lock, fs::file_time_type::clock::now() - age);
    }
    LockState StateOf(const fs::path& project, std::chrono::seconds silentAfter = 15min) const {
        host::LockReport report;
        EXPECT_TRUE(host::InspectLock(project, silentAfter, report)) << project;
        return report.state;
    }

    const testsupport::TemporaryFolder temporary{"lock-states"};
    const fs::path root = temporary.Path();
    fs::path scene;
};

TEST_F(LockStatesTest, ALockFromAnotherMachineSeenLatelyIsLive) {
    Plant(scene, Lock("Ben Okafor", "edit-bay-2"), 3min);
    EXPECT_EQ(StateOf(scene), LockState::Live);
}

TEST_F(LockStatesTest, ALockFromAnotherMachineNotSeenForTheThresholdIsSilent) {
    Plant(scene, Lock("Ben Okafor", "edit-bay-2"), 20min);
    EXPECT_EQ(StateOf(scene), LockState::Silent);
    EXPECT_EQ(StateOf(scene, 30min), LockState::Live);
}

TEST_F(LockStatesTest, ALockWrittenHereByAProcessThatIsGoneIsAbandonedWhoeverHeldIt) {
    host::LockFileContent ben = Lock("Ben Okafor", "");
    ben.processId = testsupport::PidOfAGoneProcess();
    Plant(scene, ben);
    EXPECT_EQ(StateOf(scene), LockState::Abandoned);
}

TEST_F(LockStatesTest, ALockWrittenHereByARunningProcessIsLiveHoweverOld) {
    host::LockFileContent ben = Lock("Ben Okafor", "");
    ben.processId = ::getppid();
    ben.processStartTicks = 0;
    Plant(scene, ben, 48h);
    EXPECT_EQ(StateOf(scene), LockState::Live);
}

TEST_F(LockStatesTest, OurOwnLockIsYours) {
    Plant(scene, host::MakeLockFileContent("Ana Ruiz", "suite-1"));
    EXPECT_EQ(StateOf(scene), LockState::Yours);
}

TEST_F(LockStatesTest, GarbageAtTheLocksNameIsUnreadable) {
    std::ofstream(host::LockFilePathFor(scene)) << "{\"lockingName\": \"Be";
    EXPECT_EQ(StateOf(scene), LockState::Unreadable);
}

TEST_F(LockStatesTest, AProjectWithoutALockHasNothingToInspect) {
    host::LockReport report;
    EXPECT_FALSE(host::InspectLock(scene, 15min, report));
}

TEST_F(LockStatesTest, TheListingFindsEveryLockButNoneInHiddenFoldersOrProjectFolders) {
    const fs::path deep = testsupport::WriteProject(root / "Edit" / "Day 1" / "Shot 1.mvproj");
    Plant(scene, Lock("Ben Okafor", "edit-bay-2"));
    Plant(deep, host::MakeLockFileContent("Ana Ruiz", "suite-1"));
    const fs::path hidden = testsupport::WriteProject(root / ".marvane" / "Old.mvproj");
    Plant(hidden, Lock("Ben Okafor", "edit-bay-2"));
    std::ofstream(root / "notes.txt.lock") << "not a project's lock";
    const auto reports = host::ListProductionLocks(root, 15min);
    ASSERT_EQ(reports.size(), 2u);
    EXPECT_EQ(reports[0].projectPath, deep);
    EXPECT_EQ(reports[0].state, LockState::Yours);
    EXPECT_EQ(reports[1].projectPath, scene);
    EXPECT_EQ(reports[1].content.lockingName, "Ben Okafor");
}

TEST_F(LockStatesTest, TheHeartbeatRefreshesTheTimeAndKeepsTheContent) {
    Plant(scene, Lock("Ben Okafor", "edit-bay-2"), 20min);
    const fs::path lock = host::LockFilePathFor(scene);
    std::string before;
    host::LockFileContent content;
    ASSERT_EQ(host::ReadLockFile(lock, content, before), host::LockFileState::Valid);
    EXPECT_TRUE(host::RefreshLockTime(lock, before));
    std::string after;
    host::ReadLockFile(lock, content, after);
    EXPECT_EQ(after, before);
    EXPECT_EQ(StateOf(scene), LockState::Live);
    // A lock that is not the one expected is left alone.
    Plant(scene, Lock("Ben Okafor", "edit-bay-2"), 20min);
    EXPECT_FALSE(host::RefreshLockTime(lock, "something else"));
    EXPECT_EQ(StateOf(scene), LockState::Silent);
}

TEST_F(LockStatesTest, LastSeenReadsAsAPersonSaysIt) {
    EXPECT_EQ(host::DescribeLastSeen(20s), "just now");
    EXPECT_EQ(host::DescribeLastSeen(3min + 5s), "3 min ago");
    EXPECT_EQ(host::DescribeLastSeen(5h), "5 h ago");
    EXPECT_EQ(host::DescribeLastSeen(72h), "3 days ago");
}

TEST_F(LockStatesTest, BreakingASilentLockLeavesThePlaceFreeAndGivesTheLockBroken) {
    Plant(scene, Lock("Ben Okafor", "edit-bay-2"), 20min);
    host::LockReplacement breaking;
    breaking.silentToo = true;
    breaking.placeOurs = false;
    std::string removed;
    EXPECT_EQ(host::ReplaceLockFile(scene, breaking, &removed), host::TakeOverResult::Taken);
    EXPECT_FALSE(fs::exists(host::LockFilePathFor(scene)));
    EXPECT_NE(removed.find("Ben Okafor"), std::string::npos);
}

TEST_F(LockStatesTest, ALiveLockIsNeverBrokenWithoutForce) {
    Plant(scene, Lock("Ben Okafor", "edit-bay-2"), 1min);
    host::LockReplacement breaking;
    breaking.silentToo = true;
    breaking.placeOurs = false;
    EXPECT_EQ(host::ReplaceLockFile(scene, breaking, nullptr), host::TakeOverResult::NotAbandoned);
    EXPECT_TRUE(fs::exists(host::LockFilePathFor(scene)));
    breaking.evenIfLive = true;
    EXPECT_EQ(host::ReplaceLockFile(scene, breaking, nullptr), host::TakeOverResult::Taken);
    EXPECT_FALSE(fs::exists(host::LockFilePathFor(scene)));
}

TEST_F(LockStatesTest, AnAbandonedLockOfAnotherEditorIsTakenOverByOurs) {
    host::LockFileContent ben = Lock("Ben Okafor", "");
    ben.processId = testsupport::PidOfAGoneProcess();
    Plant(scene, ben);
    host::LockReplacement takeOver;
    EXPECT_EQ(host::ReplaceLockFile(scene, takeOver, nullptr), host::TakeOverResult::Taken);
    host::LockFileContent now;
    ASSERT_EQ(host::ReadLockFile(host::LockFilePathFor(scene), now), host::LockFileState::Valid);
    EXPECT_EQ(now.lockingName, "Ana Ruiz");
    EXPECT_TRUE(host::IsWrittenByThisProcess(now));
    ASSERT_TRUE(host::RemoveOwnLockFile(scene));
}

TEST_F(LockStatesTest, UnreadableLocksGoOnlyByForceAndFoldersNever) {
    std::ofstream(host::LockFilePathFor(scene)) << "garbage";
    host::LockReplacement breaking;
    breaking.placeOurs = false;
    breaking.silentToo = true;
    EXPECT_EQ(host::ReplaceLockFile(scene, breaking, nullptr), host::TakeOverResult::NotAbandoned);
    breaking.evenIfLive = true;
    EXPECT_EQ(host::ReplaceLockFile(scene, breaking, nullptr), host::TakeOverResult::Taken);
    EXPECT_FALSE(fs::exists(host::LockFilePathFor(scene)));
    fs::create_directories(host::LockFilePathFor(scene));
    EXPECT_EQ(host::ReplaceLockFile(scene, breaking, nullptr), host::TakeOverResult::NotAbandoned);
    EXPECT_TRUE(fs::is_directory(host::LockFilePathFor(scene)));
}

} // namespace
