#include "Marvane/mediabrowser/EntryStats.h"
#include "Marvane/fileservices/IoCounters.h"
#include "SshShare.h"
#include "TemporaryFolder.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

// A folder of many entries of every kind: files of different sizes, a folder, a link to a file,
// a link to nothing, and one entry that goes between the listing and its stat.
class EntryStatsTest : public ::testing::Test {
protected:
    void SetUp() override {
        for (int index = 0; index < 100; ++index) {
            const fs::path file = folder.Path() / ("Scene " + std::to_string(index) + ".mvproj");
            std::ofstream(file) << std::string(static_cast<std::size_t>(index), 'x');
            paths.push_back(file.string());
        }
        fs::create_directories(folder.Path() / "Reels");
        fs::create_symlink(folder.Path() / "Scene 7.mvproj", folder.Path() / "Link");
        fs::create_symlink(folder.Path() / "Nowhere", folder.Path() / "Dangling");
        for (const char* name : {"Reels", "Link", "Dangling", "Gone"}) {
            paths.push_back((folder.Path() / name).string());
        }
    }
    testsupport::TemporaryFolder folder{"entry-stats"};
    std::vector<std::string> paths;
};

TEST_F(EntryStatsTest, ManyAtATimeGiveWhatOneAfterTheOtherGivesInTheSameOrder) {
    ASSERT_GE(paths.size(), host::kParallelStatsFrom);
    const std::uint64_t before = host::ListingStatCount();
    const std::uint64_t parallelBefore = host::ParallelListingCount();
    const std::vector<host::EntryStatus> serial =
        host::StatEntries(paths, host::Asking::OneAfterTheOther);
    const std::uint64_t serialStats = host::ListingStatCount() - before;
    EXPECT_EQ(host::ParallelListingCount(), parallelBefore);
    const std::vector<host::EntryStatus> parallel =
        host::StatEntries(paths, host::Asking::SeveralAtOnce);
    const std::uint64_t parallelStats = host::ListingStatCount() - before - serialStats;
    EXPECT_EQ(host::ParallelListingCount(), parallelBefore + 1);
    // One stat per entry and one more for each link: the same count both ways.
    EXPECT_EQ(serialStats, paths.size() + 2);
    EXPECT_EQ(parallelStats, serialStats);
    ASSERT_EQ(parallel.size(), paths.size());
    for (std::size_t index = 0; index < paths.size(); ++index) {
        SCOPED_TRACE(paths[index]);
        EXPECT_EQ(parallel[index].listed, serial[index].listed);
        EXPECT_EQ(parallel[index].known, serial[index].known);
        EXPECT_EQ(parallel[index].status.stx_size, serial[index].status.stx_size);
        EXPECT_EQ(parallel[index].status.stx_mode, serial[index].status.stx_mode);
        EXPECT_EQ(parallel[index].own.stx_ino, serial[index].own.stx_ino);
    }
    for (int index = 0; index < 100; ++index) {
        EXPECT_TRUE(parallel[static_cast<std::size_t>(index)].known);
        EXPECT_EQ(parallel[static_cast<std::size_t>(index)].status.stx_size,
                  static_cast<std::uint64_t>(index));
    }
}

TEST_F(EntryStatsTest, ALinkIsListedAsItselfAndKnownAsWhatItPointsTo) {
    const std::vector<host::EntryStatus> statuses =
        host::StatEntries(paths, host::Asking::SeveralAtOnce);
    const host::EntryStatus& folderEntry = statuses[100];
    const host::EntryStatus& link = statuses[101];
    const host::EntryStatus& dangling = statuses[102];
    const host::EntryStatus& gone = statuses[103];
    EXPECT_TRUE(folderEntry.known && S_ISDIR(folderEntry.status.stx_mode));
    EXPECT_TRUE(link.listed && S_ISLNK(link.own.stx_mode));
    EXPECT_TRUE(link.known && S_ISREG(link.status.stx_mode));
    EXPECT_EQ(link.status.stx_size, 7u);
    EXPECT_TRUE(dangling.listed && S_ISLNK(dangling.own.stx_mode));
    EXPECT_FALSE(dangling.known);
    EXPECT_FALSE(gone.listed);
    EXPECT_FALSE(gone.known);
}

TEST_F(EntryStatsTest, AFolderOnTheLocalDiskIsAskedOneEntryAfterTheOther) {
    EXPECT_FALSE(host::FolderIsRemote(folder.Path().string()));
    EXPECT_FALSE(host::FolderIsRemote((folder.Path() / "Gone").string()));
    const std::uint64_t before = host::ParallelListingCount();
    EXPECT_EQ(host::StatFolderEntries(folder.Path().string(), paths).size(), paths.size());
    EXPECT_EQ(host::ParallelListingCount(), before);
    EXPECT_TRUE(host::StatEntries({}, host::Asking::SeveralAtOnce).empty());
    EXPECT_EQ(host::ParallelListingCount(), before);
}

// Through a real share (our own SSH server, mounted with sshfs), where each stat is a round trip:
// the entries asked several at a time are those the export holds.
TEST_F(EntryStatsTest, OnAShareEntriesAskedSeveralAtATimeAreThoseTheServerHolds) {
    if (const std::string why = testsupport::SshShare::WhyUnavailable(); !why.empty()) {
        GTEST_SKIP() << why;
    }
    testsupport::TemporaryFolder work("entry-stats-share");
    testsupport::SshShare share;
    ASSERT_EQ(share.Start(folder.Path(), work.Path() / "mount", work.Path() / "ssh"), "");
    const fs::path mount = work.Path() / "mount";
    EXPECT_TRUE(host::FolderIsRemote(mount.string()));
    std::vector<std::string> shared;
    for (const std::string& path : paths) {
        shared.push_back((mount / fs::path(path).filename()).string());
    }
    const std::vector<host::EntryStatus> local =
        host::StatEntries(paths, host::Asking::OneAfterTheOther);
    // A few entries of a share are asked one after the other; many, several at a time.
    const std::uint64_t before = host::ParallelListingCount();
    const std::vector<std::string> few(shared.begin(), shared.begin() + 4);
    EXPECT_EQ(host::StatFolderEntries(mount.string(), few).size(), few.size());
    EXPECT_EQ(host::ParallelListingCount(), before);
    const std::vector<host::EntryStatus> remote = host::StatFolderEntries(mount.string(), shared);
    EXPECT_EQ(host::ParallelListingCount(), before + 1);
    ASSERT_EQ(remote.size(), local.size());
    for (std::size_t index = 0; index < 100; ++index) {
        EXPECT_TRUE(remote[index].known);
        EXPECT_EQ(remote[index].status.stx_size, local[index].status.stx_size);
        EXPECT_EQ(remote[index].status.stx_mtime.tv_sec, local[index].status.stx_mtime.tv_sec);
    }
    EXPECT_TRUE(remote[100].known && S_ISDIR(remote[100].status.stx_mode));
    EXPECT_FALSE(remote[103].listed);
    share.Stop();
}

} // namespace
