// The real marvane process, started offscreen.
#include "E2eProjects.h"
#include "MarvaneProcess.h"
#include "ScriptedMarvane.h"
#include "TemporaryFolder.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <optional>
#include <sstream>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::stringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

bool IsPng(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    char signature[8] = {};
    in.read(signature, 8);
    return in && std::string(signature + 1, 3) == "PNG" && fs::file_size(file) > 1000;
}

TEST(MarvaneHost, ListCommandsShowsTheProductionContextInDeclarationOrder) {
    const auto result = RunMarvane({"--list-commands"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const auto lines = Lines(result.out);
    const auto context =
        std::find(lines.begin(), lines.end(), "context mvproduction \"Production Panel\"");
    ASSERT_NE(context, lines.end()) << result.out;
    const std::vector<std::string> expected = {
        "  cmd.mediabrowser.newfolder\t30007\t0\t\"\"",
        "  cmd.mvproductionfolder.newproject\t30303\t0\t\"\"",
        "  cmd.mvproductionfolder.addproject\t30304\t0\t\"\"",
        "  cmd.mvproductionfolder.refreshproject\t30307\t0\t\"\"",
        "  cmd.mvproductionfolder.renameitem\t30308\t0\t\"\"",
        "  cmd.mvproductionfolder.togglelock\t30311\t0\t\"\"",
        "  cmd.mvproductionfolder.revealrootinsystem\t30309\t0\t\"\"",
        "  cmd.mvproductionfolder.revealiteminsystem\t30310\t0\t\"\"",
        "  cmd.mvproductionfolder.toggle.showpath\t30312\t0\t\"\"",
        "  cmd.mvproductionfolder.renameproduction\t30318\t0\t\"\"",
        "  cmd.mvproductionfolder.refreshallprojects\t30320\t0\t\"\"",
        "  cmd.mvproductionfolder.saveallprojects\t30321\t0\t\"\"",
        "  cmd.mvproductionfolder.closeallprojects\t30322\t0\t\"\"",
        "  cmd.mvproductionfolder.move.pagedown\t30315\t2\t\"Move Selection Page Down\"",
        "  cmd.mvproductionfolder.move.pageup\t30316\t2\t\"Move Selection Page Up\"",
        "  cmd.mvproductionfolder.move.end\t30314\t2\t\"Move Selection End\"",
        "  cmd.mvproductionfolder.move.home\t30313\t2\t\"Move Selection Home\"",
        "  cmd.mvproductionfolder.zoomin\t30323\t2\t\"Zoom In\"",
        "  cmd.mvproductionfolder.zoomout\t30324\t2\t\"Zoom Out\"",
        "  cmd.mvproductionfolder.openproject\t30305\t2\t\"Open Project\"",
        "  cmd.mvproductionfolder.closeproject\t30306\t2\t\"Close Project\"",
        "  cmd.mvproductionfolder.makeacopy\t30319\t2\t\"Make a Copy\"",
        "  cmd.mvproductionfolder.movetotrash\t30325\t2\t\"Move To Trash\"",
        "  window menu HandlerTandrel_Wing_Menu \"Panel Menu\"",
    };
    ASSERT_GE(static_cast<std::size_t>(lines.end() - context), expected.size() + 1);
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(*(context + 1 + static_cast<long>(i)), expected[i]);
    }
    const auto next = context + 1 + static_cast<long>(expected.size());
    EXPECT_TRUE(next == lines.end() || next->rfind("context ", 0) == 0) << *next;
    EXPECT_EQ(lines.front(), "context global \"Global\"");
}

TEST(MarvaneHost, ListCommandsIsTranslated) {
    const auto result = RunMarvane({"--list-commands"}, {"MARVANE_LANGUAGE=de"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_NE(result.out.find("context mvproduction \"Produktionsbedienfeld\""), std::string::npos)
        << result.out;
}

TEST(MarvaneHost, AScreenshotOfATemporaryProductionShowsThePanelWithItsTitle) {
    const testsupport::TemporaryFolder temporary("e2e-screenshot");
    const fs::path folder = temporary.Path();
    fs::create_directories(folder / "Pilot");
    const auto result =
        RunMarvane({"--production", (folder / "Pilot").string(), "--profile",
                    (folder / "profile").string(), "--screenshot", (folder / "shot.png").string()},
                   {"MARVANE_TRACE=Host=3"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_NE(result.err.find("Panel shown: \"Production: Pilot\""), std::string::npos)
        << result.err;
    EXPECT_TRUE(IsPng(folder / "shot.png"));
}

TEST(MarvaneHost, AMissingProductionFolderIsReportedAndNothingIsCreated) {
    const testsupport::TemporaryFolder temporary("e2e-missing");
    const fs::path folder = temporary.Path();
    const fs::path missing = folder / "Gone" / "Pilot";
    const auto result =
        RunMarvane({"--production", missing.string(), "--profile", (folder / "profile").string(),
                    "--screenshot", (folder / "shot.png").string()},
                   {"MARVANE_TRACE=Host=3"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_NE(result.err.find("\"" + missing.string() + "\" does not exist"), std::string::npos)
        << result.err;
    EXPECT_NE(result.err.find("Starting without a production"), std::string::npos) << result.err;
    EXPECT_FALSE(fs::exists(folder / "Gone"));
    EXPECT_FALSE(fs::exists(folder / "profile" / "data"));
    EXPECT_NE(result.err.find("Panel shown: \"Production\""), std::string::npos) << result.err;
    EXPECT_TRUE(IsPng(folder / "shot.png"));
}

TEST(MarvaneHost, AFileGivenAsProductionIsReportedAsNotAFolder) {
    const testsupport::TemporaryFolder temporary("e2e-file");
    const fs::path folder = temporary.Path();
    std::ofstream(folder / "Pilot.txt") << "not a folder\n";
    const auto result =
        RunMarvane({"--production", (folder / "Pilot.txt").string(), "--profile",
                    (folder / "profile").string(), "--screenshot", (folder / "shot.png").string()});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_NE(result.err.find("is not a folder"), std::string::npos) << result.err;
}

std::string ReadFirstLine(const fs::path& file) {
    std::ifstream in(file);
    std::string line;
    std::getline(in, line);
    return line;
}

TEST(MarvaneHost, TheWindowSaysWhyTheProductionAskedForDidNotOpen) {
    const testsupport::TemporaryFolder temporary("e2e-file-window");
    const fs::path folder = temporary.Path();
    std::ofstream(folder / "Pilot.txt") << "not a folder\n";
    ScriptedMarvane marvane({"--production", (folder / "Pilot.txt").string(), "--profile",
                             (folder / "profile").string()});
    ASSERT_EQ(marvane.ReadLine(), "ready") << marvane.ErrorOutput();
    const std::string centre = marvane.Send({"ui", "text", "CentreText"});
    EXPECT_NE(centre.find("\"" + (folder / "Pilot.txt").string() +
                          "\" is not a folder, so it cannot be opened as a production."),
              std::string::npos)
        << centre;
    EXPECT_NE(centre.find("No production is open."), std::string::npos) << centre;
    EXPECT_EQ(marvane.Finish(), 0);
}

TEST(MarvaneHost, VersionGivesTheProjectsVersionWithoutAWindow) {
    const auto result = RunMarvane({"--version"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.out, std::string("marvane ") + PROJECT_VERSION_TEXT + "\n");
    EXPECT_NE(RunMarvane({"--help"}).out.find("--version"), std::string::npos);
}

TEST(MarvaneHost, TheHelpNamesNoSourceFileAndTheScriptListsItsOwnCommands) {
    const std::string help = RunMarvane({"--help"}).out;
    EXPECT_NE(help.find("--script"), std::string::npos) << help;
    for (const char* source : {".h)", ".h ", ".h\n", ".cpp"}) {
        EXPECT_EQ(help.find(source), std::string::npos) << source << " in:\n" << help;
    }
    EXPECT_NE(help.find("\"help\" lists the commands"), std::string::npos) << help;
    const testsupport::TemporaryFolder temporary("e2e-script-help");
    const fs::path folder = temporary.Path();
    fs::create_directories(folder / "Pilot");
    ScriptedMarvane marvane(
        {"--production", (folder / "Pilot").string(), "--profile", (folder / "profile").string()});
    ASSERT_EQ(marvane.ReadLine(), "ready") << marvane.ErrorOutput();
    const std::string commands = marvane.Send({"help"});
    ASSERT_EQ(commands.rfind("ok commands=", 0), 0u) << commands;
    for (const char* command : {"|open|", "|status|", "|quit|", "|help|", "|move-to-trash|"}) {
        EXPECT_NE(("|" + commands.substr(12) + "|").find(command), std::string::npos)
            << command << " in " << commands;
    }
    EXPECT_EQ(marvane.Finish(), 0);
}

TEST(MarvaneHost, AScriptRunWithoutADisplaySaysNothingAboutWindowHints) {
    const testsupport::TemporaryFolder temporary("e2e-quiet");
    const fs::path folder = temporary.Path();
    fs::create_directories(folder / "Pilot");
    ScriptedMarvane marvane(
        {"--production", (folder / "Pilot").string(), "--profile", (folder / "profile").string()});
    ASSERT_EQ(marvane.ReadLine(), "ready") << marvane.ErrorOutput();
    EXPECT_EQ(marvane.Send({"panels"}).rfind("ok ", 0), 0u);
    EXPECT_EQ(marvane.Finish(), 0);
    EXPECT_EQ(marvane.ErrorOutput().find("propagateSizeHints"), std::string::npos)
        << marvane.ErrorOutput();
}

TEST(MarvaneHost, AProfileThatIsAFileIsRefused) {
    const testsupport::TemporaryFolder temporary("e2e-profile-file");
    const fs::path folder = temporary.Path();
    std::ofstream(folder / "profile") << "a file\n";
    const auto result = RunMarvane({"--profile", (folder / "profile").string(), "--list-commands"});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_NE(result.err.find("--profile names \"" + (folder / "profile").string() +
                              "\", which is not a folder"),
              std::string::npos)
        << result.err;
    EXPECT_EQ(ReadFirstLine(folder / "profile"), "a file");
}

TEST(MarvaneHost, AFirstStartWithoutProductionOpensTheDemoProduction) {
    const testsupport::TemporaryFolder temporary("e2e-demo");
    const fs::path folder = temporary.Path();
    const auto result = RunMarvane({"--profile", (folder / "profile").string(), "--screenshot",
                                    (folder / "shot.png").string()},
                                   {"MARVANE_TRACE=Host=3"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_TRUE(fs::exists(folder / "profile" / "data" / "Demo Production" / "Trailer.mvproj"));
    EXPECT_NE(result.err.find("Panel shown: \"Production: Demo Production\""), std::string::npos)
        << result.err;
    // The next start opens the last production again.
    const auto second = RunMarvane({"--profile", (folder / "profile").string(), "--screenshot",
                                    (folder / "shot2.png").string()},
                                   {"MARVANE_TRACE=Host=3"});
    EXPECT_EQ(second.exitCode, 0) << second.err;
    EXPECT_NE(second.err.find("Panel shown: \"Production: Demo Production\""), std::string::npos)
        << second.err;
}

TEST(MarvaneHost, TheLastProductionOpensAgainAndIsKeptWhileItIsMissing) {
    const testsupport::TemporaryFolder temporary("e2e-remembered");
    const fs::path folder = temporary.Path();
    fs::create_directories(folder / "Pilot");
    const std::vector<std::string> common = {"--profile", (folder / "profile").string(),
                                             "--screenshot", (folder / "shot.png").string()};
    auto withProduction = common;
    withProduction.insert(withProduction.end(), {"--production", (folder / "Pilot").string()});
    ASSERT_EQ(RunMarvane(withProduction).exitCode, 0);
    const auto again = RunMarvane(common, {"MARVANE_TRACE=Host=3"});
    EXPECT_NE(again.err.find("Panel shown: \"Production: Pilot\""), std::string::npos) << again.err;
    // The share is not mounted: the demo opens for now, and Pilot stays the last production.
    fs::rename(folder / "Pilot", folder / "Pilot-away");
    const auto away = RunMarvane(common, {"MARVANE_TRACE=Host=3"});
    EXPECT_NE(away.err.find("is not there now"), std::string::npos) << away.err;
    EXPECT_NE(away.err.find("Panel shown: \"Production: Demo Production\""), std::string::npos)
        << away.err;
    fs::rename(folder / "Pilot-away", folder / "Pilot");
    const auto back = RunMarvane(common, {"MARVANE_TRACE=Host=3"});
    EXPECT_NE(back.err.find("Panel shown: \"Production: Pilot\""), std::string::npos) << back.err;
}

TEST(MarvaneHost, ModulesThatCannotLoadAreReportedAndTheHostStillStarts) {
    const testsupport::TemporaryFolder temporary("e2e-plugins");
    const fs::path folder = temporary.Path();
    const fs::path plugins = folder / "plugins";
    fs::create_directories(plugins);
    fs::copy_file(fs::path(MARVANE_PLUGIN_DIR) / "HandlerTandrel.so",
                  plugins / "HandlerTandrel.so");
    fs::copy_file(fs::path(MARVANE_FIXTURE_DIR) / "NoEntryModule" / "NoEntryModule.so",
                  plugins / "NoEntryModule.so");
    fs::copy_file(fs::path(MARVANE_FIXTURE_DIR) / "NotALibrary" / "NotALibrary.so",
                  plugins / "NotALibrary.so");
    fs::create_directories(folder / "Pilot");
    const auto result = RunMarvane(
        {"--plugins", plugins.string(), "--production", (folder / "Pilot").string(), "--profile",
         (folder / "profile").string(), "--screenshot", (folder / "shot.png").string()},
        {"MARVANE_TRACE=Host=3"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_NE(result.err.find("NoEntryModule.so' has no entry point 'CreateModule'"),
              std::string::npos)
        << result.err;
    EXPECT_NE(result.err.find("Could not load module '" + (plugins / "NotALibrary.so").string()),
              std::string::npos)
        << result.err;
    EXPECT_NE(result.err.find("Panel shown: \"Production: Pilot\""), std::string::npos)
        << result.err;
}

TEST(MarvaneHost, WithoutADisplayItSaysSoAndSuggestsAScreenshot) {
    const auto result = RunMarvane({});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_NE(result.err.find("no display found"), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("--screenshot"), std::string::npos) << result.err;
}

TEST(MarvaneHost, AnUnknownArgumentPrintsUsage) {
    const auto result = RunMarvane({"--nonsense"});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_NE(result.err.find("unknown argument \"--nonsense\""), std::string::npos);
    EXPECT_NE(result.err.find("Usage: marvane"), std::string::npos);
}

} // namespace

namespace {

// One run of marvane on the production (none: the last one), with the command sent before
// it quits; the answer.
std::string RunOnce(const fs::path& profile, const std::optional<fs::path>& production,
                    const std::vector<std::string>& command) {
    std::vector<std::string> arguments{"--profile", profile.string()};
    if (production) {
        arguments.insert(arguments.begin(), {"--production", production->string()});
    }
    ScriptedMarvane marvane(arguments);
    if (marvane.ReadLine() != "ready") {
        return "<did not start> " + marvane.ErrorOutput();
    }
    const std::string answer = marvane.Send(command);
    marvane.Send({"quit"});
    marvane.Finish();
    return answer;
}

// Two empty productions, Pilot and Trailer, and a profile folder.
struct TwoProductions {
    explicit TwoProductions(const char* purpose) : temporary(purpose) {
        fs::create_directories(pilot);
        fs::create_directories(trailer);
    }
    const testsupport::TemporaryFolder temporary;
    const fs::path profile = temporary.Path() / "profile";
    const fs::path pilot = temporary.Path() / "Pilot";
    const fs::path trailer = temporary.Path() / "Trailer";
};

TEST(MarvaneHost, TheEmptyAreaSaysHowToBeginAndListsTheRecentProductions) {
    const TwoProductions two("e2e-recent");
    const fs::path& profile = two.profile;
    const fs::path& pilot = two.pilot;
    const fs::path& trailer = two.trailer;
    RunOnce(profile, pilot, {"status"});
    RunOnce(profile, trailer, {"status"});

    // The next start opens the last production and lists both, the latest first.
    const std::string centre = RunOnce(profile, std::nullopt, {"ui", "text", "CentreText"});
    EXPECT_NE(centre.find("The production \"Trailer\" is open"), std::string::npos) << centre;
    EXPECT_NE(centre.find("Double-click a project in the Production panel"), std::string::npos)
        << centre;
    EXPECT_NE(centre.find("Recent productions (File > Open Recent): | " + trailer.string() + " | " +
                          pilot.string()),
              std::string::npos)
        << centre;
    EXPECT_EQ(RunOnce(profile, std::nullopt, {"ui", "actions", "OpenRecentMenu"}),
              "ok &1 Trailer  (" + trailer.string() + ")|&2 Pilot  (" + pilot.string() +
                  ")|Clear Menu");
}

TEST(MarvaneHost, AFolderOpenedWithMarvaneIsTheProduction) {
    const TwoProductions two("e2e-folder-argument");
    e2e::WriteProject(two.trailer / "Promo.mvproj");
    RunOnce(two.profile, two.pilot, {"status"}); // Pilot is the last production
    ScriptedMarvane marvane({two.trailer.string(), "--profile", two.profile.string()});
    ASSERT_EQ(marvane.ReadLine(), "ready") << marvane.ErrorOutput();
    EXPECT_EQ(marvane.SendUntil({"ui", "rows", e2e::kTree}, "ok count=1 Promo"),
              "ok count=1 Promo");
    marvane.Send({"quit"});
    EXPECT_EQ(marvane.Finish(), 0) << marvane.ErrorOutput();
    EXPECT_EQ(marvane.ErrorOutput().find("not a project"), std::string::npos)
        << marvane.ErrorOutput();
}

TEST(MarvaneHost, OpenRecentOpensTheProductionChosen) {
    const TwoProductions two("e2e-open-recent");
    const fs::path& profile = two.profile;
    const fs::path& pilot = two.pilot;
    const fs::path& trailer = two.trailer;
    RunOnce(profile, pilot, {"status"});
    ScriptedMarvane marvane({"--production", trailer.string(), "--profile", profile.string()});
    ASSERT_EQ(marvane.ReadLine(), "ready") << marvane.ErrorOutput();
    EXPECT_EQ(marvane.Send({"ui", "trigger", "OpenRecentMenu", "Pilot"}), "ok");
    const std::string centre = marvane.Send({"ui", "text", "CentreText"});
    EXPECT_NE(centre.find("The production \"Pilot\" is open"), std::string::npos) << centre;
    EXPECT_EQ(marvane.Send({"ui", "trigger", "OpenRecentMenu", "Clear Menu"}), "ok");
    EXPECT_EQ(marvane.Send({"ui", "actions", "OpenRecentMenu"}),
              "ok No Recent Productions (disabled)");
    EXPECT_EQ(marvane.Send({"quit"}), "ok");
    EXPECT_EQ(marvane.Finish(), 0);
}

TEST(MarvaneHost, TheWindowComesBackWithTheSizeItWasLeftWith) {
    const testsupport::TemporaryFolder temporary("e2e-window-size");
    const fs::path profile = temporary.Path() / "profile";
    const fs::path pilot = temporary.Path() / "Pilot";
    fs::create_directories(pilot);
    EXPECT_EQ(RunOnce(profile, pilot, {"ui", "resize", "MarvaneMainWindow", "1234", "777"}), "ok");
    EXPECT_TRUE(fs::exists(profile / "window.json"));
    EXPECT_EQ(RunOnce(profile, pilot, {"ui", "size", "MarvaneMainWindow"}), "ok 1234 777");
}

} // namespace

namespace {

TEST(MarvaneHost, AnUnreadableProductionSaysWhyAndIsNotRemembered) {
    // Root reads every folder: the editor here is another user, with setpriv.
    if (::geteuid() != 0 || ::access("/usr/bin/setpriv", X_OK) != 0) {
        GTEST_SKIP() << "running marvane as another user needs root and setpriv";
    }
    const testsupport::TemporaryFolder temporary("e2e-unreadable");
    const fs::path root = temporary.Path();
    const fs::path pilot = root / "Pilot";
    const fs::path profile = root / "profile";
    const fs::path home = root / "home";
    fs::create_directories(pilot);
    fs::permissions(root, fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                              fs::perms::others_read | fs::perms::others_exec);
    fs::permissions(pilot, fs::perms::owner_all); // only root may list it
    for (const fs::path& own : {profile, home}) {
        fs::create_directories(own);
        ASSERT_EQ(::chown(own.c_str(), 65534, 65534), 0);
    }
    ScriptedMarvane marvane({"--production", pilot.string(), "--profile", profile.string()},
                            {"HOME=" + home.string(), "XDG_DATA_HOME=" + (home / "data").string(),
                             "XDG_CONFIG_HOME=" + (home / "config").string()},
                            {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"});
    ASSERT_EQ(marvane.ReadLine(), "ready") << marvane.ErrorOutput();
    const std::string centre = marvane.Send({"ui", "text", "CentreText"});
    EXPECT_NE(centre.find("The production \"" + pilot.string() +
                          "\" cannot be read (Permission denied)."),
              std::string::npos)
        << centre;
    EXPECT_EQ(marvane.Send({"quit"}), "ok");
    EXPECT_EQ(marvane.Finish(), 0) << marvane.ErrorOutput();
    // Not remembered as the last production, nor among the recent ones.
    std::ifstream preferences(profile / "preferences.json");
    const std::string saved((std::istreambuf_iterator<char>(preferences)),
                            std::istreambuf_iterator<char>());
    EXPECT_EQ(saved.find(pilot.string()), std::string::npos) << saved;
}

} // namespace
