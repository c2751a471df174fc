#include "host/DirectoryMonitor.h"
#include "Marvane/application/HostSession.h"
#include "Marvane/core/TraceConfiguration.h"
#include "Marvane/fileservices/IoCounters.h"
#include "Marvane/monitor/DirectoryMonitorImpl.h"
#include "TemporaryFolder.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

class ChangeCollector : public host::Listener {
public:
    void ReceiveMessage(const host::Message& message) override {
        if (message.GetTypeID() == host::DirectoryChangedMessage::kTypeID) {
            folders.push_back(
                host::ToUTF8(static_cast<const host::DirectoryChangedMessage&>(message).folder));
        }
    }
    std::vector<std::string> folders;
};

class DirectoryMonitorTest : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(root / "Edit" / "Reels");
        collector = std::make_shared<ChangeCollector>();
        host::MessageStation::Get(host::kDirectoryMonitorStation)->Subscribe(collector);
        host::HostSession::Instance().preferences.pollIntervalMs = 100;
        host::SetTraceSink([this](std::string_view category, int level, std::string_view text) {
            traced.push_back(std::string(category) + ":" + std::to_string(level) + ":" +
                             std::string(text));
        });
        host::ConfigureTrace("Host=2");
    }
    void TearDown() override {
        host::MessageStation::Get(host::kDirectoryMonitorStation)->Unsubscribe(collector.get());
        host::DirectoryMonitor::Instance().Reset();
        host::HostSession::Instance().preferences.forcePolling = false;
        host::HostSession::Instance().preferences.pollIntervalMs = 2000;
        host::SetTraceSink({});
        host::ConfigureTrace("");
    }
    // Runs a shell command as another process would change the disk.
    static void Elsewhere(const std::string& command) {
        ASSERT_EQ(std::system(command.c_str()), 0) << command;
    }
    // Lets events run until the folder is reported or the time is up.
    bool WaitFor(const fs::path& folder, int timeoutMs = 5000) {
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < timeoutMs) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
            for (const std::string& reported : collector->folders) {
                if (reported == folder.string()) {
                    return true;
                }
            }
        }
        return false;
    }
    void Settle(int ms) {
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < ms) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        }
    }
    static host::WatchKind Kind(const fs::path& folder) {
        return host::DirectoryMonitor::Instance().KindOf(folder.string());
    }
    static std::u16string W(const fs::path& path) { return host::ToUTF16(path.string()); }

    const testsupport::TemporaryFolder temporary{"monitor"};
    const fs::path root = temporary.Path();
    std::shared_ptr<ChangeCollector> collector;
    std::vector<std::string> traced;
};

TEST_F(DirectoryMonitorTest, ALocalFolderNeedsNoPolling) {
    EXPECT_FALSE(host::DoesPathRequirePolling(W(root)));
    EXPECT_FALSE(host::DoesPathRequirePolling(W(root / "not made yet" / "deeper")));
}

TEST_F(DirectoryMonitorTest, ThePreferenceMakesEveryFolderPolled) {
    host::HostSession::Instance().preferences.forcePolling = true;
    EXPECT_TRUE(host::DoesPathRequirePolling(W(root)));
    host::MonitorDirectory(W(root / "Edit"), false, false);
    EXPECT_EQ(Kind(root / "Edit"), host::WatchKind::Polled);
}

TEST_F(DirectoryMonitorTest, AProjectMadeByAnotherProcessIsReported) {
    host::MonitorDirectory(W(root / "Edit"), false, false);
    ASSERT_EQ(Kind(root / "Edit"), host::WatchKind::Notified);
    Elsewhere("touch '" + (root / "Edit" / "Scene 12.mvproj").string() + "'");
    EXPECT_TRUE(WaitFor(root / "Edit"));
}

TEST_F(DirectoryMonitorTest, ARecursiveWatchCoversSubFoldersMadeLater) {
    host::MonitorDirectory(W(root / "Edit"), true, false);
    EXPECT_EQ(Kind(root / "Edit" / "Reels"), host::WatchKind::Notified);
    Elsewhere("mkdir '" + (root / "Edit" / "Day 2").string() + "'");
    ASSERT_TRUE(WaitFor(root / "Edit"));
    EXPECT_EQ(Kind(root / "Edit" / "Day 2"), host::WatchKind::Notified);
    Elsewhere("touch '" + (root / "Edit" / "Day 2" / "Take.mvproj").string() + "'");
    EXPECT_TRUE(WaitFor(root / "Edit" / "Day 2"));
}

