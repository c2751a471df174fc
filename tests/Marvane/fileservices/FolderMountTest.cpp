// A production opened on the folder a share is mounted on: when the mount goes, the folder
// beneath it is not taken for the production.
#include "Marvane/fileservices/FolderMount.h"
#include "Marvane/fileservices/FileWriting.h"
#include "Marvane/fileservices/FolderEntries.h"
#include "host/FileServices.h"

#include "TemporaryFolder.h"
#include "TmpfsMount.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

std::vector<std::string> Listed(const fs::path& folder, bool& read, int& error) {
    std::vector<std::string> names;
    errno = 0;
    read = host::ForEachFolderEntry(folder.string(),
                                    [&names](const std::string& name, const std::string&,
                                             unsigned char) { names.push_back(name); });
    error = errno;
    return names;
}

class FolderMountTest : public ::testing::Test {
protected:
    void SetUp() override { fs::create_directories(production); }
    void TearDown() override { host::KeepFolderMount({}); }
    // Mounts a fresh disk on the production and opens it there: empty, or why it cannot be.
    std::string MountAndKeep() {
        std::string why = share.Mount();
        if (why.empty()) {
            host::KeepFolderMount(production);
        }
        return why;
    }

    const testsupport::TemporaryFolder temporary{"folder-mount"};
    const fs::path production = temporary.Path() / "Feature";
    testsupport::TmpfsMount share{production};
};

TEST_F(FolderMountTest, AProductionWhoseMountWentAwayIsNotListedUntilItIsMountedAgain) {
    if (const std::string why = MountAndKeep(); !why.empty()) {
        GTEST_SKIP() << why;
    }
    std::ofstream(production / "Reel 1.mvproj") << "on the share";
    bool read = false;
    int error = 0;
    EXPECT_EQ(Listed(production, read, error), std::vector<std::string>{"Reel 1.mvproj"});
    EXPECT_TRUE(read);
    EXPECT_EQ(host::FolderMountGone(production.string()), "");
    // Named with a trailing separator, as a listing may name it: the same folder.
    EXPECT_EQ(Listed(production.string() + "/", read, error).size(), 1u);
    EXPECT_EQ(host::FolderMountGone(production.string() + "/"), "");

    ASSERT_TRUE(share.Unmount());
    // The folder beneath: empty here, or holding whatever was left in it before the mount.
    std::ofstream(production / "Left beneath.txt") << "not the production";
    EXPECT_TRUE(Listed(production, read, error).empty());
    EXPECT_FALSE(read);
    EXPECT_EQ(error, ENOTCONN);
    EXPECT_NE(host::FolderMountGone(production.string()), "");
    EXPECT_NE(host::FolderMountGone(production.string() + "/"), "");
    EXPECT_TRUE(Listed(production.string() + "/", read, error).empty());
    EXPECT_EQ(error, ENOTCONN);
    EXPECT_NE(host::MountGoneUnder(production / "Reel 1.mvproj"), "");
    EXPECT_NE(host::MountGoneUnder(production / "Episode 1" / "Reel 2.mvproj"), "");
    // Nor is a folder beneath it listed in place of the production's own.
    fs::create_directories(production / "Episode 1");
    EXPECT_TRUE(Listed(production / "Episode 1", read, error).empty());
    EXPECT_FALSE(read);
    EXPECT_EQ(error, ENOTCONN);
    EXPECT_NE(host::MountGoneUnder(production.string() + "/"), "");
    // Beside the production, and a name that only starts like it: none of its business.
    EXPECT_EQ(host::MountGoneUnder(temporary.Path() / "Other"), "");
    EXPECT_EQ(host::MountGoneUnder(temporary.Path() / "Feature 2" / "Reel 1.mvproj"), "");
    EXPECT_EQ(host::FolderMountGone(temporary.Path().string()), "");

    // Mounted again (another device, as a share mounted anew): the production is back.
    ASSERT_EQ(share.Mount(), "");
    std::ofstream(production / "Reel 1.mvproj") << "on the share again";
    EXPECT_EQ(Listed(production, read, error), std::vector<std::string>{"Reel 1.mvproj"});
    EXPECT_TRUE(read);
    EXPECT_EQ(host::MountGoneUnder(production / "Reel 1.mvproj"), "");
}

TEST_F(FolderMountTest, NothingIsWrittenBeneathAProductionWhoseMountWentAway) {
    if (const std::string why = MountAndKeep(); !why.empty()) {
        GTEST_SKIP() << why;
    }
    const fs::path outside = temporary.Path() / "Outside";
    fs::create_directories(outside / "Edit");
    std::ofstream(outside / "Reel 1.mvproj") << "a project from elsewhere";
    const auto wide = [](const fs::path& path) { return host::ToUTF16(path.string()); };
    ASSERT_TRUE(share.Unmount());

    std::string error;
    // A new project, a lock file, a save: nothing is placed.
    EXPECT_EQ(host::PlaceNewFile(production / "Scene 2.mvproj", "new", error),
              host::PlaceResult::Failed);
    EXPECT_NE(error.find("mounted on the folder is gone"), std::string::npos) << error;
    EXPECT_FALSE(host::ReplaceFile(production / "Scene 1.mvproj", "saved", error));
    EXPECT_NE(error.find("mounted on the folder is gone"), std::string::npos) << error;
    // A new folder, a move in, a copy in.
    EXPECT_FALSE(host::EnsureDirectoryExists(wide(production / "Episode 2")));
    EXPECT_EQ(host::RenameNoReplace(outside / "Reel 1.mvproj", production / "Reel 1.mvproj"),
              ENOTCONN);
    EXPECT_LT(host::Move(wide(outside / "Edit"), wide(production / "Edit")), 0);
    EXPECT_THROW(host::Copy(wide(outside / "Reel 1.mvproj"), wide(production / "Reel 1.mvproj")),
                 host::FileException);
    EXPECT_TRUE(fs::is_empty(production));
    EXPECT_TRUE(fs::exists(outside / "Reel 1.mvproj"));
    EXPECT_TRUE(fs::is_directory(outside / "Edit"));
    // Beside the production, writing goes on.
    EXPECT_EQ(host::PlaceNewFile(outside / "Notes.txt", "kept", error), host::PlaceResult::Placed);
    EXPECT_TRUE(host::EnsureDirectoryExists(wide(outside / "Episode 2")));
}

