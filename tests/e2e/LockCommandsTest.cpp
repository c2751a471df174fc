// `marvane locks` and `marvane unlock` on a production with a lock of each kind, as an
// assistant editor runs them from a terminal.
#include "E2eProjects.h"
#include "LockRecord.h"
#include "MarvaneProcess.h"
#include "TemporaryFolder.h"

#include "FileBytes.h"
#include <chrono>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace e2e;

using testsupport::ReadBytes;
using testsupport::WriteBytes;

std::string HostName() {
    char name[256] = {};
    ::gethostname(name, sizeof(name) - 1);
    return name;
}

std::string BootId() {
    std::ifstream in("/proc/sys/kernel/random/boot_id");
    std::string id;
    std::getline(in, id);
    return id;
}

int GonePid() {
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(0);
    }
    ::waitpid(child, nullptr, 0);
    return child;
}

// A lock file as marvane writes it.
void Lock(const fs::path& project, const std::string& holder, const std::string& machine,
          long long pid, const std::string& bootId, std::chrono::seconds age,
          const std::string& second = "suite") {
    const nlohmann::json lock{{"lockingName", holder},  {"secondLockingString", second},
                              {"hostName", machine},    {"processId", pid},
                              {"processStartTicks", 0}, {"bootId", bootId},
                              {"machineId", ""},        {"createdUtc", "2026-11-23T09:00:00Z"}};
    const fs::path file = project.string() + ".lock";
    std::ofstream(file) << lock.dump();
    fs::last_write_time(file, fs::file_time_type::clock::now() - age);
}

class LockCommandsTest : public ::testing::Test {
protected:
    void SetUp() override {
        for (const char* name : {"Abandoned", "Silent", "Live", "Mine", "Garbage", "Free"}) {
            WriteProject(production / "Reels" / (std::string(name) + ".mvproj"));
        }
        const fs::path reels = production / "Reels";
        Lock(reels / "Abandoned.mvproj", "Ben Okafor", HostName(), GonePid(), BootId(),
             std::chrono::seconds(30));
        Lock(reels / "Silent.mvproj", "Chloe Diaz", "edit-bay-7", 4242, "their boot",
             std::chrono::hours(2));
        Lock(reels / "Live.mvproj", "Dev Patel", "edit-bay-8", 4343, "their boot",
             std::chrono::seconds(40));
        // Her second locking string is her machine's name unless she chose another.
        Lock(reels / "Mine.mvproj", "Ana Ruiz", "edit-bay-9", 4444, "her boot",
             std::chrono::seconds(40), HostName());
        std::ofstream(reels / "Garbage.mvproj.lock") << "{\"lockingName\": ";
        // The production's hidden data folder, as marvane makes it when it opens a production.
        fs::create_directories(production / ".marvane");
    }
    ProcessResult Run(std::vector<std::string> arguments) const {
        arguments.insert(arguments.end(), {"--user", "Ana Ruiz", "--profile", profile.string()});
        return RunMarvane(arguments);
    }
    std::vector<nlohmann::json> AuditLines() const { return LockRecord(production); }

    const testsupport::TemporaryFolder temporary{"e2e-locks"};
    const fs::path production = temporary.Path() / "Pilot";
    const fs::path profile = temporary.Path() / "profile";
};

