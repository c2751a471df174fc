// A move across file systems killed with -9 at random moments: every file still exists whole
// under its real name at least once, nothing partial ever carries a real name, and the next
// start tidies up what the killed move left under private names.
#include "FileBytes.h"
#include "GoneProcess.h"
#include "Marvane/core/JsonText.h"
#include "Marvane/core/ThisMachine.h"
#include "Marvane/fileservices/FileWriting.h"
#include "Marvane/fileservices/MoveJournal.h"
#include "host/FileServices.h"

#include "Inventory.h"
#include "SmbShare.h"
#include "TemporaryFolder.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iostream>
#include <optional>
#include <random>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using testsupport::Inventory;

constexpr int kRuns = 24;

host::WideString W(const fs::path& path) {
    return host::ToUTF16(path.string());
}

// Files under their real names only: private names (a leading dot) and all below them are
// left out.
Inventory RealNamedFiles(const fs::path& root) {
    Inventory files;
    std::error_code error;
    if (!fs::exists(root, error)) {
        return files;
    }
    for (const auto& [path, content] : testsupport::TakeInventory(root)) {
        const bool hidden = path.front() == '.' || path.find("/.") != std::string::npos;
        if (!hidden && content != "folder") {
            files[path] = content;
        }
    }
    return files;
}

// Hidden files a move makes, left in the folder. A claim on a name (on shares without
// renames that refuse to replace) is not counted: a move killed while holding one leaves it
// to the next claimer of that name, which removes it since its maker is gone.
int PrivateEntries(const fs::path& folder) {
    int count = 0;
    const std::string claim = std::string(host::kPrivateNamePrefix) + "claim.";
    for (const auto& entry : fs::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with(host::kPrivateNamePrefix) && !name.starts_with(claim)) {
            ++count;
            std::cout << "[ left     ] " << entry.path() << "\n";
        }
    }
    return count;
}

void WriteRandomFile(const fs::path& path, std::size_t bytes, std::mt19937& random) {
    std::string data(bytes, '\0');
    for (char& c : data) {
        c = static_cast<char>(random() & 0xff);
    }
    std::ofstream(path, std::ios::binary) << data;
}

