#include "Marvane/mediabrowser/ListedLocks.h"

#include "Marvane/projectbackend/LockFiles.h"
#include "TemporaryFolder.h"
#include "TestProjects.h"

#include <fcntl.h>
#include <filesystem>
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
    // Ben lets go and Chloe takes it: another file in the lock's place.
    fs::remove(host::LockFilePathFor(scene));
    ASSERT_NE(host::CreateProjectLockFile(scene.string(), "Chloe Marsh", "elsewhere"), nullptr);
    const std::uint64_t before = host::LockFileReadCount();
    const auto now = host::ReadListedLock(scene.string(), Seen(), "Ana Ruiz", "suite-1");
    EXPECT_EQ(host::LockFileReadCount() - before, 1u);
    ASSERT_NE(now, nullptr);
    EXPECT_EQ(now->GetOwnerName(), "Chloe Marsh");
}

TEST_F(ListedLocksTest, ALockRefreshedByItsHolderIsReadAgain) {
    host::ReadListedLock(scene.string(), Seen(), "Ana Ruiz", "suite-1");
    // The holder's heartbeat touches the lock's time: the same file, no longer as it was seen.
    const timespec later[2] = {{0, UTIME_OMIT}, {0, UTIME_NOW}};
    ASSERT_EQ(::utimensat(AT_FDCWD, host::LockFilePathFor(scene).c_str(), later, 0), 0);
    const std::uint64_t before = host::LockFileReadCount();
    host::ReadListedLock(scene.string(), Seen(), "Ana Ruiz", "suite-1");
    EXPECT_EQ(host::LockFileReadCount() - before, 1u);
}

TEST_F(ListedLocksTest, AnotherLockingIdentityReadsTheLockForItself) {
    host::ReadListedLock(scene.string(), Seen(), "Ana Ruiz", "suite-1");
    const auto asBen = host::ReadListedLock(scene.string(), Seen(), "Ben Okafor", "elsewhere");
    ASSERT_NE(asBen, nullptr);
    EXPECT_TRUE(asBen->IsOwnedByCaller()); // judged for Ben, not taken from Ana's read
}

} // namespace
