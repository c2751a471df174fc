// Hidden files a run was killed in the middle of writing are removed at the next start, and
// nothing else ever is.
#include "Marvane/fileservices/TemporaryFiles.h"
#include "Marvane/fileservices/FileWriting.h"

#include "FileBytes.h"
#include "KilledChild.h"
#include "Marvane/core/ThisMachine.h"
#include "TemporaryFolder.h"

#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

class TemporaryFilesTest : public ::testing::Test {
protected:
    void SetUp() override { fs::create_directories(production); }
    void TearDown() override {
        host::CloseTemporaryFilesRecord();
        host::SetTemporaryFilesFolder({});
    }
    // Runs the steps in a child process that is then killed with SIGKILL, as by a crash: no
    // destructor runs.
    void KilledWhile(const std::function<void()>& steps) const {
        ASSERT_TRUE(testsupport::KilledAfter([&] {
            host::SetTemporaryFilesFolder(records);
            steps();
        }));
    }
    // What the next start does.
    std::size_t NextStart() const {
        host::SetTemporaryFilesFolder(records);
        return host::RemoveTemporaryFilesOfGoneProcesses();
    }
    // The records of other runs than this one.
    std::size_t Records() const {
        std::size_t count = 0;
        const std::string ours = std::to_string(::getpid()) + ".";
        if (fs::exists(records)) {
            for (const auto& entry : fs::directory_iterator(records)) {
                count += entry.path().extension() == ".notes" &&
                                 !entry.path().filename().string().starts_with(ours)
                             ? 1u
                             : 0u;
            }
        }
        return count;
    }
    std::size_t OurRecords() const {
        std::size_t count = 0;
        for (const auto& entry : fs::directory_iterator(records)) {
            count += entry.path().filename().string().starts_with(std::to_string(::getpid()) + ".")
                         ? 1u
                         : 0u;
        }
        return count;
    }

    const testsupport::TemporaryFolder temporary{"temporary-files"};
    const fs::path root = temporary.Path();
    const fs::path production = root / "Pilot";
    const fs::path records = root / "data" / "Temporary";
};

TEST_F(TemporaryFilesTest, AHiddenFileOfARunKilledWhileWritingIsRemovedAtTheNextStart) {
    const fs::path hidden = host::PrivateName(production, "write");
    KilledWhile([&] {
        new host::TemporaryFileNote(hidden); // never closed: the run is killed
        testsupport::WriteBytes(hidden, "half a project");
    });
    ASSERT_TRUE(fs::exists(hidden));
    EXPECT_EQ(NextStart(), 1u);
    EXPECT_FALSE(fs::exists(hidden));
    EXPECT_EQ(Records(), 0u);
}

TEST_F(TemporaryFilesTest, AHalfAddedProjectFolderIsRemovedWhole) {
    const fs::path adding = production / ".Titles.mvprojd.adding.4242.0";
    KilledWhile([&] {
        new host::TemporaryFileNote(adding);
        testsupport::WriteBytes(adding / "project.json", "{");
        testsupport::WriteBytes(adding / "media" / "still.png", "png");
        fs::permissions(adding / "media", fs::perms::owner_read | fs::perms::owner_exec);
    });
    EXPECT_EQ(NextStart(), 1u);
    EXPECT_FALSE(fs::exists(adding));
    EXPECT_TRUE(fs::is_empty(production));
}

TEST_F(TemporaryFilesTest, AFilePutInPlaceUnderItsRealNameIsNeverRemoved) {
    const fs::path hidden = host::PrivateName(production, "write");
    const fs::path scene = production / "Scene 12.mvproj";
    KilledWhile([&] {
        new host::TemporaryFileNote(hidden);
        testsupport::WriteBytes(hidden, "the whole project");
        fs::rename(hidden, scene);
    });
    EXPECT_EQ(NextStart(), 0u);
    EXPECT_EQ(testsupport::ReadBytes(scene), "the whole project");
    EXPECT_EQ(Records(), 0u);
}

TEST_F(TemporaryFilesTest, ANameThatIsNotAHiddenWorkNameIsNeverRemoved) {
    const fs::path scene = production / "Scene 12.mvproj";
    testsupport::WriteBytes(scene, "a project");
    KilledWhile([&] { new host::TemporaryFileNote(scene); });
    EXPECT_EQ(NextStart(), 0u);
    EXPECT_TRUE(fs::exists(scene));
}

TEST_F(TemporaryFilesTest, NamesWithLineBreaksAndBytesThatAreNotUtf8AreRemovedAsWell) {
    const fs::path hidden =
        production / (std::string(host::kPrivateNamePrefix) + "write.bay\n7.12.0.\xe9\xff");
    KilledWhile([&] {
        new host::TemporaryFileNote(hidden);
        testsupport::WriteBytes(hidden, "x");
    });
    EXPECT_EQ(NextStart(), 1u);
    EXPECT_FALSE(fs::exists(hidden));
}

TEST_F(TemporaryFilesTest, AFileOfARunStillGoingIsLeftAlone) {
    host::SetTemporaryFilesFolder(records);
    const fs::path hidden = host::PrivateName(production, "write");
    const host::TemporaryFileNote note(hidden);
    testsupport::WriteBytes(hidden, "being written");
    EXPECT_EQ(host::RemoveTemporaryFilesOfGoneProcesses(), 0u);
    EXPECT_TRUE(fs::exists(hidden));
    fs::remove(hidden);
}