class InterruptedMoveTest : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(local / "Trash");
        struct stat a {};
        struct stat b {};
        if (::stat(local.c_str(), &a) != 0 || ::stat(other.c_str(), &b) != 0 ||
            a.st_dev == b.st_dev) {
            GTEST_SKIP() << "/dev/shm is on the same file system as the temporary folder here";
        }
        journal = local / "data" / "Moves";
        host::SetMoveJournalFolder(journal);
    }
    void TearDown() override { host::SetMoveJournalFolder({}); }

    // A day of rushes on another disk: 40 files of 64 KB to 1 MB, some in a sub-folder.
    fs::path WriteDay(unsigned seed) {
        std::mt19937 random(seed);
        const fs::path day = other / "Day1";
        fs::create_directories(day / "Audio");
        for (int file = 0; file < 40; ++file) {
            const fs::path folder = file % 4 == 0 ? day / "Audio" : day;
            WriteRandomFile(folder / ("Take " + std::to_string(file) + ".mov"),
                            64 * 1024 + random() % (960 * 1024), random);
        }
        return day;
    }

    // Moves the day into the trash in a child process, killed after the delay (or left to
    // finish when there is none); returns how long it ran.
    std::chrono::microseconds MoveKilledAfter(const fs::path& day, const fs::path& to,
                                              std::optional<std::chrono::microseconds> delay) {
        const auto start = std::chrono::steady_clock::now();
        const pid_t child = fork();
        if (child == 0) {
            _exit(host::Move(W(day), W(to)) == 0 ? 0 : 1);
        }
        if (delay) {
            std::this_thread::sleep_for(*delay);
            ::kill(child, SIGKILL);
        }
        int status = 0;
        waitpid(child, &status, 0);
        return std::chrono::duration_cast<std::chrono::microseconds>(
            std::chrono::steady_clock::now() - start);
    }

    // Every file of the day exists whole under its real name in one of the two places, and
    // every real-named file there is whole.
    void ExpectNothingLostOrPartial(const Inventory& original, const fs::path& day,
                                    const fs::path& moved, const std::string& when) {
        const Inventory atSource = RealNamedFiles(day);
        const Inventory atDestination = RealNamedFiles(moved);
        for (const auto& [path, content] : original) {
            const auto source = atSource.find(path);
            const auto destination = atDestination.find(path);
            const bool whole =
                (source != atSource.end() && source->second == content) ||
                (destination != atDestination.end() && destination->second == content);
            EXPECT_TRUE(whole) << path << " is not whole anywhere " << when;
        }
        for (const Inventory* place : {&atSource, &atDestination}) {
            for (const auto& [path, content] : *place) {
                const auto known = original.find(path);
                EXPECT_TRUE(known != original.end() && known->second == content)
                    << path << " carries a real name but is not whole " << when;
            }
        }
    }

    // Moves days of rushes into trash (seen as trashOnDisk where they are stored), killing
    // each move at a random moment of the time a whole move takes.
    void KillMovesInto(const fs::path& trash, const fs::path& trashOnDisk, int runs) {
        fs::create_directories(trash);
        // How long a whole move takes here, to spread the kills over it: the quickest of three,
        // since one slowed by a busy machine would spread the kills past the end of most moves.
        for (int attempt = 0; attempt < 3; ++attempt) {
            const fs::path day = WriteDay(1);
            const auto took = MoveKilledAfter(day, trash / "Calibration", std::nullopt);
            ASSERT_TRUE(fs::exists(trashOnDisk / "Calibration" / "Take 1.mov"));
            ASSERT_FALSE(fs::exists(day));
            fs::remove_all(trash / "Calibration");
            calibration = attempt == 0 ? took : std::min(calibration, took);
        }
        std::mt19937 random(20261123);
        int killedBeforeTheEnd = 0;
        for (int run = 0; run < runs; ++run) {
            SCOPED_TRACE("run " + std::to_string(run));
            const fs::path day = WriteDay(static_cast<unsigned>(run + 2));
            const fs::path moved = trash / "Day1";
            const fs::path stored = trashOnDisk / "Day1";
            const Inventory original = RealNamedFiles(day);
            ASSERT_EQ(original.size(), 40u);
            const auto window = static_cast<unsigned long>(calibration.count()) * 11 / 10 + 1;
            const auto delay = std::chrono::microseconds(static_cast<long>(random() % window));
            MoveKilledAfter(day, moved, delay);
            killedBeforeTheEnd += fs::exists(day) ? 1 : 0;
            ExpectNothingLostOrPartial(original, day, stored, "after the kill");

            // The next start tidies up.
            host::FinishInterruptedMoves();
            ExpectNothingLostOrPartial(original, day, stored, "after tidying up");
            EXPECT_EQ(PrivateEntries(other), 0);
            EXPECT_EQ(PrivateEntries(trashOnDisk), 0);
            std::error_code error;
            EXPECT_TRUE(!fs::exists(journal, error) || fs::is_empty(journal, error));
            // Whatever is left is whole in exactly one place, or (killed between the two
            // steps) whole in both.
            if (fs::exists(stored)) {
                const Inventory there = RealNamedFiles(stored);
                EXPECT_TRUE(there == original) << "a destination in place is always complete";
            }
            fs::remove_all(day);
            fs::remove_all(moved);
        }
        // The kills did land in the middle of moves.
        EXPECT_GT(killedBeforeTheEnd, 0);
        std::cout << "[ counts   ] " << runs << " moves into " << trash.parent_path().filename()
                  << " killed at random, " << killedBeforeTheEnd
                  << " before their end: nothing partial under a real name\n";
    }

    // The temporary folder, and a second file system beside it.
    const testsupport::TemporaryFolder localFolder{"interrupted"};
    const testsupport::TemporaryFolder otherFolder{"interrupted", "/dev/shm"};
    const fs::path local = localFolder.Path();
    const fs::path other = otherFolder.Path();
    fs::path journal;
    std::chrono::microseconds calibration{0};
};

