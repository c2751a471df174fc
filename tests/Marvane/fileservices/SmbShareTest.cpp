// A production on a real SMB share (Samba on 127.0.0.1, mounted with smbnetfs), with colleagues
// reading its locks: what the share does differently, and the promises that hold on it anyway.
#include "GoneProcess.h"
#include "Marvane/application/HostSession.h"
#include "Marvane/application/LockAudit.h"
#include "Marvane/core/ThisMachine.h"
#include "Marvane/fileservices/FileNameRules.h"
#include "Marvane/fileservices/FileWriting.h"
#include "Marvane/fileservices/KeptCreation.h"
#include "Marvane/fileservices/MountKinds.h"
#include "Marvane/fileservices/NameClaim.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "host/CoreTypes.h"

#include "FileBytes.h"
#include "SharedBoard.h"
#include "SmbShare.h"
#include "TemporaryFolder.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iostream>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;

class SmbShareTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (const std::string why = testsupport::NetworkShare::WhyUnavailable(); !why.empty()) {
            GTEST_SKIP() << why;
        }
        exported = root / "Export";
        fs::create_directories(exported);
        ASSERT_EQ(share.Start(exported, root / "work"), "");
        production = share.Path();
        host::HostSession::Instance().preferences.locking = {"Ana Ruiz", "suite-1", true};
        host::HostSession::Instance().userOverride.reset();
    }
    void TearDown() override {
        StopReading();
        host::SetFileNameRuleFolder({});
        share.Stop();
    }

    // Colleagues' copies reading the lock again and again, as their panels and heartbeats do
    // (a busy production: every few milliseconds), each in a process of its own, until
    // StopReading.
    void StartReading(const fs::path& lock, int readers) {
        for (int reader = 0; reader < readers; ++reader) {
            const pid_t child = ::fork();
            ASSERT_GE(child, 0);
            if (child == 0) {
                char buffer[4096];
                while (true) {
                    const int handle = ::open(lock.c_str(), O_RDONLY | O_CLOEXEC);
                    if (handle >= 0) {
                        while (::read(handle, buffer, sizeof(buffer)) > 0) {
                        }
                        ::close(handle);
                    }
                    std::this_thread::sleep_for(std::chrono::milliseconds(5));
                }
            }
            mReaders.push_back(child);
        }
    }
    void StopReading() {
        for (const pid_t reader : mReaders) {
            ::kill(reader, SIGKILL);
            ::waitpid(reader, nullptr, 0);
        }
        mReaders.clear();
    }

    // First, so that it goes last, after the share.
    const testsupport::TemporaryFolder temporary{"smb-share"};
    const fs::path root = temporary.Path();
    fs::path exported;
    fs::path production;
    testsupport::SmbShare share;
    std::vector<pid_t> mReaders;
};

TEST_F(SmbShareTest, TheShareRefusesLinksNoReplaceRenamesAndRenamesOfOpenFiles) {
    std::ofstream(production / "a.mov") << "a";
    std::ofstream(production / "b.mov") << "b";
    EXPECT_NE(::link((production / "a.mov").c_str(), (production / "c.mov").c_str()), 0);
    EXPECT_EQ(errno, EPERM);
    EXPECT_NE(::renameat2(AT_FDCWD, (production / "a.mov").c_str(), AT_FDCWD,
                          (production / "free.mov").c_str(), RENAME_NOREPLACE),
              0);
    EXPECT_EQ(errno, EINVAL);
    {
        const int open = ::open((production / "b.mov").c_str(), O_RDONLY);
        ASSERT_GE(open, 0);
        EXPECT_NE(::rename((production / "b.mov").c_str(), (production / "d.mov").c_str()), 0);
        EXPECT_EQ(errno, EBUSY);
        ::close(open);
    }
    // An exclusive creation holds; a plain rename replaces.
    EXPECT_LT(::open((production / "b.mov").c_str(), O_WRONLY | O_CREAT | O_EXCL, 0644), 0);
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(::rename((production / "a.mov").c_str(), (production / "b.mov").c_str()), 0);
    EXPECT_EQ(testsupport::ReadBytes(exported / "b.mov"), "a");
}

