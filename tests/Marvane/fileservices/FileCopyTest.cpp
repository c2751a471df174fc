#include "Marvane/fileservices/FileCopy.h"
#include "Marvane/fileservices/IoCounters.h"

#include "DeepTrees.h"
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
    // A zero byte appended: another hash.
    host::ContentHash longer = whole;
    longer.Add("\0", 1);
    EXPECT_NE(longer.Value(), whole.Value());
}

TEST_F(FileCopyTest, EveryBitOfTheBytesChangesTheContentHash) {
    const std::string bytes = RandomBytes(64, 9);
    const auto hashOf = [](const std::string& text) {
        host::ContentHash hash;
        hash.Add(text.data(), text.size());
        return hash.Value();
    };
    const std::uint64_t original = hashOf(bytes);
    for (std::size_t byte = 0; byte < bytes.size(); ++byte) {
        for (int bit = 0; bit < 8; ++bit) {
            std::string changed = bytes;
            changed[byte] = static_cast<char>(changed[byte] ^ (1 << bit));
            EXPECT_NE(hashOf(changed), original) << "byte " << byte << " bit " << bit;
        }
    }
    // The top bits of two words flipped together, and changes in the last byte of every
    // word, are seen too.
    std::string twoTops = bytes;
    twoTops[7] = static_cast<char>(twoTops[7] ^ 0x80);
    twoTops[15] = static_cast<char>(twoTops[15] ^ 0x80);
    EXPECT_NE(hashOf(twoTops), original);
    std::string lastBytes = bytes;
    for (std::size_t byte = 7; byte < lastBytes.size(); byte += 8) {
        lastBytes[byte] = static_cast<char>(lastBytes[byte] ^ 0x5A);
    }
    EXPECT_NE(hashOf(lastBytes), original);
    // A value of the hash moves about half its bits for one bit of input.
    std::string oneBit = bytes;
    oneBit[0] = static_cast<char>(oneBit[0] ^ 1);
    EXPECT_GE(__builtin_popcountll(hashOf(oneBit) ^ original), 16);
}

