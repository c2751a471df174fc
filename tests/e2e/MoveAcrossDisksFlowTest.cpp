// A folder moved to a Trash on another disk in the real marvane: the window keeps turning
// while the bytes are copied. Prints the longest stall of the event loop during the move
// against the move's own length, measured in the same run. The Trash is a disk of its own
// (a tmpfs, root only).
#include "E2eProjects.h"
#include "ScriptedMarvane.h"
#include "TemporaryFolder.h"
#include "TmpfsMount.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iostream>

namespace {

namespace fs = std::filesystem;
using namespace e2e;

constexpr int kClips = 16;
constexpr std::size_t kClipBytes = 32 * 1024 * 1024;

long long Longest(const std::string& stall) {
    return std::stoll(stall.substr(stall.find('=') + 1));
}

TEST(MoveAcrossDisksFlowTest, TheWindowKeepsTurningWhileAFolderMovesToATrashOnAnotherDisk) {
    const testsupport::TemporaryFolder temporary{"e2e-across-disks"};
    const fs::path production = temporary.Path() / "Pilot";
    WriteProject(production / "Scene 4.mvproj");
    WriteProject(production / "Dailies" / "Shot 1.mvproj");
    const std::string clip(kClipBytes, 'c');
    for (int number = 0; number < kClips; ++number) {
        std::ofstream(production / "Dailies" / ("clip " + std::to_string(number) + ".mov"),
                      std::ios::binary)
            << clip;
    }
    fs::create_directories(production / "Trash");
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

} // namespace
