#include "Marvane/fileservices/TreeWalk.h"

#include "DeepTrees.h"
#include "TemporaryFolder.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;

void Write(const fs::path& file, const std::string& text) {
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << text;
}

std::size_t OpenDescriptors() {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()));
}

// Writes down what the walk does, as "enter <path>" and "leave <path>", and answers as told.
class Recorder : public host::TreeVisitor {
public:
    std::function<host::WalkStep(const host::TreeWalkEntry&)> answer;
    std::vector<std::string> steps;
    std::vector<std::string> failures;

    host::WalkStep Enter(const host::TreeWalkEntry& entry) override {
        steps.push_back("enter " + entry.PathBelowRoot());
        return answer ? answer(entry) : host::WalkStep::kContinue;
    }
    host::WalkStep Leave(const host::TreeWalkEntry& entry, int opened) override {
        EXPECT_GE(opened, 0);
        steps.push_back("leave " + entry.PathBelowRoot());
        return host::WalkStep::kContinue;
    }
    host::WalkStep Failed(const host::TreeWalkEntry& entry, int error) override {
        failures.push_back(entry.PathBelowRoot() + ": " + std::to_string(error));
        return host::WalkStep::kStop;
    }

    bool Saw(const std::string& step) const { return IndexOf(step) < steps.size(); }
    std::size_t IndexOf(const std::string& step) const {
        return static_cast<std::size_t>(std::find(steps.begin(), steps.end(), step) -
                                        steps.begin());
    }
};

class TreeWalkTest : public ::testing::Test {
protected:
    void SetUp() override {
        Write(root / "Edit" / "Scene 12.mvproj", "{}");
        Write(root / "Edit" / "Reels" / "Reel 1.mvproj", "{}");
        Write(root / "Edit" / "Reels" / ".notes", "hidden");
        fs::create_directories(root / "Edit" / "Empty");
    }
    const testsupport::TemporaryFolder temporary{"treewalk"};
    const fs::path root = temporary.Path();
};

TEST_F(TreeWalkTest, EveryEntryIsEnteredOnceAndEachFolderLeftAfterWhatItHolds) {
    Recorder recorder;
    EXPECT_TRUE(host::WalkTree(root / "Edit", recorder));
    std::vector<std::string> sorted = recorder.steps;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(sorted, (std::vector<std::string>{"enter ", "enter Empty", "enter Reels",
                                                "enter Reels/.notes", "enter Reels/Reel 1.mvproj",
                                                "enter Scene 12.mvproj", "leave ", "leave Empty",
                                                "leave Reels"}));
    EXPECT_LT(recorder.IndexOf("enter Reels"), recorder.IndexOf("enter Reels/Reel 1.mvproj"));
    EXPECT_GT(recorder.IndexOf("leave Reels"), recorder.IndexOf("enter Reels/Reel 1.mvproj"));
    EXPECT_GT(recorder.IndexOf("leave Reels"), recorder.IndexOf("enter Reels/.notes"));
    EXPECT_EQ(recorder.steps.back(), "leave ");
    EXPECT_TRUE(recorder.failures.empty());
}

TEST_F(TreeWalkTest, NamesBeginningWithADotAreLeftOutWhenAsked) {
    Recorder recorder;
    host::TreeWalkOptions options;
    options.dotNames = false;
    EXPECT_TRUE(host::WalkTree(root / "Edit", recorder, options));
    EXPECT_FALSE(recorder.Saw("enter Reels/.notes"));
    EXPECT_TRUE(recorder.Saw("enter Reels/Reel 1.mvproj"));
}

TEST_F(TreeWalkTest, AProjectStoredAsAFolderIsMetButNotGoneIntoWhenAsked) {
    Write(root / "Edit" / "Titles.mvprojd" / "project.json", "{}");
    Recorder recorder;
    host::TreeWalkOptions options;
    options.intoProjectFolders = false;
    EXPECT_TRUE(host::WalkTree(root / "Edit", recorder, options));
    EXPECT_TRUE(recorder.Saw("enter Titles.mvprojd"));
    EXPECT_FALSE(recorder.Saw("enter Titles.mvprojd/project.json"));
    EXPECT_TRUE(recorder.Saw("enter Reels/Reel 1.mvproj"));
}

