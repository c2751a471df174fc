#include "Marvane/fileservices/FileCopy.h"
#include "Marvane/fileservices/IoCounters.h"

#include "FileBytes.h"
#include "Inventory.h"
#include "TemporaryFolder.h"

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <random>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

void Write(const fs::path& file, const std::string& text) {
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << text;
}

// Projects are the files that end in ".mvproj"; a folder ending in ".mvprojd" is one too,
// with its content in "project.json".
host::ProjectItemRules Rules() {
    host::ProjectItemRules rules;
    rules.isProject = [](const std::string& path) {
        const auto ends = [&](const std::string& end) {
            return path.size() >= end.size() &&
                   path.compare(path.size() - end.size(), end.size(), end) == 0;
        };
        return ends(".mvproj") || ends(".mvprojd");
    };
    rules.contentFile = [](const fs::path& project) {
        return fs::is_directory(project) ? project / "project.json" : project;
    };
    return rules;
}

std::string RandomBytes(std::size_t count, unsigned seed) {
    std::mt19937 engine(seed);
    std::string bytes(count, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(engine() & 0xFF);
    }
    return bytes;
}

class FileCopyTest : public ::testing::Test {
protected:
    void SetUp() override {
        Write(root / "Edit" / "Scene 12.mvproj", R"({"formatVersion":1,"name":"Scene 12"})");
        Write(root / "Edit" / "notes.txt", "notes of the day");
        Write(root / "Edit" / "Titles.mvprojd" / "project.json", R"({"formatVersion":1})");
        Write(root / "Edit" / "Reels" / "Reel 1.mvproj", RandomBytes(70'000, 1));
    }
    // Flips one byte of a file in place, keeping its size.
    static void FlipAByte(const fs::path& file) {
        std::string bytes = testsupport::ReadBytes(file);
        bytes[bytes.size() / 2] = static_cast<char>(bytes[bytes.size() / 2] ^ 0x20);
        std::ofstream(file, std::ios::binary | std::ios::trunc) << bytes;
    }
    const testsupport::TemporaryFolder temporary{"filecopy"};
    const fs::path root = temporary.Path();
};

TEST_F(FileCopyTest, TheContentHashIsTheSameHoweverTheBytesArrive) {
    const std::string bytes = RandomBytes(1'000, 7);
    host::ContentHash whole;
    whole.Add(bytes.data(), bytes.size());
    for (const std::size_t piece : {1u, 3u, 7u, 8u, 9u, 64u, 999u}) {
        host::ContentHash pieces;
        for (std::size_t at = 0; at < bytes.size(); at += piece) {
            pieces.Add(bytes.data() + at, std::min(piece, bytes.size() - at));
        }
        EXPECT_EQ(pieces.Value(), whole.Value()) << "pieces of " << piece;
    }
    // One byte more, one byte other, or a zero byte appended: another hash.
    host::ContentHash longer = whole;
    longer.Add("\0", 1);
    EXPECT_NE(longer.Value(), whole.Value());
    std::string other = bytes;
    other[500] = static_cast<char>(other[500] ^ 1);
    host::ContentHash changed;
    changed.Add(other.data(), other.size());
    EXPECT_NE(changed.Value(), whole.Value());
}

TEST_F(FileCopyTest, ACopyOnALocalDiskSyncsTheFileSystemOnceAndNoFileOnItsOwn) {
    const auto files = host::FileSyncCount();
    const auto systems = host::FileSystemSyncCount();
    std::vector<fs::path> made;
    host::CopyTree(root / "Edit", root / "Edit copy", made);
    EXPECT_EQ(testsupport::TakeInventory(root / "Edit copy"),
              testsupport::TakeInventory(root / "Edit"));
    EXPECT_EQ(host::FileSyncCount() - files, 0u);
    EXPECT_EQ(host::FileSystemSyncCount() - systems, 1u);
}

TEST_F(FileCopyTest, ALargeFileIsCopiedWholeWithProgressForEveryByte) {
    // Larger than one piece the kernel is given at a time.
    const std::string bytes = RandomBytes(20u << 20, 3);
    Write(root / "Media" / "clip.mov", bytes);
    std::uint64_t reported = 0;
    int filesDone = 0;
    std::vector<fs::path> made;
    host::CopyTree(root / "Media", root / "Media copy", made,
                   [&](std::uint64_t count, bool fileDone) {
                       reported += count;
                       filesDone += fileDone ? 1 : 0;
                       return true;
                   });
    EXPECT_EQ(testsupport::ReadBytes(root / "Media copy" / "clip.mov"), bytes);
    EXPECT_EQ(reported, bytes.size());
    EXPECT_EQ(filesDone, 1);
}

TEST_F(FileCopyTest, ACancelledCopyThrowsAndTheCallerCanTakeAwayWhatItMade) {
    Write(root / "Media" / "clip.mov", RandomBytes(1u << 20, 4));
    std::vector<fs::path> made;
    EXPECT_THROW(host::CopyTree(root / "Media", root / "Media copy", made,
                                [](std::uint64_t, bool) { return false; }),
                 host::CopyCancelled);
    host::RemoveMade(made);
    EXPECT_FALSE(fs::exists(root / "Media copy"));
    EXPECT_TRUE(fs::exists(root / "Media" / "clip.mov"));
}

TEST_F(FileCopyTest, ACopyMadeWithDigestsHoldsWhatItReadAndSaysSoByReadingTheCopyAlone) {
    host::CopyDigests digests;
    std::vector<fs::path> made;
    host::CopyTree(root / "Edit", root / "Edit copy", made, {}, &digests);
    EXPECT_EQ(digests.size(), 4u); // every file, none of the folders
    EXPECT_TRUE(host::CopyHoldsWhatWasRead(root / "Edit", root / "Edit copy", Rules(), digests));
}

TEST_F(FileCopyTest, AnOriginalChangedSinceItWasReadFailsTheCheck) {
    host::CopyDigests digests;
    std::vector<fs::path> made;
    host::CopyTree(root / "Edit", root / "Edit copy", made, {}, &digests);
    // Saved again meanwhile, same size: its time tells.
    const timespec later[2] = {{0, UTIME_OMIT}, {2'000'000'000, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, (root / "Edit" / "notes.txt").c_str(), later, 0), 0);
    EXPECT_FALSE(host::CopyHoldsWhatWasRead(root / "Edit", root / "Edit copy", Rules(), digests));
}

TEST_F(FileCopyTest, AFileAddedToTheOriginalSinceFailsTheCheck) {
    host::CopyDigests digests;
    std::vector<fs::path> made;
    host::CopyTree(root / "Edit", root / "Edit copy", made, {}, &digests);
    Write(root / "Edit" / "Scene 13.mvproj", "{}");
    EXPECT_FALSE(host::CopyHoldsWhatWasRead(root / "Edit", root / "Edit copy", Rules(), digests));
}

TEST_F(FileCopyTest, AProjectWhoseCopyReadsBackOtherwiseFailsTheCheck) {
    for (const fs::path& project :
         {fs::path("Reels") / "Reel 1.mvproj", fs::path("Titles.mvprojd") / "project.json"}) {
        SCOPED_TRACE(project);
        const fs::path copy = root / ("Edit copy of " + project.filename().string());
        host::CopyDigests digests;
        std::vector<fs::path> made;
        host::CopyTree(root / "Edit", copy, made, {}, &digests);
        FlipAByte(copy / project);
        EXPECT_FALSE(host::CopyHoldsWhatWasRead(root / "Edit", copy, Rules(), digests));
    }
}

TEST_F(FileCopyTest, OtherFilesAreCheckedByTheirSize) {
    host::CopyDigests digests;
    std::vector<fs::path> made;
    host::CopyTree(root / "Edit", root / "Edit copy", made, {}, &digests);
    FlipAByte(root / "Edit copy" / "notes.txt"); // same size: projects alone are read back
    EXPECT_TRUE(host::CopyHoldsWhatWasRead(root / "Edit", root / "Edit copy", Rules(), digests));
    std::ofstream(root / "Edit copy" / "notes.txt", std::ios::app) << "more";
    EXPECT_FALSE(host::CopyHoldsWhatWasRead(root / "Edit", root / "Edit copy", Rules(), digests));
}

} // namespace
