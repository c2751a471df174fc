// A lock made for a move by a run killed before it could remove it goes at the next start,
// and no lock anyone else holds now ever does.
#include "FileBytes.h"
#include "KilledChild.h"
#include "Marvane/application/HostSession.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "TemporaryFolder.h"
#include "TestProjects.h"
#include "host/ApplicationLayer.h"

#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

class LocksOfKilledRunsTest : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(production);
        project = testsupport::WriteProject(production / "Scene 12.mvproj").string();
        auto& session = host::HostSession::Instance();
        session.preferences.locking = {"Ana Ruiz", "suite-1", true};
        session.userOverride.reset();
    }
    void TearDown() override {
        host::CloseLockNotes();
        host::SetLockNotesFolder({});
    }
    std::string LockPath() const { return project + ".lock"; }
    // Runs the steps in a child process that is then killed with SIGKILL, as by a crash: no
    // destructor runs and the event loop never turns again.
    void KilledWhile(const std::function<void()>& steps) const {
        ASSERT_TRUE(testsupport::KilledAfter([&] {
            host::SetLockNotesFolder(records);
            steps();
        }));
    }
    void LockForAMove() const {
        if (host::CreateProjectLockFile(project, "Ana Ruiz", "suite-1") == nullptr) {
            ::_exit(2);
        }
    }
    // What the next start does.
    std::size_t NextStart() const {
        host::SetLockNotesFolder(records);
        return host::ReleaseLocksOfGoneRuns();
    }
    std::size_t Records() const {
        std::size_t count = 0;
        if (fs::exists(records)) {
            for (const auto& entry : fs::directory_iterator(records)) {
                count += entry.path().extension() == ".notes" ? 1u : 0u;
            }
        }
        return count;
    }

    const testsupport::TemporaryFolder temporary{"locks-of-killed-runs"};
    const fs::path root = temporary.Path();
    const fs::path production = root / "Pilot";
    const fs::path records = root / "data" / "Locks";
    std::string project;
};

TEST_F(LocksOfKilledRunsTest, ALockMadeForAMoveByARunKilledHalfWayGoesAtTheNextStart) {
    KilledWhile([&] { LockForAMove(); });
    ASSERT_TRUE(fs::exists(LockPath()));
    ASSERT_EQ(Records(), 1u);

    EXPECT_EQ(NextStart(), 1u);
    EXPECT_FALSE(fs::exists(LockPath()));
    EXPECT_TRUE(fs::exists(project)); // the project itself is never touched
    EXPECT_EQ(Records(), 0u);
    EXPECT_EQ(NextStart(), 0u);
}

TEST_F(LocksOfKilledRunsTest, ALockTakenOverSinceByAnotherRunStays) {
    KilledWhile([&] { LockForAMove(); });
    // Another run of the same editor takes the abandoned lock over before the tidy-up.
    fs::remove(LockPath());
    const auto taken = host::CreateProjectLockFile(project, "Ana Ruiz", "suite-1");
    ASSERT_NE(taken, nullptr);
    ASSERT_TRUE(taken->IsOwnedByCaller());

    EXPECT_EQ(NextStart(), 0u);
    EXPECT_TRUE(fs::exists(LockPath()));
    EXPECT_EQ(Records(), 0u);
    EXPECT_EQ(host::ReleaseCreatedLocks(), 1u);
}

TEST_F(LocksOfKilledRunsTest, ALockReplacedByAnotherEditorsStaysUntouched) {
    KilledWhile([&] { LockForAMove(); });
    const std::string bens = "{\"lockingName\":\"Ben Okafor\",\"secondLockingString\":\"bay-2\"}";
    testsupport::WriteBytes(LockPath(), bens);

    EXPECT_EQ(NextStart(), 0u);
    EXPECT_EQ(testsupport::ReadBytes(LockPath()), bens);
}

TEST_F(LocksOfKilledRunsTest, ALockAnOpenProjectHeldIsNotAMovesToRemove) {
    KilledWhile([&] {
        LockForAMove();
        host::ForgetCreatedLock(project); // the project was opened and holds it
    });
    EXPECT_EQ(NextStart(), 0u);
    EXPECT_TRUE(fs::exists(LockPath())); // taken over at the next opening, as after any crash
}

TEST_F(LocksOfKilledRunsTest, ALockRemovedBeforeTheKillLeavesNothingToDo) {
    KilledWhile([&] {
        LockForAMove();
        if (host::ReleaseCreatedLocks() != 1u) {
            ::_exit(3);
        }
    });
    EXPECT_FALSE(fs::exists(LockPath()));
    EXPECT_EQ(NextStart(), 0u);
    EXPECT_EQ(Records(), 0u);
}

TEST_F(LocksOfKilledRunsTest, ALockInAFolderThatCannotBeReachedNowStaysNotedForALaterStart) {
    KilledWhile([&] { LockForAMove(); });
    const fs::path away = root / "Pilot (not mounted)";
    fs::rename(production, away); // as a share that is not mounted at this start

    EXPECT_EQ(NextStart(), 0u);
    EXPECT_EQ(Records(), 1u);

    fs::rename(away, production);
    EXPECT_EQ(NextStart(), 1u);
    EXPECT_FALSE(fs::exists(LockPath()));
    EXPECT_EQ(Records(), 0u);
}

TEST_F(LocksOfKilledRunsTest, ACleanStopLeavesNoRecord) {
    host::SetLockNotesFolder(records);
    ASSERT_NE(host::CreateProjectLockFile(project, "Ana Ruiz", "suite-1"), nullptr);
    EXPECT_EQ(Records(), 1u);
    EXPECT_EQ(host::ReleaseCreatedLocks(), 1u);
    host::CloseLockNotes();
    EXPECT_EQ(Records(), 0u);
    EXPECT_FALSE(fs::exists(LockPath()));
}

TEST_F(LocksOfKilledRunsTest, ARecordOfARunStillGoingIsLeftAlone) {
    host::SetLockNotesFolder(records);
    ASSERT_NE(host::CreateProjectLockFile(project, "Ana Ruiz", "suite-1"), nullptr);
    EXPECT_EQ(host::ReleaseLocksOfGoneRuns(), 0u); // this very process is not gone
    EXPECT_TRUE(fs::exists(LockPath()));
    EXPECT_EQ(host::ReleaseCreatedLocks(), 1u);
}

} // namespace
