// A project whose lock another editor took over or broke while we held it: we never write it
// again, our unsaved changes are kept apart, and the project turns read-only.
#include "FileBytes.h"
#include "Marvane/application/HostSession.h"
#include "Marvane/documents/DocumentManager.h"
#include "Marvane/documents/Recovery.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "TemporaryFolder.h"
#include "TestProjects.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;
using host::DocumentManager;
using testsupport::ReadBytes;

class LockLossTest : public ::testing::Test {
protected:
    void SetUp() override {
        scene = testsupport::WriteProject(root / "Pilot" / "Scene 1.mvproj", {"Assembly"});
        auto& session = host::HostSession::Instance();
        session.preferences.locking = {"Ana Ruiz", "suite-1", true};
        session.userOverride.reset();
        DocumentManager::Instance().SetDataDirectory(root / "data");
        project = testsupport::OpenProject(scene);
        ASSERT_FALSE(project->IsReadOnly());
        host::ProjectContent content = project->Content();
        content.sequences.push_back("Ana's unsaved cut");
        project->EditContent(content);
        onDisk = ReadBytes(scene);
    }
    void TearDown() override {
        DocumentManager::Instance().SetBeforeWriteHookForTesting({});
        project.reset();
        testsupport::CloseAllProjects();
        DocumentManager::Instance().SetDataDirectory({});
    }
    // Ben's marvane took the project over: his lock stands where ours was.
    void BenTakesOver() {
        host::LockFileContent ben = host::MakeLockFileContent("Ben Okafor", "suite-2");
        ben.hostName = "edit-bay-2";
        ben.bootId = "his boot";
        const fs::path lock = host::LockFilePathFor(scene);
        const fs::path his = lock.string() + ".his";
        std::ofstream(his) << host::SerialiseLockFile(ben);
        fs::rename(his, lock);
    }
    std::vector<host::RecoveredCopy> Recovered() const {
        return host::FindRecoveredCopies(root / "data");
    }

    const testsupport::TemporaryFolder temporary{"lock-loss"};
    const fs::path root = temporary.Path();
    fs::path scene;
    host::OpenProjectPtr project;
    std::string onDisk;
};

TEST_F(LockLossTest, TheHeartbeatRefreshesOurLockAndLosesNothing) {
    const fs::path lock = host::LockFilePathFor(scene);
    fs::last_write_time(lock, fs::file_time_type::clock::now() - std::chrono::hours(1));
    EXPECT_TRUE(DocumentManager::Instance().Heartbeat().empty());
    const auto age = fs::file_time_type::clock::now() - fs::last_write_time(lock);
    EXPECT_LT(age, std::chrono::minutes(1));
    EXPECT_FALSE(project->IsReadOnly());
}

TEST_F(LockLossTest, ALockTakenOverIsNoticedAtTheHeartbeatAndTheChangesAreKeptApart) {
    BenTakesOver();
    const std::vector<host::LockLoss> losses = DocumentManager::Instance().Heartbeat();
    ASSERT_EQ(losses.size(), 1u);
    EXPECT_EQ(losses[0].newHolder, "Ben Okafor");
    EXPECT_TRUE(project->IsReadOnly());
    EXPECT_EQ(ReadBytes(scene), onDisk); // never written
    ASSERT_EQ(Recovered().size(), 1u);
    EXPECT_EQ(Recovered()[0].original, scene);
    EXPECT_NE(ReadBytes(Recovered()[0].copy).find("Ana's unsaved cut"), std::string::npos);
    const std::string told = host::DescribeLockLoss(losses[0]);
    EXPECT_NE(told.find("Ben Okafor took over \"Scene 1\""), std::string::npos) << told;
    EXPECT_NE(told.find(Recovered()[0].copy.string()), std::string::npos) << told;
    // Told once: the next heartbeat has nothing more to say.
    EXPECT_TRUE(DocumentManager::Instance().Heartbeat().empty());
}

TEST_F(LockLossTest, SavingChecksTheLockJustBeforeWriting) {
    BenTakesOver();
    std::string error;
    EXPECT_FALSE(DocumentManager::Instance().Save(project, error));
    EXPECT_NE(error.find("Ben Okafor"), std::string::npos) << error;
    EXPECT_EQ(ReadBytes(scene), onDisk);
    EXPECT_TRUE(project->IsReadOnly());
    EXPECT_EQ(Recovered().size(), 1u);
}

