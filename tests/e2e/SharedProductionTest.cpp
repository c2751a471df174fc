// Two editors, each with their own marvane, on one production folder.
#include "E2eProjects.h"
#include "GoneProcess.h"
#include "MarvaneProcess.h"
#include "ScriptedMarvane.h"
#include "TemporaryFolder.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

#include "FileBytes.h"
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace e2e;
using testsupport::ReadBytes;

std::string FirstLineOf(const char* path) {
    std::ifstream in(path);
    std::string line;
    std::getline(in, line);
    return line;
}

// A lock written on this machine, since its last start, by the process given.
std::string LockOfThisMachine(const std::string& holder, pid_t processId) {
    char host[256] = {};
    ::gethostname(host, sizeof(host) - 1);
    return std::string("{\"lockingName\": \"") + holder + "\", \"secondLockingString\": \"" + host +
           "\", \"hostName\": \"" + host + "\", \"processId\": " + std::to_string(processId) +
           ", \"bootId\": \"" + FirstLineOf("/proc/sys/kernel/random/boot_id") +
           "\", \"machineId\": \"" + FirstLineOf("/etc/machine-id") +
           "\", \"createdUtc\": \"2026-11-23T09:00:00Z\"}\n";
}

// How many recovery copies a profile's data folder holds; each must hold the text.
int RecoveryCopiesHolding(const fs::path& profile, const std::string& text) {
    int copies = 0;
    for (const auto& entry : fs::directory_iterator(profile / "data" / "Recovery")) {
        if (entry.path().extension() == ".mvproj") {
            ++copies;
            EXPECT_NE(ReadBytes(entry.path()).find(text), std::string::npos) << entry.path();
        }
    }
    return copies;
}

class SharedProductionTest : public ::testing::Test {
protected:
    void SetUp() override {
        production = root / "Pilot";
        scene = production / "Scene 12.mvproj";
        WriteProject(scene, "Scene 12 - Assembly");
    }

    std::unique_ptr<ScriptedMarvane> StartEditor(const std::string& name,
                                                 std::vector<std::string> extra = {},
                                                 std::vector<std::string> environment = {}) {
        return StartCopy(name, root / name, std::move(extra), std::move(environment));
    }
    // One of several copies of an editor's marvane, each with a profile of its own.
    std::unique_ptr<ScriptedMarvane> StartCopy(const std::string& name, const fs::path& profile,
                                               std::vector<std::string> extra = {},
                                               std::vector<std::string> environment = {}) {
        std::vector<std::string> arguments = {
            "--production", production.string(), "--profile", profile.string(), "--user", name};
        arguments.insert(arguments.end(), extra.begin(), extra.end());
        auto editor = std::make_unique<ScriptedMarvane>(arguments, environment);
        EXPECT_EQ(editor->ReadLine(), "ready") << editor->ErrorOutput();
        return editor;
    }

    const testsupport::TemporaryFolder temporary{"e2e-shared"};
    const fs::path root = temporary.Path();
    fs::path production;
    fs::path scene;
};

TEST_F(SharedProductionTest, TwoEditorsSeeAndRespectEachOthersLocks) {
    auto ana = StartEditor("Ana Ruiz");
    auto ben = StartEditor("Ben Okafor");
    const std::string path = scene.string();

    ASSERT_EQ(ana->Send({"open", path}), "ok") << ana->ErrorOutput();
    EXPECT_EQ(ana->Send({"status", path}),
              "ok read-only=0 out-of-date=0 modified=0 holder=Ana Ruiz "
              "sequences=Scene 12 - Assembly");
    // Ben gets the project read-only, with Ana named as its holder.
    ASSERT_EQ(ben->Send({"open", path}), "ok") << ben->ErrorOutput();
    EXPECT_EQ(ben->Send({"status", path}),
              "ok read-only=1 out-of-date=0 modified=0 holder=Ana Ruiz "
              "sequences=Scene 12 - Assembly");
    EXPECT_EQ(ben->Send({"add-sequence", path, "Ben's idea"}), "error read-only");
    EXPECT_EQ(ben->Send({"read-only", path, "0"}), "error \"Scene 12\" is locked by Ana Ruiz.");

    // Ana saves: Ben's copy is out of date.
    ASSERT_EQ(ana->Send({"add-sequence", path, "Scene 12 - Fine Cut"}), "ok");
    ASSERT_EQ(ana->Send({"save", path}), "ok");
    EXPECT_EQ(ben->Send({"status", path}),
              "ok read-only=1 out-of-date=1 modified=0 holder=Ana Ruiz "
              "sequences=Scene 12 - Assembly");

    // Ana closes: her lock file is gone, and Ben can take the project over.
    ASSERT_EQ(ana->Send({"close", path}), "ok");
    EXPECT_FALSE(fs::exists(path + ".lock"));
    EXPECT_EQ(ben->Send({"read-only", path, "0"}), "ok reload=1");
    EXPECT_EQ(ben->Send({"reload", path}), "ok");
    EXPECT_EQ(ben->Send({"status", path}),
              "ok read-only=0 out-of-date=0 modified=0 holder=Ben Okafor "
              "sequences=Scene 12 - Assembly|Scene 12 - Fine Cut");
    // Now Ana is the one who reads.
    ASSERT_EQ(ana->Send({"open", path}), "ok");
    EXPECT_EQ(ana->Send({"status", path})
                  .find("ok read-only=1 out-of-date=0 modified=0 "
                        "holder=Ben Okafor"),
              0u);

    EXPECT_EQ(ana->Finish(), 0) << ana->ErrorOutput();
    EXPECT_EQ(ben->Finish(), 0) << ben->ErrorOutput();
    EXPECT_FALSE(fs::exists(path + ".lock"));
}

