// The name index answers the production's search exactly as the walk of the disk does, after it
// is built and after every kind of change another process makes.
#include "Marvane/fileservices/NameIndex.h"

#include "DeepTrees.h"
#include "FileBytes.h"
#include "RandomChanges.h"
#include "TemporaryFolder.h"
#include "host/FileServices.h"

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <random>
#include <set>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;

const std::vector<host::WideString> kExtensions = {u".mvproj", u".mvprojd"};
const std::vector<std::string> kTexts = {"",     "shot", "SHOT 1", "1",  "v2",  "scène",
                                         "\xff", " ",    "x.mv",   "zz", "Day", "o"};

std::vector<std::string> Sorted(std::vector<std::string> paths) {
    std::sort(paths.begin(), paths.end());
    return paths;
}

class NameIndexTest : public ::testing::Test {
protected:
    std::vector<std::string> Walked(const std::string& text) const {
        std::vector<std::string> paths;
        for (const host::WideString& path : host::FindFilesOrDirectories(
                 host::ToUTF16(root.string()), kExtensions, host::ToUTF16(text))) {
            paths.push_back(host::ToUTF8(path));
        }
        return Sorted(std::move(paths));
    }
    std::vector<std::string> Indexed(const host::NameIndex& index, const std::string& text) const {
        return Sorted(index.Find(host::FoldedAscii(text)));
    }
    void ExpectSameAnswers(const host::NameIndex& index, const std::string& when) const {
        for (const std::string& text : kTexts) {
            EXPECT_EQ(Indexed(index, text), Walked(text)) << when << ", text \"" << text << "\"";
        }
    }
    void Project(const fs::path& path) const {
        fs::create_directories(path.parent_path());
        testsupport::WriteBytes(path, "{}");
    }

    const testsupport::TemporaryFolder temporary{"name-index"};
    const fs::path root = temporary.Path() / "Pilot";
};

TEST_F(NameIndexTest, ABuiltIndexFindsWhatTheWalkFinds) {
    Project(root / "Scene 1.mvproj");
    Project(root / "Episode 1" / "Day 1" / "Shot 12 v2.MVPROJ");
    Project(root / "Episode 1" / "Day 1" / "Shot 13.mvproj");
    Project(root / "Episode 1" / "scène 4.mvproj");
    Project(root / "Episode 1" / "Bytes \xff\xfe.mvproj");
    Project(root / "Episode 1" / (std::string(243, 'L') + ".mvproj")); // 250 bytes
    fs::create_directories(root / "Folder Kept.mvprojd" / "inside.mvproj");
    testsupport::WriteBytes(root / "Notes.txt", "not a project");
    testsupport::WriteBytes(root / "A file.mvprojd", "not a project folder");
    fs::create_directories(root / "Looks Like.mvproj");
    Project(root / "Looks Like.mvproj" / "Shot 2.mvproj");
    Project(root / ".hidden" / "Shot 3.mvproj");
    Project(root / ".Shot 4.mvproj");
    fs::create_symlink(root / "Scene 1.mvproj", root / "Link to Shot.mvproj");
    fs::create_directories(temporary.Path() / "Elsewhere");
    Project(temporary.Path() / "Elsewhere" / "Shot 5.mvproj");
    fs::create_directory_symlink(temporary.Path() / "Elsewhere", root / "Linked folder");

    host::NameIndex index(root, kExtensions);
    ASSERT_TRUE(index.Build());
    EXPECT_TRUE(index.IsComplete());
    ExpectSameAnswers(index, "once built");
    EXPECT_EQ(index.ProjectCount(), Walked("").size());
    EXPECT_EQ(Indexed(index, "shot").size(), 4u); // 12, 13, 2 and the link; never hidden ones
}

TEST_F(NameIndexTest, AnIndexOfARootThatCannotBeReadIsNotComplete) {
    host::NameIndex index(root / "Missing", kExtensions);
    EXPECT_FALSE(index.Build());
    EXPECT_FALSE(index.IsComplete());
    EXPECT_TRUE(index.Find("").empty());
}

TEST_F(NameIndexTest, ACancelledBuildLeavesTheIndexIncomplete) {
    Project(root / "Scene 1.mvproj");
    const std::atomic<bool> cancelled{true};
    host::NameIndex index(root, kExtensions);
    EXPECT_FALSE(index.Build(&cancelled));
    EXPECT_FALSE(index.IsComplete());
}

