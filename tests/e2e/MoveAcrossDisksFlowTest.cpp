// A folder moved to a Trash on another disk in the real marvane: the window keeps turning
// while the bytes are copied, and a Trash whose server stops answering ends the move with the
// reason rather than the window. Prints the longest stall of the event loop during the move,
// against the move's own length measured in the same run. The Trash is a disk of its own (a
// tmpfs), or a share bound onto the Trash folder (root only).
#include "DeepTrees.h"
#include "E2eProjects.h"
#include "ScriptedMarvane.h"
#include "Shares.h"
#include "TemporaryFolder.h"
#include "TmpfsMount.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iostream>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace e2e;

constexpr int kClips = 16;
constexpr std::size_t kClipBytes = 32 * 1024 * 1024;

long long Longest(const std::string& stall) {
    return std::stoll(stall.substr(stall.find('=') + 1));
}

// A production whose folder Dailies holds a project and kClips clips of kClipBytes, with an
// empty Trash folder.
void MakeProductionWithDailies(const fs::path& production) {
    WriteProject(production / "Scene 4.mvproj");
    WriteProject(production / "Dailies" / "Shot 1.mvproj");
    const std::string clip(kClipBytes, 'c');
    for (int number = 0; number < kClips; ++number) {
        std::ofstream(production / "Dailies" / ("clip " + std::to_string(number) + ".mov"),
                      std::ios::binary)
            << clip;
    }
    fs::create_directories(production / "Trash");
}

TEST(MoveAcrossDisksFlowTest, TheWindowKeepsTurningWhileAFolderMovesToATrashOnAnotherDisk) {
    const testsupport::TemporaryFolder temporary{"e2e-across-disks"};
    const fs::path production = temporary.Path() / "Pilot";
    MakeProductionWithDailies(production);
    testsupport::TmpfsMount trash(production / "Trash", {}, "700m");
    if (const std::string why = trash.Mount(); !why.empty()) {
        GTEST_SKIP() << why;
    }
    auto ana = StartEditorOn(production, temporary.Path() / "profiles", "Ana Ruiz");
    ASSERT_EQ(ana->SendUntil({"ui", "rows", kTree}, "ok count=3 Dailies|Scene 4|Trash"),
              "ok count=3 Dailies|Scene 4|Trash");
    ana->Send({"stall"}); // measured from here
    const auto began = std::chrono::steady_clock::now();
    EXPECT_EQ(ana->Send({"move-to-trash", (production / "Dailies").string()}), "ok allowed");
    const long long moveMs = std::chrono::duration_cast<std::chrono::milliseconds>(
                                 std::chrono::steady_clock::now() - began)
                                 .count();
    const long long longest = Longest(ana->Send({"stall"}));
    std::cout << "[ figures  ] moving " << kClips * kClipBytes / (1024 * 1024)
              << " MB to a Trash on another disk took " << moveMs
              << " ms; the longest stall of the event loop meanwhile: " << longest << " ms\n";
    EXPECT_EQ(fs::file_size(production / "Trash" / "Dailies" / "clip 15.mov"), kClipBytes);
    EXPECT_FALSE(fs::exists(production / "Dailies"));
    // The window turned all along: no stall comes near the move's own length.
    EXPECT_LT(longest * 4, moveMs) << "the window waited for the move";
    EXPECT_EQ(ana->Finish(), 0) << ana->ErrorOutput();
}

