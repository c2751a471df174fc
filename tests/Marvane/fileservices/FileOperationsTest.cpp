#include "Marvane/application/ProductionSession.h"
#include "host/ApplicationLayer.h"
#include "host/FileServices.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <sys/stat.h>
#include <unistd.h>

#include "Inventory.h"
#include "TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;

using testsupport::Inventory;

Inventory Take(const fs::path& root) {
    return testsupport::TakeInventory(root);
}

void Write(const fs::path& file, const std::string& text) {
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << text;
}

std::u16string W(const fs::path& path) {
    return host::ToUTF16(path.string());
}

class FileOperationsTest : public ::testing::Test {
protected:
    void SetUp() override {
        Write(root / "Edit" / "Scene 12.mvproj", R"({"formatVersion":1,"name":"Scene 12"})");
        Write(root / "Edit" / "Scene 12.mvproj.lock", R"({"lockingName":"Ana"})");
        Write(root / "Edit" / "Reels" / "Reel 1.mvproj", std::string(70'000, 'r'));
        Write(root / "Edit" / "notes.txt", "notes");
        fs::create_symlink("Reels/Reel 1.mvproj", root / "Edit" / "latest reel");
        fs::create_directories(root / "Archive");
    }
    const testsupport::TemporaryFolder temporary{"fileops"};
    const fs::path root = temporary.Path();
};

TEST_F(FileOperationsTest, AMoveOnOneFileSystemIsARename) {
    struct stat before {};
    ::stat((root / "Edit").c_str(), &before);
    const Inventory inventory = Take(root / "Edit");
    EXPECT_EQ(host::Move(W(root / "Edit"), W(root / "Archive" / "Edit")), 0);
    struct stat after {};
    ASSERT_EQ(::stat((root / "Archive" / "Edit").c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino); // the same folder, not a copy
    EXPECT_EQ(Take(root / "Archive" / "Edit"), inventory);
    EXPECT_FALSE(fs::exists(root / "Edit"));
}

TEST_F(FileOperationsTest, AMoveNeverReplacesWhatIsAtTheDestination) {
    Write(root / "Archive" / "notes.txt", "other notes");
    EXPECT_EQ(host::Move(W(root / "Edit" / "notes.txt"), W(root / "Archive" / "notes.txt")),
              -EEXIST);
    EXPECT_EQ(testsupport::ReadBytes(root / "Edit" / "notes.txt"), "notes");
    EXPECT_EQ(testsupport::ReadBytes(root / "Archive" / "notes.txt"), "other notes");
}

TEST_F(FileOperationsTest, AMoveAcrossFileSystemsLosesNothingAndKeepsLinksAsLinks) {
    const testsupport::TemporaryFolder otherFolder("fileops", "/dev/shm");
    const fs::path other = otherFolder.Path();
    struct stat tmp {};
    struct stat shm {};
    ::stat(root.c_str(), &tmp);
    ::stat(other.c_str(), &shm);
    ASSERT_NE(tmp.st_dev, shm.st_dev) << "/tmp and /dev/shm must be different file systems here";
    const Inventory inventory = Take(root / "Edit");
    EXPECT_EQ(host::Move(W(root / "Edit"), W(other / "Edit")), 0);
    EXPECT_EQ(Take(other / "Edit"), inventory);
    EXPECT_TRUE(fs::is_symlink(other / "Edit" / "latest reel"));
    EXPECT_FALSE(fs::exists(root / "Edit"));
    // And back again.
    EXPECT_EQ(host::Move(W(other / "Edit"), W(root / "Edit")), 0);
    EXPECT_EQ(Take(root / "Edit"), inventory);
}

TEST_F(FileOperationsTest, AMoveAcrossFileSystemsThatFailsPartWayLeavesTheSourceWhole) {
    const testsupport::TemporaryFolder otherFolder("fileops-fail", "/dev/shm");
    const fs::path other = otherFolder.Path();
    // A special file cannot be copied: the copy stops after some of the folder.
    ASSERT_EQ(::mkfifo((root / "Edit" / "zz pipe").c_str(), 0644), 0);
    const Inventory inventory = Take(root / "Edit");
    EXPECT_LT(host::Move(W(root / "Edit"), W(other / "Edit")), 0);
    EXPECT_EQ(Take(root / "Edit"), inventory);
    EXPECT_FALSE(fs::exists(other / "Edit")); // nothing half copied is left
}

TEST_F(FileOperationsTest, CopyingAFolderCopiesEverythingAndNeverWritesOver) {
    const Inventory inventory = Take(root / "Edit");
    host::Copy(W(root / "Edit"), W(root / "Archive" / "Edit copy"));
    EXPECT_EQ(Take(root / "Archive" / "Edit copy"), inventory);
    EXPECT_EQ(Take(root / "Edit"), inventory);
    EXPECT_THROW(
        host::Copy(W(root / "Edit" / "notes.txt"), W(root / "Archive" / "Edit copy" / "notes.txt")),
        host::FileException);
}

TEST_F(FileOperationsTest, AFailedCopyTakesAwayWhatItMade) {
    ASSERT_EQ(::mkfifo((root / "Edit" / "zz pipe").c_str(), 0644), 0);
    EXPECT_THROW(host::Copy(W(root / "Edit"), W(root / "Archive" / "Edit")), host::FileException);
    EXPECT_FALSE(fs::exists(root / "Archive" / "Edit"));
}

TEST_F(FileOperationsTest, UniqueNamesNumberFromOneWithAnUnderscore) {
    const auto scene = W(root / "Edit" / "Scene 12.mvproj");
    EXPECT_EQ(host::MakeUniqueFilename(scene, 1, u"_", {}), W(root / "Edit" / "Scene 12_1.mvproj"));
    Write(root / "Edit" / "Scene 12_1.mvproj", "x");
    EXPECT_EQ(host::MakeUniqueFilename(scene, 1, u"_", {}), W(root / "Edit" / "Scene 12_2.mvproj"));
    EXPECT_EQ(host::MakeUniqueFilename(scene, 1, u"_", {W(root / "Edit" / "Scene 12_2.mvproj")}),
              W(root / "Edit" / "Scene 12_3.mvproj"));
    EXPECT_EQ(host::MakeUniqueFilename(W(root / "Edit" / "Reels"), 1, u"_", {}),
              W(root / "Edit" / "Reels_1"));
    fs::create_directories(root / "v1.2 cuts");
    EXPECT_EQ(host::MakeUniqueFilename(W(root / "v1.2 cuts"), 1, u"_", {}),
              W(root / "v1.2 cuts_1"));
    fs::create_directories(root / "Titles.mvprojd");
    EXPECT_EQ(host::MakeUniqueFilename(W(root / "Titles.mvprojd"), 1, u"_", {}),
              W(root / "Titles_1.mvprojd"));
}

TEST_F(FileOperationsTest, ANameAtTheLongestAFileCanHaveGivesUpTheEndOfItsStemToItsNumber) {
    // A project of 243 bytes of stem and ".mvproj" (250) still has room for its lock file
    // (".lock", 255). With "_1" it would not, so the stem gives up two bytes.
    const std::string longest(243, 'x');
    Write(root / "Edit" / (longest + ".mvproj"), "x");
    const std::u16string unique =
        host::MakeUniqueFilename(W(root / "Edit" / (longest + ".mvproj")), 1, u"_", {});
    const std::string name = fs::path(host::ToUTF8(unique)).filename().string();
    EXPECT_EQ(name, std::string(241, 'x') + "_1.mvproj");
    Write(root / "Edit" / name, "x");
    Write(root / "Edit" / (name + ".lock"), "x"); // and its lock file can be there too
    EXPECT_TRUE(fs::exists(root / "Edit" / (name + ".lock")));
    EXPECT_EQ(fs::path(host::ToUTF8(host::MakeUniqueFilename(
                           W(root / "Edit" / (longest + ".mvproj")), 1, u"_", {})))
                  .filename()
                  .string(),
              std::string(241, 'x') + "_2.mvproj");
    // Any other file may take all 255 bytes.
    const std::string notes(251, 'n');
    Write(root / "Edit" / (notes + ".txt"), "x");
    EXPECT_EQ(fs::path(host::ToUTF8(host::MakeUniqueFilename(W(root / "Edit" / (notes + ".txt")), 1,
                                                             u"_", {})))
                  .filename()
                  .string(),
              std::string(249, 'n') + "_1.txt");
    // Characters of several bytes are given up whole: here a four-byte one (a pair of UTF-16
    // units) at the end of 125 two-byte letters.
    std::string letters;
    for (int count = 0; count < 125; ++count) {
        letters += "\xc3\xa9"; // é
    }
    const std::string wide = letters + "\xf0\x9f\x8e\xac"; // a clapper board
    ASSERT_EQ(wide.size(), 254u);
    fs::create_directories(root / "Edit" / wide);
    const std::string folder =
        fs::path(host::ToUTF8(host::MakeUniqueFilename(W(root / "Edit" / wide), 1, u"_", {})))
            .filename()
            .string();
    EXPECT_EQ(folder, letters + "_1");
    EXPECT_TRUE(fs::create_directories(root / "Edit" / folder)); // a folder can have it
}

TEST_F(FileOperationsTest, APathIsWithinAFolderOnlyBelowIt) {
    EXPECT_TRUE(host::IsPathWithinDirectory(W(root / "Edit" / "Reels"), W(root / "Edit"), false));
    EXPECT_FALSE(host::IsPathWithinDirectory(W(root / "Edit"), W(root / "Edit"), false));
    EXPECT_TRUE(host::IsPathWithinDirectory(W(root / "Edit/"), W(root / "Edit"), true));
    EXPECT_FALSE(host::IsPathWithinDirectory(W(root / "Edited"), W(root / "Edit"), true));
    EXPECT_EQ(host::GetPathFileName(W(root / "Edit" / "Reels/")), u"Reels");
}

TEST_F(FileOperationsTest, TheTrashIsTheProductionsTrashFolder) {
    EXPECT_TRUE(host::GetMvProductionTrashDirectoryPath().empty());
    ASSERT_EQ(host::ProductionSession::Instance().Open(root), "");
    EXPECT_EQ(host::GetMvProductionTrashDirectoryPath(), W(root / "Trash"));
    EXPECT_TRUE(host::IsTheMvProductionTrashDirectory(W(root / "Trash/")));
    EXPECT_TRUE(host::IsInMvProductionTrash(W(root / "Trash" / "Old Cut.mvproj"), false));
    EXPECT_FALSE(host::IsInMvProductionTrash(W(root / "Trash"), false));
    EXPECT_TRUE(host::IsInMvProductionTrash(W(root / "Trash"), true));
    EXPECT_FALSE(host::IsInMvProductionTrash(W(root / "Edit"), true));
    EXPECT_TRUE(host::EnsureDirectoryExists(host::GetMvProductionTrashDirectoryPath()));
    EXPECT_TRUE(fs::is_directory(root / "Trash"));
    host::ProductionSession::Instance().Close();
}

} // namespace

namespace {

TEST_F(FileOperationsTest, ListingAFolderNeverFollowsLinks) {
    fs::create_symlink("/etc", root / "Edit" / "outside");
    const auto found =
        host::FindFilesOrDirectories(W(root / "Edit"), true, host::FindFilter::FilesAndDirectories);
    std::vector<std::string> names;
    for (const auto& path : found) {
        names.push_back(fs::path(host::ToUTF8(path)).lexically_relative(root / "Edit").string());
    }
    EXPECT_EQ(names, (std::vector<std::string>{"Reels", "Reels/Reel 1.mvproj", "Scene 12.mvproj",
                                               "Scene 12.mvproj.lock", "latest reel", "notes.txt",
                                               "outside"}));
}

TEST_F(FileOperationsTest, ListingFoldersOnlyGivesFoldersBeforeTheirContents) {
    fs::create_directories(root / "Edit" / "Reels" / "Day 1");
    fs::create_directories(root / "Edit" / "Audio");
    const auto found =
        host::FindFilesOrDirectories(W(root / "Edit"), true, host::FindFilter::Directories);
    std::vector<std::string> names;
    for (const auto& path : found) {
        names.push_back(fs::path(host::ToUTF8(path)).lexically_relative(root / "Edit").string());
    }
    EXPECT_EQ(names, (std::vector<std::string>{"Audio", "Reels", "Reels/Day 1"}));
    EXPECT_TRUE(host::FindFilesOrDirectories(W(root / "missing"), true,
                                             host::FindFilter::FilesAndDirectories)
                    .empty());
}

} // namespace
