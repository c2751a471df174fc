// Preferences, the demo production, command-line parsing and path helpers.
#include "Marvane/app/CommandLine.h"
#include "Marvane/application/DemoProduction.h"
#include "Marvane/application/HostSession.h"
#include "Marvane/application/Preferences.h"
#include "host/FileServices.h"
#include "host/ProjectBackEnd.h"

#include "TemporaryFolder.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <nlohmann/json.hpp>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

TEST(Preferences, MissingFileGivesTheUsersDefaults) {
    const testsupport::TemporaryFolder temporary("prefs-missing");
    const fs::path profile = temporary.Path();
    const host::Preferences preferences = host::LoadPreferences(profile);
    EXPECT_TRUE(preferences.locking.name.empty());
    const host::LockingPreferences locking = host::ResolveLockingPreferences(preferences.locking);
    EXPECT_EQ(locking.name, host::DefaultLockingPreferences().name);
    EXPECT_FALSE(locking.name.empty());
    EXPECT_TRUE(locking.enabled);
    EXPECT_TRUE(preferences.lastProduction.empty());
}

TEST(Preferences, RoundTripKeepsEveryValueAndUnknownKeys) {
    const testsupport::TemporaryFolder temporary("prefs-roundtrip");
    const fs::path profile = temporary.Path();
    std::ofstream(profile / "preferences.json") << R"({"futureKey": 5})";
    host::Preferences preferences;
    preferences.lastProduction = "/shows/Pilot";
    preferences.locking = {"Ana Ruiz", "suite-3", false};
    preferences.trace = "Tandrel=5";
    preferences.folderProjectFormat = false;
    ASSERT_TRUE(host::SavePreferences(profile, preferences));
    const host::Preferences loaded = host::LoadPreferences(profile);
    EXPECT_EQ(loaded.lastProduction, "/shows/Pilot");
    EXPECT_EQ(loaded.locking.name, "Ana Ruiz");
    EXPECT_EQ(loaded.locking.second, "suite-3");
    EXPECT_FALSE(loaded.locking.enabled);
    EXPECT_EQ(loaded.trace, "Tandrel=5");
    EXPECT_FALSE(loaded.folderProjectFormat);
    std::ifstream in(profile / "preferences.json");
    const auto json = nlohmann::json::parse(in);
    EXPECT_EQ(json.at("futureKey"), 5);
    EXPECT_FALSE(fs::exists(profile / "preferences.json.new"));
}

TEST(Preferences, ALastProductionWhoseNameIsNotUtf8IsSavedAndComesBackAsItWas) {
    const testsupport::TemporaryFolder temporary("prefs-latin1");
    const std::filesystem::path profile = temporary.Path();
    host::Preferences preferences = host::LoadPreferences(profile);
    preferences.lastProduction = "/shows/Caf\xE9 Noir";
    ASSERT_TRUE(host::SavePreferences(profile, preferences));
    EXPECT_EQ(host::LoadPreferences(profile).lastProduction, preferences.lastProduction);
}

TEST(Preferences, ABrokenFileGivesTheDefaults) {
    const testsupport::TemporaryFolder temporary("prefs-broken");
    const fs::path profile = temporary.Path();
    std::ofstream(profile / "preferences.json") << "{ not json";
    const host::Preferences preferences = host::LoadPreferences(profile);
    EXPECT_TRUE(preferences.locking.name.empty());
    EXPECT_TRUE(preferences.lastProduction.empty());
}

TEST(Preferences, TheUserOptionNamesTheLockHolderForOneRunOnly) {
    const testsupport::TemporaryFolder temporary("prefs-user");
    const fs::path profile = temporary.Path();
    host::HostSession session;
    session.profileDirectory = profile;
    session.preferences.locking.name = "Saved Name";
    session.userOverride = "Ben Okafor";
    EXPECT_EQ(session.GetLocking().name, "Ben Okafor");
    ASSERT_TRUE(host::SavePreferences(profile, session.preferences));
    EXPECT_EQ(host::LoadPreferences(profile).locking.name, "Saved Name");
    session.userOverride.reset();
    EXPECT_EQ(session.GetLocking().name, "Saved Name");
    EXPECT_FALSE(session.GetLocking().second.empty());
}

TEST(Preferences, ABrokenFileIsKeptAsideWhenPreferencesAreSaved) {
    const testsupport::TemporaryFolder temporary("prefs-keep-broken");
    const fs::path profile = temporary.Path();
    std::ofstream(profile / "preferences.json") << "{ half written";
    host::Preferences preferences;
    preferences.lastProduction = "/shows/Pilot";
    ASSERT_TRUE(host::SavePreferences(profile, preferences));
    std::ifstream broken(profile / "preferences.json.broken");
    std::string text;
    std::getline(broken, text);
    EXPECT_EQ(text, "{ half written");
    EXPECT_EQ(host::LoadPreferences(profile).lastProduction, "/shows/Pilot");
}

