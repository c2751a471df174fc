// The folder's record of creation times, which keeps "Date Created" across saves where the
// file system keeps no extended attributes. Here on the local disk, asked directly; on the
// tests' real shares in CreationOnSharesTest.
#include "Marvane/fileservices/CreationRecords.h"
#include "Marvane/fileservices/FileTimes.h"
#include "host/FileServices.h"

#include "ChildProcesses.h"
#include "FileBytes.h"
#include "SharedBoard.h"
#include "TemporaryFolder.h"

#include <algorithm>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

struct statx StatusOf(const fs::path& file) {
    struct statx status {};
    EXPECT_EQ(::statx(AT_FDCWD, file.c_str(), 0, STATX_BASIC_STATS, &status), 0) << file;
    return status;
}

class CreationRecordsTest : public ::testing::Test {
protected:
    void SetUp() override {
        host::ForgetReadCreationRecords();
        std::ofstream(file) << "saved\n";
    }
    void TearDown() override { host::ForgetReadCreationRecords(); }

    std::optional<std::int64_t> Recorded(const fs::path& path) {
        return host::RecordedCreatedTicks(path.string(), StatusOf(path));
    }
    // Notes the time for a file as a save that wrote it just now would.
    bool Record(const fs::path& path, std::int64_t created) {
        const struct statx status = StatusOf(path);
        return host::RecordCreation(path.string(), created, status, status);
    }

    const testsupport::TemporaryFolder temporary{"creation-records"};
    const fs::path folder = temporary.Path();
    const fs::path file = folder / "Scene 12.mvproj";
    const fs::path record = folder / host::kCreationRecordName;
    static constexpr std::int64_t kMonday = 17'800'000'000'000'000;
};

TEST_F(CreationRecordsTest, AnEntryCountsOnlyWhileTheFileLooksAsItWasSaved) {
    EXPECT_EQ(Recorded(file), std::nullopt);
    ASSERT_TRUE(Record(file, kMonday));
    EXPECT_TRUE(fs::is_regular_file(record));
    EXPECT_EQ(Recorded(file), kMonday);
    // Another program writes the file: it is no longer the file saved here.
    std::ofstream(file, std::ios::app) << "changed elsewhere\n";
    EXPECT_EQ(Recorded(file), std::nullopt);
}