TEST_F(DirectoryMonitorTest, ATreeWatchedFolderByFolderIsReadOncePerFolder) {
    // A chain 40 deep, each folder then watched recursively on its own, top first, as the
    // panel does with a tree: the sub-folders are known from the first walk.
    fs::path deepest = root / "Edit" / "Chain";
    std::vector<fs::path> chain;
    for (int level = 0; level < 40; ++level) {
        chain.push_back(deepest);
        deepest /= "Level";
    }
    fs::create_directories(deepest);
    chain.push_back(deepest);
    const std::uint64_t before = host::FolderWalkedCount();
    for (const fs::path& folder : chain) {
        host::MonitorDirectory(W(folder), true, false);
    }
    // The first walk reads each of the 41 folders; the others add none.
    EXPECT_EQ(host::FolderWalkedCount() - before, chain.size());
    for (const fs::path& folder : chain) {
        EXPECT_EQ(Kind(folder), host::WatchKind::Notified) << folder;
    }
    Elsewhere("mkdir '" + (deepest / "Day 2").string() + "'");
    ASSERT_TRUE(WaitFor(deepest));
    EXPECT_EQ(Kind(deepest / "Day 2"), host::WatchKind::Notified);
}

TEST_F(DirectoryMonitorTest, ABurstOfChangesInOneFolderIsReportedOnce) {
    host::MonitorDirectory(W(root / "Edit"), false, false);
    Elsewhere("cd '" + (root / "Edit").string() +
              "' && for i in 1 2 3 4 5 6 7 8 9 10; do touch take$i.mvproj; done");
    ASSERT_TRUE(WaitFor(root / "Edit"));
    Settle(300);
    EXPECT_EQ(collector->folders, std::vector<std::string>{(root / "Edit").string()});
}

TEST_F(DirectoryMonitorTest, ChangesArePickedUpByPollingWhenItIsForced) {
    host::HostSession::Instance().preferences.forcePolling = true;
    host::MonitorDirectory(W(root / "Edit"), true, false);
    EXPECT_EQ(Kind(root / "Edit" / "Reels"), host::WatchKind::Polled);
    Elsewhere("mv '" + (root / "Edit" / "Reels").string() + "' '" +
              (root / "Edit" / "Dailies").string() + "'");
    EXPECT_TRUE(WaitFor(root / "Edit"));
}

TEST_F(DirectoryMonitorTest, AChangeBetweenAListingAndItsWatchIsReportedOnceTheListingIsShown) {
    host::HostSession::Instance().preferences.forcePolling = true;
    const fs::path edit = root / "Edit";
    const std::string listed = host::FolderSnapshot(edit.string()); // what a view listed
    Elsewhere("touch '" + (edit / "Cut.mvproj").string() + "'");
    host::MonitorDirectory(W(edit), false, false); // the watch starts after the change
    Settle(400);
    EXPECT_FALSE(WaitFor(edit, 1)); // on its own the watch cannot know
    host::DirectoryMonitor::Instance().ListingShown(W(edit), listed);
    EXPECT_TRUE(WaitFor(edit));
}

TEST_F(DirectoryMonitorTest, APolledWatchTakesItsFirstLookFromTheListingUnderWay) {
    host::HostSession::Instance().preferences.forcePolling = true;
    const fs::path edit = root / "Edit";
    host::DirectoryMonitor::Instance().ListingComing(W(edit)); // a view asked for its listing
    const std::uint64_t before = host::FolderSnapshotCount();
    host::MonitorDirectory(W(edit), false, false);
    EXPECT_EQ(Kind(edit), host::WatchKind::Polled);
    EXPECT_EQ(host::FolderSnapshotCount(), before); // not listed for the watch as well
    const std::string listed = host::FolderSnapshot(edit.string()); // what the view listed
    Elsewhere("touch '" + (edit / "Cut.mvproj").string() + "'");
    host::DirectoryMonitor::Instance().ListingShown(W(edit), listed);
    EXPECT_TRUE(WaitFor(edit)); // a change after the listing is reported
}

TEST_F(DirectoryMonitorTest, APolledWatchWithNoListingComingLooksAtTheFolderAtOnce) {
    host::HostSession::Instance().preferences.forcePolling = true;
    const fs::path edit = root / "Edit";
    const std::uint64_t before = host::FolderSnapshotCount();
    host::MonitorDirectory(W(edit), false, false);
    EXPECT_EQ(host::FolderSnapshotCount(), before + 1);
    Elsewhere("touch '" + (edit / "Cut.mvproj").string() + "'");
    EXPECT_TRUE(WaitFor(edit));
}

