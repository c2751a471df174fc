// Which file system a folder is on is asked of statfs once per device and kept a few seconds:
// on a share each statfs is a round trip.
#include "Marvane/fileservices/FileSystemTypes.h"

#include "SshShare.h"
#include "TemporaryFolder.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <linux/magic.h>
#include <sys/statfs.h>

namespace {

namespace fs = std::filesystem;

long StatfsType(const fs::path& path) {
    struct statfs info {};
    EXPECT_EQ(::statfs(path.c_str(), &info), 0);
    return static_cast<long>(info.f_type);
}

TEST(FileSystemTypesTest, AFolderIsAskedOnceAndItsNeighboursNotAtAll) {
    const testsupport::TemporaryFolder folder("fs-types");
    fs::create_directories(folder.Path() / "Episode 1" / "Day 1");
    const std::uint64_t before = host::FileSystemTypeAskCount();
    const std::optional<long> type = host::FileSystemTypeOf(folder.Path().string());
    ASSERT_TRUE(type.has_value());
    EXPECT_EQ(*type, StatfsType(folder.Path()));
    const std::uint64_t asked = host::FileSystemTypeAskCount() - before;
    EXPECT_LE(asked, 1u); // none when an earlier question kept this device's type
    // The same folder again, and folders on the same device: no statfs.
    EXPECT_EQ(host::FileSystemTypeOf(folder.Path().string()), type);
    EXPECT_EQ(host::FileSystemTypeOf((folder.Path() / "Episode 1" / "Day 1").string()), type);
    EXPECT_EQ(host::FileSystemTypeAskCount() - before, asked);
}

TEST(FileSystemTypesTest, APathThatIsNotThereHasNoType) {
    const testsupport::TemporaryFolder folder("fs-types");
    const std::uint64_t before = host::FileSystemTypeAskCount();
    EXPECT_FALSE(host::FileSystemTypeOf((folder.Path() / "Gone").string()).has_value());
    EXPECT_FALSE(host::FileSystemTypeOf("").has_value());
    EXPECT_EQ(host::FileSystemTypeAskCount(), before);
}

TEST(FileSystemTypesTest, ProcFilesAreOnTheirOwnFileSystem) {
    // Another device, another type: kept apart from the disk's.
    EXPECT_EQ(host::FileSystemTypeOf("/proc/self"), std::optional<long>(PROC_SUPER_MAGIC));
    const testsupport::TemporaryFolder folder("fs-types");
    EXPECT_NE(host::FileSystemTypeOf(folder.Path().string()),
              std::optional<long>(PROC_SUPER_MAGIC));
}

// Through a real share: what the opening look found is what the listing and the watch are told,
// without a statfs of their own.
TEST(FileSystemTypesTest, ATypeKeptForAShareIsGivenWithoutAskingTheServer) {
    if (const std::string why = testsupport::SshShare::WhyUnavailable(); !why.empty()) {
        GTEST_SKIP() << why;
    }
    const testsupport::TemporaryFolder exported("fs-types-export");
    fs::create_directory(exported.Path() / "Episode 1");
    const testsupport::TemporaryFolder work("fs-types-share");
    testsupport::SshShare share;
    ASSERT_EQ(share.Start(exported.Path(), work.Path() / "mount", work.Path() / "ssh"), "");
    const fs::path mount = work.Path() / "mount";
    const long type = StatfsType(mount);
    EXPECT_EQ(type, FUSE_SUPER_MAGIC);
    host::KeepFileSystemType(mount.string(), type);
    const std::uint64_t before = host::FileSystemTypeAskCount();
    EXPECT_EQ(host::FileSystemTypeOf(mount.string()), std::optional<long>(type));
    EXPECT_EQ(host::FileSystemTypeOf((mount / "Episode 1").string()), std::optional<long>(type));
    EXPECT_EQ(host::FileSystemTypeAskCount(), before);
    // The disk the share is mounted on keeps its own type.
    EXPECT_NE(host::FileSystemTypeOf(work.Path().string()), std::optional<long>(type));
    share.Stop();
}

} // namespace