TEST_F(LockLossTest, ClosingAfterTheLossLeavesTheNewHoldersLock) {
    BenTakesOver();
    DocumentManager::Instance().Heartbeat();
    ASSERT_TRUE(DocumentManager::Instance().Close({project}));
    host::LockFileContent now;
    ASSERT_EQ(host::ReadLockFile(host::LockFilePathFor(scene), now), host::LockFileState::Valid);
    EXPECT_EQ(now.lockingName, "Ben Okafor");
}

TEST_F(LockLossTest, ALockRemovedByAnotherEditorIsALossToo) {
    fs::remove(host::LockFilePathFor(scene));
    const std::vector<host::LockLoss> losses = DocumentManager::Instance().Heartbeat();
    ASSERT_EQ(losses.size(), 1u);
    EXPECT_TRUE(losses[0].newHolder.empty());
    EXPECT_NE(host::DescribeLockLoss(losses[0]).find("was removed by another editor"),
              std::string::npos);
    EXPECT_TRUE(project->IsReadOnly());
    EXPECT_EQ(ReadBytes(scene), onDisk);
}

TEST_F(LockLossTest, AnUnmodifiedProjectLosesItsLockWithoutARecoveryCopy) {
    std::string error;
    ASSERT_TRUE(DocumentManager::Instance().Save(project, error)) << error;
    BenTakesOver();
    const auto losses = DocumentManager::Instance().Heartbeat();
    ASSERT_EQ(losses.size(), 1u);
    EXPECT_TRUE(losses[0].recoveryCopy.empty());
    EXPECT_TRUE(Recovered().empty());
}

TEST_F(LockLossTest, ASaveDuringWhichTheLockIsForcedAwayIsNotCalledDoneAndKeepsTheChanges) {
    // Ben breaks the lock after the save's last check, while the file is being written.
    DocumentManager::Instance().SetBeforeWriteHookForTesting([this] { BenTakesOver(); });
    std::string error;
    EXPECT_FALSE(DocumentManager::Instance().Save(project, error));
    EXPECT_NE(error.find("was taken while it was being saved"), std::string::npos) << error;
    EXPECT_NE(error.find("Ben Okafor took over"), std::string::npos) << error;
    EXPECT_TRUE(project->IsReadOnly());
    EXPECT_FALSE(project->HoldsLock());
    ASSERT_EQ(Recovered().size(), 1u);
    EXPECT_NE(ReadBytes(Recovered()[0].copy).find("Ana's unsaved cut"), std::string::npos);
    // Ben's lock stands.
    host::LockFileContent now;
    ASSERT_EQ(host::ReadLockFile(host::LockFilePathFor(scene), now), host::LockFileState::Valid);
    EXPECT_EQ(now.lockingName, "Ben Okafor");
}

TEST_F(LockLossTest, AVersionWrittenAfterWeTookTheLockIsNeverSavedOverUnasked) {
    // The last save of an editor whose lock was forced away lands after we read the project.
    const std::string theirs =
        R"({"formatVersion": 1, "name": "Scene 1", "bins": [], "sequences": ["Ben's last save"]})";
    const fs::path written = scene.string() + ".theirs";
    std::ofstream(written) << theirs;
    fs::rename(written, scene);
    EXPECT_TRUE(project->IsOutOfDate());

    std::string error;
    EXPECT_FALSE(DocumentManager::Instance().Save(project, error));
    EXPECT_NE(error.find("was written by someone else after you read it"), std::string::npos)
        << error;
    EXPECT_EQ(ReadBytes(scene), theirs);
    EXPECT_FALSE(project->IsReadOnly()); // the lock is still ours
    ASSERT_EQ(Recovered().size(), 1u);
    EXPECT_NE(error.find(Recovered()[0].copy.string()), std::string::npos) << error;
    EXPECT_NE(ReadBytes(Recovered()[0].copy).find("Ana's unsaved cut"), std::string::npos);

    // Once that version is read, saving goes on as usual.
    ASSERT_TRUE(DocumentManager::Instance().Reload(project, error)) << error;
    EXPECT_FALSE(project->IsOutOfDate());
    host::ProjectContent content = project->Content();
    content.sequences.push_back("Ana's cut again");
    project->EditContent(content);
    ASSERT_TRUE(DocumentManager::Instance().Save(project, error)) << error;
    EXPECT_NE(ReadBytes(scene).find("Ben's last save"), std::string::npos);
    EXPECT_NE(ReadBytes(scene).find("Ana's cut again"), std::string::npos);
    EXPECT_FALSE(project->IsOutOfDate());
}

} // namespace