TEST_F(TemporaryFilesTest, AFileInAFolderThatCannotBeReachedNowIsRemovedAtALaterStart) {
    const fs::path share = root / "Share";
    const fs::path hidden = share / ".mv-write.bay-7.42.0.1";
    KilledWhile([&] {
        new host::TemporaryFileNote(hidden);
        testsupport::WriteBytes(hidden, "x");
    });
    // The share is not mounted at the next start: its folder is not there.
    fs::rename(share, root / "Share.unmounted");
    EXPECT_EQ(NextStart(), 0u);
    EXPECT_EQ(Records(), 1u);
    fs::rename(root / "Share.unmounted", share);
    EXPECT_EQ(NextStart(), 1u);
    EXPECT_FALSE(fs::exists(hidden));
    EXPECT_EQ(Records(), 0u);
}

TEST_F(TemporaryFilesTest, SavesAndNewFilesLeaveNothingNotedAndACleanStopNoRecord) {
    host::SetTemporaryFilesFolder(records);
    std::string error;
    ASSERT_EQ(host::PlaceNewFile(production / "Scene 1.mvproj", "one", error),
              host::PlaceResult::Placed)
        << error;
    ASSERT_TRUE(host::ReplaceFile(production / "Scene 1.mvproj", "two", error)) << error;
    // Every note was closed: the record holds nothing but its writer.
    ASSERT_EQ(OurRecords(), 1u);
    for (const auto& entry : fs::directory_iterator(records)) {
        EXPECT_EQ(testsupport::ReadBytes(entry.path()).find("\n+"), std::string::npos);
    }
    host::CloseTemporaryFilesRecord();
    EXPECT_EQ(OurRecords(), 0u);
    EXPECT_EQ(testsupport::ReadBytes(production / "Scene 1.mvproj"), "two");
}

TEST_F(TemporaryFilesTest, ASaveKilledBeforeItsRenameLeavesNothingAfterTheNextStart) {
    const fs::path scene = production / "Scene 1.mvproj";
    testsupport::WriteBytes(scene, "saved before");
    KilledWhile([&] {
        // The save's hidden file is written; the kill comes before it is renamed over.
        const fs::path hidden = host::PrivateName(production, "write");
        new host::TemporaryFileNote(hidden);
        testsupport::WriteBytes(hidden, "the new version");
    });
    EXPECT_EQ(NextStart(), 1u);
    for (const auto& entry : fs::directory_iterator(production)) {
        EXPECT_EQ(entry.path(), scene);
    }
    EXPECT_EQ(testsupport::ReadBytes(scene), "saved before");
}

TEST_F(TemporaryFilesTest, AHiddenNameThatIsNowALinkGoesWithoutWhatItLeadsTo) {
    const fs::path hidden = host::PrivateName(production, "write");
    const fs::path elsewhere = root / "Elsewhere";
    testsupport::WriteBytes(elsewhere / "keep.txt", "keep");
    KilledWhile([&] { new host::TemporaryFileNote(hidden); });
    fs::create_directory_symlink(elsewhere, hidden);
    EXPECT_EQ(NextStart(), 1u);
    EXPECT_FALSE(fs::exists(fs::symlink_status(hidden)));
    EXPECT_EQ(testsupport::ReadBytes(elsewhere / "keep.txt"), "keep");
}

TEST_F(TemporaryFilesTest, ARecordsNameTakenByALinkOrAPipeIsNeverWrittenThroughNorWaitedOn) {
    const fs::path outside = root / "outside.txt";
    testsupport::WriteBytes(outside, "not yours");
    fs::create_directories(records);
    const fs::path ours = records / (std::to_string(::getpid()) + "." +
                                     std::to_string(host::ThisProcessStartTicks()) + ".notes");
    fs::create_symlink(outside, ours);
    host::SetTemporaryFilesFolder(records);
    { const host::TemporaryFileNote note(production / ".mv-write.x"); }
    EXPECT_EQ(testsupport::ReadBytes(outside), "not yours");
    host::SetTemporaryFilesFolder({});
    fs::remove(ours);
    ASSERT_EQ(::mkfifo(ours.c_str(), 0600), 0);
    host::SetTemporaryFilesFolder(records);
    {
        const host::TemporaryFileNote note(production / ".mv-write.y"); // returns at once
    }
    EXPECT_TRUE(fs::is_fifo(ours));
}

TEST_F(TemporaryFilesTest, TheTidyUpBesideTheStartRemovesWhatAStoppedRunLeft) {
    const fs::path hidden = host::PrivateName(production, "write");
    KilledWhile([&] {
        new host::TemporaryFileNote(hidden);
        testsupport::WriteBytes(hidden, "x");
    });
    host::SetTemporaryFilesFolder(records);
    host::StartRemovingTemporaryFilesOfGoneProcesses();
    host::StopRemovingTemporaryFilesOfGoneProcesses(std::chrono::seconds(20));
    EXPECT_FALSE(fs::exists(hidden));
}

} // namespace