TEST_F(FileCopyTest, ASmallCopySyncsItsOwnFilesAndALargeOneTheFileSystemOnce) {
    if (!host::SyncsWholeFileSystem(root)) {
        GTEST_SKIP() << "the temporary folder is not on a local disk that syncs as a whole";
    }
    const auto files = host::FileSyncCount();
    const auto systems = host::FileSystemSyncCount();
    std::vector<fs::path> made;
    host::CopyTree(root / "Edit", root / "Edit copy", made); // four files
    EXPECT_EQ(testsupport::TakeInventory(root / "Edit copy"),
              testsupport::TakeInventory(root / "Edit"));
    EXPECT_EQ(host::FileSyncCount() - files, 4u);
    EXPECT_EQ(host::FileSystemSyncCount() - systems, 0u);
    for (int i = 0; i < 30; ++i) {
        Write(root / "Dailies" / ("Take " + std::to_string(i) + ".mvproj"), std::to_string(i));
    }
    host::CopyTree(root / "Dailies", root / "Dailies copy", made);
    EXPECT_EQ(testsupport::TakeInventory(root / "Dailies copy"),
              testsupport::TakeInventory(root / "Dailies"));
    // The first few on their own, then one sync of the disk for the rest.
    EXPECT_EQ(host::FileSyncCount() - files, 4u + 8u);
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
    Write(root / "Edit" / "Titles.mvprojd" / "media.idx", "index of the titles' media");
    for (const fs::path& project :
         {fs::path("Reels") / "Reel 1.mvproj", fs::path("Titles.mvprojd") / "project.json",
          fs::path("Titles.mvprojd") / "media.idx"}) {
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

TEST_F(FileCopyTest, ATreeDeeperThanTheLongestPathIsCopiedWholeCheckedAndRemoved) {
    const std::string name = "Level_of_a_deep_chain";
    const int levels = testsupport::LevelsBeyondTheLongestPath(name);
    testsupport::MakeDeepChain(root / "Chain", name, levels, "the deepest take");
    host::CopyDigests digests;
    std::vector<fs::path> made;
    host::CopyTree(root / "Chain", root / "Chain copy", made, {}, &digests);
    EXPECT_EQ(made, std::vector<fs::path>{root / "Chain copy"});
    EXPECT_EQ(testsupport::ReadDeepChain(root / "Chain copy", name, levels), "the deepest take");
    EXPECT_TRUE(host::CopyHoldsWhatWasRead(root / "Chain", root / "Chain copy", Rules(), digests));
    host::RemoveTree(root / "Chain copy");
    EXPECT_FALSE(fs::exists(root / "Chain copy"));
    EXPECT_EQ(testsupport::ReadDeepChain(root / "Chain", name, levels), "the deepest take");
    host::RemoveTree(root / "Chain");
    EXPECT_FALSE(fs::exists(root / "Chain"));
}

TEST_F(FileCopyTest, ACopyThatFailsDeepInsideATreeLeavesNothingOfIt) {
    testsupport::MakeDeepChain(root / "Chain", "level", 40, "kept");
    // A pipe at the bottom, where a file was: nothing a copy can take.
    fs::path bottom = root / "Chain";
    for (int level = 0; level < 40; ++level) {
        bottom /= "level";
    }
    ASSERT_EQ(::mkfifo((bottom / "pipe").c_str(), 0644), 0);
    std::vector<fs::path> made;
    EXPECT_THROW(host::CopyTree(root / "Chain", root / "Chain copy", made), host::FileException);
    host::RemoveMade(made);
    EXPECT_FALSE(fs::exists(fs::symlink_status(root / "Chain copy")));
    EXPECT_EQ(testsupport::ReadDeepChain(root / "Chain", "level", 40), "kept");
}

TEST_F(FileCopyTest, ACopyNeverGoesOverWhatIsAlreadyThereNorTakesItAway) {
    Write(root / "Taken" / "theirs.txt", "someone else's");
    std::vector<fs::path> made;
    EXPECT_THROW(host::CopyTree(root / "Edit", root / "Taken", made), host::FileException);
    EXPECT_TRUE(made.empty());
    host::RemoveMade(made);
    EXPECT_EQ(testsupport::ReadBytes(root / "Taken" / "theirs.txt"), "someone else's");
}

TEST_F(FileCopyTest, EveryCopyRecordsTheTopItMadeSoThatAllAreTakenAwayTogether) {
    std::vector<fs::path> made;
    host::CopyTree(root / "Edit", root / "First copy", made);
    host::CopyTree(root / "Edit" / "notes.txt", root / "notes copy.txt", made);
    EXPECT_EQ(made, (std::vector<fs::path>{root / "First copy", root / "notes copy.txt"}));
    host::RemoveMade(made);
    EXPECT_TRUE(made.empty());
    EXPECT_FALSE(fs::exists(root / "First copy"));
    EXPECT_FALSE(fs::exists(root / "notes copy.txt"));
    EXPECT_TRUE(fs::exists(root / "Edit" / "Reels" / "Reel 1.mvproj"));
}

TEST_F(FileCopyTest, RemovingATreeTakesALinkAwayButNeverWhatItLeadsTo) {
    Write(root / "Outside" / "keep.mvproj", "{}");
    fs::create_directories(root / "Copy" / "Inner");
    ::chmod((root / "Copy" / "Inner").c_str(), 0500); // read-only, as a copied folder may be
    fs::create_directory_symlink(root / "Outside", root / "Copy" / "Inner" / "Shortcut");
    host::RemoveTree(root / "Copy");
    EXPECT_FALSE(fs::exists(root / "Copy"));
    EXPECT_EQ(testsupport::ReadBytes(root / "Outside" / "keep.mvproj"), "{}");
}

} // namespace
