// A big project opened from the panel in the real marvane: its tab is there at once, saying it
// is being opened, the window keeps turning while the file is read, and the project's own page
// takes the tab's place. Prints the longest stall of the event loop during the opening,
// against the opening's own length measured in the same run.
#include "E2eProjects.h"
#include "ScriptedMarvane.h"
#include "TemporaryFolder.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iostream>

namespace {

namespace fs = std::filesystem;
using namespace e2e;

constexpr int kSequences = 1'000'000;

// A project file of kSequences sequences, as an editor's long-running feature has.
void WriteBigProject(const fs::path& path) {
    fs::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary);
    file << R"({"formatVersion":1,"name":"Feature","bins":["Footage"],"sequences":[)";
    for (int index = 0; index < kSequences; ++index) {
        file << (index == 0 ? "" : ",") << "\"Reel " << index / 5000 + 1 << " Scene "
             << index / 50 % 100 + 1 << " Take " << index % 50 + 1 << "\"";
    }
    file << "]}\n";
}

long long Longest(const std::string& stall) {
    return std::stoll(stall.substr(stall.find('=') + 1));
}

TEST(BigProjectFlowTest, ABigProjectOpensWhileTheWindowKeepsTurning) {
    const testsupport::TemporaryFolder temporary{"e2e-big-project"};
    const fs::path production = temporary.Path() / "Pilot";
    WriteBigProject(production / "Feature.mvproj");
    WriteProject(production / "Trailer.mvproj");
    auto ana = StartEditorOn(production, temporary.Path() / "profiles", "Ana Ruiz");
    ASSERT_EQ(ana->SendUntil({"ui", "rows", kTree}, "ok count=2 Feature|Trailer"),
              "ok count=2 Feature|Trailer");
    ASSERT_EQ(ana->Send({"ui", "select", kTree, "Feature"}), "ok");
    ASSERT_EQ(ana->Send({"ui", "focus", kTree}), "ok");
    ana->Send({"stall"}); // measured from here
    const auto began = std::chrono::steady_clock::now();
    ASSERT_EQ(ana->Send({"command", "cmd.mvproductionfolder.openproject"}), "ok");
    // The command came back before the file was read: its tab says it is being opened.
    EXPECT_EQ(ana->Send({"ui", "text", "OpeningText"}), "ok Opening \"Feature\"\u2026");
    ASSERT_EQ(ana->SendUntilHolding({"ui", "text", "ProjectName"}, "Feature"), "ok Feature");
    const long long openMs = std::chrono::duration_cast<std::chrono::milliseconds>(
                                 std::chrono::steady_clock::now() - began)
                                 .count();
    const long long longest = Longest(ana->Send({"stall"}));
    std::cout << "[ figures  ] opening a project of " << kSequences << " sequences took " << openMs
              << " ms; the longest stall of the event loop meanwhile: " << longest << " ms\n";
    EXPECT_LT(longest * 4, openMs) << "the window waited for the project";
    EXPECT_EQ(ana->Send({"ui", "text", "OpeningText"}).rfind("error", 0), 0u);
    // Ours to edit, and given back when the window closes.
    EXPECT_TRUE(fs::exists(production / "Feature.mvproj.lock"));
    EXPECT_EQ(ana->Finish(), 0) << ana->ErrorOutput();
    EXPECT_FALSE(fs::exists(production / "Feature.mvproj.lock"));
}

} // namespace
