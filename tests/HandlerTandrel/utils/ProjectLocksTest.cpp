#include "utils/ProjectLocks.h"
#include "Marvane/application/HostSession.h"
#include "Marvane/core/TraceConfiguration.h"
#include "Marvane/fileservices/FailureNotices.h"
#include "Marvane/uiframework/DialogResponder.h"
#include "Marvane/uiframework/DockWorkspace.h"
#include "ReadOnlyMount.h"
#include "TemporaryFolder.h"
#include "TestProjects.h"
#include "WindowlessWorkspace.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace HandlerTandrel::Utils;

class ProjectLocksTest : public ::testing::Test {
protected:
    void SetUp() override {
        scene = testsupport::WriteProject(root / "Pilot" / "Scene 12.mvproj");
        SetIdentity("Ana Ruiz", "suite-1");
        host::files::TakeFailures(); // noted by tests before, which had no window to tell
        responder = std::make_shared<host::ScriptedDialogResponder>(std::vector<int>{0, 0, 0});
        previousResponder = host::SetDialogResponder(responder);
        host::SetTraceSink([this](std::string_view category, int level, std::string_view text) {
            traced.push_back(std::string(category) + ":" + std::to_string(level) + ":" +
                             std::string(text));
        });
        host::ConfigureTrace("");
    }
    void TearDown() override {
        testsupport::CloseAllProjects();
        host::SetTraceSink({});
        host::ConfigureTrace("");
        host::SetDialogResponder(previousResponder);
        host::SetCurrentWorkspace(nullptr);
    }
    static void SetIdentity(const std::string& name, const std::string& second) {
        auto& session = host::HostSession::Instance();
        session.preferences.locking = {name, second, true};
        session.userOverride.reset();
        if (name.empty()) {
            session.userOverride = ""; // an empty name stays empty instead of the default
        }
    }
    static void LockAs(const fs::path& project, const std::string& name) {
        const auto lock = host::CreateProjectLockFile(project.string(), name, "elsewhere");
        ASSERT_NE(lock, nullptr) << project;
        ASSERT_TRUE(lock->IsOwnedByCaller());
    }
    std::u16string W(const fs::path& path) const { return host::ToUTF16(path.string()); }

    const testsupport::TemporaryFolder temporary{"module-locks"};
    const fs::path root = temporary.Path();
    fs::path scene;
    std::shared_ptr<host::ScriptedDialogResponder> responder;
    std::shared_ptr<host::DialogResponder> previousResponder;
    std::vector<std::string> traced;
};

TEST_F(ProjectLocksTest, AProjectWithoutLockFileIsNotLockedByAnotherUser) {
    EXPECT_FALSE(IsLockedByOtherUser(W(scene)));
}

TEST_F(ProjectLocksTest, ALockFileNamingThisUserIsNotLockedByAnotherUser) {
    LockAs(scene, "Ana Ruiz"); // the same name from another machine still counts as this user
    EXPECT_FALSE(IsLockedByOtherUser(W(scene)));
}

TEST_F(ProjectLocksTest, AnOwnerDifferingOnlyInLetterCaseIsAnotherUser) {
    LockAs(scene, "ana ruiz");
    EXPECT_TRUE(IsLockedByOtherUser(W(scene)));
}

TEST_F(ProjectLocksTest, AnEmptyLockingNameAgainstANamedOwnerIsAnotherUser) {
    LockAs(scene, "Ben Okafor");
    SetIdentity("", "suite-1");
    EXPECT_TRUE(IsLockedByOtherUser(W(scene)));
}

TEST_F(ProjectLocksTest, ADamagedLockFileIsAnotherUsersLock) {
    std::ofstream(scene.string() + ".lock") << "{ not a lock";
    EXPECT_TRUE(IsLockedByOtherUser(W(scene)));
}

TEST_F(ProjectLocksTest, OnlyAnOpenReadOnlyProjectChangedOnDiskIsOutOfDate) {
    EXPECT_FALSE(IsOpenReadOnlyAndOutOfDate(W(scene))); // not open
    LockAs(scene, "Ben Okafor");
    const auto project = testsupport::OpenProject(scene);
    ASSERT_TRUE(project->IsReadOnly());
    EXPECT_FALSE(IsOpenReadOnlyAndOutOfDate(W(scene)));
    // Ben saves a new version.
    testsupport::WriteProject(scene, {"Sequence 1", "Sequence 2"});
    EXPECT_TRUE(IsOpenReadOnlyAndOutOfDate(W(scene)));
    std::string error;
    ASSERT_TRUE(host::DocumentManager::Instance().Reload(project, error)) << error;
    EXPECT_FALSE(IsOpenReadOnlyAndOutOfDate(W(scene)));
}

