// The open production's name index keeps up with what other processes (other machines, on a
// share) do to the production, and the search answers from it, exactly as the walk does.
#include "Marvane/application/ProductionIndex.h"

#include "Marvane/application/HostSession.h"
#include "Marvane/fileservices/SearchHooks.h"
#include "Marvane/monitor/DirectoryMonitorImpl.h"
#include "RandomChanges.h"
#include "Shares.h"
#include "TemporaryFolder.h"
#include "host/DirectoryMonitor.h"
#include "host/FileServices.h"
#include "host/ProjectBackEnd.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <algorithm>
#include <atomic>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

// The extensions the panel searches for, as the production's index holds them.
std::vector<host::WideString> Extensions() {
    std::vector<host::WideString> extensions = {host::WideString(host::kProjectFileExtension16)};
    if (host::IsFolderProjectFormatEnabled()) {
        extensions.emplace_back(host::kProjectFolderExtension16);
    }
    return extensions;
}
const std::vector<std::string> kTexts = {"", "shot", "SCÈNE", "1", "0 v", "zz"};

std::vector<std::string> Sorted(std::vector<std::string> paths) {
    std::sort(paths.begin(), paths.end());
    return paths;
}

// What the walk of the disk finds, spelled as the index spells it (below `seenAt`).
std::vector<std::string> Walked(const fs::path& seenAt, const std::string& text) {
    std::vector<std::string> paths;
    for (const host::WideString& path : host::FindFilesOrDirectories(
             host::ToUTF16(seenAt.string()), Extensions(), host::ToUTF16(text))) {
        paths.push_back(host::ToUTF8(path));
    }
    return Sorted(std::move(paths));
}

std::vector<std::string> Indexed(const std::string& text) {
    const auto index = host::ProductionIndex::Instance().Index();
    return index ? Sorted(index->Find(host::FoldedAscii(text))) : std::vector<std::string>{};
}

bool SameAnswers(const fs::path& seenAt) {
    return std::all_of(kTexts.begin(), kTexts.end(), [&](const std::string& text) {
        return Indexed(text) == Walked(seenAt, text);
    });
}

void RunEvents(int ms) {
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < ms) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
}

// Lets events run until the index answers as the walk or the time is up; how long it took,
// or -1.
int MillisecondsUntilTheSame(const fs::path& seenAt, int timeoutMs) {
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < timeoutMs) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        if (host::ProductionIndex::Instance().IsCurrent() && SameAnswers(seenAt)) {
            return static_cast<int>(timer.elapsed());
        }
    }
    return -1;
}

// Kinds of place: a local folder ("local"), or a share the tests start (sshfs, SMB) whose
// server side is changed directly, as by another machine.
class ProductionIndexTest : public ::testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        host::HostSession::Instance().preferences.pollIntervalMs = 300;
        if (GetParam() != "local") {
            if (const std::string why = testsupport::NetworkShare::WhyUnavailable(); !why.empty()) {
                GTEST_SKIP() << why;
            }
            share = testsupport::MakeShare(GetParam());
            fs::create_directories(exported);
            ASSERT_EQ(share->Start(exported, root / "work"), "");
            seenAt = share->Path();
        } else {
            seenAt = exported;
        }
        testsupport::MakeRandomProduction(exported, 20261126, 10, 150);
    }
    void TearDown() override {
        host::ProductionIndex::Instance().Close();
        host::DirectoryMonitor::Instance().Reset();
        host::HostSession::Instance().preferences.pollIntervalMs = 2000;
        if (share) {
            share->Stop();
        }
    }
    // How long to wait for a change to be seen: a notification is at once, a poll comes every
    // interval (and a round over a share takes a while of its own).
    int Patience() const { return GetParam() == "local" ? 5000 : 20000; }

    const testsupport::TemporaryFolder temporary{"production-index"};
    const fs::path root = temporary.Path();
    const fs::path exported = root / "Export";
    fs::path seenAt;
    std::unique_ptr<testsupport::NetworkShare> share;
};

TEST_P(ProductionIndexTest, TheIndexFollowsRandomChangesByAnotherProcess) {
    host::ProductionIndex::Instance().Open(seenAt);
    ASSERT_GE(MillisecondsUntilTheSame(seenAt, Patience()), 0) << "the index was never built";
    std::mt19937 random(11);
    int slowest = 0;
    std::size_t touchedInAll = 0;
    for (int round = 0; round < 12; ++round) {
        touchedInAll +=
            testsupport::MakeRandomChanges(exported, static_cast<unsigned>(random()), 6, round)
                .size();
        const int took = MillisecondsUntilTheSame(seenAt, Patience());
        ASSERT_GE(took, 0) << "round " << round << ": the index did not catch up";
        slowest = std::max(slowest, took);
    }
    EXPECT_GT(touchedInAll, 12u);
    std::printf("[ figures  ] slowest catch-up after a round of changes: %d ms (%s)\n", slowest,
                GetParam().c_str());
}

TEST_P(ProductionIndexTest, AFolderThePanelStopsWatchingStaysWatchedForTheIndex) {
    host::ProductionIndex::Instance().Open(seenAt);
    ASSERT_GE(MillisecondsUntilTheSame(seenAt, Patience()), 0);
    const fs::path day = seenAt / "Day 0";
    ASSERT_TRUE(fs::is_directory(day));
    host::MonitorDirectory(host::ToUTF16(day.string()), false, false);
    host::StopMonitoringDirectory(host::ToUTF16(day.string()), true);
    EXPECT_NE(host::DirectoryMonitor::Instance().KindOf(day.string()), host::WatchKind::None);
    testsupport::WriteBytes(exported / "Day 0" / "Shot late.mvproj", "{}");
    EXPECT_GE(MillisecondsUntilTheSame(seenAt, Patience()), 0);
    EXPECT_EQ(Indexed("shot late").size(), 1u);
}