TEST(Preferences, AFileNestedTooDeeplyIsIgnoredAndKeptAsideWhenSaving) {
    const testsupport::TemporaryFolder temporary("prefs-deep");
    const fs::path profile = temporary.Path();
    const std::string deep = R"({"lastProduction": "/shows/Old", "x": )" + std::string(70000, '[') +
                             std::string(70000, ']') + "}";
    std::ofstream(profile / "preferences.json", std::ios::binary) << deep;
    EXPECT_TRUE(host::LoadPreferences(profile).lastProduction.empty());
    host::Preferences preferences;
    preferences.lastProduction = "/shows/Pilot";
    ASSERT_TRUE(host::SavePreferences(profile, preferences));
    std::ifstream broken(profile / "preferences.json.broken", std::ios::binary);
    const std::string kept((std::istreambuf_iterator<char>(broken)),
                           std::istreambuf_iterator<char>());
    EXPECT_EQ(kept, deep);
    EXPECT_EQ(host::LoadPreferences(profile).lastProduction, "/shows/Pilot");
}

TEST(Preferences, SavingKeepsUnknownLockingSettings) {
    const testsupport::TemporaryFolder temporary("prefs-locking-keys");
    const fs::path profile = temporary.Path();
    std::ofstream(profile / "preferences.json") << R"({"locking": {"staleAfterHours": 12}})";
    host::Preferences preferences;
    preferences.locking.name = "Ana Ruiz";
    ASSERT_TRUE(host::SavePreferences(profile, preferences));
    std::ifstream in(profile / "preferences.json");
    const auto json = nlohmann::json::parse(in);
    EXPECT_EQ(json.at("locking").at("staleAfterHours"), 12);
    EXPECT_EQ(json.at("locking").at("name"), "Ana Ruiz");
}

TEST(DemoProduction, HoldsFoldersProjectsALockAProjectFolderHiddenFilesAndTrash) {
    const testsupport::TemporaryFolder temporary("demo");
    const fs::path data = temporary.Path();
    std::string error;
    const fs::path root = host::EnsureDemoProduction(data, error);
    ASSERT_EQ(error, "");
    ASSERT_EQ(root, data / "Demo Production");
    int projects = 0;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        if (entry.path().extension() == ".mvproj") {
            ++projects;
            std::ifstream in(entry.path());
            const auto json = nlohmann::json::parse(in);
            EXPECT_EQ(json.at("formatVersion"), 1) << entry.path();
        }
    }
    EXPECT_GE(projects, 18);
    EXPECT_TRUE(fs::exists(root / "Dailies/Day 1/Shot 2.mvproj"));
    EXPECT_TRUE(fs::exists(root / "Dailies/Day 1/Shot 10.mvproj"));
    EXPECT_TRUE(fs::exists(root / "Graphics/Titles.mvprojd/project.json"));
    EXPECT_TRUE(fs::exists(root / "Trash/Old Cut.mvproj"));
    EXPECT_TRUE(fs::exists(root / "Notes.txt"));
    std::ifstream lockFile(root / "Edit/Fine Cut.mvproj.lock");
    const auto lock = nlohmann::json::parse(lockFile);
    EXPECT_EQ(lock.at("lockingName"), host::kDemoOtherEditorName);
    EXPECT_TRUE(lock.contains("createdUtc"));
    EXPECT_FALSE(fs::exists(data / "Demo Production.partial"));
    // Dates differ, so sorting by date shows something.
    EXPECT_NE(fs::last_write_time(root / "Edit/Fine Cut.mvproj"),
              fs::last_write_time(root / "Edit/Assembly v1.mvproj"));
}

TEST(DemoProduction, AnExistingDemoIsLeftAsItIs) {
    const testsupport::TemporaryFolder temporary("demo-existing");
    const fs::path data = temporary.Path();
    fs::create_directories(data / "Demo Production");
    std::ofstream(data / "Demo Production" / "mine.txt") << "keep";
    std::string error;
    EXPECT_EQ(host::EnsureDemoProduction(data, error), data / "Demo Production");
    EXPECT_FALSE(fs::exists(data / "Demo Production" / "Trailer.mvproj"));
    EXPECT_TRUE(fs::exists(data / "Demo Production" / "mine.txt"));
}