TEST_F(ProjectLocksTest, AWritableProjectIsNeverOutOfDate) {
    const auto project = testsupport::OpenProject(scene);
    ASSERT_FALSE(project->IsReadOnly());
    testsupport::WriteProject(scene, {"Changed behind our back"});
    EXPECT_FALSE(IsOpenReadOnlyAndOutOfDate(W(scene)));
}

TEST_F(ProjectLocksTest, TheLockErrorNamesTheFullPathWhenTheWorkspaceExists) {
    testsupport::WindowlessWorkspace workspace;
    host::SetCurrentWorkspace(&workspace);
    ShowLockError(W(scene));
    ASSERT_EQ(responder->GetRequests().size(), 1u);
    const auto& box = responder->GetRequests()[0];
    EXPECT_EQ(box.title, "Unable to Lock Project");
    EXPECT_EQ(box.text, "Unable to create a lock file for the project " + scene.string() +
                            ". Please try again.");
    EXPECT_EQ(box.buttons, std::vector<std::string>{"OK"});
}

TEST_F(ProjectLocksTest, ALockThatCannotBeWrittenKeepsItsMessageAndGivesTheCauseBelowAndTraced) {
    testsupport::WindowlessWorkspace workspace;
    host::SetCurrentWorkspace(&workspace);
    host::ConfigureTrace("Tandrel=5");
    const testsupport::ReadOnlyMount readOnly(scene.parent_path());
    if (!readOnly.Mounted()) {
        GTEST_SKIP() << "a read-only bind mount needs root and the mount command";
    }
    const ProjectMoveLocks locks = LockProjectForMove(W(scene), W(root / "Pilot" / "Reel.mvproj"));
    EXPECT_FALSE(locks.proceed);
    ASSERT_EQ(responder->GetRequests().size(), 1u);
    const auto& box = responder->GetRequests()[0];
    EXPECT_EQ(box.title, "Unable to Lock Project");
    EXPECT_EQ(box.text, "Unable to create a lock file for the project " + scene.string() +
                            ". Please try again.");
    const std::string cause = host::LockFilePathFor(scene).string() + ": Read-only file system";
    EXPECT_EQ(box.details, cause);
    EXPECT_EQ(traced, std::vector<std::string>{"Tandrel:5:Unable to lock project " +
                                               scene.string() + " (" + cause + ")\n"});
}

TEST_F(ProjectLocksTest, TheLockErrorIsNotShownWithoutAWorkspaceButStillTraced) {
    host::ConfigureTrace("Tandrel=5");
    ShowLockError(W(scene));
    EXPECT_TRUE(responder->GetRequests().empty());
    EXPECT_EQ(traced, std::vector<std::string>{"Tandrel:5:Unable to lock project " +
                                               scene.string() + "\n"});
}

TEST_F(ProjectLocksTest, TheLockErrorIsTracedOnlyFromLevelFive) {
    testsupport::WindowlessWorkspace workspace;
    host::SetCurrentWorkspace(&workspace);
    host::ConfigureTrace("Tandrel=4");
    ShowLockError(W(scene));
    EXPECT_TRUE(traced.empty());
    EXPECT_EQ(responder->GetRequests().size(), 1u);
    host::ConfigureTrace("Tandrel=9");
    ShowLockError(W(scene));
    EXPECT_EQ(traced.size(), 1u);
}

TEST_F(ProjectLocksTest, TheTraceSwitchAsksTheHostAgainOnlyWhenTheConfigurationChanges) {
    host::ConfigureTrace("Tandrel=5");
    ShowLockError(W(scene)); // learns the new configuration
    const std::uint64_t asked = host::TraceEnabledQueryCount();
    ShowLockError(W(scene));
    ShowLockError(W(scene));
    EXPECT_EQ(host::TraceEnabledQueryCount(), asked);
    EXPECT_EQ(traced.size(), 3u);
    host::ConfigureTrace("Tandrel=1");
    ShowLockError(W(scene));
    EXPECT_EQ(host::TraceEnabledQueryCount(), asked + 1);
    EXPECT_EQ(traced.size(), 3u);
}