TEST_F(FolderMountTest, AProductionOpenedThroughALinkIsKnownByBothNames) {
    const fs::path link = temporary.Path() / "Feature link";
    fs::create_directory_symlink(production, link);
    if (const std::string why = share.Mount(); !why.empty()) {
        GTEST_SKIP() << why;
    }
    host::KeepFolderMount(link);
    EXPECT_EQ(host::MountGoneUnder(link / "Reel 1.mvproj"), "");
    ASSERT_TRUE(share.Unmount());
    // The panel names rows with links resolved; the production was opened by the link.
    EXPECT_NE(host::MountGoneUnder(link / "Reel 1.mvproj"), "");
    EXPECT_NE(host::MountGoneUnder(production / "Reel 1.mvproj"), "");
    EXPECT_NE(host::FolderMountGone(link.string()), "");
    EXPECT_NE(host::FolderMountGone(production.string()), "");
    bool read = true;
    int error = 0;
    EXPECT_TRUE(Listed(production, read, error).empty());
    EXPECT_FALSE(read);
    EXPECT_EQ(error, ENOTCONN);
}

TEST_F(FolderMountTest, AProductionWhoseNameIsNotValidUtf8IsKnownAsWell) {
    const fs::path odd = temporary.Path() / "Feature \xff\xfe 250";
    fs::create_directories(odd);
    testsupport::TmpfsMount oddShare(odd);
    if (const std::string why = oddShare.Mount(); !why.empty()) {
        GTEST_SKIP() << why;
    }
    host::KeepFolderMount(odd);
    bool read = false;
    int error = 0;
    EXPECT_TRUE(Listed(odd, read, error).empty());
    EXPECT_TRUE(read);
    ASSERT_TRUE(oddShare.Unmount());
    EXPECT_NE(host::MountGoneUnder(odd / "Reel 1.mvproj"), "");
    EXPECT_TRUE(Listed(odd, read, error).empty());
    EXPECT_FALSE(read);
    EXPECT_EQ(error, ENOTCONN);
    std::string why;
    EXPECT_EQ(host::PlaceNewFile(odd / "Reel 1.mvproj", "new", why), host::PlaceResult::Failed);
    EXPECT_TRUE(fs::is_empty(odd));
}

TEST_F(FolderMountTest, AMountPointRemovedWithItsMountIsNotMadeAgain) {
    if (const std::string why = MountAndKeep(); !why.empty()) {
        GTEST_SKIP() << why;
    }
    ASSERT_TRUE(share.Unmount());
    // Removable disks' mount points go with their mounts.
    fs::remove(production);
    EXPECT_NE(host::FolderMountGone(production.string()), "");
    bool read = true;
    int error = 0;
    EXPECT_TRUE(Listed(production, read, error).empty());
    EXPECT_FALSE(read);
    EXPECT_EQ(error, ENOTCONN); // not "not there": the production's rows stay
    EXPECT_FALSE(host::EnsureDirectoryExists(host::ToUTF16((production / "Trash").string())));
    EXPECT_FALSE(fs::exists(production));
}

TEST_F(FolderMountTest, AProductionThatWasNoMountPointIsListedAsItIs) {
    fs::create_directories(production / "Episode 1");
    host::KeepFolderMount(production);
    bool read = false;
    int error = 0;
    EXPECT_EQ(Listed(production, read, error), std::vector<std::string>{"Episode 1"});
    EXPECT_TRUE(read);
    EXPECT_EQ(host::FolderMountGone(production.string()), "");
    EXPECT_EQ(host::MountGoneUnder(production / "Episode 1"), "");
}

TEST_F(FolderMountTest, AMountThatWentAwayIsForgottenWithTheProduction) {
    if (const std::string why = MountAndKeep(); !why.empty()) {
        GTEST_SKIP() << why;
    }
    ASSERT_TRUE(share.Unmount());
    EXPECT_NE(host::FolderMountGone(production.string()), "");
    // Opened again as it is now (the editor chose the folder beneath on purpose), or closed.
    host::KeepFolderMount(production);
    EXPECT_EQ(host::FolderMountGone(production.string()), "");
    host::KeepFolderMount({});
    EXPECT_EQ(host::MountGoneUnder(production / "Reel 1.mvproj"), "");
}

} // namespace