TEST_F(NameIndexTest, AFolderThatCameIsReadWholeAndOneThatWentTakesItsProjects) {
    Project(root / "Day 1" / "Shot 1.mvproj");
    host::NameIndex index(root, kExtensions);
    ASSERT_TRUE(index.Build());
    Project(root / "Day 2" / "Deep" / "Deeper" / "Shot 2.mvproj");
    fs::remove_all(root / "Day 1");
    index.Refresh(root);
    ExpectSameAnswers(index, "after a folder came and one went");
    EXPECT_EQ(index.ProjectCount(), 1u);
}

TEST_F(NameIndexTest, AChangeBelowAFolderNotHeldYetIsReadFromTheNearestOneHeld) {
    host::NameIndex index(root, kExtensions);
    fs::create_directories(root);
    ASSERT_TRUE(index.Build());
    Project(root / "New" / "Inner" / "Shot 9.mvproj");
    index.Refresh(root / "New" / "Inner");
    ExpectSameAnswers(index, "after a change deep in a new folder");
    index.Refresh(temporary.Path()); // outside the production: nothing
    EXPECT_EQ(index.ProjectCount(), 1u);
}

TEST_F(NameIndexTest, AChangeDeeperThanTheLongestPathKeepsWhatTheIndexHeldThere) {
    // A chain of folders deeper than any path the system takes, a project at its bottom: the
    // walk reaches it by folder descriptors, a refresh by its path cannot.
    const std::string name = "Level";
    const int levels = testsupport::LevelsBeyondTheLongestPath(name);
    testsupport::MakeDeepChain(root, name, levels, "");
    int folder = ::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    fs::path deepest = root;
    for (int level = 0; level < levels && folder >= 0; ++level) {
        const int inner = ::openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        ::close(folder);
        folder = inner;
        deepest /= name;
    }
    ASSERT_GE(folder, 0);
    const int project = ::openat(folder, "Shot deep.mvproj", O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    ASSERT_GE(project, 0);
    ::close(project);
    ::close(folder);

    host::NameIndex index(root, kExtensions);
    ASSERT_TRUE(index.Build());
    ASSERT_EQ(Walked("deep").size(), 1u);
    EXPECT_EQ(Indexed(index, "deep"), Walked("deep"));
    index.Refresh(deepest);
    EXPECT_EQ(Indexed(index, "deep"), Walked("deep"));
}

TEST_F(NameIndexTest, AProjectReplacedByAFolderOfTheSameNameIsNoProjectAnyMore) {
    Project(root / "Shot 1.mvproj");
    host::NameIndex index(root, kExtensions);
    ASSERT_TRUE(index.Build());
    fs::remove(root / "Shot 1.mvproj");
    Project(root / "Shot 1.mvproj" / "Shot 7.mvproj");
    index.Refresh(root);
    ExpectSameAnswers(index, "after a file became a folder");
}

TEST_F(NameIndexTest, NamesThatGoAreForgottenAndTheRoomTheyTookIsGivenBack) {
    host::NameIndex index(root, kExtensions);
    fs::create_directories(root);
    ASSERT_TRUE(index.Build());
    for (int round = 0; round < 4; ++round) {
        for (int i = 0; i < 500; ++i) {
            Project(root / ("Shot " + std::to_string(round * 1000 + i) + " of a long name.mvproj"));
        }
        index.Refresh(root);
        for (int i = 0; i < 500; ++i) {
            fs::remove(root /
                       ("Shot " + std::to_string(round * 1000 + i) + " of a long name.mvproj"));
        }
        index.Refresh(root);
    }
    Project(root / "Shot last.mvproj");
    index.Refresh(root);
    ExpectSameAnswers(index, "after many came and went");
    EXPECT_EQ(index.ProjectCount(), 1u);
    EXPECT_LT(index.NameBytes(), 500u * 30u); // packed: not the names of 2,000 gone projects
}

TEST_F(NameIndexTest, ATextThatHoldsTheLastOneLooksOnlyAtTheLastOnesHits) {
    testsupport::MakeRandomProduction(root, 3, 8, 300);
    host::NameIndex index(root, kExtensions);
    ASSERT_TRUE(index.Build());
    const std::size_t shots = index.Find("sh").size();
    EXPECT_EQ(index.LastExamined(), index.ProjectCount());
    ASSERT_GT(shots, 0u);
    ASSERT_LT(shots, index.ProjectCount());
    EXPECT_EQ(Sorted(index.Find("sho")), Walked("sho"));
    EXPECT_EQ(index.LastExamined(), shots);
    EXPECT_EQ(Sorted(index.Find("shot 1")), Walked("shot 1"));
    EXPECT_LE(index.LastExamined(), shots);
    EXPECT_EQ(Sorted(index.Find("promo")), Walked("promo")); // another text: all looked at
    EXPECT_EQ(index.LastExamined(), index.ProjectCount());
    EXPECT_EQ(Sorted(index.Find("promo")), Walked("promo")); // the same again: all looked at
    EXPECT_EQ(index.LastExamined(), index.ProjectCount());
}

TEST_F(NameIndexTest, AChangeSinceTheLastTextMakesTheNextOneLookAtEveryName) {
    testsupport::MakeRandomProduction(root, 4, 4, 100);
    host::NameIndex index(root, kExtensions);
    ASSERT_TRUE(index.Build());
    index.Find("sh");
    Project(root / "Day 0" / "Shot that came.mvproj");
    index.Refresh(root / "Day 0");
    EXPECT_EQ(Sorted(index.Find("shot")), Walked("shot"));
    EXPECT_EQ(index.LastExamined(), index.ProjectCount());
}

TEST_F(NameIndexTest, TypingLetterByLetterFindsWhatTheWalkFindsAtEachLetter) {
    testsupport::MakeRandomProduction(root, 5, 8, 300);
    host::NameIndex index(root, kExtensions);
    ASSERT_TRUE(index.Build());
    for (const std::string typed : {"Scène 12", "SHOT 2", "reel 1"}) {
        for (std::size_t length = 1; length <= typed.size(); ++length) {
            if (length < typed.size() &&
                (static_cast<unsigned char>(typed[length]) & 0xc0) == 0x80) {
                continue; // a letter is typed whole
            }
            const std::string text = typed.substr(0, length);
            EXPECT_EQ(Indexed(index, text), Walked(text)) << "\"" << text << "\"";
        }
    }
}

// Another process makes random changes of every kind and says which folders it touched; after
// each round the index re-reads those, and must answer as the walk does.
TEST_F(NameIndexTest, AfterRandomChangesByAnotherProcessTheIndexAnswersAsTheWalk) {
    testsupport::MakeRandomProduction(root, 20261126, 12, 200);
    host::NameIndex index(root, kExtensions);
    ASSERT_TRUE(index.Build());
    ExpectSameAnswers(index, "once built");

    std::mt19937 random(7);
    std::size_t touchedInAll = 0;
    for (int round = 0; round < 25 && !HasFailure(); ++round) {
        const std::set<std::string> touched =
            testsupport::MakeRandomChanges(root, static_cast<unsigned>(random()), 8, round);
        touchedInAll += touched.size();
        for (const std::string& folder : touched) {
            index.Refresh(folder);
        }
        ExpectSameAnswers(index, "after round " + std::to_string(round));
    }
    EXPECT_GT(touchedInAll, 25u);
}

} // namespace