TEST_F(LockCommandsTest, TheListingShowsEveryLockWithItsStateAsAnAlignedTable) {
    const ProcessResult result = Run({"locks", production.string()});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    std::istringstream lines(result.out);
    std::vector<std::string> rows;
    for (std::string line; std::getline(lines, line);) {
        rows.push_back(line);
    }
    ASSERT_EQ(rows.size(), 6u) << result.out;
    EXPECT_EQ(rows[0].rfind("PROJECT", 0), 0u);
    const std::size_t stateColumn = rows[0].find("STATE");
    const std::vector<std::pair<std::string, std::string>> expected{
        {"Reels/Abandoned.mvproj", "abandoned"},
        {"Reels/Garbage.mvproj", "unreadable"},
        {"Reels/Live.mvproj", "live"},
        {"Reels/Mine.mvproj", "yours"},
        {"Reels/Silent.mvproj", "silent"}};
    for (std::size_t index = 0; index < expected.size(); ++index) {
        const std::string& row = rows[index + 1];
        EXPECT_EQ(row.rfind(expected[index].first, 0), 0u) << row;
        EXPECT_EQ(row.substr(stateColumn), expected[index].second) << row;
    }
    EXPECT_NE(rows[5].find("Chloe Diaz"), std::string::npos);
    EXPECT_NE(rows[5].find("edit-bay-7"), std::string::npos);
    EXPECT_NE(rows[5].find("2 h ago"), std::string::npos);
}

TEST_F(LockCommandsTest, TheJsonListingGivesScriptsEveryField) {
    const ProcessResult result = Run({"locks", "--json", production.string()});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const nlohmann::json listing = nlohmann::json::parse(result.out);
    ASSERT_EQ(listing.at("locks").size(), 5u);
    const nlohmann::json& silent = listing.at("locks").at(4);
    EXPECT_EQ(silent.at("project"), "Reels/Silent.mvproj");
    EXPECT_EQ(silent.at("state"), "silent");
    EXPECT_EQ(silent.at("holder"), "Chloe Diaz");
    EXPECT_EQ(silent.at("second"), "suite");
    EXPECT_EQ(silent.at("machine"), "edit-bay-7");
    EXPECT_EQ(silent.at("pid"), 4242);
    EXPECT_EQ(silent.at("since"), "2026-11-23T09:00:00Z");
    EXPECT_GE(silent.at("lastSeenSecondsAgo").get<long long>(), 7190);
    EXPECT_EQ(listing.at("locks").at(1).at("state"), "unreadable");
    EXPECT_FALSE(listing.at("locks").at(1).contains("holder"));
}

TEST_F(LockCommandsTest, UnlockRemovesAnAbandonedOrSilentLockAndRecordsIt) {
    const fs::path silent = production / "Reels" / "Silent.mvproj";
    const ProcessResult result = Run({"unlock", silent.string()});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_FALSE(fs::exists(silent.string() + ".lock"));
    EXPECT_NE(result.out.find("Chloe Diaz"), std::string::npos);
    const fs::path abandoned = production / "Reels" / "Abandoned.mvproj";
    EXPECT_EQ(Run({"unlock", abandoned.string()}).exitCode, 0);
    const auto lines = AuditLines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].at("by"), "Ana Ruiz");
    EXPECT_EQ(lines[0].at("how"), "unlock");
    EXPECT_EQ(lines[0].at("project"), "Reels/Silent.mvproj");
    EXPECT_EQ(lines[0].at("lock").at("lockingName"), "Chloe Diaz");
    EXPECT_EQ(lines[1].at("lock").at("lockingName"), "Ben Okafor");
}

TEST_F(LockCommandsTest, UnlockRefusesALiveLockUnlessForcedAndRecordsTheForcedOne) {
    const fs::path live = production / "Reels" / "Live.mvproj";
    const ProcessResult refused = Run({"unlock", live.string()});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_NE(refused.err.find("is live: Dev Patel on edit-bay-8 holds it"), std::string::npos)
        << refused.err;
    EXPECT_TRUE(fs::exists(live.string() + ".lock"));
    EXPECT_TRUE(AuditLines().empty());
    const ProcessResult forced = Run({"unlock", "--force", live.string()});
    EXPECT_EQ(forced.exitCode, 0) << forced.err;
    EXPECT_FALSE(fs::exists(live.string() + ".lock"));
    ASSERT_EQ(AuditLines().size(), 1u);
    EXPECT_EQ(AuditLines()[0].at("how"), "unlock --force");
}

