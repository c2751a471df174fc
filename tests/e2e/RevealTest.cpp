// Reveal in File Browser in the real marvane, against a file manager on a session bus of the
// test's own: a dbus-daemon started here and a stand-in file manager that logs its calls.
#include "E2eProjects.h"
#include "ScriptedMarvane.h"
#include "TemporaryFolder.h"

#include <cctype>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace e2e;

// A program run in the background with its output in a file; stopped when it goes.
class Child {
public:
    Child(const std::vector<std::string>& arguments, const std::vector<std::string>& environment,
          const fs::path& output) {
        mPid = ::fork();
        if (mPid == 0) {
            std::FILE* out = std::freopen(output.c_str(), "w", stdout);
            (void)out;
            for (const std::string& variable : environment) {
                ::putenv(const_cast<char*>(variable.c_str()));
            }
            std::vector<char*> argv;
            for (const std::string& argument : arguments) {
                argv.push_back(const_cast<char*>(argument.c_str()));
            }
            argv.push_back(nullptr);
            ::execv(argv[0], argv.data());
            ::_exit(127);
        }
    }
    ~Child() {
        if (mPid > 0) {
            ::kill(mPid, SIGTERM);
            ::waitpid(mPid, nullptr, 0);
        }
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

private:
    pid_t mPid = -1;
};

std::string ReadAll(const fs::path& file) {
    std::ifstream in(file);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// Waits up to ten seconds for the file to hold the text.
bool FileComesToHold(const fs::path& file, const std::string& text) {
    for (int attempt = 0; attempt < 200; ++attempt) {
        if (ReadAll(file).find(text) != std::string::npos) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return false;
}

class RevealTest : public ::testing::Test {
protected:
    void SetUp() override {
        WriteProject(production / "Scene 4.mvproj");
        WriteProject(production / "D\xC3\xA9rush" / "Shot 1.mvproj"); // "Dérush"
        std::ofstream(root / "bus.conf")
            << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration "
               "1.0//EN\"\n"
               " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
               "<busconfig><type>session</type><listen>unix:path="
            << (root / "bus").string()
            << "</listen><auth>EXTERNAL</auth><policy context=\"default\">"
               "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
               "<allow own=\"*\"/></policy></busconfig>\n";
        bus = std::make_unique<Child>(
            std::vector<std::string>{"/usr/bin/dbus-daemon", "--nofork",
                                     "--config-file=" + (root / "bus.conf").string()},
            std::vector<std::string>{}, root / "bus.out");
        for (int attempt = 0; attempt < 200 && !fs::exists(root / "bus"); ++attempt) {
            std::this_thread::sleep_for(std::chrono::milliseconds(25));
        }
        ASSERT_TRUE(fs::exists(root / "bus")) << "the test's bus did not start";
        fileManager = std::make_unique<Child>(
            std::vector<std::string>{MARVANE_FIXTURE_DIR "/file_manager_stub", log.string()},
            std::vector<std::string>{address}, root / "stub.out");
        ASSERT_TRUE(FileComesToHold(root / "stub.out", "ready"));
    }

    // Once the panel shows the production, with the tree focused; environment: more than the
    // test's bus.
    std::unique_ptr<ScriptedMarvane> Start(std::vector<std::string> environment = {}) {
        environment.push_back(address);
        auto marvane = std::make_unique<ScriptedMarvane>(
            std::vector<std::string>{"--production", production.string(), "--profile",
                                     (root / "profile").string(), "--user", "Ana Ruiz"},
            environment);
        EXPECT_EQ(marvane->ReadLine(), "ready") << marvane->ErrorOutput();
        for (int attempt = 0; attempt < 200; ++attempt) {
            if (marvane->Send({"ui", "rows", kTree}) == "ok count=2 D\xC3\xA9rush|Scene 4") {
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        EXPECT_EQ(marvane->Send({"ui", "focus", kTree}), "ok");
        return marvane;
    }

    const testsupport::TemporaryFolder temporary{"e2e-reveal"};
    const fs::path root = temporary.Path();
    const fs::path production = root / "Pilot Show";
    const fs::path log = root / "file-manager.log";
    const std::string address = "DBUS_SESSION_BUS_ADDRESS=unix:path=" + (root / "bus").string();
    std::unique_ptr<Child> bus;
    std::unique_ptr<Child> fileManager;
};

// Percent-encoded as file URIs are: spaces and bytes outside ASCII.
std::string UriOf(const fs::path& path) {
    std::string uri = "file://";
    for (const char byte : path.string()) {
        const auto c = static_cast<unsigned char>(byte);
        if (std::isalnum(c) || c == '/' || c == '-' || c == '.' || c == '_' || c == '~') {
            uri += byte;
        } else {
            char encoded[4];
            std::snprintf(encoded, sizeof(encoded), "%%%02X", c);
            uri += encoded;
        }
    }
    return uri;
}

TEST_F(RevealTest, RevealingTheProductionShowsItsFolder) {
    auto marvane = Start();
    EXPECT_EQ(marvane->Send({"command", "cmd.mvproductionfolder.revealrootinsystem"}), "ok");
    EXPECT_TRUE(FileComesToHold(log, "ShowFolders\t" + UriOf(production) + "\n")) << ReadAll(log);
    EXPECT_EQ(marvane->Finish(), 0) << marvane->ErrorOutput();
}

TEST_F(RevealTest, RevealingSelectedItemsShowsThemAllSelectedWithTheirNamesEncoded) {
    auto marvane = Start();
    ASSERT_EQ(marvane->Send({"ui", "select", kTree, "Scene 4", "D\xC3\xA9rush"}), "ok");
    EXPECT_EQ(marvane->Send({"command", "cmd.mvproductionfolder.revealiteminsystem"}), "ok");
    const std::string expected = "ShowItems\t" + UriOf(production / "D\xC3\xA9rush") + "\t" +
                                 UriOf(production / "Scene 4.mvproj") + "\n";
    EXPECT_TRUE(FileComesToHold(log, expected)) << ReadAll(log) << "\nwanted " << expected;
    EXPECT_NE(expected.find("Pilot%20Show/D%C3%A9rush"), std::string::npos);
    EXPECT_EQ(marvane->Finish(), 0) << marvane->ErrorOutput();
}

TEST_F(RevealTest, WhenNoFileBrowserAnswersTheWindowSaysSoAndWhere) {
    fileManager.reset(); // nobody on the bus shows folders, and no xdg-open on the path
    auto marvane = Start({"PATH=" + (root / "no-programs").string()});
    EXPECT_EQ(marvane->Send({"command", "cmd.mvproductionfolder.revealrootinsystem"}), "ok");
    const std::string said = marvane->SendUntilHolding({"last-dialog"}, "Cannot Show");
    EXPECT_EQ(said, "ok Cannot Show in File Browser\tNo file browser answered to show the folder " +
                        production.string() +
                        ".\txdg-open, which opens folders on this desktop, is not installed.")
        << marvane->ErrorOutput();
    EXPECT_EQ(marvane->Finish(), 0) << marvane->ErrorOutput();
}

TEST_F(RevealTest, WithNothingSelectedRevealingItemsIsOff) {
    auto marvane = Start();
    EXPECT_EQ(marvane->Send({"command", "cmd.mvproductionfolder.revealiteminsystem"}),
              "error disabled");
    EXPECT_EQ(marvane->Finish(), 0) << marvane->ErrorOutput();
}

} // namespace
