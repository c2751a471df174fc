#include "Marvane/projectbackend/LockFiles.h"
#include "DeepTrees.h"
#include "FileBytes.h"
#include "GoneProcess.h"
#include "Marvane/application/HostSession.h"
#include "Marvane/core/ThisMachine.h"
#include "TemporaryFolder.h"
#include "TestProjects.h"
#include "TmpfsMount.h"
#include "host/ApplicationLayer.h"
#include "host/FileServices.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;

class LockFilesTest : public ::testing::Test {
protected:
    void SetUp() override {
        project = testsupport::WriteProject(root / "Scene 12.mvproj").string();
        auto& session = host::HostSession::Instance();
        session.preferences.locking = {"Ana Ruiz", "suite-1", true};
        session.userOverride.reset();
    }
    std::string LockPath() const { return project + ".lock"; }
    void WriteLock(const std::string& text) const { std::ofstream(LockPath()) << text; }
    // What a copy of Ana's marvane killed with -9 leaves: her lock naming a process that is
    // gone. Returns its bytes.
    std::string WriteAbandonedLock() const {
        host::LockFileContent abandoned = host::MakeLockFileContent("Ana Ruiz", "suite-1");
        abandoned.processId = testsupport::PidOfAGoneProcess();
        const std::string text = host::SerialiseLockFile(abandoned);
        WriteLock(text);
        return text;
    }

    const testsupport::TemporaryFolder temporary{"locks"};
    const fs::path root = temporary.Path();
    std::string project;
};

TEST_F(LockFilesTest, AProjectWithoutLockFileHasNoLock) {
    EXPECT_EQ(host::ReadProjectLockFile(project, "Ana Ruiz", "suite-1"), nullptr);
}

TEST_F(LockFilesTest, CreatingWritesTheHoldersIdentityBesideTheProject) {
    const auto lock = host::CreateProjectLockFile(project, "Ana Ruiz", "suite-1");
    ASSERT_NE(lock, nullptr);
    EXPECT_TRUE(lock->IsOwnedByCaller());
    EXPECT_EQ(lock->GetOwnerName(), "Ana Ruiz");
    std::ifstream in(LockPath());
    const auto json = nlohmann::json::parse(in);
    EXPECT_EQ(json.at("lockingName"), "Ana Ruiz");
    EXPECT_EQ(json.at("secondLockingString"), "suite-1");
    EXPECT_EQ(json.at("processId"), ::getpid());
    EXPECT_FALSE(json.at("hostName").get<std::string>().empty());
    EXPECT_EQ(json.at("bootId"), host::ThisBootId());
    EXPECT_EQ(json.at("machineId"), host::ThisMachineId());
    EXPECT_EQ(json.at("processStartTicks"), host::ProcessStartTicks(::getpid()));
    EXPECT_GT(json.at("processStartTicks").get<long long>(), 0);
    EXPECT_EQ(json.at("createdUtc").get<std::string>().back(), 'Z');
    // No temporary file is left behind in the production.
    int files = 0;
    for ([[maybe_unused]] const auto& entry : fs::directory_iterator(root)) {
        ++files;
    }
    EXPECT_EQ(files, 2);
}

TEST_F(LockFilesTest, CreatingOverOnesOwnLockSucceeds) {
    ASSERT_TRUE(host::CreateProjectLockFile(project, "Ana Ruiz", "suite-1")->IsOwnedByCaller());
    const auto again = host::CreateProjectLockFile(project, "Ana Ruiz", "suite-1");
    ASSERT_NE(again, nullptr);
    EXPECT_TRUE(again->IsOwnedByCaller());
}

TEST_F(LockFilesTest, CreatingOverAnotherEditorsLockLeavesItAndIsNotOwned) {
    ASSERT_TRUE(host::CreateProjectLockFile(project, "Ben Okafor", "suite-2")->IsOwnedByCaller());
    const auto mine = host::CreateProjectLockFile(project, "Ana Ruiz", "suite-1");
    ASSERT_NE(mine, nullptr);
    EXPECT_FALSE(mine->IsOwnedByCaller());
    EXPECT_EQ(mine->GetOwnerName(), "Ben Okafor");
    std::ifstream in(LockPath());
    EXPECT_EQ(nlohmann::json::parse(in).at("lockingName"), "Ben Okafor");
}