TEST_F(LockCommandsTest, UnlockRefusesYoursAndUnreadableLocksAndProjectsWithoutOne) {
    EXPECT_EQ(Run({"unlock", (production / "Reels" / "Mine.mvproj").string()}).exitCode, 1);
    const ProcessResult garbage =
        Run({"unlock", (production / "Reels" / "Garbage.mvproj").string()});
    EXPECT_EQ(garbage.exitCode, 1);
    EXPECT_NE(garbage.err.find("cannot be read"), std::string::npos) << garbage.err;
    const ProcessResult free = Run({"unlock", (production / "Reels" / "Free.mvproj").string()});
    EXPECT_EQ(free.exitCode, 1);
    EXPECT_NE(free.err.find("has no lock"), std::string::npos) << free.err;
    EXPECT_TRUE(AuditLines().empty());
}

TEST_F(LockCommandsTest, UnlockOfAProjectThatDoesNotExistSaysSoButRemovesALockItLeft) {
    const ProcessResult mistyped =
        Run({"unlock", (production / "Reels" / "Abandonned.mvproj").string()});
    EXPECT_EQ(mistyped.exitCode, 1);
    EXPECT_NE(mistyped.err.find("does not exist, and no lock of that name does"), std::string::npos)
        << mistyped.err;
    // A project that went and left its lock behind: the lock is removed like any other.
    const fs::path gone = production / "Reels" / "Abandoned.mvproj";
    fs::remove(gone);
    const ProcessResult removed = Run({"unlock", gone.string()});
    EXPECT_EQ(removed.exitCode, 0) << removed.err;
    EXPECT_FALSE(fs::exists(gone.string() + ".lock"));
    EXPECT_EQ(AuditLines().size(), 1u);
}

TEST_F(LockCommandsTest, TheListingWithoutAFolderNamesTheProductionOpenedLast) {
    fs::create_directories(profile);
    std::ofstream(profile / "preferences.json")
        << nlohmann::json{{"lastProduction", production.string()}}.dump();
    const ProcessResult listed = Run({"locks"});
    ASSERT_EQ(listed.exitCode, 0) << listed.err;
    EXPECT_EQ(listed.out.rfind("Locks of \"" + production.string() +
                                   "\", the production opened last:\nPROJECT",
                               0),
              0u)
        << listed.out;
    EXPECT_NE(listed.out.find("Reels/Live.mvproj"), std::string::npos) << listed.out;
    // Named, it is the table alone; a production without locks says so.
    EXPECT_EQ(Run({"locks", production.string()}).out.rfind("PROJECT", 0), 0u);
    const fs::path quiet = temporary.Path() / "Quiet";
    WriteProject(quiet / "Reel.mvproj");
    const ProcessResult none = Run({"locks", quiet.string()});
    EXPECT_EQ(none.exitCode, 0) << none.err;
    EXPECT_EQ(none.out, "No project of it is locked.\n");
}

TEST_F(LockCommandsTest, AFolderAtTheLocksNameIsNeverRemovedEvenByForce) {
    const fs::path free = production / "Reels" / "Free.mvproj";
    fs::create_directories(free.string() + ".lock");
    std::ofstream(free.string() + ".lock/inside") << "kept";
    const ProcessResult forced = Run({"unlock", "--force", free.string()});
    EXPECT_EQ(forced.exitCode, 1);
    EXPECT_NE(forced.err.find("is not a file"), std::string::npos) << forced.err;
    EXPECT_TRUE(fs::exists(free.string() + ".lock/inside"));
    EXPECT_TRUE(AuditLines().empty());
}

TEST_F(LockCommandsTest, BadArgumentsAreRefusedWithTheUsage) {
    const ProcessResult missing = Run({"unlock"});
    EXPECT_EQ(missing.exitCode, 2);
    EXPECT_NE(missing.err.find("usage: marvane locks"), std::string::npos);
    EXPECT_EQ(Run({"locks", "--frobnicate"}).exitCode, 2);
    const ProcessResult notFolder = Run({"locks", (production / "nowhere").string()});
    EXPECT_EQ(notFolder.exitCode, 2);
    EXPECT_NE(notFolder.err.find("is not a folder"), std::string::npos);
}