TEST_F(CreationRecordsTest, AFileOfTheSameSizeWrittenLongAfterTheSaveIsNotTheFileSaved) {
    ASSERT_TRUE(Record(file, kMonday));
    struct timespec times[2] = {{0, UTIME_OMIT}, {}};
    ::clock_gettime(CLOCK_REALTIME, &times[1]);
    times[1].tv_sec += 2; // still the save, as a share's late close would leave it
    ASSERT_EQ(::utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
    EXPECT_EQ(Recorded(file), kMonday);
    times[1].tv_sec += 60;
    ASSERT_EQ(::utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
    EXPECT_EQ(Recorded(file), std::nullopt);
}

TEST_F(CreationRecordsTest, AFileMadeAnewUnderARecordedNameShowsItsOwnTime) {
    ASSERT_TRUE(Record(file, kMonday));
    fs::remove(file);
    std::ofstream(file) << "another project altogether\n";
    EXPECT_EQ(Recorded(file), std::nullopt);
}

TEST_F(CreationRecordsTest, ASaveCutShortBeforeItsRenameLeavesTheOldFileItsTime) {
    const fs::path written = folder / ".mv-write.sibling";
    std::ofstream(written) << "the next save, a little longer\n";
    ASSERT_TRUE(host::RecordCreation(file.string(), kMonday, StatusOf(file), StatusOf(written)));
    // The process died here: the old file stays, and so does its time.
    EXPECT_EQ(Recorded(file), kMonday);
    fs::rename(written, file);
    EXPECT_EQ(Recorded(file), kMonday);
}

TEST_F(CreationRecordsTest, NamesWithLineBreaksPercentSignsAndBytesThatAreNotUtf8AreKept) {
    const std::vector<std::string> names = {"Take\n2 100%.mvproj", "Caf\xe9\x01\x7f.mvproj",
                                            "%41 not an escape.mvproj"};
    std::int64_t created = kMonday;
    for (const std::string& name : names) {
        std::ofstream(folder / name) << name;
        ASSERT_TRUE(Record(folder / name, ++created)) << name;
    }
    host::ForgetReadCreationRecords(); // read back from the disk, as another editor would
    created = kMonday;
    for (const std::string& name : names) {
        EXPECT_EQ(Recorded(folder / name), ++created) << name;
    }
    const std::string text = testsupport::ReadBytes(record);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1 + static_cast<long>(names.size()));
}

TEST_F(CreationRecordsTest, ARecordThatIsNotOneIsPassedOver) {
    const struct statx status = StatusOf(file);
    const std::string line = std::to_string(kMonday) + " " +
                             std::to_string(host::TicksOf(status.stx_mtime)) + " " +
                             std::to_string(status.stx_size) + " 0 0 Scene 12.mvproj\n";
    // Written by hand, or by something else entirely.
    for (const std::string& text :
         std::vector<std::string>{line, "marvane-created 1\nyesterday 1 2 3 4 Scene 12.mvproj\n",
                                  "marvane-created 1\n" + std::to_string(kMonday) + " 1 2\n",
                                  "marvane-created 1\n1 2 3 4 5 Scene%4.mvproj\n"}) {
        std::ofstream(record, std::ios::trunc) << text;
        host::ForgetReadCreationRecords();
        EXPECT_EQ(Recorded(file), std::nullopt) << text;
    }
    std::ofstream(record, std::ios::trunc) << "marvane-created 1\n" << line;
    host::ForgetReadCreationRecords();
    EXPECT_EQ(Recorded(file), kMonday) << "the same line, in a record";
}

TEST_F(CreationRecordsTest, APipeOrAFolderAtTheRecordsNameIsNeitherReadNorReplaced) {
    ASSERT_EQ(::mkfifo(record.c_str(), 0644), 0);
    EXPECT_EQ(Recorded(file), std::nullopt); // a pipe is never opened: no hang
    EXPECT_FALSE(Record(file, kMonday));
    EXPECT_TRUE(fs::is_fifo(fs::symlink_status(record)));
    fs::remove(record);
    fs::create_directory(record);
    std::ofstream(record / "inside") << "kept";
    host::ForgetReadCreationRecords();
    EXPECT_EQ(Recorded(file), std::nullopt);
    EXPECT_FALSE(Record(file, kMonday));
    EXPECT_EQ(testsupport::ReadBytes(record / "inside"), "kept");
}

TEST_F(CreationRecordsTest, AMoveThroughTheHostCarriesTheEntryToItsNewFolderAndName) {
    ASSERT_TRUE(Record(file, kMonday));
    fs::create_directory(folder / "Act 2");
    const fs::path moved = folder / "Act 2" / "Scene 12 final.mvproj";
    ASSERT_EQ(host::Move(host::ToUTF16(file.string()), host::ToUTF16(moved.string())), 0);
    host::ForgetReadCreationRecords();
    EXPECT_EQ(Recorded(moved), kMonday);
    // Gone from the old folder's record: a new file there under the old name is its own.
    std::ofstream(file) << "saved\n";
    EXPECT_EQ(Recorded(file), std::nullopt);
    // Its last entry gone, the record goes too: the folder holds only what it held before.
    EXPECT_FALSE(fs::exists(record));
}

TEST_F(CreationRecordsTest, ACopiedFolderLeavesTheRecordBehindItsCopiesAreNew) {
    const fs::path act = folder / "Act 1";
    fs::create_directory(act);
    std::ofstream(act / "Scene 4.mvproj") << "saved\n";
    ASSERT_TRUE(Record(act / "Scene 4.mvproj", kMonday));
    host::Copy(host::ToUTF16(act.string()), host::ToUTF16((folder / "Act 1 copy").string()));
    EXPECT_EQ(testsupport::ReadBytes(folder / "Act 1 copy" / "Scene 4.mvproj"), "saved\n");
    EXPECT_FALSE(fs::exists(folder / "Act 1 copy" / host::kCreationRecordName));
    EXPECT_EQ(Recorded(folder / "Act 1 copy" / "Scene 4.mvproj"), std::nullopt);
    EXPECT_EQ(Recorded(act / "Scene 4.mvproj"), kMonday);
}

TEST_F(CreationRecordsTest, AFolderMovedToAnotherDiskTakesItsRecord) {
    const fs::path otherDisk = "/dev/shm";
    struct stat here {};
    struct stat there {};
    if (::stat(folder.c_str(), &here) != 0 || ::stat(otherDisk.c_str(), &there) != 0 ||
        here.st_dev == there.st_dev || ::access(otherDisk.c_str(), W_OK) != 0) {
        GTEST_SKIP() << "no second file system to move to";
    }
    const testsupport::TemporaryFolder other{"creation-records-other", otherDisk};
    const fs::path act = folder / "Act 1";
    fs::create_directory(act);
    std::ofstream(act / "Scene 4.mvproj") << "saved\n";
    ASSERT_TRUE(Record(act / "Scene 4.mvproj", kMonday));
    const fs::path moved = other.Path() / "Act 1";
    ASSERT_EQ(host::Move(host::ToUTF16(act.string()), host::ToUTF16(moved.string())), 0);
    EXPECT_FALSE(fs::exists(act));
    host::ForgetReadCreationRecords();
    EXPECT_EQ(Recorded(moved / "Scene 4.mvproj"), kMonday);
}

TEST_F(CreationRecordsTest, HiddenFilesAreNeverRecorded) {
    const fs::path hidden = folder / ".settings";
    std::ofstream(hidden) << "x";
    EXPECT_FALSE(Record(hidden, kMonday));
    EXPECT_FALSE(fs::exists(record));
}

struct Written {
    bool results[2][40];
};

TEST_F(CreationRecordsTest, TwoProcessesSavingInOneFolderAtOnceKeepEveryEntry) {
    constexpr int kEach = 40;
    for (int editor = 0; editor < 2; ++editor) {
        for (int save = 0; save < kEach; ++save) {
            std::ofstream(folder / ("Scene " + std::to_string(editor) + "-" + std::to_string(save) +
                                    ".mvproj"))
                << save;
        }
    }
    testsupport::SharedBoard<Written> board(2);
    std::vector<pid_t> children;
    for (int editor = 0; editor < 2; ++editor) {
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            board.StartRound();
            for (int save = 0; save < kEach; ++save) {
                const fs::path path = folder / ("Scene " + std::to_string(editor) + "-" +
                                                std::to_string(save) + ".mvproj");
                board->results[editor][save] = Record(path, kMonday + editor * 1000 + save);
            }
            _exit(0);
        }
        children.push_back(child);
    }
    EXPECT_TRUE(testsupport::children::AllEndedCleanly(children));
    host::ForgetReadCreationRecords();
    int kept = 0;
    for (int editor = 0; editor < 2; ++editor) {
        for (int save = 0; save < kEach; ++save) {
            EXPECT_TRUE(board->results[editor][save]);
            const fs::path path = folder / ("Scene " + std::to_string(editor) + "-" +
                                            std::to_string(save) + ".mvproj");
            const bool found = Recorded(path) == kMonday + editor * 1000 + save;
            EXPECT_TRUE(found) << path;
            kept += found ? 1 : 0;
        }
    }
    EXPECT_EQ(kept, 2 * kEach);
}

} // namespace