TEST_F(SharedProductionTest, AScriptMovesToTheTrashOnlyWhatNobodyElseHolds) {
    WriteProject(production / "Reels" / "Reel 1.mvproj", "Reel 1");
    auto ana = StartEditor("Ana Ruiz");
    auto ben = StartEditor("Ben Okafor");
    // Ben is working on the scene: Ana's script may not move it, nor the production's folders.
    ASSERT_EQ(ben->Send({"open", scene.string()}), "ok");
    EXPECT_EQ(ana->Send({"move-to-trash", scene.string()}), "ok refused");
    EXPECT_TRUE(fs::exists(scene));
    // The reel is free: it goes to the trash, locked while it moves, and nothing is left
    // locked once Ana stops.
    const fs::path reel = production / "Reels" / "Reel 1.mvproj";
    EXPECT_EQ(ana->Send({"move-to-trash", reel.string()}), "ok allowed");
    EXPECT_FALSE(fs::exists(reel));
    EXPECT_NE(ReadBytes(production / "Trash" / "Reel 1.mvproj").find("Reel 1"), std::string::npos);
    EXPECT_FALSE(fs::exists(reel.string() + ".lock"));
    EXPECT_EQ(ana->Finish(), 0) << ana->ErrorOutput();
    EXPECT_EQ(ben->Finish(), 0) << ben->ErrorOutput();
    EXPECT_FALSE(fs::exists(production / "Trash" / "Reel 1.mvproj.lock"));
}

TEST_F(SharedProductionTest, AProjectNamedOnTheCommandLineOpens) {
    auto ana = StartEditor("Ana Ruiz", {scene.string()});
    EXPECT_EQ(ana->Send({"status", scene.string()}).rfind("ok read-only=0", 0), 0u);
    EXPECT_TRUE(fs::exists(scene.string() + ".lock"));
    EXPECT_EQ(ana->Finish(), 0);
    EXPECT_FALSE(fs::exists(scene.string() + ".lock"));
}

TEST_F(SharedProductionTest, ADamagedProjectIsReportedAndLeftByteForByte) {
    const fs::path damaged = production / "Damaged.mvproj";
    const std::string bytes = "{\"formatVersion\": 1, \"sequ";
    std::ofstream(damaged, std::ios::binary) << bytes;
    auto ana = StartEditor("Ana Ruiz", {damaged.string()});
    const std::string answer = ana->Send({"open", damaged.string()});
    EXPECT_EQ(answer.rfind("error The project \"" + damaged.string() + "\" is damaged", 0), 0u)
        << answer;
    EXPECT_EQ(ana->Finish(), 0);
    EXPECT_NE(ana->ErrorOutput().find("is damaged"), std::string::npos);
    EXPECT_EQ(ReadBytes(damaged), bytes);
    EXPECT_FALSE(fs::exists(damaged.string() + ".lock"));
}

