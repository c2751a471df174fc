// Many processes create the same lock at the same moment: exactly one of them may own it, and
// nobody may ever read a lock file that is only half written.
#include "host/ProjectBackEnd.h"

#include "SharedBoard.h"
#include "TemporaryFolder.h"

#include <array>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

constexpr int kProcesses = 8;
constexpr int kRounds = 500;

struct RaceBoard {
    std::array<std::array<unsigned char, kProcesses>, kRounds> owned;
    std::array<std::array<unsigned char, kProcesses>, kRounds> unreadable;
    std::array<std::array<unsigned char, kProcesses>, kRounds> missing;
};

std::string ProjectOfRound(const fs::path& folder, int round) {
    return (folder / ("Round " + std::to_string(round) + ".mvproj")).string();
}

[[noreturn]] void RaceAsEditor(testsupport::SharedBoard<RaceBoard>& shared, const fs::path& folder,
                               int editor) {
    RaceBoard& board = *shared;
    const std::string name = "Editor " + std::to_string(editor);
    const std::string second = "suite-" + std::to_string(editor);
    for (int round = 0; round < kRounds; ++round) {
        shared.StartRound();
        const auto r = static_cast<std::size_t>(round);
        const auto e = static_cast<std::size_t>(editor);
        const host::ProjectLockFilePtr lock =
            host::CreateProjectLockFile(ProjectOfRound(folder, round), name, second);
        board.missing[r][e] = lock ? 0 : 1;
        board.owned[r][e] = lock && lock->IsOwnedByCaller() ? 1 : 0;
        const host::ProjectLockFilePtr seen =
            host::ReadProjectLockFile(ProjectOfRound(folder, round), name, second);
        const bool torn = (lock && lock->GetOwnerName() == host::kUnreadableLockHolder) || !seen ||
                          seen->GetOwnerName() == host::kUnreadableLockHolder;
        board.unreadable[r][e] = torn ? 1 : 0;
    }
    _exit(0);
}

TEST(LockRace, EightProcessesCreatingOneLockAtOnceGiveExactlyOneOwnerEveryRound) {
    const testsupport::TemporaryFolder temporary("lock-race");
    const fs::path folder = temporary.Path();
    testsupport::SharedBoard<RaceBoard> board(kProcesses);

    std::vector<pid_t> children;
    for (int editor = 0; editor < kProcesses; ++editor) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            RaceAsEditor(board, folder, editor);
        }
        children.push_back(child);
    }
    for (const pid_t child : children) {
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }

    int roundsWithOneOwner = 0;
    for (std::size_t round = 0; round < kRounds; ++round) {
        int owners = 0;
        int torn = 0;
        int failed = 0;
        for (std::size_t editor = 0; editor < kProcesses; ++editor) {
            owners += board->owned[round][editor];
            torn += board->unreadable[round][editor];
            failed += board->missing[round][editor];
        }
        EXPECT_EQ(owners, 1) << "round " << round;
        EXPECT_EQ(torn, 0) << "round " << round;
        EXPECT_EQ(failed, 0) << "round " << round;
        roundsWithOneOwner += owners == 1 ? 1 : 0;
    }
    EXPECT_EQ(roundsWithOneOwner, kRounds);
    // Nothing but the lock files is left in the folder.
    int leftovers = 0;
    for (const auto& entry : fs::directory_iterator(folder)) {
        leftovers += entry.path().extension() == ".lock" ? 0 : 1;
    }
    EXPECT_EQ(leftovers, 0);
}

} // namespace
