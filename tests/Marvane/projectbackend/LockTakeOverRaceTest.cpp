// Many copies of one editor take over the lock a crashed copy left behind, all at the same
// moment: exactly one of them may get it, and a live lock that appears meanwhile stays.
#include "GoneProcess.h"
#include "Marvane/application/HostSession.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "SharedBoard.h"
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
constexpr int kRounds = 500;

struct TakeOverBoard {
    std::array<std::array<unsigned char, kTakers>, kRounds> taken;
    std::array<pid_t, kTakers> pids;
    std::array<unsigned char, kRounds> liveLockMade;
};

fs::path ProjectOfRound(const fs::path& folder, int round) {
    return folder / ("Round " + std::to_string(round) + ".mvproj");
}

// Whose abandoned lock the takers race for: their own identity's (several copies of one
// editor), or another editor's (Take Over by several editors at once).
bool gTakingOverAnotherEditor = false;

// What a copy killed with -9 leaves: a lock naming a process that is gone.
void PlantAbandonedLock(const fs::path& project) {
    host::LockFileContent abandoned =
        host::MakeLockFileContent(gTakingOverAnotherEditor ? "Chloe Diaz" : "Ana Ruiz",
                                  gTakingOverAnotherEditor ? "suite-3" : "suite-1");
    abandoned.processId = testsupport::PidOfAGoneProcess();
    std::ofstream(host::LockFilePathFor(project)) << host::SerialiseLockFile(abandoned);
}

using SharedTakeOverBoard = testsupport::SharedBoard<TakeOverBoard>;

[[noreturn]] void TakeOver(SharedTakeOverBoard& shared, const fs::path& folder, int taker) {
    TakeOverBoard& board = *shared;
    board.pids[static_cast<std::size_t>(taker)] = ::getpid();
    for (int round = 0; round < kRounds; ++round) {
        shared.StartRound();
        const fs::path project = ProjectOfRound(folder, round);
        const bool won = (gTakingOverAnotherEditor
                              ? host::ReplaceLockFile(project, host::LockReplacement{}, nullptr)
                              : host::TakeOverOwnLockFile(project)) == host::TakeOverResult::Taken;
        board.taken[static_cast<std::size_t>(round)][static_cast<std::size_t>(taker)] = won;
    }
    // Every copy stays until all have finished the last round: the lock of a copy that ended
    // names a process that is gone, and a slower copy would take it over, rightly.
    shared.StartRound();
    _exit(0);
}

// Another editor, whose lock appears in the moment the abandoned one is gone.
[[noreturn]] void LockAfresh(SharedTakeOverBoard& shared, const fs::path& folder) {
    TakeOverBoard& board = *shared;
    host::HostSession::Instance().preferences.locking = {"Ben Okafor", "suite-2", true};
    for (int round = 0; round < kRounds; ++round) {
        shared.StartRound();
        const fs::path project = ProjectOfRound(folder, round);
        ::unlink(host::LockFilePathFor(project).c_str());
        const auto lock = host::CreateProjectLockFile(project.string(), "Ben Okafor", "suite-2");
        board.liveLockMade[static_cast<std::size_t>(round)] = lock && lock->IsOwnedByCaller();
    }
    shared.StartRound(); // with the takers, as they end
    _exit(0);
}

class LockTakeOverRace : public ::testing::Test {
protected:
    void SetUp() override {
        gTakingOverAnotherEditor = false;
        PlantAll();
    }
    void PlantAll() {
        host::HostSession::Instance().preferences.locking = {"Ana Ruiz", "suite-1", true};
        host::HostSession::Instance().userOverride.reset();
        for (int round = 0; round < kRounds; ++round) {
            PlantAbandonedLock(ProjectOfRound(folder, round));
        }
    }

    void Race(bool withAnotherEditor) {
        shared = std::make_unique<SharedTakeOverBoard>(kTakers + (withAnotherEditor ? 1u : 0u));
        std::vector<pid_t> children;
        for (int taker = 0; taker < kTakers; ++taker) {
            const pid_t child = fork();
            ASSERT_GE(child, 0);
            if (child == 0) {
                TakeOver(*shared, folder, taker);
            }
            children.push_back(child);
        }
        if (withAnotherEditor) {
            const pid_t child = fork();
            ASSERT_GE(child, 0);
            if (child == 0) {
                LockAfresh(*shared, folder);
            }
            children.push_back(child);
        }
        for (const pid_t child : children) {
            int status = 0;
            ASSERT_EQ(waitpid(child, &status, 0), child);
            EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
        }
    }