TEST_F(LockFilesTest, OwnershipNeedsBothLockingStrings) {
    ASSERT_TRUE(host::CreateProjectLockFile(project, "Ana Ruiz", "suite-1")->IsOwnedByCaller());
    EXPECT_TRUE(host::ReadProjectLockFile(project, "Ana Ruiz", "suite-1")->IsOwnedByCaller());
    EXPECT_FALSE(host::ReadProjectLockFile(project, "Ana Ruiz", "suite-2")->IsOwnedByCaller());
    EXPECT_FALSE(host::ReadProjectLockFile(project, "Ana ruiz", "suite-1")->IsOwnedByCaller());
    EXPECT_FALSE(host::CreateProjectLockFile(project, "Ana Ruiz", "laptop")->IsOwnedByCaller());
}

TEST_F(LockFilesTest, ANonWritableFolderGivesNoLock) {
    if (::geteuid() == 0) {
        // Root writes everywhere; a read-only mount would be needed. Use a missing folder.
        EXPECT_EQ(host::CreateProjectLockFile((root / "missing" / "P.mvproj").string(), "Ana Ruiz",
                                              "suite-1"),
                  nullptr);
        return;
    }
    ::chmod(root.c_str(), 0555);
    EXPECT_EQ(host::CreateProjectLockFile(project, "Ana Ruiz", "suite-1"), nullptr);
    ::chmod(root.c_str(), 0755);
}

struct BadLock {
    const char* name;
    const char* text;
};

class BadLockFileTest : public LockFilesTest, public ::testing::WithParamInterface<BadLock> {};

TEST_P(BadLockFileTest, CountsAsHeldBySomeoneElse) {
    WriteLock(GetParam().text);
    const auto read = host::ReadProjectLockFile(project, "Ana Ruiz", "suite-1");
    ASSERT_NE(read, nullptr);
    EXPECT_FALSE(read->IsOwnedByCaller());
    EXPECT_EQ(read->GetOwnerName(), host::kUnreadableLockHolder);
    const auto created = host::CreateProjectLockFile(project, "Ana Ruiz", "suite-1");
    ASSERT_NE(created, nullptr);
    EXPECT_FALSE(created->IsOwnedByCaller());
    // Garbage is never replaced by our lock.
    std::ifstream in(LockPath());
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(text, GetParam().text);
    EXPECT_TRUE(host::DoesDirectoryContainLockedProjects(root.string(), true, true));
}