TEST_F(InterruptedMoveTest, AMoveKilledAtAnyMomentLeavesEveryFileWholeUnderItsRealName) {
    KillMovesInto(local / "Trash", local / "Trash", kRuns);
}

TEST_F(InterruptedMoveTest, AMoveOntoAnSmbShareKilledAtAnyMomentLeavesEveryFileWhole) {
    if (const std::string why = testsupport::NetworkShare::WhyUnavailable(); !why.empty()) {
        GTEST_SKIP() << why;
    }
    fs::create_directories(local / "Export" / "Pilot");
    testsupport::SmbShare share;
    ASSERT_EQ(share.Start(local / "Export", local / "smb"), "");
    KillMovesInto(share.Path() / "Pilot" / "Trash", local / "Export" / "Pilot" / "Trash", 12);
    share.Stop();
}

TEST_F(InterruptedMoveTest, ARecordCutShortByAKillIsTidiedUpAndALiveOneIsLeft) {
    fs::create_directories(journal);
    const pid_t gone = testsupport::PidOfAGoneProcess();
    // What a kill in the middle of writing a record leaves: part of it, under a private name
    // that names its writer.
    const std::string host = host::ThisHostName();
    const fs::path cutShort = journal / (".mv-write." + host + "." + std::to_string(gone) + ".0.7");
    std::ofstream(cutShort) << R"({"hostName": ")";
    const fs::path ours =
        journal / (".mv-write." + host + "." + std::to_string(::getpid()) + ".0.7");
    std::ofstream(ours) << R"({"hostName": ")";
    EXPECT_EQ(host::FinishInterruptedMoves(), 0u);
    EXPECT_FALSE(fs::exists(cutShort));
    EXPECT_TRUE(fs::exists(ours)); // still being written by a process that runs
}

TEST_F(InterruptedMoveTest, AMoveOfANameThatIsNotUtf8IsRecordedAndTidiedUpByItsBytes) {
    // A Latin-1 folder moved across file systems: its record must be written and found again.
    const fs::path day = other / "D\xED\x61 1";
    fs::create_directories(day);
    std::ofstream(day / "Take 1.mov") << "take";
    ASSERT_EQ(host::Move(W(day), W(local / "Trash" / "D\xED\x61 1")), 0);
    EXPECT_EQ(testsupport::ReadBytes(local / "Trash" / "D\xED\x61 1" / "Take 1.mov"), "take");
    EXPECT_FALSE(fs::exists(day));
    std::error_code error;
    EXPECT_TRUE(!fs::exists(journal, error) || fs::is_empty(journal, error));
    // What a move killed while copying such a name leaves: its record and its private copy.
    const pid_t gone = testsupport::PidOfAGoneProcess();
    const fs::path copy = local / "Trash" / ".mv-copy.partial \xE9";
    fs::create_directories(copy);
    std::ofstream(copy / "Take 1.mov") << "ta";
    fs::create_directories(journal);
    nlohmann::json record = {{"hostName", host::ThisHostName()},
                             {"bootId", host::ThisBootId()},
                             {"processId", gone},
                             {"processStartTicks", 1},
                             {"copy", host::PathToJson(copy)},
                             {"aside", host::PathToJson(other / ".mv-moving.x")},
                             {"source", host::PathToJson(other / "D\xED\x61 2")},
                             {"destination", host::PathToJson(local / "Trash" / "D\xED\x61 2")}};
    std::ofstream(journal / ".mv-move.record") << host::JsonText(record);
    EXPECT_EQ(host::FinishInterruptedMoves(), 1u);
    EXPECT_FALSE(fs::exists(copy));
    EXPECT_FALSE(fs::exists(journal / ".mv-move.record"));
}

} // namespace
