#include "Marvane/application/HostSession.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "host/FileServices.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

#include "TemporaryFolder.h"
#include "TestProjects.h"

namespace {

namespace fs = std::filesystem;

class SessionLocksTest : public ::testing::Test {
protected:
    void SetUp() override {
        scene = testsupport::WriteProject(root / "Edit" / "Scene 12.mvproj");
        auto& session = host::HostSession::Instance();
        session.preferences.locking = {"Ana Ruiz", "suite-1", true};
        session.userOverride.reset();
        host::ReleaseCreatedLocks();
    }
    void TearDown() override {
        testsupport::CloseAllProjects();
        host::ReleaseCreatedLocks();
    }
    static fs::path LockOf(const fs::path& project) { return project.string() + ".lock"; }
    const testsupport::TemporaryFolder temporary{"session-locks"};
    const fs::path root = temporary.Path();
    fs::path scene;
};

TEST_F(SessionLocksTest, LocksMadeForAMoveAreRemovedWhenTheHostStops) {
    ASSERT_NE(host::CreateProjectLockFile(scene.string(), "Ana Ruiz", "suite-1"), nullptr);
    ASSERT_TRUE(fs::exists(LockOf(scene)));
    EXPECT_EQ(host::ReleaseCreatedLocks(), 1u);
    EXPECT_FALSE(fs::exists(LockOf(scene)));
}

TEST_F(SessionLocksTest, ALockAnOpenProjectTookOverStaysUntilItCloses) {
    const auto project = testsupport::OpenProject(scene, host::OpenMode::ReadOnly);
    const fs::path moved = root / "Cut" / "Scene 12.mvproj";
    fs::create_directories(moved.parent_path());
    fs::rename(scene, moved);
    project->SetPath(moved.string());
    project->AttachLockFile(host::CreateProjectLockFile(moved.string(), "Ana Ruiz", "suite-1"));
    EXPECT_EQ(host::ReleaseCreatedLocks(), 0u);
    EXPECT_TRUE(fs::exists(LockOf(moved)));
}

TEST_F(SessionLocksTest, SomeoneElsesLockIsNeverRemovedAtTheEnd) {
    ASSERT_NE(host::CreateProjectLockFile(scene.string(), "Ben Okafor", "elsewhere"), nullptr);
    // The lock file is replaced by another machine's: not written by this process any more.
    host::LockFileContent theirs = host::MakeLockFileContent("Ben Okafor", "elsewhere");
    theirs.processId = 1;
    theirs.hostName = "another-machine";
    fs::remove(LockOf(scene));
    std::ofstream(LockOf(scene)) << host::SerialiseLockFile(theirs);
    EXPECT_EQ(host::ReleaseCreatedLocks(), 0u);
    EXPECT_TRUE(fs::exists(LockOf(scene)));
}

TEST_F(SessionLocksTest, AMovedProjectDoesNotLeaveOurLockAtItsOldPlace) {
    ASSERT_NE(host::CreateProjectLockFile(scene.string(), "Ana Ruiz", "suite-1"), nullptr);
    const fs::path moved = root / "Scene 12.mvproj";
    ASSERT_EQ(host::Move(host::ToUTF16(scene.string()), host::ToUTF16(moved.string())), 0);
    EXPECT_FALSE(fs::exists(LockOf(scene)));
}

TEST_F(SessionLocksTest, AMovedProjectKeepsSomeoneElsesLockWhereItWas) {
    host::LockFileContent theirs = host::MakeLockFileContent("Ben Okafor", "elsewhere");
    theirs.processId = 1;
    theirs.hostName = "another-machine";
    std::ofstream(LockOf(scene)) << host::SerialiseLockFile(theirs);
    const fs::path moved = root / "Scene 12.mvproj";
    ASSERT_EQ(host::Move(host::ToUTF16(scene.string()), host::ToUTF16(moved.string())), 0);
    EXPECT_TRUE(fs::exists(LockOf(scene)));
}

TEST_F(SessionLocksTest, AProjectGivenANewPathLetsGoOfItsOldLock) {
    const auto project = testsupport::OpenProject(scene);
    ASSERT_TRUE(project->HoldsLock());
    const fs::path moved = root / "Scene 12.mvproj";
    fs::rename(scene, moved);
    project->SetPath(moved.string());
    EXPECT_FALSE(fs::exists(LockOf(scene)));
    EXPECT_FALSE(project->HoldsLock());
}

} // namespace
