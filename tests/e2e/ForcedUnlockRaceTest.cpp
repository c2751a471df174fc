// An editor saves again and again while a colleague forces her lock away from a terminal and
// two more editors switch the project to read-write as soon as it is free: every save she was
// told had succeeded must still be in the project after the winner's first save.
#include "E2eProjects.h"
#include "FileBytes.h"
#include "MarvaneProcess.h"
#include "ScriptedMarvane.h"
#include "TemporaryFolder.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace e2e;
using testsupport::ReadBytes;

constexpr int kRounds = 100;

bool StartsWith(const std::string& text, const std::string& start) {
    return text.rfind(start, 0) == 0;
}

class ForcedUnlockRaceTest : public ::testing::Test {
protected:
    void SetUp() override { WriteProject(scene, "Assembly"); }

    std::unique_ptr<ScriptedMarvane> StartEditor(const std::string& name) const {
        return StartEditorOn(production, root, name);
    }

    // Switches the project to read-write until it is ours or the other editor has it; true
    // when it is ours.
    static bool TakeWhenFree(ScriptedMarvane& editor, const std::string& path,
                             const std::string& other, const std::atomic<bool>& given) {
        const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (std::chrono::steady_clock::now() < until) {
            const std::string answer = editor.Send({"read-only", path, "0"});
            if (StartsWith(answer, "ok")) {
                return true;
            }
            if (answer.find("locked by " + other) != std::string::npos || given) {
                return false;
            }
        }
        return false;
    }

    // The winner's first save: a version it did not read is reloaded first, never saved over.
    static std::string SaveAsWinner(ScriptedMarvane& editor, const std::string& path,
                                    const std::string& sequence) {
        std::string answer;
        for (int attempt = 0; attempt < 3; ++attempt) {
            if (editor.Send({"add-sequence", path, sequence}) != "ok") {
                return "error cannot edit";
            }
            answer = editor.Send({"save", path});
            if (answer == "ok") {
                return answer;
            }
            if (editor.Send({"reload", path}) != "ok") {
                return answer;
            }
        }
        return answer;
    }

    const testsupport::TemporaryFolder temporary{"e2e-forced-unlock"};
    const fs::path root = temporary.Path();
    const fs::path production = root / "Pilot";
    const fs::path scene = production / "Scene 12.mvproj";
};

TEST_F(ForcedUnlockRaceTest, NoSaveAcknowledgedBeforeAForcedUnlockIsLostToTheNextWriter) {
    const std::string path = scene.string();
    auto ana = StartEditor("Ana Ruiz");
    auto chloe = StartEditor("Chloe Diaz");
    auto dev = StartEditor("Dev Patel");
    ASSERT_EQ(ana->Send({"open", path}), "ok") << ana->ErrorOutput();
    ASSERT_EQ(chloe->Send({"open", path}), "ok") << chloe->ErrorOutput();
    ASSERT_EQ(dev->Send({"open", path}), "ok") << dev->ErrorOutput();

    std::mt19937 random(20261125);
    int lost = 0;
    int acknowledgedInAll = 0;
    int anaToldOfLoss = 0;
    for (int round = 0; round < kRounds; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        // Ana writes and holds the lock.
        const std::string mode = ana->Send({"read-only", path, "0"});
        ASSERT_TRUE(StartsWith(mode, "ok")) << mode;
        ASSERT_NE(ana->Send({"status", path}).find("read-only=0"), std::string::npos);

        std::vector<std::string> acknowledged;
        std::atomic<bool> anaStopped{false};
        std::thread saving([&] {
            const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(30);
            for (int save = 0; std::chrono::steady_clock::now() < until; ++save) {
                const std::string sequence =
                    "Ana " + std::to_string(round) + "." + std::to_string(save);
                if (ana->Send({"add-sequence", path, sequence}) != "ok" ||
                    ana->Send({"save", path}) != "ok") {
                    break;
                }
                acknowledged.push_back(sequence);
            }
            anaStopped = true;
        });
        std::atomic<bool> given{false};
        std::atomic<int> winner{0};
        auto taking = [&](ScriptedMarvane& editor, const std::string& other, int id) {
            if (TakeWhenFree(editor, path, other, given)) {
                winner = id;
                given = true;
            }
        };
        std::thread chloeTakes(taking, std::ref(*chloe), "Dev Patel", 1);
        std::thread devTakes(taking, std::ref(*dev), "Chloe Diaz", 2);

        // Ben forces the lock away from a terminal while Ana is saving.
        std::this_thread::sleep_for(std::chrono::milliseconds(static_cast<int>(random() % 40)));
        const ProcessResult unlock =
            RunMarvane({"unlock", "--force", "--user", "Ben Okafor", "--profile",
                        (root / "Ben Okafor").string(), path});
        EXPECT_EQ(unlock.exitCode, 0) << unlock.out << unlock.err;
        chloeTakes.join();
        devTakes.join();
        saving.join();
        ASSERT_TRUE(anaStopped);
        ASSERT_NE(winner.load(), 0) << "nobody took the project after the unlock";
        ScriptedMarvane& taker = winner == 1 ? *chloe : *dev;

        const std::string saved = SaveAsWinner(taker, path, "Winner " + std::to_string(round));
        ASSERT_EQ(saved, "ok");
        const std::string onDisk = ReadBytes(scene);
        for (const std::string& sequence : acknowledged) {
            if (onDisk.find("\"" + sequence + "\"") == std::string::npos) {
                ++lost;
                ADD_FAILURE() << "the acknowledged save \"" << sequence << "\" is lost";
            }
        }
        acknowledgedInAll += static_cast<int>(acknowledged.size());
        // The winner lets go, and the loser and Ana read again from the next round on.
        ASSERT_EQ(taker.Send({"read-only", path, "1"}), "ok reload=0");
        anaToldOfLoss += ana->Send({"status", path}).find("read-only=1") != std::string::npos;
    }
    EXPECT_EQ(lost, 0) << "of " << acknowledgedInAll << " acknowledged saves";
    EXPECT_GT(acknowledgedInAll, kRounds);
    EXPECT_EQ(anaToldOfLoss, kRounds); // Ana learnt of every loss at her next save
    EXPECT_EQ(ana->Finish(), 0) << ana->ErrorOutput();
    EXPECT_EQ(chloe->Finish(), 0) << chloe->ErrorOutput();
    EXPECT_EQ(dev->Finish(), 0) << dev->ErrorOutput();
}

} // namespace