INSTANTIATE_TEST_SUITE_P(
    LockFiles, BadLockFileTest,
    ::testing::Values(BadLock{"Empty", ""},
                      BadLock{"Truncated", R"({"lockingName": "Ana Ruiz", "secondLock)"},
                      BadLock{"NotJson", "locked by Ana\n"},
                      BadLock{"JsonWithoutHolder", R"({"hostName": "suite-1"})"},
                      BadLock{"HolderNotAString",
                              R"({"lockingName": 7, "secondLockingString": ""})"},
                      BadLock{"EmptyHolder", R"({"lockingName": "", "secondLockingString": ""})"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(LockFilesTest, AFolderInPlaceOfTheLockCountsAsHeldBySomeoneElse) {
    fs::create_directories(LockPath());
    const auto read = host::ReadProjectLockFile(project, "Ana Ruiz", "suite-1");
    ASSERT_NE(read, nullptr);
    EXPECT_FALSE(read->IsOwnedByCaller());
    EXPECT_FALSE(host::CreateProjectLockFile(project, "Ana Ruiz", "suite-1")->IsOwnedByCaller());
    EXPECT_TRUE(fs::is_directory(LockPath()));
}

TEST_F(LockFilesTest, ASpecialFileInPlaceOfTheLockCountsAsHeldBySomeoneElse) {
    ASSERT_EQ(::mkfifo(LockPath().c_str(), 0644), 0);
    const auto read = host::ReadProjectLockFile(project, "Ana Ruiz", "suite-1");
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(read->GetOwnerName(), host::kUnreadableLockHolder);
}

TEST_F(LockFilesTest, ALinkToAValidLockInPlaceOfTheLockIsUnreadable) {
    const fs::path elsewhere = root / "elsewhere.lock";
    std::ofstream(elsewhere) << host::SerialiseLockFile(
        host::MakeLockFileContent("Ana Ruiz", "suite-1"));
    fs::create_symlink(elsewhere, LockPath());
    host::LockFileContent content;
    EXPECT_EQ(host::ReadLockFile(LockPath(), content), host::LockFileState::Unreadable);
    const auto read = host::ReadProjectLockFile(project, "Ana Ruiz", "suite-1");
    ASSERT_NE(read, nullptr);
    EXPECT_FALSE(read->IsOwnedByCaller());
}

TEST_F(LockFilesTest, ALockFileOverSixtyFourKilobytesIsUnreadable) {
    const std::string valid = host::SerialiseLockFile(host::MakeLockFileContent("Ana", "x"));
    WriteLock(valid + std::string(64 * 1024, ' '));
    host::LockFileContent content;
    EXPECT_EQ(host::ReadLockFile(LockPath(), content), host::LockFileState::Unreadable);
    WriteLock(valid + std::string(1024, ' ')); // trailing space is still a valid lock
    EXPECT_EQ(host::ReadLockFile(LockPath(), content), host::LockFileState::Valid);
    EXPECT_EQ(content.lockingName, "Ana");
}

TEST_F(LockFilesTest, ADanglingLinkInPlaceOfTheLockCountsAsHeldBySomeoneElse) {
    fs::create_symlink(root / "nowhere", LockPath());
    const auto read = host::ReadProjectLockFile(project, "Ana Ruiz", "suite-1");
    ASSERT_NE(read, nullptr);
    EXPECT_FALSE(read->IsOwnedByCaller());
}

TEST_F(LockFilesTest, RemovingOnlyEverRemovesALockThisProcessWrote) {
    // Another running process of the same identity holds the lock.
    host::LockFileContent theirs = host::MakeLockFileContent("Ana Ruiz", "suite-1");
    theirs.processId = ::getppid();
    WriteLock(host::SerialiseLockFile(theirs));
    EXPECT_FALSE(host::RemoveOwnLockFile(project));
    ASSERT_TRUE(fs::exists(LockPath()));
    host::LockFileContent content;
    ASSERT_EQ(host::ReadLockFile(LockPath(), content), host::LockFileState::Valid);
    EXPECT_EQ(content.processId, ::getppid());
    fs::remove(LockPath());
    ASSERT_TRUE(host::CreateProjectLockFile(project, "Ana Ruiz", "suite-1")->IsOwnedByCaller());
    EXPECT_TRUE(host::RemoveOwnLockFile(project));
    EXPECT_FALSE(fs::exists(LockPath()));
    // Nothing is left under a private name either.
    int files = 0;
    for ([[maybe_unused]] const auto& entry : fs::directory_iterator(root)) {
        ++files;
    }
    EXPECT_EQ(files, 1);
}

TEST_F(LockFilesTest, AnotherLiveCopyOnThisMachineIsToldApartFromAStaleLock) {
    host::LockFileContent live = host::MakeLockFileContent("Ana Ruiz", "suite-1");
    live.processId = ::getppid();
    live.processStartTicks = host::ProcessStartTicks(::getppid());
    EXPECT_EQ(host::JudgeLockHolder(live), host::LockHolder::LiveHere);
    EXPECT_TRUE(host::MayBeHeldByAnotherProcess(live));
    host::LockFileContent mine = host::MakeLockFileContent("Ana Ruiz", "suite-1");
    EXPECT_EQ(host::JudgeLockHolder(mine), host::LockHolder::ThisProcess);
    EXPECT_FALSE(host::MayBeHeldByAnotherProcess(mine));
    EXPECT_TRUE(host::IsWrittenByThisProcess(mine));
    const pid_t child = testsupport::PidOfAGoneProcess();
    host::LockFileContent stale = host::MakeLockFileContent("Ana Ruiz", "suite-1");
    stale.processId = child; // gone
    EXPECT_EQ(host::JudgeLockHolder(stale), host::LockHolder::GoneHere);
    EXPECT_FALSE(host::MayBeHeldByAnotherProcess(stale));
}

TEST_F(LockFilesTest, ALockFromBeforeThisMachineRestartedIsAbandoned) {
    host::LockFileContent beforeRestart = host::MakeLockFileContent("Ana Ruiz", "suite-1");
    beforeRestart.processId = ::getppid();
    beforeRestart.bootId = "an earlier boot";
    if (host::ThisMachineId().empty()) {
        GTEST_SKIP() << "this machine has no machine id to tell a restart from another machine";
    }
    EXPECT_EQ(host::JudgeLockHolder(beforeRestart), host::LockHolder::GoneHere);
}

TEST_F(LockFilesTest, ALockFromAnotherMachineWithOurHostNameMayBeLive) {
    // Same host name, another boot and another machine id: a second machine that was given
    // this one's name, whose process may well be running.
    host::LockFileContent twin = host::MakeLockFileContent("Ana Ruiz", "suite-1");
    twin.bootId = "another machine's boot";
    twin.machineId = "another machine";
    EXPECT_EQ(host::JudgeLockHolder(twin), host::LockHolder::Elsewhere);
    EXPECT_TRUE(host::MayBeHeldByAnotherProcess(twin));
    host::LockFileContent older = twin;
    older.machineId.clear(); // written before machine ids were recorded
    EXPECT_EQ(host::JudgeLockHolder(older), host::LockHolder::Elsewhere);
    host::LockFileContent otherHost = host::MakeLockFileContent("Ana Ruiz", "suite-1");
    otherHost.hostName = "edit-bay-7";
    EXPECT_EQ(host::JudgeLockHolder(otherHost), host::LockHolder::Elsewhere);
}

TEST_F(LockFilesTest, APidReusedByAnUnrelatedProcessDoesNotKeepTheLockAlive) {
    // The pid is running, but it started at another time than the lock's holder did.
    host::LockFileContent reused = host::MakeLockFileContent("Ana Ruiz", "suite-1");
    reused.processId = ::getppid();
    reused.processStartTicks = host::ProcessStartTicks(::getppid()) + 1;
    EXPECT_EQ(host::JudgeLockHolder(reused), host::LockHolder::GoneHere);
    host::LockFileContent ourPidEarlier = host::MakeLockFileContent("Ana Ruiz", "suite-1");
    ourPidEarlier.processStartTicks += 1;
    EXPECT_EQ(host::JudgeLockHolder(ourPidEarlier), host::LockHolder::GoneHere);
    EXPECT_FALSE(host::IsWrittenByThisProcess(ourPidEarlier));
}

TEST_F(LockFilesTest, ATakeOverKilledHalfWayDoesNotBlockTheNextOne) {
    const std::string judged = WriteAbandonedLock();
    // Another copy claimed that lock and was killed before it went on: its claim stays.
    host::LockFileContent claimer = host::MakeLockFileContent("Ana Ruiz", "suite-1");
    claimer.processId = testsupport::PidOfAGoneProcess();
    const fs::path firstClaim = host::TakeOverMarkerPath(LockPath(), judged, 0);
    std::ofstream(firstClaim) << host::SerialiseLockFile(claimer);
    EXPECT_EQ(host::TakeOverOwnLockFile(project), host::TakeOverResult::Taken);
    host::LockFileContent now;
    ASSERT_EQ(host::ReadLockFile(LockPath(), now), host::LockFileState::Valid);
    EXPECT_TRUE(host::IsWrittenByThisProcess(now));
    EXPECT_FALSE(fs::exists(firstClaim)); // the dead claim is cleared with ours
    EXPECT_FALSE(fs::exists(host::TakeOverMarkerPath(LockPath(), judged, 1)));
    EXPECT_TRUE(host::RemoveOwnLockFile(project));
}

TEST_F(LockFilesTest, AClaimOfARunningCopyMakesATakeOverLoseAndLeavesTheLock) {
    const std::string judged = WriteAbandonedLock();
    // The parent process stands in for a copy that is taking the lock over right now.
    host::LockFileContent claimer = host::MakeLockFileContent("Ana Ruiz", "suite-1");
    claimer.processId = ::getppid();
    claimer.processStartTicks = host::ProcessStartTicks(::getppid());
    std::ofstream(host::TakeOverMarkerPath(LockPath(), judged, 0))
        << host::SerialiseLockFile(claimer);
    EXPECT_EQ(host::TakeOverOwnLockFile(project), host::TakeOverResult::Lost);
    EXPECT_EQ(testsupport::ReadBytes(LockPath()), judged);
}

TEST(ThisMachine, AProcessStartTimeIsReadFromTheProcessTable) {
    EXPECT_GT(host::ProcessStartTicks(::getpid()), 0);
    EXPECT_GE(host::ProcessStartTicks(::getpid()), host::ProcessStartTicks(::getppid()));
    EXPECT_EQ(host::ProcessStartTicks(0), 0);
    const pid_t child = testsupport::PidOfAGoneProcess();
    EXPECT_EQ(host::ProcessStartTicks(child), 0);
}

// What can stand where a lock should be, other than a lock file.
enum class NotALockFile { Folder, Pipe, LinkToAValidLock, DanglingLink };

class NotALockFileTest : public LockFilesTest, public ::testing::WithParamInterface<NotALockFile> {
protected:
    void PutInPlaceOfTheLock(const fs::path& lock) const {
        switch (GetParam()) {
        case NotALockFile::Folder:
            fs::create_directories(lock);
            break;
        case NotALockFile::Pipe:
            ASSERT_EQ(::mkfifo(lock.c_str(), 0644), 0);
            break;
        case NotALockFile::LinkToAValidLock: {
            const fs::path real = root / "elsewhere.lock";
            std::ofstream(real) << host::SerialiseLockFile(
                host::MakeLockFileContent("Ben Okafor", "suite-2"));
            fs::create_symlink(real, lock);
            break;
        }
        case NotALockFile::DanglingLink:
            fs::create_symlink(root / "nothing here", lock);
            break;
        }
    }
};

TEST_P(NotALockFileTest, AFolderHoldingAProjectWithSuchALockCountsAsLocked) {
    const fs::path reel = root / "Reel1";
    const std::string cut = testsupport::WriteProject(reel / "Cut.mvproj").string();
    PutInPlaceOfTheLock(cut + ".lock");
    // The project itself is held, unreadably...
    const auto lock = host::ReadProjectLockFile(cut, "Ana Ruiz", "suite-1");
    ASSERT_NE(lock, nullptr);
    EXPECT_FALSE(lock->IsOwnedByCaller());
    // ...and so is every folder around it, asked for anyone's locks or only others'.
    EXPECT_TRUE(host::DoesDirectoryContainLockedProjects(reel.string(), false, true));
    EXPECT_TRUE(host::DoesDirectoryContainLockedProjects(reel.string(), false, false));
    EXPECT_TRUE(host::DoesDirectoryContainLockedProjects(root.string(), true, true));
}

INSTANTIATE_TEST_SUITE_P(LockFiles, NotALockFileTest,
                         ::testing::Values(NotALockFile::Folder, NotALockFile::Pipe,
                                           NotALockFile::LinkToAValidLock,
                                           NotALockFile::DanglingLink),
                         [](const auto& row) {
                             switch (row.param) {
                             case NotALockFile::Folder:
                                 return std::string("Folder");
                             case NotALockFile::Pipe:
                                 return std::string("Pipe");
                             case NotALockFile::LinkToAValidLock:
                                 return std::string("LinkToAValidLock");
                             case NotALockFile::DanglingLink:
                                 return std::string("DanglingLink");
                             }
                             return std::string();
                         });

TEST_F(LockFilesTest, MovingAProjectAwayRemovesOurLockThatACrashLeftBehind) {
    // A copy of Ana's marvane was killed with -9 while Cut was open.
    const fs::path reel = root / "Reel1";
    const fs::path cut = testsupport::WriteProject(reel / "Cut.mvproj");
    host::LockFileContent abandoned = host::MakeLockFileContent("Ana Ruiz", "suite-1");
    const pid_t gone = testsupport::PidOfAGoneProcess();
    abandoned.processId = gone;
    std::ofstream(cut.string() + ".lock") << host::SerialiseLockFile(abandoned);
    fs::create_directories(root / "Trash");
    ASSERT_EQ(host::Move(host::ToUTF16(cut.string()),
                         host::ToUTF16((root / "Trash" / "Cut.mvproj").string())),
              0);
    // No lock without a project stays behind to keep everyone from moving the reel.
    EXPECT_FALSE(fs::exists(cut.string() + ".lock"));
    EXPECT_FALSE(host::DoesDirectoryContainLockedProjects(reel.string(), true, false));
}

TEST_F(LockFilesTest, MovingAProjectAwayLeavesALiveLockOfOurIdentityAndAnyoneElses) {
    const fs::path reel = root / "Reel1";
    const fs::path cut = testsupport::WriteProject(reel / "Cut.mvproj");
    // Another running copy of Ana's holds it (the parent process stands in for it).
    host::LockFileContent live = host::MakeLockFileContent("Ana Ruiz", "suite-1");
    live.processId = ::getppid();
    live.processStartTicks = host::ProcessStartTicks(::getppid());
    std::ofstream(cut.string() + ".lock") << host::SerialiseLockFile(live);
    const fs::path bens = testsupport::WriteProject(reel / "Bens.mvproj");
    host::LockFileContent bensLock = host::MakeLockFileContent("Ben Okafor", "suite-2");
    bensLock.hostName = "edit-bay-7";
    std::ofstream(bens.string() + ".lock") << host::SerialiseLockFile(bensLock);
    ASSERT_EQ(
        host::Move(host::ToUTF16(cut.string()), host::ToUTF16((root / "Cut.mvproj").string())), 0);
    ASSERT_EQ(
        host::Move(host::ToUTF16(bens.string()), host::ToUTF16((root / "Bens.mvproj").string())),
        0);
    EXPECT_TRUE(fs::exists(cut.string() + ".lock"));
    EXPECT_TRUE(fs::exists(bens.string() + ".lock"));
}

TEST_F(LockFilesTest, AProjectWithALongNameCanStillBeLocked) {
    // 250 bytes: its lock's name (255 bytes) is the longest a folder can hold, and the file
    // the lock is written to first has a short name of its own.
    const std::string name = std::string(243, 'n') + ".mvproj";
    ASSERT_EQ(name.size(), 250u);
    const std::string longProject = testsupport::WriteProject(root / name).string();
    const auto lock = host::CreateProjectLockFile(longProject, "Ana Ruiz", "suite-1");
    ASSERT_NE(lock, nullptr);
    EXPECT_TRUE(lock->IsOwnedByCaller());
    EXPECT_TRUE(fs::exists(longProject + ".lock"));
    EXPECT_TRUE(host::RemoveOwnLockFile(longProject));
    EXPECT_FALSE(fs::exists(longProject + ".lock"));
}

TEST_F(LockFilesTest, MembersOfTheWrongKindAroundAValidHolderAreIgnored) {
    WriteLock(R"({"lockingName": "Ben Okafor", "secondLockingString": "suite-2",
                  "hostName": null, "processId": "many", "bootId": 7, "createdUtc": []})");
    const auto read = host::ReadProjectLockFile(project, "Ana Ruiz", "suite-1");
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(read->GetOwnerName(), "Ben Okafor");
    EXPECT_FALSE(read->IsOwnedByCaller());
}

TEST_F(LockFilesTest, ALockWithoutAHolderNameIsNeverCreated) {
    EXPECT_EQ(host::CreateProjectLockFile(project, "", "suite-1"), nullptr);
    EXPECT_FALSE(fs::exists(LockPath()));
}

TEST_F(LockFilesTest, APlainFileHoldsNoLockedProjects) {
    ASSERT_TRUE(host::CreateProjectLockFile(project, "Ben Okafor", "suite-2")->IsOwnedByCaller());
    EXPECT_FALSE(host::DoesDirectoryContainLockedProjects(project, true, true));
    EXPECT_FALSE(host::DoesDirectoryContainLockedProjects((root / "absent").string(), true, true));
}

TEST_F(LockFilesTest, AFolderProjectIsLockedBesideItsFolder) {
    const auto titles = testsupport::WriteProject(root / "Titles.mvprojd").string();
    ASSERT_TRUE(
        host::CreateProjectLockFile(titles + "/", "Ana Ruiz", "suite-1")->IsOwnedByCaller());
    EXPECT_TRUE(fs::exists(root / "Titles.mvprojd.lock"));
    EXPECT_FALSE(fs::exists(root / "Titles.mvprojd" / ".lock"));
}

TEST_F(LockFilesTest, AFolderNestedPastThePathLimitIsLookedThroughToItsBottomForLocks) {
    // 900 x "/Level" is past 4,095 bytes; a project 500 levels down can still be locked.
    testsupport::MakeDeepChain(root / "Chain", "Level", 900, "notes");
    fs::path middle = root / "Chain";
    for (int level = 0; level < 500; ++level) {
        middle /= "Level";
    }
    const std::string deep = testsupport::WriteProject(middle / "Deep.mvproj").string();
    EXPECT_FALSE(host::DoesDirectoryContainLockedProjects((root / "Chain").string(), true, true));
    ASSERT_TRUE(host::CreateProjectLockFile(deep, "Ben Okafor", "suite-2")->IsOwnedByCaller());
    EXPECT_TRUE(host::DoesDirectoryContainLockedProjects((root / "Chain").string(), true, true));
    EXPECT_TRUE(host::RemoveOwnLockFile(deep));
}

TEST_F(LockFilesTest, LockedProjectsAreFoundAtAnyDepth) {
    const auto deep = testsupport::WriteProject(root / "Edit" / "Reels" / "Reel 1.mvproj").string();
    EXPECT_FALSE(host::DoesDirectoryContainLockedProjects(root.string(), true, true));
    ASSERT_TRUE(host::CreateProjectLockFile(deep, "Ben Okafor", "suite-2")->IsOwnedByCaller());
    EXPECT_TRUE(host::DoesDirectoryContainLockedProjects(root.string(), true, true));
    EXPECT_TRUE(host::DoesDirectoryContainLockedProjects((root / "Edit").string(), true, false));
    EXPECT_FALSE(host::DoesDirectoryContainLockedProjects((root / "Edit").string(), false, true));
    EXPECT_TRUE(
        host::DoesDirectoryContainLockedProjects((root / "Edit" / "Reels").string(), false, true));
}

TEST_F(LockFilesTest, OurOwnLocksCountOnlyWhenAllLocksAreAskedFor) {
    ASSERT_TRUE(host::CreateProjectLockFile(project, "Ana Ruiz", "suite-1")->IsOwnedByCaller());
    EXPECT_FALSE(host::DoesDirectoryContainLockedProjects(root.string(), true, true));
    EXPECT_TRUE(host::DoesDirectoryContainLockedProjects(root.string(), true, false));
}

TEST_F(LockFilesTest, TheLockedFolderSearchDoesNotFollowSymbolicLinks) {
    const testsupport::TemporaryFolder outsideFolder("locks-outside");
    const fs::path outside = outsideFolder.Path();
    const auto elsewhere = testsupport::WriteProject(outside / "Other.mvproj").string();
    ASSERT_TRUE(host::CreateProjectLockFile(elsewhere, "Ben Okafor", "suite-2")->IsOwnedByCaller());
    fs::create_directories(root / "Inside");
    fs::create_directory_symlink(outside, root / "Inside" / "link to outside");
    EXPECT_FALSE(host::DoesDirectoryContainLockedProjects(root.string(), true, true));
}

TEST_F(LockFilesTest, OrdinaryFilesEndingInLockAreNotProjectLocks) {
    std::ofstream(root / "notes.txt.lock") << "{}";
    EXPECT_FALSE(host::DoesDirectoryContainLockedProjects(root.string(), true, false));
}

TEST_F(LockFilesTest, LockingPreferencesComeFromTheSessionAndTheUserOption) {
    host::ByteString name;
    host::ByteString second;
    EXPECT_TRUE(host::GetProjectLockingPrefs(name, second));
    EXPECT_EQ(name, "Ana Ruiz");
    EXPECT_EQ(second, "suite-1");
    host::HostSession::Instance().userOverride = "Ben Okafor";
    host::HostSession::Instance().preferences.locking.enabled = false;
    EXPECT_FALSE(host::GetProjectLockingPrefs(name, second));
    EXPECT_EQ(name, "Ben Okafor");
    host::HostSession::Instance().userOverride.reset();
}

TEST_F(LockFilesTest, AnOwnLockThatCannotGoNowIsTriedAgainAndNamedUntilItGoes) {
    // A disk of its own that can be made read-only, as a share that refuses every change.
    const fs::path disk = root / "Disk";
    fs::create_directories(disk);
    testsupport::TmpfsMount mount(disk);
    if (const std::string why = mount.Mount(); !why.empty()) {
        GTEST_SKIP() << why;
    }
    const fs::path scene = testsupport::WriteProject(disk / "Scene 1.mvproj");
    const auto lock = host::CreateProjectLockFile(scene.string(), "Ana Ruiz", "suite-1");
    ASSERT_TRUE(lock && lock->IsOwnedByCaller());
    host::ForgetCreatedLock(scene);
    const auto remount = [&disk](unsigned long readOnly) {
        return ::mount(nullptr, disk.c_str(), nullptr, MS_REMOUNT | readOnly, nullptr) == 0;
    };
    ASSERT_TRUE(remount(MS_RDONLY));
    EXPECT_EQ(host::ReleaseOwnLockFile(scene), host::LockRelease::Failed);
    host::KeepReleasing(scene);
    EXPECT_EQ(host::ReleaseCreatedLocks(), 0u);
    EXPECT_EQ(host::LocksLeftBehind(), std::vector<std::string>{scene.string()});
    EXPECT_TRUE(fs::exists(host::LockFilePathFor(scene)));
    // The disk takes changes again: the next try removes it, and nothing is left to name.
    ASSERT_TRUE(remount(0));
    EXPECT_EQ(host::ReleaseCreatedLocks(), 1u);
    EXPECT_TRUE(host::LocksLeftBehind().empty());
    EXPECT_FALSE(fs::exists(host::LockFilePathFor(scene)));
}

TEST_F(LockFilesTest, ALockThatIsNotOursIsNotKeptForLater) {
    WriteAbandonedLock(); // Ana's, from a process that is gone: not this process's
    EXPECT_EQ(host::ReleaseOwnLockFile(project), host::LockRelease::NotOurs);
    EXPECT_EQ(host::ReleaseOwnLockFile(root / "Missing.mvproj"), host::LockRelease::NotOurs);
    host::KeepReleasing(project);
    host::ReleaseCreatedLocks();
    EXPECT_TRUE(host::LocksLeftBehind().empty());
    EXPECT_TRUE(fs::exists(LockPath()));
}

} // namespace