namespace {

TEST_F(NameIndexTest, TheFirstOfManyResultsAreGivenBeforeTheOthersAreMade) {
    for (int shot = 1; shot <= 12; ++shot) {
        Project(root / "Day 1" / ("Shot " + std::to_string(shot) + ".mvproj"));
    }
    Project(root / "Scene 1.mvproj");
    host::NameIndex index(root, kExtensions);
    ASSERT_TRUE(index.Build());
    std::vector<std::vector<std::string>> told;
    const auto tell = [&told](const std::vector<std::string>& first) { told.push_back(first); };
    const std::vector<std::string> all = index.Find(host::FoldedAscii("shot"), nullptr, 5, tell);
    ASSERT_EQ(all.size(), 12u);
    ASSERT_EQ(told.size(), 1u); // once
    EXPECT_EQ(told[0], std::vector<std::string>(all.begin(), all.begin() + 5));
    // As many results as the first, or fewer: nothing is told before the answer.
    told.clear();
    EXPECT_EQ(index.Find(host::FoldedAscii("shot"), nullptr, 12, tell).size(), 12u);
    EXPECT_EQ(index.Find(host::FoldedAscii("scene"), nullptr, 5, tell).size(), 1u);
    EXPECT_TRUE(told.empty());
}

} // namespace