TEST_F(SharedProductionTest, TwoCopiesOfOneEditorOpeningAProjectACrashLeftLockedGiveOneWriter) {
    // Ana's marvane was killed with -9 while she had these projects open: her locks name a
    // process that is gone. She starts two copies, which open each project at the same moment.
    constexpr int kProjects = 12;
    std::vector<fs::path> projects;
    for (int index = 0; index < kProjects; ++index) {
        projects.push_back(production / ("Shot " + std::to_string(index) + ".mvproj"));
        WriteProject(projects.back(), "Shot " + std::to_string(index) + " - Assembly");
        const pid_t gone = testsupport::PidOfAGoneProcess();
        std::ofstream(projects.back().string() + ".lock") << LockOfThisMachine("Ana Ruiz", gone);
    }
    auto first = StartCopy("Ana Ruiz", root / "first");
    auto second = StartCopy("Ana Ruiz", root / "second");
    for (const fs::path& project : projects) {
        ASSERT_TRUE(first->Post({"open", project.string()}));
        ASSERT_TRUE(second->Post({"open", project.string()}));
    }
    for (std::size_t index = 0; index < projects.size(); ++index) {
        ASSERT_EQ(first->ReadLine(), "ok") << first->ErrorOutput();
        ASSERT_EQ(second->ReadLine(), "ok") << second->ErrorOutput();
    }
    int projectsWithOneWriter = 0;
    for (const fs::path& project : projects) {
        const bool firstWrites =
            first->Send({"status", project.string()}).starts_with("ok read-only=0");
        const bool secondWrites =
            second->Send({"status", project.string()}).starts_with("ok read-only=0");
        EXPECT_TRUE(firstWrites != secondWrites) << project;
        projectsWithOneWriter += firstWrites != secondWrites ? 1 : 0;
        // The one that writes saves; the other cannot.
        ScriptedMarvane& writer = firstWrites ? *first : *second;
        ScriptedMarvane& reader = firstWrites ? *second : *first;
        EXPECT_EQ(writer.Send({"add-sequence", project.string(), "Fine Cut"}), "ok");
        EXPECT_EQ(writer.Send({"save", project.string()}), "ok");
        EXPECT_EQ(reader.Send({"add-sequence", project.string(), "Other Cut"}), "error read-only");
        EXPECT_NE(ReadBytes(project).find("Fine Cut"), std::string::npos);
    }
    EXPECT_EQ(projectsWithOneWriter, kProjects);
    EXPECT_EQ(first->Finish(), 0) << first->ErrorOutput();
    EXPECT_EQ(second->Finish(), 0) << second->ErrorOutput();
    for (const fs::path& project : projects) {
        EXPECT_FALSE(fs::exists(project.string() + ".lock")) << project;
    }
}

TEST_F(SharedProductionTest, ASecondStopSignalDuringTheStopDoesNotCutItShort) {
    for (int run = 0; run < 3; ++run) {
        SCOPED_TRACE("run " + std::to_string(run));
        const fs::path profile = root / ("run " + std::to_string(run));
        auto ana = StartCopy("Ana Ruiz", profile);
        ASSERT_EQ(ana->Send({"open", scene.string()}), "ok");
        ASSERT_EQ(ana->Send({"add-sequence", scene.string(), "Unsaved Cut"}), "ok");
        // A session manager that sends two in a row.
        ana->Signal(SIGTERM);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        ana->Signal(SIGTERM);
        EXPECT_EQ(ana->WaitForExit(), 0) << ana->ErrorOutput();
        EXPECT_FALSE(fs::exists(scene.string() + ".lock"));
        EXPECT_EQ(RecoveryCopiesHolding(profile, "Unsaved Cut"), 1);
    }
}

TEST_F(SharedProductionTest, PipesWhereFilesShouldBeNeverHangTheHost) {
    fs::create_directories(root / "Ana Ruiz");
    ASSERT_EQ(::mkfifo((root / "Ana Ruiz" / "Production Panel Settings").c_str(), 0644), 0);
    ASSERT_EQ(::mkfifo((production / "Pipe.mvproj").c_str(), 0644), 0);
    auto ana = StartEditor("Ana Ruiz"); // starts at all: the settings are not waited on
    const std::string answer = ana->Send({"open", (production / "Pipe.mvproj").string()});
    EXPECT_TRUE(answer.starts_with("error")) << answer;
    EXPECT_FALSE(fs::exists(production / "Pipe.mvproj.lock"));
    EXPECT_EQ(ana->Send({"open", scene.string()}), "ok");
    EXPECT_EQ(ana->Finish(), 0) << ana->ErrorOutput();
    EXPECT_FALSE(fs::exists(scene.string() + ".lock"));
}

