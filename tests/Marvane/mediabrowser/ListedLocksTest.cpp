#include "Marvane/mediabrowser/ListedLocks.h"

#include "Marvane/projectbackend/LockFiles.h"
#include "TemporaryFolder.h"
#include "TestProjects.h"

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

class ListedLocksTest : public ::testing::Test {
protected:
    void SetUp() override {
        host::ForgetListedLocks();
        testsupport::WriteProject(scene);
        ASSERT_NE(host::CreateProjectLockFile(scene.string(), "Ben Okafor", "elsewhere"), nullptr);
    }
    void TearDown() override { host::ForgetListedLocks(); }
    // Moves a file's modification time on by some seconds, as time passing would.
    static void Later(const fs::path& file, long seconds) {
        struct stat status {};
        ASSERT_EQ(::stat(file.c_str(), &status), 0);
        const timespec times[2] = {{0, UTIME_OMIT},
                                   {status.st_mtim.tv_sec + seconds, status.st_mtim.tv_nsec}};
        ASSERT_EQ(::utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
    }
    // What a listing sees of the project's lock file now.
    host::LockFileSeen Seen() const {
        struct statx status {};
        EXPECT_EQ(::statx(AT_FDCWD, host::LockFilePathFor(scene).c_str(), AT_SYMLINK_NOFOLLOW,
                          STATX_BASIC_STATS, &status),
                  0);
        return host::LockFileSeen::Of(status);
    }

    const testsupport::TemporaryFolder temporary{"listed-locks"};
    const fs::path scene = temporary.Path() / "Scene 12.mvproj";
};

TEST_F(ListedLocksTest, AnUnchangedLockIsNotReadAgainWhenItsFolderIsListedAgain) {
    const std::uint64_t before = host::LockFileReadCount();
    const auto first = host::ReadListedLock(scene.string(), Seen(), "Ana Ruiz", "suite-1");
    const auto again = host::ReadListedLock(scene.string(), Seen(), "Ana Ruiz", "suite-1");
    EXPECT_EQ(host::LockFileReadCount() - before, 1u);
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(again->GetOwnerName(), "Ben Okafor");
    EXPECT_FALSE(again->IsOwnedByCaller());
}

TEST_F(ListedLocksTest, ALockWrittenAnewIsReadAgain) {
    const auto first = host::ReadListedLock(scene.string(), Seen(), "Ana Ruiz", "suite-1");
    ASSERT_NE(first, nullptr);
    // Ben lets go and, a while later, Cleo takes it: another file in the lock's place, of the
    // same size (a name as long as his), which may even get his inode back.
    fs::remove(host::LockFilePathFor(scene));
    ASSERT_NE(host::CreateProjectLockFile(scene.string(), "Cleo Marsh", "elsewhere"), nullptr);
    Later(host::LockFilePathFor(scene), 5);
    const std::uint64_t before = host::LockFileReadCount();
    const auto now = host::ReadListedLock(scene.string(), Seen(), "Ana Ruiz", "suite-1");
    EXPECT_EQ(host::LockFileReadCount() - before, 1u);
    ASSERT_NE(now, nullptr);
    EXPECT_EQ(now->GetOwnerName(), "Cleo Marsh");
}

TEST_F(ListedLocksTest, ALockRefreshedByItsHolderIsReadAgain) {
    host::ReadListedLock(scene.string(), Seen(), "Ana Ruiz", "suite-1");
    // The holder's heartbeat a minute on touches the lock's time: the same file, no longer as
    // it was seen.
    Later(host::LockFilePathFor(scene), 60);
    const std::uint64_t before = host::LockFileReadCount();
    host::ReadListedLock(scene.string(), Seen(), "Ana Ruiz", "suite-1");
    EXPECT_EQ(host::LockFileReadCount() - before, 1u);
}

TEST_F(ListedLocksTest, ALockNothingWasSeenOfIsReadEveryTimeAndAnUnreadableOneIsNotKept) {
    const std::uint64_t before = host::LockFileReadCount();
    host::ReadListedLock(scene.string(), host::LockFileSeen(), "Ana Ruiz", "suite-1");
    host::ReadListedLock(scene.string(), host::LockFileSeen(), "Ana Ruiz", "suite-1");
    EXPECT_EQ(host::LockFileReadCount() - before, 2u);
    // Garbage in the lock's place counts as someone else's, and is looked at again next time
    // (it may have been a lock caught half written).
    fs::remove(host::LockFilePathFor(scene));
    std::ofstream(host::LockFilePathFor(scene)) << "{ not a lock";
    const auto unreadable = host::ReadListedLock(scene.string(), Seen(), "Ana Ruiz", "suite-1");
    ASSERT_NE(unreadable, nullptr);
    EXPECT_EQ(unreadable->GetOwnerName(), host::kUnreadableLockHolder);
    EXPECT_FALSE(host::KeptListedLock(scene.string(), Seen(), "Ana Ruiz", "suite-1"));
}

TEST_F(ListedLocksTest, AnotherLockingIdentityReadsTheLockForItself) {
    host::ReadListedLock(scene.string(), Seen(), "Ana Ruiz", "suite-1");
    const auto asBen = host::ReadListedLock(scene.string(), Seen(), "Ben Okafor", "elsewhere");
    ASSERT_NE(asBen, nullptr);
    EXPECT_TRUE(asBen->IsOwnedByCaller()); // judged for Ben, not taken from Ana's read
}

} // namespace