TEST_F(SmbShareTest, AProductionOnTheShareIsAnSmbShareAndTakesWindowsNames) {
    EXPECT_EQ(host::ShareKindOf(production), host::ShareKind::Smb);
    host::SetFileNameRuleFolder(production);
    EXPECT_EQ(host::CurrentFileNameRule(), host::FileNameRule::Windows);
    for (const char16_t* name : {u"a:b", u"star*", u"lt<gt", u"pipe|x", u"quo\"te", u"q?x", u"CON",
                                 u"trail.", u"space "}) {
        EXPECT_FALSE(host::IsValidFileNameUnder(name, host::CurrentFileNameRule()))
            << host::ToUTF8(name);
    }
    EXPECT_TRUE(host::IsValidFileNameUnder(u"Scene 12", host::CurrentFileNameRule()));
}

TEST_F(SmbShareTest, AnOwnLockIsReleasedWhileColleaguesReadIt) {
    constexpr int kRounds = 30;
    const fs::path project = production / "Scene 1.mvproj";
    std::ofstream(project) << R"({"formatVersion":1})";
    int stranded = 0;
    for (int round = 0; round < kRounds; ++round) {
        const auto lock = host::CreateProjectLockFile(project.string(), "Ana Ruiz", "suite-1");
        ASSERT_TRUE(lock && lock->IsOwnedByCaller()) << "round " << round;
        host::ForgetCreatedLock(project);
        StartReading(host::LockFilePathFor(project), 3);
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        const host::LockRelease released = host::ReleaseOwnLockFile(project);
        StopReading();
        EXPECT_EQ(released, host::LockRelease::Released) << "round " << round;
        stranded += fs::exists(host::LockFilePathFor(exported / "Scene 1.mvproj")) ? 1 : 0;
        fs::remove(host::LockFilePathFor(exported / "Scene 1.mvproj"));
    }
    EXPECT_EQ(stranded, 0) << stranded << " of " << kRounds << " locks stayed on the share";
    std::cout << "[ counts   ] " << kRounds - stranded << " of " << kRounds
              << " locks released while three colleagues read them\n";
}

TEST_F(SmbShareTest, AnAbandonedLockIsTakenOverWhileColleaguesReadIt) {
    constexpr int kRounds = 10;
    int taken = 0;
    for (int round = 0; round < kRounds; ++round) {
        const fs::path project = production / ("Round " + std::to_string(round) + ".mvproj");
        std::ofstream(project) << "{}";
        host::LockFileContent abandoned = host::MakeLockFileContent("Ana Ruiz", "suite-1");
        abandoned.processId = testsupport::PidOfAGoneProcess();
        std::ofstream(host::LockFilePathFor(project)) << host::SerialiseLockFile(abandoned);
        StartReading(host::LockFilePathFor(project), 3);
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        const host::TakeOverResult result = host::TakeOverOwnLockFile(project);
        StopReading();
        EXPECT_EQ(result, host::TakeOverResult::Taken) << "round " << round;
        taken += result == host::TakeOverResult::Taken ? 1 : 0;
        host::LockFileContent now;
        ASSERT_EQ(host::ReadLockFile(host::LockFilePathFor(project), now),
                  host::LockFileState::Valid);
        EXPECT_EQ(now.processId, ::getpid());
        host::ForgetCreatedLock(project);
        EXPECT_TRUE(host::RemoveOwnLockFile(project));
    }
    std::cout << "[ counts   ] " << taken << " of " << kRounds
              << " abandoned locks taken over while three colleagues read them\n";
}