TEST_F(TreeWalkTest, EachFolderIsWalkedInNameOrderWhenAsked) {
    for (const char* name : {"b", "C", "a", "B"}) {
        Write(root / "Names" / name, name);
    }
    Recorder recorder;
    host::TreeWalkOptions options;
    options.sortedNames = true;
    EXPECT_TRUE(host::WalkTree(root / "Names", recorder, options));
    EXPECT_EQ(recorder.steps, (std::vector<std::string>{"enter ", "enter B", "enter C", "enter a",
                                                        "enter b", "leave "}));
}

TEST_F(TreeWalkTest, WithoutAStatusForEveryEntryTheKindStillTellsFoldersFromFiles) {
    Recorder recorder;
    std::map<std::string, bool> folders;
    recorder.answer = [&](const host::TreeWalkEntry& entry) {
        folders[entry.PathBelowRoot()] = entry.IsFolder();
        return host::WalkStep::kContinue;
    };
    host::TreeWalkOptions options;
    options.statEveryEntry = false;
    EXPECT_TRUE(host::WalkTree(root / "Edit", recorder, options));
    EXPECT_TRUE(folders["Reels"]);
    EXPECT_TRUE(folders["Empty"]);
    EXPECT_FALSE(folders["Scene 12.mvproj"]);
    EXPECT_TRUE(recorder.Saw("enter Reels/Reel 1.mvproj"));
}

TEST_F(TreeWalkTest, ARootThatIsALinkIsWalkedThroughOnlyWhenAsked) {
    fs::create_directory_symlink(root / "Edit", root / "Shortcut");
    Recorder asLink;
    EXPECT_TRUE(host::WalkTree(root / "Shortcut", asLink));
    EXPECT_EQ(asLink.steps, std::vector<std::string>{"enter "});
    Recorder through;
    host::TreeWalkOptions options;
    options.followRootLink = true;
    EXPECT_TRUE(host::WalkTree(root / "Shortcut", through, options));
    EXPECT_TRUE(through.Saw("enter Reels/Reel 1.mvproj"));
}

TEST_F(TreeWalkTest, ACancelledWalkEndsAtTheNextEntry) {
    std::atomic<bool> cancelled{false};
    Recorder recorder;
    recorder.answer = [&](const host::TreeWalkEntry& entry) {
        if (std::string(entry.name) == "Reels") {
            cancelled = true;
        }
        return host::WalkStep::kContinue;
    };
    host::TreeWalkOptions options;
    options.cancelled = &cancelled;
    options.sortedNames = true; // Empty, Reels, Scene 12.mvproj
    const std::size_t descriptors = OpenDescriptors();
    EXPECT_FALSE(host::WalkTree(root / "Edit", recorder, options));
    EXPECT_EQ(recorder.steps.back(), "enter Reels");
    EXPECT_EQ(OpenDescriptors(), descriptors);
}

TEST_F(TreeWalkTest, ALinkIsMetAsALinkAndWhatItLeadsToIsNeverWalked) {
    Write(root / "Outside" / "secret.mvproj", "{}");
    fs::create_directory_symlink(root / "Outside", root / "Edit" / "Shortcut");
    Recorder recorder;
    bool metAsALink = false;
    recorder.answer = [&](const host::TreeWalkEntry& entry) {
        if (std::string(entry.name) == "Shortcut") {
            metAsALink = S_ISLNK(entry.status.st_mode);
        }
        return host::WalkStep::kContinue;
    };
    EXPECT_TRUE(host::WalkTree(root / "Edit", recorder));
    EXPECT_TRUE(metAsALink);
    EXPECT_TRUE(recorder.Saw("enter Shortcut"));
    EXPECT_FALSE(recorder.Saw("enter Shortcut/secret.mvproj"));
    EXPECT_FALSE(recorder.Saw("leave Shortcut"));
}