TEST(CommandLine, ReadsEveryOption) {
    const auto parsed =
        host::ParseCommandLine({"--production", "/p", "--user", "Ana", "--profile", "/prof",
                                "--screenshot", "a.png", "--list-commands", "--plugins", "/plug"});
    ASSERT_EQ(parsed.error, "");
    EXPECT_EQ(parsed.options.production, fs::path("/p"));
    EXPECT_EQ(parsed.options.user, "Ana");
    EXPECT_EQ(parsed.options.profile, fs::path("/prof"));
    EXPECT_EQ(parsed.options.screenshot, fs::path("a.png"));
    EXPECT_EQ(parsed.options.plugins, fs::path("/plug"));
    EXPECT_TRUE(parsed.options.listCommands);
}

TEST(CommandLine, AnOptionWithoutItsValueIsAnError) {
    EXPECT_EQ(host::ParseCommandLine({"--production"}).error, "--production needs a folder");
    EXPECT_EQ(host::ParseCommandLine({"--user", ""}).error, "--user needs a name");
}

TEST(CommandLine, AnUnknownArgumentIsAnError) {
    EXPECT_EQ(host::ParseCommandLine({"--frobnicate"}).error, "unknown argument \"--frobnicate\"");
}

TEST(CommandLine, AFolderGivenWithoutProductionIsTheProductionAndProjectsStayProjects) {
    const testsupport::TemporaryFolder temporary("command-line-folder");
    const fs::path pilot = temporary.Path() / "Pilot";
    const fs::path titles = pilot / "Titles.mvprojd";
    const fs::path scene = pilot / "Scene 1.mvproj";
    fs::create_directories(titles);
    std::ofstream(scene) << "{}\n";
    const auto parsed = host::ParseCommandLine({scene.string(), pilot.string(), titles.string()});
    ASSERT_EQ(parsed.error, "");
    EXPECT_EQ(parsed.options.production, pilot);
    EXPECT_EQ(parsed.options.projects, (std::vector<fs::path>{scene, titles}));
    // A name that is not there stays a project, to be refused as one.
    const auto missing = host::ParseCommandLine({(temporary.Path() / "Gone").string()});
    EXPECT_EQ(missing.options.production, std::nullopt);
    EXPECT_EQ(missing.options.projects.size(), 1u);
}

TEST(CommandLine, TwoProductionsAtOnceAreAnError) {
    const testsupport::TemporaryFolder temporary("command-line-two");
    fs::create_directories(temporary.Path() / "Pilot");
    fs::create_directories(temporary.Path() / "Trailer");
    const std::string pilot = (temporary.Path() / "Pilot").string();
    const std::string trailer = (temporary.Path() / "Trailer").string();
    EXPECT_EQ(host::ParseCommandLine({"--production", pilot, trailer}).error,
              "one production at a time: \"" + pilot + "\" and \"" + trailer +
                  "\" were both given");
    EXPECT_NE(host::ParseCommandLine({pilot, trailer}).error, "");
}

TEST(Paths, NamePartsOfAPath) {
    EXPECT_EQ(host::GetFilePart(u"/a/Scene 12.mvproj"), u"Scene 12");
    EXPECT_EQ(host::GetFilePart(u"/a/v1.2 cut.mvproj"), u"v1.2 cut");
    EXPECT_EQ(host::GetFilePart(u"/a/.hidden"), u".hidden");
    EXPECT_EQ(host::GetFilePart(u"/a/Titles.mvprojd/"), u"Titles");
    EXPECT_EQ(host::GetFullFilePart(u"/a/Scene 12.mvproj"), u"Scene 12.mvproj");
    EXPECT_EQ(host::GetFullFilePart(u"Pilot"), u"Pilot");
    EXPECT_EQ(host::StripTrailingSlash(u"/shows/Pilot//"), u"/shows/Pilot");
    EXPECT_EQ(host::StripTrailingSlash(u"/"), u"/");
}

TEST(ProjectFiles, ProjectsAreKnownByTheirExtension) {
    EXPECT_TRUE(host::IsMarvaneProjectFile("/a/Scene.mvproj"));
    EXPECT_TRUE(host::IsMarvaneProjectFile("/a/Scene.MVPROJ"));
    EXPECT_TRUE(host::IsMarvaneProjectFile("/a/Titles.mvprojd/"));
    EXPECT_FALSE(host::IsMarvaneProjectFile("/a/Scene.mvproj.lock"));
    EXPECT_FALSE(host::IsMarvaneProjectFile("/a/Notes.txt"));
    EXPECT_FALSE(host::IsMarvaneProjectFile("/a/mvproj"));
}

} // namespace