TEST_F(SmbShareTest, TheRecordOfBrokenLocksIsWrittenAndTheShareKeepsAnswering) {
    const fs::path project = production / "Scene 1.mvproj";
    std::string error;
    ASSERT_TRUE(
        host::RecordLockBreak(production, project, R"({"lockingName":"Ben"})", "take over", error))
        << error;
    ASSERT_TRUE(host::RecordLockBreak(production, project, R"({"lockingName":"Chloe"})",
                                      "break lock", error))
        << error;
    const std::string record = testsupport::ReadBytes(host::LockAuditFile(exported));
    std::istringstream lines(record);
    std::vector<std::string> written;
    for (std::string line; std::getline(lines, line);) {
        written.push_back(line);
    }
    ASSERT_EQ(written.size(), 2u) << record;
    EXPECT_NE(written[0].find("Ben"), std::string::npos);
    EXPECT_NE(written[1].find("Chloe"), std::string::npos);
    // The client did not drop its connection: the share answers at once.
    const auto before = std::chrono::steady_clock::now();
    EXPECT_TRUE(fs::exists(production / ".marvane"));
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(1));
}

struct PlaceBoard {
    int placed[100][2];
};

TEST_F(SmbShareTest, TwoProcessesPlacingFilesAtOneNameNeverReplaceEachOther) {
    constexpr int kRounds = 100;
    testsupport::SharedBoard<PlaceBoard> board(2);
    std::vector<pid_t> editors;
    for (int editor = 0; editor < 2; ++editor) {
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            for (int round = 0; round < kRounds; ++round) {
                board.StartRound();
                std::string error;
                board->placed[round][editor] = static_cast<int>(
                    host::PlaceNewFile(production / ("Round " + std::to_string(round) + ".mvproj"),
                                       "editor " + std::to_string(editor), error));
            }
            ::_exit(0);
        }
        editors.push_back(child);
    }
    EXPECT_TRUE(testsupport::children::AllEndedCleanly(editors));
    int oneWinner = 0;
    for (int round = 0; round < kRounds; ++round) {
        const int placed =
            (board->placed[round][0] == static_cast<int>(host::PlaceResult::Placed) ? 1 : 0) +
            (board->placed[round][1] == static_cast<int>(host::PlaceResult::Placed) ? 1 : 0);
        EXPECT_EQ(placed, 1) << "round " << round;
        const std::string content =
            testsupport::ReadBytes(exported / ("Round " + std::to_string(round) + ".mvproj"));
        const int winner =
            board->placed[round][0] == static_cast<int>(host::PlaceResult::Placed) ? 0 : 1;
        EXPECT_EQ(content, "editor " + std::to_string(winner)) << "round " << round;
        oneWinner += placed == 1 ? 1 : 0;
    }
    std::cout << "[ counts   ] " << oneWinner << " of " << kRounds
              << " rounds placed exactly one file\n";
}

TEST_F(SmbShareTest, AClaimLeftByAKilledProcessDoesNotBlockTheName) {
    std::ofstream(production / "Take.mov") << "take";
    // A copy of marvane on this machine was killed while it held the name's claim.
    const fs::path claim = host::NameClaim::ClaimPathFor(production / "Placed.mov");
    std::ofstream(claim) << host::ThisHostName() << ' ' << host::ThisBootId() << ' '
                         << testsupport::PidOfAGoneProcess() << " 1\n";
    EXPECT_EQ(host::RenameNoReplace(production / "Take.mov", production / "Placed.mov"), 0);
    EXPECT_EQ(testsupport::ReadBytes(exported / "Placed.mov"), "take");
    EXPECT_FALSE(fs::exists(claim));
}

// Its "Date Created" across saves: CreationOnSharesTest.
TEST_F(SmbShareTest, ASaveOnTheShareReplacesTheFileWhole) {
    const fs::path file = production / "Scene 12.mvproj";
    std::ofstream(file) << "first\n";
    std::string error;
    ASSERT_TRUE(host::ReplaceFile(file, "probe\n", error)) << error;
    ASSERT_TRUE(host::ReplaceFile(file, "saved\n", error)) << error;
    EXPECT_EQ(testsupport::ReadBytes(file), "saved\n");
    EXPECT_EQ(testsupport::ReadBytes(exported / "Scene 12.mvproj"), "saved\n");
}

} // namespace