// Started with the usual allowance of 1,024 open files (and room to raise it), marvane still
// moves a folder 1,000 deep to the other disk: the copy holds two descriptors per level.
TEST(MoveAcrossDisksFlowTest, AFolderAThousandDeepMovesToTheOtherDiskUnderTheUsualFileAllowance) {
    const testsupport::TemporaryFolder temporary{"e2e-deep-across-disks"};
    const fs::path production = temporary.Path() / "Pilot";
    WriteProject(production / "Scene 4.mvproj");
    fs::create_directories(production / "Trash");
    constexpr int kLevels = 1000;
    testsupport::MakeDeepChain(production / "Chain", "Level", kLevels, "the last take");
    testsupport::TmpfsMount trash(production / "Trash", {}, "64m");
    if (const std::string why = trash.Mount(); !why.empty()) {
        GTEST_SKIP() << why;
    }
    ScriptedMarvane ana({"--production", production.string(), "--profile",
                         (temporary.Path() / "profiles" / "Ana Ruiz").string(), "--user",
                         "Ana Ruiz"},
                        {}, {"prlimit", "--nofile=1024:"});
    ASSERT_EQ(ana.ReadLine(), "ready") << ana.ErrorOutput();
    ASSERT_EQ(ana.SendUntil({"ui", "rows", kTree}, "ok count=3 Chain|Scene 4|Trash"),
              "ok count=3 Chain|Scene 4|Trash");
    EXPECT_EQ(ana.Send({"move-to-trash", (production / "Chain").string()}), "ok allowed");
    EXPECT_EQ(testsupport::ReadDeepChain(production / "Trash" / "Chain", "Level", kLevels),
              "the last take");
    EXPECT_FALSE(fs::exists(production / "Chain"));
    EXPECT_EQ(ana.Finish(), 0) << ana.ErrorOutput();
    // What the Trash holds goes with its disk.
}

} // namespace

namespace {

// The Trash on a share, bound onto the production's Trash folder (root only).
class MoveToAShareThatHangsTest : public testsupport::ShareTest {
protected:
    void TearDown() override {
        share->ThawServer();
        if (bound) {
            const std::string command = "umount -l '" + (production / "Trash").string() + "'";
            [[maybe_unused]] const int ignored = std::system(command.c_str());
        }
        ShareTest::TearDown();
    }
    const fs::path production = root / "Pilot";
    bool bound = false;
};

TEST_P(MoveToAShareThatHangsTest, AMoveToATrashWhoseServerStopsAnsweringEndsWithTheReason) {
    MakeProductionWithDailies(production);
    const std::string bind =
        "mount --bind '" + mount.string() + "' '" + (production / "Trash").string() + "'";
    bound = std::system((bind + " 2>/dev/null").c_str()) == 0;
    if (!bound) {
        GTEST_SKIP() << "the share cannot be bound onto the Trash here (root only)";
    }
    auto ana = StartEditorOn(production, root / "profiles", "Ana Ruiz");
    ASSERT_EQ(ana->SendUntil({"ui", "rows", kTree}, "ok count=3 Dailies|Scene 4|Trash"),
              "ok count=3 Dailies|Scene 4|Trash");
    ana->Send({"stall"}); // measured from here
    ASSERT_TRUE(ana->Post({"move-to-trash", (production / "Dailies").string()}));
    // The server stops answering while the bytes go.
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    share->FreezeServer();
    EXPECT_EQ(ana->ReadLine(std::chrono::seconds(60)), "ok allowed");
    const long long longest = Longest(ana->Send({"stall"}));
    std::cout << "[ figures  ] " << GetParam()
              << ": longest stall of the event loop while a move to a Trash whose server "
                 "stopped answering was given up: "
              << longest << " ms\n";
    EXPECT_LT(longest, 1000);
    const std::string said = ana->SendUntilHolding({"last-dialog"}, "Not Everything Was Done");
    EXPECT_NE(said.find("\"Dailies\" could not be moved into"), std::string::npos) << said;
    EXPECT_NE(said.find("the disk stopped answering"), std::string::npos) << said;
    // Nothing of the folder was lost.
    for (int number = 0; number < kClips; ++number) {
        EXPECT_EQ(
            fs::file_size(production / "Dailies" / ("clip " + std::to_string(number) + ".mov")),
            kClipBytes);
    }
    // The server answers again: the copy begun stops and takes away what it made.
    share->ThawServer();
    const auto halfMade = [&] {
        int found = 0;
        for (const auto& entry : fs::recursive_directory_iterator(exported)) {
            found += entry.path().filename().string().rfind(".mv-", 0) == 0 ? 1 : 0;
        }
        return found;
    };
    for (int attempt = 0; attempt < 200 && halfMade() > 0; ++attempt) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    EXPECT_EQ(halfMade(), 0);
    EXPECT_FALSE(fs::exists(exported / "Dailies"));
    EXPECT_EQ(ana->Finish(), 0) << ana->ErrorOutput();
}

INSTANTIATE_TEST_SUITE_P(Shares, MoveToAShareThatHangsTest,
                         ::testing::ValuesIn(testsupport::ShareKinds()),
                         testsupport::ShareParamName());

} // namespace
