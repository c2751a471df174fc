// The production's share goes away under a running marvane and comes back: the window keeps
// turning, unsaved changes are kept on this machine, nothing half-written reaches the share,
// and the panel shows the production again by itself.
#include "E2eProjects.h"
#include "FileBytes.h"
#include "ScriptedMarvane.h"
#include "Shares.h"
#include "TemporaryFolder.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <iostream>
#include <iterator>
#include <memory>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace e2e;
using testsupport::ReadBytes;

class ShareGoesAwayTest : public ::testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        if (const std::string why = testsupport::NetworkShare::WhyUnavailable(); !why.empty()) {
            GTEST_SKIP() << why;
        }
        WriteProject(exported / "Pilot" / "Scene 1.mvproj", "Assembly");
        WriteProject(exported / "Pilot" / "Edit" / "Reel 1.mvproj", "Reel");
        ASSERT_EQ(share->Start(exported, root / "work"), "");
        mount = share->Path();
        fs::create_directories(root / "ana");
        std::ofstream(root / "ana" / "preferences.json") << R"({"shareProbeSeconds": 1})";
    }
    void TearDown() override {
        share->ThawServer();
        share->Stop();
    }
    ScriptedMarvane StartAna() const {
        return ScriptedMarvane({"--production", (mount / "Pilot").string(), "--profile",
                                (root / "ana").string(), "--user", "Ana Ruiz"});
    }
    // Ana sees the production, opens Edit, and makes a change to the scene she leaves unsaved.
    static void EditScene(ScriptedMarvane& ana, const fs::path& scene, const std::string& cut) {
        ASSERT_EQ(ana.ReadLine(), "ready") << ana.ErrorOutput();
        ASSERT_EQ(ana.SendUntil({"ui", "rows", kTree}, "ok count=2 Edit|Scene 1"),
                  "ok count=2 Edit|Scene 1");
        ASSERT_EQ(ana.Send({"ui", "open", kTree, "Edit"}), "ok");
        ASSERT_EQ(ana.Send({"open", scene.string()}), "ok");
        ASSERT_EQ(ana.Send({"add-sequence", scene.string(), cut}), "ok");
    }
    // Files the host writes beside others before they take their place.
    int HalfWrittenFilesIn(const fs::path& folder) const {
        int found = 0;
        for (const auto& entry : fs::recursive_directory_iterator(folder)) {
            found += entry.path().filename().string().rfind(".mv-", 0) == 0 ? 1 : 0;
        }
        return found;
    }

    // Ana edits a scene and the share goes (lose): the window keeps turning, the banner and
    // the tree say why, her changes are kept on this machine and a save is refused, nothing
    // reaches the share; mounted again at the same place, the panel comes back by itself.
    void LoseTheShareAndGetItBack(const std::function<void()>& lose, const std::string& how) {
        const fs::path scene = mount / "Pilot" / "Scene 1.mvproj";
        ScriptedMarvane ana = StartAna();
        ASSERT_NO_FATAL_FAILURE(EditScene(ana, scene, "Cut made during the outage"));
        const std::string onShare = ReadBytes(exported / "Pilot" / "Scene 1.mvproj");
        ana.Send({"stall"}); // measured from here

        lose();
        const std::string banner =
            ana.SendUntilHolding({"ui", "text", "ProductionBanner"}, "cannot be reached");
        EXPECT_NE(banner.find("The production \"Pilot\" cannot be reached"), std::string::npos)
            << banner;
        EXPECT_NE(banner.find("Unsaved changes of 1 project(s) are kept"), std::string::npos)
            << banner;
        EXPECT_NE(ana.Send({"ui", "text", "TreeOverlay"}).find("cannot be reached"),
                  std::string::npos);
        // The rows stay as they were last seen.
        EXPECT_EQ(ana.Send({"ui", "rows", kTree}), "ok count=3 Edit|>Reel 1|Scene 1");
        EXPECT_EQ(ana.Send({"recovered"}), "ok count=1");
        EXPECT_EQ(ana.Send({"save", scene.string()}).rfind("error", 0), 0u);
        const std::string stall = ana.Send({"stall"});
        const long long longest = std::stoll(stall.substr(stall.find('=') + 1));
        std::cout << "[ figures  ] " << GetParam() << ": longest stall of the event loop when "
                  << how << ": " << longest << " ms\n";
        EXPECT_LT(longest, 1000) << stall;
        EXPECT_EQ(ReadBytes(exported / "Pilot" / "Scene 1.mvproj"), onShare);
        EXPECT_EQ(HalfWrittenFilesIn(exported), 0);

        share->Stop();
        ASSERT_EQ(share->Start(exported, root / "work"), "");
        ASSERT_EQ(share->Path(), mount);
        EXPECT_EQ(ana.SendUntil({"ui", "text", "ProductionBanner"}, "ok "), "ok ");
        EXPECT_EQ(ana.SendUntil({"ui", "rows", kTree}, "ok count=3 Edit|>Reel 1|Scene 1"),
                  "ok count=3 Edit|>Reel 1|Scene 1");
        EXPECT_EQ(ana.Send({"ui", "text", "TreeOverlay"}), "ok ");
        EXPECT_EQ(ana.Send({"quit"}), "ok");
        EXPECT_EQ(ana.Finish(), 0) << ana.ErrorOutput();
        EXPECT_EQ(HalfWrittenFilesIn(exported), 0);
    }

    const testsupport::TemporaryFolder temporary{"e2e-share-away"};
    const fs::path root = temporary.Path();
    const fs::path exported = root / "Export";
    fs::path mount;
    const std::unique_ptr<testsupport::NetworkShare> share = testsupport::MakeShare(GetParam());
};