TEST_F(LockCommandsTest, UnlockRecordsAProjectAndALockWhoseBytesAreNotUtf8) {
    // Named on a machine that writes Latin-1: "Scène 7", and a lock from it that is no JSON.
    const fs::path latin1 = production / "Reels" / "Sc\xE8ne 7.mvproj";
    WriteProject(latin1);
    WriteBytes(latin1.string() + ".lock", "Beno\xEEt was here");
    const ProcessResult result = Run({"unlock", "--force", latin1.string()});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_FALSE(fs::exists(latin1.string() + ".lock"));
    const auto lines = AuditLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].at("project"), "Reels/Sc\uFFFDne 7.mvproj");
    EXPECT_EQ(lines[0].at("projectBytes"), "Reels/Sc\\xE8ne 7.mvproj");
    EXPECT_EQ(lines[0].at("lock"), "Beno\uFFFDt was here");
    EXPECT_EQ(lines[0].at("lockBytes"), "Beno\\xEEt was here");
    EXPECT_EQ(lines[0].at("lockCut"), false);
}

TEST_F(LockCommandsTest, TheJsonListingGivesTheBytesOfANameThatIsNotUtf8) {
    const fs::path latin1 = production / "Reels" / "Sc\xE8ne 7.mvproj";
    WriteProject(latin1);
    Lock(latin1, "Chloe Diaz", "edit-bay-7", 4242, "their boot", std::chrono::hours(2));
    const ProcessResult result = Run({"locks", "--json", production.string()});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const nlohmann::json listing = nlohmann::json::parse(result.out);
    ASSERT_EQ(listing.at("locks").size(), 6u);
    EXPECT_EQ(listing.at("locks").at(4).at("projectBytes"), "Reels/Sc\\xE8ne 7.mvproj");
}

TEST_F(LockCommandsTest, TheRecordCopiesOnlyTheBeginningOfAHugeLock) {
    const fs::path garbage = production / "Reels" / "Garbage.mvproj";
    WriteBytes(garbage.string() + ".lock", std::string(1 << 20, 'x'));
    ASSERT_EQ(Run({"unlock", "--force", garbage.string()}).exitCode, 0);
    EXPECT_LT(fs::file_size(production / ".marvane" / "lock-breaks.log"), 8192u);
    const auto lines = AuditLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].at("lock"), std::string(4096, 'x'));
    EXPECT_EQ(lines[0].at("lockSize"), 1 << 20);
    EXPECT_EQ(lines[0].at("lockCut"), true);
}

TEST_F(LockCommandsTest, UnlockNeverWritesTheRecordThroughALink) {
    const fs::path elsewhere = temporary.Path() / "elsewhere.log";
    WriteBytes(elsewhere, "");
    fs::create_symlink(elsewhere, production / ".marvane" / "lock-breaks.log");
    const fs::path silent = production / "Reels" / "Silent.mvproj";
    const ProcessResult result = Run({"unlock", silent.string()});
    // The lock goes all the same; the user is told that the record could not be written.
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_FALSE(fs::exists(silent.string() + ".lock"));
    EXPECT_NE(result.err.find("is a symbolic link"), std::string::npos) << result.err;
    EXPECT_EQ(ReadBytes(elsewhere), "");
}

TEST_F(LockCommandsTest, AHiddenFolderThatIsALinkIsNotWhereTheRecordGoes) {
    const fs::path elsewhere = temporary.Path() / "elsewhere";
    fs::create_directories(elsewhere);
    fs::remove(production / ".marvane");
    fs::create_directory_symlink(elsewhere, production / ".marvane");
    const fs::path silent = production / "Reels" / "Silent.mvproj";
    EXPECT_EQ(Run({"unlock", silent.string()}).exitCode, 0);
    EXPECT_FALSE(fs::exists(silent.string() + ".lock"));
    EXPECT_TRUE(fs::is_empty(elsewhere));
}

