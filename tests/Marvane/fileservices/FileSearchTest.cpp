// The production's search for projects by name, over real folders.
#include "Marvane/core/DefaultExecutor.h"
#include "host/AsyncCalls.h"
#include "host/FileServices.h"

#include "TemporaryFolder.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTimer>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;

class FileSearchTest : public ::testing::Test {
protected:
    void Touch(const fs::path& relative) const {
        fs::create_directories((root / relative).parent_path());
        std::ofstream(root / relative) << "{}";
    }
    // The names found, relative to the root, sorted.
    std::vector<std::string> Search(const std::u16string& text,
                                    std::vector<host::WideString> extensions = {u".mvproj"}) {
        std::vector<std::string> names;
        for (const host::WideString& path :
             host::FindFilesOrDirectories(host::ToUTF16(root.string()), extensions, text)) {
            names.push_back(fs::path(host::ToUTF8(path)).lexically_relative(root).string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    testsupport::TemporaryFolder folder{"search"};
    fs::path root = folder.Path();
};

TEST_F(FileSearchTest, FindsProjectsWhoseNameHoldsTheTextInEitherAsciiCase) {
    Touch("ABC_Final.mvproj");
    Touch("Day 1/xAbCx.mvproj");
    Touch("Day 1/Deep/Deeper/abc.MVPROJ");
    fs::create_directories(root / "abc"); // a folder named like the text
    Touch("abc.txt");                     // another extension
    Touch("ABC_Final.mvproj.lock");       // a lock, not a project
    Touch("Interview.mvproj");            // no match
    EXPECT_EQ(Search(u"abc"),
              (std::vector<std::string>{"ABC_Final.mvproj", "Day 1/Deep/Deeper/abc.MVPROJ",
                                        "Day 1/xAbCx.mvproj"}));
}

TEST_F(FileSearchTest, TheExtensionAndTheFoldersNeverMatch) {
    Touch("Scene 12.mvproj");
    Touch("mvproj stills/Scene 13.mvproj");
    Touch("An mvproj primer.mvproj");
    EXPECT_EQ(Search(u"mvproj"), (std::vector<std::string>{"An mvproj primer.mvproj"}));
    EXPECT_EQ(Search(u".mvproj"), std::vector<std::string>{});
}

TEST_F(FileSearchTest, ALetterOutsideAsciiMatchesOnlyInItsOwnCase) {
    Touch("\xC3\x89"
          "clair.mvproj"); // capital E with acute accent
    EXPECT_EQ(Search(u"\u00e9clair"), std::vector<std::string>{});
    EXPECT_EQ(Search(u"\u00c9CLAIR"), (std::vector<std::string>{"\xC3\x89"
                                                                "clair.mvproj"}));
}

TEST_F(FileSearchTest, AnEmptyTextFindsEveryProject) {
    Touch("A.mvproj");
    Touch("B/C.mvproj");
    Touch("B/notes.txt");
    EXPECT_EQ(Search(u""), (std::vector<std::string>{"A.mvproj", "B/C.mvproj"}));
}

TEST_F(FileSearchTest, HiddenNamesAndLinksToFoldersAreNeverLookedInto) {
    Touch(".hidden/abc.mvproj");
    Touch(".abc.mvproj");
    Touch("Elsewhere/abc one.mvproj");
    fs::create_directory_symlink(root / "Elsewhere", root / "Link to elsewhere");
    EXPECT_EQ(Search(u"abc"), (std::vector<std::string>{"Elsewhere/abc one.mvproj"}));
}

TEST_F(FileSearchTest, AProjectFolderMatchesWithItsExtensionAndIsThenNeverLookedInto) {
    Touch("Titles abc.mvprojd/project.json");
    Touch("Titles abc.mvprojd/abc inner.mvproj");
    // With the folder format on, the folder is one project.
    EXPECT_EQ(Search(u"abc", {u".mvproj", u".mvprojd"}),
              (std::vector<std::string>{"Titles abc.mvprojd"}));
    // Without it, it is an ordinary folder, as in the tree, and what it holds is searched.
    EXPECT_EQ(Search(u"abc", {u".mvproj"}),
              (std::vector<std::string>{"Titles abc.mvprojd/abc inner.mvproj"}));
}

TEST_F(FileSearchTest, ANameThatIsNotUtf8IsFoundAndNamesTheSameFile) {
    Touch("Sc\xE8ne 7.mvproj"); // Latin-1
    const auto found =
        host::FindFilesOrDirectories(host::ToUTF16(root.string()), {u".mvproj"}, u"sc");
    ASSERT_EQ(found.size(), 1u);
    EXPECT_TRUE(fs::exists(host::ToUTF8(found.front())));
}

// The event loop runs until the condition holds or 30 seconds pass.
bool RunEventsUntil(const std::function<bool()>& condition) {
    QElapsedTimer timer;
    timer.start();
    while (!condition() && timer.elapsed() < 30'000) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    return condition();
}

TEST_F(FileSearchTest, ASearchOfManyProjectsLeavesTheMainThreadFree) {
    for (int day = 0; day < 40; ++day) {
        for (int shot = 0; shot < 500; ++shot) {
            Touch("Day " + std::to_string(day) + "/Shot " + std::to_string(shot) + ".mvproj");
        }
    }
    // A timer ticks every 5 ms on the main thread while the search runs on a worker; the
    // longest gap between two ticks says how long the main thread was kept from answering.
    QElapsedTimer sinceTick;
    sinceTick.start();
    qint64 longestGapMs = 0;
    QTimer ticks;
    QObject::connect(&ticks, &QTimer::timeout,
                     [&] { longestGapMs = std::max(longestGapMs, sinceTick.restart()); });
    ticks.start(5);
    std::vector<host::WideString> results;
    bool delivered = false;
    const host::FileSearchPtr search =
        host::StartFileSearch(host::ToUTF16(root.string()), {u".mvproj"}, u"shot 49",
                              [&](std::vector<host::WideString> paths) {
                                  results = std::move(paths);
                                  delivered = true;
                              });
    ASSERT_TRUE(RunEventsUntil([&] { return delivered; }));
    ticks.stop();
    EXPECT_FALSE(search->IsRunning());
    // "Shot 49" and "Shot 490" to "Shot 499" in each of the 40 days.
    EXPECT_EQ(results.size(), 40u * 11u);
    EXPECT_LT(longestGapMs, 1000) << "a generous bound: the search must not run on this thread";
}

TEST_F(FileSearchTest, ACancelledOrReleasedSearchDeliversNothing) {
    for (int shot = 0; shot < 200; ++shot) {
        Touch("Shot " + std::to_string(shot) + ".mvproj");
    }
    int deliveries = 0;
    const host::FileSearchPtr cancelled =
        host::StartFileSearch(host::ToUTF16(root.string()), {u".mvproj"}, u"shot",
                              [&](std::vector<host::WideString>) { ++deliveries; });
    cancelled->Cancel();
    EXPECT_FALSE(cancelled->IsRunning());
    host::StartFileSearch(host::ToUTF16(root.string()), {u".mvproj"}, u"shot",
                          [&](std::vector<host::WideString>) { ++deliveries; });
    // A third search, kept, delivers; once every worker is done and every queued call has
    // run, the other two have delivered nothing.
    bool kept = false;
    const host::FileSearchPtr third =
        host::StartFileSearch(host::ToUTF16(root.string()), {u".mvproj"}, u"shot",
                              [&](std::vector<host::WideString>) { kept = true; });
    ASSERT_TRUE(RunEventsUntil([&] { return kept; }));
    ASSERT_TRUE(host::WaitForDefaultExecutor(30'000));
    QCoreApplication::processEvents();
    QCoreApplication::processEvents();
    EXPECT_EQ(deliveries, 0);
}

} // namespace