    // How many takers won the round, and the last winner's process.
    int OwnersOfRound(int round, pid_t* winner = nullptr) {
        const auto r = static_cast<std::size_t>(round);
        int owners = 0;
        for (std::size_t taker = 0; taker < kTakers; ++taker) {
            owners += Results().taken[r][taker];
            if (winner != nullptr && Results().taken[r][taker]) {
                *winner = Results().pids[taker];
            }
        }
        return owners;
    }

    // The lock on disk at the end of a round.
    host::LockFileContent LockOfRound(int round) const {
        host::LockFileContent content;
        EXPECT_EQ(host::ReadLockFile(host::LockFilePathFor(ProjectOfRound(folder, round)), content),
                  host::LockFileState::Valid)
            << "round " << round;
        return content;
    }

    int LeftoversInFolder() const {
        int leftovers = 0;
        for (const auto& entry : fs::directory_iterator(folder)) {
            leftovers += entry.path().extension() == ".lock" ? 0 : 1;
        }
        return leftovers;
    }

    const testsupport::TemporaryFolder temporary{"takeover"};
    const fs::path folder = temporary.Path();
    std::unique_ptr<SharedTakeOverBoard> shared;
    // What the racing processes wrote.
    TakeOverBoard& Results() { return **shared; }
};

TEST_F(LockTakeOverRace, EightCopiesTakingOverOneAbandonedLockGiveExactlyOneOwnerEveryRound) {
    Race(false);
    int roundsWithOneOwner = 0;
    for (int round = 0; round < kRounds; ++round) {
        pid_t winner = 0;
        const int owners = OwnersOfRound(round, &winner);
        EXPECT_EQ(owners, 1) << "round " << round;
        // The lock on disk is the winner's own.
        EXPECT_EQ(LockOfRound(round).processId, winner) << "round " << round;
        roundsWithOneOwner += owners == 1 ? 1 : 0;
    }
    EXPECT_EQ(roundsWithOneOwner, kRounds);
    // No marker and no lock taken aside is left behind.
    EXPECT_EQ(LeftoversInFolder(), 0);
}

TEST_F(LockTakeOverRace,
       EightEditorsTakingOverAnotherEditorsAbandonedLockGiveOneOwnerAndKeepALiveLock) {
    gTakingOverAnotherEditor = true;
    PlantAll();
    Race(false);
    for (int round = 0; round < kRounds; ++round) {
        pid_t winner = 0;
        EXPECT_EQ(OwnersOfRound(round, &winner), 1) << "round " << round;
        EXPECT_EQ(LockOfRound(round).processId, winner) << "round " << round;
        EXPECT_EQ(LockOfRound(round).lockingName, "Ana Ruiz") << "round " << round;
    }
    EXPECT_EQ(LeftoversInFolder(), 0);
    // Again, with another editor locking afresh in the moment each lock is free.
    PlantAll();
    Race(true);
    int roundsWithTheLiveLock = 0;
    for (int round = 0; round < kRounds; ++round) {
        EXPECT_LE(OwnersOfRound(round), 1) << "round " << round;
        if (Results().liveLockMade[static_cast<std::size_t>(round)]) {
            EXPECT_EQ(LockOfRound(round).lockingName, "Ben Okafor") << "round " << round;
            ++roundsWithTheLiveLock;
        }
    }
    EXPECT_GT(roundsWithTheLiveLock, 0);
    EXPECT_EQ(LeftoversInFolder(), 0);
    gTakingOverAnotherEditor = false;
}

TEST_F(LockTakeOverRace, ALiveLockMadeDuringATakeOverIsNeverRemoved) {
    Race(true);
    int roundsWithTheLiveLock = 0;
    for (int round = 0; round < kRounds; ++round) {
        EXPECT_LE(OwnersOfRound(round), 1) << "round " << round;
        const host::LockFileContent onDisk = LockOfRound(round);
        if (Results().liveLockMade[static_cast<std::size_t>(round)]) {
            // The other editor got the project: their lock is the one there, whatever the
            // copies taking over did.
            EXPECT_EQ(onDisk.lockingName, "Ben Okafor") << "round " << round;
            ++roundsWithTheLiveLock;
        }
    }
    // Both outcomes happen: the race is real.
    EXPECT_GT(roundsWithTheLiveLock, 0);
    EXPECT_EQ(LeftoversInFolder(), 0);
}

} // namespace