TEST_P(ShareGoesAwayTest, TheWindowKeepsTurningChangesAreKeptAndThePanelComesBack) {
    LoseTheShareAndGetItBack([this] { share->KillServer(); }, "the share's server went away");
}

TEST_P(ShareGoesAwayTest, WhenTheClientOfTheShareIsKilledThePanelSaysSoAndComesBack) {
    // The program that mounts the share on this machine ends: every access through the
    // mount fails at once.
    LoseTheShareAndGetItBack([this] { share->KillClient(); }, "the share's client was killed");
}

TEST_P(ShareGoesAwayTest, AStartWhileTheLastProductionHangsShowsTheWindowAndSaysWhy) {
    const fs::path pilot = mount / "Pilot";
    std::ofstream(root / "ana" / "preferences.json")
        << R"({"shareProbeSeconds": 1, "lastProduction": ")" << pilot.string()
        << R"(", "recentProductions": [")" << pilot.string() << R"("]})";
    share->FreezeServer();
    // Started without a production: the last one is on the share, which does not answer.
    ScriptedMarvane ana({"--profile", (root / "ana").string(), "--user", "Ana Ruiz"});
    ASSERT_EQ(ana.ReadLine(std::chrono::seconds(20)), "ready") << ana.ErrorOutput();
    const auto within = [&ana](const std::vector<std::string>& fields) {
        return ana.Post(fields) ? ana.ReadLine(std::chrono::seconds(5)) : "<write failed>";
    };
    const std::string centre = within({"ui", "text", "CentreText"});
    EXPECT_NE(centre.find("does not answer"), std::string::npos) << centre;
    EXPECT_NE(centre.find(pilot.string()), std::string::npos) << centre;
    // No demo production was opened in its place, and it stays the last production.
    EXPECT_EQ(within({"ui", "rows", kTree}), "ok count=0 ");
    share->ThawServer();
    EXPECT_EQ(ana.Send({"quit"}), "ok");
    EXPECT_EQ(ana.Finish(), 0) << ana.ErrorOutput();
    std::ifstream saved(root / "ana" / "preferences.json");
    const std::string preferences((std::istreambuf_iterator<char>(saved)),
                                  std::istreambuf_iterator<char>());
    const std::size_t key = preferences.find("\"lastProduction\"");
    ASSERT_NE(key, std::string::npos) << preferences;
    const std::string entry = preferences.substr(key, preferences.find_first_of(",}", key) - key);
    EXPECT_NE(entry.find("\"" + pilot.string() + "\""), std::string::npos) << entry;
}