TEST_P(ProductionIndexTest, OpeningWatchesTheRootAtOnceAndTheRestOfTheTreeOnceTheIndexReadIt) {
    // The main thread never walks the tree (a share's tree is a round trip per folder).
    host::ProductionIndex::Instance().Open(seenAt);
    EXPECT_NE(host::DirectoryMonitor::Instance().KindOf(seenAt.string()), host::WatchKind::None);
    EXPECT_EQ(host::DirectoryMonitor::Instance().KindOf((seenAt / "Day 0").string()),
              host::WatchKind::None);
    ASSERT_GE(MillisecondsUntilTheSame(seenAt, Patience()), 0);
    for (const auto& entry : fs::recursive_directory_iterator(seenAt)) {
        if (entry.is_directory()) {
            EXPECT_NE(host::DirectoryMonitor::Instance().KindOf(entry.path().string()),
                      host::WatchKind::None)
                << entry.path();
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Places, ProductionIndexTest,
                         ::testing::Values(std::string("local"), std::string(testsupport::kSshfs),
                                           std::string(testsupport::kSmb)),
                         [](const ::testing::TestParamInfo<std::string>& param) {
                             return testsupport::ShareKindName(param.param);
                         });

// Runs the search the panel starts to its end; the paths it found, in order.
std::vector<std::string> SearchedToTheEnd(const fs::path& folder, const std::string& text) {
    std::vector<std::string> found;
    bool done = false;
    const auto search =
        host::StartFileSearch(host::ToUTF16(folder.string()), Extensions(), host::ToUTF16(text),
                              [&](std::vector<host::WideString> paths) {
                                  for (const host::WideString& path : paths) {
                                      found.push_back(host::ToUTF8(path));
                                  }
                                  done = true;
                              });
    QElapsedTimer timer;
    timer.start();
    while (!done && timer.elapsed() < 10000) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    EXPECT_TRUE(done) << "the search of " << folder << " never ended";
    return Sorted(std::move(found));
}

class ProductionIndexSearchTest : public ::testing::Test {
protected:
    void SetUp() override { testsupport::MakeRandomProduction(production, 5, 6, 60); }
    void TearDown() override {
        host::files::SetSearchFolderHookForTesting({});
        host::ProductionIndex::Instance().Close();
        host::DirectoryMonitor::Instance().Reset();
    }
    std::vector<std::string> Searched(const std::string& text) const {
        return SearchedToTheEnd(production, text);
    }

    const testsupport::TemporaryFolder temporary{"production-index-search"};
    const fs::path production = temporary.Path() / "Pilot";
};

TEST_F(ProductionIndexSearchTest, OnceTheIndexIsCompleteTheSearchAnswersWithoutWalkingTheDisk) {
    std::atomic<int> foldersWalked{0};
    host::files::SetSearchFolderHookForTesting([&] { ++foldersWalked; });
    const std::vector<std::string> walked = Searched("shot");
    EXPECT_GT(foldersWalked.load(), 0);

    host::ProductionIndex::Instance().Open(production);
    ASSERT_GE(MillisecondsUntilTheSame(production, 5000), 0);
    foldersWalked = 0;
    EXPECT_EQ(Searched("shot"), walked);
    EXPECT_EQ(foldersWalked.load(), 0);
    EXPECT_EQ(Searched("SHOT"), walked);
    EXPECT_EQ(Searched(""), Walked(production, ""));
}

TEST_F(ProductionIndexSearchTest, ASearchOfAnotherFolderOrForOtherExtensionsStillWalks) {
    host::ProductionIndex::Instance().Open(production);
    ASSERT_GE(MillisecondsUntilTheSame(production, 5000), 0);
    std::atomic<int> foldersWalked{0};
    host::files::SetSearchFolderHookForTesting([&] { ++foldersWalked; });
    SearchedToTheEnd(production / "Day 0", "");
    EXPECT_GT(foldersWalked.load(), 0);
}

TEST_F(ProductionIndexSearchTest, ClosingTheProductionLetsItsIndexAndItsWatchGo) {
    host::ProductionIndex::Instance().Open(production);
    ASSERT_GE(MillisecondsUntilTheSame(production, 5000), 0);
    EXPECT_NE(host::DirectoryMonitor::Instance().KindOf(production.string()),
              host::WatchKind::None);
    host::ProductionIndex::Instance().Close();
    EXPECT_EQ(host::ProductionIndex::Instance().Index(), nullptr);
    ASSERT_NE(host::GetSearchIndexSource(), nullptr);
    EXPECT_EQ(host::GetSearchIndexSource()->IndexFor(0, production.string(), Extensions(), nullptr),
              nullptr);
    EXPECT_EQ(host::DirectoryMonitor::Instance().KindOf(production.string()),
              host::WatchKind::None);
    EXPECT_EQ(host::DirectoryMonitor::Instance().KindOf((production / "Day 0").string()),
              host::WatchKind::None);
    RunEvents(50);
}

} // namespace