TEST_F(DirectoryMonitorTest, AListingThatFailedLeavesTheFirstRoundToLookWithoutAReport) {
    host::HostSession::Instance().preferences.forcePolling = true;
    const fs::path edit = root / "Edit";
    host::DirectoryMonitor::Instance().ListingComing(W(edit));
    host::MonitorDirectory(W(edit), false, false);
    host::DirectoryMonitor::Instance().ListingShown(W(edit), ""); // the listing could not read it
    // Two rounds come back: the first one looks, neither reports.
    const std::uint64_t rounds = host::DirectoryMonitor::Instance().RoundsSeen();
    QElapsedTimer timer;
    timer.start();
    while (host::DirectoryMonitor::Instance().RoundsSeen() < rounds + 2 &&
           timer.elapsed() < 10'000) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    ASSERT_GE(host::DirectoryMonitor::Instance().RoundsSeen(), rounds + 2);
    EXPECT_FALSE(WaitFor(edit, 1));
    Elsewhere("touch '" + (edit / "Cut.mvproj").string() + "'");
    EXPECT_TRUE(WaitFor(edit));
}

TEST_F(DirectoryMonitorTest, ASnapshotOfEntriesReadMatchesTheFoldersOwn) {
    const fs::path edit = root / "Edit";
    Elsewhere("touch '" + (edit / "Cut.mvproj").string() + "'");
    fs::create_symlink(edit / "Reels", edit / "Linked");
    fs::create_symlink(edit / "Nowhere", edit / "Dangling");
    std::vector<std::pair<std::string, struct stat>> entries;
    for (const fs::directory_entry& entry : fs::directory_iterator(edit)) {
        struct stat status {};
        ASSERT_EQ(::lstat(entry.path().c_str(), &status), 0);
        entries.emplace_back(entry.path().filename().string(), status);
    }
    EXPECT_EQ(host::FolderSnapshotOf(entries), host::FolderSnapshot(edit.string()));
    EXPECT_EQ(host::FolderSnapshotOf({}), "+"); // an empty folder is not an unreadable one
}

TEST_F(DirectoryMonitorTest, WithoutWatchesLeftTheRestIsPolledNeverSilent) {
    host::DirectoryMonitor::Instance().LimitNotificationWatches(1);
    host::MonitorDirectory(W(root / "Edit"), true, false);
    EXPECT_EQ(Kind(root / "Edit"), host::WatchKind::Notified);
    EXPECT_EQ(Kind(root / "Edit" / "Reels"), host::WatchKind::Polled);
    EXPECT_FALSE(traced.empty());
    Elsewhere("touch '" + (root / "Edit" / "Reels" / "Reel 1.mvproj").string() + "'");
    EXPECT_TRUE(WaitFor(root / "Edit" / "Reels"));
}

TEST_F(DirectoryMonitorTest, StoppingARecursiveWatchStopsEveryFolderBelow) {
    fs::create_directories(root / "Edit" / "Reels" / "Day 1");
    host::MonitorDirectory(W(root / "Edit"), true, false);
    EXPECT_EQ(host::DirectoryMonitor::Instance().WatchedCount(), 3u);
    host::StopMonitoringDirectory(W(root / "Edit"), true);
    EXPECT_EQ(host::DirectoryMonitor::Instance().WatchedCount(), 0u);
    Elsewhere("touch '" + (root / "Edit" / "Reels" / "late.mvproj").string() + "'");
    Settle(300);
    EXPECT_TRUE(collector->folders.empty());
}

TEST_F(DirectoryMonitorTest, AFolderRenamedByAnotherProcessIsWatchedUnderItsNewName) {
    host::MonitorDirectory(W(root / "Edit"), true, false);
    Elsewhere("mv '" + (root / "Edit" / "Reels").string() + "' '" +
              (root / "Edit" / "Dailies").string() + "'");
    ASSERT_TRUE(WaitFor(root / "Edit"));
    EXPECT_EQ(Kind(root / "Edit" / "Reels"), host::WatchKind::None);
    EXPECT_EQ(Kind(root / "Edit" / "Dailies"), host::WatchKind::Notified);
    collector->folders.clear();
    Elsewhere("touch '" + (root / "Edit" / "Dailies" / "Take.mvproj").string() + "'");
    EXPECT_TRUE(WaitFor(root / "Edit" / "Dailies"));
    // The old name can be watched again when a folder appears there.
    Elsewhere("mkdir '" + (root / "Edit" / "Reels").string() + "'");
    ASSERT_TRUE(WaitFor(root / "Edit"));
    EXPECT_EQ(Kind(root / "Edit" / "Reels"), host::WatchKind::Notified);
}

TEST_F(DirectoryMonitorTest, AFolderThatDoesNotExistIsNotWatched) {
    host::MonitorDirectory(W(root / "missing"), true, false);
    EXPECT_EQ(host::DirectoryMonitor::Instance().WatchedCount(), 0u);
}

} // namespace