TEST_P(ShareGoesAwayTest, AShareThatHangsNeverFreezesTheWindow) {
    const fs::path scene = mount / "Pilot" / "Scene 1.mvproj";
    ScriptedMarvane ana = StartAna();
    ASSERT_NO_FATAL_FAILURE(EditScene(ana, scene, "Cut made while the server hangs"));
    const std::string onShare = ReadBytes(exported / "Pilot" / "Scene 1.mvproj");
    ana.Send({"stall"}); // measured from here

    share->FreezeServer();
    // Work a user does meanwhile: the tree, its tooltips, the commands' states, the project.
    // Each answer comes within five seconds, or the window hung and the test ends here.
    const auto within = [&ana](const std::vector<std::string>& fields) {
        return ana.Post(fields) ? ana.ReadLine(std::chrono::seconds(5)) : "<write failed>";
    };
    for (int round = 0; round < 3; ++round) {
        ASSERT_EQ(within({"ui", "rows", kTree}), "ok count=3 Edit|>Reel 1|Scene 1");
        const std::string tip = within({"ui", "tooltip", kTree, "Scene 1"});
        ASSERT_NE(tip, "<timeout>");
        EXPECT_NE(tip.find("does not answer"), std::string::npos) << tip;
        ASSERT_EQ(within({"ui", "select", kTree, "Scene 1"}), "ok");
        std::this_thread::sleep_for(std::chrono::milliseconds(700));
    }
    const std::string banner =
        ana.SendUntilHolding({"ui", "text", "ProductionBanner"}, "cannot be reached");
    EXPECT_NE(banner.find("The production \"Pilot\" cannot be reached"), std::string::npos)
        << banner;
    EXPECT_EQ(ana.SendUntil({"recovered"}, "ok count=1"), "ok count=1");
    // Saving now is refused at once, with the reason; the changes stay in the open project.
    const std::string refused = within({"save", scene.string()});
    EXPECT_NE(refused.find("does not answer"), std::string::npos) << refused;
    const std::string stall = ana.Send({"stall"});
    const long long longest = std::stoll(stall.substr(stall.find('=') + 1));
    std::cout << "[ figures  ] longest stall of the event loop while the server hung: " << longest
              << " ms\n";
    EXPECT_LT(longest, 1000) << stall;
    EXPECT_EQ(ReadBytes(exported / "Pilot" / "Scene 1.mvproj"), onShare);
    EXPECT_EQ(HalfWrittenFilesIn(exported), 0);

    // Opening it again from File > Open Recent gives up after a few seconds with the reason,
    // and the production shown stays.
    EXPECT_EQ(within({"ui", "trigger", "OpenRecentMenu", "Pilot"}), "ok");
    EXPECT_EQ(within({"dialogs"}), "ok count=1 last=Cannot Open Production");
    EXPECT_EQ(within({"ui", "rows", kTree}), "ok count=3 Edit|>Reel 1|Scene 1");

    // The server answers again: the panel comes back by itself, the project is still open.
    share->ThawServer();
    EXPECT_EQ(ana.SendUntil({"ui", "text", "ProductionBanner"}, "ok "), "ok ");
    EXPECT_EQ(ana.SendUntil({"ui", "rows", kTree}, "ok count=3 Edit|>Reel 1|Scene 1"),
              "ok count=3 Edit|>Reel 1|Scene 1");
    // The project is still Ana's, and her changes reach the share with the next save.
    EXPECT_EQ(ana.SendUntil({"save", scene.string()}, "ok"), "ok");
    EXPECT_NE(
        ReadBytes(exported / "Pilot" / "Scene 1.mvproj").find("Cut made while the server hangs"),
        std::string::npos);
    EXPECT_EQ(ana.Send({"quit"}), "ok");
    EXPECT_EQ(ana.Finish(), 0) << ana.ErrorOutput();
    EXPECT_EQ(HalfWrittenFilesIn(exported), 0);
}

INSTANTIATE_TEST_SUITE_P(Shares, ShareGoesAwayTest, ::testing::ValuesIn(testsupport::ShareKinds()),
                         testsupport::ShareParamName());

} // namespace