TEST_F(TreeWalkTest, AFolderSkippedIsNotGoneIntoAndAStopEndsTheWalk) {
    Recorder skipping;
    skipping.answer = [](const host::TreeWalkEntry& entry) {
        return std::string(entry.name) == "Reels" ? host::WalkStep::kSkip
                                                  : host::WalkStep::kContinue;
    };
    EXPECT_TRUE(host::WalkTree(root / "Edit", skipping));
    EXPECT_TRUE(skipping.Saw("enter Reels"));
    EXPECT_FALSE(skipping.Saw("enter Reels/Reel 1.mvproj"));
    EXPECT_FALSE(skipping.Saw("leave Reels"));

    Recorder stopping;
    stopping.answer = [](const host::TreeWalkEntry& entry) {
        return std::string(entry.name) == "Reel 1.mvproj" ? host::WalkStep::kStop
                                                          : host::WalkStep::kContinue;
    };
    const std::size_t descriptors = OpenDescriptors();
    EXPECT_FALSE(host::WalkTree(root / "Edit", stopping));
    EXPECT_EQ(stopping.steps.back(), "enter Reels/Reel 1.mvproj");
    EXPECT_FALSE(stopping.Saw("leave "));
    EXPECT_EQ(OpenDescriptors(), descriptors);
}

TEST_F(TreeWalkTest, ARootUnderAFolderThatCanBeCrossedButNotReadIsWalked) {
    // /…/Locked may be passed through but not listed by others, as a server's folders often are.
    Write(root / "Locked" / "Edit" / "Scene 12.mvproj", "{}");
    ASSERT_EQ(::chmod((root / "Locked").c_str(), 0711), 0);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        // Someone who is neither the owner nor the superuser.
        if (::setgid(65534) != 0 || ::setuid(65534) != 0) {
            ::_exit(100);
        }
        Recorder recorder;
        const bool walked = host::WalkTree(root / "Locked" / "Edit", recorder);
        ::_exit(walked && recorder.Saw("enter Scene 12.mvproj") ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == 100) {
        GTEST_SKIP() << "another user cannot be taken on here (not run as the superuser)";
    }
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(TreeWalkTest, ARootThatIsNotThereIsReportedAsAFailure) {
    Recorder recorder;
    EXPECT_FALSE(host::WalkTree(root / "Nowhere", recorder));
    EXPECT_TRUE(recorder.steps.empty());
    EXPECT_EQ(recorder.failures, std::vector<std::string>{": " + std::to_string(ENOENT)});
}

TEST_F(TreeWalkTest, ATreeDeeperThanTheLongestPathIsWalkedWholeAndGivesBackEveryDescriptor) {
    const std::string name = "Level_of_a_deep_chain";
    const int levels = testsupport::LevelsBeyondTheLongestPath(name);
    testsupport::MakeDeepChain(root / "Chain", name, levels, "at the bottom");
    Recorder recorder;
    std::string bottom;
    recorder.answer = [&](const host::TreeWalkEntry& entry) {
        if (std::string(entry.name) == "bottom.txt") {
            bottom = entry.PathBelowRoot();
        }
        return host::WalkStep::kContinue;
    };
    const std::size_t descriptors = OpenDescriptors();
    EXPECT_TRUE(host::WalkTree(root / "Chain", recorder));
    EXPECT_EQ(OpenDescriptors(), descriptors);
    EXPECT_TRUE(recorder.failures.empty());
    // The top, every level and the file, each entered once; every folder left.
    EXPECT_EQ(recorder.steps.size(), static_cast<std::size_t>(2 * (levels + 1) + 1));
    EXPECT_GT(bottom.size(), static_cast<std::size_t>(PATH_MAX));
    EXPECT_EQ(bottom.substr(bottom.size() - 11), "/bottom.txt");
}

TEST_F(TreeWalkTest, AnExceptionFromTheVisitorPassesThroughWithEveryDescriptorClosed) {
    testsupport::MakeDeepChain(root / "Chain", "level", 50, "at the bottom");
    Recorder recorder;
    recorder.answer = [](const host::TreeWalkEntry& entry) -> host::WalkStep {
        if (std::string(entry.name) == "bottom.txt") {
            throw std::runtime_error("the visitor gave up");
        }
        return host::WalkStep::kContinue;
    };
    const std::size_t descriptors = OpenDescriptors();
    EXPECT_THROW(host::WalkTree(root / "Chain", recorder), std::runtime_error);
    EXPECT_EQ(OpenDescriptors(), descriptors);
}

} // namespace