TEST_F(ProjectLocksTest, MovingAnUnlockedProjectLocksItsSourceAndItsDestination) {
    const fs::path destination = root / "Edit" / "Scene 12.mvproj";
    fs::create_directories(destination.parent_path());
    const ProjectMoveLocks locks = LockProjectForMove(W(scene), W(destination));
    EXPECT_TRUE(locks.proceed);
    EXPECT_FALSE(locks.sourceHadOwnLock);
    ASSERT_NE(locks.destinationLock, nullptr);
    EXPECT_TRUE(locks.destinationLock->IsOwnedByCaller());
    EXPECT_TRUE(fs::exists(destination.string() + ".lock"));
    EXPECT_TRUE(fs::exists(scene.string() + ".lock"));
    EXPECT_TRUE(responder->GetRequests().empty());
}

TEST_F(ProjectLocksTest, MovingAProjectThatCarriesOurLockKeepsItForTheOpenProject) {
    const auto project = testsupport::OpenProject(scene);
    ASSERT_TRUE(project->HoldsLock());
    const fs::path destination = root / "Scene 12 moved.mvproj";
    const ProjectMoveLocks locks = LockProjectForMove(W(scene), W(destination));
    EXPECT_TRUE(locks.proceed);
    EXPECT_TRUE(locks.sourceHadOwnLock);
    EXPECT_EQ(locks.openProject, project);
    EXPECT_TRUE(fs::exists(destination.string() + ".lock"));
}

TEST_F(ProjectLocksTest, AProjectLockedByAnotherUserIsSkippedWithoutAWord) {
    testsupport::WindowlessWorkspace workspace;
    host::SetCurrentWorkspace(&workspace);
    LockAs(scene, "Ben Okafor");
    const fs::path destination = root / "Scene 12 moved.mvproj";
    const ProjectMoveLocks locks = LockProjectForMove(W(scene), W(destination));
    EXPECT_FALSE(locks.proceed);
    EXPECT_TRUE(responder->GetRequests().empty());
    EXPECT_FALSE(fs::exists(destination.string() + ".lock"));
}

TEST_F(ProjectLocksTest, AFailedDestinationLockShowsTheLockErrorForTheDestination) {
    testsupport::WindowlessWorkspace workspace;
    host::SetCurrentWorkspace(&workspace);
    const fs::path destination = root / "Edit" / "Scene 12.mvproj";
    fs::create_directories(destination.parent_path());
    LockAs(destination, "Ben Okafor"); // someone holds the name at the destination
    const ProjectMoveLocks locks = LockProjectForMove(W(scene), W(destination));
    EXPECT_FALSE(locks.proceed);
    ASSERT_EQ(responder->GetRequests().size(), 1u);
    EXPECT_NE(responder->GetRequests()[0].text.find(destination.string()), std::string::npos);
}

TEST_F(ProjectLocksTest, AFailedSourceLockShowsTheLockErrorForTheSource) {
    testsupport::WindowlessWorkspace workspace;
    host::SetCurrentWorkspace(&workspace);
    const fs::path nowhere = root / "Missing Folder" / "Ghost.mvproj";
    const ProjectMoveLocks locks = LockProjectForMove(W(nowhere), W(root / "Ghost.mvproj"));
    EXPECT_FALSE(locks.proceed);
    ASSERT_EQ(responder->GetRequests().size(), 1u);
    EXPECT_NE(responder->GetRequests()[0].text.find(nowhere.string()), std::string::npos);
    EXPECT_FALSE(fs::exists(root / "Ghost.mvproj.lock"));
}

TEST_F(ProjectLocksTest, AProjectMovedWithItsFolderIsLockedAtItsNewPath) {
    const auto project = testsupport::OpenProject(scene);
    const fs::path moved = root / "Moved" / "Scene 12.mvproj";
    fs::create_directories(moved.parent_path());
    fs::rename(scene, moved);
    fs::rename(scene.string() + ".lock", moved.string() + ".lock");
    project->SetPath(moved.string());
    RelockMovedProject(project, W(moved));
    EXPECT_TRUE(project->HoldsLock());
    host::DocumentManager::Instance().Close({project});
    EXPECT_FALSE(fs::exists(moved.string() + ".lock"));
}

TEST_F(ProjectLocksTest, WithLockingOffAMovedProjectIsNotLocked) {
    const auto project = testsupport::OpenProject(scene);
    host::HostSession::Instance().preferences.locking.enabled = false;
    const fs::path moved = root / "Elsewhere.mvproj";
    RelockMovedProject(project, W(moved));
    EXPECT_FALSE(fs::exists(moved.string() + ".lock"));
    host::HostSession::Instance().preferences.locking.enabled = true;
}

} // namespace