TEST_F(LockCommandsTest, TheListingShowsControlCharactersAndBidiOverridesInNamesEscaped) {
    // A name that would clear the screen, retitle the window, forge a row of its own and
    // turn the rest of the line around.
    const fs::path hostile = production / "Reels" / "Hostile.mvproj";
    WriteProject(hostile);
    Lock(hostile, "Eve\x1B[2J\nReels/Forged.mvproj  live\x1B]0;owned\x07\xE2\x80\xAEtxt",
         "edit-bay-8\r", 4545, "their boot", std::chrono::seconds(40));
    const ProcessResult result = Run({"locks", production.string()});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.out.find('\x1B'), std::string::npos);
    EXPECT_EQ(result.out.find('\r'), std::string::npos);
    EXPECT_EQ(result.out.find("\xE2\x80\xAE"), std::string::npos);
    std::istringstream lines(result.out);
    std::vector<std::string> rows;
    for (std::string line; std::getline(lines, line);) {
        rows.push_back(line);
    }
    ASSERT_EQ(rows.size(), 7u) << result.out;
    const std::size_t stateColumn = rows[0].find("STATE");
    EXPECT_EQ(rows[3].rfind("Reels/Hostile.mvproj", 0), 0u) << rows[3];
    EXPECT_NE(rows[3].find("Eve\\x1B[2J\\x0AReels/Forged.mvproj  live\\x1B]0;owned\\x07"
                           "\\u202Etxt"),
              std::string::npos)
        << rows[3];
    EXPECT_NE(rows[3].find("edit-bay-8\\x0D"), std::string::npos) << rows[3];
    EXPECT_EQ(rows[3].substr(stateColumn), "live") << rows[3];
    EXPECT_EQ(rows[6].substr(stateColumn), "silent") << rows[6];
}

TEST_F(LockCommandsTest, UnlockAcceptsDoubleDashBeforeNames) {
    const fs::path reels = production / "Reels";
    WriteProject(reels / "-rf.mvproj");
    Lock(reels / "-rf.mvproj", "Chloe Diaz", "edit-bay-7", 4242, "their boot",
         std::chrono::hours(2));
    const fs::path before = fs::current_path();
    fs::current_path(reels);
    const ProcessResult result = RunMarvane(
        {"unlock", "--user", "Ana Ruiz", "--profile", profile.string(), "--", "-rf.mvproj"});
    const ProcessResult withoutDashes =
        RunMarvane({"unlock", "--user", "Ana Ruiz", "--profile", profile.string(), "-rf.mvproj"});
    fs::current_path(before);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_FALSE(fs::exists(reels / "-rf.mvproj.lock"));
    EXPECT_EQ(withoutDashes.exitCode, 2);
    EXPECT_NE(withoutDashes.err.find("put -- before a name"), std::string::npos)
        << withoutDashes.err;
}

TEST_F(LockCommandsTest, ALinkAtTheLocksNameIsNeverRemovedEvenByForce) {
    const fs::path free = production / "Reels" / "Free.mvproj";
    const fs::path target = temporary.Path() / "somebody's lock";
    WriteBytes(target, "{\"lockingName\": ");
    fs::create_symlink(target, free.string() + ".lock");
    const ProcessResult forced = Run({"unlock", "--force", free.string()});
    EXPECT_EQ(forced.exitCode, 1);
    EXPECT_NE(forced.err.find("is not a file (a folder, a link or a special file)"),
              std::string::npos)
        << forced.err;
    EXPECT_TRUE(fs::is_symlink(free.string() + ".lock"));
    EXPECT_EQ(ReadBytes(target), "{\"lockingName\": ");
    EXPECT_TRUE(AuditLines().empty());
}

} // namespace
