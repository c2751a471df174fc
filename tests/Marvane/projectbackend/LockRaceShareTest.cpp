// Four editors open one project at the same moment through a real network share, as four
// copies of marvane on four machines would: exactly one gets the lock, the others read it (as
// their pages and panels do) while the owner closes the project, and no lock is left behind.
// On SMB the readers make the server refuse the owner's release for a moment.
#include "Marvane/application/HostSession.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "host/ProjectBackEnd.h"

#include "SharedBoard.h"
#include "Shares.h"
#include "TemporaryFolder.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iostream>
#include <memory>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

constexpr int kEditors = 4;
constexpr int kRounds = 60;

struct RaceBoard {
    std::array<std::array<unsigned char, kEditors>, kRounds> owned;
    std::array<std::array<unsigned char, kEditors>, kRounds> released;
};

class LockRaceShareTest : public testsupport::ShareTest {
protected:
    void SetUp() override {
        testsupport::ShareTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) {
            return;
        }
        for (int round = 0; round < kRounds; ++round) {
            std::ofstream(exported / ProjectName(round)) << R"({"formatVersion":1})";
        }
    }
    static std::string ProjectName(int round) {
        return "Round " + std::to_string(round) + ".mvproj";
    }
};

[[noreturn]] void RaceAsEditor(testsupport::SharedBoard<RaceBoard>& shared, const fs::path& folder,
                               int editor) {
    const std::string name = "Editor " + std::to_string(editor);
    const std::string second = "suite-" + std::to_string(editor);
    host::HostSession::Instance().preferences.locking = {name, second, true};
    for (int round = 0; round < kRounds; ++round) {
        shared.StartRound();
        const auto r = static_cast<std::size_t>(round);
        const auto e = static_cast<std::size_t>(editor);
        const fs::path project = folder / ("Round " + std::to_string(round) + ".mvproj");
        const host::ProjectLockFilePtr lock =
            host::CreateProjectLockFile(project.string(), name, second);
        const bool owner = lock && lock->IsOwnedByCaller();
        shared->owned[r][e] = owner ? 1 : 0;
        shared.StartRound(); // everyone has tried before the owner closes
        if (owner) {
            host::ForgetCreatedLock(project);
            shared->released[r][e] = host::RemoveOwnLockFile(project) ? 1 : 0;
        } else {
            // The others look at who holds it while the owner closes the project.
            for (int look = 0; look < 20; ++look) {
                host::ReadProjectLockFile(project.string(), name, second);
            }
        }
    }
    _exit(0);
}

TEST_P(LockRaceShareTest, OneOwnerEveryRoundAndNoLockLeftAfterItCloses) {
    testsupport::SharedBoard<RaceBoard> board(kEditors);
    std::vector<pid_t> editors;
    for (int editor = 0; editor < kEditors; ++editor) {
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            RaceAsEditor(board, share->Path(), editor);
        }
        editors.push_back(child);
    }
    EXPECT_TRUE(testsupport::children::AllEndedCleanly(editors));
    int oneOwner = 0;
    int released = 0;
    for (int round = 0; round < kRounds; ++round) {
        int owners = 0;
        for (int editor = 0; editor < kEditors; ++editor) {
            owners +=
                board->owned[static_cast<std::size_t>(round)][static_cast<std::size_t>(editor)];
            released +=
                board->released[static_cast<std::size_t>(round)][static_cast<std::size_t>(editor)];
        }
        EXPECT_EQ(owners, 1) << "round " << round;
        oneOwner += owners == 1 ? 1 : 0;
    }
    share->Stop(); // every pending close reaches the server
    int stranded = 0;
    for (int round = 0; round < kRounds; ++round) {
        stranded += fs::exists(host::LockFilePathFor(exported / ProjectName(round))) ? 1 : 0;
    }
    EXPECT_EQ(oneOwner, kRounds);
    EXPECT_EQ(released, kRounds);
    EXPECT_EQ(stranded, 0);
    std::cout << "[ counts   ] " << GetParam() << ": " << oneOwner << " of " << kRounds
              << " rounds had one owner; " << released << " released while " << kEditors - 1
              << " colleagues read; " << stranded << " locks left\n";
}

INSTANTIATE_TEST_SUITE_P(Shares, LockRaceShareTest, ::testing::ValuesIn(testsupport::ShareKinds()),
                         testsupport::ShareParamName());

} // namespace