TEST_F(SharedProductionTest, AProjectWhoseNameIsNotUtf8KeepsItsChangesAndItsLockGoesAtTheStop) {
    // Named on a machine that writes Latin-1: "Scène 7" with a single byte for the è.
    const fs::path latin1 = production / "Sc\xE8ne 7.mvproj";
    std::ofstream(latin1, std::ios::binary)
        << R"({"formatVersion": 1, "name": "Scene 7", "bins": [], "sequences": ["Assembly"]})";
    {
        auto ana = StartEditor("Ana Ruiz");
        ASSERT_EQ(ana->Send({"open", latin1.string()}), "ok") << ana->ErrorOutput();
        EXPECT_TRUE(fs::exists(latin1.string() + ".lock"));
        ASSERT_EQ(ana->Send({"add-sequence", latin1.string(), "Unsaved Cut"}), "ok");
        // End of input stops it with the change unsaved.
        EXPECT_EQ(ana->Finish(), 0) << ana->ErrorOutput();
    }
    EXPECT_FALSE(fs::exists(latin1.string() + ".lock"));
    EXPECT_EQ(RecoveryCopiesHolding(root / "Ana Ruiz", "Unsaved Cut"), 1);
    auto again = StartEditor("Ana Ruiz");
    EXPECT_EQ(again->Send({"recovered"}), "ok count=1");
    EXPECT_EQ(again->Finish(), 0);
}

class StopSignalTest : public SharedProductionTest, public ::testing::WithParamInterface<int> {};

TEST_P(StopSignalTest, StoppingRemovesOurLocksAndKeepsUnsavedChangesAside) {
    const std::string before = ReadBytes(scene);
    {
        auto ana = StartEditor("Ana Ruiz", {}, {"MARVANE_TRACE=Host=2"});
        ASSERT_EQ(ana->Send({"open", scene.string()}), "ok");
        ASSERT_EQ(ana->Send({"add-sequence", scene.string(), "Unsaved Cut"}), "ok");
        ASSERT_TRUE(fs::exists(scene.string() + ".lock"));
        ana->Signal(GetParam());
        // The command input stays open: only the signal can be stopping it.
        EXPECT_EQ(ana->WaitForExit(), 0) << ana->ErrorOutput();
        EXPECT_NE(ana->ErrorOutput().find("Stopping on signal " + std::to_string(GetParam())),
                  std::string::npos)
            << ana->ErrorOutput();
        EXPECT_NE(ana->ErrorOutput().find("unsaved changes were kept in"), std::string::npos);
    }
    EXPECT_FALSE(fs::exists(scene.string() + ".lock"));
    EXPECT_EQ(ReadBytes(scene), before); // never written over
    EXPECT_EQ(RecoveryCopiesHolding(root / "Ana Ruiz", "Unsaved Cut"), 1);
    // The next start offers the copy.
    auto again = StartEditor("Ana Ruiz");
    EXPECT_EQ(again->Send({"dialogs"}), "ok count=1 last=Recovered Changes");
    EXPECT_EQ(again->Send({"recovered"}), "ok count=1");
    EXPECT_EQ(again->Finish(), 0);
}

INSTANTIATE_TEST_SUITE_P(Signals, StopSignalTest, ::testing::Values(SIGTERM, SIGINT, SIGHUP),
                         [](const auto& row) {
                             return row.param == SIGTERM  ? std::string("Term")
                                    : row.param == SIGINT ? std::string("Interrupt")
                                                          : std::string("HangUp");
                         });

TEST(DemoProduction, OneProjectIsLockedByAnotherEditor) {
    const testsupport::TemporaryFolder temporary("e2e-demo-lock");
    const fs::path folder = temporary.Path();
    auto editor = std::make_unique<ScriptedMarvane>(
        std::vector<std::string>{"--profile", (folder / "profile").string()});
    ASSERT_EQ(editor->ReadLine(), "ready") << editor->ErrorOutput();
    const fs::path fineCut =
        folder / "profile" / "data" / "Demo Production" / "Edit" / "Fine Cut.mvproj";
    ASSERT_EQ(editor->Send({"open", fineCut.string()}), "ok");
    EXPECT_EQ(editor->Send({"status", fineCut.string()})
                  .rfind("ok read-only=1 out-of-date=0 "
                         "modified=0 holder=Rowan Achebe",
                         0),
              0u);
    EXPECT_EQ(editor->Finish(), 0);
    EXPECT_TRUE(fs::exists(fineCut.string() + ".lock")); // another editor's lock stays
}

} // namespace
