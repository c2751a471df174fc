// Several editors taking over one abandoned lock at once through real network shares (sshfs
// over our own SSH server, SMB from our own Samba server, both on 127.0.0.1): exactly one wins
// every round, and a live lock that another editor makes meanwhile always survives. On SMB the
// takers reading the lock make the server refuse to rename it for a moment.
#include "GoneProcess.h"
#include "Marvane/application/HostSession.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "SharedBoard.h"
#include "Shares.h"
#include "TemporaryFolder.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

constexpr int kTakers = 8;
constexpr int kRounds = 60;

struct ShareBoard {
    std::array<std::array<unsigned char, kTakers>, kRounds> taken;
    std::array<pid_t, kTakers> pids;
    std::array<unsigned char, kRounds> liveLockMade;
};
using SharedShareBoard = testsupport::SharedBoard<ShareBoard>;

fs::path ProjectOfRound(const fs::path& folder, int round) {
    return folder / ("Round " + std::to_string(round) + ".mvproj");
}

class LockTakeOverShareTest : public testsupport::ShareTest {
protected:
    void SetUp() override {
        testsupport::ShareTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) {
            return;
        }
        host::HostSession::Instance().preferences.locking = {"Ana Ruiz", "suite-1", true};
        host::HostSession::Instance().userOverride.reset();
        // What Chloe's marvane, killed with -9 on this machine, left on the share.
        for (int round = 0; round < kRounds; ++round) {
            host::LockFileContent abandoned = host::MakeLockFileContent("Chloe Diaz", "suite-3");
            abandoned.processId = testsupport::PidOfAGoneProcess();
            std::ofstream(ProjectOfRound(exported, round)) << "{}";
            std::ofstream(host::LockFilePathFor(ProjectOfRound(exported, round)))
                << host::SerialiseLockFile(abandoned);
        }
    }
    void Race(bool withAnotherEditor) {
        board = std::make_unique<SharedShareBoard>(kTakers + (withAnotherEditor ? 1u : 0u));
        std::vector<pid_t> children;
        for (int taker = 0; taker < kTakers; ++taker) {
            const pid_t child = ::fork();
            ASSERT_GE(child, 0);
            if (child == 0) {
                ShareBoard& shared = **board;
                shared.pids[static_cast<std::size_t>(taker)] = ::getpid();
                for (int round = 0; round < kRounds; ++round) {
                    board->StartRound();
                    shared.taken[static_cast<std::size_t>(round)][static_cast<std::size_t>(taker)] =
                        host::ReplaceLockFile(ProjectOfRound(mount, round), {}, nullptr) ==
                        host::TakeOverResult::Taken;
                }
                // Every taker stays until all have finished the last round: the lock of one
                // that ended names a process that is gone, and a slower one would take it
                // over, rightly.
                board->StartRound();
                ::_exit(0);
            }
            children.push_back(child);
        }
        if (withAnotherEditor) {
            const pid_t child = ::fork();
            ASSERT_GE(child, 0);
            if (child == 0) {
                host::HostSession::Instance().preferences.locking = {"Ben Okafor", "suite-2", true};
                for (int round = 0; round < kRounds; ++round) {
                    board->StartRound();
                    // Sooner or later in the take-over, round by round: both outcomes happen.
                    ::usleep(static_cast<useconds_t>((round % 12) * 5000));
                    const fs::path project = ProjectOfRound(mount, round);
                    ::unlink(host::LockFilePathFor(project).c_str());
                    const auto lock =
                        host::CreateProjectLockFile(project.string(), "Ben Okafor", "suite-2");
                    (**board).liveLockMade[static_cast<std::size_t>(round)] =
                        lock && lock->IsOwnedByCaller();
                }
                board->StartRound(); // with the takers, as they end
                ::_exit(0);
            }
            children.push_back(child);
        }
        EXPECT_TRUE(testsupport::children::AllEndedCleanly(children));
    }
    int Owners(int round) {
        int owners = 0;
        for (std::size_t taker = 0; taker < kTakers; ++taker) {
            owners += (**board).taken[static_cast<std::size_t>(round)][taker];
        }
        return owners;
    }
    host::LockFileContent LockOfRound(int round) const {
        host::LockFileContent content;
        EXPECT_EQ(
            host::ReadLockFile(host::LockFilePathFor(ProjectOfRound(exported, round)), content),
            host::LockFileState::Valid)
            << "round " << round;
        return content;
    }

    std::unique_ptr<SharedShareBoard> board;
};

TEST_P(LockTakeOverShareTest, EightEditorsTakingOverThroughTheShareGiveOneOwnerEveryRound) {
    Race(false);
    int roundsWithOneOwner = 0;
    for (int round = 0; round < kRounds; ++round) {
        EXPECT_EQ(Owners(round), 1) << "round " << round;
        roundsWithOneOwner += Owners(round) == 1 ? 1 : 0;
        EXPECT_EQ(LockOfRound(round).lockingName, "Ana Ruiz") << "round " << round;
    }
    EXPECT_EQ(roundsWithOneOwner, kRounds);
    std::cout << "[ figures  ] " << roundsWithOneOwner << " of " << kRounds
              << " rounds through the share had exactly one owner\n";
}

TEST_P(LockTakeOverShareTest, ALiveLockMadeThroughTheShareDuringATakeOverSurvives) {
    Race(true);
    int live = 0;
    int takenOver = 0;
    for (int round = 0; round < kRounds; ++round) {
        EXPECT_LE(Owners(round), 1) << "round " << round;
        if ((**board).liveLockMade[static_cast<std::size_t>(round)]) {
            EXPECT_EQ(LockOfRound(round).lockingName, "Ben Okafor") << "round " << round;
            ++live;
        } else {
            takenOver += Owners(round);
        }
    }
    std::cout << "[ figures  ] the other editor's live lock was made in " << live << " of "
              << kRounds << " rounds and survived in every one; " << takenOver
              << " rounds were taken over first\n";
}

INSTANTIATE_TEST_SUITE_P(Shares, LockTakeOverShareTest,
                         ::testing::ValuesIn(testsupport::ShareKinds()),
                         testsupport::ShareParamName());

} // namespace
